#include "SyncBench.h"

#include <QDateTime>
#include <QFile>
#include <QProcess>

#include <algorithm>
#include <cmath>
#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include "BenchPort.h"
#include "CpuMeter.h"

namespace {
using Clock = BenchPort::Clock;
const auto kTick = std::chrono::milliseconds(100);

// Milliseconds since 1970 of a global time, its fields read as written.
long long EpochMs(const TAVRIX_SYSTEM_TIME& t) {
    const QDateTime dt(QDate(t.nYear, t.nMonth, t.nDay), QTime(t.nHour, t.nMinute, t.nSecond, t.nMilliseconds),
                       Qt::UTC);
    return dt.toMSecsSinceEpoch();
}
} // namespace

SyncBench::SyncBench(QStringList lstFiles, int nSeconds) : m_lstFiles(std::move(lstFiles)), m_nSeconds(nSeconds) {}

SyncBench::Phase SyncBench::PlayGroup(bool bRealTime) const {
    Phase phase;
    std::vector<std::unique_ptr<BenchPort>> ports;
    std::vector<long long> vecBeginMs;
    std::vector<double> vecPeriodMs;
    for (const QString& strFile : m_lstFiles) {
        auto pPort = std::make_unique<BenchPort>();
        if (!pPort->Open(QFile::encodeName(strFile).toStdString()) || !Tavrix_SetSycGroup(pPort->Port(), 0)) {
            std::fprintf(stderr, "velquin-bench: %s cannot join a group (engine error %u)\n", qPrintable(strFile),
                         pPort->LastError());
            return phase;
        }
        TAVRIX_SYSTEM_TIME t{};
        Tavrix_GetSystemTime(pPort->Port(), &t);
        vecBeginMs.push_back(EpochMs(t));
        const uint32_t nFrames = std::max<uint32_t>(1, pPort->TotalFrames());
        vecPeriodMs.push_back(Tavrix_GetFileTime(pPort->Port()) * 1000.0 / nFrames);
        ports.push_back(std::move(pPort));
    }
    const CpuMeter cpu(CpuMeter::Who::Self);
    const auto start = Clock::now();
    for (auto& pPort : ports) {
        if (!pPort->Play(bRealTime)) {
            std::fprintf(stderr, "velquin-bench: cannot play (engine error %u)\n", pPort->LastError());
            return phase;
        }
    }
    const long long nStartMs = *std::min_element(vecBeginMs.begin(), vecBeginMs.end());
    const long long nSpanMs = m_nSeconds * 1000LL;
    std::vector<double> vecSkews;
    long long nGroupMs = nStartMs;
    // Unpaced the group ends when its time has covered the span (or stands
    // still for a minute); in real time after the span of wall time.
    auto lastMove = Clock::now();
    long long nLastGroupMs = nGroupMs;
    while (true) {
        std::this_thread::sleep_for(kTick); // the tick of the measurement, not a wait for an event
        TAVRIX_SYSTEM_TIME tGroup{};
        if (!Tavrix_GetSycGroupTime(ports.front()->Port(), &tGroup))
            break;
        nGroupMs = EpochMs(tGroup);
        if (bRealTime) {
            for (size_t i = 0; i < ports.size(); ++i) {
                TAVRIX_SYSTEM_TIME tShown{};
                if (nGroupMs < vecBeginMs[i] || !Tavrix_GetSystemTime(ports[i]->Port(), &tShown))
                    continue;
                const uint32_t nTotal = ports[i]->TotalFrames();
                if (Tavrix_GetCurrentFrameNum(ports[i]->Port()) + 1 >= nTotal)
                    continue; // parked at its end
                // The shown frame's time against the group's: under one
                // frame period while the member keeps step.
                const double dSkew = std::abs(double(nGroupMs - EpochMs(tShown)));
                vecSkews.push_back(dSkew);
                phase.dMaxSkewPeriods = std::max(phase.dMaxSkewPeriods, dSkew / vecPeriodMs[i]);
            }
            if (Clock::now() - start >= std::chrono::seconds(m_nSeconds))
                break;
        } else {
            if (nGroupMs - nStartMs >= nSpanMs)
                break;
            if (nGroupMs != nLastGroupMs) {
                nLastGroupMs = nGroupMs;
                lastMove = Clock::now();
            } else if (Clock::now() - lastMove > std::chrono::minutes(1)) {
                std::fprintf(stderr, "velquin-bench: the group stood still\n");
                return phase;
            }
        }
    }
    phase.dWallSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    phase.dGroupSeconds = (nGroupMs - nStartMs) / 1000.0;
    phase.dCpuPercent = cpu.PercentOfOneCore();
    phase.dMinPeriodMs = *std::min_element(vecPeriodMs.begin(), vecPeriodMs.end());
    for (auto& pPort : ports) {
        phase.nLate += Tavrix_GetLateFrames(pPort->Port());
        pPort->Close();
    }
    std::sort(vecSkews.begin(), vecSkews.end());
    phase.nSamples = static_cast<long long>(vecSkews.size());
    if (!vecSkews.empty()) {
        phase.dMaxSkewMs = vecSkews.back();
        phase.dP95SkewMs = vecSkews[std::min(vecSkews.size() - 1, vecSkews.size() * 95 / 100)];
    }
    phase.bOk = true;
    return phase;
}

