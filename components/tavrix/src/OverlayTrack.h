// The private data of an open file, by time: analytics objects (boxes,
// polygons, points with a class) and text lines. Filled at open by the
// sidecar reader and, while the file plays, by the subtitle reader's thread;
// read by the render thread for each picture it shows. Qt-free.
//
// Times are microseconds from the first video frame, the scale of
// VideoFrame::nSourcePtsUs. Coordinates are fractions of the decoded
// picture (0..1, x to the right, y downwards), before any rotation or flip.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace tavrix {

class OverlayTrack {
public:
    enum class Shape { Box, Polygon, Point };
    struct Point {
        float fX = 0.0f;
        float fY = 0.0f;
    };
    struct Item {
        int32_t nKind = 0;    // a TAVRIX_RENDER_* kind
        int32_t nSubType = 0; // TAVRIX_TEM_* for temperatures, else 0
        Shape eShape = Shape::Box;
        std::vector<Point> vecPoints; // box: top left and bottom right
        std::string strLabel;         // class, and the reading for a temperature
    };
    struct TextLine {
        int64_t nStartUs = 0;
        int64_t nEndUs = 0;
        std::string strText;
    };

    // An analytics frame holds from its time until the next frame, at most this long.
    static constexpr int64_t kFrameHoldUs = 1000000;
    // Bounds a hostile sidecar or subtitle track cannot push memory past.
    static constexpr size_t kMaxFrames = 200000;
    static constexpr size_t kMaxLines = 50000;

    // The objects of the analytics frame at nTimeUs; frames of one instant
    // (one per analytics module) add up.
    void AddFrame(int64_t nTimeUs, std::vector<Item> vecItems);
    void AddLine(TextLine line);

    std::vector<Item> ItemsAt(int64_t nTimeUs) const;
    std::vector<std::string> LinesAt(int64_t nTimeUs) const;
    bool Empty() const;

private:
    mutable std::mutex m_mtx;
    std::map<int64_t, std::vector<Item>> m_mapFrames; // by time; guarded by m_mtx
    std::vector<TextLine> m_vecLines;                 // in arrival order; guarded by m_mtx
};

} // namespace tavrix
