// Facts about an open file, fixed when it is opened.
#pragma once

#include <cstdint>
#include <string>

namespace tavrix {

struct MediaInfo {
    int nWidth = 0;
    int nHeight = 0;
    double dFps = 25.0;
    int64_t nDurationMs = 0;
    uint32_t nTotalFrames = 0;
    int64_t nFileStartUs = 0;  // container start time; stamps count from here
    int64_t nVideoStartUs = 0; // first video frame; global time counts from here
    bool bHasGlobalTime = false;
    int64_t nGlobalStartMs = 0; // UTC ms since 1970 of the first video frame
    bool bHasAudio = false;
    bool bEncrypted = false; // the container declares encrypted samples
    std::string strWatermark; // the container's "watermark" tag, empty for none
    // Taken through a fisheye lens: tag fisheye=1 (container or video stream),
    // or "_fisheye" in the file's base name. Only such files get de-warped views.
    bool bFisheye = false;
};

} // namespace tavrix
