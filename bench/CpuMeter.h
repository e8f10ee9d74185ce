// Processor time and peak memory from getrusage, between construction and a reading.
#pragma once

#include <chrono>

class CpuMeter {
public:
    enum class Who { Self, Children };

    explicit CpuMeter(Who who);
    // User plus system time since construction, in percent of one core over the wall time.
    double PercentOfOneCore() const;
    // Largest resident set this process has had, in MiB.
    static double PeakRssMb();

private:
    // User plus system time so far, in microseconds.
    long long CpuUs() const;

    Who m_who;
    long long m_nStartCpuUs;
    std::chrono::steady_clock::time_point m_startWall;
};
