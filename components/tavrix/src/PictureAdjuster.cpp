#include "PictureAdjuster.h"

#include "EngineLog.h"

#include <algorithm>
#include <cstdio>
#include <thread>

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

namespace tavrix {

bool PictureAdjuster::Change(const std::function<bool(Settings&)>& fn) {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        if (!fn(m_settings)) {
            return false;
        }
        ++m_settings.nSerial;
    }
    NotifyChanged();
    return true;
}

bool PictureAdjuster::SetColour(int nBrightness, int nContrast, int nSaturation, int nHue) {
    for (int n : {nBrightness, nContrast, nSaturation, nHue}) {
        if (n < 0 || n > 128) {
            return false;
        }
    }
    return Change([=](Settings& settings) {
        settings.nBrightness = nBrightness;
        settings.nContrast = nContrast;
        settings.nSaturation = nSaturation;
        settings.nHue = nHue;
        return true;
    });
}

bool PictureAdjuster::SetRotate(int nRotate) {
    return nRotate >= -1 && nRotate <= 2 && Change([nRotate](Settings& settings) {
               settings.nRotate = nRotate;
               return true;
           });
}

bool PictureAdjuster::SetFlip(uint32_t nFlip) {
    return nFlip <= 3 && Change([nFlip](Settings& settings) {
               settings.nFlip = nFlip;
               return true;
           });
}

bool PictureAdjuster::ChangeView(const std::function<bool(FisheyeView&)>& fn) {
    return Change([&fn](Settings& settings) { return fn(settings.sr); });
}

bool PictureAdjuster::ChangeEnhancer(const std::function<bool(Enhancer&)>& fn) {
    return Change([&fn](Settings& settings) { return fn(settings.vie); });
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

std::string PictureAdjuster::FilterChain(const Settings& settings, int nSrcWidth, bool bDraft) {
    std::string strChain;
    auto add = [&strChain](const std::string& strFilter) {
        if (strFilter.empty()) {
            return;
        }
        if (!strChain.empty()) {
            strChain += ',';
        }
        strChain += strFilter;
    };
    // De-warp first: the other stages work on what the viewer sees.
    add(settings.sr.FilterText(nSrcWidth, bDraft));
    add(settings.vie.FilterText());
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

namespace {
// How long a view must stay still before a moving view's draft gives way to
// the full picture: longer than the steps of a held turn button or of the
// automatic turn at its usual speeds, short enough not to be seen waiting.
constexpr std::chrono::milliseconds kSettleTime{250};
} // namespace

bool PictureAdjuster::EnsureGraph(const AVFrame* pFrame, const Settings& settings, bool bFresh) {
    const auto tpNow = std::chrono::steady_clock::now();
    const bool bSettled = tpNow - m_tpViewChange >= kSettleTime;
    if (m_pGraph && m_nGraphSerial == settings.nSerial && pFrame->width == m_nGraphWidth &&
        pFrame->height == m_nGraphHeight && pFrame->format == m_nGraphFormat && !(m_bDraft && bFresh && bSettled)) {
        return true;
    }
    bool bDraft = false;
    if (!settings.sr.SameAs(m_graphView)) {
        // Only a playing port gets drafts: elsewhere nothing would replace them.
        bDraft = bFresh && settings.sr.Active() && m_graphView.Active() && !bSettled;
        m_tpViewChange = tpNow;
    }
    m_graphView = settings.sr;
    m_bDraft = bDraft;
    m_pGraph.reset(avfilter_graph_alloc());
    m_pSource = nullptr;
    m_pSink = nullptr;
    if (!m_pGraph) {
        return false;
    }
    // v360 is slice-threaded and its remap is the costliest stage; the rest
    // are cheap and keep one thread, as a render thread per port already runs.
    m_pGraph->nb_threads =
        settings.sr.Active() ? static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u, 2u)) : 1;
    ++m_nGraphBuilds;
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
    const std::string strChain = FilterChain(settings, pFrame->width, bDraft);
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
    return Filter(pFrame, settings, false);
}

FramePtr PictureAdjuster::Filter(const AVFrame* pFrame, const Settings& settings, bool bFresh) {
    if (pFrame == nullptr || settings.Neutral()) {
        m_pGraph.reset(); // nothing to keep while neutral
        m_graphView = FisheyeView();
        m_bDraft = false;
        return nullptr;
    }
    if (!EnsureGraph(pFrame, settings, bFresh)) {
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

void PictureAdjuster::Prepare(VideoFrame& frame, bool bPlaying) {
    if (!frame.pFrame) {
        return;
    }
    const Settings settings = Current();
    if (frame.nShownSerial == settings.nSerial) {
        return;
    }
    // A picture made before is the shown one made again for new settings.
    const bool bFresh = bPlaying && frame.nShownSerial == 0 && !frame.pShown;
    frame.pShown = Filter(frame.pFrame.get(), settings, bFresh);
    frame.nShownRotate = settings.nRotate;
    frame.nShownFlip = settings.nFlip;
    frame.nShownSerial = settings.nSerial;
    frame.vecYv12.clear(); // made again from the new picture when a callback wants it
}

} // namespace tavrix
