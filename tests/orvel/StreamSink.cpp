#include "StreamSink.h"

#include "Orvel.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/md5.h>
}

#include <memory>

namespace {
// An owner for an FFmpeg object whose free function takes the object's address.
template <auto Free> struct Freer {
    template <typename T> void operator()(T* p) const { Free(&p); }
};
struct IoFreer {
    void operator()(AVIOContext* p) const {
        av_freep(&p->buffer);
        avio_context_free(&p);
    }
};
} // namespace

void StreamSink::OnData(int32_t nSession, int32_t nType, char* pBuf, int32_t nLen, void* pUser) {
    auto* pSelf = static_cast<StreamSink*>(pUser);
    const bool bInfo = nType == ORVEL_DATA_MEDIAINFO;
    bool bFirstBlock = false;
    {
        std::lock_guard<std::mutex> lock(pSelf->m_mutex);
        Seen& seen = pSelf->m_seen;
        seen.bAny = true;
        if (pSelf->m_bClosed || seen.nMessage != 0 ||
            (bInfo ? !seen.info.isEmpty() || nLen != 6 : nType != ORVEL_DATA_MULTI || seen.info.isEmpty())) {
            seen.strFault = QStringLiteral("block of type %1 and %2 bytes out of order").arg(nType).arg(nLen);
        }
        bFirstBlock = !bInfo && pSelf->m_stream.isEmpty();
        (bInfo ? seen.info : pSelf->m_stream).append(pBuf, nLen);
    }
    pSelf->m_cv.notify_all();
    if (bFirstBlock && pSelf->onFirstBlock)
        pSelf->onFirstBlock(nSession);
}

void StreamSink::OnMessage(int32_t, int32_t nType, char* pContent, int32_t nLen, void* pUser) {
    auto* pSelf = static_cast<StreamSink*>(pUser);
    qInfo("session message %d \"%s\"", nType, qPrintable(QString::fromUtf8(pContent, nLen)));
    {
        std::lock_guard<std::mutex> lock(pSelf->m_mutex);
        if (pSelf->m_bClosed || pSelf->m_seen.nMessage != 0)
            pSelf->m_seen.strFault = QStringLiteral("message %1 after the end").arg(nType);
        pSelf->m_seen.bAny = true;
        pSelf->m_seen.nMessage = nType;
    }
    pSelf->m_cv.notify_all();
}

int32_t StreamSink::Open(const QString& strUrl, int32_t nMode, int32_t nPort, int32_t nTimeoutMs,
                         int32_t* pRet) {
    const int32_t nId = Orvel_Create(strUrl.toUtf8().constData(), 0);
    if (nId < 0)
        return -1;
    if ((nTimeoutMs > 0 && Orvel_SetTimeout(nId, nTimeoutMs) != ORVEL_OK) ||
        Orvel_SetTransmitMode(nId, nMode, nPort) != ORVEL_OK ||
        Orvel_SetMsgCallBack(nId, &StreamSink::OnMessage, this) != ORVEL_OK) {
        Orvel_Destroy(nId);
        return -1;
    }
    const int32_t nRet = Orvel_Open(nId, &StreamSink::OnData, this);
    if (pRet != nullptr) {
        *pRet = nRet;
    } else if (nRet != ORVEL_OK) {
        qWarning("Orvel_Open(%s) answered 0x%08x", qPrintable(strUrl), static_cast<uint32_t>(nRet));
        Orvel_Destroy(nId);
        return -1;
    }
    return nId;
}

int32_t StreamSink::Destroy(int32_t nSession) {
    const int32_t nRet = Orvel_Destroy(nSession);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bClosed = true;
    return nRet;
}

bool StreamSink::WaitBytes(qint64 nBytes, int nTimeoutMs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cv.wait_for(lock, std::chrono::milliseconds(nTimeoutMs), [&] {
        return m_stream.size() >= nBytes || m_seen.nMessage != 0;
    }) && m_stream.size() >= nBytes;
}

