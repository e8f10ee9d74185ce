#pragma once

#include <QDialog>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>
#include <QStringList>

#include <QMap>

#include "CPlayerConfigFile.h"
#include "IObserverBase.h"
#include "OpenInfo.h"
#include "PlayerConfig.h"
#include "Tavrix.h"

class QAction;
class QActionGroup;
class QDragEnterEvent;
class QDragLeaveEvent;
class QDragMoveEvent;
class QDropEvent;
class QEvent;
class QMimeData;
class QHBoxLayout;
class QKeyEvent;
class QLabel;
class QLocale;
class QMenu;
class QMouseEvent;
class QMoveEvent;
class QResizeEvent;
class QTimer;
class QUrl;
class QTimerEvent;
class QVBoxLayout;
class QWidget;
class CCustomSlider;
class CustomPlayerSlider;
class SliderTips;
class CDlgShow;
class CSkinButton;
class CPlaylist;
class AutoExpandWnd;
class SyncPlayProgressDlg;
class SyncPlayProgressFullScreenDlg;
class PlaylistCtrlBar;
class CToolsMenu;
class CPlayWndLayoutMenu;
class EagleEyeCtrlBar;
class Halvane;

// The one top level window: builds the bars around the stage, turns every user
// command into a call on the stage, and derives what the controls show from
// what the stage answers. It never holds a play window itself.
class CVelquinDlg : public QDialog, public IObserverBase {
    Q_OBJECT

public:
    // strConfigDir: folder of GlobalConfig.xml, GlobalLanguageConfig.xml and
    // PlayerConfig.xml; empty means the program's own folder.
    explicit CVelquinDlg(QWidget* parent = nullptr, const QString& strConfigDir = QString());
    ~CVelquinDlg() override;

    // The process-wide dialog, set by the constructor; parent of message boxes for
    // classes without a parent of their own. Null when no dialog exists.
    static CVelquinDlg* GetMainDlg();

    bool Init();
    bool RestorePlaylist();
    bool OpenFileList(QStringList lstPaths);
    bool UnInit();

    // Read access for the stage and the side dialogs; 0 or empty without a stage.
    int GetLanguage() const { return m_stPlayerCfg.nLanguage; }
    int GetSelWndIndex() const;
    int GetPlayState() const;
    bool IsSyncPlay() const;
    uint GetFileTime() const;
    uint GetPlayedTime() const;
    QString GetSelWndFilePath() const;
    QString GetVolumeUpKeyText() const;
    const PlayerConfig& GetPlayerConfig() const { return m_stPlayerCfg; }
    QString GetConfigDir() const { return m_strConfigDir; }
    CPlaylist* GetPlaylist() const { return m_pPlaylist; }
    CDlgShow* GetDlgShow() const { return m_pDlgShow; }
    int GetPlayMode() const { return m_nPlayMode; }
    AutoExpandWnd* GetAutoExpandWnd() const { return m_pAutoExpandWnd; }

    // The layout a drop of nFiles entries on the drag prompt asks for.
    static int ProposedWndNum(int nFiles);
    // Addresses a drop takes for a stream: RTSP, RTMP, UDP/RTP, and HTTP(S) that
    // names a playlist or transport stream.
    static bool IsStreamUrl(const QUrl& url);

    // Language of a first start without any configuration: Simplified Chinese
    // systems get 0, all others 1.
    static int DefaultLanguageFromLocale(const QLocale& locale);
    // Starting size for a primary screen of the given size.
    static QSize InitialSizeForScreen(const QSize& sizeScreen);

    // Conversions between the progress slider's units (0..65535) and the file.
    // What the play timer shows for one reading of the selected window.
    struct TimerValues {
        uint nPlayedShown = 0; // played seconds for the label
        uint nCurFrame = 0;    // current frame for the label
        uint nSliderPos = 0;   // slider position
    };
    static TimerValues ComputeTimerValues(uint nFileTime, uint nPlayedTime, uint nTotalFrames,
                                          uint nCurFrame);
    // Frame asked for by a slider position when locating by frame; 65535 asks for
    // the total frame count (the window decides what it does with it).
    static qint64 SliderPosToFrame(uint nTotalFrames, int nPos);
    // Second asked for by a slider position when locating by time.
    static qint64 SliderPosToSeconds(uint nFileTime, int nPos);
    // Repeat point frame from a mark's slider value, and back.
    static qint64 SliderValueToRepeatFrame(uint nTotalFrames, uint nValue, int nRange);
    static qint64 RepeatFrameToSliderValue(uint nTotalFrames, uint nFrame, int nRange);

