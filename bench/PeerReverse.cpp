#include "PeerReverse.h"

#include "Median.h"
#include "PeerProcess.h"

#include <sys/resource.h>

#include <algorithm>
#include <vector>

namespace {
// A backward run of a long clip in real time takes as long as the clip; a hang still ends.
const int kRunTimeoutMs = 2 * 60 * 60 * 1000;
const int kOpenRuns = 3;
} // namespace

PeerReverse::PeerReverse(QString strFile, double dEndSeconds)
    : m_strFile(std::move(strFile)), m_dEndSeconds(dEndSeconds) {}

PeerReverse::Result PeerReverse::Run() const {
    Result result;
    std::vector<double> vecOpenMs;
    for (int i = 0; i < kOpenRuns; ++i) {
        vecOpenMs.push_back(RunMs(1, result.strError));
        if (vecOpenMs.back() < 0)
            return result;
    }
    const double dMs = RunMs(0, result.strError);
    if (dMs < 0)
        return result;
    rusage usage{};
    if (getrusage(RUSAGE_CHILDREN, &usage) != 0) {
        result.strError = "getrusage of the children failed";
        return result;
    }
    result.dOpenSeconds = Median(vecOpenMs) / 1000.0;
    result.dSeconds = std::max(0.0, dMs / 1000.0 - result.dOpenSeconds);
    result.dPeakRssMb = usage.ru_maxrss / 1024.0; // ru_maxrss is in KiB on Linux
    result.bOk = true;
    return result;
}

double PeerReverse::RunMs(int nFrames, QString& strError) const {
    QStringList args{"--no-config", "--really-quiet",      "--vo=null",   "--ao=null",
                     "--aid=no",    "--play-dir=backward", "--start=100%"};
    if (nFrames > 0)
        args << "--frames=" + QString::number(nFrames);
    else if (m_dEndSeconds > 0)
        args << "--end=" + QString::number(m_dEndSeconds, 'f', 3);
    args << m_strFile;
    const PeerProcess::Result run = PeerProcess("mpv", args).Run(kRunTimeoutMs);
    if (!run.bOk) {
        strError = run.strError;
        return -1.0;
    }
    return run.dMs;
}
