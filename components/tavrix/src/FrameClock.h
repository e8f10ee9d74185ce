// Maps clock values (presentation times, negated in reverse play) to
// wall-clock instants for the render thread, which alone owns it. Pausing
// stops the clock; a jump in the values rebases it; the speed scales it.
#pragma once

#include <chrono>
#include <cstdint>

namespace tavrix {

class FrameClock {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    void Reset() { m_bHasBase = false; }
    // Instant at which a frame with this clock value is due.
    TimePoint DueTime(int64_t nClockUs, TimePoint now);
    // The frame with this clock value is shown now (a step, a jump).
    void Rebase(int64_t nClockUs, TimePoint now);
    // Speed as a power of two (-4..4); the clock keeps its place.
    void SetSpeedStep(int nStep, TimePoint now);
    int SpeedStep() const { return m_nSpeedStep; }
    void Pause(TimePoint now);
    void Resume(TimePoint now);

private:
    int64_t ScaledUs(int64_t nClockDeltaUs) const;

    bool m_bHasBase = false;
    TimePoint m_tBase;
    int64_t m_nBaseUs = 0;
    int m_nSpeedStep = 0;
    bool m_bPaused = false;
    TimePoint m_tPausedAt;
};

} // namespace tavrix
