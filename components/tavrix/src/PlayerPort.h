// One port: an open file and the threads that play it.
//
//   Demuxer thread -> video PacketQueue -> VideoDecoder thread -> VideoRenderer ring
//                  -> audio PacketQueue -> AudioDecoder thread -> AudioOutput (SDL2)
//   VideoRenderer thread: frame clock, display callback, FrameSink (the window)
//   ReversePlayer thread (backwards, instead of the demuxer and decoders)
//                  -> VideoRenderer ring
//
// A live stream (stream mode) plays through a LivePlayer instead: bytes fed
// by the caller's network thread into a source buffer, read by a live
// demuxer, shown by a live renderer; it has no frame index, so jumps, steps,
// reverse play and speeds are not offered.
//
// Jumps, steps and direction changes keep the render thread (its window, its
// last picture) and replace only what feeds it: the old producers are
// stopped and joined behind the renderer's closed gate, the demuxer is moved
// to the key frame the target needs (found in the frame index) and new ones
// start, so nothing from before a command is shown after it.
//
// The picture sets the pace: the demuxer rests while the video queue holds
// enough, the renderer waits for each picture's instant, and the audio
// decoder either fills the sound device's short ring or, with sound off,
// waits for the picture. Transport calls are serialised by the control lock,
// which the engine threads never take, so a callback may read the port's
// readings while the GUI thread stops it; a stop aborts every queue and
// joins every thread, and a new play builds them afresh.
#pragma once

#include "CallbackSet.h"
#include "FrameSink.h"
#include "MediaInfo.h"
#include "PictureAdjuster.h"
#include "PlayReadings.h"
#include "SnapshotEncoder.h"
#include "StreamCounters.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace tavrix {

class AudioDecoder;
class AudioOutput;
class Demuxer;
class FrameIndex;
class LivePlayer;
class OverlayTrack;
class ReversePlayer;
class SyncGroup;
class StreamSource;
class SubtitleTrackReader;
class VideoDecoder;
class VideoRenderer;

class PlayerPort {
public:
    using SinkFactory = std::function<std::shared_ptr<FrameSink>()>;

    explicit PlayerPort(int nPort);
    ~PlayerPort();
    PlayerPort(const PlayerPort&) = delete;
    PlayerPort& operator=(const PlayerPort&) = delete;

    int Port() const { return m_nPort; }
    CallbackSet& Callbacks() { return m_callbacks; }
    uint32_t LastError() const { return m_nLastError.load(); }
    void SetLastError(uint32_t nError) { m_nLastError = nError; }

    // Settings. Each answers false (with the last error set) on bad input.
    bool SetStreamOpenMode(uint32_t nMode);
    bool SetSecretKey(int32_t nKeyType, const char* pKey, int32_t nKeyLenBits);
    bool SetDecodeEngine(uint32_t nEngine);
    bool SetDecodeThreads(uint32_t nThreads);
    uint32_t DecodeEngine() const;
    bool SetRealTime(bool bRealTime);

    bool OpenFile(const char* szPath);
    bool CloseFile();

    // Stream mode (see Tavrix.h). The caller's network thread feeds
    // InputData, which never waits: not for the control lock, nor for room.
    bool OpenStream(const char* pHeader, uint32_t nHeaderLen, uint32_t nBufPoolSize);
    bool OpenStreamAdvanced(int32_t nType, const TAVRIX_STREAM_HEADER* pRecord, uint32_t nBufPoolSize);
    bool CloseStream();
    bool InputData(const char* pBuf, uint32_t nSize);
    bool SetDisplayBuf(uint32_t nNum);
    bool StreamStats(TAVRIX_STREAM_STATS* pOut);

    // nWindowKey names the window (0 none); fnMakeSink builds a sink for it and
    // runs only when the window differs from the one already in use.
    bool Play(uintptr_t nWindowKey, const SinkFactory& fnMakeSink);
    bool Pause(bool bPause);
    bool Stop();
    bool Refresh(uint32_t nRegion);
    bool Fast();
    bool Slow();
    bool ReversePlay();
    bool OneByOne();
    bool OneByOneBack();
    bool SetCurrentFrameNum(uint32_t nFrame);
    bool SetPlayedTimeMs(uint32_t nTimeMs);
    bool ThrowBFrames(uint32_t nNum);
    // Key frame at or before (bNext false) or strictly after (bNext true) a
    // frame number or a time (nType TAVRIX_BY_*).
    bool KeyFramePos(uint32_t nValue, uint32_t nType, bool bNext, TAVRIX_FRAME_POS* pOut);

