#include "FisheyeBench.h"

#include "BenchPort.h"
#include "CpuMeter.h"
#include "Median.h"

#include "Tavrix.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

namespace {
using Clock = BenchPort::Clock;

constexpr float kStep = 0.015707964f; // pi/200: one step of the view, in radians
constexpr double kPi = 3.14159265358979323846;

double Degrees(double dRadians) {
    return dRadians * 180.0 / kPi;
}

// One port: the picture size its sink saw, and the thread that turns its view.
struct ViewPort {
    BenchPort port;
    std::atomic<int> nShownWidth{0};
    std::atomic<int> nShownHeight{0};
    std::atomic<uint32_t> nTurns{0}; // steps the engine took
    std::thread turner;
};

// Turns the port's view by one step for every picture it shows, until bStop.
// Each wait has a bound, so a port that stops showing never holds the turner.
void TurnEveryPicture(ViewPort* pView, const std::atomic<bool>* pbStop) {
    TAVRIX_SR_ROTATE_PARAM param{kStep, 0.0f, 0.0f, 0.0f};
    const TAVRIX_SR_ROTATE rotate{&param, 0};
    size_t nSeen = pView->port.FrameCount();
    while (!pbStop->load()) {
        if (!pView->port.WaitForFrames(nSeen + 1, Clock::now() + std::chrono::milliseconds(200)))
            continue;
        nSeen = pView->port.FrameCount();
        if (Tavrix_SR_Rotate(pView->port.Port(), &rotate))
            ++pView->nTurns;
    }
}

// Frames per second of the shown pictures' own time stamps.
double StampFps(const std::vector<BenchPort::Shown>& frames) {
    std::vector<double> steps;
    for (size_t i = 1; i < frames.size(); ++i)
        steps.push_back(frames[i].nStampMs - frames[i - 1].nStampMs);
    const double dStepMs = Median(steps);
    return dStepMs > 0 ? 1000.0 / dStepMs : 25.0;
}

// The last value a progress line of the tool gave for key ("frame=", "speed=").
double LastFigure(const QByteArray& log, const char* szKey) {
    const QRegularExpression re(QString::fromLatin1(szKey) + QStringLiteral("\\s*([0-9.]+)"));
    double dValue = -1.0;
    auto it = re.globalMatch(QString::fromLatin1(log));
    while (it.hasNext())
        dValue = it.next().captured(1).toDouble();
    return dValue;
}

struct PeerResult {
    bool bOk = false;
    QString strError;
    qint64 nFrames = 0;       // over all copies
    double dSeconds = 0.0;    // until the last copy finished
    double dMinSpeed = 0.0;   // the slowest copy's speed (1.0: it kept real time)
    double dCpuPercent = 0.0; // of one core, all copies together
};

// N copies of the tool at once, each reading the file in real time through the chain.
PeerResult RunPeers(const QString& strFile, const QString& strChain, int nCopies, int nSeconds) {
    PeerResult result;
    QStringList args{"-hide_banner", "-nostdin", "-loglevel", "error", "-stats", "-re", "-i", strFile, "-an"};
    args += QStringList{"-t", QString::number(nSeconds), "-vf", strChain, "-f", "null", "-"};
    const CpuMeter cpu(CpuMeter::Who::Children);
    QElapsedTimer timer;
    timer.start();
    std::vector<std::unique_ptr<QProcess>> processes;
    for (int i = 0; i < nCopies; ++i) {
        auto process = std::make_unique<QProcess>();
        process->setProcessChannelMode(QProcess::SeparateChannels);
        process->setStandardInputFile(QProcess::nullDevice());
        process->start("ffmpeg", args);
        processes.push_back(std::move(process));
    }
    // A tool that cannot keep real time (a new remap table every picture costs
    // it more than a picture's time) runs on at its own pace: allow a tenth of
    // real time, and a minute for starting on a busy machine.
    const qint64 nLimitMs = (nSeconds * 10LL + 60) * 1000LL;
    result.dMinSpeed = 1e9;
    for (auto& process : processes) {
        if (!process->waitForStarted(30000)) {
            result.strError = "ffmpeg did not start: " + process->errorString();
            return result;
        }
        // Drain stderr as it comes so the progress lines never block the tool.
        QByteArray log;
        while (!process->waitForFinished(100)) {
            log += process->readAllStandardError();
            if (timer.elapsed() > nLimitMs) {
                for (auto& other : processes) {
                    other->kill();
                    other->waitForFinished(5000);
                }
                result.strError = "ffmpeg did not finish in time";
                return result;
            }
        }
        log += process->readAllStandardError();
        if (process->exitStatus() != QProcess::NormalExit || process->exitCode() != 0) {
            result.strError = "ffmpeg failed: " + QString::fromLocal8Bit(log.right(400));
            return result;
        }
        const double dFrames = LastFigure(log, "frame=");
        const double dSpeed = LastFigure(log, "speed=");
        if (dFrames < 0 || dSpeed < 0) {
            result.strError = "no progress line in ffmpeg's log";
            return result;
        }
        result.nFrames += qint64(dFrames);
        result.dMinSpeed = std::min(result.dMinSpeed, dSpeed);
    }
    result.dSeconds = timer.nsecsElapsed() / 1e9;
    result.dCpuPercent = cpu.PercentOfOneCore();
    result.bOk = true;
    return result;
}
} // namespace

