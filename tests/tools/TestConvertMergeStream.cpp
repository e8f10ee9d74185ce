// The converter, the merger and the streamer, run through their command lines
// as a user's script would, their results read back with the ffmpeg tool.
#include <QtTest>

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include "PortProbe.h"
#include "ToolRun.h"

namespace {
const int kServerStartMs = 10000;
} // namespace

class TestConvertMergeStream : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void convert();
    void mergeInTimeOrder();
    void stream();

private:
    QTemporaryDir m_dir;
    QString Path(const QString& strName) const { return m_dir.filePath(strName); }
};

void TestConvertMergeStream::initTestCase() {
    QVERIFY(m_dir.isValid());
    QVERIFY2(QFileInfo(QStringLiteral(VELQUIN_CONVERT)).isExecutable(), VELQUIN_CONVERT);
}

// A recording in a format the player reads but many editors do not (MPEG-4
// Visual and MP3 in Matroska) comes out as H.264 and AAC in MP4, every
// picture kept, as long as the source; a file that is no recording is refused
// and leaves nothing behind, and neither the recording (named through a link)
// nor a file already there is written over.
void TestConvertMergeStream::convert() {
    const QString strIn = Path(QStringLiteral("camera.mkv"));
    QVERIFY(Ffmpeg({"-f", "lavfi", "-i", "testsrc2=size=352x288:rate=25:duration=3", "-f", "lavfi", "-i",
                    "sine=frequency=440:sample_rate=44100:duration=3", "-c:v", "mpeg4", "-c:a", "libmp3lame",
                    strIn}));
    const QString strOut = Path(QStringLiteral("camera.mp4"));
    const Ran run = RunProgram(QStringLiteral(VELQUIN_CONVERT), {"--in", strIn, "--out", strOut, "--preset",
                                                                 "ultrafast", "--size", "176x144"});
    QVERIFY2(run.nExit == 0, run.baErr.constData());
    QCOMPARE(Probe(strOut, "stream=codec_name", "v:0"), QStringLiteral("h264"));
    QCOMPARE(Probe(strOut, "stream=codec_name", "a:0"), QStringLiteral("aac"));
    QCOMPARE(Probe(strOut, "stream=width,height", "v:0"), QStringLiteral("176\n144"));
    QCOMPARE(Probe(strOut, "stream=r_frame_rate", "v:0"), QStringLiteral("25/1"));
    QCOMPARE(Probe(strOut, "stream=nb_read_frames", "v:0", true),
             Probe(strIn, "stream=nb_read_frames", "v:0", true));
    const double dIn = Probe(strIn, "format=duration").toDouble();
    const double dOut = Probe(strOut, "format=duration").toDouble();
    QVERIFY2(dIn > 2.9 && qAbs(dOut - dIn) <= 0.04, qPrintable(QStringLiteral("%1 / %2").arg(dIn).arg(dOut)));

    const qint64 nInSize = QFileInfo(strIn).size();
    const qint64 nOutSize = QFileInfo(strOut).size();
    const QString strLink = Path(QStringLiteral("link.mp4"));
    QVERIFY(QFile::link(strIn, strLink));
    const Ran self =
        RunProgram(QStringLiteral(VELQUIN_CONVERT), {"--in", strIn, "--out", strLink, "--overwrite"});
    QCOMPARE(self.nExit, 1);
    const Ran again = RunProgram(QStringLiteral(VELQUIN_CONVERT), {"--in", strIn, "--out", strOut});
    QCOMPARE(again.nExit, 1);
    QVERIFY2(again.baErr.contains("exists"), again.baErr.constData());
    QCOMPARE(QFileInfo(strIn).size(), nInSize);
    QCOMPARE(QFileInfo(strOut).size(), nOutSize);

    const QString strText = Path(QStringLiteral("notes.txt"));
    QFile file(strText);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("not a recording\n") > 0);
    file.close();
    const QString strBadOut = Path(QStringLiteral("notes.mp4"));
    const Ran bad = RunProgram(QStringLiteral(VELQUIN_CONVERT), {"--in", strText, "--out", strBadOut});
    QCOMPARE(bad.nExit, 1);
    QVERIFY(!bad.baErr.isEmpty());
    QVERIFY(!QFileInfo::exists(strBadOut));

    // Stopped half way (SIGTERM, as Cancel in the window), the converter ends
    // promptly and the half-written file (under its temporary name) is gone.
    const QString strLong = Path(QStringLiteral("long.mkv"));
    QVERIFY(
        Ffmpeg({"-f", "lavfi", "-i", "testsrc2=size=704x576:rate=25:duration=30", "-c:v", "mpeg4", strLong}));
    const QString strPartial = Path(QStringLiteral("long.mp4"));
    QProcess process;
    process.start(QStringLiteral(VELQUIN_CONVERT),
                  {"--in", strLong, "--out", strPartial, "--preset", "veryslow"});
    QVERIFY(process.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(strPartial + QStringLiteral(".part")).size() > 0, 30000);
    process.terminate();
    QVERIFY(process.waitForFinished(5000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 2);
    QVERIFY(!QFileInfo::exists(strPartial));
    QVERIFY(!QFileInfo::exists(strPartial + QStringLiteral(".part")));
}

