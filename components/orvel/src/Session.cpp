#include "Session.h"

#include "ErrorMap.h"
#include "SourceUrl.h"

#include <pthread.h>

namespace orvel {

namespace {

// Closing an input sends the server its goodbye (RTSP TEARDOWN); after Close
// it gets this long, no more.
constexpr int64_t kGraceMs = 200;
// A finite source is read this far ahead of its own clock: enough to ride out
// a slow segment, not so much that the caller's buffer overflows.
constexpr int64_t kPaceLeadUs = 1000000;

thread_local const void* t_pSession = nullptr; // the session whose thread this is

int64_t NowMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void PutLe16(uint8_t* p, uint16_t nValue) {
    p[0] = static_cast<uint8_t>(nValue & 0xff);
    p[1] = static_cast<uint8_t>(nValue >> 8);
}

// The best track of a kind that FFmpeg could name, or -1.
int BestTrack(AVFormatContext* pInput, AVMediaType type, int nRelated) {
    const int nIndex = av_find_best_stream(pInput, type, -1, nRelated, nullptr, 0);
    if (nIndex < 0 || pInput->streams[nIndex]->codecpar->codec_id == AV_CODEC_ID_NONE) {
        return -1;
    }
    return nIndex;
}

// The picture and sound tracks to play and the container for them; false
// when there is nothing to play (the tracks are then both -1).
bool PickTracks(AVFormatContext* pInput, Remuxer::Tracks* pTracks, Remuxer::MediaInfo* pInfo) {
    pTracks->nVideo = BestTrack(pInput, AVMEDIA_TYPE_VIDEO, -1);
    pTracks->nAudio = BestTrack(pInput, AVMEDIA_TYPE_AUDIO, pTracks->nVideo);
    if (!Remuxer::Plan(pInput, pTracks, pInfo)) {
        *pTracks = Remuxer::Tracks();
        return false;
    }
    return true;
}

} // namespace

Session::Session(int32_t nId, std::string strUrl)
    : m_nId(nId), m_strUrl(std::move(strUrl)), m_nDeadlineMs(0) {}

Session::~Session() {
    m_bAbort = true;
    if (m_thread.joinable()) {
        // The last owner may be the session thread itself, when Close came
        // from one of its callbacks: it cannot join itself.
        if (m_thread.get_id() == std::this_thread::get_id()) {
            m_thread.detach();
        } else {
            m_thread.join();
        }
    }
}

int32_t Session::SetTimeout(int32_t nTimeoutMs) {
    if (nTimeoutMs < 500 || nTimeoutMs > 60000) {
        return ORVEL_ERR_PARAMETER;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_state != State::Idle) {
        return ORVEL_ERR_ORDER;
    }
    m_nTimeoutMs = nTimeoutMs;
    return ORVEL_OK;
}

int32_t Session::SetTransmitMode(int32_t nMode, int32_t nPort) {
    if (nMode < ORVEL_TRANSMIT_TCP || nMode > ORVEL_TRANSMIT_HTTP || nPort < 0 || nPort > 65535) {
        return ORVEL_ERR_PARAMETER;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_state != State::Idle) {
        return ORVEL_ERR_ORDER;
    }
    m_nTransmitMode = nMode;
    m_nPort = nPort;
    return ORVEL_OK;
}

int32_t Session::SetMsgCallBack(OrvelMsgCB pfn, void* pUser) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pfnMsg = pfn;
    m_pMsgUser = pUser;
    return ORVEL_OK;
}

