// Sound reaches the output at the volume asked for: SDL's disk driver writes
// what the engine plays into a file of raw samples (interleaved signed 16-bit
// stereo, the format the engine opens), which the test measures.
#include "PortProbe.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

namespace {
// 1 kHz sine at half scale: RMS of 0.5 / sqrt(2) of full scale.
const double kFullRms = 0.5 / std::sqrt(2.0) * 32767.0;
const int kSilence = 500; // above any dither, far below the quietest tone peak

struct ToneFacts {
    double rms = 0.0;      // over the middle half of the tone
    double seconds = 0.0;  // tone length, counted in 1 kHz periods
    double totalRms = 0.0; // over the whole capture
};

ToneFacts Measure(const QByteArray& raw) {
    ToneFacts facts;
    const auto* pSamples = reinterpret_cast<const qint16*>(raw.constData());
    const qsizetype nFrames = raw.size() / 4;
    qsizetype nFirst = -1, nLast = -1;
    double totalSum = 0.0;
    for (qsizetype i = 0; i < nFrames * 2; ++i) {
        totalSum += double(pSamples[i]) * pSamples[i];
        if (std::abs(pSamples[i]) > kSilence) {
            nLast = i / 2;
            if (nFirst < 0)
                nFirst = i / 2;
        }
    }
    facts.totalRms = nFrames ? std::sqrt(totalSum / double(nFrames * 2)) : 0.0;
    if (nFirst < 0 || nLast <= nFirst)
        return facts;
    // Zero crossings of the left channel: two per period of the 1 kHz tone.
    int nCrossings = 0;
    for (qsizetype f = nFirst + 1; f <= nLast; ++f)
        nCrossings += (pSamples[2 * f] >= 0) != (pSamples[2 * (f - 1)] >= 0);
    facts.seconds = nCrossings / 2000.0;
    const qsizetype nQuarter = (nLast - nFirst) / 4;
    double sum = 0.0;
    for (qsizetype i = 2 * (nFirst + nQuarter); i < 2 * (nLast - nQuarter); ++i)
        sum += double(pSamples[i]) * pSamples[i];
    facts.rms = std::sqrt(sum / double(2 * (nLast - nFirst - 2 * nQuarter)));
    return facts;
}
} // namespace

class TestSoundOutput : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    // Plays a sine clip in real time; nVolume < 0 leaves sound off, nGain is
    // the gain on top (percent). Empty text or what failed.
    QString Capture(const QString& strName, int nVolume, QByteArray& raw, int nGain = 0,
                    const QString& strClip = "sine1k.mkv");

private slots:
    void initTestCase();
    void volumeScalesTheTone();
    void gainGoesAboveFullVolumeAndClipsCleanly();
};

void TestSoundOutput::initTestCase() {
    QVERIFY(m_dir.isValid());
    // SDL reads the driver name when sound starts; the test environment's dummy driver is replaced here.
    qputenv("SDL_AUDIODRIVER", "disk");
}

QString TestSoundOutput::Capture(const QString& strName, int nVolume, QByteArray& raw, int nGain,
                                 const QString& strClip) {
    const QString strRaw = m_dir.filePath(strName + ".raw");
    qputenv("SDL_DISKAUDIOFILE", QFile::encodeName(strRaw));
    PortProbe probe;
    probe.SetHashFrames(false);
    if (!probe.Open(PortProbe::MediaPath(strClip)) || !probe.Play(true))
        return QString("open or play failed, error %1").arg(Tavrix_GetLastError(probe.Port()));
    if (nVolume >= 0) {
        // As a play window does: sound is switched on after play starts, then the volume set.
        if (!Tavrix_PlaySoundShare(probe.Port()) || !Tavrix_SetVolume(probe.Port(), uint16_t(nVolume)) ||
            !Tavrix_AdjustWaveAudio(probe.Port(), nGain))
            return QString("sound failed, error %1").arg(Tavrix_GetLastError(probe.Port()));
    }
    if (!probe.WaitForEnd(60000))
        return "no file end";
    probe.Release(); // closing the port closes the sound device, which flushes the file
    QFile file(strRaw);
    raw.clear();
    if (!file.exists())
        return QString(); // sound never started: nothing captured
    if (!file.open(QIODevice::ReadOnly))
        return "capture unreadable";
    raw = file.readAll();
    return raw.size() % 4 == 0 ? QString() : "capture is not whole stereo 16-bit frames";
}