bool StreamSink::WaitMessage(int nTimeoutMs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cv.wait_for(lock, std::chrono::milliseconds(nTimeoutMs), [&] { return m_seen.nMessage != 0; });
}

StreamSink::Seen StreamSink::Snapshot() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_seen;
}

int StreamSink::ReadStream(void* pOpaque, uint8_t* pBuf, int nSize) {
    auto* pSelf = static_cast<StreamSink*>(pOpaque);
    std::unique_lock<std::mutex> lock(pSelf->m_mutex);
    pSelf->m_cv.wait_until(lock, pSelf->m_tReadDeadline, [&] {
        return pSelf->m_stream.size() > pSelf->m_nReadPos || pSelf->m_seen.nMessage != 0;
    });
    const qint64 nLeft = pSelf->m_stream.size() - pSelf->m_nReadPos;
    if (nLeft <= 0)
        return AVERROR_EOF;
    const int nTake = static_cast<int>(std::min<qint64>(nLeft, nSize));
    memcpy(pBuf, pSelf->m_stream.constData() + pSelf->m_nReadPos, nTake);
    pSelf->m_nReadPos += nTake;
    return nTake;
}

QStringList StreamSink::DecodePictures(int nCount, int nTimeoutMs) {
    m_nReadPos = 0;
    m_tReadDeadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(nTimeoutMs);
    QStringList hashes;
    constexpr int kBufBytes = 32768;
    std::unique_ptr<AVIOContext, IoFreer> io(avio_alloc_context(
        static_cast<uint8_t*>(av_malloc(kBufBytes)), kBufBytes, 0, this, &ReadStream, nullptr, nullptr));
    AVFormatContext* pOpened = avformat_alloc_context();
    pOpened->pb = io.get();
    if (avformat_open_input(&pOpened, nullptr, nullptr, nullptr) < 0) { // frees pOpened
        return hashes;
    }
    std::unique_ptr<AVFormatContext, Freer<avformat_close_input>> fmt(pOpened);
    const int nVideo = av_find_best_stream(fmt.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    const AVCodec* pDecoder =
        nVideo < 0 ? nullptr : avcodec_find_decoder(fmt->streams[nVideo]->codecpar->codec_id);
    std::unique_ptr<AVCodecContext, Freer<avcodec_free_context>> codec(avcodec_alloc_context3(pDecoder));
    std::unique_ptr<AVFrame, Freer<av_frame_free>> frame(av_frame_alloc());
    std::unique_ptr<AVPacket, Freer<av_packet_free>> pkt(av_packet_alloc());
    if (!pDecoder || !codec ||
        avcodec_parameters_to_context(codec.get(), fmt->streams[nVideo]->codecpar) < 0) {
        return hashes;
    }
    codec->thread_count = 1; // every picture out at once, in order
    if (avcodec_open2(codec.get(), pDecoder, nullptr) < 0)
        return hashes;
    std::vector<uint8_t> picture;
    while (hashes.size() < nCount && av_read_frame(fmt.get(), pkt.get()) >= 0) {
        if (pkt->stream_index == nVideo && avcodec_send_packet(codec.get(), pkt.get()) >= 0) {
            while (hashes.size() < nCount && avcodec_receive_frame(codec.get(), frame.get()) >= 0) {
                const auto pixFmt = static_cast<AVPixelFormat>(frame->format);
                picture.resize(av_image_get_buffer_size(pixFmt, frame->width, frame->height, 1));
                av_image_copy_to_buffer(picture.data(), static_cast<int>(picture.size()), frame->data,
                                        frame->linesize, pixFmt, frame->width, frame->height, 1);
                uint8_t digest[16];
                av_md5_sum(digest, picture.data(), static_cast<int>(picture.size()));
                hashes << QString::fromLatin1(QByteArray(reinterpret_cast<char*>(digest), 16).toHex());
            }
        }
        av_packet_unref(pkt.get());
    }
    return hashes;
}
