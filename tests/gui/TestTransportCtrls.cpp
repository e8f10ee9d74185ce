// The main dialog's transport controls: progress slider and A-B marks, slider
// units, the guards of stepping, speed and reverse, and the buttons' state.

#include <QtTest>

#include <QFile>
#include <QLabel>
#include <QMouseEvent>

#include <cmath>

#include "CDlgShow.h"
#include "CSkinButton.h"
#include "CVelquinDlg.h"
#include "CustomPlayerSlider.h"
#include "GuiMedia.h"
#include "MainDlgFixture.h"
#include "NonModalMessageBox.h"

// The guards look only at the open mode: a link seam makes the selected window report a stream (2).
namespace {
bool g_bSelectedIsStream = false;
}
extern "C" int __real__ZN8CDlgShow11GetOpenModeEi(CDlgShow* pThis, int i);
extern "C" int __wrap__ZN8CDlgShow11GetOpenModeEi(CDlgShow* pThis, int i) {
    if (g_bSelectedIsStream && i == pThis->GetSelWndIndex())
        return 2;
    return __real__ZN8CDlgShow11GetOpenModeEi(pThis, i);
}

namespace {

const int kPlayTimeoutMs = 20000;
const QString kNetStream = QStringLiteral("The operation is not supported in open net stream.");
const char* const kStepButtons[] = {"m_pBtnReversePlay", "m_pBtnSlow", "m_pBtnLastFrame", "m_pBtnNextFrame",
                                    "m_pBtnFast"};
const QString kIndexNotReady = QStringLiteral("Generate file index,please wait...");
// The commands a window without a frame index or a stream must refuse.
bool (CVelquinDlg::*const kCommands[])() = {&CVelquinDlg::On_FrameForward, &CVelquinDlg::On_FrameBackward,
                                            &CVelquinDlg::On_Fast,         &CVelquinDlg::On_Slow,
                                            &CVelquinDlg::On_ReversePlay,  &CVelquinDlg::On_GoToEnd,
                                            &CVelquinDlg::On_GoToBegin};

} // namespace

class TestTransportCtrls : public QObject {
    Q_OBJECT

private:
    struct SliderFixture {
        CustomPlayerSlider slider;
        bool Start() {
            slider.SetMinimum(0);
            slider.SetMaximum(65535);
            slider.resize(400, 24);
            slider.show();
            return QTest::qWaitForWindowExposed(&slider) && slider.GrooveRect().width() > 100;
        }
        QRect Groove() const { return slider.GrooveRect(); }
        // x of a value on the bar, rounded up so that it converts back to at least the value.
        int XOf(int nValue) const {
            const QRect rc = Groove();
            return rc.left() + int(std::ceil(double(rc.width()) * nValue / 65535.0));
        }
        // x of a value on the bar, rounded down so that it converts back to at most the value.
        int XBelow(int nValue) const {
            const QRect rc = Groove();
            return rc.left() + int(std::floor(double(rc.width()) * nValue / 65535.0));
        }
        int YBar() const { return Groove().center().y(); }
        // Left-button events as the window system sends them, a move with the button down.
        void Send(QEvent::Type eType, QPoint pt, bool bDown) {
            const Qt::MouseButton button = eType == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
            QMouseEvent ev(eType, QPointF(pt), QPointF(slider.mapToGlobal(pt)), button,
                           bDown ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
            QCoreApplication::sendEvent(&slider, &ev);
        }
        void Press(QPoint pt) { Send(QEvent::MouseButtonPress, pt, true); }
        void Drag(int x, int y) { Send(QEvent::MouseMove, QPoint(x, y), true); }
        void Release(QPoint pt) { Send(QEvent::MouseButtonRelease, pt, false); }
        void Click(QPoint pt) {
            QTest::mousePress(&slider, Qt::LeftButton, {}, pt);
            QTest::mouseRelease(&slider, Qt::LeftButton, {}, pt);
        }
        QPoint MarkCenter(const char* szName) const {
            QLabel* pMark = slider.findChild<QLabel*>(QString::fromLatin1(szName));
            return pMark ? pMark->geometry().center() : QPoint(-100, -100);
        }
        bool MarkVisible(const char* szName) const {
            QLabel* pMark = slider.findChild<QLabel*>(QString::fromLatin1(szName));
            return pMark && pMark->isVisible();
        }
    };

