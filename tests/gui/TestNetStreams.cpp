// Network streams in the main dialog, against real local servers: RTSP over
// TCP, UDP and HTTP tunnelling, HTTP MPEG-TS and HLS play and give their row a
// thumbnail; a server that dies closes the window with its message, or, with
// reconnecting on, is played again when it returns; a connect that never ends
// does not hold the GUI thread; sixteen streams close quickly with the dialog.

#include <QApplication>
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

const char* const kDisconnectText = "Net Stream Disconnect!";
const char* const kOpenFailText = "Open Conversation Fail!";

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

bool ShowsD1Picture(CPlayWnd* pWnd) {
    uint nWidth = 0;
    uint nHeight = 0;
    return pWnd->GetImageSize(&nWidth, &nHeight) && nWidth == 704 && nHeight == 576;
}

// Texts of the visible message boxes titled "Information".
QStringList InfoTexts() {
    QStringList lstTexts;
    for (QWidget* pWidget : QApplication::topLevelWidgets()) {
        if (pWidget->objectName() != QLatin1String("NonModalMessageBox") || !pWidget->isVisible())
            continue;
        const QLabel* pTitle = pWidget->findChild<QLabel*>(QStringLiteral("m_pLabTitle"));
        const QLabel* pText = pWidget->findChild<QLabel*>(QStringLiteral("m_pLabText"));
        if (pTitle && pText && pTitle->text() == QLatin1String("Information"))
            lstTexts << pText->text();
    }
    return lstTexts;
}

void CloseMessages() {
    for (QWidget* pWidget : QApplication::topLevelWidgets()) {
        if (pWidget->objectName() == QLatin1String("NonModalMessageBox"))
            delete pWidget;
    }
}

// The RTSP server started again on a port it had before, as a camera comes
// back after a restart. Stopped by its process id when this goes.
class RtspOnPort {
public:
    ~RtspOnPort() {
        if (m_process.state() == QProcess::NotRunning)
            return;
        ::kill(pid_t(m_process.processId()), SIGTERM);
        if (!m_process.waitForFinished(3000)) {
            ::kill(pid_t(m_process.processId()), SIGKILL);
            m_process.waitForFinished(3000);
        }
    }
    bool Start(const QString& strMediaDir, quint16 nPort) {
        m_process.setProgram(QStringLiteral("/usr/bin/python3"));
        m_process.setArguments({QStringLiteral(VELQUIN_SOURCE_DIR "/scripts/rtsp-server.py"), "--port",
                                QString::number(nPort), "--clip", strMediaDir + "/stream_d1.ts"});
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
        m_process.start();
        QDeadlineTimer deadline(20000);
        while (!m_process.canReadLine() && m_process.state() != QProcess::NotRunning &&
               !deadline.hasExpired())
            m_process.waitForReadyRead(int(deadline.remainingTime()));
        return m_process.readLine().trimmed() == "READY " + QByteArray::number(nPort);
    }

private:
    QProcess m_process;
};

} // namespace

class TestNetStreams : public QObject {
    Q_OBJECT

    // A main dialog with a stream row that plays in window 0.
    struct Fixture : MainDlgFixture {
        CPlayWnd* Wnd(int i = 0) const { return pStage->GetPlayWnd(i); }
        bool AddAndOpen(const OpenInfo& stUrl) {
            OpenInfo stInfo = stUrl;
            if (!pList->AddUrl(&stInfo))
                return false;
            // The road of a double click on the row: type, mode and port come from it.
            return pList->On_ItemDoubleClick(pList->item(pList->GetRowByPath(stUrl.strFilePath)));
        }
        bool Plays(int i = 0) const { return Wnd(i)->GetPlayState() == 1 && ShownFrames(Wnd(i)) >= 5; }
        bool RowHasThumbnail(const QString& strUrl) const {
            CPlaylistItem* pRow = pList->GetRowWidget(pList->GetRowByPath(strUrl));
            return pRow && pRow->HasThumbnail();
        }
        bool RowInvalid(const QString& strUrl) const {
            CPlaylistItem* pRow = pList->GetRowWidget(pList->GetRowByPath(strUrl));
            return pRow && pRow->IsInvalid();
        }
    };

private slots:
    void initTestCase() {
        QVERIFY2(QFile::exists(GuiMedia::Clip("stream_d1.ts")), "test media missing; run make-test-media.sh");
    }

    void cleanup() {
        CloseMessages();
        // Every session ends with its window.
        QCOMPARE(Orvel_GetSessionCount(), 0);
    }

    // ---- every kind of source plays and gives its row a picture ----

