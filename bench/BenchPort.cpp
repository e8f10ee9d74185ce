#include "BenchPort.h"

#include <QByteArrayView>
#include <QCryptographicHash>

#include <algorithm>
#include <cstring>

BenchPort::~BenchPort() {
    Close();
}

bool BenchPort::Open(const std::string& strPath) {
    if (m_lPort < 0 && !Tavrix_GetPort(&m_lPort)) {
        m_nLastError = Tavrix_GetLastError(-1);
        m_lPort = -1;
        return false;
    }
    if (!Tavrix_SetDisplayCallBackEx(m_lPort, &BenchPort::DisplayCallBack, this) ||
        !Tavrix_SetFileEndCallback(m_lPort, &BenchPort::FileEndCallback, this) ||
        !Tavrix_SetFileRefCallBack(m_lPort, &BenchPort::FileRefCallback, this)) {
        m_nLastError = Tavrix_GetLastError(m_lPort);
        return false;
    }
    if (!m_strKeyText.empty()) {
        char szKey[16] = {};
        std::memcpy(szKey, m_strKeyText.data(), std::min<size_t>(m_strKeyText.size(), sizeof(szKey)));
        if (!Tavrix_SetSecretKey(m_lPort, 1, szKey, 128)) {
            m_nLastError = Tavrix_GetLastError(m_lPort);
            return false;
        }
    }
    if (s_nDecodeThreads > 0 && !Tavrix_SetDecodeThreads(m_lPort, s_nDecodeThreads)) {
        m_nLastError = Tavrix_GetLastError(m_lPort);
        return false;
    }
    m_openTime = Clock::now();
    if (!Tavrix_OpenFile(m_lPort, strPath.c_str())) {
        m_nLastError = Tavrix_GetLastError(m_lPort);
        return false;
    }
    return true;
}

bool BenchPort::Play(bool bRealTime) {
    return Check(Tavrix_SetRealTime(m_lPort, bRealTime) && Tavrix_Play(m_lPort, 0));
}

bool BenchPort::Pause(bool bPause) {
    return Check(Tavrix_Pause(m_lPort, bPause ? 1 : 0));
}

bool BenchPort::SeekFrame(uint32_t nFrameNum) {
    return Check(Tavrix_SetCurrentFrameNum(m_lPort, nFrameNum));
}

bool BenchPort::StepBack() {
    return Check(Tavrix_OneByOneBack(m_lPort));
}

bool BenchPort::ReversePlay() {
    return Check(Tavrix_ReversePlay(m_lPort));
}

uint32_t BenchPort::TotalFrames() const {
    return m_lPort < 0 ? 0 : Tavrix_GetFileTotalFrames(m_lPort);
}

bool BenchPort::Check(bool bOk) {
    if (!bOk)
        m_nLastError = m_lPort < 0 ? TAVRIX_ERR_ORDER : Tavrix_GetLastError(m_lPort);
    return bOk;
}

void BenchPort::Close() {
    if (m_lPort < 0)
        return;
    Tavrix_CloseFile(m_lPort);
    Tavrix_FreePort(m_lPort);
    m_lPort = -1;
}

uint32_t BenchPort::LastError() const {
    return m_nLastError;
}

bool BenchPort::WaitForEnd(Clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cvChanged.wait_until(lock, deadline, [this] { return m_bEnded; });
}

bool BenchPort::WaitForFrames(size_t nCount, Clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cvChanged.wait_until(lock, deadline, [this, nCount] { return m_vecFrames.size() >= nCount; });
}

bool BenchPort::WaitForShown(size_t nFirst, const std::function<bool(const Shown&)>& match,
                             Clock::time_point deadline, Shown* pShown) {
    std::unique_lock<std::mutex> lock(m_mutex);
    size_t nChecked = nFirst; // records before this one are known not to match
    const bool bFound = m_cvChanged.wait_until(lock, deadline, [&] {
        for (; nChecked < m_vecFrames.size(); ++nChecked) {
            if (match(m_vecFrames[nChecked]))
                return true;
        }
        return false;
    });
    if (bFound && pShown)
        *pShown = m_vecFrames[nChecked];
    return bFound;
}

bool BenchPort::WaitForFrameNum(size_t nFirst, uint32_t nFrameNum, Clock::time_point deadline,
                                Shown* pShown) {
    return WaitForShown(
        nFirst, [nFrameNum](const Shown& shown) { return shown.nFrameNum == nFrameNum; }, deadline, pShown);
}

bool BenchPort::WaitForIndex(Clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cvChanged.wait_until(lock, deadline, [this] { return m_bIndexed; });
}

BenchPort::Clock::time_point BenchPort::IndexTime() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_indexTime;
}

std::vector<BenchPort::Shown> BenchPort::Frames() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_vecFrames;
}

size_t BenchPort::FrameCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_vecFrames.size();
}

bool BenchPort::Ended() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bEnded;
}

void BenchPort::DisplayCallBack(TAVRIX_DISPLAY_INFO* pstDisplayInfo) {
    if (!pstDisplayInfo || !pstDisplayInfo->nUser)
        return;
    auto* pThis = static_cast<BenchPort*>(pstDisplayInfo->nUser);
    Shown shown{Clock::now(), pstDisplayInfo->nStamp, pstDisplayInfo->nFrameNum, {}};
    if (pThis->m_bHashPictures)
        shown.strMd5 = I420Md5Hex(*pstDisplayInfo);
    if (pThis->m_frameSink)
        pThis->m_frameSink(*pstDisplayInfo);
    std::lock_guard<std::mutex> lock(pThis->m_mutex);
    pThis->m_vecFrames.push_back(std::move(shown));
    pThis->m_cvChanged.notify_all();
}

void BenchPort::FileEndCallback(int32_t, void* pUser) {
    if (!pUser)
        return;
    auto* pThis = static_cast<BenchPort*>(pUser);
    std::lock_guard<std::mutex> lock(pThis->m_mutex);
    pThis->m_bEnded = true;
    pThis->m_cvChanged.notify_all();
}

void BenchPort::FileRefCallback(int32_t, void* pUser) {
    if (!pUser)
        return;
    auto* pThis = static_cast<BenchPort*>(pUser);
    const Clock::time_point now = Clock::now();
    std::lock_guard<std::mutex> lock(pThis->m_mutex);
    pThis->m_bIndexed = true;
    pThis->m_indexTime = now;
    pThis->m_cvChanged.notify_all();
}

std::string BenchPort::I420Md5Hex(const TAVRIX_DISPLAY_INFO& stInfo) {
    const qsizetype nLuma = qsizetype(stInfo.nWidth) * stInfo.nHeight;
    const qsizetype nChroma = qsizetype((stInfo.nWidth + 1) / 2) * ((stInfo.nHeight + 1) / 2);
    if (!stInfo.pBuf || stInfo.nBufLen < nLuma + 2 * nChroma)
        return "short-buffer";
    // YV12 holds V before U; the hash wants U first.
    QCryptographicHash hash(QCryptographicHash::Md5);
    hash.addData(QByteArrayView(stInfo.pBuf, nLuma));
    hash.addData(QByteArrayView(stInfo.pBuf + nLuma + nChroma, nChroma));
    hash.addData(QByteArrayView(stInfo.pBuf + nLuma, nChroma));
    return hash.result().toHex().toStdString();
}
