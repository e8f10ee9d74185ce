// Re-encodes one or more recordings, one after another, into one MP4 file with
// H.264 (libx264) and AAC: the converter's work, and the merger's when the
// recordings cannot simply be copied. Qt-free: FFmpeg and the standard library.
//
// Pictures are scaled to the output size and turned into yuv420p; sound is
// resampled to what AAC takes. Time stamps are kept (so is the frame rate).
// Each following input starts at its place on the time line when the places
// are known (recordings of one camera keep the gaps between them, so the
// player's clock still reads the right time), else where the one before it
// ended; either way the time line never steps back at a join.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ToolJob.h"

namespace velquintools {

struct TranscodeSettings {
    // The defaults are libx264's and the ffmpeg tool's own, so that
    // `ffmpeg -i IN -c:v libx264 -preset medium -crf 23 -pix_fmt yuv420p -c:a aac -b:a 128k OUT.mp4`
    // makes the same file.
    std::string strPreset = "medium";
    int nCrf = 23;
    int nWidth = 0;  // 0: the first input's size
    int nHeight = 0; // 0: kept in proportion to nWidth, or the input's
    int nAudioBitRate = 128000;
    // Written as the output's creation_time; empty: the first input's own.
    std::string strCreationTime;
    // Where each input starts, microseconds from the first one's start (its
    // wall-clock offset); an input that would begin before the one before it
    // ended follows on from that end. Empty: each follows the one before.
    std::vector<int64_t> startsUs;
};

// Progress from 0 to 1: the output's time against the inputs' total duration.
using ProgressFn = std::function<void(double)>;

class MediaTranscoder {
public:
    explicit MediaTranscoder(TranscodeSettings settings);

    // Encodes the inputs in the order given into strOut. Checks pbCancel between
    // packets (and FFmpeg does while it opens and reads an input); on cancel or
    // failure the answer is false with the reason in LastError(), and the
    // partial output is left to the caller, which writes under a temporary
    // name (see CreateNewFile, PutInPlace).
    bool Run(const std::vector<std::string>& inputs, const std::string& strOut,
             const std::atomic<bool>* pbCancel, const ProgressFn& fnProgress);

    const std::string& LastError() const { return m_strError; }
    bool Cancelled() const { return m_bCancelled; }
    // The failure was an input that cannot be read or has no pictures.
    bool BadInput() const { return m_bBadInput; }

    // Run() told as a job's result: strDone on success, else why, as bad
    // input, failure or cancel.
    JobResult RunJob(const std::vector<std::string>& inputs, const std::string& strOut,
                     const std::atomic<bool>* pbCancel, const ProgressFn& fnProgress,
                     const std::string& strDone);

    static bool IsValidPreset(const std::string& strPreset);
    // The encoder options of a command line: a preset name and a CRF as
    // text, each empty when not given. False with the reason in strWhy.
    static bool ApplyEncodeOptions(const std::string& strPreset, const std::string& strCrf,
                                   TranscodeSettings& settings, std::string& strWhy);

private:
    struct Impl;
    TranscodeSettings m_settings;
    std::string m_strError;
    bool m_bCancelled = false;
    bool m_bBadInput = false;
};

// The text of an FFmpeg error code.
std::string AvErrorText(int nError);

} // namespace velquintools
