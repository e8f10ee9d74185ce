#include "StreamBench.h"

#include "ClockStamp.h"
#include "CpuMeter.h"
#include "Median.h"
#include "PeerProcess.h"

#include "Orvel.h"
#include "Tavrix.h"

#include <QElapsedTimer>
#include <QProcess>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

const uint32_t kSourceBufferBytes = 18432000; // what a play window gives a stream
const uint32_t kDisplayBuffers = 15;

int64_t EpochMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

const char* ModeName(int nMode) {
    return nMode == 1 ? "udp" : nMode == 2 ? "http" : "tcp";
}

double Percentile(std::vector<double> values, double dFraction) {
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    const size_t nAt = std::min(values.size() - 1, size_t(dFraction * (values.size() - 1) + 0.5));
    return values[nAt];
}

// One live viewer: a port in stream mode fed by one session, the way a play
// window feeds it (the media information block opens the stream, the
// multiplexed blocks go in as they come).
class LiveViewer {
public:
    LiveViewer(std::string strUrl, int nMode) : m_strUrl(std::move(strUrl)), m_nMode(nMode) {}
    ~LiveViewer() { Stop(); }

    bool Start(Clock::time_point t0, QString* pstrError) {
        m_t0 = t0;
        if (!Tavrix_GetPort(&m_nPort)) {
            *pstrError = "no engine port";
            return false;
        }
        Tavrix_SetStreamOpenMode(m_nPort, TAVRIX_STREAM_REALTIME);
        Tavrix_SetDisplayCallBackEx(m_nPort, &LiveViewer::OnDisplay, this);
        Tavrix_Play(m_nPort, 0); // names no window; play starts when the stream opens
        m_nSession = Orvel_Create(m_strUrl.c_str(), 0);
        if (m_nSession < 0) {
            *pstrError = "the session library refused the address";
            return false;
        }
        if (m_strUrl.compare(0, 7, "rtsp://") == 0)
            Orvel_SetTransmitMode(m_nSession, m_nMode, 0);
        Orvel_SetMsgCallBack(m_nSession, &LiveViewer::OnMessage, this);
        const int32_t nErr = Orvel_Open(m_nSession, &LiveViewer::OnData, this);
        if (nErr != ORVEL_OK) {
            *pstrError = QString("the stream did not open (code 0x%1)").arg(uint32_t(nErr), 8, 16, QChar('0'));
            return false;
        }
        return true;
    }

    void Stop() {
        if (m_nSession >= 0) {
            Orvel_Close(m_nSession);
            Orvel_Destroy(m_nSession);
            m_nSession = -1;
        }
        if (m_nPort >= 0) {
            Tavrix_GetStreamStats(m_nPort, &m_stats);
            Tavrix_GetPictureSize(m_nPort, &m_nWidth, &m_nHeight);
            Tavrix_CloseStream(m_nPort);
            Tavrix_FreePort(m_nPort);
            m_nPort = -1;
        }
    }

    // Readings, after Stop.
    bool Shown() const { return m_nShown.load() > 0; }
    double FirstFrameMs() const { return m_dFirstMs.load(); }
    double ShowingSeconds() const {
        return std::chrono::duration<double>(m_tLast.load() - m_tFirst.load()).count();
    }
    uint32_t ShownCount() const { return m_nShown.load(); }
    const TAVRIX_STREAM_STATS& Stats() const { return m_stats; }
    bool Ended() const { return m_bEnded.load(); }
    int Width() const { return m_nWidth; }
    int Height() const { return m_nHeight; }
    std::vector<double> Latencies() const {
        std::lock_guard<std::mutex> lock(m_mtx);
        return m_vecLatencyMs;
    }

private:
    static void OnDisplay(TAVRIX_DISPLAY_INFO* pInfo) {
        auto* pSelf = static_cast<LiveViewer*>(pInfo->nUser);
        const Clock::time_point now = Clock::now();
        const int64_t nNowMs = EpochMs();
        if (pSelf->m_nShown.fetch_add(1) == 0) {
            pSelf->m_tFirst = now;
            pSelf->m_dFirstMs = std::chrono::duration<double, std::milli>(now - pSelf->m_t0).count();
        }
        pSelf->m_tLast = now;
        int64_t nStampMs = 0;
        double dLatencyMs = 0.0;
        if (ClockStamp::Read(reinterpret_cast<const uint8_t*>(pInfo->pBuf), pInfo->nWidth, pInfo->nHeight,
                             pInfo->nWidth, &nStampMs) &&
            ClockStamp::Latency(nStampMs, nNowMs, &dLatencyMs)) {
            std::lock_guard<std::mutex> lock(pSelf->m_mtx);
            pSelf->m_vecLatencyMs.push_back(dLatencyMs);
        }
    }

