#include "YuvConverter.h"

#include "EngineLog.h"

#include <cstdio>
#include <cstring>

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/mem.h>
}

namespace tavrix {

size_t YuvConverter::Yv12Size(int nWidth, int nHeight) {
    const size_t nChromaW = static_cast<size_t>((nWidth + 1) / 2);
    const size_t nChromaH = static_cast<size_t>((nHeight + 1) / 2);
    return static_cast<size_t>(nWidth) * static_cast<size_t>(nHeight) + 2 * nChromaW * nChromaH;
}

void YuvConverter::Pack(const AVFrame* pYuv, std::vector<uint8_t>* pvecOut) {
    const int nW = pYuv->width;
    const int nH = pYuv->height;
    const int nCw = (nW + 1) / 2;
    const int nCh = (nH + 1) / 2;
    pvecOut->resize(Yv12Size(nW, nH));
    uint8_t* pDst = pvecOut->data();
    auto copyPlane = [&pDst](const uint8_t* pSrc, int nStride, int nRowBytes, int nRows) {
        for (int y = 0; y < nRows; ++y) {
            std::memcpy(pDst, pSrc + static_cast<ptrdiff_t>(y) * nStride, static_cast<size_t>(nRowBytes));
            pDst += nRowBytes;
        }
    };
    copyPlane(pYuv->data[0], pYuv->linesize[0], nW, nH);
    copyPlane(pYuv->data[2], pYuv->linesize[2], nCw, nCh); // YV12: V before U
    copyPlane(pYuv->data[1], pYuv->linesize[1], nCw, nCh);
}

bool YuvConverter::EnsureGraph(const AVFrame* pFrame) {
    if (m_pGraph && pFrame->width == m_nGraphWidth && pFrame->height == m_nGraphHeight &&
        pFrame->format == m_nGraphFormat) {
        return true;
    }
    m_pGraph.reset(avfilter_graph_alloc());
    m_pSource = nullptr;
    m_pSink = nullptr;
    if (!m_pGraph) {
        return false;
    }
    // The ffmpeg tool gives its auto-inserted scaler these flags; the same
    // flags give the same bytes.
    m_pGraph->scale_sws_opts = av_strdup("flags=bicubic");
    m_pGraph->nb_threads = 1;
    char szArgs[256];
    const AVRational sar =
        pFrame->sample_aspect_ratio.num > 0 ? pFrame->sample_aspect_ratio : AVRational{0, 1};
    std::snprintf(szArgs, sizeof(szArgs), "video_size=%dx%d:pix_fmt=%d:time_base=1/1000:pixel_aspect=%d/%d",
                  pFrame->width, pFrame->height, pFrame->format, sar.num, sar.den);
    int nErr = avfilter_graph_create_filter(&m_pSource, avfilter_get_by_name("buffer"), "in", szArgs, nullptr,
                                            m_pGraph.get());
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "picture conversion source", nErr);
        m_pGraph.reset();
        return false;
    }
    AVFilterContext* pFormat = nullptr;
    nErr = avfilter_graph_create_filter(&pFormat, avfilter_get_by_name("format"), "format",
                                        "pix_fmts=yuv420p", nullptr, m_pGraph.get());
    if (nErr >= 0) {
        nErr = avfilter_graph_create_filter(&m_pSink, avfilter_get_by_name("buffersink"), "out", nullptr,
                                            nullptr, m_pGraph.get());
    }
    if (nErr >= 0) {
        nErr = avfilter_link(m_pSource, 0, pFormat, 0);
    }
    if (nErr >= 0) {
        nErr = avfilter_link(pFormat, 0, m_pSink, 0);
    }
    if (nErr >= 0) {
        nErr = avfilter_graph_config(m_pGraph.get(), nullptr);
    }
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "picture conversion graph", nErr);
        m_pGraph.reset();
        return false;
    }
    m_nGraphWidth = pFrame->width;
    m_nGraphHeight = pFrame->height;
    m_nGraphFormat = pFrame->format;
    return true;
}

bool YuvConverter::ToYv12(const AVFrame* pFrame, std::vector<uint8_t>* pvecOut) {
    if (pFrame->format == AV_PIX_FMT_YUV420P) {
        Pack(pFrame, pvecOut);
        return true;
    }
    if (!EnsureGraph(pFrame)) {
        return false;
    }
    FramePtr pIn = MakeFrame();
    if (!pIn || av_frame_ref(pIn.get(), pFrame) < 0) {
        return false;
    }
    int nErr = av_buffersrc_add_frame_flags(m_pSource, pIn.get(), AV_BUFFERSRC_FLAG_KEEP_REF);
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "picture conversion input", nErr);
        return false;
    }
    if (!m_pConverted) {
        m_pConverted = MakeFrame();
    }
    if (!m_pConverted) {
        return false;
    }
    nErr = av_buffersink_get_frame(m_pSink, m_pConverted.get());
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "picture conversion output", nErr);
        return false;
    }
    Pack(m_pConverted.get(), pvecOut);
    av_frame_unref(m_pConverted.get());
    return true;
}

} // namespace tavrix
