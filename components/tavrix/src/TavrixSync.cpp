// The flat interface of lock-step play (see SyncGroup.h).
#include "Tavrix.h"

#include "PortCall.h"

bool Tavrix_SetSycGroup(int32_t nPort, int32_t nGroup) {
    if (nGroup < -1) {
        tavrix::PortTable::Instance().SetLastError(nPort, TAVRIX_ERR_PARA_OVER);
        return false;
    }
    return tavrix::RunOnPort(nPort, [nGroup](tavrix::PlayerPort& port) { return port.JoinGroup(nGroup); });
}

bool Tavrix_GetSycGroupTime(int32_t nPort, TAVRIX_SYSTEM_TIME* pstTime) {
    if (pstTime == nullptr) {
        tavrix::PortTable::Instance().SetLastError(nPort, TAVRIX_ERR_PARA_OVER);
        return false;
    }
    return tavrix::RunOnPort(nPort, [pstTime](tavrix::PlayerPort& port) {
        if (!port.GroupTime(pstTime)) {
            port.SetLastError(TAVRIX_ERR_ORDER);
            return false;
        }
        return true;
    });
}
