#include "TimeRebaser.h"

#include <algorithm>

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/mathematics.h>
}

namespace orvel {

namespace {

constexpr AVRational kMicroseconds = {1, 1000000};
constexpr int64_t kDefaultStepUs = 40000; // one frame at 25 fps
constexpr int64_t kJitterUs = 100000;     // a step back up to this is clamped, beyond it re-based
constexpr int64_t kSettleUs = 5000000;    // the time the RTP clock may need to meet the sender's report
constexpr int64_t kSettleJumpUs = 500000; // a forward jump beyond this while settling is the clock's
constexpr int64_t kRestartUs = 10000000;  // a forward jump beyond this is a restart at any time
constexpr int64_t kReorderSteps = 2;      // pictures decoded ahead of the first one shown, at most

} // namespace

TimeRebaser::TimeRebaser(AVRational tb, int64_t nStepUs)
    : m_tb(tb), m_nStep(0), m_nOffset(AV_NOPTS_VALUE), m_nLastDts(AV_NOPTS_VALUE) {
    m_nStep = std::max<int64_t>(1, ToTb(nStepUs > 0 ? nStepUs : kDefaultStepUs));
}

int64_t TimeRebaser::ToTb(int64_t nUs) const {
    return av_rescale_q(nUs, kMicroseconds, m_tb);
}

int64_t TimeRebaser::ToUs(int64_t nTs) const {
    return av_rescale_q(nTs, m_tb, kMicroseconds);
}

int64_t TimeRebaser::LastDtsUs() const {
    return m_nLastDts == AV_NOPTS_VALUE ? 0 : ToUs(m_nLastDts);
}

void TimeRebaser::Start(int64_t nIn, int64_t* pOriginUs) {
    if (*pOriginUs == AV_NOPTS_VALUE) {
        *pOriginUs = ToUs(nIn);
    }
    m_nOffset = ToTb(*pOriginUs);
    // A track that starts a little before the first one starts at zero.
    if (nIn - m_nOffset < 0) {
        m_nOffset = nIn;
    }
    if (m_nLastDts != AV_NOPTS_VALUE) { // after untimed packets: run on from them
        m_nOffset = nIn - (m_nLastDts + m_nStep);
    }
}

void TimeRebaser::MendReordered(AVPacket* pkt, int64_t* pOriginUs) {
    if (m_nOffset == AV_NOPTS_VALUE) {
        Start(pkt->pts, pOriginUs);
        // Room for the pictures decoded before the first one is shown.
        if (pkt->pts - m_nOffset < kReorderSteps * m_nStep) {
            m_nOffset = pkt->pts - kReorderSteps * m_nStep;
        }
    }
    const int64_t nDts = m_nLastDts == AV_NOPTS_VALUE ? 0 : m_nLastDts + m_nStep;
    pkt->dts = nDts;
    pkt->pts = std::max(pkt->pts - m_nOffset, nDts);
    m_nLastDts = nDts;
}

void TimeRebaser::Mend(AVPacket* pkt, int64_t* pOriginUs) {
    if (pkt->dts == AV_NOPTS_VALUE && pkt->pts != AV_NOPTS_VALUE) {
        // FFmpeg makes the decoding time of a track without reordering equal
        // to its presentation time; a packet with the one and not the other
        // is a reordered picture (B-frames) before FFmpeg could work its
        // decoding time out: decoding times then follow at the usual step.
        MendReordered(pkt, pOriginUs);
        return;
    }
    const int64_t nIn = pkt->dts;
    if (nIn == AV_NOPTS_VALUE) {
        // No time at all (the first RTP packet before any clock): it follows
        // the last one.
        const int64_t nDts = m_nLastDts == AV_NOPTS_VALUE ? 0 : m_nLastDts + 1;
        pkt->dts = pkt->pts = nDts;
        m_nLastDts = nDts;
        return;
    }
    if (m_nOffset == AV_NOPTS_VALUE) {
        Start(nIn, pOriginUs);
    } else {
        const int64_t nGap = nIn - m_nOffset - m_nLastDts;
        const bool bSettling = ToUs(m_nLastDts) < kSettleUs;
        const bool bJump =
            nGap < -ToTb(kJitterUs) || nGap > ToTb(kRestartUs) || (bSettling && nGap > ToTb(kSettleJumpUs));
        if (bJump) {
            m_nOffset = nIn - (m_nLastDts + m_nStep);
        } else if (nGap > 0 && nGap <= ToTb(kSettleJumpUs)) {
            m_nStep = nGap;
        }
    }
    int64_t nDts = nIn - m_nOffset;
    if (m_nLastDts != AV_NOPTS_VALUE && nDts <= m_nLastDts) {
        nDts = m_nLastDts + 1;
    }
    const int64_t nShift = nDts - (nIn - m_nOffset); // what clamping added
    const int64_t nPts = pkt->pts != AV_NOPTS_VALUE ? pkt->pts - m_nOffset + nShift : nDts;
    pkt->dts = nDts;
    pkt->pts = std::max(nPts, nDts);
    m_nLastDts = nDts;
}

} // namespace orvel