    static void OnData(int32_t /*nSession*/, int32_t nType, char* pBuf, int32_t nLen, void* pUser) {
        auto* pSelf = static_cast<LiveViewer*>(pUser);
        if (nType == ORVEL_DATA_MEDIAINFO && !pSelf->m_bOpened && nLen >= 6) {
            TAVRIX_MEDIA_HEADER header{};
            std::memcpy(header.szMagic, "QVDM", 4);
            header.nVersion = 0x0101;
            uint16_t nFormats[3];
            std::memcpy(nFormats, pBuf, sizeof(nFormats));
            header.nSystemFormat = nFormats[0];
            header.nVideoFormat = nFormats[1];
            header.nAudioFormat = nFormats[2];
            header.nHasMedia = 1;
            pSelf->m_bOpened =
                Tavrix_OpenStream(pSelf->m_nPort, reinterpret_cast<const char*>(&header), sizeof(header),
                                  kSourceBufferBytes) &&
                Tavrix_SetDisplayBuf(pSelf->m_nPort, kDisplayBuffers) && Tavrix_Play(pSelf->m_nPort, 0);
        } else if (nType == ORVEL_DATA_MULTI && pSelf->m_bOpened) {
            Tavrix_InputData(pSelf->m_nPort, pBuf, uint32_t(nLen));
        }
    }

    static void OnMessage(int32_t /*nSession*/, int32_t nType, char* /*pContent*/, int32_t /*nLen*/,
                          void* pUser) {
        if (nType == ORVEL_MSG_STREAM_END || nType == ORVEL_MSG_STREAM_FAIL)
            static_cast<LiveViewer*>(pUser)->m_bEnded = true;
    }

    const std::string m_strUrl;
    const int m_nMode;
    int32_t m_nPort = -1;
    int32_t m_nSession = -1;
    bool m_bOpened = false; // the session's thread only
    Clock::time_point m_t0;
    std::atomic<uint32_t> m_nShown{0};
    std::atomic<double> m_dFirstMs{0.0};
    std::atomic<Clock::time_point> m_tFirst{Clock::time_point()};
    std::atomic<Clock::time_point> m_tLast{Clock::time_point()};
    std::atomic<bool> m_bEnded{false};
    mutable std::mutex m_mtx;
    std::vector<double> m_vecLatencyMs; // guarded by m_mtx
    TAVRIX_STREAM_STATS m_stats{};
    int32_t m_nWidth = 0;
    int32_t m_nHeight = 0;
};

QStringList PeerInput(const QString& strUrl, int nMode) {
    QStringList args{"-hide_banner", "-loglevel", "error", "-nostdin"};
    if (strUrl.startsWith("rtsp://"))
        args << "-rtsp_transport" << ModeName(nMode);
    args << "-i" << strUrl;
    return args;
}

// The ffmpeg tool reading the same source to raw grey pictures; each picture's
// stamp is read when it arrives on the pipe.
std::vector<double> PeerLatencies(const QString& strUrl, int nMode, int nSeconds, int nWidth, int nHeight) {
    std::vector<double> vecMs;
    // The ffmpeg tool's own low-latency reading: no input buffering, no frame delay.
    QStringList args = PeerInput(strUrl, nMode);
    args.insert(args.indexOf("-i"), "-fflags");
    args.insert(args.indexOf("-i"), "nobuffer");
    args.insert(args.indexOf("-i"), "-flags");
    args.insert(args.indexOf("-i"), "low_delay");
    args << "-t" << QString::number(nSeconds) << "-an" << "-f" << "rawvideo" << "-pix_fmt" << "gray" << "-";
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.start("ffmpeg", args);
    if (!process.waitForStarted(10000))
        return vecMs;
    const qint64 nFrameBytes = qint64(nWidth) * nHeight;
    QByteArray pending;
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < (nSeconds + 15) * 1000LL) {
        if (!process.waitForReadyRead(200) && process.state() == QProcess::NotRunning)
            break;
        pending += process.readAllStandardOutput();
        while (pending.size() >= nFrameBytes) {
            int64_t nStampMs = 0;
            double dMs = 0.0;
            if (ClockStamp::Read(reinterpret_cast<const uint8_t*>(pending.constData()), nWidth, nHeight, nWidth,
                                 &nStampMs) &&
                ClockStamp::Latency(nStampMs, EpochMs(), &dMs))
                vecMs.push_back(dMs);
            pending.remove(0, int(nFrameBytes));
        }
    }
    process.kill();
    process.waitForFinished(5000);
    return vecMs;
}

} // namespace

bool ParseStreamOptions(const QStringList& args, StreamOptions* pOptions) {
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == "--no-peer") {
            pOptions->bPeer = false;
            continue;
        }
        bool bOk = i + 1 < args.size();
        const int nValue = bOk ? args[i + 1].toInt(&bOk) : 0;
        if (!bOk)
            return false;
        if (args[i] == "--mode" && nValue >= 0 && nValue <= 2)
            pOptions->nMode = nValue;
        else if (args[i] == "--ports" && nValue >= 1 && nValue <= TAVRIX_MAX_PORTS)
            pOptions->nPorts = nValue;
        else if (args[i] == "--seconds" && nValue >= 1)
            pOptions->nSeconds = nValue;
        else
            return false;
        ++i;
    }
    return true;
}

