// Partial zoom: a chosen rectangle of the picture fills the window. The engine
// scales it (display region 0's source rectangle); display region 1 shows the
// whole picture in the navigator, where the region on view is marked.

#include "CPlayWnd.h"

#include <QCursor>
#include <QDebug>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPixmap>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <utility>

#include "CDlgShow.h"
#include "PartZoomWnd.h"

namespace {

const int kZoomRefreshMs = 40;
const int kZoomWndShowMs = 3000;
// The smallest region, in picture pixels, on either side.
const int kMinZoomSide = 16;
const float kZoomStepPercent = 30.0f;
// The navigator's share of the window: between the two ratios it was drawn at.
const double kNavigatorRatio = 0.29019145;
const int kNavigatorMinWidth = 80;
const int kNavigatorMaxWidth = 226;
const int kNavigatorMinHeight = 60;
const int kNavigatorMaxHeight = 170;
const int kNavigatorGap = 3;
const int kZoomPenWidth = 2;

// The zoom cursor: the skin's picture, else a crosshair drawn here.
QCursor ZoomCursor(const QString& strPath) {
    QPixmap pix;
    if (!strPath.isEmpty())
        pix.load(strPath);
    if (pix.isNull()) {
        pix = QPixmap(32, 32);
        pix.fill(Qt::transparent);
        QPainter painter(&pix);
        // A dark outline keeps the white cross visible on a light picture.
        painter.setPen(QPen(Qt::black, 3));
        painter.drawLine(16, 3, 16, 29);
        painter.drawLine(3, 16, 29, 16);
        painter.setPen(QPen(Qt::white, 1));
        painter.drawLine(16, 4, 16, 28);
        painter.drawLine(4, 16, 28, 16);
    }
    // -1, -1: the hot spot is the middle of the picture.
    return QCursor(pix, -1, -1);
}

void DrawZoomFrame(QPainter* pPainter, const QColor& clr, int nLeft, int nTop, int nRight, int nBottom) {
    if (nRight <= nLeft || nBottom <= nTop)
        return;
    pPainter->save();
    pPainter->setPen(QPen(clr, kZoomPenWidth, Qt::SolidLine));
    pPainter->setBrush(Qt::NoBrush);
    pPainter->drawRect(QRect(nLeft, nTop, nRight - nLeft, nBottom - nTop));
    pPainter->restore();
}

} // namespace

bool CPlayWnd::SetPartZoom(bool bOn) {
    if (m_nPlayState != 1 && m_nPlayState != 2)
        return false;
    if (m_bPartZoom == bOn)
        return false;
    m_bPartZoom = bOn;
    On_PartZoomReset();
    KillTimerField(m_nZoomRefreshTimer);
    // A paused picture is not drawn again by play: region 1 is refreshed from here.
    if (bOn)
        m_nZoomRefreshTimer = startTimer(kZoomRefreshMs);
    SetZoomCursor(bOn);
    return true;
}

void CPlayWnd::EndPartZoom() {
    if (!m_bPartZoom)
        return;
    if (SetPartZoom(false))
        return;
    // Outside play and pause there is no picture to reset: only the window's side.
    m_bPartZoom = false;
    m_bZoomDragging = false;
    KillTimerField(m_nZoomRefreshTimer);
    KillTimerField(m_nZoomWndHideTimer);
    if (m_pPartZoomWnd)
        m_pPartZoomWnd->hide();
    SetZoomCursor(false);
}

CPlayWnd::ZoomRegion CPlayWnd::GetZoomRegion(ZoomRegion* pOut) const {
    if (pOut)
        *pOut = m_stZoomRegion;
    return m_stZoomRegion;
}

bool CPlayWnd::ZoomPictureSize(int* pnWidth, int* pnHeight) {
    uint nWidth = 0;
    uint nHeight = 0;
    if (!GetImageSize(&nWidth, &nHeight))
        return false;
    // A quarter turn exchanges the sides of the picture on view.
    if (m_nRotateAngle == 0 || m_nRotateAngle == 1)
        std::swap(nWidth, nHeight);
    *pnWidth = int(nWidth);
    *pnHeight = int(nHeight);
    return true;
}

