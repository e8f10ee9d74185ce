// The playlist's thumbnail thread: the frame reduction it relies on, the facts
// and pictures it publishes for every kind of clip, its queue, and its
// thumbnails against the ffmpeg tool's first frame reduced the same way.
#include "GetThumbThread.h"

#include "CPlayHelper.h"
#include "NorvantaDS.h"
#include "Tavrix.h"

#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QSignalSpy>
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

// A YV12 frame of one colour per plane.
std::vector<uint8_t> FlatYv12(int nW, int nH, uint8_t nY, uint8_t nV, uint8_t nU) {
    std::vector<uint8_t> frame(static_cast<size_t>(nW) * nH * 3 / 2);
    const size_t nLuma = static_cast<size_t>(nW) * nH;
    std::fill(frame.begin(), frame.begin() + nLuma, nY);
    std::fill(frame.begin() + nLuma, frame.begin() + nLuma * 5 / 4, nV);
    std::fill(frame.begin() + nLuma * 5 / 4, frame.end(), nU);
    return frame;
}

uint32_t DownSample(const std::vector<uint8_t>& src, int nW, int nH, std::vector<uint8_t>* pDst) {
    pDst->assign(static_cast<size_t>(kW) * kH * 3 / 2, 0xEE);
    NORVANTADS_DOWNSMP_PARAM param{src.data(), nW, nH, pDst->data(), kW, kH};
    return NorvantaDS_DownSmpOneFrame(&param);
}

// The thread's result for one file.
struct Result {
    Item_FileInfo info;
    QImage image;
};

// Runs files through a thread, taking each result on the signal as the
// playlist does.
// Counts the thread's results on the test's thread. The signal is queued here,
// so a result published before the test starts waiting is still counted (a
// spy's wait would only see the ones after it).
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

bool Examine(GetThumbThread& thread, const QString& strPath, const QString& strKey, Result* pResult) {
    ResultCounter counter(thread);
    if (!thread.AddFile(strPath, strKey)) {
        return false;
    }
    if (!thread.isRunning()) {
        thread.start(QThread::InheritPriority);
    }
    if (!counter.WaitFor(1)) {
        return false;
    }
    return thread.TakeFileInfo(&pResult->info, &pResult->image);
}

// The ffmpeg tool's first frame of a clip (or frame nFrame), reduced to the
// thumbnail's geometry by area scaling and padded with black, as 24-bit RGB.
QImage ToolThumbnail(const QString& strPath, int nSrcW, int nSrcH, int nFrame) {
    NORVANTADS_PLACEMENT place{};
    // Frames of a size that is no multiple of 4 are cropped at the right and
    // bottom first, as the thread does.
    if (!NorvantaDS_GetPlacement(nSrcW & ~3, nSrcH & ~3, kW, kH, &place)) {
        return QImage();
    }
    const QString strFilter =
        QString(
            "select=eq(n\\,%1),crop=iw-mod(iw\\,4):ih-mod(ih\\,4):0:0,format=yuv420p,scale=%2:%3:flags=area,pad=%4:%5:%6:%7:black,format=yuv420p")
            .arg(nFrame)
            .arg(place.nWidth)
            .arg(place.nHeight)
            .arg(kW)
            .arg(kH)
            .arg(place.nLeft)
            .arg(place.nTop);
    QProcess process;
    process.start("ffmpeg", {"-hide_banner", "-loglevel", "error", "-nostdin", "-i", strPath, "-vf",
                             strFilter, "-frames:v", "1", "-pix_fmt", "rgb24", "-f", "rawvideo", "-"});
    if (!process.waitForFinished(60000) || process.exitCode() != 0) {
        return QImage();
    }
    const QByteArray rgb = process.readAllStandardOutput();
    if (rgb.size() != kW * kH * 3) {
        return QImage();
    }
    return QImage(reinterpret_cast<const uchar*>(rgb.constData()), kW, kH, kW * 3, QImage::Format_RGB888)
        .copy();
}

