#include "PacketQueue.h"

namespace tavrix {
namespace {
// About one second of packets (but at least a few) keeps decoding smooth;
// more only costs memory when sixteen ports play at once.
constexpr int64_t kEnoughDurationUs = 1000000;
constexpr int64_t kEnoughCount = 25;
} // namespace

PacketQueue::PacketQueue(std::function<void()> fnOnTake) : m_fnOnTake(std::move(fnOnTake)) {}

void PacketQueue::Start() {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_bAborted = false;
}

void PacketQueue::Abort() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bAborted = true;
    }
    m_cv.notify_all();
}

void PacketQueue::Flush() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_deqEntries.clear();
        ++m_nSerial;
        m_nBytes = 0;
        m_nDurationUs = 0;
        m_nCount = 0;
    }
    if (m_fnOnTake) {
        m_fnOnTake();
    }
}

bool PacketQueue::PushEntry(Entry&& entry) {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        if (m_bAborted) {
            return false;
        }
        entry.item.nSerial = m_nSerial;
        m_nBytes += entry.nBytes;
        m_nDurationUs += entry.nDurationUs;
        ++m_nCount;
        m_deqEntries.push_back(std::move(entry));
    }
    m_cv.notify_one();
    return true;
}

bool PacketQueue::Push(PacketPtr pPacket, int64_t nDurationUs) {
    Entry entry;
    entry.nBytes = pPacket->size + static_cast<int64_t>(sizeof(AVPacket));
    entry.nDurationUs = nDurationUs > 0 ? nDurationUs : 0;
    entry.item.pPacket = std::move(pPacket);
    return PushEntry(std::move(entry));
}

bool PacketQueue::PushEos() {
    Entry entry;
    entry.item.bEos = true;
    return PushEntry(std::move(entry));
}

bool PacketQueue::Pop(QueuedPacket* pOut) {
    {
        std::unique_lock<std::mutex> lock(m_mtx);
        m_cv.wait(lock, [this] { return m_bAborted || !m_deqEntries.empty(); });
        if (m_bAborted) {
            return false;
        }
        Entry& entry = m_deqEntries.front();
        m_nBytes -= entry.nBytes;
        m_nDurationUs -= entry.nDurationUs;
        --m_nCount;
        *pOut = std::move(entry.item);
        m_deqEntries.pop_front();
    }
    if (m_fnOnTake) {
        m_fnOnTake();
    }
    return true;
}

int PacketQueue::Serial() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_nSerial;
}

bool PacketQueue::IsEnough() const {
    return m_nCount.load() > kEnoughCount &&
           (m_nDurationUs.load() == 0 || m_nDurationUs.load() > kEnoughDurationUs);
}

} // namespace tavrix
