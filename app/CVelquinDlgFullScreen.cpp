// The main dialog in full screen: the stage becomes a window of its own that
// covers the screen, and the status and control bars become frameless windows
// that slide in from the screen's edges while the pointer is there. The dialog
// itself stays where it was, behind the stage, and keeps its other widgets.

#include "CVelquinDlg.h"

#include <QCursor>
#include <QGuiApplication>
#include <QLayout>
#include <QPropertyAnimation>
#include <QScreen>
#include <QTimer>

#include "CDlgShow.h"
#include "CSkinButton.h"
#include "MainDlgCommon.h"
#include "PlaylistCtrlBar.h"
#include "SyncPlayProgressDlg.h"
#include "SyncPlayProgressFullScreenDlg.h"

using namespace maindlg;

namespace {

const int kAnimDurationMs = 250;
const int kMouseDetectMs = 500;
const int kBarHideDelayMs = 1500;
const double kBarOpacityShown = 0.8;
const double kBarOpacityNormal = 1.0;
// A bar in full screen is a window of its own that never takes the focus: the
// keys (Escape above all) must keep going to the stage.
const Qt::WindowFlags kBarWindowFlags = Qt::Window | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus;

QRect PrimaryScreenRect() {
    QScreen* pScreen = QGuiApplication::primaryScreen();
    return pScreen ? pScreen->geometry() : QRect();
}

QPropertyAnimation* MakeGeometryAnim(QObject* pParent, QWidget* pTarget, const QRect& rcFrom,
                                     const QRect& rcTo) {
    QPropertyAnimation* pAnim = new QPropertyAnimation(pTarget, "geometry", pParent);
    pAnim->setDuration(kAnimDurationMs);
    pAnim->setStartValue(rcFrom);
    pAnim->setEndValue(rcTo);
    return pAnim;
}

// Where a widget stands now, in global coordinates; empty while it is hidden, so
// that a bar slid away or never shown does not count as under the pointer.
QRect ShownRect(const QWidget* pWidget) {
    if (!pWidget || !pWidget->isVisible())
        return QRect();
    return QRect(pWidget->mapToGlobal(QPoint(0, 0)), pWidget->size());
}

void StopAnim(QPropertyAnimation* pAnim) {
    if (pAnim)
        pAnim->stop();
}

} // namespace

int CVelquinDlg::CountActiveWnds(bool bWithOpening) const {
    if (!m_pDlgShow)
        return 0;
    int nActive = 0;
    for (int i = 0; i < MAX_PLAY_WND; ++i) {
        if (IsActiveState(m_pDlgShow->GetPlayState(i)) || (bWithOpening && m_pDlgShow->IsOpening(i)))
            ++nActive;
    }
    return nActive;
}

bool CVelquinDlg::On_FullScreen() {
    // Only the way in needs a visible stage: a stage the window manager closed
    // while it was a full screen window must still find its way back.
    if (!m_pDlgShow || (!m_bFullScreen && !m_pDlgShow->isVisible()))
        return false;
    // An empty stage does not go full screen.
    if (!m_bFullScreen && CountActiveWnds(false) == 0)
        return false;
    m_bFullScreen = !m_bFullScreen;
    CreateFullScreenAnims();
    if (m_bFullScreen)
        EnterFullScreen();
    else
        LeaveFullScreen();
    On_UpdateCtrlsState();
    return true;
}

