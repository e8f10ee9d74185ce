// The audio decode thread of a port: packets from the demuxer's audio queue,
// decoded frames to the decode callback, and, while sound is on and play runs
// at normal speed, resampled to the sound device's format and queued there,
// stamped with their stream time (the sound clock the picture follows).
#pragma once

#include "FfmpegPtr.h"
#include "MediaInfo.h"
#include "PacketQueue.h"
#include "PlayReadings.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace tavrix {

class AudioOutput;
class CallbackSet;

class AudioDecoder {
public:
    using OutputSource = std::function<std::shared_ptr<AudioOutput>()>;

    AudioDecoder(int nPort, CallbackSet* pCallbacks, PlayReadings* pReadings, OutputSource fnOutput);
    ~AudioDecoder();
    AudioDecoder(const AudioDecoder&) = delete;
    AudioDecoder& operator=(const AudioDecoder&) = delete;

    bool Open(const AVStream* pStream, const MediaInfo& info);
    // Live streams, before Start: sound plays as it arrives, with no clock
    // for the picture and nothing lined up with it; what the device cannot
    // take without delay is dropped.
    void SetLive(bool bLive) { m_bLive = bLive; }
    void Start(PacketQueue* pQueue, bool bRealTime);
    // Stops feeding the device and wakes a blocked write; the queue must be
    // aborted too. Then Join().
    void Abort();
    void Join();
    void SetRealTime(bool bRealTime);
    // Sound plays only at normal speed (0); at any other it keeps pace with
    // the picture silently and lines up with it again on the return to 0.
    void SetSpeedStep(int nStep);
    // Lock-step play: no sound before the port's first picture, which comes
    // only when the group's time reaches the file (a later camera's sound
    // must not run ahead of its picture).
    void SetWaitForPicture(bool bWait);
    // The picture moved without the sound (single steps while paused): the
    // next sound fed is lined up with the picture again.
    void RequestResync() { m_bResyncAsked = true; }

private:
    // A resampler from decoded frames to one output format, made again
    // whenever the frames' sample format, channel layout or rate change:
    // streams change them mid-way (a recorder switched from stereo to mono),
    // and a resampler fed frames it was not made for reads and writes past
    // its buffers.
    class Resampler {
    public:
        Resampler() = default;
        ~Resampler();
        Resampler(const Resampler&) = delete;
        Resampler& operator=(const Resampler&) = delete;

        // Ready for this frame into packed 16-bit at nOutRate with outLayout;
        // pOwner names what the output is for (a rebuild when it changes).
        bool Ensure(const AVFrame* pFrame, const AVChannelLayout& outLayout, int nOutRate, const void* pOwner,
                    int nPort);
        SwrContext* Get() const { return m_pSwr.get(); }
        void Reset();

    private:
        SwrPtr m_pSwr;
        const void* m_pOwner = nullptr;
        int m_nInRate = 0;
        int m_nInFormat = -1;
        AVChannelLayout m_inLayout{};
        int m_nOutRate = 0;
        AVChannelLayout m_outLayout{};
    };

    // Where the picture was when it last moved, for pacing sound nobody hears.
    struct PicturePace {
        bool bSet = false;
        std::chrono::steady_clock::time_point tFrom; // when the picture was seen at nFromMs
        int64_t nFromMs = 0;                         // picture time the extrapolation starts from
        bool bShown = false;                         // the readings seen then
        int64_t nPictureMs = 0;
        bool bPaused = false;
        int nStep = 0;
    };

    // How far live sound lags what arrives (see TrimLiveDelay).
    struct LiveDelay {
        bool bWindow = false;
        std::chrono::steady_clock::time_point tWindow; // start of the window
        int64_t nLowestMs = 0;                         // lowest device queue seen in it
        int64_t nDropMs = 0;                           // sound still to drop
    };

    void Run();
    void HandleFrame(const AVFrame* pFrame);
    // True: drop this run of nRunMs of live sound, the device lags behind.
    bool TrimLiveDelay(const AudioOutput& out, int64_t nRunMs);
    void CallDecodeCallback(const AVFrame* pFrame);
    void Feed(const AVFrame* pFrame);
    bool Resync(const AVFrame* pFrame, AudioOutput* pOut);
    int64_t FrameUs(const AVFrame* pFrame) const;
    int64_t FrameMs(const AVFrame* pFrame) const { return FrameUs(pFrame) / 1000; }
    void KeepPaceWithPicture(const AVFrame* pFrame, bool bEvenWithOutput);

    const int m_nPort;
    CallbackSet* const m_pCallbacks;
    PlayReadings* const m_pReadings;
    const OutputSource m_fnOutput;
    CodecContextPtr m_pCodec;
    AVRational m_timeBase{1, 1};
    int64_t m_nFileStartUs = 0;
    int m_nErrors = 0;    // decode thread only
    bool m_bLive = false; // written before the thread starts
    PacketQueue* m_pQueue = nullptr;
    std::atomic<bool> m_bAbort{false};
    std::atomic<bool> m_bRealTime{true};
    std::atomic<bool> m_bWaitForPicture{false};
    std::atomic<int> m_nSpeedStep{0};
    std::shared_ptr<AudioOutput> m_pCurrentOutput; // decode thread only
    bool m_bResync = true; // the next fed frame is lined up with the picture; decode thread only
    std::atomic<bool> m_bResyncAsked{false};
    PicturePace m_pace; // decode thread only
    LiveDelay m_live;   // decode thread only

    Resampler m_swrOut; // to the device's format; decode thread only
    Resampler m_swrCb;  // to packed 16-bit at the source rate, for the decode callback; decode thread only
    std::vector<int16_t> m_vecSamples; // decode thread only
    std::vector<int16_t> m_vecPcm;     // decode thread only
    std::thread m_thread;
};

} // namespace tavrix
