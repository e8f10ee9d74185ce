// The clip tool's two jobs, shared by its window and its command line: export
// a span (cut, hash both files, write the manifest) and verify a manifest.
#pragma once

#include <QString>

#include <atomic>

#include "ToolJob.h"

namespace velquintools {
struct ClipOutcome;
}

struct ClipExportSettings {
    QString strSource;
    // The clip's path; empty: a name made from the source's and the span the
    // clip holds, in strOutDir (the source's folder when that is empty too).
    // A clip or manifest that exists already is never overwritten.
    QString strOutput;
    QString strOutDir;
    bool bFrames = false; // dFrom/dTo are frame numbers (both included), else seconds [from, to)
    double dFrom = 0.0;
    double dTo = 0.0;
    bool bExact = false; // frame-exact: edges re-encoded losslessly
};

class ClipExport {
public:
    static QString ToolName();
    static QString Version();

    // "<source name>_clip_<first>-<last>_<mode>.<ext>" in strOutDir, of the
    // span the clip holds (seconds or frame numbers, as asked); a recorder's
    // stamp in the source's name is moved on to the clip's own start, so that
    // the name dates the clip. The source's extension when FFmpeg can write
    // that container, else ".mkv".
    static QString DefaultClipPath(const ClipExportSettings& settings,
                                   const velquintools::ClipOutcome& outcome);
    // Seconds as "12.5", "2:05.5" or "1:02:05.5".
    static bool ParseTime(const QString& strText, double* pdSec);

    // On success the message names the clip, the manifest and the span the
    // clip really holds; *pstrManifest gets the manifest's path.
    static velquintools::JobResult Export(const ClipExportSettings& settings,
                                          const velquintools::ProgressFn& fnProgress,
                                          const std::atomic<bool>& bCancel, QString* pstrManifest);
    // Ok when the clip and the source both still have the manifest's
    // checksums; Failure naming the one that differs (or is missing); BadInput
    // for a file that is no manifest.
    static velquintools::JobResult Verify(const QString& strManifest,
                                          const velquintools::ProgressFn& fnProgress,
                                          const std::atomic<bool>& bCancel);
};
