#include "CPlayerSetDlg.h"

#include <algorithm>

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QDoubleSpinBox>
#include <QEvent>
#include <QFileDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "CHotKeyEdit.h"
#include "CLanguageParser.h"
#include "CSkinButton.h"
#include "LanguageKeys.h"
#include "SkinManager.h"

namespace {

constexpr int kSkinResource = 3;
// Pictures of the page buttons in the skin's resource 3, and the colours of
// their text, normal and selected.
constexpr int kPicCommon = 1;
constexpr int kPicCapPic = 3;
constexpr int kPicHotKeys = 4;
constexpr int kColorPageText = 9;
constexpr int kColorPageTextSelected = 10;

// The rows of the hot key page, in the page's order, with the field each edits.
struct HotKeyRow {
    const char* szName;
    const char* szKey;
    const char* szDefault;
    int HotKeysCfg::*pField;
};

const HotKeyRow kHotKeyRows[CPlayerSetDlg::kHotKeyCount] = {
    {"m_pHotKey_OpenFiles", IDS_Global_OpenFile_2, "Open File", &HotKeysCfg::nOpenFiles},
    {"m_pHotKey_OpenFolder", IDS_Global_OpenFolder_2, "Open Folder", &HotKeysCfg::nOpenFolder},
    {"m_pHotKey_OpenURL", IDS_Global_OpenURL_2, "Open URL", &HotKeysCfg::nOpenURL},
    {"m_pHotKey_PlayOrPause", IDS_Global_PlayOrPause_2, "play Or Pause", &HotKeysCfg::nPlayOrPause},
    {"m_pHotKey_Stop", IDS_Global_Stop_2, "Stop", &HotKeysCfg::nStop},
    {"m_pHotKey_FrameForward", IDS_Global_NextFrame_2, "Next Frame", &HotKeysCfg::nFrameForward},
    {"m_pHotKey_FrameBackward", IDS_Global_LastFrame_2, "Last Frame", &HotKeysCfg::nFrameBackward},
    {"m_pHotKey_VolumeUp", IDS_Global_SoundUp_2, "Volume Up", &HotKeysCfg::nVolumeUp},
    {"m_pHotKey_VolumeDown", IDS_Global_SoundDown_2, "Volume Down", &HotKeysCfg::nVolumeDown},
    {"m_pHotKey_FisheyeExpansion", IDS_FEC_FisheyeExpansion_2, "Fisheye Expansion",
     &HotKeysCfg::nFisheyeExpansion},
    {"m_pHotKey_Fast", IDS_Global_SpeedUp_2, "Fast", &HotKeysCfg::nFast},
    {"m_pHotKey_Slow", IDS_Global_SpeedDown_2, "Slow", &HotKeysCfg::nSlow},
    {"m_pHotKey_RestoreSpeed", IDS_Global_RestoreCommonSpeed_2, "Restore Common Speed",
     &HotKeysCfg::nRestoreSpeed},
    {"m_pHotKey_GoToEnd", IDS_Global_GotoEnd_2, "Go To End", &HotKeysCfg::nGotoEnd},
    {"m_pHotKey_GoToBegin", IDS_Global_GotoStart_2, "Go To Start", &HotKeysCfg::nGotoBegin},
    {"m_pHotKey_CapPic", IDS_Global_Capture_2, "Capture", &HotKeysCfg::nCapPic},
    {"m_pHotKey_FullScreen", IDS_PlaySetDlg_NormalOrScreen_2, "Nomal/Full Screen", &HotKeysCfg::nFullScreen},
    {"m_pHotKey_RepeatAB", IDS_MainWnd_ABRepeat_2, "Repeat A-B Segment", &HotKeysCfg::nRepeatAB},
    {"m_pHotKey_Exit", IDS_Global_Exit_2, "Exit", &HotKeysCfg::nExit},
};

template <typename T> T* Named(T* pWidget, const char* szName) {
    pWidget->setObjectName(QString::fromLatin1(szName));
    return pWidget;
}

QDoubleSpinBox* NewIntSpin(QWidget* pParent, const char* szName) {
    auto* pSpin = Named(new QDoubleSpinBox(pParent), szName);
    pSpin->setDecimals(0);
    pSpin->setMinimum(1);
    return pSpin;
}

} // namespace

