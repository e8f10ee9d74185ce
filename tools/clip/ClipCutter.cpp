#include "ClipCutter.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <regex>
#include <set>
#include <vector>

#include "EdgeEncoder.h"
#include "FfmpegPtr.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace velquintools {

namespace {

using tavrix::FormatContextPtr;
using tavrix::PacketPtr;

// One picture packet of the source, in file (decode) order.
struct PicturePacket {
    int64_t nPts = AV_NOPTS_VALUE;
    int64_t nDts = AV_NOPTS_VALUE;
    bool bKey = false;
    bool bTimeless = false; // came without time stamps; nPts and nDts are worked out
    int64_t nShown = -1;    // frame number: rank of nPts among all pictures
};

// Shares of the progress bar: reading the source up to the span, copying it.
const double kIndexShare = 0.4;
// Decode times only rise; when there are none, shown times step back by a
// few frames at most (B-pictures). A larger step back, or a gap longer than
// this between two pictures, is a recording joined to another one.
const double kMaxStepSec = 60.0;
const double kMaxReorderSec = 1.0;

std::string ErrorText(int nError) {
    char szText[AV_ERROR_MAX_STRING_SIZE] = {0};
    av_strerror(nError, szText, sizeof(szText));
    return szText;
}

std::string FormatSeconds(double dSec) {
    char szText[32];
    std::snprintf(szText, sizeof(szText), "%.3f", dSec);
    return szText;
}

// Days since 1970-01-01 of a civil date (proleptic Gregorian).
int64_t DaysFromCivil(int64_t nY, unsigned nM, unsigned nD) {
    nY -= nM <= 2;
    const int64_t nEra = (nY >= 0 ? nY : nY - 399) / 400;
    const unsigned nYoe = static_cast<unsigned>(nY - nEra * 400);
    const unsigned nDoy = (153 * (nM + (nM > 2 ? -3 : 9)) + 2) / 5 + nD - 1;
    const unsigned nDoe = nYoe * 365 + nYoe / 4 - nYoe / 100 + nDoy;
    return nEra * 146097 + static_cast<int64_t>(nDoe) - 719468;
}

void CivilFromDays(int64_t nZ, int64_t* pnY, unsigned* pnM, unsigned* pnD) {
    nZ += 719468;
    const int64_t nEra = (nZ >= 0 ? nZ : nZ - 146096) / 146097;
    const unsigned nDoe = static_cast<unsigned>(nZ - nEra * 146097);
    const unsigned nYoe = (nDoe - nDoe / 1460 + nDoe / 36524 - nDoe / 146096) / 365;
    const unsigned nDoy = nDoe - (365 * nYoe + nYoe / 4 - nYoe / 100);
    const unsigned nMp = (5 * nDoy + 2) / 153;
    *pnD = nDoy - (153 * nMp + 2) / 5 + 1;
    *pnM = nMp < 10 ? nMp + 3 : nMp - 9;
    *pnY = static_cast<int64_t>(nYoe) + nEra * 400 + (*pnM <= 2);
}

bool MakeTimeUs(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond, int64_t nFracUs,
                int64_t* pnUs) {
    if (nYear < 1970 || nMonth < 1 || nMonth > 12 || nDay < 1 || nDay > 31 || nHour > 23 || nMinute > 59 ||
        nSecond > 59)
        return false;
    // A day past the month's end is no date (20240230...).
    const int64_t nDays = DaysFromCivil(nYear, static_cast<unsigned>(nMonth), static_cast<unsigned>(nDay));
    int64_t nY = 0;
    unsigned nM = 0, nD = 0;
    CivilFromDays(nDays, &nY, &nM, &nD);
    if (static_cast<int>(nM) != nMonth)
        return false;
    *pnUs = ((nDays * 24 + nHour) * 60 + nMinute) * 60 * 1000000LL + nSecond * 1000000LL + nFracUs;
    return true;
}

int Digits(const std::string& str, size_t nPos, size_t nCount) {
    return std::stoi(str.substr(nPos, nCount));
}

// The source's creation time in microseconds since 1970; false if it has none.
bool SourceCreationUs(AVFormatContext* pIn, const std::string& strPath, int64_t* pnUs) {
    const AVDictionaryEntry* pTag = av_dict_get(pIn->metadata, "creation_time", nullptr, 0);
    if (pTag && ClipCutter::ParseIsoTime(pTag->value, pnUs))
        return true;
    const size_t nSlash = strPath.find_last_of("/\\");
    return ClipCutter::ParseNameStamp(nSlash == std::string::npos ? strPath : strPath.substr(nSlash + 1),
                                      pnUs);
}

// FFmpeg's blocking reads and writes ask this between tries: a cancel (or a
// probe's deadline) ends them, so that no one waits for data that never comes.
int CancelInterrupt(void* pOpaque) {
    return static_cast<const std::atomic<bool>*>(pOpaque)->load() ? 1 : 0;
}

int DeadlineInterrupt(void* pOpaque) {
    return std::chrono::steady_clock::now() >=
                   *static_cast<const std::chrono::steady_clock::time_point*>(pOpaque)
               ? 1
               : 0;
}

// Opens the source for reading; empty and a message when it cannot be read.
FormatContextPtr OpenSource(const std::string& strPath, const AVIOInterruptCB& interrupt,
                            std::string* pstrWhy) {
    AVFormatContext* pRaw = avformat_alloc_context();
    if (!pRaw) {
        *pstrWhy = "Out of memory.";
        return nullptr;
    }
    pRaw->interrupt_callback = interrupt;
    int nErr = avformat_open_input(&pRaw, strPath.c_str(), nullptr, nullptr); // frees pRaw on failure
    if (nErr < 0) {
        *pstrWhy = "Cannot read " + strPath + ": " + ErrorText(nErr);
        return nullptr;
    }
    FormatContextPtr pIn(pRaw);
    nErr = avformat_find_stream_info(pIn.get(), nullptr);
    if (nErr < 0) {
        *pstrWhy = "Not a recording: " + strPath + " (" + ErrorText(nErr) + ")";
        return nullptr;
    }
    return pIn;
}

// FFmpeg reads almost anything: a text file as ANSI art, a picture as a
// one-frame film. Neither is a recording to cut.
bool IsRecording(const AVFormatContext* pIn, int nVideo) {
    const std::string strFormat = pIn->iformat->name;
    if (strFormat == "tty" || strFormat.compare(0, 6, "image2") == 0 ||
        (strFormat.size() > 5 && strFormat.compare(strFormat.size() - 5, 5, "_pipe") == 0))
        return false;
    return pIn->streams[nVideo]->codecpar->codec_id != AV_CODEC_ID_ANSI;
}

class Cutter {
public:
    Cutter(const ClipRequest& req, ClipOutcome* pOut, const ProgressFn& fnProgress,
           const std::atomic<bool>& bCancel)
        : m_req(req), m_pOut(pOut), m_fnProgress(fnProgress), m_bCancel(bCancel) {}