bool CPlayWnd::On_PartZoomReset() {
    if (m_bSRFile)
        return false;
    int nWidth = 0;
    int nHeight = 0;
    if (!ZoomPictureSize(&nWidth, &nHeight))
        return false;
    const int nFullWidth = nWidth * m_nSRWidthFactor;
    m_stZoomRegion.nWidth = nFullWidth;
    m_stZoomRegion.nHeight = nHeight;
    m_stZoomRegion.rcRegion = TAVRIX_RECT{0, 0, nFullWidth, nHeight};
    UpdateMainWndRegion();
    ShowPartZoomWnd();
    m_ptZoomBegin = QPoint(0, 0);
    m_ptZoomEnd = QPoint(0, 0);

    // The navigator shows the picture turned as the main one.
    const int nRotateCalls = (m_nOpenMode == 2 && m_nDecodeEngine == 1) ? 1 : 2;
    for (int i = 0; i < nRotateCalls; ++i) {
        if (!Tavrix_SetRotateAngle(m_lPort, 1, m_nRotateAngle)) {
            qDebug("CPlayWnd::SetRotateAngle() Tavrix_SetRotateAngle Fail nRegion=%d GetLastError()=%d", 1,
                   Tavrix_GetLastError(m_lPort));
            return false;
        }
    }

    if (!m_pPartZoomWnd)
        return false;
    const TAVRIX_RECT rcWhole{0, 0, nFullWidth, nHeight};
    // Region 1 draws only while zoom is on: a hidden navigator costs no scaling.
    if (!Tavrix_SetDisplayRegion(m_lPort, 1, &rcWhole, m_pPartZoomWnd->GetDisplayHandle(), m_bPartZoom)) {
        qDebug("SetDisplayRegion() Fail, Tavrix_GetLastError()=%d", Tavrix_GetLastError(m_lPort));
        return false;
    }
    return true;
}

void CPlayWnd::UpdateMainWndRegion() {
    if (!m_pDisplayWnd || m_lPort < 0 || (m_nPlayState != 1 && m_nPlayState != 2))
        return;
    if (!Tavrix_SetDisplayRegion(m_lPort, 0, &m_stZoomRegion.rcRegion, m_hDisplayWnd, true))
        qDebug("UpdateMainWndRegion() Fail nRegion=%d GetLastError()=%d", 0, Tavrix_GetLastError(m_lPort));
}

bool CPlayWnd::ShowPartZoomWnd() {
    if (!m_pPartZoomWnd) {
        m_pPartZoomWnd = new PartZoomWnd(this, Qt::FramelessWindowHint);
        if (!m_pPartZoomWnd->Init() ||
            !connect(m_pPartZoomWnd, &PartZoomWnd::Sig_PartZoomReset, this, &CPlayWnd::On_PartZoomReset) ||
            !connect(m_pPartZoomWnd, &PartZoomWnd::Sig_PartZoomRectMove, this,
                     &CPlayWnd::On_PartZoomRectMove)) {
            delete m_pPartZoomWnd;
            m_pPartZoomWnd = nullptr;
            return false;
        }
    }
    if (!m_bPartZoom) {
        m_pPartZoomWnd->hide();
        KillTimerField(m_nZoomWndHideTimer);
        return true;
    }
    const int nWidth = std::clamp(int(width() * kNavigatorRatio), kNavigatorMinWidth, kNavigatorMaxWidth);
    const int nHeight = std::clamp(int(height() * kNavigatorRatio), kNavigatorMinHeight, kNavigatorMaxHeight);
    m_pPartZoomWnd->resize(nWidth, nHeight);
    m_pPartZoomWnd->move(width() - nWidth - kNavigatorGap, height() - nHeight - kNavigatorGap);
    m_pPartZoomWnd->show();
    m_pPartZoomWnd->raise();
    // Each zoom action shows the navigator for a while.
    KillTimerField(m_nZoomWndHideTimer);
    m_nZoomWndHideTimer = startTimer(kZoomWndShowMs);
    RefreshPlayEx(0);
    RefreshPlayEx(1);
    return true;
}

