// Lock-step play of several recordings as one group: unpaced, how fast the
// group gets through its time against the ffmpeg tool decoding the same
// spans side by side; in real time, how far each member's shown frame is
// from the group's time at every tick, late frames and the processor share
// against the ffmpeg tool decoding the same spans at their own pace.
#pragma once

#include <QString>
#include <QStringList>

class SyncBench {
public:
    SyncBench(QStringList lstFiles, int nSeconds);
    // Prints the figures, last lines "name: value"; 0 on success.
    int Run();

private:
    struct Phase {
        bool bOk = false;
        double dWallSeconds = 0.0;  // for the group's span
        double dGroupSeconds = 0.0; // of group time played
        double dMaxSkewMs = 0.0;
        double dP95SkewMs = 0.0;
        long long nSamples = 0;
        unsigned nLate = 0;
        double dCpuPercent = 0.0;
        double dMinPeriodMs = 0.0; // the shortest frame period among the members
        double dMaxSkewPeriods = 0.0; // the largest skew in frame periods of its own member
    };
    Phase PlayGroup(bool bRealTime) const;
    // The ffmpeg tool on each file's first nSeconds, all at once; bRealTime
    // reads at the native pace (-re). Wall seconds and processor share.
    bool RunPeer(bool bRealTime, double* pdWallSeconds, double* pdCpuPercent) const;

    QStringList m_lstFiles;
    int m_nSeconds;
};
