// The converter's work as a job: one recording to MP4 (H.264 and AAC). The
// window and the command line run the same job.
#pragma once

#include "MediaTranscoder.h"
#include "ToolJob.h"

#include <string>

namespace velquintools {

struct ConvertRequest {
    std::string strIn;
    std::string strOut;
    bool bOverwrite = false; // an existing file of the output's name may be replaced
    TranscodeSettings settings;
};

class ConvertJob {
public:
    static JobFn Make(ConvertRequest request);
    // "WIDTHxHEIGHT" (HEIGHT 0: in proportion) into the settings; false for
    // anything else or a size out of 16..8192.
    static bool ParseSize(const std::string& strSize, TranscodeSettings& settings);
    // Beside the input: NAME_h264.mp4.
    static std::string DefaultOutput(const std::string& strIn);
};

} // namespace velquintools
