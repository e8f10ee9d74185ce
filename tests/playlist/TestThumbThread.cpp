// The thumbnail thread: frame reduction, facts and pictures against the ffmpeg tool, queue.
#include "GetThumbThread.h"

#include "CPlayHelper.h"
#include "NorvantaDS.h"
#include "Tavrix.h"

#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdlib>
#include <vector>

namespace {

constexpr int kW = GetThumbThread::THUMB_WIDTH;
constexpr int kH = GetThumbThread::THUMB_HEIGHT;
// Worst case per file is the thread's 4 s wait plus opening and closing.
constexpr int kResultTimeoutMs = 30000;

QString MediaPath(const QString& strName) {
    const QByteArray dir = qgetenv("VELQUIN_MEDIA_DIR");
    return QString::fromLocal8Bit(dir.isEmpty() ? QByteArray(VELQUIN_MEDIA_DIR) : dir) + "/" + strName;
}

bool RunFfmpeg(const QStringList& args) {
    QProcess process;
    process.start("ffmpeg", QStringList{"-hide_banner", "-loglevel", "error", "-nostdin", "-y"} + args);
    return process.waitForFinished(60000) && process.exitCode() == 0;
}

// A YV12 frame of one colour per plane.
std::vector<uint8_t> FlatYv12(int nW, int nH, uint8_t nY, uint8_t nV, uint8_t nU) {
    const size_t nLuma = static_cast<size_t>(nW) * nH;
    std::vector<uint8_t> frame(nLuma * 3 / 2, nU);
    std::fill(frame.begin(), frame.begin() + nLuma, nY);
    std::fill(frame.begin() + nLuma, frame.begin() + nLuma * 5 / 4, nV);
    return frame;
}

uint32_t DownSample(const std::vector<uint8_t>& src, int nW, int nH, std::vector<uint8_t>* pDst) {
    pDst->assign(static_cast<size_t>(kW) * kH * 3 / 2, 0xEE);
    NORVANTADS_DOWNSMP_PARAM param{src.data(), nW, nH, pDst->data(), kW, kH};
    return NorvantaDS_DownSmpOneFrame(&param);
}

struct Result {
    Item_FileInfo info;
    QImage image;
};

// Counts results on the test's thread (queued: one published before the wait counts).
class ResultCounter : public QObject {
public:
    explicit ResultCounter(GetThumbThread& thread) {
        connect(&thread, &GetThumbThread::Sig_FileInfoReady, this, [this] { ++m_nResults; },
                Qt::QueuedConnection);
    }
    bool WaitFor(int nResults) {
        return QTest::qWaitFor([&] { return m_nResults >= nResults; }, kResultTimeoutMs);
    }
    int Count() const { return m_nResults; }

private:
    int m_nResults = 0;
};

// Runs one file through the thread, taking the result as the playlist does.
Result Examine(GetThumbThread& thread, const QString& strPath, const QString& strKey = QString()) {
    Result result;
    ResultCounter counter(thread);
    if (!thread.AddFile(strPath, strKey))
        return result;
    if (!thread.isRunning())
        thread.start(QThread::InheritPriority);
    if (!counter.WaitFor(1) || !thread.TakeFileInfo(&result.info, &result.image))
        result.info.strFilePath = QStringLiteral("no result");
    return result;
}

// The tool's frame nFrame cropped to a multiple of 4, area-scaled and padded as the thread does.
QImage ToolThumbnail(const QString& strPath, int nSrcW, int nSrcH, int nFrame) {
    NORVANTADS_PLACEMENT place{};
    if (!NorvantaDS_GetPlacement(nSrcW & ~3, nSrcH & ~3, kW, kH, &place))
        return QImage();
    const QString strFilter =
        QString("select=eq(n\\,%1),crop=iw-mod(iw\\,4):ih-mod(ih\\,4):0:0,format=yuv420p,"
                "scale=%2:%3:flags=area,pad=%4:%5:%6:%7:black,format=yuv420p")
            .arg(nFrame).arg(place.nWidth).arg(place.nHeight).arg(kW).arg(kH).arg(place.nLeft).arg(place.nTop);
    QProcess process;
    process.start("ffmpeg", {"-hide_banner", "-loglevel", "error", "-nostdin", "-i", strPath, "-vf", strFilter,
                             "-frames:v", "1", "-pix_fmt", "rgb24", "-f", "rawvideo", "-"});
    if (!process.waitForFinished(60000) || process.exitCode() != 0)
        return QImage();
    const QByteArray rgb = process.readAllStandardOutput();
    if (rgb.size() != kW * kH * 3)
        return QImage();
    return QImage(reinterpret_cast<const uchar*>(rgb.constData()), kW, kH, kW * 3, QImage::Format_RGB888).copy();
}

// Mean absolute difference over all pixels and the three colours, 0..255.
double MeanAbsDiff(const QImage& a, const QImage& b) {
    const QImage ca = a.convertToFormat(QImage::Format_RGB888);
    const QImage cb = b.convertToFormat(QImage::Format_RGB888);
    if (ca.size() != cb.size())
        return 255.0;
    double dSum = 0;
    for (int y = 0; y < ca.height(); ++y)
        for (int x = 0; x < ca.width() * 3; ++x)
            dSum += std::abs(int(ca.constScanLine(y)[x]) - int(cb.constScanLine(y)[x]));
    return dSum / (ca.width() * ca.height() * 3);
}

// Measured 0.0 (room for another FFmpeg's rounding); the frame a second later is 2.6 to 14 off.
constexpr double kMaxMeanAbsDiff = 0.5;
constexpr int kWrongFrame = 25;

} // namespace

