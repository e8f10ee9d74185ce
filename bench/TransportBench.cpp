#include "TransportBench.h"

#include "CpuMeter.h"
#include "Median.h"
#include "PeerIndex.h"
#include "PeerReverse.h"
#include "PeerSeek.h"

#include <QFile>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {
using Clock = BenchPort::Clock;

// Building the index of a long recording reads the whole file; a hang still ends.
const auto kIndexLimit = std::chrono::minutes(30);
// One jump or step: the engine shows the target, or the nearest picture it
// can decode, well within this; only a lost frame hits it.
const auto kFrameLimit = std::chrono::seconds(10);
// The peers' seek target sits this far before the frame's time so that rounding
// of the millisecond stamp cannot make them land on the next frame.
const double kSeekLeadMs = 5.0;

double Ms(Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

void PrintRatio(const char* szName, double dOurs, double dTheirs) {
    if (dTheirs > 0)
        std::printf("%s: %.3f\n", szName, dOurs / dTheirs);
    else
        std::printf("%s: n/a\n", szName);
}

// How long after its due time each frame showed, in either direction: due
// times count from the first shown frame by the distance of stamps.
std::vector<double> LatenessMs(const std::vector<BenchPort::Shown>& frames) {
    std::vector<double> vecMs;
    for (const BenchPort::Shown& shown : frames) {
        const double dDueMs = std::abs(shown.nStampMs - frames.front().nStampMs);
        vecMs.push_back(Ms(shown.wallTime - frames.front().wallTime) - dDueMs);
    }
    return vecMs;
}

// Frames shown more than one frame interval after they were due.
size_t LateFrames(const std::vector<BenchPort::Shown>& frames) {
    if (frames.size() < 2)
        return 0;
    std::vector<int32_t> steps;
    for (size_t i = 1; i < frames.size(); ++i)
        steps.push_back(std::abs(frames[i].nStampMs - frames[i - 1].nStampMs));
    std::nth_element(steps.begin(), steps.begin() + steps.size() / 2, steps.end());
    const double dIntervalMs = std::max(1, steps[steps.size() / 2]);
    const std::vector<double> vecLateMs = LatenessMs(frames);
    return static_cast<size_t>(std::count_if(vecLateMs.begin(), vecLateMs.end(),
                                             [dIntervalMs](double d) { return d > dIntervalMs; }));
}
} // namespace

TransportBench::TransportBench(QString strFile, bool bPeer) : m_strFile(std::move(strFile)), m_bPeer(bPeer) {}

int TransportBench::Fail(const char* szWhat, const BenchPort& port) const {
    std::fprintf(stderr, "velquin-bench: %s %s (engine error %u)\n", szWhat, qPrintable(m_strFile),
                 port.LastError());
    return 1;
}

bool TransportBench::OpenPaused(BenchPort& port) {
    port.SetHashPictures(true);
    if (!port.Open(QFile::encodeName(m_strFile).toStdString())) {
        Fail("cannot open", port);
        return false;
    }
    if (!port.WaitForIndex(Clock::now() + kIndexLimit)) {
        std::fprintf(stderr, "velquin-bench: no frame index for %s\n", qPrintable(m_strFile));
        return false;
    }
    // A port pauses only while it runs: play in real time up to the first picture.
    if (!port.Play(true) || !port.WaitForFrames(1, Clock::now() + kFrameLimit) || !port.Pause(true)) {
        Fail("cannot play and pause", port);
        return false;
    }
    return true;
}

bool TransportBench::ShowFrame(BenchPort& port, uint32_t nFrameNum, BenchPort::Shown* pShown, double* pdMs) {
    const size_t nFirst = port.FrameCount();
    const Clock::time_point start = Clock::now();
    if (!port.SeekFrame(nFrameNum)) {
        Fail("cannot jump in", port);
        return false;
    }
    m_dMaxCallMs = std::max(m_dMaxCallMs, Ms(Clock::now() - start));
    // The first picture after the jump is its answer: the target, or on a
    // damaged file the nearest picture that could be decoded. The caller
    // prints the number it has.
    if (!port.WaitForFrames(nFirst + 1, start + kFrameLimit)) {
        std::fprintf(stderr, "velquin-bench: no picture after the jump to frame %u of %s\n", nFrameNum,
                     qPrintable(m_strFile));
        return false;
    }
    *pShown = port.Frames()[nFirst];
    *pdMs = Ms(pShown->wallTime - start);
    return true;
}

