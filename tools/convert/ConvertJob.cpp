#include "ConvertJob.h"

#include <QFileInfo>
#include <QString>

#include <cstdio>

#include "FileSafety.h"

namespace velquintools {

namespace {

// The conversion into strPart, the output's temporary name.
JobResult Convert(const ConvertRequest& request, const std::string& strPart, const ProgressFn& fnProgress,
                  const std::atomic<bool>& bCancel) {
    MediaTranscoder transcoder(request.settings);
    return transcoder.RunJob({request.strIn}, strPart, &bCancel, fnProgress, "Written " + request.strOut);
}

} // namespace

JobFn ConvertJob::Make(ConvertRequest request) {
    return [request](const ProgressFn& fnProgress, const std::atomic<bool>& bCancel) {
        const QString strIn = QString::fromStdString(request.strIn);
        const QString strOut = QString::fromStdString(request.strOut);
        // By the file, not the name: "./x.mp4", a symbolic or a hard link to
        // the recording would otherwise overwrite it.
        if (IsSameFile(strIn, strOut))
            return JobResult::Bad("The output must not be the input.");
        // The output takes its name only when complete: a failure or a
        // cancel never costs a file that was there before.
        return WriteThroughPart(request.strOut, request.bOverwrite, [&](const std::string& strPart) {
            return Convert(request, strPart, fnProgress, bCancel);
        });
    };
}

bool ConvertJob::ParseSize(const std::string& strSize, TranscodeSettings& settings) {
    int nWidth = 0;
    int nHeight = 0;
    char cEnd = 0;
    if (std::sscanf(strSize.c_str(), "%dx%d%c", &nWidth, &nHeight, &cEnd) != 2)
        return false;
    if (nWidth < 16 || nWidth > 8192 || (nHeight != 0 && (nHeight < 16 || nHeight > 8192)))
        return false;
    settings.nWidth = nWidth;
    settings.nHeight = nHeight;
    return true;
}

std::string ConvertJob::DefaultOutput(const std::string& strIn) {
    const size_t nSlash = strIn.find_last_of('/');
    const size_t nDot = strIn.find_last_of('.');
    const bool bExt = nDot != std::string::npos && (nSlash == std::string::npos || nDot > nSlash + 1);
    return (bExt ? strIn.substr(0, nDot) : strIn) + "_h264.mp4";
}

} // namespace velquintools