class TestThumbThread : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    GetThumbThread m_thread;

private slots:
    void downSampleRefusesBadInput() {
        QCOMPARE(NorvantaDS_DownSmpOneFrame(nullptr), 0x80000001u);
        std::vector<uint8_t> dst;
        // Narrower than the thumbnail, a height not a multiple of 4, smaller than it.
        QCOMPARE(DownSample(FlatYv12(92, 64, 1, 2, 3), 92, 64, &dst), 0x80000000u);
        QCOMPARE(DownSample(FlatYv12(100, 66, 1, 2, 3), 100, 66, &dst), 0x80000000u);
        QCOMPARE(DownSample(FlatYv12(96, 60, 1, 2, 3), 96, 60, &dst), 0x80000000u);
        // Refused frames leave the destination untouched.
        QVERIFY(std::all_of(dst.begin(), dst.end(), [](uint8_t n) { return n == 0xEE; }));
    }

    void downSamplePlacesPicture_data() {
        QTest::addColumn<int>("nSrcW");
        QTest::addColumn<int>("nSrcH");
        QTest::addColumn<QRect>("rcPicture");
        // 16:9: the 32-bit aspect puts the height just under 54: 4 rows, 52, 8.
        QTest::newRow("1920x1080") << 1920 << 1080 << QRect(0, 4, 96, 52);
        QTest::newRow("704x576") << 704 << 576 << QRect(8, 0, 78, 64); // D1: 8 columns, 78, 10
        QTest::newRow("320x240") << 320 << 240 << QRect(4, 0, 84, 64);
        QTest::newRow("1440x960") << 1440 << 960 << QRect(0, 0, 96, 64); // the thumbnail's shape: no bars
        QTest::newRow("96x64") << 96 << 64 << QRect(0, 0, 96, 64);
    }
    void downSamplePlacesPicture() {
        QFETCH(int, nSrcW);
        QFETCH(int, nSrcH);
        QFETCH(QRect, rcPicture);
        // A flat picture survives the averaging inside its area; black outside.
        const uint8_t anValue[3] = {200, 60, 170}; // Y, V, U
        const uint8_t anBlack[3] = {0, 128, 128};
        std::vector<uint8_t> dst;
        QCOMPARE(DownSample(FlatYv12(nSrcW, nSrcH, anValue[0], anValue[1], anValue[2]), nSrcW, nSrcH, &dst), 1u);
        const uint8_t* apPlane[3] = {dst.data(), dst.data() + kW * kH, dst.data() + kW * kH * 5 / 4};
        for (int nPlane = 0; nPlane < 3; ++nPlane) {
            const int nScale = nPlane == 0 ? 1 : 2;
            const QRect rc(rcPicture.topLeft() / nScale, rcPicture.size() / nScale);
            for (int y = 0; y < kH / nScale; ++y) {
                for (int x = 0; x < kW / nScale; ++x) {
                    const int n = apPlane[nPlane][y * (kW / nScale) + x];
                    if (rc.contains(x, y) ? std::abs(n - anValue[nPlane]) > 1 : n != anBlack[nPlane])
                        QFAIL(qPrintable(QString("plane %1: %2 at %3,%4").arg(nPlane).arg(n).arg(x).arg(y)));
                }
            }
        }
        NORVANTADS_PLACEMENT place{};
        QVERIFY(NorvantaDS_GetPlacement(nSrcW, nSrcH, kW, kH, &place));
        QCOMPARE(QRect(place.nLeft, place.nTop, place.nWidth, place.nHeight), rcPicture);
    }

    void convertToBmpKeepsOrientationAndColour() {
        // Top half red, bottom half blue (BT.601 limited range), in YV12: V first.
        std::vector<uint8_t> yv12(kW * kH * 3 / 2);
        uint8_t* pY = yv12.data();
        uint8_t* pV = pY + kW * kH;
        uint8_t* pU = pV + kW * kH / 4;
        for (int y = 0; y < kH; ++y) {
            const bool bTop = y < kH / 2;
            std::fill(pY + y * kW, pY + (y + 1) * kW, bTop ? 81 : 41);
            if (y % 2 == 0) {
                std::fill(pV + (y / 2) * (kW / 2), pV + (y / 2 + 1) * (kW / 2), bTop ? 240 : 110);
                std::fill(pU + (y / 2) * (kW / 2), pU + (y / 2 + 1) * (kW / 2), bTop ? 90 : 240);
            }
        }
        const char* pIn = reinterpret_cast<const char*>(yv12.data());
        const int32_t nIn = int32_t(yv12.size());
        std::vector<char> bmp(kW * kH * 5);
        const int32_t nOut = int32_t(bmp.size());
        int32_t nLen = 0;
        QVERIFY(Tavrix_ConvertToBmp(pIn, nIn, kW, kH, 3, bmp.data(), nOut, &nLen));
        // 54 bytes of headers and 64 rows of 288 bytes (96 x 3, already a multiple of 4).
        QCOMPARE(nLen, 54 + 288 * 64);
        QImage image;
        QVERIFY(image.loadFromData(reinterpret_cast<const uchar*>(bmp.data()), nLen, "BMP"));
        QCOMPARE(image.size(), QSize(kW, kH));
        const QColor top = image.pixelColor(10, 5);
        const QColor bottom = image.pixelColor(10, kH - 5);
        QVERIFY2(top.red() > 230 && top.green() < 25 && top.blue() < 25, qPrintable(top.name()));
        QVERIFY2(bottom.blue() > 230 && bottom.red() < 25 && bottom.green() < 25, qPrintable(bottom.name()));

        // A width whose rows need padding: 90 x 3 = 270 bytes, padded to 272.
        std::vector<uint8_t> small(90 * 4 * 3 / 2, 128);
        QVERIFY(Tavrix_ConvertToBmp(reinterpret_cast<const char*>(small.data()), int32_t(small.size()), 90, 4, 3,
                                    bmp.data(), nOut, &nLen));
        QCOMPARE(nLen, 54 + 272 * 4);
        // Too little room, too little input, another frame type, an odd size.
        QVERIFY(!Tavrix_ConvertToBmp(pIn, nIn, kW, kH, 3, bmp.data(), 54 + 288 * 64 - 1, &nLen));
        QVERIFY(!Tavrix_ConvertToBmp(pIn, 9215, kW, kH, 3, bmp.data(), nOut, &nLen));
        QVERIFY(!Tavrix_ConvertToBmp(pIn, nIn, kW, kH, 101, bmp.data(), nOut, &nLen));
        QVERIFY(!Tavrix_ConvertToBmp(pIn, nIn, 95, 64, 3, bmp.data(), nOut, &nLen));
    }

    void initTestCase() {
        QVERIFY(m_dir.isValid());
        // An export without creation time or stamp; 854x480, a width no multiple of 4.
        QVERIFY(RunFfmpeg({"-i", MediaPath("h264_aac.mp4"), "-c", "copy", "-map_metadata", "-1",
                           m_dir.filePath("export_clip.mp4")}));
        QVERIFY(RunFfmpeg({"-f", "lavfi", "-i", "testsrc2=size=854x480:rate=25:duration=1", "-c:v", "libx264",
                           "-pix_fmt", "yuv420p", "-metadata", "creation_time=2024-03-15T10:20:30.000000Z",
                           m_dir.filePath("cam_854x480.mp4")}));
    }

    // Every kind of file through one thread in order: it goes on after bad files, forgets keys.
    void examinedFacts_data() {
        QTest::addColumn<QString>("strPath");
        QTest::addColumn<QString>("strKey");
        QTest::addColumn<QString>("strKind"); // "plain", "encrypted" or "invalid"
        QTest::addColumn<bool>("bPicture");
        QTest::addColumn<int>("nSeconds");
        QTest::addColumn<QString>("strBegin"); // of the global time; empty: none
        const QString strRecorded = QStringLiteral("2024-03-15 10:20:30");
        auto plain = [](const char* szRow, const QString& strPath, int nSeconds, const QString& strBegin) {
            QTest::newRow(szRow) << strPath << QString() << "plain" << true << nSeconds << strBegin;
        };
        auto encrypted = [](const char* szRow, const QString& strPath, const QString& strKey, bool bPicture) {
            QTest::newRow(szRow) << strPath << strKey << "encrypted" << bPicture << 2 << QString();
        };
        // Clips that play and carry a global time (creation time or a stamp in the name).
        for (const char* szName : {"h264_aac.mp4", "hevc.mkv", "ch01_20240315102030.ts", "mpeg4.mp4"})
            plain(szName, MediaPath(szName), 2, strRecorded);
        plain("D1", MediaPath("ch02_20240315103000_20240315103010.mp4"), 10, "2024-03-15 10:30:00");
        plain("1080p", MediaPath("ch03_20240315110000_20240315110002.mp4"), 2, "2024-03-15 11:00:00");
        plain("854x480", m_dir.filePath("cam_854x480.mp4"), 1, strRecorded);
        // Clips without a global time play all the same: only the range stays empty.
        plain("export", m_dir.filePath("export_clip.mp4"), 2, QString());
        plain("sound clip", MediaPath("sine1k.mkv"), 4, QString());
        plain("AVI", MediaPath("mjpeg.avi"), 2, QString());
        // Missing or not media: invalid, with the size known where there is a file.
        for (const char* szName : {"no_such_clip_20240315102030.mp4", "empty.mp4", "text.mp4", "random.mp4"})
            QTest::newRow(szName) << MediaPath(szName) << QString() << "invalid" << false << -1 << QString();
        plain("after bad files", MediaPath("silent_h264.mp4"), 2, strRecorded);
        // Encrypted: a picture only with the right key, which comes back with the record.
        const QString strEnc = MediaPath("enc_velquin123.mp4");
        encrypted("no key", strEnc, QString(), false);
        encrypted("right key", strEnc, "velquin123", true);
        encrypted("wrong key", strEnc, "wrongkey", false);
        encrypted("16-character key used whole", MediaPath("enc_abcdefghijklmnop.mp4"), "abcdefghijklmnop", true);
        encrypted("key not kept", strEnc, QString(), false);
        plain("clear after encrypted", MediaPath("h264_aac.mp4"), 2, strRecorded);
    }
    void examinedFacts() {
        QFETCH(QString, strPath);
        QFETCH(QString, strKey);
        QFETCH(QString, strKind);
        QFETCH(bool, bPicture);
        QFETCH(int, nSeconds);
        QFETCH(QString, strBegin);
        const Result result = Examine(m_thread, strPath, strKey);
        const Item_FileInfo& info = result.info;
        QCOMPARE(info.strFilePath, strPath);
        QVERIFY(info.bInfoReady);
        QCOMPARE(info.bInvalid, strKind == "invalid");
        QCOMPARE(info.bEncrypted, strKind == "encrypted");
        QCOMPARE(info.nMediaType, strKind == "invalid" ? 0 : 1);
        QCOMPARE(info.nFileSize, uint64_t(QFileInfo(strPath).size()));
        QCOMPARE(result.image.isNull(), !bPicture);
        if (bPicture && !strKey.isEmpty())
            QCOMPARE(info.strDecryptKey, strKey);
        if (strKind == "invalid")
            return;
        QCOMPARE(int(info.nFileTime), nSeconds);
        if (strKind == "encrypted")
            return;
        const TAVRIX_SYSTEM_TIME& b = info.stGlobalTime.stBegin;
        if (strBegin.isEmpty()) {
            QVERIFY(!CPlayHelper::IsSystemTimeValid(&b) && !CPlayHelper::IsSystemTimeValid(&info.stGlobalTime.stEnd));
        } else {
            QCOMPARE(QString::asprintf("%04d-%02d-%02d %02d:%02d:%02d", b.nYear, b.nMonth, b.nDay, b.nHour,
                                       b.nMinute, b.nSecond),
                     strBegin);
            QCOMPARE(CPlayHelper::GetTimeSpan_Second(&b, &info.stGlobalTime.stEnd), uint64_t(nSeconds));
        }
        if (!bPicture)
            return;
        QCOMPARE(result.image.size(), QSize(kW, kH));
        if (strKind != "plain" || strBegin.isEmpty())
            return;
        // The tool's first frame, and a later frame is far off.
        _FA_FILE_INFO_ fa{};
        QVERIFY(CPlayHelper::AnalyzeFileInfo(strPath, &fa));
        const QImage truth = ToolThumbnail(strPath, fa.nWidth, fa.nHeight, 0);
        QVERIFY(!truth.isNull());
        const double dDiff = MeanAbsDiff(result.image, truth);
        QVERIFY2(dDiff <= kMaxMeanAbsDiff, qPrintable(QString::number(dDiff)));
        if (nSeconds >= 2) {
            const double dWrong = MeanAbsDiff(result.image, ToolThumbnail(strPath, fa.nWidth, fa.nHeight, kWrongFrame));
            QVERIFY2(dWrong > 4 * kMaxMeanAbsDiff, qPrintable(QString::number(dWrong)));
        }
    }

    void queueRules() {
        GetThumbThread thread; // not started: the queue only collects
        QVERIFY(!thread.AddFile(QString(), QString()));
        QVERIFY(!thread.AddFileFirst(QString(), QString()));
        QVERIFY(!thread.RemoveFile(QString()));
        const QString a = MediaPath("enc_velquin123.mp4"), b = MediaPath("h264_aac.mp4"), c = MediaPath("hevc.mkv");
        QVERIFY(thread.AddFile(a, "wrongkey"));
        QVERIFY(thread.AddFile(b, QString()));
        QVERIFY(thread.AddFile(c, QString()));
        // The same path again: one entry, at the later position.
        QVERIFY(thread.AddFile(b, QString()));
        QCOMPARE(thread.QueuedFiles(), QList<QString>({a, c, b}));
        // Paths compare case-sensitively.
        QVERIFY(thread.AddFile(c.toUpper(), QString()));
        QCOMPARE(thread.QueuedFiles().size(), 4);
        QVERIFY(thread.RemoveFile(c.toUpper()));
        // AddFileFirst moves a waiting file to the head and replaces its key.
        QVERIFY(thread.AddFileFirst(b, QString()));
        QVERIFY(thread.AddFileFirst(a, "velquin123"));
        QCOMPARE(thread.QueuedFiles(), QList<QString>({a, b, c}));

        // Results come one at a time, in queue order, with the replaced key used.
        ResultCounter counter(thread);
        thread.start(QThread::InheritPriority);
        QStringList order;
        Result first;
        for (int i = 0; i < 3; ++i) {
            QVERIFY(counter.WaitFor(i + 1));
            // The next result waits for TakeFileInfo.
            QVERIFY(!QTest::qWaitFor([&] { return counter.Count() > i + 1; }, 300));
            Result result;
            QVERIFY(thread.TakeFileInfo(&result.info, &result.image));
            if (i == 0)
                first = result;
            order << result.info.strFilePath;
        }
        QCOMPARE(order, QStringList({a, b, c}));
        QCOMPARE(first.info.strDecryptKey, QString("velquin123"));
        QVERIFY(!first.image.isNull());
        QVERIFY(!thread.TakeFileInfo(nullptr, &first.image));

        // ClearFiles empties the queue; StopThread ends the thread.
        QVERIFY(thread.AddFile(a, QString()));
        thread.ClearFiles();
        QVERIFY(thread.QueuedFiles().isEmpty());
        thread.StopThread();
        QVERIFY(thread.isFinished());
    }
};

QTEST_MAIN(TestThumbThread)
#include "TestThumbThread.moc"