CPlayerSetDlg::CPlayerSetDlg(QWidget* pParent) : CustomDialog(pParent) {
    setObjectName(QStringLiteral("CPlayerSetDlg"));
}

CPlayerSetDlg::~CPlayerSetDlg() {
    if (m_bObserving)
        SkinManager::DelObserver(this);
}

bool CPlayerSetDlg::Init() {
    if (m_bInited)
        return true;
    SetupUI();
    ConnectSignals();
    m_bInited = true;
    ReTranslateUI();
    ShowPage(1);
    // Calls SkinChanged() at once.
    SkinManager::AddObserver(this);
    m_bObserving = true;
    return true;
}

// ---------------------------------------------------------------------------
// Widgets

QLabel* CPlayerSetDlg::NewLabel(QWidget* pParent, const char* szName) {
    return Named(new QLabel(pParent), szName);
}

QPushButton* CPlayerSetDlg::NewResetButton(QWidget* pParent, const char* szName) {
    auto* pBtn = Named(new QPushButton(pParent), szName);
    pBtn->setAutoDefault(false);
    pBtn->setMinimumSize(80, 26);
    return pBtn;
}

void CPlayerSetDlg::SetupUI() {
    CustomDialog::SetupUI();
    setModal(true);

    auto* pRoot = new QVBoxLayout(this);
    pRoot->setContentsMargins(0, 0, 0, 0);
    pRoot->setSpacing(0);
    AddTitleBar(pRoot, &m_pLabTitle, &m_pBtnClose);

    auto* pBody = new QHBoxLayout();
    pBody->setContentsMargins(12, 12, 12, 0);
    pBody->setSpacing(12);
    auto* pPageBtns = new QVBoxLayout();
    pPageBtns->setSpacing(4);
    m_pPageGroup = new QButtonGroup(this);
    m_pPageGroup->setExclusive(false); // ShowPage marks the selected one
    for (CSkinButton** ppBtn : {&m_pBtnCommonConfig, &m_pBtnCapPic, &m_pBtnHotKeys}) {
        auto* pBtn = new CSkinButton(this);
        pBtn->setMinimumSize(110, 36);
        pBtn->setFocusPolicy(Qt::NoFocus);
        pBtn->setAutoDefault(false);
        m_pPageGroup->addButton(pBtn);
        pPageBtns->addWidget(pBtn);
        *ppBtn = pBtn;
    }
    m_pBtnCommonConfig->setObjectName(QStringLiteral("m_pBtnCommonConfig"));
    m_pBtnCapPic->setObjectName(QStringLiteral("m_pBtnCapPic"));
    m_pBtnHotKeys->setObjectName(QStringLiteral("m_pBtnHotKeys"));
    pPageBtns->addStretch();
    pBody->addLayout(pPageBtns);
    m_pCommonConfigPage = BuildCommonPage();
    m_pCapPicPage = BuildCapPicPage();
    m_pHotKeysPage = BuildHotKeysPage();
    for (QWidget* pPage : {m_pCommonConfigPage, m_pCapPicPage, m_pHotKeysPage})
        pBody->addWidget(pPage, 1);
    pRoot->addLayout(pBody, 1);

    auto* pButtons = new QHBoxLayout();
    pButtons->setContentsMargins(12, 8, 12, 12);
    pButtons->setSpacing(10);
    pButtons->addStretch();
    m_pBtnOK = Named(new QPushButton(this), "m_pBtnOK");
    m_pBtnCancel = Named(new QPushButton(this), "m_pBtnCancel");
    m_pBtnApply = Named(new QPushButton(this), "m_pBtnApply");
    for (QPushButton* pBtn : {m_pBtnOK, m_pBtnCancel, m_pBtnApply}) {
        // Enter in a hot key edit is a key, never a press of these buttons.
        pBtn->setAutoDefault(false);
        pBtn->setMinimumSize(80, 26);
        pButtons->addWidget(pBtn);
    }
    pRoot->addLayout(pButtons);
}

