// Drives one engine port through what an operator does to a file: open, play
// unpaced, jumps, single steps forward and back, play again, stop, close.
// Every wait is bounded, so a file that never shows a picture costs at most the
// limits below. Used by the media fuzzer, its replay and the mutant run, which
// times each engine call through the observer.
#pragma once

#include "Tavrix.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>

class PortDrive {
public:
    struct Limits {
        int nPlayFrames = 10;  // pictures to see before the jumps (or the end)
        int nWaitMs = 1000;    // longest wait for those pictures, the end or the frame index
        int nStepWaitMs = 300; // longest wait for the picture of a jump or a step
        // Video decoding threads (Tavrix_SetDecodeThreads); 0 leaves the engine's
        // choice. One makes a run repeatable, which a fuzzer needs.
        uint32_t nDecodeThreads = 0;
    };

    // Told before and after every engine call, on the driving thread.
    class Observer {
    public:
        virtual ~Observer() = default;
        virtual void Begin(const char* szCall) = 0;
        virtual void End() = 0;
    };

    explicit PortDrive(const Limits& limits, Observer* pObserver = nullptr);
    PortDrive(const PortDrive&) = delete;
    PortDrive& operator=(const PortDrive&) = delete;

    // What one run saw.
    struct Outcome {
        bool bOpened = false;
        bool bIndexed = false;
        int nShown = 0; // pictures handed to the display callback
        int nEnds = 0;  // file end callbacks
    };

    // Plays the file at szPath (8-bit path) through one port taken and freed
    // here. nSeed picks the jump targets.
    Outcome Run(const char* szPath, uint32_t nSeed);

    // Routes FFmpeg's log, which the engine forwards to stderr, to nowhere:
    // damaged input makes it speak on every packet. Takes and frees a port
    // first, as the engine installs its own log handler with the first port.
    static void SilenceFfmpegLog();

private:
    struct Progress {
        int nShown = 0; // pictures handed to the display callback
        int nEnds = 0;  // file end callbacks
        bool bIndexed = false;
    };

    static void DisplayCallBack(TAVRIX_DISPLAY_INFO* pInfo);
    static void DecodeCallBack(int32_t nPort, char* pBuf, int32_t nSize, TAVRIX_FRAME_INFO* pInfo,
                               void* pUser);
    static void FileEndCallBack(int32_t nPort, void* pUser);
    static void FileRefCallBack(int32_t nPort, void* pUser);

    // Wraps one engine call for the observer.
    template <typename Fn> auto Call(const char* szCall, Fn fn) -> decltype(fn());
    // Waits until pred(progress) holds or nTimeoutMs pass.
    template <typename Pred> bool WaitFor(int nTimeoutMs, Pred pred);
    Progress Snapshot() const;
    // Waits for a picture or an end after those counted in before.
    bool WaitForNews(const Progress& before, int nPictures, int nTimeoutMs);
    void JumpsAndSteps(int32_t nPort, uint32_t nSeed);

    const Limits m_limits;
    Observer* const m_pObserver;

    mutable std::mutex m_mutex;
    std::condition_variable m_cvChanged; // guarded by m_mutex
    Progress m_progress;                 // guarded by m_mutex
};
