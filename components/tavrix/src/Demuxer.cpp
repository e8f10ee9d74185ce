#include "Demuxer.h"

#include <pthread.h>

#include "CallbackSet.h"
#include "EngineLog.h"
#include "FrameIndex.h"
#include "ReadRecovery.h"
#include "GlobalTime.h"
#include "Tavrix.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tavrix {
namespace {
// Beyond this many bytes in both queues the demuxer waits whatever the
// durations say: a stalled consumer must not make memory grow without end.
// (Sound decoded for nobody never waits on the picture without a bound, so
// a long stretch without pictures cannot hold the queues full for good.)
constexpr int64_t kMaxQueuedBytes = 16 * 1024 * 1024;

void ShiftStamps(AVPacket* pPacket, int64_t nOffset) {
    if (pPacket->pts != AV_NOPTS_VALUE) {
        pPacket->pts += nOffset;
    }
    if (pPacket->dts != AV_NOPTS_VALUE) {
        pPacket->dts += nOffset;
    }
}
} // namespace

Demuxer::Demuxer(int nPort, CallbackSet* pCallbacks)
    : m_nPort(nPort), m_pCallbacks(pCallbacks), m_videoQueue([this] { NotifyRoom(); }),
      m_audioQueue([this] { NotifyRoom(); }) {}

Demuxer::~Demuxer() {
    Stop();
}

int Demuxer::InterruptCallback(void* pOpaque) {
    return static_cast<Demuxer*>(pOpaque)->m_bAbort.load() ? 1 : 0;
}

AVStream* Demuxer::VideoStream() const {
    return m_nVideoIndex >= 0 ? m_pFormat->streams[m_nVideoIndex] : nullptr;
}

AVStream* Demuxer::AudioStream() const {
    return m_nAudioIndex >= 0 ? m_pFormat->streams[m_nAudioIndex] : nullptr;
}

uint32_t Demuxer::Open(const std::string& strUtf8Path, const std::string& strOriginalPath,
                       const std::string& strKeyHex) {
    AVFormatContext* pRaw = avformat_alloc_context();
    if (pRaw == nullptr) {
        return TAVRIX_ERR_ALLOC_MEMORY;
    }
    pRaw->interrupt_callback.callback = &Demuxer::InterruptCallback;
    pRaw->interrupt_callback.opaque = this;
    AVDictionary* pRawOptions = nullptr;
    if (!strKeyHex.empty()) {
        // The MP4 demuxer decrypts Common Encryption (AES-128 CTR) itself
        // when given the key; other demuxers leave the option unused.
        av_dict_set(&pRawOptions, "decryption_key", strKeyHex.c_str(), 0);
        m_bHasKey = true;
    }
    // avformat_open_input replaces the dictionary with the unused options.
    int nErr = avformat_open_input(&pRaw, strUtf8Path.c_str(), nullptr, &pRawOptions);
    DictPtr pUnused(pRawOptions);
    if (nErr < 0) {
        // avformat_open_input frees the context on failure.
        EngineLog::AvFail(m_nPort, "open input", nErr);
        return TAVRIX_ERR_OPEN_FILE;
    }
    m_pFormat.reset(pRaw);
    nErr = avformat_find_stream_info(m_pFormat.get(), nullptr);
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "find stream info", nErr);
        return TAVRIX_ERR_OPEN_FILE;
    }
    m_nVideoIndex = av_find_best_stream(m_pFormat.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (m_nVideoIndex < 0) {
        m_nVideoIndex = -1;
        return TAVRIX_ERR_NO_VIDEO;
    }
    const AVCodecParameters* pPar = m_pFormat->streams[m_nVideoIndex]->codecpar;
    if (pPar->width <= 0 || pPar->height <= 0 || avcodec_find_decoder(pPar->codec_id) == nullptr) {
        m_nVideoIndex = -1;
        return TAVRIX_ERR_NO_VIDEO;
    }
    m_nAudioIndex = av_find_best_stream(m_pFormat.get(), AVMEDIA_TYPE_AUDIO, -1, m_nVideoIndex, nullptr, 0);
    if (m_nAudioIndex < 0) {
        m_nAudioIndex = -1;
    }
    FillInfo(strOriginalPath);
    m_videoLine.SetMaxGap(
        FrameIndex::MaxGapTicks(m_pFormat.get(), m_pFormat->streams[m_nVideoIndex]->time_base));
    if (m_nAudioIndex >= 0) {
        m_audioLine.SetMaxGap(
            FrameIndex::MaxGapTicks(m_pFormat.get(), m_pFormat->streams[m_nAudioIndex]->time_base));
    }
    return TAVRIX_NOERROR;
}

