#pragma once

#include <QColor>
#include <QPoint>
#include <QString>
#include <QWidget>

#include <memory>
#include <vector>

#include "FileInfoSync.h"
#include "IObserverBase.h"
#include "Item_FileInfo.h"
#include "SyncWndFile.h"
#include "Tavrix.h"

class QGridLayout;
class QImage;
class QKeyEvent;
class QMouseEvent;
class CConCapThread;
class CPlayWnd;
class StartPageWnd;
struct OpenInfo;

// The stage: owns all sixteen play windows for its whole life, lays out 1, 4, 9
// or 16 of them in a square grid, keeps the selection, draws the window frames
// and is the one door through which the main dialog reaches a play window.
// Every operation with a window index answers false, 0, -1 or an empty string
// for a bad index or a missing window.
class CDlgShow : public QWidget, public IObserverBase {
    Q_OBJECT

public:
    static const int MAX_PLAY_WND = 16;

    explicit CDlgShow(QWidget* pParent = nullptr);
    ~CDlgShow() override;

    // ---- layout and selection ----
    bool InitPlayWnds();
    // Stores pMainDlg when it is the main dialog (parent of message boxes).
    bool SetMainDlg(QWidget* pMainDlg);
    QWidget* GetMainDlg() const { return m_pMainDlg; }
    // Text of the volume-up hot key, shown in the on-picture volume hint at 100%.
    void SetVolumeUpKeyText(const QString& strText) { m_strVolumeUpKeyText = strText; }
    QString GetVolumeUpKeyText() const { return m_strVolumeUpKeyText; }
    bool SetPlayWndNum(int nNum); // 1, 4, 9 or 16
    int GetPlayWndNum() const { return m_nPlayWndNum; }
    void ToggleMaxWnd();
    bool IsMaxWnd() const { return m_bMaxWnd; }
    void SelectWndByPos(QPoint ptGlobal);
    // The start page belongs to a later change: there is none yet, so this
    // answers false.
    bool UpdateStartPage();
    void UpdateStartPageText();
    int GetSelWndIndex() const { return m_nSelWndIndex; }
    bool IsSyncPlay() const { return m_bSyncPlay; }

    // ---- synchronous play (CDlgShowSync.cpp) ----
    // Enters synchronous play with every playing or paused local file, or leaves
    // it when it is on. Entering reopens each file on a fresh port in the
    // engine's group 0, and all members start together; a running stream or a
    // file without a global time refuses with a message.
    bool SwitchSyncPlay();
    // The low level switch; turning it off sets every member playing on its own
    // from where it stands, also a paused one.
    bool SetSyncPlayMode(bool bOn);
    // Position of the group on its day span (0.0 .. 1.0) and its time: the
    // earliest position among the active members; the end of the last file when
    // none is active.
    bool GetSyncPlayPrecent(double* pdPrecent, TAVRIX_SYSTEM_TIME* pstTime);
    // Jump of the group to a place of its day span; refused outside the span of
    // the files. A paused group stays paused.
    bool SetSyncPlayPrecent(double dPrecent);
    // Appends a heap copy of each member row (the caller owns them) and copies
    // the ranges with the earliest begin and the latest end.
    bool GetSyncPlayInfo(std::vector<SYNC_WND_FILE*>& vecFiles, FILE_INFO_SYNC* pFirst,
                         FILE_INFO_SYNC* pLast);
    // Window i is a member whose position counts now (not past its end).
    bool IsSyncWndActive(int i) const { return i >= 0 && i < MAX_PLAY_WND && m_bSyncWndActive[i]; }

    // ---- state readers ----
    // Aggregate: the selected window's state; in synchronous play 1 when any
    // window plays, else 2 when any is paused, else 3 (0 without members).
    int GetPlayState();
    int GetPlayState(int i);
    int GetOpenMode(int i);
    QString GetSelWndFilePath();
    QString GetWndFilePath(int i);
    uint GetFileTotalFrames(); // selected window
    uint GetFileTime();        // selected window
    uint GetFileTime(int i);
    uint GetPlayedTime(); // selected window
    uint GetPlayedTime(int i);
    uint GetCurrentFrameNum();     // selected window
    bool IsFileRefCreated();       // selected window's frame index is ready
    bool IsBackPlay();             // selected window plays in reverse
    int GetPlaySpeed();            // speed step of the selected window (in sync: of the first playing one)
    bool SetThrowBFrame(int nNum); // selected window
    int GetThrowBFrame();          // selected window; -1 when missing
    bool CheckKeyFramePos(uint nValue, uint nType, TAVRIX_FRAME_POS* pOut);     // selected window
    bool CheckNextKeyFramePos(uint nValue, uint nType, TAVRIX_FRAME_POS* pOut); // selected window
    // A-B repeat of the selected window.
    bool SetRepeatA(uint nFrame);
    bool SetRepeatB(uint nFrame);
    bool GetRepeatA(bool* pbSet, uint* pnFrame);
    bool GetRepeatB(bool* pbSet, uint* pnFrame);
    bool ClearRepeatAB();
    bool IsHardDecode(int i);
    // Every window keeps a lost stream and tries it again instead of closing.
    void SetReconnectLostStreams(bool bOn);
    // Read access to one window, for the stage's own users that need it (tests,
    // rulers); null for a bad index.
    CPlayWnd* GetPlayWnd(int i);

