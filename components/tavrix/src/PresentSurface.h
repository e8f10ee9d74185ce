// The GUI-thread half of showing pictures in a widget: an event filter on the
// display widget that paints the latest picture on its Paint event and
// tracks its size. The render thread never touches the widget; it leaves the
// picture in the shared SurfaceLink and asks for an update through a queued
// call that runs on the GUI thread.
#pragma once

#include <QImage>
#include <QObject>
#include <QPointer>
#include <QWidget>

#include <atomic>
#include <memory>
#include <mutex>

namespace tavrix {

class PresentSurface;

// Shared by the render thread and the GUI thread.
struct SurfaceLink {
    std::mutex mtx;
    QImage img;                 // latest picture; guarded by mtx, painted under it
    std::atomic<int> nWidth{0}; // display size, from the widget's resize events
    std::atomic<int> nHeight{0};
    std::atomic<bool> bUpdatePending{false}; // an update request is on its way
    QPointer<PresentSurface> pSurface;       // touched on the GUI thread only
};

class PresentSurface : public QObject {
    Q_OBJECT
public:
    // On the GUI thread: attaches to pWidget and records itself in pLink.
    static void Attach(QWidget* pWidget, const std::shared_ptr<SurfaceLink>& pLink);
    // On the GUI thread: removes the surface of pLink, if any.
    static void Detach(const std::shared_ptr<SurfaceLink>& pLink);

    void RequestUpdate();

protected:
    bool eventFilter(QObject* pWatched, QEvent* pEvent) override;

private:
    PresentSurface(QWidget* pWidget, std::shared_ptr<SurfaceLink> pLink);

    QPointer<QWidget> m_pWidget;
    std::shared_ptr<SurfaceLink> m_pLink;
    bool m_bHadOpaque = false;
};

} // namespace tavrix
