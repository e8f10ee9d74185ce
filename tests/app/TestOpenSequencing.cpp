// The main dialog with its playlist: limit and restart, play modes, drops, encrypted files.

#include <QtTest>

#include <QApplication>
#include <QFile>
#include <QLineEdit>
#include <QListWidgetItem>
#include <QMenu>
#include <QMimeData>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include "AutoExpandWnd.h"
#include "CDlgShow.h"
#include "CGetDecryptKeyDlg.h"
#include "CPlayWnd.h"
#include "CPlayerConfigFile.h"
#include "CPlaylist.h"
#include "CPlaylistItem.h"
#include "CVelquinDlg.h"
#include "GuiMedia.h"
#include "MainDlgFixture.h"
#include "OpenInfo.h"

namespace {

const int kPlayTimeoutMs = 20000;

const auto Playing = MainDlgFixture::Playing;

// A short clip of its own colour, so that rows and windows can be told apart.
bool MakeClip(const QString& strPath, const QString& strColour, double dSeconds) {
    QProcess proc;
    proc.start("ffmpeg", {"-hide_banner", "-loglevel", "error", "-nostdin", "-y", "-f", "lavfi", "-i",
                          QString("color=c=%1:s=160x120:r=25:d=%2").arg(strColour).arg(dSeconds), "-c:v",
                          "libx264", "-g", "10", "-pix_fmt", "yuv420p", strPath});
    return proc.waitForFinished(60000) && proc.exitCode() == 0 && QFile::exists(strPath);
}

// Texts of the message boxes now open.
QStringList OpenMessages() {
    return MainDlgFixture::MessageTexts("Information") + MainDlgFixture::MessageTexts("ERROR");
}

// Answers key dialogs from the event loop with strKey (empty: cancel); counts them.
class KeyDialogAnswer : public QObject {
public:
    explicit KeyDialogAnswer(const QString& strKey) : m_strKey(strKey) {
        connect(&m_timer, &QTimer::timeout, this, &KeyDialogAnswer::Check);
        m_timer.start(20);
    }
    int Seen() const { return m_nSeen; }

private:
    void Check() {
        CGetDecryptKeyDlg* pDlg = qobject_cast<CGetDecryptKeyDlg*>(QApplication::activeModalWidget());
        if (!pDlg)
            return;
        ++m_nSeen;
        if (m_strKey.isEmpty()) {
            pDlg->reject();
            return;
        }
        for (QLineEdit* pEdit : pDlg->findChildren<QLineEdit*>())
            pEdit->setText(m_strKey);
        QMetaObject::invokeMethod(pDlg, "On_OK");
    }
    QString m_strKey;
    QTimer m_timer;
    int m_nSeen = 0;
};

} // namespace

class TestOpenSequencing : public QObject {
    Q_OBJECT