    JobResult Run();

private:
    JobResult Index();
    JobResult FillMissingTimes();
    int64_t FrameTicks() const;
    JobResult ChooseSpan();
    void FillCreationTime();
    JobResult PlanExact(int64_t nFirst, int64_t nLast);
    JobResult ExactPicture(AVPacket* pPkt, size_t nPacket);
    JobResult WriteEdge(EdgeEncoder* pEdge, AVPacket* pPkt, bool bLast);
    JobResult OpenOutput();
    JobResult Copy();
    JobResult KeyFramePicture(AVPacket* pPkt, size_t nPacket);
    JobResult WritePicture(AVPacket* pPkt, int64_t nDts);
    // The last packet, from nFrom on in decode order, at which the packets
    // taken hold every frame from nFrom's to the highest taken, and that
    // reaches nTarget; *pnMaxShown gets that highest frame.
    size_t WalkToFrame(size_t nFrom, int64_t nTarget, int64_t* pnMaxShown) const;
    bool Progress(double dValue) {
        if (m_fnProgress)
            m_fnProgress(dValue);
        return !m_bCancel;
    }
    double SecondsOf(int64_t nShown) const {
        return (m_vecShownPts[static_cast<size_t>(nShown)] - m_vecShownPts[0]) * av_q2d(m_tbVideo);
    }
    // Where frame nShown ends: the next frame's time, or for the last one its
    // time plus one frame's length.
    int64_t EndPtsOf(int64_t nShown) const;

    const ClipRequest& m_req;
    ClipOutcome* m_pOut;
    const ProgressFn& m_fnProgress;
    const std::atomic<bool>& m_bCancel;

    FormatContextPtr m_pIn;
    FormatContextPtr m_pOutCtx; // avformat_close_input also frees an output context and closes its file
    int m_nVideo = -1;
    AVRational m_tbVideo{1, 1};
    std::vector<PicturePacket> m_vecPackets;
    std::vector<int64_t> m_vecShownPts; // presentation times, sorted
    int64_t m_nKnownFrames = 0;         // frames whose numbers are certain
    bool m_bReadToEnd = false;
    // The span: packets [m_nFirstPacket, m_nLastPacket] in decode order whose
    // frame number is at least m_nFirstShown.
    size_t m_nFirstPacket = 0;
    size_t m_nLastPacket = 0;
    int64_t m_nFirstShown = 0;
    int64_t m_nStartAbsUs = 0;
    int64_t m_nEndAbsUs = 0;
    std::vector<int> m_vecOutIndex; // source stream -> clip stream, -1 not copied
    bool m_bHasSound = false;
    int64_t m_nShiftPts = 0; // source time of the clip's first frame

