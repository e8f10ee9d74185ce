#include "EdgeEncoder.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace velquintools {

namespace {

// Extra rows coded below each edge picture and cropped off again: one
// macroblock row, so that the coded size differs from the source's.
const int kPadRows = 16;

std::string ErrorText(int nError) {
    char szText[AV_ERROR_MAX_STRING_SIZE] = {0};
    av_strerror(nError, szText, sizeof(szText));
    return szText;
}

// Positions and sizes of the NAL units of a start-code stream.
std::vector<std::pair<size_t, size_t>> SplitAnnexB(const uint8_t* pData, size_t nSize) {
    std::vector<std::pair<size_t, size_t>> vecUnits;
    size_t i = 0;
    size_t nStart = SIZE_MAX;
    while (i + 3 <= nSize) {
        if (pData[i] == 0 && pData[i + 1] == 0 && pData[i + 2] == 1) {
            if (nStart != SIZE_MAX) {
                size_t nEnd = i;
                while (nEnd > nStart && pData[nEnd - 1] == 0)
                    --nEnd; // the zero of a four-byte start code
                vecUnits.emplace_back(nStart, nEnd - nStart);
            }
            i += 3;
            nStart = i;
            continue;
        }
        ++i;
    }
    if (nStart != SIZE_MAX && nStart < nSize)
        vecUnits.emplace_back(nStart, nSize - nStart);
    return vecUnits;
}

void AppendUnit(std::vector<uint8_t>* pvec, const uint8_t* pUnit, size_t nSize, int nLengthSize) {
    if (nLengthSize == 0) {
        const uint8_t aStart[4] = {0, 0, 0, 1};
        pvec->insert(pvec->end(), aStart, aStart + 4);
    } else {
        for (int i = nLengthSize - 1; i >= 0; --i)
            pvec->push_back(static_cast<uint8_t>(nSize >> (8 * i)));
    }
    pvec->insert(pvec->end(), pUnit, pUnit + nSize);
}

} // namespace

int EdgeEncoder::LengthSizeOf(const AVCodecParameters* pPar) {
    if (pPar->extradata_size >= 7 && pPar->extradata[0] == 1)
        return (pPar->extradata[4] & 3) + 1;
    return 0;
}

std::vector<uint8_t> EdgeEncoder::SourceParameterSets(const AVCodecParameters* pPar, int nLengthSize) {
    std::vector<uint8_t> vecOut;
    const uint8_t* p = pPar->extradata;
    const size_t nSize = static_cast<size_t>(pPar->extradata_size);
    if (!p || nSize == 0)
        return vecOut;
    if (p[0] != 1) {
        for (const auto& unit : SplitAnnexB(p, nSize))
            AppendUnit(&vecOut, p + unit.first, unit.second, nLengthSize);
        return vecOut;
    }
    // avcC: version, profile, compatibility, level, length size, then the
    // sequence parameter sets and the picture parameter sets, each with a
    // two-byte length.
    size_t i = 5;
    for (int nList = 0; nList < 2 && i < nSize; ++nList) {
        const int nCount = nList == 0 ? (p[i] & 0x1f) : p[i];
        ++i;
        for (int n = 0; n < nCount && i + 2 <= nSize; ++n) {
            const size_t nLen = (static_cast<size_t>(p[i]) << 8) | p[i + 1];
            i += 2;
            if (i + nLen > nSize)
                return {};
            AppendUnit(&vecOut, p + i, nLen, nLengthSize);
            i += nLen;
        }
    }
    return vecOut;
}

bool EdgeEncoder::Prepend(AVPacket* pPkt, const std::vector<uint8_t>& vecBytes) {
    if (vecBytes.empty())
        return true;
    tavrix::PacketPtr pNew = tavrix::MakePacket();
    if (!pNew || av_new_packet(pNew.get(), static_cast<int>(vecBytes.size()) + pPkt->size) < 0)
        return false;
    std::copy(vecBytes.begin(), vecBytes.end(), pNew->data);
    std::copy(pPkt->data, pPkt->data + pPkt->size, pNew->data + vecBytes.size());
    if (av_packet_copy_props(pNew.get(), pPkt) < 0)
        return false;
    av_packet_unref(pPkt);
    av_packet_move_ref(pPkt, pNew.get());
    return true;
}

