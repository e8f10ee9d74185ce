#include "GetThumbThread.h"

#include "CPlayHelper.h"
#include "NorvantaDS.h"
#include "SecretKeyBytes.h"

#include <QDeadlineTimer>
#include <QMutexLocker>
#include <QtDebug>

#include <cstring>
#include <new>

namespace {

constexpr int kYuvBufBytes = GetThumbThread::THUMB_WIDTH * GetThumbThread::THUMB_HEIGHT * 2;        // 12,288
constexpr int kBmpBufBytes = GetThumbThread::THUMB_WIDTH * GetThumbThread::THUMB_HEIGHT * 5;        // 30,720
constexpr int kThumbYv12Bytes = GetThumbThread::THUMB_WIDTH * GetThumbThread::THUMB_HEIGHT * 3 / 2; // 9,216
constexpr int kIdleWaitMs = 100;
constexpr int kFrameWaitMs = 4000;
// A recording whose clock restarts (segments joined end to end) has its true
// length only from the frame index; a large one may take longer than this to
// index, and then keeps the container's estimate.
constexpr int kIndexWaitMs = 1500;
constexpr int kPathBufBytes = 1040;

// Keeps a buffer of at least nBytes, reusing the one there is.
bool EnsureBuffer(std::unique_ptr<uint8_t[]>* ppBuf, int32_t* pnSize, int nBytes) {
    if (*pnSize < nBytes) {
        ppBuf->reset();
    }
    if (!*ppBuf) {
        ppBuf->reset(new (std::nothrow) uint8_t[static_cast<size_t>(nBytes)]);
        if (!*ppBuf) {
            *pnSize = 0;
            return false;
        }
    }
    *pnSize = nBytes;
    return true;
}

} // namespace

// ---- FileQueue ---------------------------------------------------------------

int FileQueue::IndexOfLocked(const QString& strFilePath) const {
    for (int i = 0; i < m_items.size(); ++i) {
        if (m_items[i].strFilePath.compare(strFilePath, Qt::CaseSensitive) == 0) {
            return i;
        }
    }
    return -1;
}

void FileQueue::Append(const FileQueueItem& item) {
    QMutexLocker lock(&m_mutex);
    const int nIndex = IndexOfLocked(item.strFilePath);
    if (nIndex >= 0) {
        m_items.removeAt(nIndex);
    }
    m_items.append(item);
}

void FileQueue::Prepend(const FileQueueItem& item) {
    QMutexLocker lock(&m_mutex);
    const int nIndex = IndexOfLocked(item.strFilePath);
    if (nIndex >= 0) {
        m_items.removeAt(nIndex);
    }
    m_items.prepend(item);
}

bool FileQueue::Remove(const QString& strFilePath) {
    QMutexLocker lock(&m_mutex);
    const int nIndex = IndexOfLocked(strFilePath);
    if (nIndex < 0) {
        return false;
    }
    m_items.removeAt(nIndex);
    return true;
}

void FileQueue::Clear() {
    QMutexLocker lock(&m_mutex);
    m_items.clear();
}

bool FileQueue::TakeFirst(FileQueueItem* pItem) {
    QMutexLocker lock(&m_mutex);
    if (m_items.isEmpty()) {
        return false;
    }
    *pItem = m_items.takeFirst();
    return true;
}

int FileQueue::Count() const {
    QMutexLocker lock(&m_mutex);
    return static_cast<int>(m_items.size());
}

QList<QString> FileQueue::Paths() const {
    QMutexLocker lock(&m_mutex);
    QList<QString> paths;
    paths.reserve(m_items.size());
    for (const FileQueueItem& item : m_items) {
        paths.append(item.strFilePath);
    }
    return paths;
}

// ---- GetThumbThread ----------------------------------------------------------

GetThumbThread::GetThumbThread(QObject* pParent) : QThread(pParent) {
    int32_t lPort = -1;
    if (Tavrix_GetPort(&lPort)) {
        m_lPort = lPort;
    } else {
        qDebug("GetThumbThread Tavrix_GetPort Fail");
    }
}

GetThumbThread::~GetThumbThread() {
    StopThread();
    if (m_lPort >= 0) {
        Tavrix_CloseFile(m_lPort);
        Tavrix_FreePort(m_lPort);
        m_lPort = -1;
    }
    m_pBmpBuf.reset();
    m_nBmpBufSize = 0;
    m_pYuvBuf.reset();
    m_nYuvBufSize = 0;
}

bool GetThumbThread::AddFile(const QString& strFilePath, const QString& strDecryptKey) {
    if (strFilePath.isEmpty()) {
        return false;
    }
    m_fileQueue.Append({strFilePath, strDecryptKey});
    WakeWorker();
    return true;
}

