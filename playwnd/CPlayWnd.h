#pragma once

#include <QColor>
#include <QImage>
#include <QList>
#include <QMutex>
#include <QPoint>
#include <QString>
#include <QWidget>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "IObserverBase.h"
#include "Item_FileInfo.h"
#include "Tavrix.h"

struct StreamInfo;

class QLabel;
class QEnterEvent;
class QMouseEvent;
class QPainter;
class QTimer;
class QWheelEvent;
class CConCapThread;
class CDlgShow;
class OpenJob;
class PartZoomWnd;
struct NetOpenLink;
struct OpenInfo;

// One tile of the stage: owns one playback port of the engine and shows what
// that port plays. The engine paints the picture into m_pDisplayWnd itself; this
// widget paints only its background.
//
// Play state (GetPlayState): 0 closed, 1 playing, 2 paused, 3 stopped,
// 4 opened and not started. Open mode (GetOpenMode): 0 nothing, 1 local file,
// 2 network stream.
//
// All operations run on the GUI thread. The engine's callbacks run on its own
// threads; they touch a few plain fields and emit signals that arrive queued.
// OpenAsync reads the file on a worker thread and starts play back on the GUI
// thread; while that is under way the window holds no port of its own (GetPort
// answers -1, the state is 0) and IsOpening is true.
//
// A network stream is fed by one session of the network library. Its blocks
// and messages arrive on the session's thread, which opens the engine's stream
// at the first header and starts play there; everything that belongs to the
// GUI thread (timers, message boxes, closing) is posted to it. The GUI thread
// never waits for the network: the session's connect runs on a worker.
class CPlayWnd : public QWidget, public IObserverBase {
    Q_OBJECT

public:
    explicit CPlayWnd(int nSubWndIndex, QWidget* pParent = nullptr);
    ~CPlayWnd() override;

    // ---- opening and transport ----
    // Closes what is open and opens pInfo: media type 1 file, 2 stream, other
    // values let the path decide ("rtsp:", or "http:" with ".m3u8", is a stream).
    bool Open(OpenInfo* pInfo);
    // Opens a local file on the window's port (takes one if it has none). State 4.
    bool OpenFile(QString strFilePath, QString strKey);
    // Open and Play(false) without holding the GUI thread: what the window held
    // is handed to a worker to close, the new file is read on another, and play
    // starts here once it is open; then Sig_OpenFinished tells how it went. A
    // newer open, or a Close, drops a request still under way (its port is
    // closed). False when the request could not start; then no signal follows.
    // A file that cannot be opened or played shows its message to the user.
    bool OpenAsync(OpenInfo* pInfo);
    bool IsOpening() const { return m_pOpenJob != nullptr; }
    // Prepares the port for a live stream and starts a network session for
    // strUrl; the engine's stream opens when the session's first header comes.
    // State 4. False when no port or no session can be had.
    bool OpenStream(QString strUrl, int nTransmitMode, int nPort, bool bHardDecode);
    // Stops, closes and frees the port, then takes a fresh one. State 0. An
    // open under way is dropped.
    bool Close();
    // Starts or resumes play; bForce lets a playing window run all steps again.
    bool Play(bool bForce);
    bool Pause();
    // Paused to playing by the engine's pause switch alone.
    bool Resume();
    // Stops and keeps the file open (state 3); the frame index survives.
    bool Stop();
    // The engine redraws the last frame of a display region (0 main picture).
    void RefreshPlayEx(int nRegion);

