// Tavrix: the playback engine's flat interface.
//
// A port is one playback instance: demux, decrypt, decode, pace, render and
// sound for one file. Every function is safe to call from any thread; the
// callbacks run on the engine's own threads, never on the caller's, and must
// return quickly without calling back into the same port's transport.
//
// Functions that do work answer true or false; after a false,
// Tavrix_GetLastError(port) tells why (TAVRIX_ERR_*).
#pragma once

#include <cstdint>

// ---- records ---------------------------------------------------------------

// Global (wall-clock) time embedded in footage.
struct TAVRIX_SYSTEM_TIME {
    int32_t nYear;
    int32_t nMonth;
    int32_t nDay;
    int32_t nHour;
    int32_t nMinute;
    int32_t nSecond;
    int32_t nMilliseconds;
};

// Frame types in TAVRIX_DISPLAY_INFO::nType and TAVRIX_FRAME_INFO::nType.
enum : int32_t {
    TAVRIX_FRAME_YV12 = 3,    // planar Y, then V, then U; contiguous, no padding
    TAVRIX_FRAME_AUDIO16 = 101 // interleaved signed 16-bit PCM
};

// Handed to the display callback once per displayed video frame, in display
// order, on the render thread. pBuf is valid only during the call.
struct TAVRIX_DISPLAY_INFO {
    int32_t nPort;
    char* pBuf;      // YV12 picture
    int32_t nBufLen; // nWidth * nHeight * 3 / 2
    int32_t nWidth;
    int32_t nHeight;
    int32_t nStamp;  // presentation time in ms from the start of the file
    int32_t nType;   // TAVRIX_FRAME_YV12
    void* nUser;     // the user value given at registration
    uint32_t nFrameNum; // display index of the frame, 0-based
};

// Handed to the decode callback for each decoded frame, on the decode threads.
struct TAVRIX_FRAME_INFO {
    int32_t nWidth;     // video: picture width; audio: channels
    int32_t nHeight;    // video: picture height; audio: bits per sample
    int32_t nStamp;     // ms from the start of the file
    int32_t nType;      // TAVRIX_FRAME_YV12 for video, TAVRIX_FRAME_AUDIO16 for audio
    int32_t nFrameRate; // video: frames per second, rounded; audio: sample rate
};

// Run-time report: 32 bytes, the error code at byte 16.
struct TAVRIX_RUNTIME_INFO {
    int32_t nPort;
    int32_t nModule;     // 1 decoder, 2 demuxer/decryption
    int32_t nReserved0;
    int32_t nReserved1;
    int32_t nErrorCode;  // TAVRIX_RT_*
    int32_t nReserved2[3];
};
static_assert(sizeof(TAVRIX_RUNTIME_INFO) == 32, "run-time record is 32 bytes");

// Run-time error codes.
enum : int32_t {
    TAVRIX_RT_DECODE_ENGINE = 0, // the requested decode engine failed
    TAVRIX_RT_DEMUX = 1,         // the container could not be read further
    TAVRIX_RT_DECODE = 2,        // the video could not be decoded
    TAVRIX_RT_RENDER = 4,        // the picture could not be shown
    TAVRIX_RT_DECRYPT = 5        // wrong or missing key, or undecodable data
};

// Watermark report: the first field points to the watermark block.
struct TAVRIX_WATERMARK_INFO {
    uint8_t* pDataBuf;
    int32_t nSize;
};

// Last-error numbers.
enum : uint32_t {
    TAVRIX_NOERROR = 0,
    TAVRIX_ERR_PARA_OVER = 1,        // bad argument
    TAVRIX_ERR_ORDER = 2,            // call out of order (e.g. Play before OpenFile)
    TAVRIX_ERR_TIMER = 3,
    TAVRIX_ERR_DEC_VIDEO = 4,        // video decoding failed
    TAVRIX_ERR_DEC_AUDIO = 5,        // audio decoding failed
    TAVRIX_ERR_ALLOC_MEMORY = 6,
    TAVRIX_ERR_OPEN_FILE = 7,        // the file could not be opened or is not media
    TAVRIX_ERR_CREATE_OBJ = 8,       // a thread or device could not be made
    TAVRIX_ERR_NO_PORT = 9,          // all ports are in use, or the port is not allocated
    TAVRIX_ERR_NO_VIDEO = 10,        // the file has no video stream
    TAVRIX_ERR_NO_SOUND_DEVICE = 11, // sound output could not be opened
    TAVRIX_ERR_DECRYPT = 12,         // the key is not accepted
    TAVRIX_ERR_NOT_SUPPORT = 13,
    TAVRIX_ERR_NO_INDEX = 14,        // the frame index is not complete yet
    TAVRIX_ERR_BUF_OVER = 15         // the stream's source buffer is full
};

