// Turns a decoded picture into the contiguous YV12 block the callbacks get.
// Pictures already in yuv420p are only packed; any other format goes through
// the same filter chain the ffmpeg tool inserts for "-pix_fmt yuv420p"
// (buffer -> format -> buffersink, scaler flags "bicubic"), so the bytes are
// the ones its framemd5 hashes.
#pragma once

#include "FfmpegPtr.h"

#include <cstdint>
#include <vector>

namespace tavrix {

class YuvConverter {
public:
    explicit YuvConverter(int nPort) : m_nPort(nPort) {}
    bool ToYv12(const AVFrame* pFrame, std::vector<uint8_t>* pvecOut);

    // Size of the YV12 block of a w x h picture.
    static size_t Yv12Size(int nWidth, int nHeight);

private:
    bool EnsureGraph(const AVFrame* pFrame);
    static void Pack(const AVFrame* pYuv420, std::vector<uint8_t>* pvecOut);

    const int m_nPort;
    FilterGraphPtr m_pGraph;
    AVFilterContext* m_pSource = nullptr; // owned by m_pGraph
    AVFilterContext* m_pSink = nullptr;   // owned by m_pGraph
    FramePtr m_pConverted;
    int m_nGraphWidth = 0;
    int m_nGraphHeight = 0;
    int m_nGraphFormat = -1;
};

} // namespace tavrix
