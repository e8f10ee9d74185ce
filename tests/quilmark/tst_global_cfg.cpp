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

QStringList Languages(const AllGlobalConfig& cfg) {
    QStringList lst;
    for (const auto& language : cfg.vecLanguages)
        lst << QStringLiteral("%1 %2").arg(language.nLanguageId).arg(language.strLanguageName);
    return lst;
}

} // namespace

class TestGlobalCfg : public QObject {
    Q_OBJECT

private slots:
    void roundTrip() {
        QTemporaryDir dir;
        // The program folder may have a Chinese name.
        QVERIFY(QDir(dir.path()).mkdir(QString::fromUtf8("播放器")));
        const QString strPath = dir.filePath(QString::fromUtf8("播放器/GlobalConfig.xml"));
        AllGlobalConfig cfg;
        cfg.nLanguage = 0;
        cfg.nSkinIndex = 3;
        cfg.vecLanguages = {{1, QStringLiteral("English")}, {0, QString::fromUtf8("简体中文")}, {7, "A & <B>"}};
        QVERIFY(GlobalCfgHelper::WriteConfigFile(strPath, &cfg));
        AllGlobalConfig back;
        QVERIFY(GlobalCfgHelper::ReadConfigFile(strPath, &back));
        QCOMPARE(back.nLanguage, 0);
        QCOMPARE(back.nSkinIndex, 3);
        QCOMPARE(Languages(back), Languages(cfg));

        // Writing again replaces the file as a whole.
        cfg.nLanguage = 1;
        cfg.vecLanguages.clear();
        QVERIFY(GlobalCfgHelper::WriteConfigFile(strPath, &cfg));
        AllGlobalConfig again;
        QVERIFY(GlobalCfgHelper::ReadConfigFile(strPath, &again));
        QCOMPARE(again.nLanguage, 1);
        QVERIFY(again.vecLanguages.empty());
        QVERIFY(!GlobalCfgHelper::WriteConfigFile(dir.filePath("no/such/folder/GlobalConfig.xml"), &cfg));
    }

    void shippedLanguageList() {
        AllGlobalConfig cfg;
        cfg.nLanguage = 1;
        QVERIFY(GlobalCfgHelper::ReadConfigFile(
            QStringLiteral(VELQUIN_SOURCE_DIR "/Resources/GlobalLanguageConfig.xml"), &cfg));
        QCOMPARE(cfg.nLanguage, 1); // the list file holds no language choice
        QCOMPARE(Languages(cfg), (QStringList{"1 English", QString::fromUtf8("0 简体中文")}));
    }

    void partialFileKeepsOtherFields() {
        QTemporaryDir dir;
        const QString strPath = dir.filePath(QStringLiteral("GlobalConfig.xml"));
        QVERIFY(!GlobalCfgHelper::ReadConfigFile(strPath, nullptr));
        QVERIFY(WriteText(strPath, "<?xml version=\"1.0\"?>\n<GlobalConfig>\n  <Skin> 2 </Skin>\n</GlobalConfig>\n"));
        AllGlobalConfig cfg;
        QVERIFY(GlobalCfgHelper::ReadConfigFile(strPath, &cfg));
        QCOMPARE(cfg.nLanguage, -1); // absent: "not read", the caller decides
        QCOMPARE(cfg.nSkinIndex, 2);
    }

    void badFilesAreRefused_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("missing") << QByteArray("missing");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("truncated") << QByteArray("<?xml version=\"1.0\"?>\n<GlobalConfig><Language>0</Lang");
        QTest::newRow("not xml") << QByteArray("Language=0\nSkin=1\n");
        QTest::newRow("other root") << QByteArray("<PlayerConfig><Language>0</Language></PlayerConfig>");
        QTest::newRow("language not a number") << QByteArray("<GlobalConfig><Language>zero</Language></GlobalConfig>");
        QTest::newRow("skin with junk") << QByteArray("<GlobalConfig><Skin>1x</Skin></GlobalConfig>");
        QTest::newRow("item without type")
            << QByteArray("<GlobalConfig><LanguageList><Item name=\"English\"/></LanguageList></GlobalConfig>");
    }
    void badFilesAreRefused() {
        QFETCH(QByteArray, content);
        QTemporaryDir dir;
        const QString strPath = dir.filePath(QStringLiteral("GlobalConfig.xml"));
        if (content != "missing")
            QVERIFY(WriteText(strPath, content));
        AllGlobalConfig cfg;
        cfg.nLanguage = -1;
        cfg.nSkinIndex = 5;
        cfg.vecLanguages = {{1, QStringLiteral("English")}};
        QVERIFY(!GlobalCfgHelper::ReadConfigFile(strPath, &cfg));
        // The caller's record is left as it was.
        QCOMPARE(cfg.nLanguage, -1);
        QCOMPARE(cfg.nSkinIndex, 5);
        QCOMPARE(Languages(cfg), QStringList{"1 English"});
    }
};

QTEST_GUILESS_MAIN(TestGlobalCfg)
#include "tst_global_cfg.moc"
