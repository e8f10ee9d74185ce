#include "AudioOutput.h"

#include "EngineLog.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace tavrix {
namespace {

// SDL's device list is not safe against concurrent opens and closes; every
// call that changes it goes through this lock. SDL's own callback never takes
// it. Nothing that takes it may run while it is held (it is not recursive):
// an output is never destroyed inside it, since its close takes it too.
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
// A stamp within this much of where the previous run would have reached is
// the same run: a new mark would only record rounding.
constexpr int64_t kStampSlackUs = 1000;
// Marks are only made where the stamps jump; a stream that does nothing else
// still cannot grow the list past this (the oldest go, costing one buffer of
// unknown clock).
constexpr size_t kMaxMarks = 256;

} // namespace

std::shared_ptr<AudioOutput> AudioOutput::Open(int nPort, int nWantedRate) {
    // Made outside the SDL lock: when the device cannot be opened, the output
    // goes away after the lock is let go, since its close takes the lock.
    std::shared_ptr<AudioOutput> pOut(new AudioOutput());
    if (!pOut->OpenDevice(nPort, nWantedRate)) {
        return nullptr;
    }
    return pOut;
}

bool AudioOutput::OpenDevice(int nPort, int nWantedRate) {
    std::lock_guard<std::mutex> lock(g_mtxSdl);
    if (!EnsureSdlAudio()) {
        EngineLog::Warn(nPort, "no sound: the port plays without it");
        return false;
    }
    SDL_AudioSpec want{};
    want.freq = nWantedRate > 0 ? nWantedRate : 48000;
    want.format = AUDIO_S16SYS;
    want.channels = 2;
    want.samples = 1024;
    want.callback = &AudioOutput::Callback;
    want.userdata = this;
    SDL_AudioSpec have{};
    const SDL_AudioDeviceID nDevice =
        SDL_OpenAudioDevice(nullptr, 0, &want, &have, SDL_AUDIO_ALLOW_FREQUENCY_CHANGE);
    if (nDevice == 0) {
        EngineLog::Warn(nPort, "no sound device (%s): the port plays without sound", SDL_GetError());
        return false;
    }
    // The callback cannot run before the device is unpaused below, so the
    // fields it reads are set first.
    m_nRate = have.freq;
    m_nChannels = have.channels;
    {
        std::lock_guard<std::mutex> lockRing(m_mtx);
        // Whole frames, so that no run of samples is ever split across channels.
        m_vecRing.assign(static_cast<size_t>(have.freq) * kRingMs / 1000 * have.channels, 0);
        m_nBufferUs = FramesToUs(have.samples);
    }
    m_nDevice = nDevice;
    SDL_PauseAudioDevice(m_nDevice, 0);
    return true;
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
        ForgetClock();
    }
    m_cvSpace.notify_all();
}

void AudioOutput::SetPaused(bool bPaused) {
    {
        std::lock_guard<std::mutex> lock(g_mtxSdl);
        if (m_nDevice != 0) {
            SDL_PauseAudioDevice(m_nDevice, bPaused ? 1 : 0);
        }
    }
    std::lock_guard<std::mutex> lock(m_mtx);
    m_bPaused = bPaused;
    // A paused device plays silence; after a resume what it plays is known
    // again only once it has asked for stamped sound.
    ForgetClock();
}

int64_t AudioOutput::FramesToUs(int64_t nFrames) const {
    return m_nRate > 0 ? nFrames * 1000000 / m_nRate : 0;
}

void AudioOutput::ForgetClock() {
    m_bClockValid = false;
    m_bPrevBufferStamped = false;
}

bool AudioOutput::StampOfFrame(int64_t nFrame, int64_t* pnStampUs) const {
    // The last mark at or before the frame; the stamps run on from it.
    for (auto it = m_deqMarks.rbegin(); it != m_deqMarks.rend(); ++it) {
        if (it->nFrame <= nFrame) {
            *pnStampUs = it->nStampUs + FramesToUs(nFrame - it->nFrame);
            return true;
        }
    }
    return false;
}

void SDLCALL AudioOutput::Callback(void* pUser, Uint8* pStream, int nLen) {
    static_cast<AudioOutput*>(pUser)->Fill(reinterpret_cast<int16_t*>(pStream),
                                           static_cast<size_t>(nLen) / sizeof(int16_t));
}

