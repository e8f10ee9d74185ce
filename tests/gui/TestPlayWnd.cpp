// The play window with real clips, checked against the ffmpeg tool's decode.

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QSignalSpy>
#include <QtTest>

#include <algorithm>
#include <set>
#include <thread>

#include "CDlgShow.h"
#include "CPlayWnd.h"
#include "GuiMedia.h"
#include "OpenInfo.h"
#include "Tavrix.h"

using namespace GuiMedia;

namespace {

// Visible non-modal boxes titled "ERROR".
QList<QWidget*> ErrorBoxes() {
    QList<QWidget*> boxes;
    for (QWidget* pWidget : QApplication::topLevelWidgets()) {
        if (pWidget->objectName() != "NonModalMessageBox" || !pWidget->isVisible())
            continue;
        const QLabel* pTitle = pWidget->findChild<QLabel*>("m_pLabTitle");
        if (pTitle && pTitle->text() == "ERROR")
            boxes << pWidget;
    }
    return boxes;
}

// The engine meeting the end of the window's file, on a thread of its own.
void SendFileEnd(CPlayWnd* pWnd) {
    std::thread engine([pWnd] { CPlayWnd::FileEndCallback(pWnd->GetPort(), pWnd); });
    engine.join();
}

void SendRunTimeError(CPlayWnd* pWnd, int nErrorCode) {
    // The engine reports on its own threads; so does this.
    std::thread reporter([pWnd, nErrorCode] {
        TAVRIX_RUNTIME_INFO stInfo = {};
        stInfo.nPort = pWnd->GetPort();
        stInfo.nModule = 2;
        stInfo.nErrorCode = nErrorCode;
        CPlayWnd::RunTimeInfoCallBack(stInfo.nPort, &stInfo, pWnd);
    });
    reporter.join();
}

// Delivers what the engine's threads have posted so far.
void Drain() {
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
}

// Pure yellow pixels (the colour of the on-picture text) in the top band of a picture.
int YellowPixelsAtTop(const QImage& img) {
    const QImage rgb = img.convertToFormat(QImage::Format_RGB888);
    int nCount = 0;
    for (int y = 0; y < std::min(40, rgb.height()); ++y) {
        const uchar* p = rgb.constScanLine(y);
        for (int x = 0; x < rgb.width(); ++x, p += 3) {
            if (p[0] > 220 && p[1] > 220 && p[2] < 40)
                ++nCount;
        }
    }
    return nCount;
}

} // namespace

