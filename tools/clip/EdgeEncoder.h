// Re-encodes the frames at the edges of a frame-exact clip, where the span
// starts or ends inside a group of pictures and plain copying cannot. libx264
// in its lossless mode (qp 0, same picture format) gives back, once decoded,
// exactly the source's decoded pictures, so the clip's frames stay equal to
// the source's. Each edge is a coded sequence of its own that starts on an
// IDR picture and carries its parameter sets in-band; the copied middle gets
// the source's parameter sets in front of its first key frame again.
//
// The edge's pictures are coded 16 rows taller and cropped back to the
// source's size. FFmpeg's H.264 decoder, meeting a lossless sequence right
// after a lossy one of the same size (or the other way round), keeps state it
// should not and decodes wrong pictures; a change of the coded size makes it
// start afresh at each switch, and the cropping hides the extra rows.
// Qt-free: FFmpeg and the standard library.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "FfmpegPtr.h"

namespace velquintools {

class EdgeEncoder {
public:
    // pInSt: the source's picture stream (H.264). nLengthSize: the size of the
    // NAL length fields of the clip's stream (MP4, Matroska), 0 for start
    // codes (transport streams).
    bool Open(const AVStream* pInSt, int nLengthSize, std::string* pstrWhy);
    // Frames whose time lies in [nFromPts, nToPts] (source time base) are
    // encoded; the others are only decoded.
    void SetRange(int64_t nFromPts, int64_t nToPts) {
        m_nFromPts = nFromPts;
        m_nToPts = nToPts;
    }
    // One source packet, in file order. Encoded packets (pts in the source's
    // time base, dts left to the caller) are appended to pvecOut.
    bool SendPacket(const AVPacket* pPkt, std::vector<tavrix::PacketPtr>* pvecOut, std::string* pstrWhy);
    // Drains the decoder and the encoder.
    bool Finish(std::vector<tavrix::PacketPtr>* pvecOut, std::string* pstrWhy);

    // The source's parameter sets in the clip's form, for the first copied key
    // frame after an edge.
    static std::vector<uint8_t> SourceParameterSets(const AVCodecParameters* pPar, int nLengthSize);
    // Puts the bytes in front of a packet's data.
    static bool Prepend(AVPacket* pPkt, const std::vector<uint8_t>& vecBytes);
    // The NAL length size of an avcC record; 0 for start-code extradata or none.
    static int LengthSizeOf(const AVCodecParameters* pPar);

private:
    bool OpenEncoder(const AVFrame* pFrame, std::string* pstrWhy);
    bool EncodeFrames(std::vector<tavrix::PacketPtr>* pvecOut, std::string* pstrWhy);
    bool Drain(std::vector<tavrix::PacketPtr>* pvecOut, std::string* pstrWhy);
    // m_pFrame, kPadRows taller, into m_pPadded.
    bool PadFrame(std::string* pstrWhy);

    const AVStream* m_pInSt = nullptr;
    int m_nLengthSize = 0;
    tavrix::CodecContextPtr m_pDecoder;
    tavrix::CodecContextPtr m_pEncoder;
    tavrix::FramePtr m_pFrame;
    tavrix::FramePtr m_pPadded;
    int64_t m_nFromPts = 0;
    int64_t m_nToPts = -1;
};

} // namespace velquintools
