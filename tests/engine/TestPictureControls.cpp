// Snapshots (BMP exact, JPEG close), picture files, colour, rotation, mirror
// images and motion flow against the ffmpeg tool's pictures of the same frames.
#include "PortProbe.h"
#include "ToolPictures.h"

// Motion flow is checked on a window of the test's own, through the port's internals.
#include "FrameSink.h"
#include "PlayerPort.h"
#include "PortTable.h"

#include <QCryptographicHash>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <condition_variable>
#include <mutex>

namespace {
const int kTimeoutMs = 20000;
const int kWidth = 320; // h264_aac.mp4
const int kHeight = 240;

// Every frame of a clip as bgr24, one after another.
QByteArray ToolAllBgr(const QString& strClip) {
    QProcess ff;
    ff.start("ffmpeg", {"-v", "error", "-nostdin", "-i", PortProbe::MediaPath(strClip), "-an", "-fps_mode",
                        "passthrough", "-pix_fmt", "bgr24", "-f", "rawvideo", "-"});
    if (!ff.waitForFinished(60000) || ff.exitCode() != 0)
        return QByteArray();
    return ff.readAllStandardOutput();
}

// A JPEG file image decoded by the ffmpeg tool into bgr24.
QByteArray ToolDecodeJpeg(const QByteArray& jpeg, const QString& strDir) {
    QFile file(QDir(strDir).filePath("decode.jpg"));
    if (!file.open(QIODevice::WriteOnly) || file.write(jpeg) != jpeg.size())
        return QByteArray();
    file.close();
    QProcess ff;
    ff.start("ffmpeg",
             {"-v", "error", "-nostdin", "-i", file.fileName(), "-pix_fmt", "bgr24", "-f", "rawvideo", "-"});
    if (!ff.waitForFinished(kTimeoutMs) || ff.exitCode() != 0)
        return QByteArray();
    return ff.readAllStandardOutput();
}

QByteArray Md5Hex(const uint8_t* const* ppPlane, const int* pnStride, int nWidth, int nHeight) {
    QCryptographicHash hash(QCryptographicHash::Md5);
    for (int p = 0; p < 3; ++p) {
        const int nW = p == 0 ? nWidth : (nWidth + 1) / 2;
        const int nH = p == 0 ? nHeight : (nHeight + 1) / 2;
        for (int y = 0; y < nH; ++y)
            hash.addData(
                QByteArrayView(reinterpret_cast<const char*>(ppPlane[p]) + qsizetype(y) * pnStride[p], nW));
    }
    return hash.result().toHex();
}

// What the display callback hands over: each frame's number and YV12 picture.
struct DisplayLog {
    std::mutex mtx;
    std::condition_variable cv;
    std::vector<uint32_t> vecNums;  // guarded by mtx
    std::vector<QByteArray> vecMd5; // as planar Y, U, V; guarded by mtx
    QByteArray lastYv12;            // guarded by mtx

    static void Callback(TAVRIX_DISPLAY_INFO* pInfo) {
        auto* pLog = static_cast<DisplayLog*>(pInfo->nUser);
        const QByteArray md5 = Yv12ToI420Md5Hex(*pInfo);
        std::lock_guard<std::mutex> lock(pLog->mtx);
        pLog->vecNums.push_back(pInfo->nFrameNum);
        pLog->vecMd5.push_back(md5);
        pLog->lastYv12 = QByteArray(pInfo->pBuf, pInfo->nBufLen);
        pLog->cv.notify_all();
    }
    size_t Count() {
        std::lock_guard<std::mutex> lock(mtx);
        return vecNums.size();
    }
    bool WaitFor(size_t nCount, int nTimeoutMs) {
        std::unique_lock<std::mutex> lock(mtx);
        return cv.wait_for(lock, std::chrono::milliseconds(nTimeoutMs),
                           [&] { return vecNums.size() >= nCount; });
    }
};

// A window of the test's own: hashes every picture presented to it.
class HashingSink : public tavrix::FrameSink {
public:
    void Present(const tavrix::VideoFrame& frame) override {
        const AVFrame* p = frame.Picture();
        const uint8_t* apPlane[3] = {p->data[0], p->data[1], p->data[2]};
        const QByteArray md5 = Md5Hex(apPlane, p->linesize, p->width, p->height);
        std::lock_guard<std::mutex> lock(m_mtx);
        m_vecMd5.push_back(md5);
    }
    std::vector<QByteArray> Presented() {
        std::lock_guard<std::mutex> lock(m_mtx);
        return m_vecMd5;
    }

private:
    std::mutex m_mtx;
    std::vector<QByteArray> m_vecMd5; // guarded by m_mtx
};
} // namespace

