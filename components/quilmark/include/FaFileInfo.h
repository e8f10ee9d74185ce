#pragma once

#include <cstdint>

// Container and codec facts of a file, filled by CPlayHelper::AnalyzeFileInfo.
// The first three fields are codes; values not in the lists below are other
// containers or codecs the player can still play but has no name for.
struct _FA_FILE_INFO_ {
    uint32_t nSystemFormat; // FA_SYSTEM_*
    uint32_t nVideoFormat;  // FA_VIDEO_*
    uint32_t nAudioFormat;  // FA_AUDIO_*
    int32_t nWidth;         // pixels; 0 without video
    int32_t nHeight;
    int32_t nFrameRateMilli; // frames per 1000 s; 0 when unknown
    int32_t nAudioChannels;
    int32_t nAudioSampleRate; // Hz
    int64_t nDurationMs;      // -1 when unknown
    // The container by the finer codes of this player: within the ISO family
    // FA_SYSTEM_MP4, FA_SYSTEM_MOV or FA_SYSTEM_ISO_MEDIA (3GPP) by the file's
    // brand; otherwise the same as nSystemFormat. What the file information shows.
    uint32_t nSystemFormatEx;
    int64_t nBitRate; // bits per second of the whole file; 0 when unknown
};

enum : uint32_t {
    FA_SYSTEM_NONE = 0, // a bare elementary stream
    FA_SYSTEM_PS = 2,
    FA_SYSTEM_TS = 3,
    FA_SYSTEM_RTP = 4,
    FA_SYSTEM_ISO_MEDIA = 5, // MP4, MOV, 3GP: the ISO base media family; as a
                             // finer code (nSystemFormatEx) 3GPP only
    // Codes of this player, for containers the classic list has no name for.
    FA_SYSTEM_MATROSKA = 0x10, // "MKV"
    FA_SYSTEM_AVI = 0x11,      // "AVI"
    FA_SYSTEM_FLV = 0x12,      // "FLV"
    FA_SYSTEM_MP4 = 0x13,      // "MP4": an ISO file of another brand than QuickTime or 3GPP
    FA_SYSTEM_MOV = 0x14,      // "MOV": brand "qt  ", or no brand at all
    FA_SYSTEM_OTHER = 0xFF,
};

enum : uint32_t {
    FA_VIDEO_NONE = 0,
    FA_VIDEO_H264 = 1,
    FA_VIDEO_MPEG2 = 2,
    FA_VIDEO_MPEG4 = 3,
    FA_VIDEO_MJPEG = 4,
    FA_VIDEO_H265 = 5,
    FA_VIDEO_OTHER = 0xFFFF,
};

enum : uint32_t {
    FA_AUDIO_NONE = 0,
    FA_AUDIO_MPEG = 0x2000,
    FA_AUDIO_AAC = 0x2001,
    FA_AUDIO_AMR = 0x3000,
    FA_AUDIO_PCM = 0x7001,
    FA_AUDIO_G711_U = 0x7110,
    FA_AUDIO_G711_A = 0x7111,
    FA_AUDIO_G722 = 0x7221,
    FA_AUDIO_G726 = 0x7260,
    FA_AUDIO_OTHER = 0xFFFF,
};
