#include "LiveRenderer.h"

#include <pthread.h>

#include <algorithm>

namespace tavrix {
namespace {
// Stamps further apart than this (either way) are not one stretch of the
// stream: a camera restarted, the clock wrapped, data went missing.
constexpr int64_t kJumpUs = 2000000;
// A picture due more than this ahead of the clock follows a gap in the
// stamps, not a burst: waiting for it would only freeze the picture.
constexpr int64_t kAheadJumpUs = 500000;
// A lone picture later than this follows a stall of the stream: the clock
// starts again from it instead of finding every picture after it late.
constexpr int64_t kLateRebaseUs = 300000;
// A picture is dropped for the next one only when that one is overdue by more
// than this: the render thread's own wake-up jitter is no reason to drop.
constexpr int64_t kDropGraceUs = 40000;
// Backlog (stream time queued ahead of the clock) above which the pictures
// play at twice their pace, and below which they return to it. The end is
// the cushion that rides over ordinary network jitter.
constexpr int64_t kCatchUpStartUs = 120000;
constexpr int64_t kCatchUpEndUs = 60000;
} // namespace

LiveRenderer::LiveRenderer(int nPort, CallbackSet* pCallbacks, StreamCounters* pCounters)
    : m_nPort(nPort), m_pCallbacks(pCallbacks), m_pCounters(pCounters), m_yuv(nPort) {}

LiveRenderer::~LiveRenderer() {
    Abort();
    Join();
}

void LiveRenderer::SetPictureControls(std::shared_ptr<PictureAdjuster> pAdjuster,
                                      std::shared_ptr<SnapshotEncoder> pSnapshots) {
    m_pAdjuster = std::move(pAdjuster);
    m_pSnapshots = std::move(pSnapshots);
}

void LiveRenderer::Start(size_t nRingSize, bool bRealTime) {
    Abort();
    Join();
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bAbort = false;
        m_nRingSize = std::max<size_t>(1, nRingSize);
        m_bRealTime = bRealTime;
        m_bPaused = false;
        m_bRefreshPending = false;
        m_bHasIncoming = false;
    }
    m_bAnchored = false;
    m_clock = FrameClock();
    m_nShown = 0;
    m_bShownAny = false;
    m_pLast.reset();
    if (m_pSnapshots) {
        m_pSnapshots->Forget(); // a snapshot names a picture of this play
    }
    if (m_pAdjuster) {
        // A change of settings shows the picture on screen again with them.
        m_pAdjuster->SetListener(this, [this] { RequestRefresh(); });
    }
    m_thread = std::thread(&LiveRenderer::Run, this);
}

void LiveRenderer::Abort() {
    if (m_pAdjuster) {
        m_pAdjuster->ClearListener(this); // returns once no call into this renderer runs
    }
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bAbort = true;
    }
    m_cvWork.notify_all();
    m_cvSpace.notify_all();
}

void LiveRenderer::Join() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
    std::lock_guard<std::mutex> lock(m_mtx);
    m_deqRing.clear();
    m_pLast.reset();
}

bool LiveRenderer::Push(std::unique_ptr<VideoFrame> pFrame) {
    std::unique_lock<std::mutex> lock(m_mtx);
    m_cvSpace.wait(lock, [this] { return m_bAbort || m_bPaused || m_deqRing.size() < m_nRingSize; });
    if (m_bAbort) {
        return false;
    }
    // Paused: the stream goes on, so the ring keeps its newest pictures.
    while (m_deqRing.size() >= m_nRingSize) {
        m_deqRing.pop_front();
    }
    m_deqRing.push_back(std::move(pFrame));
    lock.unlock();
    m_cvWork.notify_all();
    return true;
}

void LiveRenderer::NoteIncoming(int64_t nPtsUs) {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_bHasIncoming = true;
    m_nIncomingUs = nPtsUs;
}

void LiveRenderer::SetRingSize(size_t nRingSize) {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_nRingSize = std::max<size_t>(1, nRingSize);
    }
    m_cvSpace.notify_all();
}

