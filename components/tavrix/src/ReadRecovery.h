// What a reader does when the container will not hand out the next packet.
// As FFmpeg's own player does, a read that fails on damaged data is simply
// tried again: the demuxers resynchronise on their own (a transport stream on
// the next sync byte, MP4 on the next sample). An I/O error stays on the I/O
// context until cleared and would end every later read, so it is cleared. A
// run of failures with no packet between them ends the reading: what follows
// cannot be reached.
#pragma once

#include "FfmpegPtr.h"

namespace tavrix {

// Consecutive failed reads after which the rest of the file is left out.
constexpr int kMaxReadFailures = 64;

// nErr is av_read_frame's answer (not AVERROR_EOF); *pnFailures counts the
// failures since the last packet. True: read again.
inline bool ReadPastError(AVFormatContext* pFormat, int nErr, int* pnFailures) {
    if (nErr == AVERROR_EOF || nErr == AVERROR_EXIT || ++*pnFailures > kMaxReadFailures) {
        return false;
    }
    AVIOContext* pIo = pFormat->pb;
    if (pIo != nullptr) {
        if (avio_feof(pIo) && pIo->error == 0) {
            return false; // the data has ended; the failure was a packet cut short
        }
        pIo->error = 0;
        pIo->eof_reached = 0;
    }
    return true;
}

} // namespace tavrix
