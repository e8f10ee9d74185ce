// Four recordings of one moment play in lock step by the global time they
// carry: begins 0, 7.3 s, 20 s and 61 s after 10:00:00 at 25, 30, 12.5 and
// 25 frames a second. Every member must show its frame for the group's time,
// join exactly when its time comes, and land frame-exactly on a jump.
#include "FrameChecks.h"
#include "PortProbe.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QtTest>

#include <memory>

namespace {

struct Clip {
    const char* szName;
    qint64 nBeginMs; // after 2024-03-15 10:00:00.000
    double dPeriodMs;
    int nFrames;
};
const Clip kClips[] = {
    {"sync_a_25fps.mp4", 0, 40.0, 1875},
    {"sync_b_30fps.mkv", 7300, 1000.0 / 30.0, 1800},
    {"cam3_20240315100020.ts", 20000, 80.0, 563},
    {"sync_d_25fps.mp4", 61000, 40.0, 750},
};
constexpr int kMembers = 4;

qint64 Base() {
    return QDateTime(QDate(2024, 3, 15), QTime(10, 0), Qt::UTC).toMSecsSinceEpoch();
}

qint64 GroupMs(int32_t nPort) {
    TAVRIX_SYSTEM_TIME t{};
    return Tavrix_GetSycGroupTime(nPort, &t) ? SystemTimeToMsecs(t) - Base() : -1;
}

qint64 ShownMs(int32_t nPort) {
    TAVRIX_SYSTEM_TIME t{};
    return Tavrix_GetSystemTime(nPort, &t) ? SystemTimeToMsecs(t) - Base() : -1;
}

// The frame of clip c for a group time: the latest not after it; -1 before
// its begin, the last frame after its end.
int FrameFor(const Clip& c, qint64 nMs) {
    if (nMs < c.nBeginMs)
        return -1;
    return std::min(c.nFrames - 1, int((nMs - c.nBeginMs) / c.dPeriodMs));
}

} // namespace

class TestSyncGroup : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<PortProbe> m_probes[kMembers];
    QStringList m_truth[kMembers];

    int32_t Port(int i) const { return m_probes[i]->Port(); }

    // Each member whose file covers the group's time shows a frame at most one
    // frame period older than that time (and not from its future; backwards,
    // not from its past). nSlackMs allows for the reading itself at speed.
    bool InStep(qint64 nSlackMs, QString* pWhy) {
        const qint64 nGroup = GroupMs(Port(0));
        if (nGroup < 0) {
            *pWhy = "no group time";
            return false;
        }
        for (int i = 0; i < kMembers; ++i) {
            const Clip& c = kClips[i];
            const qint64 nLastMs = c.nBeginMs + qint64((c.nFrames - 1) * c.dPeriodMs);
            if (nGroup < c.nBeginMs + nSlackMs || nGroup > nLastMs)
                continue; // not playing: dark before its begin, parked after its end
            const qint64 nShown = ShownMs(Port(i));
            const qint64 nBehind = nGroup - nShown;
            if (nBehind < -1 - nSlackMs || nBehind > qint64(c.dPeriodMs) + 1 + nSlackMs) {
                *pWhy = QString("%1: group %2 ms, shown %3 ms").arg(c.szName).arg(nGroup).arg(nShown);
                return false;
            }
        }
        return true;
    }
    void CheckInStep(qint64 nSlackMs) {
        QString strWhy;
        QVERIFY2(InStep(nSlackMs, &strWhy), qPrintable(strWhy));
    }

    // After a jump of the paused group: every member shows its frame for
    // the time (the ffmpeg tool's picture of it), or nothing before its begin.
    void CheckLanded(qint64 nTargetMs) {
        for (int i = 0; i < kMembers; ++i) {
            const int nFrame = FrameFor(kClips[i], nTargetMs);
            const QString strWhere = QString("%1 at %2 ms: frame %3 wanted, counter %4, %5 shown, last %6")
                                         .arg(kClips[i].szName)
                                         .arg(nTargetMs)
                                         .arg(nFrame)
                                         .arg(Tavrix_GetCurrentFrameNum(Port(i)))
                                         .arg(m_probes[i]->FrameCount())
                                         .arg(m_probes[i]->FrameCount() ? int(m_probes[i]->Frames().back().nFrameNum) : -1);
            if (nFrame < 0) {
                QTRY_COMPARE_WITH_TIMEOUT(ShownMs(Port(i)), kClips[i].nBeginMs, 5000);
                continue;
            }
            QTRY_VERIFY2_WITH_TIMEOUT(Tavrix_GetCurrentFrameNum(Port(i)) == uint32_t(nFrame) &&
                                          m_probes[i]->FrameCount() > 0 &&
                                          m_probes[i]->Frames().back().nFrameNum == uint32_t(nFrame),
                                      qPrintable(strWhere), 5000);
            QCOMPARE(ShownHash(m_probes[i]->Frames().back()), m_truth[i][nFrame]);
        }
    }

    void PauseAll() {
        for (int i = 0; i < kMembers; ++i)
            QVERIFY(Tavrix_Pause(Port(i), 1));
    }

