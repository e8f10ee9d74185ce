// Fisheye views and picture enhancement against the ffmpeg tool's pictures:
// the de-warped views equal the tool's v360 with the same options, the view
// moves by exactly what each turn asks, nothing switched on (or switched off
// again) leaves the picture as decoded, each enhancement module moves its
// measure the right way, and the views are refused on ordinary files.
#include "PortProbe.h"
#include "ToolPictures.h"

// The graph build counter is engine-internal.
#include "PlayerPort.h"
#include "PortTable.h"

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <condition_variable>
#include <mutex>

namespace {
const int kTimeoutMs = 20000;
const float kStep = 0.015707964f; // one step of the player's turn buttons: pi/200
const double kDeg = 180.0 / 3.14159265358979323846;

// The last picture the display callback got, as I420 (planar Y, U, V).
struct DisplayLog {
    std::mutex mtx;
    std::condition_variable cv;
    size_t nCount = 0;  // guarded by mtx
    QByteArray i420;    // guarded by mtx
    int nWidth = 0;     // guarded by mtx
    int nHeight = 0;    // guarded by mtx
    uint32_t nKeepFrame = UINT32_MAX; // set before play: this frame's picture goes to kept
    QByteArray kept;                  // guarded by mtx
    int nWantWidth = 0;               // set before play: pictures of another width are counted
    int nOtherSize = 0;               // guarded by mtx