int32_t Session::Open(OrvelDataCB pfn, void* pUser) {
    int32_t nTimeoutMs = 0, nMode = 0, nPort = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_state != State::Idle) {
            return ORVEL_ERR_ORDER;
        }
        m_state = State::Opening;
        m_bOpenBusy = true;
        m_pfnData = pfn;
        m_pDataUser = pUser;
        nTimeoutMs = m_nTimeoutMs;
        nMode = m_nTransmitMode;
        nPort = m_nPort;
    }
    Source source;
    int32_t nResult = Connect(nTimeoutMs, nMode, nPort, source);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (nResult == ORVEL_OK && m_bAbort) {
            ErrorMap::Log("session %d: closed while connecting", m_nId);
            nResult = ORVEL_ERR_CONNECT_FAIL;
        }
        if (nResult == ORVEL_OK) {
            try {
                m_thread = std::thread([self = shared_from_this(), src = std::move(source),
                                        nTimeoutMs]() mutable { self->Run(std::move(src), nTimeoutMs); });
                m_state = State::Running;
            } catch (const std::system_error&) {
                ErrorMap::Log("session %d: no thread to be had", m_nId);
                nResult = ORVEL_ERR_CONNECT_FAIL;
            }
        }
        if (nResult != ORVEL_OK) {
            m_state = State::Closed;
        }
    }
    CloseInput(source.input); // only a failed Open still holds it
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bOpenBusy = false;
    }
    m_cv.notify_all();
    return nResult;
}

int32_t Session::Close() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bAbort = true;
        if (m_state != State::Opening) {
            m_state = State::Closed;
        }
    }
    m_cv.notify_all();
    if (IsSessionThread()) {
        return ORVEL_OK; // the thread ends once the callback that called us returns
    }
    // A second Close from another thread waits here for the first one's join,
    // so that it, too, returns only when no callback can come any more.
    std::lock_guard<std::mutex> join(m_joinMutex);
    if (m_thread.joinable()) {
        m_thread.join();
    }
    return ORVEL_OK;
}

void Session::WaitOpenReturned() {
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto tBound = std::chrono::steady_clock::now() + std::chrono::milliseconds(m_nTimeoutMs + 2000);
    m_cv.wait_until(lock, tBound, [this] { return !m_bOpenBusy; });
}

bool Session::IsSessionThread() const {
    return t_pSession == this;
}

int Session::Interrupt(void* pOpaque) {
    auto* pSelf = static_cast<Session*>(pOpaque);
    if (pSelf->m_bAbort.load() && !pSelf->m_bGrace.load()) {
        return 1;
    }
    if (NowMs() >= pSelf->m_nDeadlineMs.load()) {
        pSelf->m_bDeadlineHit = true;
        return 1;
    }
    return 0;
}

AVIOInterruptCB Session::InterruptCallback() {
    return AVIOInterruptCB{&Session::Interrupt, this};
}

void Session::ArmDeadline(int32_t nTimeoutMs) {
    m_bDeadlineHit = false;
    m_nDeadlineMs = NowMs() + nTimeoutMs;
}

void Session::CloseInput(InputContextPtr& input) {
    if (!input) {
        return;
    }
    m_nDeadlineMs = NowMs() + kGraceMs;
    m_bGrace = true;
    input.reset();
    m_bGrace = false;
}

