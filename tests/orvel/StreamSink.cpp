#include "StreamSink.h"

#include "Orvel.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/md5.h>
}

#include <memory>

void StreamSink::OnData(int32_t nSession, int32_t nType, char* pBuf, int32_t nLen, void* pUser) {
    auto* pSelf = static_cast<StreamSink*>(pUser);
    bool bFirstBlock = false;
    {
        std::lock_guard<std::mutex> lock(pSelf->m_mutex);
        pSelf->m_bAny = true;
        if (pSelf->m_bClosed || pSelf->m_nMessage != 0) {
            pSelf->m_strFault = QStringLiteral("block of type %1 after the end").arg(nType);
        } else if (nType == ORVEL_DATA_MEDIAINFO) {
            if (!pSelf->m_info.isEmpty() || nLen != 6) {
                pSelf->m_strFault = QStringLiteral("media information again or of %1 bytes").arg(nLen);
            }
            pSelf->m_info = QByteArray(pBuf, nLen);
        } else if (nType == ORVEL_DATA_MULTI) {
            if (pSelf->m_info.isEmpty()) {
                pSelf->m_strFault = QStringLiteral("stream bytes before the media information");
            }
            bFirstBlock = pSelf->m_stream.isEmpty();
            pSelf->m_stream.append(pBuf, nLen);
        } else {
            pSelf->m_strFault = QStringLiteral("block of type %1").arg(nType);
        }
    }
    pSelf->m_cv.notify_all();
    if (bFirstBlock && pSelf->onFirstBlock) {
        pSelf->onFirstBlock(nSession);
    }
}

void StreamSink::OnMessage(int32_t, int32_t nType, char* pContent, int32_t nLen, void* pUser) {
    auto* pSelf = static_cast<StreamSink*>(pUser);
    {
        std::lock_guard<std::mutex> lock(pSelf->m_mutex);
        pSelf->m_bAny = true;
        if (pSelf->m_bClosed || pSelf->m_nMessage != 0) {
            pSelf->m_strFault = QStringLiteral("message %1 after the end").arg(nType);
        }
        pSelf->m_nMessage = nType;
        pSelf->m_strText = QString::fromUtf8(pContent, nLen);
    }
    pSelf->m_cv.notify_all();
}

bool StreamSink::WaitBytes(qint64 nBytes, int nTimeoutMs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cv.wait_for(lock, std::chrono::milliseconds(nTimeoutMs), [&] {
        return m_stream.size() >= nBytes || m_nMessage != 0;
    }) && m_stream.size() >= nBytes;
}

bool StreamSink::WaitMessage(int nTimeoutMs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cv.wait_for(lock, std::chrono::milliseconds(nTimeoutMs), [&] { return m_nMessage != 0; });
}

void StreamSink::MarkClosed() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bClosed = true;
}

QByteArray StreamSink::MediaInfo() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_info;
}

qint64 StreamSink::Bytes() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_stream.size();
}

int StreamSink::Message() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_nMessage;
}

QString StreamSink::MessageText() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_strText;
}

bool StreamSink::AnyCallback() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bAny;
}

QString StreamSink::Fault() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_strFault;
}

int StreamSink::ReadStream(void* pOpaque, uint8_t* pBuf, int nSize) {
    auto* pSelf = static_cast<StreamSink*>(pOpaque);
    std::unique_lock<std::mutex> lock(pSelf->m_mutex);
    pSelf->m_cv.wait_until(lock, pSelf->m_tReadDeadline, [&] {
        return pSelf->m_stream.size() > pSelf->m_nReadPos || pSelf->m_nMessage != 0;
    });
    const qint64 nLeft = pSelf->m_stream.size() - pSelf->m_nReadPos;
    if (nLeft <= 0) {
        return AVERROR_EOF;
    }
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
    auto* pIoBuf = static_cast<uint8_t*>(av_malloc(kBufBytes));
    AVIOContext* pIo =
        avio_alloc_context(pIoBuf, kBufBytes, 0, this, &StreamSink::ReadStream, nullptr, nullptr);
    AVFormatContext* pFmt = avformat_alloc_context();
    pFmt->pb = pIo;
    auto cleanup = [&](AVCodecContext* pCodec, AVFrame* pFrame, AVPacket* pkt) {
        av_packet_free(&pkt);
        av_frame_free(&pFrame);
        avcodec_free_context(&pCodec);
        avformat_close_input(&pFmt);
        av_freep(&pIo->buffer);
        avio_context_free(&pIo);
    };
    if (avformat_open_input(&pFmt, nullptr, nullptr, nullptr) < 0) {
        cleanup(nullptr, nullptr, nullptr);
        return hashes;
    }
    const int nVideo = av_find_best_stream(pFmt, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    const AVCodec* pDecoder =
        nVideo < 0 ? nullptr : avcodec_find_decoder(pFmt->streams[nVideo]->codecpar->codec_id);
    AVCodecContext* pCodec = pDecoder ? avcodec_alloc_context3(pDecoder) : nullptr;
    AVFrame* pFrame = av_frame_alloc();
    AVPacket* pkt = av_packet_alloc();
    if (pCodec == nullptr || avcodec_parameters_to_context(pCodec, pFmt->streams[nVideo]->codecpar) < 0) {
        cleanup(pCodec, pFrame, pkt);
        return hashes;
    }
    pCodec->thread_count = 1; // every picture out at once, in order
    if (avcodec_open2(pCodec, pDecoder, nullptr) < 0) {
        cleanup(pCodec, pFrame, pkt);
        return hashes;
    }
    std::vector<uint8_t> picture;
    while (hashes.size() < nCount && av_read_frame(pFmt, pkt) >= 0) {
        if (pkt->stream_index == nVideo && avcodec_send_packet(pCodec, pkt) >= 0) {
            while (hashes.size() < nCount && avcodec_receive_frame(pCodec, pFrame) >= 0) {
                const auto fmt = static_cast<AVPixelFormat>(pFrame->format);
                picture.resize(av_image_get_buffer_size(fmt, pFrame->width, pFrame->height, 1));
                av_image_copy_to_buffer(picture.data(), static_cast<int>(picture.size()), pFrame->data,
                                        pFrame->linesize, fmt, pFrame->width, pFrame->height, 1);
                uint8_t digest[16];
                av_md5_sum(digest, picture.data(), static_cast<int>(picture.size()));
                hashes << QString::fromLatin1(QByteArray(reinterpret_cast<char*>(digest), 16).toHex());
            }
        }
        av_packet_unref(pkt);
    }
    cleanup(pCodec, pFrame, pkt);
    return hashes;
}