    static void Callback(TAVRIX_DISPLAY_INFO* pInfo) {
        auto* pLog = static_cast<DisplayLog*>(pInfo->nUser);
        const qsizetype nLuma = qsizetype(pInfo->nWidth) * pInfo->nHeight, nChroma = nLuma / 4;
        const QByteArray yv12(pInfo->pBuf, pInfo->nBufLen);
        std::lock_guard<std::mutex> lock(pLog->mtx);
        pLog->i420 = yv12.left(nLuma) + yv12.mid(nLuma + nChroma, nChroma) + yv12.mid(nLuma, nChroma);
        pLog->nWidth = pInfo->nWidth;
        pLog->nHeight = pInfo->nHeight;
        if (pLog->nWantWidth != 0 && pInfo->nWidth != pLog->nWantWidth)
            ++pLog->nOtherSize;
        if (pInfo->nFrameNum == pLog->nKeepFrame)
            pLog->kept = pLog->i420;
        ++pLog->nCount;
        pLog->cv.notify_all();
    }
    size_t Count() {
        std::lock_guard<std::mutex> lock(mtx);
        return nCount;
    }
    bool WaitFor(size_t nWanted) {
        std::unique_lock<std::mutex> lock(mtx);
        return cv.wait_for(lock, std::chrono::milliseconds(kTimeoutMs), [&] { return nCount >= nWanted; });
    }
    QByteArray Last(int* pnWidth = nullptr, int* pnHeight = nullptr) {
        std::lock_guard<std::mutex> lock(mtx);
        if (pnWidth != nullptr) {
            *pnWidth = nWidth;
            *pnHeight = nHeight;
        }
        return i420;
    }
};

// The flat view's tool options, built as the engine documents them.
QString FlatText(double dYawDeg, double dPitchDeg, double dFovDeg, int nW, int nH) {
    const double dV = 2 * std::atan(std::tan(dFovDeg / kDeg / 2) * nH / nW) * kDeg;
    return QString::asprintf("v360=input=fisheye:ih_fov=180:iv_fov=180:output=flat:yaw=%.4f:pitch=%.4f:roll=0:"
                             "h_fov=%.4f:v_fov=%.4f:w=%d:h=%d:interp=line",
                             dYawDeg, dPitchDeg, dFovDeg, dV, nW, nH);
}

QString PanoramaText(const char* szOutput, int nVFov, int nW, int nH) {
    return QString::asprintf("v360=input=fisheye:ih_fov=180:iv_fov=180:output=%s:pitch=-90:h_fov=360:v_fov=%d:"
                             "w=%d:h=%d:interp=line,crop=%d:%d:0:0",
                             szOutput, nVFov, nW, 2 * nH, nW, nH);
}

QByteArray Md5Hex(const QByteArray& bytes) {
    return QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex();
}

TAVRIX_SR_VIEW View(int32_t nPort) {
    TAVRIX_SR_VIEW view{};
    Tavrix_SR_GetView(nPort, &view);
    return view;
}

bool Turn(int32_t nPort, float fX, float fY, float fZoom) {
    TAVRIX_SR_ROTATE_PARAM param{fX, fY, 0.0f, fZoom};
    TAVRIX_SR_ROTATE rotate{&param, 0};
    return Tavrix_SR_Rotate(nPort, &rotate);
}

bool SetPtz(int32_t nPort, uint8_t nMode) {
    TAVRIX_SR_CONFIG config{nMode, {0, 1, 0, 1}};
    return Tavrix_SR_SetConfig(nPort, TAVRIX_SR_CONFIG_VIEW, &config);
}

uint32_t GraphBuilds(int32_t nPort) {
    std::shared_ptr<tavrix::PlayerPort> pPort = tavrix::PortTable::Instance().Get(nPort);
    return pPort ? pPort->GraphBuilds() : 0;
}

// Sums over the I420 picture: the measures the enhancement modules move.
struct Measures {
    double dLaplace = 0; // high-frequency energy of Y (edges)
    double dMean = 0;    // mean Y
    double dStdDev = 0;  // spread of Y
    double dChroma = 0;  // mean |U-128| + |V-128|
};

Measures Measure(const QByteArray& i420, int nW, int nH) {
    Measures m;
    const auto* p = reinterpret_cast<const uchar*>(i420.constData());
    double dSum = 0, dSq = 0;
    for (int y = 0; y < nH; ++y)
        for (int x = 0; x < nW; ++x) {
            const double v = p[y * nW + x];
            dSum += v;
            dSq += v * v;
            if (x > 0 && y > 0 && x < nW - 1 && y < nH - 1) {
                const double d = 4 * v - p[y * nW + x - 1] - p[y * nW + x + 1] - p[(y - 1) * nW + x] -
                                 p[(y + 1) * nW + x];
                m.dLaplace += d * d;
            }
        }
    const double n = double(nW) * nH;
    m.dMean = dSum / n;
    m.dStdDev = std::sqrt(dSq / n - m.dMean * m.dMean);
    for (qsizetype i = qsizetype(n); i < i420.size(); ++i)
        m.dChroma += std::abs(int(p[i]) - 128);
    m.dChroma /= n / 2;
    return m;
}
} // namespace

class TestFisheye : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    // Opens a clip paused on nFrame with the display callback logged.
    static bool OpenPausedAt(PortProbe& probe, const QString& strClip, QStringList* pExpected, DisplayLog* pLog,
                             uint32_t nFrame) {
        return probe.OpenIndexed(strClip, pExpected, kTimeoutMs) &&
               Tavrix_SetDisplayCallBackEx(probe.Port(), &DisplayLog::Callback, pLog) &&
               Tavrix_SetCurrentFrameNum(probe.Port(), nFrame) && pLog->WaitFor(1);
    }
    // Shows nFrame again (a jump) and answers its picture as shown.
    static QByteArray ShowAgain(PortProbe& probe, DisplayLog* pLog, uint32_t nFrame, int* pnW = nullptr,
                                int* pnH = nullptr) {
        const size_t nBefore = pLog->Count();
        if (!Tavrix_SetCurrentFrameNum(probe.Port(), nFrame) || !pLog->WaitFor(nBefore + 1))
            return QByteArray();
        return pLog->Last(pnW, pnH);
    }

private slots:
    void initTestCase();
    void viewsMatchTheTool();
    void steadyAndMovingViews();
    void enhancementMovesItsMeasure();
    void refusedOnOtherFilesAndCapture();
};