    struct DlgFixture : MainDlgFixture {
        CustomPlayerSlider* pSlider = nullptr;

        bool Start() {
            if (!MainDlgFixture::Start())
                return false;
            pSlider = pDlg->findChild<CustomPlayerSlider*>(QStringLiteral("m_pPlayProgressSlider"));
            return pSlider != nullptr;
        }
        bool Open(const QString& strPath) { return pDlg->OpenFileList(QStringList() << strPath); }
        // Opens a clip and waits until it plays; bPaused also waits for the index and pauses.
        bool OpenPlaying(const QString& strPath, bool bPaused = false) {
            if (!Open(strPath) || !WaitFor([&] { return Playing(pStage->GetPlayState(0)); }))
                return false;
            if (!bPaused)
                return true;
            return WaitFor([&] { return pStage->IsFileRefCreated(); }) && pDlg->On_PlayOrPause() &&
                   WaitFor([&] { return pStage->GetPlayState(0) == 2; });
        }
        template <class F> static bool WaitFor(F fnDone) { return QTest::qWaitFor(fnDone, kPlayTimeoutMs); }
        // Message boxes of the dialog showing strText; each one found is closed.
        int TakeMessages(const QString& strText) {
            int nFound = 0;
            for (NonModalMessageBox* pBox : pDlg->findChildren<NonModalMessageBox*>()) {
                QLabel* pText = pBox->findChild<QLabel*>(QStringLiteral("m_pLabText"));
                if (pText && pText->text() == strText && pBox->isVisible()) {
                    ++nFound;
                    pBox->hide();
                    pBox->deleteLater();
                }
            }
            return nFound;
        }
        int AllMessages() const {
            int n = 0;
            for (NonModalMessageBox* pBox : pDlg->findChildren<NonModalMessageBox*>())
                n += pBox->isVisible() ? 1 : 0;
            return n;
        }
    };

private slots:
    void initTestCase() { QVERIFY2(QFile::exists(GuiMedia::Clip("h264_aac.mp4")), "run make-test-media.sh"); }

    // ---- conversions between slider units and the file ----

    void sliderPositionToFrameAndTime() {
        // Locating by frame: the right end asks for the total count, which the
        // play window answers with its last frame or refuses.
        QCOMPARE(CVelquinDlg::SliderPosToFrame(50, 65535), qint64(50));
        QCOMPARE(CVelquinDlg::SliderPosToFrame(50, 32768), qint64(25));
        QCOMPARE(CVelquinDlg::SliderPosToFrame(50, 32767), qint64(24));
        QCOMPARE(CVelquinDlg::SliderPosToFrame(4000000000u, 65535), qint64(4000000000LL));
        // Locating by time: whole seconds, truncated.
        QCOMPARE(CVelquinDlg::SliderPosToSeconds(120, 65535), qint64(120));
        QCOMPARE(CVelquinDlg::SliderPosToSeconds(120, 32767), qint64(59));
        QCOMPARE(CVelquinDlg::SliderPosToSeconds(2, 65534), qint64(1));
        QCOMPARE(CVelquinDlg::SliderPosToSeconds(0, 40000), qint64(0));
        // A-B marks and frames; large files do not overflow on the way.
        QCOMPARE(CVelquinDlg::RepeatFrameToSliderValue(50, 50, 65535), qint64(65535));
        QCOMPARE(CVelquinDlg::RepeatFrameToSliderValue(50, 25, 65535), qint64(32767));
        QCOMPARE(CVelquinDlg::SliderValueToRepeatFrame(50, 32767, 65535), qint64(24));
        QCOMPARE(CVelquinDlg::SliderValueToRepeatFrame(3000000000u, 65535, 65535), qint64(3000000000LL));
    }

