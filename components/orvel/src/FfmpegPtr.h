// Owners for FFmpeg objects: every FFmpeg object a session holds lives in one
// of these, so no error path can leak it. This is the only place that calls
// FFmpeg's free functions.
#pragma once

#include <memory>

extern "C" {
#include <libavformat/avformat.h>
#include <libavformat/avio.h>
#include <libavutil/dict.h>
#include <libavutil/mem.h>
}

namespace orvel {

// An input opened by avformat_open_input.
struct InputContextDeleter {
    void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
};
// A muxer context; its custom I/O context is owned separately (IoContextPtr).
struct OutputContextDeleter {
    void operator()(AVFormatContext* p) const { avformat_free_context(p); }
};
// A custom I/O context together with its current buffer.
struct IoContextDeleter {
    void operator()(AVIOContext* p) const {
        if (p != nullptr) {
            av_freep(&p->buffer);
        }
        avio_context_free(&p);
    }
};
struct PacketDeleter {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct DictDeleter {
    void operator()(AVDictionary* p) const { av_dict_free(&p); }
};
struct AvMemDeleter {
    void operator()(void* p) const { av_free(p); }
};

using InputContextPtr = std::unique_ptr<AVFormatContext, InputContextDeleter>;
using OutputContextPtr = std::unique_ptr<AVFormatContext, OutputContextDeleter>;
using IoContextPtr = std::unique_ptr<AVIOContext, IoContextDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;
using DictPtr = std::unique_ptr<AVDictionary, DictDeleter>;
using AvMemPtr = std::unique_ptr<uint8_t, AvMemDeleter>;

inline PacketPtr MakePacket() {
    return PacketPtr(av_packet_alloc());
}

} // namespace orvel
