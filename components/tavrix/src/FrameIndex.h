// The frame index of an open file: every video packet's time, byte position
// and key-frame flag, read on a thread of its own from a second opening of
// the file so playback never waits for it. Packets are read, not decoded, so
// the scan costs little more than reading the file. Once complete it knows the
// exact frame count and, for each frame in display order, its time and the
// key frame a decoder has to start from to reach it.
//
// Times are on the file's continuous time line (see TimeLine): frames are
// numbered in file order across clock restarts, wraps and gaps. A damaged
// stretch is read past, not a reason to give up: the index keeps every
// packet the container still hands out.
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
    // One video packet. Times are in the stream's time base (TimeBase()); the
    // decode time stands in where the container gives no presentation time.
    struct Entry {
        int64_t nPts = 0;      // on the continuous time line
        int64_t nOffset = 0;   // nPts less the container's own stamp
        int64_t nBytePos = -1; // -1 where the container does not say
        bool bKey = false;
        int64_t RawPts() const { return nPts - nOffset; }
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
    // End of the last frame on the time line (its time plus its duration).
    int64_t EndPts() const { return IsComplete() ? m_nEndPts : AV_NOPTS_VALUE; }
    // The container gives decode times only (AVI): the index is in decode
    // order, and a decoded picture's time is that of the packet that pushed
    // it out of the decoder, the decoder's reorder depth later.
    bool DecodeTimesOnly() const { return IsComplete() && m_bDecodeTimesOnly; }
    // Breaks of the time line (restarts, wraps, gaps) met by the scan.
    int Breaks() const { return IsComplete() ? m_nBreaks : 0; }
    // Key frame to start decoding from for display frame n: the one at or
    // before it, or, where reordered pictures near a key frame may refer to
    // the group before it, the one before that.
    int64_t DecodeStartFor(uint32_t n) const;
    // Maps a decoded picture's time to its display frame, -1 where the index
    // has no such time. nReorder is the decoder's reorder depth.
    int64_t FrameOfDecodedPts(int64_t nPts, int nReorder) const;

    // A leap forward between two pictures beyond which the time line breaks
    // (0: never), in the stream's time base. Shared with the demuxer so both
    // cut the time line at the same places.
    static int64_t MaxGapTicks(const AVFormatContext* pFormat, AVRational timeBase);

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
    int64_t m_nEndPts = 0;
    bool m_bDecodeTimesOnly = false;
    int m_nBreaks = 0;
};

} // namespace tavrix