enum : int32_t { TAVRIX_MAX_PORTS = 64 };

// ---- callbacks ---------------------------------------------------------------

typedef void (*TavrixDisplayCB)(TAVRIX_DISPLAY_INFO* pstDisplayInfo);
// hDc is a QPainter* on the picture about to be shown, sized to the display.
typedef void (*TavrixDrawCB)(int32_t nPort, void* hDc, void* pUser);
typedef void (*TavrixFileRefCB)(int32_t nPort, void* pUser);
typedef void (*TavrixFileEndCB)(int32_t nPort, void* pUser);
typedef void (*TavrixWatermarkCB)(int32_t nPort, TAVRIX_WATERMARK_INFO* pInfo, void* pUser);
typedef void (*TavrixDecCB)(int32_t nPort, char* pBuf, int32_t nSize, TAVRIX_FRAME_INFO* pFrameInfo,
                            void* pUser);
typedef void (*TavrixEncTypeChangeCB)(int32_t nPort, void* pUser);
typedef void (*TavrixRunTimeInfoCB)(int32_t nPort, TAVRIX_RUNTIME_INFO* pInfo, void* pUser);

// ---- ports and opening -------------------------------------------------------

bool Tavrix_GetPort(int32_t* pnPort);
bool Tavrix_FreePort(int32_t nPort);
// Number of ports handed out and not yet freed.
int32_t Tavrix_GetPortsInUse();

enum : uint32_t { TAVRIX_STREAM_REALTIME = 0, TAVRIX_STREAM_FILE = 1 };
// REALTIME sets the port up for a live stream (see stream mode below); a
// stream plays live in either mode.
bool Tavrix_SetStreamOpenMode(int32_t nPort, uint32_t nMode);
// szFileName is the path in the program's 8-bit encoding (GB18030).
bool Tavrix_OpenFile(int32_t nPort, const char* szFileName);
bool Tavrix_CloseFile(int32_t nPort);
bool Tavrix_SkipErrorData(int32_t nPort, bool bSkip);
// nKeyType 1 is AES; nKeyLen is in bits (128). Takes effect at the next OpenFile.
// A null key with nKeyLen 0 clears the key (the port then opens files without one).
bool Tavrix_SetSecretKey(int32_t nPort, int32_t nKeyType, const char* pSecretKey, int32_t nKeyLen);
// 0 software, 1 hardware where the machine has it (falls back to software).
bool Tavrix_SetDecodeEngineEx(int32_t nPort, uint32_t nDecodeEngine);
// Decoding threads of the port's video decoders from the next start of play:
// 0 (the default) one per core. One thread makes the concealment of damaged
// pictures repeatable, as the ffmpeg tool's single-threaded decode is.
bool Tavrix_SetDecodeThreads(int32_t nPort, uint32_t nThreads);
// The engine in use: 1 only while hardware decoding really runs.
uint32_t Tavrix_GetDecodeEngine(int32_t nPort);
uint32_t Tavrix_GetLastError(int32_t nPort);
// The engine's version, one byte each from the top: major, minor, revision, build.
uint32_t Tavrix_GetSdkVersion();

// ---- stream mode ------------------------------------------------------------
//
// A port in TAVRIX_STREAM_REALTIME mode plays bytes that its caller feeds
// with Tavrix_InputData (a live camera stream) instead of a file. The order
// is: SetStreamOpenMode(REALTIME), Play (may come before the stream opens: it
// names the window and starts nothing yet), OpenStream or OpenStreamAdvanced,
// Play again (starts), InputData for each block, CloseStream.
//
// Stop stops play and leaves the stream open: a later Play reads on from the
// bytes that arrive after it (a transport or program stream finds its way
// in; a Matroska stream needs its start, which only container bytes given to
// OpenStreamAdvanced are kept for). Pause holds the picture while the stream
// goes on arriving; resuming shows it live again.
//
// Live play: the first picture shows as soon as it is decoded (the probe
// looks at no more than 500 ms of data), pictures show when they arrive with
// no more buffering than smooth play needs, and a picture that is late when
// a newer one is waiting is dropped, not queued. A stream has no frame
// index: the time and frame readings answer 0, GetSystemTime fails, and
// jumps, steps, reverse play, Fast and Slow fail with TAVRIX_ERR_NOT_SUPPORT.
// GetPictureSize answers once a picture is decoded. The display, decode and
// draw callbacks and the sound work as for files.

