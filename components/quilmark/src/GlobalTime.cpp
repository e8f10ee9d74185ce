// Global time arithmetic of CPlayHelper. A TAVRIX_SYSTEM_TIME is a wall clock
// reading without a zone; all arithmetic goes through a count of milliseconds
// since 1970-01-01 00:00:00.000 of that same clock (proleptic Gregorian calendar).
#include "CPlayHelper.h"
#include "GlobalTimeMath.h"

#include <cmath>
#include <limits>

namespace {

constexpr int64_t kMsPerSecond = 1000;
constexpr int64_t kMsPerDay = 86400 * kMsPerSecond;

bool IsLeapYear(int nYear) {
    return (nYear % 4 == 0 && nYear % 100 != 0) || nYear % 400 == 0;
}

int DaysInMonth(int nYear, int nMonth) {
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return nMonth == 2 && IsLeapYear(nYear) ? 29 : kDays[nMonth - 1];
}

// Days since 1970-01-01 of a civil date (H. Hinnant's days_from_civil).
int64_t DaysFromCivil(int64_t y, int m, int d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

void CivilFromDays(int64_t z, int* pY, int* pM, int* pD) {
    z += 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    const int d = int(doy - (153 * mp + 2) / 5 + 1);
    const int m = int(mp < 10 ? mp + 3 : mp - 9);
    *pY = int(yoe + era * 400 + (m <= 2));
    *pM = m;
    *pD = d;
}

int64_t ToMs(const TAVRIX_SYSTEM_TIME& t) {
    const int64_t nDays = DaysFromCivil(t.nYear, t.nMonth, t.nDay);
    return nDays * kMsPerDay + ((int64_t(t.nHour) * 60 + t.nMinute) * 60 + t.nSecond) * kMsPerSecond +
           t.nMilliseconds;
}

TAVRIX_SYSTEM_TIME FromMs(int64_t nMs) {
    int64_t nDays = nMs / kMsPerDay;
    int64_t nRest = nMs % kMsPerDay;
    if (nRest < 0) {
        nRest += kMsPerDay;
        --nDays;
    }
    TAVRIX_SYSTEM_TIME t{};
    CivilFromDays(nDays, &t.nYear, &t.nMonth, &t.nDay);
    t.nMilliseconds = int(nRest % 1000);
    nRest /= 1000;
    t.nSecond = int(nRest % 60);
    nRest /= 60;
    t.nMinute = int(nRest % 60);
    t.nHour = int(nRest / 60);
    return t;
}

int64_t GradeMs(RulerGradeType eGrade) {
    switch (eGrade) {
    case RULER_GRADE_1SECOND:
        return 1 * kMsPerSecond;
    case RULER_GRADE_10SECOND:
        return 10 * kMsPerSecond;
    case RULER_GRADE_30SECOND:
        return 30 * kMsPerSecond;
    case RULER_GRADE_1MINUTE:
        return 60 * kMsPerSecond;
    case RULER_GRADE_5MINUTE:
        return 5 * 60 * kMsPerSecond;
    case RULER_GRADE_10MINUTE:
        return 10 * 60 * kMsPerSecond;
    case RULER_GRADE_30MINUTE:
        return 30 * 60 * kMsPerSecond;
    case RULER_GRADE_1HOUR:
        return 3600 * kMsPerSecond;
    case RULER_GRADE_2HOUR:
        return 2 * 3600 * kMsPerSecond;
    case RULER_GRADE_1DAY:
        return kMsPerDay;
    }
    return 0;
}

bool BothValid(const TAVRIX_SYSTEM_TIME* pA, const TAVRIX_SYSTEM_TIME* pB) {
    return CPlayHelper::IsSystemTimeValid(pA) && CPlayHelper::IsSystemTimeValid(pB);
}

} // namespace

bool CPlayHelper::IsSystemTimeValid(const TAVRIX_SYSTEM_TIME* pTime) {
    if (!pTime)
        return false;
    const TAVRIX_SYSTEM_TIME& t = *pTime;
    if (t.nYear < 1970 || t.nYear > 9999 || t.nMonth < 1 || t.nMonth > 12)
        return false;
    if (t.nDay < 1 || t.nDay > DaysInMonth(t.nYear, t.nMonth))
        return false;
    return t.nHour >= 0 && t.nHour <= 23 && t.nMinute >= 0 && t.nMinute <= 59 && t.nSecond >= 0 &&
           t.nSecond <= 59 && t.nMilliseconds >= 0 && t.nMilliseconds <= 999;
}

bool CPlayHelper::IsOneTimeEarly(const TAVRIX_SYSTEM_TIME* pA, const TAVRIX_SYSTEM_TIME* pB) {
    if (!pA || !pB)
        return false;
    // Field by field, so that even out-of-range values compare in a stable order.
    const int32_t a[7] = {pA->nYear,   pA->nMonth,  pA->nDay,         pA->nHour,
                          pA->nMinute, pA->nSecond, pA->nMilliseconds};
    const int32_t b[7] = {pB->nYear,   pB->nMonth,  pB->nDay,         pB->nHour,
                          pB->nMinute, pB->nSecond, pB->nMilliseconds};
    for (int i = 0; i < 7; ++i) {
        if (a[i] != b[i])
            return a[i] < b[i];
    }
    return false;
}

uint32_t CPlayHelper::GetTimeSpanMS(const TAVRIX_SYSTEM_TIME* pA, const TAVRIX_SYSTEM_TIME* pB) {
    if (!BothValid(pA, pB))
        return 0;
    const int64_t nSpan = ToMs(*pB) - ToMs(*pA);
    if (nSpan <= 0)
        return 0;
    return nSpan > int64_t(std::numeric_limits<uint32_t>::max()) ? std::numeric_limits<uint32_t>::max()
                                                                 : uint32_t(nSpan);
}

uint64_t CPlayHelper::GetTimeSpan_Second(const TAVRIX_SYSTEM_TIME* pA, const TAVRIX_SYSTEM_TIME* pB) {
    if (!BothValid(pA, pB))
        return 0;
    const int64_t nSpan = ToMs(*pB) - ToMs(*pA);
    return nSpan <= 0 ? 0 : uint64_t(nSpan / kMsPerSecond);
}

int CPlayHelper::GetTimeSpan_Day(const TAVRIX_SYSTEM_TIME* pA, const TAVRIX_SYSTEM_TIME* pB) {
    if (!BothValid(pA, pB))
        return 0;
    return int(DaysFromCivil(pB->nYear, pB->nMonth, pB->nDay) -
               DaysFromCivil(pA->nYear, pA->nMonth, pA->nDay));
}

uint64_t CPlayHelper::GetGlobalTimeStamp(const TAVRIX_SYSTEM_TIME* pTime) {
    return IsSystemTimeValid(pTime) ? uint64_t(ToMs(*pTime)) : 0;
}

bool CPlayHelper::GetPrecentByGlobalTime(const TAVRIX_SYSTEM_TIME* pTime, double& dPrecent,
                                         const TAVRIX_SYSTEM_TIME* pBegin, const TAVRIX_SYSTEM_TIME* pEnd) {
    if (!IsSystemTimeValid(pTime) || !BothValid(pBegin, pEnd))
        return false;
    const int64_t nBegin = ToMs(*pBegin);
    const int64_t nSpan = ToMs(*pEnd) - nBegin;
    if (nSpan < 0)
        return false;
    if (nSpan == 0) {
        dPrecent = 0.0;
        return true;
    }
    const double d = double(ToMs(*pTime) - nBegin) / double(nSpan);
    dPrecent = d < 0.0 ? 0.0 : (d > 1.0 ? 1.0 : d);
    return true;
}

bool CPlayHelper::GetPrecentByGlobalTime(const TAVRIX_SYSTEM_TIME* pTime, double* pdPrecent,
                                         const TAVRIX_SYSTEM_TIME* pBegin, const TAVRIX_SYSTEM_TIME* pEnd) {
    return pdPrecent && GetPrecentByGlobalTime(pTime, *pdPrecent, pBegin, pEnd);
}

bool CPlayHelper::GetGlobalTimeByPrecent(double dPrecent, TAVRIX_SYSTEM_TIME* pOut,
                                         const TAVRIX_SYSTEM_TIME* pBegin, const TAVRIX_SYSTEM_TIME* pEnd) {
    if (!pOut || !BothValid(pBegin, pEnd) || std::isnan(dPrecent))
        return false;
    const int64_t nBegin = ToMs(*pBegin);
    const int64_t nSpan = ToMs(*pEnd) - nBegin;
    if (nSpan < 0)
        return false;
    const double d = dPrecent < 0.0 ? 0.0 : (dPrecent > 1.0 ? 1.0 : dPrecent);
    *pOut = FromMs(nBegin + std::llround(d * double(nSpan)));
    return true;
}

bool GlobalTimeMath::AddMs(TAVRIX_SYSTEM_TIME* pTime, int64_t nMs) {
    if (!CPlayHelper::IsSystemTimeValid(pTime))
        return false;
    const TAVRIX_SYSTEM_TIME t = FromMs(ToMs(*pTime) + nMs);
    if (!CPlayHelper::IsSystemTimeValid(&t))
        return false;
    *pTime = t;
    return true;
}

bool CPlayHelper::AddGlobalTime(TAVRIX_SYSTEM_TIME* pTime, RulerGradeType eGrade) {
    const int64_t nStep = GradeMs(eGrade);
    return nStep > 0 && GlobalTimeMath::AddMs(pTime, nStep);
}
