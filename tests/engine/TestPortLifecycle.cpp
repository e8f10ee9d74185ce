// Ports taken and given back many times from many threads, closed in every
// state a play window can be torn down in: nothing leaks, nothing calls back
// into a freed owner (the sanitizer build runs this program), no port is lost.
#include "PortProbe.h"

#include <QtTest>

#include <atomic>
#include <memory>
#include <thread>

namespace {
const int kCycles = 1000;
const int kThreads = 16;
const int kFirstFrameTimeoutMs = 60000;

enum class Teardown { CloseAtOnce, CloseWhilePlaying, CloseWhenPaused, FreeWhilePlaying };

// One open/play/close cycle; returns an empty text or what went wrong.
QString RunCycle(int nCycle) {
    static const char* const clips[] = {"silent_h264.mp4", "h264_aac.mp4", "ch01_20240315102030.ts"};
    const Teardown teardown = Teardown(nCycle % 4);
    auto probe = std::make_unique<PortProbe>();
    probe->SetHashFrames(false);
    if (!probe->Open(PortProbe::MediaPath(clips[nCycle % 3])))
        return QString("open failed, error %1").arg(Tavrix_GetLastError(probe->Port()));
    if (!probe->Play(teardown != Teardown::CloseAtOnce))
        return QString("play failed, error %1").arg(Tavrix_GetLastError(probe->Port()));
    if (teardown != Teardown::CloseAtOnce && !probe->WaitForFrames(1, kFirstFrameTimeoutMs))
        return "no first frame";
    if (teardown == Teardown::CloseWhenPaused && !Tavrix_Pause(probe->Port(), 1))
        return "pause failed";
    if (teardown == Teardown::FreeWhilePlaying)
        probe->FreeWhilePlaying();
    // Destroying the probe closes and frees the port; a late callback would touch freed memory.
    probe.reset();
    return QString();
}
} // namespace

class TestPortLifecycle : public QObject {
    Q_OBJECT

private slots:
    void manyCyclesGiveEveryPortBack();
    void getPortFailsWhenAllTaken();
};

void TestPortLifecycle::manyCyclesGiveEveryPortBack() {
    const int32_t nHeld = Tavrix_GetPortsInUse();
    std::atomic<int> nextCycle{0};
    std::mutex mutex;
    QStringList failures; // guarded by mutex
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int n = nextCycle++; n < kCycles; n = nextCycle++) {
                const QString strFailure = RunCycle(n);
                if (!strFailure.isEmpty()) {
                    std::lock_guard<std::mutex> lock(mutex);
                    failures << QString("cycle %1: %2").arg(n).arg(strFailure);
                }
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    QVERIFY2(failures.isEmpty(), qPrintable(failures.mid(0, 5).join("; ")));
    QCOMPARE(Tavrix_GetPortsInUse(), nHeld);
}

void TestPortLifecycle::getPortFailsWhenAllTaken() {
    const int32_t nHeld = Tavrix_GetPortsInUse();
    std::vector<int32_t> ports;
    int32_t lPort = -1;
    while (int(ports.size()) <= TAVRIX_MAX_PORTS && Tavrix_GetPort(&lPort))
        ports.push_back(lPort);
    QCOMPARE(int(ports.size()), TAVRIX_MAX_PORTS - nHeld);
    QCOMPARE(Tavrix_GetPortsInUse(), TAVRIX_MAX_PORTS);
    QVERIFY(!Tavrix_GetPort(&lPort));

    // A freed port can be taken again at once.
    QVERIFY(Tavrix_FreePort(ports.back()));
    ports.pop_back();
    QVERIFY(Tavrix_GetPort(&lPort));
    ports.push_back(lPort);
    for (int32_t lTaken : ports)
        QVERIFY(Tavrix_FreePort(lTaken));
    QCOMPARE(Tavrix_GetPortsInUse(), nHeld);
}

QTEST_GUILESS_MAIN(TestPortLifecycle)
#include "TestPortLifecycle.moc"
