#include "CVelquinDlg.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QStandardPaths>
#include <QDesktopServices>
#include <QDirIterator>
#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QFile>
#include <QListWidgetItem>
#include <QMimeData>
#include <QUrl>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QMouseEvent>
#include <QScreen>
#include <QSpacerItem>
#include <QTimer>
#include <QTimerEvent>
#include <QVBoxLayout>

#include "AllGlobalConfig.h"
#include "AutoExpandWnd.h"
#include "CGetDecryptKeyDlg.h"
#include "CPlaylist.h"
#include "CustomMessageBox.h"
#include "CCustomSlider.h"
#include "CDlgShow.h"
#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "CSkinButton.h"
#include "CustomPlayerSlider.h"
#include "GlobalCfgHelper.h"
#include "LanguageKeys.h"
#include "NonModalMessageBox.h"
#include "OpenInfo.h"
#include "SkinManager.h"
#include "SliderTips.h"
#include "SyncPlayProgressDlg.h"

namespace {

CVelquinDlg* s_pMainDlg = nullptr;

const int MIN_WIDTH = 914;
const int MIN_HEIGHT = 565;
const int MAX_PLAY_WND = 16;
const int MAX_OPEN_PATHS = 201; // the open dialogs collect at most this many paths
const int MAX_PLAYLIST_ROWS = 200;
const int PLAYER_TIMER_MS = 500;
const int SLIDER_UNITS = 65535; // the progress slider runs from 0 to this
const int FILE_NAME_MAX_WIDTH = 300;

// Indexes into m_strResStyle, as the skin hands the main dialog's style sheets out.
enum {
    STYLE_MAX_NORMAL = 0,
    STYLE_MAX_RESTORE = 1,
    STYLE_MUTE_ON = 2,
    STYLE_MUTE_OFF = 3,
    STYLE_MUTE_BOOST = 4,
    STYLE_PLAY = 5,
    STYLE_PAUSE = 6,
    STYLE_FULL_ENTER = 7,
    STYLE_FULL_LEAVE = 8,
    STYLE_TOP_MODE_0 = 11,
    STYLE_PLAY_MODE_1 = 14,
};

bool IsActiveState(int nState) {
    return nState == 1 || nState == 2;
}

} // namespace

CVelquinDlg::CVelquinDlg(QWidget* parent, const QString& strConfigDir)
    : QDialog(parent, Qt::FramelessWindowHint), m_strConfigDir(strConfigDir) {
    s_pMainDlg = this;
}

CVelquinDlg::~CVelquinDlg() {
    // A dialog that never reached UnInit (a failed Init, a test) must still leave
    // the skin's observers, or the next skin change would reach a dead object.
    SkinManager::DelObserver(this);
    if (s_pMainDlg == this)
        s_pMainDlg = nullptr;
}

CVelquinDlg* CVelquinDlg::GetMainDlg() {
    return s_pMainDlg;
}

// ---------------------------------------------------------------------------
// Start

bool CVelquinDlg::Init() {
    LoadConfig(); // its result is not looked at: defaults stand in for any missing file

    if (!BuildWidgetTree())
        return false;
    resize(MIN_WIDTH, MIN_HEIGHT);
    m_pDlgShow->SetMainDlg(this);
    m_pDlgShow->SetVolumeUpKeyText(GetVolumeUpKeyText());
    m_pDlgShow->SetReconnectLostStreams(m_stPlayerCfg.bReconnectLostStreams);

    m_pPlayProgressSlider->setFocusPolicy(Qt::NoFocus);
    m_pPlayProgressSlider->SetMinimum(0);
    m_pPlayProgressSlider->SetMaximum(SLIDER_UNITS);
    m_pSliderTips = new SliderTips(this);
    m_pSliderTips->hide();

    m_pSliderSound->setValue(50);
    m_pSliderSound->setToolTip(
        QStringLiteral("%1: %2%").arg(Text(IDS_Global_SoundVolume, QStringLiteral("Volume"))).arg(50));

    setWindowFlags(Qt::FramelessWindowHint | Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint |
                   Qt::WindowMaximizeButtonHint);
    setMinimumSize(MIN_WIDTH, MIN_HEIGHT);
    if (QScreen* pScreen = QGuiApplication::primaryScreen())
        resize(InitialSizeForScreen(pScreen->size()));

    setMouseTracking(true);
    setAcceptDrops(true); // files dropped on the dialog open in the windows
    setFocusPolicy(Qt::NoFocus);
    setSizeGripEnabled(true);

    InitMenus();
    InitObjectNames();
    if (!InitConnections())
        return false;
    LoadLanguage();
    On_UpdateCtrlsState();

    if (!SkinManager::GetInstance())
        return false;
    SkinManager::AddObserver(this);
    SkinManager::ChangeSkin(m_stPlayerCfg.nSkin);
    // The skin notice only stores the button styles; apply them now.
    On_UpdateCtrlsState();

    m_pDlgShow->setUpdatesEnabled(true);
    return true;
}

QSize CVelquinDlg::InitialSizeForScreen(const QSize& sizeScreen) {
    if (sizeScreen.width() >= 1920 && sizeScreen.height() >= 1080)
        return QSize(1160, 660);
    return QSize(MIN_WIDTH, MIN_HEIGHT);
}

int CVelquinDlg::DefaultLanguageFromLocale(const QLocale& locale) {
    // Simplified Chinese as used in China (LANGID 0x804) is the one system language
    // that starts the player in Chinese.
    if (locale.language() == QLocale::Chinese && locale.territory() == QLocale::China)
        return 0;
    return 1;
}

QString CVelquinDlg::ConfigFilePath(const QString& strFileName) const {
    // An installed program's folder is not writable: its three files then live in
    // the user's configuration folder.
    const QString strDir = m_strConfigDir.isEmpty()
                               ? CPlayerConfigFile::ChooseConfigDir(QCoreApplication::applicationDirPath())
                               : m_strConfigDir;
    return CPlayHelper::LinkFolderAndFileName(strDir, strFileName);
}

bool CVelquinDlg::LoadConfig() {
    SetDefaultConfig();

    // A damaged PlayerConfig.xml is kept beside by the store; the start then goes
    // on as a first start.
    const QString strPlayerCfg = ConfigFilePath(QStringLiteral("PlayerConfig.xml"));
    if (!m_ConfigFile.ReadPlayerConfig(strPlayerCfg, &m_stPlayerCfg)) {
        // A file that is there but cannot be read (permissions) is not replaced by
        // this run's defaults at exit.
        const QFileInfo fiCfg(strPlayerCfg);
        m_bKeepPlayerCfgFile = fiCfg.exists() && !fiCfg.isReadable();
        SetDefaultConfig(); // a half-read file must not leave half its values
        AllGlobalConfig stGlobal;
        stGlobal.nLanguage = -1;
        if (GlobalCfgHelper::ReadConfigFile(ConfigFilePath(QStringLiteral("GlobalConfig.xml")), &stGlobal)) {
            m_stPlayerCfg.nLanguage = stGlobal.nLanguage;
            m_stPlayerCfg.nSkin = stGlobal.nSkinIndex;
        } else {
            m_stPlayerCfg.nLanguage = DefaultLanguageFromLocale(QLocale::system());
            m_stPlayerCfg.nSkin = 0;
        }
    }

    AllGlobalConfig stLanguages;
    if (!GlobalCfgHelper::ReadConfigFile(ConfigFilePath(QStringLiteral("GlobalLanguageConfig.xml")),
                                         &stLanguages) ||
        stLanguages.vecLanguages.empty()) {
        m_stPlayerCfg.nLanguage = 1;
        return true;
    }
    bool bFound = false;
    for (const GlobalLanguageInfo& stInfo : stLanguages.vecLanguages) {
        LanguageEntry stEntry;
        stEntry.nLanguageId = stInfo.nLanguageId;
        stEntry.strLanguageName = stInfo.strLanguageName;
        m_stPlayerCfg.vecLanguages.append(stEntry);
        if (stInfo.nLanguageId == m_stPlayerCfg.nLanguage)
            bFound = true;
    }
    if (!bFound)
        m_stPlayerCfg.nLanguage = m_stPlayerCfg.vecLanguages.first().nLanguageId;
    return true;
}

void CVelquinDlg::SetDefaultConfig() {
    m_stPlayerCfg = PlayerConfig();
    m_stPlayerCfg.nLanguage = 1;
    m_stPlayerCfg.nSkin = 0;
    m_stPlayerCfg.nPlayLocateMode = 1;
    m_stPlayerCfg.bExitKeepPlaylistFiles = true;
    m_stPlayerCfg.bKeepPlayProgress = false;
    m_stPlayerCfg.bAutoAddSimilarFileName = false;
    m_stPlayerCfg.bStartHardDecodeEngine = false;
    m_stPlayerCfg.stHotKeys = HotKeysCfg();
    // Beside the program, as the configuration files are; an installed program
    // cannot write there, and snapshots then go to the user's pictures folder.
    QString strCapRoot = QCoreApplication::applicationDirPath();
    if (!QFileInfo(strCapRoot).isWritable()) {
        const QString strPictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
        strCapRoot = (strPictures.isEmpty() ? QDir::homePath() : strPictures) + QStringLiteral("/Velquin");
    }
    m_stPlayerCfg.strCapPicFolder = QDir::toNativeSeparators(strCapRoot + QStringLiteral("/Screenshot/"));
    m_stPlayerCfg.nCapPicSaveType = 1;
    m_stPlayerCfg.nConCapPicMode = 0;
    m_stPlayerCfg.nConCapPicGap = 1;
    m_stPlayerCfg.nMaxConCapPicNum = 100;
    m_stPlayerCfg.lstPlaylistFiles.clear();
}

bool CVelquinDlg::SaveConfig() {
    AllGlobalConfig stGlobal;
    stGlobal.nLanguage = m_stPlayerCfg.nLanguage;
    stGlobal.nSkinIndex = m_stPlayerCfg.nSkin;
    // A failing write is silent: there is nobody left to tell at exit.
    GlobalCfgHelper::WriteConfigFile(ConfigFilePath(QStringLiteral("GlobalConfig.xml")), &stGlobal);
    if (m_bKeepPlayerCfgFile) {
        qDebug("CVelquinDlg::SaveConfig PlayerConfig.xml was unreadable at start and is left as it is");
        return false;
    }
    return m_ConfigFile.WritePlayerConfig(ConfigFilePath(QStringLiteral("PlayerConfig.xml")), &m_stPlayerCfg);
}

bool CVelquinDlg::RestorePlaylist() {
    if (!m_stPlayerCfg.bExitKeepPlaylistFiles || m_stPlayerCfg.lstPlaylistFiles.isEmpty() || !m_pPlaylist)
        return true;
    // The stored list stays in the record for the whole run: opening a file looks
    // up its saved progress there.
    for (const PlaylistFileCfg& stEntry : m_stPlayerCfg.lstPlaylistFiles) {
        if (IsPlaylistFull())
            break;
        OpenInfo stInfo;
        stInfo.nMediaType = stEntry.nMediaType;
        stInfo.strFilePath = stEntry.strFilePath;
        if (stEntry.nMediaType == 2) {
            stInfo.nTransmitMode = stEntry.nTransmitMode;
            stInfo.nPort = stEntry.nPort;
            m_pPlaylist->AddUrl(&stInfo);
        } else {
            stInfo.strDecryptKey = stEntry.strDecryptKey;
            stInfo.bEncrypted = stEntry.bIsEncrypt;
            m_pPlaylist->AddFile(&stInfo);
        }
    }
    return true;
}

