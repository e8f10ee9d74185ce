// The stage: layout counts and the selection, double click in the one- and
// nine-window layouts, closing by path, the aggregate state and pause-all.

#include <QSignalSpy>
#include <QtTest>

#include "CDlgShow.h"
#include "CPlayWnd.h"
#include "GuiMedia.h"
#include "OpenInfo.h"

using namespace GuiMedia;

namespace {

QList<int> VisibleWnds(CDlgShow& stage) {
    QList<int> wnds;
    for (int i = 0; i < CDlgShow::MAX_PLAY_WND; ++i) {
        if (stage.GetPlayWnd(i)->isVisible())
            wnds << i;
    }
    return wnds;
}

QList<int> Range(int nCount) {
    QList<int> list;
    for (int i = 0; i < nCount; ++i)
        list << i;
    return list;
}

} // namespace

class TestDlgShow : public QObject {
    Q_OBJECT

private slots:
    void layoutCountKeepsOrResetsSelection() {
        CDlgShow stage;
        stage.resize(600, 450);
        stage.show();
        QVERIFY(stage.SetPlayWndNum(9));
        QCOMPARE(VisibleWnds(stage), Range(9));

        // Selection 3 of 9 lies inside a 4-window layout and stays.
        QVERIFY(stage.On_ChangeSelWnd(3));
        QSignalSpy spySel(&stage, &CDlgShow::Sig_ChangeSelWnd);
        QVERIFY(stage.SetPlayWndNum(4));
        QCOMPARE(stage.GetSelWndIndex(), 3);
        QCOMPARE(spySel.count(), 0);
        QCOMPARE(VisibleWnds(stage), Range(4));

        // Selection 5 of 9 does not: it goes back to 0, announced before the relayout.
        QVERIFY(stage.SetPlayWndNum(9));
        QVERIFY(stage.On_ChangeSelWnd(5));
        spySel.clear();
        QSignalSpy spyCtrl(&stage, &CDlgShow::Sig_UpdateCtrlStatus);
        QVERIFY(stage.SetPlayWndNum(4));
        QCOMPARE(stage.GetSelWndIndex(), 0);
        QCOMPARE(spySel.count(), 1);
        QCOMPARE(spySel.at(0).at(0).toInt(), 0);
        QCOMPARE(spyCtrl.count(), 1);
        // A click outside the layout cannot select a hidden window.
        QVERIFY(!stage.On_ChangeSelWnd(7));
        QCOMPARE(stage.GetSelWndIndex(), 0);

        // Bad counts change nothing and announce nothing.
        QVERIFY(stage.SetPlayWndNum(9));
        QVERIFY(stage.On_ChangeSelWnd(8));
        spySel.clear();
        spyCtrl.clear();
        QSignalSpy spyUpdate(&stage, &CDlgShow::Sig_Update);
        for (int nNum : {9, 2, 0, -4, 3, 17, 25})
            QVERIFY2(!stage.SetPlayWndNum(nNum), qPrintable(QString::number(nNum)));
        QCOMPARE(stage.GetPlayWndNum(), 9);
        QCOMPARE(stage.GetSelWndIndex(), 8);
        QCOMPARE(spySel.count() + spyCtrl.count() + spyUpdate.count(), 0);
        QCOMPARE(VisibleWnds(stage), Range(9));

        // Bad indexes answer the neutral values.
        QCOMPARE(stage.GetPlayState(-1), 0);
        QVERIFY(!stage.Play(16));
        QVERIFY(stage.GetPlayWnd(16) == nullptr);
        OpenInfo info = FileInfo(Clip("h264_aac.mp4"));
        QVERIFY(!stage.OpenFileInWnd(16, &info));
        QVERIFY(!stage.OpenFileInWnd(0, nullptr));
    }

    void doubleClickAsksFullScreenOrMaximises() {
        CDlgShow stage;
        stage.resize(600, 450);
        stage.show();
        QVERIFY(QTest::qWaitForWindowExposed(&stage));
        QSignalSpy spyDbl(&stage, &CDlgShow::Sig_DbClickPlayWnd);
        QSignalSpy spySel(&stage, &CDlgShow::Sig_ChangeSelWnd);

        // In the one-window layout the window fills the stage (no margin) and asks for full screen.
        QTest::mouseDClick(stage.GetPlayWnd(0), Qt::LeftButton);
        QCOMPARE(spyDbl.count(), 1);
        QCOMPARE(spyDbl.at(0).at(0).toInt(), 0);
        QVERIFY(!stage.IsMaxWnd());
        QCOMPARE(VisibleWnds(stage), Range(1));
        QCOMPARE(stage.GetPlayWnd(0)->geometry(), stage.rect());

        // Of nine, it is maximised and restored instead.
        QVERIFY(stage.SetPlayWndNum(9));
        spyDbl.clear();
        spySel.clear();
        QTest::mouseDClick(stage.GetPlayWnd(5), Qt::LeftButton);
        QCOMPARE(stage.GetSelWndIndex(), 5);
        QVERIFY(stage.IsMaxWnd());
        QCOMPARE(VisibleWnds(stage), QList<int>{5});
        QCOMPARE(spySel.count(), 1);
        QCOMPARE(spyDbl.count(), 0);
        QTRY_VERIFY(stage.GetPlayWnd(5)->width() > stage.width() / 2);
        // A click on the maximised window changes nothing.
        QTest::mouseClick(stage.GetPlayWnd(5), Qt::LeftButton);
        QCOMPARE(spySel.count(), 1);
        QTest::mouseDClick(stage.GetPlayWnd(5), Qt::LeftButton);
        QVERIFY(!stage.IsMaxWnd());
        QCOMPARE(stage.GetSelWndIndex(), 5);
        QCOMPARE(VisibleWnds(stage), Range(9));
        QTRY_VERIFY(stage.GetPlayWnd(5)->width() < stage.width() / 2);
    }