private slots:
    void init() {
        for (int i = 0; i < kMembers; ++i) {
            m_probes[i] = std::make_unique<PortProbe>();
            QVERIFY(m_probes[i]->OpenIndexed(kClips[i].szName, &m_truth[i], 20000));
            QCOMPARE(m_truth[i].size(), kClips[i].nFrames);
            QVERIFY(Tavrix_SetSycGroup(Port(i), 0));
        }
    }
    void cleanup() {
        for (auto& p : m_probes)
            p.reset();
    }

    // The group starts at the earliest begin; 7.3 s later the 30 fps member
    // joins on its first frame; at every tick each playing member is within
    // one frame period of the group's time. Later members join the same way
    // after a jump to just before their begin.
    void playsInStepAndJoinsOnTime() {
        for (int i = 0; i < kMembers; ++i)
            QVERIFY(m_probes[i]->Play(true));
        QTRY_VERIFY_WITH_TIMEOUT(GroupMs(Port(0)) >= 0, 2000);
        QVERIFY(GroupMs(Port(0)) < 500);
        for (const qint64 nJumpMs : {qint64(-1), qint64(19000), qint64(60000)}) {
            const int nJoiner = nJumpMs < 0 ? 1 : (nJumpMs < 60000 ? 2 : 3);
            if (nJumpMs >= 0) {
                PauseAll();
                QVERIFY(Tavrix_SetPlayedTimeEx(Port(0), uint32_t(nJumpMs)));
                for (int i = 0; i < kMembers; ++i)
                    QVERIFY(Tavrix_Pause(Port(i), 0));
            }
            m_probes[nJoiner]->ClearFrames();
            // A tick every 500 ms until the joiner's first picture.
            int nTicks = 0;
            while (!m_probes[nJoiner]->WaitForFrames(1, 500)) {
                QVERIFY2(++nTicks < 30, "the later member never joined");
                CheckInStep(0);
            }
            // It joined on its first frame, when the group reached its begin.
            const qint64 nAt = GroupMs(Port(0));
            const PortProbe::Shown first = m_probes[nJoiner]->Frames().front();
            QCOMPARE(first.nFrameNum, 0u);
            QCOMPARE(ShownHash(first), m_truth[nJoiner][0]);
            QVERIFY2(nAt >= kClips[nJoiner].nBeginMs && nAt <= kClips[nJoiner].nBeginMs + 20,
                     qPrintable(QString("joined at %1 ms").arg(nAt)));
            // And plays on in step.
            for (int k = 0; k < 4; ++k) {
                QVERIFY(m_probes[nJoiner]->WaitForFrames(k * 5 + 6, 3000));
                CheckInStep(0);
            }
        }
    }

    // Jumps of the paused group to times inside, before and after the
    // members' files land every member on its frame.
    void jumpsLandEveryMember() {
        for (int i = 0; i < kMembers; ++i)
            QVERIFY(m_probes[i]->Play(true));
        QTRY_VERIFY_WITH_TIMEOUT(GroupMs(Port(0)) >= 0, 2000);
        PauseAll();
        const qint64 kTargets[] = {10,    3005,  7290,  7310,  7325,  15017, 19990, 20010, 20095, 33350,
                                   45670, 60990, 61010, 64970, 65050, 67250, 70015, 75010, 88885, 5};
        for (const qint64 nTarget : kTargets) {
            QVERIFY(Tavrix_SetPlayedTimeEx(Port(0), uint32_t(nTarget)));
            // The same time sent to the others moves nothing more.
            for (int i = 1; i < kMembers; ++i) {
                if (nTarget >= kClips[i].nBeginMs)
                    QVERIFY(Tavrix_SetPlayedTimeEx(Port(i), uint32_t(nTarget - kClips[i].nBeginMs)));
            }
            QCOMPARE(GroupMs(Port(0)), nTarget);
            CheckLanded(nTarget);
        }
    }

    // Steps both ways, speeds and reverse play move the whole group: the
    // members stay within one frame period of its time.
    void transportKeepsStep() {
        for (int i = 0; i < kMembers; ++i)
            QVERIFY(m_probes[i]->Play(true));
        PauseAll();
        QVERIFY(Tavrix_SetPlayedTimeEx(Port(0), 30000)); // inside a, b and c
        QString strWhy;
        qint64 nLast = GroupMs(Port(0));
        for (int k = 0; k < 20; ++k) {
            // Ten steps forward, then ten back, by whichever member: the
            // group moves to that member's next (previous) frame.
            const bool bForward = k < 10;
            QVERIFY(bForward ? Tavrix_OneByOne(Port(k % 3)) : Tavrix_OneByOneBack(Port(k % 3)));
            const qint64 nNow = GroupMs(Port(0));
            QVERIFY2(bForward ? nNow > nLast : nNow < nLast, qPrintable(QString("step %1: %2 -> %3").arg(k).arg(nLast).arg(nNow)));
            nLast = nNow;
            QTRY_VERIFY2_WITH_TIMEOUT(InStep(0, &strWhy), qPrintable(QString("step %1: %2").arg(k).arg(strWhy)), 5000);
        }

        // x4: two steps up on every member, as the stage does.
        for (int n = 0; n < 2; ++n)
            for (int i = 0; i < kMembers; ++i)
                QVERIFY(Tavrix_Fast(Port(i)));
        // Play turns the group forward again after the steps back.
        for (int i = 0; i < kMembers; ++i)
            QVERIFY(m_probes[i]->Play(true));
        QElapsedTimer wall;
        wall.start();
        const qint64 nStart = GroupMs(Port(0));
        for (int k = 0; k < 6; ++k) {
            QTest::qWait(250);
            CheckInStep(12); // 3 ms of wall time at x4
        }
        const qint64 nRate = (GroupMs(Port(0)) - nStart) / std::max<qint64>(1, wall.elapsed());
        QVERIFY2(nRate >= 3 && nRate <= 5, qPrintable(QString("x4 ran at %1").arg(nRate)));
        // /4
        for (int n = 0; n < 4; ++n)
            for (int i = 0; i < kMembers; ++i)
                QVERIFY(Tavrix_Slow(Port(i)));
        for (int k = 0; k < 3; ++k) {
            QTest::qWait(300);
            CheckInStep(0);
        }
        // Backwards.
        const qint64 nBeforeReverse = GroupMs(Port(0));
        QVERIFY(Tavrix_ReversePlay(Port(0)));
        for (int k = 0; k < 4; ++k) {
            QTest::qWait(300);
            CheckInStep(2);
        }
        QVERIFY(GroupMs(Port(0)) < nBeforeReverse);
    }
};

QTEST_GUILESS_MAIN(TestSyncGroup)
#include "TestSyncGroup.moc"
