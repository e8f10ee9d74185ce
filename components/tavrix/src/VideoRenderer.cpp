#include "VideoRenderer.h"

#include <pthread.h>

#include "CallbackSet.h"

namespace tavrix {
namespace {
// Three pictures ahead keep the clock fed without holding much memory.
constexpr size_t kRingSize = 3;
} // namespace

VideoRenderer::VideoRenderer(int nPort, CallbackSet* pCallbacks, PlayReadings* pReadings)
    : m_nPort(nPort), m_pCallbacks(pCallbacks), m_pReadings(pReadings), m_yuv(nPort) {}

VideoRenderer::~VideoRenderer() {
    Stop();
}

void VideoRenderer::Start(bool bRealTime, bool bPaused) {
    Stop();
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bAbort = false;
        m_bRealTime = bRealTime;
        m_bPaused = bPaused;
        m_bRefreshPending = false;
        m_bEnded = false;
    }
    m_pLast.reset();
    m_clock.Reset();
    m_nDisplayIndex = 0;
    m_thread = std::thread(&VideoRenderer::Run, this);
}

void VideoRenderer::Stop() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bAbort = true;
    }
    m_cvWork.notify_all();
    m_cvSpace.notify_all();
    if (m_thread.joinable()) {
        m_thread.join();
    }
    std::lock_guard<std::mutex> lock(m_mtx);
    m_deqRing.clear();
    m_pLast.reset();
}

bool VideoRenderer::Push(std::unique_ptr<VideoFrame> pFrame) {
    std::unique_lock<std::mutex> lock(m_mtx);
    m_cvSpace.wait(lock, [this] { return m_bAbort || m_deqRing.size() < kRingSize; });
    if (m_bAbort) {
        return false;
    }
    m_deqRing.push_back(std::move(pFrame));
    lock.unlock();
    m_cvWork.notify_all();
    return true;
}

void VideoRenderer::SetPaused(bool bPaused) {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bPaused = bPaused;
    }
    m_cvWork.notify_all();
}

void VideoRenderer::SetRealTime(bool bRealTime) {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bRealTime = bRealTime;
    }
    m_cvWork.notify_all();
}

void VideoRenderer::SetSink(std::shared_ptr<FrameSink> pSink) {
    std::shared_ptr<FrameSink> pOld;
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        pOld = std::move(m_pSink);
        m_pSink = std::move(pSink);
        m_bRefreshPending = m_pSink != nullptr;
    }
    m_cvWork.notify_all();
    // pOld goes here, outside the lock: its destructor talks to the GUI thread.
}

void VideoRenderer::RequestRefresh() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bRefreshPending = true;
    }
    m_cvWork.notify_all();
}

bool VideoRenderer::Ended() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_bEnded;
}

void VideoRenderer::Run() {
    pthread_setname_np(pthread_self(), "tavrix-render"); // names the thread in debuggers and top
    std::unique_lock<std::mutex> lock(m_mtx);
    bool bClockPaused = false;
    while (true) {
        // A pause or resume wakes the thread too: the clock must stop at the
        // moment of the pause, not at the next picture.
        m_cvWork.wait(lock, [this, &bClockPaused] {
            return m_bAbort || m_bRefreshPending || m_bPaused != bClockPaused ||
                   (!m_bPaused && !m_deqRing.empty());
        });
        if (m_bAbort) {
            break;
        }
        const auto now = std::chrono::steady_clock::now();
        if (m_bPaused != bClockPaused) {
            bClockPaused = m_bPaused;
            bClockPaused ? m_clock.Pause(now) : m_clock.Resume(now);
            continue;
        }
        if (m_bRefreshPending) {
            m_bRefreshPending = false;
            std::shared_ptr<FrameSink> pSink = m_pSink;
            if (m_pLast && pSink) {
                lock.unlock();
                pSink->Present(*m_pLast);
                lock.lock();
            }
            continue;
        }
        VideoFrame& front = *m_deqRing.front();
        if (front.bEos) {
            m_deqRing.pop_front();
            m_cvSpace.notify_all();
            m_bEnded = true;
            lock.unlock();
            m_pReadings->bEnded = true;
            m_pReadings->NotifyProgress();
            FireFileEnd();
            lock.lock();
            continue;
        }
        bool bToWindow = m_pSink != nullptr;
        if (m_bRealTime) {
            const auto tDue = m_clock.DueTime(front.nPtsUs, now);
            if (now < tDue) {
                // Wake early for commands; the loop re-evaluates the front.
                m_cvWork.wait_until(lock, tDue,
                                    [this] { return m_bAbort || m_bRefreshPending || m_bPaused; });
                continue;
            }
            // Behind the clock with the next picture already due: show this
            // one to the callbacks only and let the window catch up.
            if (m_deqRing.size() > 1 && !m_deqRing[1]->bEos &&
                m_clock.DueTime(m_deqRing[1]->nPtsUs, now) <= now) {
                bToWindow = false;
            }
        }
        std::unique_ptr<VideoFrame> pFrame = std::move(m_deqRing.front());
        m_deqRing.pop_front();
        std::shared_ptr<FrameSink> pSink = bToWindow ? m_pSink : nullptr;
        lock.unlock();
        m_cvSpace.notify_all();
        Publish(*pFrame);
        CallDisplay(*pFrame);
        if (pSink) {
            pSink->Present(*pFrame);
        }
        m_pLast = std::move(pFrame);
        lock.lock();
    }
}

void VideoRenderer::Publish(const VideoFrame& frame) {
    m_pReadings->nFrameNum = m_nDisplayIndex;
    m_pReadings->nPlayedMs = frame.nPtsUs / 1000;
    m_pReadings->nSourceMs = frame.nSourcePtsUs / 1000;
    m_pReadings->bShown = true;
    m_pReadings->NotifyProgress();
}

void VideoRenderer::CallDisplay(VideoFrame& frame) {
    const uint32_t nIndex = m_nDisplayIndex++;
    const CallbackSet::Display cb = m_pCallbacks->GetDisplay();
    if (cb.pfn == nullptr || !frame.pFrame) {
        return;
    }
    if (frame.vecYv12.empty() && !m_yuv.ToYv12(frame.pFrame.get(), &frame.vecYv12)) {
        return;
    }
    TAVRIX_DISPLAY_INFO info{};
    info.nPort = m_nPort;
    info.pBuf = reinterpret_cast<char*>(frame.vecYv12.data());
    info.nBufLen = static_cast<int32_t>(frame.vecYv12.size());
    info.nWidth = frame.pFrame->width;
    info.nHeight = frame.pFrame->height;
    info.nStamp = static_cast<int32_t>(frame.nPtsUs / 1000);
    info.nType = TAVRIX_FRAME_YV12;
    info.nUser = cb.pUser;
    info.nFrameNum = nIndex;
    cb.pfn(&info);
}

void VideoRenderer::FireFileEnd() {
    const CallbackSet::FileEnd cb = m_pCallbacks->GetFileEnd();
    if (cb.pfn != nullptr) {
        cb.pfn(m_nPort, cb.pUser);
    }
}

} // namespace tavrix