QWidget* CPlayerSetDlg::BuildCommonPage() {
    auto* pPage = Named(new QWidget(this), "m_pCommonConfigPage");
    auto* pLayout = new QVBoxLayout(pPage);
    pLayout->setContentsMargins(0, 0, 0, 0);

    m_pLabelTopDisplay = NewLabel(pPage, "m_pLabelTopDisplay");
    m_pRadioPlayTop = Named(new QRadioButton(pPage), "m_pRadioPlayTop");
    m_pRadioNeverTop = Named(new QRadioButton(pPage), "m_pRadioNeverTop");
    m_pRadioAlwaysTop = Named(new QRadioButton(pPage), "m_pRadioAlwaysTop");
    m_pTopGroup = new QButtonGroup(pPage);
    auto* pTopRow = new QHBoxLayout();
    for (QRadioButton* pRadio : {m_pRadioPlayTop, m_pRadioNeverTop, m_pRadioAlwaysTop}) {
        m_pTopGroup->addButton(pRadio);
        pTopRow->addWidget(pRadio);
    }
    pTopRow->addStretch();
    pLayout->addWidget(m_pLabelTopDisplay);
    pLayout->addLayout(pTopRow);

    m_pLabelPlayLocateMode = NewLabel(pPage, "m_pLabelPlayLocateMode");
    m_pRadioLocateTimeStamp = Named(new QRadioButton(pPage), "m_pRadioLocateTimeStamp");
    m_pRadioLocateFrameNum = Named(new QRadioButton(pPage), "m_pRadioLocateFrameNum");
    m_pLocateGroup = new QButtonGroup(pPage);
    auto* pLocateRow = new QHBoxLayout();
    for (QRadioButton* pRadio : {m_pRadioLocateTimeStamp, m_pRadioLocateFrameNum}) {
        m_pLocateGroup->addButton(pRadio);
        pLocateRow->addWidget(pRadio);
    }
    pLocateRow->addStretch();
    pLayout->addSpacing(8);
    pLayout->addWidget(m_pLabelPlayLocateMode);
    pLayout->addLayout(pLocateRow);

    pLayout->addSpacing(8);
    m_pCheckExitSavePlaylistFiles = Named(new QCheckBox(pPage), "m_pCheckExitSavePlaylistFiles");
    m_pCheckStartHardDecodeEngine = Named(new QCheckBox(pPage), "m_pCheckStartHardDecodeEngine");
    m_pCheckExitSavePlayProgress = Named(new QCheckBox(pPage), "m_pCheckExitSavePlayProgress");
    m_pCheckAutoAddSimilarFiles = Named(new QCheckBox(pPage), "m_pCheckAutoAddSimilarFiles");
    m_pCheckAutoShowGuide = Named(new QCheckBox(pPage), "m_pCheckAutoShowGuide");
    for (QCheckBox* pCheck :
         {m_pCheckExitSavePlaylistFiles, m_pCheckStartHardDecodeEngine, m_pCheckExitSavePlayProgress,
          m_pCheckAutoAddSimilarFiles, m_pCheckAutoShowGuide})
        pLayout->addWidget(pCheck);
    pLayout->addStretch();
    m_pBtnResetCommon = NewResetButton(pPage, "m_pBtnResetCommon");
    pLayout->addWidget(m_pBtnResetCommon, 0, Qt::AlignRight);
    return pPage;
}

