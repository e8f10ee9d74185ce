// GlobalConfig.xml and GlobalLanguageConfig.xml: what is written at exit must come
// back at the next start, and a damaged file must be reported, not half read.
#include "GlobalCfgHelper.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {

bool WriteText(const QString& strPath, const QByteArray& baText) {
    QFile f(strPath);
    return f.open(QIODevice::WriteOnly) && f.write(baText) == baText.size();
}

} // namespace

class TestGlobalCfg : public QObject {
    Q_OBJECT

private slots:
    void RoundTrip() {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        // The program folder may have a Chinese name.
        QVERIFY(QDir(dir.path()).mkdir(QString::fromUtf8("播放器")));
        const QString strPath = dir.filePath(QString::fromUtf8("播放器/GlobalConfig.xml"));
        AllGlobalConfig cfg;
        cfg.nLanguage = 0;
        cfg.nSkinIndex = 3;
        cfg.vecLanguages = {{1, QStringLiteral("English")},
                            {0, QString::fromUtf8("简体中文")},
                            {7, QStringLiteral("A & <B>")}};
        QVERIFY(GlobalCfgHelper::WriteConfigFile(strPath, &cfg));

        AllGlobalConfig back;
        QCOMPARE(back.nLanguage, -1);
        QVERIFY(GlobalCfgHelper::ReadConfigFile(strPath, &back));
        QCOMPARE(back.nLanguage, 0);
        QCOMPARE(back.nSkinIndex, 3);
        QCOMPARE(int(back.vecLanguages.size()), 3);
        QCOMPARE(back.vecLanguages[1].nLanguageId, 0);
        QCOMPARE(back.vecLanguages[1].strLanguageName, QString::fromUtf8("简体中文"));
        QCOMPARE(back.vecLanguages[2].strLanguageName, QStringLiteral("A & <B>"));

        // Writing again replaces the file as a whole.
        cfg.nLanguage = 1;
        cfg.vecLanguages.clear();
        QVERIFY(GlobalCfgHelper::WriteConfigFile(strPath, &cfg));
        AllGlobalConfig again;
        QVERIFY(GlobalCfgHelper::ReadConfigFile(strPath, &again));
        QCOMPARE(again.nLanguage, 1);
        QVERIFY(again.vecLanguages.empty());
    }

    void ShippedLanguageList() {
        AllGlobalConfig cfg;
        cfg.nLanguage = 1;
        QVERIFY(GlobalCfgHelper::ReadConfigFile(
            QStringLiteral(VELQUIN_SOURCE_DIR "/Resources/GlobalLanguageConfig.xml"), &cfg));
        QCOMPARE(cfg.nLanguage, 1); // the list file holds no language choice
        QCOMPARE(int(cfg.vecLanguages.size()), 2);
        QCOMPARE(cfg.vecLanguages[0].nLanguageId, 1);
        QCOMPARE(cfg.vecLanguages[0].strLanguageName, QStringLiteral("English"));
        QCOMPARE(cfg.vecLanguages[1].nLanguageId, 0);
        QCOMPARE(cfg.vecLanguages[1].strLanguageName, QString::fromUtf8("简体中文"));
    }

    void BadFilesAreRefused_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("truncated") << QByteArray("<?xml version=\"1.0\"?>\n<GlobalConfig><Language>0</Lang");
        QTest::newRow("not xml") << QByteArray("Language=0\nSkin=1\n");
        QTest::newRow("other root") << QByteArray("<PlayerConfig><Language>0</Language></PlayerConfig>");
        QTest::newRow("language not a number")
            << QByteArray("<GlobalConfig><Language>zero</Language></GlobalConfig>");
        QTest::newRow("skin with junk") << QByteArray("<GlobalConfig><Skin>1x</Skin></GlobalConfig>");
        QTest::newRow("item without type") << QByteArray(
            "<GlobalConfig><LanguageList><Item name=\"English\"/></LanguageList></GlobalConfig>");
    }
    void BadFilesAreRefused() {
        QFETCH(QByteArray, content);
        QTemporaryDir dir;
        const QString strPath = dir.filePath(QStringLiteral("GlobalConfig.xml"));
        QVERIFY(WriteText(strPath, content));
        AllGlobalConfig cfg;
        cfg.nLanguage = -1;
        cfg.nSkinIndex = 5;
        cfg.vecLanguages = {{1, QStringLiteral("English")}};
        QVERIFY(!GlobalCfgHelper::ReadConfigFile(strPath, &cfg));
        // The caller's record is left as it was.
        QCOMPARE(cfg.nLanguage, -1);
        QCOMPARE(cfg.nSkinIndex, 5);
        QCOMPARE(int(cfg.vecLanguages.size()), 1);
    }

    void MissingFileAndFolder() {
        QTemporaryDir dir;
        AllGlobalConfig cfg;
        QVERIFY(!GlobalCfgHelper::ReadConfigFile(dir.filePath(QStringLiteral("GlobalConfig.xml")), &cfg));
        QVERIFY(!GlobalCfgHelper::ReadConfigFile(dir.filePath(QStringLiteral("GlobalConfig.xml")), nullptr));
        QVERIFY(!GlobalCfgHelper::WriteConfigFile(
            dir.filePath(QStringLiteral("no/such/folder/GlobalConfig.xml")), &cfg));
    }

    void PartialFileKeepsOtherFields() {
        QTemporaryDir dir;
        const QString strPath = dir.filePath(QStringLiteral("GlobalConfig.xml"));
        QVERIFY(WriteText(strPath,
                          "<?xml version=\"1.0\"?>\n<GlobalConfig>\n  <Skin> 2 </Skin>\n</GlobalConfig>\n"));
        AllGlobalConfig cfg;
        QVERIFY(GlobalCfgHelper::ReadConfigFile(strPath, &cfg));
        QCOMPARE(cfg.nLanguage, -1); // absent: "not read", the caller decides
        QCOMPARE(cfg.nSkinIndex, 2);
    }
};

QTEST_GUILESS_MAIN(TestGlobalCfg)
#include "tst_global_cfg.moc"