// Mean absolute difference over all pixels and the three colours, 0..255.
double MeanAbsDiff(const QImage& a, const QImage& b) {
    const QImage ca = a.convertToFormat(QImage::Format_RGB888);
    const QImage cb = b.convertToFormat(QImage::Format_RGB888);
    if (ca.size() != cb.size()) {
        return 255.0;
    }
    double dSum = 0;
    for (int y = 0; y < ca.height(); ++y) {
        const uchar* pa = ca.constScanLine(y);
        const uchar* pb = cb.constScanLine(y);
        for (int x = 0; x < ca.width() * 3; ++x) {
            dSum += std::abs(int(pa[x]) - int(pb[x]));
        }
    }
    return dSum / (ca.width() * ca.height() * 3);
}

// The tool reduces with the same area scaling and converts to RGB with the
// same bicubic converter (the format filter after the padding keeps it from
// merging the two steps), so the pictures agree: measured 0.0. Its bars are
// video black (Y 16) where ours are Y 0, which both become RGB 0. The
// tolerance leaves room for rounding in another FFmpeg build only. The frame
// one second later (the pattern moves, the frame number is drawn in) differs
// by 2.6 (1080p, where the number is small) to 14; thumbnailsMatchTool
// checks that on every clip, so a thumbnail of the wrong frame cannot pass.
constexpr double kMaxMeanAbsDiff = 0.5;
constexpr int kWrongFrame = 25;

// Clips that play and carry a global time (creation time or a stamp in the
// name), with their picture size and the begin of their global time.
struct PlayableClip {
    const char* szName;
    int nWidth;
    int nHeight;
    uint32_t nSeconds;
    TAVRIX_SYSTEM_TIME stBegin;
};
const PlayableClip kPlayable[] = {
    {"h264_aac.mp4", 320, 240, 2, {2024, 3, 15, 10, 20, 30, 0}},
    {"hevc.mkv", 320, 240, 2, {2024, 3, 15, 10, 20, 30, 0}},
    {"ch01_20240315102030.ts", 320, 240, 2, {2024, 3, 15, 10, 20, 30, 0}},
    {"mpeg4.mp4", 320, 240, 2, {2024, 3, 15, 10, 20, 30, 0}},
    {"silent_h264.mp4", 320, 240, 2, {2024, 3, 15, 10, 20, 30, 0}},
    {"ch02_20240315103000_20240315103010.mp4", 704, 576, 10, {2024, 3, 15, 10, 30, 0, 0}},
    {"ch03_20240315110000_20240315110002.mp4", 1920, 1080, 2, {2024, 3, 15, 11, 0, 0, 0}},
};

bool SameTime(const TAVRIX_SYSTEM_TIME& a, const TAVRIX_SYSTEM_TIME& b) {
    return a.nYear == b.nYear && a.nMonth == b.nMonth && a.nDay == b.nDay && a.nHour == b.nHour &&
           a.nMinute == b.nMinute && a.nSecond == b.nSecond;
}

} // namespace

class TestThumbThread : public QObject {
    Q_OBJECT

private slots:
    void downSampleRefusesBadInput();
    void downSamplePlacesPicture_data();
    void downSamplePlacesPicture();
    void convertToBmpKeepsOrientationAndColour();
    void playableClipsGiveFactsAndPicture();
    void encryptedClips();
    void invalidFiles();
    void clipsWithoutGlobalTimeAreValid();
    void queueRules();
    void thumbnailsMatchTool();
    void oddSizeFrameGetsPicture();
};

void TestThumbThread::downSampleRefusesBadInput() {
    QCOMPARE(NorvantaDS_DownSmpOneFrame(nullptr), 0x80000001u);
    std::vector<uint8_t> dst;
    // Narrower than the thumbnail, a height not a multiple of 4, smaller than it.
    QCOMPARE(DownSample(FlatYv12(92, 64, 1, 2, 3), 92, 64, &dst), 0x80000000u);
    QCOMPARE(DownSample(FlatYv12(100, 66, 1, 2, 3), 100, 66, &dst), 0x80000000u);
    QCOMPARE(DownSample(FlatYv12(96, 60, 1, 2, 3), 96, 60, &dst), 0x80000000u);
    // Refused frames leave the destination untouched.
    QVERIFY(std::all_of(dst.begin(), dst.end(), [](uint8_t n) { return n == 0xEE; }));
    std::vector<uint8_t> src = FlatYv12(96, 64, 1, 2, 3);
    NORVANTADS_DOWNSMP_PARAM param{nullptr, 96, 64, dst.data(), kW, kH};
    QCOMPARE(NorvantaDS_DownSmpOneFrame(&param), 0x80000000u);
    param = {src.data(), 96, 64, nullptr, kW, kH};
    QCOMPARE(NorvantaDS_DownSmpOneFrame(&param), 0x80000000u);
}