void Demuxer::FillInfo(const std::string& strOriginalPath) {
    AVStream* pVideo = VideoStream();
    m_info.nWidth = pVideo->codecpar->width;
    m_info.nHeight = pVideo->codecpar->height;
    const AVRational fps = av_guess_frame_rate(m_pFormat.get(), pVideo, nullptr);
    m_info.dFps = (fps.num > 0 && fps.den > 0) ? av_q2d(fps) : 25.0;
    if (m_pFormat->duration != AV_NOPTS_VALUE && m_pFormat->duration > 0) {
        m_info.nDurationMs = m_pFormat->duration / 1000;
    } else if (pVideo->duration != AV_NOPTS_VALUE && pVideo->duration > 0) {
        m_info.nDurationMs = av_rescale_q(pVideo->duration, pVideo->time_base, AVRational{1, 1000});
    }
    m_info.nFileStartUs = m_pFormat->start_time != AV_NOPTS_VALUE ? m_pFormat->start_time : 0;
    m_info.nVideoStartUs = pVideo->start_time != AV_NOPTS_VALUE
                               ? av_rescale_q(pVideo->start_time, pVideo->time_base, AV_TIME_BASE_Q)
                               : m_info.nFileStartUs;
    if (pVideo->nb_frames > 0) {
        m_info.nTotalFrames = static_cast<uint32_t>(pVideo->nb_frames);
    } else {
        m_info.nTotalFrames = static_cast<uint32_t>(std::llround(VideoSpanUs() * m_info.dFps / 1000000.0));
    }
    m_info.bHasAudio = m_nAudioIndex >= 0;

    const AVDictionaryEntry* pEntry = av_dict_get(m_pFormat->metadata, "creation_time", nullptr, 0);
    if (pEntry == nullptr) {
        pEntry = av_dict_get(pVideo->metadata, "creation_time", nullptr, 0);
    }
    int64_t nEpochMs = 0;
    if (pEntry != nullptr && GlobalTime::ParseIso8601(pEntry->value, &nEpochMs)) {
        m_info.bHasGlobalTime = true;
        m_info.nGlobalStartMs = nEpochMs;
    } else if (GlobalTime::ParseFileName(strOriginalPath, &nEpochMs)) {
        m_info.bHasGlobalTime = true;
        m_info.nGlobalStartMs = nEpochMs;
    }
    const AVDictionaryEntry* pMark = av_dict_get(m_pFormat->metadata, "watermark", nullptr, 0);
    m_info.strWatermark = pMark != nullptr ? pMark->value : "";
    {
        const AVDictionaryEntry* pTag = av_dict_get(m_pFormat->metadata, "fisheye", nullptr, 0);
        if (pTag == nullptr) {
            pTag = av_dict_get(pVideo->metadata, "fisheye", nullptr, 0);
        }
        const size_t nSlash = strOriginalPath.find_last_of("/\\");
        const std::string strName = nSlash == std::string::npos ? strOriginalPath : strOriginalPath.substr(nSlash + 1);
        const std::string strBase = strName.substr(0, strName.find_last_of('.'));
        m_info.bFisheye = (pTag != nullptr && std::string(pTag->value) == "1") ||
                          strBase.find("_fisheye") != std::string::npos;
    }
    for (unsigned i = 0; i < m_pFormat->nb_streams; ++i) {
        size_t nSize = 0;
        if (av_stream_get_side_data(m_pFormat->streams[i], AV_PKT_DATA_ENCRYPTION_INIT_INFO, &nSize) !=
            nullptr) {
            m_info.bEncrypted = true;
        }
    }
}

int64_t Demuxer::VideoSpanUs() const {
    // The video's own span, not the file's: a sound track that starts
    // earlier or ends later would otherwise add frames that do not exist.
    const AVStream* pVideo = VideoStream();
    if (pVideo->duration != AV_NOPTS_VALUE && pVideo->duration > 0) {
        return av_rescale_q(pVideo->duration, pVideo->time_base, AV_TIME_BASE_Q);
    }
    // Matroska keeps the end of each track as a "DURATION" tag.
    const AVDictionaryEntry* pTag = av_dict_get(pVideo->metadata, "DURATION", nullptr, 0);
    int nHour = 0, nMinute = 0;
    double dSecond = 0.0;
    if (pTag != nullptr && std::sscanf(pTag->value, "%d:%d:%lf", &nHour, &nMinute, &dSecond) == 3) {
        const int64_t nEndUs = (nHour * 3600LL + nMinute * 60LL) * 1000000LL + std::llround(dSecond * 1e6);
        const int64_t nStartUs = m_info.nVideoStartUs - m_info.nFileStartUs;
        if (nEndUs > nStartUs) {
            return nEndUs - nStartUs;
        }
    }
    const int64_t nLeadUs = m_info.nVideoStartUs - m_info.nFileStartUs;
    return std::max<int64_t>(0, m_info.nDurationMs * 1000 - nLeadUs);
}

