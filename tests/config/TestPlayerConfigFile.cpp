// The configuration store: round trips, damaged files cost only defaults, writes are whole.
#include "CPlayerConfigFile.h"
#include "ConfigSamples.h"
#include "XmlNesting.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include <tinyxml.h>

using ConfigSamples::FirstDifference;
using ConfigSamples::MakeFull;

namespace {

QByteArray Gb18030(const QString& strText) { return QTextCodec::codecForName("GB18030")->fromUnicode(strText); }

QByteArray ReadRaw(const QString& strPath) {
    QFile file(strPath);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool WriteRaw(const QString& strPath, const QByteArray& baData) {
    QFile file(strPath);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(baData) == baData.size();
}

PlayerConfig Defaults() {
    PlayerConfig cfg;
    CPlayerConfigFile::SetDefaults(&cfg, QStringLiteral("/opt/velquin"));
    return cfg;
}

// Elements nested nDepth deep: <a><a>...</a></a>.
QByteArray Nested(int nDepth, const QByteArray& baInner = QByteArray()) {
    return QByteArray("<a>").repeated(nDepth) + baInner + QByteArray("</a>").repeated(nDepth);
}

// The deepest nesting of the tree TinyXML builds; -1 when it does not parse.
int TinyXmlDepth(const QByteArray& baText) {
    TiXmlDocument doc;
    doc.Parse(baText.constData(), nullptr, TIXML_ENCODING_LEGACY);
    if (doc.Error())
        return -1;
    int nDeepest = 0;
    QList<QPair<const TiXmlNode*, int>> stack{{&doc, 0}};
    while (!stack.isEmpty()) {
        const auto [pNode, nDepth] = stack.takeLast();
        nDeepest = qMax(nDeepest, nDepth);
        for (const TiXmlElement* pChild = pNode->FirstChildElement(); pChild;
             pChild = pChild->NextSiblingElement())
            stack.append({pChild, nDepth + 1});
    }
    return nDeepest;
}

} // namespace

// The file at Path() reads back as cfgExpected.
#define VERIFY_READS_AS(cfgExpected)                                                                         \
    do {                                                                                                     \
        PlayerConfig cfgRead_ = Defaults();                                                                  \
        QVERIFY(m_store.ReadPlayerConfig(Path(), &cfgRead_));                                                \
        const QString strDiff_ = FirstDifference(cfgRead_, cfgExpected);                                     \
        QVERIFY2(strDiff_.isEmpty(), qPrintable(strDiff_));                                                  \
    } while (false)

class TestPlayerConfigFile : public QObject {
    Q_OBJECT

    QString Path() const { return m_pDir->filePath(QStringLiteral("PlayerConfig.xml")); }

    CPlayerConfigFile m_store;
    std::unique_ptr<QTemporaryDir> m_pDir;

private slots:
    void initTestCase() {
        QVERIFY(QTextCodec::codecForName("GB18030"));
        QStandardPaths::setTestModeEnabled(true); // the fallback folder must not touch the user's own
    }

    void init() {
        // A Chinese folder name: the file name itself must survive too.
        m_pDir = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/配置-XXXXXX"));
        QVERIFY(m_pDir->isValid());
    }

    void roundTripKeepsEveryField() {
        for (int nVariant : {0, 1}) {
            PlayerConfig cfgOut = MakeFull(nVariant);
            QVERIFY(m_store.WritePlayerConfig(Path(), &cfgOut));
            VERIFY_READS_AS(cfgOut);
            // Writing what was read gives the same bytes: nothing drifts from run to run.
            PlayerConfig cfgIn = Defaults();
            QVERIFY(m_store.ReadPlayerConfig(Path(), &cfgIn));
            const QByteArray baFirst = ReadRaw(Path());
            QVERIFY(m_store.WritePlayerConfig(Path(), &cfgIn));
            QCOMPARE(ReadRaw(Path()), baFirst);
        }
    }

