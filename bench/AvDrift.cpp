#include "AvDrift.h"

#include "Tavrix.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <mutex>

namespace avdrift {
namespace {
// The engine opens the device for signed 16-bit stereo.
constexpr int kBytesPerFrame = 4;
// Mean luma (sampled) above this is the white flash; the other frames are dark grey.
constexpr int kFlashLuma = 160;
// The beep peaks at half scale (16384); coded silence stays far below this.
constexpr int kBeepLevel = 2000;
// Beeps are a second apart: a crossing of the level this soon after an onset is the same beep.
constexpr double kBeepGapSeconds = 0.5;
constexpr size_t kAveraged = 10;

struct Flash {
    int32_t nStampMs = 0;
    int64_t nCaptureBytes = 0;
};

// What the callbacks see, on the engine's render thread.
struct Watch {
    std::string strRaw;
    std::mutex mtx;
    std::condition_variable cv;
    std::vector<Flash> vecFlashes; // guarded by mtx
    bool bEnded = false;           // guarded by mtx
};

int64_t CaptureBytes(const std::string& strRaw) {
    struct stat st {};
    return ::stat(strRaw.c_str(), &st) == 0 ? static_cast<int64_t>(st.st_size) : 0;
}

bool IsFlash(const TAVRIX_DISPLAY_INFO& info) {
    const auto* pY = reinterpret_cast<const uint8_t*>(info.pBuf);
    const int64_t nPixels = int64_t(info.nWidth) * info.nHeight;
    if (pY == nullptr || nPixels <= 0) {
        return false;
    }
    int64_t nSum = 0, nCount = 0;
    for (int64_t i = 0; i < nPixels; i += 7) {
        nSum += pY[i];
        ++nCount;
    }
    return nSum / nCount > kFlashLuma;
}

void OnDisplay(TAVRIX_DISPLAY_INFO* pInfo) {
    auto* pWatch = static_cast<Watch*>(pInfo->nUser);
    if (!IsFlash(*pInfo)) {
        return;
    }
    // Read first: the capture's length at the moment the flash is handed out.
    const int64_t nBytes = CaptureBytes(pWatch->strRaw);
    std::lock_guard<std::mutex> lock(pWatch->mtx);
    pWatch->vecFlashes.push_back(Flash{pInfo->nStamp, nBytes});
}

void OnFileEnd(int32_t, void* pUser) {
    auto* pWatch = static_cast<Watch*>(pUser);
    {
        std::lock_guard<std::mutex> lock(pWatch->mtx);
        pWatch->bEnded = true;
    }
    pWatch->cv.notify_all();
}

// The capture's sample rate, from the period of the first beep (1 kHz):
// the nearest usual rate to twice the mean distance between zero crossings.
int RateFromBeep(const std::vector<int16_t>& vecLeft, size_t nOnset) {
    std::vector<size_t> vecCrossings;
    for (size_t i = nOnset + 1; i < vecLeft.size() && vecCrossings.size() < 60; ++i) {
        if ((vecLeft[i] >= 0) != (vecLeft[i - 1] >= 0)) {
            vecCrossings.push_back(i);
        }
    }
    if (vecCrossings.size() < 20) {
        return 0;
    }
    const double dHalfPeriod =
        double(vecCrossings.back() - vecCrossings.front()) / double(vecCrossings.size() - 1);
    const double dRate = 2.0 * dHalfPeriod * 1000.0;
    static const int kRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000, 88200, 96000};
    return *std::min_element(std::begin(kRates), std::end(kRates),
                             [dRate](int a, int b) { return std::abs(a - dRate) < std::abs(b - dRate); });
}

struct Beep {
    int nSecond = 0;    // stream second it belongs to
    int64_t nFrame = 0; // where it starts in the capture, in stereo frames
};

// Beep onsets in the capture, each numbered with its stream second: the first
// heard is second 0 (sound is on from the start); the others count on by the
// capture's distance between them, so a lost beep does not shift the rest.
std::vector<Beep> FindBeeps(const std::vector<int16_t>& vecLeft, int* pnRate) {
    std::vector<Beep> vecBeeps;
    *pnRate = 0;
    int64_t nLast = -1;
    for (size_t i = 0; i < vecLeft.size(); ++i) {
        if (std::abs(int(vecLeft[i])) <= kBeepLevel) {
            continue;
        }
        if (nLast >= 0 && *pnRate > 0 && int64_t(i) - nLast < int64_t(kBeepGapSeconds * *pnRate)) {
            nLast = int64_t(i);
            continue;
        }
        if (*pnRate == 0) {
            *pnRate = RateFromBeep(vecLeft, i);
            if (*pnRate == 0) {
                return {};
            }
        }
        // The tone starts a little before it first crosses the level: back to the last zero crossing.
        size_t nStart = i;
        while (nStart > 0 && (vecLeft[nStart - 1] >= 0) == (vecLeft[i] >= 0)) {
            --nStart;
        }
        Beep beep;
        beep.nFrame = int64_t(nStart);
        beep.nSecond = vecBeeps.empty()
                           ? 0
                           : vecBeeps.back().nSecond +
                                 int(std::lround(double(beep.nFrame - vecBeeps.back().nFrame) / *pnRate));
        vecBeeps.push_back(beep);
        // Past this beep: the rest of its 40 ms is the same beep.
        nLast = int64_t(i);
    }
    return vecBeeps;
}

double MeanOf(const std::vector<double>& vec, size_t nFrom, size_t nCount) {
    double dSum = 0.0;
    for (size_t i = nFrom; i < nFrom + nCount; ++i) {
        dSum += vec[i];
    }
    return dSum / double(nCount);
}

bool Play(const std::string& strClip, Watch* pWatch, std::chrono::seconds limit, std::string* pstrError) {
    int32_t nPort = -1;
    if (!Tavrix_GetPort(&nPort)) {
        *pstrError = "no port";
        return false;
    }
    bool bOk = Tavrix_SetDisplayCallBackEx(nPort, &OnDisplay, pWatch) &&
               Tavrix_SetFileEndCallback(nPort, &OnFileEnd, pWatch) &&
               Tavrix_OpenFile(nPort, strClip.c_str());
    // Sound on before play, so that the first beep is heard.
    bOk = bOk && Tavrix_PlaySoundShare(nPort) && Tavrix_SetRealTime(nPort, true) && Tavrix_Play(nPort, 0);
    if (!bOk) {
        *pstrError = "open, sound or play failed, engine error " + std::to_string(Tavrix_GetLastError(nPort));
    } else {
        std::unique_lock<std::mutex> lock(pWatch->mtx);
        if (!pWatch->cv.wait_for(lock, limit, [pWatch] { return pWatch->bEnded; })) {
            *pstrError = "no file end within the time limit";
            bOk = false;
        }
    }
    // Closing the sound device closes the capture file, which writes it out.
    Tavrix_StopSoundShare(nPort);
    Tavrix_CloseFile(nPort);
    Tavrix_FreePort(nPort);
    return bOk;
}

} // namespace

