// Remuxes a session's input, packets as they are read, into the stream the
// caller gets: MPEG transport stream, or Matroska written for live reading when
// a track cannot travel in a transport stream (Motion JPEG pictures, G.711
// sound, ...). A sound track that neither can carry is dropped, the picture
// goes on. Bytes leave through a custom I/O context whose write callback hands
// them to the sink, flushed after every packet: nothing waits in the muxer for
// interleaving, latency counts more than neat packets.
//
// Readers may join late: the transport stream repeats PAT and PMT every 100 ms
// and before every key frame, with the parameter sets of H.264 and HEVC in
// front of each key frame; output starts at the first key frame of the picture
// track (at the latest after kMaxKeyWait pictures).
#pragma once

#include "FfmpegPtr.h"
#include "TimeRebaser.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace orvel {

class Remuxer {
public:
    // What the caller is told in the media information block.
    struct MediaInfo {
        uint16_t nSystem = 0; // ORVEL_SYSTEM_TS or ORVEL_SYSTEM_MATROSKA
        uint16_t nVideo = 0;  // ORVEL_CODEC_*, 0 without a picture track
        uint16_t nAudio = 0;  // ORVEL_CODEC_*, 0 without a sound track
    };
    // The input tracks that are remuxed (-1: none).
    struct Tracks {
        int nVideo = -1;
        int nAudio = -1;
    };
    // Takes the bytes; false stops the muxer (the session is closing).
    using Sink = std::function<bool(const uint8_t* pData, int nLen)>;

    // Chooses the container for the tracks; may drop the sound track (then
    // pTracks->nAudio becomes -1). False when nothing can be remuxed.
    static bool Plan(const AVFormatContext* pInput, Tracks* pTracks, MediaInfo* pInfo);
    // True when the tracks' parameters as the input announced them (an RTSP
    // session description) are all a transport stream needs: codec, the H.264
    // or HEVC parameter sets, the AAC configuration and sample rate.
    static bool ReadyWithoutProbing(const AVFormatContext* pInput, const Tracks& tracks);

    Remuxer(Sink sink, AVIOInterruptCB interrupt);
    ~Remuxer();
    Remuxer(const Remuxer&) = delete;
    Remuxer& operator=(const Remuxer&) = delete;

    // Sets up the muxer and writes its header. An AVERROR on failure.
    int Start(const AVFormatContext* pInput, const Tracks& tracks, uint16_t nSystem);
    // Remuxes one input packet (unreferenced afterwards; packets of other
    // tracks are dropped). *pDtsUs: the packet's time on the output time line,
    // for pacing. An AVERROR on failure.
    int Write(AVPacket* pkt, int64_t* pDtsUs);
    // Writes what the muxer still holds (at the end of the stream).
    int Finish();

private:
    static int WriteBytes(void* pOpaque, uint8_t* pBuf, int nSize);
    int Flush();

    Sink m_sink;
    AVIOInterruptCB m_interrupt;
    IoContextPtr m_io;
    OutputContextPtr m_output;
    std::vector<int> m_outIndex;          // input track -> output track, -1: dropped
    std::vector<AVRational> m_inTimeBase; // of each input track
    std::vector<TimeRebaser> m_rebasers;  // one per output track
    int64_t m_nOriginUs;                  // input time of the first packet written
    int m_nVideoOut = -1;                 // output track of the picture, -1: none
    int m_nPicturesSkipped = 0;           // before the first key frame
    bool m_bStarted = false;              // the first key frame (or enough waiting) passed
};

} // namespace orvel
