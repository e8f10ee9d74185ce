// velquin-bench snapshot: the time from asking for a snapshot of a paused
// picture to its file being closed, beside the ffmpeg tool writing the same
// frame as PNG and as JPEG.
#pragma once

#include <QString>

class SnapshotBench {
public:
    SnapshotBench(QString strFile, bool bJpeg, int nCount);
    int Run();

private:
    QString m_strFile;
    bool m_bJpeg;
    int m_nCount;
};