void LiveRenderer::SetPaused(bool bPaused) {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bPaused = bPaused;
    }
    m_cvWork.notify_all();
    m_cvSpace.notify_all();
}

void LiveRenderer::SetRealTime(bool bRealTime) {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bRealTime = bRealTime;
    }
    m_cvWork.notify_all();
}

void LiveRenderer::SetSink(std::shared_ptr<FrameSink> pSink) {
    std::shared_ptr<FrameSink> pOld;
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        pOld = std::move(m_pSink);
        m_pSink = std::move(pSink);
        m_bRefreshPending = m_pSink != nullptr;
    }
    m_cvWork.notify_all();
    // pOld goes here, outside the lock: its destructor talks to the GUI thread.
}

void LiveRenderer::RequestRefresh() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bRefreshPending = true;
    }
    m_cvWork.notify_all();
}

void LiveRenderer::UpdateCatchUp(TimePoint now) {
    int64_t nNewestUs = m_deqRing.back()->nPtsUs;
    if (m_bHasIncoming && std::abs(m_nIncomingUs - nNewestUs) < kJumpUs) {
        nNewestUs = std::max(nNewestUs, m_nIncomingUs);
    }
    const int64_t nBacklogUs = nNewestUs - m_clock.ValueAt(now);
    int nStep = m_clock.SpeedStep();
    if (nBacklogUs > kCatchUpStartUs && nBacklogUs < kJumpUs) {
        nStep = 1;
    } else if (nBacklogUs < kCatchUpEndUs || nBacklogUs >= kJumpUs) {
        nStep = 0;
    }
    if (nStep != m_clock.SpeedStep()) {
        m_clock.SetSpeedStep(nStep, now);
    }
}

LiveRenderer::Action LiveRenderer::Decide(TimePoint now, TimePoint* ptUntil) {
    const VideoFrame& front = *m_deqRing.front();
    if (!m_bRealTime) {
        m_bAnchored = false; // real time again starts from the picture then shown
        return Action::Show;
    }
    if (!m_bAnchored) {
        m_bAnchored = true;
        m_clock.SetSpeedStep(0, now);
        m_clock.Rebase(front.nPtsUs, now);
        return Action::Show;
    }
    UpdateCatchUp(now);
    // (DueTime starts the clock afresh by itself for stamps seconds away.)
    const TimePoint tDue = m_clock.DueTime(front.nPtsUs, now);
    const int64_t nAheadUs = std::chrono::duration_cast<std::chrono::microseconds>(tDue - now).count();
    if (nAheadUs > kAheadJumpUs) {
        m_clock.Rebase(front.nPtsUs, now);
        return Action::Show;
    }
    if (nAheadUs > 0) {
        *ptUntil = tDue;
        return Action::Wait;
    }
    if (m_deqRing.size() > 1) {
        const int64_t nNextLateUs = m_clock.ValueAt(now) - m_deqRing[1]->nPtsUs;
        if (nNextLateUs > kDropGraceUs && nNextLateUs < kJumpUs) {
            return Action::Drop;
        }
    }
    if (-nAheadUs > kLateRebaseUs) {
        m_clock.Rebase(front.nPtsUs, now);
    }
    return Action::Show;
}

