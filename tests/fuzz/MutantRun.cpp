// Mutant run: damaged copies of the generated clips, each made from its own
// fixed seed (bytes zeroed, bits flipped, stretches taken out, the end cut
// off), played through the engine's flat interface as an operator would: open,
// play unpaced, jumps, single steps both ways, stop, close (PortDrive).
//
// Worker processes (two by default, each with its share of the mutants) play
// the mutants one after the other and tell this process, through a pipe, which
// mutant and which engine call they are in. This process times every call.
// The run fails when a call takes longer than the limit (5 s), when a worker
// dies (a crash, or a sanitizer report, which aborts it), or when it exits
// with an error (a leak report at its exit). After a failure a new worker goes
// on with the next mutant, so one run lists every failing mutant; each is
// saved with what the worker printed for it.
//
// Usage: mutant_run MEDIA_DIR [--count N] [--first K] [--save DIR] [--call-limit SECONDS] [--jobs N]
#include "FatalReports.h"
#include "PortDrive.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// The clips mutated, from scripts/make-test-media.sh: every container and
// codec the engine meets, the restarts, the wrap and the cut recordings.
const char* const kClips[] = {
    "h264_aac.mp4",       "ch01_20240315102030.ts", "hevc.mkv",          "mjpeg.avi",
    "mpeg4.mp4",          "silent_h264.mp4",        "joined_restart.ts", "clock_wrap.ts",
    "cut_fragmented.mp4", "stereo_to_mono.ts",      "xvid_ac3_cut.avi",  "no_clock.mp4",
    "enc_velquin123.mp4",
};

struct Clip {
    std::string strName;
    std::vector<uint8_t> data;
};

struct Mutant {
    const Clip* pClip = nullptr;
    std::vector<uint8_t> data;
    std::string strWhat; // the damage done, for the report
};

