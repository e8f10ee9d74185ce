// Snapshots and continuous capture of one play window.

#include "CPlayWnd.h"

#include <QDateTime>
#include <QDebug>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QMouseEvent>
#include <QMutexLocker>
#include <QSaveFile>
#include <QUrl>

#include <algorithm>
#include <mutex>

#include "CConCapThread.h"
#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "LanguageKeys.h"

namespace {

// The continuous capture may hold at least this much of a window's pictures
// in memory, and at least kConCapMinFrames frames.
const size_t kConCapMinBudget = 10 * 1024 * 1024;
const size_t kConCapMinFrames = 15;
// The click area reaches this far below the measured path line.
const int kPathClickMargin = 5;
// Room for a snapshot path in the engine's 8-bit encoding.
const int kSRCapPathSize = 1040;
const int kConCapEndCount = 0;
const int kConCapEndNoSpace = 1;

QString CapText(const char* szKey, const char* szDefault) {
    QString strText;
    CLanguageParser::FindString(szKey, strText, szDefault);
    return strText;
}

// Local time to the millisecond, so names sort in the order they were taken.
// Two pictures in one millisecond (two windows capturing into one folder)
// would share a name and the second would replace the first: a later one
// takes the next free millisecond instead, so no picture is lost.
QString CapFileName(int nFormat) {
    static std::mutex s_mtx;
    static qint64 s_nLastMs = 0;
    QDateTime now = QDateTime::currentDateTime();
    {
        std::lock_guard<std::mutex> lock(s_mtx);
        qint64 nMs = now.toMSecsSinceEpoch();
        if (nMs <= s_nLastMs)
            nMs = s_nLastMs + 1;
        s_nLastMs = nMs;
        now = QDateTime::fromMSecsSinceEpoch(nMs);
    }
    const QDate d = now.date();
    const QTime t = now.time();
    const char* szFormat = nFormat == 0 ? "picture%04d%02d%02d_%02d%02d%02d%03d.bmp"
                                        : "picture%04d%02d%02d_%02d%02d%02d%03d.jpeg";
    return QString::asprintf(szFormat, d.year(), d.month(), d.day(), t.hour(), t.minute(), t.second(),
                             t.msec());
}

} // namespace

// ---- snapshot ------------------------------------------------------------------------

int CPlayWnd::CapPic(int nFormat, QString strFolder) {
    if (m_nPlayState != 1 && m_nPlayState != 2)
        return 0;
    QString strPath;
    const int nResult = CapOnePic(nFormat, strFolder, &strPath);
    QString strText;
    switch (nResult) {
    case 1:
        strText = CapText(IDS_MainWnd_CaptureSuccess, "Capture succeeded.") + " : " + strPath;
        break;
    case 2:
        strText = CapText(IDS_Global_DiskNotEnough, "No enough space.");
        break;
    case 3:
        strText = CapText(IDS_FileCutDlg_WriteFileFail, "Failed to write the file.");
        break;
    default:
        strText = CapText(IDS_MainWnd_CaptureFail, "Capture failed.");
        break;
    }
    SetDisplayInfo(strText);
    {
        QMutexLocker lock(&m_mtxShared);
        m_strCapPath = nResult == 1 ? strPath : QString();
    }
    m_bShowCapPath = nResult == 1;
    if (m_nPlayState == 2)
        RefreshPlayEx(0);
    On_DelayDisplayInfoTimer(true);
    return nResult;
}