    // IObserverBase: the skin notice.
    void SkinChanged() override;

signals:
    void Sig_ShowAutoExpandWnd(int nFileNum, bool bIsHoverWnd);

public slots:
    // Title bar and window
    bool On_ShowMinimized();
    bool On_ShowMaximized();
    bool On_Exit();
    bool On_ChangeLanguageCN_EN();

    // Opening and sequencing
    bool On_ShowOpenMenu_OpenBtn();
    bool On_OpenFiles();
    bool On_OpenFolder();
    // The open URL dialog; an accepted address plays in the selected window
    // and joins the playlist (CVelquinDlgUrl.cpp).
    bool On_OpenURL();
    bool On_AddFiles();
    bool On_OpenFileInSelWnd(OpenInfo* pOpenInfo);
    // Starts the open of pOpenInfo in window nWnd; the window reads the file on a
    // worker and On_WndOpenFinished does the rest. False when it could not start
    // (the row is then marked invalid at once).
    bool PlayFileInWnd(int nWnd, OpenInfo* pOpenInfo);
    // A window's open has ended: the row's mark, sound, saved position and timer
    // for a file that plays; the mark, and the play mode's search going on, for
    // one that failed.
    bool On_WndOpenFinished(int nWnd, bool bOk);
    bool AskDecryptKeys(QMap<QString, QString>& mapKeys);
    bool On_ShowInputKeyDlg();
    bool StopWnd(int nWnd);
    bool ReplayWnd(int nWnd);
    bool On_FilePlayEnd(int nPlayWndIndex);
    void ErrorToStopPlay(QString strFileName, int nErrorType, bool bSRFile);
    bool On_SwitchPlayMode(QAction* pAction);
    bool On_ShowPlayModeMenu();
    bool On_ShowPlaylistRightMenu(QPoint ptMouseGlobalPos);
    bool On_ShowPlaylistDelMenu();
    bool On_DelSelFiles();
    bool On_ClearPlaylist();
    bool On_ClearInvalidFiles();
    bool On_CloseByFilePath(QString strFilePath);
    bool On_OpenCurFileFolder();
    bool On_PlaySelectedRow();
    bool On_ShowAutoExpandWnd(int nFileNum, bool bIsHoverWnd);
    bool On_ShowSelectMultiWndsDlg();
    bool On_ChangePlayWndNum(int nWndNum);
    bool On_SwitchLayoutMode(QAction* pAction);

    // Transport and sound
    bool On_PlayOrPause();
    bool On_Stop();
    bool On_Mute();
    bool On_SliderSetVolume(int nPos);
    // A stream started in window nWndIndex: its sound comes on if it is the
    // selected window and nothing is muted.
    bool On_NetStreamStartSound(int nWndIndex);
    bool SetVolumeValue(int nPos);
    bool On_GoToBegin();
    bool On_GoToEnd();
    bool On_FrameForward();
    bool On_FrameBackward();
    bool On_Fast();
    bool On_Slow();
    bool On_RestoreCommonSpeed();
    bool On_ReversePlay();
    bool On_SetPlayProgress(int nPos);

    // Lock-step play and its ruler (CVelquinDlgSync.cpp).
    bool On_SyncPlay();
    bool On_SyncPlayLocate(double dPrecent, TAVRIX_SYSTEM_TIME* pstTime);

    // The locate dialogs and their jumps (CVelquinDlgLocate.cpp).
    bool On_ShowTimeStampLocateDlg();
    bool On_ShowFrameLocateDlg();
    bool On_ShowGlobalTimeLocateDlg();
    bool On_PlayLocate(int nMode, int nPos);
    bool On_PlayLocateByGlobalTime(TAVRIX_SYSTEM_TIME* pstGlobalTime);

    // A-B repeat
    bool On_ABRepeat();
    bool On_ChangeRepeatPointValue(bool bPointAOrPointB, unsigned int nValue);
    bool SetRepeatPointA(uint nFrame);
    bool SetRepeatPointB(uint nFrame);
    void RefreshRepeatMarks();

    // Control state
    bool On_UpdateCtrlsState();
    bool On_PlayerTimer();
    bool On_ChangeSelectWnd(int nPlayWndIndex);
    bool On_FileRefCreated(int nPlayWndIndex);
    bool On_PlayProgressSliderMousePress();
    bool On_PlayProgressSliderMouseRelease();
    bool On_PlayProgressSliderMouseMoveValue(bool bShowGlobalTimeTips, QPoint ptMouse,
                                             unsigned int nMouseMoveValue);
    bool On_KeyPressEvent(QKeyEvent* ev);
    bool On_DlgShowMousePressEvent(QMouseEvent* ev);
    bool On_DlgShowMouseMoveEvent(QMouseEvent* ev);
    bool On_MarkInvalidFile(QString strFilePath, bool bState);

