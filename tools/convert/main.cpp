// velquin-convert: a recording to MP4 with H.264 and AAC, for players and
// editors that do not read the camera's own format.
//   velquin-convert LANGUAGE [FILE] SKIN      the window (as the player starts it)
//   velquin-convert --in FILE [--out FILE.mp4] [--overwrite] [--preset P] [--crf N] [--size WxH]
#include <QApplication>
#include <QFileInfo>

#include "ConvertJob.h"
#include "ConvertWindow.h"
#include "StopSignals.h"
#include "ToolArgs.h"

extern "C" {
#include <libavutil/log.h>
}

using namespace velquintools;

namespace {

int RunHeadless(ToolArgs& args) {
    const QCommandLineParser& parser = args.Parser();
    ConvertRequest request;
    request.strIn = parser.value(QStringLiteral("in")).toStdString();
    if (request.strIn.empty() || !QFileInfo(QString::fromStdString(request.strIn)).isFile())
        return args.Report(QStringLiteral("--in must name a recording that exists"), ToolArgs::kExitBadInput);
    request.strOut = parser.isSet(QStringLiteral("out")) ? parser.value(QStringLiteral("out")).toStdString()
                                                         : ConvertJob::DefaultOutput(request.strIn);
    request.bOverwrite = parser.isSet(QStringLiteral("overwrite"));
    std::string strWhy;
    if (!MediaTranscoder::ApplyEncodeOptions(parser.value(QStringLiteral("preset")).toStdString(),
                                             parser.value(QStringLiteral("crf")).toStdString(),
                                             request.settings, strWhy))
        return args.Report(QString::fromStdString(strWhy), ToolArgs::kExitBadInput);
    if (parser.isSet(QStringLiteral("size")) &&
        !ConvertJob::ParseSize(parser.value(QStringLiteral("size")).toStdString(), request.settings))
        return args.Report(QStringLiteral("--size must look like 1280x720"), ToolArgs::kExitBadInput);

    const std::atomic<bool>& bStop = StopSignals::InstallFlag();
    const JobResult result = ConvertJob::Make(request)(ProgressFn(), bStop);
    const QString strMessage = QString::fromStdString(result.strMessage);
    switch (result.eKind) {
    case JobResult::Ok:
        std::fprintf(stdout, "%s\n", result.strMessage.c_str());
        return ToolArgs::kExitOk;
    case JobResult::BadInput:
        return args.Report(strMessage, ToolArgs::kExitBadInput);
    default:
        return args.Report(strMessage, ToolArgs::kExitFailure);
    }
}

} // namespace

int main(int argc, char** argv) {
    av_log_set_level(AV_LOG_ERROR);
    ToolArgs args(QStringLiteral("velquin-convert"), QStringLiteral("1.0"),
                  QStringLiteral("Converts a recording to MP4 (H.264 and AAC)."));
    QCommandLineParser& parser = args.Parser();
    parser.addOption({QStringLiteral("in"), QStringLiteral("The recording."), QStringLiteral("file")});
    parser.addOption({QStringLiteral("out"), QStringLiteral("The MP4 file (default: beside the input)."),
                      QStringLiteral("file")});
    parser.addOption({QStringLiteral("overwrite"), QStringLiteral("Replace an existing output file.")});
    parser.addOption({QStringLiteral("preset"), QStringLiteral("libx264 speed preset (default medium)."),
                      QStringLiteral("name")});
    parser.addOption({QStringLiteral("crf"), QStringLiteral("Quality 0..51, lower is better (default 23)."),
                      QStringLiteral("n")});
    parser.addOption(
        {QStringLiteral("size"), QStringLiteral("Picture size WxH (default: kept)."), QStringLiteral("WxH")});
    const QStringList lstArgs = ToolArgs::ArgsOf(argc, argv);
    const bool bParsed = args.Parse(lstArgs);
    if (args.IsHeadless() || !bParsed)
        return ToolArgs::RunWithoutWindow(argc, argv, args, bParsed, RunHeadless);
    QApplication app(argc, argv);
    ToolWindow::ApplyLookAndLanguage(args);
    ConvertWindow window;
    window.Init();
    window.SetInput(args.File());
    window.show();
    return app.exec();
}
