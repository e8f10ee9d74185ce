// Turns the time stamps of one stream, read in file order, into one
// continuous time line. Real recordings restart their clocks (a camera
// restart, segments joined end to end), wrap (the 33-bit clock of transport
// streams) and leap over gaps; a frame's place in the file must not depend on
// any of that. Within a continuous stretch the stamps are kept as they are
// (they give display order there); at a break the stretch after it is moved
// so that it follows the one before by one packet's duration.
//
// The decision at each packet looks only at the packet before it, so a
// reader that starts mid-file with the right offset (Anchor) continues
// exactly as a reader from the start of the file would.
#pragma once

#include <algorithm>
#include <cstdint>

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/mathematics.h>
}

namespace tavrix {

// A stamp this far from zero (2^52 ticks: centuries at 90 kHz) is damage, not
// time; it is treated as missing, so no sum of stamps and offsets overflows.
inline int64_t SaneStamp(int64_t nStamp) {
    constexpr int64_t kMax = INT64_C(1) << 52;
    return nStamp >= -kMax && nStamp <= kMax ? nStamp : AV_NOPTS_VALUE;
}

// Microseconds of a stamp in a time base: 0 for a missing one, never an overflow.
inline int64_t StampUs(int64_t nStamp, AVRational timeBase) {
    nStamp = SaneStamp(nStamp);
    if (nStamp == AV_NOPTS_VALUE) {
        return 0;
    }
    constexpr int64_t kMaxUs = INT64_C(1) << 60;
    return std::clamp<int64_t>(av_rescale_q(nStamp, timeBase, AV_TIME_BASE_Q), -kMaxUs, kMaxUs);
}

class TimeLine {
public:
    // nMaxGapTicks: a forward leap larger than this is a break (0: only
    // backward steps are). Formats that promise continuous stamps (MP4,
    // Matroska) keep their gaps; transport streams do not.
    explicit TimeLine(int64_t nMaxGapTicks = 0) : m_nMaxGapTicks(nMaxGapTicks) {}

    void SetMaxGap(int64_t nMaxGapTicks) { m_nMaxGapTicks = nMaxGapTicks; }
    // Forget the last packet and use this offset from the next one on.
    void Anchor(int64_t nOffsetTicks);
    // Offset to add to the packet's stamps. nDts is the decode stamp,
    // nDurTicks the packet's duration (0 when unknown). A packet without a
    // decode stamp keeps the offset and decides nothing: presentation stamps
    // go back within a stretch wherever pictures are reordered.
    int64_t Map(int64_t nDts, int64_t nDurTicks);
    int64_t Offset() const { return m_nOffset; }
    // Breaks met since the last Anchor.
    int Breaks() const { return m_nBreaks; }

private:
    int64_t m_nMaxGapTicks = 0;
    bool m_bHasLast = false;
    int64_t m_nLastDts = 0; // raw
    int64_t m_nLastDur = 0;
    int64_t m_nOffset = 0;
    int m_nBreaks = 0;
};

} // namespace tavrix
