#include "StreamSource.h"

#include <algorithm>
#include <cstring>

namespace tavrix {

StreamSource::StreamSource(size_t nCapacityBytes) : m_nCapacity(nCapacityBytes) {}

bool StreamSource::SetHead(const uint8_t* pData, size_t nSize) {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        if (nSize > m_nCapacity) {
            return false;
        }
        m_vecHead.assign(pData, pData + nSize);
        DropAll();
        if (nSize > 0) {
            m_deqBlocks.push_back(m_vecHead);
            m_nBuffered = nSize;
        }
    }
    m_cvData.notify_all();
    return true;
}

bool StreamSource::Append(const uint8_t* pData, size_t nSize) {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        if (m_bClosed || m_nBuffered + nSize > m_nCapacity) {
            m_nRefusedBytes += nSize;
            return false;
        }
    }
    // The copy is made outside the lock, so that the reader never waits on an
    // allocation of the network thread. Only readers take bytes out, so a
    // block that fitted still fits (unless another writer came first).
    std::vector<uint8_t> vecBlock(pData, pData + nSize);
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        if (m_bClosed || m_nBuffered + nSize > m_nCapacity) {
            m_nRefusedBytes += nSize;
            return false;
        }
        m_deqBlocks.push_back(std::move(vecBlock));
        m_nBuffered += nSize;
    }
    m_cvData.notify_all();
    return true;
}

int StreamSource::Read(uint8_t* pOut, int nSize, std::chrono::milliseconds tWait) {
    std::unique_lock<std::mutex> lock(m_mtx);
    const bool bReady =
        m_cvData.wait_for(lock, tWait, [this] { return m_bInterrupted || m_bClosed || m_nBuffered > 0; });
    if (m_bInterrupted || m_bClosed) {
        return -1;
    }
    if (!bReady || nSize <= 0) {
        return 0;
    }
    size_t nDone = 0;
    const size_t nWant = static_cast<size_t>(nSize);
    while (nDone < nWant && !m_deqBlocks.empty()) {
        std::vector<uint8_t>& vecFront = m_deqBlocks.front();
        const size_t nChunk = std::min(nWant - nDone, vecFront.size() - m_nFrontOffset);
        std::memcpy(pOut + nDone, vecFront.data() + m_nFrontOffset, nChunk);
        nDone += nChunk;
        m_nFrontOffset += nChunk;
        if (m_nFrontOffset == vecFront.size()) {
            m_deqBlocks.pop_front();
            m_nFrontOffset = 0;
        }
    }
    m_nBuffered -= nDone;
    return static_cast<int>(nDone);
}

void StreamSource::Interrupt() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bInterrupted = true;
    }
    m_cvData.notify_all();
}

void StreamSource::Restart() {
    std::lock_guard<std::mutex> lock(m_mtx);
    DropAll();
    if (!m_vecHead.empty()) {
        m_deqBlocks.push_back(m_vecHead);
        m_nBuffered = m_vecHead.size();
    }
    m_bInterrupted = false;
}

void StreamSource::Close() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bClosed = true;
        DropAll();
    }
    m_cvData.notify_all();
}

bool StreamSource::Closed() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_bClosed;
}

size_t StreamSource::BufferedBytes() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_nBuffered;
}

void StreamSource::DropAll() {
    m_deqBlocks.clear();
    m_nFrontOffset = 0;
    m_nBuffered = 0;
}

} // namespace tavrix
