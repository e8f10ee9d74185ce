// Continuous capture of every frame of a file played in real time: the
// process's processor share with JPEG and with BMP pictures against plain
// play, and against the ffmpeg tool writing every frame of the same span as
// JPEG.
#pragma once

#include <QString>

class ConCapBench {
public:
    ConCapBench(QString strFile, int nSeconds);
    // Prints the figures, last lines "name: value"; 0 on success.
    int Run();

private:
    struct Phase {
        bool bOk = false;
        double dCpuPercent = 0.0; // of one core, over play and the writing that follows it
        double dSeconds = 0.0;    // wall time of play and writing
        long long nShown = 0;     // frames the callback saw
        long long nPosted = 0;    // pictures queued for the worker
        long long nWritten = 0;
        long long nFailed = 0;
        unsigned nLate = 0; // the engine's late frames
        bool bCapture = false;
    };
    // nFormat -1 plays without capture; 0 BMP, 1 JPEG.
    Phase RunPhase(int nFormat) const;

    QString m_strFile;
    int m_nSeconds;
};
