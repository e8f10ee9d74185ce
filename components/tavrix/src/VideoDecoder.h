// The video decode thread of a port: packets from the demuxer's video queue
// in, pictures in display order out to the render thread. Uses the codec's
// frame threads; tries a hardware device when asked and quietly stays in
// software where none exists.
#pragma once

#include "FfmpegPtr.h"
#include "FrameTarget.h"
#include "MediaInfo.h"
#include "PacketQueue.h"
#include "PlayReadings.h"
#include "VideoFrame.h"
#include "WatermarkReader.h"
#include "YuvConverter.h"

#include <atomic>
#include <cstdint>
#include <thread>

namespace tavrix {

class CallbackSet;
class FrameIndex;

class VideoDecoder {
public:
    // Where decoding starts: at the beginning of the file, or (after a seek)
    // at the key packet a target frame needs, showing nothing before the target.
    struct StartPoint {
        bool bFromKey = false;
        bool bKeyIsKey = true;    // false: footage that starts without a key frame
        int64_t nKeyPts = 0;      // the key packet's time (stream time base)
        int64_t nTargetPts = 0;   // pictures before this time are decoded but not shown
        uint32_t nFirstFrame = 0; // display index of the first picture shown
    };

    VideoDecoder(int nPort, CallbackSet* pCallbacks, PlayReadings* pReadings);
    ~VideoDecoder();
    VideoDecoder(const VideoDecoder&) = delete;
    VideoDecoder& operator=(const VideoDecoder&) = delete;

    // Live streams: before Open, asks for slice threads only. Frame threads
    // hold each picture back until the packets of the next ones arrive, which
    // a live picture cannot wait for.
    void SetLowDelay(bool bLowDelay) { m_bLowDelay = bLowDelay; }
    // bHardware asks for a hardware device; bEncrypted (or *pSawEncrypted,
    // set by the demuxer when still-encrypted packets pass) makes decode
    // errors count as a decryption failure. False if the codec cannot open.
    // nThreads 0: one per core.
    bool Open(const AVStream* pStream, const MediaInfo& info, bool bHardware, uint32_t nThreads,
              bool bEncrypted, const std::atomic<bool>* pSawEncrypted);
    // pIndex (may be null, outlives the thread) numbers the pictures once complete.
    void Start(PacketQueue* pQueue, FrameTarget* pTarget, const FrameIndex* pIndex, const StartPoint& start);
    // Lets the decoder drop pictures no other picture refers to (fast play).
    void SetSkipNonRef(bool bSkip) { m_bSkipNonRef = bSkip; }
    // The queue and the renderer must be aborted first; this joins.
    void Join();
    bool HardwareActive() const { return m_bHardwareActive.load(); }

private:
    static enum AVPixelFormat GetFormat(AVCodecContext* pCtx, const enum AVPixelFormat* pFormats);
    bool TryHardware(const AVCodec* pCodec);
    void Run();
    bool ReceiveFrames();
    bool Deliver(FramePtr pFrame);
    bool Present(std::unique_ptr<VideoFrame> pOut);
    bool IsStartPacket(const AVPacket& packet);
    bool IsSkippableLead(const AVPacket& packet) const;
    // Display frame of a decoded picture; -1 for one before a jump's target.
    int64_t NumberOf(int64_t nPts);
    // bPictureOut: the failure still gave a (concealed) picture.
    void CountError(int nAvError, bool bPictureOut);
    void CallDecodeCallback(const VideoFrame& frame);

    const int m_nPort;
    CallbackSet* const m_pCallbacks;
    PlayReadings* const m_pReadings;
    CodecContextPtr m_pCodec;
    BufferRefPtr m_pHwDevice;
    enum AVPixelFormat m_eHwFormat = AV_PIX_FMT_NONE;
    std::atomic<bool> m_bHardwareActive{false};
    AVRational m_timeBase{1, 1};
    int64_t m_nFileStartUs = 0;
    int64_t m_nVideoStartUs = 0;
    int32_t m_nFrameRate = 25;
    int64_t m_nFrameDurUs = 40000;
    bool m_bEncrypted = false;
    bool m_bLeadSkipCodec = false; // H.264 or HEVC: non-reference pictures before a jump's target are skipped
    const std::atomic<bool>* m_pSawEncrypted = nullptr;
    int m_nErrors = 0;
    int m_nFailuresInRow = 0; // decode thread only
    bool m_bLowDelay = false;
    PacketQueue* m_pQueue = nullptr;
    FrameTarget* m_pTarget = nullptr;
    const FrameIndex* m_pIndex = nullptr;
    StartPoint m_start;                          // decode thread only while it runs
    uint32_t m_nNextFrame = 0;                   // decode thread only
    bool m_bPlacedSinceStart = false;            // a picture was numbered; decode thread only
    bool m_bDeliveredSinceStart = false;         // a picture went to the renderer; decode thread only
    std::unique_ptr<VideoFrame> m_pBeforeTarget; // nearest picture before a jump's target; decode thread only
    std::atomic<bool> m_bSkipNonRef{false};
    YuvConverter m_yuv;
    WatermarkReader m_watermark; // decode thread only while it runs
    std::thread m_thread;
};

} // namespace tavrix