bool Demuxer::RewindIfNeeded() {
    return !m_bHasRead || Rewind();
}

bool Demuxer::Rewind() {
    if (m_pFormat->pb != nullptr) {
        m_pFormat->pb->error = 0; // see SeekBefore
        m_pFormat->pb->eof_reached = 0;
    }
    const int64_t nStart = m_pFormat->start_time != AV_NOPTS_VALUE ? m_pFormat->start_time : 0;
    int nErr = avformat_seek_file(m_pFormat.get(), -1, INT64_MIN, nStart, nStart, 0);
    if (nErr < 0) {
        AVStream* pVideo = VideoStream();
        const int64_t nVideoStart = pVideo->start_time != AV_NOPTS_VALUE ? pVideo->start_time : 0;
        nErr = av_seek_frame(m_pFormat.get(), m_nVideoIndex, nVideoStart, AVSEEK_FLAG_BACKWARD);
    }
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "rewind to the start", nErr);
        return false;
    }
    return true;
}

bool Demuxer::Start(bool bFeedAudio) {
    Stop();
    if (!m_pFormat) {
        return false;
    }
    m_bAbort = false;
    m_deqReadAhead.clear();
    if (!RewindIfNeeded()) {
        return false;
    }
    m_nAudioFromUs = INT64_MIN;
    ResetTimeLines(nullptr);
    StartThread(bFeedAudio, {});
    return true;
}

void Demuxer::StartThread(bool bFeedAudio, std::vector<PacketPtr> vecFirst) {
    m_bHasRead = true;
    m_bFeedAudio = bFeedAudio && m_nAudioIndex >= 0;
    {
        std::lock_guard<std::mutex> lock(m_mtxRoom);
        m_bRoomAbort = false;
    }
    m_videoQueue.Start();
    m_audioQueue.Start();
    // Packets read ahead (checking a seek) go first, before the thread adds more.
    for (PacketPtr& pPacket : vecFirst) {
        Queue(std::move(pPacket));
    }
    m_thread = std::thread(&Demuxer::Run, this);
}

bool Demuxer::SeekBefore(const SeekPoint& point, std::vector<PacketPtr>* pvecRead) {
    // A stop may have cut a read short through the interrupt callback; that
    // error stays on the I/O context until cleared, and would end the next
    // read at once.
    if (m_pFormat->pb != nullptr) {
        m_pFormat->pb->error = 0;
        m_pFormat->pb->eof_reached = 0;
    }
    // Transport streams carry no index and their time stamps may jump: the
    // byte position the frame index noted is the reliable way in. Elsewhere
    // the container's index finds the key frame by its time.
    const bool bByBytes = point.nKeyPos >= 0 && (m_pFormat->iformat->flags & AVFMT_TS_DISCONT) != 0 &&
                          (m_pFormat->iformat->flags & AVFMT_NO_BYTE_SEEK) == 0;
    const int nErr =
        bByBytes ? av_seek_frame(m_pFormat.get(), -1, point.nKeyPos, AVSEEK_FLAG_BYTE)
                 : av_seek_frame(m_pFormat.get(), m_nVideoIndex, point.RawKeyPts(), AVSEEK_FLAG_BACKWARD);
    m_bHasRead = true;
    if (nErr < 0) {
        EngineLog::AvFail(m_nPort, "seek", nErr);
        return false;
    }
    // A seek that lands after the key packet would leave the target without
    // its references: the first video packet read tells.
    for (int i = 0; i < 4096; ++i) {
        PacketPtr pPacket = MakePacket();
        if (!pPacket || ReadPacket(pPacket.get()) < 0) {
            return false;
        }
        const bool bVideo = pPacket->stream_index == m_nVideoIndex;
        const int64_t nPos = pPacket->pos;
        pvecRead->push_back(std::move(pPacket));
        if (bVideo) {
            return point.nKeyPos < 0 || nPos < 0 || nPos <= point.nKeyPos;
        }
    }
    return false;
}

