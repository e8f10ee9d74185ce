// The main dialog's language and skin, and the read access others use.
#include "CVelquinDlg.h"

#include <QApplication>
#include <QCoreApplication>
#include <QAction>
#include <QLabel>
#include <QMenu>

#include "CPlaylist.h"
#include "CDlgShow.h"
#include "CLanguageParser.h"
#include "CSkinButton.h"
#include "LanguageKeys.h"
#include "SkinManager.h"
#include "CCustomSlider.h"
#include "CPlayWndLayoutMenu.h"
#include "CToolsMenu.h"
#include "CWatermarkDlg.h"
#include "PlayListSearchBar.h"
#include "SyncPlayProgressDlg.h"
#include "SyncPlayProgressFullScreenDlg.h"
#include "MainDlgCommon.h"

using namespace maindlg;

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

    // The title names the file shown, when there is one.
    UpdateMainTitle();
    m_pLabPlaylistTitle->setText(Text(IDS_Global_Playlist, QStringLiteral("Playlist")));
    RetranslateWidgets();
    RetranslateMenus();
    RetranslateSideWindows();
    RetranslateFisheye();
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
    if (m_nTopMode == 1)
        m_pBtnTopMode->setToolTip(Text(IDS_MainWnd_PlayTop, QStringLiteral("Play Top")));
    else if (m_nTopMode == 2)
        m_pBtnTopMode->setToolTip(Text(IDS_MainWnd_AlwaysTop, QStringLiteral("Always Top")));
    else
        m_pBtnTopMode->setToolTip(Text(IDS_MainWnd_NeverTop, QStringLiteral("Never Top")));
    m_pSliderSound->setToolTip(
        QStringLiteral("%1: %2%").arg(Text(IDS_Global_SoundVolume, QStringLiteral("Volume"))).arg(m_nVolume));
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

bool CVelquinDlg::On_ChangeLanguageCN_EN() {
    if (m_stPlayerCfg.nLanguage == 0)
        m_stPlayerCfg.nLanguage = 1;
    else if (m_stPlayerCfg.nLanguage == 1)
        m_stPlayerCfg.nLanguage = 0;
    return LoadLanguage();
}

bool CVelquinDlg::On_SwitchLanguage(QAction* pAction) {
    const int nIndex = m_listLangActions.indexOf(pAction);
    if (nIndex < 0 || (nIndex >= m_stPlayerCfg.vecLanguages.size() && !m_stPlayerCfg.vecLanguages.isEmpty()))
        return false;
    if (m_stPlayerCfg.vecLanguages.isEmpty()) {
        // The single entry of a missing language list: English, nothing to load.
        m_stPlayerCfg.nLanguage = 1;
        return true;
    }
    const int nType = m_stPlayerCfg.vecLanguages.at(nIndex).nLanguageId;
    if (nType == m_stPlayerCfg.nLanguage)
        return false; // already the language shown
    m_stPlayerCfg.nLanguage = nType;
    return LoadLanguage();
}

void CVelquinDlg::RetranslateSideWindows() {
    if (m_pToolsMenu)
        m_pToolsMenu->UpdateLanguage();
    if (m_pLayoutMenu)
        m_pLayoutMenu->UpdateLanguage();
    if (m_pWatermarkDlg)
        m_pWatermarkDlg->ReTranslateUI();
    if (m_pPlayListSearchBar)
        m_pPlayListSearchBar->UpdateLanguage();
    if (m_pSyncDlg)
        m_pSyncDlg->UpdateLanguage();
    if (m_pSyncFullDlg)
        m_pSyncFullDlg->UpdateLanguage();
    if (m_pDlgShow)
        m_pDlgShow->UpdateStartPageText();
    if (m_pPlaylist)
        m_pPlaylist->On_LanguageChanged(); // the rows' texts ("Invalid", sizes) follow
    // The slider's tip shows a time only; it is set afresh at each move.
}

bool CVelquinDlg::On_SkinIndexChanged(int nIndex) {
    m_stPlayerCfg.nSkin = nIndex;
    SkinManager::ChangeSkin(nIndex);
    return true;
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
