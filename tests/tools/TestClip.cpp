// The clip tool: its output against the ffmpeg tool's decode of the source, its
// manifest against sha256sum and a changed byte, bad input, and its window.
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include "ClipManifest.h"
#include "ClipWindow.h"
#include "ToolArgs.h"
#include "ToolRun.h"

namespace {

Ran RunClip(const QStringList& lstArgs) {
    return RunProgram(QStringLiteral(VELQUIN_CLIP_TOOL), lstArgs);
}

QPair<int, int> FramePair(const ClipManifest& manifest, const char* szKey) {
    const QStringList lst = manifest.Value(QLatin1String(szKey)).split(QLatin1Char(' '));
    return {lst.value(0, QStringLiteral("-1")).toInt(), lst.value(1, QStringLiteral("-1")).toInt()};
}

} // namespace

class TestClip : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void clipMatchesSourceSpan_data();
    void clipMatchesSourceSpan();
    void refusesBadInput();
    void windowFromPlayerArguments();

private:
    QTemporaryDir m_dir;
    QString m_strSource; // 12 s, B-pictures, groups of 50, sound, a creation time
};

void TestClip::initTestCase() {
    QVERIFY(m_dir.isValid());
    m_strSource = m_dir.filePath(QStringLiteral("cam1.mp4"));
    const QStringList lstInputs = {"-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25:duration=12",
                                   "-f", "lavfi", "-i", "sine=frequency=440:duration=12"};
    QVERIFY(Ffmpeg(lstInputs +
                   QStringList{"-c:v", "libx264", "-preset", "veryfast", "-g", "50", "-bf", "2", "-pix_fmt",
                               "yuv420p", "-c:a", "aac", "-shortest", "-metadata"} +
                   QStringList{"creation_time=2024-03-15T12:00:00.000000Z", m_strSource}));
    // As a recorder's transport stream: the start in the name, not inside, and a device
    // record at each key frame, which leaves the picture after it without time stamps.
    QVERIFY(Ffmpeg({"-i", m_strSource, "-c", "copy", "-bsf:v",
                    "h264_metadata=sei_user_data=b60e8f6c-273d-414f-a5de-3b101d4d6de6+"
                    "mac=00-1a-2b-3c-4d-5e;sn=AB1234567;chan=2;time=20240315120000",
                    m_dir.filePath(QStringLiteral("cam1_20240315120000.ts"))}));
}

void TestClip::clipMatchesSourceSpan_data() {
    QTest::addColumn<QString>("strSourceName");
    QTest::addColumn<QStringList>("lstSpan");
    QTest::addColumn<QString>("strClipName");
    QTest::addColumn<bool>("bExact");
    // Mid-group starts, so the clip must reach back to a key frame or
    // re-encode a head; ends on B-pictures, so the last group must be
    // completed or a tail re-encoded.
    QTest::newRow("mp4 seconds") << "cam1.mp4" << QStringList{"--from", "3.1", "--to", "00:06.5"} << "a.mp4"
                                 << false;
    QTest::newRow("mkv frames") << "cam1.mp4" << QStringList{"--frames", "--from", "120", "--to", "230"}
                                << "b.mkv" << false;
    QTest::newRow("ts seconds") << "cam1_20240315120000.ts" << QStringList{"--from", "5", "--to", "9"}
                                << "c.ts" << false;
    QTest::newRow("mp4 exact") << "cam1.mp4" << QStringList{"--exact", "--from", "2.5", "--to", "7.3"}
                               << "d.mp4" << true;
    QTest::newRow("mkv exact") << "cam1.mp4"
                               << QStringList{"--exact", "--frames", "--from", "62", "--to", "183"} << "e.mkv"
                               << true;
    QTest::newRow("ts exact") << "cam1_20240315120000.ts"
                              << QStringList{"--exact", "--frames", "--from", "101", "--to", "163"} << "f.ts"
                              << true;
}