    void writtenFileLayout() {
        // A first start in a fresh folder: all sections, the lists as empty elements.
        PlayerConfig cfg = Defaults();
        cfg.strCapPicFolder = QStringLiteral("/录像/截图");
        QVERIFY(m_store.WritePlayerConfig(Path(), &cfg));
        const QByteArray baRaw = ReadRaw(Path());
        QVERIFY(baRaw.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>"));
        for (const char* pPart : {"<PlaylistFiles />", "<URLRecords />", "<FileCutToolConfig>",
                                  "<Fast>83886100</Fast>", "<SartHardDecodeEngine>0</SartHardDecodeEngine>"})
            QVERIFY2(baRaw.contains(pPart), pPart);
        // Files written before keep RepeatAB ahead of Exit.
        QVERIFY(baRaw.indexOf("<RepeatAB>") < baRaw.indexOf("<Exit>"));
        // Text is Gb18030 whatever the declaration says.
        QVERIFY(baRaw.contains("<CapPicFolder>" + Gb18030(cfg.strCapPicFolder) + "</CapPicFolder>"));
        QVERIFY(!baRaw.contains(cfg.strCapPicFolder.toUtf8()));
    }

    void missingFileLeavesRecord() {
        PlayerConfig cfg = MakeFull(1);
        QVERIFY(!m_store.ReadPlayerConfig(Path(), &cfg));
        QVERIFY(FirstDifference(cfg, MakeFull(1)).isEmpty());
        QVERIFY(!QFile::exists(Path() + QStringLiteral(".bad")));
        QVERIFY(!m_store.ReadPlayerConfig(QString(), &cfg));
    }

    void damagedFileIsKeptAside_data() {
        QTest::addColumn<QByteArray>("baData");
        QTemporaryDir dir;
        PlayerConfig cfg = MakeFull(0);
        const QString strPath = dir.filePath(QStringLiteral("full.xml"));
        QVERIFY(m_store.WritePlayerConfig(strPath, &cfg));
        const QByteArray baFull = ReadRaw(strPath);
        QByteArray baRandom(4096, '\0');
        QRandomGenerator rng(20261123);
        for (char& c : baRandom)
            c = char(rng.bounded(256));

        QTest::newRow("truncated") << baFull.left(baFull.size() / 2);
        QTest::newRow("cut in the last end tag") << baFull.left(baFull.size() - 4);
        QTest::newRow("random bytes") << baRandom;
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("declaration only") << QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n");
        QTest::newRow("plain text") << QByteArray("language=1\nskin=0\n");
        // TinyXML recurses once per level: parsed, these would overflow the stack.
        QTest::newRow("nested 100000 deep") << Nested(100000);
        QTest::newRow("nested 100000 deep inside a good file")
            << QByteArray(baFull).replace("<URLRecords>", "<URLRecords>" + Nested(100000));
        QTest::newRow("unclosed, 100000 deep") << QByteArray("<Config>") + QByteArray("<a>").repeated(100000);
        // Well-formed, but past any file the player writes.
        QTest::newRow("larger than 4 MiB") << QByteArray(baFull).replace(
            "<Config>", "<Config><!--" + QByteArray(4 * 1024 * 1024, 'x') + "-->");
    }
    void damagedFileIsKeptAside() {
        QFETCH(QByteArray, baData);
        const QString strBad = Path() + QStringLiteral(".bad");
        QVERIFY(WriteRaw(strBad, "an older damaged file"));
        QVERIFY(WriteRaw(Path(), baData));
        PlayerConfig cfg = Defaults();
        QVERIFY(!m_store.ReadPlayerConfig(Path(), &cfg));
        QVERIFY2(FirstDifference(cfg, Defaults()).isEmpty(), qPrintable(FirstDifference(cfg, Defaults())));
        QVERIFY(!QFile::exists(Path()));
        QCOMPARE(ReadRaw(strBad), baData);

        // The next exit writes a good file, even over a damaged one, and keeps the kept one.
        PlayerConfig cfgOut = MakeFull(1);
        QVERIFY(m_store.WritePlayerConfig(Path(), &cfgOut));
        VERIFY_READS_AS(cfgOut);
        QVERIFY(WriteRaw(Path(), "<Config><Player"));
        QVERIFY(m_store.WritePlayerConfig(Path(), &cfgOut));
        QCOMPARE(ReadRaw(strBad), baData);
    }

    void readsWhatIsThereAndKeepsTheRest() {
        // Another root, sections reordered, unknown and missing elements, an item
        // without a path, an encrypted item without a key, a number with junk.
        const QString strXml = QStringLiteral(
            "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n"
            "<Settings>\n"
            "  <Unknown><Language>5</Language></Unknown>\n"
            "  <PlaylistFiles>\n"
            "    <Item><MediaType>2</MediaType><Port>9</Port></Item>\n"
            "    <Other><FilePath>/dropped.mp4</FilePath></Other>\n"
            "    <Item><IsEncrypt>1</IsEncrypt><FilePath>/视频/加密.mp4</FilePath><Port>8000</Port></Item>\n"
            "  </PlaylistFiles>\n"
            "  <PlayerSetting>\n"
            "    <CapPic><ConCapPicGap>12abc</ConCapPicGap></CapPic>\n"
            "    <HotKeys><Bogus>1</Bogus><Fast>83886100</Fast></HotKeys>\n"
            "    <Common><Skin>3</Skin><SartHardDecodeEngine>2</SartHardDecodeEngine>"
            "<KeepPlayProgress></KeepPlayProgress></Common>\n"
            "  </PlayerSetting>\n"
            "  <URLRecords><Item><URL></URL></Item><Item><URL>rtsp://摄像机/1</URL></Item></URLRecords>\n"
            "</Settings>\n");
        QVERIFY(WriteRaw(Path(), Gb18030(strXml)));

        PlayerConfig cfg = Defaults();
        cfg.nLanguage = 9;
        cfg.bKeepPlayProgress = true;
        cfg.stHotKeys.nFast = 1;
        QVERIFY(m_store.ReadPlayerConfig(Path(), &cfg));

        PlayerConfig cfgExpected = Defaults();
        cfgExpected.nLanguage = 9;             // only inside an unknown section
        cfgExpected.bKeepPlayProgress = false; // element without text reads as 0
        cfgExpected.nSkin = 3;
        cfgExpected.bStartHardDecodeEngine = true;
        cfgExpected.nConCapPicGap = 12;
        cfgExpected.stHotKeys.nFast = 0x05000014;
        PlaylistFileCfg stEntry;
        stEntry.strFilePath = QStringLiteral("/视频/加密.mp4");
        stEntry.bIsEncrypt = true;
        stEntry.nPort = 8000;
        cfgExpected.lstPlaylistFiles.append(stEntry);
        cfgExpected.lstURLRecords.append(QStringLiteral("rtsp://摄像机/1"));
        const QString strDiff = FirstDifference(cfg, cfgExpected);
        QVERIFY2(strDiff.isEmpty(), qPrintable(strDiff));

        // The next write puts the usual root in place.
        QVERIFY(m_store.WritePlayerConfig(Path(), &cfg));
        QVERIFY(ReadRaw(Path()).contains("<Config>") && !ReadRaw(Path()).contains("Settings"));
    }

    void mainWindowValuesOutOfRangeFallBack_data() {
        QTest::addColumn<QByteArray>("baMainWnd");
        QTest::addColumn<int>("nPlayWndNum");
        QTest::addColumn<int>("nVolume");
        QTest::addColumn<QRect>("rcMainDlg");
        QTest::newRow("all good") << QByteArray("<PlayWndNum>9</PlayWndNum><Volume>200</Volume><X>-1900</X>"
                                                "<Y>20</Y><Width>1000</Width><Height>600</Height>")
                                  << 9 << 200 << QRect(-1900, 20, 1000, 600);
        // Each of these falls back to 1 window, volume 50 and no geometry.
        const char* aBad[][2] = {
            {"layout not a grid, volume past boost", "<PlayWndNum>6</PlayWndNum><Volume>201</Volume>"},
            {"negative volume, layout 0", "<PlayWndNum>0</PlayWndNum><Volume>-1</Volume>"},
            {"geometry without height", "<X>10</X><Y>10</Y><Width>1000</Width>"},
            {"zero size (nothing was stored)", "<X>0</X><Y>0</Y><Width>0</Width><Height>0</Height>"},
            {"negative size", "<X>0</X><Y>0</Y><Width>-900</Width><Height>600</Height>"},
            {"text for numbers", "<PlayWndNum>four</PlayWndNum><Volume>loud</Volume>"},
            {"absurd position", "<X>-2147483648</X><Y>0</Y><Width>900</Width><Height>600</Height>"},
            {"empty and wrapped numbers", "<PlayWndNum/><Volume>4294967306</Volume>"}};
        for (const auto& bad : aBad)
            QTest::newRow(bad[0]) << QByteArray(bad[1]) << 1 << 50 << QRect();
    }
    void mainWindowValuesOutOfRangeFallBack() {
        QFETCH(QByteArray, baMainWnd);
        QFETCH(int, nPlayWndNum);
        QFETCH(int, nVolume);
        QFETCH(QRect, rcMainDlg);
        // A bad value costs that value only: the rest of the file is read.
        QVERIFY(WriteRaw(Path(), "<Config><PlayerSetting><MainWnd>" + baMainWnd +
                                     "<Mute>1</Mute></MainWnd><Common><Skin>3</Skin></Common>"
                                     "</PlayerSetting></Config>"));
        PlayerConfig cfg = Defaults();
        QVERIFY(m_store.ReadPlayerConfig(Path(), &cfg));
        QCOMPARE(cfg.nSkin, 3);
        QVERIFY(cfg.bMute);
        QCOMPARE(cfg.nPlayWndNum, nPlayWndNum);
        QCOMPARE(cfg.nVolume, nVolume);
        QCOMPARE(cfg.rcMainDlg, rcMainDlg);
    }

    void deepOrLargeFilesWithinLimitsAreRead() {
        // Unknown elements nested 60 deep and a 3 MB comment: within the limits, read.
        PlayerConfig cfgOut = MakeFull(1);
        QVERIFY(m_store.WritePlayerConfig(Path(), &cfgOut));
        QByteArray baData = ReadRaw(Path());
        baData.replace("<URLRecords>", "<URLRecords>" + Nested(60, "<URL>not a record</URL>"));
        baData.replace("<Config>",
                       "<Config><!--" + QByteArray(3 * 1024 * 1024, '-').replace("--", "- ") + "-->");
        QVERIFY(WriteRaw(Path(), baData));
        VERIFY_READS_AS(cfgOut);
        QVERIFY(!QFile::exists(Path() + QStringLiteral(".bad")));

        // The same from bytes, without a file.
        PlayerConfig cfgData = Defaults();
        QVERIFY(CPlayerConfigFile::ReadConfigData(baData, &cfgData));
        QVERIFY(FirstDifference(cfgData, cfgOut).isEmpty());
        QString strWhy;
        QVERIFY(!CPlayerConfigFile::ReadConfigData(Nested(65), &cfgData, &strWhy));
        QVERIFY2(strWhy.contains(QStringLiteral("nested")), qPrintable(strWhy));
    }

    void nestingScanNeverBelowTinyXml_data() {
        QTest::addColumn<QByteArray>("baText");
        QTest::addColumn<int>("nDepth"); // what TinyXML builds; -1 when it fails
        QTest::newRow("plain") << QByteArray("<a><b><c/></b><b></b></a>") << 3;
        QTest::newRow("declaration, doctype, comment")
            << QByteArray("<?xml version=\"1.0\" ?><!DOCTYPE a><!-- <a><a> --><a><b></b></a>") << 2;
        QTest::newRow("end tags in a comment") << QByteArray("<a><!-- </a></a> --><b><c></c></b></a>") << 3;
        QTest::newRow("end tags in CDATA") << QByteArray("<a><![CDATA[</a></a>]]><b><c></c></b></a>") << 3;
        QTest::newRow("'/>' in a quoted value") << QByteArray("<a x=\"/>\"><b y='/>'><c></c></b></a>") << 3;
        QTest::newRow("'>' and end tags in a value") << QByteArray("<a x=\"></a></a>\"><b></b></a>") << 2;
        QTest::newRow("the other quote in a value")
            << QByteArray("<a x=\"it's\"><b y='\"'><c/></b></a>") << 3;
        QTest::newRow("bare values") << QByteArray("<a x=1 y=2><b z=3/><b z=4></b></a>") << 2;
        QTest::newRow("end tags in the declaration's version")
            << QByteArray("<?xml version=\"</a></a>\" ?><a><b><c></c></b></a>") << 3;
        QTest::newRow("declaration inside an element")
            << QByteArray("<a><?xml version='</a>'?><b></b></a>") << 2;
        QTest::newRow("unknown node inside an element") << QByteArray("<a><!x </a> ><b><c/></b></a>") << 3;
        QTest::newRow("high bytes in names")
            << QByteArray("<\xb1\xea\xcc\xe2><\xc3\xfb></\xc3\xfb></\xb1\xea\xcc\xe2>") << 2;
        QTest::newRow("blank before '>' of an end tag") << QByteArray("<a><b></b ><b></b></a >") << 2;
        QTest::newRow("text after the root") << QByteArray("<a></a> text <b><c></c></b>") << 1;
        // Broken: TinyXML stops at the first error, the scan goes no deeper than it.
        QTest::newRow("wrong end tag") << QByteArray("<a><b></a><c><d></d></c></b>") << -1;
        QTest::newRow("quote in a bare value") << QByteArray("<a x=1\"><b></b></a>") << -1;
        QTest::newRow("unclosed") << QByteArray("<a><b><c>") << -1;
    }
    void nestingScanNeverBelowTinyXml() {
        QFETCH(QByteArray, baText);
        QFETCH(int, nDepth);
        QCOMPARE(TinyXmlDepth(baText), nDepth);
        const int nScanned = XmlNesting::Deepest(baText.constData(), 64);
        if (nDepth >= 0)
            QCOMPARE(nScanned, nDepth); // exact where TinyXML parses, so no good file is refused
        else
            QVERIFY(nScanned >= 0 && nScanned <= 64);
    }

    void deepNestingBehindMarkupIsFound() {
        // Stack-overflowing nesting behind markup that hides end tags from a careless scan.
        for (const char* pOpen : {"<a x=\"/>\">", "<a><!-- </a> -->", "<a><![CDATA[</a>]]>", "<a x='\"'>",
                                  "<a><?xml version='</a>'?>", "<a x=\"></a>\">", "<a><!x </a> >"})
            QVERIFY2(XmlNesting::Deepest(QByteArray(pOpen).repeated(100000).constData(), 64) == 65, pOpen);
    }

    void clipToolFoldersSurviveWrite() {
        const QString strXml =
            QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<Config><FileCutToolConfig>"
                           "<Item><SrcDir>D:\\原始 录像\\总监</SrcDir><DstDir>E:\\剪辑</DstDir></Item>"
                           "<Item><SrcDir>/second/is/ignored</SrcDir></Item>"
                           "</FileCutToolConfig></Config>\n");
        QVERIFY(WriteRaw(Path(), Gb18030(strXml)));
        // The record's own folders are not what the writer stores.
        PlayerConfig cfgOut = MakeFull(0);
        cfgOut.stFileCutToolConfig.strDstDir = QStringLiteral("/from/the/record");
        for (int nRun = 0; nRun < 2; ++nRun) { // the second run reads what the first wrote
            QVERIFY(m_store.WritePlayerConfig(Path(), &cfgOut));
            PlayerConfig cfgIn = Defaults();
            QVERIFY(m_store.ReadPlayerConfig(Path(), &cfgIn));
            QCOMPARE(cfgIn.stFileCutToolConfig.strSrcDir, QStringLiteral("D:\\原始 录像\\总监"));
            QCOMPARE(cfgIn.stFileCutToolConfig.strDstDir, QStringLiteral("E:\\剪辑"));
            QVERIFY(FirstDifference(cfgIn, cfgOut).isEmpty());
        }
    }

