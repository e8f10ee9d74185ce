// The main dialog as a window: title bar, moving, mouse and keys, display on
// top and the playlist handle.
#include "CVelquinDlg.h"

#include <QAction>
#include <QCursor>
#include <QEnterEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPushButton>
#include <QScreen>
#include <QWindow>

#include "CCustomSlider.h"
#include "CDlgShow.h"
#include "CSkinButton.h"
#include "LanguageKeys.h"
#include "PlaylistCtrlBar.h"
#include "SyncPlayProgressDlg.h"
#include "MainDlgCommon.h"

using namespace maindlg;

namespace {
const int kPlaylistHandleWidth = 100;
} // namespace

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
        // The screen the dialog stands on, so that a window left on a second
        // monitor is maximised there.
        QScreen* pScreen = screen() ? screen() : QGuiApplication::primaryScreen();
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
    // Synchronous play maximises and restores behind a full screen stage: the
    // way back from full screen must come to this geometry, not the old one.
    if (m_bFullScreen)
        m_rcDlgBeforeFullScreen = geometry();
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_Exit() {
    // Full screen ends first: the stage and the bars are windows of their own
    // then, and would stay on the screen and keep the program running.
    if (m_bFullScreen)
        On_FullScreen();
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
    // Escape is fixed: it only ever leaves full screen.
    if (ev->key() == Qt::Key_Escape && m_bFullScreen)
        return On_FullScreen();
    const int nKey = int(ev->modifiers()) + ev->key();
    const HotKeysCfg& stKeys = m_stPlayerCfg.stHotKeys;
    // Compared in the fixed order of the hot key table, so that of two equal keys
    // only the first runs.
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
    if (nKey == stKeys.nFullScreen) {
        if (!m_pDlgShow || !m_pDlgShow->isVisible())
            return false;
        return On_FullScreen();
    }
    if (nKey == stKeys.nFisheyeExpansion) {
        if (!m_pDlgShow)
            return false;
        // A stream has no file to expand.
        const int nSel = m_pDlgShow->GetSelWndIndex();
        if (IsActiveState(m_pDlgShow->GetPlayState(nSel)) && m_pDlgShow->GetOpenMode(nSel) == 2)
            return false;
        // The modal dialog runs after the key event has been handled.
        QMetaObject::invokeMethod(this, &CVelquinDlg::On_OpenFEC, Qt::QueuedConnection);
        return true;
    }
    if (nKey == stKeys.nRepeatAB)
        return On_ABRepeat();
    if (nKey == stKeys.nExit)
        return On_Exit();
    return false;
}

// ---------------------------------------------------------------------------
// Window modes: display on top, the playlist handle, and what follows the dialog

bool CVelquinDlg::InitWindowModes() {
    bool bOk = true;
    // Queued: in full screen the button sits on the control bar, a window of its
    // own that leaving full screen turns back into a child.
    bOk &= bool(connect(m_pBtnFullScreen, &QPushButton::clicked, this, &CVelquinDlg::On_FullScreen,
                        Qt::QueuedConnection));
    bOk &= bool(connect(m_pBtnTopMode, &QPushButton::clicked, this, &CVelquinDlg::On_TopDisplay));
    bOk &= bool(connect(m_pDlgShow, &CDlgShow::Sig_TopLevelChanged, this, &CVelquinDlg::On_TopLevelChanged));
    bOk &= bool(connect(m_pDlgShow, &CDlgShow::Sig_DbClickPlayWnd, this, &CVelquinDlg::On_DbClickPlayWnd));

    m_pPlaylistCtrlBar = new PlaylistCtrlBar(this);
    m_pPlaylistCtrlBar->Init();
    // A window over the left edge of the stage, outside the layouts; not even
    // a click on it may take the focus, so keys stay with the dialog.
    m_pPlaylistCtrlBar->setWindowFlag(Qt::WindowDoesNotAcceptFocus, true);
    m_pPlaylistCtrlBar->setFocusPolicy(Qt::NoFocus);
    // A platform that activates every window it shows gets the activation
    // handed back at once.
    bOk &= bool(connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, [this](QWindow* pWindow) {
        if (pWindow && m_pPlaylistCtrlBar && pWindow == m_pPlaylistCtrlBar->windowHandle())
            activateWindow();
    }));
    if (QPushButton* pBtn = m_pPlaylistCtrlBar->GetButton())
        pBtn->setFocusPolicy(Qt::NoFocus);
    bOk &= bool(connect(m_pPlaylistCtrlBar, &PlaylistCtrlBar::SigPlaylistShowOrHide, this,
                        &CVelquinDlg::On_ShowHidePlaylist));
    bOk &= bool(connect(m_pPlaylistCtrlBar, &PlaylistCtrlBar::SigMouseLease, this,
                        &CVelquinDlg::OnMouseLeavePlaylistCtrlBar));
    return bOk;
}

void CVelquinDlg::SetTopmost(bool bTopmost) {
    if (bTopmost != bool(windowFlags() & Qt::WindowStaysOnTopHint)) {
        // A change of window flags hides the window: it is shown again as it was.
        const bool bVisible = isVisible();
        setWindowFlag(Qt::WindowStaysOnTopHint, bTopmost);
        if (bVisible)
            show();
    }
    m_bTopmost = bTopmost;
}