// The 40-byte media header of Tavrix_OpenStream, little-endian.
struct TAVRIX_MEDIA_HEADER {
    char szMagic[4];         // "QVDM"
    uint16_t nVersion;       // 0x0101
    uint16_t nReserved0;
    uint16_t nSystemFormat;  // 2 MPEG-PS, 3 MPEG-TS, 4 Matroska, 0 probe the bytes
    uint16_t nVideoFormat;   // a hint only (0x0100 H.264, 0x2001 HEVC, 0x7111 MPEG-4, 0 unknown)
    uint16_t nAudioFormat;   // a hint only (0x7110 AAC, 0 unknown or none)
    uint8_t nHasMedia;       // 1
    uint8_t nReserved1[25];
};
static_assert(sizeof(TAVRIX_MEDIA_HEADER) == 40, "media header is 40 bytes");

// Record of Tavrix_OpenStreamAdvanced with nType 1: the stream's first bytes
// as the source sent them (a 40-byte media header, or the start of the
// container itself, which then comes first in the source buffer).
struct TAVRIX_STREAM_HEADER {
    int32_t nType; // 1
    int32_t nLen;  // bytes at pHeader
    char* pHeader;
};

// Opens the stream; play starts with the next Play. pHeader is the 40-byte
// media header (other bytes: TAVRIX_ERR_PARA_OVER). nBufPoolSize is the
// source buffer in bytes (at least 65536). A port with a stream or a file
// open closes it first.
bool Tavrix_OpenStream(int32_t nPort, const char* pHeader, uint32_t nHeaderLen, uint32_t nBufPoolSize);
bool Tavrix_OpenStreamAdvanced(int32_t nPort, int32_t nType, TAVRIX_STREAM_HEADER* pRecord,
                               uint32_t nBufPoolSize);
// Stops play and frees the stream.
bool Tavrix_CloseStream(int32_t nPort);
// Appends stream bytes; meant for the network library's thread. Never waits:
// false with TAVRIX_ERR_BUF_OVER when the source buffer cannot take them
// (the block is lost), TAVRIX_ERR_ORDER without an open stream,
// TAVRIX_ERR_PARA_OVER for an empty block.
bool Tavrix_InputData(int32_t nPort, const char* pBuf, uint32_t nSize);
// Decoded pictures that may wait for display (2..50; 15 by default).
bool Tavrix_SetDisplayBuf(int32_t nPort, uint32_t nNum);
// Live play counters of the open stream since it opened.
struct TAVRIX_STREAM_STATS {
    uint32_t nShownFrames;   // pictures shown
    uint32_t nLateFrames;    // pictures dropped because they came too late (or decoding fell
                             // over a second behind and skipped to the next key frame)
    uint32_t nRefusedBytes;  // bytes refused by Tavrix_InputData
    uint32_t nBufferedBytes; // bytes in the source buffer now
};
bool Tavrix_GetStreamStats(int32_t nPort, TAVRIX_STREAM_STATS* pStats);

// ---- transport -----------------------------------------------------------------

// hWnd is the native id (QWidget::winId()) of the widget to show pictures in;
// 0 plays without a window (callbacks only).
bool Tavrix_Play(int32_t nPort, uintptr_t hWnd);
bool Tavrix_Pause(int32_t nPort, uint32_t nPause);
bool Tavrix_Stop(int32_t nPort);
// Shows the last picture of a display region again (draw callbacks included).
bool Tavrix_RefreshPlayEx(int32_t nPort, uint32_t nRegionNum);
// false plays as fast as the decoder allows (tools, benchmarks); true by default.
bool Tavrix_SetRealTime(int32_t nPort, bool bRealTime);

