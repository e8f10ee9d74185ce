// The frame index of an open file: every video packet's time, byte position
// and key-frame flag, read on a thread of its own from a second opening of
// the file so playback never waits for it. Packets are read, not decoded, so
// the scan costs little more than reading the file. Once complete it knows the
// exact frame count and, for each frame in display order, its time and the
// key frame a decoder has to start from to reach it.
#pragma once

#include "FfmpegPtr.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace tavrix {

class FrameIndex {
public:
    // One video packet. nPts is in the stream's time base (TimeBase()); the
    // decode time stands in where the container gives no presentation time.
    struct Entry {
        int64_t nPts = 0;
        int64_t nBytePos = -1; // -1 where the container does not say
        bool bKey = false;
    };
    // Runs on the index thread when a scan completes and was not aborted.
    using DoneFn = std::function<void()>;

    explicit FrameIndex(int nPort);
    ~FrameIndex(); // aborts and joins
    FrameIndex(const FrameIndex&) = delete;
    FrameIndex& operator=(const FrameIndex&) = delete;

    // Starts the scan of strUtf8Path; strKeyHex is the decryption key as 32
    // hex digits or empty, as the demuxer was given it.
    bool Start(const std::string& strUtf8Path, const std::string& strKeyHex, DoneFn fnDone);
    // Stops a scan at once (a blocked read is interrupted) and joins the
    // thread. Once it returns, the done function does not run.
    void Abort();
    // Waits for the scan to end on its own, complete or failed.
    void Join();

    // The queries answer only once IsComplete(); before that they answer as
    // for an empty file.
    bool IsComplete() const { return m_bComplete.load(); }
    uint32_t Count() const;
    // Display-order number of the key frame at or before display frame n,
    // or -1 when there is none (n out of range, or no key frame before it).
    int64_t KeyFrameAtOrBefore(uint32_t n) const;
    // Time of display frame n in TimeBase() units, AV_NOPTS_VALUE out of range.
    int64_t PtsOfFrame(uint32_t n) const;
    // Display frame n's packet, or nullptr out of range.
    const Entry* EntryOfFrame(uint32_t n) const;
    AVRational TimeBase() const;
    // Display frame whose time is exactly nPts, or -1 when no frame has it.
    int64_t FrameOfPts(int64_t nPts) const;
    // Last display frame whose time is at or before nPts, or -1 when none is.
    int64_t LastFrameAtOrBeforePts(int64_t nPts) const;
    // First key frame strictly after display frame n, or -1 when there is none.
    int64_t NextKeyFrameAfter(uint32_t n) const;

private:
    static int InterruptCallback(void* pOpaque);
    void Run(std::string strUtf8Path, std::string strKeyHex, DoneFn fnDone);
    bool Scan(const std::string& strUtf8Path, const std::string& strKeyHex);
    FormatContextPtr OpenInput(const std::string& strUtf8Path, const std::string& strKeyHex, int* pnVideo);
    void BuildDisplayOrder();

    const int m_nPort;
    std::atomic<bool> m_bAbort{false};
    std::atomic<bool> m_bComplete{false};
    std::thread m_thread;

    // Written by the index thread only until m_bComplete is set, read-only after.
    std::vector<Entry> m_vecEntries;         // display order once complete
    std::vector<int64_t> m_vecKeyAtOrBefore; // per display frame
    AVRational m_timeBase{1, 1};
};

} // namespace tavrix