    // Picture, capture and zoom commands of the selected window
    // (CVelquinDlgPicture.cpp).
    bool On_SwitchThrowFrame(QAction* pAction);
    bool On_SwitchMotionFlow(QAction* pAction);
    bool On_SwitchImgRotate(QAction* pAction);
    bool On_SwitchImgFlip(QAction* pAction);
    bool On_SwitchImageScaleMode(QAction* pAction);
    bool On_SwitchPlayWndPrecentMode(QAction* pAction);
    bool On_ShowIVSInfo(QAction* pAction);
    bool On_AdjustSelWndColor(int nBrightness, int nContrast, int nSaturation, int nHue);
    bool On_ShowColorAdjustDlg();
    bool On_PartZoom();
    // Capture (CVelquinDlgCapture.cpp).
    bool On_CapPic();
    bool On_ConCapPic();

    // === Window modes: full screen, stay on top, playlist handle
    // (CVelquinDlgFullScreen.cpp, CVelquinDlgWindow.cpp) — public slots
    bool On_FullScreen();
    bool On_FullScreenMouseDetectTimer();
    bool On_FullScreenHideTimer();
    // The stage's activation changed: in full screen the bars stay above it.
    bool On_TopLevelChanged();
    bool On_DbClickPlayWnd(int nPlayWndIndex);
    // Display on top: 0 never, 1 only while something plays, 2 always.
    bool ApplyTopMode(int nMode);
    bool On_TopDisplay();
    // The action's data() is the mode.
    bool On_SwitchTopMode(QAction* pAction);
    bool On_ShowHidePlaylist();
    bool On_ClosePlaylist();
    void ChangePlaylistCtrlPos();
    void OnMouseLeavePlaylistCtrlBar(QEvent* ev);
    bool IsFullScreen() const { return m_bFullScreen; }
    int GetTopMode() const { return m_nTopMode; }
    bool IsTopmost() const { return m_bTopmost; }
    bool IsPlaylistShown() const { return m_bPlaylistShown; }
    // === end window modes (public)

    // === Menus, language and tools (CVelquinDlgMenus.cpp, CVelquinDlgTools.cpp,
    // CVelquinDlgLanguage.cpp) — public slots
    bool On_ShowMainMenu();
    bool On_SwitchLanguage(QAction* pAction);
    // The skin of nIndex for every observer; nothing of this program calls it yet.
    bool On_SkinIndexChanged(int nIndex);
    // Companion tools (CVelquinDlgTools.cpp). The right menu's entries hand the
    // selected window's file to the tool; the toolbox's buttons do not.
    bool On_ShowToolsDlg();
    void On_DlgToolsMenuFocusOut();
    bool On_RightMenuFileCutClick();
    bool On_RightMenuFileConvertClick();
    bool On_RightMenuFileMergeClick();
    bool On_RightMenuNpsStreamClick();
    bool On_ShowFileCutDlg(bool bAddCurWndPlayFile);
    bool On_ShowFileConvertDlg(bool bAddCurWndPlayFile);
    bool On_ShowFileMergeDlg(bool bAddCurWndPlayFile);
    bool On_ShowMediaStreamDlg(bool bAddCurWndPlayFile);
    bool On_ShowUserManual();
    bool On_ShowAboutDlg();
    // === end menus (public)

    // === Remembered state, title and status line (CVelquinDlgState.cpp) — public
    // The window's title and the title bar name the file of the selected window
    // ("name — Velquin"), or only the program with nothing open there.
    void UpdateMainTitle();
    // === end remembered state (public)

    // === Settings and hot keys (CVelquinDlgSettings.cpp) — public slots
    // The settings dialog, modal; made at first use and kept.
    bool On_ShowPlaySettingDlg();
    // The dialog's Apply or OK: its record into m_stPlayerCfg and the top mode;
    // every consumer reads m_stPlayerCfg at its next use.
    bool On_ApplyPlayerSetting();
    // === end settings (public)

    // === File information and playlist search (CVelquinDlgInfo.cpp) — public slots
    // Shows the playlist's search bar, or hides it and shows every row again.
    bool On_ShowSearchBar();
    // The file information of the selected window, modal; nothing unless that
    // window plays or is paused.
    bool On_ShowFileInfoDlg();
    class PlayListSearchBar* GetSearchBar() const { return m_pPlayListSearchBar; }
    // === end file information (public)

