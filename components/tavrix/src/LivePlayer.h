// The threads that play one open live stream:
//
//   network thread -> StreamSource -> LiveDemuxer thread (opens the container,
//   then makes the decoders) -> video PacketQueue -> VideoDecoder thread
//   (slice threads only) -> LiveRenderer thread (display callback, FrameSink)
//                            -> audio PacketQueue -> AudioDecoder thread (live) -> AudioOutput
//
// Start builds them afresh, Stop aborts and joins them all; the stream (its
// source buffer and counters) stays open in between. Called by the port under
// its control lock; no thread here takes that lock.
#pragma once

#include "AudioDecoder.h"
#include "FrameSink.h"
#include "LiveDemuxer.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace tavrix {

class CallbackSet;
class LiveRenderer;
class PictureAdjuster;
class SnapshotEncoder;
class StreamSource;
class VideoDecoder;
struct PlayReadings;
struct StreamCounters;

class LivePlayer {
public:
    struct Settings {
        size_t nDisplayBuf = 15;
        bool bRealTime = true;
        bool bHardware = false;
        uint32_t nDecodeThreads = 0;
        std::shared_ptr<PictureAdjuster> pAdjuster;  // the port's picture settings
        std::shared_ptr<SnapshotEncoder> pSnapshots; // and its snapshot keeper
    };

    // pHardwareActive (the port's) hears whether hardware decoding runs.
    LivePlayer(int nPort, CallbackSet* pCallbacks, PlayReadings* pReadings, StreamCounters* pCounters,
               std::shared_ptr<StreamSource> pSource, uint16_t nSystemFormat,
               AudioDecoder::OutputSource fnOutput, std::atomic<bool>* pHardwareActive);
    ~LivePlayer();
    LivePlayer(const LivePlayer&) = delete;
    LivePlayer& operator=(const LivePlayer&) = delete;

    // Starts play (nothing if it runs). A start after a stop reads on from
    // what arrives next. False if a thread cannot be made.
    bool Start(std::shared_ptr<FrameSink> pSink, const Settings& settings);
    void Stop();
    bool Running() const { return m_bRunning; }

    void SetSink(std::shared_ptr<FrameSink> pSink);
    void SetPaused(bool bPaused);
    void SetRealTime(bool bRealTime);
    void SetDisplayBuf(size_t nNum);
    void RequestRefresh();
    // Sample rate of the stream's sound once the container is open, else 0.
    int AudioRate() const { return m_nAudioRate.load(); }

private:
    // On the demux thread, once the container is open.
    LiveDemuxer::Feed OnOpened(LiveDemuxer& demuxer);

    const int m_nPort;
    CallbackSet* const m_pCallbacks;
    PlayReadings* const m_pReadings;
    StreamCounters* const m_pCounters;
    const std::shared_ptr<StreamSource> m_pSource;
    const uint16_t m_nSystemFormat;
    const AudioDecoder::OutputSource m_fnOutput;
    std::atomic<bool>* const m_pHardwareActive;

    Settings m_settings; // of the running play: written before its threads start
    bool m_bRunning = false;
    bool m_bStarted = false; // played since the open: the next start drops what came meanwhile
    std::unique_ptr<LiveRenderer> m_pRenderer;
    std::unique_ptr<LiveDemuxer> m_pDemuxer;
    // Made by the demux thread once the container is open; touched by others
    // only after it is joined.
    std::unique_ptr<VideoDecoder> m_pVideo;
    std::unique_ptr<AudioDecoder> m_pAudio;
    std::atomic<int> m_nAudioRate{0};
};

} // namespace tavrix