void CVelquinDlg::CreateFullScreenAnims() {
    // The rectangles are those of the primary screen when they are made; a later
    // change of resolution does not move them.
    const QRect rcScreen = PrimaryScreenRect();
    const int nW = rcScreen.width();
    const int nH = rcScreen.height();
    const int nStatusH = m_pStatusBarContainer->height();
    const int nCtrlH = m_pCtrlBarContainer->height();
    if (!m_pAnimStatusShow)
        m_pAnimStatusShow = MakeGeometryAnim(this, m_pStatusBarContainer, QRect(0, -nStatusH, nW, nStatusH),
                                             QRect(0, 0, nW, nStatusH));
    if (!m_pAnimStatusHide)
        m_pAnimStatusHide = MakeGeometryAnim(this, m_pStatusBarContainer, QRect(0, 0, nW, nStatusH),
                                             QRect(0, -nStatusH, nW, nStatusH));
    if (!m_pAnimCtrlShow)
        m_pAnimCtrlShow = MakeGeometryAnim(this, m_pCtrlBarContainer, QRect(0, nH, nW, nCtrlH),
                                           QRect(0, nH - nCtrlH, nW, nCtrlH));
    if (!m_pAnimCtrlHide)
        m_pAnimCtrlHide = MakeGeometryAnim(this, m_pCtrlBarContainer, QRect(0, nH - nCtrlH, nW, nCtrlH),
                                           QRect(0, nH, nW, nCtrlH));
    if (!m_pFullScreenHideTimer) {
        m_pFullScreenHideTimer = new QTimer(this);
        m_pFullScreenHideTimer->setObjectName(QStringLiteral("m_pFullScreenHideTimer"));
        m_pFullScreenHideTimer->setSingleShot(true);
        connect(m_pFullScreenHideTimer, &QTimer::timeout, this, &CVelquinDlg::On_FullScreenHideTimer);
    }
    if (!m_pFullScreenMouseTimer) {
        m_pFullScreenMouseTimer = new QTimer(this);
        m_pFullScreenMouseTimer->setObjectName(QStringLiteral("m_pFullScreenMouseTimer"));
        connect(m_pFullScreenMouseTimer, &QTimer::timeout, this, &CVelquinDlg::On_FullScreenMouseDetectTimer);
    }
}

void CVelquinDlg::EnterFullScreen() {
    const int nScreenW = PrimaryScreenRect().width();
    m_rcDlgBeforeFullScreen = geometry();
    // As windows, their layouts raise their minimum sizes to all they hold;
    // back in the dialog they must be as small as they were, or a long file
    // name would push the bars' buttons out of sight.
    m_sizeStageMin = m_pDlgShow->minimumSize();
    m_sizeStatusMin = m_pStatusBarContainer->minimumSize();
    m_sizeCtrlMin = m_pCtrlBarContainer->minimumSize();
    m_bMouseOnBars = false;
    // The bars leave the layout as hidden windows; they come when the pointer
    // reaches an edge.
    for (QWidget* pBar : {m_pStatusBarContainer, m_pCtrlBarContainer}) {
        pBar->setWindowFlags(kBarWindowFlags);
        pBar->resize(nScreenW, pBar->height());
    }
    if (IsSyncPlay()) {
        ShowSyncRuler(false);
        if (m_pSyncFullDlg) {
            m_pSyncFullDlg->setWindowFlags(Qt::Dialog | Qt::FramelessWindowHint |
                                           Qt::WindowDoesNotAcceptFocus);
            m_pSyncFullDlg->resize(nScreenW, m_pSyncFullDlg->height());
        }
    }
    if (m_pPlaylistCtrlBar)
        m_pPlaylistCtrlBar->hide();

    m_pDlgShow->setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
    // Placed on the dialog first, so that it fills the screen the dialog is on;
    // given that screen's size too, for a desktop without a window manager,
    // where the full screen state alone changes nothing.
    m_pDlgShow->move(geometry().topLeft());
    if (QScreen* pScreen = screen())
        m_pDlgShow->setGeometry(pScreen->geometry());
    m_pDlgShow->showFullScreen();
    m_pDlgShow->activateWindow();
    m_pDlgShow->update();
    m_pFullScreenMouseTimer->start(kMouseDetectMs);
}

