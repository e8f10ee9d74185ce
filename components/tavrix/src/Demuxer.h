// Opens a container and, while playing, reads its packets on a thread of its
// own into one packet queue per decoder. The thread rests while the queues
// hold enough; a queue taking a packet wakes it.
#pragma once

#include "FfmpegPtr.h"
#include "MediaInfo.h"
#include "PacketQueue.h"
#include "TimeLine.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <deque>
#include <thread>
#include <vector>

namespace tavrix {

class CallbackSet;

class Demuxer {
public:
    Demuxer(int nPort, CallbackSet* pCallbacks);
    ~Demuxer();
    Demuxer(const Demuxer&) = delete;
    Demuxer& operator=(const Demuxer&) = delete;

    // strOriginalPath is the caller's path (for a stamp in the file name),
    // strKeyHex the decryption key as 32 hex digits or empty.
    // Answers TAVRIX_NOERROR or a TAVRIX_ERR_* number.
    uint32_t Open(const std::string& strUtf8Path, const std::string& strOriginalPath,
                  const std::string& strKeyHex);

    const MediaInfo& Info() const { return m_info; }
    AVStream* VideoStream() const;
    AVStream* AudioStream() const;
    PacketQueue& VideoQueue() { return m_videoQueue; }
    PacketQueue& AudioQueue() { return m_audioQueue; }
    bool HasKey() const { return m_bHasKey; }
    const std::atomic<bool>& SawEncryptedPackets() const { return m_bSawEncrypted; }

    // Starts reading from the beginning of the file; bFeedAudio is false when
    // nobody takes audio packets.
    bool Start(bool bFeedAudio);
    // Where a jump starts reading: the key packet a target frame needs, by its
    // time (stream time base) and byte position (-1 unknown). Sound before
    // nAudioFromUs (file time, microseconds) is not queued.
    // Times are on the continuous time line of the frame index; nKeyOffset
    // is the key packet's offset from the container's own stamp.
    struct SeekPoint {
        int64_t nKeyPts = 0;
        int64_t nKeyOffset = 0;
        int64_t nKeyPos = -1;
        int64_t nAudioFromUs = 0;
        bool bKey = true; // false: footage that starts without a key frame
        int64_t RawKeyPts() const { return nKeyPts - nKeyOffset; }
    };
    // Starts reading at or before the key packet (never after it).
    bool StartAt(bool bFeedAudio, const SeekPoint& point);
    // Reading without the thread (reverse play reads on its own thread while
    // the demux thread is stopped): positions at or before the key packet,
    // then hands out video packets in file order. ReadVideoPacket answers 0,
    // AVERROR_EOF or another AVERROR once the file cannot be read further.
    //
    // Every packet handed out carries stamps on the continuous time line.
    bool SeekForReading(const SeekPoint& point);
    int ReadVideoPacket(PacketPtr* ppOut);
    // Aborts the thread and the queues, joins, and empties the queues.
    void Stop();

private:
    static int InterruptCallback(void* pOpaque);
    void Run();
    bool WaitForRoom();
    void NotifyRoom();
    bool RewindIfNeeded();
    bool Rewind();
    bool SeekBefore(const SeekPoint& point, std::vector<PacketPtr>* pvecRead);
    void StartThread(bool bFeedAudio, std::vector<PacketPtr> vecFirst);
    bool Queue(PacketPtr pPacket);
    static int64_t PacketDurationUs(const AVPacket& packet, AVRational timeBase);
    // Moves a packet's stamps onto the continuous time line, in file order.
    // False for a packet to leave out (sound read before a jump's key packet).
    bool MapStamps(AVPacket* pPacket);
    void ResetTimeLines(const SeekPoint* pAnchor);
    int ReadPacket(AVPacket* pPacket);
    void FillInfo(const std::string& strOriginalPath);
    int64_t VideoSpanUs() const;

    const int m_nPort;
    CallbackSet* const m_pCallbacks;
    FormatContextPtr m_pFormat;
    int m_nVideoIndex = -1;
    int m_nAudioIndex = -1;
    MediaInfo m_info;
    bool m_bHasKey = false;
    bool m_bFeedAudio = false;            // written before the thread starts
    bool m_bHasRead = false;              // the thread has read since the open; a new start rewinds
    int64_t m_nAudioFromUs = INT64_MIN;   // written before the thread starts
    std::deque<PacketPtr> m_deqReadAhead; // packets read by SeekForReading's check; reader's thread only
    // The time lines of the reading thread (the demux thread, or the reverse
    // player's while the demux thread is stopped).
    TimeLine m_videoLine;
    TimeLine m_audioLine;
    bool m_bAwaitAnchor = false; // a jump's key packet is not read yet
    SeekPoint m_anchor;          // that key packet
    bool m_bAudioLineStarted = false;
    std::atomic<bool> m_bAbort{false};
    std::atomic<bool> m_bSawEncrypted{false};

    std::mutex m_mtxRoom; // pairs with m_cvRoom; the queues' sizes are atomics
    std::condition_variable m_cvRoom;
    bool m_bRoomAbort = false; // guarded by m_mtxRoom

    PacketQueue m_videoQueue;
    PacketQueue m_audioQueue;
    std::thread m_thread;
};

} // namespace tavrix
