#include "CPlayWnd.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QMouseEvent>
#include <QMutexLocker>
#include <QPainter>
#include <QStyleOption>
#include <QThread>
#include <QTimer>
#include <QTimerEvent>

#include <algorithm>
#include <cstring>

#include "CDlgShow.h"
#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "LanguageKeys.h"
#include "NonModalMessageBox.h"
#include "OpenInfo.h"
#include "OpenJob.h"
#include "PartZoomWnd.h"
#include "PortCloser.h"
#include "SecretKeyBytes.h"
#include "SkinManager.h"

namespace {

const int kSkinResPlayWnd = 38;
const int kDisplayInfoMs = 3000;
const int kRefreshMs = 100;
const int kLowRateRefreshMs = 40;
const int kAsciiPathSize = 1040;
const int kRepeatABMs = 500;
// How long a window going away waits for the workers that may still call it.
const int kWorkerWaitMs = 30000;

// Speed ladder: steps -4 .. 4, factor 2 to the power of the step.
const int kMaxSpeedStep = 4;
const int kMinSpeedStep = -4;
// B frames the decoder may skip above normal speed.
const int kThrowBFrameFast = 2;

// Internal events of PostPlayEvent.
const int kEventFileEnd = 102;
const int kEventSizeChange = 103;

// Run-time error codes the window reports (others are ignored).
const int kRtDecodeEngine = 0;
const int kRtDemux = 1;
const int kRtDecode = 2;
const int kRtRender = 4;
const int kRtDecrypt = 5;

QString LangText(const char* szKey, const char* szDefault) {
    QString strText;
    CLanguageParser::FindString(szKey, strText, szDefault);
    return strText;
}

CPlayWnd* WndOf(void* pUser) {
    return static_cast<CPlayWnd*>(pUser);
}

// "rtsp:" anywhere, or "http:" with ".m3u8", is a stream when the type does not say.
bool IsStreamRequest(const OpenInfo& info) {
    if (info.nMediaType == 1 || info.nMediaType == 2)
        return info.nMediaType == 2;
    const QString strLower = info.strFilePath.toLower();
    return strLower.contains("rtsp:") || (strLower.contains("http:") && strLower.contains(".m3u8"));
}

} // namespace

CPlayWnd::CPlayWnd(int nSubWndIndex, QWidget* pParent)
    : QWidget(pParent), m_pDlgShow(qobject_cast<CDlgShow*>(pParent)), m_nSubWndIndex(nSubWndIndex) {
    m_pDisplayWnd = new QLabel(this, Qt::FramelessWindowHint);
    m_pDisplayWnd->setObjectName("m_pDisplayWnd");
    m_pDisplayWnd->show();
    // Neither the window nor the native child the engine draws into takes the
    // keyboard: keys go to the stage, which hands them to the main dialog.
    setFocusPolicy(Qt::NoFocus);
    m_pDisplayWnd->setFocusPolicy(Qt::NoFocus);

    // The engine's callbacks emit on its own threads; these arrive queued.
    connect(this, &CPlayWnd::Sig_WidthHeightChange, this, &CPlayWnd::On_WidthHeightChange,
            Qt::QueuedConnection);
    connect(this, &CPlayWnd::Sig_NetStreamDisconnect, this, &CPlayWnd::On_NetStreamDisconnect);
    connect(this, &CPlayWnd::Sig_DelayDisplayInfoTimer, this, &CPlayWnd::On_DelayDisplayInfoTimer);
    connect(this, &CPlayWnd::Sig_FileDecLowFrameRate, this, &CPlayWnd::On_FileDecLowFrameRate);
    connect(this, &CPlayWnd::Sig_ErrorMsg, this, &CPlayWnd::ErrorMsgBox);
    connect(this, &CPlayWnd::Sig_RepeatABFrameOut, this, &CPlayWnd::On_RepeatABFrameOut,
            Qt::QueuedConnection);

    setAttribute(Qt::WA_OpaquePaintEvent);
    SkinManager::AddObserver(this);
    m_hDisplayWnd = static_cast<uintptr_t>(m_pDisplayWnd->winId());
    setAcceptDrops(false);
    setMouseTracking(true);
    AttachNetOpenLink();
    InitAutoTrans();
}

CPlayWnd::~CPlayWnd() {
    // No connect worker posts to this window from here on, and no session calls it.
    DetachNetOpenLink();
    EndReconnect();
    CloseNetSession();
    Close();
    // Opens under way and ports being closed may still call this window: wait
    // for them, then close the ports whose result never came back here.
    for (const std::shared_ptr<OpenJob>& pJob : m_lstJobs) {
        if (!pJob->WaitFinished(kWorkerWaitMs)) {
            qDebug("CPlayWnd::~CPlayWnd open of port %d still under way", pJob->Port());
            continue;
        }
        if (!pJob->bHandled) {
            Tavrix_CloseFile(pJob->Port());
            Tavrix_FreePort(pJob->Port());
        }
    }
    m_lstJobs.clear();
    if (!PortCloser::WaitIdle(kWorkerWaitMs))
        qDebug("CPlayWnd::~CPlayWnd ports still being closed");
    if (m_lPort >= 0) {
        Tavrix_FreePort(m_lPort);
        m_lPort = -1;
    }
    UnInitAutoTrans();
    SkinManager::DelObserver(this);
}

// ---- opening ---------------------------------------------------------------

bool CPlayWnd::Open(OpenInfo* pInfo) {
    if (!pInfo)
        return false;
    Close();
    if (IsStreamRequest(*pInfo))
        return OpenStream(pInfo->strFilePath, pInfo->nTransmitMode, pInfo->nPort, pInfo->bHardDecode);
    return OpenFile(pInfo->strFilePath, pInfo->strDecryptKey);
}

QWidget* CPlayWnd::MainDlg() const {
    return m_pDlgShow ? m_pDlgShow->GetMainDlg() : nullptr;
}

bool CPlayWnd::GetPortOrReport() {
    if (m_lPort != -1)
        return true;
    int32_t nPort = -1;
    if (Tavrix_GetPort(&nPort)) {
        m_lPort = nPort;
        return true;
    }
    m_lPort = -1;
    if (m_pDlgShow)
        NonModalMessageBox::MsgBox(MainDlg(), LangText(IDS_Global_Information, "Information"),
                                   LangText(IDS_PlayWnd_GetPortFail, "Get port fail!"));
    return false;
}

bool CPlayWnd::PrepareFilePort(int32_t nPort, const QString& strFilePath, const QString& strKey,
                               QByteArray* pbaPath) {
    {
        QMutexLocker lock(&m_mtxShared);
        m_strFilePath = QDir::toNativeSeparators(strFilePath);
    }
    CPlayHelper::IsSRFile(m_strFilePath, &m_bSRFile);
    RegisterFileCallbacks(nPort, true);
    if (!strKey.isEmpty())
        ApplySecretKey(nPort, strKey);
    if (!Tavrix_SetStreamOpenMode(nPort, TAVRIX_STREAM_FILE)) {
        qDebug("Tavrix_SetStreamOpenMode() STREAME_FILE Fail GetLastError()=%d", Tavrix_GetLastError(nPort));
        return false;
    }
    char szPath[kAsciiPathSize] = {};
    if (!CPlayHelper::UnicodeToAscii(m_strFilePath, szPath, kAsciiPathSize))
        return false;
    *pbaPath = QByteArray(szPath);
    return true;
}

