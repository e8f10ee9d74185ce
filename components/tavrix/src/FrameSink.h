// Where the render thread hands pictures that a window shows. The Qt side of
// the engine implements it; the core knows nothing of widgets.
#pragma once

#include "VideoFrame.h"

namespace tavrix {

class FrameSink {
public:
    virtual ~FrameSink() = default;
    // On the render thread, once per picture to show (also for a refresh of
    // the last one). Runs the draw callbacks on the picture.
    virtual void Present(const VideoFrame& frame) = 0;
    // On the render thread: the window shows no picture (black).
    virtual void Clear() {}
};

} // namespace tavrix
