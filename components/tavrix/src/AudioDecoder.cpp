#include "AudioDecoder.h"

#include <pthread.h>

#include <algorithm>

#include "AudioOutput.h"
#include "CallbackSet.h"
#include "EngineLog.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

namespace tavrix {

AudioDecoder::AudioDecoder(int nPort, CallbackSet* pCallbacks, PlayReadings* pReadings, OutputSource fnOutput)
    : m_nPort(nPort), m_pCallbacks(pCallbacks), m_pReadings(pReadings), m_fnOutput(std::move(fnOutput)) {}

AudioDecoder::~AudioDecoder() {
    Abort();
    Join();
}

bool AudioDecoder::Open(const AVStream* pStream, const MediaInfo& info) {
    const AVCodec* pCodec = avcodec_find_decoder(pStream->codecpar->codec_id);
    if (pCodec == nullptr) {
        return false;
    }
    m_pCodec.reset(avcodec_alloc_context3(pCodec));
    if (!m_pCodec) {
        return false;
    }
    int nErr = avcodec_parameters_to_context(m_pCodec.get(), pStream->codecpar);
    if (nErr >= 0) {
        m_pCodec->pkt_timebase = pStream->time_base;
        nErr = avcodec_open2(m_pCodec.get(), pCodec, nullptr);
    }
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "open audio decoder", nErr);
        m_pCodec.reset();
        return false;
    }
    m_timeBase = pStream->time_base;
    m_nFileStartUs = info.nFileStartUs;
    return true;
}

void AudioDecoder::Start(PacketQueue* pQueue, bool bRealTime) {
    Join();
    m_pQueue = pQueue;
    m_bAbort = false;
    avcodec_flush_buffers(m_pCodec.get()); // a new start may follow a seek
    m_bRealTime = bRealTime;
    m_nErrors = 0;
    m_bResync = true;
    m_pace = PicturePace();
    m_live = LiveDelay();
    // Samples a resampler still holds are from before the seek.
    m_swrOut.Reset();
    m_swrCb.Reset();
    m_thread = std::thread(&AudioDecoder::Run, this);
}

void AudioDecoder::SetRealTime(bool bRealTime) {
    m_bRealTime = bRealTime;
    m_pReadings->NotifyProgress();
}

void AudioDecoder::SetSpeedStep(int nStep) {
    m_nSpeedStep = nStep;
    m_pReadings->NotifyProgress();
    std::shared_ptr<AudioOutput> pOut = m_fnOutput();
    if (pOut) {
        pOut->Wake();
    }
}

void AudioDecoder::Abort() {
    m_bAbort = true;
    m_pReadings->NotifyProgress();
    std::shared_ptr<AudioOutput> pOut = m_fnOutput();
    if (pOut) {
        pOut->Wake();
    }
}

void AudioDecoder::Join() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
    m_pCurrentOutput.reset();
}

void AudioDecoder::Run() {
    pthread_setname_np(pthread_self(), "tavrix-adec"); // names the thread in debuggers and top
    FramePtr pFrame = MakeFrame();
    if (!pFrame) {
        return;
    }
    QueuedPacket item;
    while (!m_bAbort && m_pQueue->Pop(&item)) {
        if (item.nSerial != m_pQueue->Serial()) {
            continue;
        }
        int nErr = avcodec_send_packet(m_pCodec.get(), item.bEos ? nullptr : item.pPacket.get());
        if (nErr < 0 && nErr != AVERROR(EAGAIN) && nErr != AVERROR_EOF && m_nErrors++ == 0) {
            EngineLog::AvFail(m_nPort, "decode audio", nErr); // the first of a run is enough
        }
        while (!m_bAbort) {
            nErr = avcodec_receive_frame(m_pCodec.get(), pFrame.get());
            if (nErr < 0) {
                break;
            }
            HandleFrame(pFrame.get());
            av_frame_unref(pFrame.get());
        }
        if (item.bEos) {
            break;
        }
    }
}