    // Readings.
    bool IsOpen() const;
    uint32_t FileTimeSec() const;
    uint32_t PlayedTimeMs() const;
    // Exact from the moment the frame index is complete, an estimate before.
    uint32_t TotalFrames() const;
    bool IndexReady() const;
    uint32_t CurrentFrameNum() const;
    uint32_t DamagedFrames() const { return m_readings.nDamagedFrames.load(); }
    bool PictureSize(int32_t* pnWidth, int32_t* pnHeight) const;
    bool SystemTime(TAVRIX_SYSTEM_TIME* pstOut) const;

    // Sound.
    bool PlaySound();
    bool StopSound();
    bool SetVolume(uint16_t nVolume);

    // Pictures (PlayerPortPicture.cpp): colour and orientation settings,
    // snapshots, motion flow, sound gain. None takes the control lock, so
    // each may be called from a callback.
    bool SetColour(int nBrightness, int nContrast, int nSaturation, int nHue);
    PictureAdjuster::Settings PictureSettings() const { return m_pAdjuster->Current(); }
    bool SetRotate(int nRotate);
    bool SetFlip(uint32_t nFlip);
    bool SetMotionFlow(uint32_t nMode);
    bool AdjustWaveAudio(int nCoefficient);
    uint32_t LateFrames() const {
        return m_bLivePort.load() ? m_streamCounters.nLateFrames.load() : m_readings.nLateFrames.load();
    }
    bool Snapshot(SnapshotEncoder::Format format, char* pBuf, uint32_t nBufSize, uint32_t* pnSize);

    // Fisheye views and enhancement (PlayerPortPicture.cpp), lock-free like
    // the picture settings. The views need fisheye material: a fisheye file
    // or any stream (the engine does not see where a stream comes from).
    bool SrSetConfig(int32_t nConfigType, const void* pConfig);
    bool SrRotate(const TAVRIX_SR_ROTATE* pRotate);
    bool SrSetViewKind(int32_t nKind);
    bool SrSetOutputSize(int32_t nWidth, int32_t nHeight);
    bool SrGetView(TAVRIX_SR_VIEW* pView);
    bool SrCapture(int32_t nFormat, const char* szFileName);
    bool VieSetModuConfig(int32_t nModule, bool bEnable);
    bool VieSetRegion(int32_t nRegionNum, const TAVRIX_RECT* pRect);
    bool VieSetParaConfig(const TAVRIX_VIE_PARAM* pParam);
    uint32_t GraphBuilds() const { return m_pAdjuster->GraphBuilds(); }

    // Lock-step play (PlayerPortSync.cpp). Join and leave come from the flat
    // interface, never under the control lock; a member's transport calls go
    // to its group first, which calls the Group* operations below.
    bool JoinGroup(int nGroup);
    void LeaveGroup();
    std::shared_ptr<SyncGroup> Group() const;
    bool GroupTime(TAVRIX_SYSTEM_TIME* pstOut) const;
    bool PlaySolo();
    bool PlaySoloLocked(); // control lock held
    bool PauseSolo(bool bPause);
    bool StopSolo();
    bool FastSolo();
    bool SlowSolo();
    int SpeedStepNow();
    // Starts (or resumes) the port for the group's time nUs.
    bool GroupStart(int64_t nUs, bool bReverse);
    // The port's frame for the group's time nUs in the given direction (a
    // started port only): nothing when it is there already, a jump otherwise
    // (always exact, even for the next frame: what waits in the ring may not
    // be it); before the file's begin the window goes dark and the first
    // frame waits for its time.
    // *pbMoved (optional): the port was moved (restarted or stepped).
    bool GroupPlace(int64_t nUs, bool bReverse, bool* pbMoved = nullptr);
    // The group's speed for this port's pictures and sound.
    void GroupSpeed(int nStep);
    // Global time of the frame after (before) the port's frame for nUs.
    bool NeighbourTime(int64_t nUs, bool bForward, int64_t* pnOut);
    bool FrameTime(uint32_t nFrame, int64_t* pnOut);
    // Threads built (bPlaying: and not paused).
    bool StartedForGroup(bool bPlaying);
    void WakeRenderer();
    bool RealTime() const { return m_bRealTime.load(); }

