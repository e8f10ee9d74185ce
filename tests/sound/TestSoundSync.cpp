// Sound and picture stay together over a minute of play: with sound on, the
// pictures follow the sound device's clock, not the wall clock. SDL's disk
// driver paces its device by sleeping whole milliseconds per buffer, so the
// device runs off the wall clock's pace, as real devices run a little off
// their nominal rate; a picture paced by the wall clock drifts away from such
// sound by a tenth of a second or more a minute. The measure (bench/AvDrift.h) compares, at every white flash, how
// much sound the device has written with where the flash's beep lies in it.
// The full-length run is velquin-bench avdrift on a ten-minute clip.
#include "AvDrift.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <chrono>
#include <cmath>

namespace {
const int kClipSeconds = 60;
// How far the beep-to-flash offset may move from the first ten seconds to the last ten.
const double kMaxDriftMs = 40.0;
// Where sound and picture start: the flash is shown within this of its beep.
const double kMaxOffsetMs = 150.0;
} // namespace

class TestSoundSync : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void initTestCase();
    void pictureFollowsTheSoundDevice();
};

void TestSoundSync::initTestCase() {
    QVERIFY(m_dir.isValid());
    // SDL reads the driver name when sound starts; the test environment's dummy driver is replaced here.
    qputenv("SDL_AUDIODRIVER", "disk");
}

void TestSoundSync::pictureFollowsTheSoundDevice() {
    const QString strClip = QString(VELQUIN_MEDIA_DIR) + "/beep_flash_60s.mkv";
    QVERIFY2(QFile::exists(strClip), qPrintable(strClip + " is missing"));
    const avdrift::Result result =
        avdrift::Measure(QFile::encodeName(strClip).toStdString(),
                         QFile::encodeName(m_dir.filePath("capture.raw")).toStdString(),
                         std::chrono::seconds(kClipSeconds * 3));
    QVERIFY2(result.bOk, result.strError.c_str());
    qInfo("%d flashes, %d beeps at %d Hz; beep-to-flash %.1f ms at the start, %.1f ms at the end: "
          "drift %.1f ms (device clock against the stamps: %.1f ms)",
          result.nFlashes, result.nBeeps, result.nRate, result.dStartMs, result.dEndMs, result.dDriftMs,
          result.dDeviceDriftMs);
    // Every second's flash shows, and nearly every one is matched with its beep.
    QVERIFY2(result.nFlashes >= kClipSeconds - 1, qPrintable(QString("%1 flashes").arg(result.nFlashes)));
    QVERIFY2(result.nPairs >= kClipSeconds - 5, qPrintable(QString("%1 pairs").arg(result.nPairs)));
    QVERIFY2(std::abs(result.dStartMs) < kMaxOffsetMs,
             qPrintable(QString("flash %1 ms after its beep at the start").arg(result.dStartMs)));
    QVERIFY2(std::abs(result.dDriftMs) < kMaxDriftMs,
             qPrintable(QString("sound and picture drifted %1 ms apart").arg(result.dDriftMs)));
}

QTEST_GUILESS_MAIN(TestSoundSync)
#include "TestSoundSync.moc"
