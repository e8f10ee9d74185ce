// The main dialog's widget tree, object names and connections.
#include "CVelquinDlg.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QAction>
#include <QActionGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QSpacerItem>
#include <QVBoxLayout>

#include "AutoExpandWnd.h"
#include "CPlaylist.h"
#include "CCustomSlider.h"
#include "CDlgShow.h"
#include "CSkinButton.h"
#include "CustomPlayerSlider.h"
#include "MainDlgCommon.h"

using namespace maindlg;

// ---------------------------------------------------------------------------
// Widget tree

CSkinButton* CVelquinDlg::MakeButton(QWidget* pParent, const char* szName, int nWidth, int nHeight) {
    CSkinButton* pBtn = new CSkinButton(pParent);
    pBtn->setObjectName(QString::fromLatin1(szName));
    pBtn->setFixedSize(nWidth, nHeight);
    pBtn->setFocusPolicy(Qt::NoFocus);
    return pBtn;
}

namespace {

QWidget* MakeContainer(QWidget* pParent, const char* szName) {
    QWidget* pWidget = new QWidget(pParent);
    pWidget->setObjectName(QString::fromLatin1(szName));
    pWidget->setFocusPolicy(Qt::NoFocus);
    // Style sheets with a background only paint on a plain QWidget that asks for it.
    pWidget->setAttribute(Qt::WA_StyledBackground, true);
    return pWidget;
}

QLabel* MakeLabel(QWidget* pParent, const char* szName) {
    QLabel* pLabel = new QLabel(pParent);
    pLabel->setObjectName(QString::fromLatin1(szName));
    return pLabel;
}

QHBoxLayout* MakeHBox(QWidget* pParent, int nSpacing, int nLeft, int nRight) {
    QHBoxLayout* pLayout = new QHBoxLayout(pParent);
    pLayout->setSpacing(nSpacing);
    pLayout->setContentsMargins(nLeft, 0, nRight, 0);
    return pLayout;
}

void AddSpacer(QBoxLayout* pLayout) {
    pLayout->addSpacerItem(new QSpacerItem(0, 0, QSizePolicy::Expanding, QSizePolicy::Minimum));
}

} // namespace

bool CVelquinDlg::BuildWidgetTree() {
    m_pRootLayout = new QVBoxLayout(this);
    m_pRootLayout->setObjectName(QStringLiteral("verticalLayout_4"));
    m_pRootLayout->setSpacing(1);
    m_pRootLayout->setContentsMargins(0, 0, 0, 0);

    m_pRootLayout->addWidget(BuildTitleBar());

    m_pHLayoutMainClient = new QHBoxLayout();
    m_pHLayoutMainClient->setObjectName(QStringLiteral("m_pHLayoutMainClient"));
    m_pHLayoutMainClient->setSpacing(1);
    m_pHLayoutMainClient->setContentsMargins(0, 0, 0, 0);
    m_pRootLayout->addLayout(m_pHLayoutMainClient, 1);

    m_pHLayoutMainClient->addWidget(BuildPlaylistColumn());
    m_pHLayoutMainClient->addWidget(BuildMainWndColumn(), 1);
    return m_pDlgShow != nullptr;
}

