#pragma once

#include <QString>

#include "PlayerConfig.h"

// The settings dialog's working record: what it shows and hands back on Apply or
// OK. The main dialog fills one from its own state before each opening and copies
// the result into its PlayerConfig. The constructor's values are those of a record
// nobody has filled yet (BMP, a fixed folder), not the defaults of a first start.
struct PlayerSettingInfo {
    int nTopMode = 0;        // 0 never on top, 1 on top while playing, 2 always on top
    int nPlayLocateMode = 1; // 0 by time stamp, 1 by frame number
    bool bExitSavePlaylistFiles = false;
    bool bExitSavePlayProgress = false;
    bool bAutoAddSimilarFiles = false;
    bool bAutoShowGuide = false; // carried by the dialog; nothing reads or stores it
    bool bStartHardDecodeEngine = false;
    QString strCapPicFolder = QStringLiteral("c:\\");
    int nCapPicSaveType = 0; // 0 BMP, 1 JPEG
    int nConCapPicMode = 0;  // 0 by time, 1 by frame index
    int nConCapPicGap = 1;   // seconds or frames, by the mode
    int nMaxConCapPicNum = 100;
    HotKeysCfg stHotKeys; // the defaults until filled
};