    // ---- commands ----
    bool OpenFileInWnd(int i, OpenInfo* pInfo); // open, then Play(false)
    // The same without holding the GUI thread: the file is read on a worker and
    // Sig_OpenFinished(i, bOk) follows when the window plays or has failed. False
    // (and no signal) when the request could not start.
    bool OpenFileInWndAsync(int i, OpenInfo* pInfo);
    // Window i is reading a file for an OpenFileInWndAsync.
    bool IsOpening(int i);
    bool PlayOrPause();
    bool SyncPlay();
    bool Play(int i);
    bool SyncPause();
    bool SyncStop();
    bool Stop(int i);
    bool PauseAllToggle();
    bool SetVolume(int i, bool bSound, uint nVolume, bool bShowInfo);
    // Transport of the selected window. Those that move one window's position or
    // direction refuse in synchronous play; the speed steps act on every
    // playing or paused window of the group there.
    bool FrameForward();
    bool FrameBackward();
    bool Fast();
    bool Slow();
    bool SetFramePos(uint nFrame);
    bool SetTimePos(uint nSeconds);
    bool SetTimePos(int i, uint nSeconds);
    // In synchronous play these do nothing and answer true.
    bool GoToStart();
    bool GoToEnd();
    bool BackPlay(bool bBack);
    bool CloseByFilePath(QString strPath);

    // ---- picture controls of the selected window (CDlgShowPicture.cpp) ----
    void SetColor(int nBrightness, int nContrast, int nSaturation, int nHue);
    void GetColor(int* pnBrightness, int* pnContrast, int* pnSaturation, int* pnHue);
    bool SetRotateAngle(int nAngle);
    int GetRotateAngle();         // -1 also when missing
    bool SetFlip(uint nFlip);
    uint GetFlip();
    bool SetImageScaleMode(int nMode);
    int GetImageScaleMode();      // -1 when missing
    bool SetDisplayPercentMode(int nMode);
    int GetDisplayPercentMode();  // -1 when missing
    bool RenderPrivateData(int i, uint nType, bool bOn);
    uint GetPrivateDataMask();    // 0 when missing
    bool SetMotionFlow(int nMode);
    int GetMotionFlow();          // -1 when missing
    bool SetPartZoom(bool bOn);
    bool IsPartZoom();

    // ---- fisheye views and enhancement of the selected window ----
    // Only a selected window that plays or is paused takes these; otherwise
    // they answer false (GetSRViewMode -1). SRMove hands the prepared turn to
    // the engine once more, so a button step turns the view by pi/100.
    bool SRMove(int nCmd);
    bool SetSRViewMode(int nMode);
    bool SetAutoSpeed(int nSpeed);
    int GetSRViewMode();
    bool IsAutoTrans();
    bool SetVIEModuConfig(int nModule, bool bEnable);
    bool SetVIEParam(TAVRIX_VIE_PARAM* pParam);
    bool GetVIEParam(TAVRIX_VIE_PARAM* pParam);

    // ---- capture (CDlgShowCapture.cpp) ----
    // Snapshot of the selected window: its result (0 failed, 1 done, 2 no
    // space, 3 write failed).
    int CapOnePic(int nFormat, QString strFolder);
    // Starts (or with bStart false ends) continuous capture of the selected
    // window; the worker starts with the first capture.
    bool StartConCap(bool bStart, int nMode, int nGap, int nMaxNum, QString strFolder, int nSaveType);
    bool IsConCapping(); // of the selected window
    CConCapThread* GetConCapThread() const { return m_pConCapThread.get(); }

