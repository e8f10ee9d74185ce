// Global time arithmetic: the synchronous ruler, the global time search and the
// locate dialog all rest on it, and footage crosses midnight, month ends and
// leap days.
#include "CPlayHelper.h"

#include <QtTest>

namespace {

TAVRIX_SYSTEM_TIME T(int y, int mo, int d, int h = 0, int mi = 0, int s = 0, int ms = 0) {
    return TAVRIX_SYSTEM_TIME{y, mo, d, h, mi, s, ms};
}

bool Same(const TAVRIX_SYSTEM_TIME& a, const TAVRIX_SYSTEM_TIME& b) {
    return a.nYear == b.nYear && a.nMonth == b.nMonth && a.nDay == b.nDay && a.nHour == b.nHour &&
           a.nMinute == b.nMinute && a.nSecond == b.nSecond && a.nMilliseconds == b.nMilliseconds;
}

QByteArray Text(const TAVRIX_SYSTEM_TIME& t) {
    return QString::asprintf("%04d-%02d-%02d %02d:%02d:%02d.%03d", t.nYear, t.nMonth, t.nDay, t.nHour,
                             t.nMinute, t.nSecond, t.nMilliseconds)
        .toLatin1();
}

} // namespace

#define COMPARE_TIME(a, b) QVERIFY2(Same(a, b), Text(a) + " != " + Text(b))

class TestGlobalTime : public QObject {
    Q_OBJECT

private slots:
    void Validity_data() {
        QTest::addColumn<int>("y");
        QTest::addColumn<int>("mo");
        QTest::addColumn<int>("d");
        QTest::addColumn<int>("h");
        QTest::addColumn<int>("ms");
        QTest::addColumn<bool>("valid");
        QTest::newRow("leap day 2024") << 2024 << 2 << 29 << 0 << 0 << true;
        QTest::newRow("no leap day 2023") << 2023 << 2 << 29 << 0 << 0 << false;
        QTest::newRow("no leap day 2100") << 2100 << 2 << 29 << 0 << 0 << false;
        QTest::newRow("leap day 2000") << 2000 << 2 << 29 << 0 << 0 << true;
        QTest::newRow("April 31") << 2024 << 4 << 31 << 0 << 0 << false;
        QTest::newRow("hour 24") << 2024 << 4 << 30 << 24 << 0 << false;
        QTest::newRow("ms 1000") << 2024 << 4 << 30 << 23 << 1000 << false;
        QTest::newRow("month 0") << 2024 << 0 << 1 << 0 << 0 << false;
        QTest::newRow("default of an empty range") << 1998 << 1 << 1 << 0 << 0 << true;
        QTest::newRow("zeros") << 0 << 0 << 0 << 0 << 0 << false;
    }
    void Validity() {
        QFETCH(int, y);
        QFETCH(int, mo);
        QFETCH(int, d);
        QFETCH(int, h);
        QFETCH(int, ms);
        QFETCH(bool, valid);
        const TAVRIX_SYSTEM_TIME t = T(y, mo, d, h, 0, 0, ms);
        QCOMPARE(CPlayHelper::IsSystemTimeValid(&t), valid);
    }

    void Ordering() {
        const TAVRIX_SYSTEM_TIME a = T(2024, 3, 15, 23, 59, 59, 999);
        const TAVRIX_SYSTEM_TIME b = T(2024, 3, 16);
        QVERIFY(CPlayHelper::IsOneTimeEarly(&a, &b));
        QVERIFY(!CPlayHelper::IsOneTimeEarly(&b, &a));
        QVERIFY(!CPlayHelper::IsOneTimeEarly(&a, &a)); // equal is not early
        const TAVRIX_SYSTEM_TIME c = T(2023, 12, 31, 23, 59, 59, 999);
        QVERIFY(CPlayHelper::IsOneTimeEarly(&c, &a));
    }

