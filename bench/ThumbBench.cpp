#include "ThumbBench.h"

#include "GetThumbThread.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

namespace {
// Generous: a file without any frame costs the thread 4 s at most.
constexpr int kPerFileLimitMs = 10000;
} // namespace

ThumbBench::ThumbBench(QString strDir) : m_strDir(std::move(strDir)) {}

int ThumbBench::Run() {
    QDir dir(m_strDir);
    if (!dir.exists()) {
        std::fprintf(stderr, "velquin-bench: no folder %s\n", qPrintable(m_strDir));
        return 1;
    }
    QStringList files;
    for (const QFileInfo& info : dir.entryInfoList(QDir::Files, QDir::Name)) {
        files.append(info.absoluteFilePath());
    }
    if (files.isEmpty()) {
        std::fprintf(stderr, "velquin-bench: no files in %s\n", qPrintable(m_strDir));
        return 1;
    }
    const Ours ours = RunOurs(files);
    if (!ours.bOk) {
        return 1;
    }
    std::printf("files: %lld\nseconds: %.3f\npictures: %d\ninvalid: %d\nencrypted: %d\n",
                static_cast<long long>(files.size()), ours.dSeconds, ours.nPictures, ours.nInvalid,
                ours.nEncrypted);
    std::fflush(stdout);
    const Theirs theirs = RunTheirs(files);
    if (!theirs.bOk) {
        std::fprintf(stderr, "velquin-bench: %s\n", qPrintable(theirs.strError));
        return 1;
    }
    std::printf("ffmpegthumbnailer_seconds: %.3f\nffmpegthumbnailer_failed: %d\nratio: %.3f\n",
                theirs.dSeconds, theirs.nFailed, theirs.dSeconds > 0 ? ours.dSeconds / theirs.dSeconds : 0.0);
    return 0;
}

ThumbBench::Ours ThumbBench::RunOurs(const QStringList& files) const {
    Ours ours;
    GetThumbThread thread;
    if (thread.Port() < 0) {
        std::fprintf(stderr, "velquin-bench: no engine port for the thumbnail thread\n");
        return ours;
    }
    QEventLoop loop;
    int nDone = 0;
    // Taken on this (the main) thread, as the playlist takes them.
    QObject::connect(&thread, &GetThumbThread::Sig_FileInfoReady, &loop, [&] {
        Item_FileInfo info;
        QImage image;
        if (!thread.TakeFileInfo(&info, &image)) {
            return;
        }
        ours.nPictures += image.isNull() ? 0 : 1;
        ours.nInvalid += info.bInvalid ? 1 : 0;
        ours.nEncrypted += info.bEncrypted ? 1 : 0;
        if (++nDone == files.size()) {
            loop.quit();
        }
    });
    bool bTimedOut = false;
    QTimer::singleShot(kPerFileLimitMs * static_cast<int>(files.size()), &loop, [&] {
        bTimedOut = true;
        loop.quit();
    });
    QElapsedTimer timer;
    timer.start();
    for (const QString& strFile : files) {
        thread.AddFile(strFile, QString());
    }
    thread.start(QThread::InheritPriority);
    loop.exec();
    ours.dSeconds = timer.nsecsElapsed() / 1e9;
    thread.StopThread();
    if (bTimedOut) {
        std::fprintf(stderr, "velquin-bench: the thumbnail thread gave %d of %lld results in time\n", nDone,
                     static_cast<long long>(files.size()));
        return ours;
    }
    ours.bOk = true;
    return ours;
}

ThumbBench::Theirs ThumbBench::RunTheirs(const QStringList& files) const {
    Theirs theirs;
    QTemporaryDir outDir;
    if (!outDir.isValid()) {
        theirs.strError = "no temporary folder for ffmpegthumbnailer's pictures";
        return theirs;
    }
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < files.size(); ++i) {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.setStandardInputFile(QProcess::nullDevice());
        process.setStandardOutputFile(QProcess::nullDevice());
        // 96 pixels on the long side, the first frame (time 0).
        process.start("ffmpegthumbnailer", {"-s", "96", "-t", "0", "-i", files[i], "-o",
                                            outDir.filePath(QString("%1.png").arg(i))});
        if (!process.waitForStarted(30000)) {
            theirs.strError = "ffmpegthumbnailer did not start: " + process.errorString();
            return theirs;
        }
        // Blocks until the tool exits: no polling interval is added to its time.
        if (!process.waitForFinished(kPerFileLimitMs)) {
            process.kill();
            process.waitForFinished(5000);
            ++theirs.nFailed;
            continue;
        }
        if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
            ++theirs.nFailed; // bad inputs fail there as they are marked invalid here
        }
    }
    theirs.dSeconds = timer.nsecsElapsed() / 1e9;
    theirs.bOk = true;
    return theirs;
}
