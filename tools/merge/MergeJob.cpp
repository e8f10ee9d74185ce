#include "MergeJob.h"

#include <QFileInfo>
#include <QString>

#include <cstdio>

#include "FileSafety.h"
#include "StreamJoiner.h"

namespace velquintools {

namespace {

// The merge into strPart, the output's temporary name.
JobResult Merge(const MergeRequest& request, const std::string& strPart, const ProgressFn& fnProgress,
                const std::atomic<bool>& bCancel) {
    StreamJoiner joiner;
    if (joiner.CanCopy(request.inputs)) {
        if (joiner.Run(request.inputs, strPart, request.strOut, request.settings.strCreationTime,
                       request.settings.startsUs, &bCancel, fnProgress))
            return JobResult::Success("Written " + request.strOut + " (streams copied)");
        if (joiner.Cancelled())
            return JobResult::Stopped();
        if (joiner.BadInput())
            return JobResult::Bad(joiner.LastError());
        return JobResult::Fail(joiner.LastError());
    }
    const std::string strWhy = joiner.LastError();
    // A file that cannot be read or has no pictures is no case for re-encoding.
    if (joiner.BadInput())
        return JobResult::Bad(strWhy);
    if (!request.bReencode)
        return JobResult::Bad("The recordings cannot be joined without re-encoding (" + strWhy +
                              "); choose re-encoding to join them at the first one's size.");
    MediaTranscoder transcoder(request.settings);
    return transcoder.RunJob(request.inputs, strPart, &bCancel, fnProgress,
                             "Written " + request.strOut + " (re-encoded)");
}

} // namespace

JobFn MergeJob::Make(MergeRequest request) {
    return [request](const ProgressFn& fnProgress, const std::atomic<bool>& bCancel) {
        if (request.inputs.size() < 2)
            return JobResult::Bad("Choose at least two recordings.");
        const QString strOut = QString::fromStdString(request.strOut);
        // By the file, not the name: "./x.mp4", a symbolic or a hard link to a
        // recording would otherwise overwrite it.
        for (const std::string& strIn : request.inputs)
            if (IsSameFile(QString::fromStdString(strIn), strOut))
                return JobResult::Bad("The output must not be one of the recordings.");
        // The output takes its name only when complete: a failure or a
        // cancel never costs a file that was there before.
        return WriteThroughPart(request.strOut, request.bOverwrite, [&](const std::string& strPart) {
            return Merge(request, strPart, fnProgress, bCancel);
        });
    };
}

} // namespace velquintools