// Three recordings of one camera, named out of order, are joined by their
// creation times: all pictures, red then green then blue, the output dated
// as the first. A later recording keeps its place on the time line, the gap
// included. A camera of another size is refused unless re-encoding is chosen,
// and then joined at the first one's size, at its place too.
void TestConvertMergeStream::mergeInTimeOrder() {
    // One second of a colour, recorded at 10:00:0N.
    const auto record = [this](const QString& strName, const char* szColour, const char* szSize,
                               int nSecond) {
        const QString strClip = Path(strName);
        return Ffmpeg({"-f", "lavfi", "-i", QStringLiteral("color=c=%1:s=%2:r=25:d=1").arg(szColour, szSize),
                       "-c:v", "libx264", "-preset", "ultrafast", "-pix_fmt", "yuv420p", "-metadata",
                       QStringLiteral("creation_time=2024-05-01T10:00:0%1Z").arg(nSecond), strClip})
                   ? strClip
                   : QString();
    };
    const auto lastsSixSeconds = [](const QString& strFile) {
        return qAbs(Probe(strFile, "format=duration").toDouble() - 6.0) < 0.05;
    };
    QStringList lstClips;
    const char* const kColours[] = {"red", "green", "blue"};
    for (int i = 0; i < 3; ++i) // the names sort the other way round from the times
        lstClips << record(QStringLiteral("part_%1.mp4").arg(QChar('c' - i)), kColours[i], "160x120", i);
    QVERIFY(!lstClips.contains(QString()));
    const QString strOut = Path(QStringLiteral("merged.mp4"));
    const Ran run =
        RunProgram(QStringLiteral(VELQUIN_MERGE), {"--out", strOut, lstClips[1], lstClips[2], lstClips[0]});
    QVERIFY2(run.nExit == 0, run.baErr.constData());
    QVERIFY(run.baOut.contains("copied"));
    QCOMPARE(Probe(strOut, "stream=nb_read_frames", "v:0", true), QStringLiteral("75"));
    QVERIFY(Probe(strOut, "format_tags=creation_time").startsWith(QStringLiteral("2024-05-01T10:00:00")));
    // The player's engine plays it as one recording: one index of all the
    // pictures, shown in one run to the end, each as the ffmpeg tool decodes it.
    {
        PortProbe probe;
        QVERIFY(probe.Open(strOut));
        QVERIFY(probe.Play(false));
        QVERIFY(probe.WaitForEnd(kToolTimeoutMs));
        QCOMPARE(Tavrix_GetFileTotalFrames(probe.Port()), 75u);
        QStringList lstShown;
        for (const PortProbe::Shown& shown : probe.Frames())
            lstShown << QString::fromLatin1(shown.md5Hex);
        QCOMPARE(lstShown, PictureMd5s({"-i", strOut}));
    }
    // One averaged pixel per picture: the dominant colour of each second.
    const Ran pixels = RunProgram(QStringLiteral("ffmpeg"), {"-v", "error", "-i", strOut, "-vf", "scale=1:1",
                                                             "-f", "rawvideo", "-pix_fmt", "rgb24", "-"});
    QCOMPARE(pixels.baOut.size(), 75 * 3);
    for (int nFrame = 0; nFrame < 75; ++nFrame) {
        const auto* p = reinterpret_cast<const unsigned char*>(pixels.baOut.constData()) + nFrame * 3;
        const int nChannel = nFrame / 25; // 0 red, 1 green, 2 blue
        for (int c = 0; c < 3; ++c)
            QVERIFY2(c == nChannel ? p[c] > 100 : p[c] < 60,
                     qPrintable(QStringLiteral("picture %1").arg(nFrame)));
    }

    // Recorded at 10:00:05: its pictures stay at 5 s, so the player's clock reads 10:00:05.
    const QString strLate = record(QStringLiteral("late.mp4"), "green", "160x120", 5);
    const QString strGap = Path(QStringLiteral("gap.mp4"));
    QCOMPARE(RunProgram(QStringLiteral(VELQUIN_MERGE), {"--out", strGap, strLate, lstClips[0]}).nExit, 0);
    QCOMPARE(Probe(strGap, "stream=nb_read_frames", "v:0", true), QStringLiteral("50"));
    QVERIFY2(lastsSixSeconds(strGap), qPrintable(Probe(strGap, "format=duration")));

    const QString strOther = record(QStringLiteral("other_camera.mp4"), "white", "320x240", 5);
    QVERIFY(!strLate.isEmpty() && !strOther.isEmpty());
    const QString strMixed = Path(QStringLiteral("mixed.mp4"));
    const Ran refused = RunProgram(QStringLiteral(VELQUIN_MERGE), {"--out", strMixed, strOther, lstClips[0]});
    QCOMPARE(refused.nExit, 1);
    QVERIFY2(refused.baErr.contains("320x240"), refused.baErr.constData());
    QVERIFY(!QFileInfo::exists(strMixed));
    const Ran reencoded =
        RunProgram(QStringLiteral(VELQUIN_MERGE),
                   {"--reencode", "--preset", "ultrafast", "--out", strMixed, strOther, lstClips[0]});
    QVERIFY2(reencoded.nExit == 0, reencoded.baErr.constData());
    QCOMPARE(Probe(strMixed, "stream=width,height", "v:0"), QStringLiteral("160\n120"));
    QCOMPARE(Probe(strMixed, "stream=nb_read_frames", "v:0", true), QStringLiteral("50"));
    QVERIFY2(lastsSixSeconds(strMixed), qPrintable(Probe(strMixed, "format=duration")));
}

