// The render thread of a port: takes decoded pictures from a small ring,
// waits for each one's instant on the frame clock, calls the display callback
// and hands the picture to the window's sink. Commands (pause, refresh, sink
// change) are posted to it and applied on its own thread. The last shown
// picture stays for refreshes until the next start.
#pragma once

#include "FfmpegPtr.h"
#include "FrameClock.h"
#include "FrameSink.h"
#include "FrameTarget.h"
#include "MotionBlender.h"
#include "PictureAdjuster.h"
#include "PlayReadings.h"
#include "SnapshotEncoder.h"
#include "VideoFrame.h"
#include "YuvConverter.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace tavrix {

class CallbackSet;
class PlayerPort;
class SyncGroup;

class VideoRenderer : public FrameTarget {
public:
    VideoRenderer(int nPort, CallbackSet* pCallbacks, PlayReadings* pReadings);
    ~VideoRenderer() override;
    VideoRenderer(const VideoRenderer&) = delete;
    VideoRenderer& operator=(const VideoRenderer&) = delete;

    // The port's picture settings and snapshot keeper; before Start.
    void SetPictureControls(std::shared_ptr<PictureAdjuster> pAdjuster,
                            std::shared_ptr<SnapshotEncoder> pSnapshots);

    void Start(bool bRealTime, bool bPaused);
    // Aborts and joins; drops queued pictures and the last one.
    void Stop();

    // Decoder side: blocks while the ring is full; false once aborted.
    bool Push(std::unique_ptr<VideoFrame> pFrame) override;

    // A producer change: CloseGate refuses pushes (waking a blocked one) and
    // drops the ring; once the old producers are joined, OpenGate lets the new
    // ones in and restarts the clock at their first picture. bShowFirst shows
    // that picture even while paused (a jump on a paused port). bTurn marks a
    // change of direction: the picture on screen stays for one frame interval
    // before the first new one, and a pause within that interval keeps it (an
    // investigator turning round on a paused port sees the same frame).
    void CloseGate();
    void OpenGate(bool bShowFirst, bool bTurn = false);
    // While paused: show the next picture of the ring, then stay paused.
    void Step();
    // The counter names the picture on screen (not the next one to show):
    // a picture has shown since the gate opened, or a turn holds the old one.
    bool CounterNamesShown() const;
    // Speed as a power of two, -4..4; above 0 late pictures are skipped.
    void SetSpeedStep(int nStep);

    void SetPaused(bool bPaused);
    void SetRealTime(bool bRealTime);
    // The sound clock, which leads while it knows the stream time playing
    // (see FollowMaster): answers false when it does not. Called on the render
    // thread with this renderer's lock held, so it must take no lock that is
    // held while calling into the renderer.
    using MasterClock = std::function<bool(std::chrono::steady_clock::time_point now, int64_t* pnPtsUs)>;
    void SetMasterClock(MasterClock fnMaster);
    void SetSink(std::shared_ptr<FrameSink> pSink);
    void RequestRefresh();
    bool Ended() const;

    // Lock-step play: pictures are due when the group's clock reaches their
    // global time (nZeroUs plus their offset from the first frame) instead of
    // by the port's own clock. Null leaves the group: the own clock starts
    // again at the next picture.
    void SetGroup(std::shared_ptr<SyncGroup> pGroup, const PlayerPort* pMember, int64_t nZeroUs);
    // The group's clock changed (speed, a member's pause): look again.
    void Nudge();
    // The window goes dark and the last picture is forgotten (a member whose
    // file begins after the group's time). Call with no producer running.
    void ClearPicture();
    // After a gate opened without a picture to show: a pause does not show
    // the first one either (a member waiting for its moment stays dark).
    void NothingToShow();

private:
    void Run();
    void FollowMaster(const VideoFrame& front, std::chrono::steady_clock::time_point now);
    void CallDisplay(VideoFrame& frame);
    // Makes frame.pShown right for the current picture settings.
    // bPlaying: a picture of a playing port (not a step, a jump or a refresh).
    void PrepareShown(VideoFrame& frame, bool bPlaying = false);
    // Motion flow: while waiting for the front picture's instant tDue, the
    // window gets blends of the last picture and the front one.
    bool MotionFlowWanted() const; // m_mtx held
    void PresentInBetween(std::chrono::steady_clock::time_point tDue, std::unique_lock<std::mutex>* pLock);
    void Publish(const VideoFrame& frame);
    void FireFileEnd();
    // Lock-step play: waits for or skips the front picture by the group's
    // clock. True when the front picture is to be shown now (*pbToWindow
    // false: to the callbacks only, the window is behind); false when the
    // loop must look again. Called with m_mtx held (released inside).
    bool PaceByGroup(std::unique_lock<std::mutex>* pLock, std::chrono::steady_clock::time_point now,
                     bool* pbToWindow);

    const int m_nPort;
    CallbackSet* const m_pCallbacks;
    PlayReadings* const m_pReadings;

    mutable std::mutex m_mtx;
    std::condition_variable m_cvWork;                  // the render thread waits for pictures and commands
    std::condition_variable m_cvSpace;                 // the decoder waits for room in the ring
    std::deque<std::unique_ptr<VideoFrame>> m_deqRing; // guarded by m_mtx
    bool m_bAbort = true;                              // guarded by m_mtx
    bool m_bPaused = false;                            // requested state; guarded by m_mtx
    bool m_bRealTime = true;                           // guarded by m_mtx
    bool m_bRefreshPending = false;                    // guarded by m_mtx
    bool m_bEnded = false;                             // guarded by m_mtx
    bool m_bGateClosed = false;                        // guarded by m_mtx
    bool m_bResetClock = false;                        // guarded by m_mtx
    int m_nSteps = 0;                                  // pictures to show while paused; guarded by m_mtx
    bool m_bShownSinceGate = true;                     // guarded by m_mtx
    bool m_bHoldFirst = false; // the first picture after a turn waits its interval; guarded by m_mtx
    std::chrono::steady_clock::time_point m_tHoldFrom; // start of that interval; guarded by m_mtx
    bool m_bInCallback = false;                        // a popped picture's callbacks run; guarded by m_mtx
    std::condition_variable m_cvCallbackDone;          // CloseGate waits for m_bInCallback to clear
    int m_nSpeedStep = 0;                              // requested speed; guarded by m_mtx
    std::shared_ptr<FrameSink> m_pSink;                // guarded by m_mtx
    MasterClock m_fnMaster;                            // guarded by m_mtx
    std::shared_ptr<SyncGroup> m_pGroup;               // guarded by m_mtx
    const PlayerPort* m_pGroupMember = nullptr;        // guarded by m_mtx
    int64_t m_nGroupZeroUs = 0;                        // guarded by m_mtx
    bool m_bGroupNudge = false;                        // guarded by m_mtx
    bool m_bClearPending = false;                      // guarded by m_mtx

    std::shared_ptr<PictureAdjuster> m_pAdjuster;  // set before Start; its own lock
    std::shared_ptr<SnapshotEncoder> m_pSnapshots; // set before Start; its own lock

    // Owned by the render thread while it runs.
    std::unique_ptr<VideoFrame> m_pLast;
    std::chrono::steady_clock::time_point m_tLastShown; // when m_pLast reached the window
    MotionBlender m_blender;
    FrameClock m_clock;
    YuvConverter m_yuv;
    std::thread m_thread;
};

} // namespace tavrix