    void closeByFilePathTakesEitherSeparator() {
        CDlgShow stage;
        QVERIFY(stage.SetPlayWndNum(4));
        const QString strClip = Clip("h264_aac.mp4");
        const QString strOther = Clip("mpeg4.mp4");

        OpenInfo info = FileInfo(strClip);
        QVERIFY(stage.OpenFileInWnd(0, &info));
        QVERIFY(stage.OpenFileInWnd(3, &info));
        // Window 12 lies outside the layout and is still closed.
        QVERIFY(stage.OpenFileInWnd(12, &info));
        QVERIFY(stage.GetPlayWnd(12)->Pause());
        // Opened but not started: left alone.
        QVERIFY(stage.GetPlayWnd(2)->Open(&info));
        OpenInfo infoOther = FileInfo(strOther);
        QVERIFY(stage.OpenFileInWnd(1, &infoOther));

        QSignalSpy spyCtrl(&stage, &CDlgShow::Sig_UpdateCtrlStatus);
        QString strBackslashed = strClip;
        strBackslashed.replace('/', '\\');
        QVERIFY(stage.CloseByFilePath(strBackslashed));
        QCOMPARE(stage.GetPlayState(0), 0);
        QCOMPARE(stage.GetPlayState(3), 0);
        QCOMPARE(stage.GetPlayState(12), 0);
        QCOMPARE(stage.GetPlayState(2), 4);
        QCOMPARE(stage.GetPlayState(1), 1);
        QCOMPARE(stage.GetWndFilePath(1), QDir::toNativeSeparators(strOther));
        QCOMPARE(spyCtrl.count(), 1);

        // Nothing to close: still true, nothing announced.
        QVERIFY(stage.CloseByFilePath(Clip("no_such_clip.mp4")));
        QCOMPARE(spyCtrl.count(), 1);
        QCOMPARE(stage.GetPlayState(1), 1);
    }

    void aggregateStateFollowsSelection() {
        CDlgShow stage;
        QVERIFY(stage.SetPlayWndNum(4));
        OpenInfo info = FileInfo(Clip("hevc.mkv"));
        QVERIFY(stage.OpenFileInWnd(2, &info));

        QCOMPARE(stage.GetPlayState(), 0); // window 0 is empty
        QVERIFY(!stage.PlayOrPause());     // nothing to play there
        QVERIFY(stage.On_ChangeSelWnd(2));
        QCOMPARE(stage.GetPlayState(), 1);
        QCOMPARE(stage.GetSelWndFilePath(), QDir::toNativeSeparators(Clip("hevc.mkv")));

        QVERIFY(stage.PlayOrPause());
        QCOMPARE(stage.GetPlayState(), 2);
        QCOMPARE(stage.GetPlayState(2), 2);
        QVERIFY(stage.PlayOrPause());
        QCOMPARE(stage.GetPlayState(), 1);
        QVERIFY(stage.SyncStop());
        QCOMPARE(stage.GetPlayState(), 3);
        QCOMPARE(stage.GetPlayedTime(), 0u);
        // A stopped window plays again from the stage.
        QVERIFY(stage.PlayOrPause());
        QCOMPARE(stage.GetPlayState(), 1);
        QVERIFY(!stage.Play(2)); // already playing
    }

    void pauseAllToggleRestoresExactlyThePlaying() {
        CDlgShow stage;
        QVERIFY(stage.SetPlayWndNum(9));
        OpenInfo info = FileInfo(Clip("mpeg4.mp4"));
        for (int i : {0, 1, 2, 3})
            QVERIFY(stage.OpenFileInWnd(i, &info));
        QVERIFY(stage.GetPlayWnd(3)->Pause());     // paused by hand
        QVERIFY(stage.GetPlayWnd(4)->Open(&info)); // opened, not started
        // Window 10 is hidden by the layout and still playing: it pauses too.
        QVERIFY(stage.OpenFileInWnd(10, &info));

        QSignalSpy spyCtrl(&stage, &CDlgShow::Sig_UpdateCtrlStatus);
        QVERIFY(stage.PauseAllToggle());
        for (int i : {0, 1, 2, 3, 10})
            QCOMPARE(stage.GetPlayState(i), 2);
        QCOMPARE(stage.GetPlayState(4), 4);
        QCOMPARE(stage.GetPlayState(5), 0);
        const uint nPausedAt = stage.GetPlayWnd(0)->GetCurrentFrameNum();
        const uint nLast = stage.GetPlayWnd(0)->GetFileTotalFrames() - 1;

        QVERIFY(stage.PauseAllToggle());
        for (int i : {0, 1, 2, 10})
            QCOMPARE(stage.GetPlayState(i), 1);
        QCOMPARE(stage.GetPlayState(3), 2);
        QCOMPARE(stage.GetPlayState(4), 4);
        QCOMPARE(spyCtrl.count(), 2);
        // The windows really move again, not only their state.
        if (nPausedAt < nLast)
            QTRY_VERIFY_WITH_TIMEOUT(stage.GetPlayWnd(0)->GetCurrentFrameNum() > nPausedAt, 10000);
    }
};

QTEST_MAIN(TestDlgShow)
#include "TestDlgShow.moc"
