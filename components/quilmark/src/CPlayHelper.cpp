#include "CPlayHelper.h"

#include "GlobalTimeMath.h"
#include "MediaProbe.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFontMetrics>
#include <QHash>
#include <QLabel>
#include <QMutex>
#include <QMutexLocker>
#include <QStorageInfo>
#include <QTextCodec>

#include <algorithm>
#include <cstring>
#include <string>

namespace {

bool IsSeparator(QChar c) {
    return c == QLatin1Char('/') || c == QLatin1Char('\\');
}

int LastSeparator(const QString& strPath) {
    return std::max(strPath.lastIndexOf(QLatin1Char('/')), strPath.lastIndexOf(QLatin1Char('\\')));
}

QTextCodec* Gb18030() {
    static QTextCodec* s_pCodec = QTextCodec::codecForName("GB18030");
    return s_pCodec;
}

bool IsUrl(const QString& strPath) {
    const int nScheme = strPath.indexOf(QStringLiteral("://"));
    return nScheme > 1 && !strPath.startsWith(QStringLiteral("file://"), Qt::CaseInsensitive);
}

// ---- ISO base media box walk for IsEncryption ----------------------------------

constexpr uint32_t FourCC(const char* p) {
    return (uint32_t(uint8_t(p[0])) << 24) | (uint32_t(uint8_t(p[1])) << 16) |
           (uint32_t(uint8_t(p[2])) << 8) | uint32_t(uint8_t(p[3]));
}

uint32_t ReadBE32(const uint8_t* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}

uint64_t ReadBE64(const uint8_t* p) {
    return (uint64_t(ReadBE32(p)) << 32) | ReadBE32(p + 4);
}

bool IsProtectionBox(uint32_t nType) {
    return nType == FourCC("sinf") || nType == FourCC("tenc") || nType == FourCC("pssh") ||
           nType == FourCC("senc") || nType == FourCC("encv") || nType == FourCC("enca") ||
           nType == FourCC("schm");
}

bool IsContainerBox(uint32_t nType) {
    return nType == FourCC("moov") || nType == FourCC("trak") || nType == FourCC("mdia") ||
           nType == FourCC("minf") || nType == FourCC("stbl") || nType == FourCC("moof") ||
           nType == FourCC("traf") || nType == FourCC("mvex") || nType == FourCC("edts") ||
           nType == FourCC("dinf");
}

// Walks the boxes of a buffer (the inside of a container box). stsd entries are
// sample entries: their children start after a fixed header, so they are looked
// at by type and then scanned for 'sinf'.
bool ScanBoxes(const uint8_t* p, size_t nSize, int nDepth) {
    if (nDepth > 8)
        return false;
    size_t nPos = 0;
    while (nPos + 8 <= nSize) {
        uint64_t nBox = ReadBE32(p + nPos);
        const uint32_t nType = ReadBE32(p + nPos + 4);
        size_t nHeader = 8;
        if (nBox == 1) {
            if (nPos + 16 > nSize)
                return false;
            nBox = ReadBE64(p + nPos + 8);
            nHeader = 16;
        } else if (nBox == 0) {
            nBox = nSize - nPos;
        }
        if (nBox < nHeader || nBox > nSize - nPos)
            return false;
        if (IsProtectionBox(nType))
            return true;
        const uint8_t* pBody = p + nPos + nHeader;
        const size_t nBody = size_t(nBox - nHeader);
        if (IsContainerBox(nType) && ScanBoxes(pBody, nBody, nDepth + 1))
            return true;
        if (nType == FourCC("stsd") && nBody > 8) {
            // version/flags and entry count, then sample entries as boxes; a
            // protected entry is 'encv'/'enca' or carries a 'sinf' among its children.
            const uint8_t* pEntries = pBody + 8;
            const size_t nEntries = nBody - 8;
            size_t nEntryPos = 0;
            while (nEntryPos + 8 <= nEntries) {
                const uint32_t nEntrySize = ReadBE32(pEntries + nEntryPos);
                const uint32_t nEntryType = ReadBE32(pEntries + nEntryPos + 4);
                if (nEntrySize < 8 || nEntrySize > nEntries - nEntryPos)
                    break;
                if (IsProtectionBox(nEntryType))
                    return true;
                const uint8_t* pEntry = pEntries + nEntryPos;
                for (size_t i = 8; i + 4 <= nEntrySize; ++i) {
                    if (std::memcmp(pEntry + i, "sinf", 4) == 0)
                        return true;
                }
                nEntryPos += nEntrySize;
            }
        }
        nPos += size_t(nBox);
    }
    return false;
}

enum class BoxScan { NotIsoMedia, Clear, Protected };

// Reads the top level boxes of the file; the boxes that can hold protection
// information (moov, moof) are read whole, up to a limit, the rest is skipped.
BoxScan ScanIsoFile(QFile& file) {
    constexpr qint64 kMaxBoxRead = 64 * 1024 * 1024;
    const qint64 nFileSize = file.size();
    qint64 nPos = 0;
    bool bFirst = true;
    while (nPos + 8 <= nFileSize) {
        if (!file.seek(nPos))
            break;
        uint8_t header[16];
        if (file.read(reinterpret_cast<char*>(header), 8) != 8)
            break;
        uint64_t nBox = ReadBE32(header);
        const uint32_t nType = ReadBE32(header + 4);
        qint64 nHeader = 8;
        if (bFirst) {
            static const uint32_t kFirstBoxes[] = {FourCC("ftyp"), FourCC("moov"), FourCC("mdat"),
                                                   FourCC("free"), FourCC("skip"), FourCC("wide"),
                                                   FourCC("styp"), FourCC("pdin")};
            if (std::find(std::begin(kFirstBoxes), std::end(kFirstBoxes), nType) == std::end(kFirstBoxes))
                return BoxScan::NotIsoMedia;
            bFirst = false;
        }
        if (nBox == 1) {
            if (file.read(reinterpret_cast<char*>(header + 8), 8) != 8)
                break;
            nBox = ReadBE64(header + 8);
            nHeader = 16;
        } else if (nBox == 0) {
            nBox = uint64_t(nFileSize - nPos);
        }
        if (nBox < uint64_t(nHeader))
            break;
        if (IsProtectionBox(nType))
            return BoxScan::Protected;
        if ((nType == FourCC("moov") || nType == FourCC("moof")) && qint64(nBox) - nHeader <= kMaxBoxRead) {
            const QByteArray body = file.read(qint64(nBox) - nHeader);
            if (ScanBoxes(reinterpret_cast<const uint8_t*>(body.constData()), size_t(body.size()), 0))
                return BoxScan::Protected;
        }
        nPos += qint64(nBox);
    }
    return bFirst ? BoxScan::NotIsoMedia : BoxScan::Clear;
}

// IsSRFile is asked often (each refresh of the controls): the answer of a local
// file is kept while its size and time stamp stay the same.
struct SRCacheEntry {
    qint64 nSize;
    QDateTime dtModified;
    bool bSR;
};
QMutex g_mtxSRCache;                        // guards g_hashSRCache
QHash<QString, SRCacheEntry> g_hashSRCache; // guarded by g_mtxSRCache

} // namespace

