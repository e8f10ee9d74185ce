// Partial zoom of a play window, checked against the ffmpeg tool's crop of the region.

#include <QApplication>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QtTest>

#include <algorithm>

#include "CDlgShow.h"
#include "CPlayWnd.h"
#include "GuiMedia.h"
#include "OpenInfo.h"
#include "PartZoomWnd.h"

using namespace GuiMedia;

namespace {

// 704 x 576, 10 s of a moving pattern with the frame number drawn in.
const char* const kClip = "ch02_20240315103000_20240315103010.mp4";
const int kClipWidth = 704;
const int kClipHeight = 576;

QRect RegionRect(const CPlayWnd::ZoomRegion& st) {
    return QRect(QPoint(st.rcRegion.nLeft, st.rcRegion.nTop),
                 QPoint(st.rcRegion.nRight - 1, st.rcRegion.nBottom - 1));
}

void SendMouse(QWidget* pWidget, QEvent::Type eType, QPoint pt, Qt::MouseButton eButton,
               Qt::MouseButtons buttons) {
    QMouseEvent ev(eType, QPointF(pt), QPointF(pWidget->mapToGlobal(pt)), eButton, buttons, Qt::NoModifier);
    QApplication::sendEvent(pWidget, &ev);
}

// A left button drag from ptFrom to ptTo, with one move on the way.
void Drag(QWidget* pWidget, QPoint ptFrom, QPoint ptTo) {
    SendMouse(pWidget, QEvent::MouseButtonPress, ptFrom, Qt::LeftButton, Qt::LeftButton);
    SendMouse(pWidget, QEvent::MouseMove, (ptFrom + ptTo) / 2, Qt::NoButton, Qt::LeftButton);
    SendMouse(pWidget, QEvent::MouseMove, ptTo, Qt::NoButton, Qt::LeftButton);
    SendMouse(pWidget, QEvent::MouseButtonRelease, ptTo, Qt::LeftButton, Qt::NoButton);
}

void SendWheel(QWidget* pWidget, int nAngle) {
    const QPoint pt = pWidget->rect().center();
    QWheelEvent ev(QPointF(pt), QPointF(pWidget->mapToGlobal(pt)), QPoint(), QPoint(0, nAngle), Qt::NoButton,
                   Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(pWidget, &ev);
}

// Frame nFrame of the clip as the ffmpeg tool shows the part rcCrop of it at szOut.
QImage FfmpegView(int nFrame, const QRect& rcCrop, const QSize& szOut) {
    QProcess proc;
    const QString strFilter = QString::asprintf("select=eq(n\\,%d),crop=%d:%d:%d:%d,scale=%d:%d", nFrame,
                                                rcCrop.width(), rcCrop.height(), rcCrop.x(), rcCrop.y(),
                                                szOut.width(), szOut.height());
    proc.start("ffmpeg", {"-hide_banner", "-loglevel", "error", "-nostdin", "-i", Clip(kClip), "-an",
                          "-fps_mode", "passthrough", "-vf", strFilter, "-frames:v", "1", "-f", "rawvideo",
                          "-pix_fmt", "rgb24", "-"});
    if (!proc.waitForFinished(60000) || proc.exitCode() != 0)
        return QImage();
    const QByteArray baRaw = proc.readAllStandardOutput();
    if (baRaw.size() != szOut.width() * szOut.height() * 3)
        return QImage();
    return QImage(reinterpret_cast<const uchar*>(baRaw.constData()), szOut.width(), szOut.height(),
                  szOut.width() * 3, QImage::Format_RGB888)
        .copy();
}

// The main picture's display child (the navigator has a label of the same name).
QLabel* DisplayChild(CPlayWnd* pWnd) {
    return pWnd->findChild<QLabel*>("m_pDisplayWnd", Qt::FindDirectChildrenOnly);
}

// The shown picture matches the ffmpeg tool's view of rcRegion, and better than rcOther's.
void VerifyShows(QWidget* pChild, int nFrame, const QRect& rcRegion, const QRect& rcOther) {
    const QImage imgRef = FfmpegView(nFrame, rcRegion, pChild->size());
    const QImage imgOther = FfmpegView(nFrame, rcOther, pChild->size());
    QVERIFY2(!imgRef.isNull() && !imgOther.isNull(), "the ffmpeg tool gave no reference picture");
    const double dTolerance = 6.0;
    double dDiff = 1e9;
    QTRY_VERIFY2_WITH_TIMEOUT((dDiff = MeanAbsDiff(pChild->grab().toImage(), imgRef)) < dTolerance,
                              qPrintable(QString("mean difference %1").arg(dDiff)), 5000);
    const double dOther = MeanAbsDiff(pChild->grab().toImage(), imgOther);
    QVERIFY2(dDiff * 2 < dOther, qPrintable(QString("diff %1, to the other view %2").arg(dDiff).arg(dOther)));
}

// The default skin's zoom colour #FF3030 within two pixels of pt.
bool ZoomColourNear(const QImage& img, QPoint pt) {
    for (int dy = -2; dy <= 2; ++dy)
        for (int dx = -2; dx <= 2; ++dx) {
            const QPoint p = pt + QPoint(dx, dy);
            if (img.rect().contains(p) && qRed(img.pixel(p)) > 200 && qGreen(img.pixel(p)) < 110 &&
                qBlue(img.pixel(p)) < 110)
                return true;
        }
    return false;
}

// Share of the points along the edges of rcMark with the zoom colour near them.
double MarkShare(const QImage& img, const QRect& rcMark) {
    int nPoints = 0, nMarked = 0;
    auto Count = [&](QPoint pt) { ++nPoints, nMarked += ZoomColourNear(img, pt); };
    for (int x = rcMark.left(); x <= rcMark.right(); ++x) {
        Count(QPoint(x, rcMark.top()));
        Count(QPoint(x, rcMark.bottom()));
    }
    for (int y = rcMark.top(); y <= rcMark.bottom(); ++y) {
        Count(QPoint(rcMark.left(), y));
        Count(QPoint(rcMark.right(), y));
    }
    return nPoints ? double(nMarked) / nPoints : 0;
}

// Opens the clip in window 0 of a shown stage and waits for play.
CPlayWnd* OpenPlaying(CDlgShow* pStage) {
    pStage->resize(640, 480); // not the clip's size: the picture is scaled
    pStage->show();
    if (!QTest::qWaitForWindowExposed(pStage))
        return nullptr;
    CPlayWnd* pWnd = pStage->GetPlayWnd(0);
    OpenInfo info = FileInfo(Clip(kClip));
    if (!pWnd || !pStage->OpenFileInWnd(0, &info))
        return nullptr;
    if (!QTest::qWaitFor([pWnd] { return pWnd->GetCurrentFrameNum() >= 5; }, 20000))
        return nullptr;
    return pWnd;
}

} // namespace

class TestPartZoom : public QObject {
    Q_OBJECT

private slots:
    void selectMoveResetWheelTurnAndStop() {
        CDlgShow stage;
        CPlayWnd* pWnd = OpenPlaying(&stage);
        QVERIFY(pWnd);
        QLabel* pChild = DisplayChild(pWnd);
        QVERIFY(pChild);

        QVERIFY(pWnd->SetPartZoom(true));
        QVERIFY(!pWnd->SetPartZoom(true)); // already on
        CPlayWnd::ZoomRegion st = pWnd->GetZoomRegion();
        QCOMPARE(st.nWidth, kClipWidth);
        QCOMPARE(st.nHeight, kClipHeight);
        QCOMPARE(RegionRect(st), QRect(0, 0, kClipWidth, kClipHeight));
        QCOMPARE(stage.GetSelWndIndex(), 0); // the wheel goes to the selected window

        // The navigator: lower right corner, its share of the window, clamped.
        PartZoomWnd* pNav = pWnd->GetPartZoomWnd();
        QVERIFY(pNav && pNav->isVisible());
        const int nNavW = std::clamp(int(pWnd->width() * 0.29019145), 80, 226);
        const int nNavH = std::clamp(int(pWnd->height() * 0.29019145), 60, 170);
        QCOMPARE(pNav->geometry(),
                 QRect(pWnd->width() - nNavW - 3, pWnd->height() - nNavH - 3, nNavW, nNavH));

        // While playing: a click is no selection; a press on the navigator starts none.
        const QRect rcD = pChild->frameGeometry();
        const QPoint ptClick = rcD.topLeft() + QPoint(rcD.width() / 3, rcD.height() / 3);
        Drag(pWnd, ptClick, ptClick);
        QCOMPARE(RegionRect(pWnd->GetZoomRegion()), QRect(0, 0, kClipWidth, kClipHeight));
        Drag(pWnd, pNav->geometry().center(), rcD.topLeft() + QPoint(10, 10));
        QCOMPARE(RegionRect(pWnd->GetZoomRegion()), QRect(0, 0, kClipWidth, kClipHeight));

        // A drag selects within the whole picture, in picture pixels.
        const QPoint ptA = rcD.topLeft() + QPoint(rcD.width() * 3 / 4, rcD.height() * 3 / 5);
        const QPoint ptB = rcD.topLeft() + QPoint(rcD.width() / 5, rcD.height() / 4);
        Drag(pWnd, ptA, ptB); // from lower right to upper left: the rectangle is the same
        const QPoint sA = ptA - rcD.topLeft();
        const QPoint sB = ptB - rcD.topLeft();
        auto Expected = [&rcD](const QRect& rcOld, QPoint s1, QPoint s2) {
            const double dRw = rcOld.width();
            const double dRh = rcOld.height();
            const int nL = int(rcOld.left() + dRw * std::min(s1.x(), s2.x()) / rcD.width());
            const int nR = int(rcOld.left() + dRw * std::max(s1.x(), s2.x()) / rcD.width());
            const int nT = int(rcOld.top() + dRh * std::min(s1.y(), s2.y()) / rcD.height());
            const int nB = int(rcOld.top() + dRh * std::max(s1.y(), s2.y()) / rcD.height());
            return QRect(QPoint(nL, nT), QPoint(nR - 1, nB - 1));
        };
        const QRect rcFirst = Expected(QRect(0, 0, kClipWidth, kClipHeight), sA, sB);
        QCOMPARE(RegionRect(pWnd->GetZoomRegion()), rcFirst);

        // Paused: the display child shows that part of the frame, scaled to fill it.
        QVERIFY(pWnd->Pause());
        const int nFrame = int(pWnd->GetCurrentFrameNum());
        const QRect rcWhole(0, 0, kClipWidth, kClipHeight);
        VerifyShows(pChild, nFrame, rcFirst, rcWhole);

        // A second selection inside the region; the navigator marks it on the whole frame.
        QLabel* pNavLabel = pNav->GetDisplayWnd();
        const QImage imgNavRef = FfmpegView(nFrame, rcWhole, pNavLabel->size());
        QVERIFY(!imgNavRef.isNull());
        const QPoint sC(rcD.width() / 4, rcD.height() / 5);
        const QPoint sD(rcD.width() * 3 / 4, rcD.height() * 4 / 5);
        Drag(pWnd, rcD.topLeft() + sC, rcD.topLeft() + sD);
        const QRect rcSecond = Expected(rcFirst, sC, sD);
        QCOMPARE(RegionRect(pWnd->GetZoomRegion()), rcSecond);
        QVERIFY(rcFirst.contains(rcSecond) && rcSecond.width() < rcFirst.width());

        QVERIFY(pNav->isVisible());
        const double dFx = double(pNavLabel->width()) / kClipWidth;
        const double dFy = double(pNavLabel->height()) / kClipHeight;
        const QRect rcMark(QPoint(int(rcSecond.left() * dFx), int(rcSecond.top() * dFy)),
                           QPoint(int((rcSecond.right() + 1) * dFx), int((rcSecond.bottom() + 1) * dFy)));
        QTRY_VERIFY_WITH_TIMEOUT(MeanAbsDiff(pNavLabel->grab().toImage(), imgNavRef) < 8.0, 2500);
        QTRY_VERIFY_WITH_TIMEOUT(MarkShare(pNavLabel->grab().toImage(), rcMark) > 0.9, 2500);
        QVERIFY2(MarkShare(imgNavRef, rcMark) < 0.5, "the frame itself has the zoom colour along the mark");
        VerifyShows(pChild, nFrame, rcSecond, rcFirst);

        // Dragging the mark moves the region by the drag in picture pixels.
        const QPoint ptMark = rcMark.center() + QPoint(2, 2); // label to navigator
        const QPoint ptMoved = ptMark + QPoint(-10, 6);
        Drag(pNav, ptMark, ptMoved);
        // The drag arrives in two moves, each truncated on its own.
        const double dPicPerX = double(kClipWidth) / pNavLabel->width();
        const double dPicPerY = double(kClipHeight) / pNavLabel->height();
        const QPoint ptHalf = (ptMark + ptMoved) / 2;
        const int nDx =
            int((ptHalf.x() - ptMark.x()) * dPicPerX) + int((ptMoved.x() - ptHalf.x()) * dPicPerX);
        const int nDy =
            int((ptHalf.y() - ptMark.y()) * dPicPerY) + int((ptMoved.y() - ptHalf.y()) * dPicPerY);
        QVERIFY(nDx < 0 && nDy > 0);
        const QRect rcMoved = rcSecond.translated(nDx, nDy);
        QCOMPARE(RegionRect(pWnd->GetZoomRegion()), rcMoved);
        VerifyShows(pChild, nFrame, rcMoved, rcSecond);

        // Reset, from the navigator's button: the whole frame again.
        QPushButton* pBtnReset = pNav->findChild<QPushButton*>("m_pBtnReset");
        QVERIFY(pBtnReset);
        QVERIFY(pWnd->On_PartZoomScalePlus()); // shows the navigator again, if it hid meanwhile
        QVERIFY(pBtnReset->isVisible());
        QTest::mouseClick(pBtnReset, Qt::LeftButton);
        QCOMPARE(RegionRect(pWnd->GetZoomRegion()), rcWhole);
        VerifyShows(pChild, nFrame, rcWhole, rcMoved);

        // Zoom actions show the navigator; a double click hides it, as does time.
        QVERIFY(pWnd->On_PartZoomScalePlus());
        QVERIFY(pNav->isVisible());
        SendMouse(pWnd, QEvent::MouseButtonDblClick, rcD.center(), Qt::LeftButton, Qt::LeftButton);
        QVERIFY(!pNav->isVisible());
        QVERIFY(pWnd->IsPartZoom());
        QVERIFY(pWnd->On_PartZoomScaleMinus());
        QVERIFY(pNav->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(!pNav->isVisible(), 6000);
        // Zoom again from off: the whole picture.
        QVERIFY(pWnd->SetPartZoom(false) && pWnd->SetPartZoom(true));
        QCOMPARE(RegionRect(pWnd->GetZoomRegion()), rcWhole);

        // The wheel: in, one notch at a time, until the region stops at 16 picture pixels.
        QRect rcPrev = RegionRect(pWnd->GetZoomRegion());
        int nSteps = 0;
        for (; nSteps < 300; ++nSteps) {
            SendWheel(pWnd, 120);
            const QRect rc = RegionRect(pWnd->GetZoomRegion());
            if (rc == rcPrev)
                break;
            QVERIFY(rcPrev.contains(rc) && rcWhole.contains(rc));
            QVERIFY(rc.width() >= 16 && rc.height() >= 16);
            rcPrev = rc;
        }
        QVERIFY2(nSteps > 1 && nSteps < 300, qPrintable(QString("%1 steps in").arg(nSteps)));
        QCOMPARE(std::min(rcPrev.width(), rcPrev.height()), 16);
        // Still about the middle of the picture, where it began.
        QVERIFY(std::abs(rcPrev.center().x() - kClipWidth / 2) <= 2 &&
                std::abs(rcPrev.center().y() - kClipHeight / 2) <= 2);

        // Out until the whole picture; further out stays there.
        for (nSteps = 0; nSteps < 300 && RegionRect(pWnd->GetZoomRegion()) != rcWhole; ++nSteps)
            SendWheel(pWnd, -120);
        QVERIFY2(nSteps > 1 && nSteps < 300, qPrintable(QString("%1 steps out").arg(nSteps)));
        SendWheel(pWnd, -120);
        QCOMPARE(RegionRect(pWnd->GetZoomRegion()), rcWhole);
        // The whole picture cannot be moved: its edges are already at the picture's.
        QVERIFY(!pWnd->On_PartZoomRectMove(-1, 0));

        // A quarter turn exchanges the sides; the region is the whole turned picture.
        SendWheel(pWnd, 120);
        QVERIFY(RegionRect(pWnd->GetZoomRegion()) != rcWhole);
        QVERIFY(pWnd->SetRotateAngle(1));
        st = pWnd->GetZoomRegion();
        QCOMPARE(st.nWidth, kClipHeight);
        QCOMPARE(st.nHeight, kClipWidth);
        QCOMPARE(RegionRect(st), QRect(0, 0, kClipHeight, kClipWidth));
        SendWheel(pWnd, 120);
        st = pWnd->GetZoomRegion();
        QVERIFY(RegionRect(st).height() > RegionRect(st).width()); // a tall region of a tall picture
        QVERIFY(pWnd->SetRotateAngle(-1));

        // Stop ends zoom; a stopped window cannot zoom.
        QVERIFY(pWnd->Stop());
        QVERIFY(!pWnd->IsPartZoom());
        QVERIFY(!pWnd->GetPartZoomWnd()->isVisible());
        QVERIFY(!pWnd->SetPartZoom(true));
    }
};

QTEST_MAIN(TestPartZoom)
#include "TestPartZoom.moc"
