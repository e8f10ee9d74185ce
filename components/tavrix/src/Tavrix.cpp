// The flat interface: looks up the port and hands over to it. Errors land in
// the per-port last error, which the caller reads after a false.
#include "Tavrix.h"

#include "PortCall.h"
#include "RegionSinks.h"
#include "WidgetPresenter.h"

using tavrix::PlayerPort;
using tavrix::PortTable;

namespace {

std::shared_ptr<PlayerPort> Lookup(int32_t nPort) {
    return tavrix::LookupPort(nPort);
}

template <typename Fn> bool Run(int32_t nPort, Fn fn) {
    return tavrix::RunOnPort(nPort, fn);
}

template <typename T, typename Fn> T Read(int32_t nPort, Fn fn) {
    std::shared_ptr<PlayerPort> pPort = Lookup(nPort);
    return pPort ? fn(*pPort) : T{};
}

} // namespace

// ---- ports and opening -------------------------------------------------------

bool Tavrix_GetPort(int32_t* pnPort) {
    if (pnPort == nullptr) {
        return false;
    }
    return PortTable::Instance().Allocate(pnPort);
}

bool Tavrix_FreePort(int32_t nPort) {
    std::shared_ptr<PlayerPort> pPort = PortTable::Instance().Release(nPort);
    if (!pPort) {
        PortTable::Instance().SetLastError(nPort, TAVRIX_ERR_NO_PORT);
        return false;
    }
    // Close here, while this thread still owns the port: the last owner may
    // otherwise be an engine thread, which cannot join itself.
    pPort->CloseStream();
    pPort->CloseFile();
    pPort->StopSound();
    return true;
}

int32_t Tavrix_GetPortsInUse() {
    return PortTable::Instance().InUse();
}

bool Tavrix_SetStreamOpenMode(int32_t nPort, uint32_t nMode) {
    return Run(nPort, [nMode](PlayerPort& port) { return port.SetStreamOpenMode(nMode); });
}

bool Tavrix_OpenFile(int32_t nPort, const char* szFileName) {
    return Run(nPort, [szFileName](PlayerPort& port) { return port.OpenFile(szFileName); });
}

bool Tavrix_CloseFile(int32_t nPort) {
    return Run(nPort, [](PlayerPort& port) { return port.CloseFile(); });
}

bool Tavrix_SkipErrorData(int32_t nPort, bool /*bSkip*/) {
    // Damaged data is always skipped by the decoders; the switch is accepted.
    return Run(nPort, [](PlayerPort&) { return true; });
}

bool Tavrix_SetSecretKey(int32_t nPort, int32_t nKeyType, const char* pSecretKey, int32_t nKeyLen) {
    return Run(nPort, [=](PlayerPort& port) { return port.SetSecretKey(nKeyType, pSecretKey, nKeyLen); });
}

bool Tavrix_SetDecodeEngineEx(int32_t nPort, uint32_t nDecodeEngine) {
    return Run(nPort, [nDecodeEngine](PlayerPort& port) { return port.SetDecodeEngine(nDecodeEngine); });
}

bool Tavrix_SetDecodeThreads(int32_t nPort, uint32_t nThreads) {
    return Run(nPort, [nThreads](PlayerPort& port) { return port.SetDecodeThreads(nThreads); });
}

uint32_t Tavrix_GetDecodeEngine(int32_t nPort) {
    return Read<uint32_t>(nPort, [](PlayerPort& port) { return port.DecodeEngine(); });
}

uint32_t Tavrix_GetLastError(int32_t nPort) {
    return PortTable::Instance().LastError(nPort);
}

uint32_t Tavrix_GetSdkVersion() {
    // 1.2.0.0: raised by hand when the engine's behaviour towards its callers changes.
    return (1u << 24) | (2u << 16);
}

// ---- stream mode ------------------------------------------------------------

bool Tavrix_OpenStream(int32_t nPort, const char* pHeader, uint32_t nHeaderLen, uint32_t nBufPoolSize) {
    return Run(nPort, [=](PlayerPort& port) { return port.OpenStream(pHeader, nHeaderLen, nBufPoolSize); });
}

bool Tavrix_OpenStreamAdvanced(int32_t nPort, int32_t nType, TAVRIX_STREAM_HEADER* pRecord,
                               uint32_t nBufPoolSize) {
    return Run(nPort,
               [=](PlayerPort& port) { return port.OpenStreamAdvanced(nType, pRecord, nBufPoolSize); });
}

bool Tavrix_CloseStream(int32_t nPort) {
    return Run(nPort, [](PlayerPort& port) { return port.CloseStream(); });
}

