#pragma once

#include <QColor>
#include <QFont>
#include <QPixmap>
#include <QStringList>

#include <utility>
#include <vector>

#include "FileInfoSync.h"
#include "SyncWndFile.h"

// Paints the two pictures of a synchronous time ruler: the time scale over the
// whole days of a group and the rows with one bar per window's file. The big
// ruler under the main dialog and the small one of full screen draw the same
// picture at different measures, so both hold one of these.
class SyncRulerPainter {
public:
    // Pixel measures of one ruler size.
    struct Measures {
        int nScaleHeight;    // height of the scale
        int nTextTop;        // top of the scale's text rectangles
        int nTextHeight;     // their height
        int nMajorTickTop;   // a major tick runs from here to the scale's bottom
        int nMinorTickTop;   // and a minor one from here
        int nRowHeight;      // height of a row, also the scroll step
        int nMinRows;        // rows the picture keeps room for, however few files
        int nSeparatorShift; // a row's separator lies at (i + 1) * row height + this
        int nBarTop;         // a file bar's top inside its row
        int nBarHeight;
    };
    static const Measures LARGE;
    static const Measures SMALL;

    // Minutes per tick of grades 0 to 3.
    static const int TICK_MINUTES[4];

    explicit SyncRulerPainter(const Measures& measures);

    const Measures& GetMeasures() const { return m_measures; }

    // Colours and font of the ruler from the skin; fixed values stand in for
    // missing entries.
    void LoadSkin();
    const QFont& TextFont() const { return m_fontText; }

    // The scale nWidth pixels wide with a tick per label of the grade.
    QPixmap PaintScale(int nWidth, int nGrade, const QStringList& lstLabels) const;
    // The rows: vecPos holds each file's start and end as fractions of the day
    // span; the row of window nSelWnd takes the selection colour.
    QPixmap PaintRows(int nWidth, const std::vector<SYNC_WND_FILE>& vecFiles,
                      const std::vector<std::pair<float, float>>& vecPos, int nSelWnd) const;

    // The labels of all four grades for a span of nDays whole days: grade 0
    // counts hours from the start, the finer grades name the time of day.
    static void BuildGradeLabels(int nDays, QStringList lstLabels[4]);
    // 00:00:00 of the first begin's day to 23:59:59 of the last end's day.
    static void DaySpan(const FILE_INFO_SYNC& stFirst, const FILE_INFO_SYNC& stLast,
                        TAVRIX_SYSTEM_TIME* pDayBegin, TAVRIX_SYSTEM_TIME* pDayEnd);
    // Each file's start and end as fractions of the day span; false when the
    // span is empty.
    static bool FilePositions(const FILE_INFO_SYNC& stFirst, const FILE_INFO_SYNC& stLast,
                              const std::vector<SYNC_WND_FILE>& vecFiles,
                              std::vector<std::pair<float, float>>* pvecPos);

private:
    enum SkinColorIndex {
        CLR_RULER_BACK = 0,
        CLR_ROWS_BACK,
        CLR_TEXT,
        CLR_TICK,
        CLR_SEPARATOR,
        CLR_FILE_BAR,
        CLR_FILE_BAR_SELECTED,
        CLR_COUNT
    };

    Measures m_measures;
    QColor m_clrSkin[CLR_COUNT];
    QFont m_fontText;
};
