// Opening files in the play windows through the main dialog.

#include <QtTest>

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <set>
#include <thread>

#include "CDlgShow.h"
#include "CPlayWnd.h"
#include "CPlaylist.h"
#include "CPlaylistItem.h"
#include "CVelquinDlg.h"
#include "GuiMedia.h"
#include "MainDlgFixture.h"
#include "OpenInfo.h"
#include "Tavrix.h"

namespace {

const int kPlayTimeoutMs = 20000;
const int kWnds = 16; // CDlgShow::MAX_PLAY_WND
// Sixteen windows starting at once on a small machine, sanitizers included.
const int kManyTimeoutMs = 60000;

const auto Playing = MainDlgFixture::Playing;

// Texts of the visible error boxes of the play windows (title "ERROR").
QStringList ErrorTexts() {
    return MainDlgFixture::MessageTexts(QStringLiteral("ERROR"));
}

// A copy of a clip without any metadata: no creation time; under a name
// without a time stamp it has no wall-clock time at all.
bool StripMetadata(const QString& strFrom, const QString& strTo) {
    QProcess proc;
    proc.start("ffmpeg", {"-hide_banner", "-loglevel", "error", "-nostdin", "-y", "-i", strFrom, "-c", "copy",
                          "-map_metadata", "-1", strTo});
    return proc.waitForFinished(60000) && proc.exitCode() == 0 && QFile::exists(strTo);
}

} // namespace

class TestOpenInWindows : public QObject {
    Q_OBJECT

    using Fixture = MainDlgFixture;

private slots:
    void initTestCase() { QVERIFY2(QFile::exists(GuiMedia::Clip("text.mp4")), "run make-test-media.sh"); }

    void cleanup() { MainDlgFixture::CloseMessages(); }

    // A file that cannot be opened (the engine's kinds of failure are in its own tests).
    void badFileShowsItsMessageOnce() {
        const QString strName = "random.mp4";
        Fixture fx;
        QVERIFY(fx.Start());
        fx.pDlg->OpenFileList(QStringList() << GuiMedia::Clip(strName));
        QTRY_COMPARE_WITH_TIMEOUT(ErrorTexts().size(), 1, kPlayTimeoutMs);
        const QString strText = ErrorTexts().first();
        QVERIFY2(strText.startsWith(QStringLiteral("Playing failed.")) && strText.contains(strName),
                 qPrintable(strText));
        QCOMPARE(fx.pStage->GetPlayState(0), 0);
        QVERIFY(!fx.pStage->IsOpening(0));
        CPlaylistItem* pRow = fx.pDlg->GetPlaylist()->GetRowWidget(0);
        QVERIFY(pRow && pRow->IsInvalid());

        // The window is not stuck: the next file plays in it, and the failure
        // has not been told a second time meanwhile.
        QVERIFY(fx.pDlg->OpenFileList(QStringList() << GuiMedia::Clip("h264_aac.mp4")));
        QTRY_VERIFY_WITH_TIMEOUT(Playing(fx.pStage->GetPlayState(0)), kPlayTimeoutMs);
        QCOMPARE(ErrorTexts().size(), 1);
    }

    void sixteenFilesTwiceOverWithSound() {
        // Fifteen recordings with sound and, in window 9, a text file; the
        // sound follows the selected window from window to window.
        QTemporaryDir dirFiles;
        QVERIFY(dirFiles.isValid());
        const int nBad = 9;
        QStringList lstPaths;
        for (int i = 0; i < kWnds; ++i) {
            if (i == nBad) {
                lstPaths << GuiMedia::Clip("text.mp4");
                continue;
            }
            const QString strCopy = dirFiles.filePath(QString("cam%1.mkv").arg(i, 2, 10, QChar('0')));
            QVERIFY(QFile::copy(GuiMedia::Clip("sine1k.mkv"), strCopy));
            lstPaths << strCopy;
        }

        Fixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.pDlg->On_ChangePlayWndNum(kWnds));
        const int nPortsBefore = Tavrix_GetPortsInUse();
        QSignalSpy spyOpen(fx.pStage, &CDlgShow::Sig_OpenFinished);
        QSignalSpy spyEnd(fx.pStage, &CDlgShow::Sig_FileEnd);