    // Display regions and private data (PlayerPortRegions.cpp). Any thread;
    // the render thread's sink reads them for each picture.
    std::shared_ptr<FrameSink> Sink(); // the sink of the play under way, or null
    void SetSourceRect(const TAVRIX_RECT* pRect); // region 0; null: the whole picture
    bool SourceRect(TAVRIX_RECT* pOut) const;     // false: the whole picture
    void SetNavigatorWindow(uintptr_t nWindowId); // region 1; 0: none
    uintptr_t NavigatorWindow() const;
    void SetOverlayKinds(uint32_t nKinds, bool bOn);        // TAVRIX_RENDER_* bits
    void SetTemperatureShapes(uint32_t nShapes, bool bOn);  // TAVRIX_TEM_* bits
    uint32_t OverlayKinds() const { return m_nOverlayKinds.load(); }
    uint32_t TemperatureShapes() const { return m_nTemShapes.load(); }
    // The private data of the open file; null without a file.
    std::shared_ptr<const OverlayTrack> Overlays() const;

private:
    void CloseFileLocked();
    // The open file's private data: loaded at open, dropped at close (control lock held).
    void LoadOverlays(const std::string& strUtf8Path);
    void DropOverlays();
    // Stream mode; all with the control lock held.
    // The port plays a stream, or is set up for one that is not open yet.
    bool IsStreamPort() const { return m_pLive != nullptr || m_bLivePort.load(); }
    bool OpenStreamFrom(uint16_t nSystemFormat, const uint8_t* pHead, size_t nHeadLen, uint32_t nBufPoolSize);
    void CloseStreamLocked();
    bool PlayStream();
    bool PauseStream(bool bPause);
    void StopStream();

    bool StartThreads(std::shared_ptr<FrameSink> pSink);
    bool BuildThreads(std::shared_ptr<FrameSink> pSink, bool bPaused);
    void StopThreads();
    // The producers feed the render thread: the demuxer with the decoders
    // (forward) or the reverse player. Stopping them keeps the render thread,
    // its window and its last picture.
    void StopProducers();
    // bTurn: a change of direction from the shown frame; the counter keeps
    // naming that frame until the first new picture shows.
    bool StartForwardAt(uint32_t nFrame, bool bShowFirst, bool bTurn = false);
    bool StartReverseAt(int64_t nFrame, bool bShowFirst, bool bTurn = false);
    bool JumpTo(uint32_t nFrame);
    void ApplySpeed();
    // Fast play leaves out pictures nothing refers to; never while paused.
    bool SkippingNonRef() const;
    // Pauses a running port (control lock held).
    bool EnterPause();
    void PublishPosition(uint32_t nFrame);
    // The frame index when complete (its queries answer from then on), else null.
    const FrameIndex* ReadyIndex() const;
    std::shared_ptr<AudioOutput> CurrentOutput() const;
    bool Fail(uint32_t nError);
    void StartIndex(const std::string& strUtf8Path);
    // Callbacks come from engine threads only: a failure found on the
    // caller's thread is reported from a thread of its own, joined before
    // the next report and by every stop.
    void ReportFromEngineThread(int nModule, int32_t nErrorCode);
    void JoinReport();
    void OnIndexComplete(const FrameIndex& index);

    const int m_nPort;
    CallbackSet m_callbacks;
    PlayReadings m_readings;
    std::atomic<uint32_t> m_nLastError{0};
    std::atomic<bool> m_bRealTime{true};
    std::atomic<uint32_t> m_nDecodeEngineWanted{0};
    std::atomic<uint32_t> m_nDecodeThreads{0}; // 0: one per core

