#pragma once

#include "Item_FileInfo.h"
#include "Tavrix.h"

#include <QImage>
#include <QList>
#include <QMutex>
#include <QString>
#include <QThread>
#include <QWaitCondition>

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

// One file waiting to be examined.
struct FileQueueItem {
    QString strFilePath;
    QString strDecryptKey;
};

// The files still to be examined, in order. A path stands in it at most once.
// Every member takes the queue's own lock; safe from any thread.
class FileQueue {
public:
    // Removes an entry with the same path, then appends at the tail.
    void Append(const FileQueueItem& item);
    // Removes an entry with the same path, then inserts at the head.
    void Prepend(const FileQueueItem& item);
    // False when no entry has this path.
    bool Remove(const QString& strFilePath);
    void Clear();
    // Takes the head; false when the queue is empty.
    bool TakeFirst(FileQueueItem* pItem);
    int Count() const;
    // The queued paths in order (for callers that show or check the queue).
    QList<QString> Paths() const;

private:
    // Index of the entry with this path, -1 if none. Caller holds m_mutex.
    int IndexOfLocked(const QString& strFilePath) const;

    mutable QMutex m_mutex;
    QList<FileQueueItem> m_items; // guarded by m_mutex
};

// The playlist's worker thread: for each local file it finds whether the file
// exists, its size, global time range (all zero when it has none), play time,
// whether it is encrypted, and a 96 x 64 picture of its first decoded frame. A
// file is invalid when it is missing or the engine cannot open or play it. It plays the file on a port of
// its own, without a window, so the play windows are never disturbed.
//
// One result is outstanding at a time: after Sig_FileInfoReady the thread
// waits until TakeFileInfo has copied the result out.
class GetThumbThread : public QThread {
    Q_OBJECT

public:
    // Size of the small frame every thumbnail is reduced to.
    static constexpr int THUMB_WIDTH = 96;
    static constexpr int THUMB_HEIGHT = 64;

    explicit GetThumbThread(QObject* pParent = nullptr);
    ~GetThumbThread() override;

    // Main thread. False for an empty path. An entry with the same path is
    // replaced: AddFile puts the new one at the tail, AddFileFirst at the head.
    bool AddFile(const QString& strFilePath, const QString& strDecryptKey);
    bool AddFileFirst(const QString& strFilePath, const QString& strDecryptKey);
    // False only for an empty path.
    bool RemoveFile(const QString& strFilePath);
    // Empties the queue; the file being examined is finished all the same.
    void ClearFiles();
    // Copies the published record out, swaps the thumbnail into *pImage and lets
    // the thread go on to the next file. False if a pointer is null.
    bool TakeFileInfo(Item_FileInfo* pFileInfo, QImage* pImage);
    // Asks the loop to end and waits for it without a time limit.
    void StopThread();

    // The queued paths in order (the file being examined is not among them).
    QList<QString> QueuedFiles() const { return m_fileQueue.Paths(); }
    int32_t Port() const { return m_lPort; }

signals:
    // m_stFileInfo and the thumbnail hold the result for one file.
    void Sig_FileInfoReady();

protected:
    void run() override;

private:
    // Engine callbacks; they run on the engine's threads with this as pUser.
    static void Callback_EncryptType(int32_t nPort, TAVRIX_ENCRYPT_INFO* pInfo, void* pUser, void* pReserved);
    static void Callback_FileEnd(int32_t nPort, void* pUser);
    static void Callback_FileRef(int32_t nPort, void* pUser);
    static void Callback_DecFrame(int32_t nPort, char* pBuf, int32_t nSize, TAVRIX_FRAME_INFO* pFrameInfo,
                                  void* pUser);

    // Reduces one decoded YV12 frame to the thumbnail. Engine thread.
    void SeveDecData(char* pBuf, int32_t nSize, TAVRIX_FRAME_INFO* pFrameInfo);
    const uint8_t* CropToMultipleOf4(const uint8_t* pSrc, int32_t nSrcW, int32_t nSrcH, int32_t nDstW,
                                     int32_t nDstH);
    // Examines one file and publishes the result. Worker thread.
    void ExamineFile(const FileQueueItem& item);
    // Ends the wait for the current file and wakes the worker. Engine thread.
    void MarkFrameDone();
    // Waits until the main thread has taken the last result and a file is
    // queued, or a stop is asked; at most nTimeoutMs. Worker thread.
    void WaitForWork(int nTimeoutMs);
    // Waits for the flag (m_bFrameDone or m_bIndexDone) or a stop, at most
    // nTimeoutMs; true if it came.
    bool WaitForFlag(const std::atomic<bool>& bFlag, int nTimeoutMs);
    // Wakes both waits of the worker.
    void WakeWorker();

    int32_t m_lPort = -1;
    // Written by the engine callbacks and read by the worker: atomics, and
    // m_frameMutex/m_frameDoneCond for the wait on m_bFrameDone.
    std::atomic<bool> m_bFrameDone{false};
    std::atomic<bool> m_bIndexDone{false};
    std::atomic<bool> m_bWantFrame{false};
    std::atomic<bool> m_bEncrypted{false};
    QString m_strCurFile;                 // worker thread only
    std::unique_ptr<uint8_t[]> m_pBmpBuf; // engine thread, between Play and Stop
    int32_t m_nBmpBufSize = 0;
    std::unique_ptr<uint8_t[]> m_pYuvBuf; // engine thread, between Play and Stop
    int32_t m_nYuvBufSize = 0;
    // The picture being made for the current file: written by the decode
    // callback between Play and Stop, moved into m_imgThumb on publishing.
    QImage m_imgMaking;
    // A frame whose width or height is no multiple of 4 (854x480, 1366x768) is
    // cropped by up to 3 pixels into this buffer first: the reduction needs
    // multiples of 4, and the picture must not be lost for it.
    std::vector<uint8_t> m_vecCropBuf;
    // The published result. The worker writes it only while m_bCanGetNext is
    // true and the main thread reads it after the signal; m_resultMutex
    // makes a TakeFileInfo at any other moment harmless as well.
    QImage m_imgThumb;          // guarded by m_resultMutex
    Item_FileInfo m_stFileInfo; // guarded by m_resultMutex
    QMutex m_resultMutex;
    std::atomic<bool> m_bCanGetNext{true};
    std::atomic<bool> m_bStop{false};
    FileQueue m_fileQueue;

    // Wakes the idle worker (AddFile, TakeFileInfo, StopThread).
    QMutex m_wakeMutex;
    QWaitCondition m_wakeCond;
    // Wakes the worker waiting for the first frame (the callbacks).
    QMutex m_frameMutex;
    QWaitCondition m_frameDoneCond;
};
