// The main dialog as a window: title bar, moving, mouse and keys.
#include "CVelquinDlg.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QScreen>

#include "CCustomSlider.h"
#include "CDlgShow.h"
#include "SyncPlayProgressDlg.h"
#include "MainDlgCommon.h"

using namespace maindlg;

// ---------------------------------------------------------------------------
// Title bar and window

bool CVelquinDlg::On_ShowMinimized() {
    showMinimized();
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_ShowMaximized() {
    if (m_bMaximized) {
        setGeometry(m_rcNormal);
        m_bMaximized = false;
        setSizeGripEnabled(true);
    } else {
        m_rcNormal = geometry();
        QScreen* pScreen = QGuiApplication::primaryScreen();
        if (pScreen) {
            QRect rcAvailable = pScreen->availableGeometry();
            // The ruler of synchronous play stands under the dialog: leave it room.
            if (IsSyncPlay() && m_pSyncDlg)
                rcAvailable.setHeight(rcAvailable.height() - m_pSyncDlg->height());
            setGeometry(rcAvailable);
        }
        m_bMaximized = true;
        setSizeGripEnabled(false);
    }
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_Exit() {
    // All saving is in UnInit, after the event loop: closing the last window ends it.
    close();
    return true;
}

void CVelquinDlg::mousePressEvent(QMouseEvent* ev) {
    const QPoint ptGlobal = ev->globalPosition().toPoint();
    if (ev->button() == Qt::LeftButton && !m_bMaximized && !m_bDragging && m_pTitleBarContainer) {
        const QRect rcTitle(m_pTitleBarContainer->mapToGlobal(QPoint(0, 0)), m_pTitleBarContainer->size());
        if (rcTitle.contains(ptGlobal)) {
            m_ptDragOffset = ptGlobal - normalGeometry().topLeft();
            m_bDragging = true;
        }
    }
    On_DlgShowMousePressEvent(ev);
    update();
}

void CVelquinDlg::mouseMoveEvent(QMouseEvent* ev) {
    if ((ev->buttons() & Qt::LeftButton) && !m_bMaximized && m_bDragging)
        move(ev->globalPosition().toPoint() - m_ptDragOffset);
}

void CVelquinDlg::mouseReleaseEvent(QMouseEvent* ev) {
    if (m_bDragging) {
        m_bDragging = false;
        // The title bar must not stay above the top of the screen, out of reach.
        const QRect rcNormal = normalGeometry();
        if (rcNormal.top() < 0)
            move(rcNormal.x(), 1);
    }
    setCursor(Qt::ArrowCursor);
    QDialog::mouseReleaseEvent(ev);
}

void CVelquinDlg::mouseDoubleClickEvent(QMouseEvent* ev) {
    if (ev->button() != Qt::LeftButton || !m_pTitleBarContainer)
        return;
    const QRect rcTitle(m_pTitleBarContainer->mapToGlobal(QPoint(0, 0)), m_pTitleBarContainer->size());
    if (rcTitle.contains(ev->globalPosition().toPoint()))
        On_ShowMaximized();
}

bool CVelquinDlg::On_DlgShowMousePressEvent(QMouseEvent* ev) {
    if (ev && ev->button() == Qt::RightButton && m_pDlgShow && m_pDlgShow->isVisible()) {
        const QRect rcStage(m_pDlgShow->mapToGlobal(QPoint(0, 0)), m_pDlgShow->size());
        if (rcStage.contains(ev->globalPosition().toPoint()))
            ShowRightMenu();
    }
    update();
    return true;
}

bool CVelquinDlg::On_DlgShowMouseMoveEvent(QMouseEvent* /*ev*/) {
    return true;
}

void CVelquinDlg::keyPressEvent(QKeyEvent* ev) {
    // QDialog's own handling is skipped on purpose: Escape must not close the player.
    On_KeyPressEvent(ev);
}

bool CVelquinDlg::On_KeyPressEvent(QKeyEvent* ev) {
    if (!ev)
        return false;
    const int nKey = int(ev->modifiers()) + ev->key();
    const HotKeysCfg& stKeys = m_stPlayerCfg.stHotKeys;
    // Compared in the fixed order of the hot key table, so that of two equal keys
    // only the first runs. Keys of commands that come later (fisheye, capture,
    // full screen) match nothing yet.
    if (nKey == stKeys.nOpenFiles)
        return On_OpenFiles();
    if (nKey == stKeys.nOpenFolder)
        return On_OpenFolder();
    if (nKey == stKeys.nOpenURL) {
        // The modal dialog runs after the key event has been handled.
        QMetaObject::invokeMethod(this, &CVelquinDlg::On_OpenURL, Qt::QueuedConnection);
        return true;
    }
    if (nKey == stKeys.nPlayOrPause)
        return On_PlayOrPause();
    if (nKey == stKeys.nStop)
        return On_Stop();
    if (nKey == stKeys.nFrameForward)
        return On_FrameForward();
    if (nKey == stKeys.nFrameBackward)
        return On_FrameBackward();
    if (nKey == stKeys.nFast)
        return On_Fast();
    if (nKey == stKeys.nSlow)
        return On_Slow();
    if (nKey == stKeys.nRestoreSpeed)
        return On_RestoreCommonSpeed();
    if (nKey == stKeys.nVolumeUp || nKey == stKeys.nVolumeDown) {
        int nVolume = int(m_nVolume);
        if (nKey == stKeys.nVolumeUp)
            nVolume = (nVolume < 100 && nVolume > 90) ? 100 : qMin(nVolume + 10, 200);
        else
            nVolume = (nVolume > 100 && nVolume < 110) ? 100 : qMax(nVolume - 10, 0);
        if (!SetVolumeValue(nVolume))
            return false;
        m_pSliderSound->setValue(qMin(nVolume, 100));
        return true;
    }
    if (nKey == stKeys.nGotoBegin)
        return On_GoToBegin();
    if (nKey == stKeys.nGotoEnd)
        return On_GoToEnd();
    if (nKey == stKeys.nCapPic)
        return On_CapPic();
    if (nKey == stKeys.nRepeatAB)
        return On_ABRepeat();
    if (nKey == stKeys.nExit)
        return On_Exit();
    return false;
}
