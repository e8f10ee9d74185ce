#include "MergePlan.h"

#include <QFileInfo>

#include <algorithm>
#include <vector>

#include "CPlayHelper.h"
#include "FileInfoSync.h"

namespace {

// Starts come from creation times and file-name stamps, which often count
// whole seconds: a recording may seem to begin up to this much before the one
// before it ends. It then follows on from that end; more is an overlap.
const int64_t kClockStepMs = 1000;

} // namespace

bool MergePlan::Order(const QStringList& lstFiles, QStringList& lstOrdered, QString& strCreationTime,
                      std::vector<int64_t>& startsUs, QString& strError) {
    struct Item {
        QString strPath;
        TAVRIX_SYSTEM_TIME stBegin;
        int64_t nBeginMs;
        int64_t nEndMs;
    };
    std::vector<Item> items;
    QStringList lstUndated;
    for (const QString& strPath : lstFiles) {
        if (!QFileInfo(strPath).isFile()) {
            strError = strPath + QStringLiteral(": no such file");
            return false;
        }
        FILE_INFO_SYNC range{};
        if (CPlayHelper::GetFileGlobalTimeRange(strPath, &range))
            items.push_back({strPath, range.stBegin,
                             static_cast<int64_t>(CPlayHelper::GetGlobalTimeStamp(&range.stBegin)),
                             static_cast<int64_t>(CPlayHelper::GetGlobalTimeStamp(&range.stEnd))});
        else
            lstUndated << strPath;
    }
    strCreationTime.clear();
    startsUs.clear();
    if (items.empty()) {
        lstOrdered = lstFiles;
        return true;
    }
    if (!lstUndated.isEmpty()) {
        strError =
            lstUndated.first() +
            QStringLiteral(": its start time is unknown (no creation time, no time stamp in its name), "
                           "so it cannot be placed among the others");
        return false;
    }
    // Stable: recordings that start at the same moment keep the order given.
    std::stable_sort(items.begin(), items.end(), [](const Item& a, const Item& b) {
        return CPlayHelper::IsOneTimeEarly(&a.stBegin, &b.stBegin);
    });
    // Each recording against the one that, of those before it, ends last.
    size_t nLatest = 0;
    for (size_t i = 1; i < items.size(); ++i) {
        if (items[nLatest].nEndMs - items[i].nBeginMs > kClockStepMs) {
            strError = items[i].strPath + QStringLiteral(" starts before ") + items[nLatest].strPath +
                       QStringLiteral(" ends: recordings that overlap cannot be merged into one time line");
            return false;
        }
        if (items[i].nEndMs > items[nLatest].nEndMs)
            nLatest = i;
    }
    lstOrdered.clear();
    for (const Item& item : items) {
        lstOrdered << item.strPath;
        startsUs.push_back((item.nBeginMs - items.front().nBeginMs) * 1000);
    }
    const TAVRIX_SYSTEM_TIME& t = items.front().stBegin;
    // The player reads the wall-clock reading and ignores the zone letter.
    strCreationTime = QString::asprintf("%04d-%02d-%02dT%02d:%02d:%02d.%03d000Z", t.nYear, t.nMonth, t.nDay,
                                        t.nHour, t.nMinute, t.nSecond, t.nMilliseconds);
    return true;
}

QString MergePlan::DefaultOutput(const QString& strFirst, bool bReencode) {
    const QFileInfo info(strFirst);
    const QString strExt = bReencode || info.suffix().isEmpty() ? QStringLiteral("mp4") : info.suffix();
    return info.absolutePath() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral("_merged.") +
           strExt;
}
