// Live streams fed through Tavrix_InputData from a thread of their own, as the
// network library does.
#include "FrameChecks.h"

#include <QtTest>

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <random>
#include <thread>

namespace {
using Clock = std::chrono::steady_clock;
const char* const kClip = "stream_d1.ts"; // 704x576, 25 fps, 12 s, H.264 and AAC
const uint32_t kPool = 18432000;
const int kFrameTimeoutMs = 10000;

QByteArray MediaHeader(uint16_t nSystemFormat) {
    TAVRIX_MEDIA_HEADER header{};
    std::memcpy(header.szMagic, "QVDM", 4);
    header.nVersion = 0x0101;
    header.nSystemFormat = nSystemFormat;
    header.nVideoFormat = 0x0100;
    header.nHasMedia = 1;
    return QByteArray(reinterpret_cast<const char*>(&header), sizeof(header));
}
const QByteArray kTsHeader = MediaHeader(3);

QByteArray ReadClip(const QString& strName) {
    QFile file(PortProbe::MediaPath(strName));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// When each 188-byte packet of a transport stream may go in, in microseconds
// from the first: the last program clock reference at or before it.
std::vector<qint64> PacketTimesUs(const QByteArray& ts) {
    const auto* p = reinterpret_cast<const uint8_t*>(ts.constData());
    std::vector<qint64> times(size_t(ts.size() / 188), 0);
    qint64 nFirstUs = -1;
    for (size_t i = 0; i < times.size(); ++i) {
        const uint8_t* q = p + i * 188;
        times[i] = i > 0 ? times[i - 1] : 0;
        if (q[0] == 0x47 && (q[3] & 0x20) && q[4] >= 7 && (q[5] & 0x10)) {
            const qint64 nUs =
                ((qint64(q[6]) << 25) | (q[7] << 17) | (q[8] << 9) | (q[9] << 1) | (q[10] >> 7)) * 100 / 9;
            nFirstUs = nFirstUs < 0 ? nUs : nFirstUs;
            times[i] = nUs - nFirstUs;
        }
    }
    return times;
}

// Feeds bytes to a port from its own thread in blocks of 1316..8000 bytes: as fast
// as it can (again and again if asked) or each when its last byte is due on the stream's clock.
class Feeder {
public:
    Feeder(int32_t lPort, QByteArray data, bool bPaced, bool bLoop = false)
        : m_lPort(lPort), m_data(std::move(data)), m_bLoop(bLoop),
          m_timesUs(bPaced ? PacketTimesUs(m_data) : std::vector<qint64>()), m_thread([this] { Run(); }) {}
    ~Feeder() {
        m_bStop = true;
        Finish();
    }
    void Finish() { // until everything went in; a feeder that loops, until destroyed
        if (m_thread.joinable())
            m_thread.join();
    }
    Clock::time_point FirstBlock() const { return m_tFirst; }
    qint64 Refused() const { return m_nRefused.load(); }

private:
    void Run() {
        std::mt19937 random(7);
        std::uniform_int_distribution<int> size(1316, 8000);
        do {
            for (qsizetype nPos = 0; nPos < m_data.size() && !m_bStop;) {
                const int nLen = int(qMin<qsizetype>(size(random), m_data.size() - nPos));
                if (!m_timesUs.empty())
                    std::this_thread::sleep_until(
                        m_tFirst + std::chrono::microseconds(m_timesUs[size_t((nPos + nLen - 1) / 188)]));
                if (!Tavrix_InputData(m_lPort, m_data.constData() + nPos, uint32_t(nLen)))
                    m_nRefused += nLen;
                nPos += nLen;
            }
        } while (m_bLoop && !m_bStop);
    }

    const int32_t m_lPort;
    const QByteArray m_data;
    const bool m_bLoop;
    const std::vector<qint64> m_timesUs; // empty: not paced
    std::atomic<bool> m_bStop{false};
    std::atomic<qint64> m_nRefused{0};
    const Clock::time_point m_tFirst = Clock::now();
    std::thread m_thread; // last: starts when everything above is set
};

struct DecSeen {
    std::atomic<int> nVideo{0}, nAudio{0}, nWidth{0}, nFrameRate{0};
};

void DecCallBack(int32_t, char*, int32_t, TAVRIX_FRAME_INFO* pInfo, void* pUser) {
    auto* pSeen = static_cast<DecSeen*>(pUser);
    if (pInfo->nType == TAVRIX_FRAME_YV12) {
        pSeen->nWidth = pInfo->nWidth;
        pSeen->nFrameRate = pInfo->nFrameRate;
        ++pSeen->nVideo;
    } else if (pInfo->nType == TAVRIX_FRAME_AUDIO16) {
        ++pSeen->nAudio;
    }
}

std::atomic<int> g_nRunTimeReports{0};
void RunTimeCallBack(int32_t, TAVRIX_RUNTIME_INFO*, void*) {
    ++g_nRunTimeReports;
}

// The pictures shown are pictures of the clip, each after the one before it.
void CheckInClipOrder(const std::vector<PortProbe::Shown>& frames, const QStringList& expected) {
    int nAt = -1;
    for (const PortProbe::Shown& shown : frames) {
        const int nFound = expected.indexOf(QString::fromLatin1(shown.md5Hex), nAt + 1);
        QVERIFY2(nFound > nAt,
                 qPrintable(QString("picture %1 out of order or not of the clip").arg(shown.nFrameNum)));
        nAt = nFound;
    }
}

qint64 MsSince(Clock::time_point t) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t).count();
}
} // namespace