    // === Watermark (CVelquinDlgWatermark.cpp) — public slots
    // Shows the watermark dialog (made at first use and kept) with its bottom
    // edge on the stage's bottom left corner, and fills it at once.
    bool On_ShowWatermarkDlg();
    // The selected window's watermark record into the dialog; nothing while
    // the dialog is hidden.
    bool On_WatermarkTimer();
    // === end watermark (public)

    // === Fisheye expansion and the eagle eye bar (CVelquinDlgFisheye.cpp) — public
    // The expansion dialog on the selected window's file; nothing while no
    // window is open.
    bool On_OpenFEC();
    // Runs the modal expansion dialog; every playing window pauses for exactly
    // that time. The argument is not read: the selected window's file is used.
    bool On_ShowPanoDlg(bool bAddCurWndPlayFile);
    bool On_PlayOrPauseWhenFECOpen();
    // A code of the eagle eye bar to the selected window's view.
    bool On_SigPTZBtn(int nBtnType);
    // 0 original picture, 1 PTZ view of the selected window.
    bool ChangeViewMode(int nViewMode);
    bool On_SigAutoSpeed(int nValue);
    bool OnChangeEagleEyeMode(QAction* pAction);
    // The fisheye restrictions of the controls for the selected window; runs
    // after every state change.
    void UpdateSRUI();
    EagleEyeCtrlBar* GetEagleEyeCtrlBar() const { return m_pEagleEyeCtrlBar; }
    // The running expansion dialog, null outside On_ShowPanoDlg.
    Halvane* GetHalvane() const { return m_pHalvane; }
    // === end fisheye (public)

protected:
    void keyPressEvent(QKeyEvent* ev) override;
    void mousePressEvent(QMouseEvent* ev) override;
    void mouseReleaseEvent(QMouseEvent* ev) override;
    void mouseDoubleClickEvent(QMouseEvent* ev) override;
    void mouseMoveEvent(QMouseEvent* ev) override;
    void timerEvent(QTimerEvent* ev) override;
    void dragEnterEvent(QDragEnterEvent* ev) override;
    void dragMoveEvent(QDragMoveEvent* ev) override;
    void dragLeaveEvent(QDragLeaveEvent* ev) override;
    void dropEvent(QDropEvent* ev) override;
    // The ruler of synchronous play follows the dialog (CVelquinDlgSync.cpp).
    void moveEvent(QMoveEvent* ev) override;
    void resizeEvent(QResizeEvent* ev) override;

private:
    // === Window modes — private members and helpers
    // Connections, the handle and the top mode button (from Init).
    bool InitWindowModes();
    // Timers, animations, the full screen ruler and the handle go (from UnInit).
    void UnInitWindowModes();
    // The full screen and top mode buttons and the handle's place (from
    // On_UpdateCtrlsState).
    void UpdateWindowModeCtrls();
    // After a stop, a file end or an open: full screen ends with the last
    // window, and top mode 1 follows what plays (CVelquinDlgFullScreen.cpp).
    void FollowPlayInWindowModes();
    // Windows playing or paused, of all sixteen; with bWithOpening also those
    // still reading a file.
    int CountActiveWnds(bool bWithOpening) const;
    void CreateFullScreenAnims();
    void EnterFullScreen();
    void LeaveFullScreen();
    void ShowStatusBar(bool bShow);
    void ShowCtrlBar(bool bShow);
    void ShowSyncFullBar(bool bShow);
    void SlideFullScreenBar(QWidget* pBar, class QPropertyAnimation* pAnimShow,
                            class QPropertyAnimation* pAnimHide, bool bShow, Qt::WindowFlags eFlags);
    void SetTopmost(bool bTopmost);
    void UpdatePlaylistCtrlVisibility();
    void enterEvent(class QEnterEvent* ev) override;
    void leaveEvent(QEvent* ev) override;
    void showEvent(class QShowEvent* ev) override;
    void hideEvent(class QHideEvent* ev) override;
    void changeEvent(QEvent* ev) override;

