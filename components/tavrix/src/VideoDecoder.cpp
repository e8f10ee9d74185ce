#include "VideoDecoder.h"

#include <pthread.h>

#include "CallbackSet.h"
#include "EngineLog.h"
#include "FrameIndex.h"
#include "TimeLine.h"

#include <cmath>

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/pixdesc.h>
}

namespace tavrix {
namespace {
// Encrypted video that fails this often was decrypted with the wrong key:
// nothing of it will ever decode.
constexpr int kDecryptErrorsToReport = 3;
// Damaged pictures are concealed and shown; only this many failures in a row
// without a single picture between them mean the video cannot be decoded any
// further.
constexpr int kFailuresWithoutPicture = 64;
} // namespace

VideoDecoder::VideoDecoder(int nPort, CallbackSet* pCallbacks, PlayReadings* pReadings)
    : m_nPort(nPort), m_pCallbacks(pCallbacks), m_pReadings(pReadings), m_yuv(nPort),
      m_watermark(nPort, pCallbacks) {}

VideoDecoder::~VideoDecoder() {
    Join();
}

enum AVPixelFormat VideoDecoder::GetFormat(AVCodecContext* pCtx, const enum AVPixelFormat* pFormats) {
    const auto* pSelf = static_cast<const VideoDecoder*>(pCtx->opaque);
    for (const enum AVPixelFormat* p = pFormats; *p != AV_PIX_FMT_NONE; ++p) {
        if (*p == pSelf->m_eHwFormat) {
            return *p;
        }
    }
    // The hardware cannot take this stream: the first software format.
    for (const enum AVPixelFormat* p = pFormats; *p != AV_PIX_FMT_NONE; ++p) {
        const AVPixFmtDescriptor* pDesc = av_pix_fmt_desc_get(*p);
        if (pDesc != nullptr && !(pDesc->flags & AV_PIX_FMT_FLAG_HWACCEL)) {
            return *p;
        }
    }
    return AV_PIX_FMT_NONE;
}

bool VideoDecoder::TryHardware(const AVCodec* pCodec) {
    const enum AVHWDeviceType aeTypes[] = {AV_HWDEVICE_TYPE_VAAPI, AV_HWDEVICE_TYPE_VDPAU};
    for (enum AVHWDeviceType eType : aeTypes) {
        enum AVPixelFormat eFormat = AV_PIX_FMT_NONE;
        for (int i = 0;; ++i) {
            const AVCodecHWConfig* pConfig = avcodec_get_hw_config(pCodec, i);
            if (pConfig == nullptr) {
                break;
            }
            if ((pConfig->methods & AV_CODEC_HW_CONFIG_METHOD_HW_DEVICE_CTX) &&
                pConfig->device_type == eType) {
                eFormat = pConfig->pix_fmt;
                break;
            }
        }
        if (eFormat == AV_PIX_FMT_NONE) {
            continue;
        }
        AVBufferRef* pDevice = nullptr;
        EngineLog::QuietScope quiet;
        if (av_hwdevice_ctx_create(&pDevice, eType, nullptr, nullptr, 0) < 0) {
            continue;
        }
        m_pHwDevice.reset(pDevice);
        m_eHwFormat = eFormat;
        return true;
    }
    return false;
}

bool VideoDecoder::Open(const AVStream* pStream, const MediaInfo& info, bool bHardware, uint32_t nThreads,
                        bool bEncrypted, const std::atomic<bool>* pSawEncrypted) {
    const AVCodec* pCodec = avcodec_find_decoder(pStream->codecpar->codec_id);
    if (pCodec == nullptr) {
        return false;
    }
    m_pCodec.reset(avcodec_alloc_context3(pCodec));
    if (!m_pCodec) {
        return false;
    }
    int nErr = avcodec_parameters_to_context(m_pCodec.get(), pStream->codecpar);
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "video parameters", nErr);
        return false;
    }
    m_pCodec->pkt_timebase = pStream->time_base;
    m_pCodec->opaque = this;
    // Frame threads, one per core: decoding keeps pace with the ffmpeg tool,
    // and sixteen ports do not multiply threads beyond what the cores can run.
    const unsigned nCores = std::thread::hardware_concurrency();
    m_pCodec->thread_count = nThreads > 0 ? static_cast<int>(nThreads)
                             : nCores > 0 ? static_cast<int>(nCores)
                                          : 0;
    m_pCodec->thread_type = m_bLowDelay ? FF_THREAD_SLICE : FF_THREAD_FRAME | FF_THREAD_SLICE;
    if (bHardware && TryHardware(pCodec)) {
        m_pCodec->hw_device_ctx = av_buffer_ref(m_pHwDevice.get());
        m_pCodec->get_format = &VideoDecoder::GetFormat;
    }
    nErr = avcodec_open2(m_pCodec.get(), pCodec, nullptr);
    if (nErr < 0 && m_pHwDevice) {
        // The device exists but refuses this codec: software instead.
        EngineLog::AvFail(m_nPort, "hardware decoder", nErr);
        m_pHwDevice.reset();
        m_eHwFormat = AV_PIX_FMT_NONE;
        return Open(pStream, info, false, nThreads, bEncrypted, pSawEncrypted);
    }
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "open video decoder", nErr);
        return false;
    }
    m_bHardwareActive = m_pHwDevice != nullptr;
    m_bLeadSkipCodec =
        pStream->codecpar->codec_id == AV_CODEC_ID_H264 || pStream->codecpar->codec_id == AV_CODEC_ID_HEVC;
    m_timeBase = pStream->time_base;
    m_nFileStartUs = info.nFileStartUs;
    m_nVideoStartUs = info.nVideoStartUs;
    m_nFrameRate = static_cast<int32_t>(std::lround(info.dFps));
    m_nFrameDurUs = info.dFps > 0 ? static_cast<int64_t>(1000000.0 / info.dFps) : 40000;
    m_bEncrypted = bEncrypted;
    m_pSawEncrypted = pSawEncrypted;
    m_nErrors = 0;
    m_watermark.SetContainerText(info.strWatermark);
    return true;
}

