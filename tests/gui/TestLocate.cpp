// The locate dialogs' checks, and the frame a jump by number, time stamp or
// global time shows, against the ffmpeg tool's decode.

#include <QtTest>

#include <QCryptographicHash>
#include <QDateTimeEdit>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>

#include <mutex>
#include <vector>

#include "CLocateDlg.h"
#include "CPlayWnd.h"
#include "GuiMedia.h"
#include "LocateGlobalTimeDlg.h"
#include "MainDlgFixture.h"
#include "Tavrix.h"

using namespace GuiMedia;

namespace {

const int kTimeoutMs = 20000;
const QString kInformation = QStringLiteral("Information");

// The hash column of NAME.framemd5: one picture per line, in file order.
QStringList ExpectedHashes(const QString& strClip) {
    QStringList lstHashes;
    QFile file(Clip(strClip) + ".framemd5");
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return lstHashes;
    while (!file.atEnd()) {
        const QByteArray baLine = file.readLine().trimmed();
        if (!baLine.isEmpty() && !baLine.startsWith('#'))
            lstHashes << QString::fromLatin1(baLine.split(',').last().trimmed());
    }
    return lstHashes;
}

// Records the pictures a window's port shows (number and hash of the picture
// as planar Y, U, V, the ffmpeg tool's framemd5 of yuv420p) and hands every
// call on to the window's own display callback, so the window works as usual.
class ShownFrames {
public:
    struct Shown {
        uint nFrameNum = 0;
        QString strMd5;
    };

    bool Attach(CPlayWnd* pWnd) {
        m_pWnd = pWnd;
        m_nPort = pWnd->GetPort();
        if (m_nPort < 0 || !Tavrix_SetDisplayCallBackEx(m_nPort, &ShownFrames::OnDisplay, this))
            return false;
        Clear();
        return true;
    }
    void Detach() {
        if (m_nPort >= 0)
            Tavrix_SetDisplayCallBackEx(m_nPort, &CPlayWnd::DisplayCallBack, m_pWnd);
        m_nPort = -1;
    }
    void Clear() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_vecShown.clear();
    }
    std::vector<Shown> Frames() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_vecShown;
    }

private:
    static void OnDisplay(TAVRIX_DISPLAY_INFO* pInfo) {
        auto* pThis = static_cast<ShownFrames*>(pInfo->nUser);
        const int nY = pInfo->nWidth * pInfo->nHeight;
        const int nC = nY / 4;
        if (pInfo->pBuf && pInfo->nBufLen >= nY + 2 * nC) {
            // YV12 holds V before U; yuv420p holds U first.
            QCryptographicHash hash(QCryptographicHash::Md5);
            hash.addData(QByteArrayView(pInfo->pBuf, nY));
            hash.addData(QByteArrayView(pInfo->pBuf + nY + nC, nC));
            hash.addData(QByteArrayView(pInfo->pBuf + nY, nC));
            std::lock_guard<std::mutex> lock(pThis->m_mutex);
            pThis->m_vecShown.push_back({pInfo->nFrameNum, QString::fromLatin1(hash.result().toHex())});
        }
        TAVRIX_DISPLAY_INFO stForWnd = *pInfo;
        stForWnd.nUser = pThis->m_pWnd;
        CPlayWnd::DisplayCallBack(&stForWnd);
    }

    CPlayWnd* m_pWnd = nullptr;
    int m_nPort = -1;
    mutable std::mutex m_mutex;
    std::vector<Shown> m_vecShown; // guarded by m_mutex
};

TAVRIX_SYSTEM_TIME MakeTime(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond) {
    return TAVRIX_SYSTEM_TIME{nYear, nMonth, nDay, nHour, nMinute, nSecond, 0};
}

// t moved on by nMs milliseconds, through the epoch milliseconds of its wall clock.
TAVRIX_SYSTEM_TIME AddMs(const TAVRIX_SYSTEM_TIME& t, qint64 nMs) {
    const QDateTime dt = QDateTime(QDate(t.nYear, t.nMonth, t.nDay),
                                   QTime(t.nHour, t.nMinute, t.nSecond, t.nMilliseconds), Qt::UTC)
                             .addMSecs(nMs);
    return TAVRIX_SYSTEM_TIME{dt.date().year(),   dt.date().month(),  dt.date().day(), dt.time().hour(),
                              dt.time().minute(), dt.time().second(), dt.time().msec()};
}

QString Format(const TAVRIX_SYSTEM_TIME& t) {
    return QString::asprintf("%04d-%02d-%02d %02d:%02d:%02d.%03d", t.nYear, t.nMonth, t.nDay, t.nHour,
                             t.nMinute, t.nSecond, t.nMilliseconds);
}

} // namespace

