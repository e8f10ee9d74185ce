// The sink a play's render thread holds (files and live streams alike): it
// presents each picture to display region 0, the window given to
// Tavrix_Play (the port's source rectangle of it, with the private data
// drawn over it), and, while one is set, to region 1, a navigator widget
// showing the whole picture. A refresh presents both.
#pragma once

#include "FrameSink.h"

#include <cstdint>
#include <memory>
#include <mutex>

namespace tavrix {

class PlayerPort;
class WidgetPresenter;

class RegionSinks : public FrameSink {
public:
    // As WidgetPresenter::Create (GUI thread rules alike): null when no widget
    // has nWindowId. The port's navigator window, if set, gets region 1.
    static std::shared_ptr<RegionSinks> Create(PlayerPort* pPort, uintptr_t nWindowId);

    void Present(const VideoFrame& frame) override;
    void Clear() override;

    // Region 1's presenter; null removes it. Any thread.
    void SetNavigator(std::shared_ptr<WidgetPresenter> pNavigator, uintptr_t nWindowId);
    uintptr_t NavigatorWindow() const;

private:
    RegionSinks(PlayerPort* pPort, std::shared_ptr<WidgetPresenter> pMain);

    PlayerPort* const m_pPort; // outlives its sinks: the port drops them before it goes
    const std::shared_ptr<WidgetPresenter> m_pMain;
    mutable std::mutex m_mtx;
    std::shared_ptr<WidgetPresenter> m_pNavigator; // guarded by m_mtx
    uintptr_t m_nNavigatorWindow = 0;              // guarded by m_mtx
};

} // namespace tavrix
