#include "VideoRenderer.h"

#include <pthread.h>

#include "CallbackSet.h"
#include "SyncGroup.h"

#include <algorithm>

namespace tavrix {
namespace {
// Three pictures ahead keep the clock fed without holding much memory.
constexpr size_t kRingSize = 3;
// Motion flow shows an in-between picture about this often: 25 a second,
// the pace of ordinary camera footage.
constexpr auto kFlowInterval = std::chrono::milliseconds(40);
// A member of a lock-step group looks at the group's clock at least this
// often while the clock waits for its members (they move it without waking
// each other), and this often at most otherwise.
constexpr auto kGroupPoll = std::chrono::milliseconds(2);
constexpr auto kGroupLongestWait = std::chrono::milliseconds(100);
} // namespace

VideoRenderer::VideoRenderer(int nPort, CallbackSet* pCallbacks, PlayReadings* pReadings)
    : m_nPort(nPort), m_pCallbacks(pCallbacks), m_pReadings(pReadings), m_yuv(nPort), m_blender(nPort) {}

void VideoRenderer::SetPictureControls(std::shared_ptr<PictureAdjuster> pAdjuster,
                                       std::shared_ptr<SnapshotEncoder> pSnapshots) {
    m_pAdjuster = std::move(pAdjuster);
    m_pSnapshots = std::move(pSnapshots);
}

VideoRenderer::~VideoRenderer() {
    Stop();
}

void VideoRenderer::Start(bool bRealTime, bool bPaused) {
    Stop();
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bAbort = false;
        m_bRealTime = bRealTime;
        m_bPaused = bPaused;
        m_bRefreshPending = false;
        m_bEnded = false;
        m_bGateClosed = false;
        m_bResetClock = false;
        m_nSteps = 0;
        m_nSpeedStep = 0;
        // Nothing of this play has shown yet: a pause before the first picture
        // still shows it, so that there is a picture to look at and to capture.
        // A member of a lock-step group shows nothing before the group's time
        // comes; the group steps a paused member itself once it has placed it.
        m_bShownSinceGate = m_pGroup != nullptr;
    }
    m_pReadings->bPaused = bPaused;
    m_pLast.reset();
    m_clock = FrameClock();
    if (m_pSnapshots) {
        m_pSnapshots->Forget(); // a snapshot names a picture of this play
    }
    if (m_pAdjuster) {
        // A change of settings shows the picture on screen again with them
        // (a paused port would otherwise keep the old look).
        m_pAdjuster->SetListener(this, [this] { RequestRefresh(); });
    }
    m_thread = std::thread(&VideoRenderer::Run, this);
}

void VideoRenderer::Stop() {
    if (m_pAdjuster) {
        m_pAdjuster->ClearListener(this); // returns once no call into this renderer runs
    }
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bAbort = true;
    }
    m_cvWork.notify_all();
    m_cvSpace.notify_all();
    if (m_thread.joinable()) {
        m_thread.join();
    }
    std::lock_guard<std::mutex> lock(m_mtx);
    m_deqRing.clear();
    m_pLast.reset();
}

bool VideoRenderer::Push(std::unique_ptr<VideoFrame> pFrame) {
    std::unique_lock<std::mutex> lock(m_mtx);
    m_cvSpace.wait(lock, [this] { return m_bAbort || m_bGateClosed || m_deqRing.size() < kRingSize; });
    if (m_bAbort || m_bGateClosed) {
        return false;
    }
    m_deqRing.push_back(std::move(pFrame));
    lock.unlock();
    m_cvWork.notify_all();
    return true;
}

void VideoRenderer::CloseGate() {
    std::unique_lock<std::mutex> lock(m_mtx);
    m_bGateClosed = true;
    m_deqRing.clear();
    m_nSteps = 0;
    m_cvSpace.notify_all();
    m_cvWork.notify_all();
    // A picture taken before the close finishes its callbacks first: once the
    // command returns, no callback names a frame from before it. (Callbacks
    // never call the transport, so this cannot wait on its own caller.)
    m_cvCallbackDone.wait(lock, [this] { return !m_bInCallback; });
}

