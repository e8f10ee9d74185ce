// velquin-open-bench: sixteen files opened together in the sixteen-window stage
// of the real main dialog, timed to their sixteen first pictures, beside sixteen
// ffmpeg tool processes started together that each decode the first picture of
// one of the same files.
//
//   velquin-open-bench FILE... [--runs N] [--no-peer]
//
// Each run opens the files into an empty stage (all windows closed), then opens
// them again over the sixteen that play ("replace"). A picture counts when the
// GUI thread hears of it (the window's size change, queued from the render
// thread), so time the GUI thread spends busy elsewhere counts too. Besides the
// times it prints how long the open call held the GUI thread and the longest
// stall of a 5 ms timer on the GUI thread.
#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "CDlgShow.h"
#include "CPlayWnd.h"
#include "CVelquinDlg.h"
#include "Tavrix.h"

namespace {

const int kWnds = 16;
const int kRunTimeoutMs = 30000;
const int kProbeMs = 5;

struct Run {
    double dOpenCallMs = 0; // the GUI thread inside OpenFileList
    double dFirstMs = 0;    // first window's first picture
    double dLastMs = 0;     // last window's first picture
    double dMaxStallMs = 0; // longest gap between 5 ms ticks on the GUI thread
    int nPictures = 0;      // windows that showed a picture
};

double Median(std::vector<double> values) {
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// One round: all files into windows 0..15 at once, until every window has shown
// its first picture or the time is up.
Run OpenAllOnce(CVelquinDlg& dlg, const QStringList& lstFiles) {
    CDlgShow* pStage = dlg.GetDlgShow();
    Run run;
    QElapsedTimer clock;
    std::vector<double> vecSeen(kWnds, -1.0);
    std::vector<QMetaObject::Connection> vecConns;
    QEventLoop loop;
    auto allSeen = [&] {
        return std::count_if(vecSeen.begin(), vecSeen.end(), [](double d) { return d >= 0; }) ==
               lstFiles.size();
    };
    for (int i = 0; i < lstFiles.size(); ++i) {
        CPlayWnd* pWnd = pStage->GetPlayWnd(i);
        vecConns.push_back(QObject::connect(
            pWnd, &CPlayWnd::Sig_WidthHeightChange, &loop,
            [&, i] {
                if (vecSeen[i] < 0)
                    vecSeen[i] = clock.nsecsElapsed() / 1e6;
                if (allSeen())
                    loop.quit();
            },
            Qt::QueuedConnection));
    }
    QTimer probe;
    qint64 nLastTickNs = 0;
    QObject::connect(&probe, &QTimer::timeout, [&] {
        const qint64 nNow = clock.nsecsElapsed();
        run.dMaxStallMs = std::max(run.dMaxStallMs, (nNow - nLastTickNs) / 1e6);
        nLastTickNs = nNow;
    });
    QTimer::singleShot(kRunTimeoutMs, &loop, &QEventLoop::quit);

    clock.start();
    probe.start(kProbeMs);
    dlg.OpenFileList(lstFiles);
    run.dOpenCallMs = clock.nsecsElapsed() / 1e6;
    // The open call itself is a stall of the GUI thread as well.
    run.dMaxStallMs = std::max(run.dMaxStallMs, run.dOpenCallMs);
    nLastTickNs = clock.nsecsElapsed();
    if (!allSeen())
        loop.exec();
    probe.stop();
    for (const QMetaObject::Connection& conn : vecConns)
        QObject::disconnect(conn);

    std::vector<double> vecTimes;
    for (double d : vecSeen) {
        if (d >= 0)
            vecTimes.push_back(d);
    }
    run.nPictures = static_cast<int>(vecTimes.size());
    if (!vecTimes.empty()) {
        run.dFirstMs = *std::min_element(vecTimes.begin(), vecTimes.end());
        run.dLastMs = *std::max_element(vecTimes.begin(), vecTimes.end());
    }
    return run;
}

// The peer: one ffmpeg tool process per file, all started together, each
// decoding the first picture; the time until the last one has exited.
double PeerOnce(const QStringList& lstFiles, bool* pbOk) {
    std::vector<std::unique_ptr<QProcess>> procs;
    QElapsedTimer clock;
    clock.start();
    for (const QString& strFile : lstFiles) {
        auto pProc = std::make_unique<QProcess>();
        pProc->setStandardInputFile(QProcess::nullDevice());
        pProc->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        pProc->setStandardOutputFile(QProcess::nullDevice());
        pProc->start("ffmpeg", {"-hide_banner", "-loglevel", "error", "-nostdin", "-i", strFile, "-an",
                                "-frames:v", "1", "-f", "null", "-"});
        procs.push_back(std::move(pProc));
    }
    *pbOk = true;
    for (auto& pProc : procs) {
        const int nLeftMs = std::max<qint64>(1, kRunTimeoutMs - clock.elapsed());
        if (!pProc->waitForFinished(nLeftMs) || pProc->exitStatus() != QProcess::NormalExit ||
            pProc->exitCode() != 0) {
            pProc->kill();
            pProc->waitForFinished(5000);
            *pbOk = false;
        }
    }
    return clock.nsecsElapsed() / 1e6;
}

// Closes every window and waits until the engine holds no more ports than one
// idle port per window and the playlist's own, so that nothing of the last
// round is still being torn down when the next starts.
bool EmptyStage(CVelquinDlg& dlg) {
    CDlgShow* pStage = dlg.GetDlgShow();
    for (int i = 0; i < kWnds; ++i)
        pStage->GetPlayWnd(i)->Close();
    QElapsedTimer clock;
    clock.start();
    while (Tavrix_GetPortsInUse() > kWnds + 1) {
        if (clock.elapsed() > kRunTimeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return true;
}

int Usage() {
    std::fprintf(stderr, "usage: velquin-open-bench FILE... (16 of them) [--runs N] [--no-peer]\n");
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    // The engine draws into one native child per play window, as in the program,
    // and the sound output must not take SIGINT and SIGTERM away from the process.
    QCoreApplication::setAttribute(Qt::AA_DontCreateNativeWidgetSiblings);
    if (!qEnvironmentVariableIsSet("SDL_NO_SIGNAL_HANDLERS"))
        qputenv("SDL_NO_SIGNAL_HANDLERS", "1");
    QApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    const bool bPeer = !args.removeAll("--no-peer");
    int nRuns = 5;
    const int nRunsAt = args.indexOf("--runs");
    if (nRunsAt >= 0) {
        bool bOk = false;
        nRuns = nRunsAt + 1 < args.size() ? args[nRunsAt + 1].toInt(&bOk) : 0;
        if (!bOk || nRuns < 1)
            return Usage();
        args.remove(nRunsAt, 2);
    }
    if (args.size() != kWnds)
        return Usage();
    for (const QString& strFile : args) {
        if (!QFileInfo(strFile).isFile()) {
            std::fprintf(stderr, "velquin-open-bench: no file %s\n", qPrintable(strFile));
            return 1;
        }
    }

    QTemporaryDir dirConfig; // no configuration of the user is read or written
    CVelquinDlg dlg(nullptr, dirConfig.path());
    if (!dirConfig.isValid() || !dlg.Init())
        return 1;
    dlg.resize(1280, 800);
    dlg.show();
    dlg.On_ChangePlayWndNum(kWnds);
    QCoreApplication::processEvents();

    // A first round warms the file cache and the libraries for both sides.
    OpenAllOnce(dlg, args);
    if (bPeer) {
        bool bOk = false;
        PeerOnce(args, &bOk);
    }

    std::vector<double> vecCall, vecFirst, vecLast, vecStall, vecPeer, vecReplaceLast, vecReplaceStall;
    int nMissing = 0;
    for (int i = 0; i < nRuns; ++i) {
        if (!EmptyStage(dlg)) {
            std::fprintf(stderr, "velquin-open-bench: the windows did not give their ports back\n");
            return 1;
        }
        const Run run = OpenAllOnce(dlg, args);
        const Run replace = OpenAllOnce(dlg, args);
        nMissing += 2 * kWnds - run.nPictures - replace.nPictures;
        vecCall.push_back(run.dOpenCallMs);
        vecFirst.push_back(run.dFirstMs);
        vecLast.push_back(run.dLastMs);
        vecStall.push_back(run.dMaxStallMs);
        vecReplaceLast.push_back(replace.dLastMs);
        vecReplaceStall.push_back(replace.dMaxStallMs);
        std::printf("run %d: open_call_ms %.1f first_ms %.1f last_ms %.1f max_stall_ms %.1f pictures %d; "
                    "replace: open_call_ms %.1f last_ms %.1f max_stall_ms %.1f pictures %d\n",
                    i, run.dOpenCallMs, run.dFirstMs, run.dLastMs, run.dMaxStallMs, run.nPictures,
                    replace.dOpenCallMs, replace.dLastMs, replace.dMaxStallMs, replace.nPictures);
        if (bPeer) {
            bool bOk = false;
            vecPeer.push_back(PeerOnce(args, &bOk));
            if (!bOk) {
                std::fprintf(stderr, "velquin-open-bench: the ffmpeg tool failed on a file\n");
                return 1;
            }
        }
        std::fflush(stdout);
    }
    dlg.UnInit();

    std::printf("files: %d\nruns: %d\n", kWnds, nRuns);
    std::printf("open_call_ms: %.1f\n", Median(vecCall));
    std::printf("gui_max_stall_ms: %.1f\n", Median(vecStall));
    std::printf("first_picture_first_ms: %.1f\n", Median(vecFirst));
    std::printf("replace_gui_max_stall_ms: %.1f\n", Median(vecReplaceStall));
    std::printf("replace_first_picture_last_ms: %.1f\n", Median(vecReplaceLast));
    std::printf("missing_pictures: %d\n", nMissing);
    if (bPeer) {
        const double dPeer = Median(vecPeer);
        std::printf("ffmpeg_16_first_frames_ms: %.1f\n", dPeer);
        std::printf("ratio: %.3f\n", dPeer > 0 ? Median(vecLast) / dPeer : 0.0);
    }
    std::printf("first_picture_last_ms: %.1f\n", Median(vecLast));
    return nMissing == 0 ? 0 : 1;
}
