#include "CpuMeter.h"

#include <sys/resource.h>

CpuMeter::CpuMeter(Who who)
    : m_who(who), m_nStartCpuUs(CpuUs()), m_startWall(std::chrono::steady_clock::now()) {}

double CpuMeter::PercentOfOneCore() const {
    const auto wallUs =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - m_startWall)
            .count();
    if (wallUs <= 0)
        return 0.0;
    return 100.0 * double(CpuUs() - m_nStartCpuUs) / double(wallUs);
}

double CpuMeter::PeakRssMb() {
    rusage usage{};
    if (getrusage(RUSAGE_SELF, &usage) != 0)
        return 0.0;
    return usage.ru_maxrss / 1024.0; // ru_maxrss is in KiB on Linux
}

long long CpuMeter::CpuUs() const {
    rusage usage{};
    if (getrusage(m_who == Who::Self ? RUSAGE_SELF : RUSAGE_CHILDREN, &usage) != 0)
        return 0;
    auto toUs = [](const timeval& tv) { return tv.tv_sec * 1000000LL + tv.tv_usec; };
    return toUs(usage.ru_utime) + toUs(usage.ru_stime);
}
