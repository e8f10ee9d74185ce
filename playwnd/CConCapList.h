#pragma once

#include <QMutex>
#include <QWaitCondition>

#include <deque>
#include <memory>

#include "CConCapNode.h"

// The queue between the windows' display threads and the capture worker, in
// arrival order. Every change happens under the lock; the worker waits on it
// with a bound, so a stop is seen within that bound even when nothing comes.
class CConCapList {
public:
    static const int MAX_WND = 16;

    // Appends; false for null.
    bool AddNode(std::unique_ptr<CConCapNode> pNode);
    // Takes the first node, waiting up to nWaitMs for one; false if none came.
    bool PopNode(std::unique_ptr<CConCapNode>* ppNode, unsigned long nWaitMs = 0);
    // The worker is done with a node it took: its bytes no longer count.
    void DoneNode(const CConCapNode& node);
    // Removes the queued nodes of one window; answers how many.
    int DelNodeByWndIndex(int nWndIndex);
    // Bytes of picture data one window has queued (its share of memory).
    size_t QueuedBytes(int nWndIndex) const;
    int Count() const;
    // Wakes a waiting PopNode (stop).
    void WakeAll();

private:
    mutable QMutex m_mtx;
    QWaitCondition m_cvAdded;
    std::deque<std::unique_ptr<CConCapNode>> m_lstNode; // guarded by m_mtx
    size_t m_anQueuedBytes[MAX_WND] = {};                // guarded by m_mtx
};
