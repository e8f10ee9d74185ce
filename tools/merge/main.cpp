// velquin-merge: recordings of one camera into one file, in the order of
// their start time.
//   velquin-merge LANGUAGE [FILE] SKIN      the window (as the player starts it)
//   velquin-merge [--out FILE] [--overwrite] [--reencode [--preset P] [--crf N]] FILE FILE...
#include <QApplication>

#include "MergeJob.h"
#include "MergePlan.h"
#include "MergeWindow.h"
#include "StopSignals.h"
#include "ToolArgs.h"

extern "C" {
#include <libavutil/log.h>
}

using namespace velquintools;

namespace {

int RunHeadless(ToolArgs& args) {
    const QCommandLineParser& parser = args.Parser();
    const QStringList lstFiles = parser.positionalArguments();
    if (lstFiles.size() < 2)
        return args.Report(QStringLiteral("name at least two recordings"), ToolArgs::kExitBadInput);
    QStringList lstOrdered;
    QString strCreationTime;
    QString strError;
    MergeRequest request;
    if (!MergePlan::Order(lstFiles, lstOrdered, strCreationTime, request.settings.startsUs, strError))
        return args.Report(strError, ToolArgs::kExitBadInput);
    for (const QString& strFile : lstOrdered)
        request.inputs.push_back(strFile.toStdString());
    request.bReencode = parser.isSet(QStringLiteral("reencode"));
    request.bOverwrite = parser.isSet(QStringLiteral("overwrite"));
    request.strOut = (parser.isSet(QStringLiteral("out"))
                          ? parser.value(QStringLiteral("out"))
                          : MergePlan::DefaultOutput(lstOrdered.first(), request.bReencode))
                         .toStdString();
    request.settings.strCreationTime = strCreationTime.toStdString();
    std::string strWhy;
    if (!MediaTranscoder::ApplyEncodeOptions(parser.value(QStringLiteral("preset")).toStdString(),
                                             parser.value(QStringLiteral("crf")).toStdString(),
                                             request.settings, strWhy))
        return args.Report(QString::fromStdString(strWhy), ToolArgs::kExitBadInput);

    const std::atomic<bool>& bStop = StopSignals::InstallFlag();
    const JobResult result = MergeJob::Make(request)(ProgressFn(), bStop);
    switch (result.eKind) {
    case JobResult::Ok:
        std::fprintf(stdout, "%s\n", result.strMessage.c_str());
        return ToolArgs::kExitOk;
    case JobResult::BadInput:
        return args.Report(QString::fromStdString(result.strMessage), ToolArgs::kExitBadInput);
    default:
        return args.Report(QString::fromStdString(result.strMessage), ToolArgs::kExitFailure);
    }
}

} // namespace

int main(int argc, char** argv) {
    av_log_set_level(AV_LOG_ERROR);
    ToolArgs args(QStringLiteral("velquin-merge"), QStringLiteral("1.0"),
                  QStringLiteral("Joins recordings of one camera into one file, in the order of their start "
                                 "time; streams are copied when the recordings agree."));
    QCommandLineParser& parser = args.Parser();
    parser.addPositionalArgument(QStringLiteral("files"), QStringLiteral("The recordings, in any order."),
                                 QStringLiteral("FILE FILE..."));
    parser.addOption({QStringLiteral("out"), QStringLiteral("The output file (default: beside the first)."),
                      QStringLiteral("file")});
    parser.addOption({QStringLiteral("overwrite"), QStringLiteral("Replace an existing output file.")});
    parser.addOption({QStringLiteral("reencode"),
                      QStringLiteral("Re-encode to MP4 (H.264, AAC) when the recordings differ.")});
    parser.addOption({QStringLiteral("preset"),
                      QStringLiteral("libx264 speed preset for re-encoding (default medium)."),
                      QStringLiteral("name")});
    parser.addOption({QStringLiteral("crf"), QStringLiteral("Quality 0..51 for re-encoding (default 23)."),
                      QStringLiteral("n")});
    const bool bParsed = args.Parse(ToolArgs::ArgsOf(argc, argv));
    if (args.IsHeadless() || !bParsed)
        return ToolArgs::RunWithoutWindow(argc, argv, args, bParsed, RunHeadless);
    QApplication app(argc, argv);
    ToolWindow::ApplyLookAndLanguage(args);
    MergeWindow window;
    window.Init();
    window.AddFiles(QStringList{args.File()});
    window.show();
    return app.exec();
}
