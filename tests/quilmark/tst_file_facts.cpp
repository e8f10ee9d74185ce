// File facts read from real media: playable or not, the global time range used
// by synchronous play and the time search, encryption, fisheye material.
#include "CPlayHelper.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QString Media(const QString& strName) {
    const QByteArray baEnv = qgetenv("VELQUIN_MEDIA_DIR");
    return QDir(baEnv.isEmpty() ? QStringLiteral(VELQUIN_MEDIA_DIR) : QString::fromLocal8Bit(baEnv)).filePath(strName);
}

// Runs the ffmpeg tool; false when it is missing or fails.
bool RunFfmpeg(const QStringList& args) {
    QProcess proc;
    proc.start(QStringLiteral("ffmpeg"), QStringList{"-hide_banner", "-loglevel", "error", "-nostdin", "-y"} + args);
    return proc.waitForFinished(60000) && proc.exitStatus() == QProcess::NormalExit && proc.exitCode() == 0;
}

QString Text(const TAVRIX_SYSTEM_TIME& t) {
    return QString::asprintf("%04d-%02d-%02d %02d:%02d:%02d.%03d", t.nYear, t.nMonth, t.nDay, t.nHour, t.nMinute,
                             t.nSecond, t.nMilliseconds);
}

const QString kRecorded = QStringLiteral("2024-03-15 10:20:30.000"); // creation time of the clips

} // namespace

