#include "PeerSeek.h"

#include "Median.h"
#include "PeerProcess.h"

#include <algorithm>

namespace {
const int kRunTimeoutMs = 120000;
const int kOpenRuns = 3;

QString Seconds(double dSeconds) {
    return QString::number(dSeconds, 'f', 6);
}

// Seek costs below the opening cost are noise around zero, not gains.
double SeekCost(double dRunMs, double dOpenMs) {
    return std::max(0.0, dRunMs - dOpenMs);
}
} // namespace

PeerSeek::PeerSeek(QString strFile) : m_strFile(std::move(strFile)) {}

PeerSeek::Result PeerSeek::Run(const std::vector<double>& vecSeconds) const {
    Result result;
    QString strMpvError, strFfmpegError;
    result.dMpvMedianMs = MedianSeekMs(true, vecSeconds, &result.dMpvOpenMs, strMpvError);
    result.bMpvOk = result.dMpvMedianMs >= 0;
    result.dFfmpegMedianMs = MedianSeekMs(false, vecSeconds, &result.dFfmpegOpenMs, strFfmpegError);
    result.bFfmpegOk = result.dFfmpegMedianMs >= 0;
    result.strError = (strMpvError + "\n" + strFfmpegError).trimmed();
    return result;
}

double PeerSeek::MedianSeekMs(bool bMpv, const std::vector<double>& vecSeconds, double* pdOpenMs,
                              QString& strError) const {
    // An opening run beside every seek run: on a busy machine a few opening
    // runs alone can all land in one burst of load, and their median would
    // then swallow the seek costs.
    std::vector<double> vecOpenMs;
    if (OpenMs(bMpv, strError) < 0) // warms the file cache and the program's libraries
        return -1.0;
    std::vector<double> vecRunMs;
    for (double dSeconds : vecSeconds) {
        const double dOpenMs = bMpv ? MpvMs(0.0, strError) : FfmpegMs(0.0, strError);
        const double dMs = bMpv ? MpvMs(dSeconds, strError) : FfmpegMs(dSeconds, strError);
        if (dOpenMs < 0 || dMs < 0)
            return -1.0;
        vecOpenMs.push_back(dOpenMs);
        vecRunMs.push_back(dMs);
    }
    *pdOpenMs = Median(vecOpenMs);
    std::vector<double> vecCosts;
    for (double dMs : vecRunMs)
        vecCosts.push_back(SeekCost(dMs, *pdOpenMs));
    return Median(vecCosts);
}

double PeerSeek::MpvMs(double dSeconds, QString& strError) const {
    const PeerProcess mpv("mpv", {"--no-config", "--really-quiet", "--vo=null", "--ao=null", "--aid=no",
                                  "--hr-seek=yes", "--start=" + Seconds(dSeconds), "--frames=1", m_strFile});
    const PeerProcess::Result run = mpv.Run(kRunTimeoutMs);
    if (!run.bOk) {
        strError = run.strError;
        return -1.0;
    }
    return run.dMs;
}

double PeerSeek::FfmpegMs(double dSeconds, QString& strError) const {
    const PeerProcess ffmpeg("ffmpeg",
                             {"-hide_banner", "-nostdin", "-loglevel", "error", "-ss", Seconds(dSeconds),
                              "-i", m_strFile, "-frames:v", "1", "-an", "-f", "null", "-"});
    const PeerProcess::Result run = ffmpeg.Run(kRunTimeoutMs);
    if (!run.bOk) {
        strError = run.strError;
        return -1.0;
    }
    return run.dMs;
}

double PeerSeek::OpenMs(bool bMpv, QString& strError) const {
    std::vector<double> vecRuns;
    for (int i = 0; i < kOpenRuns; ++i) {
        const double dMs = bMpv ? MpvMs(0.0, strError) : FfmpegMs(0.0, strError);
        if (dMs < 0)
            return -1.0;
        vecRuns.push_back(dMs);
    }
    return Median(vecRuns);
}