void TestThumbThread::downSamplePlacesPicture_data() {
    QTest::addColumn<int>("nSrcW");
    QTest::addColumn<int>("nSrcH");
    QTest::addColumn<int>("nLeft");
    QTest::addColumn<int>("nTop");
    QTest::addColumn<int>("nPicW");
    QTest::addColumn<int>("nPicH");
    // 16:9: the 32-bit aspect puts the height just under 54: 4 rows, 52, 8.
    QTest::newRow("1920x1080") << 1920 << 1080 << 0 << 4 << 96 << 52;
    QTest::newRow("1280x720") << 1280 << 720 << 0 << 4 << 96 << 52;
    // D1: 8 columns, 78, 10.
    QTest::newRow("704x576") << 704 << 576 << 8 << 0 << 78 << 64;
    QTest::newRow("320x240") << 320 << 240 << 4 << 0 << 84 << 64;
    // The thumbnail's own shape: no bars.
    QTest::newRow("1440x960") << 1440 << 960 << 0 << 0 << 96 << 64;
    QTest::newRow("96x64") << 96 << 64 << 0 << 0 << 96 << 64;
}

void TestThumbThread::downSamplePlacesPicture() {
    QFETCH(int, nSrcW);
    QFETCH(int, nSrcH);
    QFETCH(int, nLeft);
    QFETCH(int, nTop);
    QFETCH(int, nPicW);
    QFETCH(int, nPicH);
    // A flat picture: inside the picture area every value survives the
    // averaging; outside it, every value is black.
    const uint8_t nY = 200, nV = 60, nU = 170;
    std::vector<uint8_t> dst;
    QCOMPARE(DownSample(FlatYv12(nSrcW, nSrcH, nY, nV, nU), nSrcW, nSrcH, &dst), 1u);
    auto near = [](uint8_t a, uint8_t b) { return std::abs(int(a) - int(b)) <= 1; };
    const uint8_t* pY = dst.data();
    for (int y = 0; y < kH; ++y) {
        for (int x = 0; x < kW; ++x) {
            const bool bInside = x >= nLeft && x < nLeft + nPicW && y >= nTop && y < nTop + nPicH;
            const uint8_t n = pY[y * kW + x];
            if (bInside ? !near(n, nY) : n != 0) {
                QFAIL(qPrintable(QString("luma %1 at %2,%3").arg(n).arg(x).arg(y)));
            }
        }
    }
    const uint8_t* apChroma[2] = {dst.data() + kW * kH, dst.data() + kW * kH * 5 / 4};
    const uint8_t anValue[2] = {nV, nU}; // the plane order is kept
    for (int nPlane = 0; nPlane < 2; ++nPlane) {
        for (int y = 0; y < kH / 2; ++y) {
            for (int x = 0; x < kW / 2; ++x) {
                const bool bInside =
                    x >= nLeft / 2 && x < (nLeft + nPicW) / 2 && y >= nTop / 2 && y < (nTop + nPicH) / 2;
                const uint8_t n = apChroma[nPlane][y * (kW / 2) + x];
                if (bInside ? !near(n, anValue[nPlane]) : n != 128) {
                    QFAIL(
                        qPrintable(QString("chroma plane %1: %2 at %3,%4").arg(nPlane).arg(n).arg(x).arg(y)));
                }
            }
        }
    }
    NORVANTADS_PLACEMENT place{};
    QVERIFY(NorvantaDS_GetPlacement(nSrcW, nSrcH, kW, kH, &place));
    QCOMPARE(place.nLeft, nLeft);
    QCOMPARE(place.nTop, nTop);
    QCOMPARE(place.nWidth, nPicW);
    QCOMPARE(place.nHeight, nPicH);
}

