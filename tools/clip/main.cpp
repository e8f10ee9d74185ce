// velquin-clip: cuts a span of a recording into a clip without re-encoding and
// writes a manifest beside it. From the player (LANGUAGE [FILE] SKIN) it opens
// its window; with options it works on the command line.
#include <QApplication>
#include <QCommandLineOption>
#include <QFileInfo>

#include <cstdio>
#include <memory>

#include "ClipExport.h"
#include "ClipWindow.h"
#include "StopSignals.h"
#include "ToolArgs.h"
#include "ToolJob.h"

extern "C" {
#include <libavutil/log.h>
}

using velquintools::JobResult;

namespace {

int ExitCodeOf(const JobResult& result) {
    switch (result.eKind) {
    case JobResult::Ok:
        return ToolArgs::kExitOk;
    case JobResult::BadInput:
        return ToolArgs::kExitBadInput;
    default:
        return ToolArgs::kExitFailure;
    }
}

void PrintOut(const QString& strText) {
    std::fputs((strText + QLatin1Char('\n')).toLocal8Bit().constData(), stdout);
    std::fflush(stdout);
}

int RunHeadless(ToolArgs& args) {
    QCommandLineParser& parser = args.Parser();
    const QString strVerify = parser.value(QStringLiteral("verify"));
    if (!strVerify.isEmpty()) {
        const JobResult result = velquintools::ToolJob::Run(
            [&](const velquintools::ProgressFn& fnProgress, const std::atomic<bool>& bCancel) {
                return ClipExport::Verify(strVerify, fnProgress, bCancel);
            },
            nullptr, &velquintools::StopSignals::InstallFlag());
        const QString strText = QString::fromStdString(result.strMessage);
        if (result.eKind == JobResult::Ok)
            PrintOut(strText);
        else
            args.Report(strText, 0);
        return ExitCodeOf(result);
    }

    ClipExportSettings settings;
    settings.strSource = parser.value(QStringLiteral("in"));
    if (settings.strSource.isEmpty() && !parser.positionalArguments().isEmpty())
        settings.strSource = parser.positionalArguments().first();
    settings.strOutput = parser.value(QStringLiteral("out"));
    settings.strOutDir = parser.value(QStringLiteral("out-dir"));
    settings.bFrames = parser.isSet(QStringLiteral("frames"));
    settings.bExact = parser.isSet(QStringLiteral("exact"));
    if (settings.strSource.isEmpty())
        return args.Report(QStringLiteral("no input: give --in FILE (see --help)"), ToolArgs::kExitBadInput);
    if (!parser.isSet(QStringLiteral("from")) || !parser.isSet(QStringLiteral("to")))
        return args.Report(QStringLiteral("give the span with --from and --to"), ToolArgs::kExitBadInput);
    const QString strFrom = parser.value(QStringLiteral("from"));
    const QString strTo = parser.value(QStringLiteral("to"));
    bool bFromOk = false;
    bool bToOk = false;
    if (settings.bFrames) {
        settings.dFrom = static_cast<double>(strFrom.toLongLong(&bFromOk));
        settings.dTo = static_cast<double>(strTo.toLongLong(&bToOk));
    } else {
        bFromOk = ClipExport::ParseTime(strFrom, &settings.dFrom);
        bToOk = ClipExport::ParseTime(strTo, &settings.dTo);
    }
    if (!bFromOk || !bToOk)
        return args.Report(QStringLiteral("the span must be %1: --from %2 --to %3")
                               .arg(settings.bFrames ? QStringLiteral("frame numbers")
                                                     : QStringLiteral("seconds or [hh:]mm:ss[.fff]"),
                                    strFrom, strTo),
                           ToolArgs::kExitBadInput);

    const JobResult result = velquintools::ToolJob::Run(
        [&](const velquintools::ProgressFn& fnProgress, const std::atomic<bool>& bCancel) {
            return ClipExport::Export(settings, fnProgress, bCancel, nullptr);
        },
        // Ctrl+C: the cut stops between packets and its partial clip is removed.
        nullptr, &velquintools::StopSignals::InstallFlag());
    if (result.eKind == JobResult::Ok)
        PrintOut(QString::fromStdString(result.strMessage));
    else
        args.Report(QString::fromStdString(result.strMessage), 0);
    return ExitCodeOf(result);
}

} // namespace

int main(int argc, char** argv) {
    ToolArgs args(ClipExport::ToolName(), ClipExport::Version(),
                  QStringLiteral(
                      "Cuts a span of a recording into a clip of the same kind without re-encoding; "
                      "by default the clip starts on the key frame at or before the span's start. A manifest "
                      "with both files' SHA-256 is written beside it (<clip>.manifest.sha256)."));
    QCommandLineParser& parser = args.Parser();
    parser.addOption({QStringLiteral("in"), QStringLiteral("The recording to cut."), QStringLiteral("file")});
    parser.addOption({QStringLiteral("out"),
                      QStringLiteral("The clip's path; its extension chooses the container."),
                      QStringLiteral("file")});
    parser.addOption(
        {QStringLiteral("out-dir"),
         QStringLiteral("Folder for a clip named after the source (default: the source's folder)."),
         QStringLiteral("folder")});
    parser.addOption({QStringLiteral("from"),
                      QStringLiteral("Start of the span: seconds or [hh:]mm:ss[.fff]."),
                      QStringLiteral("time")});
    parser.addOption({QStringLiteral("to"),
                      QStringLiteral("End of the span (the frame shown at this time is not in it)."),
                      QStringLiteral("time")});
    parser.addOption({QStringLiteral("frames"),
                      QStringLiteral("--from and --to are frame numbers from 0, both included.")});
    parser.addOption(
        {QStringLiteral("exact"),
         QStringLiteral("Frame-exact: start and end exactly on the asked frames; the frames before the "
                        "span's first key frame and after its last one are re-encoded losslessly "
                        "(H.264 only), the rest is copied.")});
    parser.addOption(
        {QStringLiteral("verify"),
         QStringLiteral("Checks a clip and its source against their manifest; exit code 2 and the "
                        "file named when one differs."),
         QStringLiteral("manifest")});

    // The tool says in its own words what went wrong; FFmpeg's notes on the
    // way (a misdetected format, a missing atom) would only bury that.
    av_log_set_level(AV_LOG_FATAL);
    const bool bParsed = args.Parse(ToolArgs::ArgsOf(argc, argv));
    if (args.IsHeadless() || !bParsed)
        return ToolArgs::RunWithoutWindow(argc, argv, args, bParsed, RunHeadless);

    QApplication app(argc, argv);
    ToolWindow::ApplyLookAndLanguage(args);
    ClipWindow window;
    window.Init();
    window.SetSource(args.File());
    window.show();
    return app.exec();
}
