#include "ClipExport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include "ClipCutter.h"
#include "ClipManifest.h"
#include "FileSafety.h"

#include <cmath>

#include <sys/stat.h>

extern "C" {
#include <libavformat/avformat.h>
}

using velquintools::ClipCutter;
using velquintools::ClipOutcome;
using velquintools::ClipRequest;
using velquintools::JobResult;
using velquintools::ProgressFn;

namespace {

// Shares of the progress bar: the cut, then the two checksums.
const double kCutShare = 0.6;

QString Number(double dValue) {
    return QString::number(dValue, 'f', 3);
}

std::string Local(const QString& str) {
    return str.toUtf8().toStdString();
}

QString ModeName(const ClipExportSettings& settings) {
    return settings.bExact ? QStringLiteral("exact") : QStringLiteral("keyframe");
}

QString ClipExtension(const QFileInfo& infoSource) {
    const QString strExt = infoSource.suffix().toLower();
    const QString strProbe = QStringLiteral("x.") + strExt;
    if (strExt.isEmpty() || !av_guess_format(nullptr, strProbe.toUtf8().constData(), nullptr))
        return QStringLiteral("mkv");
    return strExt;
}

QString OutDir(const ClipExportSettings& settings) {
    return settings.strOutDir.isEmpty() ? QFileInfo(settings.strSource).absolutePath() : settings.strOutDir;
}

// What identifies the source's content without reading it: a file replaced
// or written to while it is cut and hashed shows here.
struct FileState {
    bool bOk = false;
    dev_t nDev = 0;
    ino_t nIno = 0;
    off_t nSize = 0;
    int64_t nMtimeNs = 0;
    bool operator==(const FileState& o) const {
        return bOk && o.bOk && nDev == o.nDev && nIno == o.nIno && nSize == o.nSize && nMtimeNs == o.nMtimeNs;
    }
};

FileState StateOf(const QString& strPath) {
    FileState state;
    struct stat st {};
    if (::stat(QFile::encodeName(strPath).constData(), &st) != 0)
        return state;
    state.bOk = true;
    state.nDev = st.st_dev;
    state.nIno = st.st_ino;
    state.nSize = st.st_size;
    state.nMtimeNs = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec;
    return state;
}

bool IsThere(const QString& strPath) {
    const QFileInfo info(strPath);
    return info.exists() || info.isSymLink();
}

// Why the clip may not be written at strClip; empty when it may. Nothing that
// exists is overwritten: not the source, not an earlier clip or manifest.
QString Refusal(const QString& strClip, const QString& strSource) {
    const QString strManifest = ClipManifest::PathFor(strClip);
    if (IsSameFile(strClip, strSource) || IsSameFile(strManifest, strSource))
        return QStringLiteral("The clip would overwrite its source; choose another folder or name.");
    if (IsThere(strClip))
        return QStringLiteral("A clip of that name exists already and is not overwritten: %1; choose another "
                              "folder or name.")
            .arg(strClip);
    if (IsThere(strManifest))
        return QStringLiteral("A manifest of that name exists already and is not overwritten: %1; choose "
                              "another folder or name.")
            .arg(strManifest);
    return {};
}

} // namespace

QString ClipExport::ToolName() {
    return QStringLiteral("velquin-clip");
}

QString ClipExport::Version() {
    return QStringLiteral("1.0");
}

