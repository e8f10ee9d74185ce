// Owners for FFmpeg objects: every FFmpeg object the engine holds lives in one
// of these, so no error path can leak it. This is the only place that calls
// FFmpeg's free functions.
#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/buffer.h>
#include <libavutil/dict.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace tavrix {

struct FormatContextDeleter {
    void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
};
struct CodecContextDeleter {
    void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
};
struct FrameDeleter {
    void operator()(AVFrame* p) const { av_frame_free(&p); }
};
struct PacketDeleter {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct SwsDeleter {
    void operator()(SwsContext* p) const { sws_freeContext(p); }
};
struct SwrDeleter {
    void operator()(SwrContext* p) const { swr_free(&p); }
};
struct FilterGraphDeleter {
    void operator()(AVFilterGraph* p) const { avfilter_graph_free(&p); }
};
struct DictDeleter {
    void operator()(AVDictionary* p) const { av_dict_free(&p); }
};
// A custom I/O context: its buffer (which FFmpeg may have replaced by a larger
// one) goes with it. The format context that reads through it must be gone first.
struct IoContextDeleter {
    void operator()(AVIOContext* p) const {
        av_freep(&p->buffer);
        avio_context_free(&p);
    }
};
struct BufferRefDeleter {
    void operator()(AVBufferRef* p) const { av_buffer_unref(&p); }
};

using FormatContextPtr = std::unique_ptr<AVFormatContext, FormatContextDeleter>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;
using SwsPtr = std::unique_ptr<SwsContext, SwsDeleter>;
using SwrPtr = std::unique_ptr<SwrContext, SwrDeleter>;
using FilterGraphPtr = std::unique_ptr<AVFilterGraph, FilterGraphDeleter>;
using DictPtr = std::unique_ptr<AVDictionary, DictDeleter>;
using BufferRefPtr = std::unique_ptr<AVBufferRef, BufferRefDeleter>;
using IoContextPtr = std::unique_ptr<AVIOContext, IoContextDeleter>;

// A reading I/O context over a callback, with a buffer of nBufferSize bytes;
// not seekable. Null when out of memory.
inline IoContextPtr MakeIoContext(int nBufferSize, void* pOpaque, int (*pfnRead)(void*, uint8_t*, int)) {
    auto* pBuffer = static_cast<unsigned char*>(av_malloc(static_cast<size_t>(nBufferSize)));
    if (pBuffer == nullptr) {
        return nullptr;
    }
    AVIOContext* pIo = avio_alloc_context(pBuffer, nBufferSize, 0, pOpaque, pfnRead, nullptr, nullptr);
    if (pIo == nullptr) {
        av_free(pBuffer);
    }
    return IoContextPtr(pIo);
}

inline FramePtr MakeFrame() {
    return FramePtr(av_frame_alloc());
}
inline PacketPtr MakePacket() {
    return PacketPtr(av_packet_alloc());
}

} // namespace tavrix