// ---- selecting with the mouse -------------------------------------------------------

bool CPlayWnd::ZoomMousePress(QMouseEvent* ev) {
    if (ev->button() != Qt::LeftButton || !m_bPartZoom || !m_pDisplayWnd || !m_pPartZoomWnd)
        return false;
    const QPoint pt = ev->position().toPoint();
    if (!m_pDisplayWnd->frameGeometry().contains(pt))
        return false;
    // A press on the visible navigator belongs to the navigator.
    if (m_pPartZoomWnd->isVisible() && m_pPartZoomWnd->frameGeometry().contains(pt))
        return false;
    m_ptZoomBegin = m_pDisplayWnd->mapFrom(this, pt);
    m_ptZoomEnd = m_ptZoomBegin;
    m_bZoomDragging = true;
    return true;
}

bool CPlayWnd::ZoomMouseMove(QMouseEvent* ev) {
    if (!m_bPartZoom || !m_bZoomDragging || (m_nPlayState != 1 && m_nPlayState != 2))
        return false;
    ClampZoomPoint(ev->position().toPoint(), &m_ptZoomEnd);
    // Its refresh draws the rectangle being dragged.
    ShowPartZoomWnd();
    return true;
}

bool CPlayWnd::ZoomMouseRelease(QMouseEvent* ev) {
    if (!m_bZoomDragging)
        return false;
    ClampZoomPoint(ev->position().toPoint(), &m_ptZoomEnd);
    m_bZoomDragging = false;
    const int nSelLeft = std::min(m_ptZoomBegin.x(), m_ptZoomEnd.x());
    const int nSelRight = std::max(m_ptZoomBegin.x(), m_ptZoomEnd.x());
    const int nSelTop = std::min(m_ptZoomBegin.y(), m_ptZoomEnd.y());
    const int nSelBottom = std::max(m_ptZoomBegin.y(), m_ptZoomEnd.y());
    const QRect rcDisplay = m_pDisplayWnd->frameGeometry();
    // The rectangle of the drag goes from a paused picture too.
    RefreshPlayEx(0);
    if (rcDisplay.width() == 0 || rcDisplay.height() == 0)
        return true;

    // The selection lies within the region on view: a second one zooms further.
    const TAVRIX_RECT rcOld = m_stZoomRegion.rcRegion;
    const double dRw = rcOld.nRight - rcOld.nLeft;
    const double dRh = rcOld.nBottom - rcOld.nTop;
    TAVRIX_RECT rcNew;
    rcNew.nLeft = int(rcOld.nLeft + dRw * nSelLeft / rcDisplay.width());
    rcNew.nRight = int(rcOld.nLeft + dRw * nSelRight / rcDisplay.width());
    rcNew.nTop = int(rcOld.nTop + dRh * nSelTop / rcDisplay.height());
    rcNew.nBottom = int(rcOld.nTop + dRh * nSelBottom / rcDisplay.height());
    // A click, or a rectangle too small to show, changes nothing.
    if (rcNew.nRight - rcNew.nLeft < kMinZoomSide || rcNew.nBottom - rcNew.nTop < kMinZoomSide)
        return true;
    m_stZoomRegion.rcRegion = rcNew;
    UpdateMainWndRegion();
    ShowPartZoomWnd();
    return true;
}

