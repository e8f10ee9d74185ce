// The strings of the user interface: a missing instance, a missing key or a
// missing file must always leave the caller's default text, never an empty one.
#include "CLanguageParser.h"
#include "LanguageKeys.h"

#include <QFile>
#include <QRegularExpression>
#include <QtTest>

class TestLanguageParser : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { CLanguageParser::DeleteInstance(); }

    void defaultsWithoutStrings() {
        QString strText = QStringLiteral("stale");
        QVERIFY(!CLanguageParser::FindString(IDS_Global_Information, strText, QStringLiteral("Information")));
        QCOMPARE(strText, QStringLiteral("Information"));
        QCOMPARE(CLanguageParser::CurrentLanguageType(), 1);
        QCOMPARE(CLanguageParser::CurrentLanguageTypeStr(), QStringLiteral("EN"));
        // Strings once loaded go with the instance.
        QVERIFY(CLanguageParser::LoadStringFile(0));
        CLanguageParser::DeleteInstance();
        CLanguageParser::FindString(IDS_Global_Information, strText, QStringLiteral("Information"));
        QCOMPARE(strText, QStringLiteral("Information"));
        // An unknown language loads nothing and leaves nothing of the last one.
        QVERIFY(CLanguageParser::LoadStringFile(0));
        QVERIFY(!CLanguageParser::LoadStringFile(7));
        QVERIFY(!CLanguageParser::FindString(IDS_Global_Information, strText, QStringLiteral("Information")));
        QCOMPARE(strText, QStringLiteral("Information"));
    }

    void loadedLanguageTexts() {
        QVERIFY(CLanguageParser::LoadStringFile(0));
        QCOMPARE(CLanguageParser::CurrentLanguageTypeStr(), QStringLiteral("CN"));
        QString strText;
        QVERIFY(CLanguageParser::FindString(IDS_MYERROR, strText, QStringLiteral("x")));
        QCOMPARE(strText, QString::fromUtf8("密码错误或视频错误"));
        strText = QStringLiteral("stale");
        QVERIFY(!CLanguageParser::FindString(QStringLiteral("IDS_NoSuchKey"), strText, QStringLiteral("Fallback")));
        QCOMPARE(strText, QStringLiteral("Fallback"));
        // Switching replaces the strings.
        QVERIFY(CLanguageParser::LoadStringFile(1));
        QVERIFY(CLanguageParser::FindString(IDS_MainWnd_PlayFail, strText, QString()));
        QCOMPARE(strText, QStringLiteral("Playing failed."));
        // Keys whose calls carry two different English texts are not in the
        // English file, so that each call keeps its own text.
        QVERIFY(!CLanguageParser::FindString(IDS_PlaySetDlg_Warn_InputTime, strText,
                                             QStringLiteral("Please set the time.")));
        QCOMPARE(strText, QStringLiteral("Please set the time."));
    }

    // Every key of the key table has a Chinese text, so a Chinese user never sees
    // an English default.
    void chineseCoversEveryKey() {
        QFile file(QStringLiteral(VELQUIN_SOURCE_DIR "/components/LanguageKeys.h"));
        QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
        const QString strHeader = QString::fromUtf8(file.readAll());
        static const QRegularExpression re(QStringLiteral("#define\\s+(IDS_\\w+)\\s+\"(\\w+)\""));
        QVERIFY(CLanguageParser::LoadStringFile(0));
        int nKeys = 0;
        QStringList missing;
        for (auto it = re.globalMatch(strHeader); it.hasNext(); ++nKeys) {
            const QRegularExpressionMatch m = it.next();
            QCOMPARE(m.captured(1), m.captured(2)); // the value of a key is its own name
            QString strText;
            if (!CLanguageParser::FindString(m.captured(2), strText, QString()) || strText.isEmpty())
                missing << m.captured(2);
        }
        QVERIFY(nKeys >= 242);
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(QLatin1Char(' '))));
    }
};

QTEST_GUILESS_MAIN(TestLanguageParser)
#include "tst_language_parser.moc"
