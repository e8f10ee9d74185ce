// A port's side of lock-step play: joining and leaving a group, and the
// operations the group runs on each member (see SyncGroup.h for the order of
// the locks).
#include "PlayerPort.h"

#include "AudioDecoder.h"
#include "AudioOutput.h"
#include "Demuxer.h"
#include "FrameIndex.h"
#include "GlobalTime.h"
#include "SyncGroup.h"
#include "TimeLine.h"
#include "VideoRenderer.h"

namespace tavrix {

std::shared_ptr<SyncGroup> PlayerPort::Group() const {
    std::lock_guard<std::mutex> lock(m_mtxGroup);
    return m_pGroup;
}

bool PlayerPort::JoinGroup(int nGroup) {
    if (nGroup < 0) {
        LeaveGroup();
        return true;
    }
    std::shared_ptr<SyncGroup> pGroup = SyncGroup::Get(nGroup);
    if (!pGroup) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    std::shared_ptr<SyncGroup> pOld = Group();
    if (pOld == pGroup) {
        return true;
    }
    if (pOld) {
        LeaveGroup();
    }
    int64_t nZeroUs = 0;
    {
        std::lock_guard<std::mutex> lock(m_mtxControl);
        if (!m_pDemuxer) {
            // Only local files play in a group: a stream has no time to share.
            return Fail(IsStreamPort() ? TAVRIX_ERR_NOT_SUPPORT : TAVRIX_ERR_ORDER);
        }
        std::lock_guard<std::mutex> lockInfo(m_mtxInfo);
        if (!m_info.bHasGlobalTime) {
            return Fail(TAVRIX_ERR_NOT_SUPPORT);
        }
        nZeroUs = m_info.nGlobalStartMs * 1000;
        m_nGroupZeroUs = nZeroUs;
        m_bGroupDark = false;
        m_nGroupPlaced = kNotPlaced;
        m_nGroupSpeedStep = 0;
    }
    if (!pGroup->Join(this, nZeroUs)) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    {
        std::lock_guard<std::mutex> lock(m_mtxGroup);
        m_pGroup = pGroup;
    }
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (m_pRenderer) {
        m_pRenderer->SetGroup(pGroup, this, nZeroUs);
    }
    if (m_pAudio) {
        m_pAudio->SetWaitForPicture(true);
    }
    return true;
}

void PlayerPort::LeaveGroup() {
    std::shared_ptr<SyncGroup> pGroup;
    {
        std::lock_guard<std::mutex> lock(m_mtxGroup);
        pGroup = std::move(m_pGroup);
    }
    if (!pGroup) {
        return;
    }
    pGroup->Leave(this);
    std::lock_guard<std::mutex> lock(m_mtxControl);
    m_bGroupDark = false;
    if (m_pRenderer) {
        m_pRenderer->SetGroup(nullptr, nullptr, 0);
    }
    if (m_pAudio) {
        m_pAudio->SetWaitForPicture(false);
    }
}

bool PlayerPort::GroupTime(TAVRIX_SYSTEM_TIME* pstOut) const {
    std::shared_ptr<SyncGroup> pGroup = Group();
    int64_t nUs = 0;
    if (!pGroup || !pGroup->Now(&nUs)) {
        return false;
    }
    // Milliseconds down, as the shown frames' times are.
    const int64_t nMs = nUs >= 0 ? nUs / 1000 : (nUs - 999) / 1000;
    GlobalTime::ToSystemTime(nMs, pstOut);
    return true;
}

int PlayerPort::SpeedStepNow() {
    std::lock_guard<std::mutex> lock(m_mtxControl);
    return m_nSpeedStep;
}

bool PlayerPort::StartedForGroup(bool bPlaying) {
    std::lock_guard<std::mutex> lock(m_mtxControl);
    return m_pDemuxer && m_bRunning && (!bPlaying || !m_bPaused);
}

void PlayerPort::WakeRenderer() {
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (m_pRenderer) {
        m_pRenderer->Nudge();
    }
}

int64_t PlayerPort::FrameForGlobal(int64_t nUs) const {
    const FrameIndex* pIndex = ReadyIndex();
    if (nUs < m_nGroupZeroUs) {
        return -1;
    }
    int64_t nVideoStartUs = 0;
    {
        std::lock_guard<std::mutex> lockInfo(m_mtxInfo);
        nVideoStartUs = m_info.nVideoStartUs;
    }
    // The last frame whose time is not after nUs.
    const int64_t nPts = av_rescale_q_rnd(nVideoStartUs + (nUs - m_nGroupZeroUs), AV_TIME_BASE_Q,
                                          pIndex->TimeBase(), AV_ROUND_DOWN);
    int64_t n = pIndex->LastFrameAtOrBeforePts(nPts);
    if (n < 0) {
        n = 0;
    }
    // Microseconds back to stamps round down, the frames' own times to the
    // nearest: the frame whose time is exactly nUs may lie one stamp above.
    while (n + 1 < static_cast<int64_t>(pIndex->Count()) && GlobalOfFrame(static_cast<uint32_t>(n + 1)) <= nUs) {
        ++n;
    }
    return n;
}

int64_t PlayerPort::GlobalOfFrame(uint32_t nFrame) const {
    const FrameIndex* pIndex = ReadyIndex();
    int64_t nVideoStartUs = 0;
    {
        std::lock_guard<std::mutex> lockInfo(m_mtxInfo);
        nVideoStartUs = m_info.nVideoStartUs;
    }
    return m_nGroupZeroUs + StampUs(pIndex->PtsOfFrame(nFrame), pIndex->TimeBase()) - nVideoStartUs;
}

bool PlayerPort::FrameTime(uint32_t nFrame, int64_t* pnOut) {
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (!m_pDemuxer) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    const FrameIndex* pIndex = ReadyIndex();
    if (pIndex == nullptr) {
        return Fail(TAVRIX_ERR_NO_INDEX);
    }
    if (nFrame >= pIndex->Count()) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    *pnOut = GlobalOfFrame(nFrame);
    return true;
}

bool PlayerPort::NeighbourTime(int64_t nUs, bool bForward, int64_t* pnOut) {
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (!m_pDemuxer) {
        return Fail(TAVRIX_ERR_ORDER);
    }
    const FrameIndex* pIndex = ReadyIndex();
    if (pIndex == nullptr) {
        return Fail(TAVRIX_ERR_NO_INDEX);
    }
    const int64_t nCount = pIndex->Count();
    const int64_t nFrame = FrameForGlobal(nUs);
    const int64_t nTarget = bForward ? nFrame + 1 : nFrame - 1;
    if (nTarget < 0 || nTarget >= nCount) {
        return Fail(TAVRIX_ERR_PARA_OVER); // nothing beyond this file's end
    }
    *pnOut = GlobalOfFrame(static_cast<uint32_t>(nTarget));
    return true;
}

bool PlayerPort::GroupStart(int64_t nUs, bool bReverse) {
    {
        std::lock_guard<std::mutex> lock(m_mtxControl);
        if (!m_pDemuxer) {
            return Fail(TAVRIX_ERR_ORDER);
        }
        if (!m_bRunning) {
            const FrameIndex* pIndex = ReadyIndex();
            const int64_t nFrame = pIndex != nullptr ? FrameForGlobal(nUs) : -1;
            if (nFrame <= 0 && !bReverse) {
                // From the first frame, which waits for its time; the window
                // stays dark until then.
                m_bGroupDark = nFrame < 0;
                m_nGroupPlaced = kNotPlaced;
                m_nSpeedStep = 0;
                m_bPaused = false;
                return StartThreads(m_pSink);
            }
            if (!BuildThreads(m_pSink, false)) {
                return false;
            }
            m_bGroupDark = false;
            m_nGroupPlaced = nFrame;
            return bReverse ? StartReverseAt(nFrame, false) : StartForwardAt(static_cast<uint32_t>(nFrame), false);
        }
    }
    // Started: to the group's frame (nothing when it is there), then on.
    GroupPlace(nUs, bReverse);
    return PauseSolo(false);
}

bool PlayerPort::GroupPlace(int64_t nUs, bool bReverse, bool* pbMoved) {
    bool bMovedHere = false;
    bool& bMoved = pbMoved != nullptr ? *pbMoved : bMovedHere;
    bMoved = false;
    std::lock_guard<std::mutex> lock(m_mtxControl);
    if (!m_pDemuxer || !m_bRunning) {
        return true; // a member that does not play takes its place when it starts
    }
    const FrameIndex* pIndex = ReadyIndex();
    if (pIndex == nullptr) {
        return Fail(TAVRIX_ERR_NO_INDEX);
    }
    const int64_t nTarget = FrameForGlobal(nUs);
    const bool bTurn = m_bReverse != bReverse;
    // Placed there by the group already and not moved since: the caller may
    // send one time to each member in turn.
    const bool bStill = nTarget < 0 ? !m_readings.bShown.load() : m_readings.nFrameNum.load() == nTarget;
    if (!bTurn && nTarget == m_nGroupPlaced && bStill) {
        return true;
    }
    const bool bDark = m_bGroupDark && !m_readings.bShown.load();
    m_nGroupPlaced = nTarget;
    if (nTarget < 0) {
        // Before this file's begin: dark, the first frame waiting for its time
        // (backwards there is nothing left to show).
        if (!bDark || bTurn) {
            bMoved = true;
            StopProducers();
            m_pRenderer->ClearPicture();
            m_bGroupDark = true;
            if (bReverse) {
                return StartReverseAt(-1, false);
            }
            if (!StartForwardAt(0, false)) {
                return false;
            }
            // Nothing shows until the group's time comes, paused or not.
            m_pRenderer->NothingToShow();
            return true;
        }
        return true;
    }
    const uint32_t nFrame = static_cast<uint32_t>(nTarget);
    const uint32_t nNamed = m_readings.nFrameNum.load();
    if (!bTurn && !bReverse && bDark && nFrame == 0) {
        // The first frame waits at the front of the ring: a paused member
        // shows it now, a playing one when its time comes, which is now.
        m_bGroupDark = false;
        bMoved = true;
        if (m_bPaused) {
            m_pRenderer->Step();
        }
        PublishPosition(0);
        return true;
    }
    if (!bTurn && !bDark && nFrame == nNamed) {
        if (m_bPaused && !m_readings.bShown.load()) {
            bMoved = true;
            m_pRenderer->Step(); // paused before the play's first picture came
        }
        return true;
    }
    bMoved = true;
    StopProducers();
    m_bGroupDark = false;
    return bReverse ? StartReverseAt(nFrame, m_bPaused) : StartForwardAt(nFrame, m_bPaused);
}

void PlayerPort::GroupSpeed(int nStep) {
    std::lock_guard<std::mutex> lock(m_mtxControl);
    m_nGroupSpeedStep = nStep;
    ApplySpeed();
}

} // namespace tavrix
