#include "PathCodec.h"

#include <cerrno>
#include <iconv.h>
#include <vector>

namespace tavrix {

bool PathCodec::Gb18030ToUtf8(const std::string& strIn, std::string* pstrOut) {
    bool bAscii = true;
    for (unsigned char c : strIn) {
        if (c >= 0x80) {
            bAscii = false;
            break;
        }
    }
    if (bAscii) {
        *pstrOut = strIn;
        return true;
    }
    iconv_t cd = iconv_open("UTF-8", "GB18030");
    if (cd == reinterpret_cast<iconv_t>(-1)) {
        return false;
    }
    // A GB18030 character of up to 4 bytes never needs more than 4 UTF-8 bytes.
    std::vector<char> vecOut(strIn.size() * 4 + 4);
    char* pIn = const_cast<char*>(strIn.data());
    size_t nInLeft = strIn.size();
    char* pOut = vecOut.data();
    size_t nOutLeft = vecOut.size();
    size_t nResult = iconv(cd, &pIn, &nInLeft, &pOut, &nOutLeft);
    iconv_close(cd);
    if (nResult == static_cast<size_t>(-1) || nInLeft != 0) {
        return false;
    }
    pstrOut->assign(vecOut.data(), vecOut.size() - nOutLeft);
    return true;
}

} // namespace tavrix
