#include "PortTable.h"

#include "PlayerPort.h"

namespace tavrix {

PortTable& PortTable::Instance() {
    static PortTable s_table;
    return s_table;
}

bool PortTable::Allocate(int32_t* pnPort) {
    std::lock_guard<std::mutex> lock(m_mtx);
    // Search from after the last port handed out, so that a window which
    // frees its port and takes a new one gets a different number.
    for (int32_t i = 0; i < TAVRIX_MAX_PORTS; ++i) {
        const int32_t nPort = (m_nNext + i) % TAVRIX_MAX_PORTS;
        if (m_apPorts[nPort]) {
            continue;
        }
        m_apPorts[nPort] = std::make_shared<PlayerPort>(nPort);
        m_anLastError[nPort] = TAVRIX_NOERROR;
        m_nNext = (nPort + 1) % TAVRIX_MAX_PORTS;
        ++m_nInUse;
        *pnPort = nPort;
        return true;
    }
    return false;
}

std::shared_ptr<PlayerPort> PortTable::Get(int32_t nPort) const {
    if (nPort < 0 || nPort >= TAVRIX_MAX_PORTS) {
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_apPorts[nPort];
}

std::shared_ptr<PlayerPort> PortTable::Release(int32_t nPort) {
    if (nPort < 0 || nPort >= TAVRIX_MAX_PORTS) {
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(m_mtx);
    std::shared_ptr<PlayerPort> pPort = std::move(m_apPorts[nPort]);
    if (pPort) {
        --m_nInUse;
    }
    return pPort;
}

int32_t PortTable::InUse() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_nInUse;
}

void PortTable::SetLastError(int32_t nPort, uint32_t nError) {
    if (nPort >= 0 && nPort < TAVRIX_MAX_PORTS) {
        m_anLastError[nPort] = nError;
    }
}

uint32_t PortTable::LastError(int32_t nPort) const {
    if (nPort < 0 || nPort >= TAVRIX_MAX_PORTS) {
        return TAVRIX_ERR_PARA_OVER;
    }
    return m_anLastError[nPort].load();
}

} // namespace tavrix
