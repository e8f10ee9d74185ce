// Global time arithmetic: the synchronous ruler, the global time search and the
// locate dialog all rest on it, and footage crosses midnight, month ends and
// leap days.
#include "CPlayHelper.h"

#include <QtTest>

namespace {

TAVRIX_SYSTEM_TIME T(int y, int mo, int d, int h = 0, int mi = 0, int s = 0, int ms = 0) {
    return TAVRIX_SYSTEM_TIME{y, mo, d, h, mi, s, ms};
}

QString Text(const TAVRIX_SYSTEM_TIME& t) {
    return QString::asprintf("%04d-%02d-%02d %02d:%02d:%02d.%03d", t.nYear, t.nMonth, t.nDay, t.nHour, t.nMinute,
                             t.nSecond, t.nMilliseconds);
}

} // namespace

class TestGlobalTime : public QObject {
    Q_OBJECT

private slots:
    void validity_data() {
        QTest::addColumn<QList<int>>("time"); // year, month, day, hour, ms
        QTest::addColumn<bool>("valid");
        QTest::newRow("leap day 2024") << QList<int>{2024, 2, 29, 0, 0} << true;
        QTest::newRow("no leap day 2023") << QList<int>{2023, 2, 29, 0, 0} << false;
        QTest::newRow("no leap day 2100") << QList<int>{2100, 2, 29, 0, 0} << false;
        QTest::newRow("leap day 2000") << QList<int>{2000, 2, 29, 0, 0} << true;
        QTest::newRow("April 31") << QList<int>{2024, 4, 31, 0, 0} << false;
        QTest::newRow("hour 24") << QList<int>{2024, 4, 30, 24, 0} << false;
        QTest::newRow("ms 1000") << QList<int>{2024, 4, 30, 23, 1000} << false;
        QTest::newRow("month 0") << QList<int>{2024, 0, 1, 0, 0} << false;
        QTest::newRow("default of an empty range") << QList<int>{1998, 1, 1, 0, 0} << true;
        QTest::newRow("zeros") << QList<int>{0, 0, 0, 0, 0} << false;
    }
    void validity() {
        QFETCH(QList<int>, time);
        QFETCH(bool, valid);
        const TAVRIX_SYSTEM_TIME t = T(time[0], time[1], time[2], time[3], 0, 0, time[4]);
        QCOMPARE(CPlayHelper::IsSystemTimeValid(&t), valid);
    }

    void orderingAndStamps() {
        const TAVRIX_SYSTEM_TIME a = T(2024, 3, 15, 23, 59, 59, 999);
        const TAVRIX_SYSTEM_TIME b = T(2024, 3, 16);
        const TAVRIX_SYSTEM_TIME c = T(2023, 12, 31, 23, 59, 59, 999);
        QVERIFY(CPlayHelper::IsOneTimeEarly(&a, &b));
        QVERIFY(!CPlayHelper::IsOneTimeEarly(&b, &a));
        QVERIFY(!CPlayHelper::IsOneTimeEarly(&a, &a)); // equal is not early
        QVERIFY(CPlayHelper::IsOneTimeEarly(&c, &a));

        const TAVRIX_SYSTEM_TIME epoch = T(1970, 1, 1);
        QCOMPARE(CPlayHelper::GetGlobalTimeStamp(&epoch), uint64_t(0));
        // 2024-03-15 is day 19797 after 1970-01-01.
        const TAVRIX_SYSTEM_TIME t = T(2024, 3, 15, 10, 20, 30, 5);
        QCOMPARE(CPlayHelper::GetGlobalTimeStamp(&t),
                 uint64_t(19797) * 86400000u + (10 * 3600 + 20 * 60 + 30) * 1000u + 5);
        const TAVRIX_SYSTEM_TIME bad = T(2024, 2, 30);
        QCOMPARE(CPlayHelper::GetGlobalTimeStamp(&bad), uint64_t(0));
    }

    void spansAcrossBoundaries() {
        // 28 Feb 23:00 -> 1 Mar 01:00 in a leap year: 26 hours; in 2023: 2.
        const TAVRIX_SYSTEM_TIME leapEve = T(2024, 2, 28, 23), march = T(2024, 3, 1, 1);
        QCOMPARE(CPlayHelper::GetTimeSpan_Second(&leapEve, &march), uint64_t(26 * 3600));
        QCOMPARE(CPlayHelper::GetTimeSpanMS(&leapEve, &march), uint32_t(26u * 3600u * 1000u));
        QCOMPARE(CPlayHelper::GetTimeSpan_Day(&leapEve, &march), 2);
        const TAVRIX_SYSTEM_TIME eve2023 = T(2023, 2, 28, 23), march2023 = T(2023, 3, 1, 1);
        QCOMPARE(CPlayHelper::GetTimeSpan_Second(&eve2023, &march2023), uint64_t(2 * 3600));
        QCOMPARE(CPlayHelper::GetTimeSpan_Day(&eve2023, &march2023), 1);

        const TAVRIX_SYSTEM_TIME newYearEve = T(2023, 12, 31, 23, 59, 59, 500);
        const TAVRIX_SYSTEM_TIME newYear = T(2024, 1, 1, 0, 0, 0, 250);
        QCOMPARE(CPlayHelper::GetTimeSpanMS(&newYearEve, &newYear), uint32_t(750));
        QCOMPARE(CPlayHelper::GetTimeSpan_Second(&newYearEve, &newYear), uint64_t(0));
        QCOMPARE(CPlayHelper::GetTimeSpan_Day(&newYearEve, &newYear), 1);
        QCOMPARE(CPlayHelper::GetTimeSpan_Day(&newYear, &newYearEve), -1);
        // Backwards spans are empty, not huge unsigned numbers.
        QCOMPARE(CPlayHelper::GetTimeSpanMS(&newYear, &newYearEve), uint32_t(0));
        QCOMPARE(CPlayHelper::GetTimeSpan_Second(&newYear, &newYearEve), uint64_t(0));
        // Two months do not fit into 32 bits of milliseconds: the span saturates.
        const TAVRIX_SYSTEM_TIME later = T(2024, 3, 1);
        QCOMPARE(CPlayHelper::GetTimeSpanMS(&newYear, &later), uint32_t(0xFFFFFFFFu));
    }