    // ---- speed, stepping and seeking ----
    // One step up or down the speed ladder (-4 .. 4, factor 2 to the power of
    // the step), in state 1 or 2. At the edge of the ladder the text still shows
    // and the answer is true. While paused only the step moves; Play replays it.
    bool Fast();
    bool Slow();
    int GetPlaySpeed() const { return m_nPlaySpeed; }
    // One frame forward or back, then paused (state 2). Back needs the frame index.
    bool FrameForward();
    bool FrameBackward();
    // Jumps; none of them changes the play state.
    bool GoToStart();
    bool GoToEnd();
    bool SetFramePos(uint nFrame);
    bool SetTimePos(uint nSeconds);
    bool SetTimePosMS(uint nMS);
    // Sets the direction of play and returns the speed to normal; needs the frame
    // index. Outside play and pause the direction is kept for the next Play.
    bool BackPlay(bool bBack);
    bool IsBackPlay() const { return m_bBackPlay; }
    // Joins (bJoin) or leaves the engine's synchronous group 0. While joined,
    // the engine moves the port with the group clock, so single-window steps and
    // reverse play refuse. Closing the window leaves the group with the port.
    bool SetSyncGroup(bool bJoin);
    bool IsSyncGroup() const { return m_bSyncGroup; }
    // The group moved this window (a jump of the whole group): its file may
    // end again, and an end reported before the jump no longer counts.
    void RearmFileEnd() { BumpPlaySerial(); }
    // Key frame at or before / strictly after a frame number or a time in ms.
    bool CheckKeyFramePos(uint nValue, uint nType, TAVRIX_FRAME_POS* pOut);
    bool CheckNextKeyFramePos(uint nValue, uint nType, TAVRIX_FRAME_POS* pOut);
    // B frames the decoder may skip above normal speed (0 none, 2 the most).
    bool SetThrowBFrame(int nNum);
    int GetThrowBFrame() const { return m_nThrowBFrame; }

    // ---- A-B repeat ----
    // A must lie below the total frame count; B may equal it (the end of the file).
    // Setting B starts the repeat: play loops between the points, and the end of
    // the file is not reported while both are set.
    bool SetRepeatA(uint nFrame);
    bool SetRepeatB(uint nFrame);
    bool GetRepeatA(bool* pbSet, uint* pnFrame);
    bool GetRepeatB(bool* pbSet, uint* pnFrame);
    bool ClearRepeatAB();

    // ---- sound ----
    bool EnableSound(bool bOn);
    // nVolume in percent, clamped to 0..200; only in state 1 or 2. Above 100
    // the engine plays at full scale with a software gain of nVolume - 100 per
    // cent. bShowInfo puts "Volume: n%" on the picture for 3 s.
    bool SetVolume(bool bSound, int nVolume, bool bShowInfo);

    // ---- picture controls (CPlayWndPicture.cpp) ----
    // Colour of the picture, each 0..128, 64 neutral.
    void SetColor(int nBrightness, int nContrast, int nSaturation, int nHue);
    void GetColor(int* pnBrightness, int* pnContrast, int* pnSaturation, int* pnHue);
    // -1 as recorded, 0 left 90 degrees, 1 right 90 degrees, 2 180 degrees.
    bool SetRotateAngle(int nAngle);
    int GetRotateAngle() const { return m_nRotateAngle; }
    // Mirror bits: 1 left-right, 2 upside down (applied after the rotation).
    bool SetFlip(uint nFlip);
    uint GetFlip() const { return m_nFlip; }
    // Shape of the picture area: 0 covers the window, 1 the picture's own
    // ratio, 2 4:3, 3 16:9. Also lays out the display child again.
    bool SetImageScaleMode(int nMode);
    int GetImageScaleMode() const { return m_nDisplayMode; }
    // Size of the picture area: 1 source size, 2 double, 3 half, 4 a quarter.
    bool SetDisplayPercentMode(int nMode);
    int GetDisplayPercentMode() const { return m_nScaleMode; }
    bool GetSourceSize(int* pnWidth, int* pnHeight);
    // The picture size of a percent mode (1..4) for a source size; false for other modes.
    static bool PercentSize(int nMode, int nSrcW, int nSrcH, int* pnWidth, int* pnHeight);
    // One kind of private data (1, 2, 4, 8, 16 or 32) drawn or not.
    bool RenderPrivateData(uint nType, bool bOn);
    uint GetPrivateDataMask() const { return m_dwPrivateDataMask; }
    bool SetMotionFlow(int nMode);
    int GetMotionFlow() const { return m_nMotionFlow; }