    void timerValuesFromReadings() {
        struct Case {
            const char* szWhat;
            uint nFileTime, nPlayed, nTotal, nCur;
            uint nSlider;
            int nShown, nFrame; // -1: not checked
        };
        const Case cases[] = {
            {"a file follows the played time", 100, 50, 2500, 1250, 32767, 50, 1250},
            {"its end", 100, 100, 2500, 2499, 65535, -1, -1},
            {"played above the file time: 00:00:00, slider 0", 100, 101, 2500, 2499, 0, 0, -1},
            {"just opened: 0/F, no time, slider on time", 100, 10, 2500, 0xFFFFFFFFu, 6553, 0, 0},
            {"a stream without a time goes by frames", 0, 0, 101, 100, 65535, -1, -1},
            {"its middle", 0, 0, 101, 50, 32767, -1, -1},
            {"a single frame divides by no zero", 0, 0, 1, 0, 0, -1, -1},
            {"a single frame, its end", 0, 0, 1, 1, 65535, -1, -1},
            {"nothing known: all zero", 100, 50, 0, 3, 0, -1, 0},
        };
        for (const Case& c : cases) {
            const CVelquinDlg::TimerValues v =
                CVelquinDlg::ComputeTimerValues(c.nFileTime, c.nPlayed, c.nTotal, c.nCur);
            QVERIFY2(v.nSliderPos == c.nSlider, c.szWhat);
            QVERIFY2(c.nShown < 0 || v.nPlayedShown == uint(c.nShown), c.szWhat);
            QVERIFY2(c.nFrame < 0 || v.nCurFrame == uint(c.nFrame), c.szWhat);
        }
    }

    // ---- the slider widget ----

    void sliderValueMarksAndMouse() {
        SliderFixture fx;
        QVERIFY(fx.Start());
        fx.slider.SetValue(1000);
        QCOMPARE(fx.slider.GetValue(), 1000);
        fx.slider.SetValue(65536);
        fx.slider.SetValue(-1);
        QCOMPARE(fx.slider.GetValue(), 1000);

        // A press sends the press, then the value under it.
        QStringList lstOrder;
        QList<int> lstValues;
        connect(&fx.slider, &CustomPlayerSlider::Sig_MousePress, [&] { lstOrder << "press"; });
        connect(&fx.slider, &CustomPlayerSlider::Sig_ChangeValue, [&](int nPos) {
            lstOrder << "value";
            lstValues << nPos;
        });
        QSignalSpy spyRelease(&fx.slider, &CustomPlayerSlider::Sig_MouseRelease);
        const QRect rc = fx.Groove();

        QTest::mousePress(&fx.slider, Qt::LeftButton, {}, QPoint(rc.left() + rc.width() / 2, fx.YBar()));
        QCOMPARE(lstOrder, QStringList({"press", "value"}));
        QVERIFY(qAbs(lstValues.last() - 32767) <= 65535 / rc.width() + 1);
        QCOMPARE(fx.slider.GetValue(), lstValues.last());
        QTest::mouseRelease(&fx.slider, Qt::LeftButton, {}, QPoint(rc.left() + rc.width() / 2, fx.YBar()));
        QCOMPARE(spyRelease.count(), 1);

        // The right end of the bar is the top of the range.
        QTest::mousePress(&fx.slider, Qt::LeftButton, {}, QPoint(rc.left() + rc.width(), fx.YBar()));
        QCOMPARE(lstValues.last(), 65535);
        QTest::mouseRelease(&fx.slider, Qt::LeftButton, {}, QPoint(rc.left() + rc.width(), fx.YBar()));

        // Two pixels above or below the thin bar still count; beside its ends or
        // further away nothing happens.
        lstValues.clear();
        fx.Click(QPoint(rc.left() + 10, rc.top() - 2));
        fx.Click(QPoint(rc.left() + 10, rc.bottom() + 2));
        QCOMPARE(lstValues.size(), 2);
        for (const QPoint& pt :
             {QPoint(rc.left() - 1, fx.YBar()), QPoint(rc.left() + rc.width() + 1, fx.YBar()),
              QPoint(rc.left() + 10, rc.top() - 3), QPoint(rc.left() + 10, rc.bottom() + 3)})
            fx.Click(pt);
        QCOMPARE(lstValues.size(), 2);
        // A right button does not seek.
        QTest::mousePress(&fx.slider, Qt::RightButton, {}, QPoint(rc.left() + 50, fx.YBar()));
        QCOMPARE(lstValues.size(), 2);

        // A drag follows the mouse; every move reports the value under it.
        QSignalSpy spyValue(&fx.slider, &CustomPlayerSlider::Sig_ChangeValue);
        QSignalSpy spyMove(&fx.slider, &CustomPlayerSlider::Sig_MouseMoveValue);
        fx.Press(QPoint(rc.left() + 10, fx.YBar()));
        fx.Drag(fx.XOf(30000), fx.YBar());
        fx.Drag(fx.XOf(50000), fx.YBar());
        QCOMPARE(spyValue.count(), 3);
        QVERIFY(spyValue.last().at(0).toInt() >= 50000);
        QCOMPARE(spyMove.count(), 2);
        QCOMPARE(spyMove.last().at(0).toBool(), true);
        QVERIFY(spyMove.last().at(2).toUInt() >= 50000u);
        fx.Release(QPoint(fx.XOf(50000), fx.YBar()));

        // Off the bar's span: false, (0, 0) and 0; no value without a drag.
        fx.Send(QEvent::MouseMove, QPoint(rc.left() - 5, fx.YBar()), false);
        QCOMPARE(spyMove.last().at(0).toBool(), false);
        QCOMPARE(spyMove.last().at(1).toPoint(), QPoint(0, 0));
        QCOMPARE(spyMove.last().at(2).toUInt(), 0u);
        QCOMPARE(spyValue.count(), 3);

        // B without A puts A at the start, and both marks show.
        QVERIFY(!fx.slider.SetRepeatPointB(70000));
        QVERIFY(fx.slider.SetRepeatPointB(40000));
        bool bSet = false;
        uint nValue = 99;
        fx.slider.GetRepeatPointA(&bSet, &nValue);
        QVERIFY(bSet);
        QCOMPARE(nValue, 0u);
        QVERIFY(fx.MarkVisible("m_pLabelRepeatPointA"));
        QVERIFY(fx.MarkVisible("m_pLabelRepeatPointB"));

        // An inactive bar drops the marks but keeps their values.
        QVERIFY(fx.slider.SetSliderEnable(false));
        fx.slider.GetRepeatPointB(&bSet, &nValue);
        QVERIFY(!bSet);
        QCOMPARE(nValue, 40000u);
        QVERIFY(!fx.MarkVisible("m_pLabelRepeatPointB"));
    }