bool Tavrix_InputData(int32_t nPort, const char* pBuf, uint32_t nSize) {
    return Run(nPort, [=](PlayerPort& port) { return port.InputData(pBuf, nSize); });
}

bool Tavrix_SetDisplayBuf(int32_t nPort, uint32_t nNum) {
    return Run(nPort, [nNum](PlayerPort& port) { return port.SetDisplayBuf(nNum); });
}

bool Tavrix_GetStreamStats(int32_t nPort, TAVRIX_STREAM_STATS* pStats) {
    return Run(nPort, [pStats](PlayerPort& port) { return port.StreamStats(pStats); });
}

// ---- transport -----------------------------------------------------------------

bool Tavrix_Play(int32_t nPort, uintptr_t hWnd) {
    return Run(nPort, [hWnd](PlayerPort& port) {
        // The sink shows both display regions (see TavrixRegions.cpp).
        return port.Play(hWnd, [hWnd, &port]() -> std::shared_ptr<tavrix::FrameSink> {
            return tavrix::RegionSinks::Create(&port, hWnd);
        });
    });
}

bool Tavrix_Pause(int32_t nPort, uint32_t nPause) {
    return Run(nPort, [nPause](PlayerPort& port) { return port.Pause(nPause != 0); });
}

bool Tavrix_Stop(int32_t nPort) {
    return Run(nPort, [](PlayerPort& port) { return port.Stop(); });
}

bool Tavrix_RefreshPlayEx(int32_t nPort, uint32_t nRegionNum) {
    return Run(nPort, [nRegionNum](PlayerPort& port) { return port.Refresh(nRegionNum); });
}

bool Tavrix_SetRealTime(int32_t nPort, bool bRealTime) {
    return Run(nPort, [bRealTime](PlayerPort& port) { return port.SetRealTime(bRealTime); });
}

bool Tavrix_Fast(int32_t nPort) {
    return Run(nPort, [](PlayerPort& port) { return port.Fast(); });
}

bool Tavrix_Slow(int32_t nPort) {
    return Run(nPort, [](PlayerPort& port) { return port.Slow(); });
}

bool Tavrix_ReversePlay(int32_t nPort) {
    return Run(nPort, [](PlayerPort& port) { return port.ReversePlay(); });
}

bool Tavrix_OneByOne(int32_t nPort) {
    return Run(nPort, [](PlayerPort& port) { return port.OneByOne(); });
}

bool Tavrix_OneByOneBack(int32_t nPort) {
    return Run(nPort, [](PlayerPort& port) { return port.OneByOneBack(); });
}

bool Tavrix_SetCurrentFrameNum(int32_t nPort, uint32_t nFrameNum) {
    return Run(nPort, [nFrameNum](PlayerPort& port) { return port.SetCurrentFrameNum(nFrameNum); });
}

bool Tavrix_SetPlayedTimeEx(int32_t nPort, uint32_t nTimeMs) {
    return Run(nPort, [nTimeMs](PlayerPort& port) { return port.SetPlayedTimeMs(nTimeMs); });
}

bool Tavrix_ThrowBFrameNum(int32_t nPort, uint32_t nNum) {
    return Run(nPort, [nNum](PlayerPort& port) { return port.ThrowBFrames(nNum); });
}

bool Tavrix_GetKeyFramePos(int32_t nPort, uint32_t nValue, uint32_t nType, TAVRIX_FRAME_POS* pFramePos) {
    return Run(nPort, [=](PlayerPort& port) { return port.KeyFramePos(nValue, nType, false, pFramePos); });
}

bool Tavrix_GetNextKeyFramePos(int32_t nPort, uint32_t nValue, uint32_t nType, TAVRIX_FRAME_POS* pFramePos) {
    return Run(nPort, [=](PlayerPort& port) { return port.KeyFramePos(nValue, nType, true, pFramePos); });
}

// ---- readings --------------------------------------------------------------------

uint32_t Tavrix_GetFileTime(int32_t nPort) {
    return Read<uint32_t>(nPort, [](PlayerPort& port) { return port.FileTimeSec(); });
}

uint32_t Tavrix_GetPlayedTime(int32_t nPort) {
    return Read<uint32_t>(nPort, [](PlayerPort& port) { return port.PlayedTimeMs() / 1000; });
}

uint32_t Tavrix_GetPlayedTimeEx(int32_t nPort) {
    return Read<uint32_t>(nPort, [](PlayerPort& port) { return port.PlayedTimeMs(); });
}

uint32_t Tavrix_GetFileTotalFrames(int32_t nPort) {
    return Read<uint32_t>(nPort, [](PlayerPort& port) { return port.TotalFrames(); });
}