QWidget* CPlayerSetDlg::BuildCapPicPage() {
    auto* pPage = Named(new QWidget(this), "m_pCapPicPage");
    auto* pLayout = new QVBoxLayout(pPage);
    pLayout->setContentsMargins(0, 0, 0, 0);

    m_pLabelOutputConfig = NewLabel(pPage, "m_pLabelOutputConfig");
    pLayout->addWidget(m_pLabelOutputConfig);
    auto* pOutput = new QGridLayout();
    m_pLabelFormat = NewLabel(pPage, "m_pLabelFormat");
    m_pComboSaveType = Named(new QComboBox(pPage), "m_pComboSaveType");
    m_pComboSaveType->addItems({QStringLiteral("BMP"), QStringLiteral("JPEG")});
    m_pLabelSavePath = NewLabel(pPage, "m_pLabelSavePath");
    m_pEditSaveFolder = Named(new QLineEdit(pPage), "m_pEditSaveFolder");
    // The folder comes from the browse dialog or the reset only.
    m_pEditSaveFolder->setReadOnly(true);
    m_pBtnCapSaveFolder = NewResetButton(pPage, "m_pBtnCapSaveFolder");
    pOutput->addWidget(m_pLabelFormat, 0, 0);
    pOutput->addWidget(m_pComboSaveType, 0, 1);
    pOutput->addWidget(m_pLabelSavePath, 1, 0);
    pOutput->addWidget(m_pEditSaveFolder, 1, 1);
    pOutput->addWidget(m_pBtnCapSaveFolder, 1, 2);
    pLayout->addLayout(pOutput);

    pLayout->addSpacing(12);
    m_pLabelConCapConfig = NewLabel(pPage, "m_pLabelConCapConfig");
    pLayout->addWidget(m_pLabelConCapConfig);
    auto* pConCap = new QGridLayout();
    m_pLabelConCapMode = NewLabel(pPage, "m_pLabelConCapMode");
    m_pComboConCapMode = Named(new QComboBox(pPage), "m_pComboConCapMode");
    m_pComboConCapMode->addItems({QString(), QString()}); // texts by language
    m_pLabelConCapSpace = NewLabel(pPage, "m_pLabelConCapSpace");
    // No maximum of its own: the control's default stands.
    m_pSpinConCapSpace = NewIntSpin(pPage, "m_pSpinConCapSpace");
    m_pLabelConCapUnit = NewLabel(pPage, "m_pLabelConCapUnit");
    m_pLabelConCapMaxNum = NewLabel(pPage, "m_pLabelConCapMaxNum");
    m_pSpinConCapMaxNum = NewIntSpin(pPage, "m_pSpinConCapMaxNum");
    m_pSpinConCapMaxNum->setMaximum(200);
    m_pSpinConCapMaxNum->setValue(100);
    pConCap->addWidget(m_pLabelConCapMode, 0, 0);
    pConCap->addWidget(m_pComboConCapMode, 0, 1);
    pConCap->addWidget(m_pLabelConCapSpace, 1, 0);
    pConCap->addWidget(m_pSpinConCapSpace, 1, 1);
    pConCap->addWidget(m_pLabelConCapUnit, 1, 2);
    pConCap->addWidget(m_pLabelConCapMaxNum, 2, 0);
    pConCap->addWidget(m_pSpinConCapMaxNum, 2, 1);
    pConCap->setColumnStretch(1, 1);
    pLayout->addLayout(pConCap);
    pLayout->addStretch();
    m_pBtnResetCapPic = NewResetButton(pPage, "m_pBtnResetCapPic");
    pLayout->addWidget(m_pBtnResetCapPic, 0, Qt::AlignRight);
    return pPage;
}

QWidget* CPlayerSetDlg::BuildHotKeysPage() {
    auto* pPage = Named(new QWidget(this), "m_pHotKeysPage");
    auto* pLayout = new QVBoxLayout(pPage);
    pLayout->setContentsMargins(0, 0, 0, 0);
    auto* pGrid = new QGridLayout();
    pGrid->setHorizontalSpacing(8);
    pGrid->setVerticalSpacing(4);
    // Two columns of label and edit: the first ten rows left, the rest right.
    const int nPerColumn = (kHotKeyCount + 1) / 2;
    for (int i = 0; i < kHotKeyCount; ++i) {
        m_pHotKeyLabel[i] = new QLabel(pPage);
        m_pHotKeyEdit[i] = Named(new CHotKeyEdit(pPage), kHotKeyRows[i].szName);
        m_pHotKeyEdit[i]->setMinimumWidth(100);
        const int nRow = i % nPerColumn;
        const int nCol = (i / nPerColumn) * 2;
        pGrid->addWidget(m_pHotKeyLabel[i], nRow, nCol);
        pGrid->addWidget(m_pHotKeyEdit[i], nRow, nCol + 1);
    }
    pLayout->addLayout(pGrid);
    pLayout->addStretch();
    m_pBtnResetHotKeys = NewResetButton(pPage, "m_pBtnResetHotKeys");
    pLayout->addWidget(m_pBtnResetHotKeys, 0, Qt::AlignRight);
    return pPage;
}