    // ---- capture (CPlayWndCapture.cpp) ----
    // Snapshot with its outcome shown on the picture: 0 failed, 1 done,
    // 2 no space, 3 the file could not be written. nFormat 0 BMP, 1 JPEG.
    int CapPic(int nFormat, QString strFolder);
    int CapOnePic(int nFormat, QString strFolder, QString* pstrPath);
    // Starts or ends continuous capture: nMode 0 every nGap seconds, 1 every
    // nGap frames; ends by itself after nMaxNum pictures.
    bool ConCapPic(bool bStart, int nMode, int nGap, int nMaxNum, QString strFolder, int nFormat);
    bool IsConCapping() const { return m_bConCapping; }
    // Display thread: offers one shown frame to continuous capture.
    bool PostConCapData(TAVRIX_DISPLAY_INFO* pstDisplayInfo);
    // GUI thread: the capture worker failed to write one of this window's pictures.
    bool OnConCapFail();
    // The stage's capture worker; null before the worker goes (the display
    // thread then no longer reaches it).
    void SetConCapThread(CConCapThread* pThread);
    // Path of the last snapshot while its line shows on the picture.
    QString GetCapPath() const;

    // ---- partial zoom (CPlayWndZoom.cpp) ----
    // The region of the picture shown in the whole window; right and bottom
    // are exclusive edges, in picture pixels (width times m_nSRWidthFactor).
    struct ZoomRegion {
        int nHeight = 0;
        int nWidth = 0;
        TAVRIX_RECT rcRegion{0, 0, 0, 0};
    };
    bool SetPartZoom(bool bOn);
    bool IsPartZoom() const { return m_bPartZoom; }
    ZoomRegion GetZoomRegion(ZoomRegion* pOut = nullptr) const;
    PartZoomWnd* GetPartZoomWnd() const { return m_pPartZoomWnd; }

    // ---- fisheye views and enhancement (CPlayWndFisheye.cpp) ----
    // The view mode of fisheye material: 0 the original picture, 1 the steered
    // flat view (PTZ). Any other value is stored and keeps steering as it was.
    // The mode is kept even when the engine refuses it, and survives Stop and
    // Close: each play of fisheye material applies it again.
    void SetSRViewMode(int nMode);
    int GetSRViewMode() const { return m_nSRViewMode; }
    // One button command (0 up, 1 down, 2 left, 3 automatic turn on/off,
    // 4 right, 5..8 the diagonals): a direction turns the view by pi/200 per
    // axis and ends the automatic turn; 3 only toggles it.
    bool SRMove(int nCmd);
    // Hands the prepared turn to the engine; true when it took it.
    bool SRRotate();
    // Speed of the automatic turn, 0..100; above 100 is ignored.
    void SetAutoSpeed(int nSpeed);
    int GetAutoSpeed() const { return m_nAutoSpeed; }
    bool IsAutoTrans() const;
    // Milliseconds between two automatic steps; -1 when the turn is off.
    int AutoTransInterval() const;
    bool IsSRPtzEnable() const { return m_bSRPtzEnable; }
    bool IsSRFile() const { return m_bSRFile; }
    int GetSRWidthFactor() const { return m_nSRWidthFactor; }
    // Enhancement: modules on or off, and the 72-byte settings record, which
    // the window keeps (and applies again at each open) without reading it.
    bool SetVIEModuConfig(int nModule, bool bEnable);
    bool SetVIEParam(TAVRIX_VIE_PARAM* pParam);
    bool GetVIEParam(TAVRIX_VIE_PARAM* pParam);

    // ---- network session (CPlayWndNet.cpp) ----
    // Creates a session and starts its connect on a worker; true once under way.
    // A connect that fails later closes the window with a message (or, with
    // reconnecting on, keeps retrying).
    bool OpenNetSession(QString strUrl, int nTransmitMode, int nPort);
    // Closes and destroys the session, if any; afterwards none of its blocks or
    // messages arrives. Waits only for a block being handed over, never for the
    // network.
    bool CloseNetSession();
    // One block of the session (session thread).
    bool InputNetStreamData(int nDataType, char* pBuf, int nLen);
    // One message of the session (session thread).
    bool NetMsgReceived(int nMsgType, char* pContent);
    static void NetDataCallBack(int32_t nSession, int32_t nDataType, char* pBuf, int32_t nLen, void* pUser);
    static void NetMsgCallBack(int32_t nSession, int32_t nMsgType, char* pContent, int32_t nLen, void* pUser);
    // The 40-byte media header made from a media information block of nLen
    // bytes (three little-endian 16-bit values; missing ones count as 0).
    static void BuildMediaHeader(const char* pInfo, int nLen, char (&szHeader)[40]);
    // With reconnecting on, a lost stream keeps its window and is tried again
    // every 2 s until its source returns, without a message box.
    void SetReconnectLostStreams(bool bOn) { m_bReconnectLostStreams = bOn; }
    bool IsReconnecting() const { return m_bReconnecting; }
    int GetNetSession() const { return m_lNetSession; }
    bool IsStreamOpened() const { return m_bStreamOpened; }