// splitmix64: the same numbers on every machine.
class Rng {
public:
    explicit Rng(uint64_t nSeed) : m_nState(nSeed) {}
    uint64_t Next() {
        uint64_t z = (m_nState += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    size_t Below(size_t n) { return n == 0 ? 0 : static_cast<size_t>(Next() % n); }

private:
    uint64_t m_nState;
};

// One to three kinds of damage. A third of the places fall in the first 4 KiB,
// where the container's headers are.
Mutant MakeMutant(const std::vector<Clip>& clips, uint32_t nIndex) {
    Mutant m;
    m.pClip = &clips[nIndex % clips.size()];
    m.data = m.pClip->data;
    Rng rng(0x76656C7175696E00ull + nIndex);
    const size_t nOps = 1 + rng.Below(3);
    for (size_t k = 0; k < nOps && !m.data.empty(); ++k) {
        const size_t nSize = m.data.size();
        const size_t nAt = rng.Below(3) == 0 ? rng.Below(std::min<size_t>(nSize, 4096)) : rng.Below(nSize);
        char szOp[96];
        switch (rng.Below(4)) {
        case 0: {
            const size_t nLen = std::min(nSize - nAt, 1 + rng.Below(4096));
            std::fill_n(m.data.begin() + static_cast<std::ptrdiff_t>(nAt), nLen, 0);
            std::snprintf(szOp, sizeof(szOp), "zeroed %zu+%zu", nAt, nLen);
            break;
        }
        case 1: {
            const size_t nFlips = 1 + rng.Below(16);
            for (size_t f = 0; f < nFlips; ++f)
                m.data[std::min(nSize - 1, nAt + rng.Below(512))] ^= static_cast<uint8_t>(1u << rng.Below(8));
            std::snprintf(szOp, sizeof(szOp), "%zu bits flipped from %zu", nFlips, nAt);
            break;
        }
        case 2: {
            const size_t nLen = std::min(nSize - nAt, 1 + rng.Below(16384));
            m.data.erase(m.data.begin() + static_cast<std::ptrdiff_t>(nAt),
                         m.data.begin() + static_cast<std::ptrdiff_t>(nAt + nLen));
            std::snprintf(szOp, sizeof(szOp), "removed %zu+%zu", nAt, nLen);
            break;
        }
        default:
            m.data.resize(nAt);
            std::snprintf(szOp, sizeof(szOp), "cut at %zu", nAt);
            break;
        }
        m.strWhat += (m.strWhat.empty() ? "" : ", ") + std::string(szOp);
    }
    return m;
}

std::string Extension(const std::string& strName) {
    const size_t nDot = strName.rfind('.');
    return nDot == std::string::npos ? std::string() : strName.substr(nDot);
}

bool WriteFile(const std::string& strPath, const std::vector<uint8_t>& data) {
    std::ofstream out(strPath, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    return static_cast<bool>(out);
}

std::string ReadText(const std::string& strPath, size_t nMax) {
    std::ifstream in(strPath, std::ios::binary);
    std::string strText((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (strText.size() > nMax)
        strText = "[...]\n" + strText.substr(strText.size() - nMax);
    return strText;
}

// ---- the worker ------------------------------------------------------------

// Tells the watcher each call's start and end, one short line per write (a
// pipe keeps writes below PIPE_BUF whole).
class PipeReporter : public PortDrive::Observer {
public:
    explicit PipeReporter(int fd) : m_fd(fd) {}
    void Say(const std::string& strLine) {
        const std::string strOut = strLine + "\n";
        if (write(m_fd, strOut.data(), strOut.size()) != static_cast<ssize_t>(strOut.size()))
            _exit(3); // the watcher is gone
    }
    void Begin(const char* szCall) override { Say(std::string("B ") + szCall); }
    void End() override { Say("E"); }

private:
    const int m_fd;
};

[[noreturn]] void WorkerMain(const std::vector<Clip>& clips, uint32_t nFirst, uint32_t nEnd,
                             const std::string& strWorkDir, const std::string& strLog, int fdReport) {
    // What the engine and the sanitizers print goes to a log the watcher shows
    // for a failing mutant; it is emptied at each mutant.
    const int fdLog = open(strLog.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0644);
    if (fdLog >= 0) {
        dup2(fdLog, STDERR_FILENO);
        close(fdLog);
    }
    PortDrive::SilenceFfmpegLog();
    PipeReporter reporter(fdReport);
    PortDrive::Limits limits;
    limits.nPlayFrames = 10;
    limits.nWaitMs = 600;
    limits.nStepWaitMs = 150;
    PortDrive drive(limits, &reporter);
    for (uint32_t i = nFirst; i < nEnd; ++i) {
        const Mutant m = MakeMutant(clips, i);
        const std::string strPath = strWorkDir + "/mutant" + std::to_string(i) + Extension(m.pClip->strName);
        if (ftruncate(STDERR_FILENO, 0) != 0) {
            // not a regular file: the log simply grows
        }
        reporter.Say("M " + std::to_string(i));
        if (!WriteFile(strPath, m.data)) {
            std::fprintf(stderr, "cannot write %s\n", strPath.c_str());
            _exit(4);
        }
        const PortDrive::Outcome outcome = drive.Run(strPath.c_str(), i);
        unlink(strPath.c_str());
        reporter.Say("D " + std::to_string(outcome.bOpened) + " " + std::to_string(outcome.bIndexed) + " " +
                     std::to_string(outcome.nShown));
    }
    close(fdReport);
    std::exit(0); // through the exit handlers: the leak check runs here
}

// ---- the watcher -----------------------------------------------------------

struct Failure {
    uint32_t nMutant = 0;
    bool bAtExit = false; // after the worker's last mutant (a leak report)
    std::string strCall;  // the engine call under way, if any
    std::string strKind;  // "hang: ...", "crash (signal 6)", "exit 1", ...
};

struct Options {
    std::string strMediaDir;
    std::string strSaveDir;
    uint32_t nFirst = 0;
    uint32_t nCount = 1000;
    int nCallLimitSec = 5;
    int nJobs = 2; // workers at once: most of a mutant's time is spent waiting
};

// One worker process and what it last said.
struct Worker {
    int nSlot = 0;
    uint32_t nNext = 0; // the next mutant of this slot's share to start a worker at
    uint32_t nEnd = 0;
    pid_t pid = -1;
    int fd = -1;
    std::string strPending; // a line not yet complete
    int64_t nMutant = -1;   // under way, -1 between mutants
    std::string strCall;    // under way, empty between calls
    Clock::time_point callStart;
    Clock::time_point mutantStart;

    std::string LogPath(const std::string& strWorkDir) const {
        return strWorkDir + "/worker" + std::to_string(nSlot) + ".log";
    }
};

class Watcher {
public:
    Watcher(const Options& options, const std::vector<Clip>& clips, const std::string& strWorkDir)
        : m_options(options), m_clips(clips), m_strWorkDir(strWorkDir) {}

    // Plays mutants [nFirst, nEnd), shared among the workers in contiguous parts.
    void Run(uint32_t nFirst, uint32_t nEnd);
    const std::vector<Failure>& Failures() const { return m_failures; }
    uint32_t Played() const { return m_nPlayed; }
    // Of the mutants played through: how many opened, got their frame index,
    // showed at least one picture; pictures shown in all.
    std::string Summary() const {
        return std::to_string(m_nOpened) + " opened, " + std::to_string(m_nIndexed) + " indexed, " +
               std::to_string(m_nWithPictures) + " showed pictures (" + std::to_string(m_nPictures) +
               " in all)";
    }

private:
    void Start(Worker& worker);
    // Reads what the worker said; false once it has ended (and was reaped).
    bool Listen(Worker& worker);
    void Reap(Worker& worker);
    // Kills a worker whose call or mutant outlasts its limit.
    void CheckTime(Worker& worker);
    void Record(const Worker& worker, Failure failure, pid_t pidAlive);
    void Progress();

    const Options& m_options;
    const std::vector<Clip>& m_clips;
    const std::string m_strWorkDir;
    std::vector<Failure> m_failures;
    uint32_t m_nPlayed = 0;
    uint32_t m_nOpened = 0;
    uint32_t m_nIndexed = 0;
    uint32_t m_nWithPictures = 0;
    uint64_t m_nPictures = 0;
    Clock::time_point m_start = Clock::now();
};

void Watcher::Run(uint32_t nFirst, uint32_t nEnd) {
    const uint32_t nJobs = static_cast<uint32_t>(std::max(1, m_options.nJobs));
    const uint32_t nShare = (nEnd - nFirst + nJobs - 1) / nJobs;
    std::vector<Worker> workers;
    for (uint32_t k = 0; k < nJobs; ++k) {
        Worker worker;
        worker.nSlot = static_cast<int>(k);
        worker.nNext = std::min(nEnd, nFirst + k * nShare);
        worker.nEnd = std::min(nEnd, worker.nNext + nShare);
        workers.push_back(worker);
    }
    for (;;) {
        std::vector<pollfd> pfds;
        for (Worker& worker : workers) {
            if (worker.pid < 0 && worker.nNext < worker.nEnd && m_failures.size() < 100)
                Start(worker);
            if (worker.pid >= 0)
                pfds.push_back(pollfd{worker.fd, POLLIN, 0});
        }
        if (pfds.empty())
            break;
        poll(pfds.data(), pfds.size(), 200);
        for (Worker& worker : workers) {
            if (worker.pid < 0)
                continue;
            if (Listen(worker))
                CheckTime(worker);
        }
    }
    if (m_failures.size() >= 100)
        std::printf("mutant_run: 100 failures, the rest is left out\n");
}

void Watcher::Start(Worker& worker) {
    int fds[2];
    if (pipe(fds) != 0) {
        std::perror("pipe");
        std::exit(2);
    }
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t pid = fork();
    if (pid < 0) {
        std::perror("fork");
        std::exit(2);
    }
    if (pid == 0) {
        close(fds[0]);
        WorkerMain(m_clips, worker.nNext, worker.nEnd, m_strWorkDir, worker.LogPath(m_strWorkDir), fds[1]);
    }
    close(fds[1]);
    fcntl(fds[0], F_SETFL, fcntl(fds[0], F_GETFL) | O_NONBLOCK);
    worker.pid = pid;
    worker.fd = fds[0];
    worker.strPending.clear();
    worker.nMutant = -1;
    worker.strCall.clear();
}

bool Watcher::Listen(Worker& worker) {
    for (;;) {
        char buf[4096];
        const ssize_t n = read(worker.fd, buf, sizeof(buf));
        if (n < 0 && (errno == EAGAIN || errno == EINTR))
            return true; // nothing more for now
        if (n <= 0) {
            Reap(worker); // the pipe closed: the worker has ended, well or not
            return false;
        }
        worker.strPending.append(buf, static_cast<size_t>(n));
        size_t nEol;
        while ((nEol = worker.strPending.find('\n')) != std::string::npos) {
            const std::string strLine = worker.strPending.substr(0, nEol);
            worker.strPending.erase(0, nEol + 1);
            if (strLine.rfind("M ", 0) == 0) {
                worker.nMutant = std::stoll(strLine.substr(2));
                worker.mutantStart = Clock::now();
            } else if (strLine.rfind("B ", 0) == 0) {
                worker.strCall = strLine.substr(2);
                worker.callStart = Clock::now();
            } else if (strLine == "E") {
                worker.strCall.clear();
            } else if (strLine.rfind("D ", 0) == 0) {
                int nOpened = 0;
                int nIndexed = 0;
                long nShown = 0;
                std::sscanf(strLine.c_str() + 2, "%d %d %ld", &nOpened, &nIndexed, &nShown);
                m_nOpened += nOpened != 0;
                m_nIndexed += nIndexed != 0;
                m_nWithPictures += nShown > 0;
                m_nPictures += static_cast<uint64_t>(nShown);
                worker.nNext = static_cast<uint32_t>(worker.nMutant) + 1;
                worker.nMutant = -1;
                worker.strCall.clear();
                ++m_nPlayed;
                Progress();
            }
        }
    }
}

void Watcher::Reap(Worker& worker) {
    int nStatus = 0;
    waitpid(worker.pid, &nStatus, 0);
    close(worker.fd);
    worker.pid = -1;
    worker.fd = -1;
    const bool bClean = WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0;
    if (bClean && worker.nMutant < 0) {
        worker.nNext = worker.nEnd; // every mutant of the share played
        return;
    }
    Failure failure;
    failure.bAtExit = worker.nMutant < 0;
    failure.nMutant = worker.nMutant < 0 ? worker.nNext - 1 : static_cast<uint32_t>(worker.nMutant);
    failure.strCall = worker.strCall;
    failure.strKind = WIFSIGNALED(nStatus) ? "crash (signal " + std::to_string(WTERMSIG(nStatus)) + ")"
                                           : "exit " + std::to_string(WEXITSTATUS(nStatus));
    Record(worker, failure, -1);
    worker.nNext = worker.nMutant < 0 ? worker.nEnd : failure.nMutant + 1;
}

void Watcher::CheckTime(Worker& worker) {
    const Clock::time_point now = Clock::now();
    // Every wait of the drive is bounded, so a mutant that outlasts the
    // second limit is stuck outside the engine's calls.
    const bool bCallHangs =
        !worker.strCall.empty() && now - worker.callStart > std::chrono::seconds(m_options.nCallLimitSec);
    const bool bStuck = worker.nMutant >= 0 && now - worker.mutantStart > std::chrono::seconds(60);
    if (!bCallHangs && !bStuck)
        return;
    Failure failure;
    failure.nMutant = static_cast<uint32_t>(std::max<int64_t>(worker.nMutant, 0));
    failure.strCall = worker.strCall;
    failure.strKind =
        bCallHangs ? "hang: the call took longer than " + std::to_string(m_options.nCallLimitSec) + " s"
                   : "stuck: the mutant took longer than 60 s";
    Record(worker, failure, worker.pid);
    kill(worker.pid, SIGKILL);
    int nStatus = 0;
    waitpid(worker.pid, &nStatus, 0);
    close(worker.fd);
    worker.pid = -1;
    worker.fd = -1;
    worker.nNext = failure.nMutant + 1;
}

// Saves the mutant, what the worker printed and, for a hang of a live worker,
// its threads' stacks when gdb is at hand.
void Watcher::Record(const Worker& worker, Failure failure, pid_t pidAlive) {
    const Mutant m = MakeMutant(m_clips, failure.nMutant);
    std::printf("FAIL mutant %u of %s (%s): %s%s%s\n", failure.nMutant, m.pClip->strName.c_str(),
                m.strWhat.c_str(), failure.strKind.c_str(), failure.bAtExit ? " at the worker's exit" : "",
                failure.strCall.empty() ? "" : (" in " + failure.strCall).c_str());
    const std::string strLog = ReadText(worker.LogPath(m_strWorkDir), 64 * 1024);
    std::string strStacks;
    if (pidAlive > 0 && access("/usr/bin/gdb", X_OK) == 0) {
        const std::string strOut = m_strWorkDir + "/stacks.txt";
        const std::string strCmd = "/usr/bin/gdb -p " + std::to_string(pidAlive) +
                                   " -batch -ex 'thread apply all bt' >" + strOut + " 2>&1";
        if (std::system(strCmd.c_str()) == 0)
            strStacks = ReadText(strOut, 256 * 1024);
        std::remove(strOut.c_str());
    }
    std::printf("---- worker output for mutant %u ----\n%s---- end ----\n", failure.nMutant, strLog.c_str());
    unlink(
        (m_strWorkDir + "/mutant" + std::to_string(failure.nMutant) + Extension(m.pClip->strName)).c_str());
    if (!m_options.strSaveDir.empty()) {
        mkdir(m_options.strSaveDir.c_str(), 0755);
        const std::string strBase =
            m_options.strSaveDir + "/mutant-" + std::to_string(failure.nMutant) + "-" + m.pClip->strName;
        WriteFile(strBase, m.data);
        std::ofstream note(strBase + ".txt");
        note << "mutant " << failure.nMutant << " of " << m.pClip->strName << ": " << m.strWhat << "\n"
             << failure.strKind << (failure.strCall.empty() ? "" : " in " + failure.strCall) << "\n\n"
             << strLog << "\n"
             << strStacks;
        std::printf("saved as %s (+ .txt)\n", strBase.c_str());
    }
    std::fflush(stdout);
    m_failures.push_back(failure);
}

void Watcher::Progress() {
    if (m_nPlayed % 100 != 0)
        return;
    const double dSec = std::chrono::duration<double>(Clock::now() - m_start).count();
    std::printf("mutant_run: %u played, %zu failed, %.1f s\n", m_nPlayed, m_failures.size(), dSec);
    std::fflush(stdout);
}

bool ParseOptions(int argc, char** argv, Options* pOptions) {
    for (int i = 1; i < argc; ++i) {
        const std::string strArg = argv[i];
        const bool bHasValue = i + 1 < argc;
        if (strArg == "--count" && bHasValue)
            pOptions->nCount = static_cast<uint32_t>(std::strtoul(argv[++i], nullptr, 10));
        else if (strArg == "--first" && bHasValue)
            pOptions->nFirst = static_cast<uint32_t>(std::strtoul(argv[++i], nullptr, 10));
        else if (strArg == "--save" && bHasValue)
            pOptions->strSaveDir = argv[++i];
        else if (strArg == "--call-limit" && bHasValue)
            pOptions->nCallLimitSec = std::atoi(argv[++i]);
        else if (strArg == "--jobs" && bHasValue)
            pOptions->nJobs = std::atoi(argv[++i]);
        else if (pOptions->strMediaDir.empty() && strArg.rfind("--", 0) != 0)
            pOptions->strMediaDir = strArg;
        else
            return false;
    }
    return !pOptions->strMediaDir.empty() && pOptions->nCallLimitSec > 0;
}

} // namespace

int main(int argc, char** argv) {
    RerunWithFatalUbsanReports(argv);
    Options options;
    if (!ParseOptions(argc, argv, &options)) {
        std::fprintf(
            stderr,
            "usage: %s MEDIA_DIR [--count N] [--first K] [--save DIR] [--call-limit SECONDS] [--jobs N]\n",
            argv[0]);
        return 2;
    }
    std::vector<Clip> clips;
    for (const char* szName : kClips) {
        Clip clip;
        clip.strName = szName;
        std::ifstream in(options.strMediaDir + "/" + szName, std::ios::binary);
        clip.data.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        if (clip.data.empty()) {
            std::fprintf(stderr, "mutant_run: %s/%s is missing (scripts/make-test-media.sh makes it)\n",
                         options.strMediaDir.c_str(), szName);
            return 2;
        }
        clips.push_back(std::move(clip));
    }
    const char* szTmp = std::getenv("TMPDIR");
    std::string strTemplate = std::string(szTmp && *szTmp ? szTmp : "/tmp") + "/velquin-mutants-XXXXXX";
    if (mkdtemp(strTemplate.data()) == nullptr) {
        std::perror("mkdtemp");
        return 2;
    }
    const std::string strWorkDir = strTemplate;

    const Clock::time_point start = Clock::now();
    Watcher watcher(options, clips, strWorkDir);
    watcher.Run(options.nFirst, options.nFirst + options.nCount);
    const double dSec = std::chrono::duration<double>(Clock::now() - start).count();

    for (int k = 0; k < options.nJobs; ++k)
        std::remove((strWorkDir + "/worker" + std::to_string(k) + ".log").c_str());
    rmdir(strWorkDir.c_str());

    std::printf("mutant_run: %u mutants, %u played through (%s), %zu failed, %.1f s in all\n", options.nCount,
                watcher.Played(), watcher.Summary().c_str(), watcher.Failures().size(), dSec);
    for (const Failure& failure : watcher.Failures())
        std::printf("  mutant %u: %s%s\n", failure.nMutant, failure.strKind.c_str(),
                    failure.strCall.empty() ? "" : (" in " + failure.strCall).c_str());
    return watcher.Failures().empty() ? 0 : 1;
}