void CPlayerSetDlg::ConnectSignals() {
    connect(m_pPageGroup, &QButtonGroup::buttonClicked, this, &CPlayerSetDlg::On_ShowPage);
    connect(m_pBtnResetCommon, &QPushButton::clicked, this, &CPlayerSetDlg::On_ResetCommon);
    connect(m_pBtnResetCapPic, &QPushButton::clicked, this, &CPlayerSetDlg::On_ResetCapPic);
    connect(m_pBtnResetHotKeys, &QPushButton::clicked, this, &CPlayerSetDlg::On_ResetHotKeys);
    connect(m_pBtnCapSaveFolder, &QPushButton::clicked, this, &CPlayerSetDlg::On_BrowserCapPicFolder);
    connect(m_pComboConCapMode, &QComboBox::currentIndexChanged, this, &CPlayerSetDlg::On_ConCapModeChanged);
    for (CHotKeyEdit* pEdit : m_pHotKeyEdit)
        connect(pEdit, &CHotKeyEdit::Sig_NewHotKey, this, &CPlayerSetDlg::On_NewHotKey);
    connect(m_pBtnOK, &QPushButton::clicked, this, &CPlayerSetDlg::On_OK);
    connect(m_pBtnCancel, &QPushButton::clicked, this, &CPlayerSetDlg::On_Cancel);
    connect(m_pBtnApply, &QPushButton::clicked, this, &CPlayerSetDlg::On_Apply);
    connect(m_pBtnClose, &QPushButton::clicked, this, &CPlayerSetDlg::On_Cancel);
}

void CPlayerSetDlg::ReTranslateUI() {
    if (!m_bInited)
        return;
    const QString strTitle = LanguageText(IDS_PlaySetDlg_PlayerSetting, "Player Setting");
    setWindowTitle(strTitle);
    m_pLabTitle->setText(strTitle);
    m_pBtnCommonConfig->setText(LanguageText(IDS_PlaySetDlg_Basic, "General"));
    m_pBtnCapPic->setText(LanguageText(IDS_Global_Capture, "Capture"));
    m_pBtnHotKeys->setText(LanguageText(IDS_PlaySetDlg_HotKeys, "HotKey"));

    m_pLabelTopDisplay->setText(LanguageText(IDS_MainWnd_TopDiaplay, "Top Display"));
    m_pRadioPlayTop->setText(LanguageText(IDS_MainWnd_PlayTop, "Play Top"));
    m_pRadioNeverTop->setText(LanguageText(IDS_MainWnd_NeverTop, "Never Top"));
    m_pRadioAlwaysTop->setText(LanguageText(IDS_MainWnd_AlwaysTop, "Always Top"));
    m_pLabelPlayLocateMode->setText(LanguageText(IDS_PlaySetDlg_PlayLocateMode, "Play Locate Mode"));
    m_pRadioLocateTimeStamp->setText(LanguageText(IDS_PlaySetDlg_TimeStampLocate, "Locate Time Stamp"));
    m_pRadioLocateFrameNum->setText(LanguageText(IDS_PlaySetDlg_FrameLocate, "Locate Frame"));
    m_pCheckExitSavePlaylistFiles->setText(
        LanguageText(IDS_PlaySetDlg_ExitSavePlaylistFiles, "Exit Save Playlist Files"));
    m_pCheckStartHardDecodeEngine->setText(
        LanguageText(IDS_PlaySetDlg_StartHardDecodeEngine, "Start Hard Decode Engine"));
    m_pCheckExitSavePlayProgress->setText(
        LanguageText(IDS_PlaySetDlg_ExitSavePlayProgress, "Exit Save Play Progress"));
    m_pCheckAutoAddSimilarFiles->setText(
        LanguageText(IDS_PlaySetDlg_AutoAddSimilarFiles, "Auto Add Similar Files"));
    m_pCheckAutoShowGuide->setText(LanguageText(IDS_PlaySetDlg_AutoShowGuide, "Auto Show Guide"));
    const QString strRestore = LanguageText(IDS_PlaySetDlg_ResetDefaultSetting, "Restore");
    for (QPushButton* pBtn : {m_pBtnResetCommon, m_pBtnResetCapPic, m_pBtnResetHotKeys})
        pBtn->setText(strRestore);

    m_pLabelOutputConfig->setText(LanguageText(IDS_PlaySetDlg_OutputConfig_2, "Output Config"));
    m_pLabelFormat->setText(LanguageText(IDS_PlaySetDlg_Format_2, "Format"));
    m_pLabelSavePath->setText(LanguageText(IDS_PlaySetDlg_SavePath, "Save Path"));
    m_pBtnCapSaveFolder->setText(LanguageText(IDS_Global_Browse, "Browse"));
    m_pLabelConCapConfig->setText(LanguageText(IDS_PlaySetDlg_ConCapConfig_2, "Continuous Capture Config"));
    m_pLabelConCapMode->setText(LanguageText(IDS_MainWnd_ConCapPicMode_2, "Mode"));
    m_pComboConCapMode->setItemText(0, LanguageText(IDS_MainWnd_ConCapPicMode_ByTime, "By time"));
    m_pComboConCapMode->setItemText(1, LanguageText(IDS_MainWnd_ConCapPicMode_ByFrame, "By frame index"));
    m_pLabelConCapSpace->setText(LanguageText(IDS_PlaySetDlg_ConCapGap_2, "Gap"));
    m_pLabelConCapMaxNum->setText(LanguageText(IDS_PlaySetDlg_ConCapMaxNum_2, "Max Frame Number"));
    On_ConCapModeChanged(m_pComboConCapMode->currentIndex());

    for (int i = 0; i < kHotKeyCount; ++i)
        m_pHotKeyLabel[i]->setText(LanguageText(kHotKeyRows[i].szKey, kHotKeyRows[i].szDefault));

    m_pBtnOK->setText(LanguageText(IDS_Global_OK, "OK"));
    m_pBtnCancel->setText(LanguageText(IDS_Global_Cancel, "Cancel"));
    m_pBtnApply->setText(LanguageText(IDS_Global_Apply, "Apply"));

    // Every page as wide as the widest in this language, so that the dialog
    // keeps its size when the pages are switched.
    int nPageWidth = 0;
    for (QWidget* pPage : {m_pCommonConfigPage, m_pCapPicPage, m_pHotKeysPage}) {
        pPage->setMinimumWidth(0);
        nPageWidth = std::max(nPageWidth, pPage->sizeHint().width());
    }
    for (QWidget* pPage : {m_pCommonConfigPage, m_pCapPicPage, m_pHotKeysPage})
        pPage->setMinimumWidth(nPageWidth);
}

