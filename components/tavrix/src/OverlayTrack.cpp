#include "OverlayTrack.h"

namespace tavrix {

void OverlayTrack::AddFrame(int64_t nTimeUs, std::vector<Item> vecItems) {
    std::lock_guard<std::mutex> lock(m_mtx);
    auto it = m_mapFrames.find(nTimeUs);
    if (it != m_mapFrames.end()) {
        // Two frames of one instant (one per analytics module) show together.
        for (Item& item : vecItems) {
            it->second.push_back(std::move(item));
        }
        return;
    }
    if (m_mapFrames.size() >= kMaxFrames) {
        return;
    }
    m_mapFrames.emplace(nTimeUs, std::move(vecItems));
}

void OverlayTrack::AddLine(TextLine line) {
    std::lock_guard<std::mutex> lock(m_mtx);
    if (m_vecLines.size() >= kMaxLines || line.nEndUs <= line.nStartUs) {
        return;
    }
    m_vecLines.push_back(std::move(line));
}

std::vector<OverlayTrack::Item> OverlayTrack::ItemsAt(int64_t nTimeUs) const {
    std::lock_guard<std::mutex> lock(m_mtx);
    // The last frame at or before the picture, if it still holds.
    auto it = m_mapFrames.upper_bound(nTimeUs);
    if (it == m_mapFrames.begin()) {
        return {};
    }
    --it;
    if (nTimeUs - it->first >= kFrameHoldUs) {
        return {};
    }
    return it->second;
}

std::vector<std::string> OverlayTrack::LinesAt(int64_t nTimeUs) const {
    std::lock_guard<std::mutex> lock(m_mtx);
    std::vector<std::string> vecOut;
    // Lines are few (one a transaction); a scan costs less than keeping an interval tree.
    for (const TextLine& line : m_vecLines) {
        if (nTimeUs >= line.nStartUs && nTimeUs < line.nEndUs) {
            vecOut.push_back(line.strText);
        }
    }
    return vecOut;
}

bool OverlayTrack::Empty() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_mapFrames.empty() && m_vecLines.empty();
}

} // namespace tavrix