void CPlayWnd::RegisterFileCallbacks(int32_t nPort, bool bEnable) {
    void* pUser = bEnable ? this : nullptr;
    Tavrix_SetDisplayCallBackEx(nPort, bEnable ? DisplayCallBack : nullptr, pUser);
    Tavrix_RegisterDrawFunEx(nPort, 0, bEnable ? DrawCallBack0 : nullptr, pUser);
    Tavrix_RegisterDrawFunEx(nPort, 1, bEnable ? DrawCallBack1 : nullptr, pUser);
    // Fisheye material has no frame index: reverse play and stepping back stay closed.
    const bool bFileRef = bEnable && !m_bSRFile;
    if (!Tavrix_SetFileRefCallBack(nPort, bFileRef ? FileRefCallBack : nullptr, bFileRef ? this : nullptr) &&
        bEnable)
        qDebug("Tavrix_SetFileRefCallBack() Fail GetLastError()=%d", Tavrix_GetLastError(nPort));
    Tavrix_SetCheckWatermarkCallBack(nPort, bEnable ? WatermarkCallBack : nullptr, pUser);
    Tavrix_SetDecCallBackExMend(nPort, bEnable ? DecCallBack : nullptr, nullptr, 0, pUser);
    Tavrix_SetFileEndCallback(nPort, bEnable ? FileEndCallback : nullptr, pUser);
    Tavrix_SetEncTypeChangeCallBack(nPort, bEnable ? EncTypeChangeCallBack : nullptr, pUser);
    if (!bEnable) {
        // Set by Play; a port that leaves the window takes none with it.
        Tavrix_SetRunTimeInfoCallBackEx(nPort, 2, nullptr, nullptr);
        Tavrix_SetRunTimeInfoCallBackEx(nPort, 1, nullptr, nullptr);
    }
}

bool CPlayWnd::OpenFile(QString strFilePath, QString strKey) {
    if (!GetPortOrReport())
        return false;
    QByteArray baPath;
    if (!PrepareFilePort(m_lPort, strFilePath, strKey, &baPath)) {
        ReportOpenFail();
        return false;
    }
    if (!Tavrix_OpenFile(m_lPort, baPath.constData())) {
        qDebug("Tavrix_OpenFile() Fail GetLastError()=%d", Tavrix_GetLastError(m_lPort));
        Tavrix_CloseFile(m_lPort);
        ReportOpenFail();
        return false;
    }
    ApplyVIEOnOpen(m_lPort);
    Tavrix_SkipErrorData(m_lPort, false);
    BumpPlaySerial();
    m_nPlayState = 4;
    m_nOpenMode = 1;
    return true;
}

bool CPlayWnd::OpenAsync(OpenInfo* pInfo) {
    if (!pInfo)
        return false;
    if (IsStreamRequest(*pInfo)) {
        // A stream opens through its network session, which does not read the
        // disk; play starts from the event loop all the same.
        if (!Open(pInfo))
            return false;
        const quint64 nSerial = ++m_nOpenSerial;
        QMetaObject::invokeMethod(
            this,
            [this, nSerial] {
                if (nSerial == m_nOpenSerial)
                    emit Sig_OpenFinished(m_nSubWndIndex, Play(false));
            },
            Qt::QueuedConnection);
        return true;
    }

    CancelOpen();
    ReleasePortLater();
    if (!GetPortOrReport())
        return false;
    // The fresh port goes to the request; the window takes it back with the result.
    const int32_t nPort = m_lPort;
    m_lPort = -1;
    QByteArray baPath;
    if (!PrepareFilePort(nPort, pInfo->strFilePath, pInfo->strDecryptKey, &baPath)) {
        m_lPort = nPort; // the window keeps its port, in state 0, as a failed OpenFile does
        ReportOpenFail();
        return false;
    }
    auto pJob = std::make_shared<OpenJob>(nPort, baPath, ++m_nOpenSerial);
    m_pOpenJob = pJob;
    m_lstJobs.append(pJob);
    OpenJob::Start(pJob, this, [this](const std::shared_ptr<OpenJob>& pDone) { On_OpenJobDone(pDone); });
    return true;
}

void CPlayWnd::On_OpenJobDone(const std::shared_ptr<OpenJob>& pJob) {
    pJob->bHandled = true;
    m_lstJobs.removeOne(pJob);
    if (pJob != m_pOpenJob || pJob->Serial() != m_nOpenSerial) {
        // Closed or replaced while the file was read: nobody wants this port.
        RegisterFileCallbacks(pJob->Port(), false);
        PortCloser::CloseLater(pJob->Port());
        return;
    }
    m_pOpenJob.reset();
    m_lPort = pJob->Port();
    if (!pJob->Opened()) {
        qDebug("Tavrix_OpenFile() Fail GetLastError()=%u", pJob->Error());
        Tavrix_CloseFile(m_lPort);
        ReportOpenFail();
        emit Sig_OpenFinished(m_nSubWndIndex, false);
        return;
    }
    BumpPlaySerial();
    ForgetFrameFacts();
    m_nPlayState = 4;
    m_nOpenMode = 1;
    ApplyVIEOnOpen(m_lPort);
    if (pJob->bFileRefReady)
        MarkFileRefCreated();
    const bool bPlaying = Play(false);
    // A decoder that cannot start has reported through the run-time callback.
    if (!bPlaying && !m_bErrorReported)
        ReportOpenFail();
    emit Sig_OpenFinished(m_nSubWndIndex, bPlaying);
}

bool CPlayWnd::CancelOpen() {
    ++m_nOpenSerial;
    if (!m_pOpenJob)
        return false;
    // Its result, when it comes, closes its port.
    m_pOpenJob.reset();
    return true;
}

void CPlayWnd::ReleasePortLater() {
    // A stream's session feeds the port: it goes first, so that nothing feeds a
    // port on its way out.
    EndReconnect();
    CloseNetSession();
    const int32_t nPort = m_lPort;
    if (nPort < 0)
        return;
    // What Stop would reset, for a window that still plays or holds a file.
    if (m_nPlayState != 0 && m_nPlayState != 3)
        ResetPlayState();
    m_bFileRefCreated = false;
    const bool bHoldsFile = m_nPlayState != 0 || m_nOpenMode != 0;
    // Nothing more of this port reaches the window; what is under way already is
    // dropped by its port number.
    RegisterFileCallbacks(nPort, false);
    m_lPort = -1;
    {
        QMutexLocker lock(&m_mtxShared);
        m_strFilePath.clear();
    }
    m_bSyncGroup = false;
    m_nPlayState = 0;
    m_nOpenMode = 0;
    BumpPlaySerial();
    if (bHoldsFile)
        PortCloser::CloseLater(nPort);
    else if (!Tavrix_FreePort(nPort))
        qDebug("Tavrix_FreePort() Fail GetLastError()=%d", Tavrix_GetLastError(nPort));
    update();
}

void CPlayWnd::ReportOpenFail() {
    QString strPath;
    {
        QMutexLocker lock(&m_mtxShared);
        strPath = m_strFilePath;
    }
    // Several windows may fail at once: the name tells which file it was.
    QString strText = LangText(IDS_MainWnd_PlayFail, "Playing failed.");
    const QString strName = QFileInfo(strPath).fileName();
    if (!strName.isEmpty())
        strText += QLatin1Char('\n') + strName;
    emit Sig_ErrorMsg(strText);
}

void CPlayWnd::SetSecretKey(QString strKey) {
    if (m_lPort < 0)
        return;
    ApplySecretKey(m_lPort, strKey);
}

void CPlayWnd::ApplySecretKey(int32_t nPort, const QString& strKey) {
    if (strKey.size() > kSecretKeyBytes)
        return;
    m_strSecretKey = strKey;
    // The engine takes the key's 8-bit form as exactly 16 bytes, zero padded;
    // the thumbnail thread makes the same bytes.
    char szKey[kSecretKeyBytes];
    SecretKeyToBytes(strKey, szKey);
    Tavrix_SetSecretKey(nPort, 1, szKey, 128);
}

void CPlayWnd::BumpPlaySerial() {
    m_nPlaySerial.fetch_add(1);
}

