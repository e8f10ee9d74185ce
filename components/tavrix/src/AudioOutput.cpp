#include "AudioOutput.h"

#include "EngineLog.h"

#include <algorithm>
#include <cstring>

namespace tavrix {
namespace {

// SDL's device list is not safe against concurrent opens and closes; every
// call that changes it goes through this lock. SDL's own callback never takes it.
std::mutex g_mtxSdl;
bool g_bSdlReady = false; // guarded by g_mtxSdl

// Initialised once; a failure is tried again at the next request, since a
// sound server may have come up meanwhile.
bool EnsureSdlAudio() {
    if (!g_bSdlReady) {
        g_bSdlReady = SDL_InitSubSystem(SDL_INIT_AUDIO) == 0;
        if (!g_bSdlReady) {
            EngineLog::Warn(-1, "SDL audio: %s", SDL_GetError());
        }
    }
    return g_bSdlReady;
}

// About a third of a second of sound in the ring: enough to ride over a busy
// decoder, short enough that pause and volume feel immediate.
constexpr int kRingMs = 300;

} // namespace

std::shared_ptr<AudioOutput> AudioOutput::Open(int nPort, int nWantedRate) {
    std::lock_guard<std::mutex> lock(g_mtxSdl);
    if (!EnsureSdlAudio()) {
        return nullptr;
    }
    std::shared_ptr<AudioOutput> pOut(new AudioOutput());
    SDL_AudioSpec want{};
    want.freq = nWantedRate > 0 ? nWantedRate : 48000;
    want.format = AUDIO_S16SYS;
    want.channels = 2;
    want.samples = 1024;
    want.callback = &AudioOutput::Callback;
    want.userdata = pOut.get();
    SDL_AudioSpec have{};
    pOut->m_nDevice = SDL_OpenAudioDevice(nullptr, 0, &want, &have, SDL_AUDIO_ALLOW_FREQUENCY_CHANGE);
    if (pOut->m_nDevice == 0) {
        EngineLog::Warn(nPort, "no sound device: %s", SDL_GetError());
        return nullptr;
    }
    pOut->m_nRate = have.freq;
    pOut->m_nChannels = have.channels;
    pOut->m_vecRing.assign(static_cast<size_t>(have.freq) * have.channels * kRingMs / 1000, 0);
    SDL_PauseAudioDevice(pOut->m_nDevice, 0);
    return pOut;
}

AudioOutput::~AudioOutput() {
    Close();
}

void AudioOutput::Close() {
    {
        std::lock_guard<std::mutex> lock(g_mtxSdl);
        if (m_nDevice != 0) {
            // Waits for a running callback, so the ring outlives its last use.
            SDL_CloseAudioDevice(m_nDevice);
            m_nDevice = 0;
        }
    }
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bClosed = true;
    }
    m_cvSpace.notify_all();
}

void AudioOutput::SetPaused(bool bPaused) {
    std::lock_guard<std::mutex> lock(g_mtxSdl);
    if (m_nDevice != 0) {
        SDL_PauseAudioDevice(m_nDevice, bPaused ? 1 : 0);
    }
}

void SDLCALL AudioOutput::Callback(void* pUser, Uint8* pStream, int nLen) {
    static_cast<AudioOutput*>(pUser)->Fill(reinterpret_cast<int16_t*>(pStream),
                                           static_cast<size_t>(nLen) / sizeof(int16_t));
}

void AudioOutput::Fill(int16_t* pOut, size_t nSamples) {
    const int64_t nVolume = m_nVolume.load();
    size_t nDone = 0;
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        const size_t nCap = m_vecRing.size();
        while (nDone < nSamples && m_nCount > 0) {
            const size_t nChunk = std::min({nSamples - nDone, m_nCount, nCap - m_nReadPos});
            const int16_t* pSrc = m_vecRing.data() + m_nReadPos;
            for (size_t i = 0; i < nChunk; ++i) {
                pOut[nDone + i] = static_cast<int16_t>(pSrc[i] * nVolume / 65535);
            }
            nDone += nChunk;
            m_nCount -= nChunk;
            m_nReadPos = (m_nReadPos + nChunk) % nCap;
        }
    }
    m_cvSpace.notify_all();
    if (nDone < nSamples) {
        std::memset(pOut + nDone, 0, (nSamples - nDone) * sizeof(int16_t));
    }
}

bool AudioOutput::Write(const int16_t* pSamples, size_t nSamples, const std::atomic<bool>* pbAbort) {
    std::unique_lock<std::mutex> lock(m_mtx);
    const size_t nCap = m_vecRing.size();
    while (nSamples > 0) {
        m_cvSpace.wait(lock, [&] { return m_bClosed || pbAbort->load() || m_nCount < nCap; });
        if (m_bClosed || pbAbort->load()) {
            return false;
        }
        const size_t nWritePos = (m_nReadPos + m_nCount) % nCap;
        const size_t nChunk = std::min({nSamples, nCap - m_nCount, nCap - nWritePos});
        std::memcpy(m_vecRing.data() + nWritePos, pSamples, nChunk * sizeof(int16_t));
        m_nCount += nChunk;
        pSamples += nChunk;
        nSamples -= nChunk;
    }
    return true;
}

void AudioOutput::Wake() {
    { std::lock_guard<std::mutex> lock(m_mtx); }
    m_cvSpace.notify_all();
}

void AudioOutput::Flush() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_nCount = 0;
        m_nReadPos = 0;
    }
    m_cvSpace.notify_all();
}

} // namespace tavrix