QString ClipExport::DefaultClipPath(const ClipExportSettings& settings, const ClipOutcome& outcome) {
    const QFileInfo infoSource(settings.strSource);
    QByteArray baBase = infoSource.completeBaseName().toUtf8();
    int64_t nStampUs = 0;
    size_t nPos = 0;
    size_t nLength = 0;
    if (ClipCutter::ParseNameStamp(baBase.toStdString(), &nStampUs, &nPos, &nLength)) {
        // "2024-03-15T12:00:04.000000Z" -> 20240315 and 120004, joined as the
        // source's stamp was.
        const QString strIso = QString::fromStdString(ClipCutter::FormatIsoTime(
            nStampUs + static_cast<int64_t>(std::llround(outcome.dStartSec * 1e6))));
        QString strStamp = strIso.left(10).remove(QLatin1Char('-'));
        if (nLength == 15)
            strStamp += QLatin1Char(baBase.at(static_cast<int>(nPos) + 8));
        strStamp += strIso.mid(11, 8).remove(QLatin1Char(':'));
        baBase.replace(static_cast<int>(nPos), static_cast<int>(nLength), strStamp.toLatin1());
    }
    const QString strSpan =
        settings.bFrames ? QStringLiteral("f%1-f%2").arg(outcome.nFirstFrame).arg(outcome.nLastFrame)
                         : QStringLiteral("%1s-%2s").arg(Number(outcome.dStartSec), Number(outcome.dEndSec));
    return QDir(OutDir(settings))
        .filePath(
            QStringLiteral("%1_clip_%2_%3.%4")
                .arg(QString::fromUtf8(baBase), strSpan, ModeName(settings), ClipExtension(infoSource)));
}

bool ClipExport::ParseTime(const QString& strText, double* pdSec) {
    const QStringList lstParts = strText.trimmed().split(QLatin1Char(':'));
    if (lstParts.isEmpty() || lstParts.size() > 3)
        return false;
    double dTotal = 0.0;
    for (int i = 0; i < lstParts.size(); ++i) {
        bool bOk = false;
        const double dPart = lstParts[i].toDouble(&bOk);
        if (!bOk || dPart < 0.0)
            return false;
        // Minutes and seconds after a colon stay below 60.
        if (i > 0 && dPart >= 60.0)
            return false;
        dTotal = dTotal * 60.0 + dPart;
    }
    *pdSec = dTotal;
    return true;
}

