// Fisheye views in the play window: steering by buttons, the automatic turn,
// dragging and the wheel, the view mode across stop and close, snapshots of
// the view, and a fisheye stream de-warped like the same pictures from a file.

#include <QApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QWheelEvent>
#include <QtTest>

#include <cmath>
#include <vector>

#include "CDlgShow.h"
#include "CPlayWnd.h"
#include "GuiMedia.h"
#include "NetServers.h"
#include "OpenInfo.h"
#include "Tavrix.h"

using namespace GuiMedia;

namespace {

const double kPi = 3.14159265358979;
const double kStep = kPi / 200;
const double kEps = 1e-4;

TAVRIX_SR_VIEW View(CPlayWnd* pWnd) {
    TAVRIX_SR_VIEW stView{};
    Tavrix_SR_GetView(pWnd->GetPort(), &stView);
    return stView;
}

// Difference of two yaws, brought into (-pi, pi].
double YawDiff(double dTo, double dFrom) {
    double d = std::fmod(dTo - dFrom, 2 * kPi);
    if (d <= -kPi)
        d += 2 * kPi;
    if (d > kPi)
        d -= 2 * kPi;
    return d;
}

void SendMouse(CPlayWnd* pWnd, QEvent::Type eType, QPoint pt) {
    const Qt::MouseButton button = eType == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    const Qt::MouseButtons buttons = eType == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent ev(eType, QPointF(pt), QPointF(pWnd->mapToGlobal(pt)), button, buttons, Qt::NoModifier);
    QApplication::sendEvent(pWnd, &ev);
}

void SendWheel(CPlayWnd* pWnd, int nDelta) {
    const QPointF pt(pWnd->width() / 2, pWnd->height() / 2);
    QWheelEvent ev(pt, QPointF(pWnd->mapToGlobal(pt.toPoint())), QPoint(), QPoint(0, nDelta), Qt::NoButton,
                   Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(pWnd, &ev);
}

// The shown picture of a port as the engine's snapshot gives it.
QImage Shown(int nPort) {
    QByteArray baBmp(8 * 1024 * 1024, 0);
    uint32_t nSize = 0;
    if (nPort < 0 || !Tavrix_GetBMP(nPort, baBmp.data(), uint32_t(baBmp.size()), &nSize))
        return QImage();
    return QImage::fromData(reinterpret_cast<const uchar*>(baBmp.constData()), int(nSize), "BMP")
        .convertToFormat(QImage::Format_RGB888);
}

double MeanLuma(const QImage& img) {
    if (img.isNull())
        return -1.0;
    const QImage gray = img.convertToFormat(QImage::Format_Grayscale8);
    double dSum = 0;
    for (int y = 0; y < gray.height(); ++y) {
        const uchar* p = gray.constScanLine(y);
        for (int x = 0; x < gray.width(); ++x)
            dSum += p[x];
    }
    return dSum / (double(gray.width()) * gray.height());
}

double Psnr(const QImage& a, const QImage& b) {
    if (a.isNull() || a.size() != b.size())
        return 0.0;
    double dSum = 0;
    for (int y = 0; y < a.height(); ++y) {
        const uchar* pa = a.constScanLine(y);
        const uchar* pb = b.constScanLine(y);
        for (int x = 0; x < a.width() * 3; ++x)
            dSum += double(pa[x] - pb[x]) * (pa[x] - pb[x]);
    }
    const double dMse = dSum / (double(a.width()) * a.height() * 3);
    return dMse == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 / dMse);
}

} // namespace

