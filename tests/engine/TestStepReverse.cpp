// Steps and reverse play give the ffmpeg tool's pictures in reverse, the end
// comes once at frame 0, and the direction turns from the frame shown.
#include "FrameChecks.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {
const int kTimeoutMs = 20000;

QStringList Clips() {
    return {"h264_aac.mp4", "hevc.mkv",          "ch01_20240315102030.ts", "mjpeg.avi",
            "mpeg4.mp4",    "joined_restart.ts", "xvid_ac3_cut.avi"};
}
} // namespace

class TestStepReverse : public QObject {
    Q_OBJECT

private:
    // One step (back or forward) from a paused port; checks the picture shown.
    void CheckStep(PortProbe& probe, const QStringList& expected, bool bBack, uint32_t nExpectFrame);

private slots:
    void initTestCase();
    void stepsAndReversePlay_data();
    void stepsAndReversePlay();
    void turnsRoundFromTheShownFrame();
    void pauseRightAfterJumpShowsTarget();
    void stepPausesPlayingPort_data();
    void stepPausesPlayingPort();
    void reverseAtSpeedEndsOnce();
    void closeDuringReversePlay();
    void largePicturesBackwardsInParts();
};

void TestStepReverse::initTestCase() {
    QVERIFY2(QFile::exists(PortProbe::MediaPath("h264_aac.mp4")), "test media missing");
}

void TestStepReverse::CheckStep(PortProbe& probe, const QStringList& expected, bool bBack,
                                uint32_t nExpectFrame) {
    probe.ClearFrames();
    QVERIFY2(bBack ? Tavrix_OneByOneBack(probe.Port()) : Tavrix_OneByOne(probe.Port()),
             qPrintable(QString("to %1: error %2").arg(nExpectFrame).arg(Tavrix_GetLastError(probe.Port()))));
    CheckShown(probe, expected, nExpectFrame, kTimeoutMs);
}

void TestStepReverse::stepsAndReversePlay_data() {
    QTest::addColumn<QString>("clip");
    for (const QString& strClip : Clips())
        QTest::newRow(qPrintable(strClip)) << strClip;
}

void TestStepReverse::stepsAndReversePlay() {
    QFETCH(QString, clip);
    PortProbe probe;
    QStringList expected;
    QVERIFY(probe.OpenIndexed(clip, &expected, kTimeoutMs));
    QVERIFY(Tavrix_SetCurrentFrameNum(probe.Port(), 26));
    QVERIFY(probe.WaitForFrames(1, kTimeoutMs));
    // Across the key frame at 25 and back over it again.
    for (int n : {-25, -24, -23, 24, 25, 26, -25, -24}) { // negative: a step back
        CheckStep(probe, expected, n < 0, uint32_t(qAbs(n)));
        if (QTest::currentTestFailed())
            return;
    }
    // From the last frame back to the first, one step at a time.
    const uint32_t nLast = uint32_t(expected.size() - 1);
    probe.ClearFrames();
    QVERIFY(Tavrix_SetCurrentFrameNum(probe.Port(), nLast));
    CheckShown(probe, expected, nLast, kTimeoutMs);
    for (int n = int(nLast) - 1; n >= 0; --n) {
        CheckStep(probe, expected, true, uint32_t(n));
        if (QTest::currentTestFailed())
            return;
    }
    // Nothing lies before frame 0: the step fails and the picture stays.
    QVERIFY(!Tavrix_OneByOneBack(probe.Port()));
    QCOMPARE(Tavrix_GetCurrentFrameNum(probe.Port()), 0u);
    QCOMPARE(probe.EndCount(), 0);

    // From a stop reverse play starts at the last frame; the end comes once, at frame 0.
    QVERIFY(Tavrix_Stop(probe.Port()));
    probe.ClearFrames();
    QVERIFY(Tavrix_SetRealTime(probe.Port(), false));
    QVERIFY(Tavrix_ReversePlay(probe.Port()));
    QVERIFY(probe.WaitForEnd(kTimeoutMs));
    const std::vector<PortProbe::Shown> frames = probe.Frames();
    CheckRun(frames, expected, nLast, -1, expected.size());
    for (const PortProbe::Shown& shown : frames)
        QCOMPARE(shown.nEndsBefore, 0);
    QCOMPARE(Tavrix_GetCurrentFrameNum(probe.Port()), 0u);
    QCOMPARE(probe.EndCount(), 1);
}