bool EdgeEncoder::Open(const AVStream* pInSt, int nLengthSize, std::string* pstrWhy) {
    m_pInSt = pInSt;
    m_nLengthSize = nLengthSize;
    const AVCodec* pCodec = avcodec_find_decoder(pInSt->codecpar->codec_id);
    if (!pCodec) {
        *pstrWhy = "No decoder for the source's pictures.";
        return false;
    }
    m_pDecoder.reset(avcodec_alloc_context3(pCodec));
    m_pFrame = tavrix::MakeFrame();
    if (!m_pDecoder || !m_pFrame) {
        *pstrWhy = "Out of memory.";
        return false;
    }
    int nErr = avcodec_parameters_to_context(m_pDecoder.get(), pInSt->codecpar);
    if (nErr >= 0) {
        m_pDecoder->pkt_timebase = pInSt->time_base;
        nErr = avcodec_open2(m_pDecoder.get(), pCodec, nullptr);
    }
    if (nErr < 0) {
        *pstrWhy = "Cannot decode the source's pictures: " + ErrorText(nErr);
        return false;
    }
    return true;
}

bool EdgeEncoder::OpenEncoder(const AVFrame* pFrame, std::string* pstrWhy) {
    const AVCodec* pCodec = avcodec_find_encoder_by_name("libx264");
    if (!pCodec) {
        *pstrWhy = "Frame-exact clips need the libx264 encoder, which this FFmpeg lacks.";
        return false;
    }
    m_pEncoder.reset(avcodec_alloc_context3(pCodec));
    if (!m_pEncoder) {
        *pstrWhy = "Out of memory.";
        return false;
    }
    AVCodecContext* pEnc = m_pEncoder.get();
    const AVPixelFormat eFormat = static_cast<AVPixelFormat>(pFrame->format);
    switch (eFormat) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUV422P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUV444P:
    case AV_PIX_FMT_YUVJ444P:
        break;
    default:
        *pstrWhy = std::string("Frame-exact clips need 8-bit YUV pictures; these are ") +
                   (av_get_pix_fmt_name(eFormat) ? av_get_pix_fmt_name(eFormat) : "unknown") + ".";
        return false;
    }
    pEnc->width = pFrame->width;
    pEnc->height = pFrame->height + kPadRows;
    pEnc->pix_fmt = eFormat;
    pEnc->sample_aspect_ratio = pFrame->sample_aspect_ratio;
    pEnc->color_range = pFrame->color_range;
    pEnc->colorspace = pFrame->colorspace;
    pEnc->color_primaries = pFrame->color_primaries;
    pEnc->color_trc = pFrame->color_trc;
    pEnc->time_base = m_pInSt->time_base;
    pEnc->framerate = m_pInSt->avg_frame_rate;
    // One IDR picture at the start and no B-pictures: the edge's frames come
    // out in the order they go in, each with its own time.
    pEnc->max_b_frames = 0;
    pEnc->gop_size = 1 << 20;
    // No global header: the parameter sets travel in the first packet, where
    // the clip's decoder meets them at the switch to this sequence.
    av_opt_set(pEnc->priv_data, "preset", "veryfast", 0);
    av_opt_set(pEnc->priv_data, "qp", "0", 0);
    // Parameter set numbers of its own, so that the source's sets stay in
    // the decoder untouched beside the edge's.
    const std::string strParams = "sps-id=7:crop-rect=0,0,0," + std::to_string(kPadRows);
    av_opt_set(pEnc->priv_data, "x264-params", strParams.c_str(), 0);
    const int nErr = avcodec_open2(pEnc, pCodec, nullptr);
    if (nErr < 0) {
        *pstrWhy = "Cannot start the lossless encoder: " + ErrorText(nErr);
        return false;
    }
    return true;
}

bool EdgeEncoder::SendPacket(const AVPacket* pPkt, std::vector<tavrix::PacketPtr>* pvecOut,
                             std::string* pstrWhy) {
    const int nErr = avcodec_send_packet(m_pDecoder.get(), pPkt);
    if (nErr < 0 && nErr != AVERROR(EAGAIN)) {
        *pstrWhy = "Cannot decode the source's pictures: " + ErrorText(nErr);
        return false;
    }
    return EncodeFrames(pvecOut, pstrWhy);
}

bool EdgeEncoder::Finish(std::vector<tavrix::PacketPtr>* pvecOut, std::string* pstrWhy) {
    avcodec_send_packet(m_pDecoder.get(), nullptr);
    if (!EncodeFrames(pvecOut, pstrWhy))
        return false;
    if (!m_pEncoder)
        return true;
    avcodec_send_frame(m_pEncoder.get(), nullptr);
    return Drain(pvecOut, pstrWhy);
}