void TestFisheye::initTestCase() {
    QVERIFY(m_dir.isValid());
    for (const char* szClip : {"still_fisheye.mkv", "ceiling.mkv", "noisy.mkv", "h264_aac.mp4"})
        QVERIFY2(QFile::exists(PortProbe::MediaPath(szClip)), szClip);
}

void TestFisheye::viewsMatchTheTool() {
    PortProbe probe;
    DisplayLog log;
    QStringList expected;
    const uint32_t nFrame = 7;
    QVERIFY(OpenPausedAt(probe, "still_fisheye.mkv", &expected, &log, nFrame));
    const int32_t nPort = probe.Port();

    // Before any view is chosen: the picture as decoded, and the view of a fresh open.
    QCOMPARE(Md5Hex(log.Last()), expected.at(int(nFrame)).toLatin1());
    TAVRIX_SR_VIEW view = View(nPort);
    QCOMPARE(view.nKind, int32_t(TAVRIX_SR_ORIGINAL));
    QVERIFY(qAbs(view.fFov * kDeg - 90.0) < 1e-4);

    // Flat, straight ahead: 640x320 from the 640-wide circle.
    QVERIFY(SetPtz(nPort, 1));
    view = View(nPort);
    QCOMPARE(view.nKind, int32_t(TAVRIX_SR_FLAT));
    QCOMPARE(view.nWidth, 640);
    QCOMPARE(view.nHeight, 320);
    int nW = 0, nH = 0;
    const QByteArray ahead = ShowAgain(probe, &log, nFrame, &nW, &nH);
    QCOMPARE(nW, 640);
    QCOMPARE(nH, 320);
    const QByteArray aheadTool = ToolPicture("still_fisheye.mkv", int(nFrame), FlatText(0, 0, 90, 640, 320), "yuv420p");
    QVERIFY2(MaxDiff(ahead, aheadTool) <= 1, qPrintable(QString("max diff %1").arg(MaxDiff(ahead, aheadTool))));

    // Ten steps right and up: each moves the view by exactly one step, the
    // picture by 9 degrees each way.
    for (int i = 1; i <= 10; ++i) {
        QVERIFY(Turn(nPort, kStep, -kStep, 0));
        view = View(nPort);
        QVERIFY(qAbs(view.fYaw - i * kStep) < 1e-5f && qAbs(view.fPitch - i * kStep) < 1e-5f);
    }
    const QByteArray turned = ShowAgain(probe, &log, nFrame);
    const QByteArray turnedTool = ToolPicture("still_fisheye.mkv", int(nFrame), FlatText(9, 9, 90, 640, 320), "yuv420p");
    QVERIFY2(MaxDiff(turned, turnedTool) <= 1, qPrintable(QString("max diff %1").arg(MaxDiff(turned, turnedTool))));
    QVERIFY(MaxDiff(turned, ahead) > 64); // the view really moved

    // The wheel narrows the view by 0.1 rad.
    QVERIFY(Turn(nPort, 0, 0, 0.1f));
    const double dFov = 90.0 - double(0.1f) * kDeg;
    QVERIFY(qAbs(View(nPort).fFov * kDeg - dFov) < 1e-4);
    const QByteArray zoomed = ShowAgain(probe, &log, nFrame);
    const QByteArray zoomedTool = ToolPicture("still_fisheye.mkv", int(nFrame), FlatText(9, 9, dFov, 640, 320), "yuv420p");
    QVERIFY2(MaxDiff(zoomed, zoomedTool) <= 1, qPrintable(QString("max diff %1").arg(MaxDiff(zoomed, zoomedTool))));

    // Many turns while paused cost at most one graph per turn (coalesced refreshes).
    const uint32_t nBuildsBefore = GraphBuilds(nPort);
    for (int i = 0; i < 20; ++i)
        QVERIFY(Turn(nPort, kStep, 0, 0));
    QVERIFY(!ShowAgain(probe, &log, nFrame).isEmpty());
    const uint32_t nBuilds = GraphBuilds(nPort) - nBuildsBefore;
    QVERIFY2(nBuilds >= 1 && nBuilds <= 21, qPrintable(QString::number(nBuilds)));

    // The yaw wraps round, the pitch stops at the pole, the field at its limits.
    QVERIFY(Turn(nPort, 3.0f, -4.0f, 10.0f));
    view = View(nPort);
    QVERIFY2(view.fYaw >= -3.1416f && view.fYaw < 3.1416f && view.fYaw < 0, qPrintable(QString::number(view.fYaw)));
    QCOMPARE(view.fPitch, float(3.14159265358979323846 / 2));
    QVERIFY(qAbs(view.fFov * kDeg - 20.0) < 1e-4);
    QVERIFY(Turn(nPort, 0, 0, -10.0f));
    QVERIFY(qAbs(View(nPort).fFov * kDeg - 150.0) < 1e-4);

    // The panoramas: twice the width by half of it, as the tool makes them.
    const struct {
        int32_t nKind;
        const char* szOutput;
        int nVFov;
    } panoramas[] = {{TAVRIX_SR_EQUIRECT, "equirect", 180}, {TAVRIX_SR_CYLINDER, "cylindrical", 120}};
    for (const auto& p : panoramas) {
        QVERIFY(Tavrix_SR_SetViewKind(nPort, p.nKind));
        const QByteArray strip = ShowAgain(probe, &log, nFrame, &nW, &nH);
        QCOMPARE(nW, 1280);
        QCOMPARE(nH, 320);
        const QByteArray tool = ToolPicture("still_fisheye.mkv", int(nFrame), PanoramaText(p.szOutput, p.nVFov, 1280, 320), "yuv420p");
        QVERIFY2(MaxDiff(strip, tool) <= 1, qPrintable(QString("%1: max diff %2").arg(p.szOutput).arg(MaxDiff(strip, tool))));
    }

    // Back to the original: bit for bit as decoded again.
    QVERIFY(SetPtz(nPort, 0));
    QCOMPARE(Md5Hex(ShowAgain(probe, &log, nFrame)), expected.at(int(nFrame)).toLatin1());
}

