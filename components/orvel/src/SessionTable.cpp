#include "SessionTable.h"

#include "Session.h"

#include <limits>

namespace orvel {

SessionTable& SessionTable::Instance() {
    static SessionTable* s_pTable = new SessionTable;
    return *s_pTable;
}

int32_t SessionTable::Create(const std::string& strUrl) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (static_cast<int32_t>(m_sessions.size()) >= kMaxSessions) {
        return -1;
    }
    int32_t nId = m_nNextId;
    while (m_sessions.count(nId) != 0) { // only after the ids wrapped around
        nId = nId == std::numeric_limits<int32_t>::max() ? 0 : nId + 1;
    }
    m_nNextId = nId == std::numeric_limits<int32_t>::max() ? 0 : nId + 1;
    m_sessions.emplace(nId, std::make_shared<Session>(nId, strUrl));
    return nId;
}

std::shared_ptr<Session> SessionTable::Find(int32_t nId) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_sessions.find(nId);
    return it == m_sessions.end() ? nullptr : it->second;
}

std::shared_ptr<Session> SessionTable::Remove(int32_t nId) {
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_sessions.find(nId);
    if (it == m_sessions.end()) {
        return nullptr;
    }
    std::shared_ptr<Session> session = std::move(it->second);
    m_sessions.erase(it);
    return session;
}

int32_t SessionTable::Count() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<int32_t>(m_sessions.size());
}

} // namespace orvel