class TestLocate : public QObject {
    Q_OBJECT

private:
    // A main dialog with one clip open in the selected window, paused with its
    // frame index complete, and its shown pictures recorded.
    struct PausedClip : MainDlgFixture {
        ShownFrames shown;
        CPlayWnd* pWnd = nullptr;
        QStringList lstExpected;

        ~PausedClip() { shown.Detach(); }

        bool Open(const QString& strPath, const QString& strTruthClip) {
            lstExpected = ExpectedHashes(strTruthClip);
            if (lstExpected.isEmpty() || !Start() || !pDlg->OpenFileList(QStringList() << strPath))
                return false;
            pWnd = pStage->GetPlayWnd(0);
            if (!pWnd || !QTest::qWaitFor([&] { return pStage->GetPlayState(0) == 1; }, kTimeoutMs) ||
                !QTest::qWaitFor([&] { return pStage->IsFileRefCreated(); }, kTimeoutMs) ||
                !pDlg->On_PlayOrPause() ||
                !QTest::qWaitFor([&] { return pStage->GetPlayState(0) == 2; }, kTimeoutMs))
                return false;
            return shown.Attach(pWnd) && pStage->GetFileTotalFrames() == uint(lstExpected.size());
        }
    };

    // After a jump the paused window shows frame nFrame, with its picture.
    static void VerifyShows(PausedClip& clip, uint nFrame) {
        auto LastShown = [&clip] {
            const std::vector<ShownFrames::Shown> vecShown = clip.shown.Frames();
            return vecShown.empty() ? ShownFrames::Shown{~0u, QString()} : vecShown.back();
        };
        QTRY_COMPARE_WITH_TIMEOUT(LastShown().nFrameNum, nFrame, kTimeoutMs);
        QCOMPARE(LastShown().strMd5, clip.lstExpected.at(int(nFrame)));
        QCOMPARE(clip.pWnd->GetCurrentFrameNum(), nFrame);
        QCOMPARE(clip.pWnd->GetPlayState(), 2);
        clip.shown.Clear();
    }

private slots:
    // The number dialog: the range it shows and lets the user type, and an
    // empty field that is refused with its own message.
    void numberDialogChecks() {
        CLocateDlg dlg;
        QVERIFY(dlg.Init());
        QSignalSpy spyLocate(&dlg, &CLocateDlg::Sig_PlayLocate);
        auto* pEdit = dlg.findChild<QLineEdit*>(QStringLiteral("m_pEditInputNum"));
        auto* pRange = dlg.findChild<QLabel*>(QStringLiteral("m_pLabelRange"));
        auto* pOK = dlg.findChild<QPushButton*>(QStringLiteral("m_pBtnOK"));
        QVERIFY(pEdit && pRange && pOK);

        dlg.SetLocateInfo(0, 100);
        QCOMPARE(pRange->text(), QStringLiteral("(Unit:Second 0~99)"));
        QTest::keyClicks(pEdit, QStringLiteral("100"));
        QCOMPARE(pEdit->text(), QStringLiteral("10"));
        pEdit->clear();
        QTest::keyClicks(pEdit, QStringLiteral("-1"));
        QCOMPARE(pEdit->text(), QStringLiteral("1"));

        // Frames: an empty field gives the message, not the prompt, and the
        // dialog stays open without sending anything.
        dlg.SetLocateInfo(1, 50);
        QVERIFY(pRange->text().endsWith(QStringLiteral("0~49)")));
        QCOMPARE(pEdit->text(), QString());
        dlg.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dlg));
        QTest::mouseClick(pOK, Qt::LeftButton);
        QCOMPARE(MainDlgFixture::MessageTexts(kInformation),
                 QStringList{QStringLiteral("Please enter a frame number!")});
        QVERIFY(dlg.isVisible());
        QCOMPARE(spyLocate.count(), 0);
        MainDlgFixture::CloseMessages();

        QTest::keyClicks(pEdit, QStringLiteral("49"));
        QTest::mouseClick(pOK, Qt::LeftButton);
        QCOMPARE(spyLocate.count(), 1);
        QCOMPARE(spyLocate.at(0).at(0).toInt(), 1);
        QCOMPARE(spyLocate.at(0).at(1).toInt(), 49);
        QVERIFY(!dlg.isVisible());
        QCOMPARE(dlg.result(), int(QDialog::Accepted));
    }

    // Global time: both ends pass (a begin some ms into its second too); one
    // second past the end is refused and the value kept.
    void globalTimeDialogChecks() {
        TAVRIX_SYSTEM_TIME stBegin = MakeTime(2024, 3, 15, 10, 0, 7);
        stBegin.nMilliseconds = 300;
        TAVRIX_SYSTEM_TIME stEnd = MakeTime(2024, 3, 15, 10, 1, 7);
        const QDateTime dtEnd(QDate(2024, 3, 15), QTime(10, 1, 7), Qt::UTC);

        struct Case {
            QDateTime dtInput; // invalid: leave the input where SetTimeRange put it
            bool bPasses;
        };
        const Case cases[] = {{QDateTime(), true}, {dtEnd, true}, {dtEnd.addSecs(1), false}};
        for (const Case& c : cases) {
            LocateGlobalTimeDlg dlg;
            QVERIFY(dlg.Init());
            QVERIFY(!dlg.SetTimeRange(nullptr, &stEnd));
            QVERIFY(dlg.SetTimeRange(&stBegin, &stEnd));
            QCOMPARE(dlg.findChild<QLabel*>(QStringLiteral("m_pLabelRangeBegin"))->text(),
                     QStringLiteral("Begin: 2024/03/15 10:00:07"));
            QCOMPARE(dlg.findChild<QLabel*>(QStringLiteral("m_pLabelRangeEnd"))->text(),
                     QStringLiteral("End: 2024/03/15 10:01:07"));
            auto* pEdit = dlg.findChild<QDateTimeEdit*>(QStringLiteral("m_pDateTimeEdit"));
            QVERIFY(pEdit);
            if (c.dtInput.isValid())
                pEdit->setDateTime(c.dtInput);
            const QDateTime dtTyped = pEdit->dateTime();

            TAVRIX_SYSTEM_TIME stSent{};
            int nSent = 0;
            connect(&dlg, &LocateGlobalTimeDlg::Sig_PlayLocateByGlobalTime, &dlg, [&](TAVRIX_SYSTEM_TIME* p) {
                stSent = *p;
                ++nSent;
            });
            dlg.show();
            QVERIFY(QTest::qWaitForWindowExposed(&dlg));
            QTest::mouseClick(dlg.findChild<QPushButton*>(QStringLiteral("m_pBtnOK")), Qt::LeftButton);
            if (c.bPasses) {
                QCOMPARE(nSent, 1);
                QCOMPARE(QDateTime(QDate(stSent.nYear, stSent.nMonth, stSent.nDay),
                                   QTime(stSent.nHour, stSent.nMinute, stSent.nSecond), Qt::UTC),
                         dtTyped);
                QCOMPARE(stSent.nMilliseconds, 0);
                QVERIFY(!dlg.isVisible());
            } else {
                QCOMPARE(nSent, 0);
                QCOMPARE(MainDlgFixture::MessageTexts(kInformation),
                         QStringList{QStringLiteral("Please enter the time during the valid range.")});
                QVERIFY(dlg.isVisible());
                QCOMPARE(pEdit->dateTime(), dtTyped);
                MainDlgFixture::CloseMessages();
            }
        }
    }

    void landsOnFrame_data() {
        QTest::addColumn<QString>("strClip");
        QTest::addColumn<QString>("strCopyName"); // empty: played where it is
        QTest::addColumn<int>("nFrame");
        QTest::addColumn<int>("nSecond");
        QTest::addColumn<int>("nGlobalMs"); // from the file's begin
        QTest::newRow("mp4") << "h264_aac.mp4" << QString() << 37 << 1 << 1530;
        QTest::newRow("mkv") << "hevc.mkv" << QString() << 13 << 1 << 1479;
        QTest::newRow("mpeg4") << "mpeg4.mp4" << QString() << 37 << 1 << 1530;
        QTest::newRow("ts, time in the name") << "ch01_20240315102030.ts" << QString() << 49 << 1 << 520;
        // Two recorder segments joined: the stamps start again at frame 100 (4 s);
        // the stamp in the name gives the copy its global time.
        QTest::newRow("ts, restarting stamps") << "joined_restart.ts"
                                               << "joined_20240315102030.ts" << 163 << 5 << 4010;
    }

    // Jumps by frame number, by time stamp and by global time each show the
    // frame asked for, paused, with the ffmpeg tool's picture.
    void landsOnFrame() {
        QFETCH(QString, strClip);
        QFETCH(QString, strCopyName);
        QFETCH(int, nFrame);
        QFETCH(int, nSecond);
        QFETCH(int, nGlobalMs);
        const int kFps = 25; // every clip here

        QTemporaryDir dirCopy;
        QString strPath = Clip(strClip);
        if (!strCopyName.isEmpty()) {
            QVERIFY(dirCopy.isValid());
            const QString strCopy = dirCopy.filePath(strCopyName);
            QVERIFY(QFile::copy(strPath, strCopy));
            strPath = strCopy;
        }

        PausedClip clip;
        QVERIFY2(clip.Open(strPath, strClip), qPrintable(strClip));

        QVERIFY(clip.pDlg->On_PlayLocate(1, nFrame));
        VerifyShows(clip, uint(nFrame));
        if (QTest::currentTestFailed())
            return;

        QVERIFY(clip.pDlg->On_PlayLocate(0, nSecond));
        VerifyShows(clip, uint(nSecond * kFps));
        if (QTest::currentTestFailed())
            return;

        // The latest frame whose global time is not after the time asked for.
        FILE_INFO_SYNC stRange{};
        QTRY_VERIFY_WITH_TIMEOUT(clip.pList->GetGlobalTimeRange(strPath, &stRange), kTimeoutMs);
        TAVRIX_SYSTEM_TIME stTime = AddMs(stRange.stBegin, nGlobalMs);
        const uint nExpected = uint(nGlobalMs * kFps / 1000);
        QVERIFY(clip.pDlg->On_PlayLocateByGlobalTime(&stTime));
        VerifyShows(clip, nExpected);
        if (QTest::currentTestFailed())
            return;
        TAVRIX_SYSTEM_TIME stShown{};
        QVERIFY(clip.pWnd->GetCurGlobalTime(&stShown));
        QCOMPARE(Format(stShown), Format(AddMs(stRange.stBegin, qint64(nExpected) * 1000 / kFps)));
    }

    // The whole road from the command: the dialog opens on the file's range,
    // and its OK jumps to the second typed in.
    void globalTimeDialogJumps() {
        PausedClip clip;
        const QString strClip = QStringLiteral("ch01_20240315102030.ts");
        QVERIFY(clip.Open(Clip(strClip), strClip));
        FILE_INFO_SYNC stRange{};
        QTRY_VERIFY_WITH_TIMEOUT(clip.pList->GetGlobalTimeRange(Clip(strClip), &stRange), kTimeoutMs);

        bool bSeen = false;
        QString strBegin;
        QTimer::singleShot(0, [&] {
            auto* pDlg = qobject_cast<LocateGlobalTimeDlg*>(QApplication::activeModalWidget());
            if (!pDlg)
                return;
            bSeen = true;
            strBegin = pDlg->findChild<QLabel*>(QStringLiteral("m_pLabelRangeBegin"))->text();
            auto* pEdit = pDlg->findChild<QDateTimeEdit*>(QStringLiteral("m_pDateTimeEdit"));
            pEdit->setDateTime(pEdit->dateTime().addSecs(1));
            QTest::mouseClick(pDlg->findChild<QPushButton*>(QStringLiteral("m_pBtnOK")), Qt::LeftButton);
            // A dialog that refused the time would stay: close it so the test goes on.
            if (pDlg->isVisible())
                pDlg->reject();
        });
        QVERIFY(clip.pDlg->On_ShowGlobalTimeLocateDlg());
        QVERIFY(bSeen);
        QCOMPARE(strBegin, QStringLiteral("Begin: 2024/03/15 10:20:30"));
        VerifyShows(clip, 25);
        if (QTest::currentTestFailed())
            return;

        // A file stopped meanwhile plays again and jumps: frame 40 comes
        // without frame 39 before it, as play from the start would bring it.
        QVERIFY(clip.pDlg->On_Stop());
        QCOMPARE(clip.pStage->GetPlayState(0), 3);
        clip.shown.Clear();
        TAVRIX_SYSTEM_TIME stTime = AddMs(stRange.stBegin, 1610);
        QVERIFY(clip.pDlg->On_PlayLocateByGlobalTime(&stTime));
        QCOMPARE(clip.pStage->GetPlayState(0), 1);
        auto FirstOf = [&clip](uint nFrame) {
            const std::vector<ShownFrames::Shown> vecShown = clip.shown.Frames();
            for (size_t i = 0; i < vecShown.size(); ++i)
                if (vecShown[i].nFrameNum == nFrame)
                    return int(i);
            return -1;
        };
        QTRY_VERIFY_WITH_TIMEOUT(FirstOf(40) >= 0, kTimeoutMs);
        const int nFirst40 = FirstOf(40);
        const int nFirst39 = FirstOf(39);
        QVERIFY2(nFirst39 < 0 || nFirst39 > nFirst40, "played through to the frame instead of jumping");
        QCOMPARE(clip.shown.Frames().at(size_t(nFirst40)).strMd5, clip.lstExpected.at(40));
    }
};

QTEST_MAIN(TestLocate)
#include "TestLocate.moc"
