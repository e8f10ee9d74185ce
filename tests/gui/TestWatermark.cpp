// The recorder's watermark: the text a recorder writes, the dialog's
// presentation of the record, and clips with and without one in the main dialog.
#include <QAction>
#include <QLabel>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <cstring>

#include "CPlayWnd.h"
#include "CWatermarkDlg.h"
#include "GuiMedia.h"
#include "MainDlgFixture.h"
#include "WatermarkReader.h"

using namespace GuiMedia;
using tavrix::WatermarkReader;
using Record = WatermarkReader::Record;

namespace {

const int kPlayWaitMs = 20000;
const char kSeiText[] = "mac=00-1a-2b-3c-4d-5e;sn=AB1234567;chan=2;time=20260501102030;info=1;type=3";

QByteArray Bytes(const Record& record) {
    return QByteArray(reinterpret_cast<const char*>(record.data()), int(record.size())).toHex();
}

quint32 TimeOf(const Record& record) {
    return quint32(record[0]) | quint32(record[1]) << 8 | quint32(record[2]) << 16 | quint32(record[3]) << 24;
}

bool Parse(const QByteArray& baText, Record* pRecord) {
    return WatermarkReader::ParseText(baText.constData(), size_t(baText.size()), pRecord);
}

quint32 Packed(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond) {
    return quint32(nYear - 2000) << 26 | quint32(nMonth) << 22 | quint32(nDay) << 17 | quint32(nHour) << 12 |
           quint32(nMinute) << 6 | quint32(nSecond);
}

// A record laid out byte by byte, independently of the parser.
Record MakeRecord(quint32 nTime, qint32 nSerial, const QByteArray& baMac, int nType, int nInfo, int nChan,
                  char cMark = 0, const QByteArray& baPrefix = QByteArray()) {
    Record record{};
    for (int i = 0; i < 4; ++i) {
        record[size_t(i)] = uchar(nTime >> (8 * i));
        record[size_t(4 + i)] = uchar(quint32(nSerial) >> (8 * i));
    }
    std::memcpy(&record[8], baMac.constData(), 6);
    record[14] = uchar(nType);
    record[15] = uchar(nInfo);
    record[16] = uchar(nChan);
    record[17] = uchar(cMark);
    std::memcpy(&record[18], baPrefix.constData(), size_t(qMin<qsizetype>(baPrefix.size(), 3)));
    return record;
}

// The six values, in the order MAC, serial, channel, time, information, type.
QStringList Values(const QWidget* pDlg) {
    QStringList lst;
    for (const char* szName : {"Mac", "DeviceSN", "Chan", "GTime", "DeviceInfo", "DeviceType"}) {
        const QLabel* pLabel = pDlg->findChild<QLabel*>(QStringLiteral("m_pLabelValue_") + szName);
        lst << (pLabel ? pLabel->text() : QStringLiteral("<missing>"));
    }
    return lst;
}

const QStringList kEmpty = {"", "", "", "", "", ""};

} // namespace

class TestWatermark : public QObject {
    Q_OBJECT
private slots:
    void parserReadsRecorderText();
    void parserRejectsMalformedText();
    void dialogPresentsRecord();
    void mainDialogShowsWatermarkOfSelectedWindow();
};

void TestWatermark::parserReadsRecorderText() {
    // (The recorder's usual text is read in the main dialog's case below.)
    Record record{};
    // Any order, ':' in the MAC, optional fields left out, an unknown field,
    // a trailing ';' and NUL padding after the text; a leap day.
    const QByteArray baLoose("time=20240229235958;mac=A0:b1:C2:d3:e4:f5;fw=2.1.0;sn=98765;\0\0", 66);
    QVERIFY(Parse(baLoose, &record));
    QCOMPARE(Bytes(record),
             Bytes(MakeRecord(Packed(2024, 2, 29, 23, 59, 58), 98765, "\xa0\xb1\xc2\xd3\xe4\xf5", 0, 0, 0)));

    // Three letters and the largest number; the first and last times the record holds.
    QVERIFY(Parse("mac=00-00-00-00-00-01;sn=xyZ2147483647;time=20000101000000", &record));
    const QByteArray baMacOne("\0\0\0\0\0\1", 6);
    QCOMPARE(Bytes(record),
             Bytes(MakeRecord(Packed(2000, 1, 1, 0, 0, 0), 2147483647, baMacOne, 0, 0, 0, 'X', "xyZ")));
    QVERIFY(Parse("mac=00-00-00-00-00-01;sn=0;time=20631231235959;chan=255", &record));
    QCOMPARE(Bytes(record), Bytes(MakeRecord(Packed(2063, 12, 31, 23, 59, 59), 0, baMacOne, 0, 0, 255)));
}

