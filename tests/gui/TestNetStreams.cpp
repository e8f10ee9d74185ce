// Network streams in the main dialog against real local servers.

#include <QElapsedTimer>
#include <QLabel>
#include <QProcess>
#include <QTimer>
#include <QtTest>

#include <signal.h>
#include <sys/prctl.h>

#include "CPlayWnd.h"
#include "CPlayerConfigFile.h"
#include "CPlaylistItem.h"
#include "GuiMedia.h"
#include "MainDlgFixture.h"
#include "NetServers.h"
#include "Orvel.h"
#include "Tavrix.h"

namespace {

// Connects, probes and the first pictures on a busy two-core machine.
const int kPlayTimeoutMs = 30000;
// A dead source is reported within the session's 5 s time-out; the rest is margin.
const int kLostTimeoutMs = 8000;
const int kWnds = 16;

QStringList InfoTexts() {
    return MainDlgFixture::MessageTexts(QStringLiteral("Information"));
}

OpenInfo Url(const QString& strUrl, int nTransmitMode = 0, int nPort = 0) {
    OpenInfo stInfo;
    stInfo.nMediaType = 2;
    stInfo.strFilePath = strUrl;
    stInfo.nTransmitMode = nTransmitMode;
    stInfo.nPort = nPort;
    return stInfo;
}

// Pictures the window's port has shown since its stream opened.
uint ShownFrames(CPlayWnd* pWnd) {
    TAVRIX_STREAM_STATS stStats{};
    if (!pWnd || pWnd->GetPort() < 0 || !Tavrix_GetStreamStats(pWnd->GetPort(), &stStats))
        return 0;
    return stStats.nShownFrames;
}

// The RTSP server again on its old port, as a restarted camera; stopped by process id.
class RtspOnPort {
public:
    ~RtspOnPort() {
        for (int nSignal : {SIGTERM, SIGKILL}) {
            if (m_process.state() == QProcess::NotRunning)
                return;
            ::kill(pid_t(m_process.processId()), nSignal);
            m_process.waitForFinished(3000);
        }
    }
    bool Start(const QString& strMediaDir, quint16 nPort) {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
        m_process.start(QStringLiteral("/usr/bin/python3"),
                        {QStringLiteral(VELQUIN_SOURCE_DIR "/scripts/rtsp-server.py"), "--port",
                         QString::number(nPort), "--clip", strMediaDir + "/stream_d1.ts"});
        QDeadlineTimer deadline(20000);
        while (!m_process.canReadLine() && m_process.state() != QProcess::NotRunning &&
               !deadline.hasExpired())
            m_process.waitForReadyRead(int(deadline.remainingTime()));
        return m_process.readLine().trimmed() == "READY " + QByteArray::number(nPort);
    }

private:
    QProcess m_process;
};

// The servers outlive the dialog: a base is destroyed after the bases that follow it.
struct WithServers {
    NetServers servers;
};

} // namespace

class TestNetStreams : public QObject {
    Q_OBJECT

    // Local servers and a main dialog whose stream rows play in window 0.
    struct Fixture : WithServers, MainDlgFixture {
        quint16 nPort = 0;
        QString strUrl;
        // An RTSP server (or a black hole) and the dialog, reconnecting set in its file.
        bool StartLive(bool bBlackHole = false, bool bReconnect = false) {
            nPort = bBlackHole ? servers.StartBlackHole() : servers.StartRtsp();
            strUrl = QString("rtsp://127.0.0.1:%1/live").arg(nPort);
            PlayerConfig stConfig;
            stConfig.bReconnectLostStreams = true;
            const QString strFile = strConfigDir + "/PlayerConfig.xml";
            return nPort && (!bReconnect || CPlayerConfigFile().WritePlayerConfig(strFile, &stConfig)) &&
                   Start();
        }
        CPlayWnd* Wnd(int i = 0) const { return pStage->GetPlayWnd(i); }
        // The road of a double click on the row: type, mode and port come from it.
        bool AddAndOpen(const OpenInfo& stUrl) {
            OpenInfo stInfo = stUrl;
            return pList->AddUrl(&stInfo) &&
                   pList->On_ItemDoubleClick(pList->item(pList->GetRowByPath(stUrl.strFilePath)));
        }
        bool Plays(int i = 0) const { return Wnd(i)->GetPlayState() == 1 && ShownFrames(Wnd(i)) >= 5; }
        CPlaylistItem* Row(const QString& strRowUrl) const {
            return pList->GetRowWidget(pList->GetRowByPath(strRowUrl));
        }
    };

private slots:
    void initTestCase() {
        QVERIFY2(QFile::exists(GuiMedia::Clip("stream_d1.ts")), "test media missing; run make-test-media.sh");
    }

    void cleanup() {
        MainDlgFixture::CloseMessages();
        // Every session ends with its window.
        QCOMPARE(Orvel_GetSessionCount(), 0);
    }

