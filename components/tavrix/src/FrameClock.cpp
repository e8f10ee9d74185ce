#include "FrameClock.h"

namespace tavrix {
namespace {
// Clock values further than this from the clock are a discontinuity, not a
// reason to wait or to rush.
constexpr int64_t kMaxJumpUs = 5000000;
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
    m_bHasBase = true;
    m_tBase = now;
    m_nBaseUs = nClockUs;
    if (m_bPaused) {
        m_tPausedAt = now;
    }
}

void FrameClock::SetSpeedStep(int nStep, TimePoint now) {
    if (m_bHasBase) {
        // The clock's value now, kept as the new base so the change does not jump.
        const TimePoint tAt = m_bPaused ? m_tPausedAt : now;
        const int64_t nWallUs = std::chrono::duration_cast<std::chrono::microseconds>(tAt - m_tBase).count();
        const int64_t nClockUs = m_nBaseUs + (m_nSpeedStep >= 0 ? nWallUs * (int64_t(1) << m_nSpeedStep)
                                                                : nWallUs / (int64_t(1) << -m_nSpeedStep));
        m_tBase = tAt;
        m_nBaseUs = nClockUs;
    }
    m_nSpeedStep = nStep;
}

void FrameClock::Pause(TimePoint now) {
    if (!m_bPaused) {
        m_bPaused = true;
        m_tPausedAt = now;
    }
}

void FrameClock::Resume(TimePoint now) {
    if (m_bPaused) {
        m_bPaused = false;
        m_tBase += now - m_tPausedAt;
    }
}

} // namespace tavrix