        for (int nRound = 0; nRound < 2; ++nRound) {
            spyOpen.clear();
            spyEnd.clear();
            MainDlgFixture::CloseMessages();
            QVERIFY(fx.pDlg->OpenFileList(lstPaths));
            QCOMPARE(fx.pStage->GetSelWndIndex(), kWnds - 1);
            QTRY_COMPARE_WITH_TIMEOUT(spyOpen.count(), kWnds, kManyTimeoutMs);
            std::set<int> setWnds;
            for (const QList<QVariant>& args : spyOpen) {
                const int nWnd = args.at(0).toInt();
                setWnds.insert(nWnd);
                QVERIFY2(args.at(1).toBool() == (nWnd != nBad), qPrintable(QString("window %1").arg(nWnd)));
            }
            QCOMPARE(int(setWnds.size()), kWnds);

            // Every good window shows its frames (or has already played to its end).
            for (int i = 0; i < kWnds; ++i) {
                if (i == nBad)
                    continue;
                CPlayWnd* pWnd = fx.pStage->GetPlayWnd(i);
                auto ended = [&spyEnd, i] {
                    return std::any_of(spyEnd.begin(), spyEnd.end(),
                                       [i](const QList<QVariant>& args) { return args.at(0).toInt() == i; });
                };
                QTRY_VERIFY2_WITH_TIMEOUT(pWnd->GetCurrentFrameNum() > 0 || ended(),
                                          qPrintable(QString::number(i)), kManyTimeoutMs);
            }
            // The text file, and only it, told the user.
            QTRY_COMPARE_WITH_TIMEOUT(ErrorTexts().size(), 1, kPlayTimeoutMs);
            QVERIFY(ErrorTexts().first().contains(QStringLiteral("text.mp4")));
            QCOMPARE(fx.pStage->GetPlayState(nBad), 0);

            // The user clicks through the windows: the sound follows the selection.
            for (int i = 0; i < kWnds; ++i)
                fx.pStage->On_ChangeSelWnd(i);
        }
        // Replaced files and their ports are gone: one port per window is left.
        QTRY_COMPARE_WITH_TIMEOUT(Tavrix_GetPortsInUse(), nPortsBefore + kWnds, kPlayTimeoutMs);
    }

    void staleFileEndDoesNotReachTheDialog() {
        QTemporaryDir dirFiles;
        const QString strFirst = dirFiles.filePath("ch01_20240315103000.mp4");
        const QString strSecond = dirFiles.filePath("ch02_20240315103000.mp4");
        QVERIFY(QFile::copy(GuiMedia::Clip("ch02_20240315103000_20240315103010.mp4"), strFirst));
        QVERIFY(QFile::copy(GuiMedia::Clip("ch02_20240315103000_20240315103010.mp4"), strSecond));
        Fixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.pDlg->OpenFileList(QStringList() << strFirst));
        QTRY_VERIFY_WITH_TIMEOUT(fx.pStage->GetPlayState(0) == 1, kPlayTimeoutMs);
        CPlayWnd* pWnd = fx.pStage->GetPlayWnd(0);
        QSignalSpy spyEnd(fx.pStage, &CDlgShow::Sig_FileEnd);

        // The engine meets the first file's end on its own thread; before the GUI
        // thread hears of it, the user opens the second file in the window.
        const int nFirstPort = pWnd->GetPort();
        std::thread engine([nFirstPort, pWnd] { CPlayWnd::FileEndCallback(nFirstPort, pWnd); });
        engine.join();
        QVERIFY(fx.pDlg->OpenFileList(QStringList() << strSecond));
        QTRY_VERIFY_WITH_TIMEOUT(fx.pStage->GetPlayState(0) == 1, kPlayTimeoutMs);
        QCOMPARE(QDir::fromNativeSeparators(fx.pStage->GetWndFilePath(0)), strSecond);
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
        // In single play an end would have stopped the second file.
        QCOMPARE(spyEnd.count(), 0);
        QCOMPARE(fx.pStage->GetPlayState(0), 1);
    }

    void clipWithoutGlobalTimeIsAGoodRow() {
        QTemporaryDir dirFiles;
        const QString strPlain = dirFiles.filePath("export_clip.mp4");
        QVERIFY(StripMetadata(GuiMedia::Clip("ch02_20240315103000_20240315103010.mp4"), strPlain));
        const QString strTimed = GuiMedia::Clip("h264_aac.mp4"); // 2024-03-15 10:20:30, 2 s
        const int nFrames = GuiMedia::FrameCount("ch02_20240315103000_20240315103010.mp4");
        QVERIFY(nFrames > 0);

        Fixture fx;
        QVERIFY(fx.Start());
        CPlaylist* pList = fx.pDlg->GetPlaylist();
        OpenInfo stTimed = GuiMedia::FileInfo(strTimed);
        QVERIFY(pList->AddFile(&stTimed));
        QVERIFY(fx.pDlg->OpenFileList(QStringList() << strPlain));
        QTRY_VERIFY_WITH_TIMEOUT(fx.pStage->GetPlayState(0) == 1, kPlayTimeoutMs);

        // Its row has the picture, size and length, and is no "Invalid".
        CPlaylistItem* pPlain = pList->GetRowWidget(pList->GetRowByPath(strPlain));
        CPlaylistItem* pTimed = pList->GetRowWidget(pList->GetRowByPath(strTimed));
        QVERIFY(pPlain && pTimed);
        QTRY_VERIFY_WITH_TIMEOUT(pPlain->IsInfoReady() && pPlain->HasThumbnail(), kPlayTimeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(pTimed->IsInfoReady(), kPlayTimeoutMs);
        QVERIFY(!pPlain->IsInvalid());
        Item_FileInfo stInfo;
        QVERIFY(pPlain->GetFileInfo(&stInfo));
        QCOMPARE(stInfo.nMediaType, 1);
        QCOMPARE(stInfo.nFileTime, 10u);
        QCOMPARE(stInfo.nFileSize, quint64(QFileInfo(strPlain).size()));
        FILE_INFO_SYNC stRange;
        QVERIFY(!pPlain->GetGlobalTime(&stRange));

        // The frame counter shows while it plays.
        QTRY_VERIFY_WITH_TIMEOUT(fx.Label("m_pLabFrameIndex").endsWith(QStringLiteral("/%1").arg(nFrames)),
                                 kPlayTimeoutMs);

        // Search by global time leaves it out and keeps the recording of that time.
        TAVRIX_SYSTEM_TIME stWanted = {2024, 3, 15, 10, 20, 31, 0};
        QVERIFY(pList->On_SearchByGlobalTime(&stWanted));
        QVERIFY(pList->item(pList->GetRowByPath(strPlain))->isHidden());
        QVERIFY(!pList->item(pList->GetRowByPath(strTimed))->isHidden());
    }
};

QTEST_MAIN(TestOpenInWindows)
#include "TestOpenInWindows.moc"
