// Thumbnail reduction: placement of the picture, black bars, and the picture
// area scaled with libswscale's area averaging (every source pixel counts, so
// a 1080p frame reduced twentyfold keeps no aliasing of thin lines).
#include "NorvantaDS.h"

#include "EngineLog.h"
#include "FfmpegPtr.h"

#include <cstring>

extern "C" {
#include <libavutil/mem.h>
}

namespace {

constexpr uint8_t kBlackLuma = 0;
constexpr uint8_t kBlackChroma = 128;

bool IsMultipleOf4(int32_t n) {
    return n > 0 && (n % 4) == 0;
}

struct AvFreeDeleter {
    void operator()(uint8_t* p) const { av_free(p); }
};
using AvBufferPtr = std::unique_ptr<uint8_t, AvFreeDeleter>;

void FillPlane(uint8_t* pPlane, int32_t nWidth, int32_t nHeight, uint8_t nValue) {
    std::memset(pPlane, nValue, static_cast<size_t>(nWidth) * static_cast<size_t>(nHeight));
}

// Scales the three planes of the source into the picture area of the
// destination. The scaler writes into aligned scratch planes first: the
// picture area inside the destination starts at an arbitrary address.
bool ScalePicture(const NORVANTADS_DOWNSMP_PARAM& p, const NORVANTADS_PLACEMENT& place) {
    const int nSrcW = p.nSrcWidth;
    const int nSrcH = p.nSrcHeight;
    tavrix::SwsPtr pSws(sws_getContext(nSrcW, nSrcH, AV_PIX_FMT_YUV420P, place.nWidth, place.nHeight,
                                       AV_PIX_FMT_YUV420P, SWS_AREA, nullptr, nullptr, nullptr));
    if (!pSws) {
        return false;
    }
    const uint8_t* apSrc[4] = {p.pSrc, p.pSrc + nSrcW * nSrcH, p.pSrc + nSrcW * nSrcH * 5 / 4, nullptr};
    const int anSrcStride[4] = {nSrcW, nSrcW / 2, nSrcW / 2, 0};

    const int nPicW = place.nWidth;
    const int nPicH = place.nHeight;
    const int nLumaStride = (nPicW + 31) & ~31;
    const int nChromaStride = (nPicW / 2 + 31) & ~31;
    const size_t nLumaBytes = static_cast<size_t>(nLumaStride) * nPicH;
    const size_t nChromaBytes = static_cast<size_t>(nChromaStride) * (nPicH / 2);
    AvBufferPtr pScratch(static_cast<uint8_t*>(av_malloc(nLumaBytes + 2 * nChromaBytes)));
    if (!pScratch) {
        return false;
    }
    uint8_t* apTmp[4] = {pScratch.get(), pScratch.get() + nLumaBytes,
                         pScratch.get() + nLumaBytes + nChromaBytes, nullptr};
    const int anTmpStride[4] = {nLumaStride, nChromaStride, nChromaStride, 0};
    if (sws_scale(pSws.get(), apSrc, anSrcStride, 0, nSrcH, apTmp, anTmpStride) != nPicH) {
        return false;
    }

    const int nDstW = p.nDstWidth;
    const int nDstH = p.nDstHeight;
    uint8_t* pDstLuma = p.pDst + static_cast<ptrdiff_t>(place.nTop) * nDstW + place.nLeft;
    for (int y = 0; y < nPicH; ++y) {
        std::memcpy(pDstLuma + y * nDstW, apTmp[0] + y * nLumaStride, static_cast<size_t>(nPicW));
    }
    uint8_t* apDstChroma[2] = {p.pDst + nDstW * nDstH, p.pDst + nDstW * nDstH * 5 / 4};
    for (int nPlane = 0; nPlane < 2; ++nPlane) {
        uint8_t* pDst = apDstChroma[nPlane] + (place.nTop / 2) * (nDstW / 2) + place.nLeft / 2;
        for (int y = 0; y < nPicH / 2; ++y) {
            std::memcpy(pDst + y * (nDstW / 2), apTmp[1 + nPlane] + y * nChromaStride,
                        static_cast<size_t>(nPicW / 2));
        }
    }
    return true;
}

} // namespace

