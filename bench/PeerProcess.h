// One run of a peer tool (mpv, the ffmpeg tool, ffprobe) with an argument
// list, timed from start to exit. No shell is involved.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

class PeerProcess {
public:
    struct Result {
        bool bOk = false; // started, exited normally with status 0
        QString strError;
        double dMs = 0.0; // wall time from start to exit
        QByteArray stdOut;
    };

    PeerProcess(QString strProgram, QStringList args);
    // Gives up (and kills the tool) after nTimeoutMs.
    Result Run(int nTimeoutMs) const;

private:
    QString m_strProgram;
    QStringList m_args;
};
