#include "FrameClock.h"

#include <algorithm>

namespace tavrix {
namespace {
// Clock values further than this from the clock are a discontinuity, not a
// reason to wait or to rush.
constexpr int64_t kMaxJumpUs = 5000000;
// Following a master: a difference beyond the start threshold is worked off
// down to the end threshold, so the pictures keep an even cadence while the
// two agree and the master's reading jitter is not chased. The slew is how
// much of the wall time since the last picture may go to the correction: a
// picture is held or brought forward by at most a quarter of its interval.
constexpr int64_t kFollowStartUs = 15000;
constexpr int64_t kFollowEndUs = 3000;
constexpr int64_t kSlewDivisor = 4;
} // namespace

int64_t FrameClock::ScaledUs(int64_t nClockDeltaUs) const {
    return m_nSpeedStep >= 0 ? nClockDeltaUs / (int64_t(1) << m_nSpeedStep)
                             : nClockDeltaUs * (int64_t(1) << -m_nSpeedStep);
}

FrameClock::TimePoint FrameClock::DueTime(int64_t nClockUs, TimePoint now) {
    if (m_bHasBase) {
        const TimePoint tDue = m_tBase + std::chrono::microseconds(ScaledUs(nClockUs - m_nBaseUs));
        const auto nAheadUs = std::chrono::duration_cast<std::chrono::microseconds>(tDue - now).count();
        if (nAheadUs < kMaxJumpUs && nAheadUs > -kMaxJumpUs) {
            return tDue;
        }
    }
    Rebase(nClockUs, now);
    return now;
}

void FrameClock::Rebase(int64_t nClockUs, TimePoint now) {
    m_bFollowed = false;
    m_bHasBase = true;
    m_tBase = now;
    m_nBaseUs = nClockUs;
    if (m_bPaused) {
        m_tPausedAt = now;
    }
}

void FrameClock::SetSpeedStep(int nStep, TimePoint now) {
    m_bFollowed = false;
    if (m_bHasBase) {
        // The clock's value now, kept as the new base so the change does not jump.
        m_nBaseUs = ValueAt(now);
        m_tBase = m_bPaused ? m_tPausedAt : now;
    }
    m_nSpeedStep = nStep;
}

void FrameClock::Pause(TimePoint now) {
    m_bFollowed = false;
    if (!m_bPaused) {
        m_bPaused = true;
        m_tPausedAt = now;
    }
}

void FrameClock::Resume(TimePoint now) {
    m_bFollowed = false;
    if (m_bPaused) {
        m_bPaused = false;
        m_tBase += now - m_tPausedAt;
    }
}

int64_t FrameClock::ValueAt(TimePoint now) const {
    const TimePoint tAt = m_bPaused ? m_tPausedAt : now;
    const int64_t nWallUs = std::chrono::duration_cast<std::chrono::microseconds>(tAt - m_tBase).count();
    return m_nBaseUs + (m_nSpeedStep >= 0 ? nWallUs * (int64_t(1) << m_nSpeedStep)
                                          : nWallUs / (int64_t(1) << -m_nSpeedStep));
}

int64_t FrameClock::Follow(int64_t nMasterUs, TimePoint now, int64_t nFrameClockUs) {
    if (!m_bHasBase || m_bPaused) {
        m_bFollowed = false;
        return 0;
    }
    const int64_t nDiffUs = ValueAt(now) - nMasterUs; // above 0: the pictures are ahead
    if (m_bFollowed && nFrameClockUs == m_nFollowedFrameUs) {
        return nDiffUs; // this picture had its correction
    }
    const bool bFollowed = m_bFollowed;
    const TimePoint tLast = m_tFollowed;
    m_bFollowed = true;
    m_tFollowed = now;
    m_nFollowedFrameUs = nFrameClockUs;
    const int64_t nAbsUs = nDiffUs < 0 ? -nDiffUs : nDiffUs;
    if (nAbsUs >= kMaxJumpUs || nAbsUs <= kFollowEndUs) {
        m_bCatchingUp = false;
        return nDiffUs;
    }
    if (!m_bCatchingUp && nAbsUs <= kFollowStartUs) {
        return nDiffUs;
    }
    m_bCatchingUp = true;
    if (!bFollowed) {
        return nDiffUs; // the slew is measured from here
    }
    const int64_t nWallUs = std::chrono::duration_cast<std::chrono::microseconds>(now - tLast).count();
    const int64_t nStepUs = std::min(nAbsUs, std::max<int64_t>(0, nWallUs) / kSlewDivisor);
    // Lowering the base lowers the clock's value now: later pictures fall due later.
    m_nBaseUs -= nDiffUs > 0 ? nStepUs : -nStepUs;
    return nDiffUs;
}

} // namespace tavrix
