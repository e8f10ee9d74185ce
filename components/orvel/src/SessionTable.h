// The sessions alive, by id. Ids count up and are not given again soon, so a
// stale id held by a caller does not reach a newer session.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace orvel {

class Session;

class SessionTable {
public:
    static constexpr int32_t kMaxSessions = 256;

    // The one table of the process; never destroyed, so sessions still alive
    // at exit are not torn down under threads that use them.
    static SessionTable& Instance();

    // A new session for szUrl: its id, or -1 when the table is full.
    int32_t Create(const std::string& strUrl);
    // The session, or null for an unknown id. The caller's reference keeps it
    // alive while it works with it, even if it is removed meanwhile.
    std::shared_ptr<Session> Find(int32_t nId) const;
    // Takes the session out of the table; null for an unknown id.
    std::shared_ptr<Session> Remove(int32_t nId);
    int32_t Count() const;

private:
    SessionTable() = default;

    mutable std::mutex m_mutex; // guards the two below
    std::map<int32_t, std::shared_ptr<Session>> m_sessions;
    int32_t m_nNextId = 0;
};

} // namespace orvel