void TestThumbThread::convertToBmpKeepsOrientationAndColour() {
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
    std::vector<char> bmp(kW * kH * 5);
    int32_t nLen = 0;
    QVERIFY(Tavrix_ConvertToBmp(reinterpret_cast<const char*>(yv12.data()), int32_t(yv12.size()), kW, kH, 3,
                                bmp.data(), int32_t(bmp.size()), &nLen));
    // 54 bytes of headers and 64 rows of 288 bytes (96 x 3, already a multiple of 4).
    QCOMPARE(nLen, 54 + 288 * 64);
    QCOMPARE(QByteArray(bmp.data(), 2), QByteArray("BM"));
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
                                bmp.data(), int32_t(bmp.size()), &nLen));
    QCOMPARE(nLen, 54 + 272 * 4);
    // Too little room, too little input, another frame type, an odd size.
    QVERIFY(!Tavrix_ConvertToBmp(reinterpret_cast<const char*>(yv12.data()), int32_t(yv12.size()), kW, kH, 3,
                                 bmp.data(), 54 + 288 * 64 - 1, &nLen));
    QVERIFY(!Tavrix_ConvertToBmp(reinterpret_cast<const char*>(yv12.data()), 9215, kW, kH, 3, bmp.data(),
                                 int32_t(bmp.size()), &nLen));
    QVERIFY(!Tavrix_ConvertToBmp(reinterpret_cast<const char*>(yv12.data()), int32_t(yv12.size()), kW, kH,
                                 101, bmp.data(), int32_t(bmp.size()), &nLen));
    QVERIFY(!Tavrix_ConvertToBmp(reinterpret_cast<const char*>(yv12.data()), int32_t(yv12.size()), 95, 64, 3,
                                 bmp.data(), int32_t(bmp.size()), &nLen));
}

void TestThumbThread::playableClipsGiveFactsAndPicture() {
    GetThumbThread thread;
    QVERIFY(thread.Port() >= 0);
    for (const PlayableClip& clip : kPlayable) {
        const QString strPath = MediaPath(clip.szName);
        Result result;
        QVERIFY2(Examine(thread, strPath, QString(), &result), clip.szName);
        const Item_FileInfo& info = result.info;
        QCOMPARE(info.strFilePath, strPath);
        QVERIFY2(info.bInfoReady && !info.bInvalid && info.nMediaType == 1, clip.szName);
        QCOMPARE(info.nFileSize, uint64_t(QFileInfo(strPath).size()));
        QCOMPARE(info.nFileTime, clip.nSeconds);
        QVERIFY2(SameTime(info.stGlobalTime.stBegin, clip.stBegin), clip.szName);
        QVERIFY2(CPlayHelper::GetTimeSpan_Second(&info.stGlobalTime.stBegin, &info.stGlobalTime.stEnd) ==
                     clip.nSeconds,
                 clip.szName);
        QVERIFY2(!info.bEncrypted, clip.szName);
        QVERIFY2(!result.image.isNull(), clip.szName);
        QCOMPARE(result.image.size(), QSize(kW, kH));
    }
}

