// The play window's transport beyond play and stop, with real clips. Engine
// calls are counted at the link (--wrap of a few Tavrix_* functions).

#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <climits>

#include "CDlgShow.h"
#include "CPlayWnd.h"
#include "GuiMedia.h"
#include "OpenInfo.h"
#include "Tavrix.h"

using namespace GuiMedia;

// Mangled Tavrix_Fast(int32_t), Tavrix_Slow(int32_t), Tavrix_SetCurrentFrameNum(int32_t, uint32_t).

namespace {
std::atomic<int> g_nFastCalls{0};
std::atomic<int> g_nSlowCalls{0};
std::atomic<int> g_nFrameJumps{0};
std::atomic<uint32_t> g_nLastJumpTarget{0};
} // namespace

extern "C" {
bool __real__Z11Tavrix_Fasti(int32_t nPort);
bool __real__Z11Tavrix_Slowi(int32_t nPort);
bool __real__Z25Tavrix_SetCurrentFrameNumij(int32_t nPort, uint32_t nFrameNum);

bool __wrap__Z11Tavrix_Fasti(int32_t nPort) {
    ++g_nFastCalls;
    return __real__Z11Tavrix_Fasti(nPort);
}

bool __wrap__Z11Tavrix_Slowi(int32_t nPort) {
    ++g_nSlowCalls;
    return __real__Z11Tavrix_Slowi(nPort);
}

bool __wrap__Z25Tavrix_SetCurrentFrameNumij(int32_t nPort, uint32_t nFrameNum) {
    ++g_nFrameJumps;
    g_nLastJumpTarget = nFrameNum;
    return __real__Z25Tavrix_SetCurrentFrameNumij(nPort, nFrameNum);
}
}

namespace {

void ResetCounters() {
    g_nFastCalls = 0;
    g_nSlowCalls = 0;
    g_nFrameJumps = 0;
}

// Opens strClip in window 0, waits for its frame index and pauses it.
bool OpenIndexedPaused(CDlgShow& stage, const QString& strClip) {
    QSignalSpy spyRef(&stage, &CDlgShow::Sig_FileRefCreated);
    OpenInfo info = FileInfo(Clip(strClip));
    return stage.OpenFileInWnd(0, &info) && (spyRef.count() > 0 || spyRef.wait(20000)) &&
           stage.GetPlayWnd(0)->Pause();
}

} // namespace

class TestPlayWndTransport : public QObject {
    Q_OBJECT

private slots:
    void init() { ResetCounters(); }

    void speedLadderBFramesAndPausedSteps() {
        CDlgShow stage;
        CPlayWnd* pWnd = stage.GetPlayWnd(0);
        OpenInfo info = FileInfo(Clip("sine1k.mkv")); // the longest clip: it plays through the test
        QVERIFY(stage.OpenFileInWnd(0, &info));
        QCOMPARE(pWnd->GetPlayState(), 1);
        ResetCounters();

        // Up to 1 throws B frames; back to 0 stops throwing; up from -1 to 0 must not start.
        QVERIFY(pWnd->Fast());
        QCOMPARE(pWnd->GetThrowBFrame(), 2);
        QVERIFY(pWnd->Slow());
        QCOMPARE(pWnd->GetThrowBFrame(), 0);
        QCOMPARE(pWnd->GetDisplayInfo(), QString("Playing"));
        QVERIFY(pWnd->Slow());
        QCOMPARE(pWnd->GetDisplayInfo(), QString("Speed / 2"));
        QVERIFY(pWnd->Fast());
        QCOMPARE(pWnd->GetPlaySpeed(), 0);
        QCOMPARE(pWnd->GetThrowBFrame(), 0);
        QCOMPARE(pWnd->GetDisplayInfo(), QString("Playing"));
        QCOMPARE(g_nFastCalls.load(), 2);
        QCOMPARE(g_nSlowCalls.load(), 2);
        ResetCounters();

        for (int i = 1; i <= 4; ++i) {
            QVERIFY(pWnd->Fast());
            QCOMPARE(pWnd->GetPlaySpeed(), i);
            QCOMPARE(pWnd->GetDisplayInfo(), QString("Speed * %1").arg(1 << i));
        }
        QCOMPARE(pWnd->GetThrowBFrame(), 2);
        // The fifth step is past the top: still true and still telling, no engine call.
        QVERIFY(pWnd->Fast());
        QCOMPARE(pWnd->GetPlaySpeed(), 4);
        QCOMPARE(pWnd->GetDisplayInfo(), QString("Speed * 16"));
        QCOMPARE(g_nFastCalls.load(), 4);

        // Down the whole ladder and one past the bottom.
        for (int i = 0; i < 9; ++i)
            QVERIFY(pWnd->Slow());
        QCOMPARE(pWnd->GetPlaySpeed(), -4);
        QCOMPARE(g_nSlowCalls.load(), 8);
        QCOMPARE(pWnd->GetDisplayInfo(), QString("Speed / 16"));
        QCOMPARE(pWnd->GetThrowBFrame(), 0);
        QCOMPARE(pWnd->GetPlayState(), 1); // speed never changes the play state

        // A stop returns to normal speed: the next play replays nothing.
        QVERIFY(pWnd->Stop());
        QCOMPARE(pWnd->GetPlaySpeed(), 0);
        QVERIFY(!pWnd->Fast()); // no speed outside play and pause
        ResetCounters();
        QVERIFY(pWnd->Play(false));
        QCOMPARE(g_nFastCalls.load() + g_nSlowCalls.load(), 0);

        // Steps taken while paused reach the engine when play resumes, not before:
        // the engine would forget them at the next start anyway.
        for (int nSteps : {2, -3}) { // positive: Fast, negative: Slow
            QVERIFY(pWnd->Stop() && pWnd->Play(false) && pWnd->Pause());
            ResetCounters();
            for (int i = 0; i < std::abs(nSteps); ++i)
                QVERIFY(nSteps > 0 ? pWnd->Fast() : pWnd->Slow());
            QCOMPARE(g_nFastCalls.load() + g_nSlowCalls.load(), 0);
            QCOMPARE(pWnd->GetPlaySpeed(), nSteps);
            QCOMPARE(pWnd->GetDisplayInfo(),
                     QString(nSteps > 0 ? "Speed * %1" : "Speed / %1").arg(1 << std::abs(nSteps)));
            QCOMPARE(pWnd->GetPlayState(), 2);
            QVERIFY(pWnd->Play(false));
            QCOMPARE(pWnd->GetPlayState(), 1);
            QCOMPARE(pWnd->GetPlaySpeed(), nSteps);
            QCOMPARE(g_nFastCalls.load(), std::max(nSteps, 0));
            QCOMPARE(g_nSlowCalls.load(), std::max(-nSteps, 0));
            QCOMPARE(pWnd->GetThrowBFrame(), nSteps > 0 ? 2 : 0);
        }
    }

