// velquin-stream: serves a recording as an RTSP stream on this machine.
//   velquin-stream LANGUAGE [FILE] SKIN      the window (as the player starts it)
//   velquin-stream --in FILE [--port N] [--mount NAME] [--address A] [--loop]
//     prints "Serving rtsp://HOST:PORT/NAME" and serves until SIGINT or SIGTERM.
#include <QApplication>
#include <QFileInfo>

#include <cstdio>

#include "RtspFileServer.h"
#include "StopSignals.h"
#include "StreamWindow.h"
#include "ToolArgs.h"

extern "C" {
#include <libavutil/log.h>
}

using namespace velquintools;

namespace {

int RunHeadless(ToolArgs& args) {
    const QCommandLineParser& parser = args.Parser();
    StreamOptions options;
    options.strFile = parser.value(QStringLiteral("in")).toStdString();
    if (options.strFile.empty() || !QFileInfo(QString::fromStdString(options.strFile)).isFile())
        return args.Report(QStringLiteral("--in must name a recording that exists"), ToolArgs::kExitBadInput);
    if (parser.isSet(QStringLiteral("port"))) {
        bool bOk = false;
        options.nPort = parser.value(QStringLiteral("port")).toInt(&bOk);
        if (!bOk || options.nPort < 0 || options.nPort > 65535)
            return args.Report(QStringLiteral("--port must be 0 to 65535"), ToolArgs::kExitBadInput);
    }
    if (parser.isSet(QStringLiteral("address")))
        options.strAddress = parser.value(QStringLiteral("address")).toStdString();
    options.strMount = parser.value(QStringLiteral("mount")).toStdString();
    options.bLoop = parser.isSet(QStringLiteral("loop"));

    // Before the server's thread exists, so that the signals reach only sigwait.
    StopSignals::Block();
    RtspFileServer server;
    if (!server.Start(options))
        return args.Report(QString::fromStdString(server.LastError()), ToolArgs::kExitBadInput);
    std::fprintf(stdout, "Serving %s\n", server.Url().c_str());
    std::fflush(stdout);
    StopSignals::WaitForSignal();
    server.Stop();
    RtspFileServer::Shutdown();
    return ToolArgs::kExitOk;
}

} // namespace

int main(int argc, char** argv) {
    av_log_set_level(AV_LOG_ERROR);
    ToolArgs args(
        QStringLiteral("velquin-stream"), QStringLiteral("1.0"),
        QStringLiteral("Serves a recording as an RTSP stream (streams copied, at the recording's pace)."));
    QCommandLineParser& parser = args.Parser();
    parser.addOption({QStringLiteral("in"), QStringLiteral("The recording."), QStringLiteral("file")});
    parser.addOption({QStringLiteral("port"), QStringLiteral("RTSP port (default 8554; 0: a free one)."),
                      QStringLiteral("n")});
    parser.addOption({QStringLiteral("mount"), QStringLiteral("Stream name (default: the file's name)."),
                      QStringLiteral("name")});
    parser.addOption({QStringLiteral("address"), QStringLiteral("Address to listen on (default: all)."),
                      QStringLiteral("ip")});
    parser.addOption({QStringLiteral("loop"), QStringLiteral("Start the recording again at its end.")});
    const bool bParsed = args.Parse(ToolArgs::ArgsOf(argc, argv));
    if (args.IsHeadless() || !bParsed)
        return ToolArgs::RunWithoutWindow(argc, argv, args, bParsed, RunHeadless);
    QApplication app(argc, argv);
    ToolWindow::ApplyLookAndLanguage(args);
    StreamWindow window;
    window.Init();
    window.SetInput(args.File());
    window.show();
    const int nCode = app.exec();
    window.StopServing();
    RtspFileServer::Shutdown();
    return nCode;
}
