#include "ReversePlayer.h"

#include <pthread.h>

#include "Demuxer.h"
#include "EngineLog.h"
#include "FrameIndex.h"
#include "VideoRenderer.h"

#include <algorithm>

namespace tavrix {
namespace {
// A group's pictures are kept up to this many, and this many bytes: a long
// group at a large size is then decoded in parts, the later part first.
constexpr size_t kMaxCachedFrames = 64;
constexpr int64_t kMaxCachedBytes = 96LL * 1024 * 1024;
} // namespace

ReversePlayer::ReversePlayer(int nPort, Demuxer* pDemuxer, const FrameIndex* pIndex, const MediaInfo& info)
    : m_nPort(nPort), m_pDemuxer(pDemuxer), m_pIndex(pIndex), m_info(info) {}

ReversePlayer::~ReversePlayer() {
    Stop();
}

bool ReversePlayer::Open() {
    const AVStream* pStream = m_pDemuxer->VideoStream();
    const AVCodec* pCodec = pStream != nullptr ? avcodec_find_decoder(pStream->codecpar->codec_id) : nullptr;
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
        const unsigned nCores = std::thread::hardware_concurrency();
        m_pCodec->thread_count = nCores > 0 ? static_cast<int>(nCores) : 0;
        m_pCodec->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
        nErr = avcodec_open2(m_pCodec.get(), pCodec, nullptr);
    }
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "open reverse decoder", nErr);
        m_pCodec.reset();
        return false;
    }
    m_timeBase = pStream->time_base;
    const int64_t nFrameBytes = std::max<int64_t>(1, int64_t(m_info.nWidth) * m_info.nHeight * 3 / 2);
    m_nMaxCached =
        static_cast<size_t>(std::clamp<int64_t>(kMaxCachedBytes / nFrameBytes, 2, kMaxCachedFrames));
    return true;
}

void ReversePlayer::Start(VideoRenderer* pRenderer, int64_t nFirst) {
    Stop();
    m_bAbort = false;
    m_pRenderer = pRenderer;
    m_thread = std::thread(&ReversePlayer::Run, this, nFirst);
}

void ReversePlayer::Stop() {
    m_bAbort = true;
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void ReversePlayer::Run(int64_t nFirst) {
    pthread_setname_np(pthread_self(), "tavrix-reverse"); // names the thread in debuggers and top
    for (int64_t n = nFirst; n >= 0 && !m_bAbort.load(); --n) {
        const uint32_t nFrame = static_cast<uint32_t>(n);
        if (m_mapCache.count(nFrame) == 0 && !DecodeGroup(nFrame)) {
            continue; // a frame that cannot be decoded is left out, never shown wrong
        }
        if (!PushFrame(nFrame)) {
            return; // the gate closed: a new command took over
        }
    }
    if (m_bAbort.load()) {
        return;
    }
    auto pEos = std::make_unique<VideoFrame>();
    pEos->bEos = true;
    m_pRenderer->Push(std::move(pEos));
}

bool ReversePlayer::PushFrame(uint32_t nFrame) {
    const auto it = m_mapCache.find(nFrame);
    if (it == m_mapCache.end()) {
        return false;
    }
    auto pOut = std::make_unique<VideoFrame>();
    // A new reference to the same picture: the cache keeps it for steps back
    // and forth within the group.
    pOut->pFrame.reset(av_frame_clone(it->second.get()));
    if (!pOut->pFrame) {
        return false;
    }
    const AVFrame* pFrame = pOut->pFrame.get();
    const int64_t nPtsUs = av_rescale_q(pFrame->pts, m_timeBase, AV_TIME_BASE_Q);
    pOut->nPtsUs = nPtsUs - m_info.nFileStartUs;
    pOut->nSourcePtsUs = nPtsUs - m_info.nVideoStartUs;
    pOut->nClockUs = -pOut->nPtsUs; // the clock runs forward while the pictures go back
    pOut->nFrameNum = nFrame;
    return m_pRenderer->Push(std::move(pOut));
}

bool ReversePlayer::DecodeGroup(uint32_t nTarget) {
    m_mapCache.clear();
    int64_t nKey = m_pIndex->KeyFrameAtOrBefore(nTarget);
    if (nKey < 0) {
        nKey = 0; // footage that starts without a key frame: from its first packet
    }
    const FrameIndex::Entry* pKey = m_pIndex->EntryOfFrame(static_cast<uint32_t>(nKey));
    if (pKey == nullptr) {
        return false;
    }
    // Only the last pictures up to the target are kept: a longer group is
    // decoded again for its earlier part when play gets there.
    const uint32_t nFrom = std::max<uint32_t>(static_cast<uint32_t>(nKey),
                                              nTarget + 1 > m_nMaxCached ? nTarget + 1 - m_nMaxCached : 0);
    Demuxer::SeekPoint point;
    point.nKeyPts = pKey->nPts;
    point.nKeyPos = pKey->nBytePos;
    if (!m_pDemuxer->SeekForReading(point)) {
        EngineLog::Warn(m_nPort, "reverse play: cannot seek");
        return false;
    }
    avcodec_flush_buffers(m_pCodec.get());
    bool bStarted = false;
    bool bDone = false;
    int64_t nLastPts = 0;
    while (!bDone && !m_bAbort.load()) {
        PacketPtr pPacket;
        const int nRead = m_pDemuxer->ReadVideoPacket(&pPacket);
        if (nRead < 0) {
            // The end of the file: the decoder gives up what it holds.
            if (bStarted && avcodec_send_packet(m_pCodec.get(), nullptr) >= 0) {
                Receive(nFrom, nTarget, &bDone);
            }
            break;
        }
        const int64_t nPts = pPacket->pts != AV_NOPTS_VALUE   ? pPacket->pts
                             : pPacket->dts != AV_NOPTS_VALUE ? pPacket->dts
                                                              : nLastPts;
        nLastPts = nPts;
        if (!bStarted) {
            // Nothing before the key packet: its pictures would lack references.
            const bool bKey = (pPacket->flags & AV_PKT_FLAG_KEY) != 0 || pKey->bKey == false;
            if (!bKey || nPts != pKey->nPts) {
                continue;
            }
            bStarted = true;
        }
        const int nErr = avcodec_send_packet(m_pCodec.get(), pPacket.get());
        if (nErr < 0 && nErr != AVERROR(EAGAIN)) {
            EngineLog::AvFail(m_nPort, "reverse decode", nErr);
        }
        if (!Receive(nFrom, nTarget, &bDone)) {
            return false;
        }
    }
    return m_mapCache.count(nTarget) != 0;
}

bool ReversePlayer::Receive(uint32_t nFrom, uint32_t nTarget, bool* pbDone) {
    for (;;) {
        FramePtr pFrame = MakeFrame();
        if (!pFrame) {
            return false;
        }
        const int nErr = avcodec_receive_frame(m_pCodec.get(), pFrame.get());
        if (nErr < 0) {
            return true; // wants more input, or the end; a damaged packet loses only its own frames
        }
        const int64_t nPts = pFrame->pts != AV_NOPTS_VALUE ? pFrame->pts : pFrame->best_effort_timestamp;
        const int64_t n = m_pIndex->FrameOfPts(nPts);
        if (n < 0 || n < nFrom || n > nTarget) {
            continue;
        }
        m_mapCache[static_cast<uint32_t>(n)] = std::move(pFrame);
        if (n == nTarget) {
            *pbDone = true;
            return true;
        }
    }
}

} // namespace tavrix
