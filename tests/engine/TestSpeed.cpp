// The speed ladder: over ten seconds of play at each step from -4 to 4 the
// played time advances by 2^step times the time that passes, within 5 %,
// forward and in reverse; faster than normal, late pictures are left out
// rather than shown late. Both ends of each span are instants at which a
// picture showed, so the rate is measured between two shown stamps.
#include "IndexWait.h"
#include "PortProbe.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace {
const int kTimeoutMs = 30000;
const qint64 kMeasureMs = 10000;
// At 1/16 speed a picture shows every 640 ms: the span may end that much late.
const int kSpanTimeoutMs = int(kMeasureMs) + kTimeoutMs;
const double kTolerance = 0.05;

using Clock = std::chrono::steady_clock;

// Records when each picture is shown, by the steady clock, with its stamp.
class ShowTimes {
public:
    struct Mark {
        Clock::time_point t;
        int32_t nStampMs = 0;
    };
    bool Register(int32_t nPort) { return Tavrix_SetDisplayCallBackEx(nPort, &ShowTimes::OnDisplay, this); }
    void Clear() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_vecMarks.clear();
    }
    // Waits until the pictures shown since Clear span nWallMs of wall time.
    bool WaitForSpan(qint64 nWallMs, int nTimeoutMs, Mark* pFirst, Mark* pLast) {
        std::unique_lock<std::mutex> lock(m_mutex);
        const bool bOk = m_cv.wait_for(lock, std::chrono::milliseconds(nTimeoutMs), [this, nWallMs] {
            return m_vecMarks.size() > 1 &&
                   m_vecMarks.back().t - m_vecMarks.front().t >= std::chrono::milliseconds(nWallMs);
        });
        if (bOk) {
            *pFirst = m_vecMarks.front();
            *pLast = m_vecMarks.back();
        }
        return bOk;
    }

private:
    static void OnDisplay(TAVRIX_DISPLAY_INFO* pInfo) {
        auto* pSelf = static_cast<ShowTimes*>(pInfo->nUser);
        std::lock_guard<std::mutex> lock(pSelf->m_mutex);
        pSelf->m_vecMarks.push_back({Clock::now(), pInfo->nStamp});
        pSelf->m_cv.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_cv;
    std::vector<Mark> m_vecMarks; // guarded by m_mutex
};
} // namespace

class TestSpeed : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void playedTimeFollowsSpeed_data();
    void playedTimeFollowsSpeed();
    void ladderEndsAndNeedsPlay();

private:
    QTemporaryDir m_dir;
    QString m_strClip;
};

void TestSpeed::initTestCase() {
    // Ten seconds at sixteen times normal speed need 160 s of video; small
    // pictures keep the file quick to make and to decode at that pace.
    QVERIFY(m_dir.isValid());
    m_strClip = m_dir.filePath("long.mp4");
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg", QString("-hide_banner -loglevel error -nostdin -y -f lavfi -i "
                                   "testsrc2=size=160x120:rate=25:duration=180 -c:v libx264 -preset ultrafast "
                                   "-g 25 -bf 2 -pix_fmt yuv420p")
                                   .split(' ')
                               << m_strClip);
    QVERIFY(ffmpeg.waitForFinished(60000));
    QCOMPARE(ffmpeg.exitCode(), 0);
}

void TestSpeed::playedTimeFollowsSpeed_data() {
    QTest::addColumn<int>("step");
    QTest::addColumn<bool>("reverse");
    for (int nStep = -4; nStep <= 4; ++nStep)
        QTest::newRow(qPrintable(QString("forward %1").arg(nStep))) << nStep << false;
    QTest::newRow("reverse -1") << -1 << true;
    QTest::newRow("reverse 2") << 2 << true;
}

void TestSpeed::playedTimeFollowsSpeed() {
    QFETCH(int, step);
    QFETCH(bool, reverse);
    int32_t nPort = -1;
    QVERIFY(Tavrix_GetPort(&nPort));
    ShowTimes times;
    IndexWait index;
    QVERIFY(times.Register(nPort) && index.Register(nPort));
    QVERIFY(Tavrix_OpenFile(nPort, QFile::encodeName(m_strClip).constData()));
    QVERIFY(index.Wait(kTimeoutMs));
    QVERIFY(reverse ? Tavrix_ReversePlay(nPort) : Tavrix_Play(nPort, 0));
    for (int i = 0; i < qAbs(step); ++i)
        QVERIFY(step > 0 ? Tavrix_Fast(nPort) : Tavrix_Slow(nPort));
    times.Clear();
    ShowTimes::Mark first, last;
    QVERIFY(times.WaitForSpan(kMeasureMs, kSpanTimeoutMs, &first, &last));
    Tavrix_CloseFile(nPort);
    Tavrix_FreePort(nPort);
    const double dWallMs = std::chrono::duration<double, std::milli>(last.t - first.t).count();
    const double dPlayedMs = qAbs(last.nStampMs - first.nStampMs);
    const double dRatio = dPlayedMs / dWallMs;
    const double dWanted = step >= 0 ? double(1 << step) : 1.0 / double(1 << -step);
    QVERIFY2(qAbs(dRatio - dWanted) <= kTolerance * dWanted,
             qPrintable(QString("played %1 ms in %2 ms, wanted ratio %3").arg(dPlayedMs).arg(dWallMs).arg(dWanted)));
}

void TestSpeed::ladderEndsAndNeedsPlay() {
    int32_t nPort = -1;
    QVERIFY(Tavrix_GetPort(&nPort));
    QVERIFY(Tavrix_OpenFile(nPort, QFile::encodeName(m_strClip).constData()));
    QVERIFY(!Tavrix_Fast(nPort));
    QCOMPARE(Tavrix_GetLastError(nPort), uint32_t(TAVRIX_ERR_ORDER));
    QVERIFY(Tavrix_Play(nPort, 0));
    for (int i = 0; i < 4; ++i)
        QVERIFY(Tavrix_Fast(nPort));
    QVERIFY(!Tavrix_Fast(nPort));
    QCOMPARE(Tavrix_GetLastError(nPort), uint32_t(TAVRIX_ERR_PARA_OVER));
    // Play starts again at normal speed: four steps down are all there.
    QVERIFY(Tavrix_Play(nPort, 0));
    for (int i = 0; i < 4; ++i)
        QVERIFY(Tavrix_Slow(nPort));
    QVERIFY(!Tavrix_Slow(nPort));
    QVERIFY(Tavrix_ThrowBFrameNum(nPort, 2));
    QVERIFY(!Tavrix_ThrowBFrameNum(nPort, 3));
    Tavrix_CloseFile(nPort);
    Tavrix_FreePort(nPort);
}

QTEST_GUILESS_MAIN(TestSpeed)
#include "TestSpeed.moc"
