#include "SnapshotBench.h"

#include "Median.h"
#include "PeerProcess.h"
#include "Tavrix.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <vector>

namespace {
using Clock = std::chrono::steady_clock;
constexpr int kPeerTimeoutMs = 60000;

// The first picture shown, so the port can be paused on it.
struct FirstShown {
    std::mutex mtx;
    std::condition_variable cv;
    bool bShown = false; // guarded by mtx

    static void Callback(TAVRIX_DISPLAY_INFO* pInfo) {
        auto* pSelf = static_cast<FirstShown*>(pInfo->nUser);
        std::lock_guard<std::mutex> lock(pSelf->mtx);
        pSelf->bShown = true;
        pSelf->cv.notify_all();
    }
    bool Wait(std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> lock(mtx);
        return cv.wait_for(lock, timeout, [this] { return bShown; });
    }
};

double MsSince(Clock::time_point tStart) {
    return std::chrono::duration<double, std::milli>(Clock::now() - tStart).count();
}
} // namespace

SnapshotBench::SnapshotBench(QString strFile, bool bJpeg, int nCount)
    : m_strFile(std::move(strFile)), m_bJpeg(bJpeg), m_nCount(nCount) {}

int SnapshotBench::Run() {
    QTemporaryDir dir;
    int32_t nPort = -1;
    FirstShown first;
    if (!dir.isValid() || !Tavrix_GetPort(&nPort)) {
        std::fprintf(stderr, "velquin-bench: no port or no temporary folder\n");
        return 1;
    }
    if (!Tavrix_SetDisplayCallBackEx(nPort, &FirstShown::Callback, &first) ||
        !Tavrix_OpenFile(nPort, QFile::encodeName(m_strFile).constData()) || !Tavrix_Play(nPort, 0) ||
        !first.Wait(std::chrono::seconds(20)) || !Tavrix_Pause(nPort, 1)) {
        std::fprintf(stderr, "velquin-bench: cannot play %s (engine error %u)\n", qPrintable(m_strFile),
                     Tavrix_GetLastError(nPort));
        Tavrix_FreePort(nPort);
        return 1;
    }
    const uint32_t nFrame = Tavrix_GetCurrentFrameNum(nPort);
    int32_t nWidth = 0, nHeight = 0;
    Tavrix_GetPictureSize(nPort, &nWidth, &nHeight);

    // Ours: the snapshot into memory, then the file written and closed.
    auto snap = m_bJpeg ? Tavrix_GetJPEG : Tavrix_GetBMP;
    std::vector<char> vecBuf(size_t(nWidth) * size_t(nHeight) * 3 + 4096);
    std::vector<double> vecOurs;
    size_t nBytes = 0;
    const QString strOurs = dir.filePath(m_bJpeg ? "ours.jpg" : "ours.bmp");
    for (int i = 0; i < m_nCount; ++i) {
        const Clock::time_point tStart = Clock::now();
        uint32_t nSize = 0;
        if (!snap(nPort, vecBuf.data(), uint32_t(vecBuf.size()), &nSize)) {
            std::fprintf(stderr, "velquin-bench: snapshot failed (engine error %u)\n",
                         Tavrix_GetLastError(nPort));
            Tavrix_FreePort(nPort);
            return 1;
        }
        std::FILE* pFile = std::fopen(QFile::encodeName(strOurs).constData(), "wb");
        const bool bWritten = pFile != nullptr && std::fwrite(vecBuf.data(), 1, nSize, pFile) == nSize;
        if (pFile == nullptr || std::fclose(pFile) != 0 || !bWritten) {
            std::fprintf(stderr, "velquin-bench: cannot write %s\n", qPrintable(strOurs));
            Tavrix_FreePort(nPort);
            return 1;
        }
        vecOurs.push_back(MsSince(tStart));
        nBytes = nSize;
    }
    Tavrix_CloseFile(nPort);
    Tavrix_FreePort(nPort);

    // The ffmpeg tool: decode up to the same frame and write it, one process each.
    const QString strSelect = QString("select=eq(n\\,%1)").arg(nFrame);
    auto peer = [&](const char* szName) {
        std::vector<double> vecMs;
        for (int i = 0; i < m_nCount; ++i) {
            const PeerProcess::Result result =
                PeerProcess("ffmpeg", {"-hide_banner", "-loglevel", "error", "-nostdin", "-y", "-i",
                                       m_strFile, "-an", "-vf", strSelect, "-fps_mode", "passthrough",
                                       "-frames:v", "1", "-q:v", "2", dir.filePath(szName)})
                    .Run(kPeerTimeoutMs);
            if (!result.bOk) {
                std::fprintf(stderr, "velquin-bench: ffmpeg: %s\n", qPrintable(result.strError));
                return -1.0;
            }
            vecMs.push_back(result.dMs);
        }
        return Median(vecMs);
    };
    const double dOurs = Median(vecOurs);
    const double dPng = peer("peer.png");
    const double dJpeg = peer("peer.jpg");
    if (dPng < 0 || dJpeg < 0) {
        return 1;
    }
    std::printf("picture: %dx%d frame %u\n", nWidth, nHeight, nFrame);
    std::printf("format: %s\nbytes: %zu\ncount: %d\n", m_bJpeg ? "jpeg" : "bmp", nBytes, m_nCount);
    std::printf("ours_ms: %.2f\nffmpeg_png_ms: %.2f\nffmpeg_jpeg_ms: %.2f\n", dOurs, dPng, dJpeg);
    std::printf("ratio_to_png: %.3f\nratio_to_jpeg: %.3f\n", dPng > 0 ? dOurs / dPng : 0.0,
                dJpeg > 0 ? dOurs / dJpeg : 0.0);
    return 0;
}