void TestStepReverse::turnsRoundFromTheShownFrame() {
    PortProbe probe;
    QStringList expected;
    QVERIFY(probe.OpenIndexed("h264_aac.mp4", &expected, kTimeoutMs));
    const uint32_t nK = 40;
    QVERIFY(Tavrix_SetCurrentFrameNum(probe.Port(), nK));
    QVERIFY(probe.WaitForFrames(1, kTimeoutMs));
    QCOMPARE(probe.Frames().back().nFrameNum, nK);
    probe.ClearFrames();
    // The play window turns a paused port round with a play in the new
    // direction and an immediate pause: the frame under investigation stays.
    for (bool bReverse : {true, false, true}) {
        QVERIFY(bReverse ? Tavrix_ReversePlay(probe.Port()) : Tavrix_Play(probe.Port(), 0));
        QVERIFY(Tavrix_Pause(probe.Port(), 1));
        QCOMPARE(Tavrix_GetCurrentFrameNum(probe.Port()), nK);
    }
    // The next step back is the first picture since the turns; the step forward from there is K again.
    QVERIFY(Tavrix_OneByOneBack(probe.Port()));
    QVERIFY(probe.WaitForFrames(1, kTimeoutMs));
    QTRY_COMPARE_WITH_TIMEOUT(Tavrix_GetCurrentFrameNum(probe.Port()), nK - 1, kTimeoutMs);
    CheckRun(probe.Frames(), expected, nK - 1, 1, 1);
    CheckStep(probe, expected, false, nK);
    QCOMPARE(probe.FrameCount(), 1);

    // Paused in reverse play: a step back shows the frame before the shown one.
    probe.ClearFrames();
    QVERIFY(Tavrix_ReversePlay(probe.Port()));
    QVERIFY(probe.WaitForFrames(5, kTimeoutMs));
    QVERIFY(Tavrix_Pause(probe.Port(), 1));
    const uint32_t nShown = Tavrix_GetCurrentFrameNum(probe.Port());
    QVERIFY(nShown < nK);
    CheckRun(probe.Frames(), expected, nK - 1, -1, int(nK - nShown));
    CheckStep(probe, expected, true, nShown - 1);
    // Play turns forward from the shown frame.
    probe.ClearFrames();
    QVERIFY(Tavrix_SetRealTime(probe.Port(), false));
    QVERIFY(Tavrix_Play(probe.Port(), 0));
    QVERIFY(probe.WaitForEnd(kTimeoutMs));
    CheckRun(probe.Frames(), expected, nShown, 1, expected.size() - int(nShown));
}

void TestStepReverse::pauseRightAfterJumpShowsTarget() {
    // A pause that comes before the target's picture still shows it: the
    // picture and the counter agree once the port rests.
    PortProbe probe;
    QStringList expected;
    QVERIFY(probe.OpenIndexed("h264_aac.mp4", &expected, kTimeoutMs));
    QVERIFY(probe.Play(true));
    QVERIFY(probe.WaitForFrames(1, kTimeoutMs));
    QVERIFY(Tavrix_SetCurrentFrameNum(probe.Port(), 30));
    QVERIFY(Tavrix_Pause(probe.Port(), 1));
    QTRY_VERIFY_WITH_TIMEOUT(probe.Frames().back().nFrameNum >= 30, kTimeoutMs);
    const PortProbe::Shown last = probe.Frames().back();
    QCOMPARE(last.nFrameNum, Tavrix_GetCurrentFrameNum(probe.Port()));
    QCOMPARE(QString::fromLatin1(last.md5Hex), expected[int(last.nFrameNum)]);
}

void TestStepReverse::stepPausesPlayingPort_data() {
    QTest::addColumn<QString>("strClip");
    QTest::addColumn<int>("nFast");
    QTest::newRow("normal speed") << QString("hevc.mkv") << 0;
    // Fast play leaves out pictures nothing refers to; the step after it must
    // still show the very next picture.
    QTest::newRow("fast, unreferenced pictures left out") << QString("h264_aac.mp4") << 2;
}

