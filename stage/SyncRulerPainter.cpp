#include "SyncRulerPainter.h"

#include <QPainter>
#include <QRectF>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "CPlayHelper.h"
#include "SkinManager.h"

namespace {

const int SKIN_RES_RULER = 18;
const int SKIN_FONT_TEXT = 2;
// The default skin's values, used where a skin lacks an entry.
const char* const FALLBACK_COLORS[] = {"#222327", "#1B1C1F", "#A8ABB2", "#5C5F66",
                                       "#2B2D31", "#3C7A4E", "#2F8CEB"};
const int MINUTES_PER_DAY = 24 * 60;

} // namespace

const SyncRulerPainter::Measures SyncRulerPainter::LARGE = {32, 5, 17, 20, 27, 33, 3, -1, 4, 24};
const SyncRulerPainter::Measures SyncRulerPainter::SMALL = {25, 2, 10, 13, 20, 23, 2, 0, 3, 16};
const int SyncRulerPainter::TICK_MINUTES[4] = {60, 30, 10, 5};

SyncRulerPainter::SyncRulerPainter(const Measures& measures) : m_measures(measures) {
    for (int i = 0; i < CLR_COUNT; ++i)
        m_clrSkin[i] = QColor(QLatin1String(FALLBACK_COLORS[i]));
}

void SyncRulerPainter::LoadSkin() {
    for (int i = 0; i < CLR_COUNT; ++i) {
        const QColor clr = SkinManager::GetResColor(SKIN_RES_RULER, i);
        m_clrSkin[i] = clr.isValid() ? clr : QColor(QLatin1String(FALLBACK_COLORS[i]));
    }
    m_fontText = SkinManager::GetResFont(SKIN_RES_RULER, SKIN_FONT_TEXT);
}

QPixmap SyncRulerPainter::PaintScale(int nWidth, int nGrade, const QStringList& lstLabels) const {
    const int nCount = int(lstLabels.size());
    QPixmap pix(std::max(1, nWidth), m_measures.nScaleHeight);
    pix.fill(m_clrSkin[CLR_RULER_BACK]);
    if (nCount == 0)
        return pix;
    QPainter painter(&pix);
    painter.setFont(m_fontText);
    const QPen penText(m_clrSkin[CLR_TEXT]);
    const QPen penTick(m_clrSkin[CLR_TICK]);
    const float fStep = float(nWidth) / nCount;
    const int nAlign = Qt::AlignHCenter | Qt::AlignVCenter;
    const qreal yText = m_measures.nTextTop;
    const qreal hText = m_measures.nTextHeight;
    const qreal yBottom = m_measures.nScaleHeight;
    for (int i = 0; i < nCount; ++i) {
        const float x = i * fStep;
        QRectF rcText;
        if (nGrade == 0) {
            rcText = i == 0 ? QRectF(x - 5, yText, 15, hText) : QRectF(x - 10, yText, 20, hText);
        } else {
            // The finer grades leave the very start bare: its time is the span's
            // begin, which the label of the next tick makes plain.
            if (i == 0)
                continue;
            rcText = QRectF(x - 30, yText, 60, hText);
        }
        painter.setPen(penText);
        painter.drawText(rcText, nAlign, lstLabels[i]);
        painter.setPen(penTick);
        painter.drawLine(QPointF(x, m_measures.nMajorTickTop), QPointF(x, yBottom));
        if (fStep > 40) {
            for (int j = 1; j <= 4; ++j) {
                const float xMinor = x + j * fStep / 5;
                painter.drawLine(QPointF(xMinor, m_measures.nMinorTickTop), QPointF(xMinor, yBottom));
            }
        }
        if (nGrade == 0 && i == 23) {
            painter.setPen(penText);
            painter.drawText(QRectF(24 * fStep - 15, yText, 20, hText), nAlign, QStringLiteral("24"));
        }
    }
    return pix;
}