class TestPlayWnd : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { DeleteMessageBoxes(); }

    void playsPausedPictureAndEnd_data() {
        QTest::addColumn<QString>("strClip");
        for (const char* szClip :
             {"h264_aac.mp4", "hevc.mkv", "ch01_20240315102030.ts", "mjpeg.avi", "mpeg4.mp4"})
            QTest::newRow(szClip) << QString(szClip);
    }

    // Open, pause on a picture that must match the ffmpeg tool's, play to the end, stop, close.
    void playsPausedPictureAndEnd() {
        QFETCH(QString, strClip);
        const int nFrames = FrameCount(strClip);
        QVERIFY2(nFrames > 12, qPrintable("no framemd5 beside " + strClip));

        CDlgShow stage;
        stage.resize(400, 300); // larger than the 320 x 240 clips: the picture is scaled
        stage.show();
        QVERIFY(QTest::qWaitForWindowExposed(&stage));
        CPlayWnd* pWnd = stage.GetPlayWnd(0);
        QSignalSpy spyEnd(&stage, &CDlgShow::Sig_FileEnd);
        QSignalSpy spyRef(&stage, &CDlgShow::Sig_FileRefCreated);
        OpenInfo info = FileInfo(Clip(strClip));
        QVERIFY(stage.OpenFileInWnd(0, &info));
        QCOMPARE(pWnd->GetPlayState(), 1);
        QCOMPARE(pWnd->GetOpenMode(), 1);
        QCOMPARE(pWnd->GetFilePath(), QDir::toNativeSeparators(Clip(strClip)));
        QTRY_VERIFY_WITH_TIMEOUT(pWnd->GetCurrentFrameNum() >= 10, 20000);
        QVERIFY(pWnd->Pause());
        QCOMPARE(pWnd->GetPlayState(), 2);
        const int nFrame = int(pWnd->GetCurrentFrameNum());
        QVERIFY(nFrame >= 10 && nFrame < nFrames);

        const QSize sz = pWnd->size();
        const QImage imgRef = FfmpegFrame(strClip, nFrame, sz.width(), sz.height());
        const QImage imgPrev = FfmpegFrame(strClip, nFrame - 1, sz.width(), sz.height());
        QVERIFY2(!imgRef.isNull() && !imgPrev.isNull(), "the ffmpeg tool gave no reference picture");
        // The engine presents on its own thread; wait until the paused frame is shown.
        double dDiff = 1e9;
        QTRY_VERIFY_WITH_TIMEOUT((dDiff = MeanAbsDiff(pWnd->grab().toImage(), imgRef)) < 3.0, 5000);
        // The neighbour differs (moving pattern, frame number drawn in): the match is this frame.
        const double dDiffPrev = MeanAbsDiff(pWnd->grab().toImage(), imgPrev);
        QVERIFY2(dDiff < dDiffPrev,
                 qPrintable(QString("diff %1, previous frame %2").arg(dDiff).arg(dDiffPrev)));
        QCOMPARE(int(pWnd->GetCurrentFrameNum()), nFrame); // paused means the frame stays

        QVERIFY(pWnd->Resume());
        QCOMPARE(pWnd->GetPlayState(), 1);
        QVERIFY(spyEnd.wait(60000));
        QCOMPARE(spyEnd.count(), 1);
        QCOMPARE(spyEnd.at(0).at(0).toInt(), 0);
        // The window stays in play at the end; what follows is the main dialog's choice.
        QCOMPARE(pWnd->GetPlayState(), 1);
        QCOMPARE(pWnd->GetCurrentFrameNum(), uint(nFrames - 1));
        QCOMPARE(pWnd->GetFileTotalFrames(), uint(nFrames));

        // The frame index describes the file: a stop keeps it, a close drops it.
        QTRY_COMPARE_WITH_TIMEOUT(spyRef.count(), 1, 20000);
        QVERIFY(pWnd->Stop());
        QCOMPARE(pWnd->GetPlayState(), 3);
        QCOMPARE(pWnd->GetCurrentFrameNum(), 0u); // readers answer 0 outside play and pause
        QVERIFY(pWnd->IsFileRefCreated());
        QVERIFY(pWnd->Close());
        QCOMPARE(pWnd->GetPlayState(), 0);
        QVERIFY(pWnd->GetFilePath().isEmpty());
        QVERIFY(!pWnd->IsFileRefCreated());
    }

    void openRoadsBadFilesAndKeyLength() {
        CDlgShow stage;
        CPlayWnd* pWnd = stage.GetPlayWnd(0);
        // A bad file fails to open; the window keeps its port and the path, by
        // which the caller marks the file invalid.
        for (const char* szBad : {"no_such_clip.mp4", "empty.mp4", "text.mp4"}) {
            OpenInfo bad = FileInfo(Clip(szBad));
            QVERIFY2(!stage.OpenFileInWnd(0, &bad), szBad);
            QCOMPARE(pWnd->GetPlayState(), 0);
            QCOMPARE(pWnd->GetOpenMode(), 0);
            QCOMPARE(pWnd->GetFilePath(), QDir::toNativeSeparators(Clip(szBad)));
            QVERIFY(pWnd->GetPort() >= 0);
            QVERIFY(!pWnd->Play(false));
            QCOMPARE(pWnd->GetPlayState(), 0);
        }

        OpenInfo info; // media type 0: the path decides

        // The stream road starts a session (its connect goes on elsewhere and is
        // dropped by the next open); the file road reads the file at once.
        info.strFilePath = "RTSP://127.0.0.1:9/live";
        QVERIFY(pWnd->Open(&info));
        QCOMPARE(pWnd->GetOpenMode(), 2);
        QCOMPARE(pWnd->GetFilePath(), info.strFilePath);
        info.strFilePath = "HTTP://127.0.0.1:9/list.M3U8";
        QVERIFY(pWnd->Open(&info));
        QCOMPARE(pWnd->GetOpenMode(), 2);
        info.strFilePath = Clip("http:no_such.mp4"); // a local name that holds "http:"
        QVERIFY(!pWnd->Open(&info));
        QCOMPARE(pWnd->GetFilePath(), QDir::toNativeSeparators(info.strFilePath));
        QCOMPARE(pWnd->GetPlayState(), 0);

        // A plain path opens as a file, with a key of up to 16 characters.
        info.strFilePath = Clip("h264_aac.mp4");
        info.strDecryptKey = "0123456789abcdef";
        QVERIFY(pWnd->Open(&info));
        QCOMPARE(pWnd->GetPlayState(), 4);
        QCOMPARE(pWnd->GetOpenMode(), 1);
        QCOMPARE(pWnd->GetSecretKey(), info.strDecryptKey);
        // A 17-character key is not applied: the file opens as if none were given.
        info.strDecryptKey = "0123456789abcdefg";
        QVERIFY(pWnd->Open(&info));
        QVERIFY(pWnd->GetSecretKey().isEmpty());
        QVERIFY(pWnd->Play(false));
        QCOMPARE(pWnd->GetPlayState(), 1);
        // Play(false) on a playing window refuses; Play(true) runs again.
        QVERIFY(!pWnd->Play(false));
        QVERIFY(pWnd->Play(true));
        QCOMPARE(pWnd->GetPlayState(), 1);
    }

    void volumeTextDrawnOnPictureAndCleared() {
        CDlgShow stage;
        stage.resize(400, 300);
        stage.show();
        QVERIFY(QTest::qWaitForWindowExposed(&stage));
        stage.SetVolumeUpKeyText("Ctrl+Up");
        CPlayWnd* pWnd = stage.GetPlayWnd(0);

        OpenInfo info = FileInfo(Clip("h264_aac.mp4"));
        QVERIFY(pWnd->Open(&info));
        // Sound settings need a play: an opened window refuses them.
        QVERIFY(!stage.SetVolume(0, true, 50, true));
        QVERIFY(pWnd->GetDisplayInfo().isEmpty());
        QVERIFY(pWnd->Play(false));
        QTRY_VERIFY_WITH_TIMEOUT(pWnd->GetCurrentFrameNum() >= 5, 20000);
        QVERIFY(pWnd->Pause());
        QTRY_VERIFY_WITH_TIMEOUT(!pWnd->grab().toImage().isNull(), 5000);
        const int nBaseline = YellowPixelsAtTop(pWnd->grab().toImage());

        QVERIFY(stage.SetVolume(0, true, 250, true)); // clamped to 200
        QCOMPARE(pWnd->GetDisplayInfo(), QString("Volume: 200%"));
        QVERIFY(stage.SetVolume(0, true, 100, true));
        QCOMPARE(pWnd->GetDisplayInfo(), QString("Volume: 100% Press Ctrl+Up to increase volume"));
        // The engine redraws the paused picture with the text through the draw callback.
        QTRY_VERIFY_WITH_TIMEOUT(YellowPixelsAtTop(pWnd->grab().toImage()) > nBaseline + 50, 5000);

        // The text goes after its 3 s, and the paused picture is drawn again without it.
        QTRY_VERIFY_WITH_TIMEOUT(pWnd->GetDisplayInfo().isEmpty(), 6000);
        QTRY_VERIFY_WITH_TIMEOUT(YellowPixelsAtTop(pWnd->grab().toImage()) <= nBaseline + 5, 5000);
    }

    void runTimeErrorReportedOncePerPlay() {
        CDlgShow stage;
        CPlayWnd* pWnd = stage.GetPlayWnd(0);
        QSignalSpy spyStop(&stage, &CDlgShow::Sig_ErrorToStopPlay);
        QSignalSpy spyMsg(pWnd, &CPlayWnd::Sig_ErrorMsg);

        OpenInfo info = FileInfo(Clip("h264_aac.mp4"));
        QVERIFY(stage.OpenFileInWnd(0, &info));

        // Codes the window does not list are ignored.
        SendRunTimeError(pWnd, 3);
        SendRunTimeError(pWnd, 6);
        // Two errors in one play: one box, one stop request.
        SendRunTimeError(pWnd, TAVRIX_RT_DECRYPT);
        SendRunTimeError(pWnd, TAVRIX_RT_DECRYPT);
        QTRY_COMPARE(spyStop.count(), 1);
        QTRY_COMPARE(ErrorBoxes().size(), 1);
        Drain();
        QCOMPARE(spyStop.count(), 1);
        QCOMPARE(spyMsg.count(), 1);
        QCOMPARE(ErrorBoxes().size(), 1);
        QCOMPARE(spyMsg.at(0).at(0).toString(), QString("Password error OR video error"));
        QCOMPARE(spyStop.at(0).at(0).toString(), QDir::toNativeSeparators(Clip("h264_aac.mp4")));
        QCOMPARE(spyStop.at(0).at(1).toInt(), 5);
        QCOMPARE(spyStop.at(0).at(2).toBool(), false);
        // The window itself does not stop: the main dialog decides.
        QCOMPARE(pWnd->GetPlayState(), 1);

        // A new play reports again, once.
        QVERIFY(pWnd->Play(true));
        SendRunTimeError(pWnd, TAVRIX_RT_DECRYPT);
        SendRunTimeError(pWnd, TAVRIX_RT_DEMUX);
        QTRY_COMPARE(spyStop.count(), 2);
        QTRY_COMPARE(ErrorBoxes().size(), 2);
        Drain();
        QCOMPARE(spyStop.count(), 2);
        QCOMPARE(spyMsg.count(), 2);
    }

    void fileEndReportedOnceWhenPlayFollowsGoToEnd() {
        CDlgShow stage;
        CPlayWnd* pWnd = stage.GetPlayWnd(0);
        QSignalSpy spyEnd(&stage, &CDlgShow::Sig_FileEnd);
        OpenInfo info = FileInfo(Clip("sine1k.mkv"));
        QVERIFY(stage.OpenFileInWnd(0, &info));
        QVERIFY(pWnd->Pause());
        QTRY_VERIFY_WITH_TIMEOUT(pWnd->IsFileRefCreated(), 20000);
        const uint nLast = pWnd->GetFileTotalFrames() - 1;
        QVERIFY(pWnd->GoToEnd());
        QTRY_COMPARE_WITH_TIMEOUT(pWnd->GetCurrentFrameNum(), nLast, 5000);
        // The engine meets the end while the window is paused: nothing is told yet.
        SendFileEnd(pWnd);
        Drain();
        QCOMPARE(spyEnd.count(), 0);

        // Play on the last frame ends the file, and the engine, resumed, meets the
        // end once more: the stage, and so the main dialog, hears of it once.
        QVERIFY(pWnd->Play(false));
        SendFileEnd(pWnd);
        QTRY_VERIFY(spyEnd.count() >= 1);
        Drain();
        QCOMPARE(spyEnd.count(), 1);
        QCOMPARE(spyEnd.at(0).at(0).toInt(), 0);

        // The next play has an end of its own.
        QVERIFY(pWnd->Stop());
        QVERIFY(pWnd->Play(false));
        QTRY_COMPARE_WITH_TIMEOUT(spyEnd.count(), 2, 20000);
    }

    void openUnderWayIsDroppedByCloseAndReopen() {
        const int nBaseline = Tavrix_GetPortsInUse();
        {
            CDlgShow stage;
            QVERIFY(stage.SetPlayWndNum(16));
            CPlayWnd* pWnd = stage.GetPlayWnd(0);
            QSignalSpy spyDone(&stage, &CDlgShow::Sig_OpenFinished);
            QSignalSpy spyMsg(pWnd, &CPlayWnd::Sig_ErrorMsg);
            OpenInfo first = FileInfo(Clip("hevc.mkv"));
            OpenInfo second = FileInfo(Clip("h264_aac.mp4"));

            // The window reads the file away from the GUI thread, and says what it opens.
            QVERIFY(stage.OpenFileInWndAsync(0, &first));
            QVERIFY(pWnd->IsOpening());
            QCOMPARE(pWnd->GetPlayState(), 0);
            QCOMPARE(pWnd->GetFilePath(), QDir::toNativeSeparators(Clip("hevc.mkv")));
            // Replaced before it is read: only the second plays.
            QVERIFY(stage.OpenFileInWndAsync(0, &second));
            QTRY_COMPARE_WITH_TIMEOUT(spyDone.count(), 1, 20000);
            QCOMPARE(spyDone.at(0).at(0).toInt(), 0);
            QVERIFY(spyDone.at(0).at(1).toBool());
            QCOMPARE(pWnd->GetPlayState(), 1);
            QCOMPARE(pWnd->GetFilePath(), QDir::toNativeSeparators(Clip("h264_aac.mp4")));
            // The dropped open gives its port back: the window holds one.
            QTRY_COMPARE_WITH_TIMEOUT(Tavrix_GetPortsInUse(), nBaseline + 1, 20000);

            // Closed while under way: the window holds a fresh port and nothing plays.
            QVERIFY(stage.OpenFileInWndAsync(0, &first));
            QVERIFY(pWnd->Close());
            QVERIFY(!pWnd->IsOpening());
            QCOMPARE(pWnd->GetPlayState(), 0);
            QVERIFY(pWnd->GetPort() >= 0);
            QVERIFY(pWnd->GetFilePath().isEmpty());
            QTRY_COMPARE_WITH_TIMEOUT(Tavrix_GetPortsInUse(), nBaseline + 1, 20000);
            Drain();
            QCOMPARE(spyDone.count(), 1);
            QCOMPARE(pWnd->GetPlayState(), 0);
            QCOMPARE(spyMsg.count(), 0);

            // The stage goes while sixteen opens are under way.
            for (int i = 0; i < 16; ++i)
                QVERIFY(stage.OpenFileInWndAsync(i, &second));
        }
        // Every port comes back, those of the opens under way included.
        QCOMPARE(Tavrix_GetPortsInUse(), nBaseline);
    }

    void openCloseCyclesKeepOnePortPerWindow() {
        // Every stage of the earlier cases has given its ports back.
        QCOMPARE(Tavrix_GetPortsInUse(), 0);
        {
            CDlgShow stage;
            QVERIFY(stage.SetPlayWndNum(16));
            const QString strClip = Clip("mjpeg.avi");
            for (int n = 0; n < 1000; ++n) {
                const int i = n % 16;
                OpenInfo info = FileInfo(strClip);
                QVERIFY2(stage.OpenFileInWnd(i, &info), qPrintable(QString("cycle %1").arg(n)));
                // Mix the roads: some windows close at once, the others are closed
                // by the next open of the same window.
                if (n % 3 == 0)
                    QVERIFY(stage.GetPlayWnd(i)->Close());
            }
            std::set<int> ports;
            for (int i = 0; i < 16; ++i) {
                const int nPort = stage.GetPlayWnd(i)->GetPort();
                QVERIFY(nPort >= 0);
                ports.insert(nPort);
            }
            QCOMPARE(int(ports.size()), 16);
            QCOMPARE(Tavrix_GetPortsInUse(), 16);
        }
        // The stage gives every port back when it goes.
        QCOMPARE(Tavrix_GetPortsInUse(), 0);
    }
};

QTEST_MAIN(TestPlayWnd)
#include "TestPlayWnd.moc"
