// In-between pictures for motion flow in slow play: a weighted blend of the
// picture on screen and the next one. Pictures in yuv420p are blended plane
// by plane with integer arithmetic; any other format is first converted to
// yuv420p (YuvConverter), so what is blended is what the window would show.
// Render thread only.
#pragma once

#include "FfmpegPtr.h"
#include "YuvConverter.h"

#include <cstdint>
#include <vector>

namespace tavrix {

class MotionBlender {
public:
    explicit MotionBlender(int nPort) : m_yuvFrom(nPort), m_yuvTo(nPort) {}

    // The picture at nWeight / 256 of the way from pFrom to pTo (0 is pFrom,
    // 256 is pTo). Null when the two differ in size or a conversion fails.
    FramePtr Blend(const AVFrame* pFrom, const AVFrame* pTo, int nWeight);

private:
    static FramePtr BlendYuv420(const AVFrame* pFrom, const AVFrame* pTo, int nWeight);
    FramePtr AsYuv420(const AVFrame* pFrame, YuvConverter* pConverter, std::vector<uint8_t>* pvecBuf);

    YuvConverter m_yuvFrom;
    YuvConverter m_yuvTo;
    std::vector<uint8_t> m_vecFrom;
    std::vector<uint8_t> m_vecTo;
};

} // namespace tavrix
