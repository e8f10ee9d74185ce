#include "ClipManifest.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

namespace {

const char* const kHeader = "# velquin-clip manifest";
// Read in pieces so that a cancel is seen within one piece.
const qint64 kChunkBytes = 4 * 1024 * 1024;

} // namespace

QString ClipManifest::PathFor(const QString& strClipPath) {
    return strClipPath + QStringLiteral(".manifest.sha256");
}

QStringList ClipManifest::Keys() {
    return {QStringLiteral("tool"),           QStringLiteral("version"),
            QStringLiteral("exported"),       QStringLiteral("source"),
            QStringLiteral("source-sha256"),  QStringLiteral("source-creation-time"),
            QStringLiteral("clip"),           QStringLiteral("clip-sha256"),
            QStringLiteral("creation-time"),  QStringLiteral("mode"),
            QStringLiteral("asked-seconds"),  QStringLiteral("asked-frames"),
            QStringLiteral("actual-seconds"), QStringLiteral("actual-frames")};
}

bool ClipManifest::Write(const QString& strPath, QString* pstrWhy) const {
    QFile file(strPath);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text | QIODevice::NewOnly)) {
        *pstrWhy = QStringLiteral("Cannot write %1: %2").arg(strPath, file.errorString());
        return false;
    }
    QTextStream out(&file);
    out.setEncoding(QStringConverter::Utf8);
    out << kHeader << '\n';
    for (const QString& strKey : Keys())
        out << "# " << strKey << ": " << Value(strKey) << '\n';
    // Two spaces: sha256sum's text-mode form.
    out << Value(QStringLiteral("clip-sha256")) << "  " << Value(QStringLiteral("clip")) << '\n';
    out << Value(QStringLiteral("source-sha256")) << "  " << Value(QStringLiteral("source")) << '\n';
    out.flush();
    if (out.status() != QTextStream::Ok || !file.flush() || file.error() != QFileDevice::NoError) {
        *pstrWhy = QStringLiteral("Cannot write %1: %2").arg(strPath, file.errorString());
        file.close();
        file.remove();
        return false;
    }
    return true;
}

bool ClipManifest::Read(const QString& strPath, QString* pstrWhy) {
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        *pstrWhy = QStringLiteral("Cannot read the manifest %1: %2").arg(strPath, file.errorString());
        return false;
    }
    QTextStream in(&file);
    in.setEncoding(QStringConverter::Utf8);
    if (in.readLine() != QLatin1String(kHeader)) {
        *pstrWhy = QStringLiteral("Not a clip manifest: %1").arg(strPath);
        return false;
    }
    m_mapValues.clear();
    while (!in.atEnd()) {
        const QString strLine = in.readLine();
        if (!strLine.startsWith(QLatin1String("# ")))
            continue;
        const int nColon = strLine.indexOf(QLatin1String(": "));
        if (nColon > 2)
            m_mapValues[strLine.mid(2, nColon - 2)] = strLine.mid(nColon + 2);
    }
    if (Value(QStringLiteral("clip")).isEmpty() || Value(QStringLiteral("clip-sha256")).isEmpty() ||
        Value(QStringLiteral("source-sha256")).isEmpty()) {
        *pstrWhy = QStringLiteral("The manifest %1 lacks the clip or its checksums.").arg(strPath);
        return false;
    }
    return true;
}

QString ClipManifest::Sha256OfFile(const QString& strPath, const std::atomic<bool>& bCancel,
                                   const std::function<void(qint64, qint64)>& fnProgress, QString* pstrWhy) {
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly)) {
        *pstrWhy = QStringLiteral("Cannot read %1: %2").arg(strPath, file.errorString());
        return {};
    }
    QCryptographicHash hash(QCryptographicHash::Sha256);
    const qint64 nTotal = file.size();
    qint64 nDone = 0;
    QByteArray baChunk;
    while (!file.atEnd()) {
        if (bCancel)
            return {};
        baChunk = file.read(kChunkBytes);
        if (baChunk.isEmpty() && file.error() != QFileDevice::NoError) {
            *pstrWhy = QStringLiteral("Cannot read %1: %2").arg(strPath, file.errorString());
            return {};
        }
        hash.addData(baChunk);
        nDone += baChunk.size();
        if (fnProgress)
            fnProgress(nDone, nTotal);
    }
    return QString::fromLatin1(hash.result().toHex());
}