QWidget* CVelquinDlg::BuildTitleBar() {
    m_pTitleBarContainer = MakeContainer(this, "m_pTitleBarContainer");
    m_pTitleBarContainer->setFixedHeight(35);
    QHBoxLayout* pLayout = MakeHBox(m_pTitleBarContainer, 2, 10, 6);

    m_pLabMainWndTitle = MakeLabel(m_pTitleBarContainer, "m_pLabMainWndTitle");
    pLayout->addWidget(m_pLabMainWndTitle);
    AddSpacer(pLayout);
    m_pBtnLanguage = MakeButton(m_pTitleBarContainer, "m_pBtnLanguage", 24, 24);
    m_pBtnLanguage->hide();
    m_pBtnMainMenu = MakeButton(m_pTitleBarContainer, "m_pBtnMainMenu", 24, 24);
    m_pBtnTopMode = MakeButton(m_pTitleBarContainer, "m_pBtnTopMode", 24, 24);
    m_pBtnMin = MakeButton(m_pTitleBarContainer, "m_pBtnMin", 24, 24);
    m_pBtnMax = MakeButton(m_pTitleBarContainer, "m_pBtnMax", 24, 24);
    m_pBtnExit = MakeButton(m_pTitleBarContainer, "m_pBtnExit", 24, 24);
    for (QWidget* pWidget : {static_cast<QWidget*>(m_pBtnLanguage), static_cast<QWidget*>(m_pBtnMainMenu),
                             static_cast<QWidget*>(m_pBtnTopMode), static_cast<QWidget*>(m_pBtnMin),
                             static_cast<QWidget*>(m_pBtnMax), static_cast<QWidget*>(m_pBtnExit)})
        pLayout->addWidget(pWidget);

    return m_pTitleBarContainer;
}

QWidget* CVelquinDlg::BuildPlaylistColumn() {
    m_pPlaylistCtrlContainer = MakeContainer(this, "m_pPlaylistCtrlContainer");
    m_pPlaylistCtrlContainer->setFixedWidth(250);
    QVBoxLayout* pColumn = new QVBoxLayout(m_pPlaylistCtrlContainer);
    pColumn->setSpacing(0);
    pColumn->setContentsMargins(0, 0, 0, 0);

    m_pListToolBarContainer = MakeContainer(m_pPlaylistCtrlContainer, "m_pListToolBarContainer");
    m_pListToolBarContainer->setFixedHeight(36);
    QHBoxLayout* pBar = MakeHBox(m_pListToolBarContainer, 2, 10, 0);
    m_pLabPlaylistTitle = MakeLabel(m_pListToolBarContainer, "m_pLabPlaylistTitle");
    pBar->addWidget(m_pLabPlaylistTitle);
    AddSpacer(pBar);
    m_pBtnListAdd = MakeButton(m_pListToolBarContainer, "m_pBtnListAdd", 26, 26);
    m_pBtnListDelete = MakeButton(m_pListToolBarContainer, "m_pBtnListDelete", 26, 26);
    m_pBtnListDelete->hide();
    m_pBtnPlayMode = MakeButton(m_pListToolBarContainer, "m_pBtnPlayMode", 26, 26);
    m_pBtnSearch = MakeButton(m_pListToolBarContainer, "m_pBtnSearch", 48, 36);
    pBar->addWidget(m_pBtnListAdd);
    pBar->addWidget(m_pBtnListDelete);
    pBar->addWidget(m_pBtnPlayMode);
    pBar->addWidget(m_pBtnSearch);
    pColumn->addWidget(m_pListToolBarContainer);

    m_pLabelListBottomBorder = MakeLabel(m_pPlaylistCtrlContainer, "m_pLabelListBottomBorder");
    m_pLabelListBottomBorder->setFixedHeight(1);
    pColumn->addWidget(m_pLabelListBottomBorder);
    BuildSearchBar(pColumn);

    m_pPlaylist = new CPlaylist(m_pPlaylistCtrlContainer);
    pColumn->addWidget(m_pPlaylist, 1);
    BuildEagleEyeBar(pColumn);
    return m_pPlaylistCtrlContainer;
}

QWidget* CVelquinDlg::BuildMainWndColumn() {
    m_pMainWndContainer = MakeContainer(this, "m_pMainWndContainer");
    QVBoxLayout* pColumn = new QVBoxLayout(m_pMainWndContainer);
    pColumn->setSpacing(0);
    pColumn->setContentsMargins(0, 0, 0, 0);

    pColumn->addWidget(BuildStatusBar());
    m_pDlgShow = new CDlgShow(m_pMainWndContainer);
    m_pDlgShow->setObjectName(QStringLiteral("m_pDlgShow"));
    m_pDlgShow->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    pColumn->addWidget(m_pDlgShow, 1);
    pColumn->addWidget(BuildCtrlBar());
    return m_pMainWndContainer;
}