void TestStepReverse::stepPausesPlayingPort() {
    QFETCH(QString, strClip);
    QFETCH(int, nFast);
    PortProbe probe;
    QStringList expected;
    QVERIFY(probe.OpenIndexed(strClip, &expected, kTimeoutMs));
    QVERIFY(probe.Play(true));
    if (nFast > 0) {
        QVERIFY(Tavrix_ThrowBFrameNum(probe.Port(), 2));
        for (int i = 0; i < nFast; ++i)
            QVERIFY(Tavrix_Fast(probe.Port()));
    }
    QVERIFY(probe.WaitForFrames(3, kTimeoutMs));
    QVERIFY(Tavrix_OneByOne(probe.Port()));
    QTRY_COMPARE_WITH_TIMEOUT(probe.Frames().back().nFrameNum, Tavrix_GetCurrentFrameNum(probe.Port()),
                              kTimeoutMs);
    // Paused now: each step shows exactly one neighbour.
    const uint32_t nShown = Tavrix_GetCurrentFrameNum(probe.Port());
    QVERIFY(nShown > 0 && nShown + 1 < uint32_t(expected.size()));
    CheckStep(probe, expected, false, nShown + 1);
    QCOMPARE(probe.FrameCount(), 1);
    CheckStep(probe, expected, true, nShown);
    QCOMPARE(probe.FrameCount(), 1);
}

void TestStepReverse::reverseAtSpeedEndsOnce() {
    // Reverse play keeps the speed ladder; the end still comes once.
    PortProbe probe;
    QStringList expected;
    QVERIFY(probe.OpenIndexed("mpeg4.mp4", &expected, kTimeoutMs));
    QVERIFY(Tavrix_ReversePlay(probe.Port()));
    QVERIFY(Tavrix_Fast(probe.Port()));
    QVERIFY(Tavrix_Fast(probe.Port()));
    QVERIFY(probe.WaitForEnd(kTimeoutMs));
    CheckOrdered(probe.Frames(), expected, -1);
    QCOMPARE(probe.EndCount(), 1);
}

void TestStepReverse::closeDuringReversePlay() {
    for (int i = 0; i < 4; ++i) {
        PortProbe probe;
        QStringList expected;
        QVERIFY(probe.OpenIndexed("hevc.mkv", &expected, kTimeoutMs));
        QVERIFY(Tavrix_ReversePlay(probe.Port()));
        QVERIFY(probe.WaitForFrames(1 + i, kTimeoutMs));
        if (i % 2 == 0) {
            probe.FreeWhilePlaying();
        } else {
            QVERIFY(Tavrix_OneByOneBack(probe.Port()));
            QVERIFY(Tavrix_Stop(probe.Port()));
        }
    }
}

void TestStepReverse::largePicturesBackwardsInParts() {
    // Full HD groups of 50 no longer fit the reverse player's memory whole and
    // are decoded in parts: every picture must still be the tool's, in order.
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString strClip = dir.filePath("hd.mp4");
    const auto ffmpeg = [](const QStringList& args) {
        QProcess ff;
        ff.start("ffmpeg", QStringList{"-hide_banner", "-loglevel", "error", "-nostdin", "-y"} + args);
        return ff.waitForFinished(120000) && ff.exitCode() == 0;
    };
    QVERIFY(ffmpeg({"-f", "lavfi", "-i", "testsrc2=size=1920x1080:rate=25:duration=3", "-c:v", "libx264",
                    "-preset", "veryfast", "-g", "50", "-bf", "2", "-pix_fmt", "yuv420p", strClip}));
    QVERIFY(ffmpeg({"-i", strClip, "-an", "-fps_mode", "passthrough", "-pix_fmt", "yuv420p", "-f", "framemd5",
                    strClip + ".framemd5"}));
    PortProbe probe;
    QStringList expected;
    QVERIFY(probe.OpenIndexed(strClip, &expected, kTimeoutMs)); // an absolute path stays as it is
    QCOMPARE(expected.size(), 75);
    QVERIFY(Tavrix_SetRealTime(probe.Port(), false));
    QVERIFY(Tavrix_ReversePlay(probe.Port()));
    QVERIFY(probe.WaitForEnd(kTimeoutMs));
    CheckRun(probe.Frames(), expected, uint32_t(expected.size() - 1), -1, expected.size());

    // Paused, a jump shows its target and the steps go from there.
    QVERIFY(Tavrix_Pause(probe.Port(), 1));
    probe.ClearFrames();
    QVERIFY(Tavrix_SetCurrentFrameNum(probe.Port(), 60));
    QVERIFY(probe.WaitForFrames(1, kTimeoutMs));
    for (uint32_t n = 59; n >= 30; --n) {
        CheckStep(probe, expected, true, n);
        if (QTest::currentTestFailed())
            return;
    }
    // Turning round inside a part and back again.
    CheckStep(probe, expected, false, 31);
    CheckStep(probe, expected, true, 30);
    CheckStep(probe, expected, true, 29);
}

QTEST_GUILESS_MAIN(TestStepReverse)
#include "TestStepReverse.moc"
