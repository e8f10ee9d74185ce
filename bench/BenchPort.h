// One engine port played without a window for measuring: it keeps the wall
// time of every displayed frame and can hand each picture to a sink.
#pragma once

#include "Tavrix.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

class BenchPort {
public:
    using Clock = std::chrono::steady_clock;
    // Runs on the engine's render thread for each displayed frame.
    using FrameSink = std::function<void(const TAVRIX_DISPLAY_INFO&)>;

    struct Shown {
        Clock::time_point wallTime;
        int32_t nStampMs = 0;
    };

    BenchPort() = default;
    ~BenchPort();
    BenchPort(const BenchPort&) = delete;
    BenchPort& operator=(const BenchPort&) = delete;

    void SetFrameSink(FrameSink sink) { m_frameSink = std::move(sink); }
    // Takes a port, registers the callbacks and opens the file; the open time is kept.
    bool Open(const std::string& strPath);
    bool Play(bool bRealTime);
    void Close();
    uint32_t LastError() const;

    // Waits until the file end callback came, or until the deadline.
    bool WaitForEnd(Clock::time_point deadline);
    bool WaitForFrames(size_t nCount, Clock::time_point deadline);

    Clock::time_point OpenTime() const { return m_openTime; }
    std::vector<Shown> Frames() const;
    size_t FrameCount() const;
    bool Ended() const;

private:
    static void DisplayCallBack(TAVRIX_DISPLAY_INFO* pstDisplayInfo);
    static void FileEndCallback(int32_t nPort, void* pUser);

    int32_t m_lPort = -1;
    uint32_t m_nLastError = 0;
    FrameSink m_frameSink; // set before Open, read on the render thread
    Clock::time_point m_openTime;

    mutable std::mutex m_mutex;
    std::condition_variable m_cvChanged; // guarded by m_mutex
    std::vector<Shown> m_vecFrames;      // guarded by m_mutex
    bool m_bEnded = false;               // guarded by m_mutex
};
