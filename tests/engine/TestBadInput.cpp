// Files a user may drop on the player that are not playable: the open fails
// with a reason, or what the file holds plays to a clean end. Damage does not
// stop play: damaged pictures are shown concealed and counted. Never a hang.
#include "PortProbe.h"

#include <QtTest>

#include <atomic>

class TestBadInput : public QObject {
    Q_OBJECT

private slots:
    void notMediaFailsToOpen_data();
    void notMediaFailsToOpen();
    void truncatedPlaysToEndOrFails_data();
    void truncatedPlaysToEndOrFails();
    void damagedPlaysThroughWithoutError_data();
    void damagedPlaysThroughWithoutError();
    void callsOutOfOrderFail();
};

void TestBadInput::notMediaFailsToOpen_data() {
    QTest::addColumn<QString>("clip");
    for (const char* name : {"no_such_file.mp4", "empty.mp4", "text.mp4", "random.mp4"})
        QTest::newRow(name) << QString(name);
}

void TestBadInput::notMediaFailsToOpen() {
    QFETCH(QString, clip);
    PortProbe probe;
    QVERIFY(probe.TakePort());
    QVERIFY(!Tavrix_OpenFile(probe.Port(), QFile::encodeName(PortProbe::MediaPath(clip)).constData()));
    QVERIFY(Tavrix_GetLastError(probe.Port()) != TAVRIX_NOERROR);
    // The port stays usable for the next file, as a play window reuses it.
    QVERIFY(probe.Open(PortProbe::MediaPath("silent_h264.mp4")));
    QVERIFY(probe.Play(false));
    QVERIFY(probe.WaitForEnd(60000));
}

void TestBadInput::truncatedPlaysToEndOrFails_data() {
    QTest::addColumn<QString>("clip");
    QTest::addColumn<QString>("whole");
    QTest::newRow("ts") << QString("truncated.ts") << QString("ch01_20240315102030.ts");
    QTest::newRow("mp4") << QString("truncated.mp4") << QString("h264_aac.mp4");
}

void TestBadInput::truncatedPlaysToEndOrFails() {
    QFETCH(QString, clip);
    QFETCH(QString, whole);
    PortProbe probe;
    if (!probe.Open(PortProbe::MediaPath(clip))) {
        QVERIFY(Tavrix_GetLastError(probe.Port()) != TAVRIX_NOERROR);
        return;
    }
    QVERIFY(probe.Play(false));
    QVERIFY2(probe.WaitForEnd(60000), "a cut file must still reach its end");
    const std::vector<PortProbe::Shown> frames = probe.Frames();
    const QStringList expected = PortProbe::ExpectedHashes(PortProbe::MediaPath(whole));
    QVERIFY(int(frames.size()) < expected.size());
    QVERIFY2(frames.size() >= 10, "the whole frames before the cut must play");
    // Frames come in order; those well before the cut (a third of the file) are whole.
    for (int k = 0; k < int(frames.size()); ++k) {
        QCOMPARE(frames[k].nFrameNum, uint32_t(k));
        if (k < 10)
            QCOMPARE(QString::fromLatin1(frames[k].md5Hex), expected[k]);
    }
    QCOMPARE(probe.EndCount(), 1);
}

void TestBadInput::damagedPlaysThroughWithoutError_data() {
    QTest::addColumn<QString>("clip");
    for (const char* name : {"dmg_flip_ch01_20240315102030.ts", "dmg_zero_h264_aac.mp4", "dmg_gap_mjpeg.avi",
                             "dmg_flip_xvid_ac3_cut.avi"})
        QTest::newRow(name) << QString(name);
}

void TestBadInput::damagedPlaysThroughWithoutError() {
    // Lightly damaged copies: every picture the ffmpeg tool decodes plays, to
    // the end, and no run-time error stops the window.
    QFETCH(QString, clip);
    static std::atomic<int> s_nErrors{0};
    s_nErrors = 0;
    PortProbe probe;
    QVERIFY(probe.TakePort());
    // Frame threads report a concealed picture only when the timing lets the
    // error reach the frame handed out; one thread reports it every time.
    QVERIFY(Tavrix_SetDecodeThreads(probe.Port(), 1));
    const auto onError = [](int32_t, TAVRIX_RUNTIME_INFO*, void*) { ++s_nErrors; };
    QVERIFY(Tavrix_SetRunTimeInfoCallBackEx(probe.Port(), 1, onError, nullptr));
    QVERIFY(Tavrix_SetRunTimeInfoCallBackEx(probe.Port(), 2, onError, nullptr));
    const QString strPath = PortProbe::MediaPath(clip);
    QVERIFY(probe.Open(strPath));
    QVERIFY(probe.Play(false));
    QVERIFY2(probe.WaitForEnd(60000), "a damaged file must still reach its end");
    QCOMPARE(probe.FrameCount(), PortProbe::ExpectedHashes(strPath).size());
    QCOMPARE(probe.EndCount(), 1);
    QCOMPARE(s_nErrors.load(), 0);
    if (!clip.endsWith(".avi")) // Motion JPEG and MPEG-4 fill in quietly; H.264 says so
        QVERIFY(Tavrix_GetDamagedFrames(probe.Port()) > 0);
}

void TestBadInput::callsOutOfOrderFail() {
    int32_t lPort = -1;
    QVERIFY(!Tavrix_Play(TAVRIX_MAX_PORTS + 3, 0));
    QVERIFY(Tavrix_GetPort(&lPort));
    QVERIFY(!Tavrix_Play(lPort, 0));
    QVERIFY(Tavrix_GetLastError(lPort) != TAVRIX_NOERROR);
    QVERIFY(!Tavrix_OpenFile(lPort, nullptr));
    QVERIFY(Tavrix_FreePort(lPort));
    QVERIFY(!Tavrix_FreePort(lPort));
}

QTEST_GUILESS_MAIN(TestBadInput)
#include "TestBadInput.moc"
