// The colour and orientation settings of one port, and the filter graph that
// applies them to a picture.
//
// The settings may be changed from any thread (under m_mtx); each change
// bumps a serial, so the render thread can tell whether a picture it made
// earlier is still right. Apply and the filter graph belong to the thread
// that renders the port's pictures (one render thread at a time: a new one
// starts only after the old one has been joined).
//
// Neutral settings apply no filter at all, so the picture stays bit for bit
// as decoded. Otherwise the graph is, in this order:
//   de-warp   v360 of the fisheye view (FisheyeView::FilterText)
//   enhance   the enhancement modules (Enhancer::FilterText)
//   rotation  0 (left)  transpose=cclock
//             1 (right) transpose=clock
//             2 (half)  hflip,vflip
//   flips     bit 1     hflip
//             bit 2     vflip      (after the rotation: mirrors what is seen)
//   colour    eq=brightness=(b-64)/64*0.5:contrast=c/64
//             hue=h=(h-64)/64*180:s=s/64
// with b, c, s, h in 0..128 and 64 neutral: brightness moves from -0.5 to
// +0.5, contrast scales from 0 to 2, hue turns from -180 to +180 degrees and
// saturation scales from 0 (grey) to 2. The colour filters are left out while
// the colour is neutral, so a pure rotation or flip is an exact permutation
// of the pixels.
#pragma once

#include "Enhancer.h"
#include "FfmpegPtr.h"
#include "FisheyeView.h"
#include "VideoFrame.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace tavrix {

class PictureAdjuster {
public:
    struct Settings {
        int nBrightness = 64;
        int nContrast = 64;
        int nSaturation = 64;
        int nHue = 64;
        int nRotate = -1;   // -1 none, 0 left, 1 right, 2 half
        uint32_t nFlip = 0; // TAVRIX_FLIP_* bits
        FisheyeView sr;     // the de-warped view (fisheye material only)
        Enhancer vie;       // the enhancement modules
        uint32_t nSerial = 0;

        bool ColourNeutral() const {
            return nBrightness == 64 && nContrast == 64 && nSaturation == 64 && nHue == 64;
        }
        bool Neutral() const {
            return ColourNeutral() && nRotate == -1 && nFlip == 0 && !sr.Active() && !vie.Active();
        }
    };

    explicit PictureAdjuster(int nPort) : m_nPort(nPort) {}
    PictureAdjuster(const PictureAdjuster&) = delete;
    PictureAdjuster& operator=(const PictureAdjuster&) = delete;

    // Any thread. False for values out of range (nothing changes).
    bool SetColour(int nBrightness, int nContrast, int nSaturation, int nHue);
    bool SetRotate(int nRotate);
    bool SetFlip(uint32_t nFlip);
    // Changes the view or the modules through fn (under the lock); when fn
    // answers true the change counts (serial bumped, listener told). Answers
    // what fn answered.
    bool ChangeView(const std::function<bool(FisheyeView&)>& fn);
    bool ChangeEnhancer(const std::function<bool(Enhancer&)>& fn);
    Settings Current() const;
    // Filter graphs built so far (for the tests: a steady view builds one).
    uint32_t GraphBuilds() const { return m_nGraphBuilds.load(); }
    uint32_t Serial() const;

    // Called after each change (with no lock of the caller's held): the
    // render thread that runs sets it, so a paused picture shows the change
    // at once; it clears it before it stops (a renderer going away after its
    // successor started clears nothing of the successor's). ClearListener
    // returns once no call into pOwner runs. fnChanged must not call back in.
    void SetListener(const void* pOwner, std::function<void()> fnChanged);
    void ClearListener(const void* pOwner);

    // Motion flow mode (0 off, 1 blended in-between pictures); any thread.
    void SetMotionFlow(uint32_t nMode) { m_nMotionFlow = nMode; }
    uint32_t MotionFlow() const { return m_nMotionFlow.load(); }

    // Render thread only. The picture as the settings *pSettings (read by
    // the caller with Current) make it; null while they are neutral, or when
    // the filters fail (said in the log: the picture then shows as decoded).
    FramePtr Apply(const AVFrame* pFrame, const Settings& settings);
    // Render thread only: brings frame.pShown up to the current settings
    // (nothing when it was made for them already). bPlaying: the picture is
    // shown by a playing port in its turn, so a moving view may use a draft
    // (a later picture replaces it); steps, jumps and refreshes never do.
    void Prepare(VideoFrame& frame, bool bPlaying = false);

private:
    static std::string FilterChain(const Settings& settings, int nSrcWidth, bool bDraft);
    // bFresh: a new picture of a playing port (see Prepare).
    bool EnsureGraph(const AVFrame* pFrame, const Settings& settings, bool bFresh);
    FramePtr Filter(const AVFrame* pFrame, const Settings& settings, bool bFresh);

    const int m_nPort;
    mutable std::mutex m_mtx;
    Settings m_settings; // guarded by m_mtx
    std::atomic<uint32_t> m_nMotionFlow{0};
    std::atomic<uint32_t> m_nGraphBuilds{0};
    // Taken only to call or replace the listener; never held with m_mtx.
    std::mutex m_mtxListener;
    std::function<void()> m_fnChanged;      // guarded by m_mtxListener
    const void* m_pListenerOwner = nullptr; // guarded by m_mtxListener
    void NotifyChanged();
    // Applies fn to the settings under the lock; when fn answers true the
    // change counts (serial bumped, listener told). Answers what fn answered.
    bool Change(const std::function<bool(Settings&)>& fn);

    // Owned by the render thread.
    FilterGraphPtr m_pGraph;
    AVFilterContext* m_pSource = nullptr; // owned by m_pGraph
    AVFilterContext* m_pSink = nullptr;   // owned by m_pGraph
    uint32_t m_nGraphSerial = 0;
    int m_nGraphWidth = 0;
    int m_nGraphHeight = 0;
    int m_nGraphFormat = -1;
    // A moving view: while views follow each other within kSettleTime on
    // playing pictures, the graph is a draft (see FisheyeView::FilterText);
    // the first fresh picture after the view stays still gets the full one.
    FisheyeView m_graphView;
    bool m_bDraft = false;
    std::chrono::steady_clock::time_point m_tpViewChange{};
};

} // namespace tavrix