void TestSoundOutput::volumeScalesTheTone() {
    QByteArray full, half, off;
    QString strFailure = Capture("full", 65535, full);
    QVERIFY2(strFailure.isEmpty(), qPrintable(strFailure));
    const ToneFacts stFull = Measure(full);
    QVERIFY2(stFull.seconds > 3.5,
             qPrintable(QString("tone of %1 s, %2 bytes").arg(stFull.seconds).arg(full.size())));
    QVERIFY2(qAbs(stFull.rms - kFullRms) < 0.1 * kFullRms, qPrintable(QString("rms %1").arg(stFull.rms)));

    strFailure = Capture("half", 32767, half);
    QVERIFY2(strFailure.isEmpty(), qPrintable(strFailure));
    const ToneFacts stHalf = Measure(half);
    QVERIFY2(stHalf.seconds > 3.5, qPrintable(QString("tone of %1 s").arg(stHalf.seconds)));
    QVERIFY2(qAbs(stHalf.rms - kFullRms / 2) < 0.1 * kFullRms / 2,
             qPrintable(QString("rms %1").arg(stHalf.rms)));

    qInfo("tone rms %.0f over %.2f s at full volume, %.0f over %.2f s at half", stFull.rms, stFull.seconds,
          stHalf.rms, stHalf.seconds);

    strFailure = Capture("off", -1, off);
    QVERIFY2(strFailure.isEmpty(), qPrintable(strFailure));
    QVERIFY2(Measure(off).totalRms < 50.0,
             qPrintable(QString("rms %1 with sound off").arg(Measure(off).totalRms)));
}

void TestSoundOutput::gainGoesAboveFullVolumeAndClipsCleanly() {
    // 150 % and 200 % of the half-scale tone stay below full scale: plain gain.
    for (int nGain : {50, 100}) {
        QByteArray raw;
        const QString strFailure = Capture(QString("gain%1").arg(nGain), 65535, raw, nGain);
        QVERIFY2(strFailure.isEmpty(), qPrintable(strFailure));
        const ToneFacts facts = Measure(raw);
        const double dWanted = kFullRms * (100 + nGain) / 100.0;
        QVERIFY2(
            facts.seconds > 3.5 && qAbs(facts.rms - dWanted) < 0.05 * dWanted,
            qPrintable(QString("gain %1: rms %2 over %3 s").arg(nGain).arg(facts.rms).arg(facts.seconds)));
    }
    // 0.8 of full scale doubled: the peaks are cut flat at the limits, never
    // wrapped round (a wrapped sample flips sign, adding zero crossings).
    QByteArray raw;
    const QString strFailure = Capture("clipped", 65535, raw, 100, "sine1k_loud.mkv");
    QVERIFY2(strFailure.isEmpty(), qPrintable(strFailure));
    const ToneFacts facts = Measure(raw);
    QVERIFY2(facts.seconds > 1.7 && facts.seconds < 2.1,
             qPrintable(QString("tone of %1 s").arg(facts.seconds)));
    const auto* pSamples = reinterpret_cast<const qint16*>(raw.constData());
    int nAtTop = 0, nAtBottom = 0;
    for (qsizetype i = 0; i < raw.size() / 2; ++i) {
        nAtTop += pSamples[i] == 32767;
        nAtBottom += pSamples[i] == -32768;
    }
    QVERIFY2(nAtTop > 1000 && nAtBottom > 1000,
             qPrintable(QString("%1 at the top, %2 at the bottom").arg(nAtTop).arg(nAtBottom)));
    int32_t nPort = -1;
    QVERIFY(Tavrix_GetPort(&nPort));
    QVERIFY(!Tavrix_AdjustWaveAudio(nPort, 101));
    QCOMPARE(Tavrix_GetLastError(nPort), uint32_t(TAVRIX_ERR_PARA_OVER));
    Tavrix_FreePort(nPort);
}

QTEST_GUILESS_MAIN(TestSoundOutput)
#include "TestSoundOutput.moc"
