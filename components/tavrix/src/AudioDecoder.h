// The audio decode thread of a port: packets from the demuxer's audio queue,
// decoded frames to the decode callback, and, while sound is on and play runs
// at normal speed, resampled to the sound device's format and queued there.
#pragma once

#include "FfmpegPtr.h"
#include "MediaInfo.h"
#include "PacketQueue.h"
#include "PlayReadings.h"

#include <atomic>
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
    void Start(PacketQueue* pQueue, bool bRealTime);
    // Stops feeding the device and wakes a blocked write; the queue must be
    // aborted too. Then Join().
    void Abort();
    void Join();
    void SetRealTime(bool bRealTime);
    // Sound plays only at normal speed (0); at any other it keeps pace with
    // the picture silently and lines up with it again on the return to 0.
    void SetSpeedStep(int nStep);

private:
    void Run();
    void HandleFrame(const AVFrame* pFrame);
    void CallDecodeCallback(const AVFrame* pFrame);
    void Feed(const AVFrame* pFrame);
    bool Resync(const AVFrame* pFrame, AudioOutput* pOut);
    int64_t FrameMs(const AVFrame* pFrame) const;
    void KeepPaceWithPicture(const AVFrame* pFrame, bool bEvenWithOutput);

    const int m_nPort;
    CallbackSet* const m_pCallbacks;
    PlayReadings* const m_pReadings;
    const OutputSource m_fnOutput;
    CodecContextPtr m_pCodec;
    AVRational m_timeBase{1, 1};
    int64_t m_nFileStartUs = 0;
    int m_nErrors = 0; // decode thread only
    PacketQueue* m_pQueue = nullptr;
    std::atomic<bool> m_bAbort{false};
    std::atomic<bool> m_bRealTime{true};
    std::atomic<int> m_nSpeedStep{0};
    std::shared_ptr<AudioOutput> m_pCurrentOutput; // decode thread only
    bool m_bResync = true; // the next fed frame is lined up with the picture; decode thread only

    // Resampler to the device's format; rebuilt when the device or input changes.
    SwrPtr m_pSwrOut;
    const AudioOutput* m_pSwrOutFor = nullptr;
    int m_nSwrInRate = 0;
    int m_nSwrInFormat = -1;
    int m_nSwrInChannels = 0;
    // Resampler to packed 16-bit at the source rate, for the decode callback.
    SwrPtr m_pSwrCb;
    std::vector<int16_t> m_vecSamples;
    std::thread m_thread;
};

} // namespace tavrix
