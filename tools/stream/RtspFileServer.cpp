#include "RtspFileServer.h"

#include "FfmpegPtr.h"
#include "MediaTranscoder.h" // AvErrorText

#include <gst/gst.h>
#include <gst/rtsp-server/rtsp-server.h>

#include <cctype>
#include <cstring>

#include <sys/stat.h>

extern "C" {
#include <libavutil/time.h>
}

namespace velquintools {

namespace {

// ---------------------------------------------------------------------------
// A media that starts the file again at its end. At a client's PLAY, before
// any picture has left, the media is sought to its start with the segment flag:
// the demuxer then ends the file with a segment-done message instead of the
// end of the stream, answered by a segment seek without flush, so the running
// time, and with it the RTP time stamps, run on: the players see one
// unbroken stream.

struct LoopMedia {
    GstRTSPMedia parent;
};
struct LoopMediaClass {
    GstRTSPMediaClass parent_class;
};

G_DEFINE_TYPE(LoopMedia, loop_media, GST_TYPE_RTSP_MEDIA)

gboolean LoopHandleMessage(GstRTSPMedia* pMedia, GstMessage* pMessage) {
    if (GST_MESSAGE_TYPE(pMessage) != GST_MESSAGE_SEGMENT_DONE)
        return GST_RTSP_MEDIA_CLASS(loop_media_parent_class)->handle_message(pMedia, pMessage);
    GstElement* pElement = gst_rtsp_media_get_element(pMedia);
    if (!pElement)
        return TRUE;
    // The media's element is a bin inside the pipeline; the seek goes to the pipeline.
    if (GstObject* pPipeline = gst_object_get_parent(GST_OBJECT(pElement))) {
        gst_element_seek(GST_ELEMENT(pPipeline), 1.0, GST_FORMAT_TIME, GST_SEEK_FLAG_SEGMENT,
                         GST_SEEK_TYPE_SET, 0, GST_SEEK_TYPE_NONE, GST_CLOCK_TIME_NONE);
        gst_object_unref(pPipeline);
    }
    gst_object_unref(pElement);
    return TRUE;
}

// A client's PLAY seeks the media with the segment flag (and a flush, which
// is what makes the media seek at all when the position does not change).
// The client class has no such step of its own (the hook is empty), so it is
// set on the class; it acts only for clients of a looping server.
const char* const kLoopKey = "velquin-loop";

GstRTSPStatusCode OnAdjustPlayMode(GstRTSPClient* pClient, GstRTSPContext*, GstRTSPTimeRange**,
                                   GstSeekFlags* pFlags, gdouble*, GstClockTime*, gboolean*) {
    if (g_object_get_data(G_OBJECT(pClient), kLoopKey))
        *pFlags = static_cast<GstSeekFlags>(*pFlags | GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_SEGMENT);
    return GST_RTSP_STS_OK;
}

void HookPlayMode() {
    static const bool bHooked = [] {
        auto* pClass = static_cast<GstRTSPClientClass*>(g_type_class_ref(GST_TYPE_RTSP_CLIENT));
        if (pClass->adjust_play_mode == nullptr)
            pClass->adjust_play_mode = &OnAdjustPlayMode;
        return true; // the class reference is kept for the program's life
    }();
    (void)bHooked;
}

void loop_media_class_init(LoopMediaClass* pClass) {
    GST_RTSP_MEDIA_CLASS(pClass)->handle_message = LoopHandleMessage;
}

void loop_media_init(LoopMedia*) {}

// ---------------------------------------------------------------------------

struct Carrier {
    AVCodecID eCodec;
    const char* pszChain; // parser and payloader
};

const Carrier kVideo[] = {
    {AV_CODEC_ID_H264, "h264parse ! rtph264pay name=pay0 pt=96"},
    {AV_CODEC_ID_HEVC, "h265parse ! rtph265pay name=pay0 pt=96"},
    {AV_CODEC_ID_MPEG4, "mpeg4videoparse ! rtpmp4vpay name=pay0 pt=96"},
    {AV_CODEC_ID_MJPEG, "jpegparse ! rtpjpegpay name=pay0 pt=26"},
};
const char* const kAacChain = "aacparse ! rtpmp4gpay name=pay1 pt=97";

// FFmpeg's container name (its first word) -> GStreamer's demuxer.
const char* Demuxer(const char* pszFormat) {
    struct Pair {
        const char* pszFormat;
        const char* pszDemux;
    };
    static const Pair kPairs[] = {{"mov", "qtdemux"},
                                  {"matroska", "matroskademux"},
                                  {"mpegts", "tsdemux"},
                                  {"avi", "avidemux"},
                                  {"flv", "flvdemux"}};
    for (const Pair& pair : kPairs)
        if (std::strncmp(pszFormat, pair.pszFormat, std::strlen(pair.pszFormat)) == 0)
            return pair.pszDemux;
    return nullptr;
}

std::string Quoted(const std::string& strText) {
    std::string strOut = "\"";
    for (char c : strText) {
        if (c == '"' || c == '\\')
            strOut += '\\';
        strOut += c;
    }
    return strOut + "\"";
}

// The file is looked at on the window's thread when the user presses Start:
// however slow the disk or the share, the look ends after this long.
const int64_t kProbeLimitUs = 5 * 1000 * 1000;

int PastDeadline(void* pDeadline) {
    return av_gettime_relative() > *static_cast<const int64_t*>(pDeadline) ? 1 : 0;
}

// Closes a client; its "closed" no longer reaches the server object, which
// may be gone by the time the client's last thread lets go of it.
GstRTSPFilterResult CloseClient(GstRTSPServer*, GstRTSPClient* pClient, gpointer pServerObject) {
    g_signal_handlers_disconnect_by_data(pClient, pServerObject);
    return GST_RTSP_FILTER_REMOVE;
}

} // namespace

RtspFileServer::~RtspFileServer() {
    Stop();
}

std::string RtspFileServer::MountName(const std::string& strFile) {
    std::string strName = strFile.substr(strFile.find_last_of('/') + 1);
    const size_t nDot = strName.find_last_of('.');
    if (nDot != std::string::npos && nDot > 0)
        strName.resize(nDot);
    for (char& c : strName)
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.'))
            c = '_';
    return strName.empty() ? std::string("stream") : strName;
}

std::string RtspFileServer::DescribePipeline(const std::string& strFile, bool bLoop, std::string& strError) {
    // Only a plain file: a FIFO or a device would hold the open until data came.
    struct stat st {};
    if (::stat(strFile.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        strError = strFile + ": no such recording";
        return std::string();
    }
    AVFormatContext* pFmt = avformat_alloc_context();
    if (!pFmt) {
        strError = "out of memory";
        return std::string();
    }
    // The deadline outlives the context: both end with this function.
    const int64_t nDeadlineUs = av_gettime_relative() + kProbeLimitUs;
    pFmt->interrupt_callback = {&PastDeadline, const_cast<int64_t*>(&nDeadlineUs)};
    // On failure avformat_open_input frees the context and clears pFmt.
    int nRet = avformat_open_input(&pFmt, strFile.c_str(), nullptr, nullptr);
    if (nRet < 0) {
        strError =
            strFile + ": cannot open: " + (nRet == AVERROR_EXIT ? "too slow to read" : AvErrorText(nRet));
        return std::string();
    }
    tavrix::FormatContextPtr fmt(pFmt);
    if ((nRet = avformat_find_stream_info(pFmt, nullptr)) < 0) {
        strError =
            strFile + ": cannot read: " + (nRet == AVERROR_EXIT ? "too slow to read" : AvErrorText(nRet));
        return std::string();
    }
    const char* pszDemux = Demuxer(pFmt->iformat->name);
    if (!pszDemux) {
        strError = strFile + ": the container " + pFmt->iformat->name + " cannot be streamed";
        return std::string();
    }
    // Looping seeks back with a segment seek, which GStreamer's transport
    // stream demuxer refuses: every client's PLAY would fail.
    if (bLoop && std::strcmp(pszDemux, "tsdemux") == 0) {
        strError = strFile + ": an MPEG-TS recording cannot be started again at its end; serve it without "
                             "looping, or convert it to MP4 first";
        return std::string();
    }
    const int nVideo = av_find_best_stream(pFmt, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (nVideo < 0) {
        strError = strFile + ": no video";
        return std::string();
    }
    const AVCodecID eVideo = pFmt->streams[nVideo]->codecpar->codec_id;
    const char* pszVideo = nullptr;
    for (const Carrier& carrier : kVideo)
        if (carrier.eCodec == eVideo)
            pszVideo = carrier.pszChain;
    if (!pszVideo) {
        strError = strFile + ": the video codec " + avcodec_get_name(eVideo) +
                   " cannot be streamed (H.264, HEVC, MPEG-4 and MJPEG can)";
        return std::string();
    }
    std::string strLaunch =
        "( filesrc location=" + Quoted(strFile) + " ! " + pszDemux + " name=d d. ! queue ! " + pszVideo;
    // Sound goes along when it is AAC; other sound is left out rather than re-encoded.
    const int nAudio = av_find_best_stream(pFmt, AVMEDIA_TYPE_AUDIO, -1, nVideo, nullptr, 0);
    if (nAudio >= 0 && pFmt->streams[nAudio]->codecpar->codec_id == AV_CODEC_ID_AAC)
        strLaunch += std::string(" d. ! queue ! ") + kAacChain;
    return strLaunch + " )";
}

void RtspFileServer::Shutdown() {
    gst_rtsp_thread_pool_cleanup();
}

void RtspFileServer::OnClientConnected(GstRTSPServer*, void* pClient, void* pSelf) {
    auto* pThis = static_cast<RtspFileServer*>(pSelf);
    pThis->m_nClients.fetch_add(1);
    g_signal_connect(pClient, "closed", G_CALLBACK(&RtspFileServer::OnClientClosed), pSelf);
    if (pThis->m_bLoop)
        g_object_set_data(G_OBJECT(pClient), kLoopKey, pSelf);
}

void RtspFileServer::OnClientClosed(void*, void* pSelf) {
    static_cast<RtspFileServer*>(pSelf)->m_nClients.fetch_sub(1);
}

bool RtspFileServer::Start(const StreamOptions& options) {
    Stop();
    m_strError.clear();
    const std::string strLaunch = DescribePipeline(options.strFile, options.bLoop, m_strError);
    if (strLaunch.empty())
        return false;
    gst_init(nullptr, nullptr);
    m_bLoop = options.bLoop;
    if (m_bLoop)
        HookPlayMode();
    const std::string strMount = options.strMount.empty() ? MountName(options.strFile) : options.strMount;

    m_pContext = g_main_context_new();
    m_pLoop = g_main_loop_new(m_pContext, FALSE);
    m_pServer = gst_rtsp_server_new();
    gst_rtsp_server_set_address(m_pServer, options.strAddress.c_str());
    gst_rtsp_server_set_service(m_pServer, std::to_string(options.nPort).c_str());

    GstRTSPMediaFactory* pFactory = gst_rtsp_media_factory_new();
    gst_rtsp_media_factory_set_launch(pFactory, strLaunch.c_str());
    // Each client gets the file from its start.
    gst_rtsp_media_factory_set_shared(pFactory, FALSE);
    if (options.bLoop)
        gst_rtsp_media_factory_set_media_gtype(pFactory, loop_media_get_type());
    GstRTSPMountPoints* pMounts = gst_rtsp_server_get_mount_points(m_pServer);
    gst_rtsp_mount_points_add_factory(pMounts, ("/" + strMount).c_str(), pFactory); // takes pFactory
    g_object_unref(pMounts);
    g_signal_connect(m_pServer, "client-connected", G_CALLBACK(&RtspFileServer::OnClientConnected), this);

    m_nSourceId = gst_rtsp_server_attach(m_pServer, m_pContext);
    if (m_nSourceId == 0) {
        m_strError = "cannot listen on " + options.strAddress + ":" + std::to_string(options.nPort) +
                     " (in use, or not allowed)";
        Stop();
        return false;
    }
    m_nPort = gst_rtsp_server_get_bound_port(m_pServer);
    const bool bAny = options.strAddress == "0.0.0.0" || options.strAddress == "::";
    const std::string strHost = bAny ? g_get_host_name() : options.strAddress;
    m_strUrl = "rtsp://" + strHost + ":" + std::to_string(m_nPort) + "/" + strMount;
    m_thread = std::thread([this] {
        g_main_context_push_thread_default(m_pContext);
        g_main_loop_run(m_pLoop);
        g_main_context_pop_thread_default(m_pContext);
    });
    return true;
}

void RtspFileServer::Stop() {
    if (m_pServer)
        gst_rtsp_server_client_filter(m_pServer, &CloseClient, this);
    if (m_thread.joinable()) {
        // The quit is a call on the loop's own context: it is not lost when
        // the loop has not started running yet.
        g_main_context_invoke(
            m_pContext,
            [](gpointer pLoop) -> gboolean {
                g_main_loop_quit(static_cast<GMainLoop*>(pLoop));
                return G_SOURCE_REMOVE;
            },
            m_pLoop);
        m_thread.join();
    }
    if (m_pContext && m_nSourceId != 0) {
        if (GSource* pSource = g_main_context_find_source_by_id(m_pContext, m_nSourceId))
            g_source_destroy(pSource);
        m_nSourceId = 0;
    }
    if (m_pServer) {
        g_signal_handlers_disconnect_by_data(m_pServer, this);
        g_object_unref(m_pServer);
        m_pServer = nullptr;
    }
    if (m_pLoop) {
        g_main_loop_unref(m_pLoop);
        m_pLoop = nullptr;
    }
    if (m_pContext) {
        g_main_context_unref(m_pContext);
        m_pContext = nullptr;
    }
    m_nClients.store(0);
}

} // namespace velquintools