// ---- transport ---------------------------------------------------------------

bool CPlayWnd::Play(bool bForce) {
    const int nOldState = m_nPlayState;
    if (nOldState == 1 && !bForce)
        return false;
    if (m_lPort < 0)
        return false;
    // A stopped stream has no session: play opens a new one with what was stored.
    if (m_nOpenMode == 2 && m_lNetSession < 0 && nOldState == 3 &&
        !OpenNetSession(m_strFilePath, m_nTransmitMode, m_nNetPort))
        return false;

    if (SetRunTimeInfoCallBack(true))
        m_bErrorReported = false;

    // Fisheye material always decodes on the hardware engine.
    const uint32_t nEngine = m_bSRFile ? 1u : static_cast<uint32_t>(m_nDecodeEngine);
    if (!Tavrix_SetDecodeEngineEx(m_lPort, nEngine)) {
        if (m_bSRFile)
            qDebug("Tavrix_SetDecodeEngine Err");
        else
            qDebug("CPlayWnd::Play Tavrix_SetDecodeEngineEx Fail GetLastError()=%d",
                   Tavrix_GetLastError(m_lPort));
    }
    ApplySROnPlay();

    if (m_bBackPlay) {
        if (!Tavrix_ReversePlay(m_lPort)) {
            qDebug("CPlayWnd::PlayNotSync() Tavrix_ReversePlay Fail m_lPort=%d, dwErrorCode=%d",
                   m_lPort.load(), Tavrix_GetLastError(m_lPort));
            return false;
        }
    } else if (!Tavrix_Play(m_lPort, m_hDisplayWnd)) {
        qDebug("CPlayWnd::PlayNotSync() Tavrix_Play Fail m_lPort=%d, dwErrorCode=%d", m_lPort.load(),
               Tavrix_GetLastError(m_lPort));
        return false;
    }
    // An end the engine met before this play is not this play's end.
    BumpPlaySerial();

    // A paused file standing on its last frame has nothing left to play: the
    // window reports the end itself, from the event loop like the engine's, and
    // once for this play whoever comes first.
    if (nOldState == 2) {
        const uint nTotal = GetFileTotalFrames();
        if (nTotal > 0 && GetCurrentFrameNum() == nTotal - 1) {
            m_nPlayState = 1;
            const quint64 nSerial = m_nPlaySerial;
            QMetaObject::invokeMethod(
                this, [this, nSerial] { On_FileEndPosted(nSerial); }, Qt::QueuedConnection);
            return true;
        }
    }

    // Each start of the engine runs at normal speed: replay the step.
    RestoreSpeed();

    // A stream's session thread starts play too; the timer belongs to the GUI thread.
    if (QThread::currentThread() == thread())
        RestartRefreshTimer();
    else
        QMetaObject::invokeMethod(
            this, [this] { RestartRefreshTimer(); }, Qt::QueuedConnection);
    m_nPlayState = 1;
    return true;
}

void CPlayWnd::RestartRefreshTimer() {
    KillTimerField(m_nRefreshTimer);
    m_nRefreshTimer = startTimer(kRefreshMs);
}

bool CPlayWnd::Pause() {
    if (m_nPlayState != 1 || m_lPort < 0)
        return false;
    if (!Tavrix_Pause(m_lPort, 1))
        qDebug("CPlayWnd::Pause() Tavrix_Pause Fail m_lPort=%d, dwErrorCode=%d", m_lPort.load(),
               Tavrix_GetLastError(m_lPort));
    m_nPlayState = 2;
    return true;
}

bool CPlayWnd::Resume() {
    if (m_nPlayState != 2 || m_lPort < 0)
        return false;
    if (!Tavrix_Pause(m_lPort, 0))
        qDebug("CPlayWnd::Pause() Tavrix_Pause Fail m_lPort=%d, dwErrorCode=%d", m_lPort.load(),
               Tavrix_GetLastError(m_lPort));
    m_nPlayState = 1;
    return true;
}

bool CPlayWnd::Stop() {
    StopAutoTrans();
    EndReconnect();
    if (m_nPlayState == 0 || m_nPlayState == 3)
        return true;
    // A stream's session may be starting play on its own thread right now: it
    // is closed first, so nothing of it runs beside what follows. A stopped
    // stream has no session; Play makes a new one.
    CloseNetSession();
    BumpPlaySerial();

    // The frame index describes the file, not the play: it survives a stop.
    const bool bFileRefCreated = m_bFileRefCreated;
    ResetPlayState();
    if (bFileRefCreated)
        m_bFileRefCreated = true;

    if (m_lPort < 0)
        return false;
    if (!Tavrix_Stop(m_lPort))
        qDebug("Tavrix_Stop() Fail deError=%d", Tavrix_GetLastError(m_lPort));
    {
        // The decode thread may have reported a record between the reset above
        // and its end; a stopped window shows none.
        QMutexLocker lock(&m_mtxShared);
        std::memset(m_stWatermark, 0, sizeof(m_stWatermark));
    }
    update();
    m_nPlayState = 3;
    // Stopped, the display child covers the window again; the next play's
    // first frame shapes it by the aspect mode.
    ApplyDisplayMode();
    return true;
}

void CPlayWnd::ResetPlayState() {
    m_nPlaySpeed = 0;
    m_bFileRefCreated = false;
    m_strSecretKey.clear();
    EndPartZoom();
    m_bBackPlay = false;
    SetDisplayInfo(QString());
    m_nSoundState = -1;
    m_nFrameRate = -1;
    m_nVideoWidth = 0;
    m_nVideoHeight = 0;
    m_nThrowBFrame = 0;
    ResetPictureControls();
    ClearRepeatAB();
    ResetConCap();
    {
        QMutexLocker lock(&m_mtxShared);
        std::memset(m_stWatermark, 0, sizeof(m_stWatermark));
    }
    On_FileDecLowFrameRate(false);
}

bool CPlayWnd::Close() {
    const bool bWasOpening = CancelOpen();
    if (m_lPort < 0) {
        if (!bWasOpening)
            return false;
        // The request held the port and closes it: the window takes a fresh one.
        {
            QMutexLocker lock(&m_mtxShared);
            m_strFilePath.clear();
        }
        m_nPlayState = 0;
        m_nOpenMode = 0;
        int32_t nPort = -1;
        if (!Tavrix_GetPort(&nPort)) {
            qDebug("Tavrix_GetPort() Fail m_nSubWndIndex=%d", m_nSubWndIndex);
            return false;
        }
        m_lPort = nPort;
        return true;
    }
    Stop();
    // A window that never got to play (state 0 or 4) may still hold a session.
    CloseNetSession();
    BumpPlaySerial();
    m_bFileRefCreated = false;
    if (m_nOpenMode == 1 && !Tavrix_CloseFile(m_lPort))
        qDebug("Tavrix_CloseFile() Fail GetLastError()=%d", Tavrix_GetLastError(m_lPort));
    if (m_nOpenMode == 2 && !Tavrix_CloseStream(m_lPort))
        qDebug("Tavrix_CloseStream() Fail GetLastError()=%d", Tavrix_GetLastError(m_lPort));
    {
        QMutexLocker lock(&m_mtxShared);
        m_strFilePath.clear();
    }
    // The group is the port's; a freed port has left it.
    m_bSyncGroup = false;
    if (!Tavrix_FreePort(m_lPort)) {
        qDebug("Tavrix_FreePort() Fail GetLastError()=%d", Tavrix_GetLastError(m_lPort));
        return false;
    }
    // Each item plays on a fresh port, which resets everything the engine held.
    m_lPort = -1;
    ForgetFrameFacts();
    int32_t nPort = -1;
    if (!Tavrix_GetPort(&nPort)) {
        qDebug("Tavrix_GetPort() Fail m_nSubWndIndex=%d", m_nSubWndIndex);
        return false;
    }
    m_lPort = nPort;
    m_nPlayState = 0;
    m_nOpenMode = 0;
    return true;
}