bool CVelquinDlg::ApplyTopMode(int nMode) {
    switch (nMode) {
    case 2:
        SetTopmost(true);
        break;
    case 0:
        SetTopmost(false);
        break;
    case 1: {
        if (!m_pDlgShow)
            return false;
        bool bActive = false;
        for (int i = 0; i < MAX_PLAY_WND && !bActive; ++i)
            bActive = IsActiveState(m_pDlgShow->GetPlayState(i));
        if (bActive && !m_bTopmost)
            SetTopmost(true);
        else if (!bActive && m_bTopmost)
            SetTopmost(false);
        break;
    }
    default:
        return false;
    }
    m_nTopMode = nMode;
    if (m_bFullScreen && m_pDlgShow) {
        // The picture stays in front of the dialog it left.
        m_pDlgShow->raise();
        m_pDlgShow->activateWindow();
    } else {
        activateWindow();
    }
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_TopDisplay() {
    // The title bar button cycles always, only when playing, never.
    return ApplyTopMode(m_nTopMode == 2 ? 1 : (m_nTopMode == 1 ? 0 : 2));
}

bool CVelquinDlg::On_SwitchTopMode(QAction* pAction) {
    if (!pAction)
        return false;
    bool bOk = false;
    const int nMode = pAction->data().toInt(&bOk);
    if (!bOk || nMode < 0 || nMode > 2)
        return false;
    return ApplyTopMode(nMode);
}

void CVelquinDlg::UpdateWindowModeCtrls() {
    if (!m_pDlgShow)
        return;
    int nShown = 0;
    for (int i = 0; i < m_pDlgShow->GetPlayWndNum(); ++i)
        nShown += IsActiveState(m_pDlgShow->GetPlayState(i)) ? 1 : 0;
    m_pBtnFullScreen->setEnabled(m_bFullScreen || nShown >= 1);
    m_pBtnFullScreen->SetSelected(m_bFullScreen);
    // The top mode button's tip comes with the other state tips (RetranslateWidgets).
    ChangePlaylistCtrlPos();
}

void CVelquinDlg::UpdatePlaylistCtrlVisibility() {
    if (!m_pPlaylistCtrlBar)
        return;
    // Over the dialog only while the dialog can be seen as itself.
    const bool bShow = isVisible() && !isMinimized() && !m_bFullScreen;
    if (bShow) {
        ChangePlaylistCtrlPos();
        m_pPlaylistCtrlBar->show();
        m_pPlaylistCtrlBar->raise();
    } else {
        m_pPlaylistCtrlBar->hide();
    }
}

void CVelquinDlg::ChangePlaylistCtrlPos() {
    if (!m_pPlaylistCtrlBar || !m_pPlaylistCtrlContainer)
        return;
    const QPoint ptPos = m_bPlaylistShown ? mapToGlobal(QPoint(m_pPlaylistCtrlContainer->width(), 0))
                                          : mapToGlobal(QPoint(0, 0));
    m_pPlaylistCtrlBar->setFixedHeight(height());
    m_pPlaylistCtrlBar->setFixedWidth(kPlaylistHandleWidth);
    m_pPlaylistCtrlBar->move(ptPos);
    m_pPlaylistCtrlBar->SetPlaylistShown(m_bPlaylistShown);
}

bool CVelquinDlg::On_ShowHidePlaylist() {
    if (!m_pPlaylistCtrlContainer)
        return false;
    m_pPlaylistCtrlContainer->setVisible(!m_pPlaylistCtrlContainer->isVisible());
    m_bPlaylistShown = !m_bPlaylistShown;
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_ClosePlaylist() {
    if (!m_pPlaylistCtrlContainer || !m_pPlaylistCtrlContainer->isVisible())
        return false;
    return On_ShowHidePlaylist();
}

void CVelquinDlg::enterEvent(QEnterEvent* ev) {
    QDialog::enterEvent(ev);
    if (m_pPlaylistCtrlBar)
        m_pPlaylistCtrlBar->ShowBtn();
}

void CVelquinDlg::leaveEvent(QEvent* ev) {
    QDialog::leaveEvent(ev);
    // Passing onto the handle, which lies over the dialog, is not leaving it.
    if (m_pPlaylistCtrlBar && !geometry().contains(QCursor::pos()))
        m_pPlaylistCtrlBar->HideBtn();
}

void CVelquinDlg::OnMouseLeavePlaylistCtrlBar(QEvent* ev) {
    leaveEvent(ev);
}

void CVelquinDlg::showEvent(QShowEvent* ev) {
    QDialog::showEvent(ev);
    UpdatePlaylistCtrlVisibility();
}

void CVelquinDlg::hideEvent(QHideEvent* ev) {
    QDialog::hideEvent(ev);
    UpdatePlaylistCtrlVisibility();
}

void CVelquinDlg::changeEvent(QEvent* ev) {
    QDialog::changeEvent(ev);
    if (ev->type() == QEvent::WindowStateChange)
        UpdatePlaylistCtrlVisibility();
}