void VideoDecoder::Start(PacketQueue* pQueue, FrameTarget* pTarget, const FrameIndex* pIndex,
                         const StartPoint& start) {
    Join();
    // Nothing decoded before the new start may serve as a reference.
    avcodec_flush_buffers(m_pCodec.get());
    m_pQueue = pQueue;
    m_pTarget = pTarget;
    m_pIndex = pIndex;
    m_start = start;
    m_nNextFrame = start.nFirstFrame;
    m_bPlacedSinceStart = false;
    m_bDeliveredSinceStart = false;
    m_pBeforeTarget.reset();
    m_nFailuresInRow = 0;
    m_thread = std::thread(&VideoDecoder::Run, this);
}

void VideoDecoder::Join() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void VideoDecoder::CountError(int nAvError, bool bPictureOut) {
    ++m_nErrors;
    if (m_nErrors == 1) {
        EngineLog::AvFail(m_nPort, "decode video", nAvError);
    }
    m_nFailuresInRow = bPictureOut ? 0 : m_nFailuresInRow + 1;
    if (m_bEncrypted || (m_pSawEncrypted != nullptr && m_pSawEncrypted->load())) {
        if (m_nErrors >= kDecryptErrorsToReport) {
            m_pCallbacks->ReportRunTime(2, TAVRIX_RT_DECRYPT);
        }
        return;
    }
    if (m_nFailuresInRow >= kFailuresWithoutPicture) {
        m_pCallbacks->ReportRunTime(1, TAVRIX_RT_DECODE);
    }
}

void VideoDecoder::Run() {
    pthread_setname_np(pthread_self(), "tavrix-vdec"); // names the thread in debuggers and top
    QueuedPacket item;
    // After a jump the demuxer hands out the key packet first; a file that
    // starts without one (a cut recording) is decoded from its first packet.
    bool bWaitForKey = m_start.bFromKey && m_start.bKeyIsKey;
    while (m_pQueue->Pop(&item)) {
        if (item.nSerial != m_pQueue->Serial()) {
            continue; // flushed while queued
        }
        if (bWaitForKey && !item.bEos) {
            // A picture decoded without its references would be grey or
            // smeared: nothing goes in before the key packet of the target.
            if (!IsStartPacket(*item.pPacket)) {
                continue;
            }
            bWaitForKey = false;
        }
        // Fast play's skipping waits for the first picture after a start:
        // a jump's target is shown whatever the speed.
        const bool bSkip = (m_bSkipNonRef.load() && m_bDeliveredSinceStart) ||
                           (!item.bEos && IsSkippableLead(*item.pPacket));
        m_pCodec->skip_frame = bSkip ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
        const int nErr = avcodec_send_packet(m_pCodec.get(), item.bEos ? nullptr : item.pPacket.get());
        if (nErr < 0 && nErr != AVERROR(EAGAIN) && nErr != AVERROR_EOF) {
            // A packet the decoder refuses is damage too, whether or not a
            // picture still comes of it.
            m_pReadings->nDamagedFrames.fetch_add(1);
            CountError(nErr, false);
        }
        if (!ReceiveFrames()) {
            return;
        }
        if (item.bEos) {
            // A jump whose target and everything after it could not be
            // decoded shows the nearest picture before it rather than nothing.
            if (!m_bDeliveredSinceStart && m_pBeforeTarget && !Present(std::move(m_pBeforeTarget))) {
                return;
            }
            auto pEos = std::make_unique<VideoFrame>();
            pEos->bEos = true;
            pEos->nSerial = item.nSerial;
            m_pTarget->Push(std::move(pEos));
            return;
        }
    }
}