void CPlayWnd::ForgetFrameFacts() {
    // A frame shown between the reset of a stop and the end of its threads may
    // have written these again; the next file's first frame must count as new.
    m_nVideoWidth = 0;
    m_nVideoHeight = 0;
    m_nFrameRate = -1;
}

void CPlayWnd::RefreshPlayEx(int nRegion) {
    if (m_lPort < 0 || (m_nPlayState != 1 && m_nPlayState != 2))
        return;
    Tavrix_RefreshPlayEx(m_lPort, static_cast<uint32_t>(nRegion));
}

// ---- speed, stepping and seeking ------------------------------------------------------

bool CPlayWnd::Fast() {
    if ((m_nPlayState != 1 && m_nPlayState != 2) || m_lPort < 0)
        return false;
    if (m_nPlaySpeed < kMaxSpeedStep) {
        // Paused, only the step moves: Play replays it, since the engine starts
        // each play at normal speed.
        if (m_nPlayState == 1 && !Tavrix_Fast(m_lPort)) {
            qDebug("CPlayWnd::Fast() Tavrix_Fast Fail GetLastError()=%d", Tavrix_GetLastError(m_lPort));
            return false;
        }
        ++m_nPlaySpeed;
        if (m_nPlaySpeed > 0)
            SetThrowBFrame(kThrowBFrameFast);
    } else {
        m_nPlaySpeed = kMaxSpeedStep;
    }
    ShowSpeedText();
    return true;
}

bool CPlayWnd::Slow() {
    if ((m_nPlayState != 1 && m_nPlayState != 2) || m_lPort < 0)
        return false;
    if (m_nPlaySpeed <= kMinSpeedStep) {
        m_nPlaySpeed = kMinSpeedStep;
    } else {
        if (m_nPlayState == 1 && !Tavrix_Slow(m_lPort)) {
            qDebug("CPlayWnd::Slow() Tavrix_Slow Fail GetLastError()=%d", Tavrix_GetLastError(m_lPort));
            return false;
        }
        --m_nPlaySpeed;
        if (m_nPlaySpeed < 1)
            SetThrowBFrame(0);
    }
    ShowSpeedText();
    return true;
}

void CPlayWnd::ShowSpeedText() {
    QString strText;
    if (m_nPlaySpeed > 0) {
        const QString strFormat = LangText(IDS_MainWnd_SpeedUp, "Speed * %d");
        strText = QString::asprintf(strFormat.toUtf8().constData(), 1 << m_nPlaySpeed);
    } else if (m_nPlaySpeed < 0) {
        const QString strFormat = LangText(IDS_MainWnd_SpeedDown, "Speed / %d");
        strText = QString::asprintf(strFormat.toUtf8().constData(), 1 << -m_nPlaySpeed);
    } else {
        strText = LangText(IDS_Global_Play, "Playing");
    }
    SetDisplayInfo(strText);
    // A paused picture is not redrawn by play: show the text now.
    if (m_nPlayState == 2)
        RefreshPlayEx(0);
    On_DelayDisplayInfoTimer(true);
}

bool CPlayWnd::RestoreSpeed() {
    if (m_nPlaySpeed == 0)
        return true;
    bool bResult = true;
    if (m_nPlaySpeed < 0) {
        SetThrowBFrame(0);
        for (int i = 0; i < -m_nPlaySpeed; ++i) {
            if (!Tavrix_Slow(m_lPort)) {
                qDebug("CPlayWnd::Play() Tavrix_Slow Fail GetLastError()=%d", Tavrix_GetLastError(m_lPort));
                bResult = false;
            }
        }
        return bResult;
    }
    SetThrowBFrame(kThrowBFrameFast);
    for (int i = 0; i < m_nPlaySpeed; ++i) {
        if (!Tavrix_Fast(m_lPort)) {
            qDebug("CPlayWnd::Play() Tavrix_Fast Fail GetLastError()=%d", Tavrix_GetLastError(m_lPort));
            bResult = false;
        }
    }
    return bResult;
}

bool CPlayWnd::FrameForward() {
    if (m_bSyncGroup || m_lPort < 0)
        return false;
    if (!Tavrix_OneByOne(m_lPort)) {
        qDebug("CPlayWnd::FrameForward() Tavrix_OneByOne() Fail GetLastError()=%d",
               Tavrix_GetLastError(m_lPort));
        return false;
    }
    m_nPlayState = 2;
    BumpPlaySerial();
    return true;
}

bool CPlayWnd::FrameBackward() {
    if (m_bSyncGroup || m_lPort < 0)
        return false;
    if (!Tavrix_OneByOneBack(m_lPort)) {
        qDebug("CPlayWnd::FrameForward() Tavrix_OneByOneBack() Fail GetLastError()=%d",
               Tavrix_GetLastError(m_lPort));
        return false;
    }
    m_nPlayState = 2;
    BumpPlaySerial();
    return true;
}

bool CPlayWnd::GoToStart() {
    if (m_lPort < 0)
        return false;
    if (!Tavrix_SetCurrentFrameNum(m_lPort, 0)) {
        qDebug("CPlayWnd::GoToStart() Tavrix_SetCurrentFrameNum Fail m_lPort=%d, dwErrorCode=%d",
               m_lPort.load(), Tavrix_GetLastError(m_lPort));
        return false;
    }
    BumpPlaySerial();
    return true;
}

bool CPlayWnd::GoToEnd() {
    if (m_lPort < 0)
        return false;
    const uint nTotal = GetFileTotalFrames();
    // Without a known length there is no last frame to go to.
    if (nTotal == 0 || !Tavrix_SetCurrentFrameNum(m_lPort, nTotal - 1)) {
        qDebug("CPlayWnd::GoToEnd() Tavrix_SetCurrentFrameNum Fail lTotalFrames=%u dwError=%u", nTotal,
               Tavrix_GetLastError(m_lPort));
        return false;
    }
    BumpPlaySerial();
    return true;
}

bool CPlayWnd::SetFramePos(uint nFrame) {
    if (m_lPort < 0)
        return false;
    qDebug() << "Tavrix_SetCurrentFrameNum:" << nFrame;
    if (!Tavrix_SetCurrentFrameNum(m_lPort, nFrame)) {
        qDebug("CPlayWnd::SetFramePos() Tavrix_SetCurrentFrameNum Fail dwErr=%d",
               Tavrix_GetLastError(m_lPort));
        return false;
    }
    BumpPlaySerial();
    return true;
}

bool CPlayWnd::SetTimePos(uint nSeconds) {
    if (m_lPort < 0)
        return false;
    if (!Tavrix_SetPlayedTimeEx(m_lPort, nSeconds * 1000)) {
        qDebug("CPlayWnd::SetTimePos() Fail dwErr=%d", Tavrix_GetLastError(m_lPort));
        return false;
    }
    BumpPlaySerial();
    return true;
}

bool CPlayWnd::SetTimePosMS(uint nMS) {
    if (m_lPort < 0)
        return false;
    if (!Tavrix_SetPlayedTimeEx(m_lPort, nMS)) {
        qDebug() << "Tavrix_SetPlayedTimeEx fails" << Tavrix_GetLastError(m_lPort);
        return false;
    }
    BumpPlaySerial();
    return true;
}

