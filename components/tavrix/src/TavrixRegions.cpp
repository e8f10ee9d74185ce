// Display regions and private-data overlays of the flat interface. The
// settings are kept by the port (they outlive a play); the play's sink,
// a RegionSinks, reads them for every picture and holds the navigator.
#include "Tavrix.h"

#include "PortCall.h"
#include "RegionSinks.h"
#include "WidgetPresenter.h"

using tavrix::PlayerPort;
using tavrix::PortTable;

namespace {

constexpr uint32_t kAllKinds = TAVRIX_RENDER_ANA_INTEL_DATA | TAVRIX_RENDER_MD | TAVRIX_RENDER_ADD_POS |
                               TAVRIX_RENDER_ADD_PIC | TAVRIX_RENDER_FIRE_DETECT | TAVRIX_RENDER_TEM;
constexpr uint32_t kAllTemShapes = TAVRIX_TEM_REGION | TAVRIX_TEM_LINE | TAVRIX_TEM_POINT;

template <typename Fn> bool Run(int32_t nPort, Fn fn) {
    return tavrix::RunOnPort(nPort, fn);
}

bool Refuse(PlayerPort& port, uint32_t nError) {
    port.SetLastError(nError);
    return false;
}

// The picture as shown (after the rotation), while a file or stream has one.
bool ShownSize(PlayerPort& port, int32_t* pnWidth, int32_t* pnHeight) {
    if (!port.PictureSize(pnWidth, pnHeight) || *pnWidth <= 0 || *pnHeight <= 0) {
        return false;
    }
    const int nRotate = port.PictureSettings().nRotate;
    if (nRotate == 0 || nRotate == 1) {
        std::swap(*pnWidth, *pnHeight);
    }
    return true;
}

bool SetMainRegion(PlayerPort& port, const TAVRIX_RECT* pSrcRect, bool bEnable) {
    if (pSrcRect == nullptr || !bEnable) {
        port.SetSourceRect(nullptr);
        return true;
    }
    const TAVRIX_RECT& rc = *pSrcRect;
    if (rc.nLeft < 0 || rc.nTop < 0 || rc.nRight - rc.nLeft < 2 || rc.nBottom - rc.nTop < 2) {
        return Refuse(port, TAVRIX_ERR_PARA_OVER);
    }
    int32_t nWidth = 0;
    int32_t nHeight = 0;
    if (ShownSize(port, &nWidth, &nHeight)) {
        if (rc.nRight > nWidth || rc.nBottom > nHeight) {
            return Refuse(port, TAVRIX_ERR_PARA_OVER);
        }
        if (rc.nLeft == 0 && rc.nTop == 0 && rc.nRight == nWidth && rc.nBottom == nHeight) {
            port.SetSourceRect(nullptr);
            return true;
        }
    }
    // Without a picture yet the rectangle is kept; a picture it does not fit shows whole.
    port.SetSourceRect(&rc);
    return true;
}

bool SetNavigatorRegion(PlayerPort& port, uintptr_t hDestWnd, bool bEnable) {
    if (bEnable && hDestWnd == 0) {
        return Refuse(port, TAVRIX_ERR_PARA_OVER);
    }
    auto pSinks = std::dynamic_pointer_cast<tavrix::RegionSinks>(port.Sink());
    if (!bEnable) {
        port.SetNavigatorWindow(0);
        if (pSinks) {
            pSinks->SetNavigator(nullptr, 0);
        }
        return true;
    }
    if (pSinks && pSinks->NavigatorWindow() != hDestWnd) {
        // Made here, outside the port's locks: making it may wait for the GUI thread.
        std::shared_ptr<tavrix::WidgetPresenter> pNavigator =
            tavrix::WidgetPresenter::Create(port.Port(), hDestWnd, &port.Callbacks(), 1);
        if (!pNavigator) {
            return Refuse(port, TAVRIX_ERR_PARA_OVER);
        }
        pSinks->SetNavigator(std::move(pNavigator), hDestWnd);
    }
    // Kept for the sinks of later plays.
    port.SetNavigatorWindow(hDestWnd);
    return true;
}

// A paused picture shows the change at once; a playing one with its next picture.
void ShowChange(PlayerPort& port) {
    if (port.Sink()) {
        port.Refresh(0);
    }
}

} // namespace

bool Tavrix_SetDisplayRegion(int32_t nPort, uint32_t nRegionNum, const TAVRIX_RECT* pSrcRect,
                             uintptr_t hDestWnd, bool bEnable) {
    return Run(nPort, [=](PlayerPort& port) {
        switch (nRegionNum) {
        case 0:
            // A paused window shows the new part (or the whole picture) at once.
            if (!SetMainRegion(port, pSrcRect, bEnable)) {
                return false;
            }
            ShowChange(port);
            return true;
        case 1:
            return SetNavigatorRegion(port, hDestWnd, bEnable);
        default:
            return Refuse(port, TAVRIX_ERR_PARA_OVER);
        }
    });
}

bool Tavrix_RenderPrivateData(int32_t nPort, int32_t nIntelType, bool bTrue) {
    return Run(nPort, [=](PlayerPort& port) {
        const uint32_t nKinds = static_cast<uint32_t>(nIntelType);
        if (nIntelType <= 0 || (nKinds & ~kAllKinds) != 0) {
            return Refuse(port, TAVRIX_ERR_PARA_OVER);
        }
        port.SetOverlayKinds(nKinds, bTrue);
        ShowChange(port);
        return true;
    });
}

bool Tavrix_RenderPrivateDataEx(int32_t nPort, int32_t nIntelType, int32_t nSubType, bool bTrue) {
    if (nIntelType != TAVRIX_RENDER_TEM) {
        // Only temperatures have sub types; the others switch as a whole.
        return Tavrix_RenderPrivateData(nPort, nIntelType, bTrue);
    }
    return Run(nPort, [=](PlayerPort& port) {
        const uint32_t nShapes = static_cast<uint32_t>(nSubType);
        if (nSubType <= 0 || (nShapes & ~kAllTemShapes) != 0) {
            return Refuse(port, TAVRIX_ERR_PARA_OVER);
        }
        port.SetTemperatureShapes(nShapes, bTrue);
        ShowChange(port);
        return true;
    });
}
