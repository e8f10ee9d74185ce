#pragma once

#include "FaFileInfo.h"
#include "FileInfoSync.h"

#include <QString>
#include <Qt>

#include <cstdint>
#include <vector>

class QLabel;

// File, text and global time helpers. All static; safe on any thread except
// SetTextLabelElidedText (GUI thread).
//
// Narrow strings are GB18030.
class CPlayHelper {
public:
    // ---- paths ----------------------------------------------------------------
    // "C:/a/b.mp4" and "C:\a\b.mp4" give "b.mp4".
    static QString GetFileNameFormPath(const QString& strPath);
    // The folder of a path, without the last separator; empty when there is none.
    static QString GetFolderFromPath(const QString& strPath);
    // folder + "/" + name, with exactly one separator between them.
    static QString LinkFolderAndFileName(const QString& strFolder, const QString& strFileName);
    // True when strPath names an existing regular file; *pbExist (if given) likewise.
    static bool IsFileExist(const QString& strPath, bool* pbExist = nullptr);
    // True when the path is a media file the player can open: libavformat opens it
    // and finds a video stream.
    static bool CheckFile(const QString& strPath);
    // Size in bytes; false when the file cannot be read.
    static bool GetFileDiskSize(const QString& strPath, unsigned long long& nSize);
    static bool GetFileDiskSize(const QString& strPath, unsigned long& nSize);
    // Bytes free to the user on the volume of strFolder; false when unknown.
    static bool GetDiskFreeSpaceW(const QString& strFolder, unsigned long long* pnFree);
    static bool GetDiskFreeSpaceW(const QString& strFolder, unsigned long* pnFree);

    // ---- text -----------------------------------------------------------------
    // GB18030 bytes of strText with a terminating zero into pBuf; false when it does
    // not fit (pBuf then holds an empty string) or on a bad argument.
    static bool UnicodeToAscii(const QString& strText, char* pBuf, int nBufSize);
    // GB18030 text to a zero terminated wide string of at most nBufChars wchar_t
    // (terminator included); false when it does not fit.
    static bool AsciiToUnicode(const char* pText, wchar_t* pBuf, int nBufChars);
    // GB18030 text to a QString.
    static QString AsciiToUnicode(const char* pText);
    // Puts strText into the label, shortened with an ellipsis to the label's width
    // (or nWidth when it is positive).
    static void SetTextLabelElidedText(QLabel* pLabel, const QString& strText,
                                       Qt::TextElideMode eMode = Qt::ElideRight, int nWidth = -1);

    // ---- file facts -----------------------------------------------------------
    // Container, codecs and stream facts of a file (libavformat, headers and a short
    // probe). False when the file cannot be opened as media.
    static bool AnalyzeFileInfo(const QString& strPath, _FA_FILE_INFO_* pInfo);
    // Fisheye material: the file name (without the extension) contains "_fisheye"
    // (any case), or the container carries the metadata tag "fisheye" with value 1.
    // URLs are judged by their name only. False for a bad argument.
    static bool IsSRFile(const QString& strPath, bool* pbSRFile);
    // Whether an MP4/MOV carries protection: libavformat's encryption side data on a
    // stream, or one of the boxes 'sinf', 'tenc', 'pssh', 'senc', 'encv', 'enca' in
    // the box tree. False only when the file cannot be read.
    static bool IsEncryption(const QString& strPath, bool* pbEncrypted);
    // The global time range of a file: the container's "creation_time" tag, or else a
    // stamp in the file name (20240315102030, 20240315_102030 or 20240315-102030),
    // as the begin; begin + duration as the end. Times are taken as local wall clock
    // as written. False when neither is found or the duration is unknown.
    static bool GetFileGlobalTimeRange(const QString& strPath, FILE_INFO_SYNC* pRange);
    // Whether the files can play together: each has a global time range and the
    // group spans at most seven days from the earliest begin to the latest end. ranges gets one range per
    // file in order; pFirst gets the range with the earliest begin, pLast the one with the latest end.
    static bool IsSynchronizeFiles(std::vector<QString>& files, FILE_INFO_SYNC* pFirst, FILE_INFO_SYNC* pLast,
                                   std::vector<FILE_INFO_SYNC>& ranges);

    // ---- global time ------------------------------------------------------------
    // A real calendar date and time (year 1970..9999, days per month, leap years).
    static bool IsSystemTimeValid(const TAVRIX_SYSTEM_TIME* pTime);
    // a lies strictly before b (equal times are not early).
    static bool IsOneTimeEarly(const TAVRIX_SYSTEM_TIME* pA, const TAVRIX_SYSTEM_TIME* pB);
    // Milliseconds from a to b; 0 when b is not after a; saturates at 0xFFFFFFFF.
    static uint32_t GetTimeSpanMS(const TAVRIX_SYSTEM_TIME* pA, const TAVRIX_SYSTEM_TIME* pB);
    // Whole seconds from a to b; 0 when b is not after a.
    static uint64_t GetTimeSpan_Second(const TAVRIX_SYSTEM_TIME* pA, const TAVRIX_SYSTEM_TIME* pB);
    // Calendar days from the date of a to the date of b (negative when b's date is earlier).
    static int GetTimeSpan_Day(const TAVRIX_SYSTEM_TIME* pA, const TAVRIX_SYSTEM_TIME* pB);
    // Milliseconds since 1970-01-01 00:00:00.000 of the same wall clock; 0 for an
    // invalid time.
    static uint64_t GetGlobalTimeStamp(const TAVRIX_SYSTEM_TIME* pTime);
    // The place of t between begin and end, 0.0 .. 1.0 (clamped). False for invalid
    // times or end before begin; a zero long range gives 0.0.
    static bool GetPrecentByGlobalTime(const TAVRIX_SYSTEM_TIME* pTime, double& dPrecent,
                                       const TAVRIX_SYSTEM_TIME* pBegin, const TAVRIX_SYSTEM_TIME* pEnd);
    static bool GetPrecentByGlobalTime(const TAVRIX_SYSTEM_TIME* pTime, double* pdPrecent,
                                       const TAVRIX_SYSTEM_TIME* pBegin, const TAVRIX_SYSTEM_TIME* pEnd);
    // The reverse: begin + fraction x (end - begin), fraction clamped to 0.0 .. 1.0.
    static bool GetGlobalTimeByPrecent(double dPrecent, TAVRIX_SYSTEM_TIME* pOut,
                                       const TAVRIX_SYSTEM_TIME* pBegin, const TAVRIX_SYSTEM_TIME* pEnd);
    // Moves a time forward by one grade of the ruler, across day, month and year
    // ends. False (time unchanged) for an invalid time or grade.
    static bool AddGlobalTime(TAVRIX_SYSTEM_TIME* pTime, RulerGradeType eGrade);
};