bool CPlayWnd::BackPlay(bool bBack) {
    if (m_lPort < 0 || m_bSyncGroup || !m_bFileRefCreated)
        return false;
    const int nState = m_nPlayState;
    if (nState == 1 || nState == 2) {
        if (bBack && !Tavrix_ReversePlay(m_lPort)) {
            qDebug("CPlayWnd::BackPlay() Tavrix_ReversePlay Fail m_lPort=%d, dwErrorCode=%d", m_lPort.load(),
                   Tavrix_GetLastError(m_lPort));
            return false;
        }
        if (!bBack && !Tavrix_Play(m_lPort, m_hDisplayWnd)) {
            qDebug("CPlayWnd::BackPlay() Tavrix_Play Fail m_lPort=%d, dwErrorCode=%d", m_lPort.load(),
                   Tavrix_GetLastError(m_lPort));
            return false;
        }
        // A paused window stays paused, now facing the new way.
        if (nState == 2 && !Tavrix_Pause(m_lPort, 1))
            qDebug("CPlayWnd::BackPlay() Tavrix_Pause Fail m_lPort=%d, dwErrorCode=%d", m_lPort.load(),
                   Tavrix_GetLastError(m_lPort));
    }
    // Outside play and pause the direction waits for the next Play. The engine
    // restarted at normal speed, so the step follows it.
    SetThrowBFrame(0);
    m_bBackPlay = bBack;
    m_nPlaySpeed = 0;
    m_bRepeatArmed = true;
    BumpPlaySerial();
    return true;
}

bool CPlayWnd::SetSyncGroup(bool bJoin) {
    if (m_lPort < 0)
        return false;
    if (!Tavrix_SetSycGroup(m_lPort, bJoin ? 0 : -1)) {
        if (bJoin)
            qDebug("CPlayWnd::SetSyncGroup() Tavrix_SetSycGroup(m_lPort, 0) Fail GetLastError()=%d",
                   Tavrix_GetLastError(m_lPort));
        else
            qDebug("CPlayWnd::SetSyncGroup() Tavrix_SetSycGroup(m_lPort, -1) Fail GetLastError()=%d",
                   Tavrix_GetLastError(m_lPort));
        return false;
    }
    m_bSyncGroup = bJoin;
    return true;
}

bool CPlayWnd::CheckKeyFramePos(uint nValue, uint nType, TAVRIX_FRAME_POS* pOut) {
    if (m_lPort < 0)
        return false;
    return Tavrix_GetKeyFramePos(m_lPort, nValue, nType, pOut);
}

bool CPlayWnd::CheckNextKeyFramePos(uint nValue, uint nType, TAVRIX_FRAME_POS* pOut) {
    if (m_lPort < 0)
        return false;
    return Tavrix_GetNextKeyFramePos(m_lPort, nValue, nType, pOut);
}

bool CPlayWnd::SetThrowBFrame(int nNum) {
    if (m_lPort < 0 || nNum < 0)
        return false;
    if (!Tavrix_ThrowBFrameNum(m_lPort, static_cast<uint32_t>(nNum))) {
        qDebug("Tavrix_ThrowBFrameNum dwErr=%d", Tavrix_GetLastError(m_lPort));
        return false;
    }
    m_nThrowBFrame = nNum;
    return true;
}

// ---- A-B repeat ---------------------------------------------------------------------

bool CPlayWnd::SetRepeatA(uint nFrame) {
    if (m_lPort < 0 || nFrame >= GetFileTotalFrames())
        return false;
    if ((m_pDlgShow && m_pDlgShow->IsSyncPlay()) || (m_nPlayState != 1 && m_nPlayState != 2))
        return false;
    m_nRepeatAFrame = nFrame;
    m_bRepeatASet = true;
    m_bRepeatArmed = true;
    return true;
}

bool CPlayWnd::SetRepeatB(uint nFrame) {
    if (m_lPort < 0 || nFrame == 0 || nFrame > GetFileTotalFrames())
        return false;
    if ((m_pDlgShow && m_pDlgShow->IsSyncPlay()) || (m_nPlayState != 1 && m_nPlayState != 2))
        return false;
    m_nRepeatBFrame = nFrame;
    // A range needs A before B: without one, or behind B, A is the start.
    if (!m_bRepeatASet || nFrame <= m_nRepeatAFrame)
        m_nRepeatAFrame = 0;
    m_bRepeatASet = true;
    m_bRepeatArmed = true;
    m_bRepeatBSet = true;

    if (!m_pRepeatABTimer) {
        m_pRepeatABTimer = new QTimer(this);
        if (!connect(m_pRepeatABTimer, &QTimer::timeout, this, &CPlayWnd::On_RepeatABTimer))
            return false;
    }
    m_pRepeatABTimer->start(kRepeatABMs);
    return true;
}

bool CPlayWnd::GetRepeatA(bool* pbSet, uint* pnFrame) {
    if (pbSet)
        *pbSet = m_bRepeatASet;
    if (pnFrame)
        *pnFrame = m_nRepeatAFrame;
    return true;
}

bool CPlayWnd::GetRepeatB(bool* pbSet, uint* pnFrame) {
    if (pbSet)
        *pbSet = m_bRepeatBSet;
    if (pnFrame)
        *pnFrame = m_nRepeatBFrame;
    return true;
}

bool CPlayWnd::ClearRepeatAB() {
    m_bRepeatASet = false;
    m_bRepeatBSet = false;
    m_nRepeatAFrame = 0;
    m_nRepeatBFrame = 0;
    if (m_pRepeatABTimer)
        m_pRepeatABTimer->stop();
    return true;
}

bool CPlayWnd::On_RepeatABTimer() {
    // The watchdog catches what the shown frames cannot: a repeat set while the
    // position already lies outside, a pause, or the end of the file.
    return RepeatABCheck(GetCurrentFrameNum());
}

bool CPlayWnd::On_RepeatABFrameOut(uint nFrame) {
    return RepeatABCheck(nFrame);
}

bool CPlayWnd::RepeatABCheck(uint nCur) {
    if (!m_bRepeatASet || !m_bRepeatBSet)
        return false;
    if (m_pDlgShow && m_pDlgShow->IsSyncPlay())
        return false;
    const uint nTotal = GetFileTotalFrames();
    const uint nA = m_nRepeatAFrame;
    const uint nB = m_nRepeatBFrame;
    if (!m_bBackPlay) {
        if (nCur < nA || nCur >= nB || (nTotal > 0 && nCur >= nTotal - 1))
            return SetFramePos(nA);
        return true;
    }
    if (nCur <= nA || nCur > nB) {
        // B may be the frame count itself: the last frame stands for it.
        return SetFramePos((nB == nTotal && nTotal > 0) ? nTotal - 1 : nB);
    }
    return true;
}

bool CPlayWnd::IsRepeatFrameInside(uint nFrame) const {
    const uint nA = m_nRepeatAFrame;
    const uint nB = m_nRepeatBFrame;
    if (!m_bBackPlay)
        return nFrame >= nA && nFrame < nB;
    return nFrame > nA && nFrame <= nB;
}

// ---- sound -------------------------------------------------------------------

bool CPlayWnd::EnableSound(bool bOn) {
    if (m_lPort < 0)
        return false;
    if (bOn) {
        if (!Tavrix_PlaySoundShare(m_lPort))
            return false;
        m_nSoundState = 1;
        return true;
    }
    if (!Tavrix_StopSoundShare(m_lPort))
        return false;
    m_nSoundState = 0;
    return true;
}

