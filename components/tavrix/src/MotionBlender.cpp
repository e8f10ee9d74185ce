#include "MotionBlender.h"

#include "SnapshotEncoder.h"

namespace tavrix {

FramePtr MotionBlender::BlendYuv420(const AVFrame* pFrom, const AVFrame* pTo, int nWeight) {
    FramePtr pOut = MakeFrame();
    if (!pOut) {
        return nullptr;
    }
    pOut->format = AV_PIX_FMT_YUV420P;
    pOut->width = pFrom->width;
    pOut->height = pFrom->height;
    if (av_frame_get_buffer(pOut.get(), 0) < 0 || av_frame_copy_props(pOut.get(), pFrom) < 0) {
        return nullptr; // (the colour range and space come with the properties)
    }
    // (a * (256 - w) + b * w + 128) >> 8: a rounded weighted mean in integers.
    const int nKeep = 256 - nWeight;
    for (int nPlane = 0; nPlane < 3; ++nPlane) {
        const int nW = nPlane == 0 ? pFrom->width : (pFrom->width + 1) / 2;
        const int nH = nPlane == 0 ? pFrom->height : (pFrom->height + 1) / 2;
        for (int y = 0; y < nH; ++y) {
            const uint8_t* pA = pFrom->data[nPlane] + static_cast<ptrdiff_t>(y) * pFrom->linesize[nPlane];
            const uint8_t* pB = pTo->data[nPlane] + static_cast<ptrdiff_t>(y) * pTo->linesize[nPlane];
            uint8_t* pD = pOut->data[nPlane] + static_cast<ptrdiff_t>(y) * pOut->linesize[nPlane];
            for (int x = 0; x < nW; ++x) {
                pD[x] = static_cast<uint8_t>((pA[x] * nKeep + pB[x] * nWeight + 128) >> 8);
            }
        }
    }
    return pOut;
}

FramePtr MotionBlender::AsYuv420(const AVFrame* pFrame, YuvConverter* pConverter,
                                 std::vector<uint8_t>* pvecBuf) {
    FramePtr pWrap = MakeFrame();
    if (!pWrap || !pConverter->ToYv12(pFrame, pvecBuf) ||
        !SnapshotEncoder::WrapYv12(pvecBuf->data(), pvecBuf->size(), pFrame->width, pFrame->height,
                                   pWrap.get())) {
        return nullptr;
    }
    return pWrap;
}

FramePtr MotionBlender::Blend(const AVFrame* pFrom, const AVFrame* pTo, int nWeight) {
    if (pFrom == nullptr || pTo == nullptr || pFrom->width != pTo->width || pFrom->height != pTo->height) {
        return nullptr;
    }
    if (nWeight < 0) {
        nWeight = 0;
    } else if (nWeight > 256) {
        nWeight = 256;
    }
    if (pFrom->format == AV_PIX_FMT_YUV420P && pTo->format == AV_PIX_FMT_YUV420P) {
        return BlendYuv420(pFrom, pTo, nWeight);
    }
    // Other formats (and odd sizes, which YV12 cannot wrap) are not blended.
    FramePtr pA = AsYuv420(pFrom, &m_yuvFrom, &m_vecFrom);
    FramePtr pB = pA ? AsYuv420(pTo, &m_yuvTo, &m_vecTo) : nullptr;
    if (!pA || !pB) {
        return nullptr;
    }
    return BlendYuv420(pA.get(), pB.get(), nWeight);
}

} // namespace tavrix