bool FisheyeBench::ParseOptions(const QStringList& args, Options* pOptions) {
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == "--turn") {
            pOptions->bTurn = true;
            continue;
        }
        if (args[i] == "--no-peer") {
            pOptions->bPeer = false;
            continue;
        }
        if (i + 1 >= args.size())
            return false;
        const QString& strValue = args[++i];
        bool bOk = false;
        if (args[i - 1] == "--size") {
            const QStringList parts = strValue.split('x');
            bool bOkH = false;
            const int nWidth = parts.size() == 2 ? parts[0].toInt(&bOk) : 0;
            const int nHeight = parts.size() == 2 ? parts[1].toInt(&bOkH) : 0;
            // The views want even sizes (the chroma planes are half the size).
            if (!bOk || !bOkH || nWidth < 16 || nHeight < 16 || nWidth % 2 || nHeight % 2)
                return false;
            pOptions->nWidth = nWidth;
            pOptions->nHeight = nHeight;
            continue;
        }
        const int nValue = strValue.toInt(&bOk);
        if (!bOk)
            return false;
        if (args[i - 1] == "--ports" && nValue >= 1 && nValue <= TAVRIX_MAX_PORTS)
            pOptions->nPorts = nValue;
        else if (args[i - 1] == "--seconds" && nValue >= 1)
            pOptions->nSeconds = nValue;
        else
            return false;
    }
    return true;
}

FisheyeBench::FisheyeBench(QString strFile, const Options& options)
    : m_strFile(std::move(strFile)), m_options(options) {}

QString FisheyeBench::FlatChain(double dYawDeg, double dPitchDeg, double dFovDeg, int nWidth, int nHeight) {
    const double dVFovDeg = Degrees(2.0 * std::atan(std::tan(dFovDeg * kPi / 360.0) * nHeight / nWidth));
    return QString::asprintf(
        "v360=input=fisheye:ih_fov=180:iv_fov=180:output=flat:yaw=%.4f:pitch=%.4f:roll=0:"
        "h_fov=%.4f:v_fov=%.4f:w=%d:h=%d:interp=line",
        dYawDeg, dPitchDeg, dFovDeg, dVFovDeg, nWidth, nHeight);
}

bool FisheyeBench::WriteTurnScript(const QString& strPath, double dFps) const {
    // One command per picture time. v360 adds each command's rotation to the
    // rotation it has (unless reset_rot), so every command is one step.
    QFile file(strPath);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return false;
    const int nPictures = int(std::ceil(m_options.nSeconds * dFps));
    const double dStepDeg = Degrees(double(kStep));
    for (int n = 1; n <= nPictures; ++n)
        file.write(QString::asprintf("%.4f v360 yaw %.4f;\n", n / dFps, dStepDeg).toLatin1());
    return file.error() == QFileDevice::NoError;
}