    void SpansAcrossBoundaries() {
        const TAVRIX_SYSTEM_TIME leapEve = T(2024, 2, 28, 23, 0, 0);
        const TAVRIX_SYSTEM_TIME march = T(2024, 3, 1, 1, 0, 0);
        // 28 Feb 23:00 -> 1 Mar 01:00 in a leap year: 26 hours.
        QCOMPARE(CPlayHelper::GetTimeSpan_Second(&leapEve, &march), uint64_t(26 * 3600));
        QCOMPARE(CPlayHelper::GetTimeSpanMS(&leapEve, &march), uint32_t(26u * 3600u * 1000u));
        QCOMPARE(CPlayHelper::GetTimeSpan_Day(&leapEve, &march), 2);

        const TAVRIX_SYSTEM_TIME eve2023 = T(2023, 2, 28, 23, 0, 0);
        const TAVRIX_SYSTEM_TIME march2023 = T(2023, 3, 1, 1, 0, 0);
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

    void StampsAreMonotonic() {
        const TAVRIX_SYSTEM_TIME epoch = T(1970, 1, 1);
        QCOMPARE(CPlayHelper::GetGlobalTimeStamp(&epoch), uint64_t(0));
        const TAVRIX_SYSTEM_TIME t = T(2024, 3, 15, 10, 20, 30, 5);
        // 2024-03-15 is day 19797 after 1970-01-01.
        QCOMPARE(CPlayHelper::GetGlobalTimeStamp(&t),
                 uint64_t(19797) * 86400000u + (10 * 3600 + 20 * 60 + 30) * 1000u + 5);
        const TAVRIX_SYSTEM_TIME bad = T(2024, 2, 30);
        QCOMPARE(CPlayHelper::GetGlobalTimeStamp(&bad), uint64_t(0));
    }

    void PercentOverAMonthEnd() {
        const TAVRIX_SYSTEM_TIME begin = T(2024, 1, 31, 23, 0, 0);
        const TAVRIX_SYSTEM_TIME end = T(2024, 2, 1, 1, 0, 0);
        const TAVRIX_SYSTEM_TIME mid = T(2024, 2, 1, 0, 0, 0);
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
        QVERIFY(CPlayHelper::GetGlobalTimeByPrecent(0.5, &out, &begin, &end));
        COMPARE_TIME(out, mid);
        QVERIFY(CPlayHelper::GetGlobalTimeByPrecent(1.0, &out, &begin, &end));
        COMPARE_TIME(out, end);
        QVERIFY(CPlayHelper::GetGlobalTimeByPrecent(0.25, &out, &begin, &end));
        COMPARE_TIME(out, T(2024, 1, 31, 23, 30, 0));

        // A reversed or invalid range cannot say.
        QVERIFY(!CPlayHelper::GetPrecentByGlobalTime(&mid, d, &end, &begin));
        const TAVRIX_SYSTEM_TIME bad = T(2024, 13, 1);
        QVERIFY(!CPlayHelper::GetPrecentByGlobalTime(&bad, d, &begin, &end));
        QVERIFY(!CPlayHelper::GetGlobalTimeByPrecent(0.5, &out, &bad, &end));
    }

    // A day ruler: 100 % of one day is 23:59:59, and the round trip of every
    // second of the day lands on the same second.
    void PercentRoundTripOverADay() {
        const TAVRIX_SYSTEM_TIME begin = T(2024, 2, 29, 0, 0, 0);
        const TAVRIX_SYSTEM_TIME end = T(2024, 2, 29, 23, 59, 59);
        for (int nSecond = 0; nSecond < 86400; nSecond += 997) {
            const TAVRIX_SYSTEM_TIME t = T(2024, 2, 29, nSecond / 3600, nSecond / 60 % 60, nSecond % 60);
            double d = 0.0;
            QVERIFY(CPlayHelper::GetPrecentByGlobalTime(&t, d, &begin, &end));
            TAVRIX_SYSTEM_TIME back{};
            QVERIFY(CPlayHelper::GetGlobalTimeByPrecent(d, &back, &begin, &end));
            COMPARE_TIME(back, t);
        }
    }

    void AddGlobalTimeCrossesEnds() {
        TAVRIX_SYSTEM_TIME t = T(2023, 12, 31, 23, 59, 59, 500);
        QVERIFY(CPlayHelper::AddGlobalTime(&t, RULER_GRADE_1SECOND));
        COMPARE_TIME(t, T(2024, 1, 1, 0, 0, 0, 500));

        t = T(2024, 2, 28, 23, 30, 0);
        QVERIFY(CPlayHelper::AddGlobalTime(&t, RULER_GRADE_1HOUR));
        COMPARE_TIME(t, T(2024, 2, 29, 0, 30, 0));
        QVERIFY(CPlayHelper::AddGlobalTime(&t, RULER_GRADE_1DAY));
        COMPARE_TIME(t, T(2024, 3, 1, 0, 30, 0));

        t = T(2023, 2, 28, 22, 50, 0);
        QVERIFY(CPlayHelper::AddGlobalTime(&t, RULER_GRADE_2HOUR));
        COMPARE_TIME(t, T(2023, 3, 1, 0, 50, 0));

        t = T(2024, 4, 30, 23, 55, 0);
        QVERIFY(CPlayHelper::AddGlobalTime(&t, RULER_GRADE_10MINUTE));
        COMPARE_TIME(t, T(2024, 5, 1, 0, 5, 0));

        // An invalid time or grade leaves the time as it was.
        TAVRIX_SYSTEM_TIME bad = T(2024, 2, 30);
        QVERIFY(!CPlayHelper::AddGlobalTime(&bad, RULER_GRADE_1SECOND));
        COMPARE_TIME(bad, T(2024, 2, 30));
        t = T(2024, 1, 1);
        QVERIFY(!CPlayHelper::AddGlobalTime(&t, static_cast<RulerGradeType>(99)));
        COMPARE_TIME(t, T(2024, 1, 1));
    }
};

QTEST_GUILESS_MAIN(TestGlobalTime)
#include "tst_global_time.moc"
