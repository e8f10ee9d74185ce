#include "PortDrive.h"

extern "C" {
#include <libavutil/log.h>
}

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

// Reads every byte the engine hands over, so a buffer shorter than the length
// it claims is an out-of-bounds read the address sanitizer reports.
unsigned ReadAll(const char* pBuf, int32_t nLen) {
    unsigned nSum = 0;
    for (int32_t i = 0; i < nLen; ++i)
        nSum += static_cast<unsigned char>(pBuf[i]);
    return nSum;
}

[[noreturn]] void Broken(const char* szWhat, long long a, long long b) {
    std::fprintf(stderr, "PortDrive: %s (%lld, %lld)\n", szWhat, a, b);
    std::abort();
}

void NoLog(void*, int, const char*, va_list) {}

void RunTimeCallBack(int32_t, TAVRIX_RUNTIME_INFO* pInfo, void*) {
    if (pInfo == nullptr)
        Broken("run-time report without a record", 0, 0);
}

void EncryptCallBack(int32_t, TAVRIX_ENCRYPT_INFO* pInfo, void*, void*) {
    if (pInfo == nullptr)
        Broken("encryption report without a record", 0, 0);
}

} // namespace

PortDrive::PortDrive(const Limits& limits, Observer* pObserver) : m_limits(limits), m_pObserver(pObserver) {}

void PortDrive::SilenceFfmpegLog() {
    int32_t nPort = -1;
    if (Tavrix_GetPort(&nPort))
        Tavrix_FreePort(nPort);
    av_log_set_callback(&NoLog);
}

PortDrive::Progress PortDrive::Snapshot() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_progress;
}

template <typename Fn> auto PortDrive::Call(const char* szCall, Fn fn) -> decltype(fn()) {
    if (m_pObserver)
        m_pObserver->Begin(szCall);
    auto result = fn();
    if (m_pObserver)
        m_pObserver->End();
    return result;
}

template <typename Pred> bool PortDrive::WaitFor(int nTimeoutMs, Pred pred) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cvChanged.wait_for(lock, std::chrono::milliseconds(nTimeoutMs),
                                [&] { return pred(m_progress); });
}

bool PortDrive::WaitForNews(const Progress& before, int nPictures, int nTimeoutMs) {
    return WaitFor(nTimeoutMs, [&before, nPictures](const Progress& p) {
        return p.nShown >= before.nShown + nPictures || p.nEnds > before.nEnds;
    });
}

PortDrive::Outcome PortDrive::Run(const char* szPath, uint32_t nSeed) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_progress = Progress();
    }
    Outcome outcome;
    int32_t nPort = -1;
    if (!Call("Tavrix_GetPort", [&] { return Tavrix_GetPort(&nPort); }))
        return outcome;
    Call("register callbacks", [&] {
        return Tavrix_SetDisplayCallBackEx(nPort, &PortDrive::DisplayCallBack, this) &&
               Tavrix_SetDecCallBackExMend(nPort, &PortDrive::DecodeCallBack, nullptr, 0, this) &&
               Tavrix_SetFileEndCallback(nPort, &PortDrive::FileEndCallBack, this) &&
               Tavrix_SetFileRefCallBack(nPort, &PortDrive::FileRefCallBack, this) &&
               Tavrix_SetRunTimeInfoCallBackEx(nPort, 1, &RunTimeCallBack, this) &&
               Tavrix_SetRunTimeInfoCallBackEx(nPort, 2, &RunTimeCallBack, this) &&
               Tavrix_SetEncryptTypeCallBack(nPort, 1, &EncryptCallBack, this);
    });
    if (m_limits.nDecodeThreads > 0)
        Call("Tavrix_SetDecodeThreads",
             [&] { return Tavrix_SetDecodeThreads(nPort, m_limits.nDecodeThreads); });
    outcome.bOpened = Call("Tavrix_OpenFile", [&] { return Tavrix_OpenFile(nPort, szPath); });
    if (outcome.bOpened) {
        Call("Tavrix_SetRealTime", [&] { return Tavrix_SetRealTime(nPort, false); });
        const Progress before = Snapshot();
        if (Call("Tavrix_Play", [&] { return Tavrix_Play(nPort, 0); }))
            WaitForNews(before, m_limits.nPlayFrames, m_limits.nWaitMs);
        WaitFor(m_limits.nWaitMs, [](const Progress& p) { return p.bIndexed; });
        JumpsAndSteps(nPort, nSeed);
        Call("Tavrix_Stop", [&] { return Tavrix_Stop(nPort); });
        Call("Tavrix_CloseFile", [&] { return Tavrix_CloseFile(nPort); });
    }
    Call("Tavrix_FreePort", [&] { return Tavrix_FreePort(nPort); });
    const Progress last = Snapshot();
    outcome.bIndexed = last.bIndexed;
    outcome.nShown = last.nShown;
    outcome.nEnds = last.nEnds;
    return outcome;
}

