#include "FrameIndex.h"

#include "EngineLog.h"
#include "ReadRecovery.h"
#include "TimeLine.h"

#include <pthread.h>

#include <algorithm>
#include <system_error>

namespace tavrix {

FrameIndex::FrameIndex(int nPort) : m_nPort(nPort) {}

FrameIndex::~FrameIndex() {
    Abort();
}

int FrameIndex::InterruptCallback(void* pOpaque) {
    return static_cast<FrameIndex*>(pOpaque)->m_bAbort.load() ? 1 : 0;
}

bool FrameIndex::Start(const std::string& strUtf8Path, const std::string& strKeyHex, DoneFn fnDone) {
    if (m_thread.joinable()) {
        return false;
    }
    m_bAbort = false;
    m_bComplete = false;
    try {
        m_thread = std::thread(&FrameIndex::Run, this, strUtf8Path, strKeyHex, std::move(fnDone));
    } catch (const std::system_error&) {
        EngineLog::Warn(m_nPort, "frame index: cannot start its thread");
        return false;
    }
    return true;
}

void FrameIndex::Abort() {
    m_bAbort = true;
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void FrameIndex::Join() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void FrameIndex::Run(std::string strUtf8Path, std::string strKeyHex, DoneFn fnDone) {
    pthread_setname_np(pthread_self(), "tavrix-index");
    // The playing demuxer reads the same file and reports its faults; from
    // here FFmpeg would only repeat them, and an abort mid-read would add
    // warnings about a cut-short read that nobody needs to see. The scan's
    // own failures still reach the log through EngineLog::AvFail.
    bool bScanned = false;
    {
        EngineLog::QuietScope quiet;
        bScanned = Scan(strUtf8Path, strKeyHex);
    }
    if (!bScanned || m_bAbort.load()) {
        return;
    }
    BuildDisplayOrder();
    m_bComplete = true;
    // Checked again: an abort that came during the sort must not see the
    // done function run after it asked the scan to stop.
    if (fnDone && !m_bAbort.load()) {
        fnDone();
    }
}

FormatContextPtr FrameIndex::OpenInput(const std::string& strUtf8Path, const std::string& strKeyHex,
                                       int* pnVideo) {
    AVFormatContext* pRaw = avformat_alloc_context();
    if (pRaw == nullptr) {
        return nullptr;
    }
    pRaw->interrupt_callback.callback = &FrameIndex::InterruptCallback;
    pRaw->interrupt_callback.opaque = this;
    AVDictionary* pRawOptions = nullptr;
    if (!strKeyHex.empty()) {
        av_dict_set(&pRawOptions, "decryption_key", strKeyHex.c_str(), 0);
    }
    int nErr = avformat_open_input(&pRaw, strUtf8Path.c_str(), nullptr, &pRawOptions);
    DictPtr pUnused(pRawOptions);
    if (nErr < 0) {
        // avformat_open_input frees the context on failure.
        if (!m_bAbort.load()) {
            EngineLog::AvFail(m_nPort, "frame index: open input", nErr);
        }
        return nullptr;
    }
    FormatContextPtr pFormat(pRaw);
    // The same steps as the playing demuxer, so the same stream is chosen.
    nErr = avformat_find_stream_info(pFormat.get(), nullptr);
    if (nErr < 0) {
        if (!m_bAbort.load()) {
            EngineLog::AvFail(m_nPort, "frame index: find stream info", nErr);
        }
        return nullptr;
    }
    *pnVideo = av_find_best_stream(pFormat.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (*pnVideo < 0) {
        return nullptr;
    }
    return pFormat;
}

bool FrameIndex::Scan(const std::string& strUtf8Path, const std::string& strKeyHex) {
    int nVideo = -1;
    FormatContextPtr pFormat = OpenInput(strUtf8Path, strKeyHex, &nVideo);
    if (!pFormat) {
        return false;
    }
    // The demuxer skips the payload of discarded streams where it can.
    for (unsigned i = 0; i < pFormat->nb_streams; ++i) {
        if (static_cast<int>(i) != nVideo) {
            pFormat->streams[i]->discard = AVDISCARD_ALL;
        }
    }
    m_timeBase = pFormat->streams[nVideo]->time_base;
    PacketPtr pPacket = MakePacket();
    if (!pPacket) {
        return false;
    }
    TimeLine line(MaxGapTicks(pFormat.get(), m_timeBase));
    const AVCodecID eCodec = pFormat->streams[nVideo]->codecpar->codec_id;
    const bool bPartialGivesNothing = eCodec == AV_CODEC_ID_H264 || eCodec == AV_CODEC_ID_HEVC;
    int64_t nLastPts = 0;
    int64_t nEndPts = INT64_MIN;
    bool bLastCorrupt = false;
    int nFailures = 0;
    for (;;) {
        const int nErr = av_read_frame(pFormat.get(), pPacket.get());
        if (m_bAbort.load()) {
            return false;
        }
        if (nErr == AVERROR_EOF) {
            // A file cut short mid-write ends on a partial packet: the H.264
            // and HEVC decoders make no picture of it, MPEG-4 Part 2 and
            // Motion JPEG conceal what is missing.
            if (bLastCorrupt && bPartialGivesNothing) {
                m_vecEntries.pop_back();
            }
            break;
        }
        if (nErr < 0) {
            if (nFailures == 0) {
                EngineLog::AvFail(m_nPort, "frame index: read", nErr);
            }
            if (!ReadPastError(pFormat.get(), nErr, &nFailures)) {
                break; // what was read so far stays indexed
            }
            continue;
        }
        nFailures = 0;
        if (pPacket->stream_index == nVideo) {
            const int64_t nOffset = line.Map(pPacket->dts, pPacket->duration);
            const int64_t nPts = SaneStamp(pPacket->pts);
            const int64_t nRaw = nPts != AV_NOPTS_VALUE ? nPts : SaneStamp(pPacket->dts);
            Entry entry;
            entry.nPts = nRaw != AV_NOPTS_VALUE ? nRaw + nOffset : nLastPts;
            entry.nOffset = nRaw != AV_NOPTS_VALUE ? nOffset : 0;
            entry.nBytePos = pPacket->pos;
            entry.bKey = (pPacket->flags & AV_PKT_FLAG_KEY) != 0;
            if (pPacket->pts == AV_NOPTS_VALUE && pPacket->dts != AV_NOPTS_VALUE) {
                m_bDecodeTimesOnly = true;
            }
            nLastPts = entry.nPts;
            nEndPts =
                std::max(nEndPts, entry.nPts + std::clamp<int64_t>(pPacket->duration, 0, INT64_C(1) << 40));
            bLastCorrupt = (pPacket->flags & AV_PKT_FLAG_CORRUPT) != 0;
            m_vecEntries.push_back(entry);
        }
        av_packet_unref(pPacket.get());
    }
    m_nBreaks = line.Breaks();
    m_nEndPts = nEndPts;
    return !m_vecEntries.empty();
}

int64_t FrameIndex::MaxGapTicks(const AVFormatContext* pFormat, AVRational timeBase) {
    // Formats whose stamps may jump (transport and program streams) get a
    // leap of more than ten seconds between two pictures treated as a break,
    // as FFmpeg's own player does; elsewhere a gap is real time that passed.
    constexpr int64_t kMaxGapUs = 10 * 1000000LL;
    if ((pFormat->iformat->flags & AVFMT_TS_DISCONT) == 0) {
        return 0;
    }
    return av_rescale_q(kMaxGapUs, AV_TIME_BASE_Q, timeBase);
}

void FrameIndex::BuildDisplayOrder() {
    // Stable, so packets without a time of their own keep their read order.
    std::stable_sort(m_vecEntries.begin(), m_vecEntries.end(),
                     [](const Entry& a, const Entry& b) { return a.nPts < b.nPts; });
    m_vecKeyAtOrBefore.resize(m_vecEntries.size());
    int64_t nLastKey = -1;
    for (size_t i = 0; i < m_vecEntries.size(); ++i) {
        if (m_vecEntries[i].bKey) {
            nLastKey = static_cast<int64_t>(i);
        }
        m_vecKeyAtOrBefore[i] = nLastKey;
    }
    if (m_nEndPts == INT64_MIN && !m_vecEntries.empty()) {
        m_nEndPts = m_vecEntries.back().nPts;
    }
}

int64_t FrameIndex::DecodeStartFor(uint32_t n) const {
    int64_t nKey = KeyFrameAtOrBefore(n);
    // With decode times only, the index is in decode order: pictures shown
    // just after a key frame may come after it in the file and refer to the
    // group before it.
    constexpr int64_t kReorderMargin = 4;
    if (nKey > 0 && m_bDecodeTimesOnly && static_cast<int64_t>(n) < nKey + kReorderMargin) {
        const int64_t nBefore = KeyFrameAtOrBefore(static_cast<uint32_t>(nKey - 1));
        if (nBefore >= 0) {
            nKey = nBefore;
        }
    }
    return nKey;
}

int64_t FrameIndex::FrameOfDecodedPts(int64_t nPts, int nReorder) const {
    const int64_t n = FrameOfPts(nPts);
    if (n < 0 || !m_bDecodeTimesOnly) {
        return n;
    }
    // The picture came out when the packet nReorder later went in.
    return n >= nReorder ? n - nReorder : -1;
}

uint32_t FrameIndex::Count() const {
    return IsComplete() ? static_cast<uint32_t>(m_vecEntries.size()) : 0;
}

const FrameIndex::Entry* FrameIndex::EntryOfFrame(uint32_t n) const {
    if (!IsComplete() || n >= m_vecEntries.size()) {
        return nullptr;
    }
    return &m_vecEntries[n];
}

int64_t FrameIndex::KeyFrameAtOrBefore(uint32_t n) const {
    if (!IsComplete() || n >= m_vecKeyAtOrBefore.size()) {
        return -1;
    }
    return m_vecKeyAtOrBefore[n];
}

int64_t FrameIndex::PtsOfFrame(uint32_t n) const {
    const Entry* pEntry = EntryOfFrame(n);
    return pEntry != nullptr ? pEntry->nPts : AV_NOPTS_VALUE;
}

int64_t FrameIndex::FrameOfPts(int64_t nPts) const {
    const int64_t n = LastFrameAtOrBeforePts(nPts);
    return n >= 0 && m_vecEntries[static_cast<size_t>(n)].nPts == nPts ? n : -1;
}

int64_t FrameIndex::LastFrameAtOrBeforePts(int64_t nPts) const {
    if (!IsComplete()) {
        return -1;
    }
    // Entries are sorted by time once complete.
    const auto it = std::upper_bound(m_vecEntries.begin(), m_vecEntries.end(), nPts,
                                     [](int64_t nValue, const Entry& e) { return nValue < e.nPts; });
    return static_cast<int64_t>(it - m_vecEntries.begin()) - 1;
}

int64_t FrameIndex::NextKeyFrameAfter(uint32_t n) const {
    if (!IsComplete()) {
        return -1;
    }
    for (size_t i = static_cast<size_t>(n) + 1; i < m_vecEntries.size(); ++i) {
        if (m_vecEntries[i].bKey) {
            return static_cast<int64_t>(i);
        }
    }
    return -1;
}

AVRational FrameIndex::TimeBase() const {
    return m_timeBase;
}

} // namespace tavrix
