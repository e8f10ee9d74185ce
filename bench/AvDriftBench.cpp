#include "AvDriftBench.h"

#include "AvDrift.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

int RunAvDrift(const QString& strFile) {
    // Set before the engine first opens sound in this process.
    ::setenv("SDL_AUDIODRIVER", "disk", 1);
    QTemporaryDir dir;
    if (!dir.isValid()) {
        std::fprintf(stderr, "velquin-bench: no temporary folder for the capture\n");
        return 1;
    }
    const std::string strRaw = QFile::encodeName(dir.filePath("capture.raw")).toStdString();
    const avdrift::Result result =
        avdrift::Measure(QFile::encodeName(strFile).toStdString(), strRaw, std::chrono::hours(2));
    if (!result.bOk) {
        std::fprintf(stderr, "velquin-bench: %s: %s\n", qPrintable(strFile), result.strError.c_str());
        return 1;
    }
    std::printf("file: %s\nflashes: %d\nbeeps: %d\npairs: %d\nrate: %d\n", qPrintable(strFile),
                result.nFlashes, result.nBeeps, result.nPairs, result.nRate);
    std::printf("start_offset_ms: %.1f\nend_offset_ms: %.1f\ndevice_drift_ms: %.1f\nav_drift_ms: %.1f\n",
                result.dStartMs, result.dEndMs, result.dDeviceDriftMs, result.dDriftMs);
    return 0;
}
