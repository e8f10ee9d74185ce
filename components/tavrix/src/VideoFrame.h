// One decoded picture on its way from the video decoder to the render thread.
#pragma once

#include "FfmpegPtr.h"

#include <cstdint>
#include <vector>

namespace tavrix {

struct VideoFrame {
    FramePtr pFrame;              // software picture in the decoder's pixel format; null at the end
    std::vector<uint8_t> vecYv12; // packed YV12, filled only when a callback wants it
    int64_t nPtsUs = 0;           // from the start of the file
    int64_t nDurationUs = 40000;
    int64_t nSourcePtsUs = 0; // from the first frame of the video stream (global time)
    int64_t nClockUs = 0;     // what the render clock paces by: the time stamp, negated in reverse play
    uint32_t nFrameNum = 0;   // display index in the file
    int nSerial = 0;
    bool bEos = false; // marks the end of the stream: no picture
};

} // namespace tavrix
