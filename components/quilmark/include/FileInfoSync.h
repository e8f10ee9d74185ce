#pragma once

#include "Tavrix.h"

// The global time range of one file: begin, then end.
struct FILE_INFO_SYNC {
    TAVRIX_SYSTEM_TIME stBegin;
    TAVRIX_SYSTEM_TIME stEnd;
};

// The step of CPlayHelper::AddGlobalTime: one grade of the time ruler.
enum RulerGradeType {
    RULER_GRADE_1SECOND = 0,
    RULER_GRADE_10SECOND,
    RULER_GRADE_30SECOND,
    RULER_GRADE_1MINUTE,
    RULER_GRADE_5MINUTE,
    RULER_GRADE_10MINUTE,
    RULER_GRADE_30MINUTE,
    RULER_GRADE_1HOUR,
    RULER_GRADE_2HOUR,
    RULER_GRADE_1DAY,
};
