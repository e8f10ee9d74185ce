// The flat interface's way into a port: look it up and hand over, and record
// the port's error number after a false, where Tavrix_GetLastError reads it.
#pragma once

#include "PlayerPort.h"
#include "PortTable.h"

#include <memory>

namespace tavrix {

inline std::shared_ptr<PlayerPort> LookupPort(int32_t nPort) {
    std::shared_ptr<PlayerPort> pPort = PortTable::Instance().Get(nPort);
    if (!pPort) {
        PortTable::Instance().SetLastError(nPort, TAVRIX_ERR_NO_PORT);
    }
    return pPort;
}

// Runs an operation of the port and records its error number on failure.
template <typename Fn> bool RunOnPort(int32_t nPort, Fn fn) {
    std::shared_ptr<PlayerPort> pPort = LookupPort(nPort);
    if (!pPort) {
        return false;
    }
    const bool bOk = fn(*pPort);
    if (!bOk) {
        PortTable::Instance().SetLastError(nPort, pPort->LastError());
    }
    return bOk;
}

} // namespace tavrix
