// Snapshots and continuous capture of the selected window.

#include "CDlgShow.h"

#include <QDir>
#include <QFileInfo>

#include "CConCapThread.h"
#include "CPlayWnd.h"

int CDlgShow::CapOnePic(int nFormat, QString strFolder) {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->CapPic(nFormat, strFolder) : 0;
}

bool CDlgShow::StartConCap(bool bStart, int nMode, int nGap, int nMaxNum, QString strFolder, int nSaveType) {
    CPlayWnd* pWnd = SelWnd();
    if (!pWnd)
        return false;
    if (!m_pConCapThread) {
        m_pConCapThread = std::make_unique<CConCapThread>();
        // Failures are reported from the worker; the windows live on this thread.
        connect(m_pConCapThread.get(), &CConCapThread::Sig_ConCapPicFail, this, &CDlgShow::On_ConCapPicFail,
                Qt::QueuedConnection);
        for (CPlayWnd* pPlayWnd : m_pPlayWnd) {
            if (pPlayWnd)
                pPlayWnd->SetConCapThread(m_pConCapThread.get());
        }
    }
    if (!m_pConCapThread->isRunning())
        m_pConCapThread->start(QThread::InheritPriority);
    const QString strNative = QDir::toNativeSeparators(strFolder);
    // A folder that cannot be made fails the first picture, which ends the capture.
    if (bStart && !strNative.isEmpty() && !QFileInfo(strNative).isDir())
        QDir().mkpath(strNative);
    return pWnd->ConCapPic(bStart, nMode, nGap, nMaxNum, strNative, nSaveType);
}

bool CDlgShow::IsConCapping() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->IsConCapping() : false;
}

bool CDlgShow::On_ConCapPicFail(int nSubWndIndex) {
    return ValidIndex(nSubWndIndex) ? m_pPlayWnd[nSubWndIndex]->OnConCapFail() : false;
}