class TestFisheyeView : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { DeleteMessageBoxes(); }

    // Buttons and the automatic turn, through the window and through the stage.
    void buttonsAndAutoTurn() {
        CDlgShow stage;
        stage.resize(640, 360);
        stage.show();
        CPlayWnd* pWnd = stage.GetPlayWnd(0);
        OpenInfo info = FileInfo(Clip("still_fisheye.mkv"));
        QVERIFY(stage.OpenFileInWnd(0, &info));
        QVERIFY(pWnd->IsSRFile());
        QCOMPARE(pWnd->GetSRWidthFactor(), 2);
        QCOMPARE(stage.GetSRViewMode(), 1);
        QVERIFY(pWnd->IsSRPtzEnable());
        QCOMPARE(View(pWnd).nKind, int(TAVRIX_SR_FLAT));
        // The picture area takes the view's own shape, and the circle's when
        // the original is shown: nothing stretched.
        QWidget* pDisplay = pWnd->findChild<QWidget*>(QStringLiteral("m_pDisplayWnd"));
        QVERIFY(pDisplay);
        auto shapeIs = [pDisplay](double dRatio) {
            const QSize sz = pDisplay->size();
            return sz.height() > 0 && std::abs(double(sz.width()) / sz.height() - dRatio) < 0.02;
        };
        QTRY_VERIFY_WITH_TIMEOUT(View(pWnd).nHeight > 0, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(shapeIs(double(View(pWnd).nWidth) / View(pWnd).nHeight), 5000);
        QVERIFY(stage.SetSRViewMode(0));
        QTRY_VERIFY_WITH_TIMEOUT(shapeIs(1.0), 5000);
        QVERIFY(stage.SetSRViewMode(1));
        QTRY_VERIFY_WITH_TIMEOUT(shapeIs(2.0), 5000);
        QVERIFY(pWnd->Pause());

        // One window step is s per axis; "up" looks up (the pitch grows).
        struct Row { int nCmd; double dX; double dY; };
        const Row rows[] = {{0, 0, -1}, {1, 0, 1}, {2, -1, 0}, {4, 1, 0}, {5, -1, -1},
                            {6, -1, 1}, {7, 1, -1}, {8, 1, 1}, {9, -1, 0}, {3, 0, 0}};
        for (const Row& row : rows) {
            const TAVRIX_SR_VIEW stBefore = View(pWnd);
            QVERIFY(pWnd->SRMove(row.nCmd));
            const TAVRIX_SR_VIEW stAfter = View(pWnd);
            QVERIFY2(std::abs(YawDiff(stAfter.fYaw, stBefore.fYaw) - row.dX * kStep) < kEps,
                     qPrintable(QString("code %1 yaw").arg(row.nCmd)));
            QVERIFY2(std::abs((stAfter.fPitch - stBefore.fPitch) + row.dY * kStep) < kEps,
                     qPrintable(QString("code %1 pitch").arg(row.nCmd)));
        }
        // Code 3 started the turn at (100 - 50) * 2 ms; speed 50 while it runs takes 50.
        QVERIFY(pWnd->IsAutoTrans());
        QCOMPARE(pWnd->AutoTransInterval(), 100);
        pWnd->SetAutoSpeed(50);
        QCOMPARE(pWnd->AutoTransInterval(), 50);

        // It turns right only, in whole steps, never faster than one step an interval.
        const float fYaw0 = View(pWnd).fYaw;
        QElapsedTimer clock;
        clock.start();
        double dTurned = 0;
        QTRY_VERIFY_WITH_TIMEOUT((dTurned = YawDiff(View(pWnd).fYaw, fYaw0)) >= 10 * kStep - kEps, 5000);
        const qint64 nElapsed = clock.elapsed();
        const double dSteps = dTurned / kStep;
        QVERIFY2(std::abs(dSteps - std::round(dSteps)) < 0.01, qPrintable(QString::number(dSteps)));
        // A coarse timer may fire up to 5 % early; never a step more than that allows.
        QVERIFY2(dSteps <= double(nElapsed) / (50 * 0.95) + 1,
                 qPrintable(QString("%1 steps in %2 ms").arg(dSteps).arg(nElapsed)));
        // A direction ends it, and so does Stop.
        QVERIFY(pWnd->SRMove(2));
        QVERIFY(!pWnd->IsAutoTrans());
        QVERIFY(pWnd->SRMove(3));
        QVERIFY(pWnd->IsAutoTrans());
        QVERIFY(pWnd->SRMove(3));
        QVERIFY(!pWnd->IsAutoTrans());

        // Speed 100: 2 ms fresh, 1 ms running; above 100 is ignored.
        pWnd->SetAutoSpeed(100);
        QVERIFY(pWnd->SRMove(3));
        QCOMPARE(pWnd->AutoTransInterval(), 2);
        pWnd->SetAutoSpeed(100);
        QCOMPARE(pWnd->AutoTransInterval(), 1);
        pWnd->SetAutoSpeed(101);
        QCOMPARE(pWnd->GetAutoSpeed(), 100);
        QCOMPARE(pWnd->AutoTransInterval(), 1);
        QVERIFY(pWnd->Stop());
        QVERIFY(!pWnd->IsAutoTrans());
        QVERIFY(pWnd->Play(false));
        QVERIFY(pWnd->Pause());

        // Through the stage a button step is two engine steps; the toggle adds none.
        TAVRIX_SR_VIEW stBefore = View(pWnd);
        QVERIFY(stage.SRMove(4));
        QVERIFY(std::abs(YawDiff(View(pWnd).fYaw, stBefore.fYaw) - 2 * kStep) < kEps);
        stBefore = View(pWnd);
        QVERIFY(stage.SRMove(3));
        QVERIFY(stage.IsAutoTrans());
        QVERIFY(stage.SetAutoSpeed(0));
        QVERIFY(std::abs(YawDiff(View(pWnd).fYaw, stBefore.fYaw)) < kStep); // no step of its own
        QVERIFY(stage.SRMove(3));
        QVERIFY(!stage.IsAutoTrans());

        // Only a window that plays or is paused takes them.
        QVERIFY(pWnd->Close());
        QVERIFY(!stage.SRMove(4));
        QCOMPARE(stage.GetSRViewMode(), -1);
        QVERIFY(!stage.SetSRViewMode(0));
        QCOMPARE(pWnd->GetSRViewMode(), 1);
        QCOMPARE(pWnd->GetAutoSpeed(), 0); // survives the close
    }

    // Dragging and the wheel, the view mode across Stop and Close, snapshots.
    void mouseModesAndCapture() {
        CDlgShow stage;
        stage.resize(640, 360);
        stage.show();
        QVERIFY(QTest::qWaitForWindowExposed(&stage));
        CPlayWnd* pWnd = stage.GetPlayWnd(0);
        OpenInfo info = FileInfo(Clip("still_fisheye.mkv"));
        QVERIFY(stage.OpenFileInWnd(0, &info));
        QVERIFY(pWnd->Pause());
        const int nW = pWnd->width();
        const int nH = pWnd->height();
        QVERIFY(nW > 8 && nH > 8);

        // A quarter of the width is a quarter turn; the whole width a full one.
        const float fYaw0 = View(pWnd).fYaw;
        SendMouse(pWnd, QEvent::MouseButtonPress, QPoint(0, nH / 2));
        SendMouse(pWnd, QEvent::MouseMove, QPoint(nW / 4, nH / 2));
        QVERIFY2(std::abs(YawDiff(View(pWnd).fYaw, fYaw0) - 2 * kPi * (nW / 4) / nW) < 1e-3,
                 qPrintable(QString::number(View(pWnd).fYaw)));
        SendMouse(pWnd, QEvent::MouseMove, QPoint(nW, nH / 2));
        QVERIFY(std::abs(YawDiff(View(pWnd).fYaw, fYaw0)) < 1e-3);
        // Down by an eighth of the height looks down by an eighth of a turn.
        const float fPitch0 = View(pWnd).fPitch;
        SendMouse(pWnd, QEvent::MouseMove, QPoint(nW, nH / 2 + nH / 8));
        QVERIFY(std::abs((View(pWnd).fPitch - fPitch0) + 2 * kPi * (nH / 8) / nH) < 1e-3);
        SendMouse(pWnd, QEvent::MouseButtonRelease, QPoint(nW, nH / 2 + nH / 8));
        // Released, a move steers nothing.
        TAVRIX_SR_VIEW stBefore = View(pWnd);
        SendMouse(pWnd, QEvent::MouseMove, QPoint(0, 0));
        QCOMPARE(View(pWnd).fYaw, stBefore.fYaw);

        // One notch forward narrows the view by 0.1, back widens it.
        SendWheel(pWnd, 120);
        QVERIFY(std::abs(View(pWnd).fFov - (stBefore.fFov - 0.1f)) < kEps);
        SendWheel(pWnd, -120);
        QVERIFY(std::abs(View(pWnd).fFov - stBefore.fFov) < kEps);

        // The original picture: drag and wheel are inert.
        QVERIFY(stage.SetSRViewMode(0));
        QVERIFY(!pWnd->IsSRPtzEnable());
        QCOMPARE(View(pWnd).nKind, int(TAVRIX_SR_ORIGINAL));
        stBefore = View(pWnd);
        SendMouse(pWnd, QEvent::MouseButtonPress, QPoint(0, nH / 2));
        SendMouse(pWnd, QEvent::MouseMove, QPoint(nW / 4, nH / 4));
        SendMouse(pWnd, QEvent::MouseButtonRelease, QPoint(nW / 4, nH / 4));
        SendWheel(pWnd, 120);
        QCOMPARE(View(pWnd).fYaw, stBefore.fYaw);
        QCOMPARE(View(pWnd).fPitch, stBefore.fPitch);
        QCOMPARE(View(pWnd).fFov, stBefore.fFov);

        // The mode survives Stop and Close; each play applies it again.
        QVERIFY(pWnd->Stop());
        QVERIFY(pWnd->Play(false));
        QCOMPARE(View(pWnd).nKind, int(TAVRIX_SR_ORIGINAL));
        QVERIFY(stage.SetSRViewMode(1));
        QVERIFY(pWnd->Close());
        QVERIFY(stage.OpenFileInWnd(0, &info));
        QCOMPARE(pWnd->GetSRViewMode(), 1);
        QCOMPARE(View(pWnd).nKind, int(TAVRIX_SR_FLAT));

        // A snapshot of fisheye material is the view as shown, written by the engine.
        QTRY_VERIFY_WITH_TIMEOUT(!Shown(pWnd->GetPort()).isNull(), 5000);
        QVERIFY(pWnd->Pause());
        QTemporaryDir dir;
        QString strPath;
        QCOMPARE(pWnd->CapOnePic(0, dir.path(), &strPath), 1);
        const QImage imgBmp(strPath);
        QCOMPARE(imgBmp.size(), QSize(View(pWnd).nWidth, View(pWnd).nHeight));
        QCOMPARE(imgBmp.size(), QSize(640, 320));
        QCOMPARE(pWnd->CapOnePic(1, dir.path(), &strPath), 1);
        QVERIFY(strPath.endsWith(".jpeg"));
        QCOMPARE(QImage(strPath, "JPEG").size(), QSize(640, 320));

        // Enhancement: the kept record goes to the engine again at each open.
        const double dMean0 = MeanLuma(Shown(pWnd->GetPort()));
        TAVRIX_VIE_PARAM stVie{};
        QVERIFY(stage.GetVIEParam(&stVie));
        QCOMPARE(stVie.nParam[3], 25); // the initial record
        stVie.nModuleMask = TAVRIX_VIE_BRIGHTEN;
        QVERIFY(stage.SetVIEParam(&stVie));
        QVERIFY(stage.SetVIEModuConfig(TAVRIX_VIE_BRIGHTEN, true));
        QTRY_VERIFY_WITH_TIMEOUT(MeanLuma(Shown(pWnd->GetPort())) > dMean0 + 5, 5000);
        QVERIFY(pWnd->Close());
        QVERIFY(stage.OpenFileInWnd(0, &info));
        QTRY_VERIFY_WITH_TIMEOUT(MeanLuma(Shown(pWnd->GetPort())) > dMean0 + 5, 5000);

        // Other material: no width factor, and the mouse is not the view's.
        OpenInfo infoPlain = FileInfo(Clip("h264_aac.mp4"));
        QVERIFY(stage.OpenFileInWnd(0, &infoPlain));
        QVERIFY(!pWnd->IsSRFile());
        QCOMPARE(pWnd->GetSRWidthFactor(), 1);
        QVERIFY(!stage.SRMove(4)); // the engine refuses the view on it
    }

    // A fisheye stream is de-warped like the same pictures from a file.
    void streamMatchesFile() {
        NetServers servers;
        const quint16 nRtsp = servers.StartRtsp("still_fisheye.ts");
        QVERIFY2(nRtsp != 0, qPrintable(servers.LastError()));

        CDlgShow stage;
        QVERIFY(stage.SetPlayWndNum(4));
        stage.resize(640, 360);
        stage.show();
        CPlayWnd* pFile = stage.GetPlayWnd(0);
        CPlayWnd* pStream = stage.GetPlayWnd(1);
        OpenInfo infoFile = FileInfo(Clip("still_fisheye.ts"));
        QVERIFY(stage.OpenFileInWnd(0, &infoFile));
        OpenInfo infoUrl;
        infoUrl.nMediaType = 2;
        infoUrl.strFilePath = QString("rtsp://127.0.0.1:%1/still_fisheye").arg(nRtsp);
        QVERIFY(stage.OpenFileInWnd(1, &infoUrl));
        QVERIFY(pStream->IsSRFile());
        QTRY_VERIFY_WITH_TIMEOUT(pStream->IsStreamOpened() && View(pStream).nKind == TAVRIX_SR_FLAT &&
                                     !Shown(pStream->GetPort()).isNull() && !Shown(pFile->GetPort()).isNull(),
                                 20000);
        QCOMPARE(pStream->GetSRWidthFactor(), 2);
        // Both paused: a paused port shows a new view at once, so the
        // comparison does not hang on the clip's remaining pictures.
        QVERIFY(pFile->Pause());
        QVERIFY(pStream->Pause());
        // The same turn on both: six steps right and two up through the window.
        for (CPlayWnd* pWnd : {pFile, pStream}) {
            for (int i = 0; i < 6; ++i)
                QVERIFY(pWnd->SRMove(4));
            QVERIFY(pWnd->SRMove(0));
            QVERIFY(pWnd->SRMove(0));
        }
        QCOMPARE(View(pStream).fYaw, View(pFile).fYaw);
        QCOMPARE(View(pStream).fPitch, View(pFile).fPitch);
        QCOMPARE(View(pStream).nWidth, View(pFile).nWidth);
        QImage imgStream;
        double dPsnr = 0;
        QImage imgFile;
        QDeadlineTimer deadline(10000);
        while ((dPsnr = Psnr(imgStream = Shown(pStream->GetPort()), imgFile = Shown(pFile->GetPort()))) < 40.0 &&
               !deadline.hasExpired())
            QTest::qWait(50);
        QVERIFY2(dPsnr >= 40.0, qPrintable(QString("PSNR %1, stream %2x%3 yaw %4, file %5x%6 yaw %7, states %8 %9")
                                               .arg(dPsnr).arg(imgStream.width()).arg(imgStream.height())
                                               .arg(View(pStream).fYaw).arg(imgFile.width()).arg(imgFile.height())
                                               .arg(View(pFile).fYaw).arg(pStream->GetPlayState())
                                               .arg(pFile->GetPlayState())));
        // Sanity: a view turned elsewhere differs clearly.
        for (int i = 0; i < 20; ++i)
            QVERIFY(pFile->SRMove(4));
        QTRY_VERIFY_WITH_TIMEOUT(Psnr(imgStream, Shown(pFile->GetPort())) < 30.0, 5000);
        QVERIFY(Psnr(imgStream, Shown(pFile->GetPort())) > 0.0); // same size, a real picture
        pStream->Close();
    }
};

QTEST_MAIN(TestFisheyeView)
#include "TestFisheyeView.moc"
