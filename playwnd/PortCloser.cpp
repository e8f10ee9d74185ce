#include "PortCloser.h"

#include <QThreadPool>
#include <QtDebug>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "Tavrix.h"

namespace {

// Closing is mostly waiting for threads to end, so several run at once: sixteen
// windows replacing their files do not queue behind each other.
const int kCloserThreads = 8;

struct CloserState {
    std::mutex mtx;
    std::condition_variable cvIdle;
    int nPending = 0; // guarded by mtx
    QThreadPool pool;
    CloserState() {
        pool.setMaxThreadCount(kCloserThreads);
        pool.setObjectName(QStringLiteral("PortCloser"));
    }
};

CloserState& State() {
    static CloserState s_state;
    return s_state;
}

} // namespace

void PortCloser::CloseLater(int32_t nPort) {
    if (nPort < 0)
        return;
    CloserState& state = State();
    {
        std::lock_guard<std::mutex> lock(state.mtx);
        ++state.nPending;
    }
    state.pool.start([nPort, &state] {
        if (!Tavrix_Stop(nPort))
            qDebug("PortCloser Tavrix_Stop() Fail port=%d deError=%u", nPort, Tavrix_GetLastError(nPort));
        // The port held a file or a stream; closing what it did not hold only fails.
        Tavrix_CloseFile(nPort);
        Tavrix_CloseStream(nPort);
        if (!Tavrix_FreePort(nPort))
            qDebug("PortCloser Tavrix_FreePort() Fail port=%d GetLastError()=%u", nPort,
                   Tavrix_GetLastError(nPort));
        std::lock_guard<std::mutex> lock(state.mtx);
        if (--state.nPending == 0)
            state.cvIdle.notify_all();
    });
}

bool PortCloser::WaitIdle(int nTimeoutMs) {
    CloserState& state = State();
    std::unique_lock<std::mutex> lock(state.mtx);
    return state.cvIdle.wait_for(lock, std::chrono::milliseconds(nTimeoutMs),
                                 [&state] { return state.nPending == 0; });
}

int PortCloser::Pending() {
    CloserState& state = State();
    std::lock_guard<std::mutex> lock(state.mtx);
    return state.nPending;
}
