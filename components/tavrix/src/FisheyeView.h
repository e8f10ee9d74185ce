// The de-warped view of a fisheye picture: which projection, where the
// virtual camera looks, how wide, and the v360 filter text that makes it.
//
// A plain value: PictureAdjuster keeps one in its settings under its lock,
// so copies are cheap and carry no FFmpeg object.
#pragma once

#include <string>

namespace tavrix {

class FisheyeView {
public:
    // TAVRIX_SR_ORIGINAL, _FLAT, _EQUIRECT, _CYLINDER.
    enum Kind { Original = 0, Flat = 1, Equirect = 2, Cylinder = 3 };

    static constexpr double kPi = 3.14159265358979323846;
    static constexpr double kDefaultFov = kPi / 2;
    static constexpr double kMinFov = 20.0 * kPi / 180.0;
    static constexpr double kMaxFov = 150.0 * kPi / 180.0;

    int nKind = Original;
    double dYaw = 0.0;           // radians, [-pi, pi)
    double dPitch = 0.0;         // radians, [-pi/2, pi/2]
    double dFov = kDefaultFov;   // horizontal field of view of the flat view, radians
    int nWidth = 0;              // output size; 0 x 0 picks it from the source
    int nHeight = 0;

    bool Active() const { return nKind != Original; }
    // Back to the view of a freshly opened file (the output size is kept: it
    // is the caller's choice, not the material's).
    void Reset();
    // Adds the turn: dx to the yaw (wrapped), -dy to the pitch (so a negative
    // dy looks up; clamped at the poles), -dZoom to the field of view
    // (positive narrows; clamped to 20..150 degrees).
    void Rotate(double dx, double dy, double dZoom);
    // The output size for a source of nSrcWidth: the one set, else W x W/2
    // for the flat view and 2W x W/2 for the panoramas (even sizes).
    void OutputSize(int nSrcWidth, int* pnWidth, int* pnHeight) const;
    // The v360 filter for a source of nSrcWidth; empty for the original.
    // bDraft makes the view at half the size and scales it up: v360 works
    // out its whole map again for each new view (tens of ms at 1280x720), a
    // quarter of the pixels costs a quarter of that while the view moves.
    std::string FilterText(int nSrcWidth, bool bDraft = false) const;
    // Whether the two give the same picture.
    bool SameAs(const FisheyeView& other) const {
        return nKind == other.nKind && dYaw == other.dYaw && dPitch == other.dPitch && dFov == other.dFov &&
               nWidth == other.nWidth && nHeight == other.nHeight;
    }
};

} // namespace tavrix