namespace {
// Sound nobody hears may be decoded this far ahead of the picture.
constexpr int64_t kLeadMs = 100;
// How long past the picture's expected reach a wait for it lasts before the
// sound goes on by itself: a little more than the lateness of a busy port.
constexpr int64_t kPaceSlackMs = 250;
// A gap between the picture and the first sound after a resync is filled with
// silence up to this much; beyond it the stamps are not one stretch.
constexpr int64_t kMaxGapMs = 5000;
// Live sound: the device's queue is looked at over windows of this length.
// Where even its lowest level in a window stays above the excess, the sound
// lags what arrives by that much for good (a burst at the start, a source
// whose clock runs fast): it is brought down to the target by dropping sound.
// A queue that fills and drains again (a source that sends its sound in
// bursts) is left alone.
constexpr auto kLiveWindow = std::chrono::seconds(1);
constexpr int64_t kLiveExcessMs = 150;
constexpr int64_t kLiveTargetMs = 60;

// Wall time that a stretch of stream time takes at a speed step.
std::chrono::microseconds WallAtSpeed(int64_t nStreamMs, int nStep) {
    const int64_t nUs = nStreamMs * 1000;
    return std::chrono::microseconds(nStep >= 0 ? nUs / (int64_t(1) << nStep) : nUs * (int64_t(1) << -nStep));
}

// The layout a resampler is given: FFmpeg's default order for a count of
// channels where a stream does not name its channels.
void UsableLayout(const AVChannelLayout& in, AVChannelLayout* pOut) {
    if (in.order == AV_CHANNEL_ORDER_UNSPEC || av_channel_layout_check(&in) == 0) {
        av_channel_layout_default(pOut, in.nb_channels > 0 ? in.nb_channels : 1);
    } else if (av_channel_layout_copy(pOut, &in) < 0) {
        av_channel_layout_default(pOut, in.nb_channels);
    }
}
} // namespace

AudioDecoder::Resampler::~Resampler() {
    Reset();
}

void AudioDecoder::Resampler::Reset() {
    m_pSwr.reset();
    m_pOwner = nullptr;
    av_channel_layout_uninit(&m_inLayout);
    av_channel_layout_uninit(&m_outLayout);
}

bool AudioDecoder::Resampler::Ensure(const AVFrame* pFrame, const AVChannelLayout& outLayout, int nOutRate,
                                     const void* pOwner, int nPort) {
    AVChannelLayout inLayout{};
    UsableLayout(pFrame->ch_layout, &inLayout);
    const bool bSame = m_pSwr && m_pOwner == pOwner && m_nInRate == pFrame->sample_rate &&
                       m_nInFormat == pFrame->format &&
                       av_channel_layout_compare(&m_inLayout, &inLayout) == 0 && m_nOutRate == nOutRate &&
                       av_channel_layout_compare(&m_outLayout, &outLayout) == 0;
    if (bSame) {
        av_channel_layout_uninit(&inLayout);
        return true;
    }
    Reset();
    SwrContext* pRaw = nullptr;
    // (FFmpeg 5.1 takes the layouts as non-const; it only reads them.)
    int nErr = swr_alloc_set_opts2(&pRaw, const_cast<AVChannelLayout*>(&outLayout), AV_SAMPLE_FMT_S16,
                                   nOutRate, &inLayout, static_cast<AVSampleFormat>(pFrame->format),
                                   pFrame->sample_rate, 0, nullptr);
    m_pSwr.reset(pRaw);
    if (nErr >= 0) {
        nErr = swr_init(m_pSwr.get());
    }
    if (nErr < 0) {
        EngineLog::AvFail(nPort, "set up sound resampler", nErr);
        m_pSwr.reset();
        av_channel_layout_uninit(&inLayout);
        return false;
    }
    m_pOwner = pOwner;
    m_nInRate = pFrame->sample_rate;
    m_nInFormat = pFrame->format;
    m_inLayout = inLayout; // takes over what inLayout holds
    m_nOutRate = nOutRate;
    if (av_channel_layout_copy(&m_outLayout, &outLayout) < 0) {
        Reset(); // cannot remember the output: made again next time
    }
    return m_pSwr != nullptr;
}

