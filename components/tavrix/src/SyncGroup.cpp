#include "SyncGroup.h"

#include "PlayerPort.h"

#include <algorithm>
#include <array>
#include <climits>

namespace tavrix {
namespace {

constexpr int kGroups = 16;
// A held clock waits at most this long for its members' pictures: a member
// whose decoder is stuck must not stop the others.
constexpr auto kLongestHold = std::chrono::milliseconds(500);

int64_t Micros(std::chrono::steady_clock::duration d) {
    return std::chrono::duration_cast<std::chrono::microseconds>(d).count();
}

// Clock time for a wall time at a speed step (powers of two), and back.
int64_t Scaled(int64_t nWallUs, int nStep) {
    return nStep >= 0 ? nWallUs * (INT64_C(1) << nStep) : nWallUs / (INT64_C(1) << -nStep);
}
int64_t Unscaled(int64_t nClockUs, int nStep) {
    return nStep >= 0 ? nClockUs / (INT64_C(1) << nStep) : nClockUs * (INT64_C(1) << -nStep);
}

} // namespace

std::shared_ptr<SyncGroup> SyncGroup::Get(int nGroup) {
    static std::mutex s_mtx;
    static std::array<std::shared_ptr<SyncGroup>, kGroups> s_groups;
    if (nGroup < 0 || nGroup >= kGroups) {
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(s_mtx);
    if (!s_groups[nGroup]) {
        s_groups[nGroup] = std::make_shared<SyncGroup>();
    }
    return s_groups[nGroup];
}

// ---- clock arithmetic (m_mtxClock held) ----

SyncGroup::Member* SyncGroup::Find(const PlayerPort* pPort) {
    for (Member& m : m_vecMembers) {
        if (m.pPort == pPort) {
            return &m;
        }
    }
    return nullptr;
}

int64_t SyncGroup::EarliestBegin() const {
    int64_t nEarliest = INT64_MAX;
    for (const Member& m : m_vecMembers) {
        nEarliest = std::min(nEarliest, m.nZeroUs);
    }
    return nEarliest;
}

int SyncGroup::RunningCount() const {
    return static_cast<int>(
        std::count_if(m_vecMembers.begin(), m_vecMembers.end(), [](const Member& m) { return m.bRunning; }));
}

bool SyncGroup::Moving() const {
    return m_clock.bStarted && !m_clock.bHeld && !m_clock.bUnpaced && RunningCount() > 0;
}

int64_t SyncGroup::ValueAt(TimePoint now) const {
    if (!Moving()) {
        return m_clock.nAnchorUs;
    }
    const int64_t nPassed = Scaled(Micros(now - m_clock.tAnchor), m_clock.nSpeedStep);
    return m_clock.bReverse ? m_clock.nAnchorUs - nPassed : m_clock.nAnchorUs + nPassed;
}

void SyncGroup::Rebase(TimePoint now) {
    m_clock.nAnchorUs = ValueAt(now);
    m_clock.tAnchor = now;
}

void SyncGroup::HoldAt(int64_t nUs, TimePoint now) {
    m_clock.bStarted = true;
    m_clock.nAnchorUs = nUs;
    m_clock.tAnchor = now;
    m_clock.bHeld = true;
    m_clock.tHeldSince = now;
    for (Member& m : m_vecMembers) {
        m.bReady = false;
        m.bHasFront = false;
    }
}

SyncGroup::TimePoint SyncGroup::DueTime(int64_t nGlobalUs, int64_t nDurUs, TimePoint now) const {
    std::lock_guard<std::mutex> lock(m_mtxClock);
    if (!m_clock.bStarted) {
        return TimePoint::max();
    }
    // Forward a picture is due once the clock reaches its time; backwards once
    // the clock has gone below the time of the picture after it.
    const int64_t nKey = m_clock.bReverse ? -(nGlobalUs + std::max<int64_t>(nDurUs, 1)) + 1 : nGlobalUs;
    const int64_t nAnchorKey = m_clock.bReverse ? -m_clock.nAnchorUs : m_clock.nAnchorUs;
    if (!Moving()) {
        return nKey <= nAnchorKey ? now : TimePoint::max();
    }
    return m_clock.tAnchor + std::chrono::microseconds(Unscaled(nKey - nAnchorKey, m_clock.nSpeedStep));
}

bool SyncGroup::Waiting() const {
    std::lock_guard<std::mutex> lock(m_mtxClock);
    return m_clock.bStarted && (m_clock.bHeld || m_clock.bUnpaced);
}

void SyncGroup::Arrive(const PlayerPort* pPort, bool bHasFront, bool bEnded, int64_t nFrontGlobalUs,
                       TimePoint now) {
    std::lock_guard<std::mutex> lock(m_mtxClock);
    Member* pMember = Find(pPort);
    if (pMember == nullptr || !m_clock.bStarted) {
        return;
    }
    pMember->bHasFront = bHasFront;
    pMember->bEnded = bEnded;
    pMember->nFrontUs = nFrontGlobalUs;
    if (m_clock.bHeld) {
        pMember->bReady = pMember->bReady || bHasFront || bEnded;
        const bool bAllReady = std::all_of(m_vecMembers.begin(), m_vecMembers.end(),
                                           [](const Member& m) { return !m.bRunning || m.bReady; });
        if (bAllReady || now - m_clock.tHeldSince >= kLongestHold) {
            // Everyone has the picture for the held time: the clock goes from now.
            m_clock.bHeld = false;
            m_clock.tAnchor = now;
        }
        return;
    }
    if (!m_clock.bUnpaced) {
        return;
    }
    // Unpaced: once no playing member has a picture due, the clock moves on to
    // the earliest picture waiting anywhere. A member without a picture at its
    // front (its decoder is behind) holds it back.
    const int64_t nNowUs = m_clock.nAnchorUs;
    int64_t nNext = INT64_MAX;
    for (const Member& m : m_vecMembers) {
        if (!m.bRunning || m.bEnded) {
            continue;
        }
        if (!m.bHasFront || m.nFrontUs <= nNowUs) {
            return;
        }
        nNext = std::min(nNext, m.nFrontUs);
    }
    if (nNext != INT64_MAX) {
        m_clock.nAnchorUs = nNext;
        m_clock.tAnchor = now;
    }
}

bool SyncGroup::Now(int64_t* pnUs) const {
    std::lock_guard<std::mutex> lock(m_mtxClock);
    if (!m_clock.bStarted) {
        return false;
    }
    *pnUs = ValueAt(std::chrono::steady_clock::now());
    return true;
}

void SyncGroup::SetUnpaced(bool bUnpaced) {
    std::lock_guard<std::mutex> lockOp(m_mtxOp);
    std::lock_guard<std::mutex> lock(m_mtxClock);
    Rebase(std::chrono::steady_clock::now());
    m_clock.bUnpaced = bUnpaced;
}

void SyncGroup::SetRunning(const PlayerPort* pPort, bool bRunning) {
    std::lock_guard<std::mutex> lock(m_mtxClock);
    Rebase(std::chrono::steady_clock::now());
    if (Member* pMember = Find(pPort)) {
        pMember->bRunning = bRunning;
        if (bRunning) {
            // A member that joins a held clock has not shown its picture yet.
            pMember->bReady = !m_clock.bHeld;
            pMember->bHasFront = false;
        }
    }
}

std::vector<PlayerPort*> SyncGroup::Ports() const {
    std::lock_guard<std::mutex> lock(m_mtxClock);
    std::vector<PlayerPort*> vec;
    for (const Member& m : m_vecMembers) {
        vec.push_back(m.pPort);
    }
    return vec;
}

void SyncGroup::WakeAll() {
    for (PlayerPort* pPort : Ports()) {
        pPort->WakeRenderer();
    }
}

bool SyncGroup::PlaceAll(bool bReverse) {
    int64_t nUs = 0;
    {
        std::lock_guard<std::mutex> lock(m_mtxClock);
        nUs = ValueAt(std::chrono::steady_clock::now());
    }
    bool bOk = true;
    for (PlayerPort* pPort : Ports()) {
        bool bMoved = false;
        bOk = pPort->GroupPlace(nUs, bReverse, &bMoved) && bOk;
        if (!bMoved) {
            // Already there (one parked at its end has no picture to come):
            // a held clock need not wait for it.
            std::lock_guard<std::mutex> lock(m_mtxClock);
            if (Member* pMember = Find(pPort)) {
                pMember->bReady = true;
            }
        }
    }
    return bOk;
}

// ---- membership ----

bool SyncGroup::Join(PlayerPort* pPort, int64_t nZeroUs) {
    std::lock_guard<std::mutex> lockOp(m_mtxOp);
    const bool bRunning = pPort->StartedForGroup(true);
    {
        std::lock_guard<std::mutex> lock(m_mtxClock);
        if (Find(pPort) != nullptr) {
            return true;
        }
        const auto now = std::chrono::steady_clock::now();
        Rebase(now);
        Member m;
        m.pPort = pPort;
        m.nZeroUs = nZeroUs;
        m.bRunning = bRunning;
        m.bReady = true;
        m_vecMembers.push_back(m);
        if (!pPort->RealTime()) {
            m_clock.bUnpaced = true;
        }
    }
    return true;
}

void SyncGroup::Leave(PlayerPort* pPort) {
    std::lock_guard<std::mutex> lockOp(m_mtxOp);
    std::lock_guard<std::mutex> lock(m_mtxClock);
    Rebase(std::chrono::steady_clock::now());
    m_vecMembers.erase(std::remove_if(m_vecMembers.begin(), m_vecMembers.end(),
                                      [pPort](const Member& m) { return m.pPort == pPort; }),
                       m_vecMembers.end());
    if (m_vecMembers.empty()) {
        m_clock = Clock(); // the next group starts afresh
    }
}

// ---- member commands ----

bool SyncGroup::Play(PlayerPort* pPort) {
    std::lock_guard<std::mutex> lockOp(m_mtxOp);
    bool bTurn = false;
    int64_t nUs = 0;
    {
        std::lock_guard<std::mutex> lock(m_mtxClock);
        const auto now = std::chrono::steady_clock::now();
        if (!m_clock.bStarted) {
            // The first play: the clock starts at the earliest begin and waits
            // for the members' first pictures.
            HoldAt(EarliestBegin(), now);
        } else if (m_clock.bReverse) {
            // Play turns a group that plays backwards forward again.
            Rebase(now);
            m_clock.bReverse = false;
            HoldAt(m_clock.nAnchorUs, now);
            bTurn = true;
        }
        nUs = ValueAt(now);
    }
    if (bTurn) {
        PlaceAll(false);
    }
    if (!pPort->GroupStart(nUs, false)) {
        return false;
    }
    SetRunning(pPort, true);
    WakeAll();
    return true;
}

bool SyncGroup::Pause(PlayerPort* pPort, bool bPause) {
    std::lock_guard<std::mutex> lockOp(m_mtxOp);
    if (bPause) {
        SetRunning(pPort, false);
        const bool bOk = pPort->PauseSolo(true);
        WakeAll();
        return bOk;
    }
    if (!pPort->StartedForGroup(false)) {
        return pPort->PauseSolo(false); // nothing to resume
    }
    int64_t nUs = 0;
    bool bReverse = false;
    {
        std::lock_guard<std::mutex> lock(m_mtxClock);
        if (!m_clock.bStarted) {
            // Resumed before any play of the group: it starts as a first play
            // does, at the earliest begin.
            HoldAt(EarliestBegin(), std::chrono::steady_clock::now());
        }
        nUs = ValueAt(std::chrono::steady_clock::now());
        bReverse = m_clock.bReverse;
    }
    // A member paused while the others played has fallen behind: it rejoins
    // at the group's time.
    pPort->GroupPlace(nUs, bReverse);
    SetRunning(pPort, true);
    const bool bOk = pPort->PauseSolo(false);
    WakeAll();
    return bOk;
}

bool SyncGroup::Stop(PlayerPort* pPort) {
    std::lock_guard<std::mutex> lockOp(m_mtxOp);
    SetRunning(pPort, false);
    return pPort->StopSolo();
}

bool SyncGroup::Speed(PlayerPort* pPort, bool bFaster) {
    std::lock_guard<std::mutex> lockOp(m_mtxOp);
    if (!(bFaster ? pPort->FastSolo() : pPort->SlowSolo())) {
        return false;
    }
    // Each member keeps its own place on the speed ladder (a caller steps
    // every member in turn); the group plays at the step last set.
    const int nStep = pPort->SpeedStepNow();
    {
        std::lock_guard<std::mutex> lock(m_mtxClock);
        Rebase(std::chrono::steady_clock::now());
        m_clock.nSpeedStep = nStep;
    }
    for (PlayerPort* pMember : Ports()) {
        pMember->GroupSpeed(nStep);
    }
    WakeAll();
    return true;
}

bool SyncGroup::Reverse(PlayerPort* pPort) {
    std::lock_guard<std::mutex> lockOp(m_mtxOp);
    {
        std::lock_guard<std::mutex> lock(m_mtxClock);
        if (!m_clock.bStarted) {
            pPort->SetLastError(TAVRIX_ERR_ORDER); // a group starts forward, at its earliest begin
            return false;
        }
        if (m_clock.bUnpaced) {
            // An unpaced clock moves on by the members' next pictures, which
            // only forward play orders that way.
            pPort->SetLastError(TAVRIX_ERR_NOT_SUPPORT);
            return false;
        }
        const auto now = std::chrono::steady_clock::now();
        Rebase(now);
        if (!m_clock.bReverse) {
            m_clock.bReverse = true;
            HoldAt(m_clock.nAnchorUs, now);
        }
    }
    const bool bOk = PlaceAll(true);
    if (!pPort->StartedForGroup(false)) {
        WakeAll();
        return bOk;
    }
    SetRunning(pPort, true);
    pPort->PauseSolo(false);
    WakeAll();
    return bOk;
}

bool SyncGroup::Step(PlayerPort* pPort, bool bForward) {
    std::lock_guard<std::mutex> lockOp(m_mtxOp);
    {
        std::lock_guard<std::mutex> lock(m_mtxClock);
        if (!m_clock.bStarted) {
            pPort->SetLastError(TAVRIX_ERR_ORDER);
            return false;
        }
    }
    // A step pauses the whole group first.
    for (PlayerPort* pMember : Ports()) {
        SetRunning(pMember, false);
        pMember->PauseSolo(true);
    }
    int64_t nUs = 0;
    {
        std::lock_guard<std::mutex> lock(m_mtxClock);
        if (!m_clock.bStarted) {
            pPort->SetLastError(TAVRIX_ERR_ORDER);
            return false;
        }
        nUs = ValueAt(std::chrono::steady_clock::now());
    }
    int64_t nTarget = 0;
    if (!pPort->NeighbourTime(nUs, bForward, &nTarget)) {
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(m_mtxClock);
        m_clock.nAnchorUs = nTarget;
        m_clock.tAnchor = std::chrono::steady_clock::now();
        m_clock.bReverse = !bForward;
        m_clock.bHeld = false;
    }
    const bool bOk = PlaceAll(!bForward);
    WakeAll();
    return bOk;
}

bool SyncGroup::JumpToFrame(PlayerPort* pPort, uint32_t nFrame) {
    std::lock_guard<std::mutex> lockOp(m_mtxOp);
    int64_t nUs = 0;
    if (!pPort->FrameTime(nFrame, &nUs)) {
        return false;
    }
    bool bReverse = false;
    {
        std::lock_guard<std::mutex> lock(m_mtxClock);
        const auto now = std::chrono::steady_clock::now();
        bReverse = m_clock.bReverse;
        // The same time sent to each member in turn moves the group once.
        if (!(m_clock.bStarted && !Moving() && m_clock.nAnchorUs == nUs)) {
            HoldAt(nUs, now);
        }
    }
    const bool bOk = PlaceAll(bReverse);
    WakeAll();
    return bOk;
}

bool SyncGroup::JumpToTime(PlayerPort* pPort, uint32_t nTimeMs) {
    int64_t nZeroUs = 0;
    {
        std::lock_guard<std::mutex> lock(m_mtxClock);
        Member* pMember = Find(pPort);
        if (pMember == nullptr) {
            pPort->SetLastError(TAVRIX_ERR_ORDER);
            return false;
        }
        nZeroUs = pMember->nZeroUs;
    }
    std::lock_guard<std::mutex> lockOp(m_mtxOp);
    const int64_t nUs = nZeroUs + static_cast<int64_t>(nTimeMs) * 1000;
    bool bReverse = false;
    {
        std::lock_guard<std::mutex> lock(m_mtxClock);
        bReverse = m_clock.bReverse;
        if (!(m_clock.bStarted && !Moving() && m_clock.nAnchorUs == nUs)) {
            HoldAt(nUs, std::chrono::steady_clock::now());
        }
    }
    const bool bOk = PlaceAll(bReverse);
    WakeAll();
    return bOk;
}

} // namespace tavrix
