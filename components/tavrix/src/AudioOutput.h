// One SDL2 sound device for one port. The decoder writes interleaved signed
// 16-bit samples into a short ring; SDL's callback takes them out at the
// device's pace, applies the volume and fills any gap with silence.
#pragma once

#include <SDL2/SDL.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace tavrix {

class AudioOutput {
public:
    // Null when SDL has no sound device to give.
    static std::shared_ptr<AudioOutput> Open(int nPort, int nWantedRate);
    ~AudioOutput();
    AudioOutput(const AudioOutput&) = delete;
    AudioOutput& operator=(const AudioOutput&) = delete;

    int Rate() const { return m_nRate; }
    int Channels() const { return m_nChannels; }
    // 0 silent .. 65535 full scale, linear.
    void SetVolume(uint16_t nVolume) { m_nVolume = nVolume; }
    void SetPaused(bool bPaused);
    // Blocks while the ring is full; false once *pbAbort is set (see Wake)
    // or the device is closed.
    bool Write(const int16_t* pSamples, size_t nSamples, const std::atomic<bool>* pbAbort);
    // Wakes a blocked writer so it can look at its abort flag.
    void Wake();
    // Drops what is queued.
    void Flush();
    // Closes the device now (silence) and refuses further writes.
    void Close();

private:
    AudioOutput() = default;
    static void SDLCALL Callback(void* pUser, Uint8* pStream, int nLen);
    void Fill(int16_t* pOut, size_t nSamples);

    SDL_AudioDeviceID m_nDevice = 0;
    int m_nRate = 0;
    int m_nChannels = 0;
    std::atomic<uint32_t> m_nVolume{65535};

    std::mutex m_mtx;
    std::condition_variable m_cvSpace;
    std::vector<int16_t> m_vecRing; // guarded by m_mtx
    size_t m_nReadPos = 0;          // guarded by m_mtx
    size_t m_nCount = 0;            // samples in the ring; guarded by m_mtx
    bool m_bClosed = false;         // guarded by m_mtx
};

} // namespace tavrix