int64_t AudioDecoder::FrameUs(const AVFrame* pFrame) const {
    return av_rescale_q(pFrame->best_effort_timestamp, m_timeBase, AV_TIME_BASE_Q) - m_nFileStartUs;
}

void AudioDecoder::KeepPaceWithPicture(const AVFrame* pFrame, bool bEvenWithOutput) {
    // Sound nobody hears is not decoded ahead of the picture: when sound is
    // switched on it can then start close to where the picture is. But the
    // picture may stand still for want of video (a stretch of a recording
    // with sound only) while the demuxer reads on through sound to find the
    // next picture; a decoder waiting for the picture then lets the sound
    // fill the demuxer's queues, and play stops for good. So the wait lasts
    // only until the picture, had it played on since it last moved, would
    // have reached this sound; from there the sound goes on at the
    // picture's pace by itself. A paused picture is waited for without that
    // bound: a command ends the pause, and meanwhile the demuxer rests on a
    // full video queue, so nothing fills up.
    if (pFrame->best_effort_timestamp == AV_NOPTS_VALUE) {
        return;
    }
    const int64_t nDueMs = FrameMs(pFrame) - kLeadMs; // the picture time this sound waits for
    const int nStep = m_nSpeedStep.load();
    const auto bStop = [this, nStep, bEvenWithOutput] {
        return m_bAbort.load() || !m_bRealTime.load() || m_pReadings->bEnded.load() ||
               m_nSpeedStep.load() != nStep || (!bEvenWithOutput && m_fnOutput() != nullptr);
    };
    while (!bStop()) {
        const bool bShown = m_pReadings->bShown.load();
        const int64_t nPictureMs = m_pReadings->nPlayedMs.load();
        const bool bPaused = m_pReadings->bPaused.load();
        if (bShown && nPictureMs >= nDueMs) {
            return;
        }
        if (!m_pace.bSet || m_pace.bShown != bShown || m_pace.nPictureMs != nPictureMs ||
            m_pace.bPaused != bPaused || m_pace.nStep != nStep) {
            // The picture moved, started, stopped or resumed: its pace counts from now.
            m_pace.bSet = true;
            m_pace.tFrom = std::chrono::steady_clock::now();
            m_pace.nFromMs = bShown ? nPictureMs : nDueMs; // before the first picture: a slack's grace
            m_pace.bShown = bShown;
            m_pace.nPictureMs = nPictureMs;
            m_pace.bPaused = bPaused;
            m_pace.nStep = nStep;
        }
        const auto bMoved = [this, bShown, nPictureMs, bPaused] {
            return m_pReadings->bShown.load() != bShown || m_pReadings->nPlayedMs.load() != nPictureMs ||
                   m_pReadings->bPaused.load() != bPaused;
        };
        if (bPaused) {
            m_pReadings->WaitForProgress([&] { return bStop() || bMoved(); });
            continue;
        }
        const auto tUntil = m_pace.tFrom + WallAtSpeed(std::max<int64_t>(0, nDueMs - m_pace.nFromMs), nStep) +
                            std::chrono::milliseconds(kPaceSlackMs);
        if (!m_pReadings->WaitForProgressUntil(tUntil, [&] { return bStop() || bMoved(); })) {
            return; // the picture stands still: the sound goes on at its pace
        }
    }
}