void CVelquinDlg::LeaveFullScreen() {
    m_pFullScreenMouseTimer->stop();
    m_pFullScreenHideTimer->stop();
    m_bMouseOnBars = false;
    // An animation still running would move a bar after it is back in its layout.
    for (QPropertyAnimation* pAnim : {m_pAnimStatusShow, m_pAnimStatusHide, m_pAnimCtrlShow, m_pAnimCtrlHide,
                                      m_pAnimSyncShow, m_pAnimSyncHide})
        StopAnim(pAnim);

    // Plain child widgets again: the layout gives each its old place.
    m_pDlgShow->setWindowFlags(Qt::Widget);
    m_pDlgShow->setMinimumSize(m_sizeStageMin);
    m_pDlgShow->showNormal();
    for (QWidget* pBar : {m_pStatusBarContainer, m_pCtrlBarContainer}) {
        pBar->setWindowOpacity(kBarOpacityNormal);
        pBar->setWindowFlags(Qt::Widget);
        pBar->setMinimumSize(pBar == m_pStatusBarContainer ? m_sizeStatusMin : m_sizeCtrlMin);
        pBar->showNormal();
    }
    if (QLayout* pColumn = m_pMainWndContainer->layout()) {
        pColumn->invalidate();
        pColumn->activate();
    }
    if (IsSyncPlay()) {
        // The ruler under the dialog takes over; its full screen stand-in waits
        // hidden for the next time.
        ShowSyncRuler(true);
    }
    if (m_pSyncFullDlg)
        m_pSyncFullDlg->hide();
    // Nothing here moves the dialog, but a window manager may have.
    if (m_rcDlgBeforeFullScreen.isValid() && geometry() != m_rcDlgBeforeFullScreen)
        setGeometry(m_rcDlgBeforeFullScreen);
    activateWindow();
    UpdatePlaylistCtrlVisibility();
}

bool CVelquinDlg::On_FullScreenMouseDetectTimer() {
    if (!m_bFullScreen || !m_pFullScreenHideTimer)
        return false;
    const QRect rcScreen = PrimaryScreenRect();
    const bool bSyncBar = IsSyncPlay() && m_pSyncFullDlg;
    // The bottom zone is as high as the status bar, not the control bar.
    const int nTopH = m_pStatusBarContainer->height();
    const int nBottomH = bSyncBar ? m_pSyncFullDlg->height() : m_pStatusBarContainer->height();
    const QRect rcTopZone(rcScreen.left(), rcScreen.top(), rcScreen.width(), nTopH);
    const QRect rcBottomZone(rcScreen.left(), rcScreen.bottom() + 1 - nBottomH, rcScreen.width(), nBottomH);
    const QPoint ptCursor = QCursor::pos();

    if (!rcTopZone.contains(ptCursor) && !rcBottomZone.contains(ptCursor)) {
        // Off the bars: they go once the delay has passed, counted from the
        // first tick outside.
        if (m_bMouseOnBars) {
            m_pFullScreenHideTimer->stop();
            m_pFullScreenHideTimer->start(kBarHideDelayMs);
            m_bMouseOnBars = false;
        }
        return true;
    }

    QWidget* pBottomBar = bSyncBar ? static_cast<QWidget*>(m_pSyncFullDlg) : m_pCtrlBarContainer;
    if (ShownRect(m_pStatusBarContainer).contains(ptCursor) || ShownRect(pBottomBar).contains(ptCursor)) {
        m_bMouseOnBars = true;
        return true;
    }
    ShowStatusBar(true);
    if (bSyncBar && m_pAnimSyncShow)
        ShowSyncFullBar(true);
    else
        ShowCtrlBar(true);
    return true;
}

bool CVelquinDlg::On_FullScreenHideTimer() {
    if (!m_pAnimStatusHide || !m_pAnimCtrlHide || !m_pFullScreenHideTimer)
        return false;
    ShowStatusBar(false);
    if (IsSyncPlay() && m_pAnimSyncHide)
        ShowSyncFullBar(false);
    else
        ShowCtrlBar(false);
    m_pFullScreenHideTimer->stop();
    return true;
}