// ---- paths -----------------------------------------------------------------------

QString CPlayHelper::GetFileNameFormPath(const QString& strPath) {
    return strPath.mid(LastSeparator(strPath) + 1);
}

QString CPlayHelper::GetFolderFromPath(const QString& strPath) {
    const int nSep = LastSeparator(strPath);
    if (nSep < 0)
        return QString();
    if (nSep == 0)
        return strPath.left(1); // the root folder keeps its separator
    return strPath.left(nSep);
}

QString CPlayHelper::LinkFolderAndFileName(const QString& strFolder, const QString& strFileName) {
    int nEnd = strFolder.size();
    while (nEnd > 1 && IsSeparator(strFolder.at(nEnd - 1)))
        --nEnd;
    int nStart = 0;
    while (nStart < strFileName.size() && IsSeparator(strFileName.at(nStart)))
        ++nStart;
    const QString strLeft = strFolder.left(nEnd);
    const QString strRight = strFileName.mid(nStart);
    if (strLeft.isEmpty())
        return strRight;
    if (strRight.isEmpty())
        return strLeft;
    if (IsSeparator(strLeft.back()))
        return strLeft + strRight;
    return strLeft + QLatin1Char('/') + strRight;
}

bool CPlayHelper::IsFileExist(const QString& strPath, bool* pbExist) {
    const bool bExist = !strPath.isEmpty() && QFileInfo(strPath).isFile();
    if (pbExist)
        *pbExist = bExist;
    return bExist;
}