void TestFisheye::steadyAndMovingViews() {
    // A view that does not change costs one graph for the whole clip.
    PortProbe probe;
    QVERIFY(probe.Open(PortProbe::MediaPath("still_fisheye.mkv")));
    QVERIFY(SetPtz(probe.Port(), 1) && Turn(probe.Port(), kStep, 0, 0));
    QVERIFY(probe.Play(false));
    QVERIFY(probe.WaitForEnd(kTimeoutMs));
    QCOMPARE(probe.FrameCount(), 50);
    QCOMPARE(GraphBuilds(probe.Port()), 1u);
    QVERIFY(Tavrix_Stop(probe.Port()));

    // A view turned all the time while playing: every picture still comes,
    // at the view's size.
    DisplayLog log;
    log.nWantWidth = 640;
    QVERIFY(Tavrix_SetDisplayCallBackEx(probe.Port(), &DisplayLog::Callback, &log));
    QVERIFY(probe.Play(true));
    QElapsedTimer timer;
    timer.start();
    while (log.Count() < 30 && timer.elapsed() < kTimeoutMs) // turns as fast as the caller can
        QVERIFY(Turn(probe.Port(), kStep, 0, 0));
    QVERIFY(log.Count() >= 30);
    {
        std::lock_guard<std::mutex> lock(log.mtx);
        QCOMPARE(log.nOtherSize, 0);
    }
    QVERIFY(GraphBuilds(probe.Port()) > 2);
    QVERIFY(Tavrix_Stop(probe.Port()));

    // A new open starts from the original view again.
    QVERIFY(Tavrix_OpenFile(probe.Port(), PortProbe::MediaPath("still_fisheye.mkv").toLocal8Bit().constData()));
    const TAVRIX_SR_VIEW view = View(probe.Port());
    QCOMPARE(view.nKind, int32_t(TAVRIX_SR_ORIGINAL));
    QCOMPARE(view.fYaw, 0.0f);
}

