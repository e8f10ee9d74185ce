// The order of the recordings to merge: by their wall-clock start, read as the
// player reads it (the container's creation_time, else a time stamp in the
// file name, see CPlayHelper::GetFileGlobalTimeRange).
#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

class MergePlan {
public:
    // Orders lstFiles by their start. When no file has a start, the order
    // given stands; when only some have one, the others cannot be placed, and
    // recordings that overlap (one starts more than a clock's step before the
    // one before it ends) cannot be joined into one time line: false with the
    // reason in strError. strCreationTime: the first file's start as an ISO
    // 8601 text, for the output; startsUs: each ordered file's start in
    // microseconds from the first one's (both empty when no file has a start).
    static bool Order(const QStringList& lstFiles, QStringList& lstOrdered, QString& strCreationTime,
                      std::vector<int64_t>& startsUs, QString& strError);
    // Beside the first file: NAME_merged.EXT (.mp4 when re-encoding).
    static QString DefaultOutput(const QString& strFirst, bool bReencode);
};