int FisheyeBench::Run() {
    std::vector<std::unique_ptr<ViewPort>> views;
    const TAVRIX_SR_CONFIG config{1, {0, 1, 0, 1}}; // the flat view, as a play window asks for it
    for (int i = 0; i < m_options.nPorts; ++i) {
        views.push_back(std::make_unique<ViewPort>());
        ViewPort* pView = views.back().get();
        pView->port.SetFrameSink([pView](const TAVRIX_DISPLAY_INFO& stInfo) {
            pView->nShownWidth = stInfo.nWidth;
            pView->nShownHeight = stInfo.nHeight;
        });
        const int32_t nPort =
            pView->port.Open(QFile::encodeName(m_strFile).toStdString()) ? pView->port.Port() : -1;
        if (nPort < 0 || !Tavrix_SR_SetOutputSize(nPort, m_options.nWidth, m_options.nHeight) ||
            !Tavrix_SR_SetConfig(nPort, TAVRIX_SR_CONFIG_VIEW, &config)) {
            std::fprintf(stderr, "velquin-bench: %s: no fisheye view (engine error %u)\n",
                         qPrintable(m_strFile),
                         nPort < 0 ? pView->port.LastError() : Tavrix_GetLastError(nPort));
            return 1;
        }
    }

    const CpuMeter cpu(CpuMeter::Who::Self);
    const Clock::time_point start = Clock::now();
    for (auto& pView : views) {
        if (!pView->port.Play(true)) {
            std::fprintf(stderr, "velquin-bench: cannot play %s (engine error %u)\n", qPrintable(m_strFile),
                         pView->port.LastError());
            return 1;
        }
    }
    // The view every port starts from (the same on all of them), for the tool.
    TAVRIX_SR_VIEW startView{};
    Tavrix_SR_GetView(views.front()->port.Port(), &startView);
    std::atomic<bool> bStop{false};
    if (m_options.bTurn) {
        for (auto& pView : views)
            pView->turner = std::thread(TurnEveryPicture, pView.get(), &bStop);
    }
    const Clock::time_point deadline = start + std::chrono::seconds(m_options.nSeconds);
    for (auto& pView : views)
        pView->port.WaitForEnd(deadline); // the file may end before the time is up
    bStop = true;
    for (auto& pView : views) {
        if (pView->turner.joinable())
            pView->turner.join();
    }
    const double dSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    const double dCpuPercent = cpu.PercentOfOneCore();

    size_t nFrames = 0;
    uint64_t nLate = 0, nTurns = 0;
    double dStampFps = 25.0;
    TAVRIX_SR_VIEW view{};
    Tavrix_SR_GetView(views.front()->port.Port(), &view);
    for (auto& pView : views) {
        const std::vector<BenchPort::Shown> frames = pView->port.Frames();
        if (frames.empty()) {
            std::fprintf(stderr, "velquin-bench: a port showed no picture of %s\n", qPrintable(m_strFile));
            return 1;
        }
        if (pView == views.front())
            dStampFps = StampFps(frames);
        nFrames += frames.size();
        nLate += Tavrix_GetLateFrames(pView->port.Port());
        nTurns += pView->nTurns;
        pView->port.Close();
    }
    const int nShownWidth = views.front()->nShownWidth;
    const int nShownHeight = views.front()->nShownHeight;
    if (nShownWidth != view.nWidth || nShownHeight != view.nHeight) {
        std::fprintf(stderr, "velquin-bench: the pictures shown are %dx%d, the view is %dx%d\n", nShownWidth,
                     nShownHeight, view.nWidth, view.nHeight);
        return 1;
    }
    const double dPeakRssMb = CpuMeter::PeakRssMb();
    const double dFps = dSeconds > 0 ? nFrames / dSeconds : 0.0;
    std::printf("file: %s\nports: %d\nsize: %dx%d\nturn: %s\nseconds: %.3f\n", qPrintable(m_strFile),
                m_options.nPorts, view.nWidth, view.nHeight, m_options.bTurn ? "yes" : "no", dSeconds);
    std::printf("frames: %zu\nfps: %.1f\nfps_per_port: %.2f\nlate_frames: %llu\nturn_steps: %llu\n"
                "cpu_percent: %.1f\npeak_rss_mb: %.1f\n",
                nFrames, dFps, dFps / m_options.nPorts, static_cast<unsigned long long>(nLate),
                static_cast<unsigned long long>(nTurns), dCpuPercent, dPeakRssMb);
    if (!m_options.bPeer)
        return 0;

    // The tool starts from the view the engine started from, at the same size.
    const QString strChain = FlatChain(Degrees(startView.fYaw), Degrees(startView.fPitch),
                                       Degrees(startView.fFov), view.nWidth, view.nHeight);
    QTemporaryDir dir;
    QString strFilters = strChain;
    if (m_options.bTurn) {
        const QString strScript = dir.filePath("turn.cmd");
        if (!dir.isValid() || !WriteTurnScript(strScript, dStampFps)) {
            std::fprintf(stderr, "velquin-bench: cannot write the turn commands\n");
            return 1;
        }
        strFilters = QStringLiteral("sendcmd=f=%1,%2").arg(strScript, strChain);
    }
    const PeerResult peer = RunPeers(m_strFile, strFilters, m_options.nPorts, m_options.nSeconds);
    if (!peer.bOk) {
        std::fprintf(stderr, "velquin-bench: %s\n", qPrintable(peer.strError));
        return 1;
    }
    const double dPeerFps = peer.dSeconds > 0 ? peer.nFrames / peer.dSeconds : 0.0;
    std::printf("ffmpeg_chain: %s\n", qPrintable(strChain));
    std::printf("ffmpeg_frames: %lld\nffmpeg_fps: %.1f\nffmpeg_speed_min: %.3f\nffmpeg_cpu_percent: %.1f\n",
                peer.nFrames, dPeerFps, peer.dMinSpeed, peer.dCpuPercent);
    std::printf("fps_ratio: %.3f\ncpu_ratio: %.3f\n", dPeerFps > 0 ? dFps / dPeerFps : 0.0,
                peer.dCpuPercent > 0 ? dCpuPercent / peer.dCpuPercent : 0.0);
    return 0;
}
