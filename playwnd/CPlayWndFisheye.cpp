// Fisheye views and picture enhancement of the play window: the view mode,
// steering by buttons, mouse, wheel and the automatic turn, and the kept
// enhancement record. Everything here runs on the GUI thread, where
// m_pAutoTransTimer lives, except ApplyVIEOnOpen, which a stream's session
// thread may call while it opens the engine's stream.

#include "CPlayWnd.h"

#include <QDebug>
#include <QLabel>
#include <QMouseEvent>
#include <QMutexLocker>
#include <QThread>
#include <QTimer>
#include <QWheelEvent>

#include <algorithm>
#include <new>

#include "CDlgShow.h"

namespace {

// One button step: pi / 200 radians.
const float kSRStep = 0.015707964f;
// A drag across the whole window is one full turn.
const float kSRFullTurn = 6.2831855f;
// One wheel notch narrows or widens the view by this many radians.
const float kSRZoomStep = 0.1f;

enum SRCommand { kSRUp = 0, kSRDown = 1, kSRLeft = 2, kSRAuto = 3, kSRRight = 4, kSRLeftUp = 5,
                 kSRLeftDown = 6, kSRRightUp = 7, kSRRightDown = 8 };

} // namespace

void CPlayWnd::SetSRViewMode(int nMode) {
    TAVRIX_SR_CONFIG stConfig{};
    stConfig.bPtzMode = nMode == 0 ? 0 : 1;
    stConfig.nParam[0] = 0;
    stConfig.nParam[1] = 1;
    stConfig.nParam[2] = 0;
    stConfig.nParam[3] = 1;
    // Other modes keep whatever steering the window had.
    if (nMode == 0)
        m_bSRPtzEnable = false;
    else if (nMode == 1)
        m_bSRPtzEnable = true;
    if (!Tavrix_SR_SetConfig(m_lPort, TAVRIX_SR_CONFIG_VIEW, &stConfig))
        qDebug("Tavrix_SR_SetConfig Err");
    // Kept also after a failure: the next play of fisheye material applies it.
    m_nSRViewMode = nMode;
}

bool CPlayWnd::PrepareSRRotate(float fRotateX, float fRotateY, float fZoom) {
    if (!m_pSRRotateParam) {
        m_pSRRotateParam.reset(new (std::nothrow) TAVRIX_SR_ROTATE_PARAM{});
        if (!m_pSRRotateParam)
            return false;
    }
    m_stSRRotate.pParam = m_pSRRotateParam.get();
    m_stSRRotate.nReserved = 0;
    m_pSRRotateParam->fRotateX = fRotateX;
    m_pSRRotateParam->fRotateY = fRotateY;
    m_pSRRotateParam->fReserved = 0.0f;
    m_pSRRotateParam->fZoom = fZoom;
    return true;
}

bool CPlayWnd::SRMove(int nCmd) {
    if (!PrepareSRRotate(0.0f, 0.0f, 0.0f))
        return false;
    float fX = -kSRStep; // codes without a row of their own turn left
    float fY = 0.0f;
    switch (nCmd) {
    case kSRUp: fX = 0.0f; fY = -kSRStep; break;
    case kSRDown: fX = 0.0f; fY = kSRStep; break;
    case kSRLeft: fX = -kSRStep; break;
    case kSRRight: fX = kSRStep; break;
    case kSRLeftUp: fX = -kSRStep; fY = -kSRStep; break;
    case kSRLeftDown: fX = -kSRStep; fY = kSRStep; break;
    case kSRRightUp: fX = kSRStep; fY = -kSRStep; break;
    case kSRRightDown: fX = kSRStep; fY = kSRStep; break;
    case kSRAuto:
        // Toggles the automatic turn; the view itself does not move (the block
        // stays zero, so the stage's following SRRotate adds nothing).
        if (m_pAutoTransTimer->isActive()) {
            m_pAutoTransTimer->stop();
        } else {
            m_pAutoTransTimer->setInterval(std::max(2, (100 - m_nAutoSpeed) * 2));
            m_pAutoTransTimer->start();
        }
        return true;
    default: break;
    }
    // A direction takes over from the automatic turn.
    StopAutoTrans();
    m_pSRRotateParam->fRotateX = fX;
    m_pSRRotateParam->fRotateY = fY;
    SRRotate();
    return true;
}

