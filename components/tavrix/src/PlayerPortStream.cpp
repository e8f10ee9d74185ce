// PlayerPort in stream mode: a live stream fed by the caller instead of a file.
#include "PlayerPort.h"

#include "AudioOutput.h"
#include "LivePlayer.h"
#include "StreamSource.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace tavrix {
namespace {
constexpr uint32_t kMinBufPool = 65536;
constexpr uint32_t kMaxBufPool = 256u * 1024u * 1024u;
constexpr uint32_t kMinDisplayBuf = 2;
constexpr uint32_t kMaxDisplayBuf = 50;

// The system format of a 40-byte media header; false for other bytes.
bool ParseMediaHeader(const char* pData, size_t nLen, uint16_t* pnSystemFormat) {
    if (nLen < sizeof(TAVRIX_MEDIA_HEADER) || std::memcmp(pData, "QVDM", 4) != 0) {
        return false;
    }
    const auto* p = reinterpret_cast<const uint8_t*>(pData);
    const uint16_t nFormat = static_cast<uint16_t>(p[8] | (p[9] << 8)); // little-endian
    // Formats other than these are found by probing the bytes.
    *pnSystemFormat = (nFormat == 2 || nFormat == 3 || nFormat == 4) ? nFormat : 0;
    return true;
}
} // namespace

bool PlayerPort::OpenStream(const char* pHeader, uint32_t nHeaderLen, uint32_t nBufPoolSize) {
    uint16_t nFormat = 0;
    if (pHeader == nullptr || !ParseMediaHeader(pHeader, nHeaderLen, &nFormat)) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    return OpenStreamFrom(nFormat, nullptr, 0, nBufPoolSize);
}

bool PlayerPort::OpenStreamAdvanced(int32_t nType, const TAVRIX_STREAM_HEADER* pRecord,
                                    uint32_t nBufPoolSize) {
    if (nType != 1 || pRecord == nullptr || pRecord->nType != 1 || pRecord->nLen <= 0 ||
        pRecord->pHeader == nullptr) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    const size_t nLen = static_cast<size_t>(pRecord->nLen);
    uint16_t nFormat = 0;
    if (ParseMediaHeader(pRecord->pHeader, nLen, &nFormat)) {
        return OpenStreamFrom(nFormat, nullptr, 0, nBufPoolSize);
    }
    // The start of the container itself: it is read first, and it says what it is.
    return OpenStreamFrom(0, reinterpret_cast<const uint8_t*>(pRecord->pHeader), nLen, nBufPoolSize);
}

bool PlayerPort::OpenStreamFrom(uint16_t nSystemFormat, const uint8_t* pHead, size_t nHeadLen,
                                uint32_t nBufPoolSize) {
    if (nBufPoolSize < kMinBufPool || nBufPoolSize > kMaxBufPool || nHeadLen > nBufPoolSize) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    auto pSource = std::make_shared<StreamSource>(nBufPoolSize);
    if (nHeadLen > 0 && !pSource->SetHead(pHead, nHeadLen)) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    LeaveGroup(); // the file goes; a stream plays in no group
    std::lock_guard<std::mutex> lock(m_mtxControl);
    // A port plays one thing. The window named by an earlier Play stays.
    if (m_pDemuxer) {
        CloseFileLocked();
    }
    CloseStreamLocked();
    m_streamCounters.Reset();
    m_readings.Reset();
    m_readings.nWidth = 0;
    m_readings.nHeight = 0;
    m_pLive = std::make_unique<LivePlayer>(
        m_nPort, &m_callbacks, &m_readings, &m_streamCounters, pSource, nSystemFormat,
        [this] { return CurrentOutput(); }, &m_bHardwareActive);
    {
        std::lock_guard<std::mutex> lockSource(m_mtxSource);
        m_pSource = std::move(pSource);
    }
    m_bStreamOpen = true;
    m_bPaused = false;
    m_pAdjuster->ChangeView([](FisheyeView& view) {
        view.Reset();
        return true;
    });
    return true;
}

bool PlayerPort::CloseStream() {
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (!m_pLive) {
        return true;
    }
    StopStream();
    CloseStreamLocked();
    return true;
}

