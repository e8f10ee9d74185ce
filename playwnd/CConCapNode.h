#pragma once

#include <QString>

#include <vector>

#include "Tavrix.h"

// One picture of continuous capture on its way to the capture worker. It
// owns a copy of the frame: the engine's buffer is gone once the display
// callback returns, and a copy of its own means a picture can never be
// overwritten by a later frame before it is written.
struct CConCapNode {
    TAVRIX_DISPLAY_INFO stFrame{}; // the display record; pBuf points into vecData
    std::vector<char> vecData;     // the YV12 picture
    QString strFilePath;           // target file
    int nFormat = 0;               // 0 BMP, 1 JPEG
    int nWndIndex = 0;             // window that queued it
};