    void killDuringWriteLeavesWholeFile() {
        PlayerConfig records[2] = {MakeFull(0), MakeFull(1)};
        QVERIFY(m_store.WritePlayerConfig(Path(), &records[0])); // a file exists before the first kill
        for (int nRound = 0; nRound < 8; ++nRound) {
            QProcess proc;
            proc.start(QStringLiteral(CONFIG_WRITE_LOOP), {Path()});
            QVERIFY2(proc.waitForStarted(30000), qPrintable(proc.errorString()));
            // A different number of writes each round: the kill meets the writer at different points.
            QByteArray baOut;
            while (baOut.count("writing") < 1 + nRound % 4) {
                QVERIFY2(proc.waitForReadyRead(30000), "the writer did not report");
                baOut += proc.readAllStandardOutput();
                QVERIFY2(!baOut.contains("failed"), baOut.constData());
            }
            proc.kill(); // SIGKILL: no chance to tidy up
            QVERIFY(proc.waitForFinished(30000));
            QCOMPARE(proc.exitStatus(), QProcess::CrashExit);

            PlayerConfig cfgIn = Defaults();
            QVERIFY2(m_store.ReadPlayerConfig(Path(), &cfgIn),
                     qPrintable(QStringLiteral("round %1").arg(nRound)));
            const QString strDiffA = FirstDifference(cfgIn, records[0]);
            const QString strDiffB = FirstDifference(cfgIn, records[1]);
            QVERIFY2(strDiffA.isEmpty() || strDiffB.isEmpty(), qPrintable(strDiffA + " / " + strDiffB));
        }
        QVERIFY(!QFile::exists(Path() + QStringLiteral(".bad")));
    }

