// Joins recordings of one camera into one file without re-encoding: every
// packet of every stream is copied, and each following recording's time stamps
// are moved to its place on the time line (its wall-clock offset from the
// first, so gaps between recordings stay gaps and the player's clock reads the
// right time), or, when the places are unknown, to where the one before it
// ended. The time line never steps back at a join. Qt-free: FFmpeg and the
// standard library.
#pragma once

#include "MediaTranscoder.h"

#include <atomic>
#include <string>
#include <vector>

namespace velquintools {

class StreamJoiner {
public:
    // Whether the recordings can be joined by copying: the same streams in the
    // same order, each with the same codec, picture size and codec parameters
    // (for sound: rate and channels). False with the first difference in
    // LastError() ("<file>: ...").
    bool CanCopy(const std::vector<std::string>& inputs);

    // Copies the inputs, in the order given, into strOut, in the container
    // that strFinal's extension names (strOut is a temporary name, which has none).
    // creation_time of the output: strCreationTime, or the first input's own.
    // startsUs: where each input starts, microseconds from the first one's
    // start; empty: each follows the one before. On cancel or failure the
    // partial output is left to the caller, which writes under a temporary name.
    bool Run(const std::vector<std::string>& inputs, const std::string& strOut, const std::string& strFinal,
             const std::string& strCreationTime, const std::vector<int64_t>& startsUs,
             const std::atomic<bool>* pbCancel, const ProgressFn& fnProgress);

    const std::string& LastError() const { return m_strError; }
    bool Cancelled() const { return m_bCancelled; }
    // The last failure was a file that cannot be read or has no pictures.
    bool BadInput() const { return m_bBadInput; }

private:
    std::string m_strError;
    bool m_bCancelled = false;
    bool m_bBadInput = false;
};

} // namespace velquintools
