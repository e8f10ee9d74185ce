// Backward play of a port on a thread of its own: for each group of pictures
// it seeks the demuxer to the group's key frame, decodes forward to the
// wanted frame keeping the last pictures (bounded in count and bytes), and
// hands them to the render thread newest first. Single steps back are the
// render thread's steps through what this thread queues, so a step within a
// group costs no decoding. After frame 0 comes the end of the stream.
//
// The demuxer's own thread must be stopped while this one reads from it.
#pragma once

#include "FfmpegPtr.h"
#include "MediaInfo.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <thread>

namespace tavrix {

class Demuxer;
class FrameIndex;
class VideoRenderer;

class ReversePlayer {
public:
    ReversePlayer(int nPort, Demuxer* pDemuxer, const FrameIndex* pIndex, const MediaInfo& info);
    ~ReversePlayer();
    ReversePlayer(const ReversePlayer&) = delete;
    ReversePlayer& operator=(const ReversePlayer&) = delete;

    // False if the decoder cannot open.
    bool Open();
    // Queues frames nFirst, nFirst - 1, ... 0 and then the end; a negative
    // nFirst queues the end only. The renderer's gate must be open.
    void Start(VideoRenderer* pRenderer, int64_t nFirst);
    // The renderer's gate must be closed first (it frees a blocked push); joins.
    void Stop();

private:
    void Run(int64_t nFirst);
    bool DecodeGroup(uint32_t nTarget);
    bool Receive(uint32_t nFrom, uint32_t nTarget, bool* pbDone);
    bool PushFrame(uint32_t nFrame);

    const int m_nPort;
    Demuxer* const m_pDemuxer;
    const FrameIndex* const m_pIndex;
    const MediaInfo m_info;
    CodecContextPtr m_pCodec;
    AVRational m_timeBase{1, 1};
    size_t m_nMaxCached = 64;
    std::atomic<bool> m_bAbort{false};
    VideoRenderer* m_pRenderer = nullptr;
    std::map<uint32_t, FramePtr> m_mapCache; // decoded pictures by display index; this thread only
    std::thread m_thread;
};

} // namespace tavrix