void AudioDecoder::HandleFrame(const AVFrame* pFrame) {
    CallDecodeCallback(pFrame);
    if (!m_bRealTime) {
        return;
    }
    if (m_bLive) {
        Feed(pFrame);
        return;
    }
    if (m_nSpeedStep.load() != 0) {
        KeepPaceWithPicture(pFrame, true);
        m_bResync = true; // back at normal speed, sound starts where the picture is
        return;
    }
    if (m_fnOutput() == nullptr) {
        KeepPaceWithPicture(pFrame, false);
    } else if (m_bWaitForPicture.load() && !m_pReadings->bShown.load()) {
        // Ended by the picture, a stop (abort) or leaving the group; looked at
        // again every tenth of a second whatever wakes it.
        while (!m_pReadings->WaitForProgressUntil(std::chrono::steady_clock::now() + std::chrono::milliseconds(100),
                                                  [this] {
                                                      return m_bAbort.load() || !m_bWaitForPicture.load() ||
                                                             m_pReadings->bShown.load();
                                                  })) {
        }
        m_bResync = true; // start with the picture, not with what waited
        return;
    }
    Feed(pFrame);
}

void AudioDecoder::SetWaitForPicture(bool bWait) {
    m_bWaitForPicture = bWait;
    m_pReadings->NotifyProgress();
}

void AudioDecoder::CallDecodeCallback(const AVFrame* pFrame) {
    const CallbackSet::Dec cb = m_pCallbacks->GetDec();
    if (cb.pfn == nullptr || pFrame->nb_samples <= 0 || pFrame->sample_rate <= 0) {
        return;
    }
    const int nChannels = pFrame->ch_layout.nb_channels;
    if (nChannels <= 0) {
        return;
    }
    if (pFrame->format == AV_SAMPLE_FMT_S16) {
        const size_t nSamples = static_cast<size_t>(pFrame->nb_samples) * static_cast<size_t>(nChannels);
        m_vecPcm.assign(reinterpret_cast<const int16_t*>(pFrame->data[0]),
                        reinterpret_cast<const int16_t*>(pFrame->data[0]) + nSamples);
    } else {
        // The frame's own layout and rate: only the sample format changes.
        AVChannelLayout outLayout{};
        UsableLayout(pFrame->ch_layout, &outLayout);
        const bool bReady = m_swrCb.Ensure(pFrame, outLayout, pFrame->sample_rate, nullptr, m_nPort);
        av_channel_layout_uninit(&outLayout);
        if (!bReady) {
            return;
        }
        const int nMaxOut = swr_get_out_samples(m_swrCb.Get(), pFrame->nb_samples);
        if (nMaxOut <= 0) {
            return;
        }
        m_vecPcm.resize(static_cast<size_t>(nMaxOut) * static_cast<size_t>(nChannels));
        uint8_t* pOut = reinterpret_cast<uint8_t*>(m_vecPcm.data());
        const int nGot = swr_convert(m_swrCb.Get(), &pOut, nMaxOut,
                                     const_cast<const uint8_t**>(pFrame->extended_data), pFrame->nb_samples);
        if (nGot <= 0) {
            return;
        }
        m_vecPcm.resize(static_cast<size_t>(nGot) * static_cast<size_t>(nChannels));
    }
    TAVRIX_FRAME_INFO info{};
    info.nWidth = nChannels;
    info.nHeight = 16;
    info.nStamp = pFrame->best_effort_timestamp != AV_NOPTS_VALUE ? static_cast<int32_t>(FrameMs(pFrame)) : 0;
    info.nType = TAVRIX_FRAME_AUDIO16;
    info.nFrameRate = pFrame->sample_rate;
    cb.pfn(m_nPort, reinterpret_cast<char*>(m_vecPcm.data()),
           static_cast<int32_t>(m_vecPcm.size() * sizeof(int16_t)), &info, cb.pUser);
}