// Speed ladder: each Fast doubles the speed, each Slow halves it, from /16 to
// x16 (steps -4..4). Every Play/ReversePlay starts at normal speed. Above
// normal speed frames that cannot be shown in time are skipped (the clock is
// kept); sound plays only at normal speed.
bool Tavrix_Fast(int32_t nPort);
bool Tavrix_Slow(int32_t nPort);
// Plays backwards from the shown frame, a group of pictures at a time with
// bounded memory. Needs the frame index (see Tavrix_SetFileRefCallBack).
// Reaching frame 0 ends the file (file end callback). Tavrix_Play turns the
// direction forward again from the shown frame.
bool Tavrix_ReversePlay(int32_t nPort);
// Single steps: show the next / previous frame in display order and stay
// paused. Stepping back needs the frame index.
bool Tavrix_OneByOne(int32_t nPort);
bool Tavrix_OneByOneBack(int32_t nPort);
// Frame-exact jumps: the target frame is shown (paused ports show it at once,
// playing ports play on from it). Play state and direction are kept. They
// need the frame index: before it is complete they fail with
// TAVRIX_ERR_NO_INDEX rather than land on a frame the counter does not name.
// A time past the last frame goes to the last frame.
bool Tavrix_SetCurrentFrameNum(int32_t nPort, uint32_t nFrameNum);
bool Tavrix_SetPlayedTimeEx(int32_t nPort, uint32_t nTimeMs);
// 0 decodes every frame; 1 or 2 lets the decoder skip non-reference B frames
// while playing faster than normal (never while stepping or seeking).
bool Tavrix_ThrowBFrameNum(int32_t nPort, uint32_t nNum);

// A key frame's place, answered by the two key frame queries below.
struct TAVRIX_FRAME_POS {
    int64_t nFilePos;    // byte offset of the key frame's packet
    uint32_t nFrameNum;  // its display index
    uint32_t nFrameTime; // its time in ms from the first frame
};
enum : uint32_t { TAVRIX_BY_FRAMENUM = 1, TAVRIX_BY_FRAMETIME = 2 };
// Key frame at or before (GetKeyFramePos) or strictly after (GetNextKeyFramePos)
// a frame number or a time in ms, as nType says. Needs the frame index.
bool Tavrix_GetKeyFramePos(int32_t nPort, uint32_t nValue, uint32_t nType, TAVRIX_FRAME_POS* pFramePos);
bool Tavrix_GetNextKeyFramePos(int32_t nPort, uint32_t nValue, uint32_t nType, TAVRIX_FRAME_POS* pFramePos);

// ---- lock-step play ---------------------------------------------------------------
//
// Ports of local files that carry a global time (see Tavrix_GetSystemTime)
// join group nGroup (0..15) with Tavrix_SetSycGroup, or leave it with -1. The
// members of a group play by one clock in global time: at every moment each
// shows its frame for the group's time, the latest frame whose global time
// is not after it. A member whose file begins later shows nothing until its
// moment and then joins on its first frame; one whose file has ended keeps
// its last frame (the file end callback has fired). Members keep their own
// threads; the group clock is the only thing they share.
//
// A member's transport acts through the group:
//   Tavrix_Play         the first play of a group starts its clock at the
//                       earliest begin of its members (held until every
//                       playing member has its first picture, at most 0.5 s);
//                       a member that starts or resumes later joins at the
//                       group's time. In reverse play it turns the group forward.
//   Tavrix_Pause        pauses or resumes this member; the clock stands while
//                       no member plays.
//   Tavrix_Fast/Slow    this member's speed step becomes the group's speed.
//   Tavrix_ReversePlay  the group plays backwards.
//   Tavrix_OneByOne(Back)  pauses the group and moves its time to this
//                       member's next (previous) frame; every member shows
//                       its frame for that time.
//   Tavrix_SetCurrentFrameNum / Tavrix_SetPlayedTimeEx  one jump of the whole
//                       group to the global time of that place of this
//                       member's file (for SetPlayedTimeEx: its first frame's
//                       time plus the milliseconds). Every member lands on its
//                       frame for it, paused members showing it at once. A jump
//                       to where the group already stands moves nothing, so a
//                       caller may send one time to each member in turn.
// Leaving a group (or closing the file) lets the port play on by itself from
// its shown frame.
bool Tavrix_SetSycGroup(int32_t nPort, int32_t nGroup);
// The clock of the port's group as a global time; false when the port is in
// no group or the group has not started.
bool Tavrix_GetSycGroupTime(int32_t nPort, TAVRIX_SYSTEM_TIME* pstTime);

// ---- readings --------------------------------------------------------------------

