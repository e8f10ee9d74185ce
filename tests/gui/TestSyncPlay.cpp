// Lock-step play through the main dialog with four recordings of one morning.

#include <QtTest>

#include <QFile>

#include <memory>
#include <vector>

#include "CDlgShow.h"
#include "CPlayHelper.h"
#include "CPlayWnd.h"
#include "CSkinButton.h"
#include "CVelquinDlg.h"
#include "GuiMedia.h"
#include "MainDlgFixture.h"
#include "SyncPlayProgressDlg.h"
#include "SyncWndFile.h"

namespace {

const int kPlayTimeoutMs = 20000;
const QString kInformation = QStringLiteral("Information");
const QString kNoSyncTime = QStringLiteral("Files has no synchronous time, can not play!");
// The clips begin at 10:00:00, 10:00:07.300, 10:00:20 and 10:01:01 on 2024-03-15.
const QStringList kSyncClips = {"sync_a_25fps.mp4", "sync_b_30fps.mkv", "cam3_20240315100020.ts",
                                "sync_d_25fps.mp4"};
// Longest frame period among them (12.5 fps), with a little room for rounding.
const qint64 kFrameSlackMs = 81;

TAVRIX_SYSTEM_TIME At(int nHour, int nMinute, int nSecond, int nMs = 0) {
    return {2024, 3, 15, nHour, nMinute, nSecond, nMs};
}

qint64 Stamp(const TAVRIX_SYSTEM_TIME& t) {
    return qint64(CPlayHelper::GetGlobalTimeStamp(&t));
}

// Place of a time on the group's day span: the whole of 2024-03-15.
double DayPrecent(const TAVRIX_SYSTEM_TIME& t) {
    TAVRIX_SYSTEM_TIME stBegin = {2024, 3, 15, 0, 0, 0, 0};
    TAVRIX_SYSTEM_TIME stEnd = {2024, 3, 15, 23, 59, 59, 0};
    double dPrecent = -1.0;
    CPlayHelper::GetPrecentByGlobalTime(&t, dPrecent, &stBegin, &stEnd);
    return dPrecent;
}

struct SyncFixture : MainDlgFixture {
    bool Start() { return MainDlgFixture::Start(QSize(900, 600)) && pDlg->On_ChangePlayWndNum(4); }

    // Opens the clips in windows 0, 1, ... and waits until each plays.
    bool OpenPlaying(const QStringList& lstNames) {
        QStringList lstPaths;
        for (const QString& strName : lstNames)
            lstPaths << GuiMedia::Clip(strName);
        return pDlg->OpenFileList(lstPaths) && WaitFor([&] { return AllMembersInState(1, int(lstNames.size())); });
    }
    bool EnterSync() { return OpenPlaying(kSyncClips) && pDlg->On_SyncPlay() && pStage->IsSyncPlay(); }
    template <class F> static bool WaitFor(F fnDone) { return QTest::qWaitFor(fnDone, kPlayTimeoutMs); }
    qint64 WndTime(int i) {
        TAVRIX_SYSTEM_TIME t{};
        CPlayWnd* pWnd = pStage->GetPlayWnd(i);
        return pWnd && pWnd->GetCurGlobalTime(&t) ? Stamp(t) : -1;
    }
    qint64 GroupTime() {
        double dPrecent = 0.0;
        TAVRIX_SYSTEM_TIME t{};
        return pStage->GetSyncPlayPrecent(&dPrecent, &t) ? Stamp(t) : -1;
    }
    bool AllMembersInState(int nState, int nMembers = int(kSyncClips.size())) {
        for (int i = 0; i < nMembers; ++i) {
            if (pStage->GetPlayState(i) != nState)
                return false;
        }
        return true;
    }
};

} // namespace