int TransportBench::Seek(const std::vector<uint32_t>& vecFrames) {
    BenchPort port;
    if (!OpenPaused(port))
        return 1;
    // The peers count time from the first frame.
    const int32_t nOriginStampMs = port.Frames().front().nStampMs;
    const uint32_t nTotal = port.TotalFrames();
    std::vector<double> vecMs, vecSeconds;
    for (uint32_t nFrameNum : vecFrames) {
        if (nFrameNum >= nTotal) {
            std::fprintf(stderr, "velquin-bench: %s has %u frames, no frame %u\n", qPrintable(m_strFile),
                         nTotal, nFrameNum);
            return 1;
        }
        BenchPort::Shown shown;
        double dMs = 0.0;
        if (!ShowFrame(port, nFrameNum, &shown, &dMs))
            return 1;
        std::printf("%u,%s,%.1f\n", shown.nFrameNum, shown.strMd5.c_str(), dMs);
        std::fflush(stdout);
        vecMs.push_back(dMs);
        vecSeconds.push_back(std::max(0.0, (shown.nStampMs - nOriginStampMs - kSeekLeadMs) / 1000.0));
    }
    port.Close();
    const double dMedianMs = Median(vecMs);
    std::printf("median_ms: %.1f\nmax_call_ms: %.1f\n", dMedianMs, m_dMaxCallMs);
    if (!m_bPeer)
        return 0;
    std::fflush(stdout);
    const PeerSeek::Result peer = PeerSeek(m_strFile).Run(vecSeconds);
    if (!peer.strError.isEmpty())
        std::fprintf(stderr, "velquin-bench: %s\n", qPrintable(peer.strError));
    if (peer.bMpvOk)
        std::printf("mpv_open_ms: %.1f\nmpv_median_ms: %.1f\n", peer.dMpvOpenMs, peer.dMpvMedianMs);
    else
        std::printf("mpv_median_ms: n/a\n");
    if (peer.bFfmpegOk)
        std::printf("ffmpeg_open_ms: %.1f\nffmpeg_median_ms: %.1f\n", peer.dFfmpegOpenMs,
                    peer.dFfmpegMedianMs);
    else
        std::printf("ffmpeg_median_ms: n/a\n");
    PrintRatio("ratio", dMedianMs, peer.bMpvOk ? peer.dMpvMedianMs : 0.0);
    return peer.bMpvOk || peer.bFfmpegOk ? 0 : 1;
}

int TransportBench::StepBack(uint32_t nFrom, uint32_t nCount) {
    BenchPort port;
    if (!OpenPaused(port))
        return 1;
    if (nFrom >= port.TotalFrames()) {
        std::fprintf(stderr, "velquin-bench: %s has %u frames, no frame %u\n", qPrintable(m_strFile),
                     port.TotalFrames(), nFrom);
        return 1;
    }
    BenchPort::Shown shown;
    double dMs = 0.0;
    if (!ShowFrame(port, nFrom, &shown, &dMs))
        return 1;
    std::vector<double> vecMs;
    // Stepping back from frame 0 has nowhere to go: the steps stop there.
    for (uint32_t nFrameNum = nFrom; nFrameNum > 0 && vecMs.size() < nCount;) {
        --nFrameNum;
        const size_t nFirst = port.FrameCount();
        const Clock::time_point start = Clock::now();
        if (!port.StepBack())
            return Fail("cannot step back in", port);
        m_dMaxCallMs = std::max(m_dMaxCallMs, Ms(Clock::now() - start));
        if (!port.WaitForFrames(nFirst + 1, start + kFrameLimit)) {
            std::fprintf(stderr, "velquin-bench: stepping back never showed frame %u of %s\n", nFrameNum,
                         qPrintable(m_strFile));
            return 1;
        }
        shown = port.Frames()[nFirst];
        nFrameNum = shown.nFrameNum;
        dMs = Ms(shown.wallTime - start);
        std::printf("%u,%s,%.1f\n", nFrameNum, shown.strMd5.c_str(), dMs);
        std::fflush(stdout);
        vecMs.push_back(dMs);
    }
    port.Close();
    std::printf("median_ms: %.1f\nmax_call_ms: %.1f\n", Median(vecMs), m_dMaxCallMs);
    return 0;
}

