#include "PlayerPort.h"

#include "AudioDecoder.h"
#include "AudioOutput.h"
#include "Demuxer.h"
#include "EngineLog.h"
#include "FrameIndex.h"
#include "GlobalTime.h"
#include "LivePlayer.h"
#include "PathCodec.h"
#include "ReversePlayer.h"
#include "SyncGroup.h"
#include "SubtitleTrackReader.h"
#include "TimeLine.h"
#include "VideoDecoder.h"
#include "VideoRenderer.h"

#include <cstdio>
#include <system_error>

namespace tavrix {

PlayerPort::PlayerPort(int nPort) : m_nPort(nPort), m_callbacks(nPort) {
    EngineLog::Install();
}

PlayerPort::~PlayerPort() {
    CloseStream();
    CloseFile();
    StopSound();
}

bool PlayerPort::Fail(uint32_t nError) {
    m_nLastError = nError;
    return false;
}

bool PlayerPort::SetStreamOpenMode(uint32_t nMode) {
    if (nMode != TAVRIX_STREAM_FILE && nMode != TAVRIX_STREAM_REALTIME) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    // A stream plays live in either mode (its own stamps pace it). The real
    // time mode sets the port up for one: its window may be named by Play
    // before the stream opens.
    m_bLivePort = nMode == TAVRIX_STREAM_REALTIME;
    return true;
}

bool PlayerPort::SetSecretKey(int32_t nKeyType, const char* pKey, int32_t nKeyLenBits) {
    if (nKeyType == 1 && pKey == nullptr && nKeyLenBits == 0) {
        // A port reused for many files forgets the last file's key.
        std::lock_guard<std::mutex> lock(m_mtxControl);
        m_strKeyHex.clear();
        return true;
    }
    if (nKeyType != 1 || pKey == nullptr || nKeyLenBits != 128) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    std::string strHex;
    for (int i = 0; i < 16; ++i) {
        char sz[3];
        std::snprintf(sz, sizeof(sz), "%02x", static_cast<unsigned char>(pKey[i]));
        strHex += sz;
    }
    std::lock_guard<std::mutex> lock(m_mtxControl);
    m_strKeyHex = strHex;
    return true;
}

bool PlayerPort::SetDecodeEngine(uint32_t nEngine) {
    if (nEngine > 1) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    // Takes effect when the decoder is next made (the next start of play).
    m_nDecodeEngineWanted = nEngine;
    return true;
}

bool PlayerPort::SetDecodeThreads(uint32_t nThreads) {
    if (nThreads > 64) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    m_nDecodeThreads = nThreads;
    return true;
}

uint32_t PlayerPort::DecodeEngine() const {
    return m_bHardwareActive.load() ? 1 : 0;
}

bool PlayerPort::SetRealTime(bool bRealTime) {
    if (std::shared_ptr<SyncGroup> pGroup = Group()) {
        pGroup->SetUnpaced(!bRealTime); // the whole group keeps one pace
    }
    std::lock_guard<std::mutex> lock(m_mtxControl);
    m_bRealTime = bRealTime;
    if (m_pRenderer) {
        m_pRenderer->SetRealTime(bRealTime);
    }
    if (m_pLive) {
        m_pLive->SetRealTime(bRealTime);
    }
    if (m_pAudio) {
        m_pAudio->SetRealTime(bRealTime);
    }
    return true;
}

bool PlayerPort::OpenFile(const char* szPath) {
    if (szPath == nullptr || *szPath == '\0') {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    CloseStream(); // a port plays one thing
    CloseFile();
    std::lock_guard<std::mutex> lock(m_mtxControl);
    std::string strUtf8;
    if (!PathCodec::Gb18030ToUtf8(szPath, &strUtf8)) {
        return Fail(TAVRIX_ERR_OPEN_FILE);
    }
    auto pDemuxer = std::make_unique<Demuxer>(m_nPort, &m_callbacks);
    const uint32_t nErr = pDemuxer->Open(strUtf8, szPath, m_strKeyHex);
    if (nErr != TAVRIX_NOERROR) {
        return Fail(nErr);
    }
    {
        std::lock_guard<std::mutex> lockInfo(m_mtxInfo);
        m_info = pDemuxer->Info();
        m_bOpen = true;
    }
    m_readings.Reset();
    m_readings.nDamagedFrames = 0;
    m_readings.nWidth = pDemuxer->Info().nWidth;
    m_readings.nHeight = pDemuxer->Info().nHeight;
    m_bFisheyeFile = pDemuxer->Info().bFisheye;
    // Each opening starts from the original picture, looking straight ahead.
    m_pAdjuster->ChangeView([](FisheyeView& view) {
        view.Reset();
        return true;
    });
    m_pDemuxer = std::move(pDemuxer);
    m_bPaused = false;
    StartIndex(strUtf8);
    LoadOverlays(strUtf8);
    return true;
}

void PlayerPort::StartIndex(const std::string& strUtf8Path) {
    // The index reads its own opening of the file, so playback starts at once
    // and the index thread takes no lock of the transport: a close joins it
    // while holding the control lock.
    auto pIndex = std::make_unique<FrameIndex>(m_nPort);
    FrameIndex* pRaw = pIndex.get();
    if (!pIndex->Start(strUtf8Path, m_strKeyHex, [this, pRaw] { OnIndexComplete(*pRaw); })) {
        return; // the file plays without an index; the frame count stays the container's estimate
    }
    m_pIndex = std::move(pIndex);
}

void PlayerPort::OnIndexComplete(const FrameIndex& index) {
    // Runs on the index thread. A close joins this thread before it clears the
    // file's facts, so the file here is still the one that was scanned.
    {
        std::lock_guard<std::mutex> lockInfo(m_mtxInfo);
        m_bIndexReady = true;
        m_info.nTotalFrames = index.Count();
        // Where the clock restarted, wrapped or leapt, the container's own
        // duration (last stamp less first) is meaningless: the time line's is
        // the file's.
        const int64_t nEndPts = index.EndPts();
        if (nEndPts != AV_NOPTS_VALUE && (index.Breaks() > 0 || m_info.nDurationMs <= 0)) {
            const int64_t nEndUs = StampUs(nEndPts, index.TimeBase());
            m_info.nDurationMs = std::max<int64_t>(0, (nEndUs - m_info.nFileStartUs) / 1000);
        }
    }
    const CallbackSet::FileRef cb = m_callbacks.GetFileRef();
    if (cb.pfn != nullptr) {
        cb.pfn(m_nPort, cb.pUser);
    }
}

bool PlayerPort::CloseFile() {
    LeaveGroup(); // before the control lock: the group takes it itself
    std::lock_guard<std::mutex> lock(m_mtxControl);
    CloseFileLocked();
    return true;
}

void PlayerPort::CloseFileLocked() {
    StopThreads();
    m_pReverse.reset();
    m_pIndex.reset(); // aborts a scan under way and joins its thread
    DropOverlays();
    m_pSnapshots->Forget(); // no snapshot of a file that is closed
    m_pDemuxer.reset();
    m_bFisheyeFile = false;
    {
        std::lock_guard<std::mutex> lockInfo(m_mtxInfo);
        m_bOpen = false;
        m_bIndexReady = false;
        m_info = MediaInfo();
    }
    m_readings.Reset();
    m_readings.nWidth = 0;
    m_readings.nHeight = 0;
}

bool PlayerPort::Play(uintptr_t nWindowKey, const SinkFactory& fnMakeSink) {
    bool bNewWindow = false;
    {
        std::lock_guard<std::mutex> lock(m_mtxControl);
        if (!m_pDemuxer && !IsStreamPort()) {
            return Fail(TAVRIX_ERR_ORDER);
        }
        bNewWindow = nWindowKey != m_nWindowKey || (nWindowKey != 0 && !m_pSink);
    }
    // The sink is made outside the control lock: making it may wait for the
    // GUI thread, which may itself be waiting for this lock.
    std::shared_ptr<FrameSink> pNewSink;
    if (bNewWindow && nWindowKey != 0 && fnMakeSink) {
        pNewSink = fnMakeSink();
    }
    std::shared_ptr<FrameSink> pOldSink; // let go outside the lock
    std::unique_lock<std::mutex> lock(m_mtxControl);
    if (!m_pDemuxer && !IsStreamPort()) {
        return Fail(TAVRIX_ERR_ORDER); // closed meanwhile
    }
    if (bNewWindow) {
        pOldSink = std::move(m_pSink);
        m_pSink = std::move(pNewSink);
        m_nWindowKey = m_pSink ? nWindowKey : 0;
        if (m_pRenderer) {
            m_pRenderer->SetSink(m_pSink);
        }
        if (m_pLive) {
            m_pLive->SetSink(m_pSink);
        }
    }
    if (!m_pDemuxer) {
        return PlayStream();
    }
    if (std::shared_ptr<SyncGroup> pGroup = Group()) {
        // The group places the port at its time; it takes this lock itself.
        lock.unlock();
        return pGroup->Play(this);
    }
    return PlaySoloLocked();
}

bool PlayerPort::PlaySolo() {
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (!m_pDemuxer) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    return PlaySoloLocked();
}

bool PlayerPort::PlaySoloLocked() {
    if (!m_bRunning) {
        m_bPaused = false;
        return StartThreads(m_pSink);
    }
    // Every play starts at normal speed.
    m_nSpeedStep = 0;
    if (m_bReverse) {
        // Forward again from the shown frame: the next one in display order.
        StopProducers();
        const uint32_t nShown = m_readings.nFrameNum.load();
        const bool bAny = m_readings.bShown.load();
        if (!StartForwardAt(bAny ? nShown + 1 : nShown, false, bAny)) {
            return false;
        }
    }
    ApplySpeed();
    if (m_bPaused) {
        // Play on a paused port resumes it.
        m_bPaused = false;
        m_pRenderer->SetPaused(false);
        std::shared_ptr<AudioOutput> pOut = CurrentOutput();
        if (pOut) {
            pOut->SetPaused(false);
        }
    }
    return true;
}

bool PlayerPort::BuildThreads(std::shared_ptr<FrameSink> pSink, bool bPaused) {
    const MediaInfo info = m_pDemuxer->Info();
    m_readings.Reset();
    m_callbacks.ResetRunTimeReports();
    auto pVideo = std::make_unique<VideoDecoder>(m_nPort, &m_callbacks, &m_readings);
    const bool bEncrypted =
        info.bEncrypted || !m_strKeyHex.empty() || m_pDemuxer->SawEncryptedPackets().load();
    if (!pVideo->Open(m_pDemuxer->VideoStream(), info, m_nDecodeEngineWanted == 1, m_nDecodeThreads,
                      bEncrypted, &m_pDemuxer->SawEncryptedPackets())) {
        ReportFromEngineThread(1, TAVRIX_RT_DECODE);
        return Fail(TAVRIX_ERR_DEC_VIDEO);
    }
    m_bHardwareActive = pVideo->HardwareActive();
    std::unique_ptr<AudioDecoder> pAudio;
    if (m_pDemuxer->AudioStream() != nullptr) {
        pAudio = std::make_unique<AudioDecoder>(m_nPort, &m_callbacks, &m_readings,
                                                [this] { return CurrentOutput(); });
        if (!pAudio->Open(m_pDemuxer->AudioStream(), info)) {
            pAudio.reset(); // the picture plays without sound
        }
    }
    auto pRenderer = std::make_unique<VideoRenderer>(m_nPort, &m_callbacks, &m_readings);
    pRenderer->SetSink(std::move(pSink));
    pRenderer->SetPictureControls(m_pAdjuster, m_pSnapshots);
    // The sound leads the pictures while it knows what plays. (Takes the sound
    // lock under the renderer's; nothing holding the sound lock calls the renderer.)
    pRenderer->SetMasterClock([this](std::chrono::steady_clock::time_point now, int64_t* pnPtsUs) {
        const std::shared_ptr<AudioOutput> pOut = CurrentOutput();
        return pOut && pOut->ClockAt(now, pnPtsUs);
    });
    if (std::shared_ptr<SyncGroup> pGroup = Group()) {
        pRenderer->SetGroup(pGroup, this, m_nGroupZeroUs);
        if (pAudio) {
            pAudio->SetWaitForPicture(true);
        }
    }
    pRenderer->Start(m_bRealTime, bPaused);
    std::shared_ptr<AudioOutput> pOut = CurrentOutput();
    if (pOut) {
        pOut->Flush();
        pOut->SetPaused(bPaused);
    }
    m_pRenderer = std::move(pRenderer);
    m_pVideo = std::move(pVideo);
    m_pAudio = std::move(pAudio);
    m_bRunning = true;
    m_bPaused = bPaused;
    m_bReverse = false;
    m_nSpeedStep = 0;
    return true;
}

bool PlayerPort::StartThreads(std::shared_ptr<FrameSink> pSink) {
    if (!BuildThreads(std::move(pSink), false)) {
        return false;
    }
    if (!m_pDemuxer->Start(m_pAudio != nullptr)) {
        StopThreads();
        return Fail(TAVRIX_ERR_OPEN_FILE);
    }
    m_pVideo->Start(&m_pDemuxer->VideoQueue(), m_pRenderer.get(), m_pIndex.get(), VideoDecoder::StartPoint());
    if (m_pAudio) {
        m_pAudio->Start(&m_pDemuxer->AudioQueue(), m_bRealTime);
    }
    ApplySpeed();
    return true;
}

void PlayerPort::StopProducers() {
    if (!m_bRunning) {
        return;
    }
    if (m_pAudio) {
        m_pAudio->Abort();
    }
    m_pRenderer->CloseGate(); // frees a producer waiting for room
    if (m_pReverse) {
        m_pReverse->Stop();
    }
    m_pDemuxer->Stop(); // frees decoders waiting for packets
    m_pVideo->Join();
    if (m_pAudio) {
        m_pAudio->Join();
    }
    std::shared_ptr<AudioOutput> pOut = CurrentOutput();
    if (pOut) {
        pOut->Flush(); // sound from before the jump is not heard after it
    }
}

const FrameIndex* PlayerPort::ReadyIndex() const {
    return (m_pIndex && m_pIndex->IsComplete()) ? m_pIndex.get() : nullptr;
}

void PlayerPort::PublishPosition(uint32_t nFrame) {
    // Readers see the target at once, before its picture is decoded: the
    // counter names the frame that is about to show.
    const FrameIndex* pIndex = ReadyIndex();
    m_readings.nFrameNum = nFrame;
    if (pIndex != nullptr && nFrame < pIndex->Count()) {
        const AVRational tb = pIndex->TimeBase();
        const int64_t nPtsUs = StampUs(pIndex->PtsOfFrame(nFrame), tb);
        std::lock_guard<std::mutex> lockInfo(m_mtxInfo);
        m_readings.nPlayedMs = (nPtsUs - m_info.nFileStartUs) / 1000;
        m_readings.nSourceMs = (nPtsUs - m_info.nVideoStartUs) / 1000;
    }
    m_readings.NotifyProgress();
}

bool PlayerPort::StartForwardAt(uint32_t nFrame, bool bShowFirst, bool bTurn) {
    const FrameIndex* pIndex = ReadyIndex();
    const uint32_t nCount = pIndex->Count();
    // Past the last frame only the end is left: decode the last group with
    // nothing to show, so the end arrives in order.
    const bool bPastEnd = nFrame >= nCount;
    const uint32_t nTarget = bPastEnd ? nCount - 1 : nFrame;
    int64_t nKey = pIndex->DecodeStartFor(nTarget);
    if (nKey < 0) {
        nKey = 0;
    }
    const FrameIndex::Entry* pKey = pIndex->EntryOfFrame(static_cast<uint32_t>(nKey));
    VideoDecoder::StartPoint start;
    start.bFromKey = true;
    start.bKeyIsKey = pKey->bKey;
    start.nKeyPts = pKey->nPts;
    start.nTargetPts = bPastEnd ? INT64_MAX : pIndex->PtsOfFrame(nTarget);
    start.nFirstFrame = nFrame;
    Demuxer::SeekPoint point;
    point.nKeyPts = pKey->nPts;
    point.nKeyOffset = pKey->nOffset;
    point.nKeyPos = pKey->nBytePos;
    point.bKey = pKey->bKey;
    point.nAudioFromUs =
        bPastEnd ? INT64_MAX / 2
                 : StampUs(start.nTargetPts, pIndex->TimeBase()) - m_pDemuxer->Info().nFileStartUs;
    m_pRenderer->OpenGate(bShowFirst, bTurn);
    if (!m_pDemuxer->StartAt(m_pAudio != nullptr, point)) {
        return Fail(TAVRIX_ERR_OPEN_FILE);
    }
    m_pVideo->Start(&m_pDemuxer->VideoQueue(), m_pRenderer.get(), m_pIndex.get(), start);
    if (m_pAudio) {
        m_pAudio->Start(&m_pDemuxer->AudioQueue(), m_bRealTime);
    }
    m_bReverse = false;
    if (!bPastEnd && !bTurn) {
        PublishPosition(nFrame);
    }
    ApplySpeed();
    return true;
}

bool PlayerPort::StartReverseAt(int64_t nFrame, bool bShowFirst, bool bTurn) {
    if (!m_pReverse) {
        std::lock_guard<std::mutex> lockInfo(m_mtxInfo);
        auto pReverse = std::make_unique<ReversePlayer>(m_nPort, m_pDemuxer.get(), m_pIndex.get(), m_info,
                                                        m_nDecodeThreads.load());
        if (!pReverse->Open()) {
            return Fail(TAVRIX_ERR_DEC_VIDEO);
        }
        m_pReverse = std::move(pReverse);
    }
    m_pRenderer->OpenGate(bShowFirst, bTurn);
    m_pReverse->Start(m_pRenderer.get(), nFrame);
    m_bReverse = true;
    if (nFrame >= 0 && !bTurn) {
        PublishPosition(static_cast<uint32_t>(nFrame));
    }
    ApplySpeed();
    return true;
}

void PlayerPort::ApplySpeed() {
    if (!m_bRunning) {
        return;
    }
    // In a lock-step group the group's speed holds, whatever this port's own
    // place on the ladder.
    const int nStep = Group() ? m_nGroupSpeedStep : m_nSpeedStep;
    m_pRenderer->SetSpeedStep(nStep);
    if (m_pAudio) {
        m_pAudio->SetSpeedStep(m_bReverse ? 1 : nStep);
    }
    // Dropping pictures nothing refers to is only for fast play, and only
    // with the index, which numbers the pictures that remain.
    m_pVideo->SetSkipNonRef(SkippingNonRef());
}

void PlayerPort::ReportFromEngineThread(int nModule, int32_t nErrorCode) {
    JoinReport();
    try {
        m_threadReport =
            std::thread([this, nModule, nErrorCode] { m_callbacks.ReportRunTime(nModule, nErrorCode); });
    } catch (const std::system_error&) {
        EngineLog::Warn(m_nPort, "cannot start a thread to report error %d", nErrorCode);
    }
}

void PlayerPort::JoinReport() {
    if (m_threadReport.joinable()) {
        m_threadReport.join();
    }
}

void PlayerPort::StopThreads() {
    JoinReport();
    if (m_bRunning) {
        StopProducers();
    }
    if (m_pRenderer) {
        m_pRenderer->Stop();
    }
    m_pAudio.reset();
    m_pVideo.reset();
    m_pRenderer.reset();
    // Dropping the sink detaches the window, which shows its background again.
    m_pSink.reset();
    m_nWindowKey = 0;
    m_bRunning = false;
    m_bPaused = false;
    m_bReverse = false;
    m_nSpeedStep = 0;
    m_bHardwareActive = false;
    std::shared_ptr<AudioOutput> pOut = CurrentOutput();
    if (pOut) {
        pOut->Flush();
    }
}

bool PlayerPort::Pause(bool bPause) {
    if (std::shared_ptr<SyncGroup> pGroup = Group()) {
        return pGroup->Pause(this, bPause);
    }
    return PauseSolo(bPause);
}

bool PlayerPort::PauseSolo(bool bPause) {
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (!m_pDemuxer && m_pLive) {
        return PauseStream(bPause);
    }
    if (!m_pDemuxer) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    if (!m_bRunning) {
        return true;
    }
    if (bPause) {
        return m_bPaused || EnterPause();
    }
    m_bPaused = false;
    m_pRenderer->SetPaused(false);
    std::shared_ptr<AudioOutput> pOut = CurrentOutput();
    if (pOut) {
        pOut->SetPaused(false);
    }
    ApplySpeed();
    return true;
}

bool PlayerPort::SkippingNonRef() const {
    return m_nThrowB > 0 && (Group() ? m_nGroupSpeedStep : m_nSpeedStep) > 0 && !m_bReverse && !m_bPaused && ReadyIndex() != nullptr;
}

bool PlayerPort::EnterPause() {
    const bool bWasSkipping = SkippingNonRef();
    m_bPaused = true;
    m_pRenderer->SetPaused(true);
    std::shared_ptr<AudioOutput> pOut = CurrentOutput();
    if (pOut) {
        pOut->SetPaused(true);
    }
    if (!bWasSkipping) {
        ApplySpeed();
        return true;
    }
    // Pictures decoded ahead in fast play have gaps where unreferenced ones
    // were left out: decode again from the shown frame, so that a step shows
    // the very next one. The counter keeps naming the shown frame.
    const uint32_t nShown = m_readings.nFrameNum.load();
    const bool bAny = m_readings.bShown.load();
    StopProducers();
    return StartForwardAt(bAny ? nShown + 1 : nShown, false, bAny);
}

bool PlayerPort::Stop() {
    if (std::shared_ptr<SyncGroup> pGroup = Group()) {
        return pGroup->Stop(this);
    }
    return StopSolo();
}

bool PlayerPort::StopSolo() {
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (!m_pDemuxer && IsStreamPort()) {
        StopStream();
        return true;
    }
    if (!m_pDemuxer) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    StopThreads();
    m_readings.Reset();
    return true;
}

bool PlayerPort::Fast() {
    if (std::shared_ptr<SyncGroup> pGroup = Group()) {
        return pGroup->Speed(this, true);
    }
    return FastSolo();
}

bool PlayerPort::FastSolo() {
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (!m_pDemuxer && IsStreamPort()) {
        return Fail(TAVRIX_ERR_NOT_SUPPORT); // a live stream plays at its own pace
    }
    if (!m_pDemuxer || !m_bRunning) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    if (m_nSpeedStep >= 4) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    if (m_nSpeedStep == 0) {
        std::shared_ptr<AudioOutput> pOut = CurrentOutput();
        if (pOut) {
            pOut->Flush(); // sound stops at once, not after what the device holds
        }
    }
    ++m_nSpeedStep;
    ApplySpeed();
    return true;
}

bool PlayerPort::Slow() {
    if (std::shared_ptr<SyncGroup> pGroup = Group()) {
        return pGroup->Speed(this, false);
    }
    return SlowSolo();
}

bool PlayerPort::SlowSolo() {
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (!m_pDemuxer && IsStreamPort()) {
        return Fail(TAVRIX_ERR_NOT_SUPPORT); // a live stream plays at its own pace
    }
    if (!m_pDemuxer || !m_bRunning) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    if (m_nSpeedStep <= -4) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    if (m_nSpeedStep == 0) {
        std::shared_ptr<AudioOutput> pOut = CurrentOutput();
        if (pOut) {
            pOut->Flush();
        }
    }
    --m_nSpeedStep;
    ApplySpeed();
    return true;
}

bool PlayerPort::ThrowBFrames(uint32_t nNum) {
    if (nNum > 2) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    std::lock_guard<std::mutex> lock(m_mtxControl);
    m_nThrowB = nNum;
    ApplySpeed();
    return true;
}

bool PlayerPort::JumpTo(uint32_t nFrame) {
    // Holds the control lock. The play state and the direction stay.
    StopProducers();
    const bool bShow = m_bPaused;
    return m_bReverse ? StartReverseAt(nFrame, bShow) : StartForwardAt(nFrame, bShow);
}

bool PlayerPort::SetCurrentFrameNum(uint32_t nFrame) {
    if (std::shared_ptr<SyncGroup> pGroup = Group()) {
        return pGroup->JumpToFrame(this, nFrame);
    }
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (!m_pDemuxer && IsStreamPort()) {
        return Fail(TAVRIX_ERR_NOT_SUPPORT); // a live stream has no frame index
    }
    if (!m_pDemuxer) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    const FrameIndex* pIndex = ReadyIndex();
    if (pIndex == nullptr) {
        // Without the index a jump could land on a frame other than the one
        // the counter names.
        return Fail(TAVRIX_ERR_NO_INDEX);
    }
    if (nFrame >= pIndex->Count()) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    if (!m_bRunning) {
        // A stopped port opens paused on the frame.
        if (!BuildThreads(m_pSink, true)) {
            return false;
        }
    }
    return JumpTo(nFrame);
}

bool PlayerPort::SetPlayedTimeMs(uint32_t nTimeMs) {
    if (std::shared_ptr<SyncGroup> pGroup = Group()) {
        return pGroup->JumpToTime(this, nTimeMs);
    }
    uint32_t nFrame = 0;
    {
        std::lock_guard<std::mutex> lock(m_mtxControl);
        if (!m_pDemuxer && IsStreamPort()) {
            return Fail(TAVRIX_ERR_NOT_SUPPORT);
        }
        if (!m_pDemuxer) {
            return Fail(TAVRIX_ERR_ORDER);
        }
        const FrameIndex* pIndex = ReadyIndex();
        if (pIndex == nullptr) {
            return Fail(TAVRIX_ERR_NO_INDEX);
        }
        // The last frame that starts at or before the time, counted from the first frame.
        const int64_t nPts = pIndex->PtsOfFrame(0) + av_rescale_q_rnd(nTimeMs, AVRational{1, 1000},
                                                                      pIndex->TimeBase(), AV_ROUND_DOWN);
        const int64_t n = pIndex->LastFrameAtOrBeforePts(nPts);
        nFrame = n > 0 ? static_cast<uint32_t>(n) : 0;
    }
    return SetCurrentFrameNum(nFrame);
}

bool PlayerPort::OneByOne() {
    if (std::shared_ptr<SyncGroup> pGroup = Group()) {
        return pGroup->Step(this, true);
    }
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (!m_pDemuxer && IsStreamPort()) {
        return Fail(TAVRIX_ERR_NOT_SUPPORT); // a live stream has no frame index
    }
    if (!m_pDemuxer) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    if (!m_bRunning) {
        // From a stop: the first frame, paused.
        if (!BuildThreads(m_pSink, true)) {
            return false;
        }
        if (!m_pDemuxer->Start(m_pAudio != nullptr)) {
            StopThreads();
            return Fail(TAVRIX_ERR_OPEN_FILE);
        }
        m_pRenderer->OpenGate(true);
        m_pVideo->Start(&m_pDemuxer->VideoQueue(), m_pRenderer.get(), m_pIndex.get(),
                        VideoDecoder::StartPoint());
        if (m_pAudio) {
            m_pAudio->Start(&m_pDemuxer->AudioQueue(), m_bRealTime);
        }
        ApplySpeed();
        return true;
    }
    if (!m_bPaused && !EnterPause()) {
        return false;
    }
    // Read once paused, with no picture in flight. Right after an open or a jump
    // nothing has shown yet: the step shows the frame the counter already names.
    const uint32_t nShown = m_readings.nFrameNum.load();
    const uint32_t nNext = m_pRenderer->CounterNamesShown() ? nShown + 1 : nShown;
    if (m_bReverse) {
        StopProducers();
        return StartForwardAt(nNext, true);
    }
    m_pRenderer->Step();
    // Sound queued for the device belongs to where the picture was.
    std::shared_ptr<AudioOutput> pOut = CurrentOutput();
    if (pOut && m_pAudio) {
        pOut->Flush();
        m_pAudio->RequestResync();
    }
    const FrameIndex* pIndex = ReadyIndex();
    if (pIndex != nullptr && nNext < pIndex->Count()) {
        PublishPosition(nNext);
    }
    return true;
}

bool PlayerPort::OneByOneBack() {
    if (std::shared_ptr<SyncGroup> pGroup = Group()) {
        return pGroup->Step(this, false);
    }
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (!m_pDemuxer && IsStreamPort()) {
        return Fail(TAVRIX_ERR_NOT_SUPPORT);
    }
    if (!m_pDemuxer || !m_bRunning) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    if (ReadyIndex() == nullptr) {
        return Fail(TAVRIX_ERR_NO_INDEX);
    }
    const uint32_t nShown = m_readings.nFrameNum.load();
    if (nShown == 0) {
        return Fail(TAVRIX_ERR_PARA_OVER); // nothing before the first frame
    }
    if (!m_bPaused && !EnterPause()) {
        return false;
    }
    if (!m_bReverse) {
        StopProducers();
        return StartReverseAt(static_cast<int64_t>(nShown) - 1, true);
    }
    // The reverse player queues the frames before the shown one.
    m_pRenderer->Step();
    PublishPosition(nShown - 1);
    return true;
}

bool PlayerPort::ReversePlay() {
    if (std::shared_ptr<SyncGroup> pGroup = Group()) {
        return pGroup->Reverse(this);
    }
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (!m_pDemuxer && IsStreamPort()) {
        return Fail(TAVRIX_ERR_NOT_SUPPORT); // a live stream has no frame index
    }
    if (!m_pDemuxer) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    const FrameIndex* pIndex = ReadyIndex();
    if (pIndex == nullptr) {
        return Fail(TAVRIX_ERR_NO_INDEX);
    }
    m_nSpeedStep = 0;
    if (!m_bRunning) {
        // From a stop: backwards from the last frame.
        if (!BuildThreads(m_pSink, false)) {
            return false;
        }
        return StartReverseAt(static_cast<int64_t>(pIndex->Count()) - 1, false);
    }
    if (!m_bReverse) {
        const uint32_t nShown = m_readings.nFrameNum.load();
        const bool bAny = m_readings.bShown.load();
        StopProducers();
        if (!StartReverseAt(bAny ? static_cast<int64_t>(nShown) - 1 : static_cast<int64_t>(nShown), false,
                            bAny)) {
            return false;
        }
    }
    ApplySpeed();
    if (m_bPaused) {
        m_bPaused = false;
        m_pRenderer->SetPaused(false);
    }
    return true;
}

bool PlayerPort::KeyFramePos(uint32_t nValue, uint32_t nType, bool bNext, TAVRIX_FRAME_POS* pOut) {
    if (pOut == nullptr || (nType != TAVRIX_BY_FRAMENUM && nType != TAVRIX_BY_FRAMETIME)) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (!m_pDemuxer && IsStreamPort()) {
        return Fail(TAVRIX_ERR_NOT_SUPPORT);
    }
    if (!m_pDemuxer) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    const FrameIndex* pIndex = ReadyIndex();
    if (pIndex == nullptr) {
        return Fail(TAVRIX_ERR_NO_INDEX);
    }
    const uint32_t nCount = pIndex->Count();
    const int64_t nFirstPts = pIndex->PtsOfFrame(0);
    const AVRational tb = pIndex->TimeBase();
    int64_t nFrame = nValue;
    if (nType == TAVRIX_BY_FRAMETIME) {
        const int64_t nLastMs =
            av_rescale_q(pIndex->PtsOfFrame(nCount - 1) - nFirstPts, tb, AVRational{1, 1000});
        if (nValue > nLastMs + 1000) {
            return Fail(TAVRIX_ERR_PARA_OVER);
        }
        nFrame = pIndex->LastFrameAtOrBeforePts(
            nFirstPts + av_rescale_q_rnd(nValue, AVRational{1, 1000}, tb, AV_ROUND_DOWN));
        if (nFrame < 0) {
            nFrame = 0;
        }
    }
    if (nFrame >= nCount) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    const int64_t nKey = bNext ? pIndex->NextKeyFrameAfter(static_cast<uint32_t>(nFrame))
                               : pIndex->KeyFrameAtOrBefore(static_cast<uint32_t>(nFrame));
    const FrameIndex::Entry* pEntry = nKey >= 0 ? pIndex->EntryOfFrame(static_cast<uint32_t>(nKey)) : nullptr;
    if (pEntry == nullptr) {
        return Fail(TAVRIX_ERR_PARA_OVER); // no key frame on that side
    }
    pOut->nFilePos = pEntry->nBytePos;
    pOut->nFrameNum = static_cast<uint32_t>(nKey);
    pOut->nFrameTime = static_cast<uint32_t>(av_rescale_q(pEntry->nPts - nFirstPts, tb, AVRational{1, 1000}));
    return true;
}

bool PlayerPort::Refresh(uint32_t nRegion) {
    if (nRegion > 1) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    std::lock_guard<std::mutex> lock(m_mtxControl);
    // Both regions come from one sink, which shows the picture in each.
    if (!m_pDemuxer && m_pLive) {
        m_pLive->RequestRefresh();
        return true;
    }
    if (!m_pDemuxer) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    if (m_pRenderer) {
        m_pRenderer->RequestRefresh();
    }
    return true;
}

bool PlayerPort::IsOpen() const {
    std::lock_guard<std::mutex> lock(m_mtxInfo);
    return m_bOpen;
}

uint32_t PlayerPort::FileTimeSec() const {
    std::lock_guard<std::mutex> lock(m_mtxInfo);
    return m_bOpen ? static_cast<uint32_t>(m_info.nDurationMs / 1000) : 0;
}

uint32_t PlayerPort::PlayedTimeMs() const {
    const int64_t nMs = m_readings.nPlayedMs.load();
    return nMs > 0 ? static_cast<uint32_t>(nMs) : 0;
}

uint32_t PlayerPort::TotalFrames() const {
    std::lock_guard<std::mutex> lock(m_mtxInfo);
    return m_bOpen ? m_info.nTotalFrames : 0;
}

bool PlayerPort::IndexReady() const {
    std::lock_guard<std::mutex> lock(m_mtxInfo);
    return m_bIndexReady;
}

uint32_t PlayerPort::CurrentFrameNum() const {
    return m_readings.nFrameNum.load();
}

bool PlayerPort::PictureSize(int32_t* pnWidth, int32_t* pnHeight) const {
    // A stream's size is known from its first decoded picture.
    if (!IsOpen() && !m_bStreamOpen.load()) {
        return false;
    }
    *pnWidth = m_readings.nWidth.load();
    *pnHeight = m_readings.nHeight.load();
    return *pnWidth > 0 && *pnHeight > 0;
}

bool PlayerPort::SystemTime(TAVRIX_SYSTEM_TIME* pstOut) const {
    int64_t nStartMs = 0;
    {
        std::lock_guard<std::mutex> lock(m_mtxInfo);
        if (!m_bOpen || !m_info.bHasGlobalTime) {
            return false;
        }
        nStartMs = m_info.nGlobalStartMs;
    }
    const int64_t nOffsetMs = m_readings.bShown.load() ? m_readings.nSourceMs.load() : 0;
    GlobalTime::ToSystemTime(nStartMs + nOffsetMs, pstOut);
    return true;
}

std::shared_ptr<AudioOutput> PlayerPort::CurrentOutput() const {
    std::lock_guard<std::mutex> lock(m_mtxSound);
    return m_pOutput;
}

bool PlayerPort::PlaySound() {
    int nWantedRate = 0;
    bool bPaused = false;
    {
        std::lock_guard<std::mutex> lock(m_mtxControl);
        bPaused = (m_bRunning || (m_pLive && m_pLive->Running())) && m_bPaused;
        if (m_pDemuxer && m_pDemuxer->AudioStream() != nullptr) {
            nWantedRate = m_pDemuxer->AudioStream()->codecpar->sample_rate;
        } else if (m_pLive) {
            nWantedRate = m_pLive->AudioRate();
        }
    }
    {
        std::lock_guard<std::mutex> lock(m_mtxSound);
        if (m_pOutput) {
            return true;
        }
        m_pOutput = AudioOutput::Open(m_nPort, nWantedRate);
        if (!m_pOutput) {
            return Fail(TAVRIX_ERR_NO_SOUND_DEVICE);
        }
        m_pOutput->SetVolume(m_nVolume);
        m_pOutput->SetGainPercent(m_nGainPercent);
        if (bPaused) {
            m_pOutput->SetPaused(true);
        }
    }
    // Outside the sound lock: a decoder waiting for the picture looks at the
    // sound output under the progress lock, so the two are never taken the
    // other way round. The wait ends now that someone listens.
    m_readings.NotifyProgress();
    return true;
}

bool PlayerPort::StopSound() {
    std::shared_ptr<AudioOutput> pOut;
    {
        std::lock_guard<std::mutex> lock(m_mtxSound);
        pOut = std::move(m_pOutput);
    }
    if (pOut) {
        pOut->Close(); // silence now, even while the decoder still holds it
    }
    return true;
}

bool PlayerPort::SetVolume(uint16_t nVolume) {
    std::lock_guard<std::mutex> lock(m_mtxSound);
    m_nVolume = nVolume;
    if (m_pOutput) {
        m_pOutput->SetVolume(nVolume);
    }
    return true;
}

} // namespace tavrix
