// Narrow (GB18030) text and path helpers. The play window hands file paths to the
// playback library as GB18030 bytes in a fixed buffer; a Chinese path must survive
// the trip and a path that does not fit must be refused, not cut.
#include "CPlayHelper.h"

#include <QDir>
#include <QLabel>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <cstring>
#include <cwchar>

class TestPlayHelperText : public QObject {
    Q_OBJECT

private slots:
    void chinesePathRoundTrip() {
        // GB18030 encodes each of these Chinese characters in two bytes; the
        // character outside the basic plane in four.
        const QString strPath = QString::fromUtf8("D:/录像/通道01/监控_2024年3月15日𠀀.mp4");
        char szBuf[1040];
        QVERIFY(CPlayHelper::UnicodeToAscii(strPath, szBuf, sizeof(szBuf)));
        const int nChinese =
            int(std::count_if(strPath.begin(), strPath.end(), [](QChar c) { return c.unicode() > 0x7F; }));
        QCOMPARE(std::strlen(szBuf), size_t(strPath.size() + nChinese));
        QCOMPARE(CPlayHelper::AsciiToUnicode(szBuf), strPath);
        wchar_t wszBuf[1024];
        QVERIFY(CPlayHelper::AsciiToUnicode(szBuf, wszBuf, 1024));
        QCOMPARE(QString::fromWCharArray(wszBuf), strPath);
    }

    void tooSmallBufferIsRefused() {
        const QString strPath = QString::fromUtf8("录像.mp4"); // 4 + 4 bytes, plus the terminator
        char szBuf[9];
        std::memset(szBuf, 'x', sizeof(szBuf));
        QVERIFY(!CPlayHelper::UnicodeToAscii(strPath, szBuf, 8));
        QCOMPARE(szBuf[0], '\0'); // no half path left behind
        QCOMPARE(szBuf[8], 'x');  // nothing written past the given size
        QVERIFY(CPlayHelper::UnicodeToAscii(strPath, szBuf, 9));
        QCOMPARE(CPlayHelper::AsciiToUnicode(szBuf), strPath);

        wchar_t wszBuf[7];
        QVERIFY(!CPlayHelper::AsciiToUnicode(szBuf, wszBuf, 6)); // 6 characters need 7
        QCOMPARE(wszBuf[0], L'\0');
        QVERIFY(CPlayHelper::AsciiToUnicode(szBuf, wszBuf, 7));
        QCOMPARE(QString::fromWCharArray(wszBuf), strPath);
        QVERIFY(!CPlayHelper::UnicodeToAscii(strPath, nullptr, 100));
        QVERIFY(!CPlayHelper::UnicodeToAscii(strPath, szBuf, 0));
    }

    void pathParts_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("folder");
        QTest::newRow("slashes") << "/data/rec/a.mp4" << "a.mp4" << "/data/rec";
        QTest::newRow("backslashes") << "C:\\rec\\b.ts" << "b.ts" << "C:\\rec";
        QTest::newRow("mixed") << "C:\\rec/day 1\\c.avi" << "c.avi" << "C:\\rec/day 1";
        QTest::newRow("name only") << "d.mkv" << "d.mkv" << "";
        QTest::newRow("root") << "/e.mp4" << "e.mp4" << "/";
        QTest::newRow("chinese") << QString::fromUtf8("/录像/通道.mp4") << QString::fromUtf8("通道.mp4")
                                 << QString::fromUtf8("/录像");
    }
    void pathParts() {
        QFETCH(QString, path);
        QFETCH(QString, name);
        QFETCH(QString, folder);
        QCOMPARE(CPlayHelper::GetFileNameFormPath(path), name);
        QCOMPARE(CPlayHelper::GetFolderFromPath(path), folder);
    }

    void linkFolderAndFileName() {
        QCOMPARE(CPlayHelper::LinkFolderAndFileName("/opt/app", "PlayerConfig.xml"),
                 QString("/opt/app/PlayerConfig.xml"));
        QCOMPARE(CPlayHelper::LinkFolderAndFileName("/opt/app//", "/x.xml"), QString("/opt/app/x.xml"));
        QCOMPARE(CPlayHelper::LinkFolderAndFileName("C:\\app\\", "x.xml"), QString("C:\\app/x.xml"));
        QCOMPARE(CPlayHelper::LinkFolderAndFileName("/", "x.xml"), QString("/x.xml"));
        QCOMPARE(CPlayHelper::LinkFolderAndFileName("", "x.xml"), QString("x.xml"));
    }

    void filesOnDisk() {
        QTemporaryDir dir;
        const QString strFile = dir.filePath(QString::fromUtf8("片段.bin"));
        {
            QFile f(strFile);
            QVERIFY(f.open(QIODevice::WriteOnly) && f.write(QByteArray(1234, 'a')) == 1234);
        }
        bool bExist = false;
        QVERIFY(CPlayHelper::IsFileExist(strFile, &bExist) && bExist);
        QVERIFY(!CPlayHelper::IsFileExist(dir.path(), &bExist)); // a folder is not a file
        QVERIFY(!CPlayHelper::IsFileExist(dir.filePath("none.mp4"), &bExist));
        QVERIFY(!bExist);
        unsigned long long nSize = 0;
        QVERIFY(CPlayHelper::GetFileDiskSize(strFile, nSize));
        QCOMPARE(nSize, 1234ull);
        QVERIFY(!CPlayHelper::GetFileDiskSize(dir.filePath("none.mp4"), nSize));

        // The capture folder may not exist yet: its disk's free space counts.
        unsigned long long nFree = 0;
        QVERIFY(CPlayHelper::GetDiskFreeSpaceW(dir.filePath("capture/2024"), &nFree));
        QVERIFY(nFree > 0);
        QVERIFY(!CPlayHelper::GetDiskFreeSpaceW(QString(), &nFree));
    }

    void elidedLabelText() {
        QLabel label;
        label.setFixedWidth(60);
        const QString strLong = QStringLiteral("a_very_long_recording_name_from_channel_01.mp4");
        CPlayHelper::SetTextLabelElidedText(&label, strLong);
        QVERIFY(label.text().endsWith(QChar(0x2026)));
        QVERIFY(label.fontMetrics().horizontalAdvance(label.text()) <= 60);
        CPlayHelper::SetTextLabelElidedText(&label, QStringLiteral("a.mp4"));
        QCOMPARE(label.text(), QStringLiteral("a.mp4"));
    }
};

QTEST_MAIN(TestPlayHelperText)
#include "tst_play_helper_text.moc"
