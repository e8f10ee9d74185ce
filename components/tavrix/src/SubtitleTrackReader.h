// Reads the text subtitle track of a recording (mov_text in MP4, SubRip or
// ASS in Matroska), which carries the point-of-sale lines shown over the
// picture. It runs at open on a thread of its own with its own opening of
// the file (every other stream discarded), so playback starts at once and
// the reader never touches the demuxer's state. Each line goes into the
// file's OverlayTrack with its start and end. Qt-free.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

struct AVSubtitle;

namespace tavrix {

class OverlayTrack;

class SubtitleTrackReader {
public:
    SubtitleTrackReader(int nPort, std::shared_ptr<OverlayTrack> pTrack);
    // Stops the read (through FFmpeg's interrupt callback) and joins the thread.
    ~SubtitleTrackReader();
    SubtitleTrackReader(const SubtitleTrackReader&) = delete;
    SubtitleTrackReader& operator=(const SubtitleTrackReader&) = delete;

    // nOriginUs: the stream time the track's times count from (the first video frame).
    void Start(const std::string& strUtf8Path, int64_t nOriginUs);
    // The reader has read the whole track (or given up); for tests and tools.
    bool Finished() const { return m_bFinished.load(); }

    // The visible text of an ASS event line: the fields before Text dropped,
    // override blocks {...} removed, \N and \n made line breaks, \h a space.
    static std::string PlainText(const char* szAss);

private:
    void Run(std::string strPath, int64_t nOriginUs);
    void TakeSubtitle(const AVSubtitle& sub, int64_t nStartUs, int64_t nEndUs);
    static int InterruptCallback(void* pOpaque);

    const int m_nPort;
    std::shared_ptr<OverlayTrack> m_pTrack;
    std::atomic<bool> m_bAbort{false};
    std::atomic<bool> m_bFinished{false};
    std::thread m_thread;
};

} // namespace tavrix
