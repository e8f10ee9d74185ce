// NorvantaDS: reduces one planar YV12 frame to a small YV12 frame of fixed
// size (thumbnails), keeping the picture's shape and filling the rest with
// black bars. Qt-free; safe on any thread.
#pragma once

#include <cstdint>

// The one argument of NorvantaDS_DownSmpOneFrame. Planes lie one after the
// other: the full-size first plane, then two quarter-size planes (YV12: V then
// U; both are treated alike and kept in their order).
struct NORVANTADS_DOWNSMP_PARAM {
    const uint8_t* pSrc;
    int32_t nSrcWidth;
    int32_t nSrcHeight;
    uint8_t* pDst; // nDstWidth * nDstHeight * 3 / 2 bytes
    int32_t nDstWidth;
    int32_t nDstHeight;
};

enum : uint32_t {
    NORVANTADS_OK = 1,
    NORVANTADS_E_PARAM = 0x80000000u,      // null picture, source smaller than the
                                           // destination, or a size not a multiple of 4
    NORVANTADS_E_NULL_RECORD = 0x80000001u // null record
};

// The picture keeps its shape. With aspect = srcW / srcH as a 32-bit float:
// when the source is relatively wider than the destination (rW = srcW / dstW
// >= rH = srcH / dstH) it fills the width with h = trunc(dstW / aspect) rows
// at row top = (dstH - h) / 2, both rounded down to even (h = dstH, top = 0
// when the shapes are equal); otherwise it fills the height with
// w = trunc(dstH * aspect) columns at left = (dstW - w) / 2, both rounded
// down to even. The quotients are taken in double from the float aspect:
// 1920 x 1080 into 96 x 64 gives 4 black rows, 52 picture rows and 8 black
// rows; 704 x 576 gives 8 black columns, 78 picture columns and 10.
// Bars are black (first plane 0, the others 128). The picture area is scaled
// by area averaging. Answers NORVANTADS_OK or one of the errors above.
uint32_t NorvantaDS_DownSmpOneFrame(NORVANTADS_DOWNSMP_PARAM* pParam);

// The geometry alone, as NorvantaDS_DownSmpOneFrame places the picture: rows
// (or columns) of the bar before the picture and the picture's width and
// height. False for sizes it would refuse.
struct NORVANTADS_PLACEMENT {
    int32_t nLeft;
    int32_t nTop;
    int32_t nWidth;
    int32_t nHeight;
};
bool NorvantaDS_GetPlacement(int32_t nSrcWidth, int32_t nSrcHeight, int32_t nDstWidth, int32_t nDstHeight,
                             NORVANTADS_PLACEMENT* pPlacement);
