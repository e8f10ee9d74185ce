#pragma once

#include <QString>

#include <cstdint>

#include "FileInfoSync.h"

// One window of a running synchronous group, as the stage keeps it and the
// rulers draw it.
struct SYNC_WND_FILE {
    int32_t nWndIndex = 0;     // window index, 0 to 15
    int32_t lPort = -1;        // playback port of the window when the group began
    QString strFilePath;       // the window's file
    FILE_INFO_SYNC stFileTime{}; // begin and end of the file
    uint64_t nBeginStamp = 0;  // CPlayHelper::GetGlobalTimeStamp of the begin
    uint64_t nEndStamp = 0;    // and of the end
};