namespace {

// The six fields a stored entry keeps of a row; the play progress is not one.
void TakeRowFields(const OpenInfo& stRow, PlaylistFileCfg* pEntry) {
    pEntry->nMediaType = stRow.nMediaType;
    pEntry->strFilePath = stRow.strFilePath;
    pEntry->bIsEncrypt = stRow.bEncrypted;
    pEntry->strDecryptKey = stRow.strDecryptKey;
    pEntry->nTransmitMode = stRow.nTransmitMode;
    pEntry->nPort = stRow.nPort;
}

} // namespace

void CVelquinDlg::RebuildStoredPlaylist() {
    QList<PlaylistFileCfg>& lstStored = m_stPlayerCfg.lstPlaylistFiles;
    lstStored.clear();
    if (m_stPlayerCfg.bKeepPlayProgress) {
        // One entry per playing window, first, so that the opening of a file finds
        // its progress; the entry is reused, fields a window does not set stay.
        PlaylistFileCfg stEntry;
        for (int i = 0; i < MAX_PLAY_WND; ++i) {
            const QString strPath = m_pDlgShow->GetWndFilePath(i);
            if (!IsActiveState(m_pDlgShow->GetPlayState(i)) || strPath.isEmpty())
                continue;
            stEntry.nFilePlayProgress = int(m_pDlgShow->GetPlayedTime(i));
            stEntry.strFilePath = strPath;
            OpenInfo stInfo;
            const int nRow = m_pPlaylist->GetRowByPath(strPath);
            if (nRow >= 0 && m_pPlaylist->GetOpenInfo(nRow, &stInfo))
                TakeRowFields(stInfo, &stEntry);
            lstStored.append(stEntry);
        }
    }
    if (m_stPlayerCfg.bExitKeepPlaylistFiles) {
        for (int nRow = 0; nRow < m_pPlaylist->count(); ++nRow) {
            OpenInfo stInfo;
            if (!m_pPlaylist->GetOpenInfo(nRow, &stInfo) || stInfo.strFilePath.isEmpty())
                continue;
            PlaylistFileCfg stEntry;
            TakeRowFields(stInfo, &stEntry);
            lstStored.append(stEntry);
        }
    }
}

bool CVelquinDlg::UnInit() {
    // The windows still play here, so their played times can be stored.
    if (m_pPlaylist && m_pDlgShow)
        RebuildStoredPlaylist();
    SaveConfig();

    if (m_pPlayerTimer) {
        m_pPlayerTimer->stop();
        delete m_pPlayerTimer;
        m_pPlayerTimer = nullptr;
    }
    delete m_pAutoExpandWnd;
    m_pAutoExpandWnd = nullptr;
    if (m_pSyncDlg) {
        m_pSyncDlg->ResetSyncRuler();
        delete m_pSyncDlg;
        m_pSyncDlg = nullptr;
    }

    CLanguageParser::DeleteInstance();
    if (SkinManager::GetInstance())
        SkinManager::DelObserver(this);
    return true;
}

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

    // The main menu (settings, language, about) and the display on top modes come
    // with their own features.
    m_pBtnMainMenu->setEnabled(false);
    m_pBtnTopMode->setEnabled(false);
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
    // The search bar is not part of this build yet.
    m_pBtnSearch->setEnabled(false);
    pColumn->addWidget(m_pListToolBarContainer);

    m_pLabelListBottomBorder = MakeLabel(m_pPlaylistCtrlContainer, "m_pLabelListBottomBorder");
    m_pLabelListBottomBorder->setFixedHeight(1);
    pColumn->addWidget(m_pLabelListBottomBorder);

    m_pPlaylist = new CPlaylist(m_pPlaylistCtrlContainer);
    pColumn->addWidget(m_pPlaylist, 1);
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
    pLayout->addWidget(m_pLabPlayStatus);
    pLayout->addWidget(m_pLabFileName);
    pLayout->addWidget(m_pLabFrameIndex);
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

    // Tools and full screen come with their features; until then they stay
    // greyed out. The transport and synchronous play buttons follow the windows.
    for (CSkinButton* pBtn : {m_pBtnTools, m_pBtnReversePlay, m_pBtnSlow, m_pBtnLastFrame, m_pBtnNextFrame,
                              m_pBtnFast, m_pBtnSyncPlay, m_pBtnFullScreen})
        pBtn->setEnabled(false);
    return m_pCtrlBarContainer;
}

bool CVelquinDlg::InitMenus() {
    m_pOpenMenu = new QMenu(this);
    m_pOpenMenu->setObjectName(QStringLiteral("m_pOpenMenu"));
    m_pActOpenFile = m_pOpenMenu->addAction(QString());
    m_pActOpenFolder = m_pOpenMenu->addAction(QString());
    m_pActOpenURL = m_pOpenMenu->addAction(QString());

    m_pPlayWndLayoutMenu = new QMenu(this);
    m_pPlayWndLayoutMenu->setObjectName(QStringLiteral("m_pPlayWndLayoutMenu"));
    m_pLayoutGroup = new QActionGroup(this);
    m_pLayoutGroup->setExclusive(true);
    m_pActLayout1 = m_pPlayWndLayoutMenu->addAction(QString());
    m_pActLayout4 = m_pPlayWndLayoutMenu->addAction(QString());
    m_pActLayout9 = m_pPlayWndLayoutMenu->addAction(QString());
    m_pActLayout16 = m_pPlayWndLayoutMenu->addAction(QString());
    for (QAction* pAction : {m_pActLayout1, m_pActLayout4, m_pActLayout9, m_pActLayout16}) {
        pAction->setCheckable(true);
        m_pLayoutGroup->addAction(pAction);
    }

    m_pPlayModeMenu = new QMenu(this);
    m_pPlayModeMenu->setObjectName(QStringLiteral("m_pPlayModeMenu"));
    m_pPlayModeGroup = new QActionGroup(this);
    m_pPlayModeGroup->setExclusive(true);
    for (int i = 0; i < 4; ++i) {
        m_pActPlayMode[i] = m_pPlayModeMenu->addAction(QString());
        m_pActPlayMode[i]->setCheckable(true);
        m_pActPlayMode[i]->setData(i + 1);
        m_pPlayModeGroup->addAction(m_pActPlayMode[i]);
    }

    // The right menu of the list and the delete button's menu share the actions.
    m_pPlaylistRightMenu = new QMenu(this);
    m_pPlaylistRightMenu->setObjectName(QStringLiteral("m_pPlaylistRightMenu"));
    m_pActListPlayOrPause = m_pPlaylistRightMenu->addAction(QString());
    m_pPlaylistRightMenu->addSeparator();
    m_pActListDelete = m_pPlaylistRightMenu->addAction(QString());
    m_pActListRemoveInvalid = m_pPlaylistRightMenu->addAction(QString());
    m_pActListClear = m_pPlaylistRightMenu->addAction(QString());
    m_pPlaylistRightMenu->addSeparator();
    m_pActListOpenFolder = m_pPlaylistRightMenu->addAction(QString());
    m_pPlaylistRightMenu->addSeparator();
    m_pActListSetSecret = m_pPlaylistRightMenu->addAction(QString());
    m_pPlaylistDelMenu = new QMenu(this);
    m_pPlaylistDelMenu->setObjectName(QStringLiteral("m_pPlaylistDelMenu"));
    m_pPlaylistDelMenu->addAction(m_pActListDelete);
    m_pPlaylistDelMenu->addAction(m_pActListRemoveInvalid);
    m_pPlaylistDelMenu->addAction(m_pActListClear);
    return InitPictureMenus();
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
    bOk &= bool(connect(m_pActOpenFile, &QAction::triggered, this, &CVelquinDlg::On_OpenFiles));
    bOk &= bool(connect(m_pActOpenFolder, &QAction::triggered, this, &CVelquinDlg::On_OpenFolder));
    // Queued: the modal dialog runs after the menu has closed.
    bOk &= bool(
        connect(m_pActOpenURL, &QAction::triggered, this, &CVelquinDlg::On_OpenURL, Qt::QueuedConnection));
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
    bOk &= bool(connect(m_pLayoutGroup, &QActionGroup::triggered, this, &CVelquinDlg::On_SwitchLayoutMode));
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
    bOk &= bool(connect(m_pPlayModeGroup, &QActionGroup::triggered, this, &CVelquinDlg::On_SwitchPlayMode));
    bOk &= bool(connect(m_pActListPlayOrPause, &QAction::triggered, this, &CVelquinDlg::On_PlaySelectedRow));
    bOk &= bool(connect(m_pActListDelete, &QAction::triggered, this, &CVelquinDlg::On_DelSelFiles));
    bOk &= bool(connect(m_pActListRemoveInvalid, &QAction::triggered, this, &CVelquinDlg::On_ClearInvalidFiles));
    bOk &= bool(connect(m_pActListClear, &QAction::triggered, this, &CVelquinDlg::On_ClearPlaylist));
    bOk &= bool(connect(m_pActListOpenFolder, &QAction::triggered, this, &CVelquinDlg::On_OpenCurFileFolder));
    bOk &= bool(connect(m_pActListSetSecret, &QAction::triggered, this, &CVelquinDlg::On_ShowInputKeyDlg));
    bOk &= bool(connect(m_pPlaylist, &CPlaylist::Sig_OpenFileInSelectedWnd, this,
                        &CVelquinDlg::On_OpenFileInSelWnd));
    bOk &= bool(connect(m_pPlaylist, &CPlaylist::Sig_ListRButtonDown, this,
                        &CVelquinDlg::On_ShowPlaylistRightMenu));
    bOk &= bool(connect(m_pPlaylist, &CPlaylist::Sig_CloseFile, this, &CVelquinDlg::On_CloseByFilePath));
    bOk &= bool(connect(this, &CVelquinDlg::Sig_ShowAutoExpandWnd, this, &CVelquinDlg::On_ShowAutoExpandWnd));
    return bOk;
}

// ---------------------------------------------------------------------------
// Language and skin

QString CVelquinDlg::Text(const QString& strKey, const QString& strDefault) {
    QString strText;
    CLanguageParser::FindString(strKey, strText, strDefault);
    return strText;
}

bool CVelquinDlg::LoadLanguage() {
    if (!CLanguageParser::GetInstance())
        return false;
    CLanguageParser::LoadStringFile(m_stPlayerCfg.nLanguage);

    setWindowTitle(QCoreApplication::translate("pThis", "Velquin"));
    m_pLabMainWndTitle->setText(QStringLiteral("Velquin"));
    m_pLabPlaylistTitle->setText(Text(IDS_Global_Playlist, QStringLiteral("Playlist")));
    RetranslateWidgets();
    RetranslateMenus();
    if (m_pDlgShow)
        m_pDlgShow->UpdateStartPageText();
    return true;
}

