// The flat interface for pictures: snapshots, picture files, colour and
// orientation settings, motion flow, sound gain and late frames.
#include "Tavrix.h"

#include "PathCodec.h"
#include "PortCall.h"
#include "SnapshotEncoder.h"

#include <vector>

using tavrix::PlayerPort;
using tavrix::PortTable;
using tavrix::SnapshotEncoder;

namespace {

std::shared_ptr<PlayerPort> Lookup(int32_t nPort) {
    return tavrix::LookupPort(nPort);
}

template <typename Fn> bool Run(int32_t nPort, Fn fn) {
    return tavrix::RunOnPort(nPort, fn);
}

// Only region 0 has settings of its own; region 1 follows it.
bool RegionOk(PlayerPort& port, uint32_t nRegionNum) {
    if (nRegionNum > 1) {
        port.SetLastError(TAVRIX_ERR_PARA_OVER);
        return false;
    }
    return true;
}

bool ConvertToFile(const char* pBuf, int32_t nBufLen, int32_t nWidth, int32_t nHeight, int32_t nType,
                   const char* szFileName, bool bJpeg) {
    if (pBuf == nullptr || szFileName == nullptr || szFileName[0] == '\0' || nType != TAVRIX_FRAME_YV12 ||
        nWidth <= 0 || nHeight <= 0 || (nWidth % 2) != 0 || (nHeight % 2) != 0 || nBufLen <= 0) {
        return false;
    }
    std::string strPath;
    if (!tavrix::PathCodec::Gb18030ToUtf8(szFileName, &strPath)) {
        return false;
    }
    tavrix::FramePtr pPicture = tavrix::MakeFrame();
    if (!pPicture ||
        !SnapshotEncoder::WrapYv12(reinterpret_cast<const uint8_t*>(pBuf), static_cast<size_t>(nBufLen),
                                   nWidth, nHeight, pPicture.get())) {
        return false;
    }
    std::vector<uint8_t> vecBytes;
    const bool bEncoded = bJpeg ? SnapshotEncoder::EncodeJpeg(-1, pPicture.get(), &vecBytes)
                                : SnapshotEncoder::EncodeBmp(-1, pPicture.get(), &vecBytes);
    return bEncoded && SnapshotEncoder::WriteFileAtomically(strPath, vecBytes);
}

} // namespace

// ---- snapshots and picture files ----------------------------------------------

bool Tavrix_GetBMP(int32_t nPort, char* pBmpBuf, uint32_t nBufSize, uint32_t* pnSize) {
    return Run(nPort, [=](PlayerPort& port) {
        return port.Snapshot(SnapshotEncoder::Format::Bmp, pBmpBuf, nBufSize, pnSize);
    });
}

bool Tavrix_GetJPEG(int32_t nPort, char* pJpegBuf, uint32_t nBufSize, uint32_t* pnSize) {
    return Run(nPort, [=](PlayerPort& port) {
        return port.Snapshot(SnapshotEncoder::Format::Jpeg, pJpegBuf, nBufSize, pnSize);
    });
}

bool Tavrix_ConvertToBmpFile(const char* pBuf, int32_t nBufLen, int32_t nWidth, int32_t nHeight,
                             int32_t nType, const char* szFileName) {
    return ConvertToFile(pBuf, nBufLen, nWidth, nHeight, nType, szFileName, false);
}

bool Tavrix_ConvertToJpegFile(const char* pBuf, int32_t nBufLen, int32_t nWidth, int32_t nHeight,
                              int32_t nType, const char* szFileName) {
    return ConvertToFile(pBuf, nBufLen, nWidth, nHeight, nType, szFileName, true);
}

// ---- picture controls ---------------------------------------------------------

bool Tavrix_SetColor(int32_t nPort, uint32_t nRegionNum, int32_t nBrightness, int32_t nContrast,
                     int32_t nSaturation, int32_t nHue) {
    return Run(nPort, [=](PlayerPort& port) {
        return RegionOk(port, nRegionNum) && port.SetColour(nBrightness, nContrast, nSaturation, nHue);
    });
}

bool Tavrix_GetColor(int32_t nPort, uint32_t nRegionNum, int32_t* pBrightness, int32_t* pContrast,
                     int32_t* pSaturation, int32_t* pHue) {
    return Run(nPort, [=](PlayerPort& port) {
        if (!RegionOk(port, nRegionNum)) {
            return false;
        }
        if (pBrightness == nullptr || pContrast == nullptr || pSaturation == nullptr || pHue == nullptr) {
            port.SetLastError(TAVRIX_ERR_PARA_OVER);
            return false;
        }
        const tavrix::PictureAdjuster::Settings settings = port.PictureSettings();
        *pBrightness = settings.nBrightness;
        *pContrast = settings.nContrast;
        *pSaturation = settings.nSaturation;
        *pHue = settings.nHue;
        return true;
    });
}

bool Tavrix_SetRotateAngle(int32_t nPort, uint32_t nRegionNum, int32_t nAngle) {
    return Run(nPort, [=](PlayerPort& port) {
        if (!RegionOk(port, nRegionNum)) {
            return false;
        }
        if (nAngle < -1 || nAngle > 2) {
            port.SetLastError(TAVRIX_ERR_PARA_OVER);
            return false;
        }
        // Region 1 shows region 0's picture: the call is accepted and changes nothing.
        return nRegionNum == 1 || port.SetRotate(nAngle);
    });
}

bool Tavrix_SetFlip(int32_t nPort, uint32_t nRegionNum, uint32_t nFlip) {
    return Run(nPort, [=](PlayerPort& port) {
        if (!RegionOk(port, nRegionNum)) {
            return false;
        }
        return nRegionNum == 1 || port.SetFlip(nFlip);
    });
}

uint32_t Tavrix_GetFlip(int32_t nPort, uint32_t /*nRegionNum*/) {
    std::shared_ptr<PlayerPort> pPort = Lookup(nPort);
    return pPort ? pPort->PictureSettings().nFlip : 0;
}

bool Tavrix_MotionFlow(int32_t nPort, uint32_t nMode) {
    return Run(nPort, [=](PlayerPort& port) { return port.SetMotionFlow(nMode); });
}

bool Tavrix_AdjustWaveAudio(int32_t nPort, int32_t nCoefficient) {
    return Run(nPort, [=](PlayerPort& port) { return port.AdjustWaveAudio(nCoefficient); });
}

uint32_t Tavrix_GetLateFrames(int32_t nPort) {
    std::shared_ptr<PlayerPort> pPort = Lookup(nPort);
    return pPort ? pPort->LateFrames() : 0;
}