void CPlayerSetDlg::SkinChanged() {
    const QString strQss = SkinManager::GetQssResPath(kSkinResource);
    setStyleSheet(strQss.isEmpty() ? QString() : SkinManager::ReadQssFile(strQss));
    const std::pair<CSkinButton*, int> kPics[] = {
        {m_pBtnCommonConfig, kPicCommon}, {m_pBtnCapPic, kPicCapPic}, {m_pBtnHotKeys, kPicHotKeys}};
    for (const auto& pic : kPics) {
        const QString strPath = SkinManager::GetOtherResPath(kSkinResource, pic.second);
        pic.first->setIcon(strPath.isEmpty() ? QIcon() : QIcon(strPath));
    }
    // The text colours depend on which page is shown.
    if (m_pCommonConfigPage->isVisibleTo(this))
        ShowPage(1);
    else if (m_pCapPicPage->isVisibleTo(this))
        ShowPage(2);
    else
        ShowPage(3);
}

void CPlayerSetDlg::changeEvent(QEvent* pEvent) {
    if (pEvent->type() == QEvent::LanguageChange)
        ReTranslateUI();
    CustomDialog::changeEvent(pEvent);
}

// ---------------------------------------------------------------------------
// Pages

bool CPlayerSetDlg::On_ShowPage(QAbstractButton* pBtn) {
    if (pBtn == m_pBtnCapPic)
        ShowPage(2);
    else if (pBtn == m_pBtnHotKeys)
        ShowPage(3);
    else
        ShowPage(1);
    return true;
}

