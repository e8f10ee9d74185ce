// What a URL asks of FFmpeg: whether this library serves its scheme, whether
// this FFmpeg build can, and the options that open it quickly and with little
// buffering.
#pragma once

#include "FfmpegPtr.h"

#include <cstdint>
#include <string>

namespace orvel {

class SourceUrl {
public:
    enum class Kind {
        Rtsp,       // rtsp://, rtsps://: the rtsp demuxer, transport by transmit mode
        Hls,        // http(s):// ending in .m3u8: the hls demuxer
        Http,       // http(s)://: a stream FFmpeg probes (MPEG-TS, FLV, ...)
        Rtmp,       // rtmp(s)://
        Raw,        // udp://, rtp://, srtp://, tcp://: packets as they come
        Unsupported // anything else (file:, ftp:, pipe:, a path, ...)
    };

    explicit SourceUrl(std::string strUrl);

    Kind GetKind() const { return m_kind; }
    // 0 when this library serves the URL and FFmpeg has what it takes;
    // else ORVEL_ERR_PROTOCOL_UNSUPPORT or ORVEL_ERR_PLUGIN_LOAD.
    int32_t Check() const;
    // The URL to open: for RTSP tunnelled over HTTP with nPort > 0, the port
    // replaced by nPort (the tunnel's port may differ from the RTSP port).
    std::string OpenUrl(int32_t nTransmitMode, int32_t nPort) const;
    // The demuxer to use without probing, or null to let FFmpeg probe.
    const AVInputFormat* InputFormat() const;
    // Options for avformat_open_input: protocol whitelist, transport, and
    // probing bounded to about half a second.
    DictPtr Options(int32_t nTransmitMode) const;

    // The URL for a log line: a password in it is left out.
    std::string ForLog() const;

    // nPort in place of the authority's port in szUrl (added where none is).
    static std::string ReplacePort(const std::string& strUrl, int32_t nPort);

private:
    std::string m_strUrl;
    std::string m_strScheme; // lower case, without "://"
    Kind m_kind;
};

} // namespace orvel
