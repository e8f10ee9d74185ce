// Sound never stops the picture: an unopenable device, a layout change, a long
// stretch without pictures, the transport. SDL's disk driver is the sound card.
#include "IndexWait.h"
#include "PortProbe.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <condition_variable>
#include <future>
#include <mutex>

namespace {
const int kTimeoutMs = 30000;

// Runs the ffmpeg tool; empty text or what failed.
QString RunFfmpeg(const QStringList& args) {
    QProcess ffmpeg;
    ffmpeg.setStandardInputFile(QProcess::nullDevice());
    ffmpeg.start("ffmpeg", QStringList{"-hide_banner", "-loglevel", "error", "-nostdin", "-y"} + args);
    if (!ffmpeg.waitForFinished(120000) || ffmpeg.exitStatus() != QProcess::NormalExit ||
        ffmpeg.exitCode() != 0)
        return "ffmpeg failed: " + QString::fromLocal8Bit(ffmpeg.readAllStandardError());
    return QString();
}

// Seconds of 1 kHz tone in a stereo 16-bit capture file, counted in periods of its left channel.
double ToneSeconds(const QString& strCapture) {
    QFile capture(strCapture);
    const QByteArray raw = capture.open(QIODevice::ReadOnly) ? capture.readAll() : QByteArray();
    const auto* pSamples = reinterpret_cast<const qint16*>(raw.constData());
    const qsizetype nFrames = raw.size() / 4;
    int nCrossings = 0;
    for (qsizetype f = 1; f < nFrames; ++f) {
        const bool bLoud = std::abs(pSamples[2 * f]) > 500 || std::abs(pSamples[2 * (f - 1)]) > 500;
        nCrossings += bLoud && (pSamples[2 * f] >= 0) != (pSamples[2 * (f - 1)] >= 0);
    }
    return nCrossings / 2000.0;
}

// What the decode callback hands out for sound.
class SoundFrames {
public:
    struct Frame {
        int nChannels = 0;
        int32_t nStampMs = 0;
        bool bWhole = false; // the size is a whole number of 16-bit frames of its channels
        int nPeak = 0;       // largest magnitude over all its samples
        int nDurationMs = 0; // its length, from its size, channels and rate
    };
    bool Register(int32_t nPort) {
        return Tavrix_SetDecCallBackExMend(nPort, &SoundFrames::OnDecoded, nullptr, 0, this);
    }
    std::vector<Frame> Frames() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_vecFrames;
    }
    // Waits for a frame stamped nStampMs or later.
    bool WaitForStamp(int32_t nStampMs, int nTimeoutMs) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cv.wait_for(lock, std::chrono::milliseconds(nTimeoutMs), [this, nStampMs] {
            return !m_vecFrames.empty() && m_vecFrames.back().nStampMs >= nStampMs;
        });
    }

private:
    static void OnDecoded(int32_t, char* pBuf, int32_t nSize, TAVRIX_FRAME_INFO* pInfo, void* pUser) {
        if (pInfo->nType != TAVRIX_FRAME_AUDIO16)
            return;
        Frame frame;
        frame.nChannels = pInfo->nWidth;
        frame.nStampMs = pInfo->nStamp;
        frame.bWhole = frame.nChannels > 0 && nSize > 0 && nSize % (2 * frame.nChannels) == 0;
        if (frame.bWhole && pInfo->nFrameRate > 0)
            frame.nDurationMs = int(int64_t(nSize) / (2 * frame.nChannels) * 1000 / pInfo->nFrameRate);
        const auto* pSamples = reinterpret_cast<const qint16*>(pBuf);
        for (int32_t i = 0; i < nSize / 2; ++i)
            frame.nPeak = std::max(frame.nPeak, std::abs(int(pSamples[i])));
        auto* pSelf = static_cast<SoundFrames*>(pUser);
        std::lock_guard<std::mutex> lock(pSelf->m_mutex);
        pSelf->m_vecFrames.push_back(frame);
        pSelf->m_cv.notify_all();
    }

    mutable std::mutex m_mutex;
    std::condition_variable m_cv;   // guarded by m_mutex
    std::vector<Frame> m_vecFrames; // guarded by m_mutex
};

// The frame count grows by nMore from now, within the time limit.
bool PlaysOn(PortProbe& probe, int nMore) {
    return probe.WaitForFrames(probe.FrameCount() + nMore, kTimeoutMs);
}

// Plays a clip to its end with sound on, captured into strCapture, and the
// decoded sound handed to pSound.
bool PlayWithSound(PortProbe& probe, SoundFrames* pSound, const QString& strClip, const QString& strCapture) {
    qputenv("SDL_DISKAUDIOFILE", QFile::encodeName(strCapture));
    probe.SetHashFrames(false);
    return probe.Open(strClip) && pSound->Register(probe.Port()) && Tavrix_PlaySoundShare(probe.Port()) &&
           probe.Play(true) && probe.WaitForEnd(kTimeoutMs);
}
} // namespace

