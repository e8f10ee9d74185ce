// The source buffer of a live stream: bytes handed in by the network
// library's thread (Tavrix_InputData), read by the port's live demuxer.
//
// The writer never waits: a block that does not fit in the bounded buffer is
// refused whole and counted, since the network thread must keep up with its
// socket whatever the engine does. The reader waits for bytes a bounded time
// per call and gives up at once when reading is interrupted (a stop) or the
// source is closed.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

namespace tavrix {

class StreamSource {
public:
    explicit StreamSource(size_t nCapacityBytes);
    StreamSource(const StreamSource&) = delete;
    StreamSource& operator=(const StreamSource&) = delete;

    // The stream's first bytes as the source sent them at the open (the start
    // of the container): they are buffered now and come first again whenever
    // reading restarts. False when they do not fit.
    bool SetHead(const uint8_t* pData, size_t nSize);

    // Writer side. False, with nothing kept, when the block does not fit or
    // the source is closed (Closed() tells which).
    bool Append(const uint8_t* pData, size_t nSize);

    // Reader side: copies up to nSize bytes. Answers the bytes copied; 0 when
    // none came within tWait; -1 once reading is interrupted or the source
    // is closed.
    int Read(uint8_t* pOut, int nSize, std::chrono::milliseconds tWait);
    // Makes every reader return at once, now and until Restart (play stops
    // while the stream stays open).
    void Interrupt();
    // Reading starts afresh: what was buffered meanwhile is dropped (play goes
    // on from what arrives next), the head is put back, readers wait again.
    void Restart();
    // For good: readers return, writers are refused.
    void Close();

    bool Closed() const;
    size_t BufferedBytes() const;
    uint64_t RefusedBytes() const { return m_nRefusedBytes.load(); }

private:
    void DropAll(); // with m_mtx held

    const size_t m_nCapacity;
    mutable std::mutex m_mtx;
    std::condition_variable m_cvData;             // the reader waits for bytes
    std::deque<std::vector<uint8_t>> m_deqBlocks; // oldest first; guarded by m_mtx
    size_t m_nFrontOffset = 0;                    // bytes of the front block already read; guarded by m_mtx
    size_t m_nBuffered = 0;                       // bytes not yet read; guarded by m_mtx
    std::vector<uint8_t> m_vecHead;               // guarded by m_mtx
    bool m_bInterrupted = false;                  // guarded by m_mtx
    bool m_bClosed = false;                       // guarded by m_mtx
    std::atomic<uint64_t> m_nRefusedBytes{0};
};

} // namespace tavrix