    // Every kind of source plays and gives its row a picture.
    void playsEverySource_data() {
        QTest::addColumn<QString>("strServer");
        QTest::addColumn<QString>("strPath");
        QTest::addColumn<int>("nMode");
        QTest::newRow("rtsp tcp") << "rtsp" << "/clip" << int(ORVEL_TRANSMIT_TCP);
        QTest::newRow("rtsp udp") << "rtsp" << "/clip" << int(ORVEL_TRANSMIT_UDP);
        QTest::newRow("rtsp http tunnel") << "rtsp" << "/clip" << int(ORVEL_TRANSMIT_HTTP);
        QTest::newRow("http mpeg-ts") << "http" << "/live.ts" << 0;
        QTest::newRow("hls") << "hls" << "/stream.m3u8" << 0;
        QTest::newRow("velquin-stream") << "tool" << "/clip" << int(ORVEL_TRANSMIT_TCP);
    }
    void playsEverySource() {
        QFETCH(QString, strServer);
        QFETCH(QString, strPath);
        QFETCH(int, nMode);
        Fixture fx;
        const quint16 nPort = strServer == "rtsp"   ? fx.servers.StartRtsp()
                              : strServer == "tool" ? fx.servers.StartStreamTool()
                              : strServer == "http" ? fx.servers.StartHttpTs()
                                                    : fx.servers.StartHls();
        QVERIFY2(nPort != 0, qPrintable(fx.servers.LastError()));
        const QString strUrl = QString("%1://127.0.0.1:%2%3")
                                   .arg(strServer == "http" || strServer == "hls" ? "http" : "rtsp")
                                   .arg(nPort)
                                   .arg(strPath);
        QVERIFY(fx.Start());
        // The tunnel is given the server's port, as the URL dialog does.
        QVERIFY(fx.AddAndOpen(Url(strUrl, nMode, nMode == ORVEL_TRANSMIT_HTTP ? nPort : 0)));
        CPlayWnd* pWnd = fx.Wnd();
        QCOMPARE(pWnd->GetOpenMode(), 2);
        uint nWidth = 0, nHeight = 0;
        QTRY_VERIFY_WITH_TIMEOUT(fx.Plays() && pWnd->GetImageSize(&nWidth, &nHeight) && nWidth == 704 &&
                                     nHeight == 576,
                                 kPlayTimeoutMs);
        QVERIFY(pWnd->IsStreamOpened());
        // A stream has no length: the time and frame readers answer 0.
        QCOMPARE(pWnd->GetFileTime() + pWnd->GetPlayedTime() + pWnd->GetFileTotalFrames() +
                     pWnd->GetCurrentFrameNum(),
                 0u);
        QTRY_VERIFY_WITH_TIMEOUT(fx.Row(strUrl) && fx.Row(strUrl)->HasThumbnail(), kPlayTimeoutMs);
        QVERIFY(!fx.Row(strUrl)->IsInvalid());
        // The status bar names the whole URL (the rows have labels of that name too).
        QTRY_COMPARE(fx.pDlg->findChild<QWidget*>("m_pStatusBarContainer")
                         ->findChild<QLabel*>("m_pLabFileName")
                         ->toolTip(),
                     strUrl);
        // Play/pause leaves a stream alone.
        QVERIFY(fx.pDlg->On_PlayOrPause());
        QCOMPARE(pWnd->GetPlayState(), 1);
        QVERIFY(InfoTexts().isEmpty());
    }