    class QPropertyAnimation* m_pAnimStatusShow = nullptr;
    class QPropertyAnimation* m_pAnimStatusHide = nullptr;
    class QPropertyAnimation* m_pAnimCtrlShow = nullptr;
    class QPropertyAnimation* m_pAnimCtrlHide = nullptr;
    class QPropertyAnimation* m_pAnimSyncShow = nullptr;
    class QPropertyAnimation* m_pAnimSyncHide = nullptr;
    QTimer* m_pFullScreenHideTimer = nullptr;  // 1500 ms, once, after the pointer left the bars
    QTimer* m_pFullScreenMouseTimer = nullptr; // 500 ms while in full screen
    bool m_bMouseOnBars = false;               // full screen: the pointer was on a shown bar
    QRect m_rcDlgBeforeFullScreen;
    // Minimum sizes of the stage and the bars before they became windows.
    QSize m_sizeStageMin;
    QSize m_sizeStatusMin;
    QSize m_sizeCtrlMin;
    // === end window modes (private)

    // === Menus, language and tools — private members and helpers
    // Gives pAction its language key and default text; RetranslateMenus sets
    // every such text again at a change of language (CVelquinDlgMenus.cpp).
    QAction* KeyAction(QAction* pAction, const char* szKey, const char* szDefault);
    QMenu* NewKeyedMenu(const char* szName, const char* szKey, const char* szDefault);
    QAction* NewKeyedAction(QMenu* pMenu, const char* szKey, const char* szDefault, bool bCheckable = false);
    bool InitMainMenu();
    bool InitPlayControlMenu();
    bool InitMenuConnections();
    bool CreateLangActions();
    bool SetLangActionTexts();
    // Check marks, enabled and visible states of the stage's right menu, from
    // the stage as it is now; ShowRightMenu pops the menu after it.
    void UpdateRightMenuState();
    // The side windows that exist take the new language (CVelquinDlgLanguage.cpp).
    void RetranslateSideWindows();
    bool LaunchTool(QString strToolFile, bool bAddCurWndPlayFile);
    // Places a popup of the control bar centred on pBtn, under it, or above it
    // when the screen has no room below.
    void PlacePopupAtButton(QWidget* pPopup, QWidget* pBtn);

    QList<QAction*> m_lstKeyedActions; // every action whose text comes from a language key
    QMenu* m_pMainMenu = nullptr;
    QMenu* m_pLanguageMenu = nullptr;
    QActionGroup* m_pLangGroup = nullptr;
    QList<QAction*> m_listLangActions; // one per language, in the order of the language list
    QAction* m_pActSetting = nullptr;  // in the main menu and the right menu
    QAction* m_pActUserManual = nullptr;
    QAction* m_pActAbout = nullptr;
    QAction* m_pActFullScreen = nullptr;
    QMenu* m_pOnTopModeMenu = nullptr;
    QActionGroup* m_pTopModeGroup = nullptr;
    QAction* m_pActPlayOrPause = nullptr;
    QAction* m_pActStop = nullptr;
    QAction* m_pActBackPlay = nullptr;
    QAction* m_pActNextFrame = nullptr;
    QAction* m_pActLastFrame = nullptr;
    QAction* m_pActSpeedUp = nullptr;
    QAction* m_pActSpeedDown = nullptr;
    QAction* m_pActRestoreSpeed = nullptr;
    QAction* m_pActGotoStart = nullptr;
    QAction* m_pActGotoEnd = nullptr;
    QAction* m_pActABRepeat = nullptr;
    QAction* m_pActMute = nullptr;
    QAction* m_pActWatermark = nullptr;
    QAction* m_pActCut = nullptr;
    QAction* m_pActConvert = nullptr;
    QAction* m_pActMerge = nullptr;
    QAction* m_pActMediaStream = nullptr;
    QAction* m_pActFisheye = nullptr;
    QAction* m_pActFileInfo = nullptr;
    // === end menus (private)

    // === Remembered state, title and status line — private members and helpers
    // Init: the layout, the sound and the geometry of the last run; the maximised
    // state follows once the dialog shows. SaveConfig: the same into the record.
    void RestoreRememberedState();
    void StoreRememberedState();
    // The stored geometry moved and sized onto the screen it overlaps most (the
    // first when none): a monitor that has gone must not hide the dialog. The
    // minimum size wins over a smaller screen.
    static QRect FitOntoScreens(const QRect& rcStored, const QList<QRect>& lstAvailable, const QSize& sizeMin);
    // The wall-clock time of the frame the selected window shows; empty when its
    // file or stream carries none.
    QString SelWndClockText() const;
    QLabel* m_pLabGlobalTime = nullptr; // status line, after the frame index
    // === end remembered state (private)

    // === Settings and hot keys — private members and helpers
    class CPlayerSetDlg* m_pPlayerSetDlg = nullptr; // child; lives until the dialog ends
    // === end settings (private)

