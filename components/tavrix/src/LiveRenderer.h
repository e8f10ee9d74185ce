// The render thread of live play: shows each decoded picture as soon as its
// time stamp says, on a clock anchored at the first picture, and keeps the
// delay from growing.
//
//  - A picture due further ahead than a stretch of the stream could be (its
//    stamps jumped) or later than network jitter explains (the stream
//    stalled) anchors the clock afresh at itself and shows now.
//  - A picture that is late while the next one is due as well is dropped and
//    counted, not queued behind.
//  - Pictures that pile up ahead of the clock (the burst the container's
//    probe leaves at the start, a burst after a stall, a camera clock running
//    fast) are shown at twice their pace until the backlog is small again:
//    every picture still shows, and the delay shrinks to what smooth play
//    needs.
//
// The ring holds at most the display buffer's count of pictures; the decoder
// waits for room, except while paused, when the oldest picture gives way.
// Nothing is published as a frame number or played time: a live stream has
// neither.
#pragma once

#include "CallbackSet.h"
#include "FrameClock.h"
#include "FrameSink.h"
#include "FrameTarget.h"
#include "PictureAdjuster.h"
#include "SnapshotEncoder.h"
#include "StreamCounters.h"
#include "VideoFrame.h"
#include "YuvConverter.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

namespace tavrix {

class LiveRenderer : public FrameTarget {
public:
    LiveRenderer(int nPort, CallbackSet* pCallbacks, StreamCounters* pCounters);
    ~LiveRenderer() override;
    LiveRenderer(const LiveRenderer&) = delete;
    LiveRenderer& operator=(const LiveRenderer&) = delete;

    // The port's picture settings and snapshot keeper; before Start.
    void SetPictureControls(std::shared_ptr<PictureAdjuster> pAdjuster,
                            std::shared_ptr<SnapshotEncoder> pSnapshots);

    void Start(size_t nRingSize, bool bRealTime);
    // Refuses pictures from now on and wakes a waiting decoder; then Join.
    void Abort();
    void Join();

    bool Push(std::unique_ptr<VideoFrame> pFrame) override;
    // The demuxer's newest video stamp (the same scale as VideoFrame::nPtsUs):
    // pictures still in the decoder's queue count towards the backlog.
    void NoteIncoming(int64_t nPtsUs);
    // A picture has shown since the start.
    bool ShownAny() const { return m_bShownAny.load(); }

    void SetRingSize(size_t nRingSize);
    void SetPaused(bool bPaused);
    // false shows each picture as soon as it is decoded.
    void SetRealTime(bool bRealTime);
    void SetSink(std::shared_ptr<FrameSink> pSink);
    void RequestRefresh();

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    void Run();
    // What to do with the front picture now (render thread, m_mtx held).
    enum class Action { Show, Drop, Wait };
    Action Decide(TimePoint now, TimePoint* ptUntil);
    void UpdateCatchUp(TimePoint now);
    void Show(std::unique_ptr<VideoFrame> pFrame, std::unique_lock<std::mutex>* pLock);
    void CallDisplay(VideoFrame& frame, uint32_t nIndex);
    // Makes frame.pShown right for the current picture settings.
    // bPlaying: a picture shown as it arrives (not a refresh).
    void PrepareShown(VideoFrame& frame, bool bPlaying = false);

    const int m_nPort;
    CallbackSet* const m_pCallbacks;
    StreamCounters* const m_pCounters;

    mutable std::mutex m_mtx;
    std::condition_variable m_cvWork;                  // the render thread waits for pictures and commands
    std::condition_variable m_cvSpace;                 // the decoder waits for room in the ring
    std::deque<std::unique_ptr<VideoFrame>> m_deqRing; // guarded by m_mtx
    size_t m_nRingSize = 15;                           // guarded by m_mtx
    bool m_bAbort = true;                              // guarded by m_mtx
    bool m_bPaused = false;                            // guarded by m_mtx
    bool m_bRealTime = true;                           // guarded by m_mtx
    bool m_bRefreshPending = false;                    // guarded by m_mtx
    bool m_bHasIncoming = false;                       // guarded by m_mtx
    int64_t m_nIncomingUs = 0;                         // guarded by m_mtx
    std::shared_ptr<FrameSink> m_pSink;                // guarded by m_mtx
    std::atomic<bool> m_bShownAny{false};

    std::shared_ptr<PictureAdjuster> m_pAdjuster;  // set before Start; its own lock
    std::shared_ptr<SnapshotEncoder> m_pSnapshots; // set before Start; its own lock

    // Owned by the render thread while it runs.
    bool m_bAnchored = false;
    FrameClock m_clock;
    uint32_t m_nShown = 0; // pictures shown since the start: the display index
    std::unique_ptr<VideoFrame> m_pLast;
    YuvConverter m_yuv;
    std::thread m_thread;
};

} // namespace tavrix
