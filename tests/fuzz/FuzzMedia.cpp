// Fuzz target: a media file held in memory, opened by path through the
// engine's flat interface (a memfd seen as /proc/self/fd/N) and played, jumped
// in and stepped both ways, with every wait bounded. Built for libFuzzer with
// clang, and with g++ into the replay program that CTest runs on the
// regression corpus.
#include "PortDrive.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// Tiny inputs show their pictures within milliseconds; short waits keep the
// executions per second up when an input shows none. A replay waits longer, so
// that a slow (sanitizer, debug) build still gets its frame index before the
// jumps and steps, and takes the same paths as the fuzzer did.
PortDrive::Limits g_limits;

PortDrive::Limits FuzzLimits(bool bPatient) {
    PortDrive::Limits limits;
    limits.nPlayFrames = 8;
    limits.nWaitMs = bPatient ? 3000 : 200;
    limits.nStepWaitMs = bPatient ? 300 : 50;
    limits.nDecodeThreads = 1;
    return limits;
}

uint32_t SeedOf(const uint8_t* pData, size_t nSize) {
    uint32_t nHash = 2166136261u; // FNV-1a over the head of the input
    for (size_t i = 0; i < nSize && i < 64; ++i)
        nHash = (nHash ^ pData[i]) * 16777619u;
    return nHash;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    g_limits = FuzzLimits(std::getenv("VELQUIN_FUZZ_REPLAY") != nullptr);
    PortDrive::SilenceFfmpegLog();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    const int fd = memfd_create("velquin-fuzz-media", MFD_CLOEXEC);
    if (fd < 0) {
        std::perror("memfd_create");
        return 0;
    }
    size_t nDone = 0;
    while (nDone < nSize) {
        const ssize_t n = write(fd, pData + nDone, nSize - nDone);
        if (n <= 0)
            break;
        nDone += static_cast<size_t>(n);
    }
    if (nDone == nSize) {
        const std::string strPath = "/proc/self/fd/" + std::to_string(fd);
        PortDrive drive(g_limits);
        drive.Run(strPath.c_str(), SeedOf(pData, nSize));
    }
    close(fd);
    return 0;
}
