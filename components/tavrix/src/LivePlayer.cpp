#include "LivePlayer.h"

#include "CallbackSet.h"
#include "EngineLog.h"
#include "LiveRenderer.h"
#include "StreamSource.h"
#include "VideoDecoder.h"

#include <system_error>

namespace tavrix {

LivePlayer::LivePlayer(int nPort, CallbackSet* pCallbacks, PlayReadings* pReadings, StreamCounters* pCounters,
                       std::shared_ptr<StreamSource> pSource, uint16_t nSystemFormat,
                       AudioDecoder::OutputSource fnOutput, std::atomic<bool>* pHardwareActive)
    : m_nPort(nPort), m_pCallbacks(pCallbacks), m_pReadings(pReadings), m_pCounters(pCounters),
      m_pSource(std::move(pSource)), m_nSystemFormat(nSystemFormat), m_fnOutput(std::move(fnOutput)),
      m_pHardwareActive(pHardwareActive) {}

LivePlayer::~LivePlayer() {
    Stop();
}

bool LivePlayer::Start(std::shared_ptr<FrameSink> pSink, const Settings& settings) {
    if (m_bRunning) {
        return true;
    }
    if (m_bStarted) {
        m_pSource->Restart(); // what came while stopped is old news
    }
    m_bStarted = true;
    m_settings = settings;
    m_pCallbacks->ResetRunTimeReports();
    m_bRunning = true; // from here Stop undoes whatever part was made
    try {
        m_pRenderer = std::make_unique<LiveRenderer>(m_nPort, m_pCallbacks, m_pCounters);
        m_pRenderer->SetSink(std::move(pSink));
        m_pRenderer->SetPictureControls(settings.pAdjuster, settings.pSnapshots);
        m_pRenderer->Start(settings.nDisplayBuf, settings.bRealTime);
        m_pDemuxer =
            std::make_unique<LiveDemuxer>(m_nPort, m_pCallbacks, m_pCounters, m_pSource, m_nSystemFormat);
        m_pDemuxer->Start(m_pRenderer.get(), [this](LiveDemuxer& demuxer) { return OnOpened(demuxer); });
    } catch (const std::system_error&) {
        EngineLog::Warn(m_nPort, "cannot start the threads of the live stream");
        Stop();
        return false;
    }
    return true;
}

LiveDemuxer::Feed LivePlayer::OnOpened(LiveDemuxer& demuxer) {
    LiveDemuxer::Feed feed;
    const MediaInfo& info = demuxer.Info();
    const AVStream* pVideoStream = demuxer.VideoStream();
    auto pVideo = std::make_unique<VideoDecoder>(m_nPort, m_pCallbacks, m_pReadings);
    pVideo->SetLowDelay(true);
    if (pVideo->Open(pVideoStream, info, m_settings.bHardware, m_settings.nDecodeThreads, false, nullptr)) {
        *m_pHardwareActive = pVideo->HardwareActive();
        pVideo->Start(&demuxer.VideoQueue(), m_pRenderer.get(), nullptr, VideoDecoder::StartPoint());
        m_pVideo = std::move(pVideo);
        feed.bVideo = true;
    } else {
        // The stream plays on (its sound, if any) and shows nothing.
        EngineLog::Warn(m_nPort, "no decoder for the live stream's video (%s)",
                        avcodec_get_name(pVideoStream->codecpar->codec_id));
        m_pCallbacks->ReportRunTime(1, TAVRIX_RT_DECODE);
    }
    const AVStream* pAudioStream = demuxer.AudioStream();
    if (pAudioStream != nullptr) {
        auto pAudio = std::make_unique<AudioDecoder>(m_nPort, m_pCallbacks, m_pReadings, m_fnOutput);
        if (pAudio->Open(pAudioStream, info)) {
            pAudio->SetLive(true);
            m_nAudioRate = pAudioStream->codecpar->sample_rate;
            pAudio->Start(&demuxer.AudioQueue(), m_settings.bRealTime);
            m_pAudio = std::move(pAudio);
            feed.bAudio = true;
        }
    }
    return feed;
}

void LivePlayer::Stop() {
    if (!m_bRunning) {
        return;
    }
    // Every wait ends at once: the demux thread's read of the source, the
    // decoders' waits for packets and for room in the ring.
    m_pSource->Interrupt();
    if (m_pDemuxer) {
        m_pDemuxer->Abort();
    }
    if (m_pRenderer) {
        m_pRenderer->Abort();
    }
    if (m_pDemuxer) {
        m_pDemuxer->Join(); // from here the decoders it made are this thread's to stop
    }
    if (m_pAudio) {
        m_pAudio->Abort(); // a write waiting for the sound device
    }
    m_pVideo.reset(); // each joins its thread
    m_pAudio.reset();
    if (m_pRenderer) {
        m_pRenderer->Join();
    }
    m_pRenderer.reset();
    m_pDemuxer.reset(); // the container goes after the decoders that read its packets
    *m_pHardwareActive = false;
    m_bRunning = false;
}

void LivePlayer::SetSink(std::shared_ptr<FrameSink> pSink) {
    if (m_pRenderer) {
        m_pRenderer->SetSink(std::move(pSink));
    }
}

void LivePlayer::SetPaused(bool bPaused) {
    if (m_pRenderer) {
        m_pRenderer->SetPaused(bPaused);
    }
}

void LivePlayer::SetRealTime(bool bRealTime) {
    // The picture changes pace at once; the sound keeps what its start was
    // given (its decoder belongs to the demux thread while that runs, and so
    // do the settings; the port hands the new ones to the next start).
    if (m_pRenderer) {
        m_pRenderer->SetRealTime(bRealTime);
    }
}

void LivePlayer::SetDisplayBuf(size_t nNum) {
    if (m_pRenderer) {
        m_pRenderer->SetRingSize(nNum);
    }
}

void LivePlayer::RequestRefresh() {
    if (m_pRenderer) {
        m_pRenderer->RequestRefresh();
    }
}

} // namespace tavrix