void TestWatermark::parserRejectsMalformedText() {
    const QByteArray baBase = "mac=00-1a-2b-3c-4d-5e;sn=AB1234567;";
    const QByteArray baMac = "mac=00-1a-2b-3c-4d-5e;", baTime = "time=20260501102030";
    const QList<QByteArray> lstBad = {
        // Empty, or a required field missing.
        "",
        ";",
        baMac + "sn=1",
        "sn=1;" + baTime,
        // Times: month 13, no leap year, April 31, before 2000, 13 digits, another form.
        baBase + "time=20261301102030",
        baBase + "time=20230229102030",
        baBase + "time=20260431102030",
        baBase + "time=19991231235959",
        baBase + "time=2026050110203",
        baBase + "time=2026-05-01 10:20:30",
        // MACs: five bytes, not hex.
        "mac=00-1a-2b-3c-4d;sn=1;" + baTime,
        "mac=00-1a-2b-3c-4d-5g;sn=1;" + baTime,
        // Serials: four letters, beyond 32 bits, letters only.
        baMac + "sn=ABCD1;" + baTime,
        baMac + "sn=2147483648;" + baTime,
        baMac + "sn=AB;" + baTime,
        // A byte beyond 255, an empty value, a field twice, no "=", an
        // upper-case key, and a text beyond 512 bytes.
        baBase + baTime + ";chan=256",
        baBase + baTime + ";type=",
        baBase + baTime + ";" + baTime,
        baBase + baTime + ";info",
        baBase + baTime + ";Info=1",
        baBase + baTime + ";note=" + QByteArray(500, 'x'),
    };
    Record sentinel;
    sentinel.fill(0xee);
    for (const QByteArray& baText : lstBad) {
        Record record = sentinel;
        QVERIFY2(!Parse(baText, &record), baText.left(80).constData());
        QVERIFY2(Bytes(record) == Bytes(sentinel), baText.left(80).constData());
    }

    // Every cut of a good text: only the cuts after the time, after the
    // information field and after either ';' are whole texts.
    const QByteArray baGood = kSeiText;
    int nWhole = 0;
    for (int n = 0; n < baGood.size(); ++n) {
        Record record{};
        if (Parse(baGood.left(n), &record)) {
            ++nWhole;
            QCOMPARE(TimeOf(record), Packed(2026, 5, 1, 10, 20, 30));
        }
    }
    QCOMPARE(nWhole, 4);
}

void TestWatermark::dialogPresentsRecord() {
    CWatermarkDlg dlg;
    QVERIFY(dlg.Init());
    QVERIFY(!dlg.SetWatermarkInfo(nullptr));
    QCOMPARE(Values(&dlg), kEmpty);

    const QByteArray baMac("\x00\x1a\x2b\x3c\x4d\xfe", 6);
    const quint32 nTime = Packed(2026, 5, 1, 9, 5, 7);
    // Two letters leave seven places for the number; the day stands left in two places.
    Record record = MakeRecord(nTime, 123, baMac, 3, 1, 2, 'X', "AB");
    QVERIFY(dlg.SetWatermarkInfo(record.data()));
    QCOMPARE(Values(&dlg),
             (QStringList{"00:1a:2b:3c:4d:fe", "AB0000123", "2", "2026-05-1  09:05:07", "1", "3"}));
    // The letters stop at the first byte that is none.
    record = MakeRecord(nTime, 123, baMac, 3, 1, 2, 'X', QByteArray("Q\0R", 3));
    QVERIFY(dlg.SetWatermarkInfo(record.data()));
    QCOMPARE(Values(&dlg)[1], QStringLiteral("Q00000123"));
    // The mark with no letter after it, and another mark: the plain number.
    record = MakeRecord(nTime, 123, baMac, 3, 1, 2, 'X', "7AB");
    QVERIFY(dlg.SetWatermarkInfo(record.data()));
    QCOMPARE(Values(&dlg)[1], QStringLiteral("123"));
    record = MakeRecord(Packed(2024, 12, 25, 23, 59, 58), 123, baMac, 3, 1, 2, 'Y', "AB");
    QVERIFY(dlg.SetWatermarkInfo(record.data()));
    QCOMPARE(Values(&dlg)[1], QStringLiteral("123"));
    QCOMPARE(Values(&dlg)[3], QStringLiteral("2024-12-25 23:59:58"));
    // A zero time empties what an earlier record filled.
    record = MakeRecord(0, 123, baMac, 3, 1, 2, 'X', "AB");
    QVERIFY(dlg.SetWatermarkInfo(record.data()));
    QCOMPARE(Values(&dlg), kEmpty);
}