class TestStream : public QObject {
    Q_OBJECT

    std::unique_ptr<PortProbe> m_probe; // a fresh port for every case
    int32_t m_lPort = -1;

private slots:
    void initTestCase() { QVERIFY2(QFile::exists(PortProbe::MediaPath(kClip)), "test media missing"); }

    void init() {
        m_probe = std::make_unique<PortProbe>();
        QVERIFY(m_probe->TakePort());
        m_lPort = m_probe->Port();
    }

    void cleanup() { m_probe.reset(); }

    void pacedStreamShowsEveryPictureOnce() {
        const QStringList expected = PortProbe::ExpectedHashes(PortProbe::MediaPath(kClip));
        QVERIFY(expected.size() > 250);
        const int32_t lPort = m_lPort;
        DecSeen seen;
        QVERIFY(Tavrix_SetStreamOpenMode(lPort, TAVRIX_STREAM_REALTIME));
        QVERIFY(Tavrix_SetDecCallBackExMend(lPort, &DecCallBack, nullptr, 0, &seen));
        // As the play window does: Play names the window before the stream opens.
        QVERIFY(Tavrix_Play(lPort, 0));
        QVERIFY(!Tavrix_InputData(lPort, "x", 1));
        QCOMPARE(Tavrix_GetLastError(lPort), uint32_t(TAVRIX_ERR_ORDER));
        QVERIFY(Tavrix_PlaySoundShare(lPort));
        QVERIFY(Tavrix_OpenStream(lPort, kTsHeader.constData(), uint32_t(kTsHeader.size()), kPool));
        QVERIFY(Tavrix_SetDisplayBuf(lPort, 15));
        QVERIFY(Tavrix_SkipErrorData(lPort, false));
        QVERIFY(Tavrix_Play(lPort, 0));

        Feeder feeder(lPort, ReadClip(kClip), true);
        QVERIFY(m_probe->WaitForFrames(1, kFrameTimeoutMs));
        const qint64 nFirstMs = MsSince(feeder.FirstBlock());
        QVERIFY2(nFirstMs < 3000, qPrintable(QString("first picture after %1 ms").arg(nFirstMs)));
        QVERIFY(Tavrix_SetVolume(lPort, 30000));
        feeder.Finish(); // the whole clip went in, at its own pace

        // The stream has not ended: the last picture or two wait in the demuxer for what would follow.
        QVERIFY(m_probe->WaitForFrames(int(expected.size()) - 2, kFrameTimeoutMs));
        const std::vector<PortProbe::Shown> frames = m_probe->Frames();
        QVERIFY(frames.size() <= size_t(expected.size()));
        CheckRun(frames, expected, 0, 1, int(frames.size()));
        TAVRIX_STREAM_STATS stats{};
        QVERIFY(Tavrix_GetStreamStats(lPort, &stats));
        QCOMPARE(stats.nShownFrames, uint32_t(frames.size()));
        QCOMPARE(stats.nLateFrames, 0u);
        QCOMPARE(stats.nRefusedBytes, 0u);
        QCOMPARE(feeder.Refused(), 0);

        int32_t nWidth = 0, nHeight = 0;
        QVERIFY(Tavrix_GetPictureSize(lPort, &nWidth, &nHeight));
        QCOMPARE(nWidth, 704);
        QCOMPARE(nHeight, 576);
        QVERIFY(seen.nVideo >= int(frames.size()));
        QCOMPARE(seen.nWidth.load(), 704);
        QCOMPARE(seen.nFrameRate.load(), 25);
        QVERIFY(seen.nAudio > 0);
        // A stream has no length, position or frame index.
        for (uint32_t nNone :
             {Tavrix_GetFileTime(lPort), Tavrix_GetPlayedTime(lPort), Tavrix_GetPlayedTimeEx(lPort),
              Tavrix_GetFileTotalFrames(lPort), Tavrix_GetCurrentFrameNum(lPort)})
            QCOMPARE(nNone, 0u);
        TAVRIX_SYSTEM_TIME stTime{};
        QVERIFY(!Tavrix_GetSystemTime(lPort, &stTime));
        for (bool bOk : {Tavrix_Fast(lPort), Tavrix_Slow(lPort), Tavrix_ReversePlay(lPort),
                         Tavrix_OneByOne(lPort), Tavrix_OneByOneBack(lPort),
                         Tavrix_SetCurrentFrameNum(lPort, 3), Tavrix_SetPlayedTimeEx(lPort, 1000)}) {
            QVERIFY(!bOk);
            QCOMPARE(Tavrix_GetLastError(lPort), uint32_t(TAVRIX_ERR_NOT_SUPPORT));
        }
        QVERIFY(Tavrix_StopSoundShare(lPort));
        QVERIFY(Tavrix_CloseStream(lPort));
    }