bool CPlayWnd::SRRotate() {
    // Nothing prepared yet: there is no turn to hand over.
    if (!m_stSRRotate.pParam)
        return false;
    if (!Tavrix_SR_Rotate(m_lPort, &m_stSRRotate)) {
        qDebug("Tavrix_SR_Rotate Err dwErrorCode=%d", Tavrix_GetLastError(m_lPort));
        return false;
    }
    return true;
}

void CPlayWnd::OnAutoTransTimer() {
    // The automatic turn goes one way only.
    if (PrepareSRRotate(kSRStep, 0.0f, 0.0f))
        SRRotate();
}

void CPlayWnd::SetAutoSpeed(int nSpeed) {
    if (nSpeed > 100)
        return;
    m_nAutoSpeed = nSpeed;
    const int nInterval = std::max(1, 100 - nSpeed);
    qDebug("Auto Speed %d", nInterval);
    // A running turn takes the undoubled interval: half of what a fresh start
    // at the same speed gets.
    if (m_pAutoTransTimer->isActive())
        m_pAutoTransTimer->setInterval(nInterval);
}

bool CPlayWnd::IsAutoTrans() const {
    return m_pAutoTransTimer && m_pAutoTransTimer->isActive();
}

int CPlayWnd::AutoTransInterval() const {
    return IsAutoTrans() ? m_pAutoTransTimer->interval() : -1;
}

void CPlayWnd::InitAutoTrans() {
    // No parent: the window deletes it itself, after the Close of its destructor.
    m_pAutoTransTimer = new QTimer;
    connect(m_pAutoTransTimer, &QTimer::timeout, this, &CPlayWnd::OnAutoTransTimer);
}

void CPlayWnd::UnInitAutoTrans() {
    StopAutoTrans();
    delete m_pAutoTransTimer;
    m_pAutoTransTimer = nullptr;
}

void CPlayWnd::StopAutoTrans() {
    if (m_pAutoTransTimer && m_pAutoTransTimer->isActive())
        m_pAutoTransTimer->stop();
}

void CPlayWnd::ApplySROnPlay() {
    // A stream starts play on its session's thread; the view mode, its
    // steering flag and the width factor belong to the GUI thread. The window
    // as context drops the call if the window goes first.
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(
            this, [this] { ApplySROnPlay(); }, Qt::QueuedConnection);
        return;
    }
    if (m_bSRFile)
        SetSRViewMode(m_nSRViewMode);
    m_nSRWidthFactor = m_bSRFile ? 2 : 1;
}

// ---- steering by mouse -----------------------------------------------------
// Only fisheye material in a steerable mode: on other material the mouse
// belongs to partial zoom.

bool CPlayWnd::SRMousePress(QMouseEvent* ev) {
    if (!m_bSRFile || !m_bSRPtzEnable || ev->button() != Qt::LeftButton || !m_pDisplayWnd)
        return false;
    m_bSRDragging = true;
    m_ptSRLast = m_pDisplayWnd->mapFrom(this, ev->position().toPoint());
    m_ptSRCur = m_ptSRLast;
    return true;
}

bool CPlayWnd::SRMouseMove(QMouseEvent* ev) {
    if (!m_bSRDragging || (m_nPlayState != 1 && m_nPlayState != 2) || !m_pDisplayWnd)
        return false;
    // A mode change during the drag ends the steering.
    if (!m_bSRPtzEnable) {
        m_bSRDragging = false;
        return false;
    }
    const int nWidth = width();
    const int nHeight = height();
    if (nWidth <= 0 || nHeight <= 0)
        return true;
    m_ptSRCur = m_pDisplayWnd->mapFrom(this, ev->position().toPoint());
    const float fX = float(m_ptSRCur.x() - m_ptSRLast.x()) * kSRFullTurn / float(nWidth);
    const float fY = float(m_ptSRCur.y() - m_ptSRLast.y()) * kSRFullTurn / float(nHeight);
    m_ptSRLast = m_ptSRCur;
    if (PrepareSRRotate(fX, fY, 0.0f))
        SRRotate();
    return true;
}

