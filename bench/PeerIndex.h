// ffprobe counting the video packets of the same file, as the yardstick for
// the engine's frame index: both read the whole file's packets without decoding.
#pragma once

#include <QString>

class PeerIndex {
public:
    struct Result {
        bool bOk = false;
        QString strError;
        double dMs = 0.0;
        qint64 nPackets = 0;
    };

    explicit PeerIndex(QString strFile);
    Result Run() const;

private:
    QString m_strFile;
};