    std::mutex m_mtxControl;                    // serialises the transport; never held by engine threads
    std::string m_strKeyHex;                    // guarded by m_mtxControl
    std::unique_ptr<Demuxer> m_pDemuxer;        // guarded by m_mtxControl
    std::unique_ptr<VideoRenderer> m_pRenderer; // guarded by m_mtxControl
    std::unique_ptr<VideoDecoder> m_pVideo;     // guarded by m_mtxControl
    std::unique_ptr<AudioDecoder> m_pAudio;     // guarded by m_mtxControl
    std::unique_ptr<FrameIndex> m_pIndex;       // kept across stops; guarded by m_mtxControl
    bool m_bRunning = false;                    // threads run; guarded by m_mtxControl
    bool m_bPaused = false;                     // guarded by m_mtxControl
    bool m_bReverse = false; // the reverse player feeds the renderer; guarded by m_mtxControl
    int m_nSpeedStep = 0;    // -4..4; guarded by m_mtxControl
    uint32_t m_nThrowB = 0;  // guarded by m_mtxControl
    std::unique_ptr<ReversePlayer> m_pReverse; // made on first use per file; guarded by m_mtxControl
    uintptr_t m_nWindowKey = 0;                // guarded by m_mtxControl
    std::shared_ptr<FrameSink> m_pSink;        // guarded by m_mtxControl
    std::atomic<bool> m_bHardwareActive{false};
    std::thread m_threadReport; // guarded by m_mtxControl

    // Stream mode.
    std::atomic<bool> m_bLivePort{false}; // set up for a live stream: Play may come before it opens
    std::unique_ptr<LivePlayer> m_pLive;  // the open stream's threads; guarded by m_mtxControl
    uint32_t m_nDisplayBuf = 15;          // guarded by m_mtxControl
    std::atomic<bool> m_bStreamOpen{false};
    std::atomic<bool> m_bFisheyeFile{false}; // the open file is fisheye material
    StreamCounters m_streamCounters; // of the open stream; atomics, reset by its open
    // Held only to copy the pointer, so InputData never waits for more.
    std::mutex m_mtxSource;
    std::shared_ptr<StreamSource> m_pSource; // the open stream's source; guarded by m_mtxSource

    mutable std::mutex m_mtxInfo; // the facts of the open file, for readers on any thread
    bool m_bOpen = false;         // guarded by m_mtxInfo
    MediaInfo m_info;             // guarded by m_mtxInfo
    bool m_bIndexReady = false;   // the frame index is complete; guarded by m_mtxInfo

    mutable std::mutex m_mtxSound;
    std::shared_ptr<AudioOutput> m_pOutput; // guarded by m_mtxSound
    uint16_t m_nVolume = 65535;             // guarded by m_mtxSound
    int m_nGainPercent = 0;                 // added on top of the volume; guarded by m_mtxSound

    // Picture settings and the last shown picture: the render threads read
    // and feed them, any thread may change or read them.
    const std::shared_ptr<PictureAdjuster> m_pAdjuster = std::make_shared<PictureAdjuster>(m_nPort);
    const std::shared_ptr<SnapshotEncoder> m_pSnapshots = std::make_shared<SnapshotEncoder>(m_nPort);

    // Lock-step play.
    mutable std::mutex m_mtxGroup;       // guards m_pGroup alone
    std::shared_ptr<SyncGroup> m_pGroup; // guarded by m_mtxGroup
    int64_t m_nGroupZeroUs = 0;          // global time of the first frame; guarded by m_mtxControl
    bool m_bGroupDark = false; // placed before the file's begin, nothing shown since; guarded by m_mtxControl
    static constexpr int64_t kNotPlaced = INT64_MIN;
    int64_t m_nGroupPlaced = kNotPlaced;
    int m_nGroupSpeedStep = 0; // the group's speed; guarded by m_mtxControl // the frame the group last placed the port on (-1 dark); guarded by m_mtxControl
    // The frame of the open file for a global time: -1 before its begin
    // (control lock held, index ready).
    int64_t FrameForGlobal(int64_t nUs) const;
    int64_t GlobalOfFrame(uint32_t nFrame) const;

    // Display regions and private data.
    mutable std::mutex m_mtxRegions;
    bool m_bSourceRect = false;           // guarded by m_mtxRegions
    TAVRIX_RECT m_rcSource{};             // guarded by m_mtxRegions
    uintptr_t m_nNavigatorWindow = 0;     // guarded by m_mtxRegions
    std::shared_ptr<OverlayTrack> m_pOverlays; // guarded by m_mtxRegions
    std::unique_ptr<SubtitleTrackReader> m_pSubtitleReader; // guarded by m_mtxControl
    std::atomic<uint32_t> m_nOverlayKinds{0x3F}; // every kind on after open
    std::atomic<uint32_t> m_nTemShapes{0x7};
};

} // namespace tavrix