    void configDirFallsBackWhenReadOnly() {
        // A writable program folder is used, and the probe leaves nothing behind.
        const QString strAppDir = m_pDir->path();
        QCOMPARE(CPlayerConfigFile::ChooseConfigDir(strAppDir), strAppDir);
        QVERIFY(QDir(strAppDir).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).isEmpty());

        // An installed program's folder, with an old file the player cannot replace.
        const QString strReadOnly = m_pDir->filePath(QStringLiteral("installed"));
        QVERIFY(QDir().mkdir(strReadOnly));
        const QString strOldFile = strReadOnly + QStringLiteral("/PlayerConfig.xml");
        PlayerConfig cfgOld = MakeFull(0);
        QVERIFY(m_store.WritePlayerConfig(strOldFile, &cfgOld));
        const QByteArray baOld = ReadRaw(strOldFile);
        QVERIFY(QFile::setPermissions(strReadOnly, QFile::ReadOwner | QFile::ExeOwner | QFile::ReadGroup |
                                                       QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther));
        const auto restore = qScopeGuard([&] {
            QFile::setPermissions(strReadOnly, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        });
        {
            QFile probe(strReadOnly + QStringLiteral("/probe"));
            if (probe.open(QIODevice::WriteOnly)) {
                probe.remove();
                QSKIP("this user writes into read-only folders (root): nothing to fall back from");
            }
        }
        const QString strChosen = CPlayerConfigFile::ChooseConfigDir(strReadOnly);
        QCOMPARE(strChosen, QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation));
        QVERIFY(QFileInfo(strChosen).isDir());
        // A write that cannot happen fails and leaves the old file as it was.
        PlayerConfig cfgNew = MakeFull(1);
        QVERIFY(!m_store.WritePlayerConfig(strOldFile, &cfgNew));
        QCOMPARE(ReadRaw(strOldFile), baOld);
    }

