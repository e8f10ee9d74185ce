// Encrypted recordings (MP4 Common Encryption, AES-128 CTR): the right key
// plays every frame exactly; a wrong or missing key tells the application once,
// through run-time error 5, and the clip still plays out to its end.
#include "FrameChecks.h"

#include <QtTest>

#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

namespace {

// Every run-time report of a port as (module, error code).
class RunTimeLog {
public:
    bool Register(int32_t lPort) {
        return Tavrix_SetRunTimeInfoCallBackEx(lPort, 1, &RunTimeLog::Callback, this) &&
               Tavrix_SetRunTimeInfoCallBackEx(lPort, 2, &RunTimeLog::Callback, this);
    }
    bool WaitForCode(int32_t nCode, int nTimeoutMs) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cvChanged.wait_for(lock, std::chrono::milliseconds(nTimeoutMs), [this, nCode] {
            for (const auto& report : m_vecReports)
                if (report.second == nCode)
                    return true;
            return false;
        });
    }
    std::vector<std::pair<int32_t, int32_t>> Reports() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_vecReports;
    }
    void Clear() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_vecReports.clear();
    }

private:
    static void Callback(int32_t, TAVRIX_RUNTIME_INFO* pInfo, void* pUser) {
        if (!pInfo || !pUser)
            return;
        auto* pLog = static_cast<RunTimeLog*>(pUser);
        std::lock_guard<std::mutex> lock(pLog->m_mutex);
        pLog->m_vecReports.emplace_back(pInfo->nModule, pInfo->nErrorCode);
        pLog->m_cvChanged.notify_all();
    }

    mutable std::mutex m_mutex;
    std::condition_variable m_cvChanged;                   // guarded by m_mutex
    std::vector<std::pair<int32_t, int32_t>> m_vecReports; // guarded by m_mutex
};

// What the player hands the engine: the typed key zero-padded to 16 bytes.
QByteArray PaddedKey(const QByteArray& keyText) {
    return keyText + QByteArray(16 - keyText.size(), '\0');
}

bool SetKey(int32_t lPort, const QByteArray& keyText) {
    return Tavrix_SetSecretKey(lPort, 1, PaddedKey(keyText).constData(), 128);
}

constexpr int kTimeoutMs = 60000;

} // namespace

class TestEncryption : public QObject {
    Q_OBJECT

private slots:
    void rightKeyPlaysFrameExact();
    void wrongOrNoKeyReportsOnce_data();
    void wrongOrNoKeyReportsOnce();
    void keyTakesEffectAtNextOpen();
};

// Every frame of the clip, in order, with the ffmpeg tool's picture.
static void VerifyFrameExact(const PortProbe& probe, const QString& strClip) {
    const QStringList expected = PortProbe::ExpectedHashes(PortProbe::MediaPath(strClip));
    QVERIFY2(!expected.isEmpty(), "the clip's framemd5 is missing");
    CheckRun(probe.Frames(), expected, 0, 1, int(expected.size()));
}

void TestEncryption::rightKeyPlaysFrameExact() {
    // A key of full length, not padded (the padded one: keyTakesEffectAtNextOpen).
    const QByteArray keyText("abcdefghijklmnop");
    const QString strClip = QStringLiteral("enc_%1.mp4").arg(QString::fromLatin1(keyText));
    PortProbe probe;
    RunTimeLog log;
    QVERIFY(probe.TakePort());
    QVERIFY(log.Register(probe.Port()));
    QVERIFY(SetKey(probe.Port(), keyText));
    QVERIFY(probe.Open(PortProbe::MediaPath(strClip)));
    QVERIFY(probe.Play(false));
    QVERIFY(probe.WaitForEnd(kTimeoutMs));
    VerifyFrameExact(probe, strClip);
    QVERIFY(log.Reports().empty());
}

void TestEncryption::wrongOrNoKeyReportsOnce_data() {
    QTest::addColumn<QByteArray>("keyText"); // null: no key set
    QTest::newRow("no key") << QByteArray();
    QTest::newRow("wrong key") << QByteArray("velquin124");
}

void TestEncryption::wrongOrNoKeyReportsOnce() {
    QFETCH(QByteArray, keyText);
    const QString strClip = QStringLiteral("enc_velquin123.mp4");
    PortProbe probe;
    RunTimeLog log;
    QVERIFY(probe.TakePort());
    QVERIFY(log.Register(probe.Port()));
    if (!keyText.isNull())
        QVERIFY(SetKey(probe.Port(), keyText));
    // The file opens; the key is only found wrong when its pictures are read.
    QVERIFY(probe.Open(PortProbe::MediaPath(strClip)));
    QVERIFY(probe.Play(false));
    QVERIFY2(log.WaitForCode(TAVRIX_RT_DECRYPT, kTimeoutMs), "run-time error 5 never came");
    QVERIFY2(probe.WaitForEnd(kTimeoutMs), "an undecryptable clip must still reach its end");
    // Once, from the demuxer/decryption module, and nothing else: the play
    // window shows one message, not one per frame or a decoder error instead.
    const auto reports = log.Reports();
    QCOMPARE(int(reports.size()), 1);
    QCOMPARE(reports.front().first, 2);
    QCOMPARE(reports.front().second, int32_t(TAVRIX_RT_DECRYPT));
    // Whatever is shown without the key is not the recording's picture.
    const QStringList expected = PortProbe::ExpectedHashes(PortProbe::MediaPath(strClip));
    for (const PortProbe::Shown& shown : probe.Frames()) {
        if (int(shown.nFrameNum) < expected.size())
            QVERIFY(QString::fromLatin1(shown.md5Hex) != expected[int(shown.nFrameNum)]);
    }
}

void TestEncryption::keyTakesEffectAtNextOpen() {
    // A user opens without a key, is told, types the key and opens again on
    // the same port: the key set after the first open counts from the next.
    const QString strClip = QStringLiteral("enc_velquin123.mp4");
    PortProbe probe;
    RunTimeLog log;
    QVERIFY(probe.TakePort());
    QVERIFY(log.Register(probe.Port()));
    QVERIFY(probe.Open(PortProbe::MediaPath(strClip)));
    QVERIFY(SetKey(probe.Port(), "velquin123"));
    QVERIFY(probe.Play(false));
    QVERIFY(log.WaitForCode(TAVRIX_RT_DECRYPT, kTimeoutMs));
    QVERIFY(probe.WaitForEnd(kTimeoutMs));

    probe.ClearFrames();
    log.Clear();
    QVERIFY(probe.Open(PortProbe::MediaPath(strClip)));
    QVERIFY(probe.Play(false));
    QVERIFY(probe.WaitForEnd(kTimeoutMs));
    VerifyFrameExact(probe, strClip);
    QVERIFY(log.Reports().empty());
}

QTEST_GUILESS_MAIN(TestEncryption)
#include "TestEncryption.moc"