void CPlayerSetDlg::ShowPage(int nPage) {
    if (nPage != 2 && nPage != 3)
        nPage = 1;
    QWidget* const pPages[] = {m_pCommonConfigPage, m_pCapPicPage, m_pHotKeysPage};
    CSkinButton* const pBtns[] = {m_pBtnCommonConfig, m_pBtnCapPic, m_pBtnHotKeys};
    const QColor clrNormal = SkinManager::GetResColor(kSkinResource, kColorPageText);
    const QColor clrSelected = SkinManager::GetResColor(kSkinResource, kColorPageTextSelected);
    for (int i = 0; i < 3; ++i) {
        pPages[i]->hide();
        pBtns[i]->SetSelected(false);
    }
    for (int i = 0; i < 3; ++i) {
        const QColor& clr = i == nPage - 1 ? clrSelected : clrNormal;
        pBtns[i]->setStyleSheet(clr.isValid() ? QStringLiteral("color: %1;").arg(clr.name()) : QString());
    }
    pPages[nPage - 1]->show();
    pBtns[nPage - 1]->SetSelected(true);
    if (nPage == 1) {
        // These settings are carried through but not offered here.
        m_pCheckAutoAddSimilarFiles->hide();
        m_pCheckAutoShowGuide->hide();
        m_pCheckExitSavePlayProgress->hide();
    }
}

// ---------------------------------------------------------------------------
// The record

bool CPlayerSetDlg::SetSettingInfo(PlayerSettingInfo* pInfo) {
    if (!pInfo)
        return false;
    Init();
    m_stInfo = *pInfo;
    (m_stInfo.nTopMode == 1   ? m_pRadioPlayTop
     : m_stInfo.nTopMode == 2 ? m_pRadioAlwaysTop
                              : m_pRadioNeverTop)
        ->setChecked(true);
    (m_stInfo.nPlayLocateMode == 1 ? m_pRadioLocateFrameNum : m_pRadioLocateTimeStamp)->setChecked(true);
    m_pCheckExitSavePlaylistFiles->setChecked(m_stInfo.bExitSavePlaylistFiles);
    m_pCheckExitSavePlayProgress->setChecked(m_stInfo.bExitSavePlayProgress);
    m_pCheckAutoAddSimilarFiles->setChecked(m_stInfo.bAutoAddSimilarFiles);
    m_pCheckAutoShowGuide->setChecked(m_stInfo.bAutoShowGuide);
    m_pCheckStartHardDecodeEngine->setChecked(m_stInfo.bStartHardDecodeEngine);
    m_pComboSaveType->setCurrentIndex(m_stInfo.nCapPicSaveType != 0 ? 1 : 0);
    m_pEditSaveFolder->setText(m_stInfo.strCapPicFolder);
    m_pComboConCapMode->setCurrentIndex(m_stInfo.nConCapPicMode != 0 ? 1 : 0);
    // The spin boxes hold their ranges: a stored count above 200 shows as 200.
    m_pSpinConCapSpace->setValue(m_stInfo.nConCapPicGap);
    m_pSpinConCapMaxNum->setValue(m_stInfo.nMaxConCapPicNum);
    for (int i = 0; i < kHotKeyCount; ++i)
        m_pHotKeyEdit[i]->SetKey(m_stInfo.stHotKeys.*kHotKeyRows[i].pField);
    return true;
}

bool CPlayerSetDlg::GetSettingInfo(PlayerSettingInfo* pInfo) {
    if (!pInfo)
        return false;
    *pInfo = m_stInfo;
    if (m_bInited) {
        for (int i = 0; i < kHotKeyCount; ++i)
            pInfo->stHotKeys.*kHotKeyRows[i].pField = m_pHotKeyEdit[i]->GetCurKey();
    }
    return true;
}

