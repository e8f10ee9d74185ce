// Waits for a port's frame index through the file ref callback, which the
// engine calls once the index of the open file is complete.
#pragma once

#include "Tavrix.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

class IndexWait {
public:
    bool Register(int32_t nPort) { return Tavrix_SetFileRefCallBack(nPort, &IndexWait::OnFileRef, this); }
    bool Wait(int nTimeoutMs) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cv.wait_for(lock, std::chrono::milliseconds(nTimeoutMs), [this] { return m_bReady; });
    }

private:
    static void OnFileRef(int32_t, void* pUser) {
        auto* pSelf = static_cast<IndexWait*>(pUser);
        std::lock_guard<std::mutex> lock(pSelf->m_mutex);
        pSelf->m_bReady = true;
        pSelf->m_cv.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_cv;
    bool m_bReady = false; // guarded by m_mutex
};