void TestClip::clipMatchesSourceSpan() {
    QFETCH(QString, strSourceName);
    QFETCH(QStringList, lstSpan);
    QFETCH(QString, strClipName);
    QFETCH(bool, bExact);
    const QString strSource = m_dir.filePath(strSourceName);
    const QString strClip = m_dir.filePath(strClipName);
    const Ran ran =
        RunClip(QStringList{QStringLiteral("--in"), strSource, QStringLiteral("--out"), strClip} + lstSpan);
    QVERIFY2(ran.nExit == 0, qPrintable(ran.Err()));

    const QString strManifestPath = ClipManifest::PathFor(strClip);
    QVERIFY(ran.Out().contains(strManifestPath));
    ClipManifest manifest;
    QString strWhy;
    QVERIFY2(manifest.Read(strManifestPath, &strWhy), qPrintable(strWhy));
    const QPair<int, int> asked = FramePair(manifest, "asked-frames");
    const QPair<int, int> actual = FramePair(manifest, "actual-frames");
    if (bExact) {
        QCOMPARE(actual, asked);
    } else {
        QVERIFY(actual.first >= 0 && actual.first <= asked.first && actual.first % 50 == 0);
        QVERIFY(actual.second >= asked.second && actual.second <= asked.second + 3);
    }

    // The clip's pictures are the source's of the actual span, bit for bit.
    const QStringList lstSource = PictureMd5s({QStringLiteral("-i"), strSource});
    const QStringList lstClip = PictureMd5s({QStringLiteral("-i"), strClip});
    QCOMPARE(lstSource.size(), 300);
    QCOMPARE(lstClip, lstSource.mid(actual.first, actual.second - actual.first + 1));
    // Sound comes along, and the time line starts at 0; a transport stream
    // holds no decode time before 0, so there the first picture waits for
    // the B-pictures' decode delay (two frames).
    QCOMPARE(Probe(strClip, QStringLiteral("stream=codec_type")).split(QLatin1Char('\n')).size(), 2);
    const double dStart =
        Probe(strClip, QStringLiteral("stream=start_time")).section(QLatin1Char('\n'), 0, 0).toDouble();
    QVERIFY2(strClipName.endsWith(QLatin1String(".ts")) ? dStart <= 0.081 : dStart == 0.0,
             qPrintable(QString::number(dStart)));

    // Creation time: the source's plus the actual start (a transport stream
    // has no place for it; the manifest still records it).
    const QDateTime dtExpected = QDateTime::fromString(QStringLiteral("2024-03-15T12:00:00Z"), Qt::ISODate)
                                     .addMSecs(actual.first * 40);
    QCOMPARE(QDateTime::fromString(manifest.Value(QStringLiteral("creation-time")), Qt::ISODateWithMs),
             dtExpected);
    if (!strClipName.endsWith(QLatin1String(".ts"))) {
        // MP4 keeps whole seconds.
        const QString strTag = Probe(strClip, QStringLiteral("format_tags=creation_time"));
        const qint64 nShortMs = QDateTime::fromString(strTag, Qt::ISODateWithMs).msecsTo(dtExpected);
        QVERIFY2(strClipName.endsWith(QLatin1String(".mp4")) ? nShortMs >= 0 && nShortMs < 1000
                                                             : nShortMs == 0,
                 qPrintable(strTag));
    }

    // Both checksums hold, for sha256sum as for the tool; one changed byte of
    // the clip is found and named.
    const Ran ranSum = RunProgram(QStringLiteral("sha256sum"), {QStringLiteral("-c"), strManifestPath},
                                  kToolTimeoutMs, m_dir.path());
    QVERIFY2(ranSum.nExit == 0, qPrintable(ranSum.Out() + ranSum.Err()));
    const Ran ranOk = RunClip({QStringLiteral("--verify"), strManifestPath});
    QVERIFY2(ranOk.nExit == 0, qPrintable(ranOk.Err()));
    {
        QFile file(strClip);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.seek(file.size() / 2));
        char chByte = 0;
        QVERIFY(file.getChar(&chByte));
        QVERIFY(file.seek(file.size() / 2));
        QVERIFY(file.putChar(static_cast<char>(chByte ^ 0x01)));
    }
    const Ran ranBad = RunClip({QStringLiteral("--verify"), strManifestPath});
    QCOMPARE(ranBad.nExit, int(ToolArgs::kExitFailure));
    QVERIFY2(ranBad.Err().contains(QLatin1String("clip: DIFFERS")), qPrintable(ranBad.Err()));
    QVERIFY2(ranBad.Err().contains(QLatin1String("source: OK")), qPrintable(ranBad.Err()));
}