// A recording served over RTSP reaches a player picture for picture as the
// file holds it; with looping, the stream goes on past the end and starts
// again with the first picture. The server stops on SIGTERM.
void TestConvertMergeStream::stream() {
    const QString strClip = Path(QStringLiteral("gate.mp4"));
    QVERIFY(Ffmpeg({"-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25:duration=2", "-f", "lavfi", "-i",
                    "sine=frequency=440:duration=2", "-c:v", "libx264", "-preset", "ultrafast", "-g", "25",
                    "-pix_fmt", "yuv420p", "-c:a", "aac", strClip}));
    const QStringList lstFileMd5 = PictureMd5s({"-i", strClip}, 50);
    QCOMPARE(lstFileMd5.size(), 50);
    // A transport stream cannot loop (its demuxer refuses the seek back): that
    // is said at once rather than by every client's failed PLAY.
    const QString strTs = Path(QStringLiteral("gate.ts"));
    QVERIFY(Ffmpeg({"-i", strClip, "-c", "copy", strTs}));
    const Ran loopTs = RunProgram(QStringLiteral(VELQUIN_STREAM), {"--in", strTs, "--loop", "--port", "0"});
    QCOMPARE(loopTs.nExit, 1);
    QVERIFY2(loopTs.baErr.contains("MPEG-TS"), loopTs.baErr.constData());

    for (const bool bLoop : {false, true}) {
        QProcess server;
        QStringList lstArgs{"--in", strClip, "--port", "0", "--address", "127.0.0.1", "--mount", "gate"};
        if (bLoop)
            lstArgs << "--loop";
        server.start(QStringLiteral(VELQUIN_STREAM), lstArgs);
        QVERIFY(server.waitForStarted());
        QString strUrl;
        QDeadlineTimer deadline(kServerStartMs);
        while (strUrl.isEmpty() && !deadline.hasExpired() && server.state() == QProcess::Running) {
            if (server.canReadLine() || server.waitForReadyRead(int(deadline.remainingTime()))) {
                const QString strLine = QString::fromUtf8(server.readLine()).trimmed();
                if (strLine.startsWith(QStringLiteral("Serving ")))
                    strUrl = strLine.mid(8);
            }
        }
        QVERIFY2(
            QRegularExpression(QStringLiteral("^rtsp://127\\.0\\.0\\.1:\\d+/gate$")).match(strUrl).hasMatch(),
            qPrintable(strUrl + QString::fromUtf8(server.readAllStandardError())));

        const int nFrames = bLoop ? 75 : 50;
        const QStringList lstGot =
            PictureMd5s({"-rtsp_transport", "tcp", "-timeout", "5000000", "-i", strUrl}, nFrames);
        QCOMPARE(lstGot.size(), nFrames);
        QCOMPARE(lstGot.mid(0, 50), lstFileMd5);
        if (bLoop)
            QCOMPARE(lstGot.mid(50), lstFileMd5.mid(0, 25));

        server.terminate(); // SIGTERM to its process id
        QVERIFY(server.waitForFinished(5000));
        QCOMPARE(server.exitStatus(), QProcess::NormalExit);
        QCOMPARE(server.exitCode(), 0);
    }
}

QTEST_GUILESS_MAIN(TestConvertMergeStream)
#include "TestConvertMergeStream.moc"
