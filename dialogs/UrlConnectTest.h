#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

// Proves that a stream address answers: a test session of the network library
// is created, opened and closed on a worker thread, so that the window that
// asks stays painted and can still be closed while the session waits (up to
// its time-out of five seconds on an address that never answers).
//
// The worker never touches this object: it writes its answer into a state it
// shares with it and posts Sig_Finished to the object only while the object
// still wants it; the object withdraws under the same mutex before it goes.
// GUI thread only, apart from the worker.
class UrlConnectTest : public QObject {
    Q_OBJECT
public:
    // Every network wait of the test session gives up after this.
    static constexpr int kTimeoutMs = 5000;
    // The answer for a bad argument or a session that could not be made: no
    // error code of the library.
    static constexpr int kFailed = -1;

    // What one test and its worker share.
    struct Shared {
        std::mutex mtx;
        std::condition_variable cvDone;   // bDone became true
        int32_t nSession = -1;            // the session while it exists; guarded by mtx
        bool bAborted = false;            // guarded by mtx
        bool bDone = false;               // guarded by mtx
        int nCode = kFailed;              // the answer once bDone; guarded by mtx
        UrlConnectTest* pOwner = nullptr; // told when done; null once it does not want it; guarded by mtx
    };

    explicit UrlConnectTest(QObject* pParent = nullptr);
    // Aborts a test under way and lets its worker go (see ReleaseWorker).
    ~UrlConnectTest() override;

    // The test itself, run on the calling thread: an empty URL, a mode outside
    // 0..2 or a negative port gives kFailed; else Create, SetTimeout,
    // SetTransmitMode (for an "rtsp://" address only), Open, Close, and Destroy
    // on every way out after Create. 0 when the stream answered, else the first
    // error code met. With pShared, the session id is published there while
    // the session exists, so that Abort can close it, and an abort before the
    // open skips it.
    static int RunTest(const QString& strURL, int nTransmitMode, int nPort, Shared* pShared = nullptr);

    // Starts a test on a worker. False when one is under way already.
    bool Start(const QString& strURL, int nTransmitMode, int nPort);
    // A test was started and has neither ended nor been aborted.
    bool IsRunning() const { return m_bRunning; }
    // Closes the test session, which makes a waiting open give up at once; no
    // Sig_Finished follows for this test.
    void Abort();
    // The answer of the last test that finished; kFailed before one has.
    int Result() const { return m_nResult; }

signals:
    // A started test has ended with nCode (0 or an error code); on the GUI thread.
    void Sig_Finished(int nCode);

private:
    void OnWorkerDone(const std::shared_ptr<Shared>& pShared);
    // Lets the last worker go: joined once it has ended, waiting at most
    // nWaitMs for that (an aborted session ends at once); a worker that still
    // runs after that is detached, holding nothing but its shared state.
    void ReleaseWorker(int nWaitMs);

    std::shared_ptr<Shared> m_pShared; // the state of the last test
    std::thread m_worker;
    bool m_bRunning = false;
    int m_nResult = kFailed;
};