void VideoRenderer::OpenGate(bool bShowFirst, bool bTurn) {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bHoldFirst = bTurn && !bShowFirst;
        m_tHoldFrom = std::chrono::steady_clock::now();
        m_bGateClosed = false;
        m_deqRing.clear();
        m_bResetClock = true;
        m_bEnded = false;
        m_bShownSinceGate = false;
        m_nSteps = bShowFirst ? 1 : 0;
    }
    m_pReadings->bEnded = false;
    m_cvWork.notify_all();
}

void VideoRenderer::Step() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        ++m_nSteps;
    }
    m_cvWork.notify_all();
}

void VideoRenderer::SetSpeedStep(int nStep) {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_nSpeedStep = nStep;
    }
    m_cvWork.notify_all();
}

void VideoRenderer::SetPaused(bool bPaused) {
    {
        std::unique_lock<std::mutex> lock(m_mtx);
        m_bPaused = bPaused;
        // A picture taken off the ring just before the pause still publishes its
        // number: once the pause returns, the counter names the frame that stays.
        // (Not from a callback of this thread, which would wait for itself.)
        if (bPaused && std::this_thread::get_id() != m_thread.get_id()) {
            m_cvCallbackDone.wait(lock, [this] { return !m_bInCallback; });
        }
        if (!bPaused) {
            m_nSteps = 0; // steps belong to the pause they were asked in
            // A turn paused before its first picture waits a whole interval
            // again from the resume.
            m_tHoldFrom = std::chrono::steady_clock::now();
        } else if (!m_bShownSinceGate && !m_bHoldFirst) {
            // Paused right after a jump: the target still shows, so that the
            // picture is the frame the counter names.
            m_nSteps = std::max(m_nSteps, 1);
        }
    }
    // Sound decoded for nobody waits on a paused picture without a time bound.
    m_pReadings->bPaused = bPaused;
    m_pReadings->NotifyProgress();
    m_cvWork.notify_all();
}

bool VideoRenderer::CounterNamesShown() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_bShownSinceGate || m_bHoldFirst;
}

void VideoRenderer::SetRealTime(bool bRealTime) {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bRealTime = bRealTime;
    }
    m_cvWork.notify_all();
}

void VideoRenderer::SetSink(std::shared_ptr<FrameSink> pSink) {
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

void VideoRenderer::SetMasterClock(MasterClock fnMaster) {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_fnMaster = std::move(fnMaster);
}

void VideoRenderer::FollowMaster(const VideoFrame& front, std::chrono::steady_clock::time_point now) {
    // Sound plays only at normal speed and forward (in reverse the clock
    // values are negated stamps), so only then does it lead; otherwise, and
    // while it does not know what plays (paused, flushed by a jump, run dry),
    // the pictures keep their own clock. The picture held after a turn keeps
    // its interval.
    int64_t nMasterUs = 0;
    if (m_fnMaster && m_clock.SpeedStep() == 0 && !m_bHoldFirst && front.nClockUs == front.nPtsUs &&
        m_fnMaster(now, &nMasterUs)) {
        m_clock.Follow(nMasterUs, now, front.nClockUs);
    } else {
        m_clock.LoseMaster();
    }
}

void VideoRenderer::RequestRefresh() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bRefreshPending = true;
    }
    m_cvWork.notify_all();
}

bool VideoRenderer::Ended() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_bEnded;
}

