#include "ErrorMap.h"

#include "Orvel.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>

extern "C" {
#include <libavutil/error.h>
}

namespace orvel {

int32_t ErrorMap::ToOrvel(int nAvError, bool bDeadlineHit) {
    // The deadline first: an interrupted call reports AVERROR_EXIT, or an error
    // of its own making (a half-read reply becomes AVERROR_INVALIDDATA).
    if (bDeadlineHit || nAvError == AVERROR(ETIMEDOUT)) {
        return ORVEL_ERR_TIMEOUT;
    }
    switch (nAvError) {
    case AVERROR(ECONNREFUSED):
    case AVERROR(ECONNRESET):
    case AVERROR(ECONNABORTED):
    case AVERROR(EHOSTUNREACH):
    case AVERROR(ENETUNREACH):
    case AVERROR(ENETDOWN):
    case AVERROR(EPIPE):
    case AVERROR(EADDRNOTAVAIL):
        return ORVEL_ERR_CONNECT_FAIL;
    // RTSP answers with the HTTP codes: 401 and 403 alike.
    case AVERROR_HTTP_UNAUTHORIZED:
    case AVERROR_HTTP_FORBIDDEN:
        return ORVEL_ERR_AUTH;
    case AVERROR_HTTP_NOT_FOUND:
        return ORVEL_ERR_NOT_FOUND;
    case AVERROR_PROTOCOL_NOT_FOUND:
    case AVERROR_DEMUXER_NOT_FOUND:
        return ORVEL_ERR_PLUGIN_LOAD;
    // The server answered, with bytes that are no media FFmpeg can read.
    case AVERROR_INVALIDDATA:
    case AVERROR_STREAM_NOT_FOUND:
        return ORVEL_ERR_NO_MEDIA;
    default:
        return ORVEL_ERR_CONNECT_FAIL;
    }
}

std::string ErrorMap::Text(int nAvError) {
    char szText[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(nAvError, szText, sizeof(szText));
    return szText;
}

void ErrorMap::Log(const char* szFormat, ...) {
    char szLine[1024];
    va_list args;
    va_start(args, szFormat);
    vsnprintf(szLine, sizeof(szLine), szFormat, args);
    va_end(args);
    fprintf(stderr, "Orvel: %s\n", szLine);
}

} // namespace orvel
