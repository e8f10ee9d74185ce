// The sync ruler under a real main dialog: rows, day spans, zoom, the red line and its drag.

#include <QtTest>

#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSlider>

#include <algorithm>
#include <memory>
#include <vector>

#include "CPlayHelper.h"
#include "MainDlgFixture.h"
#include "SkinManager.h"
#include "SyncPlayProgressDlg.h"

namespace {

const int kDlgWidth = 1000;
const int kRowsBarY = 16; // a line through the middle of a row's bar

TAVRIX_SYSTEM_TIME At(int nDay, int nHour, int nMinute, int nSecond = 0) {
    return TAVRIX_SYSTEM_TIME{2024, 3, nDay, nHour, nMinute, nSecond, 0};
}

SYNC_WND_FILE Row(int nWndIndex, const QString& strPath, const TAVRIX_SYSTEM_TIME& stBegin,
                  const TAVRIX_SYSTEM_TIME& stEnd) {
    SYNC_WND_FILE row;
    row.nWndIndex = nWndIndex;
    row.lPort = nWndIndex;
    row.strFilePath = strPath;
    row.stFileTime = FILE_INFO_SYNC{stBegin, stEnd};
    row.nBeginStamp = CPlayHelper::GetGlobalTimeStamp(&stBegin);
    row.nEndStamp = CPlayHelper::GetGlobalTimeStamp(&stEnd);
    return row;
}

// Seconds from the start of 2024-03-15.
int SecondsOf(const TAVRIX_SYSTEM_TIME& t) {
    return (t.nDay - 15) * 86400 + t.nHour * 3600 + t.nMinute * 60 + t.nSecond;
}

} // namespace

class TestSyncRuler : public QObject {
    Q_OBJECT

private:
    MainDlgFixture m_fixture;
    std::unique_ptr<SyncPlayProgressDlg> m_pRuler;
    std::vector<SYNC_WND_FILE> m_vecRows;