bool VideoDecoder::IsStartPacket(const AVPacket& packet) {
    // The demuxer leaves out everything before the key packet of a jump, or
    // of a damaged key packet the next key packet after it.
    return (packet.flags & AV_PKT_FLAG_KEY) != 0;
}

bool VideoDecoder::IsSkippableLead(const AVPacket& packet) const {
    // Between the key frame and the target of a jump, a picture that shows
    // before the target and that nothing refers to is neither shown nor
    // needed: not decoding it shortens the jump. Only for codecs whose
    // packets carry true presentation times, and not where the container
    // gives decode times only.
    if (!m_start.bFromKey || packet.pts == AV_NOPTS_VALUE || !m_bLeadSkipCodec ||
        m_pIndex->DecodeTimesOnly()) {
        return false;
    }
    return packet.pts < m_start.nTargetPts;
}

int64_t VideoDecoder::NumberOf(int64_t nPts) {
    // The index knows every picture's place; counting is the fallback while
    // it is being built (and then play started at frame 0 and skips nothing)
    // and for a picture whose time the index does not know.
    const int64_t nIndexed = (m_pIndex != nullptr && m_pIndex->IsComplete() && nPts != AV_NOPTS_VALUE)
                                 ? m_pIndex->FrameOfDecodedPts(nPts, m_pCodec->has_b_frames)
                                 : -1;
    if (m_start.bFromKey && nIndexed < 0 && !m_bPlacedSinceStart) {
        // Before the first picture the index places, a picture's place after
        // a jump is unknown: before the target by its time, or (decode times
        // only) not shown.
        const bool bBefore =
            m_pIndex->DecodeTimesOnly() || (nPts != AV_NOPTS_VALUE && nPts < m_start.nTargetPts);
        if (bBefore) {
            return -1;
        }
    }
    const int64_t nNum = nIndexed >= 0 ? nIndexed : static_cast<int64_t>(m_nNextFrame);
    m_bPlacedSinceStart = true;
    m_nNextFrame = static_cast<uint32_t>(nNum + 1);
    if (m_start.bFromKey && nNum < m_start.nFirstFrame) {
        return -1; // decoded only as a reference for the target
    }
    return nNum;
}

bool VideoDecoder::ReceiveFrames() {
    while (true) {
        FramePtr pFrame = MakeFrame();
        if (!pFrame) {
            return false;
        }
        const int nErr = avcodec_receive_frame(m_pCodec.get(), pFrame.get());
        if (nErr == AVERROR(EAGAIN) || nErr == AVERROR_EOF) {
            return true;
        }
        if (nErr < 0) {
            CountError(nErr, false);
            return true;
        }
        if (pFrame->decode_error_flags != 0 || (pFrame->flags & AV_FRAME_FLAG_CORRUPT)) {
            // Shown as the decoder concealed it, and counted.
            m_pReadings->nDamagedFrames.fetch_add(1);
            CountError(AVERROR_INVALIDDATA, true);
        } else {
            m_nFailuresInRow = 0;
        }
        // Every decoded picture, shown or not: a record rides on the key
        // frame a jump decodes only as a reference.
        m_watermark.OnFrame(*pFrame);
        if (!Deliver(std::move(pFrame))) {
            return false;
        }
    }
}

