#include "ToolJob.h"

#include <chrono>
#include <cmath>
#include <memory>

namespace velquintools {

namespace {

// Progress steps finer than this are not passed on: a bar of a few hundred
// pixels shows no more, and each report may become a queued event.
const double kProgressStep = 0.005;
// How often Run() looks at the stop flag: a signal handler can only set a
// flag, so someone has to look.
const int64_t kStopPollMs = 100;

ProgressFn Throttled(ProgressFn fnProgress) {
    if (!fnProgress)
        return [](double) {};
    auto pdLast = std::make_shared<double>(-1.0);
    return [fnProgress, pdLast](double dValue) {
        if (!(dValue >= 0.0))
            dValue = 0.0;
        if (dValue > 1.0)
            dValue = 1.0;
        if (dValue < 1.0 && std::fabs(dValue - *pdLast) < kProgressStep)
            return;
        if (dValue == *pdLast)
            return;
        *pdLast = dValue;
        fnProgress(dValue);
    };
}

} // namespace

ToolJob::~ToolJob() {
    Cancel();
    Join();
}

bool ToolJob::Start(JobFn fnJob, ProgressFn fnProgress, DoneFn fnDone) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_bRunning)
            return false;
        m_bRunning = true;
    }
    Join(); // the thread of the job before, already done
    m_bCancel = false;
    m_thread = std::thread([this, fnJob = std::move(fnJob), fnProgress = Throttled(std::move(fnProgress)),
                            fnDone = std::move(fnDone)]() {
        JobResult result;
        try {
            result = fnJob(fnProgress, m_bCancel);
        } catch (const std::exception& e) {
            result = JobResult::Fail(e.what());
        }
        if (result.eKind == JobResult::Ok)
            fnProgress(1.0);
        // Finished before the caller hears of it, so that its handler may
        // start the next job at once.
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_bRunning = false;
        }
        m_cvDone.notify_all();
        if (fnDone)
            fnDone(result);
    });
    return true;
}

void ToolJob::Cancel() {
    m_bCancel = true;
}

bool ToolJob::WaitMs(int64_t nTimeoutMs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cvDone.wait_for(lock, std::chrono::milliseconds(nTimeoutMs), [this] { return !m_bRunning; });
}

bool ToolJob::IsRunning() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bRunning;
}

void ToolJob::Join() {
    if (m_thread.joinable() && m_thread.get_id() != std::this_thread::get_id())
        m_thread.join();
}

JobResult ToolJob::Run(JobFn fnJob, ProgressFn fnProgress, const std::atomic<bool>* pbStop) {
    JobResult result;
    ToolJob job;
    job.Start(std::move(fnJob), std::move(fnProgress), [&result](const JobResult& r) { result = r; });
    while (!job.WaitMs(kStopPollMs)) {
        if (pbStop && *pbStop)
            job.Cancel();
    }
    job.Join();
    return result;
}

} // namespace velquintools
