// Cuts a span of a recording into a new file of the same container kind,
// copying the packets (no re-encoding): the picture stream the player shows
// and every sound stream. Qt-free: FFmpeg and the standard library.
//
// Frames are numbered in presentation order from 0, the first picture of the
// file; a time in seconds counts from that first picture. The clip starts on
// the key frame at or before the asked first frame (the pictures before the
// next key frame cannot be decoded without it) and ends on the first frame at
// or after the asked last one where the clip's packets hold every picture up
// to it and none beyond (the key-frame mode); the frames of B-picture streams come in another
// order than they are shown, so that may be a frame or two later. What the
// clip really holds is reported, so the manifest can record it.
//
// The clip's time stamps start at 0; its creation_time is the source's
// (creation_time tag, else a YYYYMMDDhhmmss stamp in the file name) plus the
// span's actual start.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "ToolJob.h"

namespace velquintools {

struct ClipRequest {
    std::string strSource;
    // The clip's path; its extension chooses the container.
    std::string strOutput;
    // The name whose extension chooses the container, when strOutput is a
    // part file that is renamed later; empty: strOutput's own.
    std::string strFormatName;
    // false: seconds, [dFrom, dTo) from the first picture; true: frame
    // numbers, dFrom to dTo both included.
    bool bFrames = false;
    double dFrom = 0.0;
    double dTo = 0.0;
    // Frame-exact: the clip starts and ends exactly on the asked frames; the
    // frames before the span's first key frame and after its last one are
    // re-encoded losslessly (H.264 sources only; see EdgeEncoder).
    bool bExact = false;
};

struct ClipOutcome {
    // The asked span: in the unit it was asked in, as asked; in the other
    // unit as far as the file holds it (frames are inclusive, the end time is
    // where the last frame ends).
    int64_t nAskedFirstFrame = -1;
    int64_t nAskedLastFrame = -1;
    double dAskedStartSec = 0.0;
    double dAskedEndSec = 0.0;
    // What the clip holds.
    int64_t nFirstFrame = -1;
    int64_t nLastFrame = -1;
    double dStartSec = 0.0;
    double dEndSec = 0.0;
    // ISO 8601 UTC ("2024-03-15T12:00:04.000000Z"); empty when the source
    // tells none.
    std::string strSourceCreationTime;
    std::string strCreationTime;
};

class ClipCutter {
public:
    // Ok, BadInput (unreadable source, span outside the file, output that
    // cannot be made), Failure or Cancelled. A clip that was not finished is
    // removed.
    static JobResult Cut(const ClipRequest& req, ClipOutcome* pOutcome, const ProgressFn& fnProgress,
                         const std::atomic<bool>& bCancel);

    // The length of a recording from its header (no packets read), for the
    // window; *pnFrames is -1 when the header does not tell. False, with the
    // reason, for a file that is no recording or that does not answer within
    // nTimeoutMs (a pipe or a stalled share must not hang the window).
    static bool ProbeLength(const std::string& strPath, double* pdSec, int64_t* pnFrames,
                            std::string* pstrWhy, int64_t nTimeoutMs);

    // Microseconds since 1970 of an ISO 8601 time (a time without a zone is
    // taken as UTC, as the player reads it); false if the text is none.
    static bool ParseIsoTime(const std::string& strText, int64_t* pnUs);
    // A recorder's stamp in a file name: YYYYMMDDhhmmss, or with _ or - between
    // the date and the time. *pnPos and *pnLength, when given, get where the
    // stamp sits in the name.
    static bool ParseNameStamp(const std::string& strFileName, int64_t* pnUs, size_t* pnPos = nullptr,
                               size_t* pnLength = nullptr);
    static std::string FormatIsoTime(int64_t nUs);
};

} // namespace velquintools
