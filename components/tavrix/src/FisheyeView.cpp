#include "FisheyeView.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tavrix {

void FisheyeView::Reset() {
    nKind = Original;
    dYaw = 0.0;
    dPitch = 0.0;
    dFov = kDefaultFov;
}

void FisheyeView::Rotate(double dx, double dy, double dZoom) {
    // Wrapped rather than clamped: turning round keeps going round.
    dYaw = std::fmod(dYaw + dx + kPi, 2 * kPi);
    if (dYaw < 0) {
        dYaw += 2 * kPi;
    }
    dYaw -= kPi;
    dPitch = std::clamp(dPitch - dy, -kPi / 2, kPi / 2);
    dFov = std::clamp(dFov - dZoom, kMinFov, kMaxFov);
}

void FisheyeView::OutputSize(int nSrcWidth, int* pnWidth, int* pnHeight) const {
    if (nWidth > 0 && nHeight > 0) {
        *pnWidth = nWidth;
        *pnHeight = nHeight;
        return;
    }
    // Even sizes: the 4:2:0 chroma planes need them.
    const int nW = std::max(2, nSrcWidth / 2 * 2);
    const int nHalf = std::max(2, nSrcWidth / 4 * 2);
    *pnWidth = nKind == Flat ? nW : 2 * nW;
    *pnHeight = nHalf;
}

std::string FisheyeView::FilterText(int nSrcWidth, bool bDraft) const {
    if (!Active() || nSrcWidth <= 0) {
        return std::string();
    }
    int nFullW = 0;
    int nFullH = 0;
    OutputSize(nSrcWidth, &nFullW, &nFullH);
    const int nW = bDraft ? std::max(2, nFullW / 4 * 2) : nFullW;
    const int nH = bDraft ? std::max(2, nFullH / 4 * 2) : nFullH;
    const double dDeg = 180.0 / kPi;
    char szText[360];
    if (nKind == Flat) {
        // The vertical field follows from the horizontal one and the output's
        // shape, so the pixels stay square.
        const double dVFov = 2 * std::atan(std::tan(dFov / 2) * nH / nW);
        std::snprintf(szText, sizeof(szText),
                      "v360=input=fisheye:ih_fov=180:iv_fov=180:output=flat:yaw=%.4f:pitch=%.4f:roll=0:"
                      "h_fov=%.4f:v_fov=%.4f:w=%d:h=%d:interp=line",
                      dYaw * dDeg, dPitch * dDeg, dFov * dDeg, dVFov * dDeg, nW, nH);
    } else {
        // A lens looking down: pitch -90 puts the lens's axis at the top
        // pole, so the upper half of the projection is the half sphere the
        // lens sees (axis at the top edge, rim at the bottom) and the lower
        // half would be empty: it is made twice as high and cut. The
        // cylinder cannot reach its pole; it stops 30 degrees short of it.
        std::snprintf(szText, sizeof(szText),
                      "v360=input=fisheye:ih_fov=180:iv_fov=180:output=%s:pitch=-90:h_fov=360:v_fov=%d:"
                      "w=%d:h=%d:interp=line,crop=%d:%d:0:0",
                      nKind == Equirect ? "equirect" : "cylindrical", nKind == Equirect ? 180 : 120, nW, 2 * nH,
                      nW, nH);
    }
    std::string strText = szText;
    if (bDraft) {
        std::snprintf(szText, sizeof(szText), ",scale=w=%d:h=%d:flags=fast_bilinear", nFullW, nFullH);
        strText += szText;
    }
    return strText;
}

} // namespace tavrix