void TestClip::refusesBadInput() {
    const auto write = [this](const char* szName, const QByteArray& baBytes) {
        QFile file(m_dir.filePath(QLatin1String(szName)));
        return file.open(QIODevice::WriteOnly) && file.write(baBytes) == baBytes.size() ? file.fileName()
                                                                                        : QString();
    };
    QByteArray baNoise(64 * 1024, '\0');
    for (int i = 0; i < baNoise.size(); ++i)
        baNoise[i] = static_cast<char>((i * 7919 + 13) % 251);
    const QString strText = write("notes.txt", "camera 1, Tuesday\n");
    const QString strNoise = write("noise.mp4", baNoise);
    const QString strTs = m_dir.filePath(QStringLiteral("cam1_20240315120000.ts"));
    QFile ts(strTs);
    QVERIFY(ts.open(QIODevice::ReadOnly));
    const QByteArray baTs = ts.readAll();
    const QString strJoined = write("joined.ts", baTs + baTs); // the second one's time stamps start over
    QVERIFY(!strText.isEmpty() && !strNoise.isEmpty() && !strJoined.isEmpty());
    const QString strLink = m_dir.filePath(QStringLiteral("link.mp4"));
    QVERIFY(QFile::link(m_strSource, strLink));
    const qint64 nSourceBytes = QFileInfo(m_strSource).size();
    const QString strOut = m_dir.filePath(QStringLiteral("refused.mp4"));
    struct Case {
        QStringList lstArgs;
        QString strSays;
    };
    const QList<Case> cases = {
        {{"--in", m_strSource, "--from", "12.5", "--to", "20", "--out", strOut}, "outside the file"},
        {{"--in", m_strSource, "--frames", "--from", "300", "--to", "310", "--out", strOut},
         "outside the file"},
        {{"--in", m_strSource, "--from", "6", "--to", "4", "--out", strOut}, "span is empty"},
        // FFmpeg may take a text file for ANSI art; either way it is refused, by name.
        {{"--in", strText, "--from", "0", "--to", "1", "--out", strOut}, strText},
        {{"--in", strNoise, "--from", "0", "--to", "1", "--out", strOut}, "Cannot read " + strNoise},
        {{"--in", m_dir.filePath(QStringLiteral("missing.mp4")), "--from", "0", "--to", "1"},
         "does not exist"},
        // A file where the folder should be.
        {{"--in", m_strSource, "--from", "0", "--to", "1", "--out-dir", strText}, "cannot be written"},
        {{"--in", m_strSource, "--from", "0", "--to", "1", "--out", strLink}, "overwrite its source"},
        {{"--in", strJoined, "--from", "13", "--to", "15", "--out", strOut}, "start over"},
    };
    for (const Case& c : cases) {
        const Ran ran = RunClip(c.lstArgs);
        QVERIFY2(ran.nExit == ToolArgs::kExitBadInput, qPrintable(c.lstArgs.join(' ') + " -> " + ran.Err()));
        QVERIFY2(ran.Err().contains(c.strSays), qPrintable(ran.Err()));
        QVERIFY(!QFileInfo::exists(strOut));
    }
    QCOMPARE(QFileInfo(m_strSource).size(), nSourceBytes);

    // A recorder's file: the clip is named by its own start and span, and the
    // same export again overwrites nothing and leaves no part behind.
    QTemporaryDir outDir;
    const QStringList lstTs = {"--in", strTs, "--from", "5", "--to", "9", "--out-dir", outDir.path()};
    const Ran ranFirst = RunClip(lstTs);
    const QString strManifest =
        QDir(outDir.path())
            .filePath(QStringLiteral("cam1_20240315120004_clip_4.000s-9.000s_keyframe.ts.manifest.sha256"));
    QVERIFY2(ranFirst.nExit == 0 && ranFirst.Out().contains(strManifest), qPrintable(ranFirst.Out()));
    const Ran ranAgain = RunClip(lstTs);
    QCOMPARE(ranAgain.nExit, int(ToolArgs::kExitBadInput));
    QVERIFY2(ranAgain.Err().contains(QLatin1String("exists already")), qPrintable(ranAgain.Err()));
    QCOMPARE(RunClip({QStringLiteral("--verify"), strManifest}).nExit, 0);
    QCOMPARE(QDir(outDir.path()).entryList(QDir::Files).size(), 2);
}

