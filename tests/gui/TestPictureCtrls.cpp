// Picture controls: the picture area for each aspect and size mode, the
// private data switches and their reset at stop, the colour dialog's signals,
// and the right-click menu following the selected window.

#include <QAction>
#include <QActionGroup>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QSlider>
#include <QPushButton>
#include <QtTest>

#include <algorithm>

#include "CDlgShow.h"
#include "CPlayWnd.h"
#include "ColorAdjustDlg.h"
#include "GuiMedia.h"
#include "MainDlgFixture.h"
#include "OpenInfo.h"

using namespace GuiMedia;

namespace {

const int kPlayWaitMs = 20000;

QRect DisplayRect(CPlayWnd* pWnd) {
    QLabel* pDisplay = pWnd->findChild<QLabel*>(QStringLiteral("m_pDisplayWnd"));
    return pDisplay ? pDisplay->geometry() : QRect();
}

bool WaitPlaying(CPlayWnd* pWnd) {
    return QTest::qWaitFor([pWnd] { return pWnd->GetPlayState() == 1 || pWnd->GetPlayState() == 2; },
                           kPlayWaitMs);
}

// The action of a menu whose data is nValue.
QAction* ActionOf(QMenu* pMenu, int nValue) {
    for (QAction* pAction : pMenu->actions()) {
        if (!pAction->isSeparator() && !pAction->menu() && pAction->data().toInt() == nValue)
            return pAction;
    }
    return nullptr;
}

QList<int> CheckedValues(QMenu* pMenu) {
    QList<int> lstValues;
    for (QAction* pAction : pMenu->actions()) {
        if (pAction->isChecked())
            lstValues << pAction->data().toInt();
    }
    std::sort(lstValues.begin(), lstValues.end());
    return lstValues;
}

QList<int> ColorArgs(const QSignalSpy& spy, int i) {
    const QList<QVariant> args = spy.at(i);
    return {args.at(0).toInt(), args.at(1).toInt(), args.at(2).toInt(), args.at(3).toInt()};
}

} // namespace