uint32_t Tavrix_GetFileTime(int32_t nPort);       // seconds
uint32_t Tavrix_GetPlayedTime(int32_t nPort);     // seconds
uint32_t Tavrix_GetPlayedTimeEx(int32_t nPort);   // milliseconds
// The container's estimate until the file's frame index is complete, the exact count after.
uint32_t Tavrix_GetFileTotalFrames(int32_t nPort);
uint32_t Tavrix_GetCurrentFrameNum(int32_t nPort);
// Pictures of the open file shown as the decoder concealed them (damage in the file).
uint32_t Tavrix_GetDamagedFrames(int32_t nPort);
bool Tavrix_GetPictureSize(int32_t nPort, int32_t* pWidth, int32_t* pHeight);
// Global time of the shown frame: creation time of the file plus the frame's
// offset, else a time stamp in the file name; false when the file has neither.
bool Tavrix_GetSystemTime(int32_t nPort, TAVRIX_SYSTEM_TIME* pstSystemTime);

// ---- sound ------------------------------------------------------------------------

bool Tavrix_PlaySoundShare(int32_t nPort);
bool Tavrix_StopSoundShare(int32_t nPort);
// 0 silent .. 65535 full scale.
bool Tavrix_SetVolume(int32_t nPort, uint16_t wVolume);

// ---- callbacks -------------------------------------------------------------------

bool Tavrix_SetDisplayCallBackEx(int32_t nPort, TavrixDisplayCB pfn, void* pUser);
// Region 0 is the main picture, region 1 the navigator.
bool Tavrix_RegisterDrawFunEx(int32_t nPort, int32_t nRegionNum, TavrixDrawCB pfn, void* pUser);
// Called once per open file, on the engine's index thread, when the frame
// index of the file is complete; not for a file whose index cannot be built,
// nor once the file is closed. It must not call the transport (stop, close).
bool Tavrix_SetFileRefCallBack(int32_t nPort, TavrixFileRefCB pfn, void* pUser);
bool Tavrix_SetCheckWatermarkCallBack(int32_t nPort, TavrixWatermarkCB pfn, void* pUser);
// pDest/nDestSize are unused and may be null/0.
bool Tavrix_SetDecCallBackExMend(int32_t nPort, TavrixDecCB pfn, char* pDest, int32_t nDestSize, void* pUser);
bool Tavrix_SetFileEndCallback(int32_t nPort, TavrixFileEndCB pfn, void* pUser);
bool Tavrix_SetEncTypeChangeCallBack(int32_t nPort, TavrixEncTypeChangeCB pfn, void* pUser);
// nModule: 1 decoder, 2 demuxer/decryption; each has its own registration.
bool Tavrix_SetRunTimeInfoCallBackEx(int32_t nPort, int32_t nModule, TavrixRunTimeInfoCB pfn, void* pUser);

// ---- encryption report and picture conversion ------------------------------------

// Handed to the encryption callback. nEncryptType, the first word, is 1: the
// open file's stream is encrypted (MP4 Common Encryption, AES-128) and cannot
// be decrypted.
struct TAVRIX_ENCRYPT_INFO {
    int32_t nEncryptType;
    int32_t nReserved[3];
};
typedef void (*TavrixEncryptTypeCB)(int32_t nPort, TAVRIX_ENCRYPT_INFO* pInfo, void* pUser, void* pReserved);
// nType 1 (the only type) reports streams that cannot be decrypted. The call
// comes at most once per Tavrix_Play, on an engine thread, and only for a
// file that is encrypted: without a key, as soon as the first encrypted
// sample is read and before any picture decoded from it is handed out; with a
// key, when decoding keeps failing as it does with a wrong key (third decode
// error of the play; what decodes before it, if anything, is noise). A clear file, or an encrypted one with the right key, gets
// no call. Like every callback it has stopped when Tavrix_Stop or
// Tavrix_CloseFile returns. It runs alongside the run-time report
// TAVRIX_RT_DECRYPT of module 2.
bool Tavrix_SetEncryptTypeCallBack(int32_t nPort, int32_t nType, TavrixEncryptTypeCB pfn, void* pUser);

// Encodes one picture as a BMP file image in memory: 24-bit BGR, rows bottom-up,
// each row padded to 4 bytes. nType 3 (YV12: Y, then V, then U, contiguous) is
// the only input type; nWidth and nHeight must be even and nBufLen at least
// nWidth * nHeight * 3 / 2. *pnBmpLen gets the bytes written. False for bad
// arguments or a pBmp too small (the BMP needs 54 + rowBytes * nHeight bytes,
// rowBytes = nWidth * 3 rounded up to 4). Not tied to a port.
bool Tavrix_ConvertToBmp(const char* pBuf, int32_t nBufLen, int32_t nWidth, int32_t nHeight, int32_t nType,
                         char* pBmp, int32_t nBmpCap, int32_t* pnBmpLen);

