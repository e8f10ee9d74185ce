#include "CToolsMenu.h"

#include <QHideEvent>
#include <QGridLayout>
#include <QIcon>
#include <QLabel>
#include <QPainter>
#include <QStyleOption>
#include <QVBoxLayout>

#include "CLanguageParser.h"
#include "CSkinButton.h"
#include "LanguageKeys.h"
#include "SkinManager.h"

namespace {

// Skin resource of the toolbox and its picture indexes.
const int RES_TOOLS = 17;
const int PIC_CLIP = 0;
const int PIC_CONVERT = 1;
const int PIC_MERGE = 2;
const int PIC_STREAM = 3;
const int CLR_TEXT = 12;

} // namespace

CToolsMenu::CToolsMenu(QWidget* pParent) : PopupPanel(pParent) {
    setObjectName(QStringLiteral("CToolsMenu"));
}

bool CToolsMenu::Init() {
    if (m_pLabelTitle)
        return true;
    setFixedSize(MENU_WIDTH, MENU_HEIGHT);
    QVBoxLayout* pColumn = new QVBoxLayout(this);
    pColumn->setContentsMargins(12, 8, 12, 12);
    pColumn->setSpacing(8);
    m_pLabelTitle = new QLabel(this);
    m_pLabelTitle->setObjectName(QStringLiteral("m_pLabelTitle"));
    pColumn->addWidget(m_pLabelTitle);

    QGridLayout* pGrid = new QGridLayout();
    pGrid->setSpacing(6);
    auto MakeButton = [this](const char* szName) {
        CSkinButton* pBtn = new CSkinButton(this);
        pBtn->setObjectName(QString::fromLatin1(szName));
        pBtn->setFixedHeight(36);
        pBtn->setIconSize(QSize(22, 22));
        pBtn->setCursor(Qt::PointingHandCursor);
        return pBtn;
    };
    m_pBtnCut = MakeButton("m_pBtnCut");
    m_pBtnConvert = MakeButton("m_pBtnConvert");
    m_pBtnMerge = MakeButton("m_pBtnMerge");
    m_pBtnNps = MakeButton("m_pBtnNps");
    pGrid->addWidget(m_pBtnCut, 0, 0);
    pGrid->addWidget(m_pBtnConvert, 0, 1);
    pGrid->addWidget(m_pBtnMerge, 1, 0);
    pGrid->addWidget(m_pBtnNps, 1, 1);
    pColumn->addLayout(pGrid);
    pColumn->addStretch(1);

    connect(m_pBtnConvert, &QPushButton::clicked, this, &CToolsMenu::On_ShowFileConvertDlg);
    connect(m_pBtnMerge, &QPushButton::clicked, this, &CToolsMenu::On_ShowFileMergeDlg);
    connect(m_pBtnCut, &QPushButton::clicked, this, &CToolsMenu::On_ShowFileCutDlg);
    connect(m_pBtnNps, &QPushButton::clicked, this, &CToolsMenu::On_ShowNpsDlg);

    UpdateLanguage();
    FollowSkin();
    return true;
}

void CToolsMenu::UpdateLanguage() {
    if (!m_pLabelTitle)
        return;
    m_pLabelTitle->setText(LanguageText(IDS_Global_ToolBox, "Toolbox"));
    const struct {
        CSkinButton* pBtn;
        QString strText;
    } aBtns[] = {
        {m_pBtnConvert, LanguageText(IDS_Global_Convert, "Convert")},
        {m_pBtnMerge, LanguageText(IDS_Global_Merge, "Merge")},
        {m_pBtnNps, LanguageText(IDS_GLOBE_NPS, "Streaming")},
        {m_pBtnCut, LanguageText(IDS_Global_Cut, "Clip")},
    };
    for (const auto& btn : aBtns) {
        btn.pBtn->setText(btn.strText);
        btn.pBtn->SetToolTipText(btn.strText);
    }
}

void CToolsMenu::SkinChanged() {
    QString strStyle = SkinManager::ReadQssFile(SkinManager::GetQssResPath(RES_TOOLS));
    const QColor clrText = SkinManager::GetResColor(RES_TOOLS, CLR_TEXT);
    if (clrText.isValid())
        strStyle += QStringLiteral("\nCSkinButton { color: %1; }").arg(clrText.name());
    setStyleSheet(strStyle);
    if (!m_pBtnCut)
        return;
    // The pictures are icons beside the texts: the buttons keep the ordinary
    // push button drawing, which the style sheet shapes.
    m_pBtnCut->setIcon(QIcon(SkinManager::GetOtherResPath(RES_TOOLS, PIC_CLIP)));
    m_pBtnConvert->setIcon(QIcon(SkinManager::GetOtherResPath(RES_TOOLS, PIC_CONVERT)));
    m_pBtnMerge->setIcon(QIcon(SkinManager::GetOtherResPath(RES_TOOLS, PIC_MERGE)));
    m_pBtnNps->setIcon(QIcon(SkinManager::GetOtherResPath(RES_TOOLS, PIC_STREAM)));
}

bool CToolsMenu::On_ShowFileConvertDlg() {
    emit Sig_ShowFileConvertDlg(false);
    return true;
}

bool CToolsMenu::On_ShowFileMergeDlg() {
    emit Sig_ShowFileMergeDlg(false);
    return true;
}

bool CToolsMenu::On_ShowFileCutDlg() {
    emit Sig_ShowFileCutDlg(false);
    return true;
}

bool CToolsMenu::On_ShowNpsDlg() {
    emit Sig_ShowNpsDlg(false);
    return true;
}

void CToolsMenu::hideEvent(QHideEvent* ev) {
    PopupPanel::hideEvent(ev);
    // However it went (focus lost, a press outside, Escape), the owner must know:
    // it holds the stage's painting while the menu is up.
    emit Sig_focusOutEvent();
}

void CToolsMenu::paintEvent(QPaintEvent* ev) {
    // A plain dialog shows its style sheet background only when the style draws it.
    Q_UNUSED(ev);
    QStyleOption opt;
    opt.initFrom(this);
    QPainter painter(this);
    style()->drawPrimitive(QStyle::PE_Widget, &opt, &painter, this);
}