bool EdgeEncoder::EncodeFrames(std::vector<tavrix::PacketPtr>* pvecOut, std::string* pstrWhy) {
    for (;;) {
        int nErr = avcodec_receive_frame(m_pDecoder.get(), m_pFrame.get());
        if (nErr == AVERROR(EAGAIN) || nErr == AVERROR_EOF)
            return true;
        if (nErr < 0) {
            *pstrWhy = "Cannot decode the source's pictures: " + ErrorText(nErr);
            return false;
        }
        const int64_t nPts =
            m_pFrame->pts != AV_NOPTS_VALUE ? m_pFrame->pts : m_pFrame->best_effort_timestamp;
        if (nPts < m_nFromPts || nPts > m_nToPts) {
            av_frame_unref(m_pFrame.get());
            continue;
        }
        if (!m_pEncoder && !OpenEncoder(m_pFrame.get(), pstrWhy))
            return false;
        if (!PadFrame(pstrWhy))
            return false;
        m_pPadded->pts = nPts;
        m_pPadded->pict_type = AV_PICTURE_TYPE_NONE; // the encoder chooses
        av_frame_unref(m_pFrame.get());
        nErr = avcodec_send_frame(m_pEncoder.get(), m_pPadded.get());
        m_pPadded.reset();
        if (nErr < 0) {
            *pstrWhy = "Cannot encode the edge frames: " + ErrorText(nErr);
            return false;
        }
        if (!Drain(pvecOut, pstrWhy))
            return false;
    }
}

bool EdgeEncoder::PadFrame(std::string* pstrWhy) {
    m_pPadded = tavrix::MakeFrame();
    if (!m_pPadded) {
        *pstrWhy = "Out of memory.";
        return false;
    }
    const AVPixelFormat eFormat = static_cast<AVPixelFormat>(m_pFrame->format);
    m_pPadded->format = eFormat;
    m_pPadded->width = m_pFrame->width;
    m_pPadded->height = m_pFrame->height + kPadRows;
    if (av_frame_get_buffer(m_pPadded.get(), 0) < 0 ||
        av_frame_copy_props(m_pPadded.get(), m_pFrame.get()) < 0) {
        *pstrWhy = "Out of memory.";
        return false;
    }
    // The extra rows are black (they are cropped off, but a fixed content
    // keeps the clip's checksum the same from run to run).
    const AVPixFmtDescriptor* pDesc = av_pix_fmt_desc_get(eFormat);
    for (int i = 0; i < 3; ++i) {
        const int nRows =
            i == 0 ? m_pPadded->height : AV_CEIL_RSHIFT(m_pPadded->height, pDesc->log2_chroma_h);
        std::fill(m_pPadded->data[i],
                  m_pPadded->data[i] + static_cast<size_t>(m_pPadded->linesize[i]) * nRows,
                  static_cast<uint8_t>(i == 0 ? 16 : 128));
    }
    av_image_copy(m_pPadded->data, m_pPadded->linesize, const_cast<const uint8_t**>(m_pFrame->data),
                  m_pFrame->linesize, eFormat, m_pFrame->width, m_pFrame->height);
    return true;
}

bool EdgeEncoder::Drain(std::vector<tavrix::PacketPtr>* pvecOut, std::string* pstrWhy) {
    for (;;) {
        tavrix::PacketPtr pPkt = tavrix::MakePacket();
        if (!pPkt) {
            *pstrWhy = "Out of memory.";
            return false;
        }
        const int nErr = avcodec_receive_packet(m_pEncoder.get(), pPkt.get());
        if (nErr == AVERROR(EAGAIN) || nErr == AVERROR_EOF)
            return true;
        if (nErr < 0) {
            *pstrWhy = "Cannot encode the edge frames: " + ErrorText(nErr);
            return false;
        }
        if (m_nLengthSize > 0) {
            // libx264 writes start codes; the clip's stream uses length fields.
            std::vector<uint8_t> vecBytes;
            for (const auto& unit : SplitAnnexB(pPkt->data, static_cast<size_t>(pPkt->size)))
                AppendUnit(&vecBytes, pPkt->data + unit.first, unit.second, m_nLengthSize);
            tavrix::PacketPtr pConv = tavrix::MakePacket();
            if (!pConv || av_new_packet(pConv.get(), static_cast<int>(vecBytes.size())) < 0 ||
                av_packet_copy_props(pConv.get(), pPkt.get()) < 0) {
                *pstrWhy = "Out of memory.";
                return false;
            }
            std::copy(vecBytes.begin(), vecBytes.end(), pConv->data);
            pPkt = std::move(pConv);
        }
        pvecOut->push_back(std::move(pPkt));
    }
}

} // namespace velquintools
