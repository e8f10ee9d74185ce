// What the render thread publishes about the shown frame, for readers on any
// thread. Each value is an atomic word; a reader may see the previous frame's.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace tavrix {

struct PlayReadings {
    std::atomic<uint32_t> nFrameNum{0}; // display index of the shown frame
    std::atomic<int64_t> nPlayedMs{0};  // stamp of the shown frame
    std::atomic<int64_t> nSourceMs{0};  // offset of the shown frame from the first video frame
    std::atomic<bool> bShown{false};    // a frame has been shown since the start
    std::atomic<bool> bEnded{false};    // the last picture has been shown
    std::atomic<bool> bPaused{false};   // the picture is paused (as asked of the render thread)
    std::atomic<int32_t> nWidth{0};     // size of the last decoded picture
    std::atomic<int32_t> nHeight{0};
    std::atomic<uint32_t> nDamagedFrames{0}; // pictures shown as the decoder concealed them
    std::atomic<uint32_t> nLateFrames{0};    // pictures of this play that missed their time

    void Reset() {
        nFrameNum = 0;
        nPlayedMs = 0;
        nSourceMs = 0;
        bShown = false;
        bEnded = false;
        bPaused = false;
        nLateFrames = 0;
    }

    // Threads that keep pace with the picture wait here; the render thread
    // (and whoever changes what such a wait looks at) notifies.
    template <typename Pred> void WaitForProgress(Pred pred) {
        std::unique_lock<std::mutex> lock(m_mtxProgress);
        m_cvProgress.wait(lock, pred);
    }
    // As WaitForProgress, but gives up at tUntil; answers the predicate.
    template <typename Pred>
    bool WaitForProgressUntil(std::chrono::steady_clock::time_point tUntil, Pred pred) {
        std::unique_lock<std::mutex> lock(m_mtxProgress);
        return m_cvProgress.wait_until(lock, tUntil, pred);
    }
    void NotifyProgress() {
        { std::lock_guard<std::mutex> lock(m_mtxProgress); }
        m_cvProgress.notify_all();
    }

private:
    std::mutex m_mtxProgress; // pairs with m_cvProgress; the values above are atomics
    std::condition_variable m_cvProgress;
};

} // namespace tavrix
