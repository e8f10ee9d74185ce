// Draws the private data of a picture over it, on the render thread, in the
// region 0 presenter after scaling and before the region 0 draw callback.
// Shapes are mapped from the decoded picture through the rotation and flips
// the shown picture has and through the region 0 source rectangle to the
// widget's pixels.
#pragma once

#include "OverlayTrack.h"

#include <QRectF>
#include <QSize>

#include <cstdint>

class QPainter;

namespace tavrix {

class OverlayPainter {
public:
    struct Geometry {
        int nRotate = -1;   // of the shown picture: -1 none, 0 left, 1 right, 2 half
        uint32_t nFlip = 0; // TAVRIX_FLIP_* bits, after the rotation
        QSize sizeShown;    // the shown picture (after the rotation)
        QRectF rcSource;    // the part of it on view, in its pixels
        QSize sizeDst;      // the widget's picture
    };

    // nKinds: TAVRIX_RENDER_* bits switched on; nTemShapes: TAVRIX_TEM_* bits.
    static void Paint(QPainter& painter, const OverlayTrack& track, int64_t nTimeUs, uint32_t nKinds,
                      uint32_t nTemShapes, const Geometry& geo);

    // A point of the decoded picture (fractions) in the widget's pixels.
    static QPointF Map(const OverlayTrack::Point& pt, const Geometry& geo);
};

} // namespace tavrix
