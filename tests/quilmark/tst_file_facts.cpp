// File facts read from real media: playable or not, the global time range used
// by synchronous play and the time search, encryption, fisheye material.
#include "CPlayHelper.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QString MediaDir() {
    const QByteArray baEnv = qgetenv("VELQUIN_MEDIA_DIR");
    return baEnv.isEmpty() ? QStringLiteral(VELQUIN_MEDIA_DIR) : QString::fromLocal8Bit(baEnv);
}

QString Media(const char* pName) {
    return QDir(MediaDir()).filePath(QLatin1String(pName));
}

// Runs the ffmpeg tool; false when it is missing or fails.
bool RunFfmpeg(const QStringList& args) {
    const QString strTool = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
    if (strTool.isEmpty())
        return false;
    QProcess proc;
    proc.start(strTool, QStringList{"-hide_banner", "-loglevel", "error", "-nostdin", "-y"} + args);
    return proc.waitForFinished(60000) && proc.exitStatus() == QProcess::NormalExit && proc.exitCode() == 0;
}

bool Same(const TAVRIX_SYSTEM_TIME& a, const TAVRIX_SYSTEM_TIME& b) {
    return a.nYear == b.nYear && a.nMonth == b.nMonth && a.nDay == b.nDay && a.nHour == b.nHour &&
           a.nMinute == b.nMinute && a.nSecond == b.nSecond && a.nMilliseconds == b.nMilliseconds;
}

const TAVRIX_SYSTEM_TIME kRecorded{2024, 3, 15, 10, 20, 30, 0}; // creation time of the clips

} // namespace

