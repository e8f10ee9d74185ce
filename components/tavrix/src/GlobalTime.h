// Global (wall-clock) time of footage: where it comes from and how it is
// turned into TAVRIX_SYSTEM_TIME. All times are UTC milliseconds since 1970;
// the container's creation time is UTC and is shown as UTC, without a local
// time conversion, so the same file reads the same on every machine.
#pragma once

#include "Tavrix.h"

#include <cstdint>
#include <string>

namespace tavrix {

class GlobalTime {
public:
    // "2024-03-15T10:20:30.000000Z" and its shorter forms.
    static bool ParseIso8601(const char* szText, int64_t* pnEpochMs);
    // A recorder's stamp in a file name: 20240315102030 or 20240315_102030.
    static bool ParseFileName(const std::string& strPath, int64_t* pnEpochMs);
    static void ToSystemTime(int64_t nEpochMs, TAVRIX_SYSTEM_TIME* pstOut);

private:
    static bool FromFields(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond, int nMs,
                           int64_t* pnEpochMs);
};

} // namespace tavrix