void CVelquinDlg::RetranslateWidgets() {
    m_pBtnMainMenu->setToolTip(Text(IDS_MainWnd_MainMenu, QStringLiteral("Main Menu")));
    m_pBtnMin->setToolTip(Text(IDS_MainWnd_Minimize, QStringLiteral("Minimize")));
    m_pBtnExit->setToolTip(Text(IDS_Global_Exit, QStringLiteral("Exit")));
    m_pBtnListAdd->setToolTip(Text(IDS_MainWnd_AddFileToPlaylist, QStringLiteral("Add Files")));
    m_pBtnListDelete->setToolTip(Text(IDS_MainWnd_DelFileInPlaylist, QStringLiteral("Delete Files")));
    m_pBtnPlayMode->setToolTip(Text(IDS_MainWnd_PlayMode, QStringLiteral("Play Mode")));
    m_pBtnSearch->setToolTip(Text(IDS_Global_Search, QStringLiteral("Search")));
    m_pBtnPanoPlayer->setToolTip(Text(IDS_FEC_FisheyeExpansion, QStringLiteral("Fisheye Expansion")));
    m_pBtnCapPic->setToolTip(Text(IDS_Global_Capture, QStringLiteral("Capture")));
    m_pBtnOpenFiles->setToolTip(Text(IDS_Global_Open, QStringLiteral("Open")));
    m_pBtnTools->setToolTip(Text(IDS_Global_ToolBox, QStringLiteral("Toolbox")));
    m_pBtnSlow->setToolTip(Text(IDS_Global_SpeedDown, QStringLiteral("Slow Forward")));
    m_pBtnFast->setToolTip(Text(IDS_Global_SpeedUp, QStringLiteral("Fast Forward")));
    m_pBtnStop->setToolTip(Text(IDS_Global_Stop, QStringLiteral("Stop")));
    m_pBtnNextFrame->setToolTip(Text(IDS_Global_NextFrame, QStringLiteral("Forward One Frame")));
    m_pBtnLastFrame->setToolTip(Text(IDS_Global_LastFrame, QStringLiteral("Backward One Frame")));
    m_pBtnLayout->setToolTip(Text(IDS_PlayWnd_PlayWndLayout, QStringLiteral("Layout")));
    m_pBtnEagleEyeCtrl->setToolTip(Text(IDS_SRCtrl_SphaeraMode, QStringLiteral("Sphaera Mode")));

    if (m_stPlayerCfg.nLanguage == 0) {
        const QString strText = Text(IDS_MainWnd_LangChinese_SI, QStringLiteral("Chinese"));
        m_pBtnLanguage->setText(strText);
        m_pBtnLanguage->setToolTip(strText);
    } else if (m_stPlayerCfg.nLanguage == 1) {
        const QString strText = Text(IDS_MainWnd_LangEnglish, QStringLiteral("English"));
        m_pBtnLanguage->setText(strText);
        m_pBtnLanguage->setToolTip(strText);
    }
    m_pBtnMax->setToolTip(m_bMaximized ? Text(IDS_MainWnd_RestoreWindow, QStringLiteral("Restore window"))
                                       : Text(IDS_MainWnd_Maximize, QStringLiteral("Maximize")));
    m_pBtnPartZoom->setToolTip(m_pDlgShow && m_pDlgShow->IsPartZoom()
                                   ? Text(IDS_Global_CancelPart, QStringLiteral("Cancel Partial Zoom"))
                                   : Text(IDS_Global_Part, QStringLiteral("Partial Zoom")));
    m_pBtnConCapPic->setToolTip(
        m_pDlgShow && m_pDlgShow->IsConCapping()
            ? Text(IDS_Global_ConCapPicCancel, QStringLiteral("Cancel Continuous Capture"))
            : Text(IDS_Global_ContinuousCapture, QStringLiteral("Continuous Capture")));
    m_pBtnTopMode->setToolTip(Text(IDS_MainWnd_NeverTop, QStringLiteral("Never")));
    m_pBtnFullScreen->setToolTip(
        m_bFullScreen ? Text(IDS_MainWnd_FullScreenCancel, QStringLiteral("Cancel Full Screen"))
                      : Text(IDS_MainWnd_FullScreen, QStringLiteral("Full Screen")));
    const bool bBackPlay =
        m_pDlgShow && IsActiveState(m_pDlgShow->GetPlayState()) && m_pDlgShow->IsBackPlay();
    m_pBtnReversePlay->setToolTip(
        bBackPlay ? Text(IDS_MainWnd_CancelBackPlay, QStringLiteral("Cancel Reverse Play"))
                  : Text(IDS_MainWnd_StartBackPlay, QStringLiteral("Start Reverse Play")));
    m_pBtnSyncPlay->setToolTip(
        IsSyncPlay() ? Text(IDS_MainWnd_SyncPlayCancel, QStringLiteral("Cancel Synchronous Play"))
                     : Text(IDS_MainWnd_SyncPlay, QStringLiteral("Synchronous Play")));
    m_pBtnMute->setToolTip(m_bMute ? Text(IDS_MainWnd_MuteOff, QStringLiteral("Cancel Mute"))
                                   : Text(IDS_MainWnd_MuteOn, QStringLiteral("Mute")));

    const int nState = m_pDlgShow ? m_pDlgShow->GetPlayState() : 0;
    m_pBtnPlayOrPause->setToolTip(nState == 1 ? Text(IDS_Global_Pause, QStringLiteral("Pause"))
                                              : Text(IDS_Global_Play, QStringLiteral("Play")));

    const int nSpeed = m_pDlgShow ? m_pDlgShow->GetPlaySpeed() : 0;
    if (nState == 1 && nSpeed > 0)
        m_pLabPlayStatus->setText(Text(IDS_MainWnd_SpeedUp, QStringLiteral("Speed * %d"))
                                      .replace(QStringLiteral("%d"), QString::number(1 << nSpeed)));
    else if (nState == 1 && nSpeed < 0)
        m_pLabPlayStatus->setText(Text(IDS_MainWnd_SpeedDown, QStringLiteral("Speed / %d"))
                                      .replace(QStringLiteral("%d"), QString::number(1 << -nSpeed)));
    else if (nState == 1)
        m_pLabPlayStatus->setText(Text(IDS_Global_Play, QStringLiteral("Playing")));
    else if (nState == 2)
        m_pLabPlayStatus->setText(Text(IDS_Global_Pause, QStringLiteral("Pause")));
    else
        m_pLabPlayStatus->setText(Text(IDS_MainWnd_Ready, QStringLiteral("Ready")));
}

void CVelquinDlg::RetranslateMenus() {
    m_pOpenMenu->setTitle(Text(IDS_Global_Open, QStringLiteral("Open")));
    m_pActOpenFile->setText(Text(IDS_Global_OpenFile, QStringLiteral("Open File")));
    m_pActOpenFolder->setText(Text(IDS_Global_OpenFolder, QStringLiteral("Open Folder")));
    m_pActOpenURL->setText(Text(IDS_Global_OpenURL, QStringLiteral("Open URL")));
    m_pPlayWndLayoutMenu->setTitle(Text(IDS_PlayWnd_PlayWndLayout, QStringLiteral("Layout")));
    m_pActLayout1->setText(Text(IDS_PlayWnd_1PlayWnd, QStringLiteral("1 window")));
    m_pActLayout4->setText(Text(IDS_PlayWnd_4PlayWnd, QStringLiteral("4 window")));
    m_pActLayout9->setText(Text(IDS_PlayWnd_9PlayWnd, QStringLiteral("9 window")));
    m_pActLayout16->setText(Text(IDS_PlayWnd_16PlayWnd, QStringLiteral("16 window")));
    m_pPlayModeMenu->setTitle(Text(IDS_MainWnd_PlayMode, QStringLiteral("Play Mode")));
    m_pActPlayMode[0]->setText(Text(IDS_MainWnd_SinglePlay, QStringLiteral("Single Play")));
    m_pActPlayMode[1]->setText(Text(IDS_MainWnd_ListPlay, QStringLiteral("Playlist Order")));
    m_pActPlayMode[2]->setText(Text(IDS_MainWnd_SingleRepeat, QStringLiteral("Loop Single File")));
    m_pActPlayMode[3]->setText(Text(IDS_MainWnd_ListRepeat, QStringLiteral("Loop Playlist")));
    m_pActListPlayOrPause->setText(Text(IDS_Global_PlayOrPause, QStringLiteral("Play/Pause")));
    m_pActListDelete->setText(Text(IDS_MainWnd_DelFileInPlaylist, QStringLiteral("Delete the Selected File")));
    m_pActListRemoveInvalid->setText(Text(IDS_MainWnd_RemoveInvalidFiles, QStringLiteral("Remove invalid files")));
    m_pActListClear->setText(Text(IDS_MainWnd_ClearPlaylist, QStringLiteral("Clear the Playlist")));
    m_pActListOpenFolder->setText(Text(IDS_MainWnd_OpenFolderOfFile, QStringLiteral("Open folder of file")));
    m_pActListSetSecret->setText(Text(IDS_MainWnd_SetSecret, QStringLiteral("Enter Key")));
    RetranslatePictureMenus();
}

bool CVelquinDlg::On_ChangeLanguageCN_EN() {
    if (m_stPlayerCfg.nLanguage == 0)
        m_stPlayerCfg.nLanguage = 1;
    else if (m_stPlayerCfg.nLanguage == 1)
        m_stPlayerCfg.nLanguage = 0;
    const bool bOk = LoadLanguage();
    if (m_pPlaylist)
        m_pPlaylist->On_LanguageChanged(); // the rows' texts ("Invalid", sizes) follow
    if (m_pSyncDlg)
        m_pSyncDlg->UpdateLanguage();
    return bOk;
}

void CVelquinDlg::SkinChanged() {
    // Resource 1 styles what lives outside the dialog's tree: menus, tool tips, side dialogs.
    const QString strGlobalQss = SkinManager::GetQssResPath(1);
    if (!strGlobalQss.isEmpty() && qApp)
        qApp->setStyleSheet(SkinManager::ReadQssFile(strGlobalQss));
    const QString strQssPath = SkinManager::GetQssResPath(0);
    if (!strQssPath.isEmpty())
        setStyleSheet(SkinManager::ReadQssFile(strQssPath));
    for (int i = 0; i < RES_STYLE_NUM; ++i)
        m_strResStyle[i] = SkinManager::GetResStyleSheet(0, i);
}

void CVelquinDlg::ApplyStyle(QWidget* pWidget, int nStyleIndex) {
    if (pWidget && nStyleIndex >= 0 && nStyleIndex < RES_STYLE_NUM && !m_strResStyle[nStyleIndex].isEmpty())
        pWidget->setStyleSheet(m_strResStyle[nStyleIndex]);
}

// ---------------------------------------------------------------------------
// Read access

int CVelquinDlg::GetSelWndIndex() const {
    return m_pDlgShow ? m_pDlgShow->GetSelWndIndex() : 0;
}
int CVelquinDlg::GetPlayState() const {
    return m_pDlgShow ? m_pDlgShow->GetPlayState() : 0;
}
bool CVelquinDlg::IsSyncPlay() const {
    return m_pDlgShow ? m_pDlgShow->IsSyncPlay() : false;
}
uint CVelquinDlg::GetFileTime() const {
    return m_pDlgShow ? m_pDlgShow->GetFileTime() : 0;
}
uint CVelquinDlg::GetPlayedTime() const {
    return m_pDlgShow ? m_pDlgShow->GetPlayedTime() : 0;
}
QString CVelquinDlg::GetSelWndFilePath() const {
    return m_pDlgShow ? m_pDlgShow->GetSelWndFilePath() : QString();
}