QWidget* CVelquinDlg::BuildStatusBar() {
    m_pStatusBarContainer = MakeContainer(m_pMainWndContainer, "m_pStatusBarContainer");
    m_pStatusBarContainer->setFixedHeight(35);
    QHBoxLayout* pLayout = MakeHBox(m_pStatusBarContainer, 6, 10, 10);

    m_pLabPlayStatus = MakeLabel(m_pStatusBarContainer, "m_pLabPlayStatus");
    m_pLabFileName = MakeLabel(m_pStatusBarContainer, "m_pLabFileName");
    m_pLabFrameIndex = MakeLabel(m_pStatusBarContainer, "m_pLabFrameIndex");
    m_pLabGlobalTime = MakeLabel(m_pStatusBarContainer, "m_pLabGlobalTime");
    pLayout->addWidget(m_pLabPlayStatus);
    pLayout->addWidget(m_pLabFileName);
    pLayout->addWidget(m_pLabFrameIndex);
    pLayout->addWidget(m_pLabGlobalTime);
    AddSpacer(pLayout);
    m_pBtnEagleEyeCtrl = MakeButton(m_pStatusBarContainer, "m_pBtnEagleEyeCtrl", 26, 26);
    m_pBtnPanoPlayer = MakeButton(m_pStatusBarContainer, "m_pBtnPanoPlayer", 26, 26);
    m_pBtnPartZoom = MakeButton(m_pStatusBarContainer, "m_pBtnPartZoom", 26, 26);
    m_pBtnCapPic = MakeButton(m_pStatusBarContainer, "m_pBtnCapPic", 26, 26);
    m_pBtnConCapPic = MakeButton(m_pStatusBarContainer, "m_pBtnConCapPic", 26, 26);
    // Fisheye, partial zoom and capture come with their features.
    for (CSkinButton* pBtn :
         {m_pBtnEagleEyeCtrl, m_pBtnPanoPlayer, m_pBtnPartZoom, m_pBtnCapPic, m_pBtnConCapPic}) {
        pBtn->setEnabled(false);
        pLayout->addWidget(pBtn);
    }
    return m_pStatusBarContainer;
}