void TestWatermark::mainDialogShowsWatermarkOfSelectedWindow() {
    MainDlgFixture fix;
    QVERIFY(fix.Start());
    QAction* pAction = fix.pDlg->findChild<QAction*>(QStringLiteral("m_pActWatermark"));
    QVERIFY(pAction && pAction->isVisible());
    CPlayWnd* pWnd = fix.pStage->GetPlayWnd(0);
    QVERIFY(pWnd);
    auto play = [&](const char* szClip) {
        OpenInfo info = FileInfo(Clip(szClip));
        return fix.pDlg->PlayFileInWnd(0, &info) &&
               QTest::qWaitFor([pWnd] { return pWnd->GetPlayState() == 1 || pWnd->GetPlayState() == 2; },
                               kPlayWaitMs);
    };

    // The record in the stream's SEI.
    QVERIFY(play("wm_sei.ts"));
    pAction->trigger();
    CWatermarkDlg* pDlg = fix.pDlg->findChild<CWatermarkDlg*>();
    QVERIFY(pDlg && pDlg->isVisible() && !pDlg->isModal());
    const QPoint ptCorner = fix.pStage->mapToGlobal(QPoint(0, fix.pStage->height()));
    QCOMPARE(pDlg->frameGeometry().bottomLeft() + QPoint(0, 1), ptCorner);
    const QStringList lstSei = {"00:1a:2b:3c:4d:5e", "AB1234567", "2", "2026-05-1  10:20:30", "1", "3"};
    QTRY_COMPARE_WITH_TIMEOUT(Values(pDlg), lstSei, kPlayWaitMs);

    // Hidden, the dialog reads nothing: with a clip without a watermark the old values stand.
    pDlg->hide();
    QVERIFY(play("h264_aac.mp4"));
    unsigned char aRecord[64];
    std::memset(aRecord, 0xee, sizeof(aRecord));
    QVERIFY(pWnd->GetWatermarkInfo(aRecord));
    QCOMPARE(QByteArray(reinterpret_cast<char*>(aRecord), 64), QByteArray(64, '\0'));
    QSignalSpy spyTick(pDlg->findChild<QTimer*>(), &QTimer::timeout);
    QTRY_VERIFY_WITH_TIMEOUT(spyTick.count() >= 2, 5000);
    QCOMPARE(Values(pDlg), lstSei);
    // Shown again it reads at once: the zero record empties the values.
    pAction->trigger();
    QVERIFY(pDlg->isVisible());
    QCOMPARE(fix.pDlg->findChildren<CWatermarkDlg*>().size(), 1);
    QCOMPARE(Values(pDlg), kEmpty);

    // The record in the container's tag, reported with the first picture.
    QVERIFY(play("wm_tag.mkv"));
    QTRY_COMPARE_WITH_TIMEOUT(
        Values(pDlg), (QStringList{"a0:b1:c2:d3:e4:f5", "98765", "7", "2024-02-29 23:59:58", "4", "9"}),
        kPlayWaitMs);
}

QTEST_MAIN(TestWatermark)
#include "TestWatermark.moc"