bool AudioDecoder::Resync(const AVFrame* pFrame, AudioOutput* pOut) {
    // With sound off the decoder runs ahead of the picture by what the
    // demuxer buffers; sound switched on mid-play must start where the
    // picture is. Frames behind it are dropped, a gap before it is silence
    // (stamped as the picture's time, so that the sound clock runs through it).
    if (!m_pReadings->bShown.load() || pFrame->best_effort_timestamp == AV_NOPTS_VALUE) {
        m_bResync = false; // play is starting: sound and picture start together
        return true;
    }
    const int64_t nFrameMs = FrameMs(pFrame);
    const int64_t nFrameEndMs =
        nFrameMs + static_cast<int64_t>(pFrame->nb_samples) * 1000 / pFrame->sample_rate;
    const int64_t nPictureMs = m_pReadings->nPlayedMs.load();
    if (nFrameEndMs < nPictureMs) {
        return false;
    }
    m_bResync = false;
    const int64_t nGapMs = std::min<int64_t>(nFrameMs - nPictureMs, kMaxGapMs);
    if (nGapMs > 0) {
        std::vector<int16_t> vecSilence(static_cast<size_t>(nGapMs * pOut->Rate() / 1000) * pOut->Channels(),
                                        0);
        pOut->Write(vecSilence.data(), vecSilence.size(), (nFrameMs - nGapMs) * 1000, &m_bAbort);
    }
    return true;
}

bool AudioDecoder::TrimLiveDelay(const AudioOutput& out, int64_t nRunMs) {
    if (m_live.nDropMs > 0) {
        m_live.nDropMs -= nRunMs;
        return true;
    }
    const auto now = std::chrono::steady_clock::now();
    const int64_t nQueuedMs = out.QueuedMs();
    if (!m_live.bWindow) {
        m_live.bWindow = true;
        m_live.tWindow = now;
        m_live.nLowestMs = nQueuedMs;
        return false;
    }
    m_live.nLowestMs = std::min(m_live.nLowestMs, nQueuedMs);
    if (now - m_live.tWindow < kLiveWindow) {
        return false;
    }
    if (m_live.nLowestMs > kLiveExcessMs) {
        m_live.nDropMs = m_live.nLowestMs - kLiveTargetMs;
    }
    m_live.bWindow = false;
    return false;
}

void AudioDecoder::Feed(const AVFrame* pFrame) {
    std::shared_ptr<AudioOutput> pOut = m_fnOutput();
    if (pOut != m_pCurrentOutput || m_bResyncAsked.exchange(false)) {
        m_pCurrentOutput = pOut;
        m_bResync = true;
    }
    if (!pOut) {
        return;
    }
    AVChannelLayout outLayout{};
    av_channel_layout_default(&outLayout, pOut->Channels());
    const bool bReady = m_swrOut.Ensure(pFrame, outLayout, pOut->Rate(), pOut.get(), m_nPort);
    av_channel_layout_uninit(&outLayout);
    if (!bReady) {
        return;
    }
    if (m_bResync && !m_bLive && !Resync(pFrame, pOut.get())) {
        return;
    }
    // The first sample out is the oldest the resampler still holds: earlier
    // than this frame's stamp by the resampler's delay.
    int64_t nStampUs = AudioOutput::kNoStamp;
    if (pFrame->best_effort_timestamp != AV_NOPTS_VALUE) {
        nStampUs = FrameUs(pFrame) - swr_get_delay(m_swrOut.Get(), 1000000);
    }
    const int nMaxOut = swr_get_out_samples(m_swrOut.Get(), pFrame->nb_samples);
    if (nMaxOut <= 0) {
        return;
    }
    m_vecSamples.resize(static_cast<size_t>(nMaxOut) * static_cast<size_t>(pOut->Channels()));
    uint8_t* pDst = reinterpret_cast<uint8_t*>(m_vecSamples.data());
    const int nGot = swr_convert(m_swrOut.Get(), &pDst, nMaxOut,
                                 const_cast<const uint8_t**>(pFrame->extended_data), pFrame->nb_samples);
    if (nGot <= 0) {
        return;
    }
    const size_t nSamples = static_cast<size_t>(nGot) * static_cast<size_t>(pOut->Channels());
    if (m_bLive) {
        if (!TrimLiveDelay(*pOut, static_cast<int64_t>(nGot) * 1000 / pOut->Rate())) {
            pOut->Write(m_vecSamples.data(), nSamples, AudioOutput::kNoStamp, &m_bAbort);
        }
        return;
    }
    pOut->Write(m_vecSamples.data(), nSamples, nStampUs, &m_bAbort);
}

} // namespace tavrix
