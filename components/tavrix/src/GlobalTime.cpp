#include "GlobalTime.h"

#include <cctype>
#include <cstdio>
#include <ctime>

namespace tavrix {

bool GlobalTime::FromFields(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond, int nMs,
                            int64_t* pnEpochMs) {
    if (nYear < 1970 || nYear > 2999 || nMonth < 1 || nMonth > 12 || nDay < 1 || nDay > 31 || nHour > 23 ||
        nMinute > 59 || nSecond > 60 || nHour < 0 || nMinute < 0 || nSecond < 0 || nMs < 0 || nMs > 999) {
        return false;
    }
    std::tm tmUtc{};
    tmUtc.tm_year = nYear - 1900;
    tmUtc.tm_mon = nMonth - 1;
    tmUtc.tm_mday = nDay;
    tmUtc.tm_hour = nHour;
    tmUtc.tm_min = nMinute;
    tmUtc.tm_sec = nSecond;
    const time_t nSeconds = timegm(&tmUtc);
    if (nSeconds == static_cast<time_t>(-1)) {
        return false;
    }
    // timegm normalises 31 February into March; such a stamp is no stamp.
    if (tmUtc.tm_mday != nDay || tmUtc.tm_mon != nMonth - 1) {
        return false;
    }
    *pnEpochMs = static_cast<int64_t>(nSeconds) * 1000 + nMs;
    return true;
}

bool GlobalTime::ParseIso8601(const char* szText, int64_t* pnEpochMs) {
    if (szText == nullptr) {
        return false;
    }
    int nYear = 0, nMonth = 0, nDay = 0, nHour = 0, nMinute = 0, nSecond = 0, nConsumed = 0;
    if (std::sscanf(szText, "%4d-%2d-%2d%*1[T ]%2d:%2d:%2d%n", &nYear, &nMonth, &nDay, &nHour, &nMinute,
                    &nSecond, &nConsumed) < 6) {
        return false;
    }
    int nMs = 0;
    const char* p = szText + nConsumed;
    if (*p == '.') {
        ++p;
        int nDigits = 0;
        while (std::isdigit(static_cast<unsigned char>(*p))) {
            if (nDigits < 3) {
                nMs = nMs * 10 + (*p - '0');
            }
            ++nDigits;
            ++p;
        }
        for (; nDigits < 3; ++nDigits) {
            nMs *= 10;
        }
    }
    return FromFields(nYear, nMonth, nDay, nHour, nMinute, nSecond, nMs, pnEpochMs);
}

bool GlobalTime::ParseFileName(const std::string& strPath, int64_t* pnEpochMs) {
    const size_t nSlash = strPath.find_last_of("/\\");
    const std::string strName = nSlash == std::string::npos ? strPath : strPath.substr(nSlash + 1);
    const size_t nLen = strName.size();
    auto isDigit = [&strName, nLen](size_t i) {
        return i < nLen && std::isdigit(static_cast<unsigned char>(strName[i])) != 0;
    };
    auto num = [&strName](size_t nPos, size_t nCount) {
        int n = 0;
        for (size_t i = 0; i < nCount; ++i) {
            n = n * 10 + (strName[nPos + i] - '0');
        }
        return n;
    };
    for (size_t i = 0; i < nLen; ++i) {
        if (!isDigit(i) || (i > 0 && isDigit(i - 1))) {
            continue; // stamps start where a run of digits starts
        }
        size_t nRun = 0;
        while (isDigit(i + nRun)) {
            ++nRun;
        }
        size_t nTimePos = 0;
        if (nRun == 14) {
            nTimePos = i + 8;
        } else if (nRun == 8 && i + 8 < nLen && (strName[i + 8] == '_' || strName[i + 8] == '-')) {
            size_t nRun2 = 0;
            while (isDigit(i + 9 + nRun2)) {
                ++nRun2;
            }
            if (nRun2 != 6) {
                continue;
            }
            nTimePos = i + 9;
        } else {
            continue;
        }
        if (FromFields(num(i, 4), num(i + 4, 2), num(i + 6, 2), num(nTimePos, 2), num(nTimePos + 2, 2),
                       num(nTimePos + 4, 2), 0, pnEpochMs)) {
            return true;
        }
    }
    return false;
}

void GlobalTime::ToSystemTime(int64_t nEpochMs, TAVRIX_SYSTEM_TIME* pstOut) {
    int64_t nSeconds = nEpochMs / 1000;
    int64_t nMs = nEpochMs % 1000;
    if (nMs < 0) {
        nMs += 1000;
        --nSeconds;
    }
    const time_t t = static_cast<time_t>(nSeconds);
    std::tm tmUtc{};
    gmtime_r(&t, &tmUtc);
    pstOut->nYear = tmUtc.tm_year + 1900;
    pstOut->nMonth = tmUtc.tm_mon + 1;
    pstOut->nDay = tmUtc.tm_mday;
    pstOut->nHour = tmUtc.tm_hour;
    pstOut->nMinute = tmUtc.tm_min;
    pstOut->nSecond = tmUtc.tm_sec;
    pstOut->nMilliseconds = static_cast<int32_t>(nMs);
}

} // namespace tavrix
