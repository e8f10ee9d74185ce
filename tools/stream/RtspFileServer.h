// Serves one recording as an RTSP stream on this machine through GStreamer's
// RTSP server: the file's streams are copied (demuxed, parsed and put into RTP
// packets, no re-encoding), at the pace of the recording. Every client sees the
// file from its start. Qt-free: GStreamer, GLib, and FFmpeg to look at the file.
//
// The server runs its own GLib main loop on one thread; Start() returns once
// it listens, Stop() ends it and waits for the thread.
#pragma once

#include <atomic>
#include <string>
#include <thread>

typedef struct _GMainContext GMainContext;
typedef struct _GMainLoop GMainLoop;
typedef struct _GstRTSPServer GstRTSPServer;

namespace velquintools {

struct StreamOptions {
    std::string strFile;
    std::string strAddress = "0.0.0.0"; // every interface: the players are elsewhere on the network
    int nPort = 8554;                   // 0: the system picks a free one
    std::string strMount;               // empty: the file's name
    bool bLoop = false;                 // start again at the end instead of ending the stream
};

class RtspFileServer {
public:
    RtspFileServer() = default;
    ~RtspFileServer();
    RtspFileServer(const RtspFileServer&) = delete;
    RtspFileServer& operator=(const RtspFileServer&) = delete;

    // Looks at the file, builds its pipeline and listens. False with the reason in LastError().
    bool Start(const StreamOptions& options);
    void Stop();

    bool Running() const { return m_thread.joinable(); }
    // rtsp://<this machine's name>:<port>/<mount>
    std::string Url() const { return m_strUrl; }
    int Port() const { return m_nPort; }
    int Clients() const { return m_nClients.load(); }
    const std::string& LastError() const { return m_strError; }

    // Before the program ends, with every server stopped: waits for the
    // server's worker threads (clients, media being torn down), which would
    // otherwise still run while the libraries unload.
    static void Shutdown();

    // The GStreamer pipeline that serves strFile, or empty with the reason in
    // strError (no video, a codec the RTP payloaders do not carry, a looped
    // MPEG-TS, ...).
    static std::string DescribePipeline(const std::string& strFile, bool bLoop, std::string& strError);
    // A mount name from a file name: letters, digits, '-', '_' and '.'.
    static std::string MountName(const std::string& strFile);

private:
    static void OnClientConnected(GstRTSPServer* pServer, void* pClient, void* pSelf);
    static void OnClientClosed(void* pClient, void* pSelf);

    GMainContext* m_pContext = nullptr;
    GMainLoop* m_pLoop = nullptr;
    GstRTSPServer* m_pServer = nullptr;
    std::thread m_thread;
    std::string m_strUrl;
    std::string m_strError;
    int m_nPort = 0;
    unsigned m_nSourceId = 0; // the listening source on m_pContext
    bool m_bLoop = false;     // set before the server runs, read by its thread
    std::atomic<int> m_nClients{0};
};

} // namespace velquintools