    struct Fixture : MainDlgFixture {
        using MainDlgFixture::MainDlgFixture;
        bool Start() { return MainDlgFixture::Start(QSize(1200, 800)); }
        // A row of a file (nType 1) or a stream address (2).
        bool AddRow(const QString& strPath, int nType = 1) {
            OpenInfo stInfo = GuiMedia::FileInfo(strPath);
            stInfo.nMediaType = nType;
            return nType == 1 ? pList->AddFile(&stInfo) : pList->AddUrl(&stInfo);
        }
        // Opens a row in the selected window, as a double click does.
        bool OpenRow(int nRow) {
            OpenInfo stInfo;
            return pList->GetOpenInfo(nRow, &stInfo) && pDlg->On_OpenFileInSelWnd(&stInfo);
        }
        // A point on the stage away from the drag prompt, in the dialog's coordinates.
        QPoint StagePoint() const { return pStage->mapTo(pDlg.get(), QPoint(10, 10)); }
        bool RowInvalid(const QString& strPath) const {
            CPlaylistItem* pRow = pList->GetRowWidget(pList->GetRowByPath(strPath));
            return pRow && pRow->IsInvalid();
        }
        OpenInfo Row(int nRow) const {
            OpenInfo stInfo;
            pList->GetOpenInfo(nRow, &stInfo);
            return stInfo;
        }
        QString RowPath(int nRow) const { return Row(nRow).strFilePath; }
        bool PlaysIn(int nWnd, const QString& strPath) const {
            return pStage->GetWndFilePath(nWnd) == strPath && Playing(pStage->GetPlayState(nWnd));
        }
        void SetPlayMode(int nMode) {
            QMenu* pMenu = pDlg->findChild<QMenu*>(QStringLiteral("m_pPlayModeMenu"));
            QVERIFY(pMenu);
            pMenu->actions().at(nMode - 1)->trigger();
            QCOMPARE(pDlg->GetPlayMode(), nMode);
        }
        // A drag of the URLs to a point of the dialog and, unless bEnterOnly, the drop.
        void Drop(const QList<QUrl>& lstUrls, const QPoint& ptDlg, bool bEnterOnly = false) {
            QMimeData data;
            data.setUrls(lstUrls);
            QDragEnterEvent evEnter(ptDlg, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(pDlg.get(), &evEnter);
            if (bEnterOnly)
                return;
            QDragMoveEvent evMove(ptDlg, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(pDlg.get(), &evMove);
            QDropEvent evDrop(QPointF(ptDlg), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(pDlg.get(), &evDrop);
        }
    };

    QTemporaryDir m_dirMedia;
    QStringList m_lstClips; // red, green, blue: 0.4 s each
    const QString m_strLong = GuiMedia::Clip("ch02_20240315103000_20240315103010.mp4");
    const QString m_strText = GuiMedia::Clip("text.mp4");

private slots:
    void initTestCase() {
        QVERIFY(m_dirMedia.isValid());
        for (const char* szColour : {"red", "green", "blue"}) {
            const QString strPath = m_dirMedia.filePath(QString("%1.mp4").arg(szColour));
            QVERIFY(MakeClip(strPath, szColour, 0.4));
            m_lstClips << strPath;
        }
        QVERIFY2(QFile::exists(GuiMedia::Clip("enc_velquin123.mp4")) && QFile::exists(m_strLong),
                 "test media missing");
    }

    void cleanup() { MainDlgFixture::CloseMessages(); }


    void limitOfTwoHundredRowsSurvivesRestart() {
        QTemporaryDir dirConfig;
        QTemporaryDir dirFiles;
        QStringList lstPaths;
        for (int i = 0; i < 250; ++i) {
            const QString strPath = dirFiles.filePath(QString("clip_%1.mp4").arg(i, 3, 10, QChar('0')));
            QVERIFY(QFile::copy(m_lstClips.at(i % 3), strPath));
            lstPaths << strPath;
        }
        {
            Fixture fx(dirConfig.path());
            QVERIFY(fx.Start());
            QVERIFY(fx.pDlg->OpenFileList(lstPaths));
            QCOMPARE(fx.pList->count(), 200);
            QVERIFY(OpenMessages().contains(QStringLiteral("Playlist is Maximum, can not add!")));
            for (int i = 0; i < 200; ++i)
                QCOMPARE(fx.RowPath(i), lstPaths.at(i));
            QTRY_VERIFY_WITH_TIMEOUT(Playing(fx.pStage->GetPlayState(0)) || fx.pStage->GetPlayState(0) == 3,
                                     kPlayTimeoutMs);
        }
        Fixture fx(dirConfig.path());
        QVERIFY(fx.Start());
        QVERIFY(fx.pDlg->RestorePlaylist());
        QCOMPARE(fx.pList->count(), 200);
        for (int i = 0; i < 200; ++i)
            QCOMPARE(fx.RowPath(i), lstPaths.at(i));
        QCOMPARE(fx.pStage->GetPlayState(0), 0); // nothing opens on a restart
    }

    void damagedConfigurationStartsWithDefaults() {
        QTemporaryDir dirConfig;
        QFile file(dirConfig.filePath("PlayerConfig.xml"));
        QVERIFY(file.open(QIODevice::WriteOnly) &&
                file.write(QByteArray::fromHex("8f3e00d1c2ff7a10").repeated(512)) > 0);
        file.close();
        Fixture fx(dirConfig.path());
        QVERIFY(fx.Start());
        QVERIFY(fx.pDlg->RestorePlaylist());
        QCOMPARE(fx.pList->count(), 0);
        QCOMPARE(fx.pDlg->GetPlayerConfig().nPlayLocateMode, 1);
        QVERIFY(fx.pDlg->GetPlayerConfig().bExitKeepPlaylistFiles);
    }

    void savedProgressResumesAFileThatIsAlsoARow() {
        QTemporaryDir dirConfig;
        // What an exit with progress kept writes: the played window first, then the row.
        PlayerConfig stCfg;
        stCfg.bKeepPlayProgress = true;
        PlaylistFileCfg stPlayed;
        stPlayed.nMediaType = 1;
        stPlayed.strFilePath = m_strLong;
        stPlayed.nFilePlayProgress = 6;
        PlaylistFileCfg stRow = stPlayed;
        stRow.nFilePlayProgress = 0;
        stCfg.lstPlaylistFiles << stPlayed << stRow;
        QVERIFY(CPlayerConfigFile().WritePlayerConfig(dirConfig.filePath("PlayerConfig.xml"), &stCfg));

        Fixture fx(dirConfig.path());
        QVERIFY(fx.Start());
        QVERIFY(fx.pDlg->RestorePlaylist());
        QCOMPARE(fx.pList->count(), 1);
        QVERIFY(fx.pDlg->OpenFileList(QStringList() << m_strLong));
        QTRY_VERIFY_WITH_TIMEOUT(Playing(fx.pStage->GetPlayState(0)), kPlayTimeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(fx.pStage->GetPlayedTime(0) >= 6, kPlayTimeoutMs);
        QVERIFY(fx.pStage->GetPlayedTime(0) < 9);
    }

    void removeInvalidSparesPlayingAndGoodFiles() {
        QTemporaryDir dirFiles;
        Fixture fx;
        QVERIFY(fx.Start());
        // An AVI (no global time), a missing file, a text file, a recording deleted while it plays.
        const QString strAvi = GuiMedia::Clip("mjpeg.avi");
        const QString strPlaying = dirFiles.filePath("ch05_20240315120000.mp4");
        QVERIFY(QFile::copy(m_strLong, strPlaying));
        for (const QString& strPath : {strAvi, m_dirMedia.filePath("gone.mp4"), m_strText, strPlaying})
            QVERIFY(fx.AddRow(strPath));
        OpenInfo stPlaying = fx.Row(3);
        QVERIFY(fx.pDlg->PlayFileInWnd(0, &stPlaying));
        auto allExamined = [&fx] {
            for (int nRow = 0; nRow < fx.pList->count(); ++nRow)
                if (!fx.Row(nRow).bEncryptChecked)
                    return false;
            return true;
        };
        QTRY_VERIFY_WITH_TIMEOUT(allExamined(), kPlayTimeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(Playing(fx.pStage->GetPlayState(0)), kPlayTimeoutMs);
        QVERIFY(!fx.RowInvalid(strAvi));
        QVERIFY(fx.RowInvalid(m_strText));
        QVERIFY(QFile::remove(strPlaying));
        QVERIFY(fx.pDlg->On_ClearInvalidFiles());
        QCOMPARE(fx.pList->count(), 2);
        QCOMPARE(fx.RowPath(0), strAvi);
        QCOMPARE(fx.RowPath(1), strPlaying);
        QVERIFY(Playing(fx.pStage->GetPlayState(0)));
    }


    void playlistOrderStopsAtTheEndLoopOneRepeats() {
        Fixture fx;
        QVERIFY(fx.Start());
        fx.SetPlayMode(2);
        // Rows red, green, blue; start at green: blue follows, then the list ends.
        for (const QString& strClip : m_lstClips)
            QVERIFY(fx.AddRow(strClip));
        QSignalSpy spyEnd(fx.pStage, &CDlgShow::Sig_FileEnd);
        QVERIFY(fx.OpenRow(1));
        QVERIFY(spyEnd.wait(kPlayTimeoutMs));
        QTRY_COMPARE(fx.pStage->GetWndFilePath(0), m_lstClips.at(2));
        QTRY_VERIFY_WITH_TIMEOUT(spyEnd.count() >= 2, kPlayTimeoutMs);
        QTRY_COMPARE(fx.pStage->GetPlayState(0), 3);
        QCOMPARE(fx.pStage->GetWndFilePath(0), m_lstClips.at(2));
        QCOMPARE(spyEnd.count(), 2);

        // Looping one file plays it again and again.
        fx.SetPlayMode(3);
        spyEnd.clear();
        QVERIFY(fx.OpenRow(0));
        QTRY_VERIFY_WITH_TIMEOUT(spyEnd.count() >= 3, 3 * kPlayTimeoutMs);
        QCOMPARE(fx.pStage->GetWndFilePath(0), m_lstClips.at(0));
        QTRY_VERIFY(Playing(fx.pStage->GetPlayState(0)) || fx.pStage->GetPlayState(0) == 3);
    }

    void loopPlaylistSkipsUrlsAndBadFiles() {
        Fixture fx;
        QVERIFY(fx.Start());
        fx.SetPlayMode(4);
        QVERIFY(fx.AddRow(m_lstClips.at(0)) && fx.AddRow("rtsp://127.0.0.1:9/none", 2) && fx.AddRow(m_strText) &&
                fx.AddRow(m_lstClips.at(1)));
        QSignalSpy spyEnd(fx.pStage, &CDlgShow::Sig_FileEnd);
        QVERIFY(fx.OpenRow(0));
        // red ends: the URL is skipped, the bad file fails and is marked, green plays.
        QVERIFY(spyEnd.wait(kPlayTimeoutMs));
        QTRY_VERIFY_WITH_TIMEOUT(fx.PlaysIn(0, m_lstClips.at(1)), kPlayTimeoutMs);
        QVERIFY(fx.RowInvalid(m_strText));
        QVERIFY(!fx.RowInvalid(m_lstClips.at(1)));
        // green ends: round to red again, past the end of the list.
        QTRY_VERIFY_WITH_TIMEOUT(spyEnd.count() >= 2, kPlayTimeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(fx.PlaysIn(0, m_lstClips.at(0)), kPlayTimeoutMs);
        QCOMPARE(fx.pList->count(), 4);
    }

    void loopPlaylistWhereNothingOpensEnds() {
        QTemporaryDir dirFiles;
        Fixture fx;
        QVERIFY(fx.Start());
        fx.SetPlayMode(4);
        // The only good row goes from disk while it plays: the search must end.
        const QString strCopy = dirFiles.filePath("only.mp4");
        QVERIFY(QFile::copy(m_lstClips.at(2), strCopy));
        QVERIFY(fx.AddRow(strCopy) && fx.AddRow(GuiMedia::Clip("random.mp4")));
        QSignalSpy spyEnd(fx.pStage, &CDlgShow::Sig_FileEnd);
        QVERIFY(fx.OpenRow(0));
        QTRY_VERIFY_WITH_TIMEOUT(Playing(fx.pStage->GetPlayState(0)), kPlayTimeoutMs);
        QVERIFY(QFile::remove(strCopy));
        QTRY_VERIFY_WITH_TIMEOUT(spyEnd.count() > 0, kPlayTimeoutMs);
        // A search still going on always has an open under way.
        QTRY_VERIFY_WITH_TIMEOUT(!Playing(fx.pStage->GetPlayState(0)) && !fx.pStage->IsOpening(0),
                                 kPlayTimeoutMs);
        QVERIFY(fx.RowInvalid(GuiMedia::Clip("random.mp4")));
        QVERIFY(fx.RowInvalid(strCopy));
    }


    void dropOnThePromptGrowsTheLayout_data() {
        QTest::addColumn<int>("nFiles");
        QTest::addColumn<int>("nLayout");
        QTest::newRow("2 files") << 2 << 4;
        QTest::newRow("5 files") << 5 << 9;
        QTest::newRow("10 files") << 10 << 16;
    }
    void dropOnThePromptGrowsTheLayout() {
        QFETCH(int, nFiles);
        QFETCH(int, nLayout);
        QTemporaryDir dirFiles;
        Fixture fx;
        QVERIFY(fx.Start());
        QList<QUrl> lstUrls;
        for (int i = 0; i < nFiles; ++i) {
            const QString strPath = dirFiles.filePath(QString("drop_%1.mp4").arg(i));
            QVERIFY(QFile::copy(m_lstClips.at(i % 3), strPath));
            lstUrls << QUrl::fromLocalFile(strPath);
        }
        // The drag shows the prompt; the drop lands on it.
        fx.Drop(lstUrls, fx.StagePoint(), true);
        AutoExpandWnd* pPrompt = fx.pDlg->GetAutoExpandWnd();
        QVERIFY(pPrompt);
        QTRY_VERIFY(pPrompt->isVisible());
        QCOMPARE(pPrompt->GetProposedWndNum(), nLayout);
        fx.Drop(lstUrls, pPrompt->mapTo(fx.pDlg.get(), pPrompt->rect().center()));
        QCOMPARE(fx.pStage->GetPlayWndNum(), nLayout);
        QCOMPARE(fx.pList->count(), nFiles);
        for (int i = 0; i < nFiles; ++i)
            QCOMPARE(fx.pStage->GetWndFilePath(i), lstUrls.at(i).toLocalFile());
        QVERIFY(!pPrompt->isVisible());
    }

    void dropAwayFromThePromptAndOnAWindow() {
        QVERIFY(CVelquinDlg::IsStreamUrl(QUrl("rtsp://10.0.0.5:554/ch1")));
        QVERIFY(CVelquinDlg::IsStreamUrl(QUrl("http://cam.local/live/index.m3u8")));
        QVERIFY(!CVelquinDlg::IsStreamUrl(QUrl("https://example.com/article.html")));
        Fixture fx;
        QVERIFY(fx.Start());
        // A web page and a folder add nothing.
        fx.Drop({QUrl("https://example.com/article.html")}, fx.StagePoint());
        fx.Drop({QUrl::fromLocalFile(m_dirMedia.path())}, fx.StagePoint());
        QCOMPARE(fx.pList->count(), 0);
        QCOMPARE(fx.pStage->GetPlayState(0), 0);
        // Among files a folder is left out; the layout stays.
        fx.Drop({QUrl::fromLocalFile(m_dirMedia.path()), QUrl::fromLocalFile(m_lstClips.at(2)),
                 QUrl::fromLocalFile(m_lstClips.at(1))},
                fx.StagePoint());
        QCOMPARE(fx.pStage->GetPlayWndNum(), 1);
        QCOMPARE(fx.pList->count(), 2);
        QCOMPARE(fx.pStage->GetWndFilePath(0), m_lstClips.at(2));

        // One file dropped on window 3 plays there alone.
        QVERIFY(fx.pDlg->On_ChangePlayWndNum(4));
        CPlayWnd* pWnd3 = fx.pStage->GetPlayWnd(3);
        QVERIFY(pWnd3 && pWnd3->isVisible());
        fx.Drop({QUrl::fromLocalFile(m_lstClips.at(1))}, pWnd3->mapTo(fx.pDlg.get(), pWnd3->rect().center()));
        QCOMPARE(fx.pStage->GetSelWndIndex(), 3);
        QCOMPARE(fx.pStage->GetWndFilePath(3), m_lstClips.at(1));
        QCOMPARE(fx.pStage->GetWndFilePath(0), m_lstClips.at(2));
        for (int i : {1, 2})
            QCOMPARE(fx.pStage->GetPlayState(i), 0);
    }


    void encryptedPathOnTheCommandLineAsksBeforeOpening() {
        Fixture fx;
        QVERIFY(fx.Start());
        // The thread has not seen the file yet: the file itself is read at once.
        KeyDialogAnswer answer{QStringLiteral("velquin123")};
        QVERIFY(fx.pDlg->OpenFileList(QStringList() << GuiMedia::Clip("enc_velquin123.mp4")));
        QCOMPARE(answer.Seen(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(Playing(fx.pStage->GetPlayState(0)), kPlayTimeoutMs);
        QCOMPARE(fx.Row(0).strDecryptKey, QStringLiteral("velquin123"));
        // A plain file asks nothing; a path twice is one row, without a word.
        QVERIFY(fx.pDlg->OpenFileList(QStringList() << m_lstClips.at(0) << m_lstClips.at(0)));
        QCOMPARE(answer.Seen(), 1);
        QCOMPARE(fx.pList->count(), 2);
        QVERIFY(OpenMessages().isEmpty());
        QCOMPARE(fx.Row(0).strDecryptKey, QStringLiteral("velquin123"));
        QVERIFY(fx.Row(1).strDecryptKey.isEmpty());
    }

    void encryptedFileAsksForTheKeyAndForgetsAWrongOne() {
        Fixture fx;
        QVERIFY(fx.Start());
        QVERIFY(fx.AddRow(GuiMedia::Clip("enc_velquin123.mp4")));
        QListWidgetItem* pItem = fx.pList->item(0);
        QVERIFY(pItem);
        auto answerOnce = [&](const QString& strKey) {
            KeyDialogAnswer answer{strKey};
            emit fx.pList->itemDoubleClicked(pItem);
            return answer.Seen();
        };

        QCOMPARE(answerOnce(QString()), 1); // cancelled: nothing opens
        QCOMPARE(fx.pStage->GetPlayState(0), 0);

        // A wrong key: one error message, the window stops, the key is forgotten.
        QSignalSpy spyMsg(fx.pStage->GetPlayWnd(0), &CPlayWnd::Sig_ErrorMsg);
        QCOMPARE(answerOnce(QStringLiteral("wrongkey")), 1);
        QTRY_VERIFY_WITH_TIMEOUT(spyMsg.count() >= 1, kPlayTimeoutMs);
        QCOMPARE(spyMsg.first().first().toString(), QStringLiteral("Password error OR video error"));
        QTRY_VERIFY(!Playing(fx.pStage->GetPlayState(0)));
        QVERIFY(fx.Row(0).strDecryptKey.isEmpty());
        QCOMPARE(spyMsg.count(), 1);

        // The next open asks again; the right key plays to the end without error.
        QSignalSpy spyEnd(fx.pStage, &CDlgShow::Sig_FileEnd);
        QCOMPARE(answerOnce(QStringLiteral("velquin123")), 1);
        QTRY_VERIFY_WITH_TIMEOUT(Playing(fx.pStage->GetPlayState(0)), kPlayTimeoutMs);
        QCOMPARE(fx.Row(0).strDecryptKey, QStringLiteral("velquin123"));
        QVERIFY(spyEnd.wait(kPlayTimeoutMs));
        QCOMPARE(spyMsg.count(), 1);

        // The key survives a restart with the row, found encrypted again.
        fx.Stop();
        Fixture fx2(fx.strConfigDir);
        QVERIFY(fx2.Start());
        QVERIFY(fx2.pDlg->RestorePlaylist());
        QCOMPARE(fx2.Row(0).strDecryptKey, QStringLiteral("velquin123"));
        QTRY_VERIFY_WITH_TIMEOUT(fx2.Row(0).bEncryptChecked, kPlayTimeoutMs);
        QVERIFY(fx2.Row(0).bEncrypted);
        QCOMPARE(fx2.Row(0).strDecryptKey, QStringLiteral("velquin123"));
    }
};

QTEST_MAIN(TestOpenSequencing)
#include "TestOpenSequencing.moc"
