#include "UrlConnectTest.h"

#include <QDebug>
#include <QMetaObject>

#include <chrono>

#include "Orvel.h"

namespace {

// How long the owner waits for an aborted worker before it lets it go: closing
// the session ends a waiting open at once, so this is only ever reached when
// the abort came just before the open began its own bounded wait.
constexpr int kReleaseWaitMs = 1000;

// Publishes the session, or withdraws it before it is destroyed, so that an
// abort never closes an id the library may already have given to another session.
void PublishSession(UrlConnectTest::Shared* pShared, int32_t nSession) {
    if (!pShared)
        return;
    std::lock_guard<std::mutex> lock(pShared->mtx);
    pShared->nSession = nSession;
}

bool IsAborted(UrlConnectTest::Shared* pShared) {
    if (!pShared)
        return false;
    std::lock_guard<std::mutex> lock(pShared->mtx);
    return pShared->bAborted;
}

} // namespace

UrlConnectTest::UrlConnectTest(QObject* pParent) : QObject(pParent) {}

UrlConnectTest::~UrlConnectTest() {
    Abort();
    ReleaseWorker(kReleaseWaitMs);
}

int UrlConnectTest::RunTest(const QString& strURL, int nTransmitMode, int nPort, Shared* pShared) {
    if (strURL.isEmpty() || nTransmitMode < 0 || nTransmitMode > 2 || nPort < 0)
        return kFailed;
    const QByteArray baURL = strURL.toUtf8();
    const int32_t nSession = Orvel_Create(baURL.constData(), 0);
    if (nSession == -1) {
        qDebug() << "UrlConnectTest Orvel_Create Fail" << strURL;
        return kFailed;
    }
    PublishSession(pShared, nSession);

    int nCode = Orvel_SetTimeout(nSession, kTimeoutMs);
    if (nCode != ORVEL_OK)
        qDebug() << "UrlConnectTest Orvel_SetTimeout Fail" << Qt::hex << nCode;
    nCode = ORVEL_OK;
    // The transmit mode means something to RTSP only; other schemes ignore it.
    if (strURL.contains(QLatin1String("rtsp://")))
        nCode = Orvel_SetTransmitMode(nSession, nTransmitMode, nPort);
    if (nCode == ORVEL_OK) {
        // An abort that came before the open: nothing is waited for. One that
        // comes later closes the session, which ends the open at once.
        if (IsAborted(pShared))
            nCode = ORVEL_ERR_CONNECT_FAIL;
        else
            nCode = Orvel_Open(nSession, nullptr, nullptr); // no data wanted: a test only
    }
    if (nCode == ORVEL_OK)
        Orvel_Close(nSession);

    PublishSession(pShared, -1);
    Orvel_Destroy(nSession);
    return nCode;
}

bool UrlConnectTest::Start(const QString& strURL, int nTransmitMode, int nPort) {
    if (m_bRunning)
        return false;
    ReleaseWorker(kReleaseWaitMs); // an earlier, aborted test
    auto pShared = std::make_shared<Shared>();
    pShared->pOwner = this;
    m_pShared = pShared;
    m_bRunning = true;
    m_worker = std::thread([pShared, strURL, nTransmitMode, nPort] {
        const int nCode = RunTest(strURL, nTransmitMode, nPort, pShared.get());
        std::lock_guard<std::mutex> lock(pShared->mtx);
        pShared->bDone = true;
        pShared->nCode = nCode;
        pShared->cvDone.notify_all();
        // Posting is safe from any thread; the owner cannot be destroyed while
        // the mutex is held, since it withdraws under it.
        if (UrlConnectTest* pOwner = pShared->pOwner)
            QMetaObject::invokeMethod(
                pOwner, [pOwner, pShared] { pOwner->OnWorkerDone(pShared); }, Qt::QueuedConnection);
    });
    return true;
}

void UrlConnectTest::Abort() {
    m_bRunning = false;
    if (!m_pShared)
        return;
    std::lock_guard<std::mutex> lock(m_pShared->mtx);
    m_pShared->pOwner = nullptr;
    if (m_pShared->bDone || m_pShared->bAborted)
        return;
    m_pShared->bAborted = true;
    if (m_pShared->nSession >= 0)
        Orvel_Close(m_pShared->nSession);
}

void UrlConnectTest::OnWorkerDone(const std::shared_ptr<Shared>& pShared) {
    // A worker of a test that was aborted in the meantime is not listened to.
    if (pShared != m_pShared || !m_bRunning)
        return;
    int nCode = kFailed;
    {
        std::lock_guard<std::mutex> lock(pShared->mtx);
        nCode = pShared->nCode;
        pShared->pOwner = nullptr;
    }
    m_bRunning = false;
    m_nResult = nCode;
    ReleaseWorker(kReleaseWaitMs);
    emit Sig_Finished(nCode);
}

void UrlConnectTest::ReleaseWorker(int nWaitMs) {
    if (!m_worker.joinable())
        return;
    bool bDone = true;
    if (m_pShared) {
        std::unique_lock<std::mutex> lock(m_pShared->mtx);
        bDone = m_pShared->cvDone.wait_for(lock, std::chrono::milliseconds(nWaitMs),
                                           [this] { return m_pShared->bDone; });
    }
    if (bDone) {
        m_worker.join(); // it has only its last unlock left to do
    } else {
        qDebug() << "UrlConnectTest: the test session did not end in time; its worker ends by itself";
        m_worker.detach();
    }
}
