#include "CConCapList.h"

#include <QDebug>
#include <QMutexLocker>

namespace {
bool ValidWnd(int n) {
    return n >= 0 && n < CConCapList::MAX_WND;
}
} // namespace

bool CConCapList::AddNode(std::unique_ptr<CConCapNode> pNode) {
    if (!pNode)
        return false;
    {
        QMutexLocker lock(&m_mtx);
        if (ValidWnd(pNode->nWndIndex))
            m_anQueuedBytes[pNode->nWndIndex] += pNode->vecData.size();
        m_lstNode.push_back(std::move(pNode));
    }
    m_cvAdded.wakeOne();
    return true;
}

bool CConCapList::PopNode(std::unique_ptr<CConCapNode>* ppNode, unsigned long nWaitMs) {
    if (ppNode == nullptr)
        return false;
    QMutexLocker lock(&m_mtx);
    if (m_lstNode.empty() && nWaitMs > 0)
        m_cvAdded.wait(&m_mtx, nWaitMs);
    if (m_lstNode.empty())
        return false;
    *ppNode = std::move(m_lstNode.front());
    m_lstNode.pop_front();
    // The picture's bytes count against its window until it is written: the
    // worker hands them back with DoneNode.
    return true;
}

void CConCapList::DoneNode(const CConCapNode& node) {
    QMutexLocker lock(&m_mtx);
    if (ValidWnd(node.nWndIndex))
        m_anQueuedBytes[node.nWndIndex] -= node.vecData.size();
}

int CConCapList::DelNodeByWndIndex(int nWndIndex) {
    QMutexLocker lock(&m_mtx);
    int nRemoved = 0;
    for (auto it = m_lstNode.begin(); it != m_lstNode.end();) {
        if ((*it)->nWndIndex != nWndIndex) {
            ++it;
            continue;
        }
        qInfo() << "CConCapList::DelNodeByWndIndex nWndIndex=" << nWndIndex;
        if (ValidWnd(nWndIndex))
            m_anQueuedBytes[nWndIndex] -= (*it)->vecData.size();
        it = m_lstNode.erase(it);
        ++nRemoved;
    }
    return nRemoved;
}

size_t CConCapList::QueuedBytes(int nWndIndex) const {
    QMutexLocker lock(&m_mtx);
    return ValidWnd(nWndIndex) ? m_anQueuedBytes[nWndIndex] : 0;
}

int CConCapList::Count() const {
    QMutexLocker lock(&m_mtx);
    return static_cast<int>(m_lstNode.size());
}

void CConCapList::WakeAll() {
    m_cvAdded.wakeAll();
}
