#pragma once

#include <QString>

// What a play window knows of its open file from decoding it so far, for the
// file information dialog (CPlayWnd::GetStreamInfo).
struct StreamInfo {
    QString strFilePath;
    int nFrameRate = 0; // frames per second as decoded; below 1 when not known yet
    int nWidth = 0;     // 0 until a picture has been decoded
    int nHeight = 0;
};
