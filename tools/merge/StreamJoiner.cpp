#include "StreamJoiner.h"

#include "FfmpegPtr.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace velquintools {

using namespace tavrix;

namespace {

const AVRational kMicros = {1, 1000000};
const int kRounding = AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX;

// One recording: its container and the streams that are joined (pictures and
// sound; data and subtitle tracks of cameras are left out).
struct Source {
    FormatContextPtr fmt;
    std::vector<int> streams;
    int64_t nStartUs = 0;
    int64_t nDurationUs = 0;
};

// FFmpeg asks this while it opens and reads a recording: a cancel ends a read
// that waits (a slow disk, a file on a share) instead of waiting behind it.
int CancelRequested(void* pFlag) {
    return static_cast<const std::atomic<bool>*>(pFlag)->load() ? 1 : 0;
}

bool OpenSource(const std::string& strPath, const std::atomic<bool>* pbCancel, Source& src,
                std::string& strError) {
    AVFormatContext* pFmt = avformat_alloc_context();
    if (!pFmt) {
        strError = "out of memory";
        return false;
    }
    if (pbCancel)
        pFmt->interrupt_callback = {&CancelRequested, const_cast<std::atomic<bool>*>(pbCancel)};
    // On failure avformat_open_input frees the context and clears pFmt.
    int nRet = avformat_open_input(&pFmt, strPath.c_str(), nullptr, nullptr);
    if (nRet < 0) {
        strError = strPath + ": cannot open: " + AvErrorText(nRet);
        return false;
    }
    src.fmt.reset(pFmt);
    if ((nRet = avformat_find_stream_info(pFmt, nullptr)) < 0) {
        strError = strPath + ": cannot read: " + AvErrorText(nRet);
        return false;
    }
    bool bVideo = false;
    for (unsigned i = 0; i < pFmt->nb_streams; ++i) {
        const AVMediaType eType = pFmt->streams[i]->codecpar->codec_type;
        if (eType == AVMEDIA_TYPE_VIDEO && !(pFmt->streams[i]->disposition & AV_DISPOSITION_ATTACHED_PIC)) {
            src.streams.push_back(static_cast<int>(i));
            bVideo = true;
        } else if (eType == AVMEDIA_TYPE_AUDIO) {
            src.streams.push_back(static_cast<int>(i));
        }
    }
    if (!bVideo) {
        strError = strPath + ": no video";
        return false;
    }
    src.nStartUs = pFmt->start_time != AV_NOPTS_VALUE ? pFmt->start_time : 0;
    src.nDurationUs = pFmt->duration > 0 ? pFmt->duration : 0;
    return true;
}

bool SameExtradata(const AVCodecParameters* pA, const AVCodecParameters* pB) {
    return pA->extradata_size == pB->extradata_size &&
           (pA->extradata_size == 0 || std::memcmp(pA->extradata, pB->extradata, pA->extradata_size) == 0);
}

// Empty when stream b may follow stream a in one track, else what differs.
std::string StreamDifference(const AVCodecParameters* pA, const AVCodecParameters* pB) {
    if (pA->codec_type != pB->codec_type)
        return "different streams";
    if (pA->codec_id != pB->codec_id)
        return std::string("codec ") + avcodec_get_name(pB->codec_id) + " instead of " +
               avcodec_get_name(pA->codec_id);
    if (pA->codec_type == AVMEDIA_TYPE_VIDEO && (pA->width != pB->width || pA->height != pB->height))
        return "picture size " + std::to_string(pB->width) + "x" + std::to_string(pB->height) +
               " instead of " + std::to_string(pA->width) + "x" + std::to_string(pA->height);
    if (pA->codec_type == AVMEDIA_TYPE_AUDIO &&
        (pA->sample_rate != pB->sample_rate || pA->ch_layout.nb_channels != pB->ch_layout.nb_channels))
        return "sound format differs";
    if (!SameExtradata(pA, pB))
        return "codec parameters differ";
    return std::string();
}

bool Compatible(const std::vector<Source>& sources, const std::vector<std::string>& paths,
                std::string& strError) {
    const Source& first = sources.front();
    for (size_t i = 1; i < sources.size(); ++i) {
        const Source& src = sources[i];
        if (src.streams.size() != first.streams.size()) {
            strError = paths[i] + ": " + std::to_string(src.streams.size()) + " streams instead of " +
                       std::to_string(first.streams.size());
            return false;
        }
        for (size_t s = 0; s < src.streams.size(); ++s) {
            const std::string strDiff = StreamDifference(first.fmt->streams[first.streams[s]]->codecpar,
                                                         src.fmt->streams[src.streams[s]]->codecpar);
            if (!strDiff.empty()) {
                strError = paths[i] + ": " + strDiff;
                return false;
            }
        }
    }
    return true;
}

// bBadInput: a file could not be read or has no pictures (rather than files that differ).
bool OpenAll(const std::vector<std::string>& paths, const std::atomic<bool>* pbCancel,
             std::vector<Source>& sources, std::string& strError, bool& bBadInput) {
    bBadInput = true;
    if (paths.empty()) {
        strError = "no input";
        return false;
    }
    sources.resize(paths.size());
    for (size_t i = 0; i < paths.size(); ++i)
        if (!OpenSource(paths[i], pbCancel, sources[i], strError))
            return false;
    bBadInput = false;
    return Compatible(sources, paths, strError);
}

} // namespace