    void stepsAndBackPlay() {
        CDlgShow stage;
        CPlayWnd* pWnd = stage.GetPlayWnd(0);
        QVERIFY(OpenIndexedPaused(stage, "h264_aac.mp4"));
        // A step from play pauses; each step shows exactly the next frame.
        QVERIFY(pWnd->Play(false));
        QTRY_VERIFY_WITH_TIMEOUT(pWnd->GetCurrentFrameNum() >= 3, 10000);
        QSignalSpy spyCtrls(&stage, &CDlgShow::Sig_UpdateCtrlStatus);
        QVERIFY(stage.FrameForward());
        QCOMPARE(pWnd->GetPlayState(), 2);
        QCOMPARE(spyCtrls.count(), 1);
        const uint nStepFrom = pWnd->GetCurrentFrameNum();
        QVERIFY(nStepFrom > 0);
        for (uint i = 1; i <= 3; ++i) {
            QVERIFY(pWnd->FrameForward());
            QTRY_COMPARE_WITH_TIMEOUT(pWnd->GetCurrentFrameNum(), nStepFrom + i, 5000);
            QCOMPARE(pWnd->GetPlayState(), 2);
        }

        QVERIFY(pWnd->SetFramePos(40));
        QTRY_COMPARE_WITH_TIMEOUT(pWnd->GetCurrentFrameNum(), 40u, 5000);
        QVERIFY(pWnd->Fast());

        // Paused, the new direction is taken and the window stays paused at normal speed.
        QVERIFY(stage.BackPlay(true));
        QVERIFY(pWnd->IsBackPlay());
        QCOMPARE(pWnd->GetPlaySpeed(), 0);
        QCOMPARE(pWnd->GetPlayState(), 2);

        QVERIFY(pWnd->Play(false));
        QTRY_VERIFY_WITH_TIMEOUT(pWnd->GetCurrentFrameNum() < 35, 10000);
        QCOMPARE(pWnd->GetPlayState(), 1);

        // A step back from a paused frame shows the one before it.
        QVERIFY(pWnd->Pause());
        const uint nFrame = pWnd->GetCurrentFrameNum();
        QVERIFY(nFrame > 0);
        QVERIFY(stage.FrameBackward());
        QTRY_COMPARE_WITH_TIMEOUT(pWnd->GetCurrentFrameNum(), nFrame - 1, 5000);

        // Forward again, and a stop forgets the direction.
        QVERIFY(pWnd->BackPlay(false));
        QVERIFY(!pWnd->IsBackPlay());
        QVERIFY(pWnd->BackPlay(true));
        QVERIFY(pWnd->Stop());
        QVERIFY(!pWnd->IsBackPlay());
    }

