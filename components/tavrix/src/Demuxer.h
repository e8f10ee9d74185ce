// Opens a container and, while playing, reads its packets on a thread of its
// own into one packet queue per decoder. The thread rests while the queues
// hold enough; a queue taking a packet wakes it.
#pragma once

#include "FfmpegPtr.h"
#include "MediaInfo.h"
#include "PacketQueue.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

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
    // Aborts the thread and the queues, joins, and empties the queues.
    void Stop();

private:
    static int InterruptCallback(void* pOpaque);
    void Run();
    bool WaitForRoom();
    void NotifyRoom();
    bool RewindIfNeeded();
    void FillInfo(const std::string& strOriginalPath);
    int64_t VideoSpanUs() const;

    const int m_nPort;
    CallbackSet* const m_pCallbacks;
    FormatContextPtr m_pFormat;
    int m_nVideoIndex = -1;
    int m_nAudioIndex = -1;
    MediaInfo m_info;
    bool m_bHasKey = false;
    bool m_bFeedAudio = false; // written before the thread starts
    bool m_bHasRead = false;   // the thread has read since the open; a new start rewinds
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