int CPlayWnd::CapOnePic(int nFormat, QString strFolder, QString* pstrPath) {
    uint nWidth = 0;
    uint nHeight = 0;
    if (!GetImageSize(&nWidth, &nHeight)) {
        qDebug("CapOnePic fail 1");
        return 0;
    }
    if (nWidth < 1 || nHeight < 1) {
        qDebug("CapOnePic fail 2");
        return 0;
    }
    // Room for a BMP (3 bytes a pixel) or a JPEG of the picture, and what the
    // free space must exceed. The two small CIF-like sizes get extra room.
    const quint64 nFactor = (nWidth == 704 && (nHeight == 288 || nHeight == 240)) ? 10 : 5;
    const quint64 nBufSize = quint64(nWidth) * nHeight * nFactor;

    unsigned long long nFree = 0;
    if (!CPlayHelper::GetDiskFreeSpaceW(strFolder, &nFree)) {
        qDebug("CapOnePic fail 1");
        return 0;
    }
    if (nFree <= nBufSize) {
        qDebug("CapOnePic fail 1");
        return 2;
    }

    const QString strNativeFolder = QDir::toNativeSeparators(strFolder);
    // A failure shows up when the file is written.
    if (!QFileInfo(strNativeFolder).isDir())
        QDir().mkpath(strNativeFolder);
    const QString strPath = CPlayHelper::LinkFolderAndFileName(strNativeFolder, CapFileName(nFormat));

    // Fisheye material: the engine writes the view as shown itself.
    if (m_bSRFile) {
        char szPath[kSRCapPathSize] = {};
        if (!CPlayHelper::UnicodeToAscii(strPath, szPath, kSRCapPathSize))
            return 0;
        if (!Tavrix_SR_Capture(m_lPort, nFormat, szPath)) {
            qDebug("CPlayWnd::CapPic() Tavrix_SR_Capture() FAIL dwErr=%d", Tavrix_GetLastError(m_lPort));
            return 0;
        }
        if (pstrPath)
            *pstrPath = strPath;
        return 1;
    }

    if (nBufSize > quint64(INT32_MAX))
        return 0;
    if (m_pCapBuf.size() < nBufSize) {
        try {
            m_pCapBuf.assign(size_t(nBufSize), 0);
        } catch (const std::bad_alloc&) {
            m_pCapBuf.clear();
            m_nCapBufSize = 0;
            return 0;
        }
    }
    m_nCapBufSize = int(m_pCapBuf.size());

    auto grab = [&](uint32_t* pnSize) {
        return nFormat == 0 ? Tavrix_GetBMP(m_lPort, m_pCapBuf.data(), uint32_t(m_pCapBuf.size()), pnSize)
                            : Tavrix_GetJPEG(m_lPort, m_pCapBuf.data(), uint32_t(m_pCapBuf.size()), pnSize);
    };
    uint32_t nSize = 0;
    bool bOk = grab(&nSize);
    // A rare JPEG of noise may not fit; the engine tells how much it needs.
    if (!bOk && nSize > m_pCapBuf.size() && nSize <= uint32_t(INT32_MAX)) {
        try {
            m_pCapBuf.assign(nSize, 0);
            m_nCapBufSize = int(nSize);
            bOk = grab(&nSize);
        } catch (const std::bad_alloc&) {
            bOk = false;
        }
    }
    if (!bOk) {
        if (nFormat == 0)
            qDebug("CPlayWnd::CapPic() Tavrix_GetBMP() FAIL dwErr=%d", Tavrix_GetLastError(m_lPort));
        else
            qDebug("CPlayWnd::CapPic() Tavrix_GetJPEG() FAIL dwErr=%d", Tavrix_GetLastError(m_lPort));
        return 0;
    }

    // Whole or not at all: a full disk or a vanished folder leaves no torn picture.
    QSaveFile file(strPath);
    if (!file.open(QIODevice::WriteOnly))
        return 3;
    if (file.write(m_pCapBuf.data(), qint64(nSize)) != qint64(nSize)) {
        qDebug("CapOnePic fail 5");
        file.cancelWriting();
        return 3;
    }
    if (!file.commit())
        return 3;
    if (pstrPath)
        *pstrPath = strPath;
    return 1;
}

QString CPlayWnd::GetCapPath() const {
    QMutexLocker lock(&m_mtxShared);
    return m_bShowCapPath ? m_strCapPath : QString();
}

void CPlayWnd::ClearCapPath() {
    m_bShowCapPath = false;
    QMutexLocker lock(&m_mtxShared);
    m_strCapPath.clear();
}

bool CPlayWnd::CapPathClicked(QMouseEvent* ev) {
    if (!ev || ev->button() != Qt::LeftButton || !m_bShowCapPath)
        return false;
    const int nTextHeight = m_nInfoTextHeight;
    if (nTextHeight == 0)
        return false;
    QString strPath;
    {
        QMutexLocker lock(&m_mtxShared);
        strPath = m_strCapPath;
    }
    if (strPath.isEmpty())
        return false;
    QRect rcLine = rect();
    rcLine.setHeight(nTextHeight + kPathClickMargin);
    if (!rcLine.contains(ev->position().toPoint()))
        return false;
    if (!CPlayHelper::IsFileExist(strPath))
        return false;
    // The desktop's file manager shows the folder; no shell is involved.
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(strPath).absolutePath()));
    return true;
}

// ---- continuous capture --------------------------------------------------------------

bool CPlayWnd::ConCapPic(bool bStart, int nMode, int nGap, int nMaxNum, QString strFolder, int nFormat) {
    if ((nMode != 0 && nMode != 1) || (nFormat != 0 && nFormat != 1) || nGap < 0 || nMaxNum <= 0 ||
        strFolder.isEmpty() || (m_nPlayState != 1 && m_nPlayState != 2))
        return false;
    if (!bStart) {
        m_bConCapping = false;
        SetDisplayInfo(CapText(IDS_MainWnd_ConCapCompleted, "Continuous shooting completed."));
    } else {
        const size_t nFrame =
            size_t(std::max(0, m_nVideoWidth.load())) * size_t(std::max(0, m_nVideoHeight.load())) * 3 / 2;
        {
            std::lock_guard<std::mutex> lock(m_mtxConCap);
            m_nConCapBufSize = std::max(kConCapMinBudget, nFrame * kConCapMinFrames);
            m_nConCapMode = nMode;
            m_nConCapGap = nGap;
            m_nConCapMaxNum = nMaxNum;
            m_strConCapFolder = QDir::toNativeSeparators(strFolder);
            m_nConCapFormat = nFormat;
            m_nConCapCount = 0;
            m_nConCapFrameGap = -1;
            m_nConCapLastStamp = 0;
            m_bConCapping = true;
        }
        ClearCapPath();
        SetDisplayInfo(
            CapText(IDS_MainWnd_ConCapWarningDiskSpace, "Continuous capturing,please note the disk space!"));
    }
    if (m_nPlayState == 2)
        RefreshPlayEx(0);
    On_DelayDisplayInfoTimer(true);
    return true;
}