bool CPlayHelper::CheckFile(const QString& strPath) {
    if (!IsFileExist(strPath))
        return false;
    MediaProbe::FormatPtr ctx = MediaProbe::Open(strPath, false);
    return ctx && MediaProbe::HasVideoStream(ctx.get());
}

bool CPlayHelper::GetFileDiskSize(const QString& strPath, unsigned long long& nSize) {
    const QFileInfo info(strPath);
    if (strPath.isEmpty() || !info.isFile())
        return false;
    nSize = static_cast<unsigned long long>(info.size());
    return true;
}

bool CPlayHelper::GetFileDiskSize(const QString& strPath, unsigned long& nSize) {
    unsigned long long n = 0;
    if (!GetFileDiskSize(strPath, n))
        return false;
    nSize = static_cast<unsigned long>(n);
    return true;
}

bool CPlayHelper::GetDiskFreeSpaceW(const QString& strFolder, unsigned long long* pnFree) {
    if (!pnFree || strFolder.isEmpty())
        return false;
    // A capture folder may not exist yet: ask about the nearest folder that does.
    QString strExisting = QFileInfo(QDir::cleanPath(strFolder)).absoluteFilePath();
    while (!QFileInfo(strExisting).isDir()) {
        const QString strParent = QFileInfo(strExisting).absolutePath();
        if (strParent == strExisting)
            return false;
        strExisting = strParent;
    }
    QStorageInfo storage(strExisting);
    if (!storage.isValid() || !storage.isReady())
        return false;
    const qint64 nFree = storage.bytesAvailable();
    if (nFree < 0)
        return false;
    *pnFree = static_cast<unsigned long long>(nFree);
    return true;
}

bool CPlayHelper::GetDiskFreeSpaceW(const QString& strFolder, unsigned long* pnFree) {
    unsigned long long n = 0;
    if (!pnFree || !GetDiskFreeSpaceW(strFolder, &n))
        return false;
    *pnFree = static_cast<unsigned long>(n);
    return true;
}

// ---- text --------------------------------------------------------------------------

bool CPlayHelper::UnicodeToAscii(const QString& strText, char* pBuf, int nBufSize) {
    if (!pBuf || nBufSize <= 0)
        return false;
    pBuf[0] = '\0';
    QTextCodec* pCodec = Gb18030();
    if (!pCodec)
        return false;
    const QByteArray ba = pCodec->fromUnicode(strText);
    if (ba.size() + 1 > nBufSize)
        return false;
    std::memcpy(pBuf, ba.constData(), size_t(ba.size()));
    pBuf[ba.size()] = '\0';
    return true;
}

bool CPlayHelper::AsciiToUnicode(const char* pText, wchar_t* pBuf, int nBufChars) {
    if (!pText || !pBuf || nBufChars <= 0)
        return false;
    pBuf[0] = L'\0';
    QTextCodec* pCodec = Gb18030();
    if (!pCodec)
        return false;
    const std::wstring wstr = pCodec->toUnicode(pText).toStdWString();
    if (wstr.size() + 1 > size_t(nBufChars))
        return false;
    std::copy(wstr.begin(), wstr.end(), pBuf);
    pBuf[wstr.size()] = L'\0';
    return true;
}

QString CPlayHelper::AsciiToUnicode(const char* pText) {
    QTextCodec* pCodec = Gb18030();
    if (!pText || !pCodec)
        return QString();
    return pCodec->toUnicode(pText);
}

void CPlayHelper::SetTextLabelElidedText(QLabel* pLabel, const QString& strText, Qt::TextElideMode eMode,
                                         int nWidth) {
    if (!pLabel)
        return;
    if (nWidth <= 0) {
        const QMargins margins = pLabel->contentsMargins();
        nWidth = pLabel->width() - margins.left() - margins.right() - 2 * std::max(0, pLabel->indent());
    }
    if (nWidth <= 0) {
        pLabel->setText(strText);
        return;
    }
    pLabel->setText(pLabel->fontMetrics().elidedText(strText, eMode, nWidth));
}

// ---- file facts ------------------------------------------------------------------