void VideoRenderer::Run() {
    pthread_setname_np(pthread_self(), "tavrix-render"); // names the thread in debuggers and top
    std::unique_lock<std::mutex> lock(m_mtx);
    bool bClockPaused = false;
    while (true) {
        // A pause or resume wakes the thread too: the clock must stop at the
        // moment of the pause, not at the next picture.
        m_cvWork.wait(lock, [this, &bClockPaused] {
            return m_bAbort || m_bRefreshPending || m_bClearPending || m_bPaused != bClockPaused ||
                   m_nSpeedStep != m_clock.SpeedStep() ||
                   ((!m_bPaused || m_nSteps > 0) && !m_deqRing.empty());
        });
        if (m_bAbort) {
            break;
        }
        const auto now = std::chrono::steady_clock::now();
        if (m_bPaused != bClockPaused) {
            bClockPaused = m_bPaused;
            bClockPaused ? m_clock.Pause(now) : m_clock.Resume(now);
            // In-between pictures count from the resume, not from before the pause.
            m_tLastShown = now;
            continue;
        }
        if (m_nSpeedStep != m_clock.SpeedStep()) {
            m_clock.SetSpeedStep(m_nSpeedStep, now);
            continue;
        }
        if (m_bClearPending) {
            m_bClearPending = false;
            m_bRefreshPending = false;
            std::shared_ptr<FrameSink> pSink = m_pSink;
            std::unique_ptr<VideoFrame> pOld = std::move(m_pLast);
            lock.unlock();
            pOld.reset();
            if (pSink) {
                pSink->Clear();
            }
            lock.lock();
            continue;
        }
        if (m_bRefreshPending) {
            m_bRefreshPending = false;
            if (!m_bPaused && !m_bEnded && m_nSpeedStep >= 0) {
                // Playing at normal speed or faster: the next picture shows
                // the new settings soon enough. Making the shown one again
                // would cost a filter rebuild per change, and changes in quick
                // succession (a view being turned) would keep the next
                // picture from ever showing.
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
        const bool bStep = m_bPaused;
        if (bStep) {
            --m_nSteps;
        }
        VideoFrame& front = *m_deqRing.front();
        if (front.bEos) {
            m_deqRing.pop_front();
            m_cvSpace.notify_all();
            m_bEnded = true;
            m_bInCallback = true;
            std::shared_ptr<SyncGroup> pGroup = m_pGroup;
            const PlayerPort* pMember = m_pGroupMember;
            lock.unlock();
            m_pReadings->bEnded = true;
            m_pReadings->NotifyProgress();
            if (pGroup) {
                pGroup->Arrive(pMember, false, true, 0, now);
            }
            FireFileEnd();
            lock.lock();
            m_bInCallback = false;
            m_cvCallbackDone.notify_all();
            continue;
        }
        if (m_bHoldFirst && !bStep) {
            // After a turn the picture on screen keeps its interval; a pause
            // before the end of it cancels the new picture.
            const auto tDue = m_tHoldFrom + std::chrono::microseconds(front.nDurationUs);
            if (now < tDue) {
                // (The clock is rebased when the picture shows, so a pending
                // rebase is no reason to wake.)
                m_cvWork.wait_until(lock, tDue, [this] {
                    return m_bAbort || m_bRefreshPending || m_bPaused || m_nSpeedStep != m_clock.SpeedStep();
                });
                continue;
            }
        }
        if (m_bResetClock || bStep) {
            // The first picture after a jump, or a single step, sets the clock.
            m_bResetClock = false;
            m_clock.Rebase(front.nClockUs, now);
            m_tLastShown = now;
        }
        bool bToWindow = m_pSink != nullptr;
        if (m_pGroup && !bStep) {
            if (!PaceByGroup(&lock, now, &bToWindow)) {
                continue;
            }
        } else if (m_bRealTime && !bStep) {
            FollowMaster(front, now);
            const auto tDue = m_clock.DueTime(front.nClockUs, now);
            if (now < tDue) {
                // Wake early for commands; the loop re-evaluates the front.
                // With motion flow the wait is cut into slices, each ending
                // with an in-between picture.
                const bool bFlow = MotionFlowWanted();
                const auto tWake = bFlow ? std::min(tDue, now + kFlowInterval) : tDue;
                const bool bCommand = m_cvWork.wait_until(lock, tWake, [this] {
                    return m_bAbort || m_bRefreshPending || m_bPaused || m_bResetClock ||
                           m_nSpeedStep != m_clock.SpeedStep();
                });
                if (bFlow && !bCommand && tWake < tDue) {
                    PresentInBetween(tDue, &lock);
                }
                continue;
            }
            // Behind the clock with the next picture already due: show this
            // one to the callbacks only and let the window catch up. Above
            // normal speed it is not shown at all, so that the played time
            // keeps pace with the clock.
            if (m_deqRing.size() > 1 && !m_deqRing[1]->bEos &&
                m_clock.DueTime(m_deqRing[1]->nClockUs, now) <= now) {
                m_pReadings->nLateFrames.fetch_add(1);
                if (m_clock.SpeedStep() > 0) {
                    m_deqRing.pop_front();
                    m_cvSpace.notify_all();
                    continue;
                }
                bToWindow = false;
            }
        }
        std::unique_ptr<VideoFrame> pFrame = std::move(m_deqRing.front());
        m_deqRing.pop_front();
        m_bShownSinceGate = true;
        m_bHoldFirst = false;
        m_bInCallback = true;
        std::shared_ptr<FrameSink> pSink = bToWindow ? m_pSink : nullptr;
        std::shared_ptr<SyncGroup> pGroup = m_pGroup;
        const PlayerPort* pMember = m_pGroupMember;
        lock.unlock();
        m_cvSpace.notify_all();
        if (pGroup && pGroup->Waiting()) {
            // An unpaced clock must not move on past this member's next
            // picture before it has been seen.
            pGroup->Arrive(pMember, false, false, 0, now);
        }
        PrepareShown(*pFrame, !bStep);
        Publish(*pFrame);
        CallDisplay(*pFrame);
        lock.lock();
        m_bInCallback = false;
        m_cvCallbackDone.notify_all();
        lock.unlock();
        if (pSink) {
            pSink->Present(*pFrame);
            m_tLastShown = std::chrono::steady_clock::now();
        }
        m_pLast = std::move(pFrame);
        lock.lock();
    }
}

void VideoRenderer::Publish(const VideoFrame& frame) {
    if (m_pSnapshots) {
        // The counter moves with the kept picture, under the keeper's lock:
        // a snapshot taken between two readings of the counter is a frame
        // between them.
        m_pSnapshots->Keep(frame.Picture(), frame.nFrameNum, &m_pReadings->nFrameNum);
    } else {
        m_pReadings->nFrameNum = frame.nFrameNum;
    }
    m_pReadings->nPlayedMs = frame.nPtsUs / 1000;
    m_pReadings->nSourceMs = frame.nSourcePtsUs / 1000;
    m_pReadings->bShown = true;
    m_pReadings->NotifyProgress();
}

void VideoRenderer::CallDisplay(VideoFrame& frame) {
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
    info.nFrameNum = frame.nFrameNum;
    cb.pfn(&info);
}

void VideoRenderer::PrepareShown(VideoFrame& frame, bool bPlaying) {
    if (m_pAdjuster) {
        m_pAdjuster->Prepare(frame, bPlaying);
    }
}

bool VideoRenderer::MotionFlowWanted() const {
    return m_pAdjuster && m_pAdjuster->MotionFlow() == 1 && m_clock.SpeedStep() < 0 && m_pLast && m_pSink &&
           !m_deqRing.empty() && !m_deqRing.front()->bEos && m_deqRing.front()->pFrame;
}

void VideoRenderer::PresentInBetween(std::chrono::steady_clock::time_point tDue,
                                     std::unique_lock<std::mutex>* pLock) {
    if (!MotionFlowWanted()) {
        return;
    }
    // A reference to the next picture: a closing gate may drop it from the
    // ring while the blend runs without the lock.
    VideoFrame next;
    next.pFrame = MakeFrame();
    if (!next.pFrame || av_frame_ref(next.pFrame.get(), m_deqRing.front()->pFrame.get()) < 0) {
        return;
    }
    std::shared_ptr<FrameSink> pSink = m_pSink;
    pLock->unlock();
    const auto now = std::chrono::steady_clock::now();
    const auto nSpanUs = std::chrono::duration_cast<std::chrono::microseconds>(tDue - m_tLastShown).count();
    const auto nDoneUs = std::chrono::duration_cast<std::chrono::microseconds>(now - m_tLastShown).count();
    if (nSpanUs > 0 && nDoneUs > 0 && nDoneUs < nSpanUs) {
        PrepareShown(*m_pLast);
        PrepareShown(next);
        const int nWeight = static_cast<int>(nDoneUs * 256 / nSpanUs);
        VideoFrame blend;
        // The blend is of pictures the settings have made already: it is the
        // shown picture, so the overlays follow its rotation and flips.
        blend.pShown = m_blender.Blend(m_pLast->Picture(), next.Picture(), nWeight);
        blend.pFrame = MakeFrame();
        if (blend.pShown && blend.pFrame && av_frame_ref(blend.pFrame.get(), m_pLast->pFrame.get()) >= 0) {
            // Already as the settings make it: marked so nothing applies them again.
            blend.nShownSerial = m_pLast->nShownSerial;
            blend.nShownRotate = m_pLast->nShownRotate;
            blend.nShownFlip = m_pLast->nShownFlip;
            blend.nPtsUs = m_pLast->nPtsUs;
            blend.nDurationUs = m_pLast->nDurationUs;
            blend.nSourcePtsUs = m_pLast->nSourcePtsUs;
            blend.nClockUs = m_pLast->nClockUs;
            blend.nFrameNum = m_pLast->nFrameNum;
            blend.nSerial = m_pLast->nSerial;
            pSink->Present(blend);
        }
    }
    pLock->lock();
}

void VideoRenderer::SetGroup(std::shared_ptr<SyncGroup> pGroup, const PlayerPort* pMember, int64_t nZeroUs) {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        const bool bLeaving = m_pGroup && !pGroup;
        m_pGroup = std::move(pGroup);
        m_pGroupMember = pMember;
        m_nGroupZeroUs = nZeroUs;
        m_bGroupNudge = true;
        if (bLeaving) {
            m_bResetClock = true; // on by itself from the next picture
        }
    }
    m_cvWork.notify_all();
}

void VideoRenderer::Nudge() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bGroupNudge = true;
    }
    m_cvWork.notify_all();
}

