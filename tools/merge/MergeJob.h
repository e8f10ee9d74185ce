// The merger's work as a job: recordings, already in time order, into one
// file. Copied when their streams agree (codec, size, codec parameters);
// otherwise re-encoded to MP4 (H.264 and AAC, at the first one's size) when
// re-encoding was chosen, and refused with the difference when not.
// The window and the command line run the same job. Recordings with known
// starts keep their places on the time line (TranscodeSettings::startsUs).
#pragma once

#include "MediaTranscoder.h"
#include "ToolJob.h"

#include <string>
#include <vector>

namespace velquintools {

struct MergeRequest {
    std::vector<std::string> inputs; // in time order
    std::string strOut;
    bool bReencode = false;     // allowed when copying is impossible
    bool bOverwrite = false;    // an existing file of the output's name may be replaced
    TranscodeSettings settings; // for re-encoding; strCreationTime and startsUs for both ways
};

class MergeJob {
public:
    static JobFn Make(MergeRequest request);
};

} // namespace velquintools