bool SyncBench::RunPeer(bool bRealTime, double* pdWallSeconds, double* pdCpuPercent) const {
    const CpuMeter cpu(CpuMeter::Who::Children);
    const auto start = Clock::now();
    std::vector<std::unique_ptr<QProcess>> procs;
    for (const QString& strFile : m_lstFiles) {
        QStringList args{"-hide_banner", "-loglevel", "error", "-nostdin"};
        if (bRealTime)
            args << "-re";
        args << "-t" << QString::number(m_nSeconds) << "-i" << strFile << "-an" << "-f" << "null" << "-";
        auto pProc = std::make_unique<QProcess>();
        pProc->start("ffmpeg", args);
        if (!pProc->waitForStarted(10000))
            return false;
        procs.push_back(std::move(pProc));
    }
    bool bOk = true;
    for (auto& pProc : procs)
        bOk = pProc->waitForFinished(m_nSeconds * 4000 + 60000) && pProc->exitCode() == 0 && bOk;
    *pdWallSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    *pdCpuPercent = cpu.PercentOfOneCore();
    return bOk;
}

int SyncBench::Run() {
    const Phase unpaced = PlayGroup(false);
    const Phase real = PlayGroup(true);
    if (!unpaced.bOk || !real.bOk)
        return 1;
    double dPeerWall = 0.0, dPeerCpu = 0.0, dPeerRtWall = 0.0, dPeerRtCpu = 0.0;
    const bool bPeer = RunPeer(false, &dPeerWall, &dPeerCpu) && RunPeer(true, &dPeerRtWall, &dPeerRtCpu);
    const double dGroupSpeed = unpaced.dGroupSeconds / std::max(1e-6, unpaced.dWallSeconds);
    std::printf("members: %d\n", int(m_lstFiles.size()));
    std::printf("unpaced: %.1f s of group time in %.2f s\n", unpaced.dGroupSeconds, unpaced.dWallSeconds);
    if (bPeer)
        std::printf("peer (ffmpeg tool, the same spans side by side): %.2f s unpaced, %.1f %% of a core at their pace\n",
                    dPeerWall, dPeerRtCpu);
    std::printf("real time: %.1f s, %lld samples\n", real.dWallSeconds, real.nSamples);
    std::printf("unpaced_group_speed: %.2f\n", dGroupSpeed);
    if (bPeer)
        std::printf("unpaced_vs_peer: %.2f\n", (m_nSeconds / std::max(1e-6, dPeerWall)) > 0
                                                    ? dGroupSpeed / (m_nSeconds / std::max(1e-6, dPeerWall))
                                                    : 0.0);
    std::printf("frame_period_ms: %.1f\n", real.dMinPeriodMs);
    std::printf("max_skew_ms: %.1f\n", real.dMaxSkewMs);
    std::printf("p95_skew_ms: %.1f\n", real.dP95SkewMs);
    std::printf("max_skew_frame_periods: %.2f\n", real.dMaxSkewPeriods);
    std::printf("late_frames: %u\n", real.nLate);
    std::printf("cpu_percent: %.1f\n", real.dCpuPercent);
    if (bPeer)
        std::printf("cpu_vs_peer: %.2f\n", real.dCpuPercent / std::max(1e-6, dPeerRtCpu));
    return 0;
}
