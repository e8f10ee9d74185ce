#include "CallbackSet.h"

namespace tavrix {

void CallbackSet::UpdateWantsYv12() {
    m_bWantsYv12 = m_display.pfn != nullptr || m_dec.pfn != nullptr;
}

void CallbackSet::SetDisplay(Display cb) {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_display = cb;
    UpdateWantsYv12();
}

void CallbackSet::SetDraw(int nRegion, Draw cb) {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_draw[nRegion == 1 ? 1 : 0] = cb;
}

void CallbackSet::SetDec(Dec cb) {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_dec = cb;
    UpdateWantsYv12();
}

void CallbackSet::SetFileEnd(FileEnd cb) {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_fileEnd = cb;
}

void CallbackSet::SetFileRef(FileRef cb) {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_fileRef = cb;
}

void CallbackSet::SetRunTime(int nModule, RunTime cb) {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_runTime[nModule == 2 ? 1 : 0] = cb;
}

void CallbackSet::SetWatermark(Watermark cb) {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_watermark = cb;
}

void CallbackSet::SetEncTypeChange(EncTypeChange cb) {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_encType = cb;
}

void CallbackSet::SetEncryptType(EncryptType cb) {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_encrypt = cb;
}

CallbackSet::Display CallbackSet::GetDisplay() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_display;
}

CallbackSet::Draw CallbackSet::GetDraw(int nRegion) const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_draw[nRegion == 1 ? 1 : 0];
}

CallbackSet::Dec CallbackSet::GetDec() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_dec;
}

CallbackSet::FileEnd CallbackSet::GetFileEnd() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_fileEnd;
}

CallbackSet::FileRef CallbackSet::GetFileRef() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_fileRef;
}

CallbackSet::Watermark CallbackSet::GetWatermark() const {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_watermark;
}

void CallbackSet::ReportEncrypted() {
    EncryptType cb;
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        if (m_bEncryptReported) {
            return;
        }
        m_bEncryptReported = true;
        cb = m_encrypt;
    }
    if (cb.pfn == nullptr) {
        return;
    }
    TAVRIX_ENCRYPT_INFO info{};
    info.nEncryptType = 1;
    cb.pfn(m_nPort, &info, cb.pUser, nullptr);
}

void CallbackSet::ReportRunTime(int nModule, int32_t nErrorCode) {
    if (nModule == 2 && nErrorCode == TAVRIX_RT_DECRYPT) {
        ReportEncrypted();
    }
    RunTime cb;
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        const uint32_t nBit = 1u << (static_cast<uint32_t>(nErrorCode) & 31u);
        if (m_nReportedMask & nBit) {
            return;
        }
        m_nReportedMask |= nBit;
        cb = m_runTime[nModule == 2 ? 1 : 0];
    }
    if (cb.pfn == nullptr) {
        return;
    }
    TAVRIX_RUNTIME_INFO info{};
    info.nPort = m_nPort;
    info.nModule = nModule;
    info.nErrorCode = nErrorCode;
    cb.pfn(m_nPort, &info, cb.pUser);
}

void CallbackSet::ResetRunTimeReports() {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_nReportedMask = 0;
    m_bEncryptReported = false;
}

} // namespace tavrix
