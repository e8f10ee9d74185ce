// Pictures as BMP file images in memory: 24-bit BGR, bottom-up rows padded
// to 4 bytes, as every BMP reader takes them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tavrix {

class BmpWriter {
public:
    static constexpr size_t kHeaderBytes = 54; // file header 14 + info header 40

    // Bytes of the BMP image of a nWidth x nHeight picture; 0 for bad sizes.
    static size_t ImageBytes(int nWidth, int nHeight);
    // Converts a YV12 picture (Y, then V, then U, contiguous) into pOut.
    // False for odd or non-positive sizes, too little input or room, or a
    // failed conversion. *pnWritten gets the bytes written.
    static bool FromYv12(const uint8_t* pYv12, size_t nYv12Len, int nWidth, int nHeight, uint8_t* pOut,
                         size_t nOutCap, size_t* pnWritten);

private:
    static size_t RowBytes(int nWidth);
    static void WriteHeaders(uint8_t* pOut, int nWidth, int nHeight, size_t nImageBytes);
};

} // namespace tavrix
