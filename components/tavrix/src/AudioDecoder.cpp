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

int64_t AudioDecoder::FrameMs(const AVFrame* pFrame) const {
    return (av_rescale_q(pFrame->best_effort_timestamp, m_timeBase, AV_TIME_BASE_Q) - m_nFileStartUs) / 1000;
}

void AudioDecoder::KeepPaceWithPicture(const AVFrame* pFrame, bool bEvenWithOutput) {
    // Sound nobody hears is not decoded ahead of the picture: when sound is
    // switched on it can then start close to where the picture is.
    if (pFrame->best_effort_timestamp == AV_NOPTS_VALUE) {
        return;
    }
    constexpr int64_t kLeadMs = 100;
    const int64_t nFrameMs = FrameMs(pFrame);
    const int nStep = m_nSpeedStep.load();
    m_pReadings->WaitForProgress([this, nFrameMs, nStep, bEvenWithOutput] {
        return m_bAbort.load() || !m_bRealTime.load() || m_pReadings->bEnded.load() ||
               m_nSpeedStep.load() != nStep || (!bEvenWithOutput && m_fnOutput() != nullptr) ||
               (m_pReadings->bShown.load() && m_pReadings->nPlayedMs.load() >= nFrameMs - kLeadMs);
    });
}

void AudioDecoder::HandleFrame(const AVFrame* pFrame) {
    CallDecodeCallback(pFrame);
    if (!m_bRealTime) {
        return;
    }
    if (m_nSpeedStep.load() != 0) {
        KeepPaceWithPicture(pFrame, true);
        m_bResync = true; // back at normal speed, sound starts where the picture is
        return;
    }
    if (m_fnOutput() == nullptr) {
        KeepPaceWithPicture(pFrame, false);
    }
    Feed(pFrame);
}

void AudioDecoder::CallDecodeCallback(const AVFrame* pFrame) {
    const CallbackSet::Dec cb = m_pCallbacks->GetDec();
    if (cb.pfn == nullptr) {
        return;
    }
    const int nChannels = pFrame->ch_layout.nb_channels;
    const size_t nSamples = static_cast<size_t>(pFrame->nb_samples) * static_cast<size_t>(nChannels);
    std::vector<int16_t> vecPcm(nSamples);
    if (pFrame->format == AV_SAMPLE_FMT_S16) {
        std::copy_n(reinterpret_cast<const int16_t*>(pFrame->data[0]), nSamples, vecPcm.data());
    } else {
        if (!m_pSwrCb) {
            SwrContext* pRaw = nullptr;
            if (swr_alloc_set_opts2(
                    &pRaw, const_cast<AVChannelLayout*>(&pFrame->ch_layout), AV_SAMPLE_FMT_S16,
                    pFrame->sample_rate, const_cast<AVChannelLayout*>(&pFrame->ch_layout),
                    static_cast<AVSampleFormat>(pFrame->format), pFrame->sample_rate, 0, nullptr) < 0) {
                return;
            }
            m_pSwrCb.reset(pRaw);
            if (swr_init(m_pSwrCb.get()) < 0) {
                m_pSwrCb.reset();
                return;
            }
        }
        uint8_t* pOut = reinterpret_cast<uint8_t*>(vecPcm.data());
        const int nGot = swr_convert(m_pSwrCb.get(), &pOut, pFrame->nb_samples,
                                     const_cast<const uint8_t**>(pFrame->extended_data), pFrame->nb_samples);
        if (nGot < 0) {
            return;
        }
        vecPcm.resize(static_cast<size_t>(nGot) * static_cast<size_t>(nChannels));
    }
    TAVRIX_FRAME_INFO info{};
    info.nWidth = nChannels;
    info.nHeight = 16;
    const int64_t nPts = pFrame->best_effort_timestamp;
    info.nStamp =
        nPts != AV_NOPTS_VALUE
            ? static_cast<int32_t>((av_rescale_q(nPts, m_timeBase, AV_TIME_BASE_Q) - m_nFileStartUs) / 1000)
            : 0;
    info.nType = TAVRIX_FRAME_AUDIO16;
    info.nFrameRate = pFrame->sample_rate;
    cb.pfn(m_nPort, reinterpret_cast<char*>(vecPcm.data()),
           static_cast<int32_t>(vecPcm.size() * sizeof(int16_t)), &info, cb.pUser);
}

bool AudioDecoder::Resync(const AVFrame* pFrame, AudioOutput* pOut) {
    // With sound off the decoder runs ahead of the picture by what the
    // demuxer buffers; sound switched on mid-play must start where the
    // picture is. Frames behind it are dropped, a gap before it is silence.
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
    const int64_t nGapMs = std::min<int64_t>(nFrameMs - nPictureMs, 5000);
    if (nGapMs > 0) {
        std::vector<int16_t> vecSilence(static_cast<size_t>(nGapMs * pOut->Rate() / 1000) * pOut->Channels(),
                                        0);
        pOut->Write(vecSilence.data(), vecSilence.size(), &m_bAbort);
    }
    return true;
}

void AudioDecoder::Feed(const AVFrame* pFrame) {
    std::shared_ptr<AudioOutput> pOut = m_fnOutput();
    if (pOut != m_pCurrentOutput) {
        m_pCurrentOutput = pOut;
        m_bResync = true;
    }
    if (!pOut) {
        return;
    }
    if (!m_pSwrOut || m_pSwrOutFor != pOut.get() || m_nSwrInRate != pFrame->sample_rate ||
        m_nSwrInFormat != pFrame->format || m_nSwrInChannels != pFrame->ch_layout.nb_channels) {
        AVChannelLayout outLayout;
        av_channel_layout_default(&outLayout, pOut->Channels());
        SwrContext* pRaw = nullptr;
        const int nErr =
            swr_alloc_set_opts2(&pRaw, &outLayout, AV_SAMPLE_FMT_S16, pOut->Rate(),
                                const_cast<AVChannelLayout*>(&pFrame->ch_layout),
                                static_cast<AVSampleFormat>(pFrame->format), pFrame->sample_rate, 0, nullptr);
        av_channel_layout_uninit(&outLayout);
        m_pSwrOut.reset(pRaw);
        if (nErr < 0 || swr_init(m_pSwrOut.get()) < 0) {
            EngineLog::Warn(m_nPort, "sound resampler could not be set up");
            m_pSwrOut.reset();
            return;
        }
        m_pSwrOutFor = pOut.get();
        m_nSwrInRate = pFrame->sample_rate;
        m_nSwrInFormat = pFrame->format;
        m_nSwrInChannels = pFrame->ch_layout.nb_channels;
    }
    if (m_bResync && !Resync(pFrame, pOut.get())) {
        return;
    }
    const int nMaxOut = swr_get_out_samples(m_pSwrOut.get(), pFrame->nb_samples);
    if (nMaxOut <= 0) {
        return;
    }
    m_vecSamples.resize(static_cast<size_t>(nMaxOut) * static_cast<size_t>(pOut->Channels()));
    uint8_t* pDst = reinterpret_cast<uint8_t*>(m_vecSamples.data());
    const int nGot = swr_convert(m_pSwrOut.get(), &pDst, nMaxOut,
                                 const_cast<const uint8_t**>(pFrame->extended_data), pFrame->nb_samples);
    if (nGot <= 0) {
        return;
    }
    pOut->Write(m_vecSamples.data(), static_cast<size_t>(nGot) * static_cast<size_t>(pOut->Channels()),
                &m_bAbort);
}

} // namespace tavrix
