// velquin-bench: measures the playback engine against the ffmpeg tool on the
// same file. No window: ports play with the display callback only.
//
//   velquin-bench framemd5 FILE [--key TEXT]
//   velquin-bench thumbs DIR
//   velquin-bench throughput FILE [--ports N] [--realtime SECONDS] [--threads T]
//   velquin-bench first-frame FILE
//   velquin-bench seek FILE N... [--no-peer]
//   velquin-bench stepback FILE FROM COUNT [--no-peer]
//   velquin-bench reverse FILE [--seconds S] [--no-peer]
//   velquin-bench index FILE [--no-peer]
//   velquin-bench avdrift FILE
//   velquin-bench stream URL [--mode 0|1|2] [--ports N] [--seconds S] [--no-peer]
//   velquin-bench concap FILE [--seconds S]
//   velquin-bench snapshot FILE [--format bmp|jpeg] [--count N]
//   velquin-bench sync FILE... [--seconds S]
//   velquin-bench fisheye FILE [--ports N] [--size WxH] [--seconds S] [--turn] [--no-peer]
#include "AvDriftBench.h"
#include "BenchPort.h"
#include "ConCapBench.h"
#include "SnapshotBench.h"
#include "SyncBench.h"
#include "CpuMeter.h"
#include "FisheyeBench.h"
#include "PeerDecode.h"
#include "StreamBench.h"
#include "ThumbBench.h"
#include "TransportBench.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

