#pragma once

#include <QByteArray>
#include <QObject>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

// One file being opened for a play window on a port of its own. The window
// prepares the port on the GUI thread (callbacks, key, open mode); the slow
// part, Tavrix_OpenFile (reading the container and probing its streams), runs
// on a worker of a small pool, so that many windows open side by side while
// the GUI thread goes on. The result comes back on the window's thread.
class OpenJob {
public:
    // nSerial is the window's number for this request: a result whose number
    // is no longer the window's is stale.
    OpenJob(int32_t nPort, QByteArray baPath, quint64 nSerial);

    int32_t Port() const { return m_nPort; }
    quint64 Serial() const { return m_nSerial; }

    using DoneFn = std::function<void(const std::shared_ptr<OpenJob>&)>;
    // Opens the file on a worker; fnDone then runs queued on pReceiver's thread.
    // pReceiver must outlive the worker's part: its owner calls WaitFinished
    // before it goes (the queued call of a receiver that is gone is dropped).
    static void Start(const std::shared_ptr<OpenJob>& pJob, QObject* pReceiver, DoneFn fnDone);

    // Blocks until the worker's part has ended, at most nTimeoutMs; false if it
    // had not.
    bool WaitFinished(int nTimeoutMs);

    // Results, to be read in fnDone or after WaitFinished.
    bool Opened() const { return m_bOpened; }
    uint32_t Error() const { return m_nError; }

    // Kept by the receiver on its own thread.
    bool bHandled = false;      // the result was taken (fnDone ran, or the owner closed the port)
    bool bFileRefReady = false; // the frame index finished before the window took the port

private:
    void Run();

    const int32_t m_nPort;
    const QByteArray m_baPath; // 8-bit path for the engine
    const quint64 m_nSerial;
    // Written by the worker before the result is posted; the event queue
    // orders them before fnDone.
    bool m_bOpened = false;
    uint32_t m_nError = 0;
    std::mutex m_mtx;
    std::condition_variable m_cvFinished;
    bool m_bFinished = false; // guarded by m_mtx
};