bool CPlayWnd::SetVolume(bool bSound, int nVolume, bool bShowInfo) {
    nVolume = std::clamp(nVolume, 0, 200);
    if (m_nPlayState != 1 && m_nPlayState != 2)
        return false;
    if (m_nSoundState == -1 || m_nSoundState != (bSound ? 1 : 0))
        EnableSound(bSound);

    if (bSound) {
        const float fScale = nVolume / 100.0f;
        // The engine's volume ends at full scale; above 100% a software gain
        // adds the rest, and at or below it the gain must be off again.
        const uint16_t wVolume = fScale >= 1.0f ? 65535 : static_cast<uint16_t>(fScale * 65535);
        if (!Tavrix_SetVolume(m_lPort, wVolume)) {
            qDebug("CPlayWnd::SetVolume() Tavrix_SetVolume Fail dwErr=%d", Tavrix_GetLastError(m_lPort));
            return false;
        }
        if (!Tavrix_AdjustWaveAudio(m_lPort, fScale > 1.0f ? nVolume - 100 : 0))
            qDebug("CPlayWnd::SetVolume() Tavrix_AdjustWaveAudio Fail dwErr=%d", Tavrix_GetLastError(m_lPort));
    }

    if (bShowInfo) {
        QString strInfo = QString("%1: %2%").arg(LangText(IDS_Global_SoundVolume, "Volume")).arg(nVolume);
        if (nVolume == 100) {
            const QString strKey = m_pDlgShow ? m_pDlgShow->GetVolumeUpKeyText() : QString();
            strInfo += " " + LangText(IDS_Global_PressHotKeyToIncreaseVolume, "Press %s to increase volume")
                                 .replace("%s", strKey);
        }
        SetDisplayInfo(strInfo);
        if (m_nPlayState == 2)
            RefreshPlayEx(0);
        On_DelayDisplayInfoTimer(true);
    }
    return true;
}

// ---- readers -------------------------------------------------------------------

uint CPlayWnd::GetFileTime() {
    if (m_lPort < 0 || (m_nPlayState != 1 && m_nPlayState != 2) || m_nOpenMode == 2)
        return 0;
    return Tavrix_GetFileTime(m_lPort);
}

uint CPlayWnd::GetPlayedTime() {
    if (m_lPort < 0 || (m_nPlayState != 1 && m_nPlayState != 2) || m_nOpenMode == 2)
        return 0;
    return Tavrix_GetPlayedTime(m_lPort);
}

uint CPlayWnd::GetFileTotalFrames() {
    if (m_lPort < 0 || (m_nPlayState != 1 && m_nPlayState != 2) || m_nOpenMode == 2)
        return 0;
    return Tavrix_GetFileTotalFrames(m_lPort);
}

uint CPlayWnd::GetCurrentFrameNum() {
    if (m_lPort < 0 || (m_nPlayState != 1 && m_nPlayState != 2) || m_nOpenMode == 2)
        return 0;
    return Tavrix_GetCurrentFrameNum(m_lPort);
}

bool CPlayWnd::GetCurGlobalTime(TAVRIX_SYSTEM_TIME* pGlobalTime) {
    if (m_lPort < 0 || !pGlobalTime) {
        qDebug("CPlayWnd::GetCurGlobalTime (m_lPort < 0) || (pGlobalTime == NULL)");
        return false;
    }
    TAVRIX_SYSTEM_TIME stTime = {};
    if (!Tavrix_GetSystemTime(m_lPort, &stTime)) {
        // A recording without a wall clock answers "not supported" at every tick
        // of the play timer: that is its normal state, not a failure to log.
        const uint32_t nErr = Tavrix_GetLastError(m_lPort);
        if (nErr != TAVRIX_ERR_NOT_SUPPORT)
            qDebug("Tavrix_GetSystemTime dwErr=%d", nErr);
        return false;
    }
    *pGlobalTime = stTime;
    return true;
}

bool CPlayWnd::GetImageSize(uint* pnWidth, uint* pnHeight) {
    if (!pnWidth || !pnHeight) {
        qDebug("GetImageSize fail 1");
        return false;
    }
    int32_t nWidth = 0;
    int32_t nHeight = 0;
    if (m_lPort < 0 || !Tavrix_GetPictureSize(m_lPort, &nWidth, &nHeight)) {
        qDebug("GetImageSize fail 2");
        return false;
    }
    *pnWidth = static_cast<uint>(nWidth);
    *pnHeight = static_cast<uint>(nHeight);
    m_nPicWidth = nWidth;
    m_nPicHeight = nHeight;
    return true;
}

bool CPlayWnd::GetWatermarkInfo(void* pOut) {
    if (!pOut)
        return false;
    QMutexLocker lock(&m_mtxShared);
    std::memcpy(pOut, m_stWatermark, sizeof(m_stWatermark));
    return true;
}

QString CPlayWnd::GetDisplayInfo() const {
    QMutexLocker lock(&m_mtxShared);
    return m_strDisplayInfo;
}

void CPlayWnd::SetDisplayInfo(const QString& strText) {
    // The font is chosen here, on the GUI thread, so the render thread never
    // asks the language parser.
    const QString strFace =
        (CLanguageParser::CurrentLanguageType() == 0) ? QString::fromUtf8("SimSun") : QString("Arial");
    QMutexLocker lock(&m_mtxShared);
    m_strDisplayInfo = strText;
    m_strInfoFontFace = strFace;
}

// ---- callback switches -----------------------------------------------------------

bool CPlayWnd::SetDisplayCallBack(bool bEnable) {
    if (m_lPort < 0)
        return false;
    return Tavrix_SetDisplayCallBackEx(m_lPort, bEnable ? DisplayCallBack : nullptr,
                                       bEnable ? this : nullptr);
}

bool CPlayWnd::SetDrawCallBack(bool bEnable) {
    if (m_lPort < 0)
        return false;
    const bool bMain =
        Tavrix_RegisterDrawFunEx(m_lPort, 0, bEnable ? DrawCallBack0 : nullptr, bEnable ? this : nullptr);
    const bool bNav =
        Tavrix_RegisterDrawFunEx(m_lPort, 1, bEnable ? DrawCallBack1 : nullptr, bEnable ? this : nullptr);
    return bMain && bNav;
}

bool CPlayWnd::SetFileRefCallBack(bool bEnable) {
    if (m_lPort < 0)
        return false;
    return Tavrix_SetFileRefCallBack(m_lPort, bEnable ? FileRefCallBack : nullptr, bEnable ? this : nullptr);
}

bool CPlayWnd::SetFileEndCallback(bool bEnable) {
    if (m_lPort < 0)
        return false;
    return Tavrix_SetFileEndCallback(m_lPort, bEnable ? FileEndCallback : nullptr, bEnable ? this : nullptr);
}

bool CPlayWnd::SetWatermarkCallBack(bool bEnable) {
    if (m_lPort < 0)
        return false;
    return Tavrix_SetCheckWatermarkCallBack(m_lPort, bEnable ? WatermarkCallBack : nullptr,
                                            bEnable ? this : nullptr);
}

bool CPlayWnd::SetDecCallBack(bool bEnable) {
    if (m_lPort < 0)
        return false;
    return Tavrix_SetDecCallBackExMend(m_lPort, bEnable ? DecCallBack : nullptr, nullptr, 0,
                                       bEnable ? this : nullptr);
}

bool CPlayWnd::SetEncTypeChangeCallBack(bool bEnable) {
    if (m_lPort < 0)
        return false;
    return Tavrix_SetEncTypeChangeCallBack(m_lPort, bEnable ? EncTypeChangeCallBack : nullptr,
                                           bEnable ? this : nullptr);
}

bool CPlayWnd::SetRunTimeInfoCallBack(bool bEnable) {
    if (m_lPort < 0)
        return false;
    const bool bDemux = Tavrix_SetRunTimeInfoCallBackEx(m_lPort, 2, bEnable ? RunTimeInfoCallBack : nullptr,
                                                        bEnable ? this : nullptr);
    const bool bDecoder = Tavrix_SetRunTimeInfoCallBackEx(m_lPort, 1, bEnable ? RunTimeInfoCallBack : nullptr,
                                                          bEnable ? this : nullptr);
    return bDemux && bDecoder;
}

// ---- engine callbacks (engine threads) ------------------------------------------------