JobResult ClipExport::Export(const ClipExportSettings& settings, const ProgressFn& fnProgress,
                             const std::atomic<bool>& bCancel, QString* pstrManifest) {
    const QFileInfo infoSource(settings.strSource);
    if (settings.strSource.isEmpty())
        return JobResult::Bad("Choose a recording to clip.");
    if (!infoSource.isFile())
        return JobResult::Bad(Local(QStringLiteral("The file does not exist: %1").arg(settings.strSource)));
    const bool bDefaultName = settings.strOutput.isEmpty();
    const QString strDir = bDefaultName ? OutDir(settings) : QFileInfo(settings.strOutput).absolutePath();
    const QFileInfo infoDir(strDir);
    if (!infoDir.isDir() || !infoDir.isWritable())
        return JobResult::Bad(
            Local(QStringLiteral("The output folder cannot be written: %1").arg(infoDir.filePath())));
    const QString strSourcePath = infoSource.absoluteFilePath();
    // A name of the user's is checked before any work; a default one names
    // the span the clip holds, known after the cut.
    QString strClip = bDefaultName
                          ? QDir(strDir).filePath(QStringLiteral("%1_clip_%2.%3")
                                                      .arg(infoSource.completeBaseName(), ModeName(settings),
                                                           ClipExtension(infoSource)))
                          : QFileInfo(settings.strOutput).absoluteFilePath();
    if (!bDefaultName) {
        const QString strWhy = Refusal(strClip, strSourcePath);
        if (!strWhy.isEmpty())
            return JobResult::Bad(Local(strWhy));
    }
    // The clip is made under a part name of its own, created here so that no
    // file of anyone else's is written to, and renamed into place only once
    // it and its manifest are complete: a failure or a cancel removes the
    // part alone.
    const QString strPart = PartPath(strClip);
    {
        QFile filePart(strPart);
        if (!filePart.open(QIODevice::WriteOnly | QIODevice::NewOnly))
            return JobResult::Bad(
                Local(QStringLiteral("Cannot make %1: %2 (another export is writing it, or one that did not "
                                     "finish left it behind: then remove it)")
                          .arg(strPart, filePart.errorString())));
    }
    QString strManifestPart;
    const auto Drop = [&](JobResult result) {
        QFile::remove(strPart);
        if (!strManifestPart.isEmpty())
            QFile::remove(strManifestPart);
        return result;
    };

    const FileState stateBefore = StateOf(strSourcePath);
    ClipRequest req;
    req.strSource = Local(strSourcePath);
    req.strOutput = Local(strPart);
    req.strFormatName = Local(strClip);
    req.bFrames = settings.bFrames;
    req.dFrom = settings.dFrom;
    req.dTo = settings.dTo;
    req.bExact = settings.bExact;
    ClipOutcome outcome;
    JobResult result = ClipCutter::Cut(
        req, &outcome, [&fnProgress](double dValue) { fnProgress(kCutShare * dValue); }, bCancel);
    if (!result.IsOk())
        return Drop(result);
    if (bDefaultName) {
        strClip = DefaultClipPath(settings, outcome);
        const QString strWhy = Refusal(strClip, strSourcePath);
        if (!strWhy.isEmpty())
            return Drop(JobResult::Bad(Local(strWhy)));
    }
    const QFileInfo infoClip(strClip);

    // Both checksums count towards the rest of the bar by their bytes.
    const qint64 nSourceBytes = stateBefore.nSize;
    const qint64 nAllBytes = std::max<qint64>(1, nSourceBytes + QFileInfo(strPart).size());
    QString strWhy;
    const QString strSourceSha = ClipManifest::Sha256OfFile(
        strSourcePath, bCancel,
        [&](qint64 nDone, qint64) { fnProgress(kCutShare + (1.0 - kCutShare) * double(nDone) / nAllBytes); },
        &strWhy);
    const QString strClipSha =
        strSourceSha.isEmpty()
            ? QString()
            : ClipManifest::Sha256OfFile(
                  strPart, bCancel,
                  [&](qint64 nDone, qint64) {
                      fnProgress(kCutShare + (1.0 - kCutShare) * double(nSourceBytes + nDone) / nAllBytes);
                  },
                  &strWhy);
    if (strSourceSha.isEmpty() || strClipSha.isEmpty())
        return Drop(bCancel ? JobResult::Stopped() : JobResult::Fail(Local(strWhy)));
    // The checksum must be of the file that was cut: one replaced or written
    // to meanwhile (a recording still growing) would be misrepresented.
    if (!(StateOf(strSourcePath) == stateBefore))
        return Drop(JobResult::Fail(
            Local(QStringLiteral("The source changed during the export: %1; no clip was kept.")
                      .arg(strSourcePath))));

    ClipManifest manifest;
    manifest.Set(QStringLiteral("tool"), ToolName());
    manifest.Set(QStringLiteral("version"), Version());
    manifest.Set(QStringLiteral("exported"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));
    manifest.Set(QStringLiteral("source"), strSourcePath);
    manifest.Set(QStringLiteral("source-sha256"), strSourceSha);
    manifest.Set(QStringLiteral("source-creation-time"),
                 QString::fromStdString(outcome.strSourceCreationTime));
    manifest.Set(QStringLiteral("clip"), infoClip.fileName());
    manifest.Set(QStringLiteral("clip-sha256"), strClipSha);
    manifest.Set(QStringLiteral("mode"),
                 settings.bExact ? QStringLiteral("frame-exact") : QStringLiteral("key-frame"));
    manifest.Set(QStringLiteral("creation-time"), QString::fromStdString(outcome.strCreationTime));
    manifest.Set(QStringLiteral("asked-seconds"),
                 Number(outcome.dAskedStartSec) + QLatin1Char(' ') + Number(outcome.dAskedEndSec));
    manifest.Set(QStringLiteral("asked-frames"),
                 QStringLiteral("%1 %2").arg(outcome.nAskedFirstFrame).arg(outcome.nAskedLastFrame));
    manifest.Set(QStringLiteral("actual-seconds"),
                 Number(outcome.dStartSec) + QLatin1Char(' ') + Number(outcome.dEndSec));
    manifest.Set(QStringLiteral("actual-frames"),
                 QStringLiteral("%1 %2").arg(outcome.nFirstFrame).arg(outcome.nLastFrame));
    const QString strManifest = ClipManifest::PathFor(infoClip.absoluteFilePath());
    strManifestPart = PartPath(strManifest);
    if (!manifest.Write(strManifestPart, &strWhy)) {
        // Not ours to remove when it was there before.
        strManifestPart.clear();
        return Drop(JobResult::Fail(Local(strWhy)));
    }
    // Rename refuses a name that has come to exist meanwhile; the clip goes
    // back to its part name if its manifest cannot follow.
    if (!QFile::rename(strPart, strClip))
        return Drop(JobResult::Fail(Local(QStringLiteral("Cannot name the clip %1.").arg(strClip))));
    if (!QFile::rename(strManifestPart, strManifest)) {
        QFile::rename(strClip, strPart);
        return Drop(JobResult::Fail(Local(QStringLiteral("Cannot name the manifest %1.").arg(strManifest))));
    }
    if (pstrManifest)
        *pstrManifest = strManifest;
    return JobResult::Success(Local(QStringLiteral("Clip: %1\nManifest: %2\nFrames %3 to %4 (%5 s to %6 s)")
                                        .arg(infoClip.absoluteFilePath(), strManifest)
                                        .arg(outcome.nFirstFrame)
                                        .arg(outcome.nLastFrame)
                                        .arg(Number(outcome.dStartSec), Number(outcome.dEndSec))));
}

