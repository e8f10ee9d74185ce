// The record written beside every clip: where it came from and what it holds,
// with the SHA-256 of the source and of the clip, so that anyone can check
// later that neither was changed.
//
// The file is "<clip>.manifest.sha256", plain text in the form sha256sum
// reads: the facts on comment lines "# key: value", then one checksum line for
// the clip (by its file name, as it sits beside the manifest) and one for the
// source (by its full path). So `sha256sum -c NAME.manifest.sha256`, run in the
// clip's folder, checks both as well as `velquin-clip --verify` does.
#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>

class ClipManifest {
public:
    static QString PathFor(const QString& strClipPath);

    // The facts, by key, in the order they are written.
    static QStringList Keys();
    void Set(const QString& strKey, const QString& strValue) { m_mapValues[strKey] = strValue; }
    QString Value(const QString& strKey) const { return m_mapValues.value(strKey); }

    // Makes a new file: one that exists already is never overwritten.
    bool Write(const QString& strPath, QString* pstrWhy) const;
    // False for a file that is not a manifest of this tool (pstrWhy says why).
    bool Read(const QString& strPath, QString* pstrWhy);

    // The SHA-256 of a file as lower-case hex; empty when it cannot be read
    // (pstrWhy) or the cancel flag was set. fnProgress gets the bytes done.
    static QString Sha256OfFile(const QString& strPath, const std::atomic<bool>& bCancel,
                                const std::function<void(qint64 nDone, qint64 nTotal)>& fnProgress,
                                QString* pstrWhy);

private:
    QMap<QString, QString> m_mapValues;
};
