// Playback through a port without a window: every picture matches the ffmpeg
// tool's decode, the file end comes once after the last picture, the global
// time follows the frames, and pause, stop and the decode engine request keep
// the pictures right.
#include "PortProbe.h"

#include <QDateTime>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimeZone>
#include <QtTest>

namespace {
const int kEndTimeoutMs = 60000;
const int kFrameMs = 40;
const qint64 kCreationMs =
    QDateTime(QDate(2024, 3, 15), QTime(10, 20, 30), QTimeZone::utc()).toMSecsSinceEpoch();
} // namespace

class TestPlayback : public QObject {
    Q_OBJECT

private:
    // Plays the clip to its end and checks pictures, order, stamps and the end callback.
    void CheckWholeClip(PortProbe& probe, const QString& strPath);

private slots:
    void initTestCase();
    void framesMatchDecoder_data();
    void framesMatchDecoder();
    void systemTimeFollowsFrames_data();
    void systemTimeFollowsFrames();
    void systemTimeAbsentWithoutCreationOrName();
    void pauseHoldsPictureAndResumesInOrder();
    void stopThenPlayStartsAtFrameZero();
    void hardwareRequestStillDecodesEveryFrame();
};

void TestPlayback::initTestCase() {
    // The creation time is UTC and the recorder's name carries a bare time; in UTC both read the same.
    qputenv("TZ", "UTC");
    QVERIFY2(QFile::exists(PortProbe::MediaPath("h264_aac.mp4")), "test media missing");
}

void TestPlayback::CheckWholeClip(PortProbe& probe, const QString& strPath) {
    const QStringList expected = PortProbe::ExpectedHashes(strPath);
    QVERIFY2(!expected.isEmpty(), qPrintable(strPath + ".framemd5 missing"));
    QVERIFY2(probe.WaitForEnd(kEndTimeoutMs), "no file end callback");
    const std::vector<PortProbe::Shown> frames = probe.Frames();
    QCOMPARE(int(frames.size()), expected.size());
    for (int k = 0; k < int(frames.size()); ++k) {
        QCOMPARE(frames[k].nFrameNum, uint32_t(k));
        QCOMPARE(QString::fromLatin1(frames[k].md5Hex), expected[k]);
        // Stamps count from the start of the file, which may lie a little before the first picture.
        const int nStampMs = frames[k].nStampMs - frames[0].nStampMs;
        QVERIFY2(qAbs(nStampMs - k * kFrameMs) <= 1 && frames[0].nStampMs >= 0 && frames[0].nStampMs < 100,
                 qPrintable(QString("frame %1 stamp %2").arg(k).arg(frames[k].nStampMs)));
        QCOMPARE(frames[k].nEndsBefore, 0);
    }
    QCOMPARE(probe.EndCount(), 1);
    QCOMPARE(Tavrix_GetFileTotalFrames(probe.Port()), uint32_t(expected.size()));
}

void TestPlayback::framesMatchDecoder_data() {
    QTest::addColumn<QString>("clip");
    for (const char* name :
         {"h264_aac.mp4", "hevc.mkv", "ch01_20240315102030.ts", "mjpeg.avi", "mpeg4.mp4", "silent_h264.mp4"})
        QTest::newRow(name) << QString(name);
}

void TestPlayback::framesMatchDecoder() {
    QFETCH(QString, clip);
    PortProbe probe;
    const QString strPath = PortProbe::MediaPath(clip);
    QVERIFY2(probe.Open(strPath), qPrintable(QString("error %1").arg(Tavrix_GetLastError(probe.Port()))));
    int32_t nWidth = 0, nHeight = 0;
    QVERIFY(Tavrix_GetPictureSize(probe.Port(), &nWidth, &nHeight));
    QCOMPARE(nWidth, 320);
    QCOMPARE(nHeight, 240);
    QVERIFY(probe.Play(false));
    CheckWholeClip(probe, strPath);
}

void TestPlayback::systemTimeFollowsFrames_data() {
    QTest::addColumn<QString>("clip");
    QTest::newRow("creation time") << QString("h264_aac.mp4");
    QTest::newRow("time in name") << QString("ch01_20240315102030.ts");
}

void TestPlayback::systemTimeFollowsFrames() {
    QFETCH(QString, clip);
    PortProbe probe;
    probe.SetHashFrames(false);
    probe.SetReadSystemTime(true);
    QVERIFY(probe.Open(PortProbe::MediaPath(clip)));
    QVERIFY(probe.Play(false));
    QVERIFY(probe.WaitForEnd(kEndTimeoutMs));
    const std::vector<PortProbe::Shown> frames = probe.Frames();
    QVERIFY(!frames.empty());
    for (int k = 0; k < int(frames.size()); ++k) {
        QVERIFY2(frames[k].bHasTime, qPrintable(QString("no time at frame %1").arg(k)));
        QCOMPARE(SystemTimeToMsecs(frames[k].stTime) - kCreationMs, qint64(k) * kFrameMs);
    }
}