    // ---- keys ----
    // Keys of 1..16 characters, given to the engine as 16 zero-padded bytes.
    void SetSecretKey(QString strKey);

    // ---- readers ----
    int GetPlayState() const { return m_nPlayState; }
    int GetOpenMode() const { return m_nOpenMode; }
    int GetPort() const { return m_lPort; }
    int GetSubWndIndex() const { return m_nSubWndIndex; }
    QString GetFilePath() const { return m_strFilePath; }
    QString GetSecretKey() const { return m_strSecretKey; }
    bool IsHardDecode() const { return m_nDecodeEngine == 1; }
    // The engine finished the frame index of the open file.
    bool IsFileRefCreated() const { return m_bFileRefCreated; }
    // Time and frame readers: 0 without a port, outside states 1 and 2, or for a stream.
    uint GetFileTime();
    uint GetPlayedTime();
    uint GetFileTotalFrames();
    uint GetCurrentFrameNum();
    bool GetCurGlobalTime(TAVRIX_SYSTEM_TIME* pGlobalTime);
    bool GetImageSize(uint* pnWidth, uint* pnHeight);
    // Path, frame rate and picture size as decoded so far, for the file
    // information dialog (CPlayWndPicture.cpp). False for a null record.
    bool GetStreamInfo(StreamInfo* pInfo);
    // Pictures the decoder concealed damage in since the file opened; 0 without a port.
    uint GetDamagedFrames() const;
    // Copies the 64-byte watermark record last seen.
    bool GetWatermarkInfo(void* pOut);
    // The text currently drawn on the picture (empty when none).
    QString GetDisplayInfo() const;

    // ---- callback switches: true registers, false registers null ----
    bool SetDisplayCallBack(bool bEnable);
    bool SetDrawCallBack(bool bEnable);
    bool SetFileRefCallBack(bool bEnable);
    bool SetFileEndCallback(bool bEnable);
    bool SetWatermarkCallBack(bool bEnable);
    bool SetDecCallBack(bool bEnable);
    bool SetEncTypeChangeCallBack(bool bEnable);
    bool SetRunTimeInfoCallBack(bool bEnable);

    // ---- engine callbacks (run on the engine's threads; pUser is the CPlayWnd*) ----
    static void DisplayCallBack(TAVRIX_DISPLAY_INFO* pstDisplayInfo);
    static void DrawCallBack0(int32_t nPort, void* hDc, void* pUser);
    static void DrawCallBack1(int32_t nPort, void* hDc, void* pUser);
    static void FileRefCallBack(int32_t nPort, void* pUser);
    static void FileEndCallback(int32_t nPort, void* pUser);
    static void WatermarkCallBack(int32_t nPort, TAVRIX_WATERMARK_INFO* pInfo, void* pUser);
    static void DecCallBack(int32_t nPort, char* pBuf, int32_t nSize, TAVRIX_FRAME_INFO* pFrameInfo,
                            void* pUser);
    static void EncTypeChangeCallBack(int32_t nPort, void* pUser);
    static void RunTimeInfoCallBack(int32_t nPort, TAVRIX_RUNTIME_INFO* pInfo, void* pUser);

