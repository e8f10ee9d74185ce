#include "MediaTranscoder.h"

#include "FfmpegPtr.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/opt.h>
}

namespace velquintools {

using namespace tavrix;

namespace {

const AVRational kMicros = {1, 1000000};
const char* const kPresets[] = {"ultrafast", "superfast", "veryfast", "faster",   "fast",
                                "medium",    "slow",      "slower",   "veryslow", "placebo"};

// One input with its decoders and the filters that bring its pictures and
// sound to the encoders' formats.
struct Input {
    FormatContextPtr fmt;
    int nVideo = -1;
    int nAudio = -1;
    CodecContextPtr videoDec;
    CodecContextPtr audioDec;
    FilterGraphPtr videoGraph;
    AVFilterContext* pVideoSrc = nullptr; // owned by videoGraph
    AVFilterContext* pVideoSink = nullptr;
    FilterGraphPtr audioGraph;
    AVFilterContext* pAudioSrc = nullptr; // owned by audioGraph
    AVFilterContext* pAudioSink = nullptr;
    int64_t nStartUs = 0;
    int64_t nDurationUs = 0;
};

// FFmpeg asks this while it opens and reads an input: a cancel ends a read
// that waits (a slow disk, a file on a share) instead of waiting behind it.
int CancelRequested(void* pFlag) {
    return static_cast<const std::atomic<bool>*>(pFlag)->load() ? 1 : 0;
}

} // namespace

std::string AvErrorText(int nError) {
    char szText[AV_ERROR_MAX_STRING_SIZE] = {0};
    av_strerror(nError, szText, sizeof(szText));
    return szText;
}

// All state of one run; Run() makes it and drops it, so a transcoder may run again.
struct MediaTranscoder::Impl {
    const TranscodeSettings& settings;
    std::string& strError;
    std::vector<Input> inputs;
    // The output; its file is closed by hand (avio_closep) before the owner,
    // whose avformat_close_input also frees an output context, lets it go.
    FormatContextPtr out;
    CodecContextPtr videoEnc;
    CodecContextPtr audioEnc;
    AVStream* pVideoOut = nullptr;
    AVStream* pAudioOut = nullptr;
    PacketPtr packet = MakePacket();
    FramePtr frame = MakeFrame();
    FramePtr filtered = MakeFrame();
    int64_t nTotalUs = 0;
    int64_t nOffsetUs = 0;   // where the current input starts on the output's time line
    int64_t nInputEndUs = 0; // the latest end seen of the current input, output time line
    int64_t nLastVideoPts = AV_NOPTS_VALUE;
    int64_t nNextAudioPts = 0; // in the audio encoder's time base
    ProgressFn fnProgress;
    double dLastProgress = -1;
    const std::atomic<bool>* pbCancel = nullptr;

    Impl(const TranscodeSettings& s, std::string& e) : settings(s), strError(e) {}

    bool Fail(const std::string& strWhat, int nError) {
        strError = strWhat + ": " + AvErrorText(nError);
        return false;
    }

