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

void CallbackSet::ReportRunTime(int nModule, int32_t nErrorCode) {
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
}

} // namespace tavrix