    // IObserverBase: the skin notice.
    void SkinChanged() override;

signals:
    bool Sig_DbClickPlayWnd(int nPlayWndIndex);
    bool Sig_LButtonClickPlayWnd(int nPlayWndIndex);
    // Once per play: a play is what follows an open, a Play, a stop or a jump.
    bool Sig_FileEnd(int nPlayWndIndex);
    bool Sig_FileRefCreated(int nPlayWndIndex);
    bool Sig_WidthHeightChange();
    bool Sig_MousePressEvent(QMouseEvent* ev);
    bool Sig_MouseMoveEvent(QMouseEvent* ev);
    bool Sig_UpdateCtrlStatus();
    // The first picture of a stream as a 96 x 64 thumbnail; the receiver owns it.
    void Sig_UpdateThumbnail(QString strFilePath, QImage* pimgThumbnail, Item_FileInfo* pFileInfo);
    bool Sig_NetStreamDisconnect();
    bool Sig_NetStreamStartSound(int nWndIndex);
    bool Sig_DelayDisplayInfoTimer(bool bEnable);
    bool Sig_FileDecLowFrameRate(bool bIsLowFrameRate);
    bool Sig_MarkInvalidFile(QString strFilePath, bool bState);
    void Sig_ErrorMsg(QString strMsg);
    void Sig_ErrorToStopPlay(QString strFilePath, int nErrorType, bool bSRFile);
    // A shown frame lies outside the A-B range (display thread; arrives queued).
    void Sig_RepeatABFrameOut(uint nFrame);
    // The end of an OpenAsync: bOk when the file opened and plays.
    void Sig_OpenFinished(int nPlayWndIndex, bool bOk);

public slots:
    bool On_WidthHeightChange();
    bool On_DelayDisplayInfoTimer(bool bEnable);
    bool On_FileDecLowFrameRate(bool bIsLowFrameRate);
    // The stream ended, failed or stayed silent: the window closes and says so,
    // or, with reconnecting on, keeps its picture and tries again.
    bool On_NetStreamDisconnect();
    void ErrorMsgBox(QString strMsg);
    // Watchdog of the A-B repeat, every 500 ms.
    bool On_RepeatABTimer();
    // Frame-exact side of the repeat: a shown frame left the range.
    bool On_RepeatABFrameOut(uint nFrame);
    // Partial zoom (CPlayWndZoom.cpp).
    bool On_PartZoomReset();
    bool On_PartZoomRectMove(int nXOffset, int nYOffset);
    bool On_PartZoomScalePlus();
    bool On_PartZoomScaleMinus();
    // One step of the automatic turn (GUI thread, from m_pAutoTransTimer).
    void OnAutoTransTimer();

protected:
    void timerEvent(QTimerEvent* ev) override;
    void mousePressEvent(QMouseEvent* ev) override;
    void mouseDoubleClickEvent(QMouseEvent* ev) override;
    void mouseMoveEvent(QMouseEvent* ev) override;
    void paintEvent(QPaintEvent* ev) override;
    void resizeEvent(QResizeEvent* ev) override;
    void mouseReleaseEvent(QMouseEvent* ev) override;
    void wheelEvent(QWheelEvent* ev) override;
    void enterEvent(QEnterEvent* ev) override;
    void leaveEvent(QEvent* ev) override;

private:
    bool GetPortOrReport();
    // Callbacks, key, path and open mode of a port about to open strFilePath; the
    // engine's 8-bit path into *pbaPath. False when the path does not convert.
    bool PrepareFilePort(int32_t nPort, const QString& strFilePath, const QString& strKey,
                         QByteArray* pbaPath);
    void RegisterFileCallbacks(int32_t nPort, bool bEnable);
    void ApplySecretKey(int32_t nPort, const QString& strKey);
    // Drops an open under way; true if there was one.
    bool CancelOpen();
    // The port goes to a worker to be closed; the window holds none afterwards.
    void ReleasePortLater();
    void On_OpenJobDone(const std::shared_ptr<OpenJob>& pJob);
    // Tells the user that the open file cannot be played.
    void ReportOpenFail();
    // A new play: a file end reported for an earlier one no longer counts.
    void BumpPlaySerial();
    // GUI side of the file end and frame index callbacks.
    void On_FileEndPosted(quint64 nPlaySerial);
    void On_FileRefPosted(int32_t nPort);
    void MarkFileRefCreated();
    void ResetPlayState();
    // Size and rate of the last frame, once the port that showed it is gone.
    void ForgetFrameFacts();
    void PostPlayEvent(int nEvent);
    void ApplyDisplayMode();
    void SetDisplayInfo(const QString& strText);
    void DrawInfoText(QPainter* pPainter);
    QWidget* MainDlg() const;
    void KillTimerField(int& nTimerId);
    void ShowSpeedText();
    bool RestoreSpeed();
    bool RepeatABCheck(uint nCur);
    bool IsRepeatFrameInside(uint nFrame) const;
    void RestartRefreshTimer();