void TestClip::windowFromPlayerArguments() {
    // As the player starts it: language, the shown file, skin.
    ToolArgs args(QStringLiteral("velquin-clip"), QStringLiteral("1.0"), QString());
    QVERIFY(
        args.Parse({QStringLiteral("velquin-clip"), QStringLiteral("0"), m_strSource, QStringLiteral("0")}));
    QVERIFY(!args.IsHeadless());
    QCOMPARE(args.Language(), 0);
    ToolWindow::ApplyLookAndLanguage(args);
    ClipWindow window;
    window.Init();
    window.SetSource(args.File());
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QCOMPARE(window.findChild<QLineEdit*>(QStringLiteral("m_pEdtSource"))->text(), m_strSource);

    // The file's length is shown and bounds the span.
    const QString strLength = window.findChild<QLabel*>(QStringLiteral("m_pLabLength"))->text();
    QVERIFY2(strLength.contains(QLatin1String("00:00:12.000")) && strLength.contains(QLatin1String("300")),
             qPrintable(strLength));

    // An output "folder" that is a file is refused before any work, with the reason.
    QSignalSpy spyDone(&window, &ToolWindow::Sig_JobFinished);
    window.SetOutDir(m_strSource);
    QTest::mouseClick(window.findChild<QPushButton*>(QStringLiteral("m_pBtnStart")), Qt::LeftButton);
    QVERIFY(!window.IsJobRunning());
    // The window speaks the player's language (Chinese here): the message is
    // known by the folder it names.
    QVERIFY2(window.StatusText().endsWith(m_strSource), qPrintable(window.StatusText()));
    QTemporaryDir outDir;
    window.SetOutDir(outDir.path());

    // A good span, frame-exact inside the first group: the manifest is
    // shown, and Verify in the window agrees.
    window.SetExact(true);
    window.SetSpanFrames(10, 40);
    QTest::mouseClick(window.findChild<QPushButton*>(QStringLiteral("m_pBtnStart")), Qt::LeftButton);
    QVERIFY(spyDone.wait(kToolTimeoutMs));
    QVERIFY2(spyDone.last().at(0).toBool(), qPrintable(window.StatusText()));
    QCOMPARE(window.ProgressPercent(), 100);
    const QString strManifest = window.ManifestPath();
    QVERIFY(QFileInfo(strManifest).isFile());
    QCOMPARE(QFileInfo(strManifest).absolutePath(), QFileInfo(outDir.path()).absoluteFilePath());
    ClipManifest manifest;
    QString strWhy;
    QVERIFY2(manifest.Read(strManifest, &strWhy), qPrintable(strWhy));
    QCOMPARE(manifest.Value(QStringLiteral("actual-frames")), QStringLiteral("10 40"));
    window.VerifyManifest(strManifest);
    QVERIFY(spyDone.wait(kToolTimeoutMs));
    QVERIFY2(spyDone.last().at(0).toBool(), qPrintable(window.StatusText()));
    QVERIFY(window.StatusText().contains(QLatin1String("clip: OK")));
}

QTEST_MAIN(TestClip)
#include "TestClip.moc"