bool CPlayHelper::IsSRFile(const QString& strPath, bool* pbSRFile) {
    if (!pbSRFile || strPath.isEmpty())
        return false;
    *pbSRFile = false;
    const QString strName = QFileInfo(GetFileNameFormPath(strPath)).completeBaseName();
    if (strName.contains(QStringLiteral("_fisheye"), Qt::CaseInsensitive)) {
        *pbSRFile = true;
        return true;
    }
    if (IsUrl(strPath))
        return true;
    const QFileInfo info(strPath);
    if (!info.isFile())
        return true;

    const qint64 nSize = info.size();
    const QDateTime dtModified = info.lastModified();
    {
        QMutexLocker lock(&g_mtxSRCache);
        const auto it = g_hashSRCache.constFind(strPath);
        if (it != g_hashSRCache.constEnd() && it->nSize == nSize && it->dtModified == dtModified) {
            *pbSRFile = it->bSR;
            return true;
        }
    }
    MediaProbe::FormatPtr ctx = MediaProbe::Open(strPath, false);
    const bool bSR = ctx && MediaProbe::FindTag(ctx.get(), "fisheye").trimmed() == QLatin1String("1");
    {
        QMutexLocker lock(&g_mtxSRCache);
        if (g_hashSRCache.size() > 1024)
            g_hashSRCache.clear();
        g_hashSRCache.insert(strPath, SRCacheEntry{nSize, dtModified, bSR});
    }
    *pbSRFile = bSR;
    return true;
}

bool CPlayHelper::IsEncryption(const QString& strPath, bool* pbEncrypted) {
    if (!pbEncrypted)
        return false;
    *pbEncrypted = false;
    QFile file(strPath);
    if (strPath.isEmpty() || !file.open(QIODevice::ReadOnly)) {
        qDebug() << "CPlayHelper::IsEncryption Fail" << strPath << file.errorString();
        return false;
    }
    const BoxScan eScan = ScanIsoFile(file);
    file.close();
    if (eScan != BoxScan::NotIsoMedia) {
        *pbEncrypted = eScan == BoxScan::Protected;
        return true;
    }
    // Other containers (Matroska/WebM content encryption): ask libavformat.
    MediaProbe::FormatPtr ctx = MediaProbe::Open(strPath, false);
    *pbEncrypted = ctx && MediaProbe::HasEncryptionSideData(ctx.get());
    return true;
}

bool CPlayHelper::GetFileGlobalTimeRange(const QString& strPath, FILE_INFO_SYNC* pRange) {
    if (!pRange || !IsFileExist(strPath))
        return false;
    MediaProbe::FormatPtr ctx = MediaProbe::Open(strPath, false);
    if (!ctx)
        return false;
    TAVRIX_SYSTEM_TIME stBegin{};
    if (!MediaProbe::ParseIsoTime(MediaProbe::FindTag(ctx.get(), "creation_time"), &stBegin) &&
        !MediaProbe::ParseNameStamp(GetFileNameFormPath(strPath), &stBegin))
        return false;
    const int64_t nDurationMs = MediaProbe::DurationMs(ctx.get());
    if (nDurationMs < 0)
        return false;

    TAVRIX_SYSTEM_TIME stEnd = stBegin;
    if (!GlobalTimeMath::AddMs(&stEnd, nDurationMs))
        return false;
    pRange->stBegin = stBegin;
    pRange->stEnd = stEnd;
    return true;
}

bool CPlayHelper::IsSynchronizeFiles(std::vector<QString>& files, FILE_INFO_SYNC* pFirst,
                                     FILE_INFO_SYNC* pLast, std::vector<FILE_INFO_SYNC>& ranges) {
    ranges.clear();
    if (files.empty() || !pFirst || !pLast)
        return false;
    std::vector<FILE_INFO_SYNC> vecRanges;
    vecRanges.reserve(files.size());
    size_t nFirst = 0;
    size_t nLast = 0;
    for (size_t i = 0; i < files.size(); ++i) {
        FILE_INFO_SYNC range{};
        if (!GetFileGlobalTimeRange(files[i], &range))
            return false;
        vecRanges.push_back(range);
        if (IsOneTimeEarly(&range.stBegin, &vecRanges[nFirst].stBegin))
            nFirst = i;
        if (IsOneTimeEarly(&vecRanges[nLast].stEnd, &range.stEnd))
            nLast = i;
    }
    // The ruler shows whole days; a group that spreads wider than a week is not
    // footage of one event.
    constexpr uint64_t kMaxGroupSpanSeconds = 7ull * 86400ull;
    if (GetTimeSpan_Second(&vecRanges[nFirst].stBegin, &vecRanges[nLast].stEnd) > kMaxGroupSpanSeconds)
        return false;
    *pFirst = vecRanges[nFirst];
    *pLast = vecRanges[nLast];
    ranges.swap(vecRanges);
    return true;
}
