#include "VideoDecoder.h"

#include <pthread.h>

#include "CallbackSet.h"
#include "EngineLog.h"
#include "FrameIndex.h"
#include "VideoRenderer.h"

#include <cmath>

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/pixdesc.h>
}

namespace tavrix {
namespace {
// A few broken packets happen in real footage; this many in one play means
// the video cannot be decoded (or was decrypted with the wrong key).
constexpr int kErrorsToReport = 3;
} // namespace

VideoDecoder::VideoDecoder(int nPort, CallbackSet* pCallbacks, PlayReadings* pReadings)
    : m_nPort(nPort), m_pCallbacks(pCallbacks), m_pReadings(pReadings), m_yuv(nPort) {}

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

bool VideoDecoder::Open(const AVStream* pStream, const MediaInfo& info, bool bHardware, bool bEncrypted,
                        const std::atomic<bool>* pSawEncrypted) {
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
    m_pCodec->thread_count = nCores > 0 ? static_cast<int>(nCores) : 0;
    m_pCodec->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
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
        return Open(pStream, info, false, bEncrypted, pSawEncrypted);
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
    return true;
}

void VideoDecoder::Start(PacketQueue* pQueue, VideoRenderer* pRenderer, const FrameIndex* pIndex,
                         const StartPoint& start) {
    Join();
    // Nothing decoded before the new start may serve as a reference.
    avcodec_flush_buffers(m_pCodec.get());
    m_pQueue = pQueue;
    m_pRenderer = pRenderer;
    m_pIndex = pIndex;
    m_start = start;
    m_nNextFrame = start.nFirstFrame;
    m_nLastPacketPts = 0;
    m_thread = std::thread(&VideoDecoder::Run, this);
}

void VideoDecoder::Join() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void VideoDecoder::CountError(int nAvError) {
    ++m_nErrors;
    if (m_nErrors == 1) {
        EngineLog::AvFail(m_nPort, "decode video", nAvError);
    }
    if (m_nErrors < kErrorsToReport) {
        return;
    }
    if (m_bEncrypted || (m_pSawEncrypted != nullptr && m_pSawEncrypted->load())) {
        m_pCallbacks->ReportRunTime(2, TAVRIX_RT_DECRYPT);
    } else {
        m_pCallbacks->ReportRunTime(1, TAVRIX_RT_DECODE);
    }
}

void VideoDecoder::Run() {
    pthread_setname_np(pthread_self(), "tavrix-vdec"); // names the thread in debuggers and top
    QueuedPacket item;
    bool bWaitForKey = m_start.bFromKey;
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
        m_pCodec->skip_frame =
            m_bSkipNonRef.load() || (!item.bEos && IsSkippableLead(*item.pPacket)) ? AVDISCARD_NONREF
                                                                                  : AVDISCARD_DEFAULT;
        const int nErr = avcodec_send_packet(m_pCodec.get(), item.bEos ? nullptr : item.pPacket.get());
        if (nErr < 0 && nErr != AVERROR(EAGAIN) && nErr != AVERROR_EOF) {
            CountError(nErr);
        }
        if (!ReceiveFrames()) {
            return;
        }
        if (item.bEos) {
            auto pEos = std::make_unique<VideoFrame>();
            pEos->bEos = true;
            pEos->nSerial = item.nSerial;
            m_pRenderer->Push(std::move(pEos));
            return;
        }
    }
}

bool VideoDecoder::IsStartPacket(const AVPacket& packet) {
    // The same time the frame index gave the packet.
    const int64_t nPts = packet.pts != AV_NOPTS_VALUE   ? packet.pts
                         : packet.dts != AV_NOPTS_VALUE ? packet.dts
                                                        : m_nLastPacketPts;
    m_nLastPacketPts = nPts;
    return (packet.flags & AV_PKT_FLAG_KEY) != 0 && nPts == m_start.nKeyPts;
}

bool VideoDecoder::IsSkippableLead(const AVPacket& packet) const {
    // Between the key frame and the target of a jump, a picture that shows
    // before the target and that nothing refers to is neither shown nor
    // needed: not decoding it shortens the jump. Only for codecs whose
    // packets carry true presentation times in the containers we read.
    if (!m_start.bFromKey || packet.pts == AV_NOPTS_VALUE || !m_bLeadSkipCodec) {
        return false;
    }
    return packet.pts < m_start.nTargetPts;
}

uint32_t VideoDecoder::NumberOf(int64_t nPts) {
    // The index knows every picture's place; counting is the fallback while
    // it is being built (and then play started at frame 0 and skips nothing).
    const int64_t n = (m_pIndex != nullptr && nPts != AV_NOPTS_VALUE) ? m_pIndex->FrameOfPts(nPts) : -1;
    const uint32_t nNum = n >= 0 ? static_cast<uint32_t>(n) : m_nNextFrame;
    m_nNextFrame = nNum + 1;
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
            CountError(nErr);
            return true;
        }
        if (pFrame->decode_error_flags != 0 || (pFrame->flags & AV_FRAME_FLAG_CORRUPT)) {
            CountError(AVERROR_INVALIDDATA);
        }
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
    if (m_start.bFromKey && nPts != AV_NOPTS_VALUE && nPts < m_start.nTargetPts) {
        return true; // decoded only as a reference for the target
    }
    auto pOut = std::make_unique<VideoFrame>();
    pOut->nFrameNum = NumberOf(nPts);
    const int64_t nPtsUs =
        nPts != AV_NOPTS_VALUE ? av_rescale_q(nPts, m_timeBase, AV_TIME_BASE_Q) : m_nFileStartUs;
    pOut->nPtsUs = nPtsUs - m_nFileStartUs;
    pOut->nSourcePtsUs = nPtsUs - m_nVideoStartUs;
    pOut->nClockUs = pOut->nPtsUs;
    pOut->nDurationUs = pFrame->pkt_duration > 0
                            ? av_rescale_q(pFrame->pkt_duration, m_timeBase, AV_TIME_BASE_Q)
                            : m_nFrameDurUs;
    pOut->nSerial = m_pQueue->Serial();
    m_pReadings->nWidth = pFrame->width;
    m_pReadings->nHeight = pFrame->height;
    pOut->pFrame = std::move(pFrame);
    if (m_pCallbacks->WantsYv12() && !m_yuv.ToYv12(pOut->pFrame.get(), &pOut->vecYv12)) {
        pOut->vecYv12.clear();
    }
    CallDecodeCallback(*pOut);
    return m_pRenderer->Push(std::move(pOut));
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