class TestPictureControls : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    // Opens a clip paused on frame nFrame, with the display callback logged.
    bool OpenPausedAt(PortProbe& probe, const QString& strClip, QStringList* pExpected, DisplayLog* pLog,
                      uint32_t nFrame);
    // Shows nFrame again (a jump) and waits for its display callback.
    bool ShowAgain(PortProbe& probe, DisplayLog* pLog, uint32_t nFrame);

private slots:
    void initTestCase();
    void snapshotsAndFilesMatchTheDecoder();
    void snapshotDuringPlayIsAShownFrame();
    void colourFollowsTheSettings();
    void orientationMatchesTheTool();
    void motionFlowBlendsForTheWindowOnly();
};

void TestPictureControls::initTestCase() {
    QVERIFY(m_dir.isValid());
    QVERIFY2(QFile::exists(PortProbe::MediaPath("bars.mp4")), "test media missing");
}

bool TestPictureControls::OpenPausedAt(PortProbe& probe, const QString& strClip, QStringList* pExpected,
                                       DisplayLog* pLog, uint32_t nFrame) {
    if (!probe.OpenIndexed(strClip, pExpected, kTimeoutMs) ||
        !Tavrix_SetDisplayCallBackEx(probe.Port(), &DisplayLog::Callback, pLog))
        return false;
    // A jump on a stopped port starts it paused on the frame.
    return Tavrix_SetCurrentFrameNum(probe.Port(), nFrame) && pLog->WaitFor(1, kTimeoutMs);
}

bool TestPictureControls::ShowAgain(PortProbe& probe, DisplayLog* pLog, uint32_t nFrame) {
    const size_t nBefore = pLog->Count();
    return Tavrix_SetCurrentFrameNum(probe.Port(), nFrame) && pLog->WaitFor(nBefore + 1, kTimeoutMs);
}

