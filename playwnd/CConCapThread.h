#pragma once

#include <QString>
#include <QThread>

#include <atomic>

#include "CConCapList.h"
#include "Tavrix.h"

// The one worker that turns continuously captured frames of all windows into
// picture files. Windows post copies of shown frames from the engine's
// display threads; the worker converts them in arrival order, as fast as it
// can, and reports a picture it could not write to the stage.
class CConCapThread : public QThread {
    Q_OBJECT

public:
    explicit CConCapThread(QObject* pParent = nullptr);
    ~CConCapThread() override;

    // Display thread: queues a copy of the frame for strFilePath. False for a
    // null or malformed record, or when the window's queued pictures would
    // pass nBudgetBytes (the picture is then skipped).
    bool PostPicture(const TAVRIX_DISPLAY_INFO* pInfo, QString strFilePath, int nFormat, int nWndIndex,
                     size_t nBudgetBytes);
    // Ends the loop after the picture in hand; wait() then returns promptly.
    bool StopThread();
    int DelNodeByWndIndex(int nWndIndex) { return m_lstNode.DelNodeByWndIndex(nWndIndex); }
    // Pictures of all windows not yet written.
    int PendingCount() const { return m_lstNode.Count() + (m_bBusy ? 1 : 0); }
    // A record the worker can convert: YV12 of positive, matching size.
    static bool IsValidFrame(const TAVRIX_DISPLAY_INFO* pInfo);

signals:
    bool Sig_ConCapPicFail(int nSubWndIndex);
    // A picture was written (for progress and tests).
    void Sig_ConCapPicWritten(int nSubWndIndex, QString strFilePath);

protected:
    void run() override;

private:
    std::atomic<bool> m_bStop{false};
    std::atomic<bool> m_bBusy{false};
    CConCapList m_lstNode;
};
