// One engine port under test: opens a clip, plays it without a window and
// records what the callbacks report, so test cases can wait on it and check it.
#pragma once

#include "IndexWait.h"
#include "Tavrix.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <condition_variable>
#include <mutex>
#include <vector>

class PortProbe {
public:
    struct Shown {
        uint32_t nFrameNum = 0;
        int32_t nStampMs = 0;
        QByteArray md5Hex;     // of the picture as planar Y, U, V; empty when not hashed
        bool bHasTime = false; // Tavrix_GetSystemTime answered while the frame was shown
        TAVRIX_SYSTEM_TIME stTime{};
        int nEndsBefore = 0; // file end callbacks seen before this frame
    };

    PortProbe();
    ~PortProbe();
    PortProbe(const PortProbe&) = delete;
    PortProbe& operator=(const PortProbe&) = delete;

    // Takes a port and registers the display and file end callbacks.
    bool TakePort();
    // TakePort if needed, then Tavrix_OpenFile.
    bool Open(const QString& strPath);
    // Open of NAME in the media folder, then a wait for the frame index; *pExpected
    // gets the clip's truth and must hold one hash per indexed frame.
    bool OpenIndexed(const QString& strClip, QStringList* pExpected, int nTimeoutMs);
    bool Play(bool bRealTime);
    // Closes the file and frees the port (also done by the destructor).
    void Release();
    // Frees the port without closing the file first, as a window torn down mid-play does.
    void FreeWhilePlaying();

    void SetHashFrames(bool bHash) { m_bHashFrames = bHash; }
    void SetReadSystemTime(bool bRead) { m_bReadSystemTime = bRead; }

    bool WaitForEnd(int nTimeoutMs);
    bool WaitForFrames(int nCount, int nTimeoutMs);

    int32_t Port() const { return m_lPort; }
    int FrameCount() const;
    int EndCount() const;
    std::vector<Shown> Frames() const;
    void ClearFrames();

    // Truth of a clip: the hash column of NAME.framemd5 beside it.
    static QStringList ExpectedHashes(const QString& strClipPath);
    static QString MediaPath(const QString& strName);

private:
    static void DisplayCallBack(TAVRIX_DISPLAY_INFO* pstDisplayInfo);
    static void FileEndCallback(int32_t nPort, void* pUser);
    void OnDisplay(const TAVRIX_DISPLAY_INFO& stInfo);
    void OnFileEnd();

    int32_t m_lPort = -1;
    IndexWait m_index;
    bool m_bHashFrames = true;      // set before Play, read on the render thread
    bool m_bReadSystemTime = false; // set before Play, read on the render thread

    mutable std::mutex m_mutex;
    std::condition_variable m_cvChanged; // guarded by m_mutex
    std::vector<Shown> m_vecFrames;      // guarded by m_mutex
    int m_nEndCount = 0;                 // guarded by m_mutex
};

// The YV12 picture of a display record hashed as planar Y, U, V.
QByteArray Yv12ToI420Md5Hex(const TAVRIX_DISPLAY_INFO& stInfo);
// Milliseconds since 1970 of a global time read as UTC.
qint64 SystemTimeToMsecs(const TAVRIX_SYSTEM_TIME& stTime);
