// Frame-exact jumps: a jump by frame number or by time shows exactly the
// frame the counter names, with the ffmpeg tool's picture for it, on every
// container the engine plays and on recordings as the field leaves them
// (segments joined with a clock restart, a wrapping transport stream clock,
// an AVI with decode times only); key frame queries answer from the index.
#include "FrameChecks.h"

#include <QRandomGenerator>
#include <QtTest>

namespace {
const int kTimeoutMs = 20000;
const int kFrameMs = 40;

QStringList Clips() {
    return {"h264_aac.mp4", "hevc.mkv",          "ch01_20240315102030.ts", "mjpeg.avi",
            "mpeg4.mp4",    "joined_restart.ts", "clock_wrap.ts",          "xvid_ac3_cut.avi"};
}
} // namespace

class TestSeek : public QObject {
    Q_OBJECT

private:
    // Opens the clip, waits for its index, and leaves the port paused.
    bool OpenPaused(PortProbe& probe, const QString& strClip, QStringList* pExpected);
    // Jumps (paused) and checks the one picture shown.
    void CheckJump(PortProbe& probe, const QStringList& expected, uint32_t nFrame);
    // Key frame queries of every frame agree and name key frames; *pSecond gets the second key frame.
    void CheckKeyFrames(int32_t nPort, uint32_t nCount, uint32_t* pSecond);

private slots:
    void initTestCase();
    void jumpsShowTheNamedFrame_data();
    void jumpsShowTheNamedFrame();
    void closeRightAfterJumps();
    void fastPlayDroppingBFramesKeepsNumbers_data();
    void fastPlayDroppingBFramesKeepsNumbers();
};

void TestSeek::initTestCase() {
    QVERIFY2(QFile::exists(PortProbe::MediaPath("h264_aac.mp4")), "test media missing");
}

bool TestSeek::OpenPaused(PortProbe& probe, const QString& strClip, QStringList* pExpected) {
    // A jump on a stopped port starts it paused on the frame.
    if (!probe.OpenIndexed(strClip, pExpected, kTimeoutMs) || !Tavrix_SetCurrentFrameNum(probe.Port(), 0) ||
        !probe.WaitForFrames(1, kTimeoutMs))
        return false;
    probe.ClearFrames();
    return true;
}

void TestSeek::CheckJump(PortProbe& probe, const QStringList& expected, uint32_t nFrame) {
    probe.ClearFrames();
    QVERIFY2(Tavrix_SetCurrentFrameNum(probe.Port(), nFrame),
             qPrintable(QString("frame %1 error %2").arg(nFrame).arg(Tavrix_GetLastError(probe.Port()))));
    QCOMPARE(Tavrix_GetCurrentFrameNum(probe.Port()), nFrame);
    CheckShown(probe, expected, nFrame, kTimeoutMs);
}

void TestSeek::CheckKeyFrames(int32_t nPort, uint32_t nCount, uint32_t* pSecond) {
    TAVRIX_FRAME_POS first{};
    QVERIFY(Tavrix_GetKeyFramePos(nPort, 0, TAVRIX_BY_FRAMENUM, &first));
    QCOMPARE(first.nFrameNum, 0u);
    QCOMPARE(first.nFrameTime, 0u);
    QVERIFY(first.nFilePos >= 0);
    for (uint32_t n = 0; n < nCount; ++n) {
        TAVRIX_FRAME_POS at{}, byTime{}, next{};
        QVERIFY(Tavrix_GetKeyFramePos(nPort, n, TAVRIX_BY_FRAMENUM, &at));
        QVERIFY(at.nFrameNum <= n);
        QCOMPARE(at.nFrameTime, at.nFrameNum * uint32_t(kFrameMs));
        // By time the same frame gives the same key frame.
        QVERIFY(Tavrix_GetKeyFramePos(nPort, n * kFrameMs + 5, TAVRIX_BY_FRAMETIME, &byTime));
        QCOMPARE(byTime.nFrameNum, at.nFrameNum);
        QCOMPARE(byTime.nFilePos, at.nFilePos);
        if (Tavrix_GetNextKeyFramePos(nPort, n, TAVRIX_BY_FRAMENUM, &next)) {
            QVERIFY(next.nFrameNum > n && next.nFilePos != at.nFilePos);
            // No key frame lies between: the next one names itself, the frame before it an earlier one.
            TAVRIX_FRAME_POS self{}, before{};
            QVERIFY(Tavrix_GetKeyFramePos(nPort, next.nFrameNum, TAVRIX_BY_FRAMENUM, &self));
            QCOMPARE(self.nFrameNum, next.nFrameNum);
            QVERIFY(Tavrix_GetKeyFramePos(nPort, next.nFrameNum - 1, TAVRIX_BY_FRAMENUM, &before));
            QVERIFY(before.nFrameNum <= n);
            if (n == 0)
                *pSecond = next.nFrameNum;
        } else {
            QCOMPARE(Tavrix_GetLastError(nPort), uint32_t(TAVRIX_ERR_PARA_OVER));
        }
    }
    TAVRIX_FRAME_POS out{};
    QVERIFY(!Tavrix_GetKeyFramePos(nPort, nCount, TAVRIX_BY_FRAMENUM, &out));
    QCOMPARE(Tavrix_GetLastError(nPort), uint32_t(TAVRIX_ERR_PARA_OVER));
    QVERIFY(!Tavrix_GetKeyFramePos(nPort, 0, 3, &out));
    QCOMPARE(Tavrix_GetLastError(nPort), uint32_t(TAVRIX_ERR_PARA_OVER));
}

void TestSeek::jumpsShowTheNamedFrame_data() {
    QTest::addColumn<QString>("clip");
    for (const QString& strClip : Clips())
        QTest::newRow(qPrintable(strClip)) << strClip;
}

