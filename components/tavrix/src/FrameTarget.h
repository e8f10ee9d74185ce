// Where a video decoder hands its pictures: the render thread of file play
// (VideoRenderer) or of live play (LiveRenderer).
#pragma once

#include "VideoFrame.h"

#include <memory>

namespace tavrix {

class FrameTarget {
public:
    virtual ~FrameTarget() = default;
    // On the decode thread; may wait for room. False once the target refuses
    // pictures (stopped): the decoder then ends.
    virtual bool Push(std::unique_ptr<VideoFrame> pFrame) = 0;
};

} // namespace tavrix