class TestPictureCtrls : public QObject {
    Q_OBJECT

private slots:
    // A 640 x 480 clip in an 800 x 400 window, then in an 800 x 800 one.
    void pictureAreaAndSwitchesUntilStop() {
        CPlayWnd wnd(0);
        wnd.resize(800, 400);
        wnd.show();
        QVERIFY(QTest::qWaitForWindowExposed(&wnd));

        OpenInfo info = FileInfo(Clip("bars.mp4"));
        QVERIFY(wnd.Open(&info));
        // Not playing yet, and no frame size known: the picture covers the window.
        QVERIFY(wnd.SetImageScaleMode(1));
        QCOMPARE(DisplayRect(&wnd), QRect(0, 0, 800, 400));
        QVERIFY(wnd.Play(false));
        QVERIFY(WaitPlaying(&wnd));
        // The first frame's size shapes it by the picture's own ratio.
        QTRY_COMPARE_WITH_TIMEOUT(DisplayRect(&wnd), QRect(133, 0, 533, 400), kPlayWaitMs);

        QVERIFY(wnd.SetImageScaleMode(2));
        QCOMPARE(DisplayRect(&wnd), QRect(133, 0, 533, 400));
        QVERIFY(wnd.SetImageScaleMode(3));
        QCOMPARE(DisplayRect(&wnd), QRect(44, 0, 711, 400));
        // A resize lays the mode out again: now the window is the narrower one.
        wnd.resize(800, 800);
        QTRY_COMPARE(DisplayRect(&wnd), QRect(0, 175, 800, 450));
        QVERIFY(wnd.SetImageScaleMode(0));
        QCOMPARE(DisplayRect(&wnd), QRect(0, 0, 800, 800));

        // Size modes, from the source size 640 x 480.
        int nW = 0;
        int nH = 0;
        QVERIFY(wnd.GetSourceSize(&nW, &nH));
        QCOMPARE(QSize(nW, nH), QSize(640, 480));
        QVERIFY(wnd.SetDisplayPercentMode(1));
        QCOMPARE(DisplayRect(&wnd), QRect(80, 160, 640, 480));
        QVERIFY(wnd.SetDisplayPercentMode(3));
        QCOMPARE(DisplayRect(&wnd), QRect(240, 280, 320, 240));
        QVERIFY(wnd.SetDisplayPercentMode(4));
        QCOMPARE(DisplayRect(&wnd), QRect(320, 340, 160, 120));
        // Twice 640 x 480 does not fit in 800 x 800: it is fitted with its ratio.
        QVERIFY(wnd.SetDisplayPercentMode(2));
        QCOMPARE(DisplayRect(&wnd), QRect(0, 100, 800, 600));
        QVERIFY(!wnd.SetDisplayPercentMode(5));
        QCOMPARE(wnd.GetDisplayPercentMode(), 2);
        QCOMPARE(DisplayRect(&wnd), QRect(0, 100, 800, 600));
        // A 4:3 aspect of a 640 wide source asks 640 x 480 too.
        QVERIFY(wnd.SetImageScaleMode(2));
        QVERIFY(wnd.GetSourceSize(&nW, &nH));
        QCOMPARE(QSize(nW, nH), QSize(640, 480));

        // Private data switches: one kind at a time.
        QCOMPARE(wnd.GetPrivateDataMask(), 63u);
        for (uint nType : {0u, 3u, 64u, 63u})
            QVERIFY2(!wnd.RenderPrivateData(nType, false), qPrintable(QString::number(nType)));
        QCOMPARE(wnd.GetPrivateDataMask(), 63u);

        QVERIFY(wnd.RenderPrivateData(2, false));
        QVERIFY(wnd.RenderPrivateData(32, false));
        QCOMPARE(wnd.GetPrivateDataMask(), 63u & ~34u);
        QVERIFY(wnd.RenderPrivateData(2, true));
        QCOMPARE(wnd.GetPrivateDataMask(), 63u & ~32u);
        QVERIFY(wnd.SetRotateAngle(1));
        QCOMPARE(wnd.GetRotateAngle(), 1);

        // A stop returns the window to what a new play starts with; the
        // picture covers the window whatever the mode, which is kept.
        QVERIFY(wnd.Stop());
        QCOMPARE(wnd.GetPrivateDataMask(), 63u);
        QCOMPARE(wnd.GetRotateAngle(), -1);
        QCOMPARE(DisplayRect(&wnd), QRect(0, 0, 800, 800));
        QCOMPARE(wnd.GetImageScaleMode(), 2);
    }

    void colourDialogSendsFourValues() {
        ColorAdjustDlg dlg;
        QVERIFY(dlg.Init());
        QSignalSpy spy(&dlg, &ColorAdjustDlg::Sig_AdjustColor);
        QSlider* pContrast = dlg.findChild<QSlider*>(QStringLiteral("m_pSlider_Contrast"));
        QSlider* pHue = dlg.findChild<QSlider*>(QStringLiteral("m_pSlider_Hue"));
        QLabel* pContrastValue = dlg.findChild<QLabel*>(QStringLiteral("m_pLabelValue_Contrast"));
        QPushButton* pReset = dlg.findChild<QPushButton*>(QStringLiteral("m_pBtnReset"));
        QVERIFY(pContrast && pHue && pContrastValue && pReset);
        QCOMPARE(pContrast->value(), 64);

        pContrast->setValue(100);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(ColorArgs(spy, 0), (QList<int>{64, 100, 64, 64}));
        QCOMPARE(pContrastValue->text(), QStringLiteral("100"));
        // Nothing outside 0..128 gets out.
        pHue->setValue(500);
        QCOMPARE(ColorArgs(spy, spy.count() - 1), (QList<int>{64, 100, 64, 128}));

        dlg.SetColorValues(10, 20, 30, 40);
        QCOMPARE(ColorArgs(spy, spy.count() - 1), (QList<int>{10, 20, 30, 40}));
        QCOMPARE(pContrastValue->text(), QStringLiteral("20"));

        spy.clear();
        QTest::mouseClick(pReset, Qt::LeftButton);
        QVERIFY(spy.count() >= 1);
        QCOMPARE(ColorArgs(spy, spy.count() - 1), (QList<int>{64, 64, 64, 64}));
        QCOMPARE(pContrastValue->text(), QStringLiteral("64"));
        // Restore with everything neutral still sends once.
        spy.clear();
        QTest::mouseClick(pReset, Qt::LeftButton);
        QCOMPARE(spy.count(), 1);
    }