bool CPlayWnd::ClampZoomPoint(const QPoint& pt, QPoint* pOut) {
    if (!m_pDisplayWnd || !pOut)
        return false;
    QPoint ptChild = m_pDisplayWnd->mapFrom(this, pt);
    const int nWidth = m_pDisplayWnd->width();
    const int nHeight = m_pDisplayWnd->height();
    if (ptChild.x() < 0)
        ptChild.setX(1);
    else if (ptChild.x() > nWidth)
        ptChild.setX(nWidth - 1);
    if (ptChild.y() < 0)
        ptChild.setY(1);
    else if (ptChild.y() > nHeight)
        ptChild.setY(nHeight - 1);
    *pOut = ptChild;
    return true;
}

// ---- stepping with the wheel ----------------------------------------------------

bool CPlayWnd::ZoomWheel(QWheelEvent* ev) {
    if (!m_pDlgShow || m_pDlgShow->GetSelWndIndex() != m_nSubWndIndex || !m_bPartZoom)
        return false;
    const int nNotches = ev->angleDelta().y() / 8 / 15;
    if (nNotches > 0)
        On_PartZoomScalePlus();
    else if (nNotches < 0)
        On_PartZoomScaleMinus();
    return true;
}

bool CPlayWnd::ZoomStep(bool bIn) {
    if (m_nPlayState != 1 && m_nPlayState != 2)
        return false;
    const TAVRIX_RECT& rc = m_stZoomRegion.rcRegion;
    const int nRegionWidth = rc.nRight - rc.nLeft;
    const int nRegionHeight = rc.nBottom - rc.nTop;
    if (nRegionWidth == 0 || nRegionHeight == 0)
        return false;
    // 100 is the whole picture.
    const float fPercent = std::min(m_stZoomRegion.nWidth * 100.0f / nRegionWidth,
                                    m_stZoomRegion.nHeight * 100.0f / nRegionHeight);
    // A step that cannot be taken leaves the region as it is; the navigator still shows.
    ComputeZoomRegion(bIn, bIn ? fPercent + kZoomStepPercent : fPercent - kZoomStepPercent);
    UpdateMainWndRegion();
    ShowPartZoomWnd();
    return true;
}

bool CPlayWnd::On_PartZoomScalePlus() {
    return ZoomStep(true);
}

bool CPlayWnd::On_PartZoomScaleMinus() {
    return ZoomStep(false);
}

bool CPlayWnd::ComputeZoomRegion(bool bIn, float fPercent) {
    if (fPercent <= 0)
        fPercent = 0.01f;
    int nWidth = 0;
    int nHeight = 0;
    if (!ZoomPictureSize(&nWidth, &nHeight))
        return false;
    const int nFullWidth = nWidth * m_nSRWidthFactor;
    const float fMaxPercent = std::max(nFullWidth * 100.0f / kMinZoomSide, nHeight * 100.0f / kMinZoomSide);
    fPercent = std::min(fPercent, fMaxPercent);

    // In rounds down and out rounds up, so that each step moves at least a pixel.
    const float fTargetWidth = nFullWidth * 100.0f / fPercent;
    const float fTargetHeight = nHeight * 100.0f / fPercent;
    int nTargetWidth = int(bIn ? std::floor(fTargetWidth) : std::ceil(fTargetWidth));
    int nTargetHeight = int(bIn ? std::floor(fTargetHeight) : std::ceil(fTargetHeight));
    nTargetWidth = std::min(nTargetWidth, nFullWidth);
    nTargetHeight = std::min(nTargetHeight, nHeight);
    if (nTargetWidth < kMinZoomSide || nTargetHeight < kMinZoomSide)
        return false;

    // The middle of the region stays where it is, as far as the picture allows.
    const TAVRIX_RECT& rcOld = m_stZoomRegion.rcRegion;
    const int nCx = (rcOld.nLeft + rcOld.nRight) / 2;
    const int nCy = (rcOld.nTop + rcOld.nBottom) / 2;
    TAVRIX_RECT rc;
    rc.nLeft = nCx - nTargetWidth / 2;
    rc.nRight = rc.nLeft + nTargetWidth;
    rc.nTop = nCy - nTargetHeight / 2;
    rc.nBottom = rc.nTop + nTargetHeight;
    if (rc.nBottom > nHeight) {
        rc.nTop -= rc.nBottom - nHeight;
        rc.nBottom = nHeight;
    }
    if (rc.nRight > nFullWidth) {
        rc.nLeft -= rc.nRight - nFullWidth;
        rc.nRight = nFullWidth;
    }
    if (rc.nTop < 0) {
        rc.nTop = 0;
        rc.nBottom = nTargetHeight;
    }
    if (rc.nLeft < 0) {
        rc.nLeft = 0;
        rc.nRight = nTargetWidth;
    }
    m_stZoomRegion.rcRegion = rc;
    return true;
}