    // Capture helpers (CPlayWndCapture.cpp). A press on the snapshot's path
    // line opens its folder; true when the press was taken.
    bool CapPathClicked(QMouseEvent* ev);
    // Ends continuous capture (Stop, Close); pictures already taken are still written.
    void ResetConCap();
    // The display thread ended a capture (0 count reached, 1 no space): the
    // GUI thread tells the user.
    void On_ConCapEndPosted(int nReason);
    // The snapshot path line is gone (with its text).
    void ClearCapPath();

    // Partial zoom helpers (CPlayWndZoom.cpp). The mouse handlers answer true
    // when they took the event.
    bool ZoomMousePress(QMouseEvent* ev);
    bool ZoomMouseMove(QMouseEvent* ev);
    bool ZoomMouseRelease(QMouseEvent* ev);
    bool ZoomWheel(QWheelEvent* ev);
    bool ClampZoomPoint(const QPoint& pt, QPoint* pOut);
    bool ComputeZoomRegion(bool bIn, float fPercent);
    // One wheel step in or out from the region on view.
    bool ZoomStep(bool bIn);
    // Picture size as on view: a quarter turn exchanges the sides.
    bool ZoomPictureSize(int* pnWidth, int* pnHeight);
    // Zoom off whatever the play state (Stop, Close).
    void EndPartZoom();
    // The zoom cursor over the window, or the default one.
    void SetZoomCursor(bool bZoom);
    void UpdateMainWndRegion();
    bool ShowPartZoomWnd();
    // Draws the selection (region 0) or the region in the navigator (region 1).
    void DrawZoomRect0(QPainter* pPainter);
    void DrawZoomRect1(QPainter* pPainter);

    // Fisheye helpers (CPlayWndFisheye.cpp).
    // Allocates the parameter block on first use and fills all four values.
    bool PrepareSRRotate(float fRotateX, float fRotateY, float fZoom);
    // Play's share for fisheye material: the view mode again and the width factor.
    void ApplySROnPlay();
    // Applies the kept enhancement record to a freshly opened port; any thread
    // (a stream opens on its session's thread).
    void ApplyVIEOnOpen(int32_t nPort);
    // Steering by mouse; true when the event was taken.
    bool SRMousePress(QMouseEvent* ev);
    bool SRMouseMove(QMouseEvent* ev);
    bool SRMouseRelease(QMouseEvent* ev);
    bool SRWheel(QWheelEvent* ev);
    void StopAutoTrans();
    // The timer of the automatic turn: made with the window, deleted after its last Stop.
    void InitAutoTrans();
    void UnInitAutoTrans();

    // Network session helpers (CPlayWndNet.cpp).
    void AttachNetOpenLink();
    void DetachNetOpenLink();
    void StartNetOpen(int32_t nSession, quint64 nSerial);
    void On_NetOpenDone(quint64 nSerial, int32_t nResult);
    bool OpenStreamVariant(int nDataType, char* pBuf, int nLen);
    bool RunStreamVariant(int nDataType, char* pBuf, int nLen);
    void WaitNetVariant();
    void PostNetTimeout(bool bStart);
    void On_NetTimeoutPosted(bool bStart, quint64 nSerial);
    void On_NetStreamStarted(quint64 nSerial);
    void On_NetLostPosted(quint64 nSerial);
    bool CanReconnect() const;
    void BeginReconnect();
    void EndReconnect();
    void On_ReconnectTick();
    void ShowNetMessage(const char* szKey, const char* szDefault);
    void RegisterStreamCallbacks(int32_t nPort);
    bool SaveStreamThumb(const char* pBuf, int nSize, const TAVRIX_FRAME_INFO* pFrameInfo);

    // ---- picture controls ----
    // Mask, motion flow and orientation back to their start values, on the
    // window and on the port it keeps (ResetPlayState).
    void ResetPictureControls();
    int m_nScaleMode = 0;                 // display size percent mode, 0 none set
    int m_nRotateAngle = -1;              // -1 none, 0 left, 1 right, 2 half a turn
    uint m_nFlip = 0;                     // mirror bits
    uint m_dwPrivateDataMask = 63;        // private data kinds drawn
    int m_nMotionFlow = 0;
    int m_nSRWidthFactor = 1;             // 2 for fisheye material shown side by side
    std::atomic<int> m_nInfoTextHeight{0}; // height of the drawn path line; render thread writes
    std::atomic<bool> m_bShowCapPath{false};

