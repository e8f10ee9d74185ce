#include "ConCapBench.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>

#include "BenchPort.h"
#include "CConCapThread.h"
#include "CpuMeter.h"
#include "PeerProcess.h"

namespace {
// The worker gets this long after play to write what is still queued.
const auto kDrainLimit = std::chrono::minutes(2);
const size_t kMinBudget = 10 * 1024 * 1024;
const size_t kMinBudgetFrames = 15;
} // namespace

ConCapBench::ConCapBench(QString strFile, int nSeconds)
    : m_strFile(std::move(strFile)), m_nSeconds(nSeconds) {}

ConCapBench::Phase ConCapBench::RunPhase(int nFormat) const {
    Phase phase;
    QTemporaryDir dir;
    if (!dir.isValid())
        return phase;
    CConCapThread worker;
    std::atomic<long long> nShown{0}, nPosted{0}, nWritten{0}, nFailed{0};
    // Direct: counted on the worker thread, no event loop needed here.
    QObject::connect(&worker, &CConCapThread::Sig_ConCapPicWritten, [&](int, QString) { ++nWritten; });
    QObject::connect(&worker, &CConCapThread::Sig_ConCapPicFail, [&](int) {
        ++nFailed;
        return true;
    });
    const QString strSuffix = nFormat == 0 ? ".bmp" : ".jpeg";
    BenchPort port;
    // As a play window does: a copy of each shown frame to the worker, within
    // a byte budget of at least 15 frames.
    port.SetFrameSink([&](const TAVRIX_DISPLAY_INFO& stInfo) {
        const long long n = nShown++;
        if (nFormat < 0)
            return;
        const size_t nFrame = size_t(stInfo.nWidth) * size_t(stInfo.nHeight) * 3 / 2;
        const QString strPath = dir.filePath(QString::asprintf("picture%06lld", n) + strSuffix);
        TAVRIX_DISPLAY_INFO st = stInfo;
        if (worker.PostPicture(&st, strPath, nFormat, 0, std::max(kMinBudget, nFrame * kMinBudgetFrames)))
            ++nPosted;
    });
    if (!port.Open(QFile::encodeName(m_strFile).toStdString())) {
        std::fprintf(stderr, "velquin-bench: cannot open %s (engine error %u)\n", qPrintable(m_strFile),
                     port.LastError());
        return phase;
    }
    worker.start();
    const CpuMeter cpu(CpuMeter::Who::Self);
    const auto start = BenchPort::Clock::now();
    if (!port.Play(true)) {
        std::fprintf(stderr, "velquin-bench: cannot play %s (engine error %u)\n", qPrintable(m_strFile),
                     port.LastError());
        return phase;
    }
    port.WaitForEnd(start + std::chrono::seconds(m_nSeconds));
    phase.nLate = Tavrix_GetLateFrames(port.Port());
    port.Close();
    // The pictures of the span count in full, however long they take to write.
    const auto drainEnd = BenchPort::Clock::now() + kDrainLimit;
    while (worker.PendingCount() > 0 && BenchPort::Clock::now() < drainEnd)
        QThread::msleep(10); // polling a counter; the drain itself is bounded above
    phase.dSeconds = std::chrono::duration<double>(BenchPort::Clock::now() - start).count();
    phase.dCpuPercent = cpu.PercentOfOneCore();
    worker.StopThread();
    worker.wait();
    phase.nShown = nShown;
    phase.nPosted = nPosted;
    phase.nWritten = nWritten;
    phase.nFailed = nFailed;
    phase.bCapture = nFormat >= 0;
    phase.bOk = worker.PendingCount() == 0;
    return phase;
}

int ConCapBench::Run() {
    const Phase plain = RunPhase(-1);
    const Phase jpeg = RunPhase(1);
    const Phase bmp = RunPhase(0);
    if (!plain.bOk || !jpeg.bOk || !bmp.bOk) {
        std::fprintf(stderr, "velquin-bench: a capture run did not finish\n");
        return 1;
    }

    // The ffmpeg tool decodes the same span and writes every frame as JPEG, as
    // fast as it can; its processor time is spread over the span for the share.
    QTemporaryDir dir;
    const CpuMeter peerCpu(CpuMeter::Who::Children);
    QElapsedTimer peerWall;
    peerWall.start();
    const PeerProcess::Result peer =
        PeerProcess("ffmpeg", {"-hide_banner", "-loglevel", "error", "-nostdin", "-t",
                               QString::number(m_nSeconds), "-i", m_strFile, "-an", "-fps_mode",
                               "passthrough", "-q:v", "2", dir.filePath("%06d.jpeg")})
            .Run(600000);
    const double dPeerCpuSeconds = peerCpu.PercentOfOneCore() / 100.0 * (peerWall.elapsed() / 1000.0);
    if (!peer.bOk) {
        std::fprintf(stderr, "velquin-bench: ffmpeg: %s\n", qPrintable(peer.strError));
        return 1;
    }
    const int nPeerFiles = QDir(dir.path()).entryList({"*.jpeg"}, QDir::Files).size();
    const double dPeerShare = 100.0 * dPeerCpuSeconds / m_nSeconds;

    auto print = [](const char* szName, const Phase& p) {
        std::printf("%s_frames_shown: %lld\n%s_pictures_written: %lld\n%s_pictures_skipped: %lld\n"
                    "%s_write_failures: %lld\n%s_late_frames: %u\n%s_seconds: %.2f\n%s_cpu_percent: %.1f\n",
                    szName, p.nShown, szName, p.nWritten, szName, p.bCapture ? p.nShown - p.nPosted : 0,
                    szName, p.nFailed, szName, p.nLate, szName, p.dSeconds, szName, p.dCpuPercent);
    };
    std::printf("file: %s\nseconds: %d\n", qPrintable(m_strFile), m_nSeconds);
    print("plain", plain);
    print("jpeg", jpeg);
    print("bmp", bmp);
    std::printf("ffmpeg_pictures_written: %d\nffmpeg_cpu_seconds: %.2f\nffmpeg_cpu_percent_of_span: %.1f\n",
                nPeerFiles, dPeerCpuSeconds, dPeerShare);
    auto ratio = [](double a, double b) { return b > 0 ? a / b : 0.0; };
    std::printf("jpeg_vs_plain: %.2f\nbmp_vs_plain: %.2f\njpeg_vs_ffmpeg: %.2f\nbmp_vs_ffmpeg: %.2f\n",
                ratio(jpeg.dCpuPercent, plain.dCpuPercent), ratio(bmp.dCpuPercent, plain.dCpuPercent),
                ratio(jpeg.dCpuPercent, dPeerShare), ratio(bmp.dCpuPercent, dPeerShare));
    return 0;
}