// Paused jumps by number (the ends, the second key frame, random frames), by
// time and past the end, then play on from a jump target to the end.
void TestSeek::jumpsShowTheNamedFrame() {
    QFETCH(QString, clip);
    PortProbe probe;
    QStringList expected;
    QVERIFY(OpenPaused(probe, clip, &expected));
    const uint32_t nLast = uint32_t(expected.size() - 1);
    if (clip == "joined_restart.ts") // two 4 s segments whose clocks both start at the same value
        QCOMPARE(Tavrix_GetFileTime(probe.Port()), 8u);
    uint32_t nSecondKey = 0; // every clip has more than one key frame
    CheckKeyFrames(probe.Port(), nLast + 1, &nSecondKey);
    if (QTest::currentTestFailed())
        return;
    QVERIFY(nSecondKey > 0 && nSecondKey <= nLast);
    CheckJump(probe, expected, 0);
    const uint32_t nStartMs = Tavrix_GetPlayedTimeEx(probe.Port());
    std::vector<uint32_t> vecTargets = {nLast, nSecondKey};
    QRandomGenerator random(20240315);
    for (int i = 0; i < 50; ++i)
        vecTargets.push_back(random.bounded(nLast + 1));
    for (uint32_t nFrame : vecTargets) {
        CheckJump(probe, expected, nFrame);
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(probe.FrameCount(), 1); // a paused port shows the target and nothing after it
        // One time line, whatever the clock in the file does (restarts at a join, wraps).
        QCOMPARE(Tavrix_GetPlayedTimeEx(probe.Port()) - nStartMs, nFrame * kFrameMs);
        QCOMPARE(probe.Frames().front().nStampMs - int32_t(nStartMs), int32_t(nFrame) * kFrameMs);
    }

    // Times on a frame's start, just after it, and just before the next.
    const struct {
        uint32_t nMs;
        uint32_t nFrame;
    } aCases[] = {{0, 0},     {1, 0},     {39, 0},    {40, 1},
                  {1000, 25}, {1039, 25}, {1961, 49}, {30 * kFrameMs + 20, 30}};
    for (const auto& c : aCases) {
        probe.ClearFrames();
        QVERIFY(Tavrix_SetPlayedTimeEx(probe.Port(), c.nMs));
        CheckShown(probe, expected, c.nFrame, kTimeoutMs);
    }
    // A jump past the end is refused and leaves the picture where it was.
    QVERIFY(!Tavrix_SetCurrentFrameNum(probe.Port(), nLast + 1));
    QCOMPARE(Tavrix_GetLastError(probe.Port()), uint32_t(TAVRIX_ERR_PARA_OVER));
    QCOMPARE(Tavrix_GetCurrentFrameNum(probe.Port()), 30u);

    const uint32_t nTarget = 17;
    QVERIFY(Tavrix_SetRealTime(probe.Port(), false));
    CheckJump(probe, expected, nTarget);
    probe.ClearFrames();
    QVERIFY(Tavrix_Play(probe.Port(), 0));
    QVERIFY(probe.WaitForEnd(kTimeoutMs));
    CheckRun(probe.Frames(), expected, nTarget + 1, 1, expected.size() - int(nTarget) - 1);
    QCOMPARE(probe.EndCount(), 1);
    Tavrix_CloseFile(probe.Port());
    QVERIFY(!Tavrix_SetCurrentFrameNum(probe.Port(), 0));
    QCOMPARE(Tavrix_GetLastError(probe.Port()), uint32_t(TAVRIX_ERR_ORDER));
}

void TestSeek::closeRightAfterJumps() {
    // Jumps leave threads decoding; closing and freeing must stop them at once.
    for (int i = 0; i < 5; ++i) {
        PortProbe probe;
        QStringList expected;
        QVERIFY(OpenPaused(probe, "hevc.mkv", &expected));
        QVERIFY(Tavrix_Pause(probe.Port(), 0));
        QVERIFY(Tavrix_SetCurrentFrameNum(probe.Port(), uint32_t(10 * i)));
        QVERIFY(Tavrix_SetCurrentFrameNum(probe.Port(), uint32_t(49 - i)));
        if (i % 2 == 0)
            probe.FreeWhilePlaying();
        else
            QVERIFY(Tavrix_Stop(probe.Port()));
    }
}

void TestSeek::fastPlayDroppingBFramesKeepsNumbers_data() {
    QTest::addColumn<QString>("clip");
    for (const char* name : {"h264_aac.mp4", "ch01_20240315102030.ts", "mpeg4.mp4"})
        QTest::newRow(name) << QString(name);
}

void TestSeek::fastPlayDroppingBFramesKeepsNumbers() {
    // Faster than normal the decoder may leave out pictures nothing refers
    // to; those that are shown still carry their own numbers and pictures.
    QFETCH(QString, clip);
    PortProbe probe;
    QStringList expected;
    QVERIFY(OpenPaused(probe, clip, &expected));
    QVERIFY(Tavrix_SetRealTime(probe.Port(), false));
    QVERIFY(Tavrix_ThrowBFrameNum(probe.Port(), 2));
    QVERIFY(Tavrix_Play(probe.Port(), 0));
    QVERIFY(Tavrix_Fast(probe.Port()));
    QVERIFY(probe.WaitForEnd(kTimeoutMs));
    const std::vector<PortProbe::Shown> frames = probe.Frames();
    CheckOrdered(frames, expected, 1);
    QCOMPARE(frames.back().nFrameNum, uint32_t(expected.size() - 1));
    QCOMPARE(probe.EndCount(), 1);
}

QTEST_GUILESS_MAIN(TestSeek)
#include "TestSeek.moc"