void AudioOutput::Fill(int16_t* pOut, size_t nSamples) {
    const TimePoint now = std::chrono::steady_clock::now();
    // Volume and gain in one factor: 65535 * 100 is full scale at no gain.
    const int64_t nScale = static_cast<int64_t>(m_nVolume.load()) * (100 + m_nGainPercent.load());
    const bool bUnity = nScale == 65535 * 100;
    size_t nDone = 0;
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        int64_t nFirstStampUs = 0;
        const bool bStamped = StampOfFrame(m_nReadFrames, &nFirstStampUs);
        const size_t nCap = m_vecRing.size();
        while (nDone < nSamples && m_nCount > 0) {
            const size_t nChunk = std::min({nSamples - nDone, m_nCount, nCap - m_nReadPos});
            const int16_t* pSrc = m_vecRing.data() + m_nReadPos;
            for (size_t i = 0; i < nChunk; ++i) {
                // With gain the product can pass full scale: it is clipped at
                // the 16-bit limits, never wrapped round.
                const int64_t n = bUnity ? pSrc[i] : pSrc[i] * nScale / (65535 * 100);
                pOut[nDone + i] = static_cast<int16_t>(std::clamp<int64_t>(n, INT16_MIN, INT16_MAX));
            }
            nDone += nChunk;
            m_nCount -= nChunk;
            m_nReadPos = (m_nReadPos + nChunk) % nCap;
        }
        m_nReadFrames += static_cast<int64_t>(nDone) / m_nChannels;
        while (m_deqMarks.size() > 1 && m_deqMarks[1].nFrame <= m_nReadFrames) {
            m_deqMarks.pop_front(); // what is left in the ring runs on from the second mark
        }
        // SDL gives no latency figure. As FFmpeg's player does, the device is
        // taken to hold one buffer while it asks for the next: the buffer
        // filled at the last callback is the one that starts playing now.
        m_bClockValid = m_bPrevBufferStamped && !m_bPaused;
        m_nClockStampUs = m_nPrevBufferStampUs;
        m_tClock = now;
        // A buffer padded with silence does not say what plays: the ring ran
        // dry (sound ended, or the decoder fell behind), and a picture must not
        // wait for sound that is not coming.
        m_bPrevBufferStamped = bStamped && nDone == nSamples;
        m_nPrevBufferStampUs = nFirstStampUs;
    }
    m_cvSpace.notify_all();
    if (nDone < nSamples) {
        std::memset(pOut + nDone, 0, (nSamples - nDone) * sizeof(int16_t));
    }
}

bool AudioOutput::ClockAt(TimePoint now, int64_t* pnStampUs) const {
    std::lock_guard<std::mutex> lock(m_mtx);
    if (!m_bClockValid || m_bPaused || m_bClosed) {
        return false;
    }
    // Between callbacks the sound runs on at the wall clock's pace, but never
    // past what the device holds: a late callback holds the clock still
    // rather than letting it run ahead of the sound.
    const int64_t nSinceUs = std::chrono::duration_cast<std::chrono::microseconds>(now - m_tClock).count();
    *pnStampUs = m_nClockStampUs + std::clamp<int64_t>(nSinceUs, 0, 2 * m_nBufferUs);
    return true;
}

bool AudioOutput::Write(const int16_t* pSamples, size_t nSamples, int64_t nStampUs,
                        const std::atomic<bool>* pbAbort) {
    std::unique_lock<std::mutex> lock(m_mtx);
    if (nStampUs != kNoStamp) {
        int64_t nRunOnUs = 0;
        if (!StampOfFrame(m_nWrittenFrames, &nRunOnUs) || std::abs(nRunOnUs - nStampUs) > kStampSlackUs) {
            if (m_deqMarks.size() >= kMaxMarks) {
                m_deqMarks.pop_front();
            }
            m_deqMarks.push_back(StampMark{m_nWrittenFrames, nStampUs});
        }
    }
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
        m_nWrittenFrames += static_cast<int64_t>(nChunk) / m_nChannels;
        pSamples += nChunk;
        nSamples -= nChunk;
    }
    return true;
}

int64_t AudioOutput::QueuedMs() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_nChannels > 0 ? FramesToUs(static_cast<int64_t>(m_nCount) / m_nChannels) / 1000 : 0;
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
        m_nReadFrames = m_nWrittenFrames;
        m_deqMarks.clear();
        ForgetClock();
    }
    m_cvSpace.notify_all();
}

} // namespace tavrix