void TestFisheye::enhancementMovesItsMeasure() {
    PortProbe probe;
    DisplayLog log;
    QStringList expected;
    const uint32_t nFrame = 30;
    QVERIFY(OpenPausedAt(probe, "noisy.mkv", &expected, &log, nFrame));
    const int32_t nPort = probe.Port();
    const QByteArray truth = expected.at(int(nFrame)).toLatin1();
    int nW = 0, nH = 0;
    const QByteArray plain = ShowAgain(probe, &log, nFrame, &nW, &nH);
    QCOMPARE(Md5Hex(plain), truth);
    const Measures base = Measure(plain, nW, nH);

    // The modules without a filter leave the picture exact.
    QVERIFY(Tavrix_VIE_SetModuConfig(nPort, 32 | 64 | 128, true));
    QCOMPARE(Md5Hex(ShowAgain(probe, &log, nFrame)), truth);

    struct Case {
        int32_t nModule;
        const char* szName;
        bool (*fnMoved)(const Measures& on, const Measures& off);
    };
    const Case cases[] = {
        {TAVRIX_VIE_SHARPEN, "sharpen", [](const Measures& on, const Measures& off) { return on.dLaplace > off.dLaplace * 1.2; }},
        {TAVRIX_VIE_BRIGHTEN, "brighten", [](const Measures& on, const Measures& off) { return on.dMean > off.dMean + 5; }},
        {TAVRIX_VIE_CONTRAST, "contrast", [](const Measures& on, const Measures& off) { return on.dStdDev > off.dStdDev * 1.2; }},
        {TAVRIX_VIE_SATURATION, "saturation", [](const Measures& on, const Measures& off) { return on.dChroma > off.dChroma * 1.2; }},
    };
    for (const Case& c : cases) {
        QVERIFY(Tavrix_VIE_SetModuConfig(nPort, c.nModule, true));
        const Measures on = Measure(ShowAgain(probe, &log, nFrame), nW, nH);
        QVERIFY2(c.fnMoved(on, base), qPrintable(QString("%1: %2 %3 %4 %5 / %6 %7 %8 %9").arg(c.szName).arg(on.dLaplace).arg(on.dMean).arg(on.dStdDev).arg(on.dChroma).arg(base.dLaplace).arg(base.dMean).arg(base.dStdDev).arg(base.dChroma)));
        QVERIFY(Tavrix_VIE_SetModuConfig(nPort, c.nModule, false));
    }

    // The parameters count: a stronger brightening brightens more.
    QVERIFY(Tavrix_VIE_SetModuConfig(nPort, TAVRIX_VIE_BRIGHTEN, true));
    const double dMild = Measure(ShowAgain(probe, &log, nFrame), nW, nH).dMean;
    TAVRIX_VIE_PARAM param{};
    param.nParam[11] = 200; // parameter 12
    QVERIFY(Tavrix_VIE_SetParaConfig(nPort, &param));
    QVERIFY(Measure(ShowAgain(probe, &log, nFrame), nW, nH).dMean > dMild + 3);

    // Denoise: once settled over a run of frames, closer to the picture
    // before the grain was added (testsrc2 itself).
    QProcess ff;
    ff.start("ffmpeg", {"-v", "error", "-nostdin", "-f", "lavfi", "-i",
                        QString("testsrc2=size=320x240:rate=25,select=eq(n\\,%1)").arg(nFrame), "-frames:v", "1",
                        "-pix_fmt", "yuv420p", "-f", "rawvideo", "-"});
    QVERIFY(ff.waitForFinished(kTimeoutMs) && ff.exitCode() == 0);
    const QByteArray clean = ff.readAllStandardOutput();
    PortProbe run;
    DisplayLog runLog;
    runLog.nKeepFrame = nFrame;
    QVERIFY(run.Open(PortProbe::MediaPath("noisy.mkv")));
    QVERIFY(Tavrix_SetDisplayCallBackEx(run.Port(), &DisplayLog::Callback, &runLog));
    QVERIFY(Tavrix_VIE_SetModuConfig(run.Port(), TAVRIX_VIE_DENOISE, true) && run.Play(false));
    QVERIFY(runLog.WaitFor(50));
    QByteArray denoised;
    {
        std::lock_guard<std::mutex> lock(runLog.mtx);
        denoised = runLog.kept;
    }
    const double dPsnrOn = Psnr(denoised, clean), dPsnrOff = Psnr(plain, clean);
    QVERIFY2(dPsnrOn > dPsnrOff + 0.5, qPrintable(QString("%1 dB, %2 dB without").arg(dPsnrOn).arg(dPsnrOff)));

    // All off again: exact.
    QVERIFY(Tavrix_VIE_SetModuConfig(nPort, 255, false));
    QCOMPARE(Md5Hex(ShowAgain(probe, &log, nFrame)), truth);
    // The whole picture is the only region.
    QVERIFY(Tavrix_VIE_SetRegion(nPort, 0, nullptr));
    const TAVRIX_RECT rect{0, 0, 16, 16};
    QVERIFY(!Tavrix_VIE_SetRegion(nPort, 0, &rect));
    QCOMPARE(Tavrix_GetLastError(nPort), uint32_t(TAVRIX_ERR_NOT_SUPPORT));
}