    void rightMenuFollowsSelectedWindow() {
        MainDlgFixture fix;
        QVERIFY(fix.Start(QSize(1000, 640)));
        QMenu* pMenu = fix.pDlg->findChild<QMenu*>(QStringLiteral("m_pMainRightMenu"));
        QMenu* pTurn = fix.pDlg->findChild<QMenu*>(QStringLiteral("m_pImgTurnMenu"));
        QMenu* pScale = fix.pDlg->findChild<QMenu*>(QStringLiteral("m_pImgScaleMenu"));
        QMenu* pImageCtrl = fix.pDlg->findChild<QMenu*>(QStringLiteral("m_pImageCtrlMenu"));
        QMenu* pIVS = fix.pDlg->findChild<QMenu*>(QStringLiteral("m_pIVSInfoMenu"));
        QAction* pCapture = fix.pDlg->findChild<QAction*>(QStringLiteral("m_pActCapPic"));
        QAction* pPartZoom = fix.pDlg->findChild<QAction*>(QStringLiteral("m_pActPartZoom"));
        QVERIFY(pMenu && pTurn && pScale && pImageCtrl && pIVS && pCapture && pPartZoom);

        auto rightPress = [&] {
            const QPoint ptLocal(fix.pStage->width() / 2, fix.pStage->height() / 2);
            QMouseEvent ev(QEvent::MouseButtonPress, QPointF(ptLocal),
                           QPointF(fix.pStage->mapToGlobal(ptLocal)), Qt::RightButton, Qt::RightButton,
                           Qt::NoModifier);
            fix.pDlg->On_DlgShowMousePressEvent(&ev);
            const bool bShown = pMenu->isVisible();
            pMenu->hide();
            return bShown;
        };

        // Nothing plays: the picture entries are off.
        QVERIFY(rightPress());
        QVERIFY(!pImageCtrl->menuAction()->isEnabled());
        QVERIFY(!pScale->menuAction()->isEnabled());
        QVERIFY(!pCapture->isEnabled());
        QVERIFY(!pPartZoom->isEnabled());

        OpenInfo info = FileInfo(Clip("bars.mp4"));
        QVERIFY(fix.pDlg->PlayFileInWnd(0, &info));
        CPlayWnd* pWnd = fix.pStage->GetPlayWnd(0);
        QVERIFY(WaitPlaying(pWnd));
        QVERIFY(fix.pStage->SetRotateAngle(1));
        QVERIFY(fix.pStage->SetImageScaleMode(3));
        QVERIFY(fix.pStage->RenderPrivateData(0, 4, false));

        QVERIFY(rightPress());
        QVERIFY(pImageCtrl->menuAction()->isEnabled());
        QVERIFY(pScale->menuAction()->isEnabled());
        QVERIFY(pCapture->isEnabled());
        QCOMPARE(CheckedValues(pTurn), QList<int>{1});
        QCOMPARE(CheckedValues(pScale), QList<int>{3});
        QCOMPARE(CheckedValues(pIVS), (QList<int>{1, 2, 8, 16, 32}));

        // The entries act on the selected window.
        ActionOf(pTurn, 2)->trigger();
        QCOMPARE(pWnd->GetRotateAngle(), 2);
        ActionOf(pIVS, 4)->trigger();
        QCOMPARE(pWnd->GetPrivateDataMask(), 63u);
        ActionOf(pScale, 0)->trigger();
        QCOMPARE(pWnd->GetImageScaleMode(), 0);
        QVERIFY(rightPress());
        QCOMPARE(CheckedValues(pTurn), QList<int>{2});
        QCOMPARE(CheckedValues(pScale), QList<int>{0});
        QCOMPARE(CheckedValues(pIVS), (QList<int>{1, 2, 4, 8, 16, 32}));
    }
};

QTEST_MAIN(TestPictureCtrls)
#include "TestPictureCtrls.moc"
