#include "OpenJob.h"

#include <QMetaObject>
#include <QThread>
#include <QThreadPool>

#include <algorithm>
#include <chrono>

#include "Tavrix.h"

namespace {

// Opening reads and probes files: partly disk, partly decoding. A few more
// workers than cores keep a slow disk from holding the others up.
QThreadPool& Pool() {
    static QThreadPool s_pool;
    static const bool s_bSetUp = [] {
        s_pool.setMaxThreadCount(std::max(4, QThread::idealThreadCount()));
        s_pool.setObjectName(QStringLiteral("OpenJob"));
        return true;
    }();
    Q_UNUSED(s_bSetUp);
    return s_pool;
}

} // namespace

OpenJob::OpenJob(int32_t nPort, QByteArray baPath, quint64 nSerial)
    : m_nPort(nPort), m_baPath(std::move(baPath)), m_nSerial(nSerial) {}

void OpenJob::Start(const std::shared_ptr<OpenJob>& pJob, QObject* pReceiver, DoneFn fnDone) {
    Pool().start([pJob, pReceiver, fnDone = std::move(fnDone)] {
        pJob->Run();
        QMetaObject::invokeMethod(
            pReceiver, [pJob, fnDone] { fnDone(pJob); }, Qt::QueuedConnection);
        // Last: the receiver's owner may go as soon as this is seen.
        std::lock_guard<std::mutex> lock(pJob->m_mtx);
        pJob->m_bFinished = true;
        pJob->m_cvFinished.notify_all();
    });
}

void OpenJob::Run() {
    m_bOpened = Tavrix_OpenFile(m_nPort, m_baPath.constData());
    if (!m_bOpened) {
        m_nError = Tavrix_GetLastError(m_nPort);
        return;
    }
    Tavrix_SkipErrorData(m_nPort, false);
}

bool OpenJob::WaitFinished(int nTimeoutMs) {
    std::unique_lock<std::mutex> lock(m_mtx);
    return m_cvFinished.wait_for(lock, std::chrono::milliseconds(nTimeoutMs), [this] { return m_bFinished; });
}
