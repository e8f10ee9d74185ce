// Reads the analytics sidecar of a recording: beside NAME.EXT, the file
// NAME.analytics.xml holding ONVIF-style scene metadata
// (tt:MetadataStream / tt:VideoAnalytics / tt:Frame UtcTime / tt:Object /
// tt:Appearance with tt:Shape and tt:Class). Each frame's objects go into the
// open file's OverlayTrack at the frame's time. Qt-free.
#pragma once

#include "MediaInfo.h"

#include <string>

namespace tavrix {

class OverlayTrack;

class AnalyticsSidecar {
public:
    // NAME.analytics.xml for NAME.EXT (the extension after the last dot of the name).
    static std::string PathFor(const std::string& strMediaPath);
    // Loads the sidecar of strMediaPath, if there is one. Times are matched with
    // the file's global time; a file without one counts UtcTime from
    // 1970-01-01T00:00:00Z as the offset from its first frame. A sidecar that
    // is not well-formed is logged and left out: the file still plays.
    // Answers the number of frames read.
    static int Load(int nPort, const std::string& strMediaPath, const MediaInfo& info, OverlayTrack* pTrack);
};

} // namespace tavrix