void CPlayWnd::SetConCapThread(CConCapThread* pThread) {
    std::lock_guard<std::mutex> lock(m_mtxConCap);
    m_pConCapThread = pThread;
}

bool CPlayWnd::PostConCapData(TAVRIX_DISPLAY_INFO* pstDisplayInfo) {
    if (!pstDisplayInfo || !CConCapThread::IsValidFrame(pstDisplayInfo))
        return false;
    // The disk query may take long on a slow or network folder: it runs
    // without the lock that Stop and Close take on the GUI thread.
    QString strFolder;
    {
        std::lock_guard<std::mutex> lock(m_mtxConCap);
        if (!m_pConCapThread || !m_bConCapping)
            return false;
        strFolder = m_strConCapFolder;
    }
    unsigned long long nFree = 0;
    const bool bFreeKnown = CPlayHelper::GetDiskFreeSpaceW(strFolder, &nFree);
    std::lock_guard<std::mutex> lock(m_mtxConCap);
    if (!m_pConCapThread || !m_bConCapping)
        return false;

    // The text, the redraw and the buttons belong to the GUI thread; the engine
    // must not be commanded from its own display thread.
    auto endCapture = [this](int nReason) {
        m_bConCapping = false;
        QMetaObject::invokeMethod(
            this, [this, nReason] { On_ConCapEndPosted(nReason); }, Qt::QueuedConnection);
    };
    if (m_nConCapCount >= m_nConCapMaxNum) {
        endCapture(kConCapEndCount);
        return true;
    }

    if (!bFreeKnown) {
        qDebug("CPlayWnd::PostConCapData GetDiskFreeSpace fail");
        return false;
    }
    const unsigned long long nNeed =
        static_cast<unsigned long long>(pstDisplayInfo->nWidth) * pstDisplayInfo->nHeight * 4;
    if (!(nNeed < nFree)) {
        endCapture(kConCapEndNoSpace);
        return false;
    }

    if (m_nConCapMode == 0) {
        const long long nDiff =
            std::llabs(static_cast<long long>(pstDisplayInfo->nStamp) - m_nConCapLastStamp);
        if (nDiff < static_cast<long long>(m_nConCapGap) * 1000)
            return false;
    } else if (m_nConCapFrameGap != -1 && m_nConCapFrameGap < m_nConCapGap) {
        ++m_nConCapFrameGap;
        return false;
    }

    // The picture's time is that of the copy, not of the frame.
    const QString strPath =
        CPlayHelper::LinkFolderAndFileName(m_strConCapFolder, CapFileName(m_nConCapFormat));
    if (!m_pConCapThread->PostPicture(pstDisplayInfo, strPath, m_nConCapFormat, m_nSubWndIndex,
                                      m_nConCapBufSize))
        return false; // the worker is behind: this frame is left out
    ++m_nConCapCount;
    m_nConCapFrameGap = 1;
    m_nConCapLastStamp = pstDisplayInfo->nStamp;
    return true;
}

void CPlayWnd::On_ConCapEndPosted(int nReason) {
    if (nReason == kConCapEndCount)
        SetDisplayInfo(CapText(IDS_MainWnd_ConCapCompleted, "Continuous shooting completed."));
    else
        SetDisplayInfo(CapText(IDS_Global_DiskNotEnough, "No enough space."));
    ClearCapPath();
    if (m_nPlayState == 2)
        RefreshPlayEx(0);
    On_DelayDisplayInfoTimer(true);
    emit Sig_UpdateCtrlStatus();
}

bool CPlayWnd::OnConCapFail() {
    if (!m_pConCapThread)
        return false;
    m_bConCapping = false;
    m_pConCapThread->DelNodeByWndIndex(m_nSubWndIndex);
    SetDisplayInfo(CapText(IDS_MainWnd_CaptureFail, "Capture failed."));
    ClearCapPath();
    if (m_nPlayState == 2)
        RefreshPlayEx(0);
    On_DelayDisplayInfoTimer(true);
    emit Sig_UpdateCtrlStatus();
    return true;
}

void CPlayWnd::ResetConCap() {
    std::lock_guard<std::mutex> lock(m_mtxConCap);
    m_bConCapping = false;
}