int32_t Session::Connect(int32_t nTimeoutMs, int32_t nMode, int32_t nPort, Source& source) {
    const SourceUrl url(m_strUrl);
    const std::string strLogUrl = url.ForLog();
    const int32_t nCheck = url.Check();
    if (nCheck != ORVEL_OK) {
        ErrorMap::Log("session %d: %s: %s", m_nId, strLogUrl.c_str(),
                      nCheck == ORVEL_ERR_PLUGIN_LOAD ? "this FFmpeg cannot read it" : "scheme not served");
        return nCheck;
    }
    auto failed = [&](const char* szWhat, int nAvError) {
        if (m_bAbort) {
            ErrorMap::Log("session %d: closed while connecting", m_nId);
            return ORVEL_ERR_CONNECT_FAIL;
        }
        const int32_t nCode = ErrorMap::ToOrvel(nAvError, m_bDeadlineHit);
        ErrorMap::Log("session %d: %s %s: %s%s (0x%08x)", m_nId, szWhat, strLogUrl.c_str(),
                      ErrorMap::Text(nAvError).c_str(), m_bDeadlineHit ? ", time-out" : "",
                      static_cast<uint32_t>(nCode));
        return nCode;
    };

    AVFormatContext* pRaw = avformat_alloc_context();
    if (pRaw == nullptr) {
        return ORVEL_ERR_CONNECT_FAIL;
    }
    pRaw->interrupt_callback = InterruptCallback();
    AVDictionary* pOptions = url.Options(nMode).release();
    const std::string strOpen = url.OpenUrl(nMode, nPort);
    ArmDeadline(nTimeoutMs); // one deadline for connecting and probing together
    int nRet = avformat_open_input(&pRaw, strOpen.c_str(), url.InputFormat(), &pOptions);
    av_dict_free(&pOptions);
    if (nRet < 0) {
        return failed("connecting to", nRet); // FFmpeg freed the context
    }
    source.input.reset(pRaw);
    // RTSP names its tracks in the session description; where that says all a
    // transport stream needs, probing would only hold back the first packets
    // (and hand them over late, as a burst that the player lags behind).
    if (url.GetKind() != SourceUrl::Kind::Rtsp || !PickTracks(pRaw, &source.tracks, &source.info) ||
        source.info.nSystem != ORVEL_SYSTEM_TS || !Remuxer::ReadyWithoutProbing(pRaw, source.tracks)) {
        nRet = avformat_find_stream_info(pRaw, nullptr);
        if (nRet < 0) {
            return failed("probing", nRet);
        }
        source.tracks = Remuxer::Tracks();
        PickTracks(pRaw, &source.tracks, &source.info);
    }
    if (m_bAbort) {
        return failed("probing", AVERROR_EXIT);
    }
    if (source.tracks.nVideo < 0 && source.tracks.nAudio < 0) {
        ErrorMap::Log("session %d: %s: no picture or sound to play", m_nId, strLogUrl.c_str());
        return ORVEL_ERR_NO_MEDIA;
    }
    // A source with a length (a file on a web server, a finished playlist)
    // comes as fast as the network allows, and so do the segments a live HLS
    // playlist already lists: those go at the pace of their time stamps.
    // Other live sources come at their own pace.
    source.bPaced = pRaw->duration > 0 || url.GetKind() == SourceUrl::Kind::Hls;
    return ORVEL_OK;
}

void Session::Run(Source source, int32_t nTimeoutMs) {
    t_pSession = this;
    const std::string strName = "orvel-" + std::to_string(m_nId);
    pthread_setname_np(pthread_self(), strName.substr(0, 15).c_str());

    std::unique_ptr<Remuxer> remuxer;
    std::string strText;
    int32_t nEnd = 0;
    if (m_pfnData != nullptr) { // without a data callback (a connection test) nothing is remuxed
        uint8_t info[6];
        PutLe16(info, source.info.nSystem);
        PutLe16(info + 2, source.info.nVideo);
        PutLe16(info + 4, source.info.nAudio);
        Deliver(ORVEL_DATA_MEDIAINFO, info, sizeof(info));
        remuxer = std::make_unique<Remuxer>(
            [this](const uint8_t* pData, int nLen) { return Deliver(ORVEL_DATA_MULTI, pData, nLen); },
            InterruptCallback());
        const int nRet = remuxer->Start(source.input.get(), source.tracks, source.info.nSystem);
        if (nRet < 0 && !m_bAbort) {
            nEnd = ORVEL_MSG_STREAM_FAIL;
            strText = "cannot remux the stream: " + ErrorMap::Text(nRet);
        }
    }
    if (nEnd == 0 && !m_bAbort) {
        nEnd = Pump(source, remuxer.get(), nTimeoutMs, &strText);
    }
    if (nEnd == ORVEL_MSG_STREAM_END && remuxer) {
        remuxer->Finish();
    }
    remuxer.reset();
    if (nEnd != 0) {
        ErrorMap::Log("session %d: %s", m_nId, strText.c_str());
        PostMessage(nEnd, strText);
    }
    CloseInput(source.input);
}

