// CPlayHelper::AnalyzeFileInfo: container and codec codes of a file.
#include "CPlayHelper.h"
#include "MediaProbe.h"

#include <cstring>

extern "C" {
#include <libavutil/rational.h>
}

namespace {

uint32_t SystemFormat(const AVInputFormat* pFormat) {
    if (!pFormat || !pFormat->name)
        return FA_SYSTEM_OTHER;
    const char* pName = pFormat->name;
    struct Entry {
        const char* pName;
        uint32_t nCode;
    };
    static const Entry kFormats[] = {
        {"mpegts", FA_SYSTEM_TS},
        {"mpeg", FA_SYSTEM_PS},
        {"rtp", FA_SYSTEM_RTP},
        {"sdp", FA_SYSTEM_RTP},
        {"rtsp", FA_SYSTEM_RTP},
        {"mov,mp4,m4a,3gp,3g2,mj2", FA_SYSTEM_ISO_MEDIA},
        {"matroska,webm", FA_SYSTEM_MATROSKA},
        {"avi", FA_SYSTEM_AVI},
        {"flv", FA_SYSTEM_FLV},
        {"h264", FA_SYSTEM_NONE},
        {"hevc", FA_SYSTEM_NONE},
        {"mjpeg", FA_SYSTEM_NONE},
        {"m4v", FA_SYSTEM_NONE},
        {"mpegvideo", FA_SYSTEM_NONE},
    };
    for (const Entry& e : kFormats) {
        if (std::strcmp(pName, e.pName) == 0)
            return e.nCode;
    }
    return FA_SYSTEM_OTHER;
}

// The ISO family shares one demuxer; the brand of the 'ftyp' box tells the
// member. Old QuickTime files have no 'ftyp' at all.
uint32_t IsoMember(AVFormatContext* pCtx) {
    const AVDictionaryEntry* pBrand = av_dict_get(pCtx->metadata, "major_brand", nullptr, 0);
    if (!pBrand || !pBrand->value || std::strncmp(pBrand->value, "qt", 2) == 0)
        return FA_SYSTEM_MOV;
    if (std::strncmp(pBrand->value, "3g", 2) == 0)
        return FA_SYSTEM_ISO_MEDIA;
    return FA_SYSTEM_MP4;
}

uint32_t VideoFormat(AVCodecID eId) {
    switch (eId) {
    case AV_CODEC_ID_NONE:
        return FA_VIDEO_NONE;
    case AV_CODEC_ID_H264:
        return FA_VIDEO_H264;
    case AV_CODEC_ID_MPEG2VIDEO:
    case AV_CODEC_ID_MPEG1VIDEO:
        return FA_VIDEO_MPEG2;
    case AV_CODEC_ID_MPEG4:
        return FA_VIDEO_MPEG4;
    case AV_CODEC_ID_MJPEG:
        return FA_VIDEO_MJPEG;
    case AV_CODEC_ID_HEVC:
        return FA_VIDEO_H265;
    default:
        return FA_VIDEO_OTHER;
    }
}

uint32_t AudioFormat(AVCodecID eId) {
    switch (eId) {
    case AV_CODEC_ID_NONE:
        return FA_AUDIO_NONE;
    case AV_CODEC_ID_MP1:
    case AV_CODEC_ID_MP2:
    case AV_CODEC_ID_MP3:
        return FA_AUDIO_MPEG;
    case AV_CODEC_ID_AAC:
    case AV_CODEC_ID_AAC_LATM:
        return FA_AUDIO_AAC;
    case AV_CODEC_ID_AMR_NB:
    case AV_CODEC_ID_AMR_WB:
        return FA_AUDIO_AMR;
    case AV_CODEC_ID_PCM_S16LE:
    case AV_CODEC_ID_PCM_S16BE:
    case AV_CODEC_ID_PCM_U8:
    case AV_CODEC_ID_PCM_S24LE:
    case AV_CODEC_ID_PCM_S32LE:
    case AV_CODEC_ID_PCM_F32LE:
        return FA_AUDIO_PCM;
    case AV_CODEC_ID_PCM_MULAW:
        return FA_AUDIO_G711_U;
    case AV_CODEC_ID_PCM_ALAW:
        return FA_AUDIO_G711_A;
    case AV_CODEC_ID_ADPCM_G722:
        return FA_AUDIO_G722;
    case AV_CODEC_ID_ADPCM_G726:
    case AV_CODEC_ID_ADPCM_G726LE:
        return FA_AUDIO_G726;
    default:
        return FA_AUDIO_OTHER;
    }
}

} // namespace

bool CPlayHelper::AnalyzeFileInfo(const QString& strPath, _FA_FILE_INFO_* pInfo) {
    if (!pInfo)
        return false;
    MediaProbe::FormatPtr ctx = MediaProbe::Open(strPath, true);
    if (!ctx)
        return false;
    _FA_FILE_INFO_ info{};
    info.nSystemFormat = SystemFormat(ctx->iformat);
    info.nSystemFormatEx =
        info.nSystemFormat == FA_SYSTEM_ISO_MEDIA ? IsoMember(ctx.get()) : info.nSystemFormat;
    info.nBitRate = ctx->bit_rate > 0 ? ctx->bit_rate : 0;
    info.nDurationMs = ctx->duration > 0 ? av_rescale(ctx->duration, 1000, AV_TIME_BASE) : -1;

    const int nVideo = av_find_best_stream(ctx.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (nVideo >= 0) {
        const AVStream* pStream = ctx->streams[nVideo];
        info.nVideoFormat = VideoFormat(pStream->codecpar->codec_id);
        info.nWidth = pStream->codecpar->width;
        info.nHeight = pStream->codecpar->height;
        AVRational rate = pStream->avg_frame_rate;
        if (rate.num <= 0 || rate.den <= 0)
            rate = pStream->r_frame_rate;
        if (rate.num > 0 && rate.den > 0)
            info.nFrameRateMilli = int32_t(av_rescale(rate.num, 1000, rate.den));
    }
    const int nAudio = av_find_best_stream(ctx.get(), AVMEDIA_TYPE_AUDIO, -1, nVideo, nullptr, 0);
    if (nAudio >= 0) {
        const AVCodecParameters* pPar = ctx->streams[nAudio]->codecpar;
        info.nAudioFormat = AudioFormat(pPar->codec_id);
        info.nAudioChannels = pPar->ch_layout.nb_channels;
        info.nAudioSampleRate = pPar->sample_rate;
    }
    *pInfo = info;
    return true;
}