QWidget* CVelquinDlg::BuildCtrlBar() {
    m_pCtrlBarContainer = MakeContainer(m_pMainWndContainer, "m_pCtrlBarContainer");
    m_pCtrlBarContainer->setFixedHeight(75);
    QVBoxLayout* pBar = new QVBoxLayout(m_pCtrlBarContainer);
    pBar->setSpacing(0);
    pBar->setContentsMargins(0, 0, 0, 0);

    m_pProgressBarContainer = MakeContainer(m_pCtrlBarContainer, "m_pProgressBarContainer");
    m_pProgressBarContainer->setFixedHeight(24);
    QHBoxLayout* pProgress = MakeHBox(m_pProgressBarContainer, 4, 10, 10);
    m_pLabCurPlayTime = MakeLabel(m_pProgressBarContainer, "m_pLabCurPlayTime");
    m_pLabCurPlayTime->setFixedWidth(50);
    m_pPlayProgressSlider = new CustomPlayerSlider(m_pProgressBarContainer);
    m_pPlayProgressSlider->setObjectName(QStringLiteral("m_pPlayProgressSlider"));
    m_pPlayProgressSlider->SetSliderEnable(false);
    m_pLabWholeTime = MakeLabel(m_pProgressBarContainer, "m_pLabWholeTime");
    m_pLabWholeTime->setFixedWidth(50);
    pProgress->addWidget(m_pLabCurPlayTime);
    pProgress->addWidget(m_pPlayProgressSlider, 1);
    pProgress->addWidget(m_pLabWholeTime);
    pBar->addWidget(m_pProgressBarContainer);

    m_pCtrlBtnsContainer = MakeContainer(m_pCtrlBarContainer, "m_pCtrlBtnsContainer");
    m_pCtrlBtnsContainer->setFixedHeight(50);
    QHBoxLayout* pBtns = MakeHBox(m_pCtrlBtnsContainer, 5, 15, 15);
    m_pBtnOpenFiles = MakeButton(m_pCtrlBtnsContainer, "m_pBtnOpenFiles", 26, 26);
    m_pBtnTools = MakeButton(m_pCtrlBtnsContainer, "m_pBtnTools", 26, 26);
    m_pBtnReversePlay = MakeButton(m_pCtrlBtnsContainer, "m_pBtnReversePlay", 26, 26);
    m_pBtnSlow = MakeButton(m_pCtrlBtnsContainer, "m_pBtnSlow", 26, 26);
    m_pBtnLastFrame = MakeButton(m_pCtrlBtnsContainer, "m_pBtnLastFrame", 26, 26);
    m_pBtnPlayOrPause = MakeButton(m_pCtrlBtnsContainer, "m_pBtnPlayOrPause", 50, 50);
    m_pBtnStop = MakeButton(m_pCtrlBtnsContainer, "m_pBtnStop", 26, 26);
    m_pBtnNextFrame = MakeButton(m_pCtrlBtnsContainer, "m_pBtnNextFrame", 26, 26);
    m_pBtnFast = MakeButton(m_pCtrlBtnsContainer, "m_pBtnFast", 26, 26);
    m_pBtnSyncPlay = MakeButton(m_pCtrlBtnsContainer, "m_pBtnSyncPlay", 26, 26);
    m_pBtnMute = MakeButton(m_pCtrlBtnsContainer, "m_pBtnMute", 26, 26);
    m_pSliderSound = new CCustomSlider(Qt::Horizontal, m_pCtrlBtnsContainer);
    m_pSliderSound->setObjectName(QStringLiteral("m_pSliderSound"));
    m_pSliderSound->setFixedSize(70, 18);
    m_pSliderSound->setRange(0, 100);
    m_pSliderSound->setValue(50);
    m_pSliderSound->setFocusPolicy(Qt::NoFocus);
    m_pBtnLayout = MakeButton(m_pCtrlBtnsContainer, "m_pBtnLayout", 26, 26);
    m_pBtnFullScreen = MakeButton(m_pCtrlBtnsContainer, "m_pBtnFullScreen", 26, 26);

    pBtns->addWidget(m_pBtnOpenFiles);
    pBtns->addWidget(m_pBtnTools);
    AddSpacer(pBtns);
    for (CSkinButton* pBtn : {m_pBtnReversePlay, m_pBtnSlow, m_pBtnLastFrame, m_pBtnPlayOrPause, m_pBtnStop,
                              m_pBtnNextFrame, m_pBtnFast, m_pBtnSyncPlay})
        pBtns->addWidget(pBtn);
    AddSpacer(pBtns);
    pBtns->addWidget(m_pBtnMute);
    pBtns->addWidget(m_pSliderSound);
    pBtns->addWidget(m_pBtnLayout);
    pBtns->addWidget(m_pBtnFullScreen);
    pBar->addWidget(m_pCtrlBtnsContainer);

    // Greyed out until a window plays; the control state follows the windows.
    for (CSkinButton* pBtn : {m_pBtnReversePlay, m_pBtnSlow, m_pBtnLastFrame, m_pBtnNextFrame,
                              m_pBtnFast, m_pBtnSyncPlay, m_pBtnFullScreen})
        pBtn->setEnabled(false);
    return m_pCtrlBarContainer;
}

bool CVelquinDlg::InitObjectNames() {
    if (!m_pMainWndContainer || !m_pTitleBarContainer || !m_pStatusBarContainer || !m_pCtrlBarContainer ||
        !m_pListToolBarContainer)
        return false;
    m_pMainWndContainer->setObjectName(QStringLiteral("m_pMainWndContainer"));
    m_pTitleBarContainer->setObjectName(QStringLiteral("m_pTitleBarContainer"));
    m_pStatusBarContainer->setObjectName(QStringLiteral("m_pStatusBarContainer"));
    m_pCtrlBarContainer->setObjectName(QStringLiteral("m_pCtrlBarContainer"));
    m_pListToolBarContainer->setObjectName(QStringLiteral("m_pListToolBarContainer"));
    return true;
}