bool StreamJoiner::CanCopy(const std::vector<std::string>& inputs) {
    m_strError.clear();
    std::vector<Source> sources;
    return OpenAll(inputs, nullptr, sources, m_strError, m_bBadInput);
}

bool StreamJoiner::Run(const std::vector<std::string>& inputs, const std::string& strOut,
                       const std::string& strFinal, const std::string& strCreationTime,
                       const std::vector<int64_t>& startsUs, const std::atomic<bool>* pbCancel,
                       const ProgressFn& fnProgress) {
    m_strError.clear();
    m_bCancelled = false;
    if (!startsUs.empty() && startsUs.size() != inputs.size()) {
        m_strError = "a start for every input, or none";
        return false;
    }
    std::vector<Source> sources;
    if (!OpenAll(inputs, pbCancel, sources, m_strError, m_bBadInput)) {
        if (pbCancel && pbCancel->load()) {
            m_bCancelled = true;
            m_bBadInput = false;
            m_strError = "cancelled";
        }
        return false;
    }

    AVFormatContext* pOut = nullptr;
    const AVOutputFormat* pFormat = av_guess_format(nullptr, strFinal.c_str(), nullptr);
    if (!pFormat) {
        m_strError = strFinal + ": no container for this name";
        m_bBadInput = true;
        return false;
    }
    int nRet = avformat_alloc_output_context2(&pOut, pFormat, nullptr, strOut.c_str());
    if (nRet < 0) {
        m_strError = strFinal + ": " + AvErrorText(nRet);
        return false;
    }
    // avformat_close_input frees an output context too; the file is closed by hand first.
    FormatContextPtr out(pOut);
    const Source& first = sources.front();
    int64_t nTotalUs = 0;
    for (const Source& src : sources)
        nTotalUs += src.nDurationUs;
    // Placed recordings: the time line ends with the last one, gaps included.
    if (!startsUs.empty())
        nTotalUs = std::max(nTotalUs, startsUs.back() + sources.back().nDurationUs);
    for (int nIndex : first.streams) {
        const AVStream* pIn = first.fmt->streams[nIndex];
        AVStream* pStream = avformat_new_stream(pOut, nullptr);
        if (!pStream || avcodec_parameters_copy(pStream->codecpar, pIn->codecpar) < 0) {
            m_strError = "out of memory";
            return false;
        }
        pStream->codecpar->codec_tag = 0; // the output container picks its own tag
        pStream->time_base = pIn->time_base;
        pStream->avg_frame_rate = pIn->avg_frame_rate;
    }
    std::string strTime = strCreationTime;
    if (strTime.empty()) {
        if (const AVDictionaryEntry* pTag = av_dict_get(first.fmt->metadata, "creation_time", nullptr, 0))
            strTime = pTag->value;
    }
    if (!strTime.empty())
        av_dict_set(&pOut->metadata, "creation_time", strTime.c_str(), 0);
    if (!(pOut->oformat->flags & AVFMT_NOFILE) &&
        (nRet = avio_open(&pOut->pb, strOut.c_str(), AVIO_FLAG_WRITE)) < 0) {
        m_strError = strFinal + ": cannot write: " + AvErrorText(nRet);
        return false;
    }
    bool bOk = (nRet = avformat_write_header(pOut, nullptr)) >= 0;
    if (!bOk)
        m_strError = strFinal + ": cannot start: " + AvErrorText(nRet);

    PacketPtr packet = MakePacket();
    std::vector<int64_t> lastDts(first.streams.size(), AV_NOPTS_VALUE);
    int64_t nOffsetUs = 0;
    double dLastProgress = -1;
    for (size_t i = 0; bOk && i < sources.size(); ++i) {
        Source& src = sources[i];
        // A recording starts at its place on the time line, or, when the one
        // before it runs past that (clocks that count whole seconds), where
        // that one ends: the time line never steps back.
        if (!startsUs.empty())
            nOffsetUs = std::max(nOffsetUs, startsUs[i]);
        // Input stream index -> output stream index.
        std::vector<int> outIndex(src.fmt->nb_streams, -1);
        for (size_t s = 0; s < src.streams.size(); ++s)
            outIndex[src.streams[s]] = static_cast<int>(s);
        int64_t nEndUs = nOffsetUs;
        while (bOk) {
            if (pbCancel && pbCancel->load()) {
                m_bCancelled = true;
                m_strError = "cancelled";
                bOk = false;
                break;
            }
            nRet = av_read_frame(src.fmt.get(), packet.get());
            if (nRet < 0) {
                // A read the cancel broke off is no end of the recording.
                if (pbCancel && pbCancel->load()) {
                    m_bCancelled = true;
                    m_strError = "cancelled";
                    bOk = false;
                }
                break; // the end, or a damaged tail: what was read is kept
            }
            // Streams that appear only while reading (a transport stream may
            // announce more on the way) are beyond the table: left out.
            const int nOut = packet->stream_index >= 0 && size_t(packet->stream_index) < outIndex.size()
                                 ? outIndex[packet->stream_index]
                                 : -1;
            if (nOut < 0) {
                av_packet_unref(packet.get());
                continue;
            }
            const AVStream* pIn = src.fmt->streams[packet->stream_index];
            const AVRational tbIn = pIn->time_base;
            // Some containers give pictures no duration; the last one's still
            // lasts a frame period, and the next recording starts after it.
            if (packet->duration <= 0 && pIn->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
                pIn->avg_frame_rate.num > 0)
                packet->duration = av_rescale_q(1, av_inv_q(pIn->avg_frame_rate), tbIn);
            AVStream* pStream = pOut->streams[nOut];
            // Times from this recording's start, moved to where it begins in the output.
            const int64_t nShift = av_rescale_q(nOffsetUs - src.nStartUs, kMicros, tbIn);
            if (packet->pts != AV_NOPTS_VALUE)
                packet->pts += nShift;
            if (packet->dts != AV_NOPTS_VALUE)
                packet->dts += nShift;
            const int64_t nLastTs = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
            if (nLastTs != AV_NOPTS_VALUE) {
                const int64_t nPacketEndUs =
                    av_rescale_q_rnd(nLastTs + std::max<int64_t>(packet->duration, 0), tbIn, kMicros,
                                     static_cast<AVRounding>(kRounding));
                nEndUs = std::max(nEndUs, nPacketEndUs);
            }
            av_packet_rescale_ts(packet.get(), tbIn, pStream->time_base);
            // A recording whose first packets start before the last one's end
            // (rounding, a longer reorder delay) is nudged: decode times rise.
            if (packet->dts != AV_NOPTS_VALUE) {
                if (lastDts[nOut] != AV_NOPTS_VALUE && packet->dts <= lastDts[nOut])
                    packet->dts = lastDts[nOut] + 1;
                if (packet->pts != AV_NOPTS_VALUE && packet->pts < packet->dts)
                    packet->pts = packet->dts;
                lastDts[nOut] = packet->dts;
            }
            packet->stream_index = nOut;
            packet->pos = -1;
            nRet = av_interleaved_write_frame(pOut, packet.get());
            if (nRet < 0) {
                m_strError = strFinal + ": writing: " + AvErrorText(nRet);
                bOk = false;
            }
            if (fnProgress && nTotalUs > 0) {
                const double dProgress = std::clamp(double(nEndUs) / double(nTotalUs), 0.0, 1.0);
                if (dProgress - dLastProgress >= 0.005) {
                    dLastProgress = dProgress;
                    fnProgress(dProgress);
                }
            }
        }
        nOffsetUs = nEndUs;
        src.fmt.reset(); // each recording is closed as soon as it is copied
    }
    if (bOk && (nRet = av_write_trailer(pOut)) < 0) {
        m_strError = strFinal + ": finishing the file: " + AvErrorText(nRet);
        bOk = false;
    }
    if (pOut->pb && !(pOut->oformat->flags & AVFMT_NOFILE))
        avio_closep(&pOut->pb);
    if (!bOk)
        return false; // the partial output is the caller's to remove
    if (fnProgress)
        fnProgress(1.0);
    return true;
}

} // namespace velquintools
