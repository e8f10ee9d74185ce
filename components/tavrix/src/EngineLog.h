// The engine's one log: warnings and errors of the engine and of FFmpeg go to
// stderr with the port they concern. FFmpeg's own messages are routed here by
// Install(), so a user sees one stream of text.
#pragma once

#include <string>

namespace tavrix {

class EngineLog {
public:
    // Routes FFmpeg's log into this one; idempotent and thread-safe.
    static void Install();
    // printf-style line; nPort < 0 for lines that concern no port.
    static void Warn(int nPort, const char* szFormat, ...) __attribute__((format(printf, 2, 3)));
    // Text of an AVERROR code, from av_strerror.
    static std::string AvErrorText(int nAvError);
    // Logs "what: <error text>" for a failed FFmpeg call and hands the code back.
    static int AvFail(int nPort, const char* szWhat, int nAvError);

    // While one lives, FFmpeg's messages from this thread are dropped: probing
    // for optional hardware is expected to fail and is no news to the user.
    class QuietScope {
    public:
        QuietScope();
        ~QuietScope();
        QuietScope(const QuietScope&) = delete;
        QuietScope& operator=(const QuietScope&) = delete;
    };
};

} // namespace tavrix
