// Keeps one track's time stamps rising and starting near zero on their way
// into the muxer. Cameras' clocks are not trusted: the RTP clock jumps once the
// sender's first report ties it to wall time (forward or back, by up to a few
// hundred ms), a recorder restarts its clock, a transport stream's clock wraps.
// A jump re-bases the track so that it runs on from where it stood; a small
// step back (jitter) is clamped, since muxers refuse time stamps that fall.
#pragma once

#include <cstdint>

extern "C" {
#include <libavcodec/packet.h>
#include <libavutil/rational.h>
}

namespace orvel {

class TimeRebaser {
public:
    // tb: the output track's time base; nStepUs: a packet's usual length when
    // known (one frame, one sound block), else 0.
    TimeRebaser(AVRational tb, int64_t nStepUs);

    // Moves pkt's dts and pts (in tb) onto the output time line. nOriginUs is
    // shared by all tracks: the input time of the first packet written, so the
    // tracks keep their relation; the first track sets it.
    void Mend(AVPacket* pkt, int64_t* pOriginUs);
    // The dts last handed out, in microseconds (0 before the first packet).
    int64_t LastDtsUs() const;

private:
    // Sets the offset at the track's first timed packet (input time nIn).
    void Start(int64_t nIn, int64_t* pOriginUs);
    void MendReordered(AVPacket* pkt, int64_t* pOriginUs);
    int64_t ToTb(int64_t nUs) const;
    int64_t ToUs(int64_t nTs) const;

    AVRational m_tb;
    int64_t m_nStep;    // usual dts step, in tb
    int64_t m_nOffset;  // input - output, in tb; AV_NOPTS_VALUE before the first packet
    int64_t m_nLastDts; // last output dts, in tb; AV_NOPTS_VALUE before the first packet
};

} // namespace orvel