bool CPlayWnd::SRMouseRelease(QMouseEvent* ev) {
    Q_UNUSED(ev);
    const bool bWasDragging = m_bSRDragging;
    m_bSRDragging = false;
    return bWasDragging;
}

bool CPlayWnd::SRWheel(QWheelEvent* ev) {
    if (!m_bSRFile || !m_bSRPtzEnable || !m_pDlgShow || m_pDlgShow->GetSelWndIndex() != m_nSubWndIndex)
        return false;
    const int nNotches = ev->angleDelta().y() / 8 / 15;
    if (nNotches != 0 && PrepareSRRotate(0.0f, 0.0f, nNotches > 0 ? kSRZoomStep : -kSRZoomStep))
        SRRotate();
    return true;
}

// ---- enhancement ------------------------------------------------------------

bool CPlayWnd::SetVIEModuConfig(int nModule, bool bEnable) {
    const int32_t nPort = m_lPort;
    if (!Tavrix_VIE_SetModuConfig(nPort, nModule, bEnable))
        qDebug("Tavrix_VIE_SetModuConfig Fail m_lPort=%d, dwErrorCode=%d", nPort, Tavrix_GetLastError(nPort));
    if (!Tavrix_VIE_SetRegion(nPort, 0, nullptr)) {
        qDebug("Tavrix_VIE_SetRegion Fail m_lPort=%d, dwErrorCode=%d", nPort, Tavrix_GetLastError(nPort));
        return false;
    }
    return true;
}

bool CPlayWnd::SetVIEParam(TAVRIX_VIE_PARAM* pParam) {
    const int32_t nPort = m_lPort;
    if (nPort < 0 || !pParam)
        return false;
    const TAVRIX_VIE_PARAM stParam = *pParam; // the caller's record may be our own
    {
        QMutexLocker lock(&m_mtxShared);
        m_stVIEConfig = stParam;
    }
    if (!Tavrix_VIE_SetParaConfig(nPort, &stParam)) {
        qDebug("Tavrix_SetVIEDynamicParam() Fail m_lPort=%d, dwErrorCode=%d", nPort, Tavrix_GetLastError(nPort));
        return false;
    }
    return true;
}

bool CPlayWnd::GetVIEParam(TAVRIX_VIE_PARAM* pParam) {
    if (!pParam)
        return false;
    QMutexLocker lock(&m_mtxShared);
    *pParam = m_stVIEConfig;
    return true;
}

void CPlayWnd::ApplyVIEOnOpen(int32_t nPort) {
    // The port is passed in: a stream's session thread opens its port before
    // the window's own field is meant to be read there.
    TAVRIX_VIE_PARAM stParam;
    {
        QMutexLocker lock(&m_mtxShared);
        stParam = m_stVIEConfig;
    }
    if (stParam.nModuleMask == 0)
        return;
    if (!Tavrix_VIE_SetModuConfig(nPort, stParam.nModuleMask, true))
        qDebug("Tavrix_VIE_SetModuConfig Fail m_lPort=%d, dwErrorCode=%d", nPort, Tavrix_GetLastError(nPort));
    if (!Tavrix_VIE_SetRegion(nPort, 0, nullptr))
        qDebug("Tavrix_VIE_SetRegion Fail m_lPort=%d, dwErrorCode=%d", nPort, Tavrix_GetLastError(nPort));
    if (!Tavrix_VIE_SetParaConfig(nPort, &stParam))
        qDebug("Tavrix_SetVIEDynamicParam() Fail m_lPort=%d, dwErrorCode=%d", nPort, Tavrix_GetLastError(nPort));
}
