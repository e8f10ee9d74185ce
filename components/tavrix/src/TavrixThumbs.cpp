// The flat interface for what thumbnails need: the encryption report and
// conversion of a small picture into a BMP image.
#include "Tavrix.h"

#include "BmpWriter.h"
#include "PlayerPort.h"
#include "PortTable.h"

using tavrix::PlayerPort;
using tavrix::PortTable;

bool Tavrix_SetEncryptTypeCallBack(int32_t nPort, int32_t nType, TavrixEncryptTypeCB pfn, void* pUser) {
    std::shared_ptr<PlayerPort> pPort = PortTable::Instance().Get(nPort);
    if (!pPort) {
        PortTable::Instance().SetLastError(nPort, TAVRIX_ERR_NO_PORT);
        return false;
    }
    if (nType != 1) {
        PortTable::Instance().SetLastError(nPort, TAVRIX_ERR_PARA_OVER);
        return false;
    }
    pPort->Callbacks().SetEncryptType({pfn, pfn != nullptr ? pUser : nullptr});
    return true;
}

bool Tavrix_ConvertToBmp(const char* pBuf, int32_t nBufLen, int32_t nWidth, int32_t nHeight, int32_t nType,
                         char* pBmp, int32_t nBmpCap, int32_t* pnBmpLen) {
    if (nType != TAVRIX_FRAME_YV12 || nBufLen <= 0 || nBmpCap <= 0 || pnBmpLen == nullptr) {
        return false;
    }
    size_t nWritten = 0;
    if (!tavrix::BmpWriter::FromYv12(reinterpret_cast<const uint8_t*>(pBuf), static_cast<size_t>(nBufLen),
                                     nWidth, nHeight, reinterpret_cast<uint8_t*>(pBmp),
                                     static_cast<size_t>(nBmpCap), &nWritten)) {
        return false;
    }
    *pnBmpLen = static_cast<int32_t>(nWritten);
    return true;
}
