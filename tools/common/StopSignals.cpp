#include "StopSignals.h"

#include <csignal>
#include <pthread.h>

namespace velquintools {

namespace {

// Lock-free, so the handler may set it.
std::atomic<bool> g_bStop{false};

extern "C" void OnStopSignal(int) {
    g_bStop.store(true);
}

sigset_t StopSet() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

} // namespace

const std::atomic<bool>& StopSignals::InstallFlag() {
    struct sigaction action = {};
    action.sa_handler = &OnStopSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    return g_bStop;
}

void StopSignals::Block() {
    const sigset_t set = StopSet();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

int StopSignals::WaitForSignal() {
    const sigset_t set = StopSet();
    int nSignal = 0;
    // No bound here by design: the program's whole job is to serve until told to stop.
    while (sigwait(&set, &nSignal) != 0) {
    }
    return nSignal;
}

} // namespace velquintools