    bool OpenInput(const std::string& strPath, Input& in) {
        AVFormatContext* pFmt = avformat_alloc_context();
        if (!pFmt)
            return Fail("cannot open " + strPath, AVERROR(ENOMEM));
        if (pbCancel)
            pFmt->interrupt_callback = {&CancelRequested, const_cast<std::atomic<bool>*>(pbCancel)};
        // On failure avformat_open_input frees the context and clears pFmt.
        int nRet = avformat_open_input(&pFmt, strPath.c_str(), nullptr, nullptr);
        if (nRet < 0)
            return Fail("cannot open " + strPath, nRet);
        in.fmt.reset(pFmt);
        if ((nRet = avformat_find_stream_info(pFmt, nullptr)) < 0)
            return Fail("cannot read " + strPath, nRet);
        in.nVideo = av_find_best_stream(pFmt, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
        if (in.nVideo < 0) {
            strError = "no video in " + strPath;
            return false;
        }
        in.nAudio = av_find_best_stream(pFmt, AVMEDIA_TYPE_AUDIO, -1, in.nVideo, nullptr, 0);
        if (in.nAudio < 0)
            in.nAudio = -1;
        in.nStartUs = pFmt->start_time != AV_NOPTS_VALUE ? pFmt->start_time : 0;
        in.nDurationUs = pFmt->duration > 0 ? pFmt->duration : 0;
        if (!OpenDecoder(pFmt->streams[in.nVideo], in.videoDec))
            return false;
        if (in.nAudio >= 0 && !OpenDecoder(pFmt->streams[in.nAudio], in.audioDec))
            in.nAudio = -1; // a sound track that cannot be decoded is left out, the pictures still count
        return true;
    }

    bool OpenDecoder(AVStream* pStream, CodecContextPtr& dec) {
        const AVCodec* pCodec = avcodec_find_decoder(pStream->codecpar->codec_id);
        if (!pCodec) {
            strError = std::string("no decoder for ") + avcodec_get_name(pStream->codecpar->codec_id);
            return false;
        }
        dec.reset(avcodec_alloc_context3(pCodec));
        if (!dec)
            return Fail("decoder", AVERROR(ENOMEM));
        int nRet = avcodec_parameters_to_context(dec.get(), pStream->codecpar);
        if (nRet < 0)
            return Fail("decoder parameters", nRet);
        dec->pkt_timebase = pStream->time_base;
        dec->thread_count = 0;
        if ((nRet = avcodec_open2(dec.get(), pCodec, nullptr)) < 0)
            return Fail(std::string("cannot open decoder ") + pCodec->name, nRet);
        return true;
    }

    bool OpenOutput(const std::string& strOut) {
        AVFormatContext* pOut = nullptr;
        int nRet = avformat_alloc_output_context2(&pOut, nullptr, "mp4", strOut.c_str());
        if (nRet < 0)
            return Fail("cannot make " + strOut, nRet);
        out.reset(pOut);
        const Input& first = inputs.front();
        if (!OpenVideoEncoder(first))
            return false;
        if (first.nAudio >= 0 && !OpenAudioEncoder(first))
            return false;
        std::string strTime = settings.strCreationTime;
        if (strTime.empty()) {
            const AVDictionaryEntry* pTag = av_dict_get(first.fmt->metadata, "creation_time", nullptr, 0);
            if (pTag)
                strTime = pTag->value;
        }
        if (!strTime.empty())
            av_dict_set(&out->metadata, "creation_time", strTime.c_str(), 0);
        if ((nRet = avio_open(&out->pb, strOut.c_str(), AVIO_FLAG_WRITE)) < 0)
            return Fail("cannot write " + strOut, nRet);
        if ((nRet = avformat_write_header(out.get(), nullptr)) < 0)
            return Fail("cannot start " + strOut, nRet);
        return true;
    }

    bool OpenVideoEncoder(const Input& first) {
        const AVCodec* pCodec = avcodec_find_encoder_by_name("libx264");
        if (!pCodec) {
            strError = "this FFmpeg has no libx264 encoder";
            return false;
        }
        const AVStream* pIn = first.fmt->streams[first.nVideo];
        int nWidth = settings.nWidth > 0 ? settings.nWidth : pIn->codecpar->width;
        int nHeight = settings.nHeight;
        if (nHeight <= 0)
            nHeight = settings.nWidth > 0 && pIn->codecpar->width > 0
                          ? static_cast<int>(int64_t(pIn->codecpar->height) * nWidth / pIn->codecpar->width)
                          : pIn->codecpar->height;
        // yuv420p needs even sizes.
        nWidth &= ~1;
        nHeight &= ~1;
        if (nWidth <= 0 || nHeight <= 0) {
            strError = "the picture size is unknown";
            return false;
        }
        videoEnc.reset(avcodec_alloc_context3(pCodec));
        if (!videoEnc)
            return Fail("encoder", AVERROR(ENOMEM));
        videoEnc->width = nWidth;
        videoEnc->height = nHeight;
        videoEnc->pix_fmt = AV_PIX_FMT_YUV420P;
        videoEnc->time_base = pIn->time_base;
        videoEnc->framerate = av_guess_frame_rate(first.fmt.get(), const_cast<AVStream*>(pIn), nullptr);
        videoEnc->sample_aspect_ratio = pIn->codecpar->sample_aspect_ratio;
        videoEnc->thread_count = 0; // as many as the machine has, as the ffmpeg tool does
        if (out->oformat->flags & AVFMT_GLOBALHEADER)
            videoEnc->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        av_opt_set(videoEnc->priv_data, "preset", settings.strPreset.c_str(), 0);
        av_opt_set_int(videoEnc->priv_data, "crf", settings.nCrf, 0);
        int nRet = avcodec_open2(videoEnc.get(), pCodec, nullptr);
        if (nRet < 0)
            return Fail("cannot open libx264", nRet);
        pVideoOut = avformat_new_stream(out.get(), nullptr);
        if (!pVideoOut)
            return Fail("output stream", AVERROR(ENOMEM));
        pVideoOut->time_base = videoEnc->time_base;
        pVideoOut->avg_frame_rate = videoEnc->framerate;
        return avcodec_parameters_from_context(pVideoOut->codecpar, videoEnc.get()) >= 0;
    }

    bool OpenAudioEncoder(const Input& first) {
        const AVCodec* pCodec = avcodec_find_encoder(AV_CODEC_ID_AAC);
        if (!pCodec) {
            strError = "this FFmpeg has no AAC encoder";
            return false;
        }
        const AVCodecContext* pDec = first.audioDec.get();
        audioEnc.reset(avcodec_alloc_context3(pCodec));
        if (!audioEnc)
            return Fail("encoder", AVERROR(ENOMEM));
        // AAC takes a fixed set of rates; others go to 48 kHz.
        int nRate = 48000;
        for (const int* p = pCodec->supported_samplerates; p && *p; ++p)
            if (*p == pDec->sample_rate)
                nRate = *p;
        audioEnc->sample_rate = nRate;
        audioEnc->sample_fmt = AV_SAMPLE_FMT_FLTP;
        // More than two channels are mixed down to stereo; AAC's own layouts
        // above two are few and the recordings' sound is speech.
        av_channel_layout_default(&audioEnc->ch_layout, std::min(pDec->ch_layout.nb_channels, 2));
        audioEnc->bit_rate = settings.nAudioBitRate;
        audioEnc->time_base = AVRational{1, nRate};
        if (out->oformat->flags & AVFMT_GLOBALHEADER)
            audioEnc->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        int nRet = avcodec_open2(audioEnc.get(), pCodec, nullptr);
        if (nRet < 0)
            return Fail("cannot open the AAC encoder", nRet);
        pAudioOut = avformat_new_stream(out.get(), nullptr);
        if (!pAudioOut)
            return Fail("output stream", AVERROR(ENOMEM));
        pAudioOut->time_base = audioEnc->time_base;
        return avcodec_parameters_from_context(pAudioOut->codecpar, audioEnc.get()) >= 0;
    }

    bool MakeGraph(FilterGraphPtr& graph, AVFilterContext*& pSrc, AVFilterContext*& pSink, const char* pszSrc,
                   const std::string& strSrcArgs, const char* pszSink, const std::string& strChain) {
        graph.reset(avfilter_graph_alloc());
        if (!graph)
            return Fail("filters", AVERROR(ENOMEM));
        int nRet = avfilter_graph_create_filter(&pSrc, avfilter_get_by_name(pszSrc), "in", strSrcArgs.c_str(),
                                                nullptr, graph.get());
        if (nRet < 0)
            return Fail("filter source", nRet);
        nRet = avfilter_graph_create_filter(&pSink, avfilter_get_by_name(pszSink), "out", nullptr, nullptr,
                                            graph.get());
        if (nRet < 0)
            return Fail("filter sink", nRet);
        AVFilterInOut* pOutputs = avfilter_inout_alloc();
        AVFilterInOut* pInputs = avfilter_inout_alloc();
        if (!pOutputs || !pInputs) {
            avfilter_inout_free(&pOutputs);
            avfilter_inout_free(&pInputs);
            return Fail("filters", AVERROR(ENOMEM));
        }
        pOutputs->name = av_strdup("in");
        pOutputs->filter_ctx = pSrc;
        pInputs->name = av_strdup("out");
        pInputs->filter_ctx = pSink;
        nRet = avfilter_graph_parse_ptr(graph.get(), strChain.c_str(), &pInputs, &pOutputs, nullptr);
        avfilter_inout_free(&pOutputs);
        avfilter_inout_free(&pInputs);
        if (nRet < 0)
            return Fail("filter chain " + strChain, nRet);
        if ((nRet = avfilter_graph_config(graph.get(), nullptr)) < 0)
            return Fail("filter setup", nRet);
        return true;
    }

    bool MakeFilters(Input& in) {
        const AVStream* pVideo = in.fmt->streams[in.nVideo];
        const AVCodecContext* pDec = in.videoDec.get();
        const AVRational sar = pDec->sample_aspect_ratio.num ? pDec->sample_aspect_ratio : AVRational{1, 1};
        char szArgs[256];
        std::snprintf(szArgs, sizeof(szArgs),
                      "video_size=%dx%d:pix_fmt=%d:time_base=%d/%d:pixel_aspect=%d/%d", pDec->width,
                      pDec->height, pDec->pix_fmt, pVideo->time_base.num, pVideo->time_base.den, sar.num,
                      sar.den);
        const std::string strScale = "scale=" + std::to_string(videoEnc->width) + ":" +
                                     std::to_string(videoEnc->height) + ",format=yuv420p";
        if (!MakeGraph(in.videoGraph, in.pVideoSrc, in.pVideoSink, "buffer", szArgs, "buffersink", strScale))
            return false;
        if (in.nAudio < 0 || !audioEnc)
            return true;
        const AVCodecContext* pAud = in.audioDec.get();
        char szLayout[64] = {0};
        av_channel_layout_describe(&pAud->ch_layout, szLayout, sizeof(szLayout));
        char szOutLayout[64] = {0};
        av_channel_layout_describe(&audioEnc->ch_layout, szOutLayout, sizeof(szOutLayout));
        std::snprintf(szArgs, sizeof(szArgs), "time_base=1/%d:sample_rate=%d:sample_fmt=%s:channel_layout=%s",
                      pAud->sample_rate, pAud->sample_rate, av_get_sample_fmt_name(pAud->sample_fmt),
                      szLayout);
        const std::string strChain = "aresample=" + std::to_string(audioEnc->sample_rate) +
                                     ",aformat=sample_fmts=fltp:channel_layouts=" + szOutLayout;
        if (!MakeGraph(in.audioGraph, in.pAudioSrc, in.pAudioSink, "abuffer", szArgs, "abuffersink",
                       strChain))
            return false;
        // AAC takes frames of exactly frame_size samples.
        av_buffersink_set_frame_size(in.pAudioSink, static_cast<unsigned>(audioEnc->frame_size));
        return true;
    }

    void ReportProgress(int64_t nPosUs) {
        if (!fnProgress || nTotalUs <= 0)
            return;
        const double dProgress = std::clamp(double(nPosUs) / double(nTotalUs), 0.0, 1.0);
        if (dProgress - dLastProgress < 0.005 && dProgress < 1.0)
            return;
        dLastProgress = dProgress;
        fnProgress(dProgress);
    }

    // Sends one frame (or null: the end) to an encoder and writes what comes out.
    bool Encode(AVCodecContext* pEnc, AVStream* pStream, AVFrame* pFrame) {
        int nRet = avcodec_send_frame(pEnc, pFrame);
        if (nRet < 0 && nRet != AVERROR_EOF)
            return Fail("encoding", nRet);
        PacketPtr encoded = MakePacket();
        while ((nRet = avcodec_receive_packet(pEnc, encoded.get())) >= 0) {
            av_packet_rescale_ts(encoded.get(), pEnc->time_base, pStream->time_base);
            encoded->stream_index = pStream->index;
            if ((nRet = av_interleaved_write_frame(out.get(), encoded.get())) < 0)
                return Fail("writing", nRet);
        }
        return nRet == AVERROR(EAGAIN) || nRet == AVERROR_EOF ? true : Fail("encoding", nRet);
    }

    // Output time of a filtered frame: its own time from the input's start,
    // moved to where this input begins on the output's time line.
    int64_t OutputPts(const Input& in, int64_t nPts, AVRational tbIn, AVRational tbOut) const {
        return av_rescale_q(nPts, tbIn, tbOut) - av_rescale_q(in.nStartUs, kMicros, tbOut) +
               av_rescale_q(nOffsetUs, kMicros, tbOut);
    }

    bool DrainVideo(const Input& in) {
        for (;;) {
            int nRet = av_buffersink_get_frame(in.pVideoSink, filtered.get());
            if (nRet == AVERROR(EAGAIN) || nRet == AVERROR_EOF)
                return true;
            if (nRet < 0)
                return Fail("filtering", nRet);
            const AVRational tbSink = av_buffersink_get_time_base(in.pVideoSink);
            int64_t nPts = filtered->pts == AV_NOPTS_VALUE
                               ? nLastVideoPts + 1
                               : OutputPts(in, filtered->pts, tbSink, videoEnc->time_base);
            // The encoder and the muxer need rising times; a picture that
            // comes back in time is put just after the one before.
            if (nLastVideoPts != AV_NOPTS_VALUE && nPts <= nLastVideoPts)
                nPts = nLastVideoPts + 1;
            nLastVideoPts = nPts;
            filtered->pts = nPts;
            filtered->pict_type = AV_PICTURE_TYPE_NONE;
            // A picture lasts one frame period; the end of the last one is the input's end.
            const int64_t nDur = videoEnc->framerate.num > 0
                                     ? av_rescale_q(1, av_inv_q(videoEnc->framerate), videoEnc->time_base)
                                     : 1;
            const int64_t nEndUs =
                av_rescale_q(nPts + std::max<int64_t>(nDur, 1), videoEnc->time_base, kMicros);
            nInputEndUs = std::max(nInputEndUs, nEndUs);
            const bool bOk = Encode(videoEnc.get(), pVideoOut, filtered.get());
            av_frame_unref(filtered.get());
            if (!bOk)
                return false;
            ReportProgress(nEndUs);
        }
    }

    bool DrainAudio(const Input& in) {
        for (;;) {
            int nRet = av_buffersink_get_frame(in.pAudioSink, filtered.get());
            if (nRet == AVERROR(EAGAIN) || nRet == AVERROR_EOF)
                return true;
            if (nRet < 0)
                return Fail("filtering", nRet);
            const AVRational tbSink = av_buffersink_get_time_base(in.pAudioSink);
            int64_t nPts = filtered->pts == AV_NOPTS_VALUE
                               ? nNextAudioPts
                               : OutputPts(in, filtered->pts, tbSink, audioEnc->time_base);
            // Sound runs on without overlaps; small steps back from rounding at
            // a join are taken up here.
            nPts = std::max(nPts, nNextAudioPts);
            filtered->pts = nPts;
            nNextAudioPts = nPts + filtered->nb_samples;
            nInputEndUs = std::max(nInputEndUs, av_rescale_q(nNextAudioPts, audioEnc->time_base, kMicros));
            const bool bOk = Encode(audioEnc.get(), pAudioOut, filtered.get());
            av_frame_unref(filtered.get());
            if (!bOk)
                return false;
        }
    }

    // Decodes one packet (or null: the end of the input) and pushes its frames through the filters.
    bool Decode(Input& in, AVCodecContext* pDec, bool bVideo, const AVPacket* pPacket) {
        int nRet = avcodec_send_packet(pDec, pPacket);
        if (nRet < 0 && nRet != AVERROR_EOF && nRet != AVERROR_INVALIDDATA)
            return Fail("decoding", nRet);
        AVFilterContext* pSrc = bVideo ? in.pVideoSrc : in.pAudioSrc;
        for (;;) {
            nRet = avcodec_receive_frame(pDec, frame.get());
            if (nRet == AVERROR(EAGAIN) || nRet == AVERROR_EOF)
                break;
            if (nRet == AVERROR_INVALIDDATA)
                continue; // a damaged picture is skipped, as the player conceals it
            if (nRet < 0)
                return Fail("decoding", nRet);
            frame->pts = frame->best_effort_timestamp;
            if (!bVideo && frame->pts != AV_NOPTS_VALUE)
                frame->pts = av_rescale_q(frame->pts, in.fmt->streams[in.nAudio]->time_base,
                                          AVRational{1, frame->sample_rate});
            nRet = av_buffersrc_add_frame_flags(pSrc, frame.get(), AV_BUFFERSRC_FLAG_KEEP_REF);
            av_frame_unref(frame.get());
            if (nRet < 0)
                return Fail("filtering", nRet);
            if (!(bVideo ? DrainVideo(in) : DrainAudio(in)))
                return false;
        }
        if (pPacket)
            return true;
        // The end: the filters give what they still hold.
        if ((nRet = av_buffersrc_add_frame(pSrc, nullptr)) < 0)
            return Fail("filtering", nRet);
        return bVideo ? DrainVideo(in) : DrainAudio(in);
    }

    bool Cancelled() const { return pbCancel && pbCancel->load(); }

    bool RunInput(Input& in, bool& bCancelled) {
        if (!MakeFilters(in))
            return false;
        nInputEndUs = nOffsetUs;
        const bool bAudio = in.nAudio >= 0 && audioEnc;
        for (;;) {
            if (Cancelled()) {
                bCancelled = true;
                return false;
            }
            int nRet = av_read_frame(in.fmt.get(), packet.get());
            if (nRet == AVERROR_EOF)
                break;
            if (nRet < 0) {
                // A read the cancel broke off is no end of the input.
                if (Cancelled()) {
                    bCancelled = true;
                    return false;
                }
                break; // a damaged tail ends the input; what was read is kept
            }
            bool bOk = true;
            if (packet->stream_index == in.nVideo)
                bOk = Decode(in, in.videoDec.get(), true, packet.get());
            else if (bAudio && packet->stream_index == in.nAudio)
                bOk = Decode(in, in.audioDec.get(), false, packet.get());
            av_packet_unref(packet.get());
            if (!bOk)
                return false;
        }
        if (!Decode(in, in.videoDec.get(), true, nullptr))
            return false;
        if (bAudio && !Decode(in, in.audioDec.get(), false, nullptr))
            return false;
        nOffsetUs = nInputEndUs;
        return true;
    }

    bool Finish() {
        if (!Encode(videoEnc.get(), pVideoOut, nullptr))
            return false;
        if (audioEnc && !Encode(audioEnc.get(), pAudioOut, nullptr))
            return false;
        const int nRet = av_write_trailer(out.get());
        if (nRet < 0)
            return Fail("finishing the file", nRet);
        return true;
    }

    void CloseOutput() {
        if (out && out->pb)
            avio_closep(&out->pb);
    }
};

MediaTranscoder::MediaTranscoder(TranscodeSettings settings) : m_settings(std::move(settings)) {}

bool MediaTranscoder::IsValidPreset(const std::string& strPreset) {
    return std::find(std::begin(kPresets), std::end(kPresets), strPreset) != std::end(kPresets);
}

bool MediaTranscoder::ApplyEncodeOptions(const std::string& strPreset, const std::string& strCrf,
                                         TranscodeSettings& settings, std::string& strWhy) {
    if (!strPreset.empty())
        settings.strPreset = strPreset;
    if (!IsValidPreset(settings.strPreset)) {
        strWhy = "unknown preset";
        return false;
    }
    if (!strCrf.empty()) {
        char* pEnd = nullptr;
        const long nCrf = std::strtol(strCrf.c_str(), &pEnd, 10);
        if (*pEnd != '\0' || nCrf < 0 || nCrf > 51) {
            strWhy = "--crf must be 0 to 51";
            return false;
        }
        settings.nCrf = static_cast<int>(nCrf);
    }
    return true;
}

JobResult MediaTranscoder::RunJob(const std::vector<std::string>& inputs, const std::string& strOut,
                                  const std::atomic<bool>* pbCancel, const ProgressFn& fnProgress,
                                  const std::string& strDone) {
    if (Run(inputs, strOut, pbCancel, fnProgress))
        return JobResult::Success(strDone);
    if (Cancelled())
        return JobResult::Stopped();
    if (BadInput())
        return JobResult::Bad(LastError());
    return JobResult::Fail(LastError());
}

bool MediaTranscoder::Run(const std::vector<std::string>& inputs, const std::string& strOut,
                          const std::atomic<bool>* pbCancel, const ProgressFn& fnProgress) {
    m_strError.clear();
    m_bCancelled = false;
    m_bBadInput = false;
    if (inputs.empty()) {
        m_strError = "no input";
        return false;
    }
    if (!IsValidPreset(m_settings.strPreset)) {
        m_strError = "unknown preset " + m_settings.strPreset;
        return false;
    }
    if (m_settings.nCrf < 0 || m_settings.nCrf > 51) {
        m_strError = "the quality (CRF) must be 0 to 51";
        return false;
    }
    const std::vector<int64_t>& startsUs = m_settings.startsUs;
    if (!startsUs.empty() && startsUs.size() != inputs.size()) {
        m_strError = "a start for every input, or none";
        return false;
    }
    Impl impl(m_settings, m_strError);
    impl.fnProgress = fnProgress;
    impl.pbCancel = pbCancel;
    impl.inputs.resize(inputs.size());
    for (size_t i = 0; i < inputs.size(); ++i) {
        if (!impl.OpenInput(inputs[i], impl.inputs[i])) {
            m_bCancelled = impl.Cancelled();
            m_bBadInput = !m_bCancelled;
            return false;
        }
        impl.nTotalUs += impl.inputs[i].nDurationUs;
    }
    // Placed inputs: the time line ends with the last one, gaps included.
    if (!startsUs.empty())
        impl.nTotalUs = std::max(impl.nTotalUs, startsUs.back() + impl.inputs.back().nDurationUs);
    bool bOk = impl.OpenOutput(strOut);
    for (size_t i = 0; bOk && i < impl.inputs.size(); ++i) {
        if (!startsUs.empty())
            impl.nOffsetUs = std::max(impl.nOffsetUs, startsUs[i]);
        bOk = impl.RunInput(impl.inputs[i], m_bCancelled);
        impl.inputs[i] = Input(); // each input's decoders go as soon as it is done
    }
    bOk = bOk && impl.Finish();
    impl.CloseOutput();
    if (!bOk) {
        if (m_bCancelled)
            m_strError = "cancelled";
        return false;
    }
    if (fnProgress)
        fnProgress(1.0);
    return true;
}

} // namespace velquintools
