#include "TimeLine.h"

namespace tavrix {

void TimeLine::Anchor(int64_t nOffsetTicks) {
    m_bHasLast = false;
    m_nOffset = nOffsetTicks;
    m_nBreaks = 0;
}

int64_t TimeLine::Map(int64_t nDts, int64_t nDurTicks) {
    nDts = SaneStamp(nDts);
    if (nDts == AV_NOPTS_VALUE) {
        return m_nOffset;
    }
    nDurTicks = std::clamp<int64_t>(nDurTicks, 0, INT64_C(1) << 40);
    if (m_bHasLast) {
        const int64_t nStep = nDts - m_nLastDts;
        // Decode stamps never go back within a stretch; a stamp equal to the
        // last one is a duplicate, not a break.
        const bool bBack = nStep < 0;
        const bool bLeap = m_nMaxGapTicks > 0 && nStep > m_nMaxGapTicks;
        if (bBack || bLeap) {
            const int64_t nDur = m_nLastDur > 0 ? m_nLastDur : (nDurTicks > 0 ? nDurTicks : 1);
            m_nOffset = (m_nLastDts + m_nOffset + nDur) - nDts;
            // Stamps that leap back and forth at random (damage) would let
            // the offset grow without end; past any real recording it restarts.
            if (m_nOffset > (INT64_C(1) << 58) || m_nOffset < -(INT64_C(1) << 58)) {
                m_nOffset = 0;
            }
            ++m_nBreaks;
        }
    }
    m_bHasLast = true;
    m_nLastDts = nDts;
    if (nDurTicks > 0) {
        m_nLastDur = nDurTicks;
    }
    return m_nOffset;
}

} // namespace tavrix
