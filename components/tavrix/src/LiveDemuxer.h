// Reads a live stream's container from its source buffer on a thread of its
// own: opens the container there (the bytes arrive only after the stream is
// opened, so the open cannot happen on the caller's thread), with a probe
// bounded to about half a second of data, and then hands packets to one
// queue per decoder as they arrive.
//
// The queues are not bounded by waiting, as a file's are: a live source does
// not wait. When the video decoder falls more than a second behind, packets
// are left out up to the next key frame, where the queue starts afresh; sound
// queued for more than a second is dropped. Packets before the first key
// frame are left out too (the decoder could only fail on them).
//
// Damage is read past: the transport stream demuxer finds the next sync byte
// by itself; a container that cannot be opened, or that keeps failing, is
// opened afresh on the bytes that follow.
#pragma once

#include "FfmpegPtr.h"
#include "MediaInfo.h"
#include "PacketQueue.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

namespace tavrix {

class CallbackSet;
class LiveRenderer;
class StreamSource;
struct StreamCounters;

class LiveDemuxer {
public:
    // Which streams the decoders take, answered once the container is open.
    struct Feed {
        bool bVideo = false;
        bool bAudio = false;
    };
    // Runs on the demux thread after the first successful open: makes and
    // starts the decoders on the queues.
    using OnOpened = std::function<Feed(LiveDemuxer&)>;

    // nSystemFormat: 2 MPEG-PS, 3 MPEG-TS, 4 Matroska, anything else probed.
    LiveDemuxer(int nPort, CallbackSet* pCallbacks, StreamCounters* pCounters,
                std::shared_ptr<StreamSource> pSource, uint16_t nSystemFormat);
    ~LiveDemuxer();
    LiveDemuxer(const LiveDemuxer&) = delete;
    LiveDemuxer& operator=(const LiveDemuxer&) = delete;

    // Starts the queues and the thread. pRenderer hears each video packet's stamp.
    void Start(LiveRenderer* pRenderer, OnOpened fnOpened);
    // Aborts the queues and every wait of the thread (the source must be
    // interrupted too), then Join. The container closes with the object,
    // after the decoders that took its packets are joined.
    void Abort();
    void Join();

    // Valid from the call of OnOpened on, on the demux thread, or for others
    // once it is joined.
    AVStream* VideoStream() const;
    AVStream* AudioStream() const;
    const MediaInfo& Info() const { return m_info; }
    PacketQueue& VideoQueue() { return m_videoQueue; }
    PacketQueue& AudioQueue() { return m_audioQueue; }

private:
    static int ReadIo(void* pOpaque, uint8_t* pBuf, int nSize);
    static int InterruptCallback(void* pOpaque);
    void Run();
    // Opens the container; bForced uses the header's format, else the bytes
    // are probed. False leaves nothing open.
    bool OpenContainer(bool bForced);
    void CloseContainer();
    // After the first open: picks the streams the decoders were made for.
    void MatchStreams();
    void FillInfo();
    void HandlePacket(PacketPtr pPacket);
    void QueueVideo(PacketPtr pPacket);
    void QueueAudio(PacketPtr pPacket);
    int64_t StampOf(const AVPacket& packet, const AVStream* pStream) const;

    const int m_nPort;
    CallbackSet* const m_pCallbacks;
    StreamCounters* const m_pCounters;
    const std::shared_ptr<StreamSource> m_pSource;
    const uint16_t m_nSystemFormat;
    LiveRenderer* m_pRenderer = nullptr; // written before the thread starts
    OnOpened m_fnOpened;                 // written before the thread starts
    std::atomic<bool> m_bAbort{false};

    // The demux thread's own, from its start to its end.
    IoContextPtr m_pIo; // declared before the format: closed after it
    FormatContextPtr m_pFormat;
    int m_nVideoIndex = -1;
    int m_nAudioIndex = -1;
    bool m_bOpened = false;                     // the decoders were made
    Feed m_feed;                                // what they take
    AVCodecID m_eVideoCodec = AV_CODEC_ID_NONE; // what they were made for
    AVCodecID m_eAudioCodec = AV_CODEC_ID_NONE;
    AVRational m_videoTimeBase{1, 1};
    AVRational m_audioTimeBase{1, 1};
    MediaInfo m_info;
    bool m_bWaitForKey = true; // video is left out up to the next key packet
    bool m_bBehind = false;    // ... because the decoder fell behind (the left out count as late)
    int64_t m_nPacketsWithoutKey = 0;
    int m_nReadFailures = 0;
    bool m_bLoggedOpenFailure = false;

    PacketQueue m_videoQueue;
    PacketQueue m_audioQueue;
    std::thread m_thread;
};

} // namespace tavrix
