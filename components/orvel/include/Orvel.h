// Orvel: network sessions. One session reads one stream from a camera or a
// recorder (RTSP over TCP, UDP or HTTP tunnelling, plain HTTP, HLS) and hands
// it to its caller as blocks, on a thread of its own.
//
// What a session delivers, in this order:
//   1. one media information block, ORVEL_DATA_MEDIAINFO: six bytes,
//      little-endian 16-bit system format, video format, audio format
//      (ORVEL_SYSTEM_*, ORVEL_CODEC_*; 0 where the value has no code);
//   2. the stream itself, remuxed into that system format (MPEG-TS, or
//      Matroska when a track cannot travel in MPEG-TS), as multiplexed data
//      blocks, ORVEL_DATA_MULTI, in order and without gaps;
//   3. when the stream ends, one message: ORVEL_MSG_STREAM_END when the
//      source closed it, ORVEL_MSG_STREAM_FAIL when it failed (the network
//      went away, nothing came for the time-out). After the message no block
//      follows.
// The data callback's buffer is valid only during the call.
//
// The stream: MPEG-TS whenever its tracks fit (H.264, HEVC, MPEG-4, MPEG-1/2
// video; AAC, MP2, MP3, AC-3 sound), else Matroska written for live reading
// (Motion JPEG, G.711 sound, ...); sound that neither carries is left out and
// the picture plays alone. Packets are remuxed as they arrive and flushed at
// once. The stream starts at a key frame, its time stamps start near zero and
// rise (the source's jumps and restarts smoothed out), and a transport stream
// repeats its tables every 100 ms and before every key frame, so a reader may
// start anywhere. A source that would otherwise come in bursts (a file on a
// web server, HLS segments) is delivered at the pace of its time stamps, a
// second ahead.
//
// Every function is safe on any thread and at any moment, also while Open
// waits on another thread: Close aborts a waiting Open. Once Close or Destroy
// has returned, no callback of the session runs or follows. No network wait
// lasts longer than the session's time-out.
//
// A callback may call Close or Destroy of its own session: the call returns at
// once (the session's thread cannot wait for itself), and nothing is delivered
// after that callback returned. A callback must not close another session
// whose callbacks might close this one: each would wait for the other.
#pragma once

#include <cstdint>

// Error codes: the answers of Open and SetTransmitMode other than 0.
// As 32-bit signed numbers they are negative.
#define ORVEL_OK 0
#define ORVEL_ERR_PARAMETER ((int32_t)0x80000001)          // bad argument or unknown session
#define ORVEL_ERR_PROTOCOL_UNSUPPORT ((int32_t)0x80000002) // scheme not served (ftp:, file:, ...)
#define ORVEL_ERR_CONNECT_FAIL ((int32_t)0x80000003)       // refused, unreachable, reset
#define ORVEL_ERR_TIMEOUT ((int32_t)0x80000004)            // no answer within the time-out
#define ORVEL_ERR_NOT_FOUND ((int32_t)0x80000005)          // the server has no such stream (404)
#define ORVEL_ERR_AUTH ((int32_t)0x80000006)               // user name or password refused (401, 403)
#define ORVEL_ERR_NO_MEDIA ((int32_t)0x80000007)           // answered, but with nothing playable
#define ORVEL_ERR_ORDER ((int32_t)0x80000008)              // call out of order (Open twice)
#define ORVEL_ERR_PLUGIN_LOAD ((int32_t)0x80000010)        // this FFmpeg build lacks the protocol or demuxer

// Transmit modes (Orvel_SetTransmitMode); they matter for rtsp:// only.
enum : int32_t {
    ORVEL_TRANSMIT_TCP = 0, // RTP interleaved in the RTSP connection
    ORVEL_TRANSMIT_UDP = 1, // RTP over UDP, unicast or the multicast the server offers
    ORVEL_TRANSMIT_HTTP = 2 // RTSP tunnelled over HTTP, to the port given (0 keeps the URL's)
};