int RunStream(const QString& strUrl, const StreamOptions& options) {
    std::vector<std::unique_ptr<LiveViewer>> viewers;
    const CpuMeter cpu(CpuMeter::Who::Self);
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < options.nPorts; ++i) {
        viewers.push_back(std::make_unique<LiveViewer>(strUrl.toStdString(), options.nMode));
        QString strError;
        if (!viewers.back()->Start(Clock::now(), &strError)) {
            std::fprintf(stderr, "velquin-bench: %s: %s\n", qPrintable(strUrl), qPrintable(strError));
            return 1;
        }
    }
    const Clock::time_point deadline = start + std::chrono::seconds(options.nSeconds);
    while (Clock::now() < deadline) {
        const bool bAllEnded = std::all_of(viewers.begin(), viewers.end(), [](const auto& p) { return p->Ended(); });
        if (bAllEnded)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(50)); // a polling period, not a synchronisation
    }
    const double dCpuPercent = cpu.PercentOfOneCore();
    const Clock::time_point tStop = Clock::now();
    for (auto& pViewer : viewers)
        pViewer->Stop();
    const double dStopMs = std::chrono::duration<double, std::milli>(Clock::now() - tStop).count();
    const double dPeakRssMb = CpuMeter::PeakRssMb();

    std::vector<double> vecFirst, vecLatency;
    double dFpsSum = 0.0;
    uint64_t nLate = 0, nRefused = 0;
    int nShowing = 0, nWidth = 0, nHeight = 0;
    for (auto& pViewer : viewers) {
        nLate += pViewer->Stats().nLateFrames;
        nRefused += pViewer->Stats().nRefusedBytes;
        if (!pViewer->Shown())
            continue;
        ++nShowing;
        vecFirst.push_back(pViewer->FirstFrameMs());
        const double dSeconds = pViewer->ShowingSeconds();
        if (dSeconds > 0)
            dFpsSum += (pViewer->ShownCount() - 1) / dSeconds;
        const std::vector<double> vecOne = pViewer->Latencies();
        vecLatency.insert(vecLatency.end(), vecOne.begin(), vecOne.end());
        nWidth = pViewer->Width();
        nHeight = pViewer->Height();
    }
    std::printf("url: %s\nmode: %s\nports: %d\nseconds: %d\n", qPrintable(strUrl), ModeName(options.nMode),
                options.nPorts, options.nSeconds);
    if (nShowing < options.nPorts) {
        std::fprintf(stderr, "velquin-bench: %d of %d ports showed no picture\n", options.nPorts - nShowing,
                     options.nPorts);
        return 1;
    }
    const double dFirstMs = Median(vecFirst);
    std::printf("size: %dx%d\nfirst_frame_ms: %.1f\nfirst_frame_max_ms: %.1f\nfps: %.2f\nlate_frames: %llu\n"
                "refused_bytes: %llu\ncpu_percent: %.1f\npeak_rss_mb: %.1f\nclose_all_ms: %.1f\n",
                nWidth, nHeight, dFirstMs, *std::max_element(vecFirst.begin(), vecFirst.end()),
                dFpsSum / nShowing, static_cast<unsigned long long>(nLate),
                static_cast<unsigned long long>(nRefused), dCpuPercent, dPeakRssMb, dStopMs);
    const bool bStamped = vecLatency.size() > 10;
    if (bStamped)
        std::printf("latency_median_ms: %.1f\nlatency_p95_ms: %.1f\n", Median(vecLatency),
                    Percentile(vecLatency, 0.95));
    if (!options.bPeer)
        return 0;

    const PeerProcess::Result peer =
        PeerProcess("ffmpeg", PeerInput(strUrl, options.nMode) << "-frames:v" << "1" << "-f" << "null" << "-")
            .Run(30000);
    if (!peer.bOk) {
        std::fprintf(stderr, "velquin-bench: %s\n", qPrintable(peer.strError));
        return 1;
    }
    std::printf("ffmpeg_first_frame_ms: %.1f\n", peer.dMs);
    if (bStamped) {
        const std::vector<double> vecPeer =
            PeerLatencies(strUrl, options.nMode, std::min(options.nSeconds, 10), nWidth, nHeight);
        if (vecPeer.size() > 10) {
            std::printf("ffmpeg_latency_median_ms: %.1f\nlatency_ratio: %.3f\n", Median(vecPeer),
                        Median(vecPeer) > 0 ? Median(vecLatency) / Median(vecPeer) : 0.0);
        }
    }
    std::printf("first_frame_ratio: %.3f\n", peer.dMs > 0 ? dFirstMs / peer.dMs : 0.0);
    return 0;
}
