// The fisheye controls of the main dialog: the eagle eye bar's repeat timing,
// the bar turning the selected window's view, the controls that fisheye
// material takes away, and the modal expansion dialog pausing the other
// windows for exactly its own lifetime.

#include <QAction>
#include <QActionGroup>
#include <QElapsedTimer>
#include <QImage>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>

#include "CDlgShow.h"
#include "CPlayWnd.h"
#include "EagleEyeCtrlBar.h"
#include "GuiMedia.h"
#include "Halvane.h"
#include "MainDlgFixture.h"
#include "NetServers.h"
#include "Tavrix.h"

using namespace GuiMedia;

namespace {

const int kPlayTimeoutMs = 20000;
const double kStep = 0.015707964; // one engine turn, pi/200

// Codes of the bar's signal spy, in emission order.
QList<int> Codes(const QSignalSpy& spy) {
    QList<int> lstCodes;
    for (const QList<QVariant>& args : spy)
        lstCodes << args.at(0).toInt();
    return lstCodes;
}

bool View(int32_t nPort, TAVRIX_SR_VIEW* pView) {
    *pView = TAVRIX_SR_VIEW{};
    return nPort >= 0 && Tavrix_SR_GetView(nPort, pView);
}

// The engine's snapshot of a port as an image; null when it has none yet.
QImage Snapshot(int32_t nPort) {
    QByteArray baBmp(32 * 1024 * 1024, '\0');
    uint32_t nSize = 0;
    if (nPort < 0 || !Tavrix_GetBMP(nPort, baBmp.data(), uint32_t(baBmp.size()), &nSize))
        return QImage();
    return QImage::fromData(reinterpret_cast<const uchar*>(baBmp.constData()), int(nSize), "BMP");
}

// The first frame of strPath through the tool's v360 with the options the
// engine documents for the panorama.
QImage ToolEquirect(const QString& strPath, int nWidth, int nHeight) {
    // The engine's panorama: the lower half of a full equirectangular view
    // looking down, which is everything the lens sees.
    const QString strFilter = QStringLiteral("select=eq(n\\,0),v360=input=fisheye:ih_fov=180:iv_fov=180:"
                                             "output=equirect:pitch=-90:h_fov=360:v_fov=180:w=%1:h=%2:"
                                             "interp=line,crop=%1:%3:0:0")
                                  .arg(nWidth)
                                  .arg(2 * nHeight)
                                  .arg(nHeight);
    return ToolPicture(strPath, strFilter, nWidth, nHeight);
}

// Two windows of four: a minute of the fisheye still in window 0 and an
// ordinary minute-long clip in window 1, both playing, window 0 selected.
struct FisheyeFixture : MainDlgFixture {
    QString strFisheye;
    bool StartTwo() {
        // The still looped without re-encoding, so every frame stays the same.
        strFisheye = dirConfig.filePath(QStringLiteral("long_fisheye.mkv"));
        QProcess proc;
        proc.start("ffmpeg", {"-hide_banner", "-loglevel", "error", "-nostdin", "-y", "-stream_loop", "29",
                              "-i", Clip("still_fisheye.mkv"), "-c", "copy", strFisheye});
        if (!proc.waitForFinished(60000) || proc.exitCode() != 0)
            return false;
        if (!Start(QSize(1100, 700)) || !pDlg->On_ChangePlayWndNum(4) ||
            !pDlg->OpenFileList({strFisheye, Clip("beep_flash_60s.mkv")}))
            return false;
        const bool bPlaying = QTest::qWaitFor(
            [this] { return pStage->GetPlayState(0) == 1 && pStage->GetPlayState(1) == 1; }, kPlayTimeoutMs);
        return bPlaying && Select(0);
    }
    bool Select(int nWnd) {
        pStage->On_ChangeSelWnd(nWnd);
        return pStage->GetSelWndIndex() == nWnd;
    }
    int32_t Port(int nWnd) const { return pStage->GetPlayWnd(nWnd)->GetPort(); }
    bool Enabled(const char* szName) const { return Button(szName)->isEnabled(); }
};

} // namespace

class TestFisheyeDlg : public QObject {
    Q_OBJECT

private slots:
    void barRepeatsWhileHeld();
    void barTurnsSelectedWindowAndControlsFollow();
    void expansionPausesOtherWindows();
};

