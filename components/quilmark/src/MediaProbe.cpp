#include "MediaProbe.h"

#include "CPlayHelper.h"

#include <QDebug>
#include <QRegularExpression>

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/time.h>
}

namespace MediaProbe {

namespace {

struct DictFree {
    void operator()(AVDictionary* pDict) const { av_dict_free(&pDict); }
};

void LogAvError(const char* pWhere, const QString& strPath, int nErr) {
    char szErr[AV_ERROR_MAX_STRING_SIZE] = {0};
    av_strerror(nErr, szErr, sizeof(szErr));
    qDebug() << pWhere << "Fail" << strPath << szErr;
}

// Keeps the stream probe short: these are file facts for lists and menus, not playback.
bool FindStreamInfo(AVFormatContext* pCtx) {
    if (pCtx->probesize > 2 * 1024 * 1024)
        pCtx->probesize = 2 * 1024 * 1024;
    pCtx->max_analyze_duration = 2 * AV_TIME_BASE;
    const int nRet = avformat_find_stream_info(pCtx, nullptr);
    if (nRet < 0) {
        LogAvError("MediaProbe::FindStreamInfo", QString::fromUtf8(pCtx->url ? pCtx->url : ""), nRet);
        return false;
    }
    return true;
}

bool AnyVideo(const AVFormatContext* pCtx) {
    for (unsigned i = 0; i < pCtx->nb_streams; ++i) {
        const AVCodecParameters* pPar = pCtx->streams[i]->codecpar;
        if (pPar->codec_type == AVMEDIA_TYPE_VIDEO && pPar->codec_id != AV_CODEC_ID_NONE &&
            !(pCtx->streams[i]->disposition & AV_DISPOSITION_ATTACHED_PIC))
            return true;
    }
    return false;
}

bool ValidTime(const TAVRIX_SYSTEM_TIME& t) {
    return CPlayHelper::IsSystemTimeValid(&t);
}

// Longest a network source may take to give its facts.
constexpr int64_t kNetworkProbeUs = 5 * 1000 * 1000;

int PastDeadline(void* pOpaque) {
    return av_gettime_relative() > static_cast<int64_t>(reinterpret_cast<intptr_t>(pOpaque)) ? 1 : 0;
}

bool IsNetworkPath(const QString& strPath) {
    const int nScheme = strPath.indexOf(QLatin1String("://"));
    return nScheme > 1 && !strPath.startsWith(QLatin1String("file:"), Qt::CaseInsensitive);
}

} // namespace

FormatPtr Open(const QString& strPath, bool bFindStreams) {
    if (strPath.isEmpty())
        return FormatPtr();
    AVDictionary* pRawOpts = nullptr;
    // A bounded probe keeps random bytes and huge files from taking long.
    av_dict_set(&pRawOpts, "probesize", "1048576", 0);
    av_dict_set(&pRawOpts, "analyzeduration", "1000000", 0);
    AVFormatContext* pRaw = nullptr;
    const QByteArray baPath = strPath.toUtf8();
    if (IsNetworkPath(strPath)) {
        // Facts are asked for on the GUI thread: a stream that accepts and then
        // says nothing must not hold it. The deadline rides in the opaque pointer,
        // so the callback needs no storage that could outlive the context.
        pRaw = avformat_alloc_context();
        if (!pRaw)
            return FormatPtr();
        pRaw->interrupt_callback.callback = PastDeadline;
        pRaw->interrupt_callback.opaque =
            reinterpret_cast<void*>(static_cast<intptr_t>(av_gettime_relative() + kNetworkProbeUs));
    }
    const int nRet = avformat_open_input(&pRaw, baPath.constData(), nullptr, &pRawOpts);
    std::unique_ptr<AVDictionary, DictFree> opts(pRawOpts);
    if (nRet < 0) {
        LogAvError("MediaProbe::Open avformat_open_input", strPath, nRet);
        return FormatPtr();
    }
    FormatPtr ctx(pRaw);
    if (bFindStreams && !FindStreamInfo(ctx.get()))
        return FormatPtr();
    return ctx;
}

bool HasVideoStream(AVFormatContext* pCtx) {
    if (!pCtx)
        return false;
    if (AnyVideo(pCtx))
        return true;
    // Containers such as MPEG-TS may announce streams only in the payload.
    return FindStreamInfo(pCtx) && AnyVideo(pCtx);
}

QString FindTag(AVFormatContext* pCtx, const char* pKey) {
    if (!pCtx)
        return QString();
    const AVDictionaryEntry* pEntry = av_dict_get(pCtx->metadata, pKey, nullptr, 0);
    for (unsigned i = 0; !pEntry && i < pCtx->nb_streams; ++i)
        pEntry = av_dict_get(pCtx->streams[i]->metadata, pKey, nullptr, 0);
    return pEntry ? QString::fromUtf8(pEntry->value) : QString();
}

int64_t DurationMs(AVFormatContext* pCtx) {
    if (!pCtx)
        return -1;
    if (pCtx->duration <= 0 || pCtx->duration == AV_NOPTS_VALUE) {
        if (!FindStreamInfo(pCtx))
            return -1;
    }
    if (pCtx->duration <= 0 || pCtx->duration == AV_NOPTS_VALUE)
        return -1;
    return av_rescale(pCtx->duration, 1000, AV_TIME_BASE);
}

bool HasEncryptionSideData(AVFormatContext* pCtx) {
    if (!pCtx)
        return false;
    for (unsigned i = 0; i < pCtx->nb_streams; ++i) {
        size_t nSize = 0;
        if (av_stream_get_side_data(pCtx->streams[i], AV_PKT_DATA_ENCRYPTION_INIT_INFO, &nSize) && nSize > 0)
            return true;
    }
    return false;
}

bool ParseIsoTime(const QString& strText, TAVRIX_SYSTEM_TIME* pTime) {
    static const QRegularExpression re(
        QStringLiteral("^\\s*(\\d{4})-(\\d{2})-(\\d{2})[T ](\\d{2}):(\\d{2}):(\\d{2})(?:\\.(\\d{1,9}))?"));
    const QRegularExpressionMatch m = re.match(strText);
    if (!m.hasMatch())
        return false;
    TAVRIX_SYSTEM_TIME t{};
    t.nYear = m.captured(1).toInt();
    t.nMonth = m.captured(2).toInt();
    t.nDay = m.captured(3).toInt();
    t.nHour = m.captured(4).toInt();
    t.nMinute = m.captured(5).toInt();
    t.nSecond = m.captured(6).toInt();
    const QString strFrac = m.captured(7);
    t.nMilliseconds = strFrac.isEmpty() ? 0 : (strFrac + QStringLiteral("00")).left(3).toInt();
    if (!ValidTime(t))
        return false;
    *pTime = t;
    return true;
}

bool ParseNameStamp(const QString& strFileName, TAVRIX_SYSTEM_TIME* pTime) {
    // Digits on both sides must not continue: a longer number is not a stamp.
    static const QRegularExpression re(
        QStringLiteral("(?<!\\d)(\\d{4})(\\d{2})(\\d{2})[_-]?(\\d{2})(\\d{2})(\\d{2})(?!\\d)"));
    QRegularExpressionMatchIterator it = re.globalMatch(strFileName);
    while (it.hasNext()) {
        const QRegularExpressionMatch m = it.next();
        TAVRIX_SYSTEM_TIME t{};
        t.nYear = m.captured(1).toInt();
        t.nMonth = m.captured(2).toInt();
        t.nDay = m.captured(3).toInt();
        t.nHour = m.captured(4).toInt();
        t.nMinute = m.captured(5).toInt();
        t.nSecond = m.captured(6).toInt();
        if (ValidTime(t)) {
            *pTime = t;
            return true;
        }
    }
    return false;
}

} // namespace MediaProbe
