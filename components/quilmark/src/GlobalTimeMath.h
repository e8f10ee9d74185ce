#pragma once

#include "Tavrix.h"

#include <cstdint>

namespace GlobalTimeMath {

// Moves a valid time by nMs milliseconds (either way) across day, month and year
// ends. False, time unchanged, when the time or the result is not valid.
bool AddMs(TAVRIX_SYSTEM_TIME* pTime, int64_t nMs);

} // namespace GlobalTimeMath
