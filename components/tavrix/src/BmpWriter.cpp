#include "BmpWriter.h"

#include "EngineLog.h"
#include "FfmpegPtr.h"

#include <cstring>

namespace tavrix {
namespace {

void PutLe16(uint8_t* p, uint32_t n) {
    p[0] = static_cast<uint8_t>(n);
    p[1] = static_cast<uint8_t>(n >> 8);
}

void PutLe32(uint8_t* p, uint32_t n) {
    PutLe16(p, n & 0xFFFFu);
    PutLe16(p + 2, n >> 16);
}

} // namespace

size_t BmpWriter::RowBytes(int nWidth) {
    return (static_cast<size_t>(nWidth) * 3 + 3) & ~static_cast<size_t>(3);
}

size_t BmpWriter::ImageBytes(int nWidth, int nHeight) {
    if (nWidth <= 0 || nHeight <= 0 || nWidth > 16384 || nHeight > 16384) {
        return 0;
    }
    return kHeaderBytes + RowBytes(nWidth) * static_cast<size_t>(nHeight);
}

void BmpWriter::WriteHeaders(uint8_t* pOut, int nWidth, int nHeight, size_t nImageBytes) {
    std::memset(pOut, 0, kHeaderBytes);
    pOut[0] = 'B';
    pOut[1] = 'M';
    PutLe32(pOut + 2, static_cast<uint32_t>(nImageBytes));
    PutLe32(pOut + 10, static_cast<uint32_t>(kHeaderBytes)); // offset of the pixels
    PutLe32(pOut + 14, 40);                                  // BITMAPINFOHEADER
    PutLe32(pOut + 18, static_cast<uint32_t>(nWidth));
    PutLe32(pOut + 22, static_cast<uint32_t>(nHeight)); // positive: bottom-up rows
    PutLe16(pOut + 26, 1);                              // planes
    PutLe16(pOut + 28, 24);                             // bits per pixel
    PutLe32(pOut + 34, static_cast<uint32_t>(nImageBytes - kHeaderBytes));
    PutLe32(pOut + 38, 2835); // 72 dpi, as pixels per metre
    PutLe32(pOut + 42, 2835);
}

bool BmpWriter::FromYv12(const uint8_t* pYv12, size_t nYv12Len, int nWidth, int nHeight, uint8_t* pOut,
                         size_t nOutCap, size_t* pnWritten) {
    const size_t nImageBytes = ImageBytes(nWidth, nHeight);
    if (pYv12 == nullptr || pOut == nullptr || pnWritten == nullptr || nImageBytes == 0 ||
        (nWidth % 2) != 0 || (nHeight % 2) != 0) {
        return false;
    }
    const size_t nLuma = static_cast<size_t>(nWidth) * static_cast<size_t>(nHeight);
    if (nYv12Len < nLuma * 3 / 2 || nOutCap < nImageBytes) {
        return false;
    }
    // Bicubic is what the ffmpeg tool gives the converter it inserts, so the
    // same picture converts to the same colours either way.
    SwsPtr pSws(sws_getContext(nWidth, nHeight, AV_PIX_FMT_YUV420P, nWidth, nHeight, AV_PIX_FMT_BGR24,
                               SWS_BICUBIC, nullptr, nullptr, nullptr));
    if (!pSws) {
        EngineLog::Warn(-1, "BMP conversion: no scaler for %dx%d", nWidth, nHeight);
        return false;
    }
    WriteHeaders(pOut, nWidth, nHeight, nImageBytes);
    // YV12 holds V before U; the scaler's planar order is Y, U, V.
    const uint8_t* apSrc[4] = {pYv12, pYv12 + nLuma * 5 / 4, pYv12 + nLuma, nullptr};
    const int anSrcStride[4] = {nWidth, nWidth / 2, nWidth / 2, 0};
    // Bottom-up: the top row of the picture is the last row of the file, so
    // the scaler writes from the last row upwards with a negative stride.
    const int nRow = static_cast<int>(RowBytes(nWidth));
    uint8_t* apDst[4] = {pOut + kHeaderBytes + static_cast<size_t>(nRow) * (nHeight - 1), nullptr, nullptr,
                         nullptr};
    const int anDstStride[4] = {-nRow, 0, 0, 0};
    // Padding bytes at each row's end stay zero.
    std::memset(pOut + kHeaderBytes, 0, nImageBytes - kHeaderBytes);
    if (sws_scale(pSws.get(), apSrc, anSrcStride, 0, nHeight, apDst, anDstStride) != nHeight) {
        EngineLog::Warn(-1, "BMP conversion of %dx%d failed", nWidth, nHeight);
        return false;
    }
    *pnWritten = nImageBytes;
    return true;
}

} // namespace tavrix