void TestFisheyeDlg::barRepeatsWhileHeld() {
    EagleEyeCtrlBar bar;
    QVERIFY(bar.Init());
    bar.show();
    QVERIFY(QTest::qWaitForWindowExposed(&bar));
    QSignalSpy spy(&bar, &EagleEyeCtrlBar::SigPTZBtn);
    auto* pUp = bar.findChild<QPushButton*>(QStringLiteral("PTZm_pBtnUp"));
    auto* pAuto = bar.findChild<QPushButton*>(QStringLiteral("PTZm_pBtnAuto"));
    auto* pSlider = bar.findChild<QSlider*>(QStringLiteral("PTZm_pSldAutoSpeed"));
    auto* pPanel = bar.findChild<QWidget*>(QStringLiteral("m_pWgtCtrlBar"));
    QVERIFY(pUp && pAuto && pSlider && pPanel);
    QCOMPARE(pSlider->value(), 50);

    // The arrow shows the panel and swaps its picture; both pictures load.
    QVERIFY(!pPanel->isVisible());
    QVERIFY(!QPixmap(QStringLiteral(":Resources/ptz_show.png")).isNull());
    QVERIFY(!QPixmap(QStringLiteral(":Resources/ptz_hide.png")).isNull());
    QTest::mouseClick(bar.findChild<QPushButton*>(QStringLiteral("m_pBtnArrow")), Qt::LeftButton);
    QVERIFY(pPanel->isVisible() && bar.IsPanelShown());

    // Speed 95: the label and tool tip follow, a held button repeats every 10 ms.
    bar.On_SldChangeValue(95);
    QCOMPARE(bar.findChild<QLabel*>(QStringLiteral("PTZm_pLabAutoSpeed"))->text(), QStringLiteral("95"));
    QCOMPARE(pSlider->toolTip(), QStringLiteral("Auto-Scan Speed: 95"));
    bar.On_SldChangeValue(101); // out of range: nothing
    QCOMPARE(pSlider->toolTip(), QStringLiteral("Auto-Scan Speed: 95"));
    QElapsedTimer timer;
    QTest::mousePress(pUp, Qt::LeftButton);
    timer.start();
    QCOMPARE(spy.count(), 1); // the first step at once
    QTRY_VERIFY_WITH_TIMEOUT(spy.count() >= 6, 5000);
    QVERIFY2(timer.elapsed() >= 45, qPrintable(QString::number(timer.elapsed())));
    QTest::mouseRelease(pUp, Qt::LeftButton);
    const int nAtRelease = spy.count();
    QVERIFY(!spy.wait(150)); // the next tick only ends the timer
    QCOMPARE(spy.count(), nAtRelease);
    QVERIFY(Codes(spy).count(0) == spy.count());

    // Two directions held together stop together at one release.
    spy.clear();
    bar.On_BtnPTZUp();
    bar.On_BtnPTZRightDown();
    QTRY_VERIFY_WITH_TIMEOUT(Codes(spy).count(0) >= 3 && Codes(spy).count(8) >= 3, 5000);
    bar.On_BtnPTZRelease();
    const int nBoth = spy.count();
    QVERIFY(!spy.wait(150));
    QCOMPARE(spy.count(), nBoth);

    // Auto is a click (code 3); a direction press raises it again.
    spy.clear();
    QTest::mouseClick(pAuto, Qt::LeftButton);
    QCOMPARE(Codes(spy), QList<int>{3});
    QVERIFY(bar.IsAutoScan() && pAuto->isChecked());
    bar.On_BtnPTZLeft();
    bar.On_BtnPTZRelease();
    QVERIFY(!bar.IsAutoScan() && !pAuto->isChecked());
    QCOMPARE(Codes(spy).mid(0, 2), (QList<int>{3, 2}));
    // The window's state comes back without a signal.
    spy.clear();
    bar.SetAutoScan(true);
    QVERIFY(pAuto->isChecked());
    QCOMPARE(spy.count(), 0);
}

