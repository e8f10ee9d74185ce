// The frame index built beside playback: reported once per file, with the
// ffmpeg tool's frame count; a close during the scan stops it without a late call.
#include "PortProbe.h"

#include "FrameIndex.h"

#include <QFile>
#include <QtTest>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace {
const int kIndexTimeoutMs = 30000;
const int kEndTimeoutMs = 120000;

// Counts file reference calls and notes any that comes after the file was closed.
struct RefWatch {
    std::mutex mutex;
    std::condition_variable cvFired;
    int nFired = 0;                   // guarded by mutex
    std::atomic<bool> bClosed{false}; // set once CloseFile/FreePort returned
    std::atomic<int> nLateCalls{0};

    static void Callback(int32_t nPort, void* pUser) {
        Q_UNUSED(nPort);
        auto* pWatch = static_cast<RefWatch*>(pUser);
        if (pWatch->bClosed.load())
            ++pWatch->nLateCalls;
        std::lock_guard<std::mutex> lock(pWatch->mutex);
        ++pWatch->nFired;
        pWatch->cvFired.notify_all();
    }
    bool WaitFired(int nTimeoutMs) {
        std::unique_lock<std::mutex> lock(mutex);
        return cvFired.wait_for(lock, std::chrono::milliseconds(nTimeoutMs), [this] { return nFired > 0; });
    }
    int Fired() {
        std::lock_guard<std::mutex> lock(mutex);
        return nFired;
    }
};
} // namespace

class TestFrameIndex : public QObject {
    Q_OBJECT

private slots:
    void fileRefFiresOnceWithExactCount_data();
    void fileRefFiresOnceWithExactCount();
    void closeDuringScanNeverCallsLate();
    void unreadableFileNeverCompletes_data();
    void unreadableFileNeverCompletes();
};

void TestFrameIndex::fileRefFiresOnceWithExactCount_data() {
    QTest::addColumn<QString>("strClip");
    for (const char* szClip : {"h264_aac.mp4", "hevc.mkv", "ch01_20240315102030.ts", "mjpeg.avi", "mpeg4.mp4",
                               "silent_h264.mp4", "sine1k.mkv", "truncated.ts", "truncated.mp4"})
        QTest::newRow(szClip) << QString(szClip);
}

void TestFrameIndex::fileRefFiresOnceWithExactCount() {
    QFETCH(QString, strClip);
    const QString strPath = PortProbe::MediaPath(strClip);
    RefWatch watch;
    PortProbe probe;
    probe.SetHashFrames(false);
    QVERIFY(probe.TakePort());
    // Registered before the open, as the play window does.
    QVERIFY(Tavrix_SetFileRefCallBack(probe.Port(), &RefWatch::Callback, &watch));
    QVERIFY(probe.Open(strPath));
    QVERIFY(probe.Play(false));
    QVERIFY2(watch.WaitFired(kIndexTimeoutMs), "no file reference callback");
    QVERIFY(probe.WaitForEnd(kEndTimeoutMs));
    // A file cut short mid-write (the mp4 on a partial packet) counts the frames
    // that are there, which is what playing it shows, not what its header promised.
    const int nExpected =
        strClip.startsWith("truncated") ? probe.FrameCount() : PortProbe::ExpectedHashes(strPath).size();
    QVERIFY2(nExpected > 0, qPrintable("no framemd5 beside " + strClip));
    QCOMPARE(Tavrix_GetFileTotalFrames(probe.Port()), uint32_t(nExpected));

    // Playing to the end, stopping and playing again make no second call,
    // and a stop keeps the exact count.
    QVERIFY(Tavrix_Stop(probe.Port()));
    QVERIFY(probe.Play(false));
    QCOMPARE(Tavrix_GetFileTotalFrames(probe.Port()), uint32_t(nExpected));
    QCOMPARE(watch.Fired(), 1);

    // A close drops the index: a reopen builds it afresh and reports it again.
    QVERIFY(Tavrix_CloseFile(probe.Port()));
    QCOMPARE(Tavrix_GetFileTotalFrames(probe.Port()), 0u);
    QVERIFY(probe.Open(strPath));
    QTRY_COMPARE_WITH_TIMEOUT(watch.Fired(), 2, kIndexTimeoutMs);
    QCOMPARE(Tavrix_GetFileTotalFrames(probe.Port()), uint32_t(nExpected));
    probe.Release();
    QCOMPARE(watch.Fired(), 2);
}

void TestFrameIndex::closeDuringScanNeverCallsLate() {
    // Opened and closed (or freed) at once, over and over on a few ports side
    // by side: every scan is stopped by the close, none calls after it, none hangs.
    const int kThreads = 4;
    const int kCyclesPerThread = 50;
    static const char* const clips[] = {"h264_aac.mp4", "hevc.mkv", "ch01_20240315102030.ts"};
    const int32_t nHeld = Tavrix_GetPortsInUse();
    std::vector<RefWatch> watches(kThreads * kCyclesPerThread);
    std::atomic<int> nFailures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int c = 0; c < kCyclesPerThread; ++c) {
                RefWatch& watch = watches[t * kCyclesPerThread + c];
                int32_t lPort = -1;
                if (!Tavrix_GetPort(&lPort)) {
                    ++nFailures;
                    continue;
                }
                const QByteArray path = QFile::encodeName(PortProbe::MediaPath(clips[(t + c) % 3]));
                if (!Tavrix_SetFileRefCallBack(lPort, &RefWatch::Callback, &watch) ||
                    !Tavrix_OpenFile(lPort, path.constData()))
                    ++nFailures;
                // Every other cycle frees the port with the file still open, as a torn-down window does.
                if (c % 2 == 0)
                    Tavrix_CloseFile(lPort);
                Tavrix_FreePort(lPort);
                watch.bClosed = true;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(nFailures.load(), 0);
    QCOMPARE(Tavrix_GetPortsInUse(), nHeld);
    int nLate = 0;
    for (RefWatch& watch : watches) {
        nLate += watch.nLateCalls.load();
        QVERIFY(watch.Fired() <= 1);
    }
    QCOMPARE(nLate, 0);
}

void TestFrameIndex::unreadableFileNeverCompletes_data() {
    QTest::addColumn<QString>("strClip");
    for (const char* szClip : {"random.mp4", "text.mp4", "empty.mp4"})
        QTest::newRow(szClip) << QString(szClip);
    QTest::newRow("missing") << QString("no-such-file.mp4");
}

void TestFrameIndex::unreadableFileNeverCompletes() {
    QFETCH(QString, strClip);
    std::atomic<bool> bDone{false};
    tavrix::FrameIndex index(-1);
    QVERIFY(index.Start(QFile::encodeName(PortProbe::MediaPath(strClip)).toStdString(), std::string(),
                        [&] { bDone = true; }));
    index.Join(); // the scan gives up by itself
    QVERIFY(!bDone.load());
    QVERIFY(!index.IsComplete());
    QCOMPARE(index.Count(), 0u);
    QCOMPARE(index.KeyFrameAtOrBefore(0), int64_t(-1));
}

QTEST_GUILESS_MAIN(TestFrameIndex)
#include "TestFrameIndex.moc"
