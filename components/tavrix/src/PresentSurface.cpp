#include "PresentSurface.h"

#include <QEvent>
#include <QPainter>
#include <QResizeEvent>

namespace tavrix {

PresentSurface::PresentSurface(QWidget* pWidget, std::shared_ptr<SurfaceLink> pLink)
    : QObject(pWidget), m_pWidget(pWidget), m_pLink(std::move(pLink)) {
    // Another surface on this widget may have made it opaque already; the
    // widget's own setting is then the one that surface recorded.
    m_bHadOpaque = pWidget->testAttribute(Qt::WA_OpaquePaintEvent);
    for (const PresentSurface* pOther : pWidget->findChildren<PresentSurface*>(Qt::FindDirectChildrenOnly)) {
        if (pOther != this) {
            m_bHadOpaque = pOther->m_bHadOpaque;
        }
    }
    m_pLink->nWidth = pWidget->width();
    m_pLink->nHeight = pWidget->height();
    pWidget->installEventFilter(this);
}

void PresentSurface::Attach(QWidget* pWidget, const std::shared_ptr<SurfaceLink>& pLink) {
    Detach(pLink);
    pLink->pSurface = new PresentSurface(pWidget, pLink);
}

void PresentSurface::Detach(const std::shared_ptr<SurfaceLink>& pLink) {
    PresentSurface* pSurface = pLink->pSurface.data();
    pLink->pSurface = nullptr;
    if (pSurface == nullptr) {
        return;
    }
    QWidget* pWidget = pSurface->m_pWidget.data();
    const bool bHadOpaque = pSurface->m_bHadOpaque;
    delete pSurface; // also removes its event filter
    if (pWidget == nullptr) {
        return;
    }
    // A newer surface (another port on the same widget) keeps the widget
    // opaque; the last one gives it back as it was.
    if (pWidget->findChildren<PresentSurface*>(Qt::FindDirectChildrenOnly).isEmpty()) {
        pWidget->setAttribute(Qt::WA_OpaquePaintEvent, bHadOpaque);
    }
    pWidget->update();
}

void PresentSurface::RequestUpdate() {
    if (!m_pWidget) {
        return;
    }
    // Opaque while a picture covers it: the parent is not repainted beneath,
    // so a parent that asks for a refresh when it paints cannot loop with us.
    m_pWidget->setAttribute(Qt::WA_OpaquePaintEvent, true);
    m_pWidget->update();
}

bool PresentSurface::eventFilter(QObject* pWatched, QEvent* pEvent) {
    if (pWatched != m_pWidget.data()) {
        return false;
    }
    if (pEvent->type() == QEvent::Resize) {
        const QSize size = static_cast<QResizeEvent*>(pEvent)->size();
        m_pLink->nWidth = size.width();
        m_pLink->nHeight = size.height();
        return false;
    }
    if (pEvent->type() != QEvent::Paint) {
        return false;
    }
    // Painted under the lock: the render thread replaces the picture only
    // between two paints, and never frees one that is being drawn.
    std::lock_guard<std::mutex> lock(m_pLink->mtx);
    if (m_pLink->img.isNull()) {
        return false;
    }
    QPainter painter(m_pWidget);
    painter.drawImage(m_pWidget->rect(), m_pLink->img);
    return true;
}

} // namespace tavrix
