// The engine's frame-exact transport measured on one file: jumps to frames,
// single steps back, reverse play and the frame index, each beside a peer
// tool on the same file (unless the peer is turned off, as the tests do).
// Each run prints its figures on stdout and answers the process exit code.
#pragma once

#include "BenchPort.h"

#include <QString>

#include <cstdint>
#include <vector>

class TransportBench {
public:
    TransportBench(QString strFile, bool bPeer);

    // For each frame: jump there while paused, print "N,MD5,MS"; then the median and mpv's
    // and the ffmpeg tool's seek times.
    int Seek(const std::vector<uint32_t>& vecFrames);
    // Jump to nFrom, then nCount single steps back, each printed as "N,MD5,MS".
    int StepBack(uint32_t nFrom, uint32_t nCount);
    // Reverse play in real time from the last frame, over dSeconds of footage (0: to frame 0).
    int Reverse(double dSeconds);
    // Time from opening until the frame index is complete, beside ffprobe counting packets.
    int Index();

private:
    // Opens the file with picture hashes on, waits for its frame index, plays
    // until the first picture and pauses there.
    bool OpenPaused(BenchPort& port);
    // Jumps to frame nFrameNum and waits until it is shown; *pdMs is the wait.
    bool ShowFrame(BenchPort& port, uint32_t nFrameNum, BenchPort::Shown* pShown, double* pdMs);
    int Fail(const char* szWhat, const BenchPort& port) const;

    QString m_strFile;
    // The longest time one jump or step call kept its caller (the GUI thread
    // in the player) waiting.
    double m_dMaxCallMs = 0.0;
    bool m_bPeer;
};
