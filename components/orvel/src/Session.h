// One network session: one stream from one URL. Open connects on the caller's
// thread, bounded by the time-out; the session's own thread then reads,
// remuxes and delivers (media information first, then multiplexed blocks, then
// one end message) until the stream ends or Close stops it.
//
// Every FFmpeg call of a session runs under its interrupt callback, which
// answers "stop" once Close set the abort flag or the deadline of the current
// network wait passed. So Close never waits longer than FFmpeg takes to look
// at the callback again (every 100 ms at most while it waits, at once when
// data moves).
//
// A callback may call Close or Destroy of its own session: the session thread
// is then not joined (it cannot join itself); the abort flag makes it deliver
// nothing more and end as soon as that callback returns.
#pragma once

#include "Orvel.h"
#include "FfmpegPtr.h"
#include "Remuxer.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace orvel {

class Session : public std::enable_shared_from_this<Session> {
public:
    Session(int32_t nId, std::string strUrl);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    int32_t SetTimeout(int32_t nTimeoutMs);
    int32_t SetTransmitMode(int32_t nMode, int32_t nPort);
    int32_t SetMsgCallBack(OrvelMsgCB pfn, void* pUser);
    int32_t Open(OrvelDataCB pfn, void* pUser);
    // Stops the session; from another thread it returns once the session
    // thread ended. An Open under way on another thread answers an error.
    int32_t Close();
    // Waits until an Open under way on another thread has returned (at most
    // the time-out and a little more: the abort flag makes it return at once).
    void WaitOpenReturned();

private:
    enum class State { Idle, Opening, Running, Closed };
    // What Open found and hands to the session thread.
    struct Source {
        InputContextPtr input;
        Remuxer::Tracks tracks;
        Remuxer::MediaInfo info;
        bool bPaced = false; // read at the pace of its time stamps (a file, HLS), not as fast as it comes
    };

    static int Interrupt(void* pOpaque);
    AVIOInterruptCB InterruptCallback();
    void ArmDeadline(int32_t nTimeoutMs);
    void CloseInput(InputContextPtr& input);

    int32_t Connect(int32_t nTimeoutMs, int32_t nMode, int32_t nPort, Source& source);
    void Run(Source source, int32_t nTimeoutMs);
    // Reads until the end; the end message's type and text, type 0 after Close.
    int32_t Pump(Source& source, Remuxer* pRemuxer, int32_t nTimeoutMs, std::string* pText);
    bool Deliver(int32_t nType, const uint8_t* pData, int nLen);
    void PostMessage(int32_t nType, const std::string& strText);
    // Sleeps until tp unless Close comes first; false after Close.
    bool WaitUntil(std::chrono::steady_clock::time_point tp);
    bool IsSessionThread() const;

    const int32_t m_nId;
    const std::string m_strUrl;

    // Abort flag, deadline and whether it struck: read by the interrupt
    // callback on whatever thread FFmpeg calls it.
    std::atomic<bool> m_bAbort{false};
    std::atomic<bool> m_bGrace{false};  // closing the input after abort: a short deadline instead
    std::atomic<int64_t> m_nDeadlineMs; // steady clock ms
    std::atomic<bool> m_bDeadlineHit{false};

    std::mutex m_mutex;           // guards the fields below
    std::condition_variable m_cv; // Open returned; Close for WaitUntil
    State m_state = State::Idle;
    bool m_bOpenBusy = false; // an Open is under way
    int32_t m_nTimeoutMs = 5000;
    int32_t m_nTransmitMode = ORVEL_TRANSMIT_TCP;
    int32_t m_nPort = 0;
    OrvelMsgCB m_pfnMsg = nullptr;
    void* m_pMsgUser = nullptr;
    // Set by Open before the thread starts, then only read by the thread.
    OrvelDataCB m_pfnData = nullptr;
    void* m_pDataUser = nullptr;

    std::mutex m_joinMutex; // guards m_thread's join; one Close joins, others wait
    std::thread m_thread;   // written by Open (under m_mutex, before any Close saw it)
};

} // namespace orvel