bool CVelquinDlg::InitConnections() {
    bool bOk = true;
    bOk &= bool(connect(m_pBtnLanguage, &QPushButton::clicked, this, &CVelquinDlg::On_ChangeLanguageCN_EN));
    bOk &= bool(connect(m_pBtnMin, &QPushButton::clicked, this, &CVelquinDlg::On_ShowMinimized));
    bOk &= bool(connect(m_pBtnMax, &QPushButton::clicked, this, &CVelquinDlg::On_ShowMaximized));
    bOk &= bool(connect(m_pBtnExit, &QPushButton::clicked, this, &CVelquinDlg::On_Exit));
    bOk &= bool(connect(m_pBtnOpenFiles, &QPushButton::clicked, this, &CVelquinDlg::On_ShowOpenMenu_OpenBtn));
    bOk &= bool(connect(m_pBtnMainMenu, &QPushButton::clicked, this, &CVelquinDlg::On_ShowMainMenu));
    bOk &= bool(connect(m_pBtnTools, &QPushButton::clicked, this, &CVelquinDlg::On_ShowToolsDlg));
    bOk &= bool(connect(m_pBtnPlayOrPause, &QPushButton::clicked, this, &CVelquinDlg::On_PlayOrPause));
    bOk &= bool(connect(m_pBtnStop, &QPushButton::clicked, this, &CVelquinDlg::On_Stop));
    bOk &= bool(connect(m_pBtnReversePlay, &QPushButton::clicked, this, &CVelquinDlg::On_ReversePlay));
    bOk &= bool(connect(m_pBtnSlow, &QPushButton::clicked, this, &CVelquinDlg::On_Slow));
    bOk &= bool(connect(m_pBtnLastFrame, &QPushButton::clicked, this, &CVelquinDlg::On_FrameBackward));
    bOk &= bool(connect(m_pBtnNextFrame, &QPushButton::clicked, this, &CVelquinDlg::On_FrameForward));
    bOk &= bool(connect(m_pBtnFast, &QPushButton::clicked, this, &CVelquinDlg::On_Fast));
    bOk &= bool(connect(m_pBtnSyncPlay, &QPushButton::clicked, this, &CVelquinDlg::On_SyncPlay));
    bOk &= bool(connect(m_pBtnCapPic, &QPushButton::clicked, this, &CVelquinDlg::On_CapPic));
    bOk &= bool(connect(m_pBtnConCapPic, &QPushButton::clicked, this, &CVelquinDlg::On_ConCapPic));
    bOk &= bool(connect(m_pPlayProgressSlider, &CustomPlayerSlider::Sig_ChangeValue, this,
                        &CVelquinDlg::On_SetPlayProgress));
    bOk &= bool(connect(m_pPlayProgressSlider, &CustomPlayerSlider::Sig_MousePress, this,
                        &CVelquinDlg::On_PlayProgressSliderMousePress));
    bOk &= bool(connect(m_pPlayProgressSlider, &CustomPlayerSlider::Sig_MouseRelease, this,
                        &CVelquinDlg::On_PlayProgressSliderMouseRelease));
    bOk &= bool(connect(m_pPlayProgressSlider, &CustomPlayerSlider::Sig_ChangeRepeatValue, this,
                        &CVelquinDlg::On_ChangeRepeatPointValue));
    bOk &= bool(connect(m_pPlayProgressSlider, &CustomPlayerSlider::Sig_MouseMoveValue, this,
                        &CVelquinDlg::On_PlayProgressSliderMouseMoveValue));
    bOk &= bool(connect(m_pBtnMute, &QPushButton::clicked, this, &CVelquinDlg::On_Mute));
    bOk &= bool(connect(m_pBtnPartZoom, &QPushButton::clicked, this, &CVelquinDlg::On_PartZoom));
    bOk &= bool(connect(m_pBtnLayout, &QPushButton::clicked, this, &CVelquinDlg::On_ShowSelectMultiWndsDlg));
    bOk &= bool(
        connect(m_pSliderSound, &CCustomSlider::Sig_ChangeValue, this, &CVelquinDlg::On_SliderSetVolume));

    bOk &= bool(connect(m_pDlgShow, &CDlgShow::Sig_FileEnd, this, &CVelquinDlg::On_FilePlayEnd));
    bOk &= bool(connect(m_pDlgShow, &CDlgShow::Sig_OpenFinished, this, &CVelquinDlg::On_WndOpenFinished));
    bOk &= bool(connect(m_pDlgShow, &CDlgShow::Sig_ChangeSelWnd, this, &CVelquinDlg::On_ChangeSelectWnd));
    bOk &=
        bool(connect(m_pDlgShow, &CDlgShow::Sig_UpdateCtrlStatus, this, &CVelquinDlg::On_UpdateCtrlsState));
    bOk &= bool(connect(m_pDlgShow, &CDlgShow::Sig_FileRefCreated, this, &CVelquinDlg::On_FileRefCreated));
    bOk &= bool(
        connect(m_pDlgShow, &CDlgShow::Sig_MouseMoveEvent, this, &CVelquinDlg::On_DlgShowMouseMoveEvent));
    bOk &= bool(
        connect(m_pDlgShow, &CDlgShow::Sig_MousePressEvent, this, &CVelquinDlg::On_DlgShowMousePressEvent));
    bOk &= bool(connect(m_pDlgShow, &CDlgShow::Sig_KeyPressEvent, this, &CVelquinDlg::On_KeyPressEvent));
    bOk &= bool(connect(m_pDlgShow, &CDlgShow::Sig_OpenFiles, this, &CVelquinDlg::On_OpenFiles));
    bOk &= bool(connect(m_pDlgShow, &CDlgShow::Sig_OpenFolder, this, &CVelquinDlg::On_OpenFolder));
    bOk &= bool(
        connect(m_pDlgShow, &CDlgShow::Sig_OpenURL, this, &CVelquinDlg::On_OpenURL, Qt::QueuedConnection));
    bOk &= bool(connect(m_pDlgShow, &CDlgShow::Sig_MarkInvalidFile, this, &CVelquinDlg::On_MarkInvalidFile,
                        Qt::QueuedConnection));
    bOk &= bool(connect(m_pDlgShow, &CDlgShow::Sig_ErrorToStopPlay, this, &CVelquinDlg::ErrorToStopPlay));
    bOk &= bool(
        connect(m_pDlgShow, &CDlgShow::Sig_NetStreamStartSound, this, &CVelquinDlg::On_NetStreamStartSound));
    // A stream's first picture becomes its row's thumbnail; the playlist owns it then.
    bOk &= bool(
        connect(m_pDlgShow, &CDlgShow::Sig_UpdateThumbnail, m_pPlaylist, &CPlaylist::On_UpdateThumbnail));

    bOk &= bool(connect(m_pBtnListAdd, &QPushButton::clicked, this, &CVelquinDlg::On_AddFiles));
    bOk &= bool(connect(m_pBtnListDelete, &QPushButton::clicked, this, &CVelquinDlg::On_ShowPlaylistDelMenu));
    bOk &= bool(connect(m_pBtnPlayMode, &QPushButton::clicked, this, &CVelquinDlg::On_ShowPlayModeMenu));
    bOk &= bool(connect(m_pPlaylist, &CPlaylist::Sig_OpenFileInSelectedWnd, this,
                        &CVelquinDlg::On_OpenFileInSelWnd));
    bOk &= bool(connect(m_pPlaylist, &CPlaylist::Sig_ListRButtonDown, this,
                        &CVelquinDlg::On_ShowPlaylistRightMenu));
    bOk &= bool(connect(m_pPlaylist, &CPlaylist::Sig_CloseFile, this, &CVelquinDlg::On_CloseByFilePath));
    bOk &= ConnectSearchBar();
    bOk &= InitFisheye();
    bOk &= bool(connect(this, &CVelquinDlg::Sig_ShowAutoExpandWnd, this, &CVelquinDlg::On_ShowAutoExpandWnd));
    return bOk;
}
