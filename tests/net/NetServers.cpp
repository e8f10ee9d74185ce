#include "NetServers.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kStartTimeoutMs = 20000; // Python and GStreamer start slowly on a busy machine
constexpr int kStopTimeoutMs = 3000;
const char* const kPython = "/usr/bin/python3"; // the one that sees the GStreamer bindings

// True when something listens on 127.0.0.1:nPort (or any address), as the
// kernel lists it: a probe connection would be taken as the one client of a
// server that serves only one.
bool Listening(quint16 nPort) {
    QFile file(QStringLiteral("/proc/net/tcp"));
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    const QByteArray portHex = QByteArray::number(nPort, 16).toUpper().rightJustified(4, '0');
    for (const QByteArray& line : file.readAll().split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() > 3 && fields[1].endsWith(":" + portHex) && fields[3] == "0A") {
            return true;
        }
    }
    return false;
}

} // namespace

NetServers::NetServers() {
    m_strMediaDir = qEnvironmentVariable("VELQUIN_MEDIA_DIR");
    if (m_strMediaDir.isEmpty()) {
        m_strMediaDir = QStringLiteral(VELQUIN_MEDIA_DIR);
    }
}

NetServers::~NetServers() {
    for (Server& server : m_servers) {
        Stop(*server.process);
    }
    for (const Socket& socket : m_sockets) {
        ::close(socket.fd);
    }
    for (const int fd : m_swallowed) {
        ::close(fd);
    }
}

void NetServers::Stop(QProcess& process) {
    const qint64 nPid = process.processId();
    if (process.state() == QProcess::NotRunning || nPid <= 0) {
        return;
    }
    ::kill(static_cast<pid_t>(nPid), SIGCONT); // a frozen one, too, must see the SIGTERM
    ::kill(static_cast<pid_t>(nPid), SIGTERM);
    if (!process.waitForFinished(kStopTimeoutMs)) {
        ::kill(static_cast<pid_t>(nPid), SIGKILL);
        process.waitForFinished(kStopTimeoutMs);
    }
}

quint16 NetServers::Launch(const QString& strProgram, const QStringList& args, quint16 nPort, bool bQuiet) {
    auto process = std::make_unique<QProcess>();
    process->setProgram(strProgram);
    process->setArguments(args);
    if (bQuiet) {
        process->setStandardErrorFile(QProcess::nullDevice());
    } else {
        process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    }
    // A test that dies (a crash, a time-out of the runner) takes its servers along.
    process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    process->start();
    if (!process->waitForStarted(kStartTimeoutMs)) {
        m_strError = strProgram + QStringLiteral(" does not start: ") + process->errorString();
        return 0;
    }
    if (nPort == 0) { // the server names its port: "READY <port>"
        QDeadlineTimer deadline(kStartTimeoutMs);
        while (!process->canReadLine() && process->state() == QProcess::Running && !deadline.hasExpired()) {
            process->waitForReadyRead(static_cast<int>(deadline.remainingTime()));
        }
        const QByteArray line = process->readLine().trimmed();
        if (line.startsWith("READY ")) {
            nPort = static_cast<quint16>(line.mid(6).toUInt());
        } else if (line.startsWith("Serving rtsp://")) {
            const QByteArray hostPort = line.mid(15).split('/').value(0);
            nPort = static_cast<quint16>(hostPort.mid(hostPort.lastIndexOf(':') + 1).toUInt());
        }
        if (nPort == 0) {
            m_strError = strProgram + QStringLiteral(" did not get ready: ") + QString::fromUtf8(line);
            Stop(*process);
            return 0;
        }
    } else if (!WaitListening(*process, nPort, kStartTimeoutMs)) {
        m_strError = QStringLiteral("%1 does not listen on port %2").arg(strProgram).arg(nPort);
        Stop(*process);
        return 0;
    }
    m_servers.push_back(Server{std::move(process), nPort});
    return nPort;
}

bool NetServers::WaitListening(QProcess& process, quint16 nPort, int nTimeoutMs) {
    QDeadlineTimer deadline(nTimeoutMs);
    while (!Listening(nPort)) {
        if (deadline.hasExpired() || process.state() != QProcess::Running) {
            return false;
        }
        // Nothing to wait on but the kernel's table: look again shortly (or
        // earlier, when the process says something or ends).
        process.waitForFinished(20);
    }
    return true;
}