    void markDragRefusesCrossing() {
        SliderFixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.slider.SetRepeatPointA(16384));
        QVERIFY(fx.slider.SetRepeatPointB(49152));
        QSignalSpy spyRepeat(&fx.slider, &CustomPlayerSlider::Sig_ChangeRepeatValue);
        QSignalSpy spyValue(&fx.slider, &CustomPlayerSlider::Sig_ChangeValue);

        // A onto B and past it sends nothing.
        const QPoint ptA = fx.MarkCenter("m_pLabelRepeatPointA");
        fx.Press(ptA);
        for (int nValue : {49152, 55000, 65535})
            fx.Drag(fx.XOf(nValue), ptA.y());
        QCOMPARE(spyRepeat.count(), 0);
        // Short of B it goes out, for A; the mark itself waits for the dialog.
        fx.Drag(fx.XOf(30000), ptA.y());
        QCOMPARE(spyRepeat.count(), 1);
        QCOMPARE(spyRepeat.last().at(0).toBool(), true);
        QVERIFY(spyRepeat.last().at(1).toUInt() < 49152u);
        uint nA = 0;
        fx.slider.GetRepeatPointA(nullptr, &nA);
        QCOMPARE(nA, 16384u);
        fx.Release(ptA);
        // Dragging a mark is not a seek.
        QCOMPARE(spyValue.count(), 0);

        // B onto A and below it sends nothing; above A it goes out, for B.
        spyRepeat.clear();
        const QPoint ptB = fx.MarkCenter("m_pLabelRepeatPointB");
        fx.Press(ptB);
        for (int nValue : {16384, 10000, 0})
            fx.Drag(fx.XBelow(nValue), ptB.y());
        QCOMPARE(spyRepeat.count(), 0);
        fx.Drag(fx.XOf(40000), ptB.y());
        QCOMPARE(spyRepeat.count(), 1);
        QCOMPARE(spyRepeat.last().at(0).toBool(), false);
        fx.Release(ptB);