    // === File information and playlist search — private members and helpers
    // The search bar, hidden, into the list column above the list (from
    // BuildPlaylistColumn), and its connections (from the widget connections).
    void BuildSearchBar(QVBoxLayout* pColumn);
    bool ConnectSearchBar();
    // The line under the list's toolbar: marked under the search button while
    // the bar shows, one colour otherwise.
    void PaintListBottomBorder(bool bSearchShown);
    class PlayListSearchBar* m_pPlayListSearchBar = nullptr;
    // === end file information (private)

    // === Fisheye — private members and helpers
    // The bar, hidden, at the bottom of the list column (from BuildPlaylistColumn).
    void BuildEagleEyeBar(QVBoxLayout* pColumn);
    // The mode menu and the connections (from InitConnections).
    bool InitFisheye();
    // Bar, menu and actions go (from UnInit).
    void UnInitFisheye();
    // The bar's and the mode button's texts (from LoadLanguage).
    void RetranslateFisheye();
    // The view commands' guard; false drops the command without a message.
    bool GuardSRView();
    EagleEyeCtrlBar* m_pEagleEyeCtrlBar = nullptr;
    QMenu* m_pEagleEyeMenu = nullptr;
    QActionGroup* m_pEagleEyeGroup = nullptr;
    QAction* m_pActOriginalMode = nullptr;
    QAction* m_pActPTZMode = nullptr;
    Halvane* m_pHalvane = nullptr; // lives only inside On_ShowPanoDlg
    // === end fisheye (private)

    // === Watermark — private members and helpers
    class CWatermarkDlg* m_pWatermarkDlg = nullptr; // child; lives until the dialog ends
    // === end watermark (private)

    // Init steps
    bool LoadConfig();
    void SetDefaultConfig();
    bool SaveConfig();
    QString ConfigFilePath(const QString& strFileName) const;
    bool BuildWidgetTree();
    QWidget* BuildTitleBar();
    QWidget* BuildPlaylistColumn();
    QWidget* BuildMainWndColumn();
    QWidget* BuildStatusBar();
    QWidget* BuildCtrlBar();
    CSkinButton* MakeButton(QWidget* pParent, const char* szName, int nWidth, int nHeight);
    // All menus and actions, and the stage's right-click menu: states and
    // popup (CVelquinDlgMenus.cpp).
    bool InitMenus();
    bool ShowRightMenu();
    // A window that opened a file: its private data choices and the
    // remembered colour go to the engine again.
    void ApplyPrivateDataMask(int nWnd);
    void ApplyRememberedColor(int nWnd);
    bool InitObjectNames();
    bool InitConnections();
    bool LoadLanguage();
    void RetranslateWidgets();
    void RetranslateMenus();

    // Opening (CVelquinDlgOpen.cpp)
    bool FinishPlayFileInWnd(int nWnd, OpenInfo* pOpenInfo);
    // The play mode's search for the next row after strEndedPath ended in nWnd,
    // from row nDst on with nVisits visits of the ended row so far.
    bool PlayNextRow(int nWnd, const QString& strEndedPath, int nDst, int nVisits);
    // While held, selection changes only note that the controls must follow;
    // letting go makes them follow the selected window once.
    void HoldSelReaction(bool bHold);

    // Helpers
    bool ShowFileDialog(QStringList& lstPaths, int nMax);
    bool ShowFolderDialog(QStringList& lstPaths, int nMax);
    bool GuardSyncMode();
    bool IsPlaylistFull() const;
    void ShowListFullMessage();
    void StopWndsWithPath(const QString& strPath);
    int CountDraggedFiles(const QMimeData* pData) const;
    bool IsOnAutoExpandWnd(const QPoint& ptDlg) const; // ptDlg in the dialog's coordinates
    // Windows other than nExcept in state 1 or 2 showing strPath.
    int CountActiveWndsWithPath(const QString& strPath, int nExcept) const;
    void ClearRowProgress(const QString& strPath);
    void UpdateSyncBtnState();
    // Shows the ruler under the dialog, or hides it (CVelquinDlgSync.cpp).
    void ShowSyncRuler(bool bShow);
    // The play timer's part in synchronous mode: position to the ruler.
    void UpdateSyncRuler();
    void RebuildStoredPlaylist();
    // The guards of the transport commands; false stops the command.
    bool GuardNoNetStream();   // the selected window holds no running stream
    bool GuardSomethingOpen(); // the aggregate state is neither closed nor stopped
    bool GuardFileRef();       // the selected window's frame index is ready
    void ShowInfoMessage(const QString& strKey, const QString& strDefault);
    void ApplyStyle(QWidget* pWidget, int nStyleIndex);
    static QString Text(const QString& strKey, const QString& strDefault);
    static QString FormatHms(uint nSeconds);

