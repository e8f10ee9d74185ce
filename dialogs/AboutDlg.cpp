#include "AboutDlg.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QStringList>
#include <QVBoxLayout>

#include "CLanguageParser.h"
#include "LanguageKeys.h"
#include "SkinManager.h"
#include "Tavrix.h"

namespace {

const int RES_ABOUT = 10;
const int PIC_ICON = 0;
const int ICON_SIDE = 64;

} // namespace

AboutDlg::AboutDlg(QWidget* pParent) : CustomDialog(pParent) {
    setObjectName(QStringLiteral("AboutDlg"));
}

AboutDlg::~AboutDlg() {
    SkinManager::DelObserver(this);
}

bool AboutDlg::Init() {
    if (m_pLabelPlayerIcon)
        return true;
    SetupUI();
    ReTranslateUI();
    ConnectSignals();
    if (SkinManager::GetInstance())
        SkinManager::AddObserver(this);
    else
        InitBkgs();
    return true;
}

void AboutDlg::SetupUI() {
    CustomDialog::SetupUI();
    resize(350, 200);
    QVBoxLayout* pColumn = new QVBoxLayout(this);
    pColumn->setContentsMargins(16, 8, 8, 16);
    pColumn->setSpacing(8);

    QHBoxLayout* pTitleRow = new QHBoxLayout();
    m_pLabelTitle = new QLabel(this);
    m_pLabelTitle->setObjectName(QStringLiteral("m_pLabelTitle"));
    m_pBtnClose = new QPushButton(this);
    m_pBtnClose->setObjectName(QStringLiteral("m_pBtnClose"));
    m_pBtnClose->setFixedSize(24, 24);
    m_pBtnClose->setFocusPolicy(Qt::NoFocus);
    pTitleRow->addWidget(m_pLabelTitle, 1);
    pTitleRow->addWidget(m_pBtnClose);
    pColumn->addLayout(pTitleRow);

    QHBoxLayout* pBody = new QHBoxLayout();
    pBody->setContentsMargins(0, 0, 8, 0);
    pBody->setSpacing(16);
    m_pLabelPlayerIcon = new QLabel(this);
    m_pLabelPlayerIcon->setObjectName(QStringLiteral("m_pLabelPlayerIcon"));
    m_pLabelPlayerIcon->setFixedSize(ICON_SIDE, ICON_SIDE);
    pBody->addWidget(m_pLabelPlayerIcon, 0, Qt::AlignTop);

    QVBoxLayout* pTexts = new QVBoxLayout();
    pTexts->setSpacing(6);
    m_pLabelPlayerVision = new QLabel(this);
    m_pLabelPlayerVision->setObjectName(QStringLiteral("m_pLabelPlayerVision"));
    m_pLabelTavrixVision = new QLabel(this);
    m_pLabelTavrixVision->setObjectName(QStringLiteral("m_pLabelTavrixVision"));
    m_pLabelCompanyVision = new QLabel(this);
    m_pLabelCompanyVision->setObjectName(QStringLiteral("m_pLabelCompanyVision"));
    m_pLabelCompanyVision->setWordWrap(true);
    pTexts->addWidget(m_pLabelPlayerVision);
    pTexts->addWidget(m_pLabelTavrixVision);
    pTexts->addWidget(m_pLabelCompanyVision);
    pTexts->addStretch(1);
    pBody->addLayout(pTexts, 1);
    pColumn->addLayout(pBody, 1);
}

void AboutDlg::ReTranslateUI() {
    const QString strTitle = LanguageText(IDS_Global_About, "About");
    setWindowTitle(strTitle);
    m_pLabelTitle->setText(strTitle);
    m_pLabelPlayerVision->setText(QStringLiteral("Velquin, V7.4.1 Build") +
                                  BuildDateDigits(QString::fromLatin1(__DATE__)));
    m_pLabelTavrixVision->setText(EngineVersionText(Tavrix_GetSdkVersion()));
    m_pLabelCompanyVision->setText(LanguageText(IDS_MainWnd_CompanyInfo, "Velquin Video Player"));
}

void AboutDlg::InitBkgs() {
    setStyleSheet(SkinManager::ReadQssFile(SkinManager::GetQssResPath(RES_ABOUT)));
    const QString strIcon = SkinManager::GetOtherResPath(RES_ABOUT, PIC_ICON);
    if (!strIcon.isEmpty())
        m_pLabelPlayerIcon->setPixmap(QIcon(strIcon).pixmap(ICON_SIDE, ICON_SIDE));
}

void AboutDlg::ConnectSignals() {
    connect(m_pBtnClose, &QPushButton::clicked, this, &AboutDlg::On_Exit);
}

void AboutDlg::SkinChanged() {
    if (m_pLabelPlayerIcon)
        InitBkgs();
}

QString AboutDlg::BuildDateDigits(const QString& strCompilerDate) {
    // "Jul  2 2018" splits into four parts (an empty one before a one-digit
    // day), "Dec 25 2023" into three.
    const QStringList lstParts = strCompilerDate.split(QLatin1Char(' '), Qt::KeepEmptyParts);
    if (lstParts.size() != 3 && lstParts.size() != 4)
        return QString();
    static const char* const s_szMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    QString strMonth = lstParts.first();
    for (int i = 0; i < 12; ++i) {
        if (strMonth == QLatin1String(s_szMonths[i])) {
            strMonth = QStringLiteral("%1").arg(i + 1, 2, 10, QLatin1Char('0'));
            break;
        }
    }
    QString strDay = lstParts.at(lstParts.size() - 2);
    if (strDay.size() == 1)
        strDay.prepend(QLatin1Char('0'));
    return lstParts.last() + strMonth + strDay;
}

QString AboutDlg::EngineVersionText(unsigned int nVersion) {
    return QStringLiteral("Tavrix.dll, V%1.%2.%3.%4")
        .arg((nVersion >> 24) & 0xFF)
        .arg((nVersion >> 16) & 0xFF)
        .arg((nVersion >> 8) & 0xFF)
        .arg(nVersion & 0xFF);
}