        // Where the marks overlap the press takes A: a drag below B's value goes out for A.
        QVERIFY(fx.slider.SetRepeatPointA(30000));
        QVERIFY(fx.slider.SetRepeatPointB(30000));
        spyRepeat.clear();
        const QPoint ptBoth = fx.MarkCenter("m_pLabelRepeatPointA");
        fx.Press(ptBoth);
        fx.Drag(fx.XOf(20000), ptBoth.y());
        QCOMPARE(spyRepeat.count(), 1);
        QCOMPARE(spyRepeat.last().at(0).toBool(), true);
        fx.Release(ptBoth);
    }

    // ---- the main dialog ----

    void buttonsAndSpeedFollowSelectedWindow() {
        DlgFixture fx;
        QVERIFY(fx.Start());
        // Nothing open: every command refuses without a word.
        for (auto pCmd : kCommands)
            QVERIFY(!(fx.pDlg.get()->*pCmd)());
        QVERIFY(!fx.pDlg->On_SetPlayProgress(30000));
        QVERIFY(!fx.pDlg->On_ChangeRepeatPointValue(true, 100));
        QCOMPARE(fx.AllMessages(), 0);
        for (const char* szName : kStepButtons)
            QVERIFY2(!fx.Button(szName)->isEnabled(), szName);
        QVERIFY(!fx.pSlider->IsSliderEnable());

        // The longest clip, so that it does not end while it runs four times as fast.
        QVERIFY(fx.OpenPlaying(GuiMedia::Clip("sine1k.mkv")));
        for (const char* szName : kStepButtons)
            QTRY_VERIFY2(fx.Button(szName)->isEnabled(), szName);
        QVERIFY(fx.pSlider->IsSliderEnable());

        // The status shows the speed step; normal speed is reached by walking back.
        QTest::mouseClick(fx.Button("m_pBtnFast"), Qt::LeftButton);
        QTRY_COMPARE(fx.Label("m_pLabPlayStatus"), QStringLiteral("Speed * 2"));
        QVERIFY(fx.pDlg->On_Fast());
        QTRY_COMPARE(fx.Label("m_pLabPlayStatus"), QStringLiteral("Speed * 4"));
        QVERIFY(fx.pDlg->On_RestoreCommonSpeed());
        QCOMPARE(fx.pStage->GetPlaySpeed(), 0);
        QTRY_COMPARE(fx.Label("m_pLabPlayStatus"), QStringLiteral("Playing"));
        QVERIFY(!fx.pDlg->On_RestoreCommonSpeed());
        QTest::mouseClick(fx.Button("m_pBtnSlow"), Qt::LeftButton);
        QTRY_COMPARE(fx.Label("m_pLabPlayStatus"), QStringLiteral("Speed / 2"));
        QVERIFY(fx.pDlg->On_RestoreCommonSpeed());
        QCOMPARE(fx.pStage->GetPlaySpeed(), 0);

        QCOMPARE(fx.AllMessages(), 0);

        // Stopped: the controls go grey and the slider goes back to 0, inactive.
        QTest::mouseClick(fx.Button("m_pBtnStop"), Qt::LeftButton);
        QTRY_COMPARE(fx.pStage->GetPlayState(0), 3);
        for (const char* szName : kStepButtons)
            QVERIFY2(!fx.Button(szName)->isEnabled(), szName);
        QVERIFY(!fx.pSlider->IsSliderEnable());
        QCOMPARE(fx.pSlider->GetValue(), 0);
    }