QPixmap SyncRulerPainter::PaintRows(int nWidth, const std::vector<SYNC_WND_FILE>& vecFiles,
                                    const std::vector<std::pair<float, float>>& vecPos, int nSelWnd) const {
    const int nRowHeight = m_measures.nRowHeight;
    const int nRows = std::max(m_measures.nMinRows, int(vecFiles.size()));
    QPixmap pix(std::max(1, nWidth), nRows * nRowHeight);
    pix.fill(m_clrSkin[CLR_ROWS_BACK]);
    QPainter painter(&pix);
    for (int i = 0; i < nRows; ++i) {
        const int y = (i + 1) * nRowHeight + m_measures.nSeparatorShift;
        painter.setPen(m_clrSkin[CLR_SEPARATOR]);
        painter.drawLine(0, y, nWidth, y);
        if (i >= int(vecPos.size()) || i >= int(vecFiles.size()))
            continue;
        const bool bSelected = vecFiles[size_t(i)].nWndIndex == nSelWnd;
        const QColor clrBar = m_clrSkin[bSelected ? CLR_FILE_BAR_SELECTED : CLR_FILE_BAR];
        painter.setPen(clrBar);
        painter.setBrush(clrBar);
        const int x1 = int(std::ceil(vecPos[size_t(i)].first * nWidth));
        int x2 = int(std::ceil(vecPos[size_t(i)].second * nWidth));
        // A file shorter than a pixel still shows.
        if (x2 == x1)
            x2 = x1 + 1;
        const QRect rcBar(x1, i * nRowHeight + m_measures.nBarTop, x2 - x1, m_measures.nBarHeight);
        if (rcBar.width() < 5)
            painter.fillRect(rcBar, clrBar);
        else if (rcBar.width() <= 12)
            painter.drawRoundedRect(rcBar, 2, 2);
        else
            painter.drawRoundedRect(rcBar, 4, 4);
    }
    return pix;
}

void SyncRulerPainter::BuildGradeLabels(int nDays, QStringList lstLabels[4]) {
    for (int nGrade = 0; nGrade < 4; ++nGrade)
        lstLabels[nGrade].clear();
    for (int nHour = 0; nHour < nDays * 24; ++nHour)
        lstLabels[0] << QString::number(nHour);
    for (int nGrade = 1; nGrade < 4; ++nGrade) {
        const int nMinutes = TICK_MINUTES[nGrade];
        const int nTicks = nDays * (MINUTES_PER_DAY / nMinutes);
        for (int i = 0; i < nTicks; ++i) {
            const int nOfDay = (i * nMinutes) % MINUTES_PER_DAY;
            lstLabels[nGrade] << QString::asprintf("%02d:%02d:%02d", nOfDay / 60, nOfDay % 60, 0);
        }
    }
}

void SyncRulerPainter::DaySpan(const FILE_INFO_SYNC& stFirst, const FILE_INFO_SYNC& stLast,
                               TAVRIX_SYSTEM_TIME* pDayBegin, TAVRIX_SYSTEM_TIME* pDayEnd) {
    *pDayBegin =
        TAVRIX_SYSTEM_TIME{stFirst.stBegin.nYear, stFirst.stBegin.nMonth, stFirst.stBegin.nDay, 0, 0, 0, 0};
    *pDayEnd = TAVRIX_SYSTEM_TIME{stLast.stEnd.nYear, stLast.stEnd.nMonth, stLast.stEnd.nDay, 23, 59, 59, 0};
}

bool SyncRulerPainter::FilePositions(const FILE_INFO_SYNC& stFirst, const FILE_INFO_SYNC& stLast,
                                     const std::vector<SYNC_WND_FILE>& vecFiles,
                                     std::vector<std::pair<float, float>>* pvecPos) {
    pvecPos->clear();
    TAVRIX_SYSTEM_TIME stDayBegin;
    TAVRIX_SYSTEM_TIME stDayEnd;
    DaySpan(stFirst, stLast, &stDayBegin, &stDayEnd);
    const uint64_t nTotal = CPlayHelper::GetTimeSpan_Second(&stDayBegin, &stDayEnd);
    if (nTotal == 0)
        return false;
    for (const SYNC_WND_FILE& file : vecFiles) {
        const double dLength =
            double(CPlayHelper::GetTimeSpan_Second(&file.stFileTime.stBegin, &file.stFileTime.stEnd)) /
            nTotal;
        const double dStart =
            double(CPlayHelper::GetTimeSpan_Second(&stDayBegin, &file.stFileTime.stBegin)) / nTotal;
        pvecPos->emplace_back(float(dStart), float(dStart + dLength));
    }
    return true;
}