int32_t Session::Pump(Source& source, Remuxer* pRemuxer, int32_t nTimeoutMs, std::string* pText) {
    PacketPtr pkt = MakePacket();
    if (!pkt) {
        *pText = "out of memory";
        return ORVEL_MSG_STREAM_FAIL;
    }
    const std::string strSilence = "nothing came for " + std::to_string(nTimeoutMs) + " ms";
    // A finite source goes at the pace of its time stamps, kPaceLeadUs ahead.
    std::chrono::steady_clock::time_point tFirst;
    int64_t nFirstDtsUs = AV_NOPTS_VALUE;
    auto due = [&](int64_t nDtsUs) {
        if (nFirstDtsUs == AV_NOPTS_VALUE) {
            nFirstDtsUs = nDtsUs;
            tFirst = std::chrono::steady_clock::now();
        }
        return tFirst + std::chrono::microseconds(nDtsUs - nFirstDtsUs - kPaceLeadUs);
    };
    bool bArm = true;
    while (!m_bAbort) {
        if (bArm) {
            ArmDeadline(nTimeoutMs); // silence longer than the time-out fails the stream
        }
        int nRet = av_read_frame(source.input.get(), pkt.get());
        if (m_bAbort) {
            av_packet_unref(pkt.get());
            break;
        }
        bArm = nRet != AVERROR(EAGAIN);
        if (nRet == AVERROR(EAGAIN)) {
            continue; // the deadline stays as it was
        }
        if (nRet == AVERROR_EOF) {
            *pText = "the source ended the stream";
            return ORVEL_MSG_STREAM_END;
        }
        if (nRet < 0) {
            *pText = m_bDeadlineHit ? strSilence : "reading failed: " + ErrorMap::Text(nRet);
            return ORVEL_MSG_STREAM_FAIL;
        }
        // When the time-out struck inside the read, FFmpeg's answer is what its
        // parser still held, not news from the source: the source went silent.
        const bool bSilent = m_bDeadlineHit;
        int64_t nDtsUs = AV_NOPTS_VALUE;
        nRet = pRemuxer != nullptr ? pRemuxer->Write(pkt.get(), &nDtsUs) : 0;
        av_packet_unref(pkt.get());
        if (nRet < 0 && !m_bAbort) {
            *pText = "remuxing failed: " + ErrorMap::Text(nRet);
            return ORVEL_MSG_STREAM_FAIL;
        }
        if (bSilent) {
            *pText = strSilence;
            return ORVEL_MSG_STREAM_FAIL;
        }
        if (source.bPaced && nDtsUs != AV_NOPTS_VALUE && !WaitUntil(due(nDtsUs))) {
            break;
        }
    }
    return 0;
}

bool Session::Deliver(int32_t nType, const uint8_t* pData, int nLen) {
    if (m_bAbort) {
        return false;
    }
    // The callback's buffer is the caller's to read only; the type says char*.
    m_pfnData(m_nId, nType, reinterpret_cast<char*>(const_cast<uint8_t*>(pData)), nLen, m_pDataUser);
    return !m_bAbort;
}

void Session::PostMessage(int32_t nType, const std::string& strText) {
    OrvelMsgCB pfn = nullptr;
    void* pUser = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        pfn = m_pfnMsg;
        pUser = m_pMsgUser;
    }
    if (pfn == nullptr || m_bAbort) {
        return;
    }
    std::string strCopy = strText; // NUL-terminated, writable, as the type asks
    pfn(m_nId, nType, strCopy.data(), static_cast<int32_t>(strCopy.size()), pUser);
}

bool Session::WaitUntil(std::chrono::steady_clock::time_point tp) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_cv.wait_until(lock, tp, [this] { return m_bAbort.load(); });
    return !m_bAbort;
}

} // namespace orvel