    // A lost source closes with a message, or reconnects quietly when it returns.
    void lostSource_data() {
        QTest::addColumn<bool>("bReconnect");
        QTest::newRow("closes with message") << false;
        QTest::newRow("reconnects") << true;
    }
    void lostSource() {
        QFETCH(bool, bReconnect);
        Fixture fx;
        QVERIFY2(fx.StartLive(false, bReconnect), qPrintable(fx.servers.LastError()));
        // As from the command line: the address becomes a URL row and plays.
        QVERIFY(fx.pDlg->OpenFileList(QStringList{fx.strUrl}));
        OpenInfo stRow;
        QVERIFY(fx.pList->GetOpenInfo(fx.pList->GetRowByPath(fx.strUrl), &stRow));
        QCOMPARE(stRow.nMediaType, 2);
        QTRY_VERIFY_WITH_TIMEOUT(fx.Plays(), kPlayTimeoutMs);
        CPlayWnd* pWnd = fx.Wnd();
        QVERIFY(fx.servers.Kill(fx.nPort));

        if (!bReconnect) {
            QTRY_VERIFY_WITH_TIMEOUT(InfoTexts().contains("Net Stream Disconnect!"), kLostTimeoutMs);
            QCOMPARE(InfoTexts().size(), 1);
            QCOMPARE(pWnd->GetPlayState(), 0);
            QCOMPARE(pWnd->GetNetSession(), -1);
            // The row stays: the user plays the URL again from it.
            QVERIFY(fx.pList->GetRowByPath(fx.strUrl) >= 0);
            return;
        }
        QTRY_VERIFY_WITH_TIMEOUT(pWnd->IsReconnecting(), kLostTimeoutMs);
        QCOMPARE(pWnd->GetDisplayInfo(), QStringLiteral("Reconnecting..."));
        QCOMPARE(pWnd->GetFilePath(), fx.strUrl);
        QCOMPARE(pWnd->GetPlayState(), 1);
        // Tries against the closed port fail quietly until the server is back.
        RtspOnPort server;
        QVERIFY(server.Start(fx.servers.MediaDir(), fx.nPort));
        QElapsedTimer timerBack;
        timerBack.start();
        QTRY_VERIFY_WITH_TIMEOUT(!pWnd->IsReconnecting() && fx.Plays(), kPlayTimeoutMs);
        QVERIFY2(timerBack.elapsed() < 8000, "plays again within a few seconds of the source's return");
        QVERIFY(pWnd->GetDisplayInfo().isEmpty());
        QVERIFY(InfoTexts().isEmpty());
        // Stop ends the retries; play starts a new session at once.
        const int nFirstSession = pWnd->GetNetSession();
        QVERIFY(fx.pDlg->On_Stop());
        QCOMPARE(pWnd->GetPlayState(), 3);
        QVERIFY(!pWnd->IsReconnecting());
        QCOMPARE(pWnd->GetNetSession(), -1);
        QCOMPARE(Orvel_GetSessionCount(), 0);
        QVERIFY(fx.pStage->Play(0));
        QCOMPARE(pWnd->GetPlayState(), 1);
        QVERIFY(pWnd->GetNetSession() >= 0 && pWnd->GetNetSession() != nFirstSession);
        QTRY_VERIFY_WITH_TIMEOUT(pWnd->IsStreamOpened() && fx.Plays(), kPlayTimeoutMs);
        QVERIFY(InfoTexts().isEmpty());
    }

    void slowConnectDoesNotHoldTheGui() {
        Fixture fx;
        QVERIFY2(fx.StartLive(true), qPrintable(fx.servers.LastError()));
        // The event loop keeps turning while the connect waits for its time-out.
        QElapsedTimer timerGap;
        qint64 nMaxGapMs = 0;
        QTimer ticker;
        QObject::connect(&ticker, &QTimer::timeout,
                         [&] { nMaxGapMs = std::max(nMaxGapMs, timerGap.restart()); });
        ticker.start(50);
        timerGap.start();
        QElapsedTimer timerOpen;
        timerOpen.start();
        QVERIFY(fx.AddAndOpen(Url(fx.strUrl)));
        QVERIFY2(timerOpen.elapsed() < 1000, "the open returns at once");
        QTRY_COMPARE(fx.Wnd()->GetPlayState(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(InfoTexts().contains("Open Conversation Fail!"), kLostTimeoutMs + 2000);
        ticker.stop();
        QVERIFY2(nMaxGapMs < 1000, qPrintable(QString("the GUI thread stood %1 ms").arg(nMaxGapMs)));
        QCOMPARE(fx.Wnd()->GetPlayState(), 0);
        QVERIFY(fx.pList->GetRowByPath(fx.strUrl) >= 0);
    }

    void sixteenStreamsCloseQuickly() {
        Fixture fx;
        QVERIFY2(fx.StartLive(), qPrintable(fx.servers.LastError()));
        QVERIFY(fx.pDlg->On_ChangePlayWndNum(kWnds));
        OpenInfo stUrl = Url(fx.strUrl);
        QVERIFY(fx.pList->AddUrl(&stUrl));
        for (int i = 0; i < kWnds; ++i) {
            OpenInfo stInfo = stUrl;
            QVERIFY(fx.pDlg->PlayFileInWnd(i, &stInfo));
        }
        QCOMPARE(Orvel_GetSessionCount(), kWnds);
        auto allShow = [&] {
            for (int i = 0; i < kWnds; ++i)
                if (fx.Wnd(i)->GetPlayState() != 1 || ShownFrames(fx.Wnd(i)) == 0)
                    return false;
            return true;
        };
        QTRY_VERIFY_WITH_TIMEOUT(allShow(), 3 * kPlayTimeoutMs);
        QElapsedTimer timerClose;
        timerClose.start();
        fx.Stop();
        QVERIFY2(timerClose.elapsed() < 4000,
                 qPrintable(QString("closing took %1 ms").arg(timerClose.elapsed())));
        QCOMPARE(Orvel_GetSessionCount(), 0);
    }
};

QTEST_MAIN(TestNetStreams)
#include "TestNetStreams.moc"
