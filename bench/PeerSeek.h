// mpv and the ffmpeg tool seeking frame-exactly to the same frames as the
// engine. Neither keeps a file open between seeks from the command line, so
// each seek is one run showing one frame: the run with --start=T (mpv, with
// --hr-seek=yes) or -ss T (the ffmpeg tool, accurate seek) less the median of
// three runs from the start, which is what opening the file and showing the
// first picture costs. Pictures only: sound is turned off in both.
#pragma once

#include <QString>

#include <vector>

class PeerSeek {
public:
    // A tool that cannot seek in the file (mpv in some short transport streams)
    // leaves its figures out; the other still counts.
    struct Result {
        bool bMpvOk = false;
        bool bFfmpegOk = false;
        QString strError; // why a tool's figures are missing
        double dMpvMedianMs = 0.0;
        double dFfmpegMedianMs = 0.0;
        double dMpvOpenMs = 0.0;    // the run from the start, subtracted from each seek
        double dFfmpegOpenMs = 0.0; // the same for the ffmpeg tool
    };

    explicit PeerSeek(QString strFile);
    // vecSeconds: the target of each seek, in seconds from the first frame.
    Result Run(const std::vector<double>& vecSeconds) const;

private:
    // Wall time of one run to the picture at dSeconds, -1 on failure (error in strError).
    double MpvMs(double dSeconds, QString& strError) const;
    double FfmpegMs(double dSeconds, QString& strError) const;
    // Median of three runs from the start, -1 on failure.
    double OpenMs(bool bMpv, QString& strError) const;
    // The median seek cost of one tool over all targets, -1 on failure.
    double MedianSeekMs(bool bMpv, const std::vector<double>& vecSeconds, double* pdOpenMs,
                        QString& strError) const;

    QString m_strFile;
};