quint16 NetServers::StartRtsp(const QString& strClip) {
    QString strPath = strClip.isEmpty() ? QStringLiteral("stream_d1.ts") : strClip;
    if (QFileInfo(strPath).isRelative()) {
        strPath = m_strMediaDir + QLatin1Char('/') + strPath;
    }
    if (!QFileInfo::exists(strPath)) { // the server would start and then fail every client
        m_strError = strPath + QStringLiteral(" does not exist");
        return 0;
    }
    return Launch(QString::fromLatin1(kPython),
                  {QStringLiteral(VELQUIN_SOURCE_DIR "/scripts/rtsp-server.py"), QStringLiteral("--port"),
                   QStringLiteral("0"), QStringLiteral("--clip"), strPath},
                  0);
}

quint16 NetServers::StartStreamTool() {
    return Launch(QStringLiteral(VELQUIN_STREAM_TOOL),
                  {QStringLiteral("--in"),
                   m_strMediaDir + QStringLiteral("/ch02_20240315103000_20240315103010.mp4"),
                   QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--address"),
                   QStringLiteral("127.0.0.1"), QStringLiteral("--mount"), QStringLiteral("clip"),
                   QStringLiteral("--loop")},
                  0);
}

quint16 NetServers::StartHttpTs() {
    const quint16 nPort = BoundSocket(false);
    if (nPort == 0) {
        return 0;
    }
    ::close(m_sockets.back().fd); // only wanted the number: the server takes the port
    m_sockets.pop_back();
    return Launch(QStringLiteral("ffmpeg"),
                  {QStringLiteral("-hide_banner"), QStringLiteral("-loglevel"), QStringLiteral("fatal"),
                   QStringLiteral("-nostdin"), QStringLiteral("-re"), QStringLiteral("-i"),
                   m_strMediaDir + QStringLiteral("/stream_d1.ts"), QStringLiteral("-c"),
                   QStringLiteral("copy"), QStringLiteral("-f"), QStringLiteral("mpegts"),
                   QStringLiteral("-listen"), QStringLiteral("1"),
                   QStringLiteral("http://127.0.0.1:%1/live.ts").arg(nPort)},
                  nPort);
}

quint16 NetServers::StartHls() {
    const quint16 nPort = BoundSocket(false);
    if (nPort == 0) {
        return 0;
    }
    ::close(m_sockets.back().fd);
    m_sockets.pop_back();
    return Launch(QString::fromLatin1(kPython),
                  {QStringLiteral("-m"), QStringLiteral("http.server"), QString::number(nPort),
                   QStringLiteral("--bind"), QStringLiteral("127.0.0.1"), QStringLiteral("--directory"),
                   m_strMediaDir + QStringLiteral("/hls")},
                  nPort, true); // http.server logs every request on stderr
}

quint16 NetServers::StartBlackHole() {
    return BoundSocket(true);
}

quint16 NetServers::ClosedPort() {
    // Bound but not listening: the kernel refuses connections, and no other
    // program can take the port meanwhile.
    return BoundSocket(false);
}

quint16 NetServers::BoundSocket(bool bListen) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); // accepts never wait
    if (fd < 0) {
        m_strError = QStringLiteral("no socket");
        return 0;
    }
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t nLen = sizeof(addr);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0 ||
        (bListen && ::listen(fd, 64) != 0) ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &nLen) != 0) {
        m_strError = QStringLiteral("cannot bind a port on 127.0.0.1");
        ::close(fd);
        return 0;
    }
    const quint16 nPort = ntohs(addr.sin_port);
    m_sockets.push_back(Socket{fd, nPort});
    return nPort;
}

bool NetServers::WaitBlackHoleClient(quint16 nPort, int nTimeoutMs) {
    for (const Socket& socket : m_sockets) {
        if (socket.nPort != nPort) {
            continue;
        }
        pollfd pfd{socket.fd, POLLIN, 0}; // a listener is readable when a connection waits
        if (::poll(&pfd, 1, nTimeoutMs) != 1) {
            return false;
        }
        // Take every waiting connection, so that the next call sees new ones
        // only; taken, they are kept open and never answered.
        int fd = -1;
        while ((fd = ::accept4(socket.fd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) >= 0) {
            m_swallowed.push_back(fd);
        }
        return true;
    }
    return false;
}

bool NetServers::Signal(quint16 nPort, int nSignal) {
    for (Server& server : m_servers) {
        if (server.nPort == nPort && server.process->state() == QProcess::Running) {
            return ::kill(static_cast<pid_t>(server.process->processId()), nSignal) == 0;
        }
    }
    return false;
}

bool NetServers::Kill(quint16 nPort) {
    if (!Signal(nPort, SIGKILL)) {
        return false;
    }
    for (Server& server : m_servers) {
        if (server.nPort == nPort) {
            return server.process->waitForFinished(kStopTimeoutMs);
        }
    }
    return false;
}

bool NetServers::Freeze(quint16 nPort) {
    return Signal(nPort, SIGSTOP);
}