JobResult ClipExport::Verify(const QString& strManifest, const ProgressFn& fnProgress,
                             const std::atomic<bool>& bCancel) {
    ClipManifest manifest;
    QString strWhy;
    if (!manifest.Read(strManifest, &strWhy))
        return JobResult::Bad(Local(strWhy));
    // The clip sits beside its manifest; the source where it was cut from.
    const QString strClip =
        QFileInfo(strManifest).absoluteDir().filePath(manifest.Value(QStringLiteral("clip")));
    const QString strSource = manifest.Value(QStringLiteral("source"));
    struct Check {
        const char* szName;
        QString strPath;
        QString strExpected;
    };
    const Check checks[] = {{"clip", strClip, manifest.Value(QStringLiteral("clip-sha256"))},
                            {"source", strSource, manifest.Value(QStringLiteral("source-sha256"))}};
    QStringList lstLines;
    bool bAllOk = true;
    for (int i = 0; i < 2; ++i) {
        const Check& check = checks[i];
        QString strCheckWhy;
        const QString strSha = ClipManifest::Sha256OfFile(
            check.strPath, bCancel,
            [&](qint64 nDone, qint64 nTotal) {
                fnProgress((i + (nTotal > 0 ? double(nDone) / nTotal : 1.0)) / 2.0);
            },
            &strCheckWhy);
        if (bCancel)
            return JobResult::Stopped();
        QString strState;
        if (strSha.isEmpty())
            strState = QStringLiteral("MISSING (%1)").arg(strCheckWhy);
        else if (strSha.compare(check.strExpected, Qt::CaseInsensitive) != 0)
            strState = QStringLiteral("DIFFERS (the file was changed)");
        else
            strState = QStringLiteral("OK");
        bAllOk = bAllOk && strState == QLatin1String("OK");
        lstLines << QStringLiteral("%1: %2 %3").arg(QLatin1String(check.szName), strState, check.strPath);
    }
    const std::string strText = Local(lstLines.join(QLatin1Char('\n')));
    return bAllOk ? JobResult::Success(strText) : JobResult::Fail(strText);
}