bool Demuxer::SeekForReading(const SeekPoint& point) {
    Stop();
    if (!m_pFormat) {
        return false;
    }
    m_bAbort = false;
    m_deqReadAhead.clear();
    std::vector<PacketPtr> vecRead;
    if (!SeekBefore(point, &vecRead)) {
        vecRead.clear();
        if (!Rewind()) {
            return false;
        }
    }
    ResetTimeLines(&point);
    for (PacketPtr& pPacket : vecRead) {
        m_deqReadAhead.push_back(std::move(pPacket));
    }
    return true;
}

int Demuxer::ReadVideoPacket(PacketPtr* ppOut) {
    while (!m_deqReadAhead.empty()) {
        PacketPtr pPacket = std::move(m_deqReadAhead.front());
        m_deqReadAhead.pop_front();
        if (pPacket->stream_index == m_nVideoIndex && MapStamps(pPacket.get())) {
            *ppOut = std::move(pPacket);
            return 0;
        }
    }
    for (;;) {
        PacketPtr pPacket = MakePacket();
        if (!pPacket) {
            return AVERROR(ENOMEM);
        }
        const int nErr = ReadPacket(pPacket.get());
        if (nErr < 0) {
            return nErr;
        }
        if (pPacket->stream_index == m_nVideoIndex && MapStamps(pPacket.get())) {
            *ppOut = std::move(pPacket);
            return 0;
        }
    }
}

int Demuxer::ReadPacket(AVPacket* pPacket) {
    int nFailures = 0;
    for (;;) {
        const int nErr = av_read_frame(m_pFormat.get(), pPacket);
        if (nErr >= 0 || m_bAbort.load()) {
            return nErr;
        }
        if (nFailures == 0 && nErr != AVERROR_EOF) {
            EngineLog::AvFail(m_nPort, "read packet", nErr);
        }
        if (!ReadPastError(m_pFormat.get(), nErr, &nFailures)) {
            return nErr;
        }
    }
}

void Demuxer::ResetTimeLines(const SeekPoint* pAnchor) {
    m_bAudioLineStarted = false;
    if (pAnchor == nullptr) {
        // From the start of the file: the time line starts with the file.
        m_bAwaitAnchor = false;
        m_videoLine.Anchor(0);
        m_audioLine.Anchor(0);
        m_bAudioLineStarted = true;
        return;
    }
    // A jump lands at or before the key packet; the packets before it may
    // lie in another stretch of the time line, so the key packet's own
    // offset is taken again when it is met.
    m_bAwaitAnchor = true;
    m_anchor = *pAnchor;
    m_videoLine.Anchor(pAnchor->nKeyOffset);
}

bool Demuxer::MapStamps(AVPacket* pPacket) {
    pPacket->pts = SaneStamp(pPacket->pts);
    pPacket->dts = SaneStamp(pPacket->dts);
    if (pPacket->stream_index == m_nVideoIndex) {
        if (m_bAwaitAnchor && ((pPacket->flags & AV_PKT_FLAG_KEY) != 0 || !m_anchor.bKey)) {
            const int64_t nRaw = pPacket->pts != AV_NOPTS_VALUE ? pPacket->pts : pPacket->dts;
            // The key packet itself, or (where it was damaged past
            // recognition) the first key packet after it.
            const bool bByPos = m_anchor.nKeyPos >= 0 && pPacket->pos >= 0;
            if (bByPos ? pPacket->pos >= m_anchor.nKeyPos : nRaw == m_anchor.RawKeyPts()) {
                m_bAwaitAnchor = false;
                m_videoLine.Anchor(m_anchor.nKeyOffset);
            }
        }
        if (m_bAwaitAnchor) {
            // Pictures before the key packet lack their references, and their
            // place on the time line is not known: nobody gets them.
            return false;
        }
        ShiftStamps(pPacket, m_videoLine.Map(pPacket->dts, pPacket->duration));
        return true;
    }
    if (pPacket->stream_index != m_nAudioIndex) {
        return true;
    }
    if (m_bAwaitAnchor) {
        return false; // before the key packet: before the target too
    }
    if (!m_bAudioLineStarted) {
        // Sound after a jump starts in the stretch of its key picture.
        m_audioLine.Anchor(
            av_rescale_q(m_videoLine.Offset(), VideoStream()->time_base, AudioStream()->time_base));
        m_bAudioLineStarted = true;
    }
    ShiftStamps(pPacket, m_audioLine.Map(pPacket->dts, pPacket->duration));
    return true;
}