void CVelquinDlg::SlideFullScreenBar(QWidget* pBar, QPropertyAnimation* pAnimShow,
                                     QPropertyAnimation* pAnimHide, bool bShow, Qt::WindowFlags eFlags) {
    if (!pBar || !pAnimShow || !pAnimHide)
        return;
    if (!bShow) {
        pAnimShow->stop();
        pAnimHide->start();
        return;
    }
    pBar->raise();
    pBar->setWindowFlags(eFlags);
    pBar->setWindowOpacity(kBarOpacityShown);
    pAnimHide->stop();
    pAnimShow->start();
    pBar->showNormal();
}

void CVelquinDlg::ShowStatusBar(bool bShow) {
    SlideFullScreenBar(m_pStatusBarContainer, m_pAnimStatusShow, m_pAnimStatusHide, bShow, kBarWindowFlags);
}

void CVelquinDlg::ShowCtrlBar(bool bShow) {
    SlideFullScreenBar(m_pCtrlBarContainer, m_pAnimCtrlShow, m_pAnimCtrlHide, bShow, kBarWindowFlags);
}

void CVelquinDlg::ShowSyncFullBar(bool bShow) {
    SlideFullScreenBar(m_pSyncFullDlg, m_pAnimSyncShow, m_pAnimSyncHide, bShow,
                       Qt::Dialog | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus);
}

bool CVelquinDlg::On_TopLevelChanged() {
    // An activation of the stage must not bury the bars under it.
    if (!m_bFullScreen)
        return false;
    for (QWidget* pBar :
         {static_cast<QWidget*>(m_pStatusBarContainer), static_cast<QWidget*>(m_pCtrlBarContainer),
          static_cast<QWidget*>(m_pSyncFullDlg)}) {
        if (pBar && pBar->isVisible())
            pBar->raise();
    }
    return true;
}

bool CVelquinDlg::On_DbClickPlayWnd(int nPlayWndIndex) {
    if (!m_pDlgShow || m_pDlgShow->GetPlayWndNum() != 1 || nPlayWndIndex != 0)
        return false;
    return On_FullScreen();
}

void CVelquinDlg::FollowPlayInWindowModes() {
    if (!m_pDlgShow)
        return;
    // The last window stopping ends full screen at once; a window still reading
    // the next file of the play mode counts, so the sequence goes on in full
    // screen. Display on top "only when playing" follows as well.
    if (CountActiveWnds(true) == 0 && m_bFullScreen) {
        // Queued: the stop may come from a button of the control bar, which is
        // a window of its own in full screen and is turned back into a child
        // on the way out; that must not happen inside its own click.
        QMetaObject::invokeMethod(
            this,
            [this]() {
                if (m_bFullScreen && CountActiveWnds(true) == 0)
                    On_FullScreen();
            },
            Qt::QueuedConnection);
    }
    if (m_nTopMode == 1)
        ApplyTopMode(1);
}

void CVelquinDlg::UnInitWindowModes() {
    if (m_pSyncFullDlg) {
        m_pSyncFullDlg->ResetSyncRuler();
        delete m_pSyncFullDlg;
        m_pSyncFullDlg = nullptr;
    }
    for (QPropertyAnimation** ppAnim : {&m_pAnimStatusShow, &m_pAnimStatusHide, &m_pAnimCtrlShow,
                                        &m_pAnimCtrlHide, &m_pAnimSyncShow, &m_pAnimSyncHide}) {
        StopAnim(*ppAnim);
        delete *ppAnim;
        *ppAnim = nullptr;
    }
    for (QTimer** ppTimer : {&m_pFullScreenHideTimer, &m_pFullScreenMouseTimer}) {
        if (*ppTimer)
            (*ppTimer)->stop();
        delete *ppTimer;
        *ppTimer = nullptr;
    }
    delete m_pPlaylistCtrlBar;
    m_pPlaylistCtrlBar = nullptr;
}