void TestFisheye::refusedOnOtherFilesAndCapture() {
    {
        PortProbe probe;
        QVERIFY(probe.Open(PortProbe::MediaPath("h264_aac.mp4")));
        QVERIFY(!SetPtz(probe.Port(), 1));
        QCOMPARE(Tavrix_GetLastError(probe.Port()), uint32_t(TAVRIX_ERR_NOT_SUPPORT));
        QVERIFY(!Turn(probe.Port(), kStep, 0, 0));
        QCOMPARE(Tavrix_GetLastError(probe.Port()), uint32_t(TAVRIX_ERR_NOT_SUPPORT));
        QVERIFY(Tavrix_VIE_SetModuConfig(probe.Port(), TAVRIX_VIE_SHARPEN, true)); // any material
    }
    // Fisheye by its tag alone; the capture is the view as shown.
    PortProbe probe;
    DisplayLog log;
    QStringList expected;
    QVERIFY(OpenPausedAt(probe, "ceiling.mkv", &expected, &log, 3));
    QVERIFY(SetPtz(probe.Port(), 1));
    QVERIFY(!ShowAgain(probe, &log, 3).isEmpty());
    const QString strBmp = m_dir.filePath("view.bmp"), strJpeg = m_dir.filePath("view.jpg");
    QVERIFY(Tavrix_SR_Capture(probe.Port(), 0, strBmp.toLocal8Bit().constData()));
    QVERIFY(Tavrix_SR_Capture(probe.Port(), 1, strJpeg.toLocal8Bit().constData()));
    QFile bmp(strBmp), jpeg(strJpeg);
    QVERIFY(bmp.open(QIODevice::ReadOnly) && jpeg.open(QIODevice::ReadOnly));
    const QByteArray shown = Snapshot(probe.Port(), false);
    QCOMPARE(LeInt(shown, 18), 640); // the flat view, not the circle
    QVERIFY(bmp.readAll() == shown);
    QVERIFY(jpeg.readAll().startsWith("\xFF\xD8"));
    QVERIFY(!Tavrix_SR_Capture(probe.Port(), 0, m_dir.filePath("missing/view.bmp").toLocal8Bit().constData()));
}

QTEST_GUILESS_MAIN(TestFisheye)
#include "TestFisheye.moc"