    void inputNeverWaitsAndRefusesWhenFull() {
        const int32_t lPort = m_lPort;
        QVERIFY(!Tavrix_OpenStream(lPort, kTsHeader.constData(), 40, 1000)); // smaller than any stream needs
        QCOMPARE(Tavrix_GetLastError(lPort), uint32_t(TAVRIX_ERR_PARA_OVER));
        QVERIFY(!Tavrix_OpenStream(lPort, QByteArray(40, 'x').constData(), 40, kPool));
        QVERIFY(Tavrix_OpenStream(lPort, kTsHeader.constData(), 40, 65536));

        // Nothing reads (play has not started): the buffer fills and then refuses.
        const QByteArray block(8000, '\0');
        int nAccepted = 0;
        const Clock::time_point tStart = Clock::now();
        for (int i = 0; i < 100; ++i) {
            if (Tavrix_InputData(lPort, block.constData(), uint32_t(block.size())))
                ++nAccepted;
            else
                QCOMPARE(Tavrix_GetLastError(lPort), uint32_t(TAVRIX_ERR_BUF_OVER));
        }
        QVERIFY2(MsSince(tStart) < 2000, "a full buffer must refuse at once");
        QCOMPARE(nAccepted, 65536 / 8000);
        TAVRIX_STREAM_STATS stats{};
        QVERIFY(Tavrix_GetStreamStats(lPort, &stats));
        QCOMPARE(stats.nBufferedBytes, uint32_t(nAccepted * 8000));
        QCOMPARE(stats.nRefusedBytes, uint32_t((100 - nAccepted) * 8000));

        QVERIFY(Tavrix_CloseStream(lPort));
        QVERIFY(!Tavrix_InputData(lPort, block.constData(), 100));
        QCOMPARE(Tavrix_GetLastError(lPort), uint32_t(TAVRIX_ERR_ORDER));
        QVERIFY(!Tavrix_GetStreamStats(lPort, &stats));
    }

    // Streams fed as fast as they go, damaged, cut or opened in other ways: pictures
    // of the clip in order, nothing refused or reported, a quick close when data stops.
    void unpacedStreams_data() {
        QTest::addColumn<QString>("clip");    // of the truth
        QTest::addColumn<QByteArray>("head"); // for Tavrix_OpenStreamAdvanced; empty: Tavrix_OpenStream
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<int>("check"); // 0: no more; 1: pictures in the clip's order; 2: and its first first
        const QByteArray clip = ReadClip(kClip);
        std::mt19937 random(11);
        const auto garbage = [&random](int nSize) {
            QByteArray bytes(nSize, Qt::Uninitialized);
            for (char& c : bytes)
                c = char(random());
            return bytes;
        };
        QByteArray damaged;
        for (qsizetype nPos = 0; nPos < 2000000; nPos += 250000)
            damaged += clip.mid(nPos, 250000) + garbage(5000);
        const QString strProbed = "ch01_20240315102030.ts"; // with B-frames
        QTest::newRow("garbage first") << kClip << QByteArray() << garbage(300000) + clip.left(1500000) << 1;
        QTest::newRow("cut mid-packet") << kClip << QByteArray() << clip.left(1000000 + 77) << 1;
        QTest::newRow("garbage inside") << kClip << QByteArray() << damaged << 0;
        QTest::newRow("container bytes as header") << kClip << clip.left(4096) << clip.mid(4096) << 2;
        QTest::newRow("matroska") << "hevc.mkv" << MediaHeader(4) << ReadClip("hevc.mkv") << 2;
        QTest::newRow("probed") << strProbed << MediaHeader(0) << ReadClip(strProbed) << 2;
    }