void PlayerPort::CloseStreamLocked() {
    // The source first: a feeder is refused from now on, and every read
    // waiting on it returns at once, so the joins below are quick.
    std::shared_ptr<StreamSource> pSource;
    {
        std::lock_guard<std::mutex> lockSource(m_mtxSource);
        pSource = std::move(m_pSource);
    }
    if (pSource) {
        pSource->Close();
    }
    if (m_pLive) {
        m_pLive->Stop();
        m_pLive.reset();
    }
    m_bStreamOpen = false;
    m_bPaused = false;
    m_readings.Reset();
    m_readings.nWidth = 0;
    m_readings.nHeight = 0;
}

bool PlayerPort::InputData(const char* pBuf, uint32_t nSize) {
    // On the network thread: only the source's own short lock is taken.
    if (pBuf == nullptr || nSize == 0) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    std::shared_ptr<StreamSource> pSource;
    {
        std::lock_guard<std::mutex> lock(m_mtxSource);
        pSource = m_pSource;
    }
    if (!pSource) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    if (!pSource->Append(reinterpret_cast<const uint8_t*>(pBuf), nSize)) {
        return Fail(pSource->Closed() ? TAVRIX_ERR_ORDER : TAVRIX_ERR_BUF_OVER);
    }
    return true;
}

bool PlayerPort::SetDisplayBuf(uint32_t nNum) {
    if (nNum < kMinDisplayBuf || nNum > kMaxDisplayBuf) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    std::lock_guard<std::mutex> lock(m_mtxControl);
    m_nDisplayBuf = nNum;
    if (m_pLive) {
        m_pLive->SetDisplayBuf(nNum);
    }
    return true;
}

bool PlayerPort::StreamStats(TAVRIX_STREAM_STATS* pOut) {
    if (pOut == nullptr) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    std::shared_ptr<StreamSource> pSource;
    {
        std::lock_guard<std::mutex> lock(m_mtxSource);
        pSource = m_pSource;
    }
    if (!pSource) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    constexpr uint64_t kMax = std::numeric_limits<uint32_t>::max();
    pOut->nShownFrames = m_streamCounters.nShownFrames.load();
    pOut->nLateFrames = m_streamCounters.nLateFrames.load();
    pOut->nRefusedBytes = static_cast<uint32_t>(std::min<uint64_t>(pSource->RefusedBytes(), kMax));
    pOut->nBufferedBytes = static_cast<uint32_t>(std::min<uint64_t>(pSource->BufferedBytes(), kMax));
    return true;
}

bool PlayerPort::PlayStream() {
    if (!m_pLive) {
        return true; // the stream opens later; the window is remembered for it
    }
    if (m_pLive->Running()) {
        return m_bPaused ? PauseStream(false) : true;
    }
    LivePlayer::Settings settings;
    settings.nDisplayBuf = m_nDisplayBuf;
    settings.bRealTime = m_bRealTime.load();
    settings.bHardware = m_nDecodeEngineWanted.load() == 1;
    settings.nDecodeThreads = m_nDecodeThreads.load();
    settings.pAdjuster = m_pAdjuster;
    settings.pSnapshots = m_pSnapshots;
    m_readings.Reset();
    std::shared_ptr<AudioOutput> pOut = CurrentOutput();
    if (pOut) {
        pOut->Flush();
        pOut->SetPaused(false);
    }
    m_bPaused = false;
    if (!m_pLive->Start(m_pSink, settings)) {
        return Fail(TAVRIX_ERR_CREATE_OBJ);
    }
    return true;
}

bool PlayerPort::PauseStream(bool bPause) {
    if (!m_pLive->Running()) {
        return true;
    }
    // The stream goes on arriving while the picture holds; play resumes live.
    m_bPaused = bPause;
    m_pLive->SetPaused(bPause);
    std::shared_ptr<AudioOutput> pOut = CurrentOutput();
    if (pOut) {
        pOut->SetPaused(bPause);
        if (!bPause) {
            pOut->Flush(); // the sound held by the pause is old
        }
    }
    return true;
}

void PlayerPort::StopStream() {
    JoinReport();
    if (m_pLive) {
        m_pLive->Stop();
    }
    // Dropping the sink detaches the window, which shows its background again.
    m_pSink.reset();
    m_nWindowKey = 0;
    m_bPaused = false;
    m_readings.Reset();
    std::shared_ptr<AudioOutput> pOut = CurrentOutput();
    if (pOut) {
        pOut->Flush();
    }
}

} // namespace tavrix
