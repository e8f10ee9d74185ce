// mpv playing the same file backwards in real time, as the yardstick for the
// engine's reverse play: wall time of the run and the tool's peak memory.
// mpv runs with --play-dir=backward from the end (--start=100%) down to
// --end (playing backwards, it stops once it passes that time), pictures only.
// Its seconds leave out opening: the median of three runs that stop after the
// first (last) picture is subtracted, as the engine's time starts with the last
// frame on screen.
#pragma once

#include <QString>

class PeerReverse {
public:
    struct Result {
        bool bOk = false;
        QString strError;
        double dSeconds = 0.0;     // backward play alone
        double dOpenSeconds = 0.0; // opening and showing the last frame, left out of dSeconds
        double dPeakRssMb = 0.0;
    };

    // dEndSeconds: where backward play stops, in seconds from the first frame; 0 plays to the start.
    PeerReverse(QString strFile, double dEndSeconds);
    // The peak memory is the largest child this process has waited for (getrusage of
    // RUSAGE_CHILDREN), so it is mpv's only if no larger tool ran before it.
    Result Run() const;

private:
    // Wall time of one backward run, -1 on failure; nFrames 0 runs to --end.
    double RunMs(int nFrames, QString& strError) const;

    QString m_strFile;
    double m_dEndSeconds;
};