void LiveRenderer::Run() {
    pthread_setname_np(pthread_self(), "tavrix-live-rnd"); // names the thread in debuggers and top
    std::unique_lock<std::mutex> lock(m_mtx);
    bool bWasPaused = false;
    while (true) {
        m_cvWork.wait(lock, [this, bWasPaused] {
            return m_bAbort || m_bRefreshPending || m_bPaused != bWasPaused ||
                   (!m_bPaused && !m_deqRing.empty());
        });
        if (m_bAbort) {
            break;
        }
        if (m_bPaused != bWasPaused) {
            bWasPaused = m_bPaused;
            if (!bWasPaused && m_deqRing.size() > 1) {
                // Live again: from the newest picture, not from where the pause held.
                m_deqRing.erase(m_deqRing.begin(), m_deqRing.end() - 1);
                m_cvSpace.notify_all();
            }
            m_bAnchored = false;
            continue;
        }
        if (m_bRefreshPending) {
            m_bRefreshPending = false;
            if (!m_bPaused && (m_bAnchored || !m_deqRing.empty())) {
                // Pictures are flowing: the next one shows the new settings
                // soon enough. Making the shown one again would cost a filter
                // rebuild per change, and changes in quick succession (a view
                // being turned) would keep the next picture from ever showing.
                continue;
            }
            std::shared_ptr<FrameSink> pSink = m_pSink;
            if (m_pLast) {
                // The settings may have changed: the snapshots follow them
                // even without a window.
                lock.unlock();
                PrepareShown(*m_pLast);
                if (m_pSnapshots) {
                    m_pSnapshots->Keep(m_pLast->Picture(), m_pLast->nFrameNum, nullptr);
                }
                if (pSink) {
                    pSink->Present(*m_pLast);
                }
                lock.lock();
            }
            continue;
        }
        TimePoint tUntil;
        switch (Decide(std::chrono::steady_clock::now(), &tUntil)) {
        case Action::Wait:
            // Woken early by a new picture or a command: the loop decides again.
            m_cvWork.wait_until(lock, tUntil);
            break;
        case Action::Drop:
            m_deqRing.pop_front();
            m_pCounters->nLateFrames.fetch_add(1);
            m_cvSpace.notify_all();
            break;
        case Action::Show: {
            std::unique_ptr<VideoFrame> pFrame = std::move(m_deqRing.front());
            m_deqRing.pop_front();
            Show(std::move(pFrame), &lock);
            break;
        }
        }
    }
}

void LiveRenderer::Show(std::unique_ptr<VideoFrame> pFrame, std::unique_lock<std::mutex>* pLock) {
    std::shared_ptr<FrameSink> pSink = m_pSink;
    const uint32_t nIndex = m_nShown++;
    pLock->unlock();
    m_cvSpace.notify_all();
    // Counted first: whoever the callback tells finds it in the counters.
    m_pCounters->nShownFrames.fetch_add(1);
    m_bShownAny = true;
    PrepareShown(*pFrame, true); // live pictures show only while playing
    if (m_pSnapshots) {
        m_pSnapshots->Keep(pFrame->Picture(), nIndex, nullptr);
    }
    CallDisplay(*pFrame, nIndex);
    if (pSink) {
        pSink->Present(*pFrame);
    }
    m_pLast = std::move(pFrame);
    pLock->lock();
}

void LiveRenderer::CallDisplay(VideoFrame& frame, uint32_t nIndex) {
    const CallbackSet::Display cb = m_pCallbacks->GetDisplay();
    if (cb.pfn == nullptr || !frame.pFrame) {
        return;
    }
    const AVFrame* pPicture = frame.Picture();
    if (frame.vecYv12.empty() && !m_yuv.ToYv12(pPicture, &frame.vecYv12)) {
        return;
    }
    TAVRIX_DISPLAY_INFO info{};
    info.nPort = m_nPort;
    info.pBuf = reinterpret_cast<char*>(frame.vecYv12.data());
    info.nBufLen = static_cast<int32_t>(frame.vecYv12.size());
    info.nWidth = pPicture->width;
    info.nHeight = pPicture->height;
    info.nStamp = static_cast<int32_t>(frame.nPtsUs / 1000);
    info.nType = TAVRIX_FRAME_YV12;
    info.nUser = cb.pUser;
    info.nFrameNum = nIndex;
    cb.pfn(&info);
}

void LiveRenderer::PrepareShown(VideoFrame& frame, bool bPlaying) {
    if (m_pAdjuster) {
        m_pAdjuster->Prepare(frame, bPlaying);
    }
}

} // namespace tavrix
