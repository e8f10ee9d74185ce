// One engine port played without a window for measuring: it keeps the wall
// time and display index of every displayed frame (and, when asked, the MD5 of
// its picture), notes when the frame index is complete, and can hand each
// picture to a sink.
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
        uint32_t nFrameNum = 0;
        std::string strMd5; // empty unless SetHashPictures(true)
    };

    // The MD5 of a displayed picture as planar Y, U, V, in hex: the layout the
    // ffmpeg tool's framemd5 hashes for yuv420p.
    static std::string I420Md5Hex(const TAVRIX_DISPLAY_INFO& stInfo);

    BenchPort() = default;
    ~BenchPort();
    BenchPort(const BenchPort&) = delete;
    BenchPort& operator=(const BenchPort&) = delete;

    void SetFrameSink(FrameSink sink) { m_frameSink = std::move(sink); }
    static inline uint32_t s_nDecodeThreads = 0;
    // Set before Open: every Shown record then carries its picture's MD5.
    void SetHashPictures(bool bHash) { m_bHashPictures = bHash; }
    // Set before Open: the decryption key as the user types it; the player
    // pads it with zeros to 16 bytes (longer text is cut).
    void SetKeyText(const std::string& strKey) { m_strKeyText = strKey; }
    // Decoding threads of every port opened from now on (0: one per core).
    // One thread makes the concealment of damaged pictures repeatable.
    static void SetDecodeThreads(uint32_t nThreads) { s_nDecodeThreads = nThreads; }
    // Takes a port, registers the callbacks and opens the file; the open time is kept.
    bool Open(const std::string& strPath);
    bool Play(bool bRealTime);
    bool Pause(bool bPause);
    bool SeekFrame(uint32_t nFrameNum);
    bool StepBack();
    bool ReversePlay();
    uint32_t TotalFrames() const;
    void Close();
    uint32_t LastError() const;
    int32_t Port() const { return m_lPort; }

    // Waits until the file end callback came, or until the deadline.
    bool WaitForEnd(Clock::time_point deadline);
    bool WaitForFrames(size_t nCount, Clock::time_point deadline);
    // Waits for a displayed frame, record nFirst or later, that match accepts;
    // copies that record to *pShown.
    bool WaitForShown(size_t nFirst, const std::function<bool(const Shown&)>& match,
                      Clock::time_point deadline, Shown* pShown);
    bool WaitForFrameNum(size_t nFirst, uint32_t nFrameNum, Clock::time_point deadline, Shown* pShown);
    // Waits for the file's frame index to be complete.
    bool WaitForIndex(Clock::time_point deadline);

    Clock::time_point OpenTime() const { return m_openTime; }
    // When the frame index became complete; meaningful after WaitForIndex.
    Clock::time_point IndexTime() const;
    std::vector<Shown> Frames() const;
    size_t FrameCount() const;
    bool Ended() const;

private:
    static void DisplayCallBack(TAVRIX_DISPLAY_INFO* pstDisplayInfo);
    static void FileEndCallback(int32_t nPort, void* pUser);
    static void FileRefCallback(int32_t nPort, void* pUser);
    bool Check(bool bOk);

    int32_t m_lPort = -1;
    uint32_t m_nLastError = 0;
    FrameSink m_frameSink;        // set before Open, read on the render thread
    bool m_bHashPictures = false; // set before Open, read on the render thread
    std::string m_strKeyText;     // set before Open
    Clock::time_point m_openTime;

    mutable std::mutex m_mutex;
    std::condition_variable m_cvChanged; // guarded by m_mutex
    std::vector<Shown> m_vecFrames;      // guarded by m_mutex
    bool m_bEnded = false;               // guarded by m_mutex
    bool m_bIndexed = false;             // guarded by m_mutex
    Clock::time_point m_indexTime;       // guarded by m_mutex
};