namespace {
using Clock = BenchPort::Clock;

// Long enough for any clip a benchmark plays unpaced; a hang still ends.
const auto kUnpacedLimit = std::chrono::hours(1);

int Usage() {
    std::fprintf(
        stderr,
        "usage: velquin-bench framemd5 FILE [--threads N] [--key TEXT]\n"
        "       (--threads N after FILE sets the engine's decoding threads for any command but throughput)\n"
        "       velquin-bench thumbs DIR\n"
        "       velquin-bench throughput FILE [--ports N] [--realtime SECONDS] [--threads T]\n"
        "       velquin-bench first-frame FILE\n"
        "       velquin-bench seek FILE N... [--no-peer]\n"
        "       velquin-bench stepback FILE FROM COUNT [--no-peer]\n"
        "       velquin-bench reverse FILE [--seconds S] [--no-peer]\n"
        "       velquin-bench index FILE [--no-peer]\n"
        "       velquin-bench avdrift FILE\n"
        "       velquin-bench stream URL [--mode 0|1|2] [--ports N] [--seconds S] [--no-peer]\n"
        "       velquin-bench concap FILE [--seconds S]\n"
        "       velquin-bench snapshot FILE [--format bmp|jpeg] [--count N]\n"
        "       velquin-bench sync FILE... [--seconds S]\n"
        "       velquin-bench fisheye FILE [--ports N] [--size WxH] [--seconds S] [--turn] [--no-peer]\n");
    return 2;
}

std::string NativePath(const QString& strFile) {
    return QFile::encodeName(strFile).toStdString();
}

bool OpenOrSay(BenchPort& port, const QString& strFile) {
    if (port.Open(NativePath(strFile)))
        return true;
    std::fprintf(stderr, "velquin-bench: cannot open %s (engine error %u)\n", qPrintable(strFile),
                 port.LastError());
    return false;
}

double Ms(Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

int RunFrameMd5(const QString& strFile, const QString& strKey) {
    std::mutex mutex;
    std::vector<std::string> hashes; // guarded by mutex
    BenchPort port;
    port.SetKeyText(strKey.toStdString());
    port.SetFrameSink([&](const TAVRIX_DISPLAY_INFO& stInfo) {
        std::string strMd5 = BenchPort::I420Md5Hex(stInfo);
        std::lock_guard<std::mutex> lock(mutex);
        hashes.push_back(std::move(strMd5));
    });
    if (!OpenOrSay(port, strFile))
        return 1;
    if (!port.Play(false)) {
        std::fprintf(stderr, "velquin-bench: cannot play %s (engine error %u)\n", qPrintable(strFile),
                     port.LastError());
        return 1;
    }
    if (!port.WaitForEnd(Clock::now() + kUnpacedLimit)) {
        std::fprintf(stderr, "velquin-bench: %s never reached its end\n", qPrintable(strFile));
        return 1;
    }
    // Damaged pictures are shown as the decoder concealed them; what a
    // decoder fills in where it could not decode may differ from run to run.
    const uint32_t nDamaged = Tavrix_GetDamagedFrames(port.Port());
    port.Close();
    for (size_t i = 0; i < hashes.size(); ++i)
        std::printf("%zu,%s\n", i, hashes[i].c_str());
    if (nDamaged > 0)
        std::fprintf(stderr, "velquin-bench: damaged pictures: %u\n", nDamaged);
    return 0;
}

// Frames shown more than one frame interval after they were due. Due times
// count from the first shown frame, so opening and the first decode are left to first-frame.
size_t LateFrames(const std::vector<BenchPort::Shown>& frames) {
    if (frames.size() < 2)
        return 0;
    std::vector<int32_t> steps;
    for (size_t i = 1; i < frames.size(); ++i)
        steps.push_back(frames[i].nStampMs - frames[i - 1].nStampMs);
    std::nth_element(steps.begin(), steps.begin() + steps.size() / 2, steps.end());
    const double dIntervalMs = std::max(1, steps[steps.size() / 2]);
    size_t nLate = 0;
    for (const BenchPort::Shown& shown : frames) {
        const double dDueMs = shown.nStampMs - frames.front().nStampMs;
        if (Ms(shown.wallTime - frames.front().wallTime) - dDueMs > dIntervalMs)
            ++nLate;
    }
    return nLate;
}

struct ThroughputOptions {
    int nPorts = 1;
    int nRealTimeSeconds = 0; // 0 plays unpaced to the end
    int nThreads = 0;
};

bool ParseThroughputOptions(const QStringList& args, ThroughputOptions& options) {
    for (int i = 0; i < args.size(); ++i) {
        bool bOk = i + 1 < args.size();
        const int nValue = bOk ? args[i + 1].toInt(&bOk) : 0;
        if (!bOk)
            return false;
        if (args[i] == "--ports" && nValue >= 1 && nValue <= TAVRIX_MAX_PORTS)
            options.nPorts = nValue;
        else if (args[i] == "--realtime" && nValue >= 1)
            options.nRealTimeSeconds = nValue;
        else if (args[i] == "--threads" && nValue >= 0)
            options.nThreads = nValue;
        else
            return false;
        ++i;
    }
    return true;
}

int RunThroughput(const QString& strFile, const ThroughputOptions& options) {
    const bool bRealTime = options.nRealTimeSeconds > 0;
    std::vector<std::unique_ptr<BenchPort>> ports;
    for (int i = 0; i < options.nPorts; ++i) {
        ports.push_back(std::make_unique<BenchPort>());
        if (!OpenOrSay(*ports.back(), strFile))
            return 1;
    }
    const CpuMeter cpu(CpuMeter::Who::Self);
    const Clock::time_point start = Clock::now();
    for (auto& port : ports) {
        if (!port->Play(bRealTime)) {
            std::fprintf(stderr, "velquin-bench: cannot play %s (engine error %u)\n", qPrintable(strFile),
                         port->LastError());
            return 1;
        }
    }
    const Clock::time_point deadline =
        bRealTime ? start + std::chrono::seconds(options.nRealTimeSeconds) : start + kUnpacedLimit;
    bool bAllEnded = true;
    for (auto& port : ports)
        bAllEnded = port->WaitForEnd(deadline) && bAllEnded;
    if (!bRealTime && !bAllEnded) {
        std::fprintf(stderr, "velquin-bench: %s never reached its end\n", qPrintable(strFile));
        return 1;
    }
    const double dSeconds = Ms(Clock::now() - start) / 1000.0;
    const double dCpuPercent = cpu.PercentOfOneCore();
    size_t nFrames = 0, nLate = 0;
    for (auto& port : ports) {
        const std::vector<BenchPort::Shown> frames = port->Frames();
        nFrames += frames.size();
        if (bRealTime)
            nLate += LateFrames(frames);
    }
    for (auto& port : ports)
        port->Close();
    const double dPeakRssMb = CpuMeter::PeakRssMb();

    const PeerDecode::Result peer = PeerDecode(strFile, options.nThreads, options.nPorts).Run();
    const double dFps = dSeconds > 0 ? nFrames / dSeconds : 0.0;
    std::printf("file: %s\nports: %d\nmode: %s\nthreads: %d\n", qPrintable(strFile), options.nPorts,
                bRealTime ? "realtime" : "unpaced", options.nThreads);
    std::printf(
        "seconds: %.3f\nframes: %zu\nfps: %.1f\nlate_frames: %zu\ncpu_percent: %.1f\npeak_rss_mb: %.1f\n",
        dSeconds, nFrames, dFps, nLate, dCpuPercent, dPeakRssMb);
    if (!peer.bOk) {
        std::fprintf(stderr, "velquin-bench: %s\n", qPrintable(peer.strError));
        return 1;
    }
    std::printf("ffmpeg_frames: %lld\nffmpeg_fps: %.1f\nffmpeg_cpu_percent: %.1f\nratio: %.3f\n",
                peer.nFrames, peer.Fps(), peer.dCpuPercent, peer.Fps() > 0 ? dFps / peer.Fps() : 0.0);
    return 0;
}

int RunFirstFrame(const QString& strFile) {
    BenchPort port;
    if (!OpenOrSay(port, strFile))
        return 1;
    if (!port.Play(true)) {
        std::fprintf(stderr, "velquin-bench: cannot play %s (engine error %u)\n", qPrintable(strFile),
                     port.LastError());
        return 1;
    }
    if (!port.WaitForFrames(1, Clock::now() + std::chrono::minutes(1))) {
        std::fprintf(stderr, "velquin-bench: no frame from %s within a minute\n", qPrintable(strFile));
        return 1;
    }
    const double dMs = Ms(port.Frames().front().wallTime - port.OpenTime());
    port.Close();
    std::printf("first_frame_ms: %.1f\n", dMs);
    return 0;
}
// Frame numbers as given on the command line; false on anything else.
bool ParseFrameNums(const QStringList& args, std::vector<uint32_t>& vecFrames) {
    for (const QString& arg : args) {
        bool bOk = false;
        const uint32_t nFrameNum = arg.toUInt(&bOk);
        if (!bOk)
            return false;
        vecFrames.push_back(nFrameNum);
    }
    return true;
}

// The transport subcommands; args follow FILE, with --no-peer already taken out.
int RunTransport(const QString& strCommand, const QString& strFile, QStringList args) {
    const bool bPeer = !args.removeAll("--no-peer");
    TransportBench bench(strFile, bPeer);
    std::vector<uint32_t> vecFrames;
    if (strCommand == "seek" && !args.isEmpty() && ParseFrameNums(args, vecFrames))
        return bench.Seek(vecFrames);
    if (strCommand == "stepback" && args.size() == 2 && ParseFrameNums(args, vecFrames))
        return bench.StepBack(vecFrames[0], vecFrames[1]);
    if (strCommand == "index" && args.isEmpty())
        return bench.Index();
    if (strCommand == "reverse" && args.isEmpty())
        return bench.Reverse(0.0);
    bool bOk = false;
    const double dSeconds = args.size() == 2 && args[0] == "--seconds" ? args[1].toDouble(&bOk) : 0.0;
    if (strCommand == "reverse" && bOk && dSeconds > 0)
        return bench.Reverse(dSeconds);
    return Usage();
}
} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv); // QProcess wants an application object
    QStringList args = app.arguments().mid(1);
    // --threads N before the command's own arguments: decoding threads of the
    // engine's ports (throughput keeps its own --threads for the peer).
    if (args.size() >= 4 && args[0] != "throughput" && args[2] == "--threads" && args[3].toUInt() > 0) {
        BenchPort::SetDecodeThreads(args[3].toUInt());
        args.erase(args.begin() + 2, args.begin() + 4);
    }
    if (args.size() < 2)
        return Usage();
    const QString& strCommand = args[0];
    const QString& strFile = args[1];
    if (strCommand == "framemd5" && args.size() == 2)
        return RunFrameMd5(strFile, QString());
    if (strCommand == "framemd5" && args.size() == 4 && args[2] == "--key" && !args[3].isEmpty())
        return RunFrameMd5(strFile, args[3]);
    if (strCommand == "thumbs" && args.size() == 2)
        return ThumbBench(strFile).Run();
    if (strCommand == "first-frame" && args.size() == 2)
        return RunFirstFrame(strFile);
    if (strCommand == "seek" || strCommand == "stepback" || strCommand == "reverse" || strCommand == "index")
        return RunTransport(strCommand, strFile, args.mid(2));
    if (strCommand == "sync" && args.size() >= 2) {
        QStringList lstFiles = args.mid(1);
        int nSeconds = 60;
        const int nFlag = int(lstFiles.indexOf("--seconds"));
        if (nFlag >= 0) {
            if (nFlag + 1 >= lstFiles.size() || lstFiles[nFlag + 1].toInt() <= 0)
                return Usage();
            nSeconds = lstFiles[nFlag + 1].toInt();
            lstFiles.remove(nFlag, 2);
        }
        if (lstFiles.size() < 2)
            return Usage();
        return SyncBench(lstFiles, nSeconds).Run();
    }
    if (strCommand == "concap" && args.size() == 2)
        return ConCapBench(args[1], 10).Run();
    if (strCommand == "concap" && args.size() == 4 && args[2] == "--seconds" && args[3].toInt() > 0)
        return ConCapBench(args[1], args[3].toInt()).Run();
    if (strCommand == "snapshot" && args.size() >= 2) {
        QString strFormat = "bmp";
        int nCount = 20;
        bool bOk = true;
        for (int i = 2; bOk && i + 1 < args.size(); i += 2) {
            if (args[i] == "--format")
                strFormat = args[i + 1];
            else if (args[i] == "--count")
                nCount = args[i + 1].toInt(&bOk);
            else
                bOk = false;
        }
        if (bOk && args.size() % 2 == 0 && nCount > 0 && (strFormat == "bmp" || strFormat == "jpeg"))
            return SnapshotBench(args[1], strFormat == "jpeg", nCount).Run();
        return Usage();
    }
    FisheyeBench::Options fisheyeOptions;
    if (strCommand == "fisheye" && FisheyeBench::ParseOptions(args.mid(2), &fisheyeOptions))
        return FisheyeBench(strFile, fisheyeOptions).Run();
    if (strCommand == "avdrift" && args.size() == 2)
        return RunAvDrift(strFile);
    StreamOptions streamOptions;
    if (strCommand == "stream" && ParseStreamOptions(args.mid(2), &streamOptions))
        return RunStream(args[1], streamOptions);
    ThroughputOptions options;
    if (strCommand == "throughput" && ParseThroughputOptions(args.mid(2), options))
        return RunThroughput(strFile, options);
    return Usage();
}
