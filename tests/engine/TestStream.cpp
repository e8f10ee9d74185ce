// Live stream play: a camera stream fed through Tavrix_InputData from a
// thread of its own, as the network library does. Every picture of a paced
// stream shows once and in order; the feeder is never held up; damaged and
// cut streams neither crash nor hang; closing a port while bytes pour in and
// pictures show returns at once.
#include "PortProbe.h"

#include <QtTest>

#include <atomic>
#include <chrono>
#include <cstring>
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

QByteArray ReadClip(const QString& strName) {
    QFile file(PortProbe::MediaPath(strName));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// When each 188-byte packet of a transport stream is due, in microseconds
// from the first: its program clock, interpolated between the references.
std::vector<qint64> PacketTimesUs(const QByteArray& ts) {
    const auto* p = reinterpret_cast<const uint8_t*>(ts.constData());
    const int nPackets = int(ts.size() / 188);
    std::vector<std::pair<int, qint64>> pcrs;
    for (int i = 0; i < nPackets; ++i) {
        const uint8_t* q = p + i * 188;
        if (q[0] == 0x47 && (q[3] & 0x20) && q[4] >= 7 && (q[5] & 0x10)) {
            const qint64 nBase =
                (qint64(q[6]) << 25) | (q[7] << 17) | (q[8] << 9) | (q[9] << 1) | (q[10] >> 7);
            pcrs.emplace_back(i, nBase * 100 / 9);
        }
    }
    std::vector<qint64> times(size_t(nPackets), 0);
    if (pcrs.empty())
        return times;
    size_t k = 0;
    for (int i = 0; i < nPackets; ++i) {
        while (k + 1 < pcrs.size() && pcrs[k + 1].first <= i)
            ++k;
        qint64 nUs = pcrs[k].second;
        if (k + 1 < pcrs.size() && i > pcrs[k].first)
            nUs += (pcrs[k + 1].second - pcrs[k].second) * (i - pcrs[k].first) /
                   (pcrs[k + 1].first - pcrs[k].first);
        times[size_t(i)] = nUs - pcrs.front().second;
    }
    return times;
}

// Feeds bytes to a port from its own thread in blocks of 1316..8000 bytes,
// either as fast as it can (again and again if asked) or each block when its
// last byte is due on the stream's clock.
class Feeder {
public:
    Feeder(int32_t lPort, QByteArray data, bool bPaced, bool bLoop = false)
        : m_lPort(lPort), m_data(std::move(data)), m_bLoop(bLoop) {
        if (bPaced)
            m_timesUs = PacketTimesUs(m_data);
    }
    ~Feeder() { Stop(); }
    void Start() {
        m_tFirst = Clock::now();
        m_thread = std::thread([this] { Run(); });
    }
    // Waits until everything went in (not for a feeder that loops).
    void Finish() {
        if (m_thread.joinable())
            m_thread.join();
    }
    void Stop() {
        m_bStop = true;
        Finish();
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
    std::vector<qint64> m_timesUs; // empty: not paced
    std::atomic<bool> m_bStop{false};
    std::atomic<qint64> m_nRefused{0};
    Clock::time_point m_tFirst;
    std::thread m_thread;
};

struct DecSeen {
    std::atomic<int> nVideo{0};
    std::atomic<int> nAudio{0};
    std::atomic<int> nWidth{0};
    std::atomic<int> nHeight{0};
    std::atomic<int> nFrameRate{0};
};

void DecCallBack(int32_t, char*, int32_t, TAVRIX_FRAME_INFO* pInfo, void* pUser) {
    auto* pSeen = static_cast<DecSeen*>(pUser);
    if (pInfo->nType == TAVRIX_FRAME_YV12) {
        pSeen->nWidth = pInfo->nWidth;
        pSeen->nHeight = pInfo->nHeight;
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

private slots:
    void initTestCase();
    void pacedStreamShowsEveryPictureOnce();
    void inputNeverWaitsAndRefusesWhenFull();
    void damagedStreamsNeitherCrashNorHang_data();
    void damagedStreamsNeitherCrashNorHang();
    void openFormats_data();
    void openFormats();
    void closeWhileBytesPourIn();
};

void TestStream::initTestCase() {
    QVERIFY2(QFile::exists(PortProbe::MediaPath(kClip)), "test media missing");
}

void TestStream::pacedStreamShowsEveryPictureOnce() {
    const QStringList expected = PortProbe::ExpectedHashes(PortProbe::MediaPath(kClip));
    QVERIFY(expected.size() > 250);
    PortProbe probe;
    DecSeen seen;
    QVERIFY(probe.TakePort());
    const int32_t lPort = probe.Port();
    QVERIFY(Tavrix_SetStreamOpenMode(lPort, TAVRIX_STREAM_REALTIME));
    QVERIFY(Tavrix_SetDecCallBackExMend(lPort, &DecCallBack, nullptr, 0, &seen));
    // As the play window does: Play names the window before the stream opens.
    QVERIFY(Tavrix_Play(lPort, 0));
    QVERIFY(!Tavrix_InputData(lPort, "x", 1));
    QCOMPARE(Tavrix_GetLastError(lPort), uint32_t(TAVRIX_ERR_ORDER));
    QVERIFY(Tavrix_PlaySoundShare(lPort));
    const QByteArray header = MediaHeader(3);
    QVERIFY(Tavrix_OpenStream(lPort, header.constData(), uint32_t(header.size()), kPool));
    QVERIFY(Tavrix_SetDisplayBuf(lPort, 15));
    QVERIFY(Tavrix_SkipErrorData(lPort, false));
    QVERIFY(Tavrix_Play(lPort, 0));

    Feeder feeder(lPort, ReadClip(kClip), true);
    feeder.Start();
    QVERIFY(probe.WaitForFrames(1, kFrameTimeoutMs));
    const qint64 nFirstMs = MsSince(feeder.FirstBlock());
    QVERIFY2(nFirstMs < 3000, qPrintable(QString("first picture after %1 ms").arg(nFirstMs)));
    QVERIFY(Tavrix_SetVolume(lPort, 30000));
    feeder.Finish(); // the whole clip went in, at its own pace

    // The stream has not ended: the last picture or two wait in the demuxer
    // for the data that would follow them.
    QVERIFY(probe.WaitForFrames(int(expected.size()) - 2, kFrameTimeoutMs));
    const std::vector<PortProbe::Shown> frames = probe.Frames();
    QVERIFY(frames.size() <= size_t(expected.size()));
    for (size_t k = 0; k < frames.size(); ++k) {
        QCOMPARE(frames[k].nFrameNum, uint32_t(k));
        QCOMPARE(QString::fromLatin1(frames[k].md5Hex), expected[int(k)]);
    }
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
    QCOMPARE(Tavrix_GetFileTime(lPort), 0u);
    QCOMPARE(Tavrix_GetPlayedTime(lPort), 0u);
    QCOMPARE(Tavrix_GetPlayedTimeEx(lPort), 0u);
    QCOMPARE(Tavrix_GetFileTotalFrames(lPort), 0u);
    QCOMPARE(Tavrix_GetCurrentFrameNum(lPort), 0u);
    TAVRIX_SYSTEM_TIME stTime{};
    QVERIFY(!Tavrix_GetSystemTime(lPort, &stTime));
    for (bool bOk : {Tavrix_Fast(lPort), Tavrix_Slow(lPort), Tavrix_ReversePlay(lPort),
                     Tavrix_OneByOne(lPort), Tavrix_OneByOneBack(lPort), Tavrix_SetCurrentFrameNum(lPort, 3),
                     Tavrix_SetPlayedTimeEx(lPort, 1000)}) {
        QVERIFY(!bOk);
        QCOMPARE(Tavrix_GetLastError(lPort), uint32_t(TAVRIX_ERR_NOT_SUPPORT));
    }
    QVERIFY(Tavrix_StopSoundShare(lPort));
    QVERIFY(Tavrix_CloseStream(lPort));
}

void TestStream::inputNeverWaitsAndRefusesWhenFull() {
    PortProbe probe;
    QVERIFY(probe.TakePort());
    const int32_t lPort = probe.Port();
    const QByteArray header = MediaHeader(3);
    QVERIFY(!Tavrix_OpenStream(lPort, header.constData(), 40, 1000)); // smaller than any stream needs
    QCOMPARE(Tavrix_GetLastError(lPort), uint32_t(TAVRIX_ERR_PARA_OVER));
    const QByteArray notHeader(40, 'x');
    QVERIFY(!Tavrix_OpenStream(lPort, notHeader.constData(), 40, kPool));
    QVERIFY(Tavrix_OpenStream(lPort, header.constData(), 40, 65536));

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

void TestStream::damagedStreamsNeitherCrashNorHang_data() {
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<bool>("exact"); // the pictures shown are the clip's, whole
    const QByteArray clip = ReadClip(kClip);
    std::mt19937 random(11);
    const auto garbage = [&random](int nSize) {
        QByteArray bytes(nSize, Qt::Uninitialized);
        for (char& c : bytes)
            c = char(random());
        return bytes;
    };
    QTest::newRow("garbage first") << garbage(300000) + clip.left(1500000) << true;
    QTest::newRow("cut mid-packet") << clip.left(1000000 + 77) << true;
    QByteArray damaged;
    for (qsizetype nPos = 0; nPos < 2000000; nPos += 250000)
        damaged += clip.mid(nPos, 250000) + garbage(5000);
    QTest::newRow("garbage inside") << damaged << false;
}

void TestStream::damagedStreamsNeitherCrashNorHang() {
    QFETCH(QByteArray, data);
    QFETCH(bool, exact);
    PortProbe probe;
    QVERIFY(probe.TakePort());
    const int32_t lPort = probe.Port();
    g_nRunTimeReports = 0;
    QVERIFY(Tavrix_SetRunTimeInfoCallBackEx(lPort, 1, &RunTimeCallBack, nullptr));
    QVERIFY(Tavrix_SetRunTimeInfoCallBackEx(lPort, 2, &RunTimeCallBack, nullptr));
    const QByteArray header = MediaHeader(3);
    QVERIFY(Tavrix_OpenStream(lPort, header.constData(), 40, kPool));
    QVERIFY(Tavrix_Play(lPort, 0));
    Feeder feeder(lPort, data, false);
    feeder.Start();
    feeder.Finish();
    QCOMPARE(feeder.Refused(), 0);
    QVERIFY(probe.WaitForFrames(5, kFrameTimeoutMs));
    if (exact)
        CheckInClipOrder(probe.Frames(), PortProbe::ExpectedHashes(PortProbe::MediaPath(kClip)));
    // The data simply stops coming: the port waits for more, and closes at once.
    const Clock::time_point tClose = Clock::now();
    QVERIFY(Tavrix_CloseStream(lPort));
    QVERIFY(MsSince(tClose) < 2000);
    QCOMPARE(g_nRunTimeReports.load(), 0);
}

void TestStream::openFormats_data() {
    QTest::addColumn<QString>("clip");
    QTest::addColumn<int>("format"); // system format of the media header; -1: container bytes as the header
    QTest::newRow("container bytes as header") << QString(kClip) << -1;
    QTest::newRow("matroska") << QString("hevc.mkv") << 4;
    QTest::newRow("probed, with B-frames") << QString("ch01_20240315102030.ts") << 0;
}

void TestStream::openFormats() {
    QFETCH(QString, clip);
    QFETCH(int, format);
    const QStringList expected = PortProbe::ExpectedHashes(PortProbe::MediaPath(clip));
    QByteArray data = ReadClip(clip);
    QVERIFY(!data.isEmpty() && !expected.isEmpty());
    PortProbe probe;
    QVERIFY(probe.TakePort());
    const int32_t lPort = probe.Port();
    QVERIFY(Tavrix_SetStreamOpenMode(lPort, TAVRIX_STREAM_REALTIME));
    QByteArray head = format < 0 ? data.left(4096) : MediaHeader(uint16_t(format));
    if (format < 0)
        data.remove(0, head.size());
    TAVRIX_STREAM_HEADER record{1, int32_t(head.size()), head.data()};
    QVERIFY(!Tavrix_OpenStreamAdvanced(lPort, 2, &record, kPool));
    QVERIFY(Tavrix_OpenStreamAdvanced(lPort, 1, &record, kPool));
    QVERIFY(Tavrix_Play(lPort, 0));
    Feeder feeder(lPort, data, false);
    feeder.Start();
    QVERIFY(probe.WaitForFrames(10, kFrameTimeoutMs));
    feeder.Finish();
    const std::vector<PortProbe::Shown> frames = probe.Frames();
    QCOMPARE(QString::fromLatin1(frames.front().md5Hex), expected.front());
    CheckInClipOrder(frames, expected);
}

void TestStream::closeWhileBytesPourIn() {
    // A feeder pours the clip in again and again as fast as it can, through
    // stops, plays, re-opens, a close and the freeing of the port.
    PortProbe probe;
    QVERIFY(probe.TakePort());
    const int32_t lPort = probe.Port();
    QVERIFY(Tavrix_SetStreamOpenMode(lPort, TAVRIX_STREAM_REALTIME));
    const QByteArray header = MediaHeader(3);
    QVERIFY(Tavrix_OpenStream(lPort, header.constData(), 40, 1 << 20));
    QVERIFY(Tavrix_Play(lPort, 0));
    Feeder feeder(lPort, ReadClip(kClip), false, true);
    feeder.Start();
    QVERIFY(probe.WaitForFrames(1, kFrameTimeoutMs));

    // Stop keeps the stream open; play reads on from what arrives next.
    QVERIFY(Tavrix_Stop(lPort));
    probe.ClearFrames();
    QVERIFY(Tavrix_Play(lPort, 0));
    QVERIFY(probe.WaitForFrames(1, kFrameTimeoutMs));
    QVERIFY(Tavrix_Pause(lPort, 1));
    QVERIFY(Tavrix_Pause(lPort, 0));

    // Opening again replaces the stream, whichever way it is opened.
    TAVRIX_STREAM_HEADER record{1, int32_t(header.size()), const_cast<char*>(header.constData())};
    QVERIFY(Tavrix_OpenStreamAdvanced(lPort, 1, &record, 1 << 20));
    QVERIFY(Tavrix_OpenStream(lPort, header.constData(), 40, 1 << 20));
    probe.ClearFrames();
    QVERIFY(Tavrix_Play(lPort, 0));
    QVERIFY(probe.WaitForFrames(1, kFrameTimeoutMs));
    Clock::time_point tClose = Clock::now();
    QVERIFY(Tavrix_CloseStream(lPort));
    QVERIFY2(MsSince(tClose) < 2000, "close must not wait for the feeder");

    QVERIFY(Tavrix_OpenStream(lPort, header.constData(), 40, 1 << 20));
    probe.ClearFrames();
    QVERIFY(Tavrix_Play(lPort, 0));
    QVERIFY(probe.WaitForFrames(1, kFrameTimeoutMs));
    tClose = Clock::now();
    probe.FreeWhilePlaying();
    QVERIFY2(MsSince(tClose) < 2000, "freeing the port must not wait for the feeder");
    feeder.Stop();
}

QTEST_GUILESS_MAIN(TestStream)
#include "TestStream.moc"