class TestFileFacts : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY2(QFile::exists(Media("h264_aac.mp4")), qPrintable("test media missing: " + Media("")));
    }

    void checkFile_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("playable");
        for (const char* p : {"h264_aac.mp4", "hevc.mkv", "ch01_20240315102030.ts", "mjpeg.avi", "mpeg4.mp4",
                              "silent_h264.mp4", "sine1k.mkv"})
            QTest::newRow(p) << QString::fromLatin1(p) << true;
        for (const char* p : {"empty.mp4", "text.mp4", "random.mp4", "no_such_file.mp4"})
            QTest::newRow(p) << QString::fromLatin1(p) << false;
    }
    void checkFile() {
        QFETCH(QString, name);
        QFETCH(bool, playable);
        QCOMPARE(CPlayHelper::CheckFile(Media(name)), playable);
        // What does not play is not analysed either, and the record stays untouched.
        _FA_FILE_INFO_ info{};
        info.nVideoFormat = 77;
        if (!playable) {
            QVERIFY(!CPlayHelper::AnalyzeFileInfo(Media(name), &info));
            QCOMPARE(info.nVideoFormat, 77u);
        }
    }

    void containerAndCodecs_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QList<uint>>("formats"); // system, video, audio
        QTest::newRow("mp4") << "h264_aac.mp4" << QList<uint>{FA_SYSTEM_ISO_MEDIA, FA_VIDEO_H264, FA_AUDIO_AAC};
        QTest::newRow("ts") << "ch01_20240315102030.ts" << QList<uint>{FA_SYSTEM_TS, FA_VIDEO_H264, FA_AUDIO_AAC};
        QTest::newRow("mkv") << "hevc.mkv" << QList<uint>{FA_SYSTEM_MATROSKA, FA_VIDEO_H265, FA_AUDIO_AAC};
        QTest::newRow("avi") << "mjpeg.avi" << QList<uint>{FA_SYSTEM_AVI, FA_VIDEO_MJPEG, FA_AUDIO_PCM};
        QTest::newRow("mpeg4") << "mpeg4.mp4" << QList<uint>{FA_SYSTEM_ISO_MEDIA, FA_VIDEO_MPEG4, FA_AUDIO_AAC};
        QTest::newRow("silent") << "silent_h264.mp4" << QList<uint>{FA_SYSTEM_ISO_MEDIA, FA_VIDEO_H264, FA_AUDIO_NONE};
    }
    void containerAndCodecs() {
        QFETCH(QString, name);
        QFETCH(QList<uint>, formats);
        _FA_FILE_INFO_ info{};
        QVERIFY(CPlayHelper::AnalyzeFileInfo(Media(name), &info));
        QCOMPARE((QList<uint>{uint(info.nSystemFormat), uint(info.nVideoFormat), uint(info.nAudioFormat)}), formats);
        QCOMPARE(QSize(info.nWidth, info.nHeight), QSize(320, 240));
        QCOMPARE(info.nFrameRateMilli, 25000);
    }

    // The range of each kind of clip is checked where the playlist's thread reads it.
    void globalTimeRange() {
        FILE_INFO_SYNC range{};
        QVERIFY(CPlayHelper::GetFileGlobalTimeRange(Media("h264_aac.mp4"), &range));
        QCOMPARE(Text(range.stBegin), kRecorded);
        const uint32_t nMs = CPlayHelper::GetTimeSpanMS(&range.stBegin, &range.stEnd);
        QVERIFY2(nMs >= 1900 && nMs <= 2200, qPrintable(QString::number(nMs)));
        QVERIFY(!CPlayHelper::GetFileGlobalTimeRange(Media("h264_aac.mp4"), nullptr));
        for (const char* p : {"text.mp4", "empty.mp4", "no_such_file.mp4"})
            QVERIFY2(!CPlayHelper::GetFileGlobalTimeRange(Media(p), &range), p);
        QTemporaryDir dir;
        // The form with an underscore between date and time, over a year's end.
        const QString strCopy = dir.filePath(QStringLiteral("cam2_20231231_235959.ts"));
        QVERIFY(QFile::copy(Media("ch01_20240315102030.ts"), strCopy));
        QVERIFY(CPlayHelper::GetFileGlobalTimeRange(strCopy, &range));
        QCOMPARE(Text(range.stBegin), QStringLiteral("2023-12-31 23:59:59.000"));
        QCOMPARE(Text(range.stEnd).left(10), QStringLiteral("2024-01-01"));
        // A stamp that is not a real date does not count.
        const QString strBad = dir.filePath(QStringLiteral("cam_20230230102030.mkv"));
        QVERIFY(QFile::copy(Media("sine1k.mkv"), strBad));
        QVERIFY(!CPlayHelper::GetFileGlobalTimeRange(strBad, &range));
    }

    void synchronousGroup() {
        std::vector<QString> files{Media("h264_aac.mp4"), Media("ch01_20240315102030.ts"), Media("mpeg4.mp4")};
        FILE_INFO_SYNC first{};
        FILE_INFO_SYNC last{};
        std::vector<FILE_INFO_SYNC> ranges;
        QVERIFY(CPlayHelper::IsSynchronizeFiles(files, &first, &last, ranges));
        QCOMPARE(int(ranges.size()), 3);
        QCOMPARE(Text(first.stBegin), kRecorded);
        for (const FILE_INFO_SYNC& r : ranges) {
            QVERIFY(!CPlayHelper::IsOneTimeEarly(&r.stBegin, &first.stBegin));
            QVERIFY(!CPlayHelper::IsOneTimeEarly(&last.stEnd, &r.stEnd));
        }
        files.push_back(Media("sine1k.mkv")); // no global time: the group cannot play together
        QVERIFY(!CPlayHelper::IsSynchronizeFiles(files, &first, &last, ranges));
        QVERIFY(ranges.empty());
    }

    void encryption() {
        for (const char* p : {"h264_aac.mp4", "hevc.mkv", "ch01_20240315102030.ts", "mpeg4.mp4", "text.mp4",
                              "random.mp4", "empty.mp4", "truncated.mp4"}) {
            bool bEncrypted = true;
            QVERIFY2(CPlayHelper::IsEncryption(Media(p), &bEncrypted) && !bEncrypted, p);
        }
        bool bEncrypted = true;
        QVERIFY(!CPlayHelper::IsEncryption(Media("no_such_file.mp4"), &bEncrypted));
        QVERIFY(!bEncrypted);

        // Common encryption, whole and fragmented (the protection then sits in
        // the fragments and a moov without pssh).
        QTemporaryDir dir;
        const QStringList lstCenc = {"-c", "copy", "-encryption_scheme", "cenc-aes-ctr", "-encryption_key",
                                     "00112233445566778899aabbccddeeff", "-encryption_kid",
                                     "a0a1a2a3a4a5a6a7a8a9aaabacadaeaf"};
        const QString strOut = dir.filePath(QStringLiteral("enc.mp4"));
        const QString strFrag = dir.filePath(QStringLiteral("enc_frag.mp4"));
        QVERIFY(RunFfmpeg(QStringList{"-i", Media("h264_aac.mp4")} + lstCenc + QStringList{strOut}));
        QVERIFY(RunFfmpeg(QStringList{"-i", Media("h264_aac.mp4"), "-movflags", "frag_keyframe+empty_moov"} + lstCenc +
                          QStringList{strFrag}));
        for (const QString& strPath : {strOut, strFrag}) {
            bEncrypted = false;
            QVERIFY2(CPlayHelper::IsEncryption(strPath, &bEncrypted) && bEncrypted, qPrintable(strPath));
        }
    }

    void fisheyeMaterial() {
        QTemporaryDir dir;
        const QString strNamed = dir.filePath(QStringLiteral("lobby_fisheye.mp4"));
        const QString strTagged = dir.filePath(QStringLiteral("lobby.mkv"));
        QVERIFY(QFile::copy(Media("h264_aac.mp4"), strNamed));
        QVERIFY(RunFfmpeg({"-i", Media("hevc.mkv"), "-c", "copy", "-metadata", "fisheye=1", strTagged}));
        const QList<QPair<QString, bool>> cases = {{Media("h264_aac.mp4"), false},
                                                   {"rtsp://10.0.0.1/stream1", false},
                                                   {"rtsp://10.0.0.1/cam_FISHEYE", true},
                                                   {strNamed, true},
                                                   {strTagged, true}};
        for (const auto& c : cases) {
            bool bSR = !c.second;
            QVERIFY2(CPlayHelper::IsSRFile(c.first, &bSR) && bSR == c.second, qPrintable(c.first));
        }
        QVERIFY(!CPlayHelper::IsSRFile(Media("h264_aac.mp4"), nullptr));
    }
};

QTEST_GUILESS_MAIN(TestFileFacts)
#include "tst_file_facts.moc"
