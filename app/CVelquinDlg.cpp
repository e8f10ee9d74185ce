// The main dialog: construction, start (configuration, playlist) and exit.
// Its other concerns live in the CVelquinDlg*.cpp files beside this one.
#include "CVelquinDlg.h"

#include <QAction>
#include <QTimer>
#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QStandardPaths>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLocale>
#include <QMenu>
#include <QScreen>

#include "AllGlobalConfig.h"
#include "AutoExpandWnd.h"
#include "CPlaylist.h"
#include "CPlayWndLayoutMenu.h"
#include "CToolsMenu.h"
#include "CCustomSlider.h"
#include "CDlgShow.h"
#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "CustomPlayerSlider.h"
#include "GlobalCfgHelper.h"
#include "LanguageKeys.h"
#include "OpenInfo.h"
#include "SkinManager.h"
#include "SliderTips.h"
#include "SyncPlayProgressDlg.h"
#include "MainDlgCommon.h"

using namespace maindlg;

namespace {

CVelquinDlg* s_pMainDlg = nullptr;

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

    setWindowFlags(Qt::FramelessWindowHint | Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint |
                   Qt::WindowMaximizeButtonHint);
    setMinimumSize(MIN_WIDTH, MIN_HEIGHT);
    if (QScreen* pScreen = QGuiApplication::primaryScreen())
        resize(InitialSizeForScreen(pScreen->size()));
    // Before the connections (the sound slider's value must not count as a user's
    // change) and before the command line opens: its paths fill the stored layout.
    RestoreRememberedState();

    setMouseTracking(true);
    setAcceptDrops(true); // files dropped on the dialog open in the windows
    setFocusPolicy(Qt::NoFocus);
    setSizeGripEnabled(true);

    if (!InitMenus())
        return false;
    InitObjectNames();
    if (!InitConnections())
        return false;
    InitWindowModes(); // full screen, display on top, the playlist handle
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

void CVelquinDlg::RestoreRememberedState() {
    const PlayerConfig& cfg = m_stPlayerCfg;
    m_pDlgShow->SetPlayWndNum(cfg.nPlayWndNum);

    // The store has checked the range; the windows take the sound as they open.
    m_nVolume = uint(qBound(0, cfg.nVolume, 200));
    m_bMute = cfg.bMute;
    m_pSliderSound->setValue(qMin(int(m_nVolume), 100)); // the slider ends at 100; keys go beyond
    m_pSliderSound->setToolTip(
        QStringLiteral("%1: %2%").arg(Text(IDS_Global_SoundVolume, QStringLiteral("Volume"))).arg(m_nVolume));

    if (cfg.rcMainDlg.isValid()) {
        QList<QRect> lstAvailable;
        if (QScreen* pPrimary = QGuiApplication::primaryScreen())
            lstAvailable << pPrimary->availableGeometry();
        for (QScreen* pScreen : QGuiApplication::screens())
            if (pScreen != QGuiApplication::primaryScreen())
                lstAvailable << pScreen->availableGeometry();
        setGeometry(FitOntoScreens(cfg.rcMainDlg, lstAvailable, QSize(MIN_WIDTH, MIN_HEIGHT)));
    }
    // The maximised state is the dialog's own, over the normal geometry just set;
    // it is taken once the dialog shows, from the event loop.
    if (cfg.bMaximized) {
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (!m_bMaximized)
                    On_ShowMaximized();
            },
            Qt::QueuedConnection);
    }
}

QRect CVelquinDlg::FitOntoScreens(const QRect& rcStored, const QList<QRect>& lstAvailable,
                                  const QSize& sizeMin) {
    QRect rc(rcStored.topLeft(), rcStored.size().expandedTo(sizeMin));
    if (lstAvailable.isEmpty())
        return rc;
    QRect rcScreen = lstAvailable.first();
    qint64 nBestArea = 0;
    for (const QRect& rcAvailable : lstAvailable) {
        const QRect rcCommon = rcAvailable.intersected(rc);
        const qint64 nArea = qint64(rcCommon.width()) * rcCommon.height();
        if (nArea > nBestArea) {
            nBestArea = nArea;
            rcScreen = rcAvailable;
        }
    }
    rc.setSize(rc.size().boundedTo(rcScreen.size()).expandedTo(sizeMin));
    // Wholly on that screen; a dialog wider than the screen keeps its left (and
    // title bar) edge on it.
    const int nX = qMax(rcScreen.left(), qMin(rc.x(), rcScreen.right() + 1 - rc.width()));
    const int nY = qMax(rcScreen.top(), qMin(rc.y(), rcScreen.bottom() + 1 - rc.height()));
    rc.moveTo(nX, nY);
    return rc;
}

void CVelquinDlg::StoreRememberedState() {
    if (m_pDlgShow)
        m_stPlayerCfg.nPlayWndNum = m_pDlgShow->GetPlayWndNum();
    m_stPlayerCfg.nVolume = int(m_nVolume);
    m_stPlayerCfg.bMute = m_bMute;
    m_stPlayerCfg.bMaximized = m_bMaximized;
    // Maximised, the geometry to come back to is the one before.
    m_stPlayerCfg.rcMainDlg = m_bMaximized ? m_rcNormal : geometry();
}

bool CVelquinDlg::SaveConfig() {
    StoreRememberedState();
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
    if (m_pSyncDlg) {
        m_pSyncDlg->ResetSyncRuler();
        delete m_pSyncDlg;
        m_pSyncDlg = nullptr;
    }
    UnInitWindowModes(); // the full screen ruler, animations, timers, the handle
    // The popups go while the language and the skin are still there to leave.
    delete m_pToolsMenu;
    m_pToolsMenu = nullptr;
    delete m_pLayoutMenu;
    m_pLayoutMenu = nullptr;
    delete m_pAutoExpandWnd;
    m_pAutoExpandWnd = nullptr;
    UnInitFisheye();

    CLanguageParser::DeleteInstance();
    if (SkinManager::GetInstance())
        SkinManager::DelObserver(this);
    qDeleteAll(m_listLangActions);
    m_listLangActions.clear();
    return true;
}