    // ---- capture ----
    std::vector<char> m_pCapBuf; // snapshot buffer, reused
    int m_nCapBufSize = 0;
    std::atomic<bool> m_bConCapping{false};
    int m_nConCapMode = 0;
    int m_nConCapGap = 0;
    int m_nConCapMaxNum = 0;
    QString m_strConCapFolder;
    int m_nConCapFormat = 0;
    // Bytes of this window's pictures that may wait for the worker at once
    // (each queued picture owns a copy of its frame); a frame that would pass
    // it is skipped.
    size_t m_nConCapBufSize = 0;
    int m_nConCapCount = 0;
    int m_nConCapFrameGap = -1;
    int m_nConCapLastStamp = 0;
    // Guards the settings and counters above between the GUI thread, which
    // starts a capture, and the display thread, which takes its frames.
    std::mutex m_mtxConCap;
    QString m_strCapPath; // guarded by m_mtxShared
    CConCapThread* m_pConCapThread = nullptr; // written under m_mtxConCap

    // ---- partial zoom ----
    bool m_bPartZoom = false;
    ZoomRegion m_stZoomRegion; // read by the draw callbacks without a lock
    bool m_bZoomDragging = false;
    QPoint m_ptZoomBegin;
    QPoint m_ptZoomEnd;
    PartZoomWnd* m_pPartZoomWnd = nullptr;
    int m_nZoomWndHideTimer = 0;
    int m_nZoomRefreshTimer = 0;
    QString m_strCursorPath;
    QColor m_clrZoomRect = QColor(255, 0, 0);

    int m_nSoundState = -1; // -1 not set since the last reset, 0 off, 1 on
    // A-B repeat points. Written on the GUI thread; the display and file end
    // callbacks read them, hence atomics. With both set the end is not reported.
    std::atomic<bool> m_bRepeatASet{false};
    std::atomic<bool> m_bRepeatBSet{false};
    std::atomic<uint> m_nRepeatAFrame{0};
    std::atomic<uint> m_nRepeatBFrame{0};
    // The display callback reports a frame outside the range once, then waits
    // for a frame inside before it reports again, so one overrun makes one jump.
    std::atomic<bool> m_bRepeatArmed{true};
    QTimer* m_pRepeatABTimer = nullptr;   // 500 ms watchdog, made at first SetRepeatB
    int m_nPlaySpeed = 0;                 // speed step -4 .. 4; 0 normal
    std::atomic<bool> m_bBackPlay{false}; // reverse direction; read by the display callback
    bool m_bSyncGroup = false;            // in the engine's synchronous group
    int m_nThrowBFrame = 0;               // B frames the decoder may skip
    // ---- fisheye views and enhancement ----
    bool m_bSRPtzEnable = false; // the view mode can be steered
    bool m_bSRDragging = false;  // a left button drag steers the view
    int m_nSRViewMode = 1;       // 0 original, 1 PTZ
    int m_nAutoSpeed = 50;       // speed of the automatic turn, 0..100
    QPoint m_ptSRLast;           // drag points in the display child's coordinates
    QPoint m_ptSRCur;
    TAVRIX_SR_ROTATE m_stSRRotate{nullptr, 0};
    std::unique_ptr<TAVRIX_SR_ROTATE_PARAM> m_pSRRotateParam; // made on first use
    QTimer* m_pAutoTransTimer = nullptr; // no parent; made and deleted by the window
    // The enhancement record; the stage's GUI thread writes it, a stream's
    // session thread reads it at open: both under m_mtxShared.
    TAVRIX_VIE_PARAM m_stVIEConfig{0, {0, 0, 0, 25, 0, 0, 0, 220, 26, 0, 60, 80, 2, 5, 50, 0, 0}};
    bool m_bSRFile = true;                // fisheye material; true until the first open
    CDlgShow* m_pDlgShow = nullptr;       // the stage; null if the parent is no stage
    // Playback port; -1 none (also while an open is under way). Written on the GUI
    // thread; the callbacks compare their port with it to drop news of old ports.
    std::atomic<int32_t> m_lPort{-1};
    std::shared_ptr<OpenJob> m_pOpenJob;       // the open under way, if any
    QList<std::shared_ptr<OpenJob>> m_lstJobs; // opens whose result has not come back
    quint64 m_nOpenSerial = 0;                 // number of the latest open request
    // Number of the current play; the file end callback sends it back with the end.
    std::atomic<quint64> m_nPlaySerial{1};
    quint64 m_nEndReportedSerial = 0; // the play whose end was reported
    std::atomic<int> m_nOpenMode{0};  // 0 nothing, 1 file, 2 stream; read by the decode thread
    QString m_strSecretKey;
    QString m_strFilePath;            // native separators for files; written under m_mtxShared
    std::atomic<int> m_nPlayState{0}; // readers on other threads take it as it is
    int m_nSubWndIndex = 0;
    int m_nPicWidth = 0; // picture size as last read from the engine
    int m_nPicHeight = 0;
    std::atomic<bool> m_bFileRefCreated{false}; // written on an engine thread
    // Guards m_strDisplayInfo, m_strInfoFontFace and m_stWatermark, and the writes
    // of m_strFilePath: the render and run-time threads read them.
    mutable QMutex m_mtxShared;
    QString m_strDisplayInfo;                  // text drawn on the picture
    QString m_strInfoFontFace;                 // font of that text, chosen by the language
    unsigned char m_stWatermark[64] = {};      // last watermark record seen
    int m_nDisplayInfoTimer = 0;               // clears the text after 3 s
    QLabel* m_pDisplayWnd = nullptr;           // child the engine draws into
    int m_nDisplayMode = 1;                    // aspect mode; the picture fills the window
    int m_nRefreshTimer = 0;                   // 100 ms one-shot repaint request
    int m_nLowRateTimer = 0;                   // 40 ms repaint while the frame rate is below 2
    int m_nDecodeEngine = 0;                   // 0 software, 1 hardware
    std::atomic<bool> m_bErrorReported{false}; // a run-time error was reported for this play
    std::atomic<int> m_nFrameRate{-1};         // written on the decode thread
    std::atomic<int> m_nVideoWidth{0};         // written on the render thread
    std::atomic<int> m_nVideoHeight{0};
    QColor m_clrBackground = Qt::black; // from the skin
    uintptr_t m_hDisplayWnd = 0;        // native id given to Tavrix_Play

