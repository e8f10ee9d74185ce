#include "LiveDemuxer.h"

#include <pthread.h>

#include "CallbackSet.h"
#include "EngineLog.h"
#include "LiveRenderer.h"
#include "ReadRecovery.h"
#include "StreamCounters.h"
#include "StreamSource.h"
#include "TimeLine.h"

#include <algorithm>
#include <chrono>

namespace tavrix {
namespace {
constexpr int kIoBufferBytes = 64 * 1024;
// How long one read of the source waits before it looks at the abort flag again.
constexpr auto kReadWait = std::chrono::milliseconds(100);
// The probe: about half a second of the stream, and at most this many bytes
// of it (half a second of a stream of 16 Mbit/s), so the first picture never
// waits longer.
constexpr int64_t kProbeBytes = 1024 * 1024;
constexpr int64_t kAnalyzeUs = 500000;
// Frames looked at for the frame rate: a few are enough for a camera's
// steady rate, and a container with a header (Matroska) stops there.
constexpr int kFpsProbeFrames = 4;
// The decoder may fall this far behind the stream before packets are left
// out up to the next key frame.
constexpr int64_t kMaxVideoBacklogUs = 1000000;
constexpr int64_t kMaxAudioBacklogUs = 1000000;
// A stream whose container never marks a key frame is decoded anyway after
// this many packets (ten seconds at 25 frames a second).
constexpr int64_t kMaxPacketsWithoutKey = 250;

const char* FormatName(uint16_t nSystemFormat) {
    switch (nSystemFormat) {
    case 2:
        return "mpeg";
    case 3:
        return "mpegts";
    case 4:
        return "matroska";
    default:
        return nullptr;
    }
}

int64_t DurationUs(const AVPacket& packet, AVRational timeBase) {
    // A damaged duration must not make a queue look full.
    constexpr int64_t kMaxUs = 10 * 1000000LL;
    return std::clamp<int64_t>(StampUs(packet.duration, timeBase), 0, kMaxUs);
}
} // namespace

LiveDemuxer::LiveDemuxer(int nPort, CallbackSet* pCallbacks, StreamCounters* pCounters,
                         std::shared_ptr<StreamSource> pSource, uint16_t nSystemFormat)
    : m_nPort(nPort), m_pCallbacks(pCallbacks), m_pCounters(pCounters), m_pSource(std::move(pSource)),
      m_nSystemFormat(nSystemFormat), m_videoQueue(nullptr), m_audioQueue(nullptr) {}

LiveDemuxer::~LiveDemuxer() {
    Abort();
    Join();
    m_videoQueue.Flush();
    m_audioQueue.Flush();
    CloseContainer();
}

void LiveDemuxer::Start(LiveRenderer* pRenderer, OnOpened fnOpened) {
    m_pRenderer = pRenderer;
    m_fnOpened = std::move(fnOpened);
    m_bAbort = false;
    // Started here, not on the thread: an abort that comes before the thread
    // gets going must not be undone by it.
    m_videoQueue.Start();
    m_audioQueue.Start();
    m_thread = std::thread(&LiveDemuxer::Run, this);
}

void LiveDemuxer::Abort() {
    m_bAbort = true;
    m_videoQueue.Abort();
    m_audioQueue.Abort();
}

void LiveDemuxer::Join() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

AVStream* LiveDemuxer::VideoStream() const {
    return m_nVideoIndex >= 0 && m_pFormat ? m_pFormat->streams[m_nVideoIndex] : nullptr;
}

AVStream* LiveDemuxer::AudioStream() const {
    return m_nAudioIndex >= 0 && m_pFormat ? m_pFormat->streams[m_nAudioIndex] : nullptr;
}

int LiveDemuxer::ReadIo(void* pOpaque, uint8_t* pBuf, int nSize) {
    auto* pSelf = static_cast<LiveDemuxer*>(pOpaque);
    // Bounded waits, so a stop is seen within one of them even if its wake-up
    // came between two.
    while (!pSelf->m_bAbort.load()) {
        const int nRead = pSelf->m_pSource->Read(pBuf, nSize, kReadWait);
        if (nRead > 0) {
            return nRead;
        }
        if (nRead < 0) {
            pSelf->m_bAbort = true; // interrupted or closed: nothing more will come
            break;
        }
    }
    return AVERROR_EXIT;
}

int LiveDemuxer::InterruptCallback(void* pOpaque) {
    return static_cast<LiveDemuxer*>(pOpaque)->m_bAbort.load() ? 1 : 0;
}

bool LiveDemuxer::OpenContainer(bool bForced) {
    m_pIo = MakeIoContext(kIoBufferBytes, this, &LiveDemuxer::ReadIo);
    AVFormatContext* pRaw = m_pIo ? avformat_alloc_context() : nullptr;
    if (pRaw == nullptr) {
        m_pIo.reset();
        return false;
    }
    pRaw->pb = m_pIo.get();
    pRaw->flags |= AVFMT_FLAG_CUSTOM_IO; // the I/O context is ours to free, not the format's
    pRaw->interrupt_callback.callback = &LiveDemuxer::InterruptCallback;
    pRaw->interrupt_callback.opaque = this;
    pRaw->probesize = kProbeBytes;
    pRaw->format_probesize = static_cast<int>(kProbeBytes);
    pRaw->max_analyze_duration = kAnalyzeUs;
    pRaw->fps_probe_size = kFpsProbeFrames;
    const char* szFormat = bForced ? FormatName(m_nSystemFormat) : nullptr;
    const AVInputFormat* pFormat = szFormat != nullptr ? av_find_input_format(szFormat) : nullptr;
    int nErr = avformat_open_input(&pRaw, nullptr, pFormat, nullptr);
    if (nErr < 0) {
        // avformat_open_input frees the context on failure.
        if (!m_bAbort && !m_bLoggedOpenFailure) {
            m_bLoggedOpenFailure = true;
            EngineLog::AvFail(m_nPort, "open live stream (trying again on the bytes that follow)", nErr);
        }
        m_pIo.reset();
        return false;
    }
    m_pFormat.reset(pRaw);
    nErr = avformat_find_stream_info(m_pFormat.get(), nullptr);
    if (nErr < 0 && !m_bAbort) {
        EngineLog::AvFail(m_nPort, "find live stream info", nErr);
    }
    if (m_bOpened) {
        MatchStreams();
    } else {
        m_nVideoIndex = av_find_best_stream(m_pFormat.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
        m_nAudioIndex = m_nVideoIndex >= 0 ? av_find_best_stream(m_pFormat.get(), AVMEDIA_TYPE_AUDIO, -1,
                                                                 m_nVideoIndex, nullptr, 0)
                                           : -1;
        m_nVideoIndex = std::max(m_nVideoIndex, -1);
        m_nAudioIndex = std::max(m_nAudioIndex, -1);
    }
    // A camera stream has a picture: without one the bytes read were not yet
    // the stream (or not this stream any more).
    if (m_nVideoIndex < 0 || m_bAbort) {
        if (!m_bAbort && !m_bLoggedOpenFailure) {
            m_bLoggedOpenFailure = true;
            EngineLog::Warn(m_nPort,
                            "live stream without a picture yet: trying again on the bytes that follow");
        }
        CloseContainer();
        return false;
    }
    m_nReadFailures = 0;
    m_bWaitForKey = true;
    m_bBehind = false;
    m_nPacketsWithoutKey = 0;
    return true;
}

void LiveDemuxer::CloseContainer() {
    m_pFormat.reset(); // before the I/O context it reads through
    m_pIo.reset();
    m_nVideoIndex = -1;
    m_nAudioIndex = -1;
}

void LiveDemuxer::MatchStreams() {
    // Opened afresh: the decoders stay, so only streams of their codecs and
    // time bases can feed them.
    m_nVideoIndex = -1;
    m_nAudioIndex = -1;
    for (unsigned i = 0; i < m_pFormat->nb_streams; ++i) {
        const AVStream* pStream = m_pFormat->streams[i];
        const AVCodecID eCodec = pStream->codecpar->codec_id;
        if (m_nVideoIndex < 0 && eCodec == m_eVideoCodec &&
            av_cmp_q(pStream->time_base, m_videoTimeBase) == 0) {
            m_nVideoIndex = static_cast<int>(i);
        } else if (m_nAudioIndex < 0 && eCodec == m_eAudioCodec &&
                   av_cmp_q(pStream->time_base, m_audioTimeBase) == 0) {
            m_nAudioIndex = static_cast<int>(i);
        }
    }
}

void LiveDemuxer::FillInfo() {
    AVStream* pVideo = VideoStream();
    m_info = MediaInfo();
    m_info.nWidth = pVideo->codecpar->width;
    m_info.nHeight = pVideo->codecpar->height;
    const AVRational fps = av_guess_frame_rate(m_pFormat.get(), pVideo, nullptr);
    m_info.dFps = (fps.num > 0 && fps.den > 0 && av_q2d(fps) <= 120.0) ? av_q2d(fps) : 25.0;
    m_info.nFileStartUs = m_pFormat->start_time != AV_NOPTS_VALUE ? m_pFormat->start_time : 0;
    m_info.nVideoStartUs = m_info.nFileStartUs;
    m_info.bHasAudio = m_nAudioIndex >= 0;
    m_eVideoCodec = pVideo->codecpar->codec_id;
    m_videoTimeBase = pVideo->time_base;
    if (m_nAudioIndex >= 0) {
        m_eAudioCodec = AudioStream()->codecpar->codec_id;
        m_audioTimeBase = AudioStream()->time_base;
    }
}

void LiveDemuxer::Run() {
    pthread_setname_np(pthread_self(), "tavrix-live-dmx"); // names the thread in debuggers and top
    // The header's format first; where that fails, the bytes say what they are.
    bool bForced = true;
    while (!m_bAbort) {
        if (!m_pFormat) {
            if (!OpenContainer(bForced)) {
                bForced = false;
                continue;
            }
            if (!m_bOpened) {
                m_bOpened = true;
                FillInfo();
                m_feed = m_fnOpened(*this);
            }
        }
        PacketPtr pPacket = MakePacket();
        if (!pPacket) {
            break;
        }
        const int nErr = av_read_frame(m_pFormat.get(), pPacket.get());
        if (m_bAbort) {
            break;
        }
        if (nErr < 0) {
            // Damage the demuxer could not read past by itself: clear the
            // error and read on; a container that keeps failing is opened
            // afresh on the bytes that follow.
            if (m_nReadFailures++ == 0) {
                EngineLog::AvFail(m_nPort, "read live stream", nErr);
            }
            if (m_nReadFailures > kMaxReadFailures) {
                CloseContainer();
            } else if (m_pFormat->pb != nullptr) {
                m_pFormat->pb->error = 0;
                m_pFormat->pb->eof_reached = 0;
            }
            continue;
        }
        m_nReadFailures = 0;
        HandlePacket(std::move(pPacket));
    }
}

int64_t LiveDemuxer::StampOf(const AVPacket& packet, const AVStream* pStream) const {
    // The scale of VideoFrame::nPtsUs, as the decoder computes it. The decode
    // stamp first: with reordered pictures the newest packet's presentation
    // stamp runs ahead of every picture the decoder can give yet.
    const int64_t nStamp = SaneStamp(packet.dts != AV_NOPTS_VALUE ? packet.dts : packet.pts);
    if (nStamp == AV_NOPTS_VALUE) {
        return AV_NOPTS_VALUE;
    }
    return StampUs(nStamp, pStream->time_base) - m_info.nFileStartUs;
}

void LiveDemuxer::HandlePacket(PacketPtr pPacket) {
    if (pPacket->stream_index == m_nVideoIndex && m_feed.bVideo) {
        QueueVideo(std::move(pPacket));
    } else if (pPacket->stream_index == m_nAudioIndex && m_feed.bAudio) {
        QueueAudio(std::move(pPacket));
    }
}

void LiveDemuxer::QueueVideo(PacketPtr pPacket) {
    const bool bKey = (pPacket->flags & AV_PKT_FLAG_KEY) != 0;
    const int64_t nFrameUs = static_cast<int64_t>(1000000.0 / m_info.dFps);
    const int64_t nBacklogUs = std::max(m_videoQueue.DurationUs(), m_videoQueue.Count() * nFrameUs);
    if (!m_bWaitForKey && nBacklogUs > kMaxVideoBacklogUs && m_pRenderer->ShownAny()) {
        // The decoder cannot keep up: rather than fall further behind, the
        // pictures up to the next key frame are left out. (Not before the
        // first picture: a source that starts with a burst would otherwise
        // show nothing until a key frame long after it.)
        m_bWaitForKey = true;
        m_bBehind = true;
        m_nPacketsWithoutKey = 0;
    }
    if (m_bWaitForKey) {
        if (!bKey && ++m_nPacketsWithoutKey <= kMaxPacketsWithoutKey) {
            if (m_bBehind) {
                m_pCounters->nLateFrames.fetch_add(1);
            }
            return;
        }
        m_bWaitForKey = false;
        if (m_bBehind) {
            // The backlog goes; the decoder drops what it still holds of it.
            m_bBehind = false;
            m_pCounters->nLateFrames.fetch_add(static_cast<uint32_t>(m_videoQueue.Count()));
            m_videoQueue.Flush();
        }
    }
    const AVStream* pStream = VideoStream();
    const int64_t nStampUs = StampOf(*pPacket, pStream);
    if (nStampUs != AV_NOPTS_VALUE) {
        m_pRenderer->NoteIncoming(nStampUs);
    }
    const int64_t nDurUs = DurationUs(*pPacket, pStream->time_base);
    m_videoQueue.Push(std::move(pPacket), nDurUs);
}

void LiveDemuxer::QueueAudio(PacketPtr pPacket) {
    if (m_audioQueue.DurationUs() > kMaxAudioBacklogUs) {
        m_audioQueue.Flush(); // sound that old is of no use live
    }
    const AVRational tb = AudioStream()->time_base;
    const int64_t nDurUs = DurationUs(*pPacket, tb);
    m_audioQueue.Push(std::move(pPacket), nDurUs);
}

} // namespace tavrix