void TestFisheyeDlg::barTurnsSelectedWindowAndControlsFollow() {
    FisheyeFixture fx;
    QVERIFY(fx.StartTwo());
    EagleEyeCtrlBar* pBar = fx.pDlg->GetEagleEyeCtrlBar();
    QVERIFY(pBar);
    auto* pActPtz = fx.pDlg->findChild<QAction*>(QStringLiteral("m_pActPTZMode"));
    auto* pActOriginal = fx.pDlg->findChild<QAction*>(QStringLiteral("m_pActOriginalMode"));
    QVERIFY(pActPtz && pActOriginal);

    // A fisheye window plays in PTZ mode: the bar shows, the controls that
    // would act on the lens picture are off.
    QTRY_VERIFY(pBar->isVisibleTo(fx.pDlg.get()));
    QCOMPARE(fx.pStage->GetSRViewMode(), 1);
    QVERIFY(pActPtz->isChecked());
    QVERIFY(fx.Enabled("m_pBtnEagleEyeCtrl"));
    for (const char* szName :
         {"m_pBtnCapPic", "m_pBtnConCapPic", "m_pBtnPanoPlayer", "m_pBtnPartZoom", "m_pBtnReversePlay"})
        QVERIFY2(!fx.Enabled(szName), szName);

    // One press through the dialog turns the view by two engine steps.
    TAVRIX_SR_VIEW stBefore;
    TAVRIX_SR_VIEW stAfter;
    QVERIFY(View(fx.Port(0), &stBefore));
    pBar->On_BtnPTZUp();
    pBar->On_BtnPTZRelease();
    QVERIFY(View(fx.Port(0), &stAfter));
    QVERIFY2(std::fabs((stAfter.fPitch - stBefore.fPitch) - 2 * kStep) < 1e-4,
             qPrintable(QString::number(stAfter.fPitch)));
    QVERIFY(std::fabs(stAfter.fYaw - stBefore.fYaw) < 1e-6);
    pBar->On_BtnPTZRight();
    pBar->On_BtnPTZRelease();
    QVERIFY(View(fx.Port(0), &stBefore));
    QVERIFY(std::fabs((stBefore.fYaw - stAfter.fYaw) - 2 * kStep) < 1e-4);

    // Auto scan runs in the window and its state comes back to the bar; a
    // direction ends it.
    pBar->On_BtnPTZAuto();
    QVERIFY(fx.pStage->IsAutoTrans());
    fx.pDlg->On_UpdateCtrlsState();
    QVERIFY(pBar->IsAutoScan());
    pBar->On_BtnPTZDown();
    pBar->On_BtnPTZRelease();
    QVERIFY(!fx.pStage->IsAutoTrans());
    fx.pDlg->On_UpdateCtrlsState();
    QVERIFY(!pBar->IsAutoScan());

    // The original picture: bar away, snapshots back.
    pActOriginal->trigger();
    QCOMPARE(fx.pStage->GetSRViewMode(), 0);
    QVERIFY(!pBar->isVisibleTo(fx.pDlg.get()));
    QVERIFY(pActOriginal->isChecked());
    QVERIFY(fx.Enabled("m_pBtnCapPic"));
    QVERIFY(!fx.Enabled("m_pBtnPanoPlayer"));

    // An ordinary clip: no eagle eye, the expansion button back.
    QVERIFY(fx.Select(1));
    QVERIFY(!fx.Enabled("m_pBtnEagleEyeCtrl"));
    QVERIFY(fx.Enabled("m_pBtnPanoPlayer"));
    QVERIFY(!pBar->isVisibleTo(fx.pDlg.get()));
    // Back on the fisheye window in PTZ, then stopped: everything fisheye off,
    // and the bar's commands are dropped.
    QVERIFY(fx.Select(0));
    pActPtz->trigger();
    QVERIFY(pBar->isVisibleTo(fx.pDlg.get()));
    QVERIFY(fx.pDlg->On_Stop());
    QTRY_VERIFY(!MainDlgFixture::Playing(fx.pStage->GetPlayState(0)));
    QVERIFY(!pBar->isVisibleTo(fx.pDlg.get()));
    for (const char* szName : {"m_pBtnEagleEyeCtrl", "m_pBtnPanoPlayer", "m_pBtnPartZoom"})
        QVERIFY2(!fx.Enabled(szName), szName);
    QVERIFY(!fx.pDlg->On_SigPTZBtn(0));
}

