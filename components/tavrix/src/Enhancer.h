// The picture enhancement modules of a port: which are on and their
// parameters, and the filter text that applies them.
//
// A plain value kept in PictureAdjuster's settings. Module bits and the
// parameter record are those of TAVRIX_VIE_PARAM; bits without a filter
// (32, 64, 128) are kept but add nothing, so they leave the picture exact.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace tavrix {

class Enhancer {
public:
    static constexpr int kParams = 17;
    // The values a parameter of 0 stands for.
    static constexpr std::array<int32_t, kParams> kInitial = {0, 0, 0, 25, 0, 0, 0, 220, 26,
                                                              0, 60, 80, 2, 5, 50, 0, 0};
    static constexpr int32_t kAllModules = 255;

    int32_t nMask = 0;
    using Params = std::array<int32_t, kParams>;
    Params arrParams{}; // 1-based in the record: arrParams[i] is parameter i+1

    // Whether any module that changes the picture is on.
    bool Active() const { return (nMask & 31) != 0; }
    // The filters in order denoise, sharpen, then one eq for brightness,
    // contrast and saturation; empty when none is on.
    std::string FilterText() const;
    // Whether the chain keeps state from picture to picture (the denoiser's
    // temporal part): such a graph must not be rebuilt for nothing.
    bool Temporal() const;

private:
    // Parameter n (1-based), the initial value when it is 0.
    double Param(int n) const;
};

} // namespace tavrix