void TestThumbThread::encryptedClips() {
    GetThumbThread thread;
    // No key: encrypted, examined, no picture.
    Result result;
    QVERIFY(Examine(thread, MediaPath("enc_velquin123.mp4"), QString(), &result));
    QVERIFY(result.info.bEncrypted);
    QVERIFY(!result.info.bInvalid);
    QCOMPARE(result.info.nMediaType, 1);
    QCOMPARE(result.info.nFileTime, 2u);
    QVERIFY(result.image.isNull());
    // The right key: a picture, and the key comes back with the record.
    QVERIFY(Examine(thread, MediaPath("enc_velquin123.mp4"), "velquin123", &result));
    QVERIFY(result.info.bEncrypted);
    QCOMPARE(result.info.strDecryptKey, QString("velquin123"));
    QVERIFY(!result.image.isNull());
    // A key of all 16 characters is used whole.
    QVERIFY(Examine(thread, MediaPath("enc_abcdefghijklmnop.mp4"), "abcdefghijklmnop", &result));
    QVERIFY(!result.image.isNull());
    // A wrong key: still encrypted, no picture.
    QVERIFY(Examine(thread, MediaPath("enc_velquin123.mp4"), "wrongkey", &result));
    QVERIFY(result.info.bEncrypted);
    QVERIFY(result.image.isNull());
    // The port forgets the key between files: the same clip without one is
    // encrypted again, not decrypted with the last file's key.
    QVERIFY(Examine(thread, MediaPath("enc_velquin123.mp4"), "velquin123", &result));
    QVERIFY(!result.image.isNull());
    QVERIFY(Examine(thread, MediaPath("enc_velquin123.mp4"), QString(), &result));
    QVERIFY(result.info.bEncrypted);
    QVERIFY(result.image.isNull());
    // A clear clip after the encrypted ones is clear.
    QVERIFY(Examine(thread, MediaPath("h264_aac.mp4"), QString(), &result));
    QVERIFY(!result.info.bEncrypted);
    QVERIFY(!result.image.isNull());
}

void TestThumbThread::invalidFiles() {
    GetThumbThread thread;
    Result result;
    // Missing: invalid, size 0.
    const QString strMissing = MediaPath("no_such_clip_20240315102030.mp4");
    QVERIFY(Examine(thread, strMissing, QString(), &result));
    QCOMPARE(result.info.strFilePath, strMissing);
    QVERIFY(result.info.bInvalid);
    QCOMPARE(result.info.nMediaType, 0);
    QCOMPARE(result.info.nFileSize, uint64_t(0));
    QVERIFY(result.info.bInfoReady);
    // Not media: invalid with the size known.
    for (const char* szName : {"empty.mp4", "text.mp4", "random.mp4"}) {
        QVERIFY2(Examine(thread, MediaPath(szName), QString(), &result), szName);
        QVERIFY2(result.info.bInvalid && result.info.nMediaType == 0, szName);
        QCOMPARE(result.info.nFileSize, uint64_t(QFileInfo(MediaPath(szName)).size()));
        QVERIFY2(result.image.isNull(), szName);
    }
    // The thread goes on with good files after bad ones.
    QVERIFY(Examine(thread, MediaPath("silent_h264.mp4"), QString(), &result));
    QVERIFY(!result.info.bInvalid);
    QVERIFY(!result.image.isNull());
}

void TestThumbThread::clipsWithoutGlobalTimeAreValid() {
    // A clip stripped of its creation time, under a name without a stamp, as
    // an export or a phone gives it; the sound test clip, which never had a
    // time; and AVI, which keeps none. They play, so the row shows their
    // picture, size and length: only the global time range stays empty.
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString strPlain = dir.filePath("export_clip.mp4");
    QProcess process;
    process.start("ffmpeg", {"-hide_banner", "-loglevel", "error", "-nostdin", "-i", MediaPath("h264_aac.mp4"),
                             "-c", "copy", "-map_metadata", "-1", strPlain});
    QVERIFY(process.waitForFinished(60000) && process.exitCode() == 0);
    FILE_INFO_SYNC stProbe{};
    QVERIFY(!CPlayHelper::GetFileGlobalTimeRange(strPlain, &stProbe)); // really without a time

    struct TimeLess {
        QString strPath;
        uint32_t nSeconds;
    };
    const TimeLess clips[] = {{strPlain, 2}, {MediaPath("sine1k.mkv"), 4}, {MediaPath("mjpeg.avi"), 2}};
    GetThumbThread thread;
    for (const TimeLess& clip : clips) {
        const QByteArray baName = QFileInfo(clip.strPath).fileName().toUtf8();
        Result result;
        QVERIFY2(Examine(thread, clip.strPath, QString(), &result), baName.constData());
        QVERIFY2(!result.info.bInvalid && result.info.nMediaType == 1, baName.constData());
        QCOMPARE(result.info.nFileSize, uint64_t(QFileInfo(clip.strPath).size()));
        QCOMPARE(result.info.nFileTime, clip.nSeconds);
        QVERIFY2(!result.image.isNull(), baName.constData());
        QCOMPARE(result.image.size(), QSize(kW, kH));
        QVERIFY2(!CPlayHelper::IsSystemTimeValid(&result.info.stGlobalTime.stBegin), baName.constData());
        QVERIFY2(!CPlayHelper::IsSystemTimeValid(&result.info.stGlobalTime.stEnd), baName.constData());
    }
}