    // ---- network session ----
    // Session id; -1 none. Written on the GUI thread only, read by the session's
    // callbacks (which never overlap a close: Orvel_Close waits for them).
    std::atomic<int32_t> m_lNetSession{-1};
    // The engine's stream is open for this session; written by the session thread.
    std::atomic<bool> m_bStreamOpened{false};
    // Number of the current session. News posted by a session carries its
    // number; a close moves it on, so what a closed session posted is dropped.
    std::atomic<quint64> m_nNetSerial{0};
    int m_nNetTimeoutTimer = 0; // header to first data, 5 s; GUI thread
    // The session thread asked for the watchdog and no data block has killed
    // it yet: the first block that goes in posts the kill, later ones do not.
    std::atomic<bool> m_bNetTimeoutArmed{false};
    std::shared_ptr<NetOpenLink> m_pNetOpenLink; // lets connect workers find a live window
    int m_nTransmitMode = 0;
    int m_nNetPort = 0;
    std::atomic<uint> m_nNetRefused{0}; // blocks the engine refused, for the log
    // The gate between a header that opens the engine's stream on the session
    // thread and a close on the GUI thread. Opening may wait for the GUI thread
    // (the engine attaches its picture to the widget there), and Orvel_Close
    // waits for the callback: so a close first shuts the gate, then serves the
    // GUI thread's share of an opening already under way, and only then closes.
    std::mutex m_mtxNetGate;
    std::condition_variable m_cvNetGate;
    bool m_bNetClosing = false;        // guarded by m_mtxNetGate
    bool m_bNetVariantRunning = false; // guarded by m_mtxNetGate
    bool m_bReconnectLostStreams = false;
    bool m_bReconnecting = false;
    int m_nReconnectTimer = 0; // 2 s retries while reconnecting
    // Stream thumbnail: one per OpenStream. The buffers belong to the decode thread.
    std::atomic<bool> m_bThumbSent{false};
    std::vector<char> m_vecThumbYuv;
    std::vector<char> m_vecThumbBmp;
};