class TestSoundRobust : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_strPicturesThenSound;

private slots:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        // SDL reads the driver name when sound starts; the test environment's dummy driver is replaced here.
        qputenv("SDL_AUDIODRIVER", "disk");
        // One second of pictures, then eleven of bulky sound alone (32-bit at 192 kHz):
        // it fills the demuxer's queues long before the file's end, where the picture's stream ends.
        m_strPicturesThenSound = m_dir.filePath("pictures_then_sound.mkv");
        const QString strFailure = RunFfmpeg(
            {"-f", "lavfi", "-i", "testsrc2=size=160x120:rate=25:duration=1", "-f", "lavfi", "-i",
             "aevalsrc=exprs='0.5*sin(2*PI*1000*t)':s=192000:c=stereo:d=12", "-c:v", "libx264", "-preset",
             "ultrafast", "-pix_fmt", "yuv420p", "-c:a", "pcm_s32le", m_strPicturesThenSound});
        QVERIFY2(strFailure.isEmpty(), qPrintable(strFailure));
        QVERIFY2(QFileInfo(m_strPicturesThenSound).size() >= 17 * 1024 * 1024,
                 "the clip is smaller than the demuxer's queues");
    }

    void unopenableDeviceLeavesPlayWithoutSound() {
        // The disk driver cannot create a file in a folder that does not exist:
        // the device fails to open, as a busy or missing sound card does.
        qputenv("SDL_DISKAUDIOFILE", QFile::encodeName(m_dir.filePath("no/such/folder/capture.raw")));
        PortProbe probe;
        probe.SetHashFrames(false);
        QVERIFY(probe.Open(PortProbe::MediaPath("sine1k.mkv")));
        QVERIFY(probe.Play(true));
        // Twice, as a second round of opening the same files asks again.
        for (int nTry = 0; nTry < 2; ++nTry) {
            const int32_t nPort = probe.Port();
            std::future<bool> opened =
                std::async(std::launch::async, [nPort] { return Tavrix_PlaySoundShare(nPort); });
            if (opened.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
                // Nothing can end the stuck call; stop here rather than hang until the test's time limit.
                qFatal("Tavrix_PlaySoundShare froze on a sound device that cannot be opened");
            }
            QVERIFY2(!opened.get(), "sound reported on without a device");
            QCOMPARE(Tavrix_GetLastError(nPort), uint32_t(TAVRIX_ERR_NO_SOUND_DEVICE));
        }
        // The picture plays on to the end, without sound.
        QVERIFY(probe.WaitForEnd(kTimeoutMs));
        QVERIFY(probe.FrameCount() >= 90);
        QVERIFY(!QFile::exists(m_dir.filePath("no/such/folder/capture.raw")));
    }

    void channelLayoutChangeMidStream() {
        // 2 s of stereo, then 2 s of mono, the stamps running on, as a recorder
        // writes when its microphone setting changes.
        const int kHalfMs = 2000;
        const QString strRaw = m_dir.filePath("layout.raw");
        PortProbe probe;
        SoundFrames sound;
        QVERIFY(PlayWithSound(probe, &sound, PortProbe::MediaPath("stereo_to_mono.ts"), strRaw));
        probe.Release(); // closing the port closes the sound device, which writes the capture out

        const std::vector<SoundFrames::Frame> frames = sound.Frames();
        int nStereo = 0, nMono = 0;
        for (const SoundFrames::Frame& frame : frames) {
            QVERIFY2(frame.bWhole,
                     qPrintable(QString("a %1-channel frame of odd size").arg(frame.nChannels)));
            QVERIFY2(frame.nChannels == 1 || frame.nChannels == 2,
                     qPrintable(QString("%1 channels").arg(frame.nChannels)));
            // Inside each half (away from the encoder's ramps at its ends) the
            // half-scale tone peaks near 16384.
            const int nInHalfMs = frame.nStampMs % kHalfMs;
            if (frame.nStampMs < 2 * kHalfMs && nInHalfMs > 300 && nInHalfMs < kHalfMs - 300)
                QVERIFY2(frame.nPeak > 12000 && frame.nPeak < 22000,
                         qPrintable(QString("peak %1 at %2 ms").arg(frame.nPeak).arg(frame.nStampMs)));
            (frame.nChannels == 2 ? nStereo : nMono)++;
        }
        // About 94 frames of 1024 samples in each half.
        QVERIFY2(nStereo > 60 && nMono > 60,
                 qPrintable(QString("%1 stereo, %2 mono frames").arg(nStereo).arg(nMono)));

        const double dTone = ToneSeconds(strRaw);
        // The sound went on through the change: tone from both halves reached the device.
        QVERIFY2(dTone > 3.0, qPrintable(QString("%1 s of tone heard").arg(dTone)));
    }

    void soundOffNeverHoldsThePicture() {
        PortProbe probe;
        probe.SetHashFrames(false);
        QVERIFY(probe.Open(m_strPicturesThenSound));
        QVERIFY(probe.Play(true)); // sound stays off
        // The end comes once the sound has been read through: never, were the decoder waiting for a picture.
        QVERIFY(probe.WaitForEnd(60000));
        QCOMPARE(probe.FrameCount(), 25);
    }

    void soundOnPlaysThroughAStretchWithoutPictures() {
        // Reading on to find the next picture must not leave sound out, however far that picture is.
        const QString strRaw = m_dir.filePath("stretch.raw");
        PortProbe probe;
        SoundFrames sound;
        QVERIFY(PlayWithSound(probe, &sound, m_strPicturesThenSound, strRaw));
        // Sound is decoded as the device takes it: the last of it about 12 s after the start.
        QVERIFY(sound.WaitForStamp(11900, kTimeoutMs));
        probe.Release();

        const std::vector<SoundFrames::Frame> frames = sound.Frames();
        for (size_t i = 1; i < frames.size(); ++i)
            QVERIFY2(frames[i].nStampMs - frames[i - 1].nStampMs <= frames[i - 1].nDurationMs + 2,
                     qPrintable(QString("sound from %1 ms to %2 ms left out")
                                    .arg(frames[i - 1].nStampMs + frames[i - 1].nDurationMs)
                                    .arg(frames[i].nStampMs)));
        const double dTone = ToneSeconds(strRaw);
        QVERIFY2(dTone > 11.0, qPrintable(QString("%1 s of the 12 s tone heard").arg(dTone)));
    }

    void transportWithSoundOn() {
        qputenv("SDL_DISKAUDIOFILE", QFile::encodeName(m_dir.filePath("transport.raw")));
        const QString strClip = PortProbe::MediaPath("ch02_20240315103000_20240315103010.mp4");
        PortProbe probe;
        probe.SetHashFrames(false);
        IndexWait index;
        QVERIFY(probe.TakePort());
        QVERIFY(index.Register(probe.Port()));
        QVERIFY(probe.Open(strClip));
        const int32_t nPort = probe.Port();
        QVERIFY(Tavrix_PlaySoundShare(nPort));
        QVERIFY(probe.Play(true));
        QVERIFY(PlaysOn(probe, 10));

        // A pause and a resume: the sound's clock is unknown for a moment and the picture goes on.
        QVERIFY(Tavrix_Pause(nPort, 1));
        QVERIFY(Tavrix_Pause(nPort, 0));
        QVERIFY(PlaysOn(probe, 10));

        // A jump flushes the sound; the picture plays on from the target.
        QVERIFY(index.Wait(kTimeoutMs));
        QVERIFY(Tavrix_SetPlayedTimeEx(nPort, 6000));
        QVERIFY(PlaysOn(probe, 10));
        QVERIFY2(probe.Frames().back().nStampMs >= 6000,
                 qPrintable(QString("at %1 ms after the jump").arg(probe.Frames().back().nStampMs)));

        // Faster and back: the picture leads at speed, the sound again at normal speed.
        QVERIFY(Tavrix_Fast(nPort));
        QVERIFY(PlaysOn(probe, 5));
        QVERIFY(Tavrix_Slow(nPort));
        QVERIFY(PlaysOn(probe, 5));

        // Sound off and on again mid-play.
        QVERIFY(Tavrix_StopSoundShare(nPort));
        QVERIFY(PlaysOn(probe, 5));
        QVERIFY(Tavrix_PlaySoundShare(nPort));
        QVERIFY(probe.WaitForEnd(kTimeoutMs));

        // Every picture after the jump came in order.
        const std::vector<PortProbe::Shown> shown = probe.Frames();
        for (size_t i = 1; i < shown.size(); ++i)
            if (shown[i].nStampMs >= 6000 && shown[i - 1].nStampMs >= 6000)
                QVERIFY2(
                    shown[i].nFrameNum > shown[i - 1].nFrameNum, // (fast play may leave pictures out)
                    qPrintable(
                        QString("frame %1 after %2").arg(shown[i].nFrameNum).arg(shown[i - 1].nFrameNum)));
    }
};

QTEST_GUILESS_MAIN(TestSoundRobust)
#include "TestSoundRobust.moc"
