// Window modes on a real X server (1280 x 800): full screen, display on top,
// sizing to the picture, the start page and the playlist handle.

#include <QAction>
#include <QCursor>
#include <QGuiApplication>
#include <QLabel>
#include <QProcess>
#include <QScreen>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <algorithm>

#include "CDlgShow.h"
#include "CPlayWnd.h"
#include "GuiMedia.h"
#include "MainDlgFixture.h"
#include "PlaylistCtrlBar.h"
#include "SyncPlayProgressDlg.h"
#include "SyncPlayProgressFullScreenDlg.h"

using namespace GuiMedia;

namespace {

const int kPlayWaitMs = 20000;
const int kWindowWaitMs = 5000;
const QRect kScreen(0, 0, 1280, 800);
const int kStatusH = 35;
const int kCtrlH = 75;

struct WindowFixture : MainDlgFixture {
    QWidget* pStatusBar = nullptr;
    QWidget* pCtrlBar = nullptr;

    bool Start() {
        if (!MainDlgFixture::Start())
            return false;
        // Away from the screen's corner, so that a stage coming back to (0, 0)
        // of the screen would not pass for one back in its place.
        pDlg->move(60, 40);
        pStatusBar = pDlg->findChild<QWidget*>(QStringLiteral("m_pStatusBarContainer"));
        pCtrlBar = pDlg->findChild<QWidget*>(QStringLiteral("m_pCtrlBarContainer"));
        return pStatusBar && pCtrlBar &&
               QTest::qWaitFor([this] { return pDlg->geometry().topLeft() == QPoint(60, 40); },
                               kWindowWaitMs);
    }
    // Opens a clip in the selected window and pauses it once it plays: a paused
    // window counts as playing and does not reach its end during the test.
    bool OpenPaused(const QString& strName) {
        if (!pDlg->OpenFileList({Clip(strName)}))
            return false;
        const int nSel = pStage->GetSelWndIndex();
        // Playing, and its picture size known (sizing the dialog needs it).
        auto shows = [&] {
            int nW = 0;
            int nH = 0;
            CPlayWnd* pWnd = pStage->GetPlayWnd(nSel);
            return pStage->GetPlayState(nSel) == 1 && pWnd && pWnd->GetSourceSize(&nW, &nH) && nW > 0;
        };
        if (!QTest::qWaitFor(shows, kPlayWaitMs))
            return false;
        pDlg->On_PlayOrPause();
        return pStage->GetPlayState(nSel) == 2;
    }
    QLabel* Display() const {
        CPlayWnd* pWnd = pStage->GetPlayWnd(0);
        return pWnd ? pWnd->findChild<QLabel*>(QStringLiteral("m_pDisplayWnd")) : nullptr;
    }
    // Stage and bars back in their slots with their old minimum sizes, the dialog where it was.
    bool BackInPlace(const QRect& rcDlg, const QRect& rcStage, const QRect& rcStatus, const QRect& rcCtrl) {
        return QTest::qWaitFor(
                   [&] {
                       return !pStage->isWindow() && pStage->isVisible() && pStage->geometry() == rcStage &&
                              pDlg->geometry() == rcDlg && !pStatusBar->isWindow() &&
                              pStatusBar->isVisible() && pStatusBar->geometry() == rcStatus &&
                              !pCtrlBar->isWindow() && pCtrlBar->isVisible() &&
                              pCtrlBar->geometry() == rcCtrl;
                   },
                   kWindowWaitMs) &&
               pStage->minimumSize() == sizeStageMin && pStatusBar->minimumSize() == sizeStatusMin &&
               pCtrlBar->minimumSize() == sizeCtrlMin;
    }
    QSize sizeStageMin;
    QSize sizeStatusMin;
    QSize sizeCtrlMin;
    bool CoversScreen() {
        return QTest::qWaitFor([&] { return pStage->isWindow() && pStage->geometry() == kScreen; },
                               kWindowWaitMs);
    }
};

QRect Global(const QWidget* pWidget) {
    return QRect(pWidget->mapToGlobal(QPoint(0, 0)), pWidget->size());
}

} // namespace