    void fileAndFolderPrivateToOwner() {
        using P = QFileDevice;
        const P::Permissions permOwnerRW = P::ReadOwner | P::WriteOwner;
        const P::Permissions permMask = P::ReadOwner | P::WriteOwner | P::ExeOwner | P::ReadGroup | P::WriteGroup |
                                        P::ExeGroup | P::ReadOther | P::WriteOther | P::ExeOther;
        // A new file: passwords in URLs and file keys are for its owner only.
        PlayerConfig cfg = MakeFull(0);
        QVERIFY(m_store.WritePlayerConfig(Path(), &cfg));
        QCOMPARE(QFileInfo(Path()).permissions() & permMask, permOwnerRW);
        // A file an earlier version left readable by everyone is narrowed at the next save.
        QVERIFY(QFile::setPermissions(Path(), permOwnerRW | P::ReadGroup | P::ReadOther | P::WriteOther));
        QVERIFY(m_store.WritePlayerConfig(Path(), &cfg));
        QCOMPARE(QFileInfo(Path()).permissions() & permMask, permOwnerRW);
        VERIFY_READS_AS(cfg);

        // The fallback folder the player makes (its own does not exist) is closed too.
        const QString strFallback = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
        QVERIFY(!strFallback.isEmpty());
        QVERIFY(QDir(strFallback).removeRecursively());
        QCOMPARE(CPlayerConfigFile::ChooseConfigDir(m_pDir->filePath(QStringLiteral("missing"))),
                 strFallback);
        QCOMPARE(QFileInfo(strFallback).permissions() & permMask, permOwnerRW | P::ExeOwner);
    }

    void urlRecordsCappedOnRead() {
        // A file edited by hand with 35 records: the first 30, newest first, are read.
        PlayerConfig cfgOut = MakeFull(0);
        for (int i = 0; i < 5; ++i)
            cfgOut.lstURLRecords.append(QStringLiteral("rtsp://extra/%1").arg(i));
        QVERIFY(m_store.WritePlayerConfig(Path(), &cfgOut));
        QCOMPARE(ReadRaw(Path()).count("<URL>"), 35);
        PlayerConfig cfgIn = Defaults();
        QVERIFY(m_store.ReadPlayerConfig(Path(), &cfgIn));
        QCOMPARE(cfgIn.lstURLRecords, cfgOut.lstURLRecords.mid(0, 30));
    }
};

QTEST_GUILESS_MAIN(TestPlayerConfigFile)
#include "TestPlayerConfigFile.moc"