// Block types of the data callback.
enum : int32_t {
    ORVEL_DATA_HEADER = 0,      // not sent by this library
    ORVEL_DATA_VIDEO = 1,       // not sent by this library
    ORVEL_DATA_AUDIO = 2,       // not sent by this library
    ORVEL_DATA_MULTI = 3,       // multiplexed stream bytes
    ORVEL_DATA_MEDIAINFO = 9,   // six bytes, see above
    ORVEL_DATA_MEDIAHEADER = 11 // not sent by this library
};

// Message types of the message callback. The content is a NUL-terminated
// text for the log, never needed for a decision; nLen counts its characters
// without the NUL.
enum : int32_t {
    ORVEL_MSG_STREAM_END = 1,  // the source ended the stream
    ORVEL_MSG_STREAM_FAIL = 2, // the stream failed or went silent
    ORVEL_MSG_INFO = 3         // anything else worth a log line
};

// System formats in the media information.
enum : uint16_t {
    ORVEL_SYSTEM_PS = 2,      // MPEG program stream
    ORVEL_SYSTEM_TS = 3,      // MPEG transport stream
    ORVEL_SYSTEM_MATROSKA = 4 // Matroska, written for live reading
};

// Codec codes in the media information (video and audio share one table).
enum : uint16_t {
    ORVEL_CODEC_H264 = 0x0100,
    ORVEL_CODEC_HEVC = 0x2001,
    ORVEL_CODEC_AAC = 0x7110,
    ORVEL_CODEC_MPEG4 = 0x7111,
    ORVEL_CODEC_MJPEG = 0x0005,
    ORVEL_CODEC_MPEG_AUDIO = 0x0006, // MP2, MP3
    ORVEL_CODEC_G711 = 0x0007,       // A-law, mu-law
    ORVEL_CODEC_OTHER = 0x00ff       // present, but no code of its own
};

typedef void (*OrvelDataCB)(int32_t nSession, int32_t nDataType, char* pBuf, int32_t nLen, void* pUser);
typedef void (*OrvelMsgCB)(int32_t nSession, int32_t nMsgType, char* pContent, int32_t nLen, void* pUser);

// Every function but Create answers ORVEL_ERR_PARAMETER for an unknown id.

// A session for szUrl (8-bit text, UTF-8 for non-ASCII). nFlags must be 0.
// Answers the session id, or -1 (bad URL: empty, over 4096 bytes, spaces or
// control characters; 256 sessions alive already). Whether the scheme is
// served is Open's answer.
int32_t Orvel_Create(const char* szUrl, uint32_t nFlags);
// Time-out of every network wait in ms (default 5000; 500..60000). Before
// Open (afterwards ORVEL_ERR_ORDER).
int32_t Orvel_SetTimeout(int32_t nSession, int32_t nTimeoutMs);
// nMode ORVEL_TRANSMIT_*; nPort (0..65535) is used by ORVEL_TRANSMIT_HTTP
// only. Before Open (afterwards ORVEL_ERR_ORDER).
int32_t Orvel_SetTransmitMode(int32_t nSession, int32_t nMode, int32_t nPort);
// At any time; a message under way may still go to the callback set before.
int32_t Orvel_SetMsgCallBack(int32_t nSession, OrvelMsgCB pfn, void* pUser);
// Connects and waits, at most the time-out, until the source answered with
// playable media; then 0, and blocks follow on the session's thread. Else an
// error code and no callback at all. pfn may be null (a connection test): the
// session then stays connected and delivers nothing. RTSP answers as soon as
// the server described the stream and started it; other sources are probed
// for at most half a second. One Open a session: a second one, also after a
// failed one, answers ORVEL_ERR_ORDER. Closed while it waits: an error code.
int32_t Orvel_Open(int32_t nSession, OrvelDataCB pfn, void* pUser);
// Stops the session (aborting an Open under way); no callback follows. Again
// on a closed session: 0.
int32_t Orvel_Close(int32_t nSession);
// Closes if needed and forgets the session id; returns once an Open under
// way on another thread has returned too.
int32_t Orvel_Destroy(int32_t nSession);
// Sessions alive (created and not destroyed).
int32_t Orvel_GetSessionCount();
