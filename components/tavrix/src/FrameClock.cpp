#include "FrameClock.h"

namespace tavrix {
namespace {
// Time stamps further than this from the clock are a discontinuity, not a
// reason to wait or to rush.
constexpr int64_t kMaxJumpUs = 5000000;
} // namespace

FrameClock::TimePoint FrameClock::DueTime(int64_t nPtsUs, TimePoint now) {
    if (m_bHasBase) {
        const TimePoint tDue = m_tBase + std::chrono::microseconds(nPtsUs - m_nBasePtsUs);
        const auto nAheadUs = std::chrono::duration_cast<std::chrono::microseconds>(tDue - now).count();
        if (nAheadUs < kMaxJumpUs && nAheadUs > -kMaxJumpUs) {
            return tDue;
        }
    }
    m_bHasBase = true;
    m_tBase = now;
    m_nBasePtsUs = nPtsUs;
    return now;
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