    // An open started by PlayFileInWnd whose window has not finished it, per window.
    struct PendingOpen {
        bool bActive = false;
        OpenInfo stInfo;
        // Chosen by the play mode's search at the end of strEndedPath: should it
        // fail, the search goes on from nNextRow.
        bool bFromEndSearch = false;
        QString strEndedPath;
        int nNextRow = 0;
        int nVisits = 0;
    };
    PendingOpen m_stPendingOpen[16];
    bool m_bHoldSelReaction = false;
    bool m_bSelReactionPending = false;

    // Window state
    QPoint m_ptDragOffset;
    bool m_bDragging = false;
    bool m_bMaximized = false;
    QRect m_rcNormal;
    bool m_bFullScreen = false;
    bool m_bMute = false;
    QString m_strLastFileDir;
    int m_nPlayMode = 1; // 1 single play, 2 playlist order, 3 loop single file, 4 loop playlist
    int m_nTopMode = 0;
    bool m_bTopmost = false;
    QTimer* m_pPlayerTimer = nullptr; // 500 ms, made at the first opened file
    PlayerConfig m_stPlayerCfg;
    CPlayerConfigFile m_ConfigFile;
    bool m_bKeepPlayerCfgFile = false; // PlayerConfig.xml was there but unreadable: not overwritten
    AutoExpandWnd* m_pAutoExpandWnd = nullptr; // drag prompt, made at the first drag that needs it
    SyncPlayProgressDlg* m_pSyncDlg = nullptr;  // the ruler of synchronous play, made at first use
    SyncPlayProgressFullScreenDlg* m_pSyncFullDlg = nullptr; // its stand-in in full screen, made with it
    PlaylistCtrlBar* m_pPlaylistCtrlBar = nullptr; // the handle that folds the playlist away
    CToolsMenu* m_pToolsMenu = nullptr;            // toolbox popup, made at first use
    CPlayWndLayoutMenu* m_pLayoutMenu = nullptr;   // layout popup, made at first use
    int m_nBrightness = 64;
    int m_nContrast = 64;
    int m_nSaturation = 64;
    int m_nHue = 64;
    bool m_bSliderPressed = false;       // the user drags the progress slider; the timer leaves it alone
    SliderTips* m_pSliderTips = nullptr; // global time over the progress slider
    int m_nTipsTimerId = 0;              // hides the tip one second after the last move
    uint m_nVolume = 50;                 // 0..200; above 100 is boost
    bool m_bPlaylistShown = true;
    QString m_strLastFolderDir;
    QString m_strConfigDir;
    static const int RES_STYLE_NUM = 18;
    QString m_strResStyle[RES_STYLE_NUM];

    // Menus
    QMenu* m_pOpenMenu = nullptr;
    QAction* m_pActOpenFile = nullptr;
    QAction* m_pActOpenFolder = nullptr;
    QAction* m_pActOpenURL = nullptr;
    QMenu* m_pPlayWndLayoutMenu = nullptr;
    QActionGroup* m_pLayoutGroup = nullptr;
    QAction* m_pActLayout1 = nullptr;
    QAction* m_pActLayout4 = nullptr;
    QAction* m_pActLayout9 = nullptr;
    QAction* m_pActLayout16 = nullptr;
    QMenu* m_pPlayModeMenu = nullptr;
    QActionGroup* m_pPlayModeGroup = nullptr;
    QAction* m_pActPlayMode[4] = {nullptr, nullptr, nullptr, nullptr}; // modes 1..4
    QMenu* m_pPlaylistRightMenu = nullptr;
    QMenu* m_pPlaylistDelMenu = nullptr;
    QAction* m_pActListPlayOrPause = nullptr;
    QAction* m_pActListDelete = nullptr;
    QAction* m_pActListRemoveInvalid = nullptr;
    QAction* m_pActListClear = nullptr;
    QAction* m_pActListOpenFolder = nullptr;
    QAction* m_pActListSetSecret = nullptr;
    // Stage right-click menu and its picture entries (CVelquinDlgPicture.cpp).
    QMenu* m_pMainRightMenu = nullptr;
    QMenu* m_pPlayControlMenu = nullptr; // the locate entries of the stage's menu
    QAction* m_pActTimeStampLocate = nullptr;
    QAction* m_pActFrameLocate = nullptr;
    QAction* m_pActGlobalTimeLocate = nullptr;
    QMenu* m_pThrowFrameMenu = nullptr;
    QActionGroup* m_pThrowFrameGroup = nullptr;
    QMenu* m_pMotionFlowMenu = nullptr;
    QActionGroup* m_pMotionFlowGroup = nullptr;
    QMenu* m_pImageCtrlMenu = nullptr;
    QMenu* m_pImgTurnMenu = nullptr;
    QActionGroup* m_pImgTurnGroup = nullptr;
    QActionGroup* m_pImgFlipGroup = nullptr; // not exclusive: two mirror bits
    QMenu* m_pIVSInfoMenu = nullptr;
    QActionGroup* m_pIVSInfoGroup = nullptr;
    QMenu* m_pImgScaleMenu = nullptr;
    QActionGroup* m_pImgScaleGroup = nullptr;
    QMenu* m_pPlayWndPrecentMenu = nullptr;
    QActionGroup* m_pPlayWndPrecentGroup = nullptr;
    QAction* m_pActColorAdjust = nullptr;
    QAction* m_pActCapPic = nullptr;
    QAction* m_pActConCapPic = nullptr;
    QAction* m_pActPartZoom = nullptr;

