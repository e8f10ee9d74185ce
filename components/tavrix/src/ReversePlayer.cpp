#include "ReversePlayer.h"

#include <pthread.h>

#include "Demuxer.h"
#include "EngineLog.h"
#include "FrameIndex.h"
#include "TimeLine.h"
#include "VideoRenderer.h"

#include <algorithm>

namespace tavrix {
namespace {
// Each of the two chunks held (shown, decoded ahead) keeps up to this many
// pictures and bytes: a long group at a large size is decoded in parts, the
// later part first, and both together stay within the memory one whole
// group of a typical recording would take.
constexpr int64_t kMaxChunkFrames = 32;
constexpr int64_t kMaxChunkBytes = 48LL * 1024 * 1024;
// A chunk's last picture comes out within the reorder depth and the frame
// threads' delay of its packet; this many packets shown after it without it
// mean it is damaged, and reading on to the end of the file would not help.
constexpr int kMaxPacketsPastChunk = 48;
} // namespace

ReversePlayer::ReversePlayer(int nPort, Demuxer* pDemuxer, const FrameIndex* pIndex, const MediaInfo& info,
                             uint32_t nThreads)
    : m_nPort(nPort), m_pDemuxer(pDemuxer), m_pIndex(pIndex), m_info(info), m_nThreads(nThreads) {}

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
        m_pCodec->thread_count = m_nThreads > 0 ? static_cast<int>(m_nThreads)
                                 : nCores > 0   ? static_cast<int>(nCores)
                                                : 0;
        m_pCodec->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
        nErr = avcodec_open2(m_pCodec.get(), pCodec, nullptr);
    }
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "open reverse decoder", nErr);
        m_pCodec.reset();
        return false;
    }
    m_timeBase = pStream->time_base;
    m_bLeadSkipCodec =
        pStream->codecpar->codec_id == AV_CODEC_ID_H264 || pStream->codecpar->codec_id == AV_CODEC_ID_HEVC;
    const int64_t nFrameBytes = std::max<int64_t>(1, int64_t(m_info.nWidth) * m_info.nHeight * 3 / 2);
    m_nChunkFrames =
        static_cast<uint32_t>(std::clamp<int64_t>(kMaxChunkBytes / nFrameBytes, 2, kMaxChunkFrames));
    return true;
}

void ReversePlayer::Start(VideoRenderer* pRenderer, int64_t nFirst) {
    Stop();
    m_bAbort = false;
    m_pRenderer = pRenderer;
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_pReady.reset();
        m_bDecodeDone = false;
    }
    // A turn back within the chunk last shown needs no decoding: the decode
    // thread starts below it.
    int64_t nDecodeFrom = nFirst;
    if (m_pShowing && nFirst >= m_pShowing->nFrom && nFirst <= m_pShowing->nTo) {
        nDecodeFrom = static_cast<int64_t>(m_pShowing->nFrom) - 1;
    } else {
        m_pShowing.reset();
    }
    m_threadDecode = std::thread(&ReversePlayer::RunDecode, this, nDecodeFrom);
    m_threadPush = std::thread(&ReversePlayer::RunPush, this, nFirst);
}

void ReversePlayer::Stop() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bAbort = true;
    }
    m_cv.notify_all();
    if (m_threadPush.joinable()) {
        m_threadPush.join();
    }
    if (m_threadDecode.joinable()) {
        m_threadDecode.join();
    }
    std::lock_guard<std::mutex> lock(m_mtx);
    m_pReady.reset();
}

