#include "RegionSinks.h"

#include "OverlayPainter.h"
#include "PlayerPort.h"
#include "WidgetPresenter.h"

#include <QPainter>

namespace tavrix {

RegionSinks::RegionSinks(PlayerPort* pPort, std::shared_ptr<WidgetPresenter> pMain)
    : m_pPort(pPort), m_pMain(std::move(pMain)) {}

std::shared_ptr<RegionSinks> RegionSinks::Create(PlayerPort* pPort, uintptr_t nWindowId) {
    std::shared_ptr<WidgetPresenter> pMain =
        WidgetPresenter::Create(pPort->Port(), nWindowId, &pPort->Callbacks(), 0);
    if (!pMain) {
        return nullptr;
    }
    std::shared_ptr<RegionSinks> pSinks(new RegionSinks(pPort, std::move(pMain)));
    const uintptr_t nNavigator = pPort->NavigatorWindow();
    if (nNavigator != 0) {
        pSinks->SetNavigator(WidgetPresenter::Create(pPort->Port(), nNavigator, &pPort->Callbacks(), 1),
                             nNavigator);
    }
    return pSinks;
}

void RegionSinks::SetNavigator(std::shared_ptr<WidgetPresenter> pNavigator, uintptr_t nWindowId) {
    std::shared_ptr<WidgetPresenter> pOld; // let go outside the lock
    std::lock_guard<std::mutex> lock(m_mtx);
    pOld = std::move(m_pNavigator);
    m_pNavigator = std::move(pNavigator);
    m_nNavigatorWindow = m_pNavigator ? nWindowId : 0;
}

uintptr_t RegionSinks::NavigatorWindow() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_nNavigatorWindow;
}

void RegionSinks::Present(const VideoFrame& frame) {
    TAVRIX_RECT rcSource{};
    const bool bPart = m_pPort->SourceRect(&rcSource);
    std::shared_ptr<const OverlayTrack> pTrack = m_pPort->Overlays();
    const uint32_t nKinds = m_pPort->OverlayKinds();
    WidgetPresenter::OverlayFn fnOverlay;
    if (pTrack && nKinds != 0 && !pTrack->Empty() && frame.pFrame) {
        const AVFrame* pShown = frame.Picture();
        OverlayPainter::Geometry geo;
        geo.nRotate = frame.pShown ? frame.nShownRotate : -1;
        geo.nFlip = frame.pShown ? frame.nShownFlip : 0;
        geo.sizeShown = QSize(pShown->width, pShown->height);
        const uint32_t nTemShapes = m_pPort->TemperatureShapes();
        const int64_t nTimeUs = frame.nSourcePtsUs;
        fnOverlay = [&](QPainter& painter, const QRectF& rcOnView, const QSize& sizeDst) {
            geo.rcSource = rcOnView;
            geo.sizeDst = sizeDst;
            OverlayPainter::Paint(painter, *pTrack, nTimeUs, nKinds, nTemShapes, geo);
        };
    }
    m_pMain->PresentPart(frame, bPart ? &rcSource : nullptr, fnOverlay);

    std::shared_ptr<WidgetPresenter> pNavigator;
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        pNavigator = m_pNavigator;
    }
    if (pNavigator) {
        pNavigator->Present(frame);
    }
}

void RegionSinks::Clear() {
    m_pMain->Clear();
    std::shared_ptr<WidgetPresenter> pNavigator;
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        pNavigator = m_pNavigator;
    }
    if (pNavigator) {
        pNavigator->Clear();
    }
}

} // namespace tavrix
