// What one network session delivered, for the tests to wait on and check,
// and any break of the promised order (stream bytes before the media
// information, anything after the end message or after the test closed it).
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

class StreamSink {
public:
    // The callbacks for Orvel_Open and Orvel_SetMsgCallBack, with the sink as pUser.
    static void OnData(int32_t nSession, int32_t nType, char* pBuf, int32_t nLen, void* pUser);
    static void OnMessage(int32_t nSession, int32_t nType, char* pContent, int32_t nLen, void* pUser);

    // Create, time-out (0: the default), transmit mode, both callbacks and Open: the
    // session id, or -1. With pRet, Open's answer goes there and a session it refused stays.
    int32_t Open(const QString& strUrl, int32_t nMode, int32_t nPort = 0, int32_t nTimeoutMs = 0,
                 int32_t* pRet = nullptr);
    // Orvel_Destroy's answer; a callback from now on is a fault.
    int32_t Destroy(int32_t nSession);

    // Runs inside the data callback at the first stream block (on the session's thread).
    std::function<void(int32_t nSession)> onFirstBlock;

    bool WaitBytes(qint64 nBytes, int nTimeoutMs);
    bool WaitMessage(int nTimeoutMs);

    struct Seen {
        QByteArray info; // the media information block
        int nMessage = 0;
        bool bAny = false; // any callback at all
        QString strFault;  // empty when the order held
    };
    Seen Snapshot() const;

    // Demuxes and decodes the picture track as the stream comes in, until nCount
    // pictures or nTimeoutMs: the MD5 of each picture, as the ffmpeg tool's framemd5.
    QStringList DecodePictures(int nCount, int nTimeoutMs);

private:
    static int ReadStream(void* pOpaque, uint8_t* pBuf, int nSize);

    mutable std::mutex m_mutex; // guards everything below
    std::condition_variable m_cv;
    Seen m_seen;
    QByteArray m_stream;
    bool m_bClosed = false;
    qint64 m_nReadPos = 0; // of DecodePictures
    std::chrono::steady_clock::time_point m_tReadDeadline;
};