bool GetThumbThread::AddFileFirst(const QString& strFilePath, const QString& strDecryptKey) {
    if (strFilePath.isEmpty()) {
        return false;
    }
    m_fileQueue.Prepend({strFilePath, strDecryptKey});
    WakeWorker();
    return true;
}

bool GetThumbThread::RemoveFile(const QString& strFilePath) {
    if (strFilePath.isEmpty()) {
        return false;
    }
    m_fileQueue.Remove(strFilePath);
    return true;
}

void GetThumbThread::ClearFiles() {
    m_fileQueue.Clear();
}

bool GetThumbThread::TakeFileInfo(Item_FileInfo* pFileInfo, QImage* pImage) {
    if (pFileInfo == nullptr || pImage == nullptr) {
        return false;
    }
    {
        QMutexLocker lock(&m_resultMutex);
        *pFileInfo = m_stFileInfo;
        pImage->swap(m_imgThumb);
    }
    m_bCanGetNext = true;
    WakeWorker();
    return true;
}

void GetThumbThread::StopThread() {
    m_bStop = true;
    WakeWorker();
    wait();
}

void GetThumbThread::WakeWorker() {
    // Taking each mutex before waking means a worker that has just checked
    // its condition is already waiting when the wake comes: none is lost.
    {
        QMutexLocker lock(&m_wakeMutex);
        m_wakeCond.wakeAll();
    }
    QMutexLocker lock(&m_frameMutex);
    m_frameDoneCond.wakeAll();
}

void GetThumbThread::WaitForWork(int nTimeoutMs) {
    QDeadlineTimer deadline(nTimeoutMs);
    QMutexLocker lock(&m_wakeMutex);
    while (!m_bStop && !(m_bCanGetNext && m_fileQueue.Count() > 0)) {
        if (!m_wakeCond.wait(&m_wakeMutex, deadline)) {
            return;
        }
    }
}

bool GetThumbThread::WaitForFlag(const std::atomic<bool>& bFlag, int nTimeoutMs) {
    QDeadlineTimer deadline(nTimeoutMs);
    QMutexLocker lock(&m_frameMutex);
    while (!bFlag && !m_bStop) {
        if (!m_frameDoneCond.wait(&m_frameMutex, deadline)) {
            break;
        }
    }
    return bFlag;
}

void GetThumbThread::MarkFrameDone() {
    m_bFrameDone = true;
    QMutexLocker lock(&m_frameMutex);
    m_frameDoneCond.wakeAll();
}

void GetThumbThread::run() {
    if (m_lPort < 0) {
        return;
    }
    while (true) {
        if (m_bStop) {
            qDebug("GetThumbThread break");
            break;
        }
        // Sleeps until there is something to do; the 100 ms limit only
        // bounds how long a missed wake could cost.
        WaitForWork(kIdleWaitMs);
        if (m_bStop || !m_bCanGetNext) {
            continue;
        }
        FileQueueItem item;
        if (!m_fileQueue.TakeFirst(&item)) {
            continue;
        }
        ExamineFile(item);
    }
    qDebug("GetThumbThread stop");
}