void VideoRenderer::ClearPicture() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bClearPending = true;
    }
    // Readers learn at once that nothing shows: the group's time has not
    // reached this file.
    m_pReadings->bShown = false;
    if (m_pSnapshots) {
        m_pSnapshots->Forget();
    }
    m_cvWork.notify_all();
}

void VideoRenderer::NothingToShow() {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_bShownSinceGate = true;
    m_nSteps = 0;
}

bool VideoRenderer::PaceByGroup(std::unique_lock<std::mutex>* pLock, std::chrono::steady_clock::time_point now,
                                bool* pbToWindow) {
    std::shared_ptr<SyncGroup> pGroup = m_pGroup;
    VideoFrame* pFront = m_deqRing.front().get();
    const int64_t nFrontUs = m_nGroupZeroUs + pFront->nSourcePtsUs;
    if (pGroup->Waiting()) {
        // Tell the clock this member has its picture; it may move the clock.
        const PlayerPort* pMember = m_pGroupMember;
        pLock->unlock();
        pGroup->Arrive(pMember, true, false, nFrontUs, now);
        pLock->lock();
        if (m_bAbort || m_deqRing.empty() || m_deqRing.front().get() != pFront || m_pGroup != pGroup) {
            return false;
        }
    }
    const auto tDue = pGroup->DueTime(nFrontUs, pFront->nSpanUs > 0 ? pFront->nSpanUs : pFront->nDurationUs, now);
    if (now < tDue) {
        const auto tWake = pGroup->Waiting() ? now + kGroupPoll : std::min(tDue, now + kGroupLongestWait);
        m_cvWork.wait_until(*pLock, tWake, [this] {
            return m_bAbort || m_bRefreshPending || m_bClearPending || m_bPaused || m_bResetClock ||
                   m_bGroupNudge || m_nSpeedStep != m_clock.SpeedStep();
        });
        m_bGroupNudge = false;
        return false;
    }
    // Behind the group with the next picture already due as well: this one
    // goes to the callbacks only (or, above normal speed, nowhere), so the
    // window catches up with the others.
    if (m_deqRing.size() > 1 && !m_deqRing[1]->bEos &&
        pGroup->DueTime(m_nGroupZeroUs + m_deqRing[1]->nSourcePtsUs,
                        m_deqRing[1]->nSpanUs > 0 ? m_deqRing[1]->nSpanUs : m_deqRing[1]->nDurationUs, now) <= now) {
        if (!pGroup->Waiting()) {
            m_pReadings->nLateFrames.fetch_add(1);
        }
        if (m_nSpeedStep > 0) {
            m_deqRing.pop_front();
            m_cvSpace.notify_all();
            return false;
        }
        *pbToWindow = false;
    }
    return true;
}

void VideoRenderer::FireFileEnd() {
    const CallbackSet::FileEnd cb = m_pCallbacks->GetFileEnd();
    if (cb.pfn != nullptr) {
        cb.pfn(m_nPort, cb.pUser);
    }
}

} // namespace tavrix