    void playsEverySource_data() {
        QTest::addColumn<QString>("strServer");
        QTest::addColumn<QString>("strPath");
        QTest::addColumn<int>("nMode");
        QTest::newRow("rtsp tcp") << "rtsp"
                                  << "/clip" << int(ORVEL_TRANSMIT_TCP);
        QTest::newRow("rtsp udp") << "rtsp"
                                  << "/clip" << int(ORVEL_TRANSMIT_UDP);
        QTest::newRow("rtsp http tunnel") << "rtsp"
                                          << "/clip" << int(ORVEL_TRANSMIT_HTTP);
        QTest::newRow("http mpeg-ts") << "http"
                                      << "/live.ts" << 0;
        QTest::newRow("hls") << "hls"
                             << "/stream.m3u8" << 0;
    }
    void playsEverySource() {
        QFETCH(QString, strServer);
        QFETCH(QString, strPath);
        QFETCH(int, nMode);
        NetServers servers;
        const quint16 nPort = strServer == "rtsp"   ? servers.StartRtsp()
                              : strServer == "http" ? servers.StartHttpTs()
                                                    : servers.StartHls();
        QVERIFY2(nPort != 0, qPrintable(servers.LastError()));
        const QString strScheme = strServer == "rtsp" ? "rtsp" : "http";
        const QString strUrl = QString("%1://127.0.0.1:%2%3").arg(strScheme).arg(nPort).arg(strPath);
        // The tunnel is given the server's port, as the URL dialog does.
        const OpenInfo stUrl = Url(strUrl, nMode, nMode == ORVEL_TRANSMIT_HTTP ? nPort : 0);

        Fixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.AddAndOpen(stUrl));
        CPlayWnd* pWnd = fx.Wnd();
        QCOMPARE(pWnd->GetOpenMode(), 2);
        QTRY_VERIFY_WITH_TIMEOUT(fx.Plays() && ShowsD1Picture(pWnd), kPlayTimeoutMs);
        QVERIFY(pWnd->IsStreamOpened());
        // A stream has no length: the time and frame readers answer 0.
        QCOMPARE(pWnd->GetFileTime() + pWnd->GetPlayedTime() + pWnd->GetFileTotalFrames() +
                     pWnd->GetCurrentFrameNum(),
                 0u);
        QTRY_VERIFY_WITH_TIMEOUT(fx.RowHasThumbnail(strUrl), kPlayTimeoutMs);
        QVERIFY(!fx.RowInvalid(strUrl));
        // The status bar names the whole URL (the rows have labels of that name too).
        const QLabel* pName =
            fx.pDlg->findChild<QWidget*>("m_pStatusBarContainer")->findChild<QLabel*>("m_pLabFileName");
        QTRY_COMPARE(pName->toolTip(), strUrl);
        // Play/pause leaves a stream alone.
        QVERIFY(fx.pDlg->On_PlayOrPause());
        QCOMPARE(pWnd->GetPlayState(), 1);
        QVERIFY(InfoTexts().isEmpty());
    }

    // ---- a source that dies ----

    void lostSourceClosesWindowWithMessage() {
        NetServers servers;
        const quint16 nPort = servers.StartRtsp();
        QVERIFY2(nPort != 0, qPrintable(servers.LastError()));
        const QString strUrl = QString("rtsp://127.0.0.1:%1/live").arg(nPort);
        Fixture fx;
        QVERIFY(fx.Start());
        // As from the command line: the address becomes a URL row and plays.
        QVERIFY(fx.pDlg->OpenFileList(QStringList{strUrl}));
        OpenInfo stRow;
        QVERIFY(fx.pList->GetOpenInfo(fx.pList->GetRowByPath(strUrl), &stRow));
        QCOMPARE(stRow.nMediaType, 2);
        QTRY_VERIFY_WITH_TIMEOUT(fx.Plays(), kPlayTimeoutMs);

        QVERIFY(servers.Kill(nPort));
        QTRY_VERIFY_WITH_TIMEOUT(InfoTexts().contains(kDisconnectText), kLostTimeoutMs);
        QCOMPARE(InfoTexts().size(), 1);
        QCOMPARE(fx.Wnd()->GetPlayState(), 0);
        QCOMPARE(fx.Wnd()->GetNetSession(), -1);
        // The row stays: the user plays the URL again from it.
        QVERIFY(fx.pList->GetRowByPath(strUrl) >= 0);
    }

    void lostSourceReconnectsWhenItReturns() {
        NetServers servers;
        const quint16 nPort = servers.StartRtsp();
        QVERIFY2(nPort != 0, qPrintable(servers.LastError()));
        const QString strUrl = QString("rtsp://127.0.0.1:%1/live").arg(nPort);
        Fixture fx;
        {
            // The setting comes from the configuration, as a user would set it.
            PlayerConfig stConfig;
            stConfig.bReconnectLostStreams = true;
            QVERIFY(CPlayerConfigFile().WritePlayerConfig(fx.strConfigDir + "/PlayerConfig.xml", &stConfig));
        }
        QVERIFY(fx.Start());
        QVERIFY(fx.AddAndOpen(Url(strUrl)));
        QTRY_VERIFY_WITH_TIMEOUT(fx.Plays(), kPlayTimeoutMs);
        CPlayWnd* pWnd = fx.Wnd();

        QVERIFY(servers.Kill(nPort));
        QTRY_VERIFY_WITH_TIMEOUT(pWnd->IsReconnecting(), kLostTimeoutMs);
        QCOMPARE(pWnd->GetDisplayInfo(), QStringLiteral("Reconnecting..."));
        QCOMPARE(pWnd->GetFilePath(), strUrl);
        QCOMPARE(pWnd->GetPlayState(), 1);

        // Tries against the closed port fail quietly until the server is back.
        RtspOnPort server;
        QVERIFY(server.Start(servers.MediaDir(), nPort));
        QElapsedTimer timerBack;
        timerBack.start();
        QTRY_VERIFY_WITH_TIMEOUT(!pWnd->IsReconnecting() && fx.Plays(), kPlayTimeoutMs);
        qInfo("played again %lld ms after the source returned", timerBack.elapsed());
        QVERIFY2(timerBack.elapsed() < 8000, "plays again within a few seconds of the source's return");
        QVERIFY(pWnd->GetDisplayInfo().isEmpty());
        QVERIFY(InfoTexts().isEmpty());

        // Stop ends the retries.
        fx.pDlg->On_Stop();
        QCOMPARE(pWnd->GetPlayState(), 3);
        QVERIFY(!pWnd->IsReconnecting());
    }

    // ---- stop and play again ----

    void stopThenPlayOpensNewSession() {
        NetServers servers;
        const quint16 nPort = servers.StartRtsp();
        QVERIFY2(nPort != 0, qPrintable(servers.LastError()));
        Fixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.AddAndOpen(Url(QString("rtsp://127.0.0.1:%1/live").arg(nPort))));
        QTRY_VERIFY_WITH_TIMEOUT(fx.Plays(), kPlayTimeoutMs);
        CPlayWnd* pWnd = fx.Wnd();
        const int nFirstSession = pWnd->GetNetSession();

        QVERIFY(fx.pDlg->On_Stop());
        QCOMPARE(pWnd->GetPlayState(), 3);
        QCOMPARE(pWnd->GetNetSession(), -1);
        QCOMPARE(Orvel_GetSessionCount(), 0);

        // Play runs at once, before any data: a new session with the stored URL.
        QVERIFY(fx.pStage->Play(0));
        QCOMPARE(pWnd->GetPlayState(), 1);
        QVERIFY(pWnd->GetNetSession() >= 0 && pWnd->GetNetSession() != nFirstSession);
        QTRY_VERIFY_WITH_TIMEOUT(pWnd->IsStreamOpened() && fx.Plays(), kPlayTimeoutMs);
        QVERIFY(InfoTexts().isEmpty());
    }

    // ---- a connect that never ends ----

    void slowConnectDoesNotHoldTheGui() {
        NetServers servers;
        const quint16 nPort = servers.StartBlackHole();
        QVERIFY2(nPort != 0, qPrintable(servers.LastError()));
        const QString strUrl = QString("rtsp://127.0.0.1:%1/live").arg(nPort);
        Fixture fx;
        QVERIFY(fx.Start());

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
        QVERIFY(fx.AddAndOpen(Url(strUrl)));
        QVERIFY2(timerOpen.elapsed() < 1000, "the open returns at once");
        QTRY_COMPARE(fx.Wnd()->GetPlayState(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(InfoTexts().contains(kOpenFailText), kLostTimeoutMs + 2000);
        ticker.stop();
        qInfo("longest gap between ticks %lld ms", nMaxGapMs);
        QVERIFY2(nMaxGapMs < 1000, "the GUI thread never waits for the network");
        QCOMPARE(fx.Wnd()->GetPlayState(), 0);
        QVERIFY(fx.pList->GetRowByPath(strUrl) >= 0);
    }

    // ---- many streams ----

    void sixteenStreamsCloseQuickly() {
        NetServers servers;
        const quint16 nPort = servers.StartRtsp();
        QVERIFY2(nPort != 0, qPrintable(servers.LastError()));
        const QString strUrl = QString("rtsp://127.0.0.1:%1/live").arg(nPort);
        Fixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.pDlg->On_ChangePlayWndNum(kWnds));
        OpenInfo stUrl = Url(strUrl);
        QVERIFY(fx.pList->AddUrl(&stUrl));
        for (int i = 0; i < kWnds; ++i) {
            OpenInfo stInfo = stUrl;
            QVERIFY(fx.pDlg->PlayFileInWnd(i, &stInfo));
        }
        QCOMPARE(Orvel_GetSessionCount(), kWnds);
        auto allShow = [&] {
            for (int i = 0; i < kWnds; ++i) {
                if (fx.Wnd(i)->GetPlayState() != 1 || ShownFrames(fx.Wnd(i)) == 0)
                    return false;
            }
            return true;
        };
        QTRY_VERIFY_WITH_TIMEOUT(allShow(), 3 * kPlayTimeoutMs);

        QElapsedTimer timerClose;
        timerClose.start();
        fx.Stop();
        qInfo("closing the dialog with %d streams took %lld ms", kWnds, timerClose.elapsed());
        QVERIFY2(timerClose.elapsed() < 4000, "the dialog closes within a few seconds");
        QCOMPARE(Orvel_GetSessionCount(), 0);
    }
};

QTEST_MAIN(TestNetStreams)
#include "TestNetStreams.moc"