    void indexNotReadyRefusesReverseAndBackStep() {
        // Fisheye material gets no frame index, so the index never becomes ready.
        DlgFixture fx;
        QVERIFY(fx.Start());
        const QString strClip = fx.dirConfig.filePath(QStringLiteral("cam_fisheye.mp4"));
        QVERIFY(QFile::copy(GuiMedia::Clip("sine1k.mkv"), strClip));
        QVERIFY(fx.OpenPlaying(strClip));
        QVERIFY(fx.pDlg->On_Fast());
        QVERIFY(!fx.pStage->IsFileRefCreated());

        // A refused request leaves direction and speed as they were.
        QVERIFY(!fx.pDlg->On_ReversePlay());
        QCOMPARE(fx.TakeMessages(kIndexNotReady), 1);
        QVERIFY(!fx.pStage->IsBackPlay());
        QCOMPARE(fx.pStage->GetPlaySpeed(), 1);
        QVERIFY(!fx.pDlg->On_FrameBackward());
        QCOMPARE(fx.TakeMessages(kIndexNotReady), 1);
        QCOMPARE(fx.pStage->GetPlayState(0), 1);

        // Stepping forward needs no index.
        QVERIFY(fx.pDlg->On_FrameForward());
        QTRY_COMPARE(fx.pStage->GetPlayState(0), 2);
        QCOMPARE(fx.AllMessages(), 0);
    }