// ---- snapshots and picture files -------------------------------------------------
//
// A snapshot is the picture on screen at the picture's own size, as the
// colour and orientation settings of region 0 make it (rotated, flipped,
// colour-adjusted), without the display region's zoom, the private data or
// anything a draw callback paints: the recorded picture, as shown.

// The snapshot as a BMP file image (24-bit BGR, bottom-up rows padded to 4
// bytes, converted as Tavrix_ConvertToBmp converts). False with
// TAVRIX_ERR_ORDER when no picture has been shown since the last play began,
// TAVRIX_ERR_PARA_OVER when nBufSize is too small (*pnSize then tells the
// bytes needed).
bool Tavrix_GetBMP(int32_t nPort, char* pBmpBuf, uint32_t nBufSize, uint32_t* pnSize);
// The snapshot as a baseline JPEG file image (4:2:0, full range, quality
// high enough that it differs from the BMP by no more than 40 dB PSNR would
// show). Errors as Tavrix_GetBMP.
bool Tavrix_GetJPEG(int32_t nPort, char* pJpegBuf, uint32_t nBufSize, uint32_t* pnSize);
// One YV12 picture (nType 3) written as a BMP or JPEG file. szFileName is the
// path in the program's 8-bit encoding. The file is written under a
// temporary name and renamed when complete, so a failed write (disk full,
// folder gone) never leaves a partial picture behind. Not tied to a port.
bool Tavrix_ConvertToBmpFile(const char* pBuf, int32_t nBufLen, int32_t nWidth, int32_t nHeight, int32_t nType,
                             const char* szFileName);
bool Tavrix_ConvertToJpegFile(const char* pBuf, int32_t nBufLen, int32_t nWidth, int32_t nHeight, int32_t nType,
                              const char* szFileName);

// ---- picture controls -------------------------------------------------------------
//
// The settings belong to the port and last until it is freed; they apply to
// every picture shown from then on, and a paused port shows its picture again
// with the new settings at once. They act on what the window shows, on the
// snapshots and on the display callback's pictures; the decode callback gets
// the pictures as decoded. Only region 0 has them: region 1 (the navigator)
// shows region 0's picture whole.

// Brightness, contrast, saturation and hue, each 0..128 with 64 neutral.
// Neutral values leave the picture bit for bit as decoded.
bool Tavrix_SetColor(int32_t nPort, uint32_t nRegionNum, int32_t nBrightness, int32_t nContrast,
                     int32_t nSaturation, int32_t nHue);
bool Tavrix_GetColor(int32_t nPort, uint32_t nRegionNum, int32_t* pBrightness, int32_t* pContrast,
                     int32_t* pSaturation, int32_t* pHue);
// -1 as recorded, 0 a quarter turn anticlockwise (left), 1 a quarter turn
// clockwise (right), 2 half a turn. Region 1 accepts the call and follows
// region 0.
bool Tavrix_SetRotateAngle(int32_t nPort, uint32_t nRegionNum, int32_t nAngle);
enum : uint32_t { TAVRIX_FLIP_NONE = 0, TAVRIX_FLIP_HORIZONTAL = 1, TAVRIX_FLIP_VERTICAL = 2 };
// Mirror images (bits TAVRIX_FLIP_*), applied after the rotation.
bool Tavrix_SetFlip(int32_t nPort, uint32_t nRegionNum, uint32_t nFlip);
uint32_t Tavrix_GetFlip(int32_t nPort, uint32_t nRegionNum);

// A rectangle in picture pixels (after rotation); right and bottom are
// exclusive edges.
struct TAVRIX_RECT {
    int32_t nLeft;
    int32_t nTop;
    int32_t nRight;
    int32_t nBottom;
};
// Region 0 is the window given to Tavrix_Play: pSrcRect chooses the part of
// the picture it shows, scaled to the whole window (null, or the whole
// picture, shows it all); hDestWnd is ignored. Region 1 shows the whole
// picture in the widget hDestWnd (a navigator) while bEnable is true, with
// the draw callback of region 1 painted over it; pSrcRect is ignored.
// A rectangle outside the picture, or under 2 x 2 pixels, gives
// TAVRIX_ERR_PARA_OVER.
bool Tavrix_SetDisplayRegion(int32_t nPort, uint32_t nRegionNum, const TAVRIX_RECT* pSrcRect, uintptr_t hDestWnd,
                             bool bEnable);

