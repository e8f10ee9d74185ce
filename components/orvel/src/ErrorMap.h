// Turns what FFmpeg answered into the library's error codes and log text.
#pragma once

#include <cstdint>
#include <string>

namespace orvel {

class ErrorMap {
public:
    // The answer of Open for a failed FFmpeg call. bDeadlineHit: the session's
    // time-out ran out during the call (FFmpeg then answers AVERROR_EXIT or
    // whatever the interrupted call made of it).
    static int32_t ToOrvel(int nAvError, bool bDeadlineHit);
    // Text of an AVERROR code, from av_strerror.
    static std::string Text(int nAvError);
    // One line to stderr, "Orvel: ..." (printf style).
    static void Log(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));
};

} // namespace orvel
