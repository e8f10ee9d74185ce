// Maps clock values (presentation times, negated in reverse play) to
// wall-clock instants for the render thread, which alone owns it. Pausing
// stops the clock; a jump in the values rebases it; the speed scales it.
// While a master clock is given (the sound, as in FFmpeg's own player), the
// clock is slewed towards it: pictures come a little later or sooner until
// the two agree again, never in one jump.
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
    // The clock's value at `now` (its value at the pause while paused).
    int64_t ValueAt(TimePoint now) const;
    // Called for each picture (nFrameClockUs, its clock value) before its
    // due time is asked; more calls for the same picture change nothing. The
    // master reads nMasterUs at `now`: beyond a small difference the clock
    // moves towards it, by at most a fraction of the wall time since the
    // last picture's call; a difference as large as a discontinuity is left
    // alone. Answers the difference found (clock minus master).
    int64_t Follow(int64_t nMasterUs, TimePoint now, int64_t nFrameClockUs);
    // No master now (none given, or it does not know): the next Follow
    // starts afresh instead of making up for the time between.
    void LoseMaster() { m_bFollowed = false; }

private:
    int64_t ScaledUs(int64_t nClockDeltaUs) const;

    bool m_bHasBase = false;
    TimePoint m_tBase;
    int64_t m_nBaseUs = 0;
    int m_nSpeedStep = 0;
    bool m_bPaused = false;
    TimePoint m_tPausedAt;
    bool m_bFollowed = false;       // Follow ran since the last rebase, pause or speed change
    TimePoint m_tFollowed;          // when it last ran
    int64_t m_nFollowedFrameUs = 0; // for which picture
    bool m_bCatchingUp = false;     // a difference beyond the start threshold is being worked off
};

} // namespace tavrix
