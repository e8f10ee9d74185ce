#include "PictureAdjuster.h"

#include "EngineLog.h"

#include <cstdio>

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

namespace tavrix {

bool PictureAdjuster::SetColour(int nBrightness, int nContrast, int nSaturation, int nHue) {
    for (int n : {nBrightness, nContrast, nSaturation, nHue}) {
        if (n < 0 || n > 128) {
            return false;
        }
    }
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_settings.nBrightness = nBrightness;
        m_settings.nContrast = nContrast;
        m_settings.nSaturation = nSaturation;
        m_settings.nHue = nHue;
        ++m_settings.nSerial;
    }
    NotifyChanged();
    return true;
}

bool PictureAdjuster::SetRotate(int nRotate) {
    if (nRotate < -1 || nRotate > 2) {
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_settings.nRotate = nRotate;
        ++m_settings.nSerial;
    }
    NotifyChanged();
    return true;
}

bool PictureAdjuster::SetFlip(uint32_t nFlip) {
    if (nFlip > 3) {
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_settings.nFlip = nFlip;
        ++m_settings.nSerial;
    }
    NotifyChanged();
    return true;
}

PictureAdjuster::Settings PictureAdjuster::Current() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_settings;
}

uint32_t PictureAdjuster::Serial() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_settings.nSerial;
}

void PictureAdjuster::SetListener(const void* pOwner, std::function<void()> fnChanged) {
    std::lock_guard<std::mutex> lock(m_mtxListener);
    m_pListenerOwner = pOwner;
    m_fnChanged = std::move(fnChanged);
}

void PictureAdjuster::ClearListener(const void* pOwner) {
    std::lock_guard<std::mutex> lock(m_mtxListener);
    if (m_pListenerOwner == pOwner) {
        m_pListenerOwner = nullptr;
        m_fnChanged = nullptr;
    }
}

void PictureAdjuster::NotifyChanged() {
    // Held while calling, so a render thread that clears its listener knows
    // no call into it is still running once ClearListener returns.
    std::lock_guard<std::mutex> lock(m_mtxListener);
    if (m_fnChanged) {
        m_fnChanged();
    }
}

std::string PictureAdjuster::FilterChain(const Settings& settings) {
    std::string strChain;
    auto add = [&strChain](const std::string& strFilter) {
        if (!strChain.empty()) {
            strChain += ',';
        }
        strChain += strFilter;
    };
    switch (settings.nRotate) {
    case 0:
        add("transpose=cclock");
        break;
    case 1:
        add("transpose=clock");
        break;
    case 2:
        add("hflip,vflip");
        break;
    default:
        break;
    }
    if ((settings.nFlip & 1u) != 0) {
        add("hflip");
    }
    if ((settings.nFlip & 2u) != 0) {
        add("vflip");
    }
    if (!settings.ColourNeutral()) {
        char szColour[160];
        std::snprintf(szColour, sizeof(szColour), "eq=brightness=%.6f:contrast=%.6f,hue=h=%.6f:s=%.6f",
                      (settings.nBrightness - 64) / 64.0 * 0.5, settings.nContrast / 64.0,
                      (settings.nHue - 64) / 64.0 * 180.0, settings.nSaturation / 64.0);
        add(szColour);
    }
    return strChain;
}

bool PictureAdjuster::EnsureGraph(const AVFrame* pFrame, const Settings& settings) {
    if (m_pGraph && m_nGraphSerial == settings.nSerial && pFrame->width == m_nGraphWidth &&
        pFrame->height == m_nGraphHeight && pFrame->format == m_nGraphFormat) {
        return true;
    }
    m_pGraph.reset(avfilter_graph_alloc());
    m_pSource = nullptr;
    m_pSink = nullptr;
    if (!m_pGraph) {
        return false;
    }
    m_pGraph->nb_threads = 1;
    char szArgs[256];
    const AVRational sar =
        pFrame->sample_aspect_ratio.num > 0 ? pFrame->sample_aspect_ratio : AVRational{0, 1};
    std::snprintf(szArgs, sizeof(szArgs), "video_size=%dx%d:pix_fmt=%d:time_base=1/1000:pixel_aspect=%d/%d",
                  pFrame->width, pFrame->height, pFrame->format, sar.num, sar.den);
    int nErr = avfilter_graph_create_filter(&m_pSource, avfilter_get_by_name("buffer"), "in", szArgs, nullptr,
                                            m_pGraph.get());
    if (nErr >= 0) {
        nErr = avfilter_graph_create_filter(&m_pSink, avfilter_get_by_name("buffersink"), "out", nullptr,
                                            nullptr, m_pGraph.get());
    }
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "picture settings filters", nErr);
        m_pGraph.reset();
        return false;
    }
    // The chain between the two ends is parsed from its text form.
    AVFilterInOut* pOutputs = avfilter_inout_alloc();
    AVFilterInOut* pInputs = avfilter_inout_alloc();
    if (pOutputs == nullptr || pInputs == nullptr) {
        avfilter_inout_free(&pOutputs);
        avfilter_inout_free(&pInputs);
        m_pGraph.reset();
        return false;
    }
    pOutputs->name = av_strdup("in");
    pOutputs->filter_ctx = m_pSource;
    pInputs->name = av_strdup("out");
    pInputs->filter_ctx = m_pSink;
    const std::string strChain = FilterChain(settings);
    nErr = avfilter_graph_parse_ptr(m_pGraph.get(), strChain.c_str(), &pInputs, &pOutputs, nullptr);
    avfilter_inout_free(&pOutputs);
    avfilter_inout_free(&pInputs);
    if (nErr >= 0) {
        nErr = avfilter_graph_config(m_pGraph.get(), nullptr);
    }
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "picture settings filters", nErr);
        m_pGraph.reset();
        return false;
    }
    m_nGraphSerial = settings.nSerial;
    m_nGraphWidth = pFrame->width;
    m_nGraphHeight = pFrame->height;
    m_nGraphFormat = pFrame->format;
    return true;
}

FramePtr PictureAdjuster::Apply(const AVFrame* pFrame, const Settings& settings) {
    if (pFrame == nullptr || settings.Neutral()) {
        m_pGraph.reset(); // nothing to keep while neutral
        return nullptr;
    }
    if (!EnsureGraph(pFrame, settings)) {
        return nullptr;
    }
    FramePtr pIn = MakeFrame();
    FramePtr pOut = MakeFrame();
    if (!pIn || !pOut || av_frame_ref(pIn.get(), pFrame) < 0) {
        return nullptr;
    }
    int nErr = av_buffersrc_add_frame_flags(m_pSource, pIn.get(), AV_BUFFERSRC_FLAG_KEEP_REF);
    if (nErr >= 0) {
        nErr = av_buffersink_get_frame(m_pSink, pOut.get());
    }
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "picture settings", nErr);
        m_pGraph.reset(); // a graph in an unknown state is built afresh
        return nullptr;
    }
    return pOut;
}

void PictureAdjuster::Prepare(VideoFrame& frame) {
    if (!frame.pFrame) {
        return;
    }
    const Settings settings = Current();
    if (frame.nShownSerial == settings.nSerial) {
        return;
    }
    frame.pShown = Apply(frame.pFrame.get(), settings);
    frame.nShownRotate = settings.nRotate;
    frame.nShownFlip = settings.nFlip;
    frame.nShownSerial = settings.nSerial;
    frame.vecYv12.clear(); // made again from the new picture when a callback wants it
}

} // namespace tavrix
