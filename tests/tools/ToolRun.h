// Running the tools and the ffmpeg tool from the tools' tests, and reading
// back what they made.
#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>

const int kToolTimeoutMs = 120000;

struct Ran {
    int nExit = -1; // -1: crashed or did not finish in time
    QByteArray baOut;
    QByteArray baErr;
    QString Out() const { return QString::fromLocal8Bit(baOut); }
    QString Err() const { return QString::fromLocal8Bit(baErr); }
};

inline Ran RunProgram(const QString& strProgram, const QStringList& lstArgs, int nTimeoutMs = kToolTimeoutMs,
                      const QString& strDir = QString()) {
    Ran ran;
    QProcess process;
    if (!strDir.isEmpty())
        process.setWorkingDirectory(strDir);
    process.start(strProgram, lstArgs);
    if (!process.waitForStarted() || !process.waitForFinished(nTimeoutMs)) {
        process.kill();
        process.waitForFinished(5000);
        ran.baErr = "did not finish in time";
        return ran;
    }
    ran.baOut = process.readAllStandardOutput();
    ran.baErr = process.readAllStandardError();
    ran.nExit = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return ran;
}

inline bool Ffmpeg(const QStringList& lstArgs) {
    return RunProgram(QStringLiteral("ffmpeg"),
                      QStringList{"-hide_banner", "-loglevel", "error", "-nostdin", "-y"} + lstArgs)
               .nExit == 0;
}

// One value of ffprobe, e.g. Probe(f, "format=duration") or Probe(f, "stream=codec_name", "v:0").
inline QString Probe(const QString& strFile, const QString& strEntries, const QString& strStreams = QString(),
                     bool bCount = false) {
    QStringList lstArgs{"-v", "error", "-show_entries", strEntries, "-of", "default=nw=1:nk=1"};
    if (!strStreams.isEmpty())
        lstArgs << "-select_streams" << strStreams;
    if (bCount)
        lstArgs << "-count_frames";
    return RunProgram(QStringLiteral("ffprobe"), lstArgs << strFile).Out().trimmed();
}

// The pictures' MD5s of the ffmpeg tool's decode of the first video stream,
// in the order shown, each picture once (none made up or dropped for a
// constant rate); the first nFrames, or all for -1.
inline QStringList PictureMd5s(const QStringList& lstInput, int nFrames = -1) {
    QStringList lstArgs = QStringList{"-hide_banner", "-loglevel", "error", "-nostdin"} + lstInput +
                          QStringList{"-map", "0:v:0", "-fps_mode", "passthrough"};
    if (nFrames >= 0)
        lstArgs << "-frames:v" << QString::number(nFrames);
    const Ran ran = RunProgram(QStringLiteral("ffmpeg"), lstArgs << "-f"
                                                                 << "framemd5"
                                                                 << "-");
    QStringList lstMd5;
    for (const QByteArray& baLine : ran.baOut.split('\n')) {
        if (baLine.startsWith('#') || baLine.trimmed().isEmpty())
            continue;
        lstMd5 << QString::fromLatin1(baLine.split(',').last().trimmed());
    }
    return lstMd5;
}