void TestPictureControls::snapshotsAndFilesMatchTheDecoder() {
    PortProbe probe;
    DisplayLog log;
    QStringList expected;
    const uint32_t nFrame = 17;
    QVERIFY(OpenPausedAt(probe, "h264_aac.mp4", &expected, &log, nFrame));

    // Too small a buffer tells the size needed.
    std::vector<char> small(100);
    uint32_t nSize = 0;
    QVERIFY(!Tavrix_GetBMP(probe.Port(), small.data(), uint32_t(small.size()), &nSize));
    QCOMPARE(Tavrix_GetLastError(probe.Port()), uint32_t(TAVRIX_ERR_PARA_OVER));
    QCOMPARE(nSize, uint32_t(54 + kWidth * 3 * kHeight));

    // BMP: byte for byte the tool's bgr24 of the frame.
    const QByteArray bmp = Snapshot(probe.Port(), false);
    int nW = 0, nH = 0;
    const QByteArray pixels = BmpPixels(bmp, &nW, &nH);
    QCOMPARE(nW, kWidth);
    QCOMPARE(nH, kHeight);
    const QByteArray truth = ToolPicture("h264_aac.mp4", int(nFrame), QString(), "bgr24");
    QVERIFY2(pixels == truth, qPrintable(QString("max difference %1").arg(MaxDiff(pixels, truth))));

    // JPEG: a baseline image close to the BMP.
    const QByteArray jpeg = Snapshot(probe.Port(), true);
    QVERIFY(jpeg.startsWith("\xFF\xD8"));
    const double dPsnr = Psnr(ToolDecodeJpeg(jpeg, m_dir.path()), pixels);
    QVERIFY2(dPsnr >= 40.0, qPrintable(QString("PSNR %1 dB").arg(dPsnr)));

    // Picture files from the display callback's YV12: the same conversion as
    // the snapshot, and nothing at all where the folder is missing.
    const QByteArray yv12 = [&log] {
        std::lock_guard<std::mutex> lock(log.mtx);
        return log.lastYv12;
    }();
    const QString strMissing = m_dir.filePath("gone/snap.bmp");
    QVERIFY(!Tavrix_ConvertToBmpFile(yv12.constData(), int32_t(yv12.size()), kWidth, kHeight,
                                     TAVRIX_FRAME_YV12, QFile::encodeName(strMissing).constData()));
    QVERIFY(!QDir(m_dir.filePath("gone")).exists());
    QDir dir(m_dir.filePath("files"));
    QVERIFY(dir.mkpath("."));
    QVERIFY(Tavrix_ConvertToBmpFile(yv12.constData(), int32_t(yv12.size()), kWidth, kHeight,
                                    TAVRIX_FRAME_YV12,
                                    QFile::encodeName(dir.filePath("snap.bmp")).constData()));
    QVERIFY(Tavrix_ConvertToJpegFile(yv12.constData(), int32_t(yv12.size()), kWidth, kHeight,
                                     TAVRIX_FRAME_YV12,
                                     QFile::encodeName(dir.filePath("snap.jpg")).constData()));
    QCOMPARE(dir.entryList(QDir::Files | QDir::Hidden, QDir::Name), QStringList({"snap.bmp", "snap.jpg"}));
    const auto read = [&dir](const char* szName) {
        QFile file(dir.filePath(szName));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    QVERIFY(read("snap.bmp") == bmp);
    QVERIFY(Psnr(ToolDecodeJpeg(read("snap.jpg"), m_dir.path()), pixels) >= 40.0);
}

void TestPictureControls::snapshotDuringPlayIsAShownFrame() {
    const QByteArray all = ToolAllBgr("h264_aac.mp4");
    const qsizetype nFrameBytes = qsizetype(kWidth) * kHeight * 3;
    QVERIFY(!all.isEmpty() && all.size() % nFrameBytes == 0);
    PortProbe probe;
    probe.SetHashFrames(false);
    QVERIFY(probe.Open(PortProbe::MediaPath("h264_aac.mp4")));
    uint32_t nSize = 0; // no snapshot before a picture
    QVERIFY(!Tavrix_GetBMP(probe.Port(), nullptr, 0, &nSize));
    QCOMPARE(Tavrix_GetLastError(probe.Port()), uint32_t(TAVRIX_ERR_ORDER));
    QVERIFY(probe.Play(true) && probe.WaitForFrames(1, kTimeoutMs));
    int nChecked = 0;
    uint32_t nLast = 0;
    while (probe.EndCount() == 0 && nChecked < 12) {
        // The counter read before and after bounds the snapshot's frame.
        const uint32_t nBefore = Tavrix_GetCurrentFrameNum(probe.Port());
        const QByteArray bmp = Snapshot(probe.Port(), false);
        const uint32_t nAfter = Tavrix_GetCurrentFrameNum(probe.Port());
        int nW = 0, nH = 0;
        const QByteArray pixels = BmpPixels(bmp, &nW, &nH);
        QVERIFY(!pixels.isEmpty());
        bool bFound = false;
        for (uint32_t k = nBefore; k <= nAfter && !bFound; ++k)
            bFound = all.mid(qsizetype(k) * nFrameBytes, nFrameBytes) == pixels;
        QVERIFY2(bFound, qPrintable(QString("snapshot is none of frames %1..%2").arg(nBefore).arg(nAfter)));
        ++nChecked;
        nLast = nAfter;
        // On to a later frame (or the end).
        QTRY_VERIFY_WITH_TIMEOUT(Tavrix_GetCurrentFrameNum(probe.Port()) > nLast + 2 || probe.EndCount() > 0,
                                 kTimeoutMs);
    }
    QVERIFY2(nChecked >= 5, qPrintable(QString("%1 snapshots").arg(nChecked)));

    // Paused at once after the start, before any picture: the first one still
    // shows, and it is what a snapshot gives.
    PortProbe quick;
    quick.SetHashFrames(false);
    QVERIFY(quick.Open(PortProbe::MediaPath("h264_aac.mp4")) && quick.Play(true));
    QVERIFY(Tavrix_Pause(quick.Port(), 1));
    QVERIFY(quick.WaitForFrames(1, kTimeoutMs));
    int nW = 0, nH = 0;
    const QByteArray first = BmpPixels(Snapshot(quick.Port(), false), &nW, &nH);
    const uint32_t nShown = Tavrix_GetCurrentFrameNum(quick.Port());
    QVERIFY(first == all.mid(qsizetype(nShown) * nFrameBytes, nFrameBytes));
}

void TestPictureControls::colourFollowsTheSettings() {
    PortProbe probe;
    DisplayLog log;
    QStringList expected;
    const uint32_t nFrame = 10;
    QVERIFY(OpenPausedAt(probe, "bars.mp4", &expected, &log, nFrame));
    const int nLuma = 640 * 480, nChroma = nLuma / 4;
    auto meanY = [&] {
        std::lock_guard<std::mutex> lock(log.mtx);
        double sum = 0;
        for (int i = 0; i < nLuma; ++i)
            sum += uchar(log.lastYv12[i]);
        return sum / nLuma;
    };
    const double dNeutralY = meanY();

    QVERIFY(Tavrix_SetColor(probe.Port(), 0, 96, 64, 64, 64));
    QVERIFY(ShowAgain(probe, &log, nFrame));
    QVERIFY2(meanY() > dNeutralY + 20, qPrintable(QString("mean Y %1 from %2").arg(meanY()).arg(dNeutralY)));

    // No saturation: grey, U and V at the middle.
    QVERIFY(Tavrix_SetColor(probe.Port(), 0, 64, 64, 0, 64));
    QVERIFY(ShowAgain(probe, &log, nFrame));
    {
        std::lock_guard<std::mutex> lock(log.mtx);
        for (int i = nLuma; i < nLuma + 2 * nChroma; ++i)
            QVERIFY2(qAbs(int(uchar(log.lastYv12[i])) - 128) <= 1,
                     qPrintable(QString("chroma byte %1").arg(i)));
    }

    // A hue of 96 turns the colours by 90 degrees, as the tool's hue filter does.
    QVERIFY(Tavrix_SetColor(probe.Port(), 0, 64, 64, 64, 96));
    QVERIFY(ShowAgain(probe, &log, nFrame));
    const QByteArray hue = ToolPicture("bars.mp4", int(nFrame), "hue=h=90", "yuv420p");
    QCOMPARE(hue.size(), qsizetype(nLuma + 2 * nChroma));
    {
        std::lock_guard<std::mutex> lock(log.mtx);
        // YV12 holds V before U; the tool's yuv420p holds U first.
        const QByteArray v = log.lastYv12.mid(nLuma, nChroma), u = log.lastYv12.mid(nLuma + nChroma, nChroma);
        const int nDiffU = MaxDiff(u, hue.mid(nLuma, nChroma)), nDiffV = MaxDiff(v, hue.mid(nLuma + nChroma));
        QVERIFY2(nDiffU <= 3 && nDiffV <= 3, qPrintable(QString("U %1 V %2").arg(nDiffU).arg(nDiffV)));
        // The bars really turned: the neutral picture is far from it.
        QVERIFY(MaxDiff(hue.mid(nLuma, nChroma),
                        ToolPicture("bars.mp4", int(nFrame), "", "yuv420p").mid(nLuma, nChroma)) > 40);
    }

    // Back to neutral: the picture as decoded, bit for bit.
    QVERIFY(!Tavrix_SetColor(probe.Port(), 0, 129, 64, 64, 64));
    QCOMPARE(Tavrix_GetLastError(probe.Port()), uint32_t(TAVRIX_ERR_PARA_OVER));
    QVERIFY(Tavrix_SetColor(probe.Port(), 0, 64, 64, 64, 64));
    QVERIFY(ShowAgain(probe, &log, nFrame));
    std::lock_guard<std::mutex> lock(log.mtx);
    QCOMPARE(QString::fromLatin1(log.vecMd5.back()), expected[int(nFrame)]);
}

void TestPictureControls::orientationMatchesTheTool() {
    PortProbe probe;
    DisplayLog log;
    QStringList expected;
    const uint32_t nFrame = 23;
    QVERIFY(OpenPausedAt(probe, "h264_aac.mp4", &expected, &log, nFrame));
    // A paused port shows a change at once: the snapshot turns without a new frame.
    QVERIFY(Tavrix_SetRotateAngle(probe.Port(), 0, 1));
    QTRY_VERIFY_WITH_TIMEOUT(LeInt(Snapshot(probe.Port(), false), 18) == kHeight, kTimeoutMs);

    struct Case {
        int nRotate;
        uint32_t nFlip;
        const char* szFilters;
    };
    const Case cases[] = {{0, 0, "transpose=cclock"},
                          {1, 0, "transpose=clock"},
                          {2, 0, "hflip,vflip"},
                          {-1, TAVRIX_FLIP_HORIZONTAL, "hflip"},
                          {-1, TAVRIX_FLIP_VERTICAL, "vflip"},
                          {0, TAVRIX_FLIP_HORIZONTAL, "transpose=cclock,hflip"}};
    for (const Case& c : cases) {
        QVERIFY(Tavrix_SetRotateAngle(probe.Port(), 0, c.nRotate));
        QVERIFY(Tavrix_SetFlip(probe.Port(), 0, c.nFlip));
        QVERIFY(ShowAgain(probe, &log, nFrame));
        int nW = 0, nH = 0;
        const QByteArray pixels = BmpPixels(Snapshot(probe.Port(), false), &nW, &nH);
        const QByteArray truth = ToolPicture("h264_aac.mp4", int(nFrame), c.szFilters, "bgr24");
        QCOMPARE(nW, c.nRotate == 0 || c.nRotate == 1 ? kHeight : kWidth);
        const int nDiff = MaxDiff(pixels, truth);
        QVERIFY2(nDiff <= 2, qPrintable(QString("%1: max difference %2").arg(c.szFilters).arg(nDiff)));
    }
    QVERIFY(!Tavrix_SetRotateAngle(probe.Port(), 0, 3));
    QCOMPARE(Tavrix_GetLastError(probe.Port()), uint32_t(TAVRIX_ERR_PARA_OVER));
}

void TestPictureControls::motionFlowBlendsForTheWindowOnly() {
    PortProbe probe;
    DisplayLog log;
    QStringList expected;
    QVERIFY(probe.OpenIndexed("h264_aac.mp4", &expected, kTimeoutMs));
    QVERIFY(Tavrix_SetDisplayCallBackEx(probe.Port(), &DisplayLog::Callback, &log));
    QVERIFY(!Tavrix_MotionFlow(probe.Port(), 2));
    QCOMPARE(Tavrix_GetLastError(probe.Port()), uint32_t(TAVRIX_ERR_NOT_SUPPORT));
    QVERIFY(Tavrix_MotionFlow(probe.Port(), 1));
    auto pSink = std::make_shared<HashingSink>();
    std::shared_ptr<tavrix::PlayerPort> pPort = tavrix::PortTable::Instance().Get(probe.Port());
    QVERIFY(pPort && pPort->Play(1, [pSink] { return pSink; }));
    QVERIFY(Tavrix_Slow(probe.Port()) && Tavrix_Slow(probe.Port())); // a quarter of normal speed
    QVERIFY(log.WaitFor(8, kTimeoutMs));
    QVERIFY(Tavrix_Pause(probe.Port(), 1));

    std::vector<uint32_t> nums;
    std::vector<QByteArray> shown;
    {
        std::lock_guard<std::mutex> lock(log.mtx);
        nums = log.vecNums;
        shown = log.vecMd5;
    }
    // The callback saw real frames only, in order.
    for (size_t k = 0; k < nums.size(); ++k) {
        QCOMPARE(nums[k], uint32_t(k));
        QCOMPARE(QString::fromLatin1(shown[k]), expected[int(k)]);
    }
    // The window saw the real frames and, between them, pictures of neither.
    int nReal = 0, nBetween = 0;
    for (const QByteArray& md5 : pSink->Presented())
        expected.contains(QString::fromLatin1(md5)) ? ++nReal : ++nBetween;
    QVERIFY2(
        nReal >= int(nums.size()) - 1 && nBetween >= int(nums.size()),
        qPrintable(QString("%1 real, %2 in between, %3 frames").arg(nReal).arg(nBetween).arg(nums.size())));
    QVERIFY(Tavrix_Stop(probe.Port()));
}

QTEST_GUILESS_MAIN(TestPictureControls)
#include "TestPictureControls.moc"