    void percentOverAMonthEnd() {
        const TAVRIX_SYSTEM_TIME begin = T(2024, 1, 31, 23), end = T(2024, 2, 1, 1), mid = T(2024, 2, 1);
        double d = -1.0;
        QVERIFY(CPlayHelper::GetPrecentByGlobalTime(&mid, d, &begin, &end));
        QCOMPARE(d, 0.5);
        double d2 = -1.0;
        QVERIFY(CPlayHelper::GetPrecentByGlobalTime(&mid, &d2, &begin, &end));
        QCOMPARE(d2, 0.5);
        // Outside the range clamps to the ends.
        const TAVRIX_SYSTEM_TIME before = T(2024, 1, 1);
        QVERIFY(CPlayHelper::GetPrecentByGlobalTime(&before, d, &begin, &end));
        QCOMPARE(d, 0.0);

        TAVRIX_SYSTEM_TIME out{};
        QVERIFY(CPlayHelper::GetGlobalTimeByPrecent(1.0, &out, &begin, &end));
        QCOMPARE(Text(out), Text(end));
        QVERIFY(CPlayHelper::GetGlobalTimeByPrecent(0.25, &out, &begin, &end));
        QCOMPARE(Text(out), Text(T(2024, 1, 31, 23, 30)));
        // A reversed or invalid range cannot say.
        QVERIFY(!CPlayHelper::GetPrecentByGlobalTime(&mid, d, &end, &begin));
        const TAVRIX_SYSTEM_TIME bad = T(2024, 13, 1);
        QVERIFY(!CPlayHelper::GetPrecentByGlobalTime(&bad, d, &begin, &end));
        QVERIFY(!CPlayHelper::GetGlobalTimeByPrecent(0.5, &out, &bad, &end));
    }

    // A day ruler: 100 % of one day is 23:59:59, and the round trip of every
    // second of the day lands on the same second.
    void percentRoundTripOverADay() {
        const TAVRIX_SYSTEM_TIME begin = T(2024, 2, 29), end = T(2024, 2, 29, 23, 59, 59);
        for (int nSecond = 0; nSecond < 86400; nSecond += 997) {
            const TAVRIX_SYSTEM_TIME t = T(2024, 2, 29, nSecond / 3600, nSecond / 60 % 60, nSecond % 60);
            double d = 0.0;
            QVERIFY(CPlayHelper::GetPrecentByGlobalTime(&t, d, &begin, &end));
            TAVRIX_SYSTEM_TIME back{};
            QVERIFY(CPlayHelper::GetGlobalTimeByPrecent(d, &back, &begin, &end));
            QCOMPARE(Text(back), Text(t));
        }
    }

    void addGlobalTimeCrossesEnds() {
        const struct {
            TAVRIX_SYSTEM_TIME stFrom;
            RulerGradeType eGrade;
            TAVRIX_SYSTEM_TIME stTo;
        } steps[] = {
            {T(2023, 12, 31, 23, 59, 59, 500), RULER_GRADE_1SECOND, T(2024, 1, 1, 0, 0, 0, 500)},
            {T(2024, 2, 28, 23, 30), RULER_GRADE_1HOUR, T(2024, 2, 29, 0, 30)},
            {T(2024, 2, 29, 0, 30), RULER_GRADE_1DAY, T(2024, 3, 1, 0, 30)},
            {T(2023, 2, 28, 22, 50), RULER_GRADE_2HOUR, T(2023, 3, 1, 0, 50)},
            {T(2024, 4, 30, 23, 55), RULER_GRADE_10MINUTE, T(2024, 5, 1, 0, 5)},
            // An invalid time or grade leaves the time as it was.
            {T(2024, 2, 30), RULER_GRADE_1SECOND, T(2024, 2, 30)},
            {T(2024, 1, 1), static_cast<RulerGradeType>(99), T(2024, 1, 1)},
        };
        for (const auto& step : steps) {
            TAVRIX_SYSTEM_TIME t = step.stFrom;
            const bool bValid = Text(step.stFrom) != Text(step.stTo);
            QCOMPARE(CPlayHelper::AddGlobalTime(&t, step.eGrade), bValid);
            QCOMPARE(Text(t), Text(step.stTo));
        }
    }
};

QTEST_GUILESS_MAIN(TestGlobalTime)
#include "tst_global_time.moc"
