// Maps presentation times to wall-clock instants for the render thread, which
// alone owns it. Pausing stops the clock; a jump in the time stamps rebases it.
#pragma once

#include <chrono>
#include <cstdint>

namespace tavrix {

class FrameClock {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    void Reset() { m_bHasBase = false; }
    // Instant at which a frame with this time stamp is due.
    TimePoint DueTime(int64_t nPtsUs, TimePoint now);
    void Pause(TimePoint now);
    void Resume(TimePoint now);

private:
    bool m_bHasBase = false;
    TimePoint m_tBase;
    int64_t m_nBasePtsUs = 0;
    bool m_bPaused = false;
    TimePoint m_tPausedAt;
};

} // namespace tavrix