class TestSyncPlay : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        for (const QString& strName : kSyncClips)
            QVERIFY2(QFile::exists(GuiMedia::Clip(strName)), "run make-test-media.sh");
    }

    // One group at the earliest active member's position; leaving paused plays each alone.
    void enterFollowAndLeave() {
        SyncFixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.OpenPlaying(kSyncClips));
        CSkinButton* pBtnSync = fx.Button("m_pBtnSyncPlay");
        QVERIFY(pBtnSync && pBtnSync->isEnabled() && !pBtnSync->IsSelected());

        pBtnSync->click();
        QVERIFY(fx.pStage->IsSyncPlay());
        QVERIFY(pBtnSync->IsSelected());
        QCOMPARE(pBtnSync->toolTip(), QStringLiteral("Cancel Synchronous Play"));

        // One row per window in order, with its file's range; the group spans them all.
        std::vector<SYNC_WND_FILE*> vecRows;
        FILE_INFO_SYNC stFirst{};
        FILE_INFO_SYNC stLast{};
        QVERIFY(fx.pStage->GetSyncPlayInfo(vecRows, &stFirst, &stLast));
        std::vector<std::unique_ptr<SYNC_WND_FILE>> vecOwned(vecRows.begin(), vecRows.end());
        QCOMPARE(int(vecRows.size()), kSyncClips.size());
        for (int i = 0; i < kSyncClips.size(); ++i) {
            FILE_INFO_SYNC stRange{};
            QVERIFY(CPlayHelper::GetFileGlobalTimeRange(GuiMedia::Clip(kSyncClips[i]), &stRange));
            QCOMPARE(vecRows[i]->nWndIndex, i);
            QCOMPARE(vecRows[i]->lPort, fx.pStage->GetPlayWnd(i)->GetPort());
            QCOMPARE(qint64(vecRows[i]->nBeginStamp), Stamp(stRange.stBegin));
            QCOMPARE(qint64(vecRows[i]->nEndStamp), Stamp(stRange.stEnd));
            QVERIFY(fx.pStage->GetPlayWnd(i)->IsSyncGroup());
        }
        QCOMPARE(Stamp(stFirst.stBegin), Stamp(At(10, 0, 0)));
        QCOMPARE(Stamp(stLast.stEnd), qint64(vecRows[3]->nEndStamp));

        // The ruler stands under the dialog, as wide as it.
        SyncPlayProgressDlg* pRuler = fx.pDlg->findChild<SyncPlayProgressDlg*>();
        QVERIFY(pRuler && pRuler->isVisible());
        QCOMPARE(pRuler->geometry().topLeft(), fx.pDlg->mapToGlobal(QPoint(0, fx.pDlg->height())));
        QCOMPARE(pRuler->width(), fx.pDlg->width());
        fx.pDlg->resize(1000, 640);
        QTRY_COMPARE_WITH_TIMEOUT(pRuler->width(), 1000, kPlayTimeoutMs);
        QCOMPARE(pRuler->geometry().topLeft(), fx.pDlg->mapToGlobal(QPoint(0, fx.pDlg->height())));

        // The group starts at the earliest begin and moves on.
        qint64 nLast = 0;
        QTRY_VERIFY_WITH_TIMEOUT((nLast = fx.GroupTime()) >= Stamp(At(10, 0, 0)), kPlayTimeoutMs);
        for (int nTick = 0; nTick < 2; ++nTick) {
            const qint64 nBefore = nLast;
            QTRY_VERIFY_WITH_TIMEOUT((nLast = fx.GroupTime()) >= nBefore + 500, kPlayTimeoutMs);
        }

        // Paused: the least active member's time, shown by every member already begun.
        QVERIFY(fx.pDlg->On_PlayOrPause());
        QTRY_VERIFY_WITH_TIMEOUT(fx.AllMembersInState(2), kPlayTimeoutMs);
        QCOMPARE(fx.pStage->GetPlayState(), 2);
        // A picture already on its way may still land after the pause.
        auto fnGroupIsMinimum = [&] {
            const qint64 nGroup = fx.GroupTime();
            qint64 nMin = -1;
            for (int i = 0; i < kSyncClips.size(); ++i) {
                const qint64 nWnd = fx.WndTime(i);
                if (fx.pStage->IsSyncWndActive(i) && nWnd >= 0 && (nMin < 0 || nWnd < nMin))
                    nMin = nWnd;
            }
            return nGroup > 0 && nGroup == nMin;
        };
        QTRY_VERIFY_WITH_TIMEOUT(fnGroupIsMinimum(), kPlayTimeoutMs);
        const qint64 nGroup = fx.GroupTime();
        for (int i = 0; i < kSyncClips.size(); ++i) {
            if (qint64(vecRows[i]->nBeginStamp) <= nGroup)
                QVERIFY2(qAbs(fx.WndTime(i) - nGroup) <= kFrameSlackMs, qPrintable(kSyncClips[i]));
        }

        // Leaving while paused: every member plays on alone.
        QVERIFY(fx.pDlg->On_SyncPlay());
        QVERIFY(!fx.pStage->IsSyncPlay());
        QVERIFY(fx.AllMembersInState(1));
        for (int i = 0; i < kSyncClips.size(); ++i)
            QVERIFY(!fx.pStage->GetPlayWnd(i)->IsSyncGroup());
        QVERIFY(!pRuler->isVisible());
        QVERIFY(!pBtnSync->IsSelected());
        QCOMPARE(pBtnSync->toolTip(), QStringLiteral("Synchronous Play"));
    }

    // Jumps before a begin, past ends and back, outside (refused), paused and playing.
    void jumps() {
        SyncFixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.EnterSync());
        QVERIFY(fx.pDlg->On_PlayOrPause());
        QTRY_VERIFY_WITH_TIMEOUT(fx.AllMembersInState(2), kPlayTimeoutMs);

        // 10:00:30 lies in the first three files, before the fourth begins.
        const qint64 nInside = Stamp(At(10, 0, 30));
        QVERIFY(fx.pStage->SetSyncPlayPrecent(DayPrecent(At(10, 0, 30))));
        // Each member lands on its picture for the new moment on its own threads.
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(fx.GroupTime() - nInside) <= kFrameSlackMs, kPlayTimeoutMs);
        for (int i = 0; i < 3; ++i)
            QVERIFY(qAbs(fx.WndTime(i) - nInside) <= kFrameSlackMs);
        for (int i = 0; i < 4; ++i)
            QVERIFY(fx.pStage->IsSyncWndActive(i));
        QVERIFY(fx.AllMembersInState(2));

        // 10:01:10 lies past the ends of the second and third files.
        const qint64 nLate = Stamp(At(10, 1, 10));
        QVERIFY(fx.pStage->SetSyncPlayPrecent(DayPrecent(At(10, 1, 10))));
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(fx.GroupTime() - nLate) <= kFrameSlackMs, kPlayTimeoutMs);
        QVERIFY(qAbs(fx.WndTime(3) - nLate) <= kFrameSlackMs);
        QVERIFY(fx.pStage->IsSyncWndActive(0) && fx.pStage->IsSyncWndActive(3));
        QVERIFY(!fx.pStage->IsSyncWndActive(1) && !fx.pStage->IsSyncWndActive(2));
        QVERIFY(fx.AllMembersInState(2));

        // Outside the files: refused, nothing moves.
        const qint64 nBeforeRefusal = fx.GroupTime();
        QVERIFY(!fx.pStage->SetSyncPlayPrecent(DayPrecent(At(9, 59, 0))));
        QVERIFY(!fx.pStage->SetSyncPlayPrecent(DayPrecent(At(10, 2, 0))));
        QVERIFY(!fx.pDlg->On_SyncPlayLocate(1.5, nullptr));
        QCOMPARE(fx.GroupTime(), nBeforeRefusal);

        // A jump back brings the parked members back.
        QVERIFY(fx.pDlg->On_PlayOrPause());
        QTRY_COMPARE_WITH_TIMEOUT(fx.pStage->GetPlayState(), 1, kPlayTimeoutMs);
        TAVRIX_SYSTEM_TIME stBack = At(10, 0, 40);
        QVERIFY(fx.pDlg->On_SyncPlayLocate(DayPrecent(stBack), &stBack));
        for (int i = 0; i < 4; ++i)
            QVERIFY(fx.pStage->IsSyncWndActive(i));
        QTRY_VERIFY_WITH_TIMEOUT(fx.AllMembersInState(1), kPlayTimeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(fx.GroupTime() - Stamp(stBack)) <= 2000, kPlayTimeoutMs);

        // Playing, a jump past two ends leaves those two paused at their end.
        QVERIFY(fx.pStage->SetSyncPlayPrecent(DayPrecent(At(10, 1, 10))));
        QCOMPARE(fx.pStage->GetPlayState(0), 1);
        QCOMPARE(fx.pStage->GetPlayState(3), 1);
        QCOMPARE(fx.pStage->GetPlayState(1), 2);
        QCOMPARE(fx.pStage->GetPlayState(2), 2);

        // Members at their end stop counting; all ended, the group reads the last file's end.
        QSignalSpy spyEnd(fx.pStage, &CDlgShow::Sig_FileEnd);
        QTRY_VERIFY_WITH_TIMEOUT(!fx.pStage->IsSyncWndActive(0), kPlayTimeoutMs);
        QVERIFY(fx.pStage->IsSyncWndActive(3));
        QVERIFY(fx.pStage->SetSyncPlayPrecent(DayPrecent(At(10, 1, 29, 500))));
        QTRY_VERIFY_WITH_TIMEOUT(!fx.pStage->IsSyncWndActive(3), kPlayTimeoutMs);
        FILE_INFO_SYNC stLastRange{};
        QVERIFY(CPlayHelper::GetFileGlobalTimeRange(GuiMedia::Clip(kSyncClips[3]), &stLastRange));
        double dPrecent = 0.0;
        TAVRIX_SYSTEM_TIME stAtEnd{};
        QVERIFY(fx.pStage->GetSyncPlayPrecent(&dPrecent, &stAtEnd));
        QCOMPARE(Stamp(stAtEnd), Stamp(stLastRange.stEnd));
        QCOMPARE(dPrecent, DayPrecent(stLastRange.stEnd));
        QCOMPARE(spyEnd.count(), 0);
        for (int i = 0; i < kSyncClips.size(); ++i)
            QVERIFY(fx.pStage->GetWndFilePath(i).endsWith(kSyncClips[i]));

        // Stop stops the group and leaves synchronous play.
        QVERIFY(fx.pDlg->On_Stop());
        QVERIFY(!fx.pStage->IsSyncPlay());
        QVERIFY(fx.AllMembersInState(3));
    }

    // A jump into the gap between two files goes on where the later one begins.
    void jumpIntoGap() {
        SyncFixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.OpenPlaying({"sync_a_25fps.mp4", "ch01_20240315102030.ts"}));
        QVERIFY(fx.pDlg->On_SyncPlay());
        QVERIFY(fx.pDlg->On_PlayOrPause());
        QTRY_COMPARE_WITH_TIMEOUT(fx.pStage->GetPlayState(), 2, kPlayTimeoutMs);

        QVERIFY(fx.pStage->SetSyncPlayPrecent(DayPrecent(At(10, 10, 0))));
        QVERIFY(!fx.pStage->IsSyncWndActive(0));
        QVERIFY(fx.pStage->IsSyncWndActive(1));
        const qint64 nLaterBegin = Stamp(At(10, 20, 30));
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(fx.GroupTime() - nLaterBegin) <= kFrameSlackMs, kPlayTimeoutMs);
        QCOMPARE(fx.pStage->GetPlayState(), 2);
        // Played on, the later file runs at once instead of waiting dark.
        QVERIFY(fx.pDlg->On_PlayOrPause());
        QTRY_VERIFY_WITH_TIMEOUT(fx.WndTime(1) >= nLaterBegin + 500, kPlayTimeoutMs);
        QCOMPARE(fx.pStage->GetPlayState(0), 2);
    }

    // Refused: one window silently, a file without global time with a message.
    void guards() {
        SyncFixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.OpenPlaying({"sync_a_25fps.mp4"}));
        QVERIFY(!fx.Button("m_pBtnSyncPlay")->isEnabled());
        QVERIFY(!fx.pDlg->On_SyncPlay());
        QVERIFY(!fx.pStage->IsSyncPlay());
        QVERIFY(MainDlgFixture::MessageTexts(kInformation).isEmpty());

        QVERIFY(fx.OpenPlaying({"sync_a_25fps.mp4", "no_clock.mp4"}));
        QVERIFY(fx.Button("m_pBtnSyncPlay")->isEnabled());
        const int nPort0 = fx.pStage->GetPlayWnd(0)->GetPort();
        const int nPort1 = fx.pStage->GetPlayWnd(1)->GetPort();
        QVERIFY(!fx.pDlg->On_SyncPlay());
        QVERIFY(!fx.pStage->IsSyncPlay());
        QCOMPARE(MainDlgFixture::MessageTexts(kInformation), QStringList() << kNoSyncTime);
        MainDlgFixture::CloseMessages();
        // Not reopened: the same ports, still playing.
        QCOMPARE(fx.pStage->GetPlayWnd(0)->GetPort(), nPort0);
        QCOMPARE(fx.pStage->GetPlayWnd(1)->GetPort(), nPort1);
        QCOMPARE(fx.pStage->GetPlayState(0), 1);
        QCOMPARE(fx.pStage->GetPlayState(1), 1);
        QVERIFY(!fx.pStage->SetSyncPlayPrecent(0.5));
    }
};

QTEST_MAIN(TestSyncPlay)
#include "TestSyncPlay.moc"