    // One paused clip: A-B marks, a click on the bar, the jumps to the ends,
    // reverse play, the timer held off by a press, and a stream's refusals.
    void pausedFileThroughTheControls() {
        DlgFixture fx;
        QVERIFY(fx.Start());
        QCOMPARE(fx.pDlg->GetPlayerConfig().nPlayLocateMode, 1);
        const int nFrames = GuiMedia::FrameCount("h264_aac.mp4");
        QVERIFY(nFrames > 10);
        QVERIFY(fx.OpenPlaying(GuiMedia::Clip("h264_aac.mp4"), true));
        QTRY_VERIFY(fx.pSlider->IsSliderEnable());
        const uint nTotal = fx.pStage->GetFileTotalFrames();
        QCOMPARE(nTotal, uint(nFrames));

        // A-B from here to the end of the file.
        const uint nCur = fx.pStage->GetCurrentFrameNum();
        QVERIFY(fx.pDlg->On_ABRepeat());
        bool bSet = false;
        uint nValue = 0;
        fx.pSlider->GetRepeatPointA(&bSet, &nValue);
        QVERIFY(bSet);
        QCOMPARE(qint64(nValue), CVelquinDlg::RepeatFrameToSliderValue(nTotal, nCur, 65535));
        fx.pSlider->GetRepeatPointB(&bSet, &nValue);
        QVERIFY(bSet);
        QCOMPARE(nValue, 65535u);
        // A dragged onto B, or B onto A, is refused: the window keeps its points.
        uint nFrameA = 0;
        uint nAfter = 0;
        fx.pStage->GetRepeatA(&bSet, &nFrameA);
        QVERIFY(!fx.pDlg->On_ChangeRepeatPointValue(true, 65535));
        fx.pStage->GetRepeatA(&bSet, &nAfter);
        QCOMPARE(nAfter, nFrameA);
        QVERIFY(!fx.pDlg->On_ChangeRepeatPointValue(
            false, uint(CVelquinDlg::RepeatFrameToSliderValue(nTotal, nFrameA, 65535))));
        fx.pStage->GetRepeatB(&bSet, &nAfter);
        QCOMPARE(nAfter, nTotal);
        // A legal drag of B moves the window's point, and the mark follows it.
        const uint nNewB = 40000;
        const qint64 nFrameB = CVelquinDlg::SliderValueToRepeatFrame(nTotal, nNewB, 65535);
        if (nFrameB > qint64(nFrameA)) {
            QVERIFY(fx.pDlg->On_ChangeRepeatPointValue(false, nNewB));
            fx.pStage->GetRepeatB(&bSet, &nAfter);
            QCOMPARE(qint64(nAfter), nFrameB);
            fx.pSlider->GetRepeatPointB(&bSet, &nValue);
            QCOMPARE(qint64(nValue), CVelquinDlg::RepeatFrameToSliderValue(nTotal, nAfter, 65535));
        }
        // A second A-B press clears the points and the marks.
        QVERIFY(fx.pDlg->On_ABRepeat());
        fx.pSlider->GetRepeatPointA(&bSet, nullptr);
        QVERIFY(!bSet);
        fx.pSlider->GetRepeatPointB(&bSet, nullptr);
        QVERIFY(!bSet);
        fx.pStage->GetRepeatB(&bSet, nullptr);
        QVERIFY(!bSet);

        // A click on the bar goes out as a value and becomes a frame jump.
        const QRect rc = fx.pSlider->GrooveRect();
        QSignalSpy spyValue(fx.pSlider, &CustomPlayerSlider::Sig_ChangeValue);
        QTest::mouseClick(fx.pSlider, Qt::LeftButton, {},
                          QPoint(rc.left() + rc.width() / 2, rc.center().y()));
        QCOMPARE(spyValue.count(), 1);
        const int nTarget = int(CVelquinDlg::SliderPosToFrame(uint(nFrames), spyValue.first().at(0).toInt()));
        QTRY_COMPARE_WITH_TIMEOUT(int(fx.pStage->GetCurrentFrameNum()), nTarget, kPlayTimeoutMs);
        QCOMPARE(fx.pStage->GetPlayState(0), 2);
        // The paused window's labels follow at the next tick.
        QTRY_COMPARE(fx.Label("m_pLabFrameIndex"), QStringLiteral("%1/%2").arg(nTarget).arg(nFrames));

        // The jumps to either end, by button slot and by hot key, keep the pause.
        QVERIFY(fx.pDlg->On_GoToEnd());
        QTRY_COMPARE_WITH_TIMEOUT(int(fx.pStage->GetCurrentFrameNum()), nFrames - 1, kPlayTimeoutMs);
        QTest::keyClick(fx.pDlg.get(), Qt::Key_K, Qt::ControlModifier);
        QTRY_COMPARE_WITH_TIMEOUT(int(fx.pStage->GetCurrentFrameNum()), 0, kPlayTimeoutMs);
        QCOMPARE(fx.pStage->GetPlayState(0), 2);

        // Reverse play: the button shows it pressed, with the tip to cancel it.
        CSkinButton* pBtn = fx.Button("m_pBtnReversePlay");
        QCOMPARE(pBtn->toolTip(), QStringLiteral("Start Reverse Play"));
        QTest::mouseClick(pBtn, Qt::LeftButton);
        QTRY_VERIFY(fx.pStage->IsBackPlay());
        QVERIFY(pBtn->IsSelected());
        QCOMPARE(pBtn->toolTip(), QStringLiteral("Cancel Reverse Play"));
        QVERIFY(fx.pDlg->On_ReversePlay());
        QTRY_VERIFY(!fx.pStage->IsBackPlay());
        QVERIFY(!pBtn->IsSelected());
        QCOMPARE(fx.AllMessages(), 0);

        // While the button is down the timer leaves the slider where the user put it.
        fx.pDlg->On_PlayProgressSliderMousePress();
        fx.pSlider->SetValue(65000);
        QVERIFY(fx.pDlg->On_PlayerTimer());
        QCOMPARE(fx.pSlider->GetValue(), 65000);
        fx.pDlg->On_PlayProgressSliderMouseRelease();
        QVERIFY(fx.pDlg->On_PlayerTimer());
        QVERIFY(fx.pSlider->GetValue() != 65000);

        QCOMPARE(fx.pStage->GetPlayState(0), 2);
        // Seen as a stream, the window refuses steps, speed and jumps, each with a message.
        const uint nFrame = 10;
        QVERIFY(fx.pStage->SetFramePos(nFrame));
        QTRY_COMPARE_WITH_TIMEOUT(fx.pStage->GetCurrentFrameNum(), nFrame, kPlayTimeoutMs);
        g_bSelectedIsStream = true;
        for (auto pCmd : kCommands) {
            QVERIFY(!(fx.pDlg.get()->*pCmd)());
            QCOMPARE(fx.TakeMessages(kNetStream), 1);
        }
        g_bSelectedIsStream = false;
        // Nothing moved and the speed is still normal.
        QCOMPARE(fx.pStage->GetCurrentFrameNum(), nFrame);
        QCOMPARE(fx.pStage->GetPlaySpeed(), 0);
        QVERIFY(!fx.pStage->IsBackPlay());
    }
};

QTEST_MAIN(TestTransportCtrls)
#include "TestTransportCtrls.moc"
