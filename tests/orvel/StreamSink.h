// What one network session delivered, for the tests to wait on and check: the
// media information block, the stream bytes, the end message, and any break
// of the promised order (a block before the media information, anything after
// the end message or after the test closed the session).
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

class StreamSink {
public:
    // The callbacks for Orvel_Open and Orvel_SetMsgCallBack, with the sink as pUser.
    static void OnData(int32_t nSession, int32_t nType, char* pBuf, int32_t nLen, void* pUser);
    static void OnMessage(int32_t nSession, int32_t nType, char* pContent, int32_t nLen, void* pUser);

    // Runs inside the data callback at the first stream block (on the session's thread).
    std::function<void(int32_t nSession)> onFirstBlock;

    bool WaitBytes(qint64 nBytes, int nTimeoutMs);
    bool WaitMessage(int nTimeoutMs);
    // The test closed the session: a callback from now on is a fault.
    void MarkClosed();

    QByteArray MediaInfo() const;
    qint64 Bytes() const;
    int Message() const;
    QString MessageText() const;
    bool AnyCallback() const;
    QString Fault() const; // empty when the order held

    // Demuxes and decodes the picture track of the stream as it comes in, until
    // nCount pictures or nTimeoutMs: the MD5 of each picture as yuv420p, as the
    // ffmpeg tool's framemd5 writes it.
    QStringList DecodePictures(int nCount, int nTimeoutMs);

private:
    static int ReadStream(void* pOpaque, uint8_t* pBuf, int nSize);

    mutable std::mutex m_mutex; // guards everything below
    std::condition_variable m_cv;
    QByteArray m_info;
    QByteArray m_stream;
    int m_nMessage = 0;
    QString m_strText;
    QString m_strFault;
    bool m_bClosed = false;
    bool m_bAny = false;
    qint64 m_nReadPos = 0; // of DecodePictures
    std::chrono::steady_clock::time_point m_tReadDeadline;
};
