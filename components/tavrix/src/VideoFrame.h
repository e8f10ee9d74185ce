// One decoded picture on its way from the video decoder to the render thread.
#pragma once

#include "FfmpegPtr.h"

#include <cstdint>
#include <vector>

namespace tavrix {

struct VideoFrame {
    FramePtr pFrame;              // software picture in the decoder's pixel format; null at the end
    // The picture as the port's colour and orientation settings make it; null
    // while they are neutral (the picture is then pFrame itself). Made on the
    // render thread before the picture is shown.
    FramePtr pShown;
    int nShownRotate = -1;      // the rotation pShown has (-1 none, 0 left, 1 right, 2 half)
    uint32_t nShownFlip = 0;    // and its mirror bits (TAVRIX_FLIP_*)
    uint32_t nShownSerial = 0;  // the settings serial pShown was made for
    std::vector<uint8_t> vecYv12; // packed YV12, filled only when a callback wants it
    int64_t nPtsUs = 0;           // from the start of the file
    int64_t nDurationUs = 40000;
    // Backwards: up to the next picture in display order (0: not known). A
    // lock-step group shows a picture backwards until its time reaches this.
    int64_t nSpanUs = 0;
    int64_t nSourcePtsUs = 0; // from the first frame of the video stream (global time)
    int64_t nClockUs = 0;     // what the render clock paces by: the time stamp, negated in reverse play
    uint32_t nFrameNum = 0;   // display index in the file
    int nSerial = 0;
    bool bEos = false; // marks the end of the stream: no picture

    // What the window, the snapshots and the display callback show.
    const AVFrame* Picture() const { return pShown ? pShown.get() : pFrame.get(); }
};

} // namespace tavrix