void GetThumbThread::ExamineFile(const FileQueueItem& item) {
    const QString& strPath = item.strFilePath;
    const bool bHasKey = !item.strDecryptKey.isEmpty();
    bool bInvalid = false;
    unsigned long long nFileSize = 0;
    uint32_t nFileTime = 0;
    FILE_INFO_SYNC stRange{};
    m_strCurFile = strPath;
    m_bEncrypted = false;
    m_imgMaking = QImage();

    // One pass through the steps; a break goes straight to publishing.
    do {
        bool bExist = false;
        CPlayHelper::IsFileExist(strPath, &bExist);
        if (!bExist) {
            bInvalid = true;
            break;
        }
        if (!CPlayHelper::GetFileDiskSize(strPath, nFileSize)) {
            nFileSize = 0;
        }
        // A recording without a wall-clock time (no creation time, no stamp in
        // its name) still plays and shows its frames: it only stays out of search
        // and play by global time, which read the all-zero range as none.
        if (!CPlayHelper::GetFileGlobalTimeRange(strPath, &stRange))
            stRange = FILE_INFO_SYNC{};
        Tavrix_CloseFile(m_lPort);
        if (!Tavrix_SetEncryptTypeCallBack(m_lPort, 1, &GetThumbThread::Callback_EncryptType, this)) {
            qDebug("GetThumbThread::run() Callback_EncryptType Fail GetLastError()=%u",
                   Tavrix_GetLastError(m_lPort));
            break;
        }
        if (!Tavrix_SetDecCallBackExMend(m_lPort, &GetThumbThread::Callback_DecFrame, nullptr, 0, this)) {
            qDebug("GetThumbThread::run() Tavrix_SetDecCallBackExMend Fail GetLastError()=%u",
                   Tavrix_GetLastError(m_lPort));
            break;
        }
        if (!Tavrix_SetFileRefCallBack(m_lPort, &GetThumbThread::Callback_FileRef, this)) {
            qDebug("GetThumbThread::run() Tavrix_SetFileRefCallBack Fail GetLastError()=%u",
                   Tavrix_GetLastError(m_lPort));
            break;
        }
        if (!Tavrix_SetFileEndCallback(m_lPort, &GetThumbThread::Callback_FileEnd, this)) {
            qDebug("GetThumbThread::run() Tavrix_SetFileEndCallback Fail GetLastError()=%u",
                   Tavrix_GetLastError(m_lPort));
            break;
        }
        if (bHasKey) {
            // The same bytes the play window gives the engine for this key.
            char szKey[kSecretKeyBytes];
            SecretKeyToBytes(item.strDecryptKey, szKey);
            Tavrix_SetSecretKey(m_lPort, 1, szKey, 128);
        } else {
            // The port is reused for every file: the key of an earlier file
            // must not decrypt this one, or an encrypted file without a key
            // would show a picture.
            Tavrix_SetSecretKey(m_lPort, 1, nullptr, 0);
        }
        char szPath[kPathBufBytes];
        if (!CPlayHelper::UnicodeToAscii(strPath, szPath, kPathBufBytes)) {
            break;
        }
        if (!Tavrix_OpenFile(m_lPort, szPath)) {
            bInvalid = true;
            qDebug("GetThumbThread::run() Tavrix_OpenFile Fail GetLastError()=%u",
                   Tavrix_GetLastError(m_lPort));
            break;
        }
        nFileTime = Tavrix_GetFileTime(m_lPort);
        m_bEncrypted = bHasKey;
        m_bFrameDone = false;
        m_bIndexDone = false;
        m_bWantFrame = true;
        if (!Tavrix_Play(m_lPort, 0)) {
            bInvalid = true;
            qDebug("GetThumbThread::run() Tavrix_OpenFile Fail GetLastError()=%u",
                   Tavrix_GetLastError(m_lPort));
            Tavrix_CloseFile(m_lPort);
            break;
        }
        if (!WaitForFlag(m_bFrameDone, kFrameWaitMs) && !m_bStop) {
            qDebug("GetThumbThread::run() wait DecCallback");
        }
        if (WaitForFlag(m_bIndexDone, kIndexWaitMs)) {
            nFileTime = Tavrix_GetFileTime(m_lPort);
        }
        // No callback comes after these return: the picture, if any, is final.
        Tavrix_Stop(m_lPort);
        Tavrix_CloseFile(m_lPort);
        m_bWantFrame = false;
    } while (false);

    {
        QMutexLocker lock(&m_resultMutex);
        m_stFileInfo.bInvalid = bInvalid;
        m_stFileInfo.nMediaType = bInvalid ? 0 : 1;
        m_stFileInfo.strFilePath = strPath;
        m_stFileInfo.nTransmitMode = 0;
        m_stFileInfo.nPort = 0;
        m_stFileInfo.nFileSize = nFileSize;
        m_stFileInfo.bEncrypted = m_bEncrypted;
        m_stFileInfo.stGlobalTime = stRange;
        m_stFileInfo.nFileTime = nFileTime;
        m_stFileInfo.strDecryptKey = item.strDecryptKey;
        m_stFileInfo.bInfoReady = true;
        m_imgThumb = std::move(m_imgMaking);
        m_imgMaking = QImage();
    }
    m_bCanGetNext = false;
    emit Sig_FileInfoReady();
    m_strCurFile.clear();
}

void GetThumbThread::Callback_EncryptType(int32_t /*nPort*/, TAVRIX_ENCRYPT_INFO* pInfo, void* pUser,
                                          void* /*pReserved*/) {
    if (pInfo == nullptr || pUser == nullptr) {
        return;
    }
    auto* pThis = static_cast<GetThumbThread*>(pUser);
    const bool bEncrypted = pInfo->nEncryptType != 0;
    pThis->m_bEncrypted = bEncrypted;
    if (bEncrypted) {
        // What decodes from a stream that cannot be decrypted is noise, not
        // the file's picture.
        pThis->m_bWantFrame = false;
    }
    pThis->MarkFrameDone();
}

void GetThumbThread::Callback_FileEnd(int32_t /*nPort*/, void* pUser) {
    if (pUser == nullptr) {
        return;
    }
    static_cast<GetThumbThread*>(pUser)->MarkFrameDone();
}

