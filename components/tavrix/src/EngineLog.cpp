#include "EngineLog.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

namespace tavrix {
namespace {

std::mutex g_mtxLog;           // serialises whole lines on stderr
thread_local int t_nQuiet = 0; // QuietScope depth on this thread

void FfmpegLogCallback(void* pAvcl, int nLevel, const char* szFormat, va_list args) {
    if (nLevel > AV_LOG_WARNING || t_nQuiet > 0) {
        return;
    }
    char szLine[1024];
    int nPrefix = 1;
    va_list argsCopy;
    va_copy(argsCopy, args);
    av_log_format_line(pAvcl, nLevel, szFormat, argsCopy, szLine, sizeof(szLine), &nPrefix);
    va_end(argsCopy);
    std::lock_guard<std::mutex> lock(g_mtxLog);
    std::fprintf(stderr, "[tavrix] ffmpeg: %s", szLine);
}

} // namespace

void EngineLog::Install() {
    static std::once_flag s_once;
    std::call_once(s_once, [] {
        av_log_set_level(AV_LOG_WARNING);
        av_log_set_callback(FfmpegLogCallback);
    });
}

void EngineLog::Warn(int nPort, const char* szFormat, ...) {
    char szText[1024];
    va_list args;
    va_start(args, szFormat);
    std::vsnprintf(szText, sizeof(szText), szFormat, args);
    va_end(args);
    std::lock_guard<std::mutex> lock(g_mtxLog);
    if (nPort >= 0) {
        std::fprintf(stderr, "[tavrix] port %d: %s\n", nPort, szText);
    } else {
        std::fprintf(stderr, "[tavrix] %s\n", szText);
    }
}

std::string EngineLog::AvErrorText(int nAvError) {
    char szText[AV_ERROR_MAX_STRING_SIZE] = {0};
    if (av_strerror(nAvError, szText, sizeof(szText)) < 0) {
        std::snprintf(szText, sizeof(szText), "unknown error %d", nAvError);
    }
    return szText;
}

EngineLog::QuietScope::QuietScope() {
    ++t_nQuiet;
}
EngineLog::QuietScope::~QuietScope() {
    --t_nQuiet;
}

int EngineLog::AvFail(int nPort, const char* szWhat, int nAvError) {
    Warn(nPort, "%s: %s", szWhat, AvErrorText(nAvError).c_str());
    return nAvError;
}

} // namespace tavrix
