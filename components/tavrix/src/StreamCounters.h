// Counters of an open live stream, from its open to its close (they survive
// stops and plays in between), for Tavrix_GetStreamStats.
#pragma once

#include <atomic>
#include <cstdint>

namespace tavrix {

struct StreamCounters {
    std::atomic<uint32_t> nShownFrames{0};
    // Pictures the render thread dropped because a newer one was already due,
    // and pictures the demuxer left out because the decoder was too far behind.
    std::atomic<uint32_t> nLateFrames{0};

    void Reset() {
        nShownFrames = 0;
        nLateFrames = 0;
    }
};

} // namespace tavrix
