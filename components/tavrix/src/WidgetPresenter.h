// The render-thread half of showing pictures in a widget: scales each shown
// picture (or the part of it a display region asks for) to the widget's size
// with libswscale into an RGB32 QImage, paints the overlays and then the
// draw callback of its display region with a QPainter on it, and leaves it
// for the widget's PresentSurface.
#pragma once

#include "FfmpegPtr.h"
#include "FrameSink.h"
#include "PresentSurface.h"
#include "Tavrix.h"

#include <functional>
#include <memory>

class QPainter;
class QRectF;
class QWidget;

namespace tavrix {

class CallbackSet;

class WidgetPresenter : public FrameSink {
public:
    // On the GUI thread (or blocking on it): null when no widget has this id.
    // nRegion names the draw callback run over each picture (0 or 1).
    static std::shared_ptr<WidgetPresenter> Create(int nPort, uintptr_t nWindowId, CallbackSet* pCallbacks,
                                                   int nRegion = 0);
    ~WidgetPresenter() override;

    // The whole picture.
    void Present(const VideoFrame& frame) override;
    void Clear() override;

    // Paints over the scaled picture, before the draw callback: the painter,
    // the source rectangle on view (in the picture's pixels) and the size of
    // the widget's picture.
    using OverlayFn = std::function<void(QPainter&, const QRectF&, const QSize&)>;
    // The part pSource of frame.Picture() (right and bottom exclusive; null,
    // or a part that does not fit the picture, shows it all), then fnOverlay.
    void PresentPart(const VideoFrame& frame, const TAVRIX_RECT* pSource, const OverlayFn& fnOverlay);

private:
    WidgetPresenter(int nPort, CallbackSet* pCallbacks, std::shared_ptr<SurfaceLink> pLink, int nRegion);
    void Publish(QImage& img);

    const int m_nPort;
    CallbackSet* const m_pCallbacks;
    const int m_nRegion;
    std::shared_ptr<SurfaceLink> m_pLink;
    // What m_pSws was made for; a change of any of it makes a new one.
    struct ScaleSetup {
        int nSrcWidth = 0;
        int nSrcHeight = 0;
        AVPixelFormat eSrcFormat = AV_PIX_FMT_NONE;
        int nDstWidth = 0;
        int nDstHeight = 0;
        bool bFullRange = false;
        bool operator==(const ScaleSetup& o) const {
            return nSrcWidth == o.nSrcWidth && nSrcHeight == o.nSrcHeight && eSrcFormat == o.eSrcFormat &&
                   nDstWidth == o.nDstWidth && nDstHeight == o.nDstHeight && bFullRange == o.bFullRange;
        }
    };
    SwsPtr m_pSws;      // render thread only
    ScaleSetup m_setup; // render thread only
    FramePtr m_pCrop;   // a reference to the picture with the source rectangle cut; render thread only
};

} // namespace tavrix