void CPlayWnd::PostPlayEvent(int nEvent) {
    switch (nEvent) {
    case kEventFileEnd:
        // With an A-B repeat the repeat takes the position back instead.
        if (!(m_bRepeatASet && m_bRepeatBSet))
            emit Sig_FileEnd(m_nSubWndIndex);
        break;
    case kEventSizeChange:
        emit Sig_WidthHeightChange();
        break;
    default:
        break;
    }
}

void CPlayWnd::DisplayCallBack(TAVRIX_DISPLAY_INFO* pstDisplayInfo) {
    if (!pstDisplayInfo || !pstDisplayInfo->nUser)
        return;
    CPlayWnd* pWnd = WndOf(pstDisplayInfo->nUser);
    // A port the window has let go of may show a last frame while it closes.
    if (pstDisplayInfo->nPort != pWnd->m_lPort)
        return;
    if (pstDisplayInfo->nWidth != pWnd->m_nVideoWidth || pstDisplayInfo->nHeight != pWnd->m_nVideoHeight) {
        pWnd->m_nVideoWidth = pstDisplayInfo->nWidth;
        pWnd->m_nVideoHeight = pstDisplayInfo->nHeight;
        pWnd->PostPlayEvent(kEventSizeChange);
    }
    // A-B repeat to the frame: the first shown frame past the range asks the GUI
    // thread for the jump back (the engine must not be commanded from here).
    if (pWnd->m_bRepeatASet && pWnd->m_bRepeatBSet) {
        const uint nFrame = pstDisplayInfo->nFrameNum;
        if (pWnd->IsRepeatFrameInside(nFrame))
            pWnd->m_bRepeatArmed = true;
        else if (pWnd->m_bRepeatArmed.exchange(false))
            emit pWnd->Sig_RepeatABFrameOut(nFrame);
    }
    if (pWnd->m_bConCapping)
        pWnd->PostConCapData(pstDisplayInfo);
}

void CPlayWnd::DrawCallBack0(int32_t nPort, void* hDc, void* pUser) {
    Q_UNUSED(nPort);
    if (!pUser)
        return;
    CPlayWnd* pWnd = WndOf(pUser);
    pWnd->DrawInfoText(static_cast<QPainter*>(hDc));
    // Fisheye material does not zoom.
    if (!pWnd->m_bSRFile)
        pWnd->DrawZoomRect0(static_cast<QPainter*>(hDc));
}

void CPlayWnd::DrawCallBack1(int32_t nPort, void* hDc, void* pUser) {
    // Region 1 is the partial zoom navigator: the region on view is marked there.
    Q_UNUSED(nPort);
    if (!pUser || WndOf(pUser)->m_bSRFile)
        return;
    WndOf(pUser)->DrawZoomRect1(static_cast<QPainter*>(hDc));
}

void CPlayWnd::DrawInfoText(QPainter* pPainter) {
    if (!pPainter)
        return;
    QString strText;
    QString strFace;
    {
        QMutexLocker lock(&m_mtxShared);
        strText = m_strDisplayInfo;
        strFace = m_strInfoFontFace;
    }
    if (strText.isEmpty())
        return;

    QRect rcText = pPainter->window();
    rcText.setLeft(rcText.left() + 5);
    rcText.setTop(rcText.top() + 5);
    QFont font(strFace);
    font.setPixelSize(14);
    font.setWeight(QFont::Normal);
    pPainter->save();
    pPainter->setFont(font);
    pPainter->setPen(QColor(255, 255, 0));
    const int nFlags = Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap;
    // A snapshot's path is clickable: the press handler needs the height of
    // the wrapped lines as drawn.
    m_nInfoTextHeight = m_bShowCapPath ? pPainter->boundingRect(rcText, nFlags, strText).height() : 0;
    pPainter->drawText(rcText, nFlags, strText);
    pPainter->restore();
}

void CPlayWnd::FileRefCallBack(int32_t nPort, void* pUser) {
    if (!pUser)
        return;
    // The index may finish while the file is still being opened on a worker,
    // before the window holds the port: the GUI thread sorts it out.
    CPlayWnd* pWnd = WndOf(pUser);
    QMetaObject::invokeMethod(
        pWnd, [pWnd, nPort] { pWnd->On_FileRefPosted(nPort); }, Qt::QueuedConnection);
}

void CPlayWnd::On_FileRefPosted(int32_t nPort) {
    if (nPort == m_lPort) {
        MarkFileRefCreated();
        return;
    }
    if (m_pOpenJob && m_pOpenJob->Port() == nPort)
        m_pOpenJob->bFileRefReady = true; // taken over with the port
}

void CPlayWnd::MarkFileRefCreated() {
    if (!m_bFileRefCreated.exchange(true))
        emit Sig_FileRefCreated(m_nSubWndIndex);
}

void CPlayWnd::FileEndCallback(int32_t nPort, void* pUser) {
    if (!pUser)
        return;
    CPlayWnd* pWnd = WndOf(pUser);
    if (nPort != pWnd->m_lPort)
        return;
    // The end travels with the number of the play it belongs to; by the time it
    // arrives the window may have moved on.
    const quint64 nSerial = pWnd->m_nPlaySerial;
    QMetaObject::invokeMethod(
        pWnd, [pWnd, nSerial] { pWnd->On_FileEndPosted(nSerial); }, Qt::QueuedConnection);
}

void CPlayWnd::On_FileEndPosted(quint64 nPlaySerial) {
    // Another file, play, stop or jump since the end was met; or already told.
    if (nPlaySerial != m_nPlaySerial || nPlaySerial == m_nEndReportedSerial)
        return;
    // A file that ends while paused is caught by Play.
    if (m_nPlayState != 1)
        return;
    // With an A-B repeat the repeat takes the position back instead.
    if (m_bRepeatASet && m_bRepeatBSet)
        return;
    m_nEndReportedSerial = nPlaySerial;
    PostPlayEvent(kEventFileEnd);
}

void CPlayWnd::WatermarkCallBack(int32_t nPort, TAVRIX_WATERMARK_INFO* pInfo, void* pUser) {
    if (!pUser || !pInfo || !pInfo->pDataBuf || nPort != WndOf(pUser)->m_lPort)
        return;
    // Two 32-bit values, 6 bytes, 4 single bytes and 3 bytes, stored in that
    // order at the start of the record; the rest stays as it was.
    const size_t nBytes = 4 + 4 + 6 + 4 + 3;
    if (pInfo->nSize > 0 && static_cast<size_t>(pInfo->nSize) < nBytes)
        return;
    CPlayWnd* pWnd = WndOf(pUser);
    QMutexLocker lock(&pWnd->m_mtxShared);
    std::memcpy(pWnd->m_stWatermark, pInfo->pDataBuf, nBytes);
}

void CPlayWnd::DecCallBack(int32_t nPort, char* pBuf, int32_t nSize, TAVRIX_FRAME_INFO* pFrameInfo,
                           void* pUser) {
    if (!pUser || !pFrameInfo || nPort != WndOf(pUser)->m_lPort)
        return;
    const int nType = pFrameInfo->nType;
    if (nType != 1 && nType != 3 && nType != 7)
        return;
    CPlayWnd* pWnd = WndOf(pUser);
    if (pWnd->m_nFrameRate != pFrameInfo->nFrameRate) {
        pWnd->m_nFrameRate = pFrameInfo->nFrameRate;
        emit pWnd->Sig_FileDecLowFrameRate(pFrameInfo->nFrameRate < 2);
    }
    pWnd->SaveStreamThumb(pBuf, nSize, pFrameInfo);
}

void CPlayWnd::EncTypeChangeCallBack(int32_t nPort, void* pUser) {
    // Registered so the engine has a receiver; encryption is found by the
    // thumbnail thread, not here.
    Q_UNUSED(nPort);
    Q_UNUSED(pUser);
}

