// The configuration store: what is written comes back, a damaged or missing file
// never costs more than the defaults, and the file on disk is always whole.
#include "CPlayerConfigFile.h"
#include "ConfigSamples.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

using ConfigSamples::FirstDifference;
using ConfigSamples::MakeFull;

namespace {

const QString kAppDir = QStringLiteral("/opt/velquin");

QByteArray Gb18030(const QString& strText) {
    return QTextCodec::codecForName("GB18030")->fromUnicode(strText);
}

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
    CPlayerConfigFile::SetDefaults(&cfg, kAppDir);
    return cfg;
}

} // namespace

class TestPlayerConfigFile : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void roundTripKeepsEveryField();
    void writtenFileLayout();
    void missingFileLeavesRecord();
    void damagedFileIsKeptAside_data();
    void damagedFileIsKeptAside();
    void readsWhatIsThereAndKeepsTheRest();
    void clipToolFoldersSurviveWrite();
    void killDuringWriteLeavesWholeFile();
    void configDirFallsBackWhenReadOnly();

private:
    QString Path() const { return m_pDir->filePath(QStringLiteral("PlayerConfig.xml")); }

    CPlayerConfigFile m_store;
    std::unique_ptr<QTemporaryDir> m_pDir;
};

void TestPlayerConfigFile::initTestCase() {
    QVERIFY(QTextCodec::codecForName("GB18030"));
    QStandardPaths::setTestModeEnabled(true); // the fallback folder must not touch the user's own
}

void TestPlayerConfigFile::init() {
    // A Chinese folder name: the file name itself must survive too.
    m_pDir = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/配置-XXXXXX"));
    QVERIFY(m_pDir->isValid());
}

void TestPlayerConfigFile::roundTripKeepsEveryField() {
    for (int nVariant : {0, 1}) {
        PlayerConfig cfgOut = MakeFull(nVariant);
        QVERIFY(m_store.WritePlayerConfig(Path(), &cfgOut));
        PlayerConfig cfgIn = Defaults();
        QVERIFY(m_store.ReadPlayerConfig(Path(), &cfgIn));
        const QString strDiff = FirstDifference(cfgOut, cfgIn);
        QVERIFY2(strDiff.isEmpty(), qPrintable(strDiff));
        QCOMPARE(cfgIn.lstPlaylistFiles.size(), 200);
        QCOMPARE(cfgIn.lstURLRecords.size(), 30);

        // Writing what was read gives the same bytes: nothing drifts from run to run.
        const QByteArray baFirst = ReadRaw(Path());
        QVERIFY(m_store.WritePlayerConfig(Path(), &cfgIn));
        QCOMPARE(ReadRaw(Path()), baFirst);
    }
}