uint32_t Tavrix_GetCurrentFrameNum(int32_t nPort) {
    return Read<uint32_t>(nPort, [](PlayerPort& port) { return port.CurrentFrameNum(); });
}

uint32_t Tavrix_GetDamagedFrames(int32_t nPort) {
    return Read<uint32_t>(nPort, [](PlayerPort& port) { return port.DamagedFrames(); });
}

bool Tavrix_GetPictureSize(int32_t nPort, int32_t* pWidth, int32_t* pHeight) {
    if (pWidth == nullptr || pHeight == nullptr) {
        PortTable::Instance().SetLastError(nPort, TAVRIX_ERR_PARA_OVER);
        return false;
    }
    return Run(nPort, [pWidth, pHeight](PlayerPort& port) {
        if (!port.PictureSize(pWidth, pHeight)) {
            port.SetLastError(TAVRIX_ERR_ORDER);
            return false;
        }
        return true;
    });
}

bool Tavrix_GetSystemTime(int32_t nPort, TAVRIX_SYSTEM_TIME* pstSystemTime) {
    if (pstSystemTime == nullptr) {
        PortTable::Instance().SetLastError(nPort, TAVRIX_ERR_PARA_OVER);
        return false;
    }
    return Run(nPort, [pstSystemTime](PlayerPort& port) {
        if (!port.SystemTime(pstSystemTime)) {
            port.SetLastError(TAVRIX_ERR_NOT_SUPPORT);
            return false;
        }
        return true;
    });
}

// ---- sound ------------------------------------------------------------------------

bool Tavrix_PlaySoundShare(int32_t nPort) {
    return Run(nPort, [](PlayerPort& port) { return port.PlaySound(); });
}

bool Tavrix_StopSoundShare(int32_t nPort) {
    return Run(nPort, [](PlayerPort& port) { return port.StopSound(); });
}

bool Tavrix_SetVolume(int32_t nPort, uint16_t wVolume) {
    return Run(nPort, [wVolume](PlayerPort& port) { return port.SetVolume(wVolume); });
}

// ---- callbacks -------------------------------------------------------------------

bool Tavrix_SetDisplayCallBackEx(int32_t nPort, TavrixDisplayCB pfn, void* pUser) {
    return Run(nPort, [=](PlayerPort& port) {
        port.Callbacks().SetDisplay({pfn, pUser});
        return true;
    });
}

bool Tavrix_RegisterDrawFunEx(int32_t nPort, int32_t nRegionNum, TavrixDrawCB pfn, void* pUser) {
    return Run(nPort, [=](PlayerPort& port) {
        if (nRegionNum != 0 && nRegionNum != 1) {
            port.SetLastError(TAVRIX_ERR_PARA_OVER);
            return false;
        }
        port.Callbacks().SetDraw(nRegionNum, {pfn, pUser});
        return true;
    });
}

bool Tavrix_SetFileRefCallBack(int32_t nPort, TavrixFileRefCB pfn, void* pUser) {
    return Run(nPort, [=](PlayerPort& port) {
        port.Callbacks().SetFileRef({pfn, pUser});
        return true;
    });
}

bool Tavrix_SetCheckWatermarkCallBack(int32_t nPort, TavrixWatermarkCB pfn, void* pUser) {
    return Run(nPort, [=](PlayerPort& port) {
        port.Callbacks().SetWatermark({pfn, pUser});
        return true;
    });
}

bool Tavrix_SetDecCallBackExMend(int32_t nPort, TavrixDecCB pfn, char* /*pDest*/, int32_t /*nDestSize*/,
                                 void* pUser) {
    return Run(nPort, [=](PlayerPort& port) {
        port.Callbacks().SetDec({pfn, pUser});
        return true;
    });
}

bool Tavrix_SetFileEndCallback(int32_t nPort, TavrixFileEndCB pfn, void* pUser) {
    return Run(nPort, [=](PlayerPort& port) {
        port.Callbacks().SetFileEnd({pfn, pUser});
        return true;
    });
}

bool Tavrix_SetEncTypeChangeCallBack(int32_t nPort, TavrixEncTypeChangeCB pfn, void* pUser) {
    return Run(nPort, [=](PlayerPort& port) {
        port.Callbacks().SetEncTypeChange({pfn, pUser});
        return true;
    });
}

bool Tavrix_SetRunTimeInfoCallBackEx(int32_t nPort, int32_t nModule, TavrixRunTimeInfoCB pfn, void* pUser) {
    return Run(nPort, [=](PlayerPort& port) {
        if (nModule != 1 && nModule != 2) {
            port.SetLastError(TAVRIX_ERR_PARA_OVER);
            return false;
        }
        port.Callbacks().SetRunTime(nModule, {pfn, pUser});
        return true;
    });
}
