#include "AutoExpandWnd.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "CLanguageParser.h"
#include "LanguageKeys.h"
#include "SkinManager.h"

namespace {

// Drawn grid of the proposed layout, so that the prompt needs no pictures.
QString GridText(int nWndNum) {
    const int nSide = nWndNum == 16 ? 4 : (nWndNum == 9 ? 3 : 2);
    QString strGrid;
    for (int r = 0; r < nSide; ++r) {
        if (r)
            strGrid += QLatin1Char('\n');
        strGrid += QString(nSide, QChar(0x25A0));
    }
    return strGrid;
}

} // namespace

AutoExpandWnd::AutoExpandWnd(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("AutoExpandWnd"));
    // A child laid over the dialog, not a window of its own: a window under the
    // pointer would take the drag away from the dialog (a leave, then a drop the
    // dialog never sees). Refusing drops and mouse events, it lets the drag reach
    // the dialog, which tests whether the pointer is over the prompt.
    setWindowFlags(Qt::Widget);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_StyledBackground);
    setAcceptDrops(false);
}

AutoExpandWnd::~AutoExpandWnd() {
    SkinManager::DelObserver(this);
}

bool AutoExpandWnd::Init() {
    setFixedSize(220, 96);
    m_pLabelBackground = new QLabel(this);
    m_pLabelBackground->setObjectName(QStringLiteral("m_pLabelBackground"));
    m_pLabelBackground->setGeometry(rect());
    QHBoxLayout* pRow = new QHBoxLayout(this);
    pRow->setContentsMargins(12, 8, 12, 8);
    m_pLabelThumb = new QLabel(this);
    m_pLabelThumb->setObjectName(QStringLiteral("m_pLabelThumb"));
    m_pLabelThumb->setAlignment(Qt::AlignCenter);
    pRow->addWidget(m_pLabelThumb);
    QVBoxLayout* pTexts = new QVBoxLayout();
    m_pLabelTextInfo1 = new QLabel(this);
    m_pLabelTextInfo1->setObjectName(QStringLiteral("m_pLabelTextInfo1"));
    m_pLabelTextInfo1->setWordWrap(true);
    m_pLabelTextInfo2 = new QLabel(this);
    m_pLabelTextInfo2->setObjectName(QStringLiteral("m_pLabelTextInfo2"));
    pTexts->addWidget(m_pLabelTextInfo1);
    pTexts->addWidget(m_pLabelTextInfo2);
    pRow->addLayout(pTexts, 1);
    if (SkinManager::GetInstance())
        SkinManager::AddObserver(this);
    SkinChanged();
    return true;
}

bool AutoExpandWnd::SetProposal(int nWndNum, bool bIsHoverWnd) {
    QString strLayout;
    if (nWndNum == 4)
        strLayout = LanguageText(IDS_PlayWnd_4PlayWnd, "4-window");
    else if (nWndNum == 9)
        strLayout = LanguageText(IDS_PlayWnd_9PlayWnd, "9-window");
    else if (nWndNum == 16)
        strLayout = LanguageText(IDS_PlayWnd_16PlayWnd, "16-window");
    else
        return false;
    m_nProposedWndNum = nWndNum;
    m_bHoverLook = bIsHoverWnd;
    m_pLabelThumb->setText(GridText(nWndNum));
    m_pLabelTextInfo1->setText(LanguageText(IDS_AutoExpandWnd_Info1, "Drag the file here, expand to"));
    m_pLabelTextInfo2->setText(strLayout);
    SkinChanged();
    return true;
}

void AutoExpandWnd::SkinChanged() {
    // The pointer over the prompt lights it up.
    const QString strBack = m_bHoverLook ? QStringLiteral("#2F8CEB") : QStringLiteral("#2B2D31");
    setStyleSheet(QStringLiteral("QDialog#AutoExpandWnd { background-color: %1; border: 1px solid #4A9DF0; "
                                 "border-radius: 6px; } QLabel { color: #E6E8EB; background: transparent; }")
                      .arg(strBack));
}