Result Measure(const std::string& strClip, const std::string& strRawPath, std::chrono::seconds limit) {
    Result result;
    std::remove(strRawPath.c_str());
    ::setenv("SDL_DISKAUDIOFILE", strRawPath.c_str(), 1);
    Watch watch;
    watch.strRaw = strRawPath;
    if (!Play(strClip, &watch, limit, &result.strError)) {
        return result;
    }
    std::ifstream file(strRawPath, std::ios::binary);
    const std::vector<char> vecRaw((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::vector<int16_t> vecLeft(vecRaw.size() / kBytesPerFrame);
    for (size_t i = 0; i < vecLeft.size(); ++i) {
        int16_t nSample = 0;
        std::copy_n(vecRaw.data() + i * kBytesPerFrame, sizeof(nSample), reinterpret_cast<char*>(&nSample));
        vecLeft[i] = nSample;
    }
    const std::vector<Beep> vecBeeps = FindBeeps(vecLeft, &result.nRate);
    const std::vector<Flash> vecFlashes = watch.vecFlashes; // the port is closed: no callback runs now
    result.nBeeps = int(vecBeeps.size());
    result.nFlashes = int(vecFlashes.size());
    if (result.nRate == 0) {
        result.strError = "no beep in a capture of " + std::to_string(vecRaw.size()) + " bytes";
        return result;
    }
    const double dBytesPerMs = double(result.nRate) * kBytesPerFrame / 1000.0;
    std::vector<double> vecOffsets, vecDevice;
    size_t nBeep = 0;
    for (const Flash& flash : vecFlashes) {
        const int nSecond = int(std::lround(flash.nStampMs / 1000.0));
        while (nBeep < vecBeeps.size() && vecBeeps[nBeep].nSecond < nSecond) {
            ++nBeep;
        }
        if (nBeep == vecBeeps.size() || vecBeeps[nBeep].nSecond != nSecond) {
            continue; // its beep was not heard
        }
        const double dBeepMs = double(vecBeeps[nBeep].nFrame) * kBytesPerFrame / dBytesPerMs;
        const double dCaptureMs = double(flash.nCaptureBytes) / dBytesPerMs;
        vecOffsets.push_back(dCaptureMs - dBeepMs);
        vecDevice.push_back(dCaptureMs - flash.nStampMs);
    }
    result.nPairs = int(vecOffsets.size());
    if (vecOffsets.size() < 2 * kAveraged) {
        result.strError = std::to_string(result.nPairs) + " flashes matched with beeps (" +
                          std::to_string(result.nFlashes) + " flashes, " + std::to_string(result.nBeeps) +
                          " beeps); too few to average";
        return result;
    }
    const size_t nLastFrom = vecOffsets.size() - kAveraged;
    result.dStartMs = MeanOf(vecOffsets, 0, kAveraged);
    result.dEndMs = MeanOf(vecOffsets, nLastFrom, kAveraged);
    result.dDriftMs = result.dEndMs - result.dStartMs;
    result.dDeviceStartMs = MeanOf(vecDevice, 0, kAveraged);
    result.dDeviceEndMs = MeanOf(vecDevice, nLastFrom, kAveraged);
    result.dDeviceDriftMs = result.dDeviceEndMs - result.dDeviceStartMs;
    result.bOk = true;
    return result;
}

} // namespace avdrift