    // Widget tree
    QVBoxLayout* m_pRootLayout = nullptr; // "verticalLayout_4"
    QWidget* m_pTitleBarContainer = nullptr;
    QLabel* m_pLabMainWndTitle = nullptr;
    CSkinButton* m_pBtnLanguage = nullptr;
    CSkinButton* m_pBtnMainMenu = nullptr;
    CSkinButton* m_pBtnTopMode = nullptr;
    CSkinButton* m_pBtnMin = nullptr;
    CSkinButton* m_pBtnMax = nullptr;
    CSkinButton* m_pBtnExit = nullptr;
    QHBoxLayout* m_pHLayoutMainClient = nullptr;
    QWidget* m_pPlaylistCtrlContainer = nullptr;
    QWidget* m_pListToolBarContainer = nullptr;
    QLabel* m_pLabPlaylistTitle = nullptr;
    CSkinButton* m_pBtnListAdd = nullptr;
    CSkinButton* m_pBtnListDelete = nullptr;
    CSkinButton* m_pBtnPlayMode = nullptr;
    CSkinButton* m_pBtnSearch = nullptr;
    QLabel* m_pLabelListBottomBorder = nullptr;
    CPlaylist* m_pPlaylist = nullptr;
    QWidget* m_pMainWndContainer = nullptr;
    QWidget* m_pStatusBarContainer = nullptr;
    QLabel* m_pLabPlayStatus = nullptr;
    QLabel* m_pLabFileName = nullptr;
    QLabel* m_pLabFrameIndex = nullptr;
    CSkinButton* m_pBtnEagleEyeCtrl = nullptr;
    CSkinButton* m_pBtnPanoPlayer = nullptr;
    CSkinButton* m_pBtnPartZoom = nullptr;
    CSkinButton* m_pBtnCapPic = nullptr;
    CSkinButton* m_pBtnConCapPic = nullptr;
    CDlgShow* m_pDlgShow = nullptr;
    QWidget* m_pCtrlBarContainer = nullptr;
    QWidget* m_pProgressBarContainer = nullptr;
    QLabel* m_pLabCurPlayTime = nullptr;
    CustomPlayerSlider* m_pPlayProgressSlider = nullptr;
    QLabel* m_pLabWholeTime = nullptr;
    QWidget* m_pCtrlBtnsContainer = nullptr;
    CSkinButton* m_pBtnOpenFiles = nullptr;
    CSkinButton* m_pBtnTools = nullptr;
    CSkinButton* m_pBtnReversePlay = nullptr;
    CSkinButton* m_pBtnSlow = nullptr;
    CSkinButton* m_pBtnLastFrame = nullptr;
    CSkinButton* m_pBtnPlayOrPause = nullptr;
    CSkinButton* m_pBtnStop = nullptr;
    CSkinButton* m_pBtnNextFrame = nullptr;
    CSkinButton* m_pBtnFast = nullptr;
    CSkinButton* m_pBtnSyncPlay = nullptr;
    CSkinButton* m_pBtnMute = nullptr;
    CCustomSlider* m_pSliderSound = nullptr;
    CSkinButton* m_pBtnLayout = nullptr;
    CSkinButton* m_pBtnFullScreen = nullptr;
};
