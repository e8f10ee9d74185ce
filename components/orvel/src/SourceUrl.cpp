#include "SourceUrl.h"

#include "Orvel.h"

#include <algorithm>
#include <cctype>

namespace orvel {

namespace {

// Every protocol a session may touch, also inside another one: the RTSP HTTP
// tunnel uses http, rtsps and https use tls, HLS segments may be encrypted
// (crypto), and an HTTP proxy from the environment goes through httpproxy.
// Nothing local (file, pipe, fd): a playlist cannot point a session at a file.
constexpr const char* kProtocolWhitelist = "tcp,udp,rtp,srtp,http,https,tls,crypto,hls,rtmp,rtmps,httpproxy";

// Probing: half a second of media, or 2 MB (a key frame of a 4K camera), so a
// picture comes quickly; find_stream_info does not wait for 20 frames to guess
// a frame rate nobody needs for remuxing.
constexpr const char* kAnalyzeDurationUs = "500000";
constexpr const char* kProbeSizeBytes = "2000000";

std::string Lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
    return s;
}

bool PathEndsWith(const std::string& strUrl, const char* szSuffix) {
    const std::string strPath = Lower(strUrl.substr(0, strUrl.find_first_of("?#")));
    const std::string strSuffix = szSuffix;
    return strPath.size() >= strSuffix.size() &&
           strPath.compare(strPath.size() - strSuffix.size(), strSuffix.size(), strSuffix) == 0;
}

void Set(AVDictionary** ppDict, const char* szKey, const char* szValue) {
    av_dict_set(ppDict, szKey, szValue, 0);
}

} // namespace

SourceUrl::SourceUrl(std::string strUrl) : m_strUrl(std::move(strUrl)), m_kind(Kind::Unsupported) {
    const size_t nSep = m_strUrl.find("://");
    if (nSep == std::string::npos || nSep == 0) {
        return;
    }
    m_strScheme = Lower(m_strUrl.substr(0, nSep));
    if (m_strScheme == "rtsp" || m_strScheme == "rtsps") {
        m_kind = Kind::Rtsp;
    } else if (m_strScheme == "http" || m_strScheme == "https") {
        m_kind = PathEndsWith(m_strUrl, ".m3u8") ? Kind::Hls : Kind::Http;
    } else if (m_strScheme == "rtmp" || m_strScheme == "rtmps") {
        m_kind = Kind::Rtmp;
    } else if (m_strScheme == "udp" || m_strScheme == "rtp" || m_strScheme == "srtp" ||
               m_strScheme == "tcp") {
        m_kind = Kind::Raw;
    }
}

int32_t SourceUrl::Check() const {
    switch (m_kind) {
    case Kind::Unsupported:
        return ORVEL_ERR_PROTOCOL_UNSUPPORT;
    case Kind::Rtsp:
        // The demuxer, the control connection and the tunnel's HTTP.
        if (av_find_input_format("rtsp") == nullptr || avio_find_protocol_name("tcp://a:1") == nullptr ||
            avio_find_protocol_name("http://a") == nullptr) {
            return ORVEL_ERR_PLUGIN_LOAD;
        }
        if (m_strScheme == "rtsps" && avio_find_protocol_name("tls://a:1") == nullptr) {
            return ORVEL_ERR_PLUGIN_LOAD;
        }
        return ORVEL_OK;
    case Kind::Hls:
        if (av_find_input_format("hls") == nullptr || avio_find_protocol_name(m_strUrl.c_str()) == nullptr) {
            return ORVEL_ERR_PLUGIN_LOAD;
        }
        return ORVEL_OK;
    case Kind::Raw:
        if (m_strScheme == "rtp" && av_find_input_format("rtp") == nullptr) {
            return ORVEL_ERR_PLUGIN_LOAD;
        }
        [[fallthrough]];
    case Kind::Http:
    case Kind::Rtmp:
        return avio_find_protocol_name(m_strUrl.c_str()) != nullptr ? ORVEL_OK : ORVEL_ERR_PLUGIN_LOAD;
    }
    return ORVEL_ERR_PROTOCOL_UNSUPPORT;
}

std::string SourceUrl::OpenUrl(int32_t nTransmitMode, int32_t nPort) const {
    if (m_kind == Kind::Rtsp && nTransmitMode == ORVEL_TRANSMIT_HTTP && nPort > 0) {
        return ReplacePort(m_strUrl, nPort);
    }
    return m_strUrl;
}

