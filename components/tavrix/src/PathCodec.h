// Paths come in the program's 8-bit encoding (GB18030); FFmpeg wants UTF-8.
#pragma once

#include <string>

namespace tavrix {

class PathCodec {
public:
    // Converts a GB18030 path to UTF-8. Pure ASCII passes unchanged. False when
    // the bytes are not valid GB18030.
    static bool Gb18030ToUtf8(const std::string& strIn, std::string* pstrOut);
};

} // namespace tavrix