// Private data drawn over region 0 (see the README for the carriers: an
// analytics sidecar file and subtitle tracks). Each kind is on after open.
enum : int32_t {
    TAVRIX_RENDER_ANA_INTEL_DATA = 1, // analytics objects: boxes with their class
    TAVRIX_RENDER_MD = 2,             // motion zones
    TAVRIX_RENDER_ADD_POS = 4,        // text lines (point of sale): subtitle tracks
    TAVRIX_RENDER_ADD_PIC = 8,        // picture overlays (no carrier yet: nothing to draw)
    TAVRIX_RENDER_FIRE_DETECT = 16,   // fire detection boxes
    TAVRIX_RENDER_TEM = 32            // temperature readings
};
// Temperature shapes for Tavrix_RenderPrivateDataEx with TAVRIX_RENDER_TEM.
enum : int32_t { TAVRIX_TEM_REGION = 1, TAVRIX_TEM_LINE = 2, TAVRIX_TEM_POINT = 4 };
bool Tavrix_RenderPrivateData(int32_t nPort, int32_t nIntelType, bool bTrue);
bool Tavrix_RenderPrivateDataEx(int32_t nPort, int32_t nIntelType, int32_t nSubType, bool bTrue);

// Motion flow while slowed down: 0 off; 1 shows blended in-between pictures
// between two frames (the frame counter and the callbacks see the real
// frames only); 2 (a graphics-card interpolator) is not available:
// TAVRIX_ERR_NOT_SUPPORT.
bool Tavrix_MotionFlow(int32_t nPort, uint32_t nMode);

// Software gain on top of full volume: nCoefficient 0..100 adds that many
// percent (100 doubles the amplitude); samples clip at full scale.
bool Tavrix_AdjustWaveAudio(int32_t nPort, int32_t nCoefficient);

// Pictures of the current play of a file that missed their time: shown to
// the callbacks but not to the window (the window was behind), or left out
// above normal speed. Counted from each Tavrix_Play; live streams count
// theirs in Tavrix_GetStreamStats.
uint32_t Tavrix_GetLateFrames(int32_t nPort);