    template <class T> T* Child(const char* szName) const {
        return m_pRuler->findChild<T*>(QString::fromLatin1(szName));
    }
    // Hands the rows to the ruler; the first range begins earliest, the last ends latest.
    bool Start(std::vector<SYNC_WND_FILE> vecRows) {
        m_vecRows = std::move(vecRows);
        std::vector<SYNC_WND_FILE*> vecPtrs;
        FILE_INFO_SYNC stFirst = m_vecRows.front().stFileTime;
        FILE_INFO_SYNC stLast = m_vecRows.front().stFileTime;
        for (SYNC_WND_FILE& row : m_vecRows) {
            vecPtrs.push_back(&row);
            if (CPlayHelper::IsOneTimeEarly(&row.stFileTime.stBegin, &stFirst.stBegin))
                stFirst = row.stFileTime;
            if (CPlayHelper::IsOneTimeEarly(&stLast.stEnd, &row.stFileTime.stEnd))
                stLast = row.stFileTime;
        }
        return m_pRuler->StartSyncRuler(vecPtrs, &stFirst, &stLast);
    }
    // The pixel column of a time on a ruler whose span has nSpanSeconds.
    int Column(const TAVRIX_SYSTEM_TIME& t, int nSpanSeconds) const {
        return int(double(SecondsOf(t)) / nSpanSeconds * m_pRuler->GetRulerWidth());
    }
    QImage Rows() const { return Child<QWidget>("m_pWndPlayTimes")->grab().toImage(); }
    // Left edge of the scale in the dialog; the red line's own column is 6 pixels into it.
    int ScaleLeft() const {
        return Child<QScrollArea>("m_pScrollAreaRuler")->mapTo(m_pRuler.get(), QPoint()).x();
    }
    int RedLineColumn() const { return Child<QLabel>("m_pLabelPlayPosRedLine")->x() + 6; }
    int ScrollValue() const {
        return Child<QScrollArea>("m_pScrollAreaTimes")->horizontalScrollBar()->value();
    }

private slots:
    void initTestCase() {
        QVERIFY(m_fixture.Start(QSize(kDlgWidth, 700)));
        m_pRuler = std::make_unique<SyncPlayProgressDlg>(m_fixture.pDlg.get());
        QVERIFY(m_pRuler->Init());
        QVERIFY(!m_pRuler->SetMainDlg(nullptr));
        QVERIFY(m_pRuler->SetMainDlg(m_fixture.pDlg.get()));
        m_pRuler->resize(kDlgWidth, m_pRuler->height());
        m_pRuler->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_pRuler.get()));
        QVERIFY(SkinManager::GetResColor(18, 5).isValid() && SkinManager::GetResColor(18, 6).isValid());
    }
    void cleanupTestCase() { m_pRuler.reset(); }

    // Two files with a gap on a 24 hour ruler, the selection's own colour, a reset.
    void rowsSitAtTheirTimes() {
        const int nSel = m_fixture.pStage->GetSelWndIndex();
        const int nOther = (nSel + 3) % 16;
        QVERIFY(Start({Row(nSel, "/rec/cam1_20240315100000.mp4", At(15, 10, 0), At(15, 11, 0)),
                       Row(nOther, "/rec/cam4.mkv", At(15, 14, 30), At(15, 16, 0))}));
        QCOMPARE(m_pRuler->GetDays(), 1);
        QCOMPARE(m_pRuler->GetHours(), 24);
        QCOMPARE(Child<QLabel>("m_pLabelSyncPlayTitle")->text(), QStringLiteral("  Synchronous Play(2)"));
        QCOMPARE(Child<QLabel>("m_pLabelFileName_1")->text(),
                 QStringLiteral("  %1.  cam4.mkv").arg(nOther + 1));
        QCOMPARE(Child<QLabel>("m_pLabelFileName_1")->toolTip(), QStringLiteral("cam4.mkv"));
        QVERIFY(Child<QLabel>("m_pLabelFileName_2")->text().isEmpty());

        const QImage img = Rows();
        QCOMPARE(img.width(), m_pRuler->GetRulerWidth());
        QCOMPARE(img.height(), 3 * SyncPlayProgressDlg::ROW_HEIGHT);
        const int nSpan = 86399; // the day span ends at 23:59:59
        // Hour, minute, row, colour (6 selected, 5 bar, 1 background).
        const int aPixels[][4] = {{10, 15, 0, 6}, {10, 45, 0, 6}, {14, 40, 1, 5}, {15, 50, 1, 5},
                                  {12, 30, 0, 1}, {12, 30, 1, 1}, {10, 30, 1, 1}, {15, 0, 0, 1}};
        for (const auto& px : aPixels) {
            const int y = px[2] * SyncPlayProgressDlg::ROW_HEIGHT + kRowsBarY;
            QCOMPARE(img.pixel(Column(At(15, px[0], px[1]), nSpan), y), SkinManager::GetResColor(18, px[3]).rgb());
        }
        // The third row's separator is there though the group has two rows.
        QCOMPARE(img.pixel(Column(At(15, 12, 30), nSpan), 3 * 32 + 2), SkinManager::GetResColor(18, 4).rgb());

        QLabel* pRedLine = Child<QLabel>("m_pLabelPlayPosRedLine");
        QVERIFY(pRedLine->isVisible());
        QCOMPARE(RedLineColumn(), ScaleLeft() + Column(At(15, 10, 0), nSpan));
        QVERIFY(m_pRuler->ResetSyncRuler());
        QVERIFY(!pRedLine->isVisible());
        QVERIFY(!Child<QLabel>("m_pLabelPlayPosSysTime")->isVisible());
        QCOMPARE(m_pRuler->GetDays(), 1);
    }

    // A group from evening into the next morning spans two whole days.
    void twoDaySpan() {
        QVERIFY(Start({Row(1, "/rec/a.mp4", At(15, 22, 0), At(15, 23, 30)),
                       Row(2, "/rec/b.mp4", At(16, 1, 0), At(16, 2, 0))}));
        QCOMPARE(m_pRuler->GetDays(), 2);
        QCOMPARE(m_pRuler->GetHours(), 48);
        const int nSpan = 2 * 86400 - 1;
        const QImage img = Rows();
        const int y1 = SyncPlayProgressDlg::ROW_HEIGHT + kRowsBarY;
        const QRgb clrBar = SkinManager::GetResColor(18, 5).rgb();
        QCOMPARE(img.pixel(Column(At(16, 1, 30), nSpan), y1), clrBar);
        QCOMPARE(img.pixel(Column(At(15, 22, 45), nSpan), kRowsBarY), clrBar);
        // Where a one day ruler would have put 01:30 there is nothing.
        QCOMPARE(img.pixel(Column(At(15, 1, 30), 86399), y1), SkinManager::GetResColor(18, 1).rgb());
    }

    // Names follow the rows' vertical scroll; letting go snaps it to a whole row.
    void fileNamesFollowRows() {
        std::vector<SYNC_WND_FILE> vecRows;
        for (int i = 0; i < 5; ++i)
            vecRows.push_back(
                Row(i * 2, QStringLiteral("/rec/cam%1.mp4").arg(i), At(15, 10 + i, 0), At(15, 11 + i, 0)));
        QVERIFY(Start(vecRows));
        QCOMPARE(Rows().height(), 5 * SyncPlayProgressDlg::ROW_HEIGHT);
        QScrollBar* pVBar = Child<QScrollArea>("m_pScrollAreaTimes")->verticalScrollBar();
        QVERIFY(pVBar->maximum() >= 2 * SyncPlayProgressDlg::ROW_HEIGHT);
        pVBar->setValue(2 * SyncPlayProgressDlg::ROW_HEIGHT);
        QCOMPARE(Child<QLabel>("m_pLabelFileName_0")->text(), QStringLiteral("  5.  cam2.mp4"));
        QCOMPARE(Child<QLabel>("m_pLabelFileName_2")->text(), QStringLiteral("  9.  cam4.mp4"));
        pVBar->setValue(SyncPlayProgressDlg::ROW_HEIGHT + 20);
        QVERIFY(m_pRuler->On_VScrollBarSliderRelease());
        QCOMPARE(pVBar->value(), SyncPlayProgressDlg::ROW_HEIGHT);
        QCOMPARE(Child<QLabel>("m_pLabelFileName_0")->text(), QStringLiteral("  3.  cam1.mp4"));
    }

    // Grades change at 3/4, 11/12, 45/46 up to the width limit; the red line stays in view.
    void zoomGradesAndRedLine() {
        QVERIFY(Start({Row(0, "/rec/a.mp4", At(15, 10, 0), At(15, 16, 0))}));
        QScrollArea* pTimes = Child<QScrollArea>("m_pScrollAreaTimes");
        QSlider* pSlider = Child<QSlider>("m_pSliderRulerScale");
        const int nBase = m_pRuler->GetBaseWidth();
        const int nViewport = pTimes->viewport()->width();
        // The scale lies exactly over the rows' view.
        QCOMPARE(nBase, nViewport);
        QCOMPARE(Child<QScrollArea>("m_pScrollAreaRuler")->width(), nViewport);
        QCOMPARE(ScaleLeft(), pTimes->viewport()->mapTo(m_pRuler.get(), QPoint()).x());
        QVERIFY2(nBase * 46 > SyncPlayProgressDlg::MAX_RULER_WIDTH,
                 "the dialog is too narrow to reach the limit");

        const int aScaleGrade[][2] = {{3, 0}, {4, 1}, {11, 1}, {12, 2}, {45, 2}, {46, 3}, {50, 3}, {1, 0}};
        for (const auto& sg : aScaleGrade) {
            pSlider->setValue(sg[0]);
            QCOMPARE(m_pRuler->GetScale(), sg[0]);
            QCOMPARE(m_pRuler->GetGrade(), sg[1]);
            const int nWidth = std::min(nBase * sg[0], int(SyncPlayProgressDlg::MAX_RULER_WIDTH));
            QCOMPARE(m_pRuler->GetRulerWidth(), nWidth);
            QCOMPARE(Child<QWidget>("m_pWndTimeRuler")->width(), nWidth);
            QCOMPARE(Child<QWidget>("m_pWndPlayTimes")->width(), nWidth);
        }
        QVERIFY(!m_pRuler->On_RulerScaleChange(51));
        QVERIFY(!m_pRuler->On_RulerScaleChange(0));
        Child<QPushButton>("m_pBtnRulerPlus")->click();
        QCOMPARE(m_pRuler->GetScale(), 2);
        Child<QPushButton>("m_pBtnRulerMinus")->click();
        Child<QPushButton>("m_pBtnRulerMinus")->click();
        QCOMPARE(m_pRuler->GetScale(), 1);

        TAVRIX_SYSTEM_TIME t = At(15, 12, 0);
        QVERIFY(m_pRuler->SetPlayPos(&t));
        pSlider->setValue(12);
        QCOMPARE(RedLineColumn(), ScaleLeft() + nViewport / 2);
        QCOMPARE(Child<QScrollArea>("m_pScrollAreaRuler")->horizontalScrollBar()->value(), ScrollValue());
        t = At(15, 15, 0);
        QVERIFY(m_pRuler->SetPlayPos(&t));
        QCOMPARE(RedLineColumn(), ScaleLeft() + nViewport - 5);
        t = At(15, 11, 0);
        QVERIFY(m_pRuler->SetPlayPos(&t));
        QCOMPARE(RedLineColumn(), ScaleLeft() + 5);
        QCOMPARE(Child<QLabel>("m_pLabelPlayPosSysTime")->text(), QStringLiteral("2024/03/15 11:00:00"));

        pSlider->setValue(1);
        t = At(15, 23, 59, 59);
        QVERIFY(m_pRuler->SetPlayPos(&t));
        QVERIFY(Child<QLabel>("m_pLabelPlayPosSysTime")->geometry().right() < m_pRuler->width());
    }

    // A release on the scale reports its column's fraction and time; elsewhere nothing.
    void dragRedLine() {
        QVERIFY(Start({Row(0, "/rec/a.mp4", At(15, 10, 0), At(15, 16, 0))}));
        TAVRIX_SYSTEM_TIME t = At(15, 12, 0);
        QVERIFY(m_pRuler->SetPlayPos(&t));
        QCOMPARE(ScrollValue(), 0);
        const int nLeft = ScaleLeft();
        const int nWidth = m_pRuler->GetRulerWidth();
        const int nHome = RedLineColumn();

        std::vector<std::pair<double, TAVRIX_SYSTEM_TIME>> vecJumps;
        connect(m_pRuler.get(), &SyncPlayProgressDlg::Sig_SyncPlayLocate, this,
                [&vecJumps](double dPrecent, TAVRIX_SYSTEM_TIME* pTime) {
                    vecJumps.emplace_back(dPrecent, *pTime);
                    return true;
                });
        const int yScale = 30; // inside the scale strip
        const int yRows = 100; // over the rows, below the scale
        // The widget under the press gets the events until the release.
        QLabel* pRedLine = Child<QLabel>("m_pLabelPlayPosRedLine");
        const auto send = [this](QTest::MouseAction eAction, QWidget* pTarget, QPoint ptDlg) {
            const QPoint pt = pTarget->mapFrom(m_pRuler.get(), ptDlg);
            if (eAction == QTest::MouseMove)
                QTest::mouseMove(pTarget, pt);
            else
                QTest::mouseEvent(eAction, pTarget, Qt::LeftButton, Qt::NoModifier, pt);
        };

        send(QTest::MousePress, pRedLine, QPoint(nHome, 60));
        send(QTest::MouseMove, pRedLine, QPoint(nLeft + 200, yScale));
        // The shown place goes through a time in milliseconds: a pixel either way.
        QVERIFY(qAbs(RedLineColumn() - (nLeft + 200)) <= 1);
        // The timer's position does not take the line from the user.
        QVERIFY(m_pRuler->SetPlayPos(&t));
        QVERIFY(qAbs(RedLineColumn() - (nLeft + 200)) <= 1);
        QVERIFY(vecJumps.empty());
        send(QTest::MouseRelease, pRedLine, QPoint(nLeft + 300, yScale));
        QCOMPARE(int(vecJumps.size()), 1);
        const double dExpected = 300.0 / nWidth;
        QCOMPARE(vecJumps[0].first, dExpected);
        TAVRIX_SYSTEM_TIME stDayBegin = At(15, 0, 0);
        TAVRIX_SYSTEM_TIME stDayEnd = At(15, 23, 59, 59);
        TAVRIX_SYSTEM_TIME stExpected{};
        QVERIFY(CPlayHelper::GetGlobalTimeByPrecent(dExpected, &stExpected, &stDayBegin, &stDayEnd));
        QCOMPARE(CPlayHelper::GetGlobalTimeStamp(&vecJumps[0].second),
                 CPlayHelper::GetGlobalTimeStamp(&stExpected));
        QVERIFY(qAbs(RedLineColumn() - (nLeft + 300)) <= 1);

        // Let go over the rows: nothing is sent, and the next tick moves the line home.
        send(QTest::MousePress, pRedLine, QPoint(RedLineColumn(), 60));
        send(QTest::MouseMove, pRedLine, QPoint(nLeft + 400, yScale));
        send(QTest::MouseRelease, pRedLine, QPoint(nLeft + 400, yRows));
        QCOMPARE(int(vecJumps.size()), 1);
        QVERIFY(m_pRuler->SetPlayPos(&t));
        QCOMPARE(RedLineColumn(), nHome);

        // A press on the scale beside the line starts no drag.
        QWidget* pScale = Child<QWidget>("m_pWndTimeRuler");
        send(QTest::MousePress, pScale, QPoint(nLeft + 500, yScale));
        send(QTest::MouseMove, pScale, QPoint(nLeft + 520, yScale));
        send(QTest::MouseRelease, pScale, QPoint(nLeft + 520, yScale));
        QCOMPARE(int(vecJumps.size()), 1);
        QCOMPARE(RedLineColumn(), nHome);
    }
};

QTEST_MAIN(TestSyncRuler)
#include "TestSyncRuler.moc"