void CPlayWnd::RunTimeInfoCallBack(int32_t nPort, TAVRIX_RUNTIME_INFO* pInfo, void* pUser) {
    if (!pInfo)
        return;
    TAVRIX_RUNTIME_INFO stInfo;
    std::memcpy(&stInfo, pInfo, sizeof(stInfo));
    if (!pUser)
        return;
    CPlayWnd* pWnd = WndOf(pUser);
    // An error of a port being closed would stop the file that followed it.
    if (nPort != pWnd->m_lPort)
        return;

    const char* szKey = nullptr;
    const char* szDefault = nullptr;
    switch (stInfo.nErrorCode) {
    case kRtDecrypt:
        szKey = IDS_MYERROR;
        szDefault = "Password error OR video error";
        break;
    case kRtDecodeEngine:
        szKey = IDS_NetStream_HardDecodeFailed;
        szDefault = "DecodeEngine error";
        break;
    case kRtDemux:
    case kRtDecode:
    case kRtRender:
        szKey = IDS_MainWnd_PlayFail;
        szDefault = "Playing failed.";
        break;
    default:
        return;
    }
    // Both modules may report at once: one report per play.
    if (pWnd->m_bErrorReported.exchange(true))
        return;
    QString strPath;
    {
        QMutexLocker lock(&pWnd->m_mtxShared);
        strPath = pWnd->m_strFilePath;
    }
    emit pWnd->Sig_ErrorMsg(LangText(szKey, szDefault));
    emit pWnd->Sig_ErrorToStopPlay(strPath, stInfo.nErrorCode, pWnd->m_bSRFile);
}

// ---- GUI-thread slots ---------------------------------------------------------------------

bool CPlayWnd::On_WidthHeightChange() {
    ApplyDisplayMode();
    // A region of the old frame size means nothing in the new one.
    if (m_bPartZoom)
        On_PartZoomReset();
    return true;
}

void CPlayWnd::ApplyDisplayMode() {
    // A resize or a new frame size lays the picture area out again by the
    // aspect mode; a size percent mode does not survive it.
    SetImageScaleMode(m_nDisplayMode);
}

bool CPlayWnd::On_DelayDisplayInfoTimer(bool bEnable) {
    KillTimerField(m_nDisplayInfoTimer);
    if (!bEnable)
        return true;
    m_nDisplayInfoTimer = startTimer(kDisplayInfoMs);
    return m_nDisplayInfoTimer != 0;
}

bool CPlayWnd::On_FileDecLowFrameRate(bool bIsLowFrameRate) {
    qDebug() << "CPlayWnd::On_FileDecLowFrameRate() " << bIsLowFrameRate;
    KillTimerField(m_nLowRateTimer);
    // At 0 or 1 frame per second the engine shows too rarely to keep the text
    // and frames fresh; repaint from here.
    if (bIsLowFrameRate)
        m_nLowRateTimer = startTimer(kLowRateRefreshMs);
    return true;
}

void CPlayWnd::ErrorMsgBox(QString strMsg) {
    NonModalMessageBox::MsgBox(MainDlg(), "ERROR", strMsg);
}

void CPlayWnd::KillTimerField(int& nTimerId) {
    if (nTimerId != 0) {
        killTimer(nTimerId);
        nTimerId = 0;
    }
}

// ---- events -------------------------------------------------------------------------

void CPlayWnd::timerEvent(QTimerEvent* ev) {
    const int nId = ev->timerId();
    if (nId == 0)
        return;
    if (nId == m_nDisplayInfoTimer) {
        KillTimerField(m_nDisplayInfoTimer);
        SetDisplayInfo(QString());
        ClearCapPath();
        if (m_nPlayState == 2)
            RefreshPlayEx(0);
    } else if (nId == m_nRefreshTimer) {
        KillTimerField(m_nRefreshTimer);
        RefreshPlayEx(0);
    } else if (nId == m_nLowRateTimer) {
        RefreshPlayEx(0);
    } else if (nId == m_nNetTimeoutTimer) {
        KillTimerField(m_nNetTimeoutTimer);
        emit Sig_NetStreamDisconnect();
    } else if (nId == m_nReconnectTimer) {
        On_ReconnectTick();
    } else if (nId == m_nZoomWndHideTimer) {
        KillTimerField(m_nZoomWndHideTimer);
        if (m_pPartZoomWnd)
            m_pPartZoomWnd->hide();
    } else if (nId == m_nZoomRefreshTimer) {
        // Play redraws region 1 with each frame; a paused picture needs this.
        if (m_nPlayState == 2)
            RefreshPlayEx(1);
    }
}

void CPlayWnd::mousePressEvent(QMouseEvent* ev) {
    // A click on the snapshot's path line opens its folder.
    if (CapPathClicked(ev))
        return;
    emit Sig_LButtonClickPlayWnd(m_nSubWndIndex);
    SRMousePress(ev);
    ZoomMousePress(ev);
    emit Sig_MousePressEvent(ev);
}

void CPlayWnd::mouseDoubleClickEvent(QMouseEvent* ev) {
    if (ev->button() != Qt::LeftButton)
        return;
    // The navigator goes at once, before the stage acts on the double click.
    if (m_pPartZoomWnd && m_pPartZoomWnd->isVisible())
        m_pPartZoomWnd->hide();
    emit Sig_DbClickPlayWnd(m_nSubWndIndex);
}

void CPlayWnd::mouseMoveEvent(QMouseEvent* ev) {
    SRMouseMove(ev);
    ZoomMouseMove(ev);
    emit Sig_MouseMoveEvent(ev);
}

void CPlayWnd::mouseReleaseEvent(QMouseEvent* ev) {
    SRMouseRelease(ev);
    if (!ZoomMouseRelease(ev))
        QWidget::mouseReleaseEvent(ev);
}

void CPlayWnd::wheelEvent(QWheelEvent* ev) {
    if (SRWheel(ev))
        return;
    if (!ZoomWheel(ev))
        QWidget::wheelEvent(ev);
}

void CPlayWnd::enterEvent(QEnterEvent* ev) {
    if (m_bPartZoom)
        SetZoomCursor(true);
    QWidget::enterEvent(ev);
}

void CPlayWnd::leaveEvent(QEvent* ev) {
    if (m_bPartZoom)
        SetZoomCursor(false);
    QWidget::leaveEvent(ev);
}

void CPlayWnd::paintEvent(QPaintEvent* ev) {
    Q_UNUSED(ev);
    QStyleOption opt;
    opt.initFrom(this);
    QPainter painter(this);
    style()->drawPrimitive(QStyle::PE_Widget, &opt, &painter, this);
    if (m_nDisplayMode != 0 || m_nPlayState == 3)
        painter.fillRect(rect(), m_clrBackground);
    if (m_nPlayState == 1 || m_nPlayState == 2)
        RefreshPlayEx(0);
}

void CPlayWnd::resizeEvent(QResizeEvent* ev) {
    QWidget::resizeEvent(ev);
    ApplyDisplayMode();
    KillTimerField(m_nRefreshTimer);
    m_nRefreshTimer = startTimer(kRefreshMs);
}

void CPlayWnd::SkinChanged() {
    const QString strQss = SkinManager::GetQssResPath(kSkinResPlayWnd);
    if (!strQss.isEmpty())
        setStyleSheet(SkinManager::ReadQssFile(strQss));
    const QColor clr = SkinManager::GetResColor(kSkinResPlayWnd, 0);
    if (clr.isValid())
        m_clrBackground = clr;
    m_strCursorPath = SkinManager::GetOtherResPath(kSkinResPlayWnd, 1);
    const QColor clrZoom = SkinManager::GetResColor(kSkinResPlayWnd, 2);
    if (clrZoom.isValid())
        m_clrZoomRect = clrZoom;
    if (m_bPartZoom)
        SetZoomCursor(true);
}
