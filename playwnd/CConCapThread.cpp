#include "CConCapThread.h"

#include <QDebug>

#include <cstring>

#include "CPlayHelper.h"

namespace {
// A stop is seen within this bound while the queue is empty.
const unsigned long kIdleWaitMs = 200;
const int kPathBytes = 4096;
} // namespace

CConCapThread::CConCapThread(QObject* pParent) : QThread(pParent) {}

CConCapThread::~CConCapThread() {
    StopThread();
    wait();
}

bool CConCapThread::IsValidFrame(const TAVRIX_DISPLAY_INFO* pInfo) {
    if (pInfo == nullptr || pInfo->pBuf == nullptr || pInfo->nBufLen <= 0 || pInfo->nWidth <= 0 ||
        pInfo->nHeight <= 0 || pInfo->nType != TAVRIX_FRAME_YV12)
        return false;
    return static_cast<qint64>(pInfo->nBufLen) == static_cast<qint64>(pInfo->nWidth) * pInfo->nHeight * 3 / 2;
}

bool CConCapThread::PostPicture(const TAVRIX_DISPLAY_INFO* pInfo, QString strFilePath, int nFormat,
                                int nWndIndex, size_t nBudgetBytes) {
    if (!IsValidFrame(pInfo))
        return false;
    const size_t nLen = static_cast<size_t>(pInfo->nBufLen);
    if (m_lstNode.QueuedBytes(nWndIndex) + nLen > nBudgetBytes)
        return false;
    auto pNode = std::make_unique<CConCapNode>();
    try {
        pNode->vecData.assign(pInfo->pBuf, pInfo->pBuf + nLen);
    } catch (const std::bad_alloc&) {
        return false;
    }
    pNode->stFrame = *pInfo;
    pNode->stFrame.pBuf = pNode->vecData.data();
    pNode->strFilePath = strFilePath;
    pNode->nFormat = nFormat;
    pNode->nWndIndex = nWndIndex;
    return m_lstNode.AddNode(std::move(pNode));
}

bool CConCapThread::StopThread() {
    m_bStop = true;
    m_lstNode.WakeAll();
    return true;
}

void CConCapThread::run() {
    qInfo() << "CConCapThread Start";
    // m_bStop is not cleared here: a stop asked for before the thread got
    // going must still end it (the worker is started once per stage).
    while (!m_bStop) {
        std::unique_ptr<CConCapNode> pNode;
        if (!m_lstNode.PopNode(&pNode, kIdleWaitMs))
            continue;
        m_bBusy = true;
        const TAVRIX_DISPLAY_INFO& st = pNode->stFrame;
        bool bOk = false;
        if (IsValidFrame(&st) && !pNode->strFilePath.isEmpty() && (pNode->nFormat == 0 || pNode->nFormat == 1)) {
            // The engine takes paths in the program's 8-bit encoding.
            char szPath[kPathBytes] = {};
            if (CPlayHelper::UnicodeToAscii(pNode->strFilePath, szPath, kPathBytes))
                bOk = pNode->nFormat == 0
                          ? Tavrix_ConvertToBmpFile(st.pBuf, st.nBufLen, st.nWidth, st.nHeight, st.nType, szPath)
                          : Tavrix_ConvertToJpegFile(st.pBuf, st.nBufLen, st.nWidth, st.nHeight, st.nType, szPath);
            if (!bOk) {
                qWarning() << "CConCapThread Tavrix_ConvertToBmpFile fail";
                emit Sig_ConCapPicFail(pNode->nWndIndex);
            } else {
                emit Sig_ConCapPicWritten(pNode->nWndIndex, pNode->strFilePath);
            }
        }
        m_lstNode.DoneNode(*pNode);
        m_bBusy = false;
    }
    qInfo() << "CConCapThread break";
    qInfo() << "CConCapThread stop";
}