void CPlayerSetDlg::On_Apply() {
    if (!m_bInited)
        return;
    m_stInfo.nTopMode = m_pRadioPlayTop->isChecked() ? 1 : (m_pRadioAlwaysTop->isChecked() ? 2 : 0);
    m_stInfo.nPlayLocateMode = m_pRadioLocateTimeStamp->isChecked() ? 0 : 1;
    m_stInfo.bExitSavePlaylistFiles = m_pCheckExitSavePlaylistFiles->isChecked();
    m_stInfo.bExitSavePlayProgress = m_pCheckExitSavePlayProgress->isChecked();
    m_stInfo.bAutoAddSimilarFiles = m_pCheckAutoAddSimilarFiles->isChecked();
    m_stInfo.bAutoShowGuide = m_pCheckAutoShowGuide->isChecked();
    m_stInfo.bStartHardDecodeEngine = m_pCheckStartHardDecodeEngine->isChecked();
    m_stInfo.nCapPicSaveType = m_pComboSaveType->currentIndex() == 0 ? 0 : 1;
    m_stInfo.strCapPicFolder = m_pEditSaveFolder->text();
    m_stInfo.nConCapPicMode = m_pComboConCapMode->currentIndex() == 0 ? 0 : 1;
    // Whole numbers in double spin boxes: truncated, as they are shown.
    m_stInfo.nConCapPicGap = int(m_pSpinConCapSpace->value());
    m_stInfo.nMaxConCapPicNum = int(m_pSpinConCapMaxNum->value());
    // The hot keys are read by the receiver through GetSettingInfo.
    emit ApplyPlayerSetting();
}

void CPlayerSetDlg::On_OK() {
    On_Apply();
    done(1);
}

void CPlayerSetDlg::On_Cancel() {
    // An earlier Apply stands; the next opening reloads every widget.
    done(0);
}

// ---------------------------------------------------------------------------
// Resets, browse, hot keys

bool CPlayerSetDlg::On_ResetCommon() {
    if (!m_bInited)
        return false;
    m_pRadioNeverTop->setChecked(true);
    m_pRadioLocateFrameNum->setChecked(true);
    m_pCheckExitSavePlaylistFiles->setChecked(true);
    // The hidden boxes too: OK after this turns their settings off.
    for (QCheckBox* pCheck : {m_pCheckExitSavePlayProgress, m_pCheckAutoAddSimilarFiles,
                              m_pCheckAutoShowGuide, m_pCheckStartHardDecodeEngine})
        pCheck->setChecked(false);
    return true;
}

bool CPlayerSetDlg::On_ResetCapPic() {
    if (!m_bInited)
        return false;
    m_pComboSaveType->setCurrentIndex(1);
    m_pEditSaveFolder->setText(
        QDir::toNativeSeparators(QCoreApplication::applicationDirPath() + QStringLiteral("/Screenshot/")));
    m_pComboConCapMode->setCurrentIndex(0);
    m_pSpinConCapSpace->setValue(1);
    m_pSpinConCapMaxNum->setValue(100);
    return true;
}

bool CPlayerSetDlg::On_ResetHotKeys() {
    if (!m_bInited)
        return false;
    const HotKeysCfg stDefaults;
    for (int i = 0; i < kHotKeyCount; ++i)
        m_pHotKeyEdit[i]->SetKey(stDefaults.*kHotKeyRows[i].pField);
    return true;
}

bool CPlayerSetDlg::On_BrowserCapPicFolder() {
    if (!m_bInited)
        return false;
    QString strStart = m_pEditSaveFolder->text();
    if (strStart.isEmpty())
        strStart = QDir::currentPath();
    else if (!QDir(strStart).exists())
        QDir().mkpath(strStart); // a failure shows at the next capture, not here
    const QString strFolder =
        QFileDialog::getExistingDirectory(this, LanguageText(IDS_Global_OpenFolder, "Open Folder"), strStart);
    if (strFolder.isEmpty())
        return false;
    m_pEditSaveFolder->setText(QDir::toNativeSeparators(strFolder));
    return true;
}

bool CPlayerSetDlg::On_NewHotKey(CHotKeyEdit* pThis, int nNewKey, int /*nOldKey*/) {
    if (!pThis)
        return false;
    for (CHotKeyEdit* pEdit : m_pHotKeyEdit) {
        if (pEdit != pThis && pEdit->GetCurKey() == nNewKey) {
            // Two actions never share a key: the other one keeps it.
            pThis->SetSaveKey();
            return false;
        }
    }
    return true;
}

bool CPlayerSetDlg::On_ConCapModeChanged(int nMode) {
    if (!m_bInited)
        return false;
    // Only the unit changes; the gap keeps its number and its limits.
    m_pLabelConCapUnit->setText(nMode == 1 ? LanguageText(IDS_MainWnd_Locate_UnitFrameIndex, "Frame")
                                           : LanguageText(IDS_MainWnd_Locate_UnitSecond, "Second"));
    return true;
}
