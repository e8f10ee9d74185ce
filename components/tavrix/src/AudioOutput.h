// One SDL2 sound device for one port. The decoder writes interleaved signed
// 16-bit samples into a short ring, each run stamped with its stream time;
// SDL's callback takes them out at the device's pace, applies the volume and
// fills any gap with silence.
//
// The callback also keeps the sound clock: the stream time of the sample the
// device plays, read at each callback and carried forward on the steady clock
// between callbacks. The device's own pace, not the wall clock, decides how
// fast that time runs, so a picture that follows it stays with the sound over
// hours (a device's real rate is never exactly the one it was opened at).
#pragma once

#include <SDL2/SDL.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace tavrix {

class AudioOutput {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    // A write whose samples follow on from the previous write's.
    static constexpr int64_t kNoStamp = INT64_MIN;

    // Null when SDL has no sound device to give (said in the log).
    static std::shared_ptr<AudioOutput> Open(int nPort, int nWantedRate);
    ~AudioOutput();
    AudioOutput(const AudioOutput&) = delete;
    AudioOutput& operator=(const AudioOutput&) = delete;

    int Rate() const { return m_nRate; }
    int Channels() const { return m_nChannels; }
    // 0 silent .. 65535 full scale, linear.
    void SetVolume(uint16_t nVolume) { m_nVolume = nVolume; }
    // Software gain on top of the volume, 0..100 percent more; samples clip
    // at full scale.
    void SetGainPercent(int nPercent) { m_nGainPercent = nPercent; }
    void SetPaused(bool bPaused);
    // Blocks while the ring is full; false once *pbAbort is set (see Wake)
    // or the device is closed. nStampUs is the stream time of the first sample
    // (microseconds from the start of the file, as the pictures' stamps).
    bool Write(const int16_t* pSamples, size_t nSamples, int64_t nStampUs, const std::atomic<bool>* pbAbort);
    // Sound written and not yet taken by the device, in milliseconds.
    int64_t QueuedMs() const;
    // Wakes a blocked writer so it can look at its abort flag.
    void Wake();
    // Drops what is queued; the clock is unknown until new sound plays.
    void Flush();
    // Closes the device now (silence) and refuses further writes.
    void Close();

    // Stream time of the sample the device plays at `now`. False while that
    // is not known: paused, after an open, a flush or a resume until stamped
    // sound has filled the device's buffers, and once the ring has run dry.
    bool ClockAt(TimePoint now, int64_t* pnStampUs) const;

private:
    // Where a stamped run of samples starts in the stream of frames written
    // since the open (a frame is one sample of every channel).
    struct StampMark {
        int64_t nFrame = 0;
        int64_t nStampUs = 0;
    };

    AudioOutput() = default;
    bool OpenDevice(int nPort, int nWantedRate);
    static void SDLCALL Callback(void* pUser, Uint8* pStream, int nLen);
    void Fill(int16_t* pOut, size_t nSamples);
    bool StampOfFrame(int64_t nFrame, int64_t* pnStampUs) const; // with m_mtx held
    int64_t FramesToUs(int64_t nFrames) const;
    void ForgetClock(); // with m_mtx held

    SDL_AudioDeviceID m_nDevice = 0; // guarded by g_mtxSdl (AudioOutput.cpp)
    int m_nRate = 0;                 // fixed once opened
    int m_nChannels = 0;             // fixed once opened
    std::atomic<uint32_t> m_nVolume{65535};
    std::atomic<int> m_nGainPercent{0};

    mutable std::mutex m_mtx;
    std::condition_variable m_cvSpace;
    std::vector<int16_t> m_vecRing; // guarded by m_mtx
    size_t m_nReadPos = 0;          // guarded by m_mtx
    size_t m_nCount = 0;            // samples in the ring; guarded by m_mtx
    bool m_bClosed = false;         // guarded by m_mtx
    bool m_bPaused = false;         // guarded by m_mtx

    // The sound clock; all guarded by m_mtx.
    int64_t m_nWrittenFrames = 0;      // frames written since the open
    int64_t m_nReadFrames = 0;         // frames the callback has taken (or a flush dropped)
    std::deque<StampMark> m_deqMarks;  // oldest first; only where the stamps do not run on
    bool m_bPrevBufferStamped = false; // the buffer filled at the last callback was all stamped sound
    int64_t m_nPrevBufferStampUs = 0;  // stream time of its first sample
    bool m_bClockValid = false;        // the fields below say what plays
    int64_t m_nClockStampUs = 0;       // stream time playing at m_tClock
    TimePoint m_tClock;                // time of the last callback
    int64_t m_nBufferUs = 0;           // length of one device buffer
};

} // namespace tavrix