class TestWindowModes : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        // As the program sets it: only the engine's picture widgets are native
        // windows, their siblings (the start page) are not made native for them.
        QCoreApplication::setAttribute(Qt::AA_DontCreateNativeWidgetSiblings);
        QVERIFY2(QFile::exists(Clip("h264_aac.mp4")), "run make-test-media.sh");
        QCOMPARE(QGuiApplication::platformName(), QStringLiteral("xcb"));
        QCOMPARE(QGuiApplication::primaryScreen()->geometry(), kScreen);
    }

    // Full screen in by slot and hot key, sliding bars, out by Escape, double
    // click, stop and file end, each time with everything back where it was.
    void fullScreen() {
        WindowFixture fx;
        QVERIFY(fx.Start());
        QVERIFY(!fx.pDlg->On_FullScreen());
        QVERIFY(!fx.pDlg->IsFullScreen());
        QVERIFY(!fx.pStage->isWindow());
        QVERIFY(!fx.Button("m_pBtnFullScreen")->isEnabled());

        QVERIFY(fx.OpenPaused("h264_aac.mp4"));
        QVERIFY(fx.Button("m_pBtnFullScreen")->isEnabled());
        const QRect rcDlg = fx.pDlg->geometry();
        const QRect rcStage = fx.pStage->geometry();
        const QRect rcStatus = fx.pStatusBar->geometry();
        const QRect rcCtrl = fx.pCtrlBar->geometry();
        fx.sizeStageMin = fx.pStage->minimumSize();
        fx.sizeStatusMin = fx.pStatusBar->minimumSize();
        fx.sizeCtrlMin = fx.pCtrlBar->minimumSize();
        QLabel* pDisplay = fx.Display();
        QVERIFY(pDisplay);
        const WId idDisplay = pDisplay->winId();
        QVERIFY(fx.pDlg->findChild<PlaylistCtrlBar*>()->isVisible());

        // In: the stage covers the screen, the bars wait out of sight.
        QCursor::setPos(640, 400);
        QVERIFY(fx.pDlg->On_FullScreen());
        QVERIFY(fx.pDlg->IsFullScreen());
        QVERIFY(fx.CoversScreen());
        QVERIFY(fx.pStatusBar->isWindow() && !fx.pStatusBar->isVisible());
        QVERIFY(fx.pCtrlBar->isWindow() && !fx.pCtrlBar->isVisible());
        QVERIFY(!fx.pDlg->findChild<PlaylistCtrlBar*>()->isVisible());
        QCOMPARE(fx.pDlg->geometry(), rcDlg);

        // The bottom edge brings both bars at the next ticks.
        QCursor::setPos(640, 790);
        QTRY_VERIFY_WITH_TIMEOUT(
            fx.pCtrlBar->isVisible() && Global(fx.pCtrlBar) == QRect(0, 800 - kCtrlH, 1280, kCtrlH), 2000);
        QTRY_VERIFY_WITH_TIMEOUT(Global(fx.pStatusBar) == QRect(0, 0, 1280, kStatusH), 2000);
        QCOMPARE(fx.pCtrlBar->windowOpacity(), 0.8);
        // Resting on the bar for a tick, then off to the picture: they stay a
        // while, then go.
        QTimer* pMouseTimer = fx.pDlg->findChild<QTimer*>(QStringLiteral("m_pFullScreenMouseTimer"));
        QTimer* pHideTimer = fx.pDlg->findChild<QTimer*>(QStringLiteral("m_pFullScreenHideTimer"));
        QVERIFY(pMouseTimer && pHideTimer && pMouseTimer->isActive());
        QSignalSpy spyTick(pMouseTimer, &QTimer::timeout);
        QVERIFY(spyTick.wait(2000));
        QVERIFY(!pHideTimer->isActive());
        QCursor::setPos(640, 400);
        QVERIFY(spyTick.wait(2000));
        QVERIFY(pHideTimer->isActive());
        QVERIFY(!QTest::qWaitFor([&] { return Global(fx.pCtrlBar).top() != 800 - kCtrlH; }, 1000));
        QTRY_VERIFY_WITH_TIMEOUT(Global(fx.pCtrlBar).top() == 800 && Global(fx.pStatusBar).bottom() < 0,
                                 2000);
        QVERIFY(!pHideTimer->isActive());
        // The top edge brings them back.
        QCursor::setPos(640, 5);
        QTRY_VERIFY_WITH_TIMEOUT(Global(fx.pStatusBar) == QRect(0, 0, 1280, kStatusH), 2000);

        // Out by Escape on the stage.
        QCursor::setPos(640, 400);
        QTest::keyClick(fx.pStage, Qt::Key_Escape);
        QVERIFY(!fx.pDlg->IsFullScreen());
        QVERIFY(fx.BackInPlace(rcDlg, rcStage, rcStatus, rcCtrl));
        QCOMPARE(fx.pStatusBar->windowOpacity(), 1.0);
        QVERIFY(fx.pDlg->findChild<PlaylistCtrlBar*>()->isVisible());
        // The engine finds the picture's widget by this id when play starts.
        QCOMPARE(QWidget::find(idDisplay), static_cast<QWidget*>(pDisplay));

        // In by the hot key, out by a double click on the only window.
        QTest::keyClick(fx.pDlg.get(), Qt::Key_F, Qt::ControlModifier);
        QVERIFY(fx.pDlg->IsFullScreen());
        QVERIFY(fx.CoversScreen());
        QTest::mouseDClick(fx.pStage->GetPlayWnd(0), Qt::LeftButton, Qt::NoModifier, QPoint(100, 100));
        QVERIFY(!fx.pDlg->IsFullScreen());
        QVERIFY(fx.BackInPlace(rcDlg, rcStage, rcStatus, rcCtrl));

        // A stop of the last window leaves at once.
        QVERIFY(fx.pDlg->On_FullScreen());
        QVERIFY(fx.CoversScreen());
        QVERIFY(fx.pDlg->On_Stop());
        // At the next turn of the event loop, not inside the stop's own click.
        QVERIFY(QTest::qWaitFor([&]() { return !fx.pDlg->IsFullScreen(); }, 100));
        QVERIFY(fx.BackInPlace(rcDlg, rcStage, rcStatus, rcCtrl));
        QVERIFY(!fx.pDlg->On_FullScreen());

        // So does the end of the last file.
        QVERIFY(fx.OpenPaused("h264_aac.mp4"));
        QVERIFY(fx.pDlg->On_FullScreen());
        QVERIFY(fx.CoversScreen());
        fx.pDlg->On_PlayOrPause();
        QCOMPARE(fx.pStage->GetPlayState(0), 1);
        QTRY_VERIFY_WITH_TIMEOUT(!fx.pDlg->IsFullScreen(), kPlayWaitMs);
        QCOMPARE(fx.pStage->GetPlayState(0), 3);
        QVERIFY(fx.BackInPlace(rcDlg, rcStage, rcStatus, rcCtrl));
        QCOMPARE(QWidget::find(idDisplay), static_cast<QWidget*>(pDisplay));
    }

    // Lock-step play in full screen: the small ruler replaces the control bar at
    // the bottom edge, its cancel swaps back; leaving brings the normal ruler back.
    void fullScreenSync() {
        WindowFixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.pDlg->On_ChangePlayWndNum(4));
        QVERIFY(fx.pDlg->OpenFileList({Clip("sync_a_25fps.mp4"), Clip("sync_b_30fps.mkv")}));
        QVERIFY(QTest::qWaitFor(
            [&] { return fx.pStage->GetPlayState(0) == 1 && fx.pStage->GetPlayState(1) == 1; }, kPlayWaitMs));
        QVERIFY(fx.pDlg->On_SyncPlay());
        SyncPlayProgressDlg* pRuler = fx.pDlg->findChild<SyncPlayProgressDlg*>();
        SyncPlayProgressFullScreenDlg* pFullRuler = fx.pDlg->findChild<SyncPlayProgressFullScreenDlg*>();
        QVERIFY(pRuler && pFullRuler);
        QVERIFY(pRuler->isVisible() && !pFullRuler->isVisible());

        QCursor::setPos(640, 400);
        QVERIFY(fx.pDlg->On_FullScreen());
        QVERIFY(fx.CoversScreen());
        QVERIFY(!pRuler->isVisible() && !pFullRuler->isVisible());
        QCursor::setPos(640, 795);
        const int nF = pFullRuler->height();
        QTRY_VERIFY_WITH_TIMEOUT(
            pFullRuler->isVisible() && Global(pFullRuler) == QRect(0, 800 - nF, 1280, nF), 2000);
        QVERIFY(!fx.pCtrlBar->isVisible());

        // Its cancel ends the group; the control bar takes its place.
        QAbstractButton* pExit = pFullRuler->findChild<QAbstractButton*>(QStringLiteral("m_pBtnExitSync"));
        QVERIFY(pExit);
        QTest::mouseClick(pExit, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!fx.pStage->IsSyncPlay(), 2000);
        QTRY_VERIFY_WITH_TIMEOUT(fx.pCtrlBar->isVisible() && Global(fx.pCtrlBar).top() == 800 - kCtrlH, 2000);
        QTRY_VERIFY_WITH_TIMEOUT(Global(pFullRuler).top() == 800, 2000);
        QVERIFY(fx.pDlg->IsFullScreen());

        // A group formed in full screen, then full screen left.
        QVERIFY(fx.pDlg->On_SyncPlay());
        QTRY_VERIFY_WITH_TIMEOUT(Global(pFullRuler).top() == 800 - nF && Global(fx.pCtrlBar).top() == 800,
                                 2000);
        QCursor::setPos(640, 400);
        QTest::keyClick(fx.pStage, Qt::Key_Escape);
        QVERIFY(!fx.pDlg->IsFullScreen() && fx.pStage->IsSyncPlay());
        QVERIFY(pRuler->isVisible() && !pFullRuler->isVisible());
        QTRY_COMPARE_WITH_TIMEOUT(pRuler->pos(), fx.pDlg->mapToGlobal(QPoint(0, fx.pDlg->height())),
                                  kWindowWaitMs);
    }

    // Display on top: the modes, the button's cycle, and the picture's widget
    // unharmed by the dialog's change of flags.
    void topModes() {
        WindowFixture fx;
        QVERIFY(fx.Start());
        auto bOnTop = [&] { return bool(fx.pDlg->windowFlags() & Qt::WindowStaysOnTopHint); };
        QCOMPARE(fx.pDlg->GetTopMode(), 0);
        QVERIFY(!bOnTop());

        const QRect rcDlg = fx.pDlg->geometry();
        QVERIFY(fx.pDlg->ApplyTopMode(2));
        QVERIFY(bOnTop() && fx.pDlg->IsTopmost() && fx.pDlg->isVisible());
        // Shown again where it was.
        QTRY_COMPARE_WITH_TIMEOUT(fx.pDlg->geometry(), rcDlg, kWindowWaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(fx.pDlg->windowHandle() && fx.pDlg->windowHandle()->isExposed(),
                                 kWindowWaitMs);
        // The button: 2 -> 1 (nothing plays: not on top) -> 0 -> 2.
        QVERIFY(fx.pDlg->On_TopDisplay());
        QCOMPARE(fx.pDlg->GetTopMode(), 1);
        QVERIFY(!bOnTop() && !fx.pDlg->IsTopmost());
        QVERIFY(fx.pDlg->On_TopDisplay());
        QCOMPARE(fx.pDlg->GetTopMode(), 0);
        QVERIFY(fx.pDlg->On_TopDisplay());
        QCOMPARE(fx.pDlg->GetTopMode(), 2);
        QVERIFY(bOnTop());

        QAction actPlayTop(nullptr);
        actPlayTop.setData(1);
        QVERIFY(fx.pDlg->On_SwitchTopMode(&actPlayTop));
        QVERIFY(!bOnTop());
        QLabel* pDisplay = fx.Display();
        const WId idDisplay = pDisplay->winId();
        QVERIFY(fx.OpenPaused("h264_aac.mp4"));
        QVERIFY(bOnTop() && fx.pDlg->IsTopmost() && fx.pDlg->isVisible());
        QCOMPARE(QWidget::find(idDisplay), static_cast<QWidget*>(pDisplay));
        QVERIFY(fx.pDlg->On_Stop());
        QVERIFY(!bOnTop() && !fx.pDlg->IsTopmost());
        QCOMPARE(fx.pDlg->GetTopMode(), 1);
        QVERIFY(fx.pDlg->isVisible());
        QTRY_COMPARE_WITH_TIMEOUT(fx.pDlg->geometry(), rcDlg, kWindowWaitMs);

        QAction actBad(nullptr);
        actBad.setData(7);
        QVERIFY(!fx.pDlg->On_SwitchTopMode(&actBad));
        QCOMPARE(fx.pDlg->GetTopMode(), 1);
    }

    // Sizes: the dialog becomes the picture plus its frame, at least 914 x 565,
    // centred on the screen; a picture shown at its own size fills the stage.
    void percentSizes() {
        WindowFixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.OpenPaused("h264_aac.mp4")); // 320 x 240
        const int nExtraW = fx.pDlg->width() - (fx.pStage->width() - 4);
        const int nExtraH = fx.pDlg->height() - (fx.pStage->height() - 4);
        const QRect rcAvail = QGuiApplication::primaryScreen()->availableGeometry();
        auto centred = [&](int nW, int nH) {
            return QRect((rcAvail.width() - nW) / 2, (rcAvail.height() - nH) / 2, nW, nH);
        };
        struct Case {
            int nMode;
            QSize sizePicture;
        };
        for (const Case& c : {Case{2, QSize(640, 480)}, Case{1, QSize(320, 240)}, Case{3, QSize(160, 120)}}) {
            QAction act(nullptr);
            act.setData(c.nMode);
            QVERIFY(fx.pDlg->On_SwitchPlayWndPrecentMode(&act));
            const QRect rcWant = centred(std::max(c.sizePicture.width() + nExtraW, 914),
                                         std::max(c.sizePicture.height() + nExtraH, 565));
            QTRY_COMPARE_WITH_TIMEOUT(fx.pDlg->geometry(), rcWant, kWindowWaitMs);
        }
        QVERIFY(fx.pDlg->On_Stop());

        // 704 x 576 at its own size: larger than the minimum, so the stage holds
        // exactly the picture inside its margin.
        QVERIFY(fx.OpenPaused("ch02_20240315103000_20240315103010.mp4"));
        QAction actNormal(nullptr);
        actNormal.setData(1);
        QVERIFY(fx.pDlg->On_SwitchPlayWndPrecentMode(&actNormal));
        QTRY_COMPARE_WITH_TIMEOUT(fx.pDlg->geometry(), centred(704 + nExtraW, 576 + nExtraH), kWindowWaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(fx.pStage->size(), QSize(704 + 4, 576 + 4), kWindowWaitMs);
    }

    // The start page lies over the play windows' native picture windows: a real
    // click through the X server (xdotool) must reach its buttons.
    void startPageTakesRealClicks() {
        WindowFixture fx;
        QVERIFY(fx.Start());
        QWidget* pOpen = fx.pStage->findChild<QWidget*>(QStringLiteral("m_pBtnOpenFile"));
        QVERIFY(pOpen && pOpen->isVisible());
        const QPoint ptClick = pOpen->mapToGlobal(pOpen->rect().center());
        ModalRejecter rejecter("QFileDialog");
        QProcess xdotool;
        xdotool.start(QStringLiteral("xdotool"),
                      {QStringLiteral("mousemove"), QString::number(ptClick.x()),
                       QString::number(ptClick.y()), QStringLiteral("click"), QStringLiteral("1")});
        QVERIFY2(xdotool.waitForFinished(10000) && xdotool.exitCode() == 0, "xdotool is needed");
        QTRY_COMPARE_WITH_TIMEOUT(rejecter.Rejected(), 1, kWindowWaitMs);
    }

    // The handle: at the stage's left edge with the list shown and hidden, as
    // high as the dialog, never taking the focus, gone while minimised.
    void playlistHandle() {
        WindowFixture fx;
        QVERIFY(fx.Start());
        PlaylistCtrlBar* pHandle = fx.pDlg->findChild<PlaylistCtrlBar*>();
        QWidget* pColumn = fx.pDlg->findChild<QWidget*>(QStringLiteral("m_pPlaylistCtrlContainer"));
        QVERIFY(pHandle && pColumn);
        QVERIFY(pHandle->isWindow() && pHandle->isVisible());
        QVERIFY(pHandle->windowFlags() & Qt::WindowDoesNotAcceptFocus);
        QCOMPARE(pHandle->focusPolicy(), Qt::NoFocus);
        QCOMPARE(pHandle->size(), QSize(100, fx.pDlg->height()));
        QTRY_COMPARE_WITH_TIMEOUT(pHandle->pos(), fx.pDlg->mapToGlobal(QPoint(pColumn->width(), 0)),
                                  kWindowWaitMs);
        QVERIFY(fx.pDlg->IsPlaylistShown());

        QVERIFY(fx.pDlg->On_ShowHidePlaylist());
        QVERIFY(!fx.pDlg->IsPlaylistShown() && !pColumn->isVisible());
        QTRY_COMPARE_WITH_TIMEOUT(fx.pStage->mapTo(fx.pDlg.get(), QPoint(0, 0)).x(), 0, kWindowWaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(pHandle->pos(), fx.pDlg->mapToGlobal(QPoint(0, 0)), kWindowWaitMs);
        QVERIFY(fx.pDlg->On_ShowHidePlaylist());
        QVERIFY(fx.pDlg->IsPlaylistShown() && pColumn->isVisible());
        QTRY_COMPARE_WITH_TIMEOUT(pHandle->pos(), fx.pDlg->mapToGlobal(QPoint(pColumn->width(), 0)),
                                  kWindowWaitMs);
        QVERIFY(fx.pDlg->On_ClosePlaylist());
        QVERIFY(!pColumn->isVisible());
        QVERIFY(!fx.pDlg->On_ClosePlaylist());
        QVERIFY(!pColumn->isVisible());

        // The handle follows the dialog's size.
        fx.pDlg->resize(1000, 640);
        QTRY_COMPARE_WITH_TIMEOUT(pHandle->height(), 640, kWindowWaitMs);

        QVERIFY(fx.pDlg->On_ShowMinimized());
        QVERIFY(!pHandle->isVisible());
        fx.pDlg->showNormal();
        QVERIFY(pHandle->isVisible());
    }
};

QTEST_MAIN(TestWindowModes)
#include "TestWindowModes.moc"
