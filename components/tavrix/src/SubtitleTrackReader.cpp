#include "SubtitleTrackReader.h"

#include "EngineLog.h"
#include "FfmpegPtr.h"
#include "OverlayTrack.h"

#include <cstring>

namespace tavrix {
namespace {

// A line without an end of its own (a packet without a duration) stays this long.
constexpr int64_t kDefaultLineUs = 5000000;

// The owner of a decoded subtitle's allocations.
struct SubtitleGuard {
    AVSubtitle sub{};
    bool bGot = false;
    ~SubtitleGuard() {
        if (bGot) {
            avsubtitle_free(&sub);
        }
    }
};

} // namespace

SubtitleTrackReader::SubtitleTrackReader(int nPort, std::shared_ptr<OverlayTrack> pTrack)
    : m_nPort(nPort), m_pTrack(std::move(pTrack)) {}

SubtitleTrackReader::~SubtitleTrackReader() {
    m_bAbort = true;
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void SubtitleTrackReader::Start(const std::string& strUtf8Path, int64_t nOriginUs) {
    if (m_thread.joinable()) {
        return;
    }
    m_thread = std::thread([this, strUtf8Path, nOriginUs] { Run(strUtf8Path, nOriginUs); });
}

int SubtitleTrackReader::InterruptCallback(void* pOpaque) {
    return static_cast<SubtitleTrackReader*>(pOpaque)->m_bAbort.load() ? 1 : 0;
}

std::string SubtitleTrackReader::PlainText(const char* szAss) {
    if (szAss == nullptr) {
        return {};
    }
    // An ASS event: ReadOrder,Layer,Style,Name,MarginL,MarginR,MarginV,Effect,Text.
    // A "Dialogue:" line as written in a file carries one field fewer in front.
    const char* p = szAss;
    int nCommas = std::strncmp(p, "Dialogue:", 9) == 0 ? 9 : 8;
    for (; *p != '\0' && nCommas > 0; ++p) {
        if (*p == ',') {
            --nCommas;
        }
    }
    if (nCommas > 0) {
        p = szAss; // not an event line: plain text
    }
    std::string strOut;
    for (; *p != '\0'; ++p) {
        if (*p == '{') {
            const char* pClose = std::strchr(p, '}');
            if (pClose != nullptr) {
                p = pClose;
                continue;
            }
        }
        if (*p == '\\' && (p[1] == 'N' || p[1] == 'n')) {
            strOut += '\n';
            ++p;
            continue;
        }
        if (*p == '\\' && p[1] == 'h') {
            strOut += ' ';
            ++p;
            continue;
        }
        if (*p != '\r') {
            strOut += *p;
        }
    }
    while (!strOut.empty() && (strOut.back() == '\n' || strOut.back() == ' ')) {
        strOut.pop_back();
    }
    return strOut;
}

void SubtitleTrackReader::TakeSubtitle(const AVSubtitle& sub, int64_t nStartUs, int64_t nEndUs) {
    std::string strText;
    for (unsigned i = 0; i < sub.num_rects; ++i) {
        const AVSubtitleRect* pRect = sub.rects[i];
        std::string strPart;
        if (pRect->type == SUBTITLE_ASS) {
            strPart = PlainText(pRect->ass);
        } else if (pRect->type == SUBTITLE_TEXT && pRect->text != nullptr) {
            strPart = pRect->text;
        }
        if (strPart.empty()) {
            continue;
        }
        if (!strText.empty()) {
            strText += '\n';
        }
        strText += strPart;
    }
    if (strText.empty()) {
        return;
    }
    m_pTrack->AddLine({nStartUs, nEndUs, std::move(strText)});
}

void SubtitleTrackReader::Run(std::string strPath, int64_t nOriginUs) {
    struct FinishMark {
        std::atomic<bool>* pb;
        ~FinishMark() { *pb = true; }
    } mark{&m_bFinished};

    AVFormatContext* pRaw = avformat_alloc_context();
    if (pRaw == nullptr) {
        return;
    }
    pRaw->interrupt_callback.callback = &SubtitleTrackReader::InterruptCallback;
    pRaw->interrupt_callback.opaque = this;
    if (avformat_open_input(&pRaw, strPath.c_str(), nullptr, nullptr) < 0) {
        return; // freed by avformat_open_input; the demuxer reports what is wrong with the file
    }
    FormatContextPtr pFormat(pRaw);
    int nStream = -1;
    for (unsigned i = 0; i < pFormat->nb_streams; ++i) {
        AVStream* pStream = pFormat->streams[i];
        const AVCodecDescriptor* pDesc = avcodec_descriptor_get(pStream->codecpar->codec_id);
        const bool bText = pStream->codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE && pDesc != nullptr &&
                           (pDesc->props & AV_CODEC_PROP_TEXT_SUB) != 0;
        if (bText && nStream < 0) {
            nStream = static_cast<int>(i);
        } else {
            pStream->discard = AVDISCARD_ALL;
        }
    }
    if (nStream < 0) {
        return; // no text track: the usual case
    }
    AVStream* pStream = pFormat->streams[nStream];
    const AVCodec* pCodec = avcodec_find_decoder(pStream->codecpar->codec_id);
    if (pCodec == nullptr) {
        EngineLog::Warn(m_nPort, "no decoder for the subtitle track (%s)",
                        avcodec_get_name(pStream->codecpar->codec_id));
        return;
    }
    CodecContextPtr pCodecCtx(avcodec_alloc_context3(pCodec));
    if (!pCodecCtx) {
        return;
    }
    int nErr = avcodec_parameters_to_context(pCodecCtx.get(), pStream->codecpar);
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "subtitle parameters", nErr);
        return;
    }
    pCodecCtx->pkt_timebase = pStream->time_base;
    nErr = avcodec_open2(pCodecCtx.get(), pCodec, nullptr);
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "subtitle decoder", nErr);
        return;
    }
    PacketPtr pPacket(av_packet_alloc());
    if (!pPacket) {
        return;
    }
    // Reads to the end of the file (only the text track's packets are
    // delivered); a close stops it through the interrupt callback.
    while (!m_bAbort.load()) {
        nErr = av_read_frame(pFormat.get(), pPacket.get());
        if (nErr < 0) {
            if (nErr != AVERROR_EOF && nErr != AVERROR_EXIT) {
                EngineLog::AvFail(m_nPort, "subtitle track read", nErr);
            }
            return;
        }
        if (pPacket->stream_index != nStream || pPacket->pts == AV_NOPTS_VALUE) {
            av_packet_unref(pPacket.get());
            continue;
        }
        const int64_t nPtsUs = av_rescale_q(pPacket->pts, pStream->time_base, AV_TIME_BASE_Q);
        const int64_t nDurUs =
            pPacket->duration > 0 ? av_rescale_q(pPacket->duration, pStream->time_base, AV_TIME_BASE_Q) : 0;
        SubtitleGuard guard;
        int nGot = 0;
        nErr = avcodec_decode_subtitle2(pCodecCtx.get(), &guard.sub, &nGot, pPacket.get());
        av_packet_unref(pPacket.get());
        guard.bGot = nGot != 0;
        if (nErr < 0 || !guard.bGot) {
            continue; // a damaged line is left out; the rest of the track still shows
        }
        const int64_t nStartUs = nPtsUs + int64_t{guard.sub.start_display_time} * 1000 - nOriginUs;
        int64_t nEndUs = nPtsUs - nOriginUs;
        if (nDurUs > 0) {
            nEndUs += nDurUs;
        } else if (guard.sub.end_display_time > guard.sub.start_display_time &&
                   guard.sub.end_display_time != UINT32_MAX) {
            nEndUs += int64_t{guard.sub.end_display_time} * 1000;
        } else {
            nEndUs = nStartUs + kDefaultLineUs;
        }
        TakeSubtitle(guard.sub, nStartUs, nEndUs);
    }
}

} // namespace tavrix
