// SIGINT and SIGTERM for the tools' command line: a long job stops cleanly
// (its partial output removed) instead of dying half way. Qt-free.
#pragma once

#include <atomic>

namespace velquintools {

class StopSignals {
public:
    // From now on SIGINT and SIGTERM set the flag instead of ending the program.
    static const std::atomic<bool>& InstallFlag();

    // For a program that only waits for the signal: blocks both signals in
    // this thread and every thread started after the call (call it first),
    // so that WaitForSignal() receives them.
    static void Block();
    // Waits for SIGINT or SIGTERM (after Block()); answers the signal's number.
    static int WaitForSignal();
};

} // namespace velquintools
