// A lock-step group: ports whose files carry a global time play by one clock
// in that time. Each member keeps its own demuxer, decoders and render
// thread; what they share is the clock below. A member's render thread asks
// it when each picture is due (the picture's global time reached, forward,
// or left behind, backwards), so every member shows, at every moment, its
// frame for the group's time, and a member whose file begins later simply
// has nothing due until then.
//
// Commands on a member that move time (jumps, steps, direction) are group
// operations: they take the group's operation lock, then each member's
// control lock in turn, never the other way round. A port therefore asks
// its group before it takes its own control lock, and nothing that holds a
// control lock calls into a group operation.
//
// The clock itself has a lock of its own, held only for arithmetic; render
// threads take it under their ring lock, so nothing under the clock lock
// ever takes another lock.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace tavrix {

class PlayerPort;

class SyncGroup : public std::enable_shared_from_this<SyncGroup> {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    // The group of that number, made on first use; null for a bad number.
    static std::shared_ptr<SyncGroup> Get(int nGroup);

    // ---- membership (from the flat interface, never under a control lock) ----
    // nZeroUs: global time (µs since 1970) of the port's first video frame.
    bool Join(PlayerPort* pPort, int64_t nZeroUs);
    void Leave(PlayerPort* pPort);

    // ---- member commands, entered instead of the port's own ----
    bool Play(PlayerPort* pPort);
    bool Pause(PlayerPort* pPort, bool bPause);
    bool Stop(PlayerPort* pPort);
    bool Speed(PlayerPort* pPort, bool bFaster);
    bool Reverse(PlayerPort* pPort);
    bool Step(PlayerPort* pPort, bool bForward);
    // A jump of the group to the global time of a place of pPort's file.
    bool JumpToFrame(PlayerPort* pPort, uint32_t nFrame);
    bool JumpToTime(PlayerPort* pPort, uint32_t nTimeMs);

    // ---- readings ----
    // The clock at `now` in global µs; false before the group has started.
    bool Now(int64_t* pnUs) const;

    // ---- render threads ----
    // When a picture is due: nGlobalUs is its global time, nDurUs its length.
    // TimePoint::max() while the clock stands short of it (or the group has
    // not started). Takes only the clock lock.
    TimePoint DueTime(int64_t nGlobalUs, int64_t nDurUs, TimePoint now) const;
    // The clock waits for its members (after a start or a jump, or when
    // unpaced): render threads poll instead of sleeping to a due time.
    bool Waiting() const;
    // A member's render thread reports the global time of the picture at
    // the front of its ring (bHasFront false: none yet; bEnded: no more
    // come). Lets a held clock go once every playing member has its
    // picture (or half a second has passed), and moves an unpaced clock on
    // to the earliest front once every playing member's pictures are shown.
    void Arrive(const PlayerPort* pPort, bool bHasFront, bool bEnded, int64_t nFrontGlobalUs, TimePoint now);

    // Members of a group that plays unpaced (not in real time) advance the
    // clock themselves, frame by frame (see Arrive).
    void SetUnpaced(bool bUnpaced);

private:
    struct Member {
        PlayerPort* pPort = nullptr;
        int64_t nZeroUs = 0;
        bool bRunning = false;   // playing, not paused (counts for the clock)
        bool bReady = false;     // has its picture for a held clock
        bool bHasFront = false;  // unpaced: a picture waits at the front
        bool bEnded = false;     // unpaced: nothing more comes
        int64_t nFrontUs = 0;
    };
    struct Clock {
        bool bStarted = false;
        int64_t nAnchorUs = 0; // global time at tAnchor
        TimePoint tAnchor;
        int nSpeedStep = 0;    // power of two, -4..4
        bool bReverse = false;
        bool bHeld = false;    // waits for the members' first pictures
        TimePoint tHeldSince;
        bool bUnpaced = false;
    };

    Member* Find(const PlayerPort* pPort); // m_mtxClock held
    int RunningCount() const;              // m_mtxClock held
    int64_t EarliestBegin() const;         // m_mtxClock held
    bool Moving() const;                   // m_mtxClock held
    int64_t ValueAt(TimePoint now) const;  // m_mtxClock held
    void Rebase(TimePoint now);            // m_mtxClock held
    // Holds the clock at global time nUs until the playing members have
    // their pictures for it.
    void HoldAt(int64_t nUs, TimePoint now); // m_mtxClock held
    void SetRunning(const PlayerPort* pPort, bool bRunning);
    // Every started member to its frame for the clock's time (m_mtxOp held).
    bool PlaceAll(bool bReverse);
    std::vector<PlayerPort*> Ports() const;
    void WakeAll();

    std::mutex m_mtxOp; // serialises group operations; taken before any control lock
    mutable std::mutex m_mtxClock;
    std::vector<Member> m_vecMembers; // guarded by m_mtxClock; changed under m_mtxOp too
    Clock m_clock;                    // guarded by m_mtxClock
};

} // namespace tavrix
