// The ffmpeg tool decoding the same file as the engine, as the yardstick:
// N copies at once, timed together.
#pragma once

#include <QString>

class PeerDecode {
public:
    struct Result {
        bool bOk = false;
        QString strError;
        qint64 nFrames = 0;       // over all copies
        double dSeconds = 0.0;    // wall time until the last copy finished
        double dCpuPercent = 0.0; // of one core, over that wall time
        double Fps() const { return dSeconds > 0 ? nFrames / dSeconds : 0.0; }
    };

    // nThreads 0 lets the tool choose, as FFmpeg's decoders do by default.
    PeerDecode(QString strFile, int nThreads, int nCopies);
    Result Run() const;

private:
    // The frame count of the tool's last progress line, -1 if none.
    static qint64 FramesFromLog(const QByteArray& log);

    QString m_strFile;
    int m_nThreads;
    int m_nCopies;
};
