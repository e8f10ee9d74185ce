// The flat Orvel_* interface: finds the session and hands the call on.
#include "Orvel.h"

#include "Session.h"
#include "SessionTable.h"

#include <cstring>

using orvel::SessionTable;

namespace {

constexpr size_t kMaxUrlBytes = 4096;

// A URL this library will not even try: empty, too long, or with control
// characters or spaces in it (unencoded, they cannot be meant).
bool BadUrl(const char* szUrl) {
    if (szUrl == nullptr || szUrl[0] == '\0') {
        return true;
    }
    const size_t nLen = strnlen(szUrl, kMaxUrlBytes + 1);
    if (nLen > kMaxUrlBytes) {
        return true;
    }
    for (size_t i = 0; i < nLen; ++i) {
        const auto c = static_cast<unsigned char>(szUrl[i]);
        if (c <= 0x20 || c == 0x7f) {
            return true;
        }
    }
    return false;
}

} // namespace

int32_t Orvel_Create(const char* szUrl, uint32_t nFlags) {
    if (nFlags != 0 || BadUrl(szUrl)) {
        return -1;
    }
    return SessionTable::Instance().Create(szUrl);
}

int32_t Orvel_SetTimeout(int32_t nSession, int32_t nTimeoutMs) {
    const auto session = SessionTable::Instance().Find(nSession);
    return session ? session->SetTimeout(nTimeoutMs) : ORVEL_ERR_PARAMETER;
}

int32_t Orvel_SetTransmitMode(int32_t nSession, int32_t nMode, int32_t nPort) {
    const auto session = SessionTable::Instance().Find(nSession);
    return session ? session->SetTransmitMode(nMode, nPort) : ORVEL_ERR_PARAMETER;
}

int32_t Orvel_SetMsgCallBack(int32_t nSession, OrvelMsgCB pfn, void* pUser) {
    const auto session = SessionTable::Instance().Find(nSession);
    return session ? session->SetMsgCallBack(pfn, pUser) : ORVEL_ERR_PARAMETER;
}

int32_t Orvel_Open(int32_t nSession, OrvelDataCB pfn, void* pUser) {
    const auto session = SessionTable::Instance().Find(nSession);
    return session ? session->Open(pfn, pUser) : ORVEL_ERR_PARAMETER;
}

int32_t Orvel_Close(int32_t nSession) {
    const auto session = SessionTable::Instance().Find(nSession);
    return session ? session->Close() : ORVEL_ERR_PARAMETER;
}

int32_t Orvel_Destroy(int32_t nSession) {
    const auto session = SessionTable::Instance().Remove(nSession);
    if (!session) {
        return ORVEL_ERR_PARAMETER;
    }
    session->Close();
    // The id is gone, but an Open on another thread may still be returning:
    // when Destroy returns, that session has let go of the network.
    session->WaitOpenReturned();
    return ORVEL_OK;
}

int32_t Orvel_GetSessionCount() {
    return SessionTable::Instance().Count();
}