class TestFileFacts : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        if (!QFile::exists(Media("h264_aac.mp4")))
            QFAIL(qPrintable("test media missing in " + MediaDir()));
    }

    void CheckFile_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("playable");
        for (const char* p : {"h264_aac.mp4", "hevc.mkv", "ch01_20240315102030.ts", "mjpeg.avi", "mpeg4.mp4",
                              "silent_h264.mp4", "sine1k.mkv"})
            QTest::newRow(p) << QString::fromLatin1(p) << true;
        for (const char* p : {"empty.mp4", "text.mp4", "random.mp4", "no_such_file.mp4"})
            QTest::newRow(p) << QString::fromLatin1(p) << false;
    }
    void CheckFile() {
        QFETCH(QString, name);
        QFETCH(bool, playable);
        QCOMPARE(CPlayHelper::CheckFile(Media(name.toLatin1().constData())), playable);
    }

    void ContainerAndCodecs_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<uint>("system");
        QTest::addColumn<uint>("video");
        QTest::addColumn<uint>("audio");
        QTest::newRow("mp4") << "h264_aac.mp4" << uint(FA_SYSTEM_ISO_MEDIA) << uint(FA_VIDEO_H264)
                             << uint(FA_AUDIO_AAC);
        QTest::newRow("ts") << "ch01_20240315102030.ts" << uint(FA_SYSTEM_TS) << uint(FA_VIDEO_H264)
                            << uint(FA_AUDIO_AAC);
        QTest::newRow("mkv") << "hevc.mkv" << uint(FA_SYSTEM_MATROSKA) << uint(FA_VIDEO_H265)
                             << uint(FA_AUDIO_AAC);
        QTest::newRow("avi") << "mjpeg.avi" << uint(FA_SYSTEM_AVI) << uint(FA_VIDEO_MJPEG)
                             << uint(FA_AUDIO_PCM);
        QTest::newRow("mpeg4") << "mpeg4.mp4" << uint(FA_SYSTEM_ISO_MEDIA) << uint(FA_VIDEO_MPEG4)
                               << uint(FA_AUDIO_AAC);
        QTest::newRow("silent") << "silent_h264.mp4" << uint(FA_SYSTEM_ISO_MEDIA) << uint(FA_VIDEO_H264)
                                << uint(FA_AUDIO_NONE);
    }
    void ContainerAndCodecs() {
        QFETCH(QString, name);
        QFETCH(uint, system);
        QFETCH(uint, video);
        QFETCH(uint, audio);
        _FA_FILE_INFO_ info{};
        QVERIFY(CPlayHelper::AnalyzeFileInfo(Media(name.toLatin1().constData()), &info));
        QCOMPARE(uint(info.nSystemFormat), system);
        QCOMPARE(uint(info.nVideoFormat), video);
        QCOMPARE(uint(info.nAudioFormat), audio);
        QCOMPARE(info.nWidth, 320);
        QCOMPARE(info.nHeight, 240);
        QCOMPARE(info.nFrameRateMilli, 25000);
    }

    void AnalyzeRefusesNonMedia() {
        _FA_FILE_INFO_ info{};
        info.nVideoFormat = 77;
        QVERIFY(!CPlayHelper::AnalyzeFileInfo(Media("text.mp4"), &info));
        QVERIFY(!CPlayHelper::AnalyzeFileInfo(Media("empty.mp4"), &info));
        QVERIFY(!CPlayHelper::AnalyzeFileInfo(Media("no_such_file.mp4"), &info));
        QCOMPARE(info.nVideoFormat, 77u); // untouched
    }

    void RangeFromCreationTime() {
        FILE_INFO_SYNC range{};
        QVERIFY(CPlayHelper::GetFileGlobalTimeRange(Media("h264_aac.mp4"), &range));
        QVERIFY(Same(range.stBegin, kRecorded));
        // Two seconds of footage.
        const uint32_t nMs = CPlayHelper::GetTimeSpanMS(&range.stBegin, &range.stEnd);
        QVERIFY2(nMs >= 1900 && nMs <= 2200, qPrintable(QString::number(nMs)));

        QVERIFY(CPlayHelper::GetFileGlobalTimeRange(Media("hevc.mkv"), &range));
        QVERIFY(Same(range.stBegin, kRecorded));
    }

    void RangeFromTheFileName() {
        // The transport stream carries no creation time; its name does.
        FILE_INFO_SYNC range{};
        QVERIFY(CPlayHelper::GetFileGlobalTimeRange(Media("ch01_20240315102030.ts"), &range));
        QVERIFY(Same(range.stBegin, kRecorded));
        const uint32_t nMs = CPlayHelper::GetTimeSpanMS(&range.stBegin, &range.stEnd);
        QVERIFY2(nMs >= 1800 && nMs <= 2300, qPrintable(QString::number(nMs)));

        // The form with an underscore between date and time, on a copy.
        QTemporaryDir dir;
        const QString strCopy = dir.filePath(QStringLiteral("cam2_20231231_235959.ts"));
        QVERIFY(QFile::copy(Media("ch01_20240315102030.ts"), strCopy));
        QVERIFY(CPlayHelper::GetFileGlobalTimeRange(strCopy, &range));
        QVERIFY(Same(range.stBegin, (TAVRIX_SYSTEM_TIME{2023, 12, 31, 23, 59, 59, 0})));
        QCOMPARE(range.stEnd.nYear, 2024); // two seconds later: the next year
        QCOMPARE(range.stEnd.nDay, 1);
    }

    void NoRange() {
        FILE_INFO_SYNC range{};
        QVERIFY(!CPlayHelper::GetFileGlobalTimeRange(Media("sine1k.mkv"), &range)); // neither tag nor name
        QVERIFY(
            !CPlayHelper::GetFileGlobalTimeRange(Media("mjpeg.avi"), &range)); // AVI keeps no creation time
        QVERIFY(!CPlayHelper::GetFileGlobalTimeRange(Media("text.mp4"), &range));
        QVERIFY(!CPlayHelper::GetFileGlobalTimeRange(Media("empty.mp4"), &range));
        QVERIFY(!CPlayHelper::GetFileGlobalTimeRange(Media("no_such_file.mp4"), &range));
        QVERIFY(!CPlayHelper::GetFileGlobalTimeRange(Media("h264_aac.mp4"), nullptr));

        // A stamp that is not a real date does not count.
        QTemporaryDir dir;
        const QString strCopy = dir.filePath(QStringLiteral("cam_20230230102030.mkv"));
        QVERIFY(QFile::copy(Media("sine1k.mkv"), strCopy));
        QVERIFY(!CPlayHelper::GetFileGlobalTimeRange(strCopy, &range));
    }

    void SynchronousGroup() {
        std::vector<QString> files{Media("h264_aac.mp4"), Media("ch01_20240315102030.ts"),
                                   Media("mpeg4.mp4")};
        FILE_INFO_SYNC first{};
        FILE_INFO_SYNC last{};
        std::vector<FILE_INFO_SYNC> ranges;
        QVERIFY(CPlayHelper::IsSynchronizeFiles(files, &first, &last, ranges));
        QCOMPARE(int(ranges.size()), 3);
        QVERIFY(Same(first.stBegin, kRecorded));
        for (const FILE_INFO_SYNC& r : ranges) {
            QVERIFY(!CPlayHelper::IsOneTimeEarly(&r.stBegin, &first.stBegin));
            QVERIFY(!CPlayHelper::IsOneTimeEarly(&last.stEnd, &r.stEnd));
        }

        files.push_back(Media("sine1k.mkv")); // no global time: the group cannot play together
        QVERIFY(!CPlayHelper::IsSynchronizeFiles(files, &first, &last, ranges));
        QVERIFY(ranges.empty());
    }

    void OrdinaryFilesAreNotEncrypted() {
        for (const char* p : {"h264_aac.mp4", "hevc.mkv", "ch01_20240315102030.ts", "mpeg4.mp4", "text.mp4",
                              "random.mp4", "empty.mp4", "truncated.mp4"}) {
            bool bEncrypted = true;
            QVERIFY2(CPlayHelper::IsEncryption(Media(p), &bEncrypted), p);
            QVERIFY2(!bEncrypted, p);
        }
        bool bEncrypted = true;
        QVERIFY(!CPlayHelper::IsEncryption(Media("no_such_file.mp4"), &bEncrypted));
        QVERIFY(!bEncrypted);
    }

    void EncryptedMp4() {
        QTemporaryDir dir;
        const QString strOut = dir.filePath(QStringLiteral("enc.mp4"));
        if (!RunFfmpeg({"-i", Media("h264_aac.mp4"), "-c", "copy", "-encryption_scheme", "cenc-aes-ctr",
                        "-encryption_key", "00112233445566778899aabbccddeeff", "-encryption_kid",
                        "a0a1a2a3a4a5a6a7a8a9aaabacadaeaf", strOut}))
            QSKIP("the ffmpeg tool could not make an encrypted file");
        bool bEncrypted = false;
        QVERIFY(CPlayHelper::IsEncryption(strOut, &bEncrypted));
        QVERIFY(bEncrypted);

        // Fragmented encrypted file: the protection sits in fragments and pssh-less moov.
        const QString strFrag = dir.filePath(QStringLiteral("enc_frag.mp4"));
        if (RunFfmpeg({"-i", Media("h264_aac.mp4"), "-c", "copy", "-movflags", "frag_keyframe+empty_moov",
                       "-encryption_scheme", "cenc-aes-ctr", "-encryption_key",
                       "00112233445566778899aabbccddeeff", "-encryption_kid",
                       "a0a1a2a3a4a5a6a7a8a9aaabacadaeaf", strFrag})) {
            bEncrypted = false;
            QVERIFY(CPlayHelper::IsEncryption(strFrag, &bEncrypted));
            QVERIFY(bEncrypted);
        }
    }

    void FisheyeMaterial() {
        bool bSR = true;
        QVERIFY(CPlayHelper::IsSRFile(Media("h264_aac.mp4"), &bSR));
        QVERIFY(!bSR);
        QVERIFY(CPlayHelper::IsSRFile(QStringLiteral("rtsp://10.0.0.1/stream1"), &bSR));
        QVERIFY(!bSR);
        QVERIFY(CPlayHelper::IsSRFile(QStringLiteral("rtsp://10.0.0.1/cam_FISHEYE"), &bSR));
        QVERIFY(bSR);
        QVERIFY(!CPlayHelper::IsSRFile(Media("h264_aac.mp4"), nullptr));

        QTemporaryDir dir;
        const QString strNamed = dir.filePath(QStringLiteral("lobby_fisheye.mp4"));
        QVERIFY(QFile::copy(Media("h264_aac.mp4"), strNamed));
        bSR = false;
        QVERIFY(CPlayHelper::IsSRFile(strNamed, &bSR));
        QVERIFY(bSR);

        const QString strTagged = dir.filePath(QStringLiteral("lobby.mkv"));
        if (!RunFfmpeg({"-i", Media("hevc.mkv"), "-c", "copy", "-metadata", "fisheye=1", strTagged}))
            QSKIP("the ffmpeg tool could not tag a file");
        bSR = false;
        QVERIFY(CPlayHelper::IsSRFile(strTagged, &bSR));
        QVERIFY(bSR);
    }
};

QTEST_GUILESS_MAIN(TestFileFacts)
#include "tst_file_facts.moc"
