// One piece of work of a companion tool (a cut, a conversion, a hash) run on a
// worker thread of its own, so that the window stays responsive. Qt-free: the
// window turns the callbacks into queued calls; the command line runs the same
// work in its own thread through Run().
//
// Cancelling is cooperative and bounded: the work looks at its cancel flag
// between packets (or between chunks of a file), never blocks on data that may
// not come, and returns Cancelled. Work that reads or writes through FFmpeg
// hands the flag to FFmpeg's interrupt callback (AVIOInterruptCB), so that a
// read that stalls ends on the cancel too and the destructor's join returns.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace velquintools {

struct JobResult {
    enum Kind { Ok, BadInput, Failure, Cancelled };
    Kind eKind = Ok;
    // For the user: what went wrong, or on success what was made.
    std::string strMessage;

    static JobResult Success(std::string strText = {}) { return {Ok, std::move(strText)}; }
    static JobResult Bad(std::string strText) { return {BadInput, std::move(strText)}; }
    static JobResult Fail(std::string strText) { return {Failure, std::move(strText)}; }
    static JobResult Stopped() { return {Cancelled, "Cancelled."}; }
    bool IsOk() const { return eKind == Ok; }
};

// Progress 0..1 of the whole work.
using ProgressFn = std::function<void(double)>;
// The work: reports progress, looks at the cancel flag between packets.
using JobFn = std::function<JobResult(const ProgressFn& fnProgress, const std::atomic<bool>& bCancel)>;
using DoneFn = std::function<void(const JobResult&)>;

class ToolJob {
public:
    ToolJob() = default;
    // Cancels a running job and waits for it (bounded by the work's own checks).
    ~ToolJob();
    ToolJob(const ToolJob&) = delete;
    ToolJob& operator=(const ToolJob&) = delete;

    // Starts fnJob on the worker thread. fnProgress and fnDone are called on
    // that thread (fnDone must not start the next job itself: queue it);
    // progress only when it has moved by a visible step, so a job
    // that reports every packet does not flood the caller. False while a job
    // is still running.
    bool Start(JobFn fnJob, ProgressFn fnProgress, DoneFn fnDone);
    void Cancel();
    // True once the job has finished (or none was started) within nTimeoutMs.
    bool WaitMs(int64_t nTimeoutMs);
    bool IsRunning() const;

    // Runs fnJob to its end on a worker thread and answers its result; for the
    // command line, where nothing else needs the calling thread. pbStop, when
    // given, is watched while it runs (a signal's flag) and cancels the job.
    static JobResult Run(JobFn fnJob, ProgressFn fnProgress, const std::atomic<bool>* pbStop = nullptr);

private:
    void Join();

    std::thread m_thread;
    std::atomic<bool> m_bCancel{false};
    mutable std::mutex m_mutex;
    std::condition_variable m_cvDone;
    bool m_bRunning = false; // guarded by m_mutex
};

} // namespace velquintools