bool NorvantaDS_GetPlacement(int32_t nSrcWidth, int32_t nSrcHeight, int32_t nDstWidth, int32_t nDstHeight,
                             NORVANTADS_PLACEMENT* pPlacement) {
    if (pPlacement == nullptr || !IsMultipleOf4(nSrcWidth) || !IsMultipleOf4(nSrcHeight) ||
        !IsMultipleOf4(nDstWidth) || !IsMultipleOf4(nDstHeight) || nSrcWidth < nDstWidth ||
        nSrcHeight < nDstHeight) {
        return false;
    }
    // The ratios and the aspect are 32-bit floats, and the divisions by the
    // aspect are carried out in double: 1920 / 1080 rounded to a float makes
    // 96 / aspect come to just under 54, which truncates to 53. That is where
    // the bars of every 16:9 picture have always landed (4 rows above, 52
    // picture rows, 8 below); the float quotient alone would round to 54.
    const float fRatioW = static_cast<float>(nSrcWidth) / static_cast<float>(nDstWidth);
    const float fRatioH = static_cast<float>(nSrcHeight) / static_cast<float>(nDstHeight);
    const float fAspect = static_cast<float>(nSrcWidth) / static_cast<float>(nSrcHeight);
    NORVANTADS_PLACEMENT place{0, 0, nDstWidth, nDstHeight};
    if (fRatioW >= fRatioH) {
        int32_t nH = static_cast<int32_t>(static_cast<double>(nDstWidth) / static_cast<double>(fAspect));
        int32_t nTop = (nDstHeight - nH) >> 1;
        if (static_cast<int64_t>(nSrcHeight) * nDstWidth == static_cast<int64_t>(nSrcWidth) * nDstHeight) {
            nH = nDstHeight;
            nTop = 0;
        }
        place.nTop = nTop & ~1;
        place.nHeight = nH & ~1;
    } else {
        const int32_t nW =
            static_cast<int32_t>(static_cast<double>(nDstHeight) * static_cast<double>(fAspect));
        const int32_t nLeft = (nDstWidth - nW) >> 1;
        place.nLeft = nLeft & ~1;
        place.nWidth = nW & ~1;
    }
    *pPlacement = place;
    return true;
}

uint32_t NorvantaDS_DownSmpOneFrame(NORVANTADS_DOWNSMP_PARAM* pParam) {
    if (pParam == nullptr) {
        return NORVANTADS_E_NULL_RECORD;
    }
    const NORVANTADS_DOWNSMP_PARAM& p = *pParam;
    NORVANTADS_PLACEMENT place{};
    if (p.pSrc == nullptr || p.pDst == nullptr ||
        !NorvantaDS_GetPlacement(p.nSrcWidth, p.nSrcHeight, p.nDstWidth, p.nDstHeight, &place)) {
        return NORVANTADS_E_PARAM;
    }
    // The whole frame black first, then the picture over it: the bars are
    // whatever the picture does not cover.
    const int nDstW = p.nDstWidth;
    const int nDstH = p.nDstHeight;
    FillPlane(p.pDst, nDstW, nDstH, kBlackLuma);
    FillPlane(p.pDst + nDstW * nDstH, nDstW / 2, nDstH, kBlackChroma); // both chroma planes
    if (place.nWidth <= 0 || place.nHeight <= 0) {
        return NORVANTADS_OK; // a shape so extreme that nothing of the picture remains
    }
    if (!ScalePicture(p, place)) {
        tavrix::EngineLog::Warn(-1, "NorvantaDS: scaling the picture failed");
        return NORVANTADS_E_PARAM;
    }
    return NORVANTADS_OK;
}
