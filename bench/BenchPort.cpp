#include "BenchPort.h"

BenchPort::~BenchPort() {
    Close();
}

bool BenchPort::Open(const std::string& strPath) {
    if (m_lPort < 0 && !Tavrix_GetPort(&m_lPort)) {
        m_nLastError = Tavrix_GetLastError(-1);
        m_lPort = -1;
        return false;
    }
    if (!Tavrix_SetDisplayCallBackEx(m_lPort, &BenchPort::DisplayCallBack, this) ||
        !Tavrix_SetFileEndCallback(m_lPort, &BenchPort::FileEndCallback, this)) {
        m_nLastError = Tavrix_GetLastError(m_lPort);
        return false;
    }
    m_openTime = Clock::now();
    if (!Tavrix_OpenFile(m_lPort, strPath.c_str())) {
        m_nLastError = Tavrix_GetLastError(m_lPort);
        return false;
    }
    return true;
}

bool BenchPort::Play(bool bRealTime) {
    if (Tavrix_SetRealTime(m_lPort, bRealTime) && Tavrix_Play(m_lPort, 0))
        return true;
    m_nLastError = Tavrix_GetLastError(m_lPort);
    return false;
}

void BenchPort::Close() {
    if (m_lPort < 0)
        return;
    Tavrix_CloseFile(m_lPort);
    Tavrix_FreePort(m_lPort);
    m_lPort = -1;
}

uint32_t BenchPort::LastError() const {
    return m_nLastError;
}

bool BenchPort::WaitForEnd(Clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cvChanged.wait_until(lock, deadline, [this] { return m_bEnded; });
}

bool BenchPort::WaitForFrames(size_t nCount, Clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cvChanged.wait_until(lock, deadline, [this, nCount] { return m_vecFrames.size() >= nCount; });
}

std::vector<BenchPort::Shown> BenchPort::Frames() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_vecFrames;
}

size_t BenchPort::FrameCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_vecFrames.size();
}

bool BenchPort::Ended() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bEnded;
}

void BenchPort::DisplayCallBack(TAVRIX_DISPLAY_INFO* pstDisplayInfo) {
    if (!pstDisplayInfo || !pstDisplayInfo->nUser)
        return;
    auto* pThis = static_cast<BenchPort*>(pstDisplayInfo->nUser);
    const Shown shown{Clock::now(), pstDisplayInfo->nStamp};
    if (pThis->m_frameSink)
        pThis->m_frameSink(*pstDisplayInfo);
    std::lock_guard<std::mutex> lock(pThis->m_mutex);
    pThis->m_vecFrames.push_back(shown);
    pThis->m_cvChanged.notify_all();
}

void BenchPort::FileEndCallback(int32_t, void* pUser) {
    if (!pUser)
        return;
    auto* pThis = static_cast<BenchPort*>(pUser);
    std::lock_guard<std::mutex> lock(pThis->m_mutex);
    pThis->m_bEnded = true;
    pThis->m_cvChanged.notify_all();
}