bool VideoDecoder::Deliver(FramePtr pFrame) {
    if (pFrame->format == m_eHwFormat && m_eHwFormat != AV_PIX_FMT_NONE) {
        FramePtr pSoft = MakeFrame();
        if (!pSoft) {
            return false;
        }
        int nErr = av_hwframe_transfer_data(pSoft.get(), pFrame.get(), 0);
        if (nErr >= 0) {
            nErr = av_frame_copy_props(pSoft.get(), pFrame.get());
        }
        if (nErr < 0) {
            EngineLog::AvFail(m_nPort, "hardware frame transfer", nErr);
            m_pCallbacks->ReportRunTime(1, TAVRIX_RT_DECODE_ENGINE);
            return true;
        }
        pFrame = std::move(pSoft);
    }
    // The packet's own time first: it is what the frame index sorted by.
    const int64_t nPts = pFrame->pts != AV_NOPTS_VALUE ? pFrame->pts : pFrame->best_effort_timestamp;
    const int64_t nNum = NumberOf(nPts);
    auto pOut = std::make_unique<VideoFrame>();
    pOut->nFrameNum = nNum >= 0 ? static_cast<uint32_t>(nNum) : 0;
    // A picture the index places takes its time from the index: with decode
    // times only, the decoder's own guess lags by its reorder depth.
    const int64_t nIndexPts = (nNum >= 0 && m_pIndex != nullptr && m_pIndex->IsComplete())
                                  ? m_pIndex->PtsOfFrame(static_cast<uint32_t>(nNum))
                                  : AV_NOPTS_VALUE;
    const int64_t nTimePts = nIndexPts != AV_NOPTS_VALUE ? nIndexPts : nPts;
    const int64_t nPtsUs = nTimePts != AV_NOPTS_VALUE ? StampUs(nTimePts, m_timeBase) : m_nFileStartUs;
    pOut->nPtsUs = nPtsUs - m_nFileStartUs;
    pOut->nSourcePtsUs = nPtsUs - m_nVideoStartUs;
    pOut->nClockUs = pOut->nPtsUs;
    pOut->nDurationUs = pFrame->pkt_duration > 0 ? StampUs(pFrame->pkt_duration, m_timeBase) : m_nFrameDurUs;
    pOut->nSerial = m_pQueue->Serial();
    pOut->pFrame = std::move(pFrame);
    if (nNum < 0) {
        // Kept until the next one: the nearest picture before the target,
        // under the number the index gives its time.
        const int64_t nIndexed =
            nPts != AV_NOPTS_VALUE ? m_pIndex->FrameOfDecodedPts(nPts, m_pCodec->has_b_frames) : -1;
        pOut->nFrameNum = nIndexed >= 0             ? static_cast<uint32_t>(nIndexed)
                          : m_start.nFirstFrame > 0 ? m_start.nFirstFrame - 1
                                                    : 0;
        m_pBeforeTarget = std::move(pOut);
        return true;
    }
    m_pBeforeTarget.reset();
    return Present(std::move(pOut));
}

bool VideoDecoder::Present(std::unique_ptr<VideoFrame> pOut) {
    m_bDeliveredSinceStart = true;
    m_pReadings->nWidth = pOut->pFrame->width;
    m_pReadings->nHeight = pOut->pFrame->height;
    if (m_pCallbacks->WantsYv12() && !m_yuv.ToYv12(pOut->pFrame.get(), &pOut->vecYv12)) {
        pOut->vecYv12.clear();
    }
    CallDecodeCallback(*pOut);
    return m_pTarget->Push(std::move(pOut));
}

void VideoDecoder::CallDecodeCallback(const VideoFrame& frame) {
    const CallbackSet::Dec cb = m_pCallbacks->GetDec();
    if (cb.pfn == nullptr || frame.vecYv12.empty()) {
        return;
    }
    TAVRIX_FRAME_INFO info{};
    info.nWidth = frame.pFrame->width;
    info.nHeight = frame.pFrame->height;
    info.nStamp = static_cast<int32_t>(frame.nPtsUs / 1000);
    info.nType = TAVRIX_FRAME_YV12;
    info.nFrameRate = m_nFrameRate;
    // No copy: sixteen ports at once cannot afford one, and the callback
    // contract is to read the picture and return.
    char* pBuf = const_cast<char*>(reinterpret_cast<const char*>(frame.vecYv12.data()));
    cb.pfn(m_nPort, pBuf, static_cast<int32_t>(frame.vecYv12.size()), &info, cb.pUser);
}

} // namespace tavrix
