// Reads the wall clock a test source drew into a picture: 48 bits of
// milliseconds since the epoch (modulo 2^48), most significant first, as
// blocks in the luma rows 0..31, bit i at x = 8 + 14 * i, 14 pixels wide,
// bright for 1 and dark for 0. Only the middle of each block is looked at,
// so the encoder's ringing at the block edges does not flip a bit.
#pragma once

#include <cstdint>

namespace ClockStamp {

constexpr int kBits = 48;
constexpr int kBlockWidth = 14;
constexpr int kLeft = 8;
constexpr int kRows = 32;

// pY: the luma plane, nStride bytes a row. False when the picture is too
// small to hold the stamp.
inline bool Read(const uint8_t* pY, int nWidth, int nHeight, int nStride, int64_t* pnMs) {
    if (pY == nullptr || nWidth < kLeft + kBits * kBlockWidth || nHeight < kRows)
        return false;
    int64_t nValue = 0;
    for (int i = 0; i < kBits; ++i) {
        const int x0 = kLeft + kBlockWidth * i + 4;
        int nSum = 0, nCount = 0;
        for (int y = 8; y < 24; y += 2) {
            for (int x = x0; x < x0 + kBlockWidth - 8; ++x) {
                nSum += pY[y * nStride + x];
                ++nCount;
            }
        }
        nValue = (nValue << 1) | (nSum / nCount > 128 ? 1 : 0);
    }
    *pnMs = nValue;
    return true;
}

// Milliseconds from the stamp to nNowMs (both modulo 2^48); false for a
// stamp that cannot be this frame's send time (a picture without a stamp).
inline bool Latency(int64_t nStampMs, int64_t nNowMs, double* pdMs) {
    const int64_t nMask = (int64_t(1) << kBits) - 1;
    const int64_t nDiff = ((nNowMs & nMask) - nStampMs) & nMask;
    if (nDiff > 60000)
        return false;
    *pdMs = double(nDiff);
    return true;
}

} // namespace ClockStamp