void TestPlayback::systemTimeAbsentWithoutCreationOrName() {
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString strPlain = dir.filePath("plain.mp4");
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg",
                 {"-hide_banner", "-loglevel", "error", "-nostdin", "-y", "-i",
                  PortProbe::MediaPath("silent_h264.mp4"), "-map_metadata", "-1", "-c", "copy", strPlain});
    QVERIFY(ffmpeg.waitForFinished(60000));
    QCOMPARE(ffmpeg.exitCode(), 0);

    PortProbe probe;
    probe.SetReadSystemTime(true);
    QVERIFY(probe.Open(strPlain));
    QVERIFY(probe.Play(false));
    QVERIFY(probe.WaitForEnd(kEndTimeoutMs));
    const std::vector<PortProbe::Shown> frames = probe.Frames();
    QCOMPARE(int(frames.size()), PortProbe::ExpectedHashes(PortProbe::MediaPath("silent_h264.mp4")).size());
    for (const PortProbe::Shown& shown : frames)
        QVERIFY(!shown.bHasTime);
    TAVRIX_SYSTEM_TIME stTime{};
    QVERIFY(!Tavrix_GetSystemTime(probe.Port(), &stTime));
}

void TestPlayback::pauseHoldsPictureAndResumesInOrder() {
    // Real-time play with a pause in it still shows every frame of the clip.
    const QString strPath = PortProbe::MediaPath("h264_aac.mp4");
    PortProbe probe;
    QVERIFY(probe.Open(strPath));
    QVERIFY(probe.Play(true));
    QVERIFY(probe.WaitForFrames(5, kEndTimeoutMs));
    QVERIFY(Tavrix_Pause(probe.Port(), 1));
    const int nAtPause = probe.FrameCount();

    // A second port playing in real time measures the pause in the engine's own frame times.
    PortProbe clock;
    clock.SetHashFrames(false);
    QVERIFY(clock.Open(PortProbe::MediaPath("silent_h264.mp4")));
    QVERIFY(clock.Play(true));
    QVERIFY(clock.WaitForFrames(12, kEndTimeoutMs));

    const int nHeld = probe.FrameCount();
    QVERIFY2(nHeld <= nAtPause + 1,
             qPrintable(QString("%1 frames shown while paused").arg(nHeld - nAtPause)));
    const uint32_t nLastShown = probe.Frames().back().nFrameNum;
    QCOMPARE(Tavrix_GetCurrentFrameNum(probe.Port()), nLastShown);
    TAVRIX_SYSTEM_TIME stTime{};
    QVERIFY(Tavrix_GetSystemTime(probe.Port(), &stTime));
    QCOMPARE(SystemTimeToMsecs(stTime) - kCreationMs, qint64(nLastShown) * kFrameMs);
    QVERIFY(Tavrix_RefreshPlayEx(probe.Port(), 0));
    QCOMPARE(Tavrix_GetCurrentFrameNum(probe.Port()), nLastShown);

    QVERIFY(Tavrix_Pause(probe.Port(), 0));
    CheckWholeClip(probe, strPath);
}

void TestPlayback::stopThenPlayStartsAtFrameZero() {
    const QString strPath = PortProbe::MediaPath("mpeg4.mp4");
    PortProbe probe;
    QVERIFY(probe.Open(strPath));
    QVERIFY(probe.Play(true));
    QVERIFY(probe.WaitForFrames(3, kEndTimeoutMs));
    QVERIFY(Tavrix_Stop(probe.Port()));
    probe.ClearFrames();
    QVERIFY(probe.Play(false));
    CheckWholeClip(probe, strPath);
}

void TestPlayback::hardwareRequestStillDecodesEveryFrame() {
    const QString strPath = PortProbe::MediaPath("h264_aac.mp4");
    PortProbe probe;
    QVERIFY(probe.Open(strPath));
    QVERIFY(Tavrix_SetDecodeEngineEx(probe.Port(), 1));
    QVERIFY(probe.Play(false));
    QVERIFY(probe.WaitForFrames(1, kEndTimeoutMs));
    const uint32_t nEngine = Tavrix_GetDecodeEngine(probe.Port());
    QVERIFY(nEngine == 0 || nEngine == 1);
    CheckWholeClip(probe, strPath);
    QCOMPARE(Tavrix_GetDecodeEngine(probe.Port()), nEngine);
}

QTEST_GUILESS_MAIN(TestPlayback)
#include "TestPlayback.moc"
