// Sound against picture over a whole clip, measured through SDL's disk
// driver, which writes what the engine plays into a file of raw samples. The
// clip has a 1 kHz beep in the first 40 ms of every second and a white flash
// frame at every second. At the display callback of each flash the length of
// the capture file says how much sound the device has played by then; after
// play, the beeps are found in the capture. The offset of a flash is the time
// from its beep's place in the capture to the capture's length at the flash.
// Sound and picture that drift apart change that offset over the clip.
//
// The clips are beep_flash_60s.mkv and beep_flash_600s.mkv of
// scripts/make-test-media.sh; the sound test plays the first, velquin-bench
// avdrift the second. The capture's rate is found from the beep's period, so
// any rate the clip's sound has will do.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace avdrift {

struct Result {
    bool bOk = false;
    std::string strError;
    int nFlashes = 0; // flash frames shown
    int nBeeps = 0;   // beeps found in the capture
    int nPairs = 0;   // flashes matched with their beeps
    int nRate = 0;    // sample rate of the capture, from the beeps' period
    // Beep-to-flash offset: mean over the first and the last ten pairs, and
    // how much the second differs from the first.
    double dStartMs = 0.0;
    double dEndMs = 0.0;
    double dDriftMs = 0.0;
    // The same against the flashes' stamps instead of the beeps: the
    // device's output clock at each flash less the flash's stream time.
    double dDeviceStartMs = 0.0;
    double dDeviceEndMs = 0.0;
    double dDeviceDriftMs = 0.0;
};

// Plays strClip in real time with sound on, captured into strRawPath. SDL's
// driver must be "disk" (SDL_AUDIODRIVER) before the process first opens
// sound; this sets SDL_DISKAUDIOFILE. Gives up after limit.
Result Measure(const std::string& strClip, const std::string& strRawPath, std::chrono::seconds limit);

} // namespace avdrift