void TestThumbThread::queueRules() {
    GetThumbThread thread; // not started: the queue only collects
    QVERIFY(!thread.AddFile(QString(), QString()));
    QVERIFY(!thread.AddFileFirst(QString(), QString()));
    QVERIFY(!thread.RemoveFile(QString()));
    const QString a = MediaPath("enc_velquin123.mp4"), b = MediaPath("h264_aac.mp4"),
                  c = MediaPath("hevc.mkv");
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
    QVERIFY(thread.RemoveFile("/not/queued.mp4")); // true: only an empty path is refused
    // AddFileFirst moves a waiting file to the head and replaces its key.
    QVERIFY(thread.AddFileFirst(b, QString()));
    QVERIFY(thread.AddFileFirst(a, "velquin123"));
    QCOMPARE(thread.QueuedFiles(), QList<QString>({a, b, c}));

    // Run the queue: results come one at a time, in queue order, and the
    // replaced key is the one used (a picture, not the wrong key's nothing).
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
        if (i == 0) {
            first = result;
        }
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

void TestThumbThread::thumbnailsMatchTool() {
    GetThumbThread thread;
    for (const PlayableClip& clip : kPlayable) {
        const QString strPath = MediaPath(clip.szName);
        Result result;
        QVERIFY2(Examine(thread, strPath, QString(), &result), clip.szName);
        QVERIFY2(!result.image.isNull(), clip.szName);
        const QImage truth = ToolThumbnail(strPath, clip.nWidth, clip.nHeight, 0);
        QVERIFY2(!truth.isNull(), clip.szName);
        const double dDiff = MeanAbsDiff(result.image, truth);
        qInfo("%s: mean absolute difference to the tool's first frame %.3f", clip.szName, dDiff);
        QVERIFY2(dDiff <= kMaxMeanAbsDiff, qPrintable(QString("%1: %2").arg(clip.szName).arg(dDiff)));
        // The check can tell frames apart: a later frame is far off.
        const QImage later = ToolThumbnail(strPath, clip.nWidth, clip.nHeight, kWrongFrame);
        QVERIFY2(!later.isNull(), clip.szName);
        const double dWrong = MeanAbsDiff(result.image, later);
        qInfo("%s: mean absolute difference to frame %d %.3f", clip.szName, kWrongFrame, dWrong);
        QVERIFY2(dWrong > 4 * kMaxMeanAbsDiff, qPrintable(QString("%1: %2").arg(clip.szName).arg(dWrong)));
    }
}

void TestThumbThread::oddSizeFrameGetsPicture() {
    // 854x480 is a common size whose width is no multiple of 4.
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString strPath = dir.filePath("cam_854x480.mp4");
    QProcess process;
    process.start("ffmpeg", {"-hide_banner", "-loglevel", "error", "-nostdin", "-f", "lavfi", "-i",
                             "testsrc2=size=854x480:rate=25:duration=1", "-c:v", "libx264", "-pix_fmt", "yuv420p",
                             "-metadata", "creation_time=2024-03-15T10:20:30.000000Z", strPath});
    QVERIFY(process.waitForFinished(60000) && process.exitCode() == 0);
    GetThumbThread thread;
    Result result;
    QVERIFY(Examine(thread, strPath, QString(), &result));
    QVERIFY(!result.info.bInvalid);
    QVERIFY(!result.image.isNull());
    const QImage truth = ToolThumbnail(strPath, 854, 480, 0);
    QVERIFY(!truth.isNull());
    QVERIFY2(MeanAbsDiff(result.image, truth) <= kMaxMeanAbsDiff,
             qPrintable(QString::number(MeanAbsDiff(result.image, truth))));
}

QTEST_MAIN(TestThumbThread)
#include "TestThumbThread.moc"
