// Makes an UndefinedBehaviorSanitizer report end the program (and so fail the
// test), whatever UBSAN_OPTIONS says: UBSan only prints and goes on unless
// halt_on_error is set, and it reads its options once, before main(), so the
// program runs itself again with the option added. The hook
// __ubsan_default_options is not used: with g++ the shared runtime does not call it.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <string>

inline void RerunWithFatalUbsanReports(char** argv) {
#if defined(__SANITIZE_ADDRESS__)
    const char* szOld = std::getenv("UBSAN_OPTIONS");
    std::string strOptions = szOld ? szOld : "";
    if (strOptions.find("halt_on_error") != std::string::npos)
        return;
    strOptions += std::string(strOptions.empty() ? "" : ":") + "halt_on_error=1:print_stacktrace=1";
    setenv("UBSAN_OPTIONS", strOptions.c_str(), 1);
    execv("/proc/self/exe", argv); // returns only on failure: go on as we are
#else
    (void)argv;
#endif
}