const AVInputFormat* SourceUrl::InputFormat() const {
    switch (m_kind) {
    case Kind::Rtsp:
        return av_find_input_format("rtsp");
    case Kind::Hls:
        return av_find_input_format("hls");
    default:
        return nullptr;
    }
}

DictPtr SourceUrl::Options(int32_t nTransmitMode) const {
    AVDictionary* pDict = nullptr;
    Set(&pDict, "protocol_whitelist", kProtocolWhitelist);
    Set(&pDict, "analyzeduration", kAnalyzeDurationUs);
    Set(&pDict, "probesize", kProbeSizeBytes);
    Set(&pDict, "fpsprobesize", "0");
    switch (m_kind) {
    case Kind::Rtsp:
        // Cameras often offer an ONVIF metadata track: only sound and picture.
        Set(&pDict, "allowed_media_types", "video+audio");
        if (nTransmitMode == ORVEL_TRANSMIT_UDP) {
            // Unicast first; the multicast group where the server offers only that.
            Set(&pDict, "rtsp_transport", "udp+udp_multicast");
            // Reordering may hold a packet 50 ms, no more: latency counts.
            Set(&pDict, "max_delay", "50000");
            // A D1 key frame arrives as a burst of datagrams.
            Set(&pDict, "buffer_size", "2097152");
        } else if (nTransmitMode == ORVEL_TRANSMIT_HTTP) {
            Set(&pDict, "rtsp_transport", "http");
            Set(&pDict, "max_delay", "0");
        } else {
            Set(&pDict, "rtsp_transport", "tcp");
            Set(&pDict, "max_delay", "0");
        }
        break;
    case Kind::Hls:
    case Kind::Http:
        // A lost connection is a failed stream, reported at once: the user
        // plays the URL again.
        Set(&pDict, "reconnect", "0");
        break;
    case Kind::Rtmp:
        Set(&pDict, "rtmp_live", "live");
        break;
    case Kind::Raw:
        Set(&pDict, "buffer_size", "2097152");
        break;
    case Kind::Unsupported:
        break;
    }
    return DictPtr(pDict);
}

std::string SourceUrl::ForLog() const {
    const size_t nSep = m_strUrl.find("://");
    if (nSep == std::string::npos) {
        return m_strUrl;
    }
    const size_t nAuthority = nSep + 3;
    const size_t nAuthorityEnd = std::min(m_strUrl.find_first_of("/?#", nAuthority), m_strUrl.size());
    const size_t nAt = m_strUrl.rfind('@', nAuthorityEnd - 1);
    if (nAt == std::string::npos || nAt < nAuthority) {
        return m_strUrl;
    }
    return m_strUrl.substr(0, nAuthority) + "***" + m_strUrl.substr(nAt);
}

std::string SourceUrl::ReplacePort(const std::string& strUrl, int32_t nPort) {
    const size_t nSep = strUrl.find("://");
    if (nSep == std::string::npos) {
        return strUrl;
    }
    const size_t nAuthority = nSep + 3;
    size_t nAuthorityEnd = strUrl.find_first_of("/?#", nAuthority);
    if (nAuthorityEnd == std::string::npos) {
        nAuthorityEnd = strUrl.size();
    }
    // The host follows the last '@' of the authority (user names may hold none,
    // passwords may hold ':').
    size_t nHost = strUrl.rfind('@', nAuthorityEnd - 1);
    nHost = (nHost == std::string::npos || nHost < nAuthority) ? nAuthority : nHost + 1;
    size_t nHostEnd = nHost;
    if (nHost < nAuthorityEnd && strUrl[nHost] == '[') { // an IPv6 literal
        const size_t nClose = strUrl.find(']', nHost);
        nHostEnd = (nClose == std::string::npos || nClose > nAuthorityEnd) ? nAuthorityEnd : nClose + 1;
    } else {
        const size_t nColon = strUrl.find(':', nHost);
        nHostEnd = (nColon == std::string::npos || nColon > nAuthorityEnd) ? nAuthorityEnd : nColon;
    }
    return strUrl.substr(0, nHostEnd) + ":" + std::to_string(nPort) + strUrl.substr(nAuthorityEnd);
}

} // namespace orvel
