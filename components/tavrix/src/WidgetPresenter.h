// The render-thread half of showing pictures in a widget: scales each shown
// picture to the widget's size with libswscale into an RGB32 QImage, runs
// the region 0 draw callback with a QPainter on it and leaves it for the
// widget's PresentSurface.
#pragma once

#include "FfmpegPtr.h"
#include "FrameSink.h"
#include "PresentSurface.h"

#include <memory>

class QWidget;

namespace tavrix {

class CallbackSet;

class WidgetPresenter : public FrameSink {
public:
    // On the GUI thread (or blocking on it): null when no widget has this id.
    static std::shared_ptr<WidgetPresenter> Create(int nPort, uintptr_t nWindowId, CallbackSet* pCallbacks);
    ~WidgetPresenter() override;

    void Present(const VideoFrame& frame) override;

private:
    WidgetPresenter(int nPort, CallbackSet* pCallbacks, std::shared_ptr<SurfaceLink> pLink);

    const int m_nPort;
    CallbackSet* const m_pCallbacks;
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
};

} // namespace tavrix