void GetThumbThread::Callback_FileRef(int32_t /*nPort*/, void* pUser) {
    if (pUser == nullptr) {
        return;
    }
    auto* pThis = static_cast<GetThumbThread*>(pUser);
    pThis->m_bIndexDone = true;
    QMutexLocker lock(&pThis->m_frameMutex);
    pThis->m_frameDoneCond.wakeAll();
}

void GetThumbThread::Callback_DecFrame(int32_t /*nPort*/, char* pBuf, int32_t nSize,
                                       TAVRIX_FRAME_INFO* pFrameInfo, void* pUser) {
    if (pUser == nullptr || pFrameInfo == nullptr || pFrameInfo->nType != TAVRIX_FRAME_YV12) {
        return;
    }
    static_cast<GetThumbThread*>(pUser)->SeveDecData(pBuf, nSize, pFrameInfo);
}

const uint8_t* GetThumbThread::CropToMultipleOf4(const uint8_t* pSrc, int32_t nSrcW, int32_t nSrcH,
                                                 int32_t nDstW, int32_t nDstH) {
    if (nDstW <= 0 || nDstH <= 0) {
        return pSrc; // too small for a thumbnail: the reduction refuses it
    }
    // Planes lie one after the other; odd sizes round the chroma planes up, as
    // the frame buffer does.
    const int32_t nSrcCw = (nSrcW + 1) / 2;
    const int32_t nSrcCh = (nSrcH + 1) / 2;
    m_vecCropBuf.resize(static_cast<size_t>(nDstW) * nDstH * 3 / 2);
    uint8_t* pDst = m_vecCropBuf.data();
    auto copyPlane = [&pDst](const uint8_t* pPlane, int32_t nStride, int32_t nW, int32_t nH) {
        for (int32_t y = 0; y < nH; ++y, pDst += nW) {
            std::memcpy(pDst, pPlane + static_cast<size_t>(y) * nStride, static_cast<size_t>(nW));
        }
    };
    copyPlane(pSrc, nSrcW, nDstW, nDstH);
    const uint8_t* pSrcU = pSrc + static_cast<size_t>(nSrcW) * nSrcH;
    copyPlane(pSrcU, nSrcCw, nDstW / 2, nDstH / 2);
    copyPlane(pSrcU + static_cast<size_t>(nSrcCw) * nSrcCh, nSrcCw, nDstW / 2, nDstH / 2);
    return m_vecCropBuf.data();
}

void GetThumbThread::SeveDecData(char* pBuf, int32_t nSize, TAVRIX_FRAME_INFO* pFrameInfo) {
    // One frame per file, also when the steps below fail.
    if (!m_bWantFrame.exchange(false)) {
        return;
    }
    const int64_t nNeeded = static_cast<int64_t>(pFrameInfo->nWidth) * pFrameInfo->nHeight * 3 / 2;
    if (pBuf == nullptr || nSize < nNeeded) {
        qDebug("GetThumbThread::SeveDecData() NorvantaDS_DownSmpOneFrame fail");
        return;
    }
    if (!EnsureBuffer(&m_pYuvBuf, &m_nYuvBufSize, kYuvBufBytes)) {
        return;
    }
    const uint8_t* pSource = reinterpret_cast<const uint8_t*>(pBuf);
    const int32_t nWidth = pFrameInfo->nWidth & ~3;
    const int32_t nHeight = pFrameInfo->nHeight & ~3;
    if (nWidth != pFrameInfo->nWidth || nHeight != pFrameInfo->nHeight) {
        pSource = CropToMultipleOf4(pSource, pFrameInfo->nWidth, pFrameInfo->nHeight, nWidth, nHeight);
    }
    NORVANTADS_DOWNSMP_PARAM param{pSource, nWidth, nHeight, m_pYuvBuf.get(), THUMB_WIDTH, THUMB_HEIGHT};
    if (NorvantaDS_DownSmpOneFrame(&param) != NORVANTADS_OK) {
        qDebug("GetThumbThread::SeveDecData() NorvantaDS_DownSmpOneFrame fail");
        return;
    }
    if (!EnsureBuffer(&m_pBmpBuf, &m_nBmpBufSize, kBmpBufBytes)) {
        return;
    }
    int32_t nBmpLen = 0;
    if (!Tavrix_ConvertToBmp(reinterpret_cast<const char*>(m_pYuvBuf.get()), kThumbYv12Bytes, THUMB_WIDTH,
                             THUMB_HEIGHT, TAVRIX_FRAME_YV12, reinterpret_cast<char*>(m_pBmpBuf.get()),
                             m_nBmpBufSize, &nBmpLen)) {
        qDebug("GetThumbThread::SeveDecData() NorvantaDS_DownSmpOneFrame fail");
        return;
    }
    m_imgMaking.loadFromData(m_pBmpBuf.get(), nBmpLen, "BMP");
    MarkFrameDone();
}
