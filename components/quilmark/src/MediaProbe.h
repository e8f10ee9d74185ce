#pragma once

#include "FileInfoSync.h"

#include <QString>

#include <memory>

extern "C" {
#include <libavformat/avformat.h>
}

// Quick looks into media files through libavformat, for the file facts of
// CPlayHelper. Nothing here decodes.
namespace MediaProbe {

struct FormatCloser {
    void operator()(AVFormatContext* pCtx) const {
        if (pCtx)
            avformat_close_input(&pCtx);
    }
};
using FormatPtr = std::unique_ptr<AVFormatContext, FormatCloser>;

// Opens a local file or URL for reading headers; null on failure (logged). With
// bFindStreams, also reads a little of the stream (bounded probe) for containers
// whose headers do not describe the streams.
FormatPtr Open(const QString& strPath, bool bFindStreams);

// True when the context has a video stream with a known codec; reads a bounded
// probe first if the header alone did not show one.
bool HasVideoStream(AVFormatContext* pCtx);

// The value of a metadata tag of the container or of any stream; empty if none.
QString FindTag(AVFormatContext* pCtx, const char* pKey);

// Duration in milliseconds, reading a bounded probe if the header did not give it;
// -1 when unknown.
int64_t DurationMs(AVFormatContext* pCtx);

// Whether libavformat saw encryption information on a stream.
bool HasEncryptionSideData(AVFormatContext* pCtx);

// Wall clock fields of an ISO 8601 time ("2024-03-15T10:20:30.000000Z", also with
// a blank instead of 'T'), as written, zone ignored. False when it does not parse.
bool ParseIsoTime(const QString& strText, TAVRIX_SYSTEM_TIME* pTime);

// A stamp yyyyMMddhhmmss in a file name, directly or with '_' or '-' between date
// and time. False when none gives a valid time.
bool ParseNameStamp(const QString& strFileName, TAVRIX_SYSTEM_TIME* pTime);

} // namespace MediaProbe