bool Demuxer::StartAt(bool bFeedAudio, const SeekPoint& point) {
    Stop();
    if (!m_pFormat) {
        return false;
    }
    m_bAbort = false;
    m_deqReadAhead.clear();
    std::vector<PacketPtr> vecRead;
    if (!SeekBefore(point, &vecRead)) {
        // Reading from the start always reaches the key packet; the decoder
        // skips what comes before it without decoding.
        vecRead.clear();
        if (!Rewind()) {
            return false;
        }
    }
    m_nAudioFromUs = point.nAudioFromUs + m_info.nFileStartUs;
    ResetTimeLines(&point);
    StartThread(bFeedAudio, std::move(vecRead));
    return true;
}

void Demuxer::Stop() {
    m_bAbort = true;
    {
        std::lock_guard<std::mutex> lock(m_mtxRoom);
        m_bRoomAbort = true;
    }
    m_cvRoom.notify_all();
    m_videoQueue.Abort();
    m_audioQueue.Abort();
    if (m_thread.joinable()) {
        m_thread.join();
    }
    m_videoQueue.Flush();
    m_audioQueue.Flush();
}

void Demuxer::NotifyRoom() {
    { std::lock_guard<std::mutex> lock(m_mtxRoom); }
    m_cvRoom.notify_all();
}

bool Demuxer::WaitForRoom() {
    std::unique_lock<std::mutex> lock(m_mtxRoom);
    m_cvRoom.wait(lock, [this] {
        if (m_bRoomAbort) {
            return true;
        }
        const int64_t nBytes = m_videoQueue.Bytes() + (m_bFeedAudio ? m_audioQueue.Bytes() : 0);
        if (nBytes > kMaxQueuedBytes) {
            return false;
        }
        // The picture sets the pace: sound decoded for nobody takes its
        // packets at once and must not let the reading run ahead.
        return !m_videoQueue.IsEnough();
    });
    return !m_bRoomAbort;
}

int64_t Demuxer::PacketDurationUs(const AVPacket& packet, AVRational timeBase) {
    // A damaged duration must not make a queue look full (or its sum overflow).
    constexpr int64_t kMaxUs = 10 * 1000000LL;
    return std::clamp<int64_t>(StampUs(packet.duration, timeBase), 0, kMaxUs);
}

bool Demuxer::Queue(PacketPtr pPacket) {
    if (!MapStamps(pPacket.get())) {
        return true;
    }
    if (pPacket->stream_index == m_nVideoIndex) {
        const AVStream* pVideo = VideoStream();
        const int64_t nDurUs = PacketDurationUs(*pPacket, pVideo->time_base);
        return m_videoQueue.Push(std::move(pPacket), nDurUs);
    }
    if (m_bFeedAudio && pPacket->stream_index == m_nAudioIndex) {
        const AVStream* pAudio = AudioStream();
        if (m_nAudioFromUs != INT64_MIN && pPacket->pts != AV_NOPTS_VALUE) {
            const int64_t nEndUs =
                StampUs(pPacket->pts, pAudio->time_base) + PacketDurationUs(*pPacket, pAudio->time_base);
            if (nEndUs < m_nAudioFromUs) {
                return true; // sound from before a jump's target
            }
        }
        const int64_t nDurUs = PacketDurationUs(*pPacket, pAudio->time_base);
        return m_audioQueue.Push(std::move(pPacket), nDurUs);
    }
    return true;
}

void Demuxer::Run() {
    pthread_setname_np(pthread_self(), "tavrix-demux"); // names the thread in debuggers and top
    while (WaitForRoom()) {
        PacketPtr pPacket = MakePacket();
        if (!pPacket) {
            break;
        }
        const int nErr = ReadPacket(pPacket.get());
        if (m_bAbort) {
            return;
        }
        if (nErr < 0) {
            // A cut-off file ends where its data ends. Damage was read past
            // already; only a file that cannot be read any further before its
            // end is reported.
            const bool bEnd = nErr == AVERROR_EOF || (m_pFormat->pb != nullptr && avio_feof(m_pFormat->pb));
            if (!bEnd) {
                m_pCallbacks->ReportRunTime(2, TAVRIX_RT_DEMUX);
            }
            break;
        }
        if (av_packet_get_side_data(pPacket.get(), AV_PKT_DATA_ENCRYPTION_INFO, nullptr) != nullptr) {
            // Encrypted samples come out still encrypted: no key was given.
            m_bSawEncrypted = true;
            if (!m_bHasKey) {
                m_pCallbacks->ReportRunTime(2, TAVRIX_RT_DECRYPT);
            }
        }
        Queue(std::move(pPacket));
    }
    m_videoQueue.PushEos();
    if (m_bFeedAudio) {
        m_audioQueue.PushEos();
    }
}

} // namespace tavrix