    void jumpsShowTheWantedFrame_data() {
        QTest::addColumn<QString>("strClip");
        for (const char* szClip : {"h264_aac.mp4", "hevc.mkv", "mpeg4.mp4"})
            QTest::newRow(szClip) << QString(szClip);
    }

    void jumpsShowTheWantedFrame() {
        QFETCH(QString, strClip);
        const int nFrames = FrameCount(strClip);
        QVERIFY(nFrames > 40);

        CDlgShow stage;
        CPlayWnd* pWnd = stage.GetPlayWnd(0);
        QVERIFY(OpenIndexedPaused(stage, strClip));

        // A frame between key frames, behind B frames in the h264 clip (its picture is checked where the
        // locate dialogs jump).
        const uint nWanted = 37;
        QVERIFY(stage.SetFramePos(nWanted));
        QTRY_COMPARE_WITH_TIMEOUT(pWnd->GetCurrentFrameNum(), nWanted, 5000);
        QCOMPARE(pWnd->GetPlayState(), 2); // a jump keeps the window paused

        // By time: one second in is frame 25 of these 25 fps clips.
        QVERIFY(stage.SetTimePos(1));
        QTRY_COMPARE_WITH_TIMEOUT(pWnd->GetCurrentFrameNum(), 25u, 5000);
        QVERIFY(pWnd->SetTimePosMS(1520));
        QTRY_COMPARE_WITH_TIMEOUT(pWnd->GetCurrentFrameNum(), 38u, 5000);

        QVERIFY(stage.GoToEnd());
        QTRY_COMPARE_WITH_TIMEOUT(pWnd->GetCurrentFrameNum(), uint(nFrames - 1), 5000);
        QVERIFY(stage.GoToStart());
        QTRY_COMPARE_WITH_TIMEOUT(pWnd->GetCurrentFrameNum(), 0u, 5000);
        QCOMPARE(pWnd->GetPlayState(), 2);

        // A playing window plays on from the new place.
        QVERIFY(pWnd->Play(false));
        QVERIFY(pWnd->SetFramePos(30));
        QTRY_VERIFY_WITH_TIMEOUT(pWnd->GetCurrentFrameNum() > 30, 5000);
        QCOMPARE(pWnd->GetPlayState(), 1);
    }

    void repeatABLoopsBetweenMarks_data() {
        QTest::addColumn<bool>("bBack");
        QTest::newRow("forward") << false;
        QTest::newRow("reverse") << true;
    }

    void repeatABLoopsBetweenMarks() {
        QFETCH(bool, bBack);
        const uint nA = 10;
        const uint nB = 30;

        CDlgShow stage;
        CPlayWnd* pWnd = stage.GetPlayWnd(0);
        QSignalSpy spyEnd(&stage, &CDlgShow::Sig_FileEnd);
        QVERIFY(OpenIndexedPaused(stage, "h264_aac.mp4")); // 50 frames, 2 s
        QVERIFY(pWnd->SetFramePos(20));
        QTRY_COMPARE_WITH_TIMEOUT(pWnd->GetCurrentFrameNum(), 20u, 5000);
        if (bBack)
            QVERIFY(pWnd->BackPlay(true));

        QVERIFY(stage.SetRepeatA(nA));
        QVERIFY(stage.SetRepeatB(nB));
        bool bSet = false;
        uint nFrame = 0;
        QVERIFY(stage.GetRepeatB(&bSet, &nFrame) && bSet);
        QCOMPARE(nFrame, nB);

        ResetCounters();
        QVERIFY(pWnd->Play(false));
        // The lowest and highest frame the window reports, read as the controls read it.
        uint nMin = UINT_MAX;
        uint nMax = 0;
        int nSamples = 0;
        QTimer sampler;
        connect(&sampler, &QTimer::timeout, this, [&] {
            nMin = std::min(nMin, pWnd->GetCurrentFrameNum());
            nMax = std::max(nMax, pWnd->GetCurrentFrameNum());
            ++nSamples;
        });
        sampler.start(5);
        // Three loops take longer than the whole clip: without the repeat it would end.
        QTRY_VERIFY_WITH_TIMEOUT(g_nFrameJumps.load() >= 3, 20000);
        QCOMPARE(g_nLastJumpTarget.load(), bBack ? nB : nA);
        QVERIFY(nSamples > 10);
        QVERIFY2(nMin >= nA && nMax <= nB, qPrintable(QString("frames %1..%2 outside").arg(nMin).arg(nMax)));
        QCOMPARE(spyEnd.count(), 0);

        // Cleared, play runs out of the range again.
        QVERIFY(stage.ClearRepeatAB());
        QVERIFY(stage.GetRepeatA(&bSet, &nFrame));
        QVERIFY(!bSet);
        if (bBack)
            QTRY_VERIFY_WITH_TIMEOUT(pWnd->GetCurrentFrameNum() < nA || spyEnd.count() > 0, 10000);
        else
            QTRY_VERIFY_WITH_TIMEOUT(pWnd->GetCurrentFrameNum() > nB || spyEnd.count() > 0, 10000);
    }

