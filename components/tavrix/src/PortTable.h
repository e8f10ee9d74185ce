// The process-wide table of ports. Lookups hand out shared owners, so a port
// being freed on one thread stays valid for a reader on another until that
// reader is done; the freeing thread closes the port before letting go.
#pragma once

#include "Tavrix.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace tavrix {

class PlayerPort;

class PortTable {
public:
    static PortTable& Instance();

    bool Allocate(int32_t* pnPort);
    std::shared_ptr<PlayerPort> Get(int32_t nPort) const;
    // Takes the port out of the table; the caller closes it.
    std::shared_ptr<PlayerPort> Release(int32_t nPort);
    int32_t InUse() const;

    // Last error per port number, kept even for ports not allocated.
    void SetLastError(int32_t nPort, uint32_t nError);
    uint32_t LastError(int32_t nPort) const;

private:
    PortTable() = default;

    mutable std::mutex m_mtx;
    std::shared_ptr<PlayerPort> m_apPorts[TAVRIX_MAX_PORTS]; // guarded by m_mtx
    int32_t m_nNext = 0;  // where the search for a free port starts; guarded by m_mtx
    int32_t m_nInUse = 0; // guarded by m_mtx
    std::atomic<uint32_t> m_anLastError[TAVRIX_MAX_PORTS] = {};
};

} // namespace tavrix
