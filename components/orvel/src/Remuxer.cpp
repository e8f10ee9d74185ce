#include "Remuxer.h"

#include "Orvel.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/avutil.h>
}

namespace orvel {

namespace {

constexpr int kIoBufferBytes = 64 * 1024;
// Pictures dropped at most while waiting for a key frame: a source that never
// marks one is played all the same.
constexpr int kMaxKeyWait = 250;

bool TransportStreamCarries(AVCodecID id) {
    switch (id) {
    case AV_CODEC_ID_H264:
    case AV_CODEC_ID_HEVC:
    case AV_CODEC_ID_MPEG4:
    case AV_CODEC_ID_MPEG1VIDEO:
    case AV_CODEC_ID_MPEG2VIDEO:
    case AV_CODEC_ID_AAC:
    case AV_CODEC_ID_AAC_LATM:
    case AV_CODEC_ID_MP2:
    case AV_CODEC_ID_MP3:
    case AV_CODEC_ID_AC3:
        return true;
    default:
        return false;
    }
}

bool MatroskaCarries(AVCodecID id) {
    // Codecs without a Matroska name of their own (G.711, ...) travel in the
    // Windows (VFW/ACM) form, which FFmpeg writes and reads: "unofficial".
    const AVOutputFormat* pMkv = av_guess_format("matroska", nullptr, nullptr);
    return pMkv != nullptr && avformat_query_codec(pMkv, id, FF_COMPLIANCE_UNOFFICIAL) == 1;
}

uint16_t CodecCode(AVCodecID id) {
    switch (id) {
    case AV_CODEC_ID_H264:
        return ORVEL_CODEC_H264;
    case AV_CODEC_ID_HEVC:
        return ORVEL_CODEC_HEVC;
    case AV_CODEC_ID_AAC:
    case AV_CODEC_ID_AAC_LATM:
        return ORVEL_CODEC_AAC;
    case AV_CODEC_ID_MPEG4:
        return ORVEL_CODEC_MPEG4;
    case AV_CODEC_ID_MJPEG:
        return ORVEL_CODEC_MJPEG;
    case AV_CODEC_ID_MP2:
    case AV_CODEC_ID_MP3:
        return ORVEL_CODEC_MPEG_AUDIO;
    case AV_CODEC_ID_PCM_ALAW:
    case AV_CODEC_ID_PCM_MULAW:
        return ORVEL_CODEC_G711;
    default:
        return ORVEL_CODEC_OTHER;
    }
}

AVCodecID TrackCodec(const AVFormatContext* pInput, int nIndex) {
    return nIndex < 0 ? AV_CODEC_ID_NONE : pInput->streams[nIndex]->codecpar->codec_id;
}

// A packet's usual length in microseconds, 0 when unknown.
int64_t UsualStepUs(const AVStream* pStream) {
    const AVCodecParameters* pPar = pStream->codecpar;
    if (pPar->codec_type == AVMEDIA_TYPE_VIDEO && pStream->avg_frame_rate.num > 0 &&
        pStream->avg_frame_rate.den > 0) {
        return av_rescale(1000000, pStream->avg_frame_rate.den, pStream->avg_frame_rate.num);
    }
    if (pPar->codec_type == AVMEDIA_TYPE_AUDIO && pPar->frame_size > 0 && pPar->sample_rate > 0) {
        return av_rescale(1000000, pPar->frame_size, pPar->sample_rate);
    }
    return 0;
}

} // namespace

bool Remuxer::Plan(const AVFormatContext* pInput, Tracks* pTracks, MediaInfo* pInfo) {
    for (int nAttempt = 0; nAttempt < 2; ++nAttempt) {
        const AVCodecID video = TrackCodec(pInput, pTracks->nVideo);
        const AVCodecID audio = TrackCodec(pInput, pTracks->nAudio);
        const bool bTs = (video == AV_CODEC_ID_NONE || TransportStreamCarries(video)) &&
                         (audio == AV_CODEC_ID_NONE || TransportStreamCarries(audio));
        const bool bMkv = (video == AV_CODEC_ID_NONE || MatroskaCarries(video)) &&
                          (audio == AV_CODEC_ID_NONE || MatroskaCarries(audio));
        if (video == AV_CODEC_ID_NONE && audio == AV_CODEC_ID_NONE) {
            return false;
        }
        if (bTs || bMkv) {
            pInfo->nSystem = bTs ? ORVEL_SYSTEM_TS : ORVEL_SYSTEM_MATROSKA;
            pInfo->nVideo = video == AV_CODEC_ID_NONE ? 0 : CodecCode(video);
            pInfo->nAudio = audio == AV_CODEC_ID_NONE ? 0 : CodecCode(audio);
            return true;
        }
        // Sound that no container here carries: the picture matters more.
        pTracks->nAudio = -1;
    }
    return false;
}

bool Remuxer::ReadyWithoutProbing(const AVFormatContext* pInput, const Tracks& tracks) {
    for (const int nIndex : {tracks.nVideo, tracks.nAudio}) {
        if (nIndex < 0) {
            continue;
        }
        const AVCodecParameters* pPar = pInput->streams[nIndex]->codecpar;
        switch (pPar->codec_id) {
        case AV_CODEC_ID_H264:
        case AV_CODEC_ID_HEVC:
            if (pPar->extradata_size <= 0) {
                return false;
            }
            break;
        case AV_CODEC_ID_AAC:
            if (pPar->extradata_size <= 0 || pPar->sample_rate <= 0) {
                return false;
            }
            break;
        default:
            return false; // the rest is rare on cameras: probe it
        }
    }
    return tracks.nVideo >= 0 || tracks.nAudio >= 0;
}

Remuxer::Remuxer(Sink sink, AVIOInterruptCB interrupt)
    : m_sink(std::move(sink)), m_interrupt(interrupt), m_nOriginUs(AV_NOPTS_VALUE) {}

Remuxer::~Remuxer() = default;

int Remuxer::WriteBytes(void* pOpaque, uint8_t* pBuf, int nSize) {
    auto* pSelf = static_cast<Remuxer*>(pOpaque);
    return pSelf->m_sink(pBuf, nSize) ? nSize : AVERROR_EXIT;
}

int Remuxer::Start(const AVFormatContext* pInput, const Tracks& tracks, uint16_t nSystem) {
    const char* szFormat = nSystem == ORVEL_SYSTEM_TS ? "mpegts" : "matroska";
    AVFormatContext* pRaw = nullptr;
    int nRet = avformat_alloc_output_context2(&pRaw, nullptr, szFormat, nullptr);
    if (nRet < 0) {
        return nRet;
    }
    m_output.reset(pRaw);
    m_output->interrupt_callback = m_interrupt;

    m_outIndex.assign(pInput->nb_streams, -1);
    m_inTimeBase.assign(pInput->nb_streams, AVRational{1, 1});
    for (const int nIn : {tracks.nVideo, tracks.nAudio}) {
        if (nIn < 0) {
            continue;
        }
        AVStream* pOut = avformat_new_stream(m_output.get(), nullptr);
        if (pOut == nullptr) {
            return AVERROR(ENOMEM);
        }
        const AVStream* pInStream = pInput->streams[nIn];
        nRet = avcodec_parameters_copy(pOut->codecpar, pInStream->codecpar);
        if (nRet < 0) {
            return nRet;
        }
        pOut->codecpar->codec_tag = 0; // the input container's tag means nothing to this one
        pOut->time_base = pInStream->time_base;
        m_outIndex[nIn] = pOut->index;
        m_inTimeBase[nIn] = pInStream->time_base;
        if (nIn == tracks.nVideo) {
            m_nVideoOut = pOut->index;
        }
    }

    AvMemPtr buffer(static_cast<uint8_t*>(av_malloc(kIoBufferBytes)));
    if (!buffer) {
        return AVERROR(ENOMEM);
    }
    m_io.reset(
        avio_alloc_context(buffer.get(), kIoBufferBytes, 1, this, nullptr, &Remuxer::WriteBytes, nullptr));
    if (!m_io) {
        return AVERROR(ENOMEM);
    }
    buffer.release(); // the I/O context owns it now
    m_io->seekable = 0;
    m_output->pb = m_io.get();
    m_output->flags |= AVFMT_FLAG_CUSTOM_IO;

    AVDictionary* pOptions = nullptr;
    if (nSystem == ORVEL_SYSTEM_TS) {
        av_dict_set(&pOptions, "pat_period", "0.1", 0);
        av_dict_set(&pOptions, "sdt_period", "0.5", 0);
        // A video PES with its length written ends where the length says: the
        // reader hands the picture on at once instead of waiting for the
        // start of the next one.
        av_dict_set(&pOptions, "omit_video_pes_length", "0", 0);
    } else {
        av_dict_set(&pOptions, "live", "1", 0);
        av_dict_set(&pOptions, "write_crc32", "0", 0);
    }
    nRet = avformat_write_header(m_output.get(), &pOptions);
    av_dict_free(&pOptions);
    if (nRet < 0) {
        return nRet;
    }
    for (unsigned i = 0; i < m_output->nb_streams; ++i) {
        const AVStream* pOut = m_output->streams[i];
        const int nIn = (static_cast<int>(i) == m_nVideoOut) ? tracks.nVideo : tracks.nAudio;
        m_rebasers.emplace_back(pOut->time_base, UsualStepUs(pInput->streams[nIn]));
    }
    m_bStarted = m_nVideoOut < 0;
    return Flush();
}

int Remuxer::Write(AVPacket* pkt, int64_t* pDtsUs) {
    const int nIn = pkt->stream_index;
    const int nOut = (nIn >= 0 && nIn < static_cast<int>(m_outIndex.size())) ? m_outIndex[nIn] : -1;
    *pDtsUs = AV_NOPTS_VALUE;
    if (nOut < 0 || !m_output) {
        av_packet_unref(pkt);
        return 0;
    }
    if (!m_bStarted) {
        // A reader starts at a key frame: what comes before it cannot be shown.
        const bool bKey = nOut == m_nVideoOut && (pkt->flags & AV_PKT_FLAG_KEY) != 0;
        if (!bKey && (nOut != m_nVideoOut || ++m_nPicturesSkipped < kMaxKeyWait)) {
            av_packet_unref(pkt);
            return 0;
        }
        m_bStarted = true;
    }
    pkt->stream_index = nOut;
    pkt->pos = -1;
    av_packet_rescale_ts(pkt, m_inTimeBase[nIn], m_output->streams[nOut]->time_base);
    m_rebasers[nOut].Mend(pkt, &m_nOriginUs);
    *pDtsUs = m_rebasers[nOut].LastDtsUs();
    const int nRet = av_write_frame(m_output.get(), pkt);
    av_packet_unref(pkt);
    if (nRet < 0) {
        return nRet;
    }
    return Flush();
}

int Remuxer::Flush() {
    // A null packet makes the muxer give up what it holds back (audio gathered
    // into larger PES packets, an open Matroska cluster); then out of the I/O
    // buffer to the sink.
    if (m_bStarted) {
        const int nRet = av_write_frame(m_output.get(), nullptr);
        if (nRet < 0) {
            return nRet;
        }
    }
    avio_flush(m_io.get());
    return m_io->error;
}

int Remuxer::Finish() {
    if (!m_output || !m_bStarted) {
        return 0;
    }
    const int nRet = av_write_trailer(m_output.get());
    avio_flush(m_io.get());
    return nRet < 0 ? nRet : m_io->error;
}

} // namespace orvel