    // Frame-exact clips: a head re-encoded up to the next key frame, the
    // middle copied, a tail re-encoded from the last key frame; packet ranges
    // in decode order, SIZE_MAX where a part is not needed.
    size_t m_nHeadFirst = SIZE_MAX;
    size_t m_nHeadLast = SIZE_MAX;
    size_t m_nCopyFirst = SIZE_MAX;
    size_t m_nCopyLast = SIZE_MAX;
    size_t m_nTailFirst = SIZE_MAX;
    size_t m_nTailLast = SIZE_MAX;
    EdgeEncoder m_head;
    EdgeEncoder m_tail;
    int64_t m_nDelay = 0;           // the source's decode delay, kept for the re-encoded edges
    int64_t m_nLastDts = INT64_MIN; // of the last picture written
    int64_t m_nWritten = 0;         // pictures written, copied or re-encoded
    // Where the source's time stamps start over (joined recordings): the
    // pictures are indexed up to there only; -1 when they do not.
    int64_t m_nRestartFrame = -1;
    double m_dRestartSec = 0.0;
};

JobResult Cutter::Run() {
    std::string strWhy;
    m_pIn =
        OpenSource(m_req.strSource,
                   AVIOInterruptCB{&CancelInterrupt, const_cast<std::atomic<bool>*>(&m_bCancel)}, &strWhy);
    if (!m_pIn)
        return m_bCancel ? JobResult::Stopped() : JobResult::Bad(strWhy);
    m_nVideo = av_find_best_stream(m_pIn.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (m_nVideo < 0 || !IsRecording(m_pIn.get(), m_nVideo))
        return JobResult::Bad("Not a recording: " + m_req.strSource);
    m_tbVideo = m_pIn->streams[m_nVideo]->time_base;

    JobResult result = Index();
    if (!result.IsOk())
        return result;
    result = ChooseSpan();
    if (!result.IsOk())
        return result;
    result = OpenOutput();
    if (result.IsOk())
        result = Copy();
    if (!result.IsOk()) {
        m_pOutCtx.reset();
        std::remove(m_req.strOutput.c_str());
    }
    return result;
}

// Reads the picture packets from the start to a little past the span: two key
// frames past its end, so that every frame up to the end has its number and
// the packets that complete the last group are known.
JobResult Cutter::Index() {
    PacketPtr pPkt = tavrix::MakePacket();
    if (!pPkt)
        return JobResult::Fail("Out of memory.");
    const int64_t nFileSize = m_pIn->pb ? avio_size(m_pIn->pb) : -1;
    int64_t nMinPts = INT64_MAX;
    int64_t nMaxPts = INT64_MIN;
    int64_t nLastDts = AV_NOPTS_VALUE;
    const double dTb = av_q2d(m_tbVideo);
    int nKeysPastEnd = 0;
    for (;;) {
        const int nErr = av_read_frame(m_pIn.get(), pPkt.get());
        if (nErr == AVERROR_EOF) {
            m_bReadToEnd = true;
            break;
        }
        if (nErr < 0) {
            if (m_bCancel)
                return JobResult::Stopped();
            if (nErr == AVERROR(EAGAIN))
                continue;
            // A damaged tail: what was read so far is the file.
            m_bReadToEnd = true;
            break;
        }
        if (pPkt->stream_index == m_nVideo) {
            PicturePacket pic;
            pic.nDts = pPkt->dts;
            pic.nPts = pPkt->pts != AV_NOPTS_VALUE ? pPkt->pts : pPkt->dts;
            pic.bKey = (pPkt->flags & AV_PKT_FLAG_KEY) != 0;
            if (pic.nPts == AV_NOPTS_VALUE) {
                // A transport stream need not stamp every picture; its times
                // are worked out once the group around it is read.
                pic.bTimeless = true;
                m_vecPackets.push_back(pic);
            } else {
                // Frames are numbered by sorting their times, which is only
                // sound while the times do not start over: the file is read
                // up to there, as if it ended.
                const bool bBack = pic.nDts != AV_NOPTS_VALUE && nLastDts != AV_NOPTS_VALUE
                                       ? pic.nDts < nLastDts
                                       : nMaxPts != INT64_MIN && (nMaxPts - pic.nPts) * dTb > kMaxReorderSec;
                const int64_t nStep = pic.nDts != AV_NOPTS_VALUE && nLastDts != AV_NOPTS_VALUE
                                          ? pic.nDts - nLastDts
                                          : (nMaxPts != INT64_MIN ? pic.nPts - nMaxPts : 0);
                if (!m_vecPackets.empty() && (bBack || nStep * dTb > kMaxStepSec)) {
                    m_nRestartFrame = static_cast<int64_t>(m_vecPackets.size());
                    m_dRestartSec = (nMaxPts - nMinPts) * dTb;
                    av_packet_unref(pPkt.get());
                    m_bReadToEnd = true;
                    break;
                }
                if (pic.nDts != AV_NOPTS_VALUE)
                    nLastDts = pic.nDts;
                nMaxPts = std::max(nMaxPts, pic.nPts);
                nMinPts = std::min(nMinPts, pic.nPts);
                if (pic.bKey) {
                    const bool bPastEnd = m_req.bFrames
                                              ? static_cast<double>(m_vecPackets.size()) > m_req.dTo + 1
                                              : (pic.nPts - nMinPts) * av_q2d(m_tbVideo) > m_req.dTo;
                    if (bPastEnd && ++nKeysPastEnd > 2) {
                        av_packet_unref(pPkt.get());
                        break;
                    }
                }
                m_vecPackets.push_back(pic);
            }
        }
        av_packet_unref(pPkt.get());
        const double dRead = nFileSize > 0 ? static_cast<double>(avio_tell(m_pIn->pb)) / nFileSize : 0.0;
        if (!Progress(kIndexShare * std::min(1.0, dRead)))
            return JobResult::Stopped();
    }
    if (m_vecPackets.empty())
        return JobResult::Bad("The file holds no pictures: " + m_req.strSource);
    const JobResult filled = FillMissingTimes();
    if (!filled.IsOk())
        return filled;

    m_vecShownPts.reserve(m_vecPackets.size());
    for (const PicturePacket& pic : m_vecPackets)
        m_vecShownPts.push_back(pic.nPts);
    std::sort(m_vecShownPts.begin(), m_vecShownPts.end());
    for (PicturePacket& pic : m_vecPackets)
        pic.nShown =
            std::lower_bound(m_vecShownPts.begin(), m_vecShownPts.end(), pic.nPts) - m_vecShownPts.begin();
    m_nKnownFrames = static_cast<int64_t>(m_vecShownPts.size());
    if (!m_bReadToEnd) {
        // Frames after the last key frame read may still miss pictures that
        // come later in the file; their numbers are not certain.
        for (auto it = m_vecPackets.rbegin(); it != m_vecPackets.rend(); ++it) {
            if (it->bKey) {
                m_nKnownFrames = it->nShown;
                break;
            }
        }
    }
    return JobResult::Success();
}

int64_t Cutter::FrameTicks() const {
    const AVStream* pSt = m_pIn->streams[m_nVideo];
    AVRational rate = pSt->avg_frame_rate.num > 0 ? pSt->avg_frame_rate : pSt->r_frame_rate;
    if (rate.num <= 0 || rate.den <= 0)
        rate = AVRational{25, 1};
    return std::max<int64_t>(1, av_rescale_q(1, av_inv_q(rate), m_tbVideo));
}

int64_t Cutter::EndPtsOf(int64_t nShown) const {
    const size_t n = static_cast<size_t>(nShown);
    if (n + 1 < m_vecShownPts.size())
        return m_vecShownPts[n + 1];
    return m_vecShownPts[n] + FrameTicks();
}

// Pictures without time stamps are pictures all the same: dropping them would
// make a clip that misses frames while its manifest counts it complete. A
// timeless picture decodes one frame after the picture before it, and is
// shown in the first free place of the frame grid at or after that time (a
// reference picture is shown after the B-pictures that precede it in decode
// order, and those carry their times).
JobResult Cutter::FillMissingTimes() {
    if (std::none_of(m_vecPackets.begin(), m_vecPackets.end(),
                     [](const PicturePacket& pic) { return pic.bTimeless; }))
        return JobResult::Success();
    const int64_t nTicks = FrameTicks();
    std::set<int64_t> setShown;
    for (const PicturePacket& pic : m_vecPackets)
        if (!pic.bTimeless)
            setShown.insert(pic.nPts);
    int64_t nPrevDts = AV_NOPTS_VALUE;
    for (PicturePacket& pic : m_vecPackets) {
        if (!pic.bTimeless) {
            if (pic.nDts != AV_NOPTS_VALUE)
                nPrevDts = pic.nDts;
            else if (nPrevDts != AV_NOPTS_VALUE)
                nPrevDts += nTicks;
            continue;
        }
        if (nPrevDts == AV_NOPTS_VALUE)
            return JobResult::Bad("The recording starts with pictures without time stamps; their place "
                                  "cannot be told: " +
                                  m_req.strSource);
        pic.nDts = nPrevDts + nTicks;
        nPrevDts = pic.nDts;
        // Walk the grid from the decode time; a place within half a frame of
        // a shown time is taken. Reordering reaches a few frames only.
        int64_t nAt = pic.nDts;
        for (int nStep = 0; nStep < 64; ++nStep) {
            const auto it = setShown.lower_bound(nAt - nTicks / 2);
            if (it == setShown.end() || *it > nAt + nTicks / 2)
                break;
            nAt = *it + nTicks;
        }
        if (setShown.count(nAt) != 0)
            return JobResult::Bad("Pictures without time stamps whose place cannot be told: " +
                                  m_req.strSource);
        pic.nPts = nAt;
        setShown.insert(nAt);
    }
    return JobResult::Success();
}

JobResult Cutter::ChooseSpan() {
    const int64_t nLastKnown = m_nKnownFrames - 1;
    const double dLength = (EndPtsOf(nLastKnown) - m_vecShownPts[0]) * av_q2d(m_tbVideo);
    const std::string strOutside = "The span lies outside the file (" + FormatSeconds(dLength) + " s, " +
                                   std::to_string(m_nKnownFrames) + " frames).";
    const bool bPastKnown = m_req.bFrames ? std::llround(m_req.dTo) > nLastKnown : m_req.dTo > dLength + 1e-6;
    if (m_nRestartFrame >= 0 && bPastKnown)
        return JobResult::Bad("The time stamps of the recording start over after frame " +
                              std::to_string(m_nRestartFrame - 1) + " (" + FormatSeconds(m_dRestartSec) +
                              " s): it holds recordings joined together, and frames or times past that "
                              "point are not certain. Only a span before it can be cut.");
    int64_t nFirst = 0;
    int64_t nLast = 0;
    if (m_req.bFrames) {
        if (m_req.dFrom < 0 || m_req.dTo < m_req.dFrom)
            return JobResult::Bad("The span is empty: the first frame must not be after the last.");
        nFirst = static_cast<int64_t>(std::llround(m_req.dFrom));
        nLast = std::min<int64_t>(static_cast<int64_t>(std::llround(m_req.dTo)), nLastKnown);
        if (nFirst > nLastKnown)
            return JobResult::Bad(strOutside);
    } else {
        if (m_req.dFrom < 0 || m_req.dTo <= m_req.dFrom)
            return JobResult::Bad("The span is empty: the start must be before the end.");
        // A microsecond of slack: times typed from a frame's shown time round.
        const double dSlack = 1e-6;
        nFirst = 0;
        while (nFirst <= nLastKnown && SecondsOf(nFirst) < m_req.dFrom - dSlack)
            ++nFirst;
        nLast = nFirst;
        while (nLast + 1 <= nLastKnown && SecondsOf(nLast + 1) < m_req.dTo - dSlack)
            ++nLast;
        if (nFirst > nLastKnown || SecondsOf(nFirst) >= m_req.dTo - dSlack)
            return JobResult::Bad(strOutside);
    }
    // The request in its own unit as it was made, even where the file ends
    // sooner; in the other unit as far as the file holds it.
    m_pOut->nAskedFirstFrame = m_req.bFrames ? std::llround(m_req.dFrom) : nFirst;
    m_pOut->nAskedLastFrame = m_req.bFrames ? std::llround(m_req.dTo) : nLast;
    m_pOut->dAskedStartSec = m_req.bFrames ? SecondsOf(nFirst) : m_req.dFrom;
    m_pOut->dAskedEndSec =
        m_req.bFrames ? (EndPtsOf(nLast) - m_vecShownPts[0]) * av_q2d(m_tbVideo) : m_req.dTo;

    // The key frame at or before the first frame.
    const int64_t nFirstPts = m_vecShownPts[static_cast<size_t>(nFirst)];
    bool bFound = false;
    for (size_t i = 0; i < m_vecPackets.size(); ++i) {
        const PicturePacket& pic = m_vecPackets[i];
        // A key frame without time stamps could not be found again by them.
        if (pic.bKey && !pic.bTimeless && pic.nPts <= nFirstPts &&
            (!bFound || pic.nPts > m_vecPackets[m_nFirstPacket].nPts)) {
            m_nFirstPacket = i;
            bFound = true;
        }
    }
    if (!bFound)
        return JobResult::Bad("No key frame at or before the span's start; the file starts mid-group.");
    m_nFirstShown = m_vecPackets[m_nFirstPacket].nShown;
    if (m_req.bExact) {
        const JobResult result = PlanExact(nFirst, nLast);
        if (result.IsOk())
            FillCreationTime();
        return result;
    }

    int64_t nMaxShown = m_nFirstShown;
    m_nLastPacket = WalkToFrame(m_nFirstPacket, nLast, &nMaxShown);
    m_nShiftPts = m_vecPackets[m_nFirstPacket].nPts;
    m_pOut->nFirstFrame = m_nFirstShown;
    m_pOut->nLastFrame = nMaxShown;
    m_pOut->dStartSec = SecondsOf(m_nFirstShown);
    m_pOut->dEndSec = (EndPtsOf(nMaxShown) - m_vecShownPts[0]) * av_q2d(m_tbVideo);
    m_nStartAbsUs =
        av_rescale_q(m_vecShownPts[static_cast<size_t>(m_nFirstShown)], m_tbVideo, AV_TIME_BASE_Q);
    m_nEndAbsUs = av_rescale_q(EndPtsOf(nMaxShown), m_tbVideo, AV_TIME_BASE_Q);
    FillCreationTime();
    return JobResult::Success();
}

size_t Cutter::WalkToFrame(size_t nFrom, int64_t nTarget, int64_t* pnMaxShown) const {
    const int64_t nStart = m_vecPackets[nFrom].nShown;
    int64_t nTaken = 0;
    int64_t nMaxShown = nStart;
    size_t nLastPacket = nFrom;
    for (size_t i = nFrom; i < m_vecPackets.size(); ++i) {
        const PicturePacket& pic = m_vecPackets[i];
        if (pic.nShown < nStart)
            continue; // leading pictures of an open group refer to the group before
        ++nTaken;
        nMaxShown = std::max(nMaxShown, pic.nShown);
        nLastPacket = i;
        if (nMaxShown >= nTarget && nTaken == nMaxShown - nStart + 1)
            break;
    }
    *pnMaxShown = nMaxShown;
    return nLastPacket;
}

JobResult Cutter::PlanExact(int64_t nFirst, int64_t nLast) {
    const AVStream* pSt = m_pIn->streams[m_nVideo];
    if (pSt->codecpar->codec_id != AV_CODEC_ID_H264)
        return JobResult::Bad(
            std::string("Frame-exact clips are made of H.264 recordings only; this one holds ") +
            avcodec_get_name(pSt->codecpar->codec_id) + ". Use the key-frame mode.");
    const auto ShownPts = [this](int64_t nShown) { return m_vecShownPts[static_cast<size_t>(nShown)]; };
    const bool bHead = m_nFirstShown != nFirst;
    // The next key frame after the first frame starts the copied middle.
    size_t nCopyFirst = bHead ? SIZE_MAX : m_nFirstPacket;
    for (size_t i = 0; bHead && i < m_vecPackets.size(); ++i) {
        const PicturePacket& pic = m_vecPackets[i];
        if (pic.bKey && pic.nShown > nFirst && pic.nShown <= nLast &&
            (nCopyFirst == SIZE_MAX || pic.nShown < m_vecPackets[nCopyFirst].nShown))
            nCopyFirst = i;
    }
    int64_t nMaxShown = 0;
    if (bHead) {
        m_nHeadFirst = m_nFirstPacket;
        m_nHeadLast =
            nCopyFirst == SIZE_MAX ? WalkToFrame(m_nFirstPacket, nLast, &nMaxShown) : nCopyFirst - 1;
        m_head.SetRange(ShownPts(nFirst), nCopyFirst == SIZE_MAX
                                              ? ShownPts(nLast)
                                              : ShownPts(m_vecPackets[nCopyFirst].nShown - 1));
    }
    if (nCopyFirst != SIZE_MAX) {
        // The last key frame of the span; copied through when a packet
        // boundary falls right on the last frame, else re-encoded from there.
        size_t nLastKey = nCopyFirst;
        for (size_t i = nCopyFirst; i < m_vecPackets.size(); ++i) {
            const PicturePacket& pic = m_vecPackets[i];
            if (pic.bKey && pic.nShown <= nLast && pic.nShown > m_vecPackets[nLastKey].nShown)
                nLastKey = i;
        }
        const size_t nEnd = WalkToFrame(nLastKey, nLast, &nMaxShown);
        if (nMaxShown == nLast) {
            m_nCopyFirst = nCopyFirst;
            m_nCopyLast = nEnd;
        } else {
            m_nTailFirst = nLastKey;
            m_nTailLast = nEnd;
            m_tail.SetRange(m_vecPackets[nLastKey].nPts, ShownPts(nLast));
            if (nLastKey > nCopyFirst) {
                m_nCopyFirst = nCopyFirst;
                m_nCopyLast = nLastKey - 1;
            }
        }
    }
    if (m_nCopyFirst != SIZE_MAX) {
        // Copying from a key frame on is only sound when no later picture
        // refers back past it.
        const int64_t nCopyStart = m_vecPackets[m_nCopyFirst].nShown;
        for (size_t i = m_nCopyFirst; i <= m_nCopyLast; ++i) {
            if (m_vecPackets[i].nShown < nCopyStart)
                return JobResult::Bad(
                    "The recording uses open groups of pictures; a frame-exact clip cannot be "
                    "made of it. Use the key-frame mode.");
        }
        const PicturePacket& key = m_vecPackets[m_nCopyFirst];
        if (key.nDts != AV_NOPTS_VALUE && key.nDts < key.nPts)
            m_nDelay = key.nPts - key.nDts;
    }
    m_nLastPacket = 0;
    for (size_t nIndex : {m_nHeadLast, m_nCopyLast, m_nTailLast}) {
        if (nIndex != SIZE_MAX)
            m_nLastPacket = std::max(m_nLastPacket, nIndex);
    }
    const int nLengthSize = EdgeEncoder::LengthSizeOf(pSt->codecpar);
    std::string strWhy;
    if ((m_nHeadFirst != SIZE_MAX && !m_head.Open(pSt, nLengthSize, &strWhy)) ||
        (m_nTailFirst != SIZE_MAX && !m_tail.Open(pSt, nLengthSize, &strWhy)))
        return JobResult::Bad(strWhy);

    m_nShiftPts = ShownPts(nFirst);
    m_pOut->nFirstFrame = nFirst;
    m_pOut->nLastFrame = nLast;
    m_pOut->dStartSec = SecondsOf(nFirst);
    m_pOut->dEndSec = (EndPtsOf(nLast) - m_vecShownPts[0]) * av_q2d(m_tbVideo);
    m_nStartAbsUs = av_rescale_q(ShownPts(nFirst), m_tbVideo, AV_TIME_BASE_Q);
    m_nEndAbsUs = av_rescale_q(EndPtsOf(nLast), m_tbVideo, AV_TIME_BASE_Q);
    return JobResult::Success();
}

void Cutter::FillCreationTime() {
    int64_t nSourceUs = 0;
    if (SourceCreationUs(m_pIn.get(), m_req.strSource, &nSourceUs)) {
        m_pOut->strSourceCreationTime = ClipCutter::FormatIsoTime(nSourceUs);
        m_pOut->strCreationTime = ClipCutter::FormatIsoTime(
            nSourceUs + static_cast<int64_t>(std::llround(m_pOut->dStartSec * 1e6)));
    }
}

JobResult Cutter::OpenOutput() {
    AVFormatContext* pRaw = nullptr;
    const std::string& strName = m_req.strFormatName.empty() ? m_req.strOutput : m_req.strFormatName;
    const AVOutputFormat* pFormat = av_guess_format(nullptr, strName.c_str(), nullptr);
    int nErr = pFormat ? avformat_alloc_output_context2(&pRaw, pFormat, nullptr, m_req.strOutput.c_str())
                       : AVERROR_MUXER_NOT_FOUND;
    if (nErr < 0 || !pRaw)
        return JobResult::Bad("No container of that kind: " + strName);
    m_pOutCtx.reset(pRaw);
    AVFormatContext* pOut = m_pOutCtx.get();
    pOut->interrupt_callback = m_pIn->interrupt_callback;

    m_vecOutIndex.assign(m_pIn->nb_streams, -1);
    for (unsigned i = 0; i < m_pIn->nb_streams; ++i) {
        const AVStream* pInSt = m_pIn->streams[i];
        const bool bCopy =
            static_cast<int>(i) == m_nVideo || pInSt->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
        if (!bCopy)
            continue;
        if (avformat_query_codec(pOut->oformat, pInSt->codecpar->codec_id, FF_COMPLIANCE_NORMAL) != 1 &&
            static_cast<int>(i) != m_nVideo)
            continue; // a sound the container cannot hold is left out rather than failing the clip
        AVStream* pOutSt = avformat_new_stream(pOut, nullptr);
        if (!pOutSt)
            return JobResult::Fail("Out of memory.");
        nErr = avcodec_parameters_copy(pOutSt->codecpar, pInSt->codecpar);
        if (nErr < 0)
            return JobResult::Fail("Cannot copy the stream parameters: " + ErrorText(nErr));
        // The source's tag belongs to its container; the muxer picks its own.
        pOutSt->codecpar->codec_tag = 0;
        // Re-encoded edges bring parameter sets of their own, in-band; MP4
        // says so with the avc3 sample entry.
        const bool bEdges = m_nHeadFirst != SIZE_MAX || m_nTailFirst != SIZE_MAX;
        if (static_cast<int>(i) == m_nVideo && bEdges && std::string(pOut->oformat->name) == "mp4")
            pOutSt->codecpar->codec_tag = MKTAG('a', 'v', 'c', '3');
        pOutSt->time_base = pInSt->time_base;
        pOutSt->disposition = pInSt->disposition;
        av_dict_copy(&pOutSt->metadata, pInSt->metadata, 0);
        m_vecOutIndex[i] = pOutSt->index;
        if (static_cast<int>(i) != m_nVideo)
            m_bHasSound = true;
    }
    av_dict_copy(&pOut->metadata, m_pIn->metadata, 0);
    if (!m_pOut->strCreationTime.empty())
        av_dict_set(&pOut->metadata, "creation_time", m_pOut->strCreationTime.c_str(), 0);

    if (!(pOut->oformat->flags & AVFMT_NOFILE)) {
        nErr = avio_open2(&pOut->pb, m_req.strOutput.c_str(), AVIO_FLAG_WRITE, &pOut->interrupt_callback,
                          nullptr);
        if (nErr < 0)
            return JobResult::Bad("Cannot write " + m_req.strOutput + ": " + ErrorText(nErr));
    }
    nErr = avformat_write_header(pOut, nullptr);
    if (nErr < 0)
        return JobResult::Fail("Cannot start the clip " + m_req.strOutput + ": " + ErrorText(nErr));
    return JobResult::Success();
}

JobResult Cutter::Copy() {
    PacketPtr pPkt = tavrix::MakePacket();
    if (!pPkt)
        return JobResult::Fail("Out of memory.");
    const PicturePacket& key = m_vecPackets[m_nFirstPacket];
    // To the key frame by its time; when the demuxer lands past it (some
    // containers seek by guess), read from the file's start instead.
    bool bSeekOk = av_seek_frame(m_pIn.get(), m_nVideo, key.nDts != AV_NOPTS_VALUE ? key.nDts : key.nPts,
                                 AVSEEK_FLAG_BACKWARD) >= 0;
    bool bRestarted = false;
    if (!bSeekOk) {
        bRestarted = true;
        if (avformat_seek_file(m_pIn.get(), -1, INT64_MIN, INT64_MIN, INT64_MIN, 0) < 0)
            return JobResult::Fail("Cannot go back to the start of " + m_req.strSource);
    }
    // Sized by the streams known when the clip was set up: a transport stream
    // may announce more on the way, which are not copied.
    std::vector<int64_t> vecSoundUs(m_vecOutIndex.size(), INT64_MIN);
    size_t nPacket = SIZE_MAX; // decode index of the picture packet just read; SIZE_MAX before the key
    bool bVideoDone = false;
    const int64_t nSpanUs = std::max<int64_t>(1, m_nEndAbsUs - m_nStartAbsUs);
    int nErr = 0;
    for (;;) {
        nErr = av_read_frame(m_pIn.get(), pPkt.get());
        if (nErr == AVERROR(EAGAIN) && !m_bCancel)
            continue;
        if (nErr < 0)
            break;
        AVPacket* p = pPkt.get();
        const int nIn = p->stream_index;
        const bool bKnownStream = nIn >= 0 && static_cast<size_t>(nIn) < m_vecOutIndex.size();
        bool bWrite = false;
        if (nIn == m_nVideo && !bVideoDone) {
            int64_t nPts = p->pts != AV_NOPTS_VALUE ? p->pts : p->dts;
            if (nPts == AV_NOPTS_VALUE && nPacket == SIZE_MAX) {
                av_packet_unref(p); // before the span's key frame: nothing to match it with
                continue;
            }
            if (nPacket == SIZE_MAX) {
                if (nPts == key.nPts && p->dts == key.nDts && (p->flags & AV_PKT_FLAG_KEY)) {
                    nPacket = m_nFirstPacket;
                } else if (!bRestarted && p->dts != AV_NOPTS_VALUE && key.nDts != AV_NOPTS_VALUE &&
                           p->dts > key.nDts) {
                    // Landed past the key frame: start over from the file's start.
                    av_packet_unref(p);
                    bRestarted = true;
                    if (avformat_seek_file(m_pIn.get(), -1, INT64_MIN, INT64_MIN, INT64_MIN, 0) < 0)
                        return JobResult::Fail("Cannot go back to the start of " + m_req.strSource);
                    continue;
                }
            } else {
                ++nPacket;
            }
            if (nPacket != SIZE_MAX && nPacket < m_vecPackets.size()) {
                // A timeless picture takes the times worked out for it.
                const PicturePacket& pic = m_vecPackets[nPacket];
                if (pic.bTimeless) {
                    p->pts = pic.nPts;
                    p->dts = pic.nDts;
                    nPts = pic.nPts;
                }
                if (nPacket >= m_nLastPacket)
                    bVideoDone = true;
                const JobResult result =
                    m_req.bExact ? ExactPicture(p, nPacket) : KeyFramePicture(p, nPacket);
                if (!result.IsOk())
                    return result;
                const int64_t nAtUs = av_rescale_q(nPts, m_tbVideo, AV_TIME_BASE_Q);
                if (!Progress(kIndexShare +
                              (1.0 - kIndexShare) * std::min(1.0, double(nAtUs - m_nStartAbsUs) / nSpanUs)))
                    return JobResult::Stopped();
            }
        } else if (bKnownStream && m_vecOutIndex[static_cast<size_t>(nIn)] >= 0 && nIn != m_nVideo) {
            const AVRational tb = m_pIn->streams[nIn]->time_base;
            const int64_t nPts = p->pts != AV_NOPTS_VALUE ? p->pts : p->dts;
            if (nPts != AV_NOPTS_VALUE) {
                const int64_t nAtUs = av_rescale_q(nPts, tb, AV_TIME_BASE_Q);
                // After a restart from the file's start, sound already written
                // comes again: only later packets are taken.
                int64_t& nLastUs = vecSoundUs[static_cast<size_t>(nIn)];
                if (nAtUs >= m_nStartAbsUs && nAtUs < m_nEndAbsUs && nAtUs > nLastUs) {
                    nLastUs = nAtUs;
                    const int64_t nShift = av_rescale_q(m_nStartAbsUs, AV_TIME_BASE_Q, tb);
                    p->pts = nPts - nShift;
                    p->dts = p->dts != AV_NOPTS_VALUE ? p->dts - nShift : AV_NOPTS_VALUE;
                    bWrite = true;
                } else if (bVideoDone && nAtUs >= m_nEndAbsUs) {
                    // Sound is interleaved close to the pictures: once it
                    // passes the span's end after the last picture, the clip
                    // is complete.
                    av_packet_unref(p);
                    break;
                }
            }
        }
        if (bWrite) {
            const int nOut = m_vecOutIndex[static_cast<size_t>(nIn)];
            av_packet_rescale_ts(p, m_pIn->streams[nIn]->time_base, m_pOutCtx->streams[nOut]->time_base);
            p->stream_index = nOut;
            p->pos = -1;
            nErr = av_interleaved_write_frame(m_pOutCtx.get(), p); // takes the packet's data
            if (nErr < 0)
                return JobResult::Fail("Failed to write the file " + m_req.strOutput + ": " +
                                       ErrorText(nErr));
        } else {
            av_packet_unref(p);
        }
        if (m_bCancel)
            return JobResult::Stopped();
        if (bVideoDone && !m_bHasSound)
            break;
    }
    if (m_bCancel)
        return JobResult::Stopped();
    if (nErr < 0 && nErr != AVERROR_EOF && !bVideoDone)
        return JobResult::Fail("Cannot read " + m_req.strSource + ": " + ErrorText(nErr));
    if (nPacket == SIZE_MAX)
        return JobResult::Fail("The key frame of the span was not found again in " + m_req.strSource);
    // The manifest will state the span; a clip that holds another number of
    // pictures than it says is not kept.
    const int64_t nPlanned = m_pOut->nLastFrame - m_pOut->nFirstFrame + 1;
    if (m_nWritten != nPlanned)
        return JobResult::Fail("The clip would hold " + std::to_string(m_nWritten) + " frames where " +
                               std::to_string(nPlanned) + " were planned (frames " +
                               std::to_string(m_pOut->nFirstFrame) + " to " +
                               std::to_string(m_pOut->nLastFrame) + "); it was not kept.");
    nErr = av_write_trailer(m_pOutCtx.get());
    if (nErr < 0)
        return JobResult::Fail("Failed to write the file " + m_req.strOutput + ": " + ErrorText(nErr));
    m_pOutCtx.reset();
    return JobResult::Success();
}

JobResult Cutter::WritePicture(AVPacket* pPkt, int64_t nDts) {
    const int nOut = m_vecOutIndex[m_nVideo];
    if (nDts != AV_NOPTS_VALUE)
        m_nLastDts = nDts;
    pPkt->pts -= m_nShiftPts;
    pPkt->dts = nDts != AV_NOPTS_VALUE ? nDts - m_nShiftPts : AV_NOPTS_VALUE;
    av_packet_rescale_ts(pPkt, m_tbVideo, m_pOutCtx->streams[nOut]->time_base);
    pPkt->stream_index = nOut;
    pPkt->pos = -1;
    const int nErr = av_interleaved_write_frame(m_pOutCtx.get(), pPkt); // takes the packet's data
    if (nErr < 0)
        return JobResult::Fail("Failed to write the file " + m_req.strOutput + ": " + ErrorText(nErr));
    ++m_nWritten;
    return JobResult::Success();
}

JobResult Cutter::KeyFramePicture(AVPacket* pPkt, size_t nPacket) {
    if (m_vecPackets[nPacket].nShown < m_nFirstShown || nPacket > m_nLastPacket)
        return JobResult::Success();
    pPkt->pts = m_vecPackets[nPacket].nPts;
    return WritePicture(pPkt, pPkt->dts);
}

JobResult Cutter::WriteEdge(EdgeEncoder* pEdge, AVPacket* pPkt, bool bLast) {
    std::vector<PacketPtr> vecOut;
    std::string strWhy;
    if (!pEdge->SendPacket(pPkt, &vecOut, &strWhy) || (bLast && !pEdge->Finish(&vecOut, &strWhy)))
        return JobResult::Fail(strWhy);
    for (PacketPtr& pOut : vecOut) {
        // No B-pictures in an edge: its decode times trail its own times by
        // the source's delay, so that the copied pictures keep theirs.
        int64_t nDts = pOut->pts - m_nDelay;
        if (m_nLastDts != INT64_MIN && nDts <= m_nLastDts)
            nDts = m_nLastDts + 1;
        if (nDts > pOut->pts)
            return JobResult::Fail("The re-encoded frames do not fit between the copied ones.");
        const size_t nShown = static_cast<size_t>(
            std::lower_bound(m_vecShownPts.begin(), m_vecShownPts.end(), pOut->pts) - m_vecShownPts.begin());
        if (pOut->duration <= 0 && nShown < m_vecShownPts.size())
            pOut->duration = EndPtsOf(static_cast<int64_t>(nShown)) - pOut->pts;
        const JobResult result = WritePicture(pOut.get(), nDts);
        if (!result.IsOk())
            return result;
    }
    return JobResult::Success();
}

JobResult Cutter::ExactPicture(AVPacket* pPkt, size_t nPacket) {
    if (m_nHeadFirst != SIZE_MAX && nPacket >= m_nHeadFirst && nPacket <= m_nHeadLast)
        return WriteEdge(&m_head, pPkt, nPacket == m_nHeadLast);
    if (m_nCopyFirst != SIZE_MAX && nPacket >= m_nCopyFirst && nPacket <= m_nCopyLast) {
        // After a re-encoded head the source's parameter sets come again in
        // front of the first copied key frame.
        if (nPacket == m_nCopyFirst && m_nHeadFirst != SIZE_MAX) {
            const AVCodecParameters* pPar = m_pIn->streams[m_nVideo]->codecpar;
            if (!EdgeEncoder::Prepend(
                    pPkt, EdgeEncoder::SourceParameterSets(pPar, EdgeEncoder::LengthSizeOf(pPar))))
                return JobResult::Fail("Out of memory.");
        }
        pPkt->pts = m_vecPackets[nPacket].nPts;
        if (pPkt->dts != AV_NOPTS_VALUE && m_nLastDts != INT64_MIN && pPkt->dts <= m_nLastDts)
            return JobResult::Fail(
                "The decode times of the recording do not rise; a frame-exact clip cannot be "
                "made of it. Use the key-frame mode.");
        return WritePicture(pPkt, pPkt->dts);
    }
    if (m_nTailFirst != SIZE_MAX && nPacket >= m_nTailFirst && nPacket <= m_nTailLast)
        return WriteEdge(&m_tail, pPkt, nPacket == m_nTailLast);
    return JobResult::Success();
}

} // namespace

JobResult ClipCutter::Cut(const ClipRequest& req, ClipOutcome* pOutcome, const ProgressFn& fnProgress,
                          const std::atomic<bool>& bCancel) {
    ClipOutcome outcome;
    Cutter cutter(req, &outcome, fnProgress, bCancel);
    JobResult result = cutter.Run();
    if (pOutcome)
        *pOutcome = outcome;
    return result;
}

bool ClipCutter::ProbeLength(const std::string& strPath, double* pdSec, int64_t* pnFrames,
                             std::string* pstrWhy, int64_t nTimeoutMs) {
    const std::chrono::steady_clock::time_point deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(nTimeoutMs);
    FormatContextPtr pIn = OpenSource(
        strPath,
        AVIOInterruptCB{&DeadlineInterrupt, const_cast<std::chrono::steady_clock::time_point*>(&deadline)},
        pstrWhy);
    if (!pIn) {
        if (std::chrono::steady_clock::now() >= deadline)
            *pstrWhy = "The file did not answer in time: " + strPath;
        return false;
    }
    const int nVideo = av_find_best_stream(pIn.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (nVideo < 0 || !IsRecording(pIn.get(), nVideo)) {
        *pstrWhy = "Not a recording: " + strPath;
        return false;
    }
    const AVStream* pSt = pIn->streams[nVideo];
    *pdSec = pIn->duration > 0 ? pIn->duration / double(AV_TIME_BASE) : 0.0;
    if (pSt->duration > 0)
        *pdSec = pSt->duration * av_q2d(pSt->time_base);
    *pnFrames = pSt->nb_frames > 0 ? pSt->nb_frames : -1;
    return true;
}

bool ClipCutter::ParseIsoTime(const std::string& strText, int64_t* pnUs) {
    static const std::regex re(R"(^\s*(\d{4})-(\d{2})-(\d{2})[T ](\d{2}):(\d{2}):(\d{2})(?:\.(\d{1,9}))?)");
    std::smatch m;
    if (!std::regex_search(strText, m, re))
        return false;
    std::string strFrac = m[7].matched ? m[7].str() : std::string();
    strFrac = (strFrac + "000000").substr(0, 6);
    return MakeTimeUs(std::stoi(m[1]), std::stoi(m[2]), std::stoi(m[3]), std::stoi(m[4]), std::stoi(m[5]),
                      std::stoi(m[6]), std::stoll(strFrac), pnUs);
}

bool ClipCutter::ParseNameStamp(const std::string& strFileName, int64_t* pnUs, size_t* pnPos,
                                size_t* pnLength) {
    // Runs of digits: 14 in one, or 8 and 6 joined by _ or -. A longer number
    // is not a stamp.
    size_t i = 0;
    while (i < strFileName.size()) {
        if (!std::isdigit(static_cast<unsigned char>(strFileName[i]))) {
            ++i;
            continue;
        }
        size_t nEnd = i;
        while (nEnd < strFileName.size() && std::isdigit(static_cast<unsigned char>(strFileName[nEnd])))
            ++nEnd;
        std::string strDigits;
        size_t nNext = nEnd;
        if (nEnd - i == 14) {
            strDigits = strFileName.substr(i, 14);
        } else if (nEnd - i == 8 && nEnd + 7 <= strFileName.size() &&
                   (strFileName[nEnd] == '_' || strFileName[nEnd] == '-')) {
            size_t nTimeEnd = nEnd + 1;
            while (nTimeEnd < strFileName.size() &&
                   std::isdigit(static_cast<unsigned char>(strFileName[nTimeEnd])))
                ++nTimeEnd;
            if (nTimeEnd - nEnd - 1 == 6) {
                strDigits = strFileName.substr(i, 8) + strFileName.substr(nEnd + 1, 6);
                nNext = nTimeEnd;
            }
        }
        if (!strDigits.empty() && MakeTimeUs(Digits(strDigits, 0, 4), Digits(strDigits, 4, 2),
                                             Digits(strDigits, 6, 2), Digits(strDigits, 8, 2),
                                             Digits(strDigits, 10, 2), Digits(strDigits, 12, 2), 0, pnUs)) {
            if (pnPos)
                *pnPos = i;
            if (pnLength)
                *pnLength = (nEnd - i == 14 ? nEnd : nNext) - i;
            return true;
        }
        i = nNext;
    }
    return false;
}

std::string ClipCutter::FormatIsoTime(int64_t nUs) {
    int64_t nSec = nUs / 1000000;
    int64_t nFrac = nUs % 1000000;
    if (nFrac < 0) {
        nFrac += 1000000;
        --nSec;
    }
    int64_t nDays = nSec / 86400;
    int64_t nRest = nSec % 86400;
    if (nRest < 0) {
        nRest += 86400;
        --nDays;
    }
    int64_t nY = 0;
    unsigned nM = 0, nD = 0;
    CivilFromDays(nDays, &nY, &nM, &nD);
    char szText[64];
    std::snprintf(szText, sizeof(szText), "%04lld-%02u-%02uT%02lld:%02lld:%02lld.%06lldZ",
                  static_cast<long long>(nY), nM, nD, static_cast<long long>(nRest / 3600),
                  static_cast<long long>(nRest / 60 % 60), static_cast<long long>(nRest % 60),
                  static_cast<long long>(nFrac));
    return szText;
}

} // namespace velquintools
