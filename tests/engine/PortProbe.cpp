#include "PortProbe.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTimeZone>

#include <chrono>

PortProbe::PortProbe() = default;

PortProbe::~PortProbe() {
    Release();
}

bool PortProbe::TakePort() {
    if (m_lPort >= 0)
        return true;
    int32_t lPort = -1;
    if (!Tavrix_GetPort(&lPort))
        return false;
    m_lPort = lPort;
    return Tavrix_SetDisplayCallBackEx(m_lPort, &PortProbe::DisplayCallBack, this) &&
           Tavrix_SetFileEndCallback(m_lPort, &PortProbe::FileEndCallback, this);
}

bool PortProbe::Open(const QString& strPath) {
    if (!TakePort())
        return false;
    return Tavrix_OpenFile(m_lPort, QFile::encodeName(strPath).constData());
}

bool PortProbe::OpenIndexed(const QString& strClip, QStringList* pExpected, int nTimeoutMs) {
    const QString strPath = MediaPath(strClip);
    *pExpected = ExpectedHashes(strPath);
    if (pExpected->isEmpty() || !TakePort() || !m_index.Register(m_lPort) || !Open(strPath))
        return false;
    return m_index.Wait(nTimeoutMs) && Tavrix_GetFileTotalFrames(m_lPort) == uint32_t(pExpected->size());
}

bool PortProbe::Play(bool bRealTime) {
    return Tavrix_SetRealTime(m_lPort, bRealTime) && Tavrix_Play(m_lPort, 0);
}

void PortProbe::Release() {
    if (m_lPort < 0)
        return;
    Tavrix_CloseFile(m_lPort);
    Tavrix_FreePort(m_lPort);
    m_lPort = -1;
}

void PortProbe::FreeWhilePlaying() {
    if (m_lPort < 0)
        return;
    Tavrix_FreePort(m_lPort);
    m_lPort = -1;
}

bool PortProbe::WaitForEnd(int nTimeoutMs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cvChanged.wait_for(lock, std::chrono::milliseconds(nTimeoutMs),
                                [this] { return m_nEndCount > 0; });
}

bool PortProbe::WaitForFrames(int nCount, int nTimeoutMs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cvChanged.wait_for(lock, std::chrono::milliseconds(nTimeoutMs),
                                [this, nCount] { return int(m_vecFrames.size()) >= nCount; });
}

int PortProbe::FrameCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return int(m_vecFrames.size());
}

int PortProbe::EndCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_nEndCount;
}

std::vector<PortProbe::Shown> PortProbe::Frames() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_vecFrames;
}

void PortProbe::ClearFrames() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_vecFrames.clear();
    m_nEndCount = 0;
}

QStringList PortProbe::ExpectedHashes(const QString& strClipPath) {
    QStringList hashes;
    QFile file(strClipPath + ".framemd5");
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return hashes;
    while (!file.atEnd()) {
        const QString strLine = QString::fromLatin1(file.readLine()).trimmed();
        if (strLine.isEmpty() || strLine.startsWith('#'))
            continue;
        hashes << strLine.section(',', -1).trimmed();
    }
    return hashes;
}

QString PortProbe::MediaPath(const QString& strName) {
    QString strDir = qEnvironmentVariable("VELQUIN_MEDIA_DIR");
    if (strDir.isEmpty())
        strDir = QStringLiteral(VELQUIN_MEDIA_DIR);
    return QDir(strDir).filePath(strName);
}

void PortProbe::DisplayCallBack(TAVRIX_DISPLAY_INFO* pstDisplayInfo) {
    if (pstDisplayInfo && pstDisplayInfo->nUser)
        static_cast<PortProbe*>(pstDisplayInfo->nUser)->OnDisplay(*pstDisplayInfo);
}

void PortProbe::FileEndCallback(int32_t, void* pUser) {
    if (pUser)
        static_cast<PortProbe*>(pUser)->OnFileEnd();
}

void PortProbe::OnDisplay(const TAVRIX_DISPLAY_INFO& stInfo) {
    Shown shown;
    shown.nFrameNum = stInfo.nFrameNum;
    shown.nStampMs = stInfo.nStamp;
    if (m_bHashFrames)
        shown.md5Hex = Yv12ToI420Md5Hex(stInfo);
    if (m_bReadSystemTime)
        shown.bHasTime = Tavrix_GetSystemTime(stInfo.nPort, &shown.stTime);
    std::lock_guard<std::mutex> lock(m_mutex);
    shown.nEndsBefore = m_nEndCount;
    m_vecFrames.push_back(shown);
    m_cvChanged.notify_all();
}

void PortProbe::OnFileEnd() {
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_nEndCount;
    m_cvChanged.notify_all();
}

QByteArray Yv12ToI420Md5Hex(const TAVRIX_DISPLAY_INFO& stInfo) {
    const qsizetype nLuma = qsizetype(stInfo.nWidth) * stInfo.nHeight;
    const qsizetype nChroma = qsizetype((stInfo.nWidth + 1) / 2) * ((stInfo.nHeight + 1) / 2);
    if (!stInfo.pBuf || stInfo.nBufLen < nLuma + 2 * nChroma)
        return QByteArray("short-buffer");
    QCryptographicHash hash(QCryptographicHash::Md5);
    hash.addData(QByteArrayView(stInfo.pBuf, nLuma));
    hash.addData(QByteArrayView(stInfo.pBuf + nLuma + nChroma, nChroma)); // U follows V in YV12
    hash.addData(QByteArrayView(stInfo.pBuf + nLuma, nChroma));
    return hash.result().toHex();
}

qint64 SystemTimeToMsecs(const TAVRIX_SYSTEM_TIME& stTime) {
    const QDateTime time(QDate(stTime.nYear, stTime.nMonth, stTime.nDay),
                         QTime(stTime.nHour, stTime.nMinute, stTime.nSecond, stTime.nMilliseconds),
                         QTimeZone::utc());
    return time.toMSecsSinceEpoch();
}