void TestPlayerConfigFile::writtenFileLayout() {
    // A first start in a fresh folder: all sections, the lists as empty elements.
    PlayerConfig cfg = Defaults();
    QVERIFY(m_store.WritePlayerConfig(Path(), &cfg));
    QByteArray baRaw = ReadRaw(Path());
    QVERIFY(baRaw.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>"));
    for (const char* pPart : {"<Config>", "<PlayerSetting>", "<Common>", "<HotKeys>", "<CapPic>",
                              "<PlaylistFiles />", "<URLRecords />", "<FileCutToolConfig>",
                              "<Fast>83886100</Fast>", "<SartHardDecodeEngine>0</SartHardDecodeEngine>",
                              "<ExitKeepPlaylistFiles>1</ExitKeepPlaylistFiles>"})
        QVERIFY2(baRaw.contains(pPart), pPart);
    // Files written before keep RepeatAB ahead of Exit.
    QVERIFY(baRaw.indexOf("<RepeatAB>") < baRaw.indexOf("<Exit>"));

    // Text is Gb18030 whatever the declaration says.
    cfg.strCapPicFolder = QStringLiteral("/录像/截图");
    QVERIFY(m_store.WritePlayerConfig(Path(), &cfg));
    baRaw = ReadRaw(Path());
    QVERIFY(baRaw.contains("<CapPicFolder>" + Gb18030(cfg.strCapPicFolder) + "</CapPicFolder>"));
    QVERIFY(!baRaw.contains(cfg.strCapPicFolder.toUtf8()));
}

void TestPlayerConfigFile::missingFileLeavesRecord() {
    PlayerConfig cfg = MakeFull(1);
    const PlayerConfig cfgBefore = cfg;
    QVERIFY(!m_store.ReadPlayerConfig(Path(), &cfg));
    QVERIFY2(FirstDifference(cfg, cfgBefore).isEmpty(), qPrintable(FirstDifference(cfg, cfgBefore)));
    QCOMPARE(cfg.stFileCutToolConfig.strSrcDir, cfgBefore.stFileCutToolConfig.strSrcDir);
    QVERIFY(!QFile::exists(Path() + QStringLiteral(".bad")));
    QVERIFY(!m_store.ReadPlayerConfig(QString(), &cfg));
    QVERIFY(!m_store.ReadPlayerConfig(Path(), nullptr));
}

void TestPlayerConfigFile::damagedFileIsKeptAside_data() {
    QTest::addColumn<QByteArray>("baData");
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
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
}

void TestPlayerConfigFile::damagedFileIsKeptAside() {
    QFETCH(QByteArray, baData);
    const QString strBad = Path() + QStringLiteral(".bad");
    QVERIFY(WriteRaw(strBad, "an older damaged file"));
    QVERIFY(WriteRaw(Path(), baData));

    PlayerConfig cfg = Defaults();
    QVERIFY(!m_store.ReadPlayerConfig(Path(), &cfg));
    QVERIFY2(FirstDifference(cfg, Defaults()).isEmpty(), qPrintable(FirstDifference(cfg, Defaults())));
    QVERIFY(!QFile::exists(Path()));
    QCOMPARE(ReadRaw(strBad), baData);

    // The next exit writes a good file again and leaves the kept one alone.
    PlayerConfig cfgOut = MakeFull(1);
    QVERIFY(m_store.WritePlayerConfig(Path(), &cfgOut));
    PlayerConfig cfgIn = Defaults();
    QVERIFY(m_store.ReadPlayerConfig(Path(), &cfgIn));
    QVERIFY(FirstDifference(cfgIn, cfgOut).isEmpty());
    QCOMPARE(ReadRaw(strBad), baData);

    // A file damaged again while the player ran is replaced by the exit's write,
    // but the copy kept at start is not overwritten by it.
    QVERIFY(WriteRaw(Path(), "<Config><Player"));
    QVERIFY(m_store.WritePlayerConfig(Path(), &cfgOut));
    QCOMPARE(ReadRaw(strBad), baData);
}

void TestPlayerConfigFile::readsWhatIsThereAndKeepsTheRest() {
    // Another root name, sections in another order, unknown elements, missing ones,
    // an item without a path, an encrypted item without a key, a number with junk.
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
    const QByteArray baRaw = ReadRaw(Path());
    QVERIFY(baRaw.contains("<Config>"));
    QVERIFY(!baRaw.contains("Settings"));
}

void TestPlayerConfigFile::clipToolFoldersSurviveWrite() {
    const QString strXml =
        QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<Config><FileCutToolConfig>"
                       "<Item><SrcDir>D:\\原始 录像\\总监</SrcDir><DstDir>E:\\剪辑</DstDir></Item>"
                       "<Item><SrcDir>/second/is/ignored</SrcDir></Item>"
                       "</FileCutToolConfig></Config>\n");
    QVERIFY(WriteRaw(Path(), Gb18030(strXml)));

    // The record's own folders are not what the writer stores.
    PlayerConfig cfgOut = MakeFull(0);
    cfgOut.stFileCutToolConfig.strSrcDir = QStringLiteral("/from/the/record");
    cfgOut.stFileCutToolConfig.strDstDir = QStringLiteral("/from/the/record");
    for (int nRun = 0; nRun < 2; ++nRun) { // and again: the second run reads what the first wrote
        QVERIFY(m_store.WritePlayerConfig(Path(), &cfgOut));
        PlayerConfig cfgIn = Defaults();
        QVERIFY(m_store.ReadPlayerConfig(Path(), &cfgIn));
        QCOMPARE(cfgIn.stFileCutToolConfig.strSrcDir, QStringLiteral("D:\\原始 录像\\总监"));
        QCOMPARE(cfgIn.stFileCutToolConfig.strDstDir, QStringLiteral("E:\\剪辑"));
        QVERIFY(FirstDifference(cfgIn, cfgOut).isEmpty());
    }
}

void TestPlayerConfigFile::killDuringWriteLeavesWholeFile() {
    PlayerConfig records[2] = {MakeFull(0), MakeFull(1)};
    QVERIFY(m_store.WritePlayerConfig(Path(), &records[0])); // a file exists before the first kill

    for (int nRound = 0; nRound < 8; ++nRound) {
        QProcess proc;
        proc.start(QStringLiteral(CONFIG_WRITE_LOOP), {Path()});
        QVERIFY2(proc.waitForStarted(30000), qPrintable(proc.errorString()));
        // A different number of writes each round, so the kill meets the writer at
        // different points: right after it announced a write, before it finished.
        const int nWrites = 1 + nRound % 4;
        QByteArray baOut;
        while (baOut.count("writing") < nWrites) {
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

void TestPlayerConfigFile::configDirFallsBackWhenReadOnly() {
    // A writable program folder is used, and the probe leaves nothing behind.
    const QString strAppDir = m_pDir->path();
    QCOMPARE(CPlayerConfigFile::ChooseConfigDir(strAppDir), strAppDir);
    QCOMPARE(QDir(strAppDir).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList());

    // An installed program's folder, with an old file the player cannot replace.
    const QString strReadOnly = m_pDir->filePath(QStringLiteral("installed"));
    QVERIFY(QDir().mkdir(strReadOnly));
    const QString strOldFile = strReadOnly + QStringLiteral("/PlayerConfig.xml");
    PlayerConfig cfgOld = MakeFull(0);
    QVERIFY(m_store.WritePlayerConfig(strOldFile, &cfgOld));
    const QByteArray baOld = ReadRaw(strOldFile);
    QVERIFY(QFile::setPermissions(strReadOnly, QFile::ReadOwner | QFile::ExeOwner | QFile::ReadGroup |
                                                   QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther));
    const auto restore = qScopeGuard(
        [&] { QFile::setPermissions(strReadOnly, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner); });
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

QTEST_GUILESS_MAIN(TestPlayerConfigFile)
#include "TestPlayerConfigFile.moc"