void TestFisheyeDlg::expansionPausesOtherWindows() {
    FisheyeFixture fx;
    QVERIFY(fx.StartTwo());
    CPlayWnd* pWnd1 = fx.pStage->GetPlayWnd(1);
    QVERIFY(pWnd1->Pause());
    QTRY_COMPARE(fx.pStage->GetPlayState(1), 2);
    const int32_t nPortsBefore = Tavrix_GetPortsInUse();

    // Drives the modal dialog from inside its loop; whatever happens, the
    // dialog is closed by the deadline so that a fault cannot hang the test.
    struct Observed {
        bool bSeen = false;
        bool bDone = false;
        int nState0 = -1;
        int nState1 = -1;
        TAVRIX_SR_VIEW stView{};
        QImage imgPano;
    } stSeen;
    QElapsedTimer deadline;
    QTimer driver;
    driver.setInterval(20);
    QObject::connect(&driver, &QTimer::timeout, [&] {
        Halvane* pHalvane = fx.pDlg->GetHalvane();
        if (!pHalvane || !pHalvane->isVisible())
            return;
        if (!stSeen.bSeen) {
            stSeen.bSeen = true;
            deadline.start();
            stSeen.nState0 = fx.pStage->GetPlayState(0);
            stSeen.nState1 = fx.pStage->GetPlayState(1);
        }
        if (stSeen.imgPano.isNull())
            stSeen.imgPano = Snapshot(pHalvane->Port());
        if (!stSeen.imgPano.isNull() || deadline.elapsed() > kPlayTimeoutMs) {
            View(pHalvane->Port(), &stSeen.stView);
            stSeen.bDone = true;
            pHalvane->done(0);
        }
    });
    driver.start();

    // The hot key opens it on the selected fisheye window.
    QTest::keyClick(fx.pDlg.get(), Qt::Key_P, Qt::ControlModifier);
    QTRY_VERIFY_WITH_TIMEOUT(stSeen.bDone && !fx.pDlg->GetHalvane(), kPlayTimeoutMs * 2);
    QCOMPARE(stSeen.nState0, 2); // paused while the dialog ran
    QCOMPARE(stSeen.nState1, 2);
    QCOMPARE(stSeen.stView.nKind, int32_t(TAVRIX_SR_EQUIRECT));
    QVERIFY(!stSeen.imgPano.isNull());
    QCOMPARE(stSeen.imgPano.size(), QSize(stSeen.stView.nWidth, stSeen.stView.nHeight));
    const QImage imgTool =
        ToolEquirect(Clip("still_fisheye.mkv"), stSeen.stView.nWidth, stSeen.stView.nHeight);
    QVERIFY(!imgTool.isNull());
    const int nDiff = MaxAbsDiff(stSeen.imgPano, imgTool);
    QVERIFY2(nDiff <= 1, qPrintable(QString::number(nDiff)));
    // Afterwards the playing window plays on, the paused one stays paused,
    // and the dialog's port is free again.
    QTRY_COMPARE(fx.pStage->GetPlayState(0), 1);
    QCOMPARE(fx.pStage->GetPlayState(1), 2);
    QCOMPARE(Tavrix_GetPortsInUse(), nPortsBefore);

    // An ordinary file cannot be expanded: a message, the windows untouched.
    QVERIFY(fx.Select(1));
    stSeen = Observed();
    QVERIFY(fx.pDlg->On_OpenFEC());
    QVERIFY(!stSeen.bSeen);
    QCOMPARE(MainDlgFixture::MessageTexts(QStringLiteral("Information")),
             QStringList{QStringLiteral("Information")});
    MainDlgFixture::CloseMessages();
    QCOMPARE(fx.pStage->GetPlayState(0), 1);
    QCOMPARE(fx.pStage->GetPlayState(1), 2);
    QCOMPARE(Tavrix_GetPortsInUse(), nPortsBefore);

    // A fisheye stream selected: no expansion, neither by button nor by key.
    NetServers servers;
    const quint16 nRtsp = servers.StartRtsp(QStringLiteral("still_fisheye.ts"));
    QVERIFY2(nRtsp != 0, qPrintable(servers.LastError()));
    OpenInfo stUrl;
    stUrl.nMediaType = 2;
    stUrl.strFilePath = QStringLiteral("rtsp://127.0.0.1:%1/still_fisheye").arg(nRtsp);
    QVERIFY(fx.pDlg->PlayFileInWnd(2, &stUrl));
    QTRY_VERIFY_WITH_TIMEOUT(fx.pStage->GetPlayState(2) == 1, kPlayTimeoutMs);
    QVERIFY(fx.Select(2));
    QVERIFY(!fx.Enabled("m_pBtnPanoPlayer"));
    QKeyEvent evKey(QEvent::KeyPress, Qt::Key_P, Qt::ControlModifier);
    QVERIFY(!fx.pDlg->On_KeyPressEvent(&evKey));
    QCoreApplication::processEvents();
    QVERIFY(!stSeen.bSeen && !fx.pDlg->GetHalvane());
}

QTEST_MAIN(TestFisheyeDlg)
#include "TestFisheyeDlg.moc"
