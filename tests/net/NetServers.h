// Local servers for the network tests, all on 127.0.0.1, each started as its
// own process and stopped by its process id when the helper goes (SIGTERM, up
// to 3 s, then SIGKILL). Servers also die with the test process.
//
//   StartRtsp()    scripts/rtsp-server.py over stream_d1.ts of the media folder:
//                  rtsp://127.0.0.1:PORT/clip, /live, /secure (admin:velquin1),
//                  /clock; RTSP over HTTP tunnelling on the same port. The clip
//                  is also served under its own name: /stream_d1. Another clip
//                  (an MPEG-TS file of the media folder, or a full path):
//                  StartRtsp("still_fisheye.ts") -> /clip, /still_fisheye, ...
//   StartHttpTs()  the ffmpeg tool sends stream_d1.ts once, in real time, as
//                  MPEG-TS to the first client of http://127.0.0.1:PORT/live.ts
//   StartHls()     http://127.0.0.1:PORT/stream.m3u8: the folder hls/ of the
//                  media served by Python's http.server
//   StartStreamTool()  the player's own velquin-stream over the 704x576 MP4
//                  ch02_..._20240315103010.mp4: rtsp://127.0.0.1:PORT/clip,
//                  the clip again at its end
//   StartBlackHole()  a TCP port that takes connections and never answers
//   ClosedPort()   a TCP port that refuses connections
//
// Each Start answers the port, or 0 with the reason in LastError(). The media
// folder is $VELQUIN_MEDIA_DIR, else the one the build was configured with.
#pragma once

#include <QString>

#include <memory>
#include <vector>

class QProcess;

class NetServers {
public:
    NetServers();
    ~NetServers();
    NetServers(const NetServers&) = delete;
    NetServers& operator=(const NetServers&) = delete;

    quint16 StartRtsp(const QString& strClip = QString());
    quint16 StartHttpTs();
    quint16 StartHls();
    quint16 StartStreamTool();
    quint16 StartBlackHole();
    quint16 ClosedPort();
    // True once a client connected to the black hole on nPort since the last
    // call (waits at most nTimeoutMs): its connect went through, and now it
    // waits for an answer that never comes.
    bool WaitBlackHoleClient(quint16 nPort, int nTimeoutMs);
    // The server process on nPort dies at once (SIGKILL), as a crashed one.
    bool Kill(quint16 nPort);
    // The server process on nPort stops (SIGSTOP): its connections stay open
    // and nothing more comes, as from a hung server.
    bool Freeze(quint16 nPort);

    QString MediaDir() const { return m_strMediaDir; }
    QString LastError() const { return m_strError; }

private:
    struct Server {
        std::unique_ptr<QProcess> process;
        quint16 nPort = 0;
    };
    struct Socket {
        int fd = -1;
        quint16 nPort = 0;
    };

    // Starts a server; nPort 0: it prints "READY <port>" (or, the stream tool,
    // "Serving rtsp://HOST:PORT/NAME"), else it listens on
    // nPort. bQuiet: its stderr is dropped, else it goes to the test's.
    quint16 Launch(const QString& strProgram, const QStringList& args, quint16 nPort, bool bQuiet = false);
    bool WaitListening(QProcess& process, quint16 nPort, int nTimeoutMs);
    quint16 BoundSocket(bool bListen);
    static void Stop(QProcess& process);
    bool Signal(quint16 nPort, int nSignal);

    QString m_strMediaDir;
    QString m_strError;
    std::vector<Server> m_servers;
    std::vector<Socket> m_sockets;
    std::vector<int> m_swallowed; // connections the black holes took, never answered
};