// ---- moving from the navigator ---------------------------------------------------

bool CPlayWnd::On_PartZoomRectMove(int nXOffset, int nYOffset) {
    if (m_stZoomRegion.nWidth == 0 || m_stZoomRegion.nHeight == 0)
        return false;
    const TAVRIX_RECT rcOld = m_stZoomRegion.rcRegion;
    TAVRIX_RECT rc = rcOld;
    rc.nLeft += nXOffset;
    rc.nRight += nXOffset;
    rc.nTop += nYOffset;
    rc.nBottom += nYOffset;
    if (rc.nLeft >= 0 && rc.nTop >= 0 && rc.nRight <= m_stZoomRegion.nWidth - 1 &&
        rc.nBottom <= m_stZoomRegion.nHeight - 1) {
        m_stZoomRegion.rcRegion = rc;
        UpdateMainWndRegion();
        RefreshPlayEx(1);
        ShowPartZoomWnd();
        return true;
    }
    m_stZoomRegion.rcRegion = rcOld;
    return false;
}

// ---- the rectangles, from the draw callbacks (render thread) ------------------------

void CPlayWnd::DrawZoomRect0(QPainter* pPainter) {
    if (!pPainter || !m_bPartZoom || !m_bZoomDragging)
        return;
    // The painter covers the display child.
    const QRect rcChild = pPainter->window();
    const QPoint ptBegin = m_ptZoomBegin;
    const QPoint ptEnd = m_ptZoomEnd;
    const int nLeft = std::max(std::min(ptBegin.x(), ptEnd.x()), 1);
    const int nTop = std::max(std::min(ptBegin.y(), ptEnd.y()), 1);
    const int nRight = std::min(std::max(ptBegin.x(), ptEnd.x()), rcChild.width());
    const int nBottom = std::min(std::max(ptBegin.y(), ptEnd.y()), rcChild.height());
    DrawZoomFrame(pPainter, m_clrZoomRect, nLeft, nTop, nRight, nBottom);
}

void CPlayWnd::DrawZoomRect1(QPainter* pPainter) {
    if (!pPainter || !m_bPartZoom || m_bZoomDragging)
        return;
    const ZoomRegion stRegion = m_stZoomRegion;
    if (stRegion.nWidth == 0 || stRegion.nHeight == 0)
        return;
    // The painter covers the navigator's label: the navigator less its margins.
    const QRect rcLabel = pPainter->window();
    const int nW = rcLabel.width();
    const int nH = rcLabel.height();
    const TAVRIX_RECT& rc = stRegion.rcRegion;
    const int nLeft = std::max(int(double(rc.nLeft) * nW / stRegion.nWidth), 1);
    const int nRight = std::min(int(double(rc.nRight) * nW / stRegion.nWidth), nW);
    const int nTop = std::max(int(double(rc.nTop) * nH / stRegion.nHeight), 1);
    const int nBottom = std::min(int(double(rc.nBottom) * nH / stRegion.nHeight), nH);
    DrawZoomFrame(pPainter, m_clrZoomRect, nLeft, nTop, nRight, nBottom);
}

void CPlayWnd::SetZoomCursor(bool bZoom) {
    setCursor(bZoom ? ZoomCursor(m_strCursorPath) : QCursor());
}
