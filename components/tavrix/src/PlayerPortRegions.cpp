// PlayerPort: display regions and private data. The settings live in the
// port so that they outlive a play (its sink is rebuilt by each Play);
// the sinks read them for every picture.
#include "PlayerPort.h"

#include "AnalyticsSidecar.h"
#include "EngineLog.h"
#include "OverlayTrack.h"
#include "SubtitleTrackReader.h"

namespace tavrix {

std::shared_ptr<FrameSink> PlayerPort::Sink() {
    std::lock_guard<std::mutex> lock(m_mtxControl);
    return m_pSink;
}

void PlayerPort::SetSourceRect(const TAVRIX_RECT* pRect) {
    std::lock_guard<std::mutex> lock(m_mtxRegions);
    m_bSourceRect = pRect != nullptr;
    m_rcSource = pRect != nullptr ? *pRect : TAVRIX_RECT{};
}

bool PlayerPort::SourceRect(TAVRIX_RECT* pOut) const {
    std::lock_guard<std::mutex> lock(m_mtxRegions);
    if (m_bSourceRect) {
        *pOut = m_rcSource;
    }
    return m_bSourceRect;
}

void PlayerPort::SetNavigatorWindow(uintptr_t nWindowId) {
    std::lock_guard<std::mutex> lock(m_mtxRegions);
    m_nNavigatorWindow = nWindowId;
}

uintptr_t PlayerPort::NavigatorWindow() const {
    std::lock_guard<std::mutex> lock(m_mtxRegions);
    return m_nNavigatorWindow;
}

void PlayerPort::SetOverlayKinds(uint32_t nKinds, bool bOn) {
    if (bOn) {
        m_nOverlayKinds.fetch_or(nKinds);
    } else {
        m_nOverlayKinds.fetch_and(~nKinds);
    }
}

void PlayerPort::SetTemperatureShapes(uint32_t nShapes, bool bOn) {
    if (bOn) {
        m_nTemShapes.fetch_or(nShapes);
    } else {
        m_nTemShapes.fetch_and(~nShapes);
    }
}

std::shared_ptr<const OverlayTrack> PlayerPort::Overlays() const {
    std::lock_guard<std::mutex> lock(m_mtxRegions);
    return m_pOverlays;
}

void PlayerPort::LoadOverlays(const std::string& strUtf8Path) {
    DropOverlays();
    m_nOverlayKinds = 0x3F;
    m_nTemShapes = 0x7;
    MediaInfo info;
    {
        std::lock_guard<std::mutex> lockInfo(m_mtxInfo);
        info = m_info;
    }
    auto pTrack = std::make_shared<OverlayTrack>();
    AnalyticsSidecar::Load(m_nPort, strUtf8Path, info, pTrack.get());
    // The subtitle track is read while the file plays; its lines appear in
    // the track as they are read (a local file is read through in moments).
    m_pSubtitleReader = std::make_unique<SubtitleTrackReader>(m_nPort, pTrack);
    m_pSubtitleReader->Start(strUtf8Path, info.nVideoStartUs);
    std::lock_guard<std::mutex> lock(m_mtxRegions);
    m_pOverlays = std::move(pTrack);
}

void PlayerPort::DropOverlays() {
    m_pSubtitleReader.reset(); // interrupts the read and joins its thread
    std::lock_guard<std::mutex> lock(m_mtxRegions);
    m_pOverlays.reset();
}

} // namespace tavrix