int TransportBench::Reverse(double dSeconds) {
    BenchPort port;
    if (!OpenPaused(port))
        return 1;
    const int32_t nOriginStampMs = port.Frames().front().nStampMs;
    const uint32_t nTotal = port.TotalFrames();
    if (nTotal == 0)
        return Fail("no frames in", port);
    BenchPort::Shown last;
    double dMs = 0.0;
    if (!ShowFrame(port, nTotal - 1, &last, &dMs))
        return 1;
    // The run ends at the first frame at or before the target time: frame 0 for the whole file.
    const double dSpanMs = dSeconds > 0 ? dSeconds * 1000.0 : double(last.nStampMs - nOriginStampMs);
    const int32_t nTargetStampMs = std::max(nOriginStampMs, int32_t(last.nStampMs - dSpanMs));
    const auto limit = std::chrono::milliseconds(int64_t(dSpanMs) * 3) + kFrameLimit;

    const size_t nFirst = port.FrameCount();
    const Clock::time_point start = Clock::now();
    // Reverse play starts from the shown frame; un-pausing covers an engine that keeps the pause.
    if (!port.ReversePlay() || !port.Pause(false))
        return Fail("cannot play backwards", port);
    BenchPort::Shown end;
    const bool bReached = port.WaitForShown(
        nFirst,
        [nTargetStampMs](const BenchPort::Shown& shown) {
            return shown.nStampMs <= nTargetStampMs || shown.nFrameNum == 0;
        },
        start + limit, &end);
    const double dWallSeconds = Ms((bReached ? end.wallTime : Clock::now()) - start) / 1000.0;
    port.Pause(true);
    std::vector<BenchPort::Shown> frames = port.Frames();
    frames.erase(frames.begin(), frames.begin() + std::min(nFirst, frames.size()));
    // Frames shown after the end frame (before the pause took hold) are not part of the run.
    while (bReached && !frames.empty() && frames.back().wallTime > end.wallTime)
        frames.pop_back();
    port.Close();
    if (!bReached) {
        std::fprintf(stderr, "velquin-bench: backward play of %s stalled after %zu frames\n",
                     qPrintable(m_strFile), frames.size());
        return 1;
    }
    // The third field is how late the frame showed, to tell where late frames cluster.
    const std::vector<double> vecLateMs = LatenessMs(frames);
    for (size_t i = 0; i < frames.size(); ++i)
        std::printf("%u,%s,%.1f\n", frames[i].nFrameNum, frames[i].strMd5.c_str(), vecLateMs[i]);
    std::printf("frames: %zu\nseconds: %.3f\nfps: %.1f\nlate_frames: %zu\npeak_rss_mb: %.1f\n", frames.size(),
                dWallSeconds, dWallSeconds > 0 ? frames.size() / dWallSeconds : 0.0, LateFrames(frames),
                CpuMeter::PeakRssMb());
    if (!m_bPeer)
        return 0;
    std::fflush(stdout);
    const double dEndSeconds = (nTargetStampMs - nOriginStampMs) / 1000.0;
    const PeerReverse::Result peer = PeerReverse(m_strFile, dEndSeconds).Run();
    if (!peer.bOk) {
        std::fprintf(stderr, "velquin-bench: %s\n", qPrintable(peer.strError));
        return 1;
    }
    std::printf("mpv_open_seconds: %.3f\nmpv_seconds: %.3f\nmpv_peak_rss_mb: %.1f\n", peer.dOpenSeconds,
                peer.dSeconds, peer.dPeakRssMb);
    PrintRatio("ratio", dWallSeconds, peer.dSeconds);
    return 0;
}

int TransportBench::Index() {
    BenchPort port;
    if (!port.Open(QFile::encodeName(m_strFile).toStdString()))
        return Fail("cannot open", port);
    if (!port.WaitForIndex(Clock::now() + kIndexLimit)) {
        std::fprintf(stderr, "velquin-bench: no frame index for %s\n", qPrintable(m_strFile));
        return 1;
    }
    const double dIndexMs = Ms(port.IndexTime() - port.OpenTime());
    const uint32_t nFrames = port.TotalFrames();
    port.Close();
    std::printf("index_ms: %.1f\nframes: %u\n", dIndexMs, nFrames);
    if (!m_bPeer)
        return 0;
    std::fflush(stdout);
    const PeerIndex::Result peer = PeerIndex(m_strFile).Run();
    if (!peer.bOk) {
        std::fprintf(stderr, "velquin-bench: %s\n", qPrintable(peer.strError));
        return 1;
    }
    std::printf("ffprobe_ms: %.1f\nffprobe_frames: %lld\n", peer.dMs, peer.nPackets);
    PrintRatio("ratio", peer.dMs, dIndexMs);
    return 0;
}