    void repeatToEndOfFileLoopsWithoutFileEnd() {
        // B at the frame count repeats to the end of the file: the end must not be
        // reported, and the watchdog takes play back to A.
        const int nFrames = FrameCount("h264_aac.mp4");
        CDlgShow stage;
        CPlayWnd* pWnd = stage.GetPlayWnd(0);
        QSignalSpy spyEnd(&stage, &CDlgShow::Sig_FileEnd);
        OpenInfo info = FileInfo(Clip("h264_aac.mp4"));
        QVERIFY(stage.OpenFileInWnd(0, &info));
        QVERIFY(pWnd->Pause()); // the marks are set before the short clip can end
        QTRY_COMPARE_WITH_TIMEOUT(pWnd->GetFileTotalFrames(), uint(nFrames), 20000);

        QVERIFY(!pWnd->SetRepeatB(0));                 // B is never the first frame
        QVERIFY(!pWnd->SetRepeatB(uint(nFrames) + 1)); // nor past the end
        QVERIFY(!pWnd->SetRepeatA(uint(nFrames)));     // A lies on a frame
        QVERIFY(pWnd->SetRepeatA(40));
        QVERIFY(pWnd->SetRepeatB(20)); // B before A moves A to the start
        bool bSet = false;
        uint nFrame = 99;
        QVERIFY(pWnd->GetRepeatA(&bSet, &nFrame));
        QCOMPARE(nFrame, 0u);

        QVERIFY(pWnd->SetRepeatA(38));
        QVERIFY(pWnd->SetRepeatB(uint(nFrames)));
        ResetCounters();
        QVERIFY(pWnd->Play(false));
        QTRY_VERIFY_WITH_TIMEOUT(g_nFrameJumps.load() >= 2, 20000);
        QCOMPARE(g_nLastJumpTarget.load(), 38u);
        QCOMPARE(spyEnd.count(), 0);
        QCOMPARE(pWnd->GetPlayState(), 1);

        // A stop clears the repeat: the next play reports its end again.
        QVERIFY(pWnd->Stop());
        QVERIFY(pWnd->GetRepeatB(&bSet, &nFrame));
        QVERIFY(!bSet);
        QVERIFY(pWnd->Play(false));
        QVERIFY(spyEnd.wait(20000));
    }

    void stageForwardsToSelectedWindow() {
        CDlgShow stage;
        QVERIFY(stage.SetPlayWndNum(4));
        QVERIFY(stage.On_ChangeSelWnd(1));
        OpenInfo info = FileInfo(Clip("sine1k.mkv"));
        QVERIFY(stage.OpenFileInWnd(0, &info));
        QVERIFY(stage.OpenFileInWnd(1, &info));
        QSignalSpy spyCtrls(&stage, &CDlgShow::Sig_UpdateCtrlStatus);

        QVERIFY(stage.Fast());
        QVERIFY(stage.Fast());
        QCOMPARE(spyCtrls.count(), 2);
        QCOMPARE(stage.GetPlaySpeed(), 2);
        QCOMPARE(stage.GetPlayWnd(1)->GetPlaySpeed(), 2);
        QCOMPARE(stage.GetPlayWnd(0)->GetPlaySpeed(), 0);
        QVERIFY(stage.Slow());
        QCOMPARE(stage.GetPlaySpeed(), 1);
        QCOMPARE(stage.GetThrowBFrame(), 2);
        QCOMPARE(spyCtrls.count(), 3);

        // Index-addressed seeks tell nobody; the selected window's do. A seek
        // needs the window's frame index.
        QTRY_VERIFY_WITH_TIMEOUT(stage.GetPlayWnd(0)->IsFileRefCreated(), 20000);
        QVERIFY(stage.SetTimePos(0, 1));
        QCOMPARE(spyCtrls.count(), 3);
        QVERIFY(!stage.SetTimePos(16, 1));

        // A window in neither play nor pause takes no speed step.
        QVERIFY(stage.SyncStop());
        QVERIFY(!stage.Fast());
        QCOMPARE(stage.GetPlaySpeed(), 0);
    }
};

QTEST_MAIN(TestPlayWndTransport)
#include "TestPlayWndTransport.moc"