    void unpacedStreams() {
        QFETCH(QString, clip);
        QFETCH(QByteArray, head);
        QFETCH(QByteArray, data);
        QFETCH(int, check);
        const QStringList expected = PortProbe::ExpectedHashes(PortProbe::MediaPath(clip));
        QVERIFY(!data.isEmpty() && !expected.isEmpty());
        const int32_t lPort = m_lPort;
        g_nRunTimeReports = 0;
        QVERIFY(Tavrix_SetRunTimeInfoCallBackEx(lPort, 1, &RunTimeCallBack, nullptr));
        QVERIFY(Tavrix_SetRunTimeInfoCallBackEx(lPort, 2, &RunTimeCallBack, nullptr));
        if (head.isEmpty()) {
            QVERIFY(Tavrix_OpenStream(lPort, kTsHeader.constData(), 40, kPool));
        } else {
            QVERIFY(Tavrix_SetStreamOpenMode(lPort, TAVRIX_STREAM_REALTIME));
            TAVRIX_STREAM_HEADER record{1, int32_t(head.size()), head.data()};
            QVERIFY(!Tavrix_OpenStreamAdvanced(lPort, 2, &record, kPool));
            QVERIFY(Tavrix_OpenStreamAdvanced(lPort, 1, &record, kPool));
        }
        QVERIFY(Tavrix_Play(lPort, 0));
        Feeder feeder(lPort, data, false);
        feeder.Finish();
        QCOMPARE(feeder.Refused(), 0);
        QVERIFY(m_probe->WaitForFrames(10, kFrameTimeoutMs));
        const std::vector<PortProbe::Shown> frames = m_probe->Frames();
        if (check == 2)
            QCOMPARE(QString::fromLatin1(frames.front().md5Hex), expected.front());
        if (check >= 1)
            CheckInClipOrder(frames, expected);
        const Clock::time_point tClose = Clock::now();
        QVERIFY(Tavrix_CloseStream(lPort));
        QVERIFY(MsSince(tClose) < 2000);
        QCOMPARE(g_nRunTimeReports.load(), 0);
    }

    // The clip pours in again and again through stops, plays, re-opens, a close and the freeing of the port.
    void closeWhileBytesPourIn() {
        const int32_t lPort = m_lPort;
        QVERIFY(Tavrix_SetStreamOpenMode(lPort, TAVRIX_STREAM_REALTIME));
        QVERIFY(Tavrix_OpenStream(lPort, kTsHeader.constData(), 40, 1 << 20));
        QVERIFY(Tavrix_Play(lPort, 0));
        Feeder feeder(lPort, ReadClip(kClip), false, true);
        QVERIFY(m_probe->WaitForFrames(1, kFrameTimeoutMs));
        const auto playsAgain = [&] {
            m_probe->ClearFrames();
            return Tavrix_Play(lPort, 0) && m_probe->WaitForFrames(1, kFrameTimeoutMs);
        };

        // Stop keeps the stream open; play reads on from what arrives next.
        QVERIFY(Tavrix_Stop(lPort));
        QVERIFY(playsAgain());
        QVERIFY(Tavrix_Pause(lPort, 1));
        QVERIFY(Tavrix_Pause(lPort, 0));

        // Opening again replaces the stream, whichever way it is opened.
        TAVRIX_STREAM_HEADER record{1, int32_t(kTsHeader.size()), const_cast<char*>(kTsHeader.constData())};
        QVERIFY(Tavrix_OpenStreamAdvanced(lPort, 1, &record, 1 << 20));
        QVERIFY(Tavrix_OpenStream(lPort, kTsHeader.constData(), 40, 1 << 20));
        QVERIFY(playsAgain());
        Clock::time_point tClose = Clock::now();
        QVERIFY(Tavrix_CloseStream(lPort));
        QVERIFY2(MsSince(tClose) < 2000, "close must not wait for the feeder");

        QVERIFY(Tavrix_OpenStream(lPort, kTsHeader.constData(), 40, 1 << 20));
        QVERIFY(playsAgain());
        tClose = Clock::now();
        m_probe->FreeWhilePlaying();
        QVERIFY2(MsSince(tClose) < 2000, "freeing the port must not wait for the feeder");
    }
};

QTEST_GUILESS_MAIN(TestStream)
#include "TestStream.moc"