    // IObserverBase: the skin notice.
    void SkinChanged() override;

signals:
    bool Sig_FileEnd(int nPlayWndIndex);
    bool Sig_ChangeSelWnd(int nPlayWndIndex);
    bool Sig_UpdateCtrlStatus();
    bool Sig_FileRefCreated(int nPlayWndIndex);
    bool Sig_MousePressEvent(QMouseEvent* ev);
    bool Sig_MouseMoveEvent(QMouseEvent* ev);
    bool Sig_KeyPressEvent(QKeyEvent* ev);
    bool Sig_DbClickPlayWnd(int nPlayWndIndex);
    void Sig_TopLevelChanged();
    // Relayed from the windows: the first picture of a stream; the receiver owns it.
    void Sig_UpdateThumbnail(QString strFilePath, QImage* pimgThumbnail, Item_FileInfo* pFileInfo);
    bool Sig_OpenFiles();
    bool Sig_OpenFolder();
    bool Sig_OpenURL();
    bool Sig_NetStreamStartSound(int nWndIndex);
    bool Sig_Update();
    bool Sig_MarkInvalidFile(QString strFilePath, bool bState);
    void Sig_ErrorToStopPlay(QString strFilePath, int nErrorType, bool bSRFile);
    void Sig_OpenFinished(int nPlayWndIndex, bool bOk);

public slots:
    bool On_DbClickPlayWnd(int nPlayWndIndex);
    bool On_ChangeSelWnd(int nPlayWndIndex);
    bool On_FileEnd(int nPlayWndIndex);
    bool On_MousePressEvent(QMouseEvent* ev);
    bool On_MouseMoveEvent(QMouseEvent* ev);
    bool On_Update();
    // The capture worker failed to write a picture of window nSubWndIndex.
    bool On_ConCapPicFail(int nSubWndIndex);

protected:
    void mousePressEvent(QMouseEvent* ev) override;
    void mouseMoveEvent(QMouseEvent* ev) override;
    void keyPressEvent(QKeyEvent* ev) override;
    void paintEvent(QPaintEvent* ev) override;
    void resizeEvent(QResizeEvent* ev) override;
    void changeEvent(QEvent* ev) override;

private:
    bool RelayoutPlayWnds();
    // The whole days the group touches: 00:00:00 of its first begin's day to
    // 23:59:59 of its last end's day.
    void BuildSyncDaySpan(TAVRIX_SYSTEM_TIME* pstDayBegin, TAVRIX_SYSTEM_TIME* pstDayEnd) const;
    void ShowNoSyncTimeMessage();
    CPlayWnd* SelWnd() const;
    // The selected window when it plays or is paused, else null.
    CPlayWnd* SelActiveWnd() const;
    bool ValidIndex(int i) const { return i >= 0 && i < MAX_PLAY_WND && m_pPlayWnd[i]; }

    StartPageWnd* m_pStartPageWnd = nullptr; // covers the stage while it is empty
    // Synchronous group: the range holding its earliest begin, the one holding
    // its latest end, its members in window order, and which members count now.
    FILE_INFO_SYNC m_stSyncFirstFile = {{1998, 1, 1, 0, 0, 0, 0}, {1998, 1, 1, 0, 0, 0, 0}};
    FILE_INFO_SYNC m_stSyncLastFile = {{1998, 1, 1, 0, 0, 0, 0}, {1998, 1, 1, 0, 0, 0, 0}};
    std::vector<SYNC_WND_FILE> m_vecSyncFiles;
    bool m_bSyncWndActive[MAX_PLAY_WND] = {};
    CPlayWnd* m_pPlayWnd[MAX_PLAY_WND] = {}; // index = the window's own index
    int m_nPlayWndNum = 1;                   // windows in the layout: 1, 4, 9, 16
    int m_nSelWndIndex = 0;                  // always inside the layout
    bool m_bMaxWnd = false;                  // the selected window alone fills the stage
    bool m_bSyncPlay = false;                // synchronous mode
    QWidget* m_pMainDlg = nullptr;           // parent for message boxes
    bool m_bAllPaused = false;               // state of PauseAllToggle
    bool m_bPausedByToggle[MAX_PLAY_WND] = {};
    QGridLayout* m_pGridLayout = nullptr;
    QColor m_clrWndBorder = QColor(60, 60, 60);
    QColor m_clrSelWndBorder = QColor(0, 160, 230);
    QString m_strVolumeUpKeyText;
    // One capture worker serves all windows; it runs from the first
    // continuous capture until the stage goes.
    std::unique_ptr<CConCapThread> m_pConCapThread;
};