QString CVelquinDlg::GetVolumeUpKeyText() const {
    return QKeySequence(m_stPlayerCfg.stHotKeys.nVolumeUp).toString();
}

// ---------------------------------------------------------------------------
// Title bar and window

bool CVelquinDlg::On_ShowMinimized() {
    showMinimized();
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_ShowMaximized() {
    if (m_bMaximized) {
        setGeometry(m_rcNormal);
        m_bMaximized = false;
        setSizeGripEnabled(true);
    } else {
        m_rcNormal = geometry();
        QScreen* pScreen = QGuiApplication::primaryScreen();
        if (pScreen) {
            QRect rcAvailable = pScreen->availableGeometry();
            // The ruler of synchronous play stands under the dialog: leave it room.
            if (IsSyncPlay() && m_pSyncDlg)
                rcAvailable.setHeight(rcAvailable.height() - m_pSyncDlg->height());
            setGeometry(rcAvailable);
        }
        m_bMaximized = true;
        setSizeGripEnabled(false);
    }
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_Exit() {
    // All saving is in UnInit, after the event loop: closing the last window ends it.
    close();
    return true;
}

void CVelquinDlg::mousePressEvent(QMouseEvent* ev) {
    const QPoint ptGlobal = ev->globalPosition().toPoint();
    if (ev->button() == Qt::LeftButton && !m_bMaximized && !m_bDragging && m_pTitleBarContainer) {
        const QRect rcTitle(m_pTitleBarContainer->mapToGlobal(QPoint(0, 0)), m_pTitleBarContainer->size());
        if (rcTitle.contains(ptGlobal)) {
            m_ptDragOffset = ptGlobal - normalGeometry().topLeft();
            m_bDragging = true;
        }
    }
    On_DlgShowMousePressEvent(ev);
    update();
}

void CVelquinDlg::mouseMoveEvent(QMouseEvent* ev) {
    if ((ev->buttons() & Qt::LeftButton) && !m_bMaximized && m_bDragging)
        move(ev->globalPosition().toPoint() - m_ptDragOffset);
}

void CVelquinDlg::mouseReleaseEvent(QMouseEvent* ev) {
    if (m_bDragging) {
        m_bDragging = false;
        // The title bar must not stay above the top of the screen, out of reach.
        const QRect rcNormal = normalGeometry();
        if (rcNormal.top() < 0)
            move(rcNormal.x(), 1);
    }
    setCursor(Qt::ArrowCursor);
    QDialog::mouseReleaseEvent(ev);
}

void CVelquinDlg::mouseDoubleClickEvent(QMouseEvent* ev) {
    if (ev->button() != Qt::LeftButton || !m_pTitleBarContainer)
        return;
    const QRect rcTitle(m_pTitleBarContainer->mapToGlobal(QPoint(0, 0)), m_pTitleBarContainer->size());
    if (rcTitle.contains(ev->globalPosition().toPoint()))
        On_ShowMaximized();
}

bool CVelquinDlg::On_DlgShowMousePressEvent(QMouseEvent* ev) {
    if (ev && ev->button() == Qt::RightButton && m_pDlgShow && m_pDlgShow->isVisible()) {
        const QRect rcStage(m_pDlgShow->mapToGlobal(QPoint(0, 0)), m_pDlgShow->size());
        if (rcStage.contains(ev->globalPosition().toPoint()))
            ShowRightMenu();
    }
    update();
    return true;
}

bool CVelquinDlg::On_DlgShowMouseMoveEvent(QMouseEvent* /*ev*/) {
    return true;
}

void CVelquinDlg::keyPressEvent(QKeyEvent* ev) {
    // QDialog's own handling is skipped on purpose: Escape must not close the player.
    On_KeyPressEvent(ev);
}

bool CVelquinDlg::On_KeyPressEvent(QKeyEvent* ev) {
    if (!ev)
        return false;
    const int nKey = int(ev->modifiers()) + ev->key();
    const HotKeysCfg& stKeys = m_stPlayerCfg.stHotKeys;
    // Compared in the fixed order of the hot key table, so that of two equal keys
    // only the first runs. Keys of commands that come later (fisheye, capture,
    // full screen) match nothing yet.
    if (nKey == stKeys.nOpenFiles)
        return On_OpenFiles();
    if (nKey == stKeys.nOpenFolder)
        return On_OpenFolder();
    if (nKey == stKeys.nOpenURL) {
        // The modal dialog runs after the key event has been handled.
        QMetaObject::invokeMethod(this, &CVelquinDlg::On_OpenURL, Qt::QueuedConnection);
        return true;
    }
    if (nKey == stKeys.nPlayOrPause)
        return On_PlayOrPause();
    if (nKey == stKeys.nStop)
        return On_Stop();
    if (nKey == stKeys.nFrameForward)
        return On_FrameForward();
    if (nKey == stKeys.nFrameBackward)
        return On_FrameBackward();
    if (nKey == stKeys.nFast)
        return On_Fast();
    if (nKey == stKeys.nSlow)
        return On_Slow();
    if (nKey == stKeys.nRestoreSpeed)
        return On_RestoreCommonSpeed();
    if (nKey == stKeys.nVolumeUp || nKey == stKeys.nVolumeDown) {
        int nVolume = int(m_nVolume);
        if (nKey == stKeys.nVolumeUp)
            nVolume = (nVolume < 100 && nVolume > 90) ? 100 : qMin(nVolume + 10, 200);
        else
            nVolume = (nVolume > 100 && nVolume < 110) ? 100 : qMax(nVolume - 10, 0);
        if (!SetVolumeValue(nVolume))
            return false;
        m_pSliderSound->setValue(qMin(nVolume, 100));
        return true;
    }
    if (nKey == stKeys.nGotoBegin)
        return On_GoToBegin();
    if (nKey == stKeys.nGotoEnd)
        return On_GoToEnd();
    if (nKey == stKeys.nCapPic)
        return On_CapPic();
    if (nKey == stKeys.nRepeatAB)
        return On_ABRepeat();
    if (nKey == stKeys.nExit)
        return On_Exit();
    return false;
}

// ---------------------------------------------------------------------------
// Opening and sequencing

void CVelquinDlg::ShowInfoMessage(const QString& strKey, const QString& strDefault) {
    NonModalMessageBox::MsgBox(this, Text(IDS_Global_Information, QStringLiteral("Information")),
                               Text(strKey, strDefault));
}

bool CVelquinDlg::GuardSyncMode() {
    if (!m_pDlgShow || !m_pDlgShow->IsSyncPlay())
        return true;
    ShowInfoMessage(IDS_PlaySetDlg_UnSupportInSyncMode,
                    QStringLiteral("The operation is not supported in sychronization mode."));
    return false;
}

bool CVelquinDlg::On_ShowOpenMenu_OpenBtn() {
    if (!m_pOpenMenu || !m_pBtnOpenFiles)
        return false;
    m_pOpenMenu->setEnabled(!IsSyncPlay());
    m_pOpenMenu->popup(m_pBtnOpenFiles->mapToGlobal(QPoint(0, m_pBtnOpenFiles->height() + 1)));
    return true;
}

bool CVelquinDlg::ShowFileDialog(QStringList& lstPaths, int nMax) {
    if (m_strLastFileDir.isEmpty())
        m_strLastFileDir = QDir::currentPath();
    const QStringList lstChosen =
        QFileDialog::getOpenFileNames(this, Text(IDS_Global_OpenFile, QStringLiteral("Open File")),
                                      m_strLastFileDir, tr("ALL File (*.*);;Media File (*.mp4 *.avi)"));
    if (lstChosen.isEmpty())
        return false;
    for (const QString& strPath : lstChosen) {
        if (lstPaths.size() >= nMax)
            break;
        lstPaths << strPath;
    }
    m_strLastFileDir = CPlayHelper::GetFolderFromPath(lstChosen.first());
    return true;
}

bool CVelquinDlg::ShowFolderDialog(QStringList& lstPaths, int nMax) {
    if (m_strLastFolderDir.isEmpty())
        m_strLastFolderDir = QDir::currentPath();
    const QString strDir = QFileDialog::getExistingDirectory(
        this, Text(IDS_Global_OpenFolder, QStringLiteral("Open Folder")), m_strLastFolderDir,
        QFileDialog::ShowDirsOnly | QFileDialog::DontResolveSymlinks);
    if (strDir.isEmpty())
        return false;
    m_strLastFolderDir = QDir::toNativeSeparators(strDir);
    if (!QDir(m_strLastFolderDir).exists())
        return false;
    // Hidden files count and sub-folders are walked; no filter by extension, the
    // player decides per file whether it can open it.
    QDirIterator it(m_strLastFolderDir, QStringList() << QStringLiteral("*.*"),
                    QDir::Files | QDir::Hidden | QDir::NoSymLinks | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext() && lstPaths.size() < nMax) {
        it.next();
        lstPaths << it.fileInfo().absoluteFilePath();
    }
    return true;
}

bool CVelquinDlg::On_OpenFiles() {
    if (!GuardSyncMode())
        return false;
    QStringList lstPaths;
    if (!ShowFileDialog(lstPaths, MAX_OPEN_PATHS))
        return false;
    return OpenFileList(lstPaths);
}

bool CVelquinDlg::On_OpenFolder() {
    if (!GuardSyncMode())
        return false;
    QStringList lstPaths;
    if (!ShowFolderDialog(lstPaths, MAX_OPEN_PATHS))
        return false;
    return OpenFileList(lstPaths);
}

bool CVelquinDlg::IsPlaylistFull() const {
    return m_pPlaylist && m_pPlaylist->count() >= MAX_PLAYLIST_ROWS;
}

void CVelquinDlg::ShowListFullMessage() {
    ShowInfoMessage(IDS_MainWnd_PlaylistIsMax, QStringLiteral("Playlist is Maximum, can not add!"));
}

bool CVelquinDlg::On_AddFiles() {
    if (!m_pPlaylist)
        return false;
    QStringList lstPaths;
    if (!ShowFileDialog(lstPaths, MAX_OPEN_PATHS))
        return false;
    for (const QString& strPath : lstPaths) {
        if (IsPlaylistFull()) {
            ShowListFullMessage();
            break;
        }
        OpenInfo stInfo;
        stInfo.nMediaType = 1;
        stInfo.strFilePath = strPath;
        m_pPlaylist->AddFile(&stInfo);
    }
    return true;
}

bool CVelquinDlg::On_OpenFileInSelWnd(OpenInfo* pOpenInfo) {
    if (!pOpenInfo || !m_pDlgShow)
        return false;
    if (!GuardSyncMode())
        return false;
    if (pOpenInfo->nMediaType != 2 && m_pPlaylist && m_pPlaylist->GetRowByPath(pOpenInfo->strFilePath) >= 0) {
        QMap<QString, QString> mapKeys;
        if (!pOpenInfo->bEncryptChecked) {
            // The thumbnail thread has not looked at the file yet: read the file now,
            // so that the key comes before the window opens.
            bool bEncrypted = false;
            CPlayHelper::IsEncryption(pOpenInfo->strFilePath, &bEncrypted);
            if (bEncrypted)
                mapKeys.insert(pOpenInfo->strFilePath, QString());
        } else if (pOpenInfo->bEncrypted && pOpenInfo->strDecryptKey.isEmpty()) {
            mapKeys.insert(pOpenInfo->strFilePath, QString());
        }
        if (!mapKeys.isEmpty()) {
            if (!AskDecryptKeys(mapKeys))
                return false; // cancelled: the window keeps what it played
            pOpenInfo->strDecryptKey = mapKeys.first();
            m_pPlaylist->SetDecryptKey(mapKeys.firstKey(), mapKeys.first());
        }
    }
    return PlayFileInWnd(m_pDlgShow->GetSelWndIndex(), pOpenInfo);
}

bool CVelquinDlg::AskDecryptKeys(QMap<QString, QString>& mapKeys) {
    if (mapKeys.isEmpty())
        return false;
    CGetDecryptKeyDlg dlg(this);
    dlg.Init();
    dlg.SetFiles(mapKeys);
    const int nFiles = mapKeys.size();
    dlg.resize(400, nFiles <= 6 ? 185 + 30 * nFiles : 375);
    if (dlg.exec() != QDialog::Accepted)
        return false;
    dlg.GetFileKeys(mapKeys);
    return true;
}

bool CVelquinDlg::On_ShowInputKeyDlg() {
    if (!m_pPlaylist)
        return false;
    QMap<QString, QString> mapKeys;
    for (QListWidgetItem* pItem : m_pPlaylist->selectedItems()) {
        OpenInfo stInfo;
        if (m_pPlaylist->GetOpenInfo(pItem, &stInfo) && stInfo.bEncrypted)
            mapKeys.insert(stInfo.strFilePath, QString());
    }
    if (!AskDecryptKeys(mapKeys))
        return false;
    for (auto it = mapKeys.cbegin(); it != mapKeys.cend(); ++it)
        m_pPlaylist->SetDecryptKey(it.key(), it.value());
    return true;
}

int CVelquinDlg::CountActiveWndsWithPath(const QString& strPath, int nExcept) const {
    int nCount = 0;
    for (int i = 0; i < MAX_PLAY_WND; ++i) {
        if (i != nExcept && IsActiveState(m_pDlgShow->GetPlayState(i)) &&
            QString::compare(m_pDlgShow->GetWndFilePath(i), strPath) == 0)
            ++nCount;
    }
    return nCount;
}

void CVelquinDlg::ClearRowProgress(const QString& strPath) {
    if (!m_pPlaylist || strPath.isEmpty())
        return;
    QMap<QString, PlayProgress> mapProgress;
    mapProgress.insert(strPath, PlayProgress());
    m_pPlaylist->UpdatePlayProgress(mapProgress);
}

bool CVelquinDlg::StopWnd(int nWnd) {
    if (!m_pDlgShow || m_pDlgShow->IsSyncPlay() || nWnd < 0 || nWnd >= MAX_PLAY_WND)
        return false;
    m_pDlgShow->Stop(nWnd);
    if (nWnd == m_pDlgShow->GetSelWndIndex())
        On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::ReplayWnd(int nWnd) {
    if (!m_pDlgShow || m_pDlgShow->IsSyncPlay() || nWnd < 0 || nWnd >= MAX_PLAY_WND)
        return false;
    m_pDlgShow->Play(nWnd);
    if (nWnd == m_pDlgShow->GetSelWndIndex() && !m_bMute)
        m_pDlgShow->SetVolume(nWnd, true, m_nVolume, false);
    else
        m_pDlgShow->SetVolume(nWnd, false, 0, false);
    // Stop put the private data back to all kinds; the replay keeps the choices.
    ApplyPrivateDataMask(nWnd);
    if (nWnd == m_pDlgShow->GetSelWndIndex())
        On_UpdateCtrlsState();
    return true;
}

void CVelquinDlg::UpdateSyncBtnState() {
    int nActive = 0;
    bool bAnyNet = false;
    for (int i = 0; i < MAX_PLAY_WND; ++i) {
        if (!IsActiveState(m_pDlgShow->GetPlayState(i)))
            continue;
        ++nActive;
        bAnyNet = bAnyNet || m_pDlgShow->GetOpenMode(i) == 2;
    }
    bool bOpening = false;
    for (int i = 0; i < MAX_PLAY_WND; ++i)
        bOpening = bOpening || m_pDlgShow->IsOpening(i);
    m_pBtnSyncPlay->setEnabled(nActive >= 2 && !bAnyNet && (!bOpening || m_pDlgShow->IsSyncPlay()));
}

void CVelquinDlg::ErrorToStopPlay(QString strFileName, int nErrorType, bool bSRFile) {
    switch (nErrorType) {
    case 0:
        // Type 0 is only fatal for fisheye material.
        if (bSRFile)
            On_Stop();
        break;
    case 5:
        // A wrong key is forgotten, so that the next open asks again.
        if (m_pPlaylist)
            m_pPlaylist->SetDecryptKey(strFileName, QString());
        StopWndsWithPath(strFileName);
        break;
    case 1:
    case 2:
    case 4:
        StopWndsWithPath(strFileName);
        break;
    default:
        break;
    }
}

void CVelquinDlg::StopWndsWithPath(const QString& strPath) {
    // The error comes from the window that plays the file, which need not be the
    // selected one when several files were opened at once.
    bool bAny = false;
    if (m_pDlgShow && !m_pDlgShow->IsSyncPlay() && !strPath.isEmpty()) {
        for (int i = 0; i < MAX_PLAY_WND; ++i) {
            // A window whose file opened but could not start play (state 4) is
            // the window of the error as well.
            const int nState = m_pDlgShow->GetPlayState(i);
            if ((IsActiveState(nState) || nState == 4) && m_pDlgShow->GetWndFilePath(i) == strPath) {
                StopWnd(i);
                bAny = true;
            }
        }
    }
    if (!bAny)
        On_Stop();
}

bool CVelquinDlg::On_MarkInvalidFile(QString strFilePath, bool /*bState*/) {
    // The signal means that a stream has started: its row is valid again.
    if (!m_pPlaylist)
        return false;
    return m_pPlaylist->MarkInvalidFile(strFilePath, false);
}

bool CVelquinDlg::On_SwitchPlayMode(QAction* pAction) {
    if (!pAction)
        return false;
    const int nMode = pAction->data().toInt();
    if (nMode < 1 || nMode > 4)
        return false;
    m_nPlayMode = nMode;
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_ShowPlayModeMenu() {
    if (!m_pPlayModeMenu || !m_pBtnPlayMode)
        return false;
    m_pActPlayMode[(m_nPlayMode >= 1 && m_nPlayMode <= 4) ? m_nPlayMode - 1 : 0]->setChecked(true);
    m_pPlayModeMenu->setEnabled(!IsSyncPlay());
    m_pPlayModeMenu->popup(m_pBtnPlayMode->mapToGlobal(QPoint(0, m_pBtnPlayMode->height())));
    return true;
}

bool CVelquinDlg::On_ShowPlaylistRightMenu(QPoint ptMouseGlobalPos) {
    if (!m_pPlaylist || !m_pPlaylistRightMenu)
        return false;
    const QList<QListWidgetItem*> lstSel = m_pPlaylist->selectedItems();
    m_pActListDelete->setVisible(!lstSel.isEmpty());
    OpenInfo stInfo;
    const bool bOneFile =
        lstSel.size() == 1 && m_pPlaylist->GetOpenInfo(lstSel.first(), &stInfo) && stInfo.nMediaType != 2;
    m_pActListOpenFolder->setVisible(bOneFile);
    m_pActListPlayOrPause->setVisible(bOneFile);
    bool bAnyEncrypted = false;
    for (QListWidgetItem* pItem : lstSel) {
        OpenInfo stRow;
        if (m_pPlaylist->GetOpenInfo(pItem, &stRow) && stRow.bEncrypted) {
            bAnyEncrypted = true;
            break;
        }
    }
    m_pActListSetSecret->setVisible(bAnyEncrypted);
    m_pPlaylistRightMenu->popup(ptMouseGlobalPos);
    return true;
}

bool CVelquinDlg::On_ShowPlaylistDelMenu() {
    if (!m_pPlaylist || !m_pPlaylistDelMenu)
        return false;
    m_pActListDelete->setVisible(!m_pPlaylist->selectedItems().isEmpty());
    m_pPlaylistDelMenu->popup(m_pBtnListDelete->mapToGlobal(QPoint(0, m_pBtnListDelete->height())));
    return true;
}

bool CVelquinDlg::On_PlaySelectedRow() {
    if (!m_pPlaylist)
        return false;
    const QList<QListWidgetItem*> lstSel = m_pPlaylist->selectedItems();
    OpenInfo stInfo;
    if (lstSel.size() != 1 || !m_pPlaylist->GetOpenInfo(lstSel.first(), &stInfo))
        return false;
    // The selected window already shows this file: the command toggles it.
    if (m_pDlgShow && IsActiveState(m_pDlgShow->GetPlayState()) &&
        m_pDlgShow->GetSelWndFilePath() == stInfo.strFilePath)
        return On_PlayOrPause();
    return On_OpenFileInSelWnd(&stInfo);
}

bool CVelquinDlg::On_OpenCurFileFolder() {
    if (!m_pPlaylist)
        return false;
    const QList<QListWidgetItem*> lstSel = m_pPlaylist->selectedItems();
    OpenInfo stInfo;
    if (lstSel.size() != 1 || !m_pPlaylist->GetOpenInfo(lstSel.first(), &stInfo) || stInfo.nMediaType == 2)
        return false;
    const QString strFolder = CPlayHelper::GetFolderFromPath(stInfo.strFilePath);
    return QDesktopServices::openUrl(QUrl::fromLocalFile(strFolder));
}

bool CVelquinDlg::On_DelSelFiles() {
    if (!m_pPlaylist)
        return false;
    const QList<QListWidgetItem*> lstSel = m_pPlaylist->selectedItems();
    for (QListWidgetItem* pItem : lstSel) {
        OpenInfo stInfo;
        if (m_pPlaylist->GetOpenInfo(pItem, &stInfo))
            On_CloseByFilePath(stInfo.strFilePath);
    }
    m_pPlaylist->RemoveItems(lstSel);
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_ClearPlaylist() {
    if (!m_pPlaylist || m_pPlaylist->count() == 0)
        return false;
    const int nAnswer =
        CustomMessageBox::MsgBox(this, Text(IDS_Global_Information, QStringLiteral("Information")),
                                 Text(IDS_MainWnd_ConfirmClearPlaylist,
                                      QStringLiteral("List of files will be cleared, please confirm whether "
                                                     "this operation?")),
                                 2);
    if (nAnswer == 0)
        return false;
    for (int nRow = 0; nRow < m_pPlaylist->count(); ++nRow) {
        OpenInfo stInfo;
        if (m_pPlaylist->GetOpenInfo(nRow, &stInfo))
            On_CloseByFilePath(stInfo.strFilePath);
    }
    m_pPlaylist->ClearAll();
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_ClearInvalidFiles() {
    if (!m_pPlaylist)
        return false;
    // Rows found invalid and files gone from disk; URL rows never. A row the
    // thumbnail thread has not examined yet is not known to be invalid, and a file
    // that plays in a window stays, whatever its row says.
    QList<QListWidgetItem*> lstInvalid;
    for (int nRow = 0; nRow < m_pPlaylist->count(); ++nRow) {
        OpenInfo stInfo;
        if (!m_pPlaylist->GetOpenInfo(nRow, &stInfo) || stInfo.nMediaType == 2)
            continue;
        const bool bInvalid = (stInfo.nMediaType == 0 && stInfo.bEncryptChecked) ||
                              !QFile::exists(stInfo.strFilePath);
        if (bInvalid && CountActiveWndsWithPath(stInfo.strFilePath, -1) == 0)
            lstInvalid << m_pPlaylist->item(nRow);
    }
    if (lstInvalid.isEmpty())
        return true;
    return m_pPlaylist->RemoveItems(lstInvalid);
}

bool CVelquinDlg::On_CloseByFilePath(QString strFilePath) {
    if (!m_pDlgShow)
        return false;
    if (m_pDlgShow->IsSyncPlay()) {
        // Leave the group first when one of its windows shows the path.
        const QString strNative = QDir::toNativeSeparators(strFilePath);
        for (int i = 0; i < MAX_PLAY_WND; ++i) {
            if (QDir::toNativeSeparators(m_pDlgShow->GetWndFilePath(i)) == strNative) {
                On_SyncPlay();
                break;
            }
        }
    }
    return m_pDlgShow->CloseByFilePath(strFilePath);
}

// ---------------------------------------------------------------------------
// Drag and drop on the dialog

bool CVelquinDlg::IsStreamUrl(const QUrl& url) {
    const QString strScheme = url.scheme().toLower();
    if (strScheme == QLatin1String("rtsp") || strScheme == QLatin1String("rtsps") ||
        strScheme == QLatin1String("rtmp") || strScheme == QLatin1String("udp") || strScheme == QLatin1String("rtp"))
        return true;
    if (strScheme != QLatin1String("http") && strScheme != QLatin1String("https"))
        return false;
    const QString strPath = url.path().toLower();
    return strPath.endsWith(QLatin1String(".m3u8")) || strPath.endsWith(QLatin1String(".ts")) ||
           strPath.endsWith(QLatin1String(".flv"));
}

int CVelquinDlg::ProposedWndNum(int nFiles) {
    if (nFiles > 9)
        return 16;
    if (nFiles >= 5)
        return 9;
    return 4;
}

bool CVelquinDlg::IsOnAutoExpandWnd(const QPoint& ptDlg) const {
    return m_pAutoExpandWnd && m_pAutoExpandWnd->isVisible() && m_pAutoExpandWnd->geometry().contains(ptDlg);
}

int CVelquinDlg::CountDraggedFiles(const QMimeData* pData) const {
    int nCount = 0;
    for (const QUrl& url : pData->urls()) {
        const QString strLocal = url.toLocalFile();
        if (!strLocal.isEmpty() && QFileInfo(strLocal).isFile())
            ++nCount;
        else if (strLocal.isEmpty() && m_pPlaylist && m_pPlaylist->GetRowByPath(url.toString()) >= 0)
            ++nCount;
    }
    return nCount;
}

void CVelquinDlg::dragEnterEvent(QDragEnterEvent* ev) {
    if (IsSyncPlay() || !ev->mimeData()->hasUrls()) {
        ev->ignore();
        return;
    }
    // The list has its own drop.
    if (m_pPlaylist && m_pPlaylist->isVisible() &&
        m_pPlaylist->rect().contains(m_pPlaylist->mapFrom(this, ev->position().toPoint()))) {
        ev->ignore();
        return;
    }
    const int nCount = CountDraggedFiles(ev->mimeData());
    if (m_pDlgShow && m_pDlgShow->isVisible() && nCount > m_pDlgShow->GetPlayWndNum() &&
        m_pDlgShow->GetPlayWndNum() != MAX_PLAY_WND)
        emit Sig_ShowAutoExpandWnd(nCount, false);
    // Folders are accepted here and skipped at the drop.
    ev->acceptProposedAction();
}

void CVelquinDlg::dragMoveEvent(QDragMoveEvent* ev) {
    if (!ev->mimeData()->hasUrls())
        return;
    const int nCount = CountDraggedFiles(ev->mimeData());
    if (m_pAutoExpandWnd && m_pAutoExpandWnd->isVisible())
        emit Sig_ShowAutoExpandWnd(nCount, IsOnAutoExpandWnd(ev->position().toPoint()));
    ev->acceptProposedAction();
}

void CVelquinDlg::dragLeaveEvent(QDragLeaveEvent* /*ev*/) {
    if (m_pAutoExpandWnd)
        m_pAutoExpandWnd->hide();
}

bool CVelquinDlg::On_ShowAutoExpandWnd(int nFileNum, bool bIsHoverWnd) {
    if (!m_pDlgShow)
        return false;
    if (!m_pAutoExpandWnd) {
        m_pAutoExpandWnd = new AutoExpandWnd(this);
        m_pAutoExpandWnd->Init();
    }
    // Centred at the bottom of the stage, 2 pixels above its edge, over the windows.
    const QSize sizePrompt = m_pAutoExpandWnd->size();
    const QPoint ptBottom = m_pDlgShow->mapTo(this, QPoint(m_pDlgShow->width() / 2, m_pDlgShow->height()));
    m_pAutoExpandWnd->move(ptBottom.x() - sizePrompt.width() / 2, ptBottom.y() - 2 - sizePrompt.height());
    m_pAutoExpandWnd->show();
    m_pAutoExpandWnd->raise();
    return m_pAutoExpandWnd->SetProposal(ProposedWndNum(nFileNum), bIsHoverWnd);
}

void CVelquinDlg::dropEvent(QDropEvent* ev) {
    if (!m_pDlgShow || !m_pPlaylist || !ev->mimeData()->hasUrls())
        return;
    const QPoint ptGlobal = mapToGlobal(ev->position().toPoint());

    // First pass: one entry per accepted URL, what a row knows taken from the row.
    QList<OpenInfo> lstDrop;
    bool bHasNew = false;
    OpenInfo stInfo;
    for (const QUrl& url : ev->mimeData()->urls()) {
        const QString strLocal = url.toLocalFile();
        if (!strLocal.isEmpty()) {
            const int nRow = m_pPlaylist->GetRowByPath(strLocal);
            if (CPlayHelper::CheckFile(strLocal)) {
                if (nRow >= 0) {
                    m_pPlaylist->GetOpenInfo(nRow, &stInfo);
                } else {
                    stInfo = OpenInfo();
                    stInfo.nMediaType = 1;
                    stInfo.strFilePath = strLocal;
                    bHasNew = true;
                }
            } else {
                const QFileInfo fi(strLocal);
                if (fi.isDir() || fi.isSymLink())
                    continue; // folders are not walked on a drop
                stInfo = OpenInfo();
                stInfo.nMediaType = 0;
                stInfo.strFilePath = strLocal;
                bHasNew = bHasNew || nRow < 0;
            }
        } else {
            // A remote URL without a row is taken as a stream address only when it
            // looks like one: a web link dragged from a browser is not a video.
            const QString strUrl = url.toString();
            const int nRow = m_pPlaylist->GetRowByPath(strUrl);
            if (nRow >= 0) {
                m_pPlaylist->GetOpenInfo(nRow, &stInfo);
            } else if (!IsStreamUrl(url)) {
                continue;
            } else {
                stInfo = OpenInfo();
                stInfo.nMediaType = 2;
                stInfo.strFilePath = strUrl;
                bHasNew = true;
            }
        }
        lstDrop.append(stInfo);
    }

    // A drop on the prompt grows the layout to hold the files.
    const int nWndNum = m_pDlgShow->GetPlayWndNum();
    if (m_pAutoExpandWnd && m_pAutoExpandWnd->isVisible() && lstDrop.size() > nWndNum &&
        nWndNum != MAX_PLAY_WND && IsOnAutoExpandWnd(ev->position().toPoint()))
        On_ChangePlayWndNum(ProposedWndNum(int(lstDrop.size())));

    QList<OpenInfo> lstOpen;
    for (OpenInfo& stEntry : lstDrop) {
        if (IsPlaylistFull() && bHasNew) {
            ShowListFullMessage();
            break;
        }
        if (stEntry.nMediaType == 2)
            m_pPlaylist->AddUrl(&stEntry);
        else
            m_pPlaylist->AddFile(&stEntry);
        lstOpen.append(stEntry);
    }

    if (lstOpen.size() == 1) {
        // A single file goes to the window under the cursor.
        if (m_pDlgShow->rect().contains(m_pDlgShow->mapFromGlobal(ptGlobal)))
            m_pDlgShow->SelectWndByPos(ptGlobal);
        PlayFileInWnd(m_pDlgShow->GetSelWndIndex(), &lstOpen.first());
    } else {
        HoldSelReaction(true);
        for (int i = 0; i < m_pDlgShow->GetPlayWndNum() && i < lstOpen.size(); ++i) {
            m_pDlgShow->On_ChangeSelWnd(i);
            PlayFileInWnd(i, &lstOpen[i]);
        }
        HoldSelReaction(false);
    }
    if (m_pAutoExpandWnd)
        m_pAutoExpandWnd->hide();
    ev->acceptProposedAction();
}

bool CVelquinDlg::On_ShowSelectMultiWndsDlg() {
    if (!m_pPlayWndLayoutMenu || !m_pBtnLayout || !m_pDlgShow)
        return false;
    const int nNum = m_pDlgShow->GetPlayWndNum();
    m_pActLayout1->setChecked(nNum == 1);
    m_pActLayout4->setChecked(nNum == 4);
    m_pActLayout9->setChecked(nNum == 9);
    m_pActLayout16->setChecked(nNum == 16);
    // Centred above the button, which sits at the bottom of the dialog; popup()
    // keeps the menu on the screen.
    const QSize sizeMenu = m_pPlayWndLayoutMenu->sizeHint();
    const QPoint ptTop = m_pBtnLayout->mapToGlobal(QPoint(m_pBtnLayout->width() / 2, 0));
    m_pPlayWndLayoutMenu->popup(QPoint(ptTop.x() - sizeMenu.width() / 2, ptTop.y() - sizeMenu.height()));
    return true;
}

bool CVelquinDlg::On_ChangePlayWndNum(int nWndNum) {
    if (!m_pDlgShow)
        return false;
    // A layout change always starts from the restored grid.
    if (m_pDlgShow->IsMaxWnd())
        m_pDlgShow->ToggleMaxWnd();
    const bool bOk = m_pDlgShow->SetPlayWndNum(nWndNum);
    On_UpdateCtrlsState();
    return bOk;
}

bool CVelquinDlg::On_SwitchLayoutMode(QAction* pAction) {
    if (pAction == m_pActLayout1)
        return On_ChangePlayWndNum(1);
    if (pAction == m_pActLayout4)
        return On_ChangePlayWndNum(4);
    if (pAction == m_pActLayout9)
        return On_ChangePlayWndNum(9);
    if (pAction == m_pActLayout16)
        return On_ChangePlayWndNum(16);
    return false;
}

// ---------------------------------------------------------------------------
// Transport and sound

bool CVelquinDlg::On_PlayOrPause() {
    if (!m_pDlgShow)
        return false;
    const int nState = m_pDlgShow->GetPlayState();
    if (IsActiveState(nState)) {
        // A network stream neither pauses nor resumes.
        if (m_pDlgShow->GetOpenMode(m_pDlgShow->GetSelWndIndex()) != 2)
            m_pDlgShow->PlayOrPause();
        return true;
    }
    // With nothing playing the button opens the selected playlist row, which needs
    // the playlist.
    return false;
}

bool CVelquinDlg::On_Stop() {
    if (!m_pDlgShow)
        return false;
    if (m_pDlgShow->GetPlayState() == 3)
        return false;
    m_pDlgShow->SyncStop();
    // Stop also leaves synchronous play.
    if (m_pDlgShow->IsSyncPlay())
        On_SyncPlay();
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_Mute() {
    if (!m_pDlgShow)
        return false;
    m_bMute = !m_bMute;
    const int nSel = m_pDlgShow->GetSelWndIndex();
    if (m_bMute)
        m_pDlgShow->SetVolume(nSel, false, 0, false);
    else
        m_pDlgShow->SetVolume(nSel, true, m_nVolume, false);
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_NetStreamStartSound(int nWndIndex) {
    if (!m_pDlgShow || nWndIndex != m_pDlgShow->GetSelWndIndex() || m_bMute)
        return false;
    return m_pDlgShow->SetVolume(nWndIndex, true, m_nVolume, false);
}

bool CVelquinDlg::On_SliderSetVolume(int nPos) {
    if (!m_pDlgShow || nPos < 0 || nPos > 100)
        return false;
    return SetVolumeValue(nPos);
}

bool CVelquinDlg::SetVolumeValue(int nPos) {
    if (!m_pDlgShow || nPos < 0 || nPos > 200)
        return false;
    m_pDlgShow->SetVolume(m_pDlgShow->GetSelWndIndex(), true, uint(nPos), true);
    m_pSliderSound->setToolTip(
        QStringLiteral("%1: %2%").arg(Text(IDS_Global_SoundVolume, QStringLiteral("Volume"))).arg(nPos));

    // Changing the volume always cancels mute; crossing 100 changes the mute icon.
    bool bRefresh = false;
    if ((nPos > 100 && m_nVolume <= 100) || (nPos <= 100 && m_nVolume > 100)) {
        m_bMute = false;
        bRefresh = true;
    } else if (m_bMute) {
        m_bMute = false;
        bRefresh = true;
    }
    m_nVolume = uint(nPos);
    if (bRefresh)
        On_UpdateCtrlsState();
    return true;
}

// ---------------------------------------------------------------------------
// Stepping, speed, jumps and seeking

bool CVelquinDlg::GuardNoNetStream() {
    const int nSel = m_pDlgShow->GetSelWndIndex();
    if (IsActiveState(m_pDlgShow->GetPlayState(nSel)) && m_pDlgShow->GetOpenMode(nSel) == 2) {
        ShowInfoMessage(IDS_MainWnd_UnSupportInOpenNetStream,
                        QStringLiteral("The operation is not supported in open net stream."));
        return false;
    }
    return true;
}

bool CVelquinDlg::GuardSomethingOpen() {
    const int nState = m_pDlgShow->GetPlayState();
    return nState != 0 && nState != 3;
}

bool CVelquinDlg::GuardFileRef() {
    if (m_pDlgShow->IsFileRefCreated())
        return true;
    ShowInfoMessage(IDS_MainWnd_FileRefNotDone, QStringLiteral("Generate file index,please wait..."));
    return false;
}

bool CVelquinDlg::On_GoToBegin() {
    if (!m_pDlgShow || !GuardNoNetStream() || !GuardSomethingOpen())
        return false;
    return m_pDlgShow->GoToStart();
}

bool CVelquinDlg::On_GoToEnd() {
    if (!m_pDlgShow || !GuardNoNetStream() || !GuardSomethingOpen())
        return false;
    return m_pDlgShow->GoToEnd();
}

bool CVelquinDlg::On_FrameForward() {
    if (!m_pDlgShow || !GuardNoNetStream() || !GuardSomethingOpen())
        return false;
    return m_pDlgShow->FrameForward();
}

bool CVelquinDlg::On_FrameBackward() {
    if (!m_pDlgShow || !GuardNoNetStream() || !GuardSomethingOpen() || !GuardFileRef())
        return false;
    return m_pDlgShow->FrameBackward();
}

bool CVelquinDlg::On_Fast() {
    if (!m_pDlgShow || !GuardNoNetStream() || !GuardSomethingOpen())
        return false;
    return m_pDlgShow->Fast();
}

bool CVelquinDlg::On_Slow() {
    if (!m_pDlgShow || !GuardNoNetStream() || !GuardSomethingOpen())
        return false;
    return m_pDlgShow->Slow();
}

bool CVelquinDlg::On_RestoreCommonSpeed() {
    if (!m_pDlgShow)
        return false;
    // Normal speed is reached by walking the ladder back, one step at a time.
    const int nSpeed = m_pDlgShow->GetPlaySpeed();
    if (nSpeed == 0)
        return false;
    for (int i = 0; i < qAbs(nSpeed); ++i) {
        if (nSpeed > 0)
            m_pDlgShow->Slow();
        else
            m_pDlgShow->Fast();
    }
    return true;
}

bool CVelquinDlg::On_ReversePlay() {
    if (!m_pDlgShow)
        return false;
    if (!GuardNoNetStream() || m_pDlgShow->IsSyncPlay() || !IsActiveState(m_pDlgShow->GetPlayState()) ||
        !GuardFileRef())
        return false;
    m_pDlgShow->BackPlay(!m_pDlgShow->IsBackPlay());
    On_UpdateCtrlsState();
    return true;
}

qint64 CVelquinDlg::SliderPosToFrame(uint nTotalFrames, int nPos) {
    return qint64(double(nTotalFrames) * double(nPos) * 1.0 / 65535.0);
}

qint64 CVelquinDlg::SliderPosToSeconds(uint nFileTime, int nPos) {
    return qint64(double(nFileTime) * double(float(double(nPos) / 65535.0)));
}

bool CVelquinDlg::On_SetPlayProgress(int nPos) {
    if (!m_pDlgShow || !GuardSomethingOpen())
        return false;
    // Seeking the synchronous group belongs to its ruler; the stage refuses the
    // single-window seek there.
    if (m_stPlayerCfg.nPlayLocateMode == 0)
        return m_pDlgShow->SetTimePos(uint(SliderPosToSeconds(m_pDlgShow->GetFileTime(), nPos)));

    const qint64 nFrame = SliderPosToFrame(m_pDlgShow->GetFileTotalFrames(), nPos);
    // A click where the picture already is must not restart the decoder.
    if (nFrame == qint64(m_pDlgShow->GetCurrentFrameNum()))
        return true;
    return m_pDlgShow->SetFramePos(uint(nFrame));
}

bool CVelquinDlg::On_PlayProgressSliderMousePress() {
    m_bSliderPressed = true;
    return true;
}

bool CVelquinDlg::On_PlayProgressSliderMouseRelease() {
    m_bSliderPressed = false;
    return true;
}

bool CVelquinDlg::On_PlayProgressSliderMouseMoveValue(bool bShowGlobalTimeTips, QPoint ptMouse,
                                                      unsigned int nMouseMoveValue) {
    if (!m_pDlgShow || !m_pSliderTips || !IsActiveState(m_pDlgShow->GetPlayState()))
        return false;
    if (!bShowGlobalTimeTips) {
        m_pSliderTips->hide();
        return true;
    }
    // The global time range of a file is known to the playlist, which is not part
    // of this build yet; without a range there is no time to show.
    Q_UNUSED(ptMouse);
    Q_UNUSED(nMouseMoveValue);
    return false;
}

void CVelquinDlg::timerEvent(QTimerEvent* ev) {
    if (m_nTipsTimerId != 0 && ev->timerId() == m_nTipsTimerId) {
        if (m_pSliderTips)
            m_pSliderTips->hide();
        killTimer(m_nTipsTimerId);
        m_nTipsTimerId = 0;
        return;
    }
    QDialog::timerEvent(ev);
}

// ---------------------------------------------------------------------------
// A-B repeat

qint64 CVelquinDlg::SliderValueToRepeatFrame(uint nTotalFrames, uint nValue, int nRange) {
    if (nRange <= 0)
        return 0;
    return qint64(quint64(nTotalFrames) * nValue / uint(nRange));
}

qint64 CVelquinDlg::RepeatFrameToSliderValue(uint nTotalFrames, uint nFrame, int nRange) {
    if (nTotalFrames == 0)
        return 0;
    return qint64(double(nRange) * double(float(double(nFrame) / double(nTotalFrames))));
}

bool CVelquinDlg::On_ABRepeat() {
    if (!m_pDlgShow || m_pDlgShow->IsSyncPlay())
        return false;
    bool bASet = false, bBSet = false;
    uint nA = 0, nB = 0;
    m_pDlgShow->GetRepeatA(&bASet, &nA);
    m_pDlgShow->GetRepeatB(&bBSet, &nB);
    if (bASet && bBSet) {
        m_pDlgShow->ClearRepeatAB();
        RefreshRepeatMarks();
        return true;
    }
    // Forward play repeats from here to the end, reverse play from the start to here.
    const uint nCur = m_pDlgShow->GetCurrentFrameNum();
    if (!m_pDlgShow->IsBackPlay())
        return SetRepeatPointA(nCur) && SetRepeatPointB(m_pDlgShow->GetFileTotalFrames());
    return SetRepeatPointA(0) && SetRepeatPointB(nCur);
}

bool CVelquinDlg::SetRepeatPointA(uint nFrame) {
    if (!m_pDlgShow || m_pDlgShow->IsSyncPlay())
        return false;
    const bool bOk = m_pDlgShow->SetRepeatA(nFrame);
    RefreshRepeatMarks();
    return bOk;
}

bool CVelquinDlg::SetRepeatPointB(uint nFrame) {
    if (!m_pDlgShow || m_pDlgShow->IsSyncPlay())
        return false;
    const bool bOk = m_pDlgShow->SetRepeatB(nFrame);
    RefreshRepeatMarks();
    return bOk;
}

void CVelquinDlg::RefreshRepeatMarks() {
    if (!m_pDlgShow || !m_pPlayProgressSlider || m_pDlgShow->IsSyncPlay())
        return;
    const uint nTotal = m_pDlgShow->GetFileTotalFrames();
    if (nTotal == 0)
        return;
    // The slider's marks are always derived from the window's points.
    bool bASet = false, bBSet = false;
    uint nA = 0, nB = 0;
    m_pDlgShow->GetRepeatA(&bASet, &nA);
    m_pDlgShow->GetRepeatB(&bBSet, &nB);
    if (!bASet && !bBSet) {
        m_pPlayProgressSlider->ClearRepeatPoints();
        return;
    }
    const int nRange = m_pPlayProgressSlider->GetMaximum() - m_pPlayProgressSlider->GetMinimum();
    if (bASet)
        m_pPlayProgressSlider->SetRepeatPointA(uint(RepeatFrameToSliderValue(nTotal, nA, nRange)));
    if (bBSet)
        m_pPlayProgressSlider->SetRepeatPointB(uint(RepeatFrameToSliderValue(nTotal, nB, nRange)));
}

bool CVelquinDlg::On_ChangeRepeatPointValue(bool bPointAOrPointB, unsigned int nValue) {
    if (!m_pDlgShow)
        return false;
    const uint nTotal = m_pDlgShow->GetFileTotalFrames();
    if (nTotal == 0)
        return false;
    const int nRange = m_pPlayProgressSlider->GetMaximum() - m_pPlayProgressSlider->GetMinimum();
    const qint64 nFrame = SliderValueToRepeatFrame(nTotal, nValue, nRange);
    bool bASet = false, bBSet = false;
    uint nA = 0, nB = 0;
    m_pDlgShow->GetRepeatA(&bASet, &nA);
    m_pDlgShow->GetRepeatB(&bBSet, &nB);
    // A mark may not be dragged onto or past the other; it goes back at the next refresh.
    if (bPointAOrPointB) {
        if (bBSet && nFrame >= qint64(nB))
            return false;
        return SetRepeatPointA(uint(nFrame));
    }
    if (bASet && nFrame <= qint64(nA))
        return false;
    return SetRepeatPointB(uint(nFrame));
}

// ---------------------------------------------------------------------------
// Control state

QString CVelquinDlg::FormatHms(uint nSeconds) {
    return QString::asprintf("%02u:%02u:%02u", nSeconds / 3600, (nSeconds % 3600) / 60, nSeconds % 60);
}

bool CVelquinDlg::On_UpdateCtrlsState() {
    if (!m_pDlgShow)
        return false;

    const int nSel = m_pDlgShow->GetSelWndIndex();
    int nOpen = 0;
    int nShown = 0;
    bool bAnyNet = false;
    bool bSelNet = false;
    for (int i = 0; i < MAX_PLAY_WND; ++i) {
        if (!IsActiveState(m_pDlgShow->GetPlayState(i)))
            continue;
        ++nOpen;
        if (i < m_pDlgShow->GetPlayWndNum())
            ++nShown;
        if (m_pDlgShow->GetOpenMode(i) == 2) {
            bAnyNet = true;
            if (i == nSel)
                bSelNet = true;
        }
    }
    // One stream anywhere forbids synchronous play.
    m_pBtnSyncPlay->setEnabled(!bAnyNet && nOpen >= 2);

    qDebug() << "SelWndIndex:" << nSel << "PlayState:" << m_pDlgShow->GetPlayState(nSel);
    const bool bSelActive = IsActiveState(m_pDlgShow->GetPlayState(nSel));
    const bool bSync = m_pDlgShow->IsSyncPlay();

    // Stepping, jumps and reverse play act on one window and not on a stream; the
    // speed steps also act on the whole synchronous group.
    const bool bSelFile = !bSelNet && bSelActive;
    m_pBtnLastFrame->setEnabled(!bSync && bSelFile);
    m_pBtnNextFrame->setEnabled(!bSync && bSelFile);
    m_pBtnSlow->setEnabled(bSync || bSelFile);
    m_pBtnFast->setEnabled(bSync || bSelFile);
    m_pBtnReversePlay->setEnabled(!bSync && bSelFile);
    m_pBtnReversePlay->SetSelected(bSelActive && m_pDlgShow->IsBackPlay());
    m_pBtnPartZoom->setEnabled(bSelActive);
    m_pBtnPartZoom->SetSelected(bSelActive && m_pDlgShow->IsPartZoom());
    m_pBtnSyncPlay->SetSelected(bSync);
    // Snapshots and continuous capture of the selected window; a hardware
    // decoded stream hands no pictures to continuous capture.
    m_pBtnCapPic->setEnabled(bSelActive);
    m_pBtnConCapPic->setEnabled(bSelActive && !(bSelNet && m_pDlgShow->IsHardDecode(nSel)));
    m_pBtnConCapPic->SetSelected(m_pDlgShow->IsConCapping());
    // Fisheye and full screen keep their greyed out state until those
    // features join.

    ApplyStyle(m_pBtnMax, m_bMaximized ? STYLE_MAX_RESTORE : STYLE_MAX_NORMAL);
    ApplyStyle(m_pBtnMute, m_bMute ? STYLE_MUTE_ON : (m_nVolume > 100 ? STYLE_MUTE_BOOST : STYLE_MUTE_OFF));
    ApplyStyle(m_pBtnTopMode, STYLE_TOP_MODE_0 + m_nTopMode);
    ApplyStyle(m_pBtnPlayMode,
               STYLE_PLAY_MODE_1 + ((m_nPlayMode >= 1 && m_nPlayMode <= 4) ? m_nPlayMode - 1 : 0));
    ApplyStyle(m_pBtnFullScreen, m_bFullScreen ? STYLE_FULL_LEAVE : STYLE_FULL_ENTER);

    switch (m_pDlgShow->GetPlayState()) {
    case 1:
        ApplyStyle(m_pBtnPlayOrPause, STYLE_PAUSE);
        m_pBtnPlayOrPause->setEnabled(m_pDlgShow->GetOpenMode(nSel) != 2);
        m_pBtnStop->setEnabled(true);
        m_pPlayProgressSlider->SetSliderEnable(true);
        break;
    case 2:
        ApplyStyle(m_pBtnPlayOrPause, STYLE_PLAY);
        m_pBtnPlayOrPause->setEnabled(true);
        m_pBtnStop->setEnabled(true);
        m_pPlayProgressSlider->SetSliderEnable(true);
        break;
    case 0:
    case 3:
        ApplyStyle(m_pBtnPlayOrPause, STYLE_PLAY);
        // From here play starts the selected playlist row; without the playlist
        // there is nothing it could start.
        m_pBtnPlayOrPause->setEnabled(false);
        m_pBtnStop->setEnabled(false);
        m_pPlayProgressSlider->SetSliderEnable(false);
        m_pPlayProgressSlider->SetValue(0);
        m_pLabFrameIndex->clear();
        m_pLabCurPlayTime->setText(FormatHms(0));
        m_pLabWholeTime->setText(FormatHms(0));
        break;
    default:
        break;
    }

    RetranslateWidgets();
    m_pDlgShow->UpdateStartPage();
    RefreshRepeatMarks();
    return true;
}

CVelquinDlg::TimerValues CVelquinDlg::ComputeTimerValues(uint nFileTime, uint nPlayedTime, uint nTotalFrames,
                                                         uint nCurFrame) {
    TimerValues stValues;
    if (nTotalFrames == 0)
        return stValues;
    // A played time read above the file time is not believed.
    const uint nPlayed = nPlayedTime > nFileTime ? 0 : nPlayedTime;
    stValues.nPlayedShown = nPlayed;
    stValues.nCurFrame = nCurFrame;
    if (nCurFrame == 0xFFFFFFFFu) { // just opened: no frame shown yet
        stValues.nCurFrame = 0;
        stValues.nPlayedShown = 0;
    }
    if (nFileTime != 0) {
        stValues.nSliderPos = uint(quint64(nPlayed) * SLIDER_UNITS / nFileTime);
    } else {
        // A stream without a time: the position comes from the frames.
        const uint nDiv = nTotalFrames > 1 ? nTotalFrames - 1 : nTotalFrames;
        stValues.nSliderPos = uint(quint64(stValues.nCurFrame) * SLIDER_UNITS / nDiv);
    }
    return stValues;
}

bool CVelquinDlg::On_PlayerTimer() {
    if (!m_pDlgShow)
        return false;

    const uint nFrames = m_pDlgShow->GetFileTotalFrames();
    const uint nFileTime = nFrames != 0 ? m_pDlgShow->GetFileTime() : 0;
    const TimerValues stValues = nFrames != 0 ? ComputeTimerValues(nFileTime, m_pDlgShow->GetPlayedTime(),
                                                                   nFrames, m_pDlgShow->GetCurrentFrameNum())
                                              : TimerValues();

    if (IsActiveState(m_pDlgShow->GetPlayState())) {
        m_pLabFrameIndex->setText(QStringLiteral("%1/%2").arg(stValues.nCurFrame).arg(nFrames));
        m_pLabCurPlayTime->setText(FormatHms(stValues.nPlayedShown));
        m_pLabWholeTime->setText(FormatHms(nFileTime));

        const int nSel = m_pDlgShow->GetSelWndIndex();
        const QString strPath = m_pDlgShow->GetSelWndFilePath();
        const QString strName =
            m_pDlgShow->GetOpenMode(nSel) == 2 ? strPath : CPlayHelper::GetFileNameFormPath(strPath);
        const QFontMetrics fm(m_pLabFileName->font());
        if (fm.boundingRect(strName).width() > FILE_NAME_MAX_WIDTH)
            m_pLabFileName->setText(fm.elidedText(strName, Qt::ElideMiddle, FILE_NAME_MAX_WIDTH));
        else
            m_pLabFileName->setText(strName);
        m_pLabFileName->setToolTip(strName);

        // While the user drags, the slider is the user's.
        if (!m_bSliderPressed)
            m_pPlayProgressSlider->SetValue(int(stValues.nSliderPos));
    } else {
        m_pLabFrameIndex->clear();
        m_pLabFileName->clear();
        m_pLabCurPlayTime->setText(FormatHms(0));
        m_pLabWholeTime->setText(FormatHms(0));
        m_pPlayProgressSlider->SetValue(0);
    }
    UpdateSyncRuler();

    // Progress painted in the rows of the open files; the first window with a
    // path wins, stopped windows bring their rows back to the plain look.
    if (m_pPlaylist) {
        QMap<QString, PlayProgress> mapProgress;
        for (int i = 0; i < MAX_PLAY_WND; ++i) {
            const QString strPath = m_pDlgShow->GetWndFilePath(i);
            if (!IsActiveState(m_pDlgShow->GetPlayState(i)) || strPath.isEmpty() || mapProgress.contains(strPath))
                continue;
            PlayProgress stProgress;
            stProgress.nTotalTime = m_pDlgShow->GetFileTime(i);
            stProgress.nPlayedTime = m_pDlgShow->GetPlayedTime(i);
            if (stProgress.nPlayedTime > stProgress.nTotalTime)
                stProgress.nPlayedTime = 0;
            mapProgress.insert(strPath, stProgress);
        }
        for (int i = 0; i < MAX_PLAY_WND; ++i) {
            const QString strPath = m_pDlgShow->GetWndFilePath(i);
            if (m_pDlgShow->GetPlayState(i) == 3 && !strPath.isEmpty() && !mapProgress.contains(strPath))
                mapProgress.insert(strPath, PlayProgress());
        }
        if (!mapProgress.isEmpty())
            m_pPlaylist->UpdatePlayProgress(mapProgress);
    }
    return true;
}

bool CVelquinDlg::On_ChangeSelectWnd(int nPlayWndIndex) {
    if (!m_pDlgShow)
        return false;
    if (m_bHoldSelReaction) {
        // Many windows filled in a row: the controls follow the last one, once.
        m_bSelReactionPending = true;
        return true;
    }
    for (int i = 0; i < MAX_PLAY_WND; ++i)
        m_pDlgShow->SetVolume(i, false, 0, false);
    if (!m_bMute)
        m_pDlgShow->SetVolume(nPlayWndIndex, true, m_nVolume, false);
    // The labels follow the new selection at once, not at the next tick.
    On_UpdateCtrlsState();
    On_PlayerTimer();
    if (m_pSyncDlg && m_pSyncDlg->isVisible())
        m_pSyncDlg->RefreshSelection();
    return true;
}

bool CVelquinDlg::On_FileRefCreated(int nPlayWndIndex) {
    if (!m_pDlgShow || nPlayWndIndex != m_pDlgShow->GetSelWndIndex())
        return false;
    return On_UpdateCtrlsState();
}