// ---- fisheye views and picture enhancement ----------------------------------------
//
// A fisheye file (tag fisheye=1, or "_fisheye" in the file's base name) or a
// stream port can be shown de-warped: the picture becomes the view of a
// virtual camera looking into the lens's half sphere. The view belongs to the
// port and starts again at every open: original picture, yaw 0, pitch 0,
// horizontal field of view 90 degrees. Like the picture controls it acts on
// the window, the snapshots and the display callback; a paused port shows the
// new view at once. On any other file the SR_* calls fail with
// TAVRIX_ERR_NOT_SUPPORT.
//
// The views are libavfilter's v360 filter (bilinear "line" interpolation, the
// ffmpeg tool's default), so the ffmpeg tool gives the same picture with the
// same text (angles in degrees, "%.4f"; sizes even):
//   flat:        v360=input=fisheye:ih_fov=180:iv_fov=180:output=flat:yaw=Y:pitch=P:roll=0:
//                h_fov=H:v_fov=V:w=W:h=Hh:interp=line   with V = 2*atan(tan(H/2)*Hh/W),
//                size W x Hh = source width x half of it unless set
//   equirect:    v360=input=fisheye:ih_fov=180:iv_fov=180:output=equirect:pitch=-90:
//                h_fov=360:v_fov=180:w=W:h=2*Hh:interp=line,crop=W:Hh:0:0
//   cylindrical: v360=input=fisheye:ih_fov=180:iv_fov=180:output=cylindrical:pitch=-90:
//                h_fov=360:v_fov=120:w=W:h=2*Hh:interp=line,crop=W:Hh:0:0
//                size W x Hh = 2 x source width by half of it unless set
// The panoramas take the camera as mounted looking down (ceiling): the strip
// runs once round, the point straight below the lens at the top edge (the
// cylinder, which cannot reach it, starts 30 degrees from it) and the lens's
// rim at the bottom edge.
//
// While a playing view keeps moving (changes less than 250 ms apart) the
// pictures are made at half the size and scaled up, since v360 works out its
// map again for every view; once the view rests for 250 ms, or on a paused
// picture, the full view above is shown.
struct TAVRIX_SR_ROTATE_PARAM {
    float fRotateX;  // radians added to the yaw (positive turns right)
    float fRotateY;  // radians: negative looks up, positive down
    float fReserved; // 0
    float fZoom;     // radians taken from the horizontal field of view (positive narrows it)
};
struct TAVRIX_SR_ROTATE {
    TAVRIX_SR_ROTATE_PARAM* pParam;
    uint32_t nReserved;
};
enum : int32_t { TAVRIX_SR_CONFIG_VIEW = 1177 };
struct TAVRIX_SR_CONFIG {
    uint8_t bPtzMode;   // 0 the original picture, 1 the de-warped flat view
    int32_t nParam[4];  // 0, 1, 0, 1 from the player; not read
};
enum : int32_t { TAVRIX_SR_ORIGINAL = 0, TAVRIX_SR_FLAT = 1, TAVRIX_SR_EQUIRECT = 2, TAVRIX_SR_CYLINDER = 3 };
struct TAVRIX_SR_VIEW {
    int32_t nKind;   // TAVRIX_SR_*
    float fYaw;      // radians, [-pi, pi)
    float fPitch;    // radians, [-pi/2, pi/2]
    float fFov;      // horizontal field of view, radians (20..150 degrees)
    int32_t nWidth;  // output size; 0 x 0 before a picture is known
    int32_t nHeight;
};
// nConfigType TAVRIX_SR_CONFIG_VIEW with a TAVRIX_SR_CONFIG: bPtzMode 0 shows
// the original picture, 1 the flat view.
bool Tavrix_SR_SetConfig(int32_t nPort, int32_t nConfigType, const void* pConfig);
// Turns and zooms the flat view by the record's amounts: the yaw wraps round,
// the pitch stops at straight up and straight down, the field of view stays
// within 20..150 degrees.
bool Tavrix_SR_Rotate(int32_t nPort, const TAVRIX_SR_ROTATE* pRotate);
// The snapshot (the view as shown) written as a BMP (nFormat 0) or JPEG file;
// szFileName in the program's 8-bit encoding, written atomically.
bool Tavrix_SR_Capture(int32_t nPort, int32_t nFormat, const char* szFileName);
// Any TAVRIX_SR_* kind, the panoramas included.
bool Tavrix_SR_SetViewKind(int32_t nPort, int32_t nKind);
// Output size of the views (even, 16..8192); 0, 0 = automatic (see above).
bool Tavrix_SR_SetOutputSize(int32_t nPort, int32_t nWidth, int32_t nHeight);
bool Tavrix_SR_GetView(int32_t nPort, TAVRIX_SR_VIEW* pView);

// Enhancement modules, off by default (then the picture is bit for bit as
// decoded). They apply to any material, after the de-warp and before the
// rotation and colour controls. nParam[i] is parameter i+1 of the record; 0
// takes the initial value (0,0,0,25,0,0,0,220,26,0,60,80,2,5,50,0,0):
//   DENOISE     hqdn3d=luma_spatial=p4/25*4
//   SHARPEN     unsharp=5:5:p11/100*2
//   BRIGHTEN    eq=gamma=1+p12/200
//   CONTRAST    eq=contrast=1+p15/100
//   SATURATION  eq=saturation=1+p14/10
// Bits 32, 64 and 128 are accepted and change nothing.
enum : int32_t {
    TAVRIX_VIE_DENOISE = 1,
    TAVRIX_VIE_SHARPEN = 2,
    TAVRIX_VIE_BRIGHTEN = 4,
    TAVRIX_VIE_CONTRAST = 8,
    TAVRIX_VIE_SATURATION = 16
};
struct TAVRIX_VIE_PARAM {
    int32_t nModuleMask;
    int32_t nParam[17];
};
static_assert(sizeof(TAVRIX_VIE_PARAM) == 72, "enhancement record is 72 bytes");
// Sets (bEnable) or clears the module bits nModule (1..255).
bool Tavrix_VIE_SetModuConfig(int32_t nPort, int32_t nModule, bool bEnable);
// Region 0 with a null rectangle (the whole picture) is the only region.
bool Tavrix_VIE_SetRegion(int32_t nPort, int32_t nRegionNum, const TAVRIX_RECT* pRect);
// Stores the parameters; the record's module mask is not read.
bool Tavrix_VIE_SetParaConfig(int32_t nPort, const TAVRIX_VIE_PARAM* pParam);