void ReversePlayer::RunPush(int64_t nFirst) {
    pthread_setname_np(pthread_self(), "tavrix-reverse"); // names the thread in debuggers and top
    for (int64_t n = nFirst; n >= 0 && !m_bAbort.load(); --n) {
        const uint32_t nFrame = static_cast<uint32_t>(n);
        if (!m_pShowing || nFrame < m_pShowing->nFrom || nFrame > m_pShowing->nTo) {
            // Let go of the shown chunk first: the decode thread starts the
            // one after next only then, so two chunks at most are held.
            m_pShowing.reset();
            m_pShowing = TakeChunk();
            if (!m_pShowing) {
                break;
            }
            if (nFrame < m_pShowing->nFrom || nFrame > m_pShowing->nTo) {
                m_pShowing.reset(); // cannot happen: chunks follow each other down to frame 0
                break;
            }
        }
        if (m_pShowing->mapFrames.count(nFrame) != 0 && !PushFrame(*m_pShowing, nFrame)) {
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

std::unique_ptr<ReversePlayer::Chunk> ReversePlayer::TakeChunk() {
    std::unique_lock<std::mutex> lock(m_mtx);
    m_cv.wait(lock, [this] { return m_bAbort.load() || m_pReady || m_bDecodeDone; });
    if (m_bAbort.load() || !m_pReady) {
        return nullptr;
    }
    std::unique_ptr<Chunk> pChunk = std::move(m_pReady);
    lock.unlock();
    m_cv.notify_all(); // the decode thread may start the next chunk
    return pChunk;
}

void ReversePlayer::RunDecode(int64_t nFirst) {
    pthread_setname_np(pthread_self(), "tavrix-revdec"); // names the thread in debuggers and top
    for (int64_t nTo = nFirst; nTo >= 0;) {
        {
            // Decode ahead only once the previous chunk is taken.
            std::unique_lock<std::mutex> lock(m_mtx);
            m_cv.wait(lock, [this] { return m_bAbort.load() || !m_pReady; });
            if (m_bAbort.load()) {
                return;
            }
        }
        std::unique_ptr<Chunk> pChunk = DecodeChunk(static_cast<uint32_t>(nTo));
        if (m_bAbort.load()) {
            return;
        }
        nTo = static_cast<int64_t>(pChunk->nFrom) - 1;
        {
            std::lock_guard<std::mutex> lock(m_mtx);
            m_pReady = std::move(pChunk);
        }
        m_cv.notify_all();
    }
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bDecodeDone = true;
    }
    m_cv.notify_all();
}

std::unique_ptr<ReversePlayer::Chunk> ReversePlayer::DecodeChunk(uint32_t nTo) {
    auto pChunk = std::make_unique<Chunk>();
    pChunk->nTo = nTo;
    int64_t nKey = m_pIndex->DecodeStartFor(nTo);
    if (nKey < 0) {
        nKey = 0; // footage that starts without a key frame: from its first packet
    }
    // Only the last pictures up to the chunk's end are kept: the earlier part
    // of a longer group is the next chunk, decoded again from the key frame.
    // The group is cut into parts of equal length: a short part would give
    // the decode thread too little time for the next chunk, which may need
    // the whole of the group before it.
    const uint32_t nLength = nTo + 1 - static_cast<uint32_t>(nKey);
    const uint32_t nParts = (nLength + m_nChunkFrames - 1) / m_nChunkFrames;
    pChunk->nFrom = nTo + 1 - (nLength + nParts - 1) / nParts;
    // Pictures near a key frame that need an earlier start (decode times
    // only) belong to the next chunk down.
    while (pChunk->nFrom < nTo && pChunk->nFrom > 0 &&
           std::max<int64_t>(m_pIndex->DecodeStartFor(pChunk->nFrom), 0) != nKey) {
        ++pChunk->nFrom;
    }
    // Frames that did not come out (a damaged packet, a failed seek) are
    // missing from the chunk and left out; the ones that did are exact.
    if (!DecodeInto(pChunk.get(), static_cast<uint32_t>(nKey)) && !m_bAbort.load()) {
        EngineLog::Warn(m_nPort, "reverse play: frames left out");
    }
    return pChunk;
}

bool ReversePlayer::DecodeInto(Chunk* pChunk, uint32_t nKey) {
    const FrameIndex::Entry* pKey = m_pIndex->EntryOfFrame(nKey);
    if (pKey == nullptr) {
        return false;
    }
    Demuxer::SeekPoint point;
    point.nKeyPts = pKey->nPts;
    point.nKeyOffset = pKey->nOffset;
    point.nKeyPos = pKey->nBytePos;
    point.bKey = pKey->bKey;
    if (!m_pDemuxer->SeekForReading(point)) {
        EngineLog::Warn(m_nPort, "reverse play: cannot seek");
        return false;
    }
    avcodec_flush_buffers(m_pCodec.get());
    m_nLastPlaced = -1;
    // Pictures outside the chunk are decoded only as references: one that
    // nothing refers to need not be decoded at all.
    const int64_t nFromPts = m_pIndex->PtsOfFrame(pChunk->nFrom);
    const int64_t nToPts = m_pIndex->PtsOfFrame(pChunk->nTo);
    bool bStarted = false;
    bool bDone = false;
    int nPastEnd = 0;
    while (!bDone && !m_bAbort.load() && nPastEnd < kMaxPacketsPastChunk) {
        PacketPtr pPacket;
        const int nRead = m_pDemuxer->ReadVideoPacket(&pPacket);
        if (nRead < 0) {
            // The end of the file: the decoder gives up what it holds.
            m_pCodec->skip_frame = AVDISCARD_DEFAULT;
            if (bStarted && avcodec_send_packet(m_pCodec.get(), nullptr) >= 0) {
                Receive(pChunk, &bDone);
            }
            break;
        }
        if (!bStarted) {
            // Nothing before the key packet: its pictures would lack
            // references. (The demuxer leaves out what comes before it.)
            if ((pPacket->flags & AV_PKT_FLAG_KEY) == 0 && pKey->bKey) {
                continue;
            }
            bStarted = true;
        }
        if (pPacket->pts != AV_NOPTS_VALUE && pPacket->pts > nToPts) {
            ++nPastEnd;
        }
        const bool bOutside = pPacket->pts != AV_NOPTS_VALUE && !m_pIndex->DecodeTimesOnly() &&
                              (pPacket->pts < nFromPts || pPacket->pts > nToPts);
        m_pCodec->skip_frame = m_bLeadSkipCodec && bOutside ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
        const int nErr = avcodec_send_packet(m_pCodec.get(), pPacket.get());
        if (nErr < 0 && nErr != AVERROR(EAGAIN)) {
            EngineLog::AvFail(m_nPort, "reverse decode", nErr);
        }
        Receive(pChunk, &bDone);
    }
    return pChunk->mapFrames.count(pChunk->nTo) != 0;
}

void ReversePlayer::Receive(Chunk* pChunk, bool* pbDone) {
    for (;;) {
        FramePtr pFrame = MakeFrame();
        if (!pFrame) {
            return;
        }
        const int nErr = avcodec_receive_frame(m_pCodec.get(), pFrame.get());
        if (nErr < 0) {
            return; // wants more input, or the end; a damaged packet loses only its own frames
        }
        const int64_t nPts = pFrame->pts != AV_NOPTS_VALUE ? pFrame->pts : pFrame->best_effort_timestamp;
        int64_t n = nPts != AV_NOPTS_VALUE ? m_pIndex->FrameOfDecodedPts(nPts, m_pCodec->has_b_frames) : -1;
        // A picture whose time the index does not know (the last one of a
        // file cut mid-picture) follows the one before it, as in forward play.
        if (n < 0 && m_nLastPlaced >= 0) {
            n = m_nLastPlaced + 1;
        }
        m_nLastPlaced = n;
        if (n < 0 || n < pChunk->nFrom || n > pChunk->nTo) {
            continue;
        }
        pChunk->mapFrames[static_cast<uint32_t>(n)] = std::move(pFrame);
        if (n == pChunk->nTo) {
            *pbDone = true;
            return;
        }
    }
}

bool ReversePlayer::PushFrame(const Chunk& chunk, uint32_t nFrame) {
    const auto it = chunk.mapFrames.find(nFrame);
    if (it == chunk.mapFrames.end()) {
        return false;
    }
    auto pOut = std::make_unique<VideoFrame>();
    // A new reference to the same picture: the chunk keeps it for a turn back.
    pOut->pFrame.reset(av_frame_clone(it->second.get()));
    if (!pOut->pFrame) {
        return false;
    }
    const int64_t nPts = m_pIndex->PtsOfFrame(nFrame);
    const int64_t nPtsUs = StampUs(nPts, m_timeBase);
    pOut->nPtsUs = nPtsUs - m_info.nFileStartUs;
    pOut->nSourcePtsUs = nPtsUs - m_info.nVideoStartUs;
    pOut->nClockUs = -pOut->nPtsUs; // the clock runs forward while the pictures go back
    // Up to the next picture in display order: what the picture covers, as
    // forward play has it.
    if (nFrame + 1 < m_pIndex->Count()) {
        const int64_t nNextUs = StampUs(m_pIndex->PtsOfFrame(nFrame + 1), m_timeBase);
        if (nNextUs > nPtsUs) {
            pOut->nSpanUs = nNextUs - nPtsUs;
        }
    }
    pOut->nFrameNum = nFrame;
    return m_pRenderer->Push(std::move(pOut));
}

} // namespace tavrix
