// Backward play of a port on two threads of its own. The decode thread cuts
// the frames before the start into chunks, newest first, each inside one
// group of pictures and bounded in count and bytes: for each it seeks the
// demuxer to the group's key frame and decodes forward to the chunk's last
// frame, keeping only the chunk's pictures. The push thread hands a chunk's
// pictures to the render thread newest first while the decode thread works on
// the next one, so a group boundary costs no wait at normal speed. At most
// two chunks are held: the one being shown and the one decoded ahead.
//
// Single steps back are the render thread's steps through what the push
// thread queues, so a step within a chunk costs no decoding, and the chunk
// being shown is kept across a stop for a turn back. After frame 0 comes the
// end of the stream.
//
// The demuxer's own thread must be stopped while the decode thread reads from it.
#pragma once

#include "FfmpegPtr.h"
#include "MediaInfo.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace tavrix {

class Demuxer;
class FrameIndex;
class VideoRenderer;

class ReversePlayer {
public:
    // nThreads: decoding threads, 0 one per core.
    ReversePlayer(int nPort, Demuxer* pDemuxer, const FrameIndex* pIndex, const MediaInfo& info,
                  uint32_t nThreads);
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
    // Display frames nFrom..nTo of one group; a frame that could not be
    // decoded is missing from the map and is left out, never shown wrong.
    struct Chunk {
        uint32_t nFrom = 0;
        uint32_t nTo = 0;
        std::map<uint32_t, FramePtr> mapFrames;
    };

    void RunPush(int64_t nFirst);
    void RunDecode(int64_t nFirst);
    // The next chunk from the decode thread, or null once it has no more
    // (frame 0 passed) or on abort.
    std::unique_ptr<Chunk> TakeChunk();
    std::unique_ptr<Chunk> DecodeChunk(uint32_t nTo);
    bool DecodeInto(Chunk* pChunk, uint32_t nKey);
    void Receive(Chunk* pChunk, bool* pbDone);
    bool PushFrame(const Chunk& chunk, uint32_t nFrame);

    const int m_nPort;
    Demuxer* const m_pDemuxer;
    const FrameIndex* const m_pIndex;
    const MediaInfo m_info;
    const uint32_t m_nThreads;
    CodecContextPtr m_pCodec; // decode thread only while it runs
    AVRational m_timeBase{1, 1};
    bool m_bLeadSkipCodec = false; // H.264 or HEVC: unreferenced pictures outside a chunk are skipped
    uint32_t m_nChunkFrames = 32;
    int64_t m_nLastPlaced = -1; // display number of the last decoded picture; decode thread only
    std::atomic<bool> m_bAbort{false};
    VideoRenderer* m_pRenderer = nullptr;

    std::mutex m_mtx;
    std::condition_variable m_cv;      // a chunk handed over or taken, the decoder done, or an abort
    std::unique_ptr<Chunk> m_pReady;   // decoded ahead, waiting for the push thread; guarded by m_mtx
    bool m_bDecodeDone = false;        // the decode thread has cut its last chunk; guarded by m_mtx
    std::unique_ptr<Chunk> m_pShowing; // push thread only while it runs; kept across a stop
    std::thread m_threadPush;
    std::thread m_threadDecode;
};

} // namespace tavrix
