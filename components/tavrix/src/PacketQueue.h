// Bounded queue of demuxed packets between the demux thread and one decoder.
// The bound is in bytes and in duration; the demux thread reads the sizes to
// decide when to wait. Every packet carries the serial of the queue when it was
// pushed; Flush() advances the serial so that a decoder can drop what it still
// holds from before.
#pragma once

#include "FfmpegPtr.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>

namespace tavrix {

struct QueuedPacket {
    PacketPtr pPacket; // null for the end-of-stream marker
    int nSerial = 0;
    bool bEos = false;
};

class PacketQueue {
public:
    // fnOnTake runs after each Pop (outside the queue's lock): the demux thread
    // waits on its own condition and must learn that room was made.
    explicit PacketQueue(std::function<void()> fnOnTake);

    void Start();
    // Wakes and refuses every waiter until Start().
    void Abort();
    // Drops all packets and advances the serial.
    void Flush();
    bool Push(PacketPtr pPacket, int64_t nDurationUs);
    bool PushEos();
    // Blocks until a packet arrives; false once aborted.
    bool Pop(QueuedPacket* pOut);

    int Serial() const;
    // Enough packets are buffered for smooth play: the demuxer may rest.
    bool IsEnough() const;
    int64_t Bytes() const { return m_nBytes.load(); }
    int64_t Count() const { return m_nCount.load(); }
    // Sum of the packets' durations (0 where the container gives none).
    int64_t DurationUs() const { return m_nDurationUs.load(); }

private:
    struct Entry {
        QueuedPacket item;
        int64_t nBytes = 0;
        int64_t nDurationUs = 0;
    };
    bool PushEntry(Entry&& entry);

    std::function<void()> m_fnOnTake;
    mutable std::mutex m_mtx;
    std::condition_variable m_cv;
    std::deque<Entry> m_deqEntries; // guarded by m_mtx
    int m_nSerial = 0;              // guarded by m_mtx
    bool m_bAborted = true;         // guarded by m_mtx
    // Sizes are atomics so the demuxer can read them without this lock.
    std::atomic<int64_t> m_nBytes{0};
    std::atomic<int64_t> m_nDurationUs{0};
    std::atomic<int64_t> m_nCount{0};
};

} // namespace tavrix