void PortDrive::JumpsAndSteps(int32_t nPort, uint32_t nSeed) {
    const uint32_t nTotal =
        Call("Tavrix_GetFileTotalFrames", [&] { return Tavrix_GetFileTotalFrames(nPort); });
    // Readings a play window takes while it plays.
    Call("readings", [&] {
        int32_t nWidth = 0;
        int32_t nHeight = 0;
        TAVRIX_SYSTEM_TIME stTime{};
        TAVRIX_FRAME_POS stPos{};
        Tavrix_GetPictureSize(nPort, &nWidth, &nHeight);
        Tavrix_GetSystemTime(nPort, &stTime);
        Tavrix_GetKeyFramePos(nPort, static_cast<uint32_t>(nSeed % (uint64_t{nTotal} + 1)),
                              TAVRIX_BY_FRAMENUM, &stPos);
        Tavrix_GetNextKeyFramePos(nPort, nSeed % 5000, TAVRIX_BY_FRAMETIME, &stPos);
        return Tavrix_GetCurrentFrameNum(nPort) + Tavrix_GetPlayedTimeEx(nPort) + Tavrix_GetFileTime(nPort) +
               Tavrix_GetDamagedFrames(nPort);
    });
    const auto jump = [&](uint32_t nFrame) {
        const Progress before = Snapshot();
        if (Call("Tavrix_SetCurrentFrameNum", [&] { return Tavrix_SetCurrentFrameNum(nPort, nFrame); }))
            WaitForNews(before, 1, m_limits.nStepWaitMs);
    };
    const auto step = [&](bool bBack) {
        const Progress before = Snapshot();
        const bool bOk = bBack ? Call("Tavrix_OneByOneBack", [&] { return Tavrix_OneByOneBack(nPort); })
                               : Call("Tavrix_OneByOne", [&] { return Tavrix_OneByOne(nPort); });
        if (bOk)
            WaitForNews(before, 1, m_limits.nStepWaitMs);
    };
    const uint32_t nSomewhere = nTotal > 0 ? nSeed % nTotal : 0;
    jump(nSomewhere); // the frame index may be missing: the jump then fails, the steps go on
    step(false);
    step(false);
    step(true);
    step(true);
    step(true);
    jump(nTotal > 0 ? nTotal - 1 : 0);
    step(false); // past the last frame
    step(true);
    jump(0);
    step(true); // before the first frame
    step(false);
    jump(nTotal > 0 ? (nSeed / 7) % nTotal : 0);
    step(true);
    // Forward again from there, unpaced, for a few pictures or to the end.
    const Progress before = Snapshot();
    if (Call("Tavrix_Play", [&] { return Tavrix_Play(nPort, 0); }))
        WaitForNews(before, m_limits.nPlayFrames, m_limits.nWaitMs);
}

void PortDrive::DisplayCallBack(TAVRIX_DISPLAY_INFO* pInfo) {
    if (pInfo == nullptr || pInfo->nUser == nullptr)
        Broken("display callback without its record or user value", 0, 0);
    auto* pThis = static_cast<PortDrive*>(pInfo->nUser);
    const long long nPixels = static_cast<long long>(pInfo->nWidth) * pInfo->nHeight;
    if (pInfo->pBuf == nullptr || pInfo->nWidth <= 0 || pInfo->nHeight <= 0 ||
        pInfo->nBufLen < nPixels * 3 / 2)
        Broken("display callback: picture size and buffer disagree", nPixels, pInfo->nBufLen);
    ReadAll(pInfo->pBuf, pInfo->nBufLen);
    std::lock_guard<std::mutex> lock(pThis->m_mutex);
    ++pThis->m_progress.nShown;
    pThis->m_cvChanged.notify_all();
}

void PortDrive::DecodeCallBack(int32_t, char* pBuf, int32_t nSize, TAVRIX_FRAME_INFO* pInfo, void*) {
    if (pInfo == nullptr || (pBuf == nullptr && nSize > 0) || nSize < 0)
        Broken("decode callback: no record or a bad buffer", nSize, 0);
    ReadAll(pBuf, nSize);
}

void PortDrive::FileEndCallBack(int32_t, void* pUser) {
    auto* pThis = static_cast<PortDrive*>(pUser);
    std::lock_guard<std::mutex> lock(pThis->m_mutex);
    ++pThis->m_progress.nEnds;
    pThis->m_cvChanged.notify_all();
}

void PortDrive::FileRefCallBack(int32_t, void* pUser) {
    auto* pThis = static_cast<PortDrive*>(pUser);
    std::lock_guard<std::mutex> lock(pThis->m_mutex);
    pThis->m_progress.bIndexed = true;
    pThis->m_cvChanged.notify_all();
}
