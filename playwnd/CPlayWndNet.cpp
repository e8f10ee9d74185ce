// CPlayWnd: the network stream session. One session of the network library
// feeds the window's port: its connect runs on a worker (it may wait up to the
// session's time-out), its blocks and messages arrive on the session's own
// thread, and everything that belongs to the GUI thread is posted there with
// the session's number, so that news of a closed session is dropped.

#include "CPlayWnd.h"

#include <QCoreApplication>
#include <QDebug>
#include <QElapsedTimer>
#include <QLabel>
#include <QMetaObject>
#include <QMutexLocker>
#include <QThread>
#include <QThreadPool>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <mutex>

#include "CDlgShow.h"
#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "LanguageKeys.h"
#include "NonModalMessageBox.h"
#include "NorvantaDS.h"
#include "Orvel.h"

// Shared by a window and the workers that connect its sessions: a worker posts
// its result only while the window is there.
struct NetOpenLink {
    std::mutex mtx;
    CPlayWnd* pWnd = nullptr; // guarded by mtx; null once the window is going
};

namespace {

const int kNetTimeoutMs = 5000; // from the header to the first data block
const int kReconnectMs = 2000;
const int kMediaHeaderBytes = 40;
// Source buffers of the engine's stream, in bytes.
const uint32_t kStreamBufHeader = 6144000;
const uint32_t kStreamBufMediaInfo = 18432000;
// Decoded pictures that may wait for display.
const uint32_t kDisplayBufHeader = 6;
const uint32_t kDisplayBufMediaInfo = 15;
// Stream thumbnail, as the playlist shows it.
const int kThumbWidth = 96;
const int kThumbHeight = 64;
const int kThumbYuvBytes = kThumbWidth * kThumbHeight * 2;
const int kThumbBmpBytes = kThumbWidth * kThumbHeight * 5;
// How long a close waits for a stream open under way on the session thread,
// and how often it serves the GUI thread's share meanwhile.
const qint64 kVariantWaitMs = 10000;
const int kVariantPollMs = 5;
// A refused block is logged once, then once every this many.
const uint kRefusedLogEvery = 100;

// Connects wait for the network, not for the processor: one worker each, so
// sixteen windows connect side by side. A close aborts a connect at once, so
// workers do not pile up.
QThreadPool& NetOpenPool() {
    static QThreadPool s_pool;
    static const bool s_bSetUp = [] {
        s_pool.setMaxThreadCount(64);
        s_pool.setObjectName(QStringLiteral("NetOpen"));
        return true;
    }();
    Q_UNUSED(s_bSetUp);
    return s_pool;
}

QString NetText(const char* szKey, const char* szDefault) {
    QString strText;
    CLanguageParser::FindString(szKey, strText, szDefault);
    return strText;
}

uint16_t Get16(const char* pInfo, int nLen, int nOffset) {
    if (!pInfo || nOffset + 2 > nLen)
        return 0;
    const auto* p = reinterpret_cast<const unsigned char*>(pInfo) + nOffset;
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

void Put16(char* pOut, uint16_t nValue) {
    pOut[0] = static_cast<char>(nValue & 0xff);
    pOut[1] = static_cast<char>(nValue >> 8);
}

uint16_t PassSystemFormat(uint16_t nFormat) {
    return (nFormat == 2 || nFormat == 3 || nFormat == 4) ? nFormat : 0;
}

uint16_t PassCodec(uint16_t nCodec) {
    return (nCodec == 0x0100 || nCodec == 0x2001 || nCodec == 0x7110 || nCodec == 0x7111) ? nCodec : 0;
}

} // namespace

// ---- life of the session (GUI thread) -----------------------------------------------

void CPlayWnd::AttachNetOpenLink() {
    m_pNetOpenLink = std::make_shared<NetOpenLink>();
    m_pNetOpenLink->pWnd = this;
}

void CPlayWnd::DetachNetOpenLink() {
    if (!m_pNetOpenLink)
        return;
    std::lock_guard<std::mutex> lock(m_pNetOpenLink->mtx);
    m_pNetOpenLink->pWnd = nullptr;
}

void CPlayWnd::RegisterStreamCallbacks(int32_t nPort) {
    Tavrix_SetDisplayCallBackEx(nPort, DisplayCallBack, this);
    Tavrix_RegisterDrawFunEx(nPort, 0, DrawCallBack0, this);
    Tavrix_RegisterDrawFunEx(nPort, 1, DrawCallBack1, this);
    Tavrix_SetCheckWatermarkCallBack(nPort, WatermarkCallBack, this);
    Tavrix_SetDecCallBackExMend(nPort, DecCallBack, nullptr, 0, this);
    Tavrix_SetEncTypeChangeCallBack(nPort, EncTypeChangeCallBack, this);
    // A stream has no frame index and no end of file.
    Tavrix_SetFileRefCallBack(nPort, nullptr, nullptr);
    Tavrix_SetFileEndCallback(nPort, nullptr, nullptr);
}

bool CPlayWnd::OpenStream(QString strUrl, int nTransmitMode, int nPort, bool bHardDecode) {
    if (!GetPortOrReport())
        return false;
    const int32_t nPlayPort = m_lPort;
    CPlayHelper::IsSRFile(strUrl, &m_bSRFile);
    m_nDecodeEngine = bHardDecode ? 1 : 0;
    RegisterStreamCallbacks(nPlayPort);
    if (!Tavrix_SetStreamOpenMode(nPlayPort, TAVRIX_STREAM_REALTIME)) {
        qDebug("Tavrix_SetStreamOpenMode() STREAME_REALTIME Fail GetLastError()=%d",
               Tavrix_GetLastError(nPlayPort));
        Tavrix_CloseStream(nPlayPort);
        return false;
    }
    Tavrix_SkipErrorData(nPlayPort, false);

    // What the session's thread reads is in place before the session starts:
    // its first header may come before this call has returned.
    {
        QMutexLocker lock(&m_mtxShared);
        m_strFilePath = strUrl;
    }
    m_nTransmitMode = nTransmitMode;
    m_nNetPort = nPort;
    m_bThumbSent = false;
    m_nNetRefused = 0;
    BumpPlaySerial();
    ForgetFrameFacts();
    m_nPlayState = 4;
    m_nOpenMode = 2;
    if (!OpenNetSession(strUrl, nTransmitMode, nPort)) {
        m_nPlayState = 0;
        m_nOpenMode = 0;
        return false;
    }
    return true;
}

bool CPlayWnd::OpenNetSession(QString strUrl, int nTransmitMode, int nPort) {
    if (m_lNetSession >= 0)
        CloseNetSession();
    // The session library takes URLs as UTF-8.
    const QByteArray baUrl = strUrl.toUtf8();
    const int32_t nSession = Orvel_Create(baUrl.constData(), 0);
    if (nSession < 0) {
        qDebug() << "CPlayWnd::OpenNetSession() Orvel_Create Fail" << strUrl;
        // While reconnecting the window says nothing; the next try follows.
        if (!m_bReconnecting)
            ShowNetMessage(IDS_NetStream_CreateConnectFail, "Create Conversation Fail!");
        return false;
    }
    Orvel_SetTransmitMode(nSession, nTransmitMode, nPort);
    Orvel_SetMsgCallBack(nSession, &CPlayWnd::NetMsgCallBack, this);
    m_bStreamOpened = false;
    m_bNetTimeoutArmed = false;
    m_lNetSession = nSession;
    const quint64 nSerial = ++m_nNetSerial;
    StartNetOpen(nSession, nSerial);
    return true;
}

void CPlayWnd::StartNetOpen(int32_t nSession, quint64 nSerial) {
    std::shared_ptr<NetOpenLink> pLink = m_pNetOpenLink;
    void* pUser = this;
    NetOpenPool().start([pLink, nSession, nSerial, pUser] {
        // Blocks follow on the session's thread as soon as this returns 0, before
        // the window has heard of it. A close aborts the wait.
        const int32_t nResult = Orvel_Open(nSession, &CPlayWnd::NetDataCallBack, pUser);
        std::lock_guard<std::mutex> lock(pLink->mtx);
        CPlayWnd* pWnd = pLink->pWnd;
        if (!pWnd)
            return;
        // Posted under the lock: the window cannot go between the test and the post,
        // and a post to a window that goes later is dropped with it.
        QMetaObject::invokeMethod(
            pWnd, [pWnd, nSerial, nResult] { pWnd->On_NetOpenDone(nSerial, nResult); }, Qt::QueuedConnection);
    });
}

void CPlayWnd::On_NetOpenDone(quint64 nSerial, int32_t nResult) {
    // A session closed or replaced meanwhile: its end is not this window's news.
    if (nSerial != m_nNetSerial || m_lNetSession < 0)
        return;
    if (nResult == ORVEL_OK)
        return;
    qDebug("CPlayWnd::OpenNetSession() Orvel_Open Fail ret=0x%08x m_nSubWndIndex=%d", uint32_t(nResult),
           m_nSubWndIndex);
    CloseNetSession();
    if (m_bReconnectLostStreams && CanReconnect()) {
        BeginReconnect();
        return;
    }
    // The window closes as for a lost stream; the row stays.
    Close();
    emit Sig_UpdateCtrlStatus();
    ShowNetMessage(IDS_NetStream_OpenConnectFail, "Open Conversation Fail!");
}

void CPlayWnd::WaitNetVariant() {
    QCoreApplication* pApp = QCoreApplication::instance();
    QElapsedTimer timer;
    timer.start();
    std::unique_lock<std::mutex> lock(m_mtxNetGate);
    while (m_bNetVariantRunning) {
        if (timer.elapsed() > kVariantWaitMs) {
            qDebug("CPlayWnd::CloseNetSession() stream open still under way m_nSubWndIndex=%d",
                   m_nSubWndIndex);
            return;
        }
        m_cvNetGate.wait_for(lock, std::chrono::milliseconds(kVariantPollMs));
        if (!m_bNetVariantRunning || !pApp)
            continue;
        // What the opening waits for on this thread: calls posted to the
        // application object, served here outside the gate's lock.
        lock.unlock();
        QCoreApplication::sendPostedEvents(pApp, QEvent::MetaCall);
        lock.lock();
    }
}

bool CPlayWnd::CloseNetSession() {
    const int32_t nSession = m_lNetSession;
    if (nSession < 0)
        return true;
    {
        std::lock_guard<std::mutex> lock(m_mtxNetGate);
        m_bNetClosing = true;
    }
    WaitNetVariant();
    // Close waits for a block being handed over and aborts a connect under way;
    // after it no callback of the session runs.
    Orvel_Close(nSession);
    Orvel_Destroy(nSession);
    m_lNetSession = -1;
    m_bStreamOpened = false;
    // What the closed session posted and has not arrived yet is stale now.
    ++m_nNetSerial;
    m_bNetTimeoutArmed = false;
    KillTimerField(m_nNetTimeoutTimer);
    {
        std::lock_guard<std::mutex> lock(m_mtxNetGate);
        m_bNetClosing = false;
    }
    return true;
}

void CPlayWnd::ShowNetMessage(const char* szKey, const char* szDefault) {
    if (!m_pDlgShow)
        return;
    NonModalMessageBox::MsgBox(MainDlg(), NetText(IDS_Global_Information, "Information"),
                               NetText(szKey, szDefault));
}

// ---- blocks and messages (session thread) ------------------------------------------

void CPlayWnd::NetDataCallBack(int32_t nSession, int32_t nDataType, char* pBuf, int32_t nLen, void* pUser) {
    Q_UNUSED(nSession);
    if (!pUser)
        return;
    static_cast<CPlayWnd*>(pUser)->InputNetStreamData(nDataType, pBuf, nLen);
}

void CPlayWnd::NetMsgCallBack(int32_t nSession, int32_t nMsgType, char* pContent, int32_t nLen, void* pUser) {
    Q_UNUSED(nSession);
    Q_UNUSED(nLen);
    if (!pUser)
        return;
    static_cast<CPlayWnd*>(pUser)->NetMsgReceived(nMsgType, pContent);
}

bool CPlayWnd::InputNetStreamData(int nDataType, char* pBuf, int nLen) {
    switch (nDataType) {
    case ORVEL_DATA_HEADER:
    case ORVEL_DATA_MEDIAINFO:
    case ORVEL_DATA_MEDIAHEADER:
        if (nDataType == ORVEL_DATA_MEDIAHEADER && m_lPort < 0)
            return false;
        // The first header that opens the stream counts; a failed one waits for the next.
        if (!m_bStreamOpened && OpenStreamVariant(nDataType, pBuf, nLen))
            m_bStreamOpened = true;
        return true;
    case ORVEL_DATA_VIDEO:
    case ORVEL_DATA_AUDIO:
    case ORVEL_DATA_MULTI:
        break;
    default:
        return true;
    }
    const int32_t nPort = m_lPort;
    if (nLen < 0 || !Tavrix_InputData(nPort, pBuf, static_cast<uint32_t>(nLen))) {
        // The block is lost; nothing retries it. A full buffer refuses many in a row.
        const uint nRefused = ++m_nNetRefused;
        if (nRefused == 1 || nRefused % kRefusedLogEvery == 0) {
            const char* szKind = nDataType == ORVEL_DATA_VIDEO   ? "videoData"
                                 : nDataType == ORVEL_DATA_AUDIO ? "audioData"
                                                                 : "multiData";
            qDebug(
                "CPlayWnd::InputNetStreamData() Tavrix_InputData %s Fail GetLastError()=%d m_nSubWndIndex=%d "
                "(%u refused)",
                szKind, Tavrix_GetLastError(nPort), m_nSubWndIndex, nRefused);
        }
        return false;
    }
    // The first block in ends the wait for data; later ones post nothing.
    if (m_bNetTimeoutArmed.exchange(false))
        PostNetTimeout(false);
    return true;
}

void CPlayWnd::BuildMediaHeader(const char* pInfo, int nLen, char (&szHeader)[kMediaHeaderBytes]) {
    std::memset(szHeader, 0, sizeof(szHeader));
    std::memcpy(szHeader, "QVDM", 4);
    Put16(szHeader + 4, 0x0101);
    Put16(szHeader + 8, PassSystemFormat(Get16(pInfo, nLen, 0)));
    Put16(szHeader + 10, PassCodec(Get16(pInfo, nLen, 2)));
    Put16(szHeader + 12, PassCodec(Get16(pInfo, nLen, 4)));
    szHeader[14] = 1;
}

bool CPlayWnd::OpenStreamVariant(int nDataType, char* pBuf, int nLen) {
    {
        std::lock_guard<std::mutex> lock(m_mtxNetGate);
        // The session is being closed: its stream is not worth opening.
        if (m_bNetClosing)
            return false;
        m_bNetVariantRunning = true;
    }
    const bool bOpened = RunStreamVariant(nDataType, pBuf, nLen);
    {
        std::lock_guard<std::mutex> lock(m_mtxNetGate);
        m_bNetVariantRunning = false;
    }
    m_cvNetGate.notify_all();
    return bOpened;
}

bool CPlayWnd::RunStreamVariant(int nDataType, char* pBuf, int nLen) {
    const int32_t nPort = m_lPort;
    if (nPort < 0)
        return false;
    switch (nDataType) {
    case ORVEL_DATA_HEADER: {
        TAVRIX_STREAM_HEADER stRecord{1, nLen, pBuf};
        if (!Tavrix_OpenStreamAdvanced(nPort, 1, &stRecord, kStreamBufHeader)) {
            qDebug("CPlayWnd::InputNetStreamData() Tavrix_OpenStreamAdvanced Fail GetLastError()=%d",
                   Tavrix_GetLastError(nPort));
            return false;
        }
        break;
    }
    case ORVEL_DATA_MEDIAHEADER:
        if (nLen < kMediaHeaderBytes ||
            !Tavrix_OpenStream(nPort, pBuf, kMediaHeaderBytes, kStreamBufHeader)) {
            qDebug("CPlayWnd::InputNetStreamData() ORVEL_DATA_MEDIAINFO Tavrix_OpenStream Fail "
                   "GetLastError()=%d",
                   Tavrix_GetLastError(nPort));
            return false;
        }
        if (!Tavrix_SetDisplayBuf(nPort, kDisplayBufHeader)) {
            qDebug("CPlayWnd::InputNetStreamData() ORVEL_DATA_MEDIAINFO Tavrix_SetDisplayBuf Fail "
                   "GetLastError()=%d",
                   Tavrix_GetLastError(nPort));
            return false;
        }
        break;
    case ORVEL_DATA_MEDIAINFO: {
        char szHeader[kMediaHeaderBytes];
        BuildMediaHeader(pBuf, nLen, szHeader);
        if (!Tavrix_OpenStream(nPort, szHeader, kMediaHeaderBytes, kStreamBufMediaInfo)) {
            qDebug("CPlayWnd::InputNetStreamData() ORVEL_DATA_MEDIAINFO Tavrix_OpenStream Fail "
                   "GetLastError()=%d",
                   Tavrix_GetLastError(nPort));
            return false;
        }
        if (!Tavrix_SetDisplayBuf(nPort, kDisplayBufMediaInfo)) {
            qDebug("CPlayWnd::InputNetStreamData() ORVEL_DATA_MEDIAINFO Tavrix_SetDisplayBuf Fail "
                   "GetLastError()=%d",
                   Tavrix_GetLastError(nPort));
            return false;
        }
        break;
    }
    default:
        return false;
    }
    ApplyVIEOnOpen(nPort);
    Tavrix_SkipErrorData(nPort, false);
    // The window is already in state 1 (the stage played it before any data):
    // only a forced play starts the stream.
    Play(true);
    PostNetTimeout(true);
    const quint64 nSerial = m_nNetSerial;
    QMetaObject::invokeMethod(
        this, [this, nSerial] { On_NetStreamStarted(nSerial); }, Qt::QueuedConnection);
    emit Sig_NetStreamStartSound(m_nSubWndIndex);
    if (nDataType == ORVEL_DATA_MEDIAINFO) {
        QString strPath;
        {
            QMutexLocker lock(&m_mtxShared);
            strPath = m_strFilePath;
        }
        // The main dialog reads this as "the stream started" and clears the row's mark.
        emit Sig_MarkInvalidFile(strPath, true);
        emit Sig_UpdateCtrlStatus();
    }
    return true;
}

bool CPlayWnd::NetMsgReceived(int nMsgType, char* pContent) {
    if (nMsgType != ORVEL_MSG_STREAM_END && nMsgType != ORVEL_MSG_STREAM_FAIL) {
        if (pContent)
            qDebug("CPlayWnd::NetMsgReceived() m_nSubWndIndex=%d type=%d %s", m_nSubWndIndex, nMsgType,
                   pContent);
        return true;
    }
    qDebug("CPlayWnd::NetMsgReceived() m_nSubWndIndex=%d stream closed, type=%d %s", m_nSubWndIndex, nMsgType,
           pContent ? pContent : "");
    const quint64 nSerial = m_nNetSerial;
    QMetaObject::invokeMethod(
        this, [this, nSerial] { On_NetLostPosted(nSerial); }, Qt::QueuedConnection);
    return true;
}

// ---- GUI side of the session's news ---------------------------------------------------------

void CPlayWnd::PostNetTimeout(bool bStart) {
    if (bStart)
        m_bNetTimeoutArmed = true;
    const quint64 nSerial = m_nNetSerial;
    QMetaObject::invokeMethod(
        this, [this, bStart, nSerial] { On_NetTimeoutPosted(bStart, nSerial); }, Qt::QueuedConnection);
}

void CPlayWnd::On_NetTimeoutPosted(bool bStart, quint64 nSerial) {
    if (nSerial != m_nNetSerial)
        return;
    KillTimerField(m_nNetTimeoutTimer);
    if (bStart)
        m_nNetTimeoutTimer = startTimer(kNetTimeoutMs);
}

void CPlayWnd::On_NetStreamStarted(quint64 nSerial) {
    if (nSerial != m_nNetSerial)
        return;
    // The engine's stream is new: sound is switched on afresh for it.
    m_nSoundState = -1;
    if (m_bReconnecting) {
        EndReconnect();
        emit Sig_UpdateCtrlStatus();
    }
}

void CPlayWnd::On_NetLostPosted(quint64 nSerial) {
    if (nSerial != m_nNetSerial || m_lNetSession < 0)
        return;
    emit Sig_NetStreamDisconnect();
}

bool CPlayWnd::On_NetStreamDisconnect() {
    KillTimerField(m_nNetTimeoutTimer);
    if (m_bReconnectLostStreams && CanReconnect()) {
        BeginReconnect();
        return true;
    }
    Close();
    emit Sig_UpdateCtrlStatus();
    ShowNetMessage(IDS_NetStream_NetStreamDisconnect, "Net Stream Disconnect!");
    return true;
}

// ---- reconnecting ---------------------------------------------------------------------------

bool CPlayWnd::CanReconnect() const {
    const int nState = m_nPlayState;
    return m_nOpenMode == 2 && m_lPort >= 0 && nState != 0 && nState != 3;
}

void CPlayWnd::BeginReconnect() {
    // The lost session goes; the port keeps the last picture and its stream,
    // which the next session's header opens anew.
    CloseNetSession();
    if (!m_bReconnecting) {
        m_bReconnecting = true;
        const QString strText = NetText(IDS_NetStream_Reconnecting, "Reconnecting...");
        SetDisplayInfo(strText);
        // The text stays until the stream is back, not the usual 3 s.
        KillTimerField(m_nDisplayInfoTimer);
        RefreshPlayEx(0);
        // Shown by the display child itself while it has no picture yet.
        m_pDisplayWnd->setAlignment(Qt::AlignCenter);
        m_pDisplayWnd->setText(strText);
        qDebug("CPlayWnd::BeginReconnect() m_nSubWndIndex=%d", m_nSubWndIndex);
    }
    if (m_nReconnectTimer == 0)
        m_nReconnectTimer = startTimer(kReconnectMs);
}

void CPlayWnd::EndReconnect() {
    KillTimerField(m_nReconnectTimer);
    if (!m_bReconnecting)
        return;
    m_bReconnecting = false;
    SetDisplayInfo(QString());
    m_pDisplayWnd->clear();
    RefreshPlayEx(0);
}

void CPlayWnd::On_ReconnectTick() {
    if (!m_bReconnecting || !CanReconnect()) {
        EndReconnect();
        return;
    }
    // A try under way (connecting, or connected and waiting for its header) is
    // not replaced: a source that answers slowly would never get through.
    if (m_lNetSession >= 0)
        return;
    OpenNetSession(m_strFilePath, m_nTransmitMode, m_nNetPort);
}

// ---- stream thumbnail (decode thread) ------------------------------------------------------

bool CPlayWnd::SaveStreamThumb(const char* pBuf, int nSize, const TAVRIX_FRAME_INFO* pFrameInfo) {
    if (m_nOpenMode != 2 || m_bThumbSent || !pBuf || !pFrameInfo)
        return false;
    if (pFrameInfo->nType != TAVRIX_FRAME_YV12)
        return false;
    const int nWidth = pFrameInfo->nWidth;
    const int nHeight = pFrameInfo->nHeight;
    if (nWidth <= 0 || nHeight <= 0 || nSize < nWidth * nHeight * 3 / 2)
        return false;
    if (m_vecThumbYuv.size() < size_t(kThumbYuvBytes))
        m_vecThumbYuv.assign(kThumbYuvBytes, 0);
    NORVANTADS_DOWNSMP_PARAM stParam{};
    stParam.pSrc = reinterpret_cast<const uint8_t*>(pBuf);
    stParam.nSrcWidth = nWidth;
    stParam.nSrcHeight = nHeight;
    stParam.pDst = reinterpret_cast<uint8_t*>(m_vecThumbYuv.data());
    stParam.nDstWidth = kThumbWidth;
    stParam.nDstHeight = kThumbHeight;
    if (NorvantaDS_DownSmpOneFrame(&stParam) != NORVANTADS_OK) {
        // A frame too small for the reduction: the next one tries again.
        qDebug("GetThumbThread::SeveDecData() NorvantaDS_DownSmpOneFrame fail");
        return false;
    }
    if (m_vecThumbBmp.size() < size_t(kThumbBmpBytes))
        m_vecThumbBmp.assign(kThumbBmpBytes, 0);
    int32_t nBmpLen = 0;
    if (!Tavrix_ConvertToBmp(m_vecThumbYuv.data(), kThumbWidth * kThumbHeight * 3 / 2, kThumbWidth,
                             kThumbHeight, TAVRIX_FRAME_YV12, m_vecThumbBmp.data(), kThumbBmpBytes,
                             &nBmpLen)) {
        qDebug("GetThumbThread::SeveDecData() NorvantaDS_DownSmpOneFrame fail");
        return false;
    }
    // One thumbnail per stream, whichever decode thread gets here first.
    if (m_bThumbSent.exchange(true))
        return false;
    auto* pImage = new QImage();
    pImage->loadFromData(reinterpret_cast<const uchar*>(m_vecThumbBmp.data()), nBmpLen, "BMP");
    QString strPath;
    {
        QMutexLocker lock(&m_mtxShared);
        strPath = m_strFilePath;
    }
    // The receiver owns the image.
    emit Sig_UpdateThumbnail(strPath, pImage, nullptr);
    return true;
}
