#include "SnapshotEncoder.h"

#include "BmpWriter.h"
#include "EngineLog.h"
#include "YuvConverter.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
#include <libavutil/opt.h>
}

namespace tavrix {
namespace {

// The process's file creation mask, read without changing it: setting it to
// read it would leave another thread's files open to all for a moment.
mode_t ProcessUmask() {
    static const mode_t s_nMask = [] {
        mode_t nMask = 022;
        if (FILE* pStatus = std::fopen("/proc/self/status", "r")) {
            char szLine[256];
            while (std::fgets(szLine, sizeof(szLine), pStatus) != nullptr) {
                unsigned int nValue = 0;
                if (std::sscanf(szLine, "Umask: %o", &nValue) == 1) {
                    nMask = static_cast<mode_t>(nValue);
                    break;
                }
            }
            std::fclose(pStatus);
        }
        return nMask;
    }();
    return s_nMask;
}

} // namespace

void SnapshotEncoder::Keep(const AVFrame* pPicture, uint32_t nFrameNum, std::atomic<uint32_t>* pnCounter) {
    if (pPicture == nullptr) {
        return;
    }
    FramePtr pRef = MakeFrame();
    if (pRef && pPicture != nullptr && av_frame_ref(pRef.get(), pPicture) < 0) {
        pRef.reset();
    }
    FramePtr pOld;
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        if (pRef) {
            pOld = std::move(m_pKept);
            m_pKept = std::move(pRef);
            m_nKeptNum = nFrameNum;
        }
        if (pnCounter != nullptr) {
            *pnCounter = nFrameNum;
        }
    }
    // pOld is released here, outside the lock.
}

void SnapshotEncoder::Forget() {
    FramePtr pOld;
    std::lock_guard<std::mutex> lock(m_mtx);
    pOld = std::move(m_pKept);
}

SnapshotEncoder::Result SnapshotEncoder::Snapshot(Format format, uint8_t* pOut, size_t nCap, size_t* pnSize,
                                                  uint32_t* pnFrameNum) {
    *pnSize = 0;
    FramePtr pPicture = MakeFrame();
    if (!pPicture) {
        return Result::Failed;
    }
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        if (!m_pKept) {
            return Result::NothingShown;
        }
        // A reference, so the encoder runs without the lock.
        if (av_frame_ref(pPicture.get(), m_pKept.get()) < 0) {
            return Result::Failed;
        }
        if (pnFrameNum != nullptr) {
            *pnFrameNum = m_nKeptNum;
        }
    }
    std::vector<uint8_t> vecBytes;
    const bool bOk = format == Format::Bmp ? EncodeBmp(m_nPort, pPicture.get(), &vecBytes)
                                           : EncodeJpeg(m_nPort, pPicture.get(), &vecBytes);
    if (!bOk) {
        return Result::Failed;
    }
    *pnSize = vecBytes.size();
    if (pOut == nullptr || nCap < vecBytes.size()) {
        return Result::TooSmall;
    }
    std::memcpy(pOut, vecBytes.data(), vecBytes.size());
    return Result::Ok;
}

bool SnapshotEncoder::EncodeBmp(int nPort, const AVFrame* pPicture, std::vector<uint8_t>* pvecOut) {
    YuvConverter yuv(nPort);
    std::vector<uint8_t> vecYv12;
    if (!yuv.ToYv12(pPicture, &vecYv12)) {
        return false;
    }
    const size_t nBytes = BmpWriter::ImageBytes(pPicture->width, pPicture->height);
    if (nBytes == 0) {
        return false;
    }
    pvecOut->resize(nBytes);
    size_t nWritten = 0;
    if (!BmpWriter::FromYv12(vecYv12.data(), vecYv12.size(), pPicture->width, pPicture->height,
                             pvecOut->data(), pvecOut->size(), &nWritten)) {
        return false;
    }
    pvecOut->resize(nWritten);
    return true;
}

bool SnapshotEncoder::EncodeJpeg(int nPort, const AVFrame* pPicture, std::vector<uint8_t>* pvecOut) {
    const int nW = pPicture->width;
    const int nH = pPicture->height;
    const AVCodec* pCodec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    if (pCodec == nullptr || nW <= 0 || nH <= 0) {
        EngineLog::Warn(nPort, "JPEG snapshot: no encoder for %dx%d", nW, nH);
        return false;
    }
    // Full-range 4:2:0, as JPEG readers expect it.
    FramePtr pJ = MakeFrame();
    if (!pJ) {
        return false;
    }
    pJ->format = AV_PIX_FMT_YUVJ420P;
    pJ->width = nW;
    pJ->height = nH;
    if (av_frame_get_buffer(pJ.get(), 0) < 0) {
        return false;
    }
    // The scaler is asked for yuv420p with a full-range output (the same
    // bytes as yuvj420p, which it names a deprecated format). The ranges are
    // set before it starts: with equal ranges it would only copy.
    const bool bSrcFull = pPicture->color_range == AVCOL_RANGE_JPEG ||
                          pPicture->format == AV_PIX_FMT_YUVJ420P ||
                          pPicture->format == AV_PIX_FMT_YUVJ422P || pPicture->format == AV_PIX_FMT_YUVJ444P;
    SwsPtr pSws(sws_alloc_context());
    if (pSws &&
        (av_opt_set_int(pSws.get(), "srcw", nW, 0) < 0 || av_opt_set_int(pSws.get(), "srch", nH, 0) < 0 ||
         av_opt_set_int(pSws.get(), "src_format", pPicture->format, 0) < 0 ||
         av_opt_set_int(pSws.get(), "dstw", nW, 0) < 0 || av_opt_set_int(pSws.get(), "dsth", nH, 0) < 0 ||
         av_opt_set_int(pSws.get(), "dst_format", AV_PIX_FMT_YUV420P, 0) < 0 ||
         av_opt_set_int(pSws.get(), "src_range", bSrcFull ? 1 : 0, 0) < 0 ||
         av_opt_set_int(pSws.get(), "dst_range", 1, 0) < 0 ||
         av_opt_set_int(pSws.get(), "sws_flags", SWS_BICUBIC | SWS_ACCURATE_RND, 0) < 0 ||
         sws_init_context(pSws.get(), nullptr, nullptr) < 0)) {
        pSws.reset();
    }
    if (!pSws ||
        sws_scale(pSws.get(), pPicture->data, pPicture->linesize, 0, nH, pJ->data, pJ->linesize) != nH) {
        EngineLog::Warn(nPort, "JPEG snapshot: conversion of %dx%d failed", nW, nH);
        return false;
    }
    CodecContextPtr pCtx(avcodec_alloc_context3(pCodec));
    PacketPtr pPacket = MakePacket();
    if (!pCtx || !pPacket) {
        return false;
    }
    pCtx->width = nW;
    pCtx->height = nH;
    pCtx->pix_fmt = AV_PIX_FMT_YUVJ420P;
    pCtx->color_range = AVCOL_RANGE_JPEG;
    pCtx->time_base = AVRational{1, 25};
    // A fixed quantiser scale of 2: near-lossless on camera pictures.
    pCtx->flags |= AV_CODEC_FLAG_QSCALE;
    pCtx->global_quality = FF_QP2LAMBDA * 2;
    pCtx->qmin = 2;
    pCtx->qmax = 2;
    AVDictionary* pOpts = nullptr;
    av_dict_set(&pOpts, "huffman", "optimal", 0);
    int nErr = avcodec_open2(pCtx.get(), pCodec, &pOpts);
    DictPtr pUnused(pOpts); // options the encoder did not take
    if (nErr < 0) {
        EngineLog::AvFail(nPort, "JPEG encoder", nErr);
        return false;
    }
    pJ->quality = pCtx->global_quality;
    pJ->pts = 0;
    nErr = avcodec_send_frame(pCtx.get(), pJ.get());
    if (nErr >= 0) {
        nErr = avcodec_send_frame(pCtx.get(), nullptr);
    }
    if (nErr >= 0) {
        nErr = avcodec_receive_packet(pCtx.get(), pPacket.get());
    }
    if (nErr < 0) {
        EngineLog::AvFail(nPort, "JPEG encoding", nErr);
        return false;
    }
    pvecOut->assign(pPacket->data, pPacket->data + pPacket->size);
    return true;
}

bool SnapshotEncoder::WrapYv12(const uint8_t* pYv12, size_t nLen, int nWidth, int nHeight, AVFrame* pOut) {
    if (pYv12 == nullptr || nWidth <= 0 || nHeight <= 0 || (nWidth % 2) != 0 || (nHeight % 2) != 0) {
        return false;
    }
    const size_t nLuma = static_cast<size_t>(nWidth) * static_cast<size_t>(nHeight);
    if (nLen < nLuma * 3 / 2) {
        return false;
    }
    uint8_t* pBase = const_cast<uint8_t*>(pYv12); // read only: the picture is never written
    pOut->format = AV_PIX_FMT_YUV420P;
    pOut->width = nWidth;
    pOut->height = nHeight;
    pOut->data[0] = pBase;
    pOut->data[1] = pBase + nLuma * 5 / 4; // U follows V in YV12
    pOut->data[2] = pBase + nLuma;
    pOut->linesize[0] = nWidth;
    pOut->linesize[1] = nWidth / 2;
    pOut->linesize[2] = nWidth / 2;
    return true;
}

bool SnapshotEncoder::WriteFileAtomically(const std::string& strUtf8Path,
                                          const std::vector<uint8_t>& vecBytes) {
    // mkstemp's name lies beside the target, so the rename stays within one
    // file system and is atomic.
    std::string strTemp = strUtf8Path + ".XXXXXX";
    const int nFd = mkstemp(&strTemp[0]);
    if (nFd < 0) {
        EngineLog::Warn(-1, "picture file %s: %s", strUtf8Path.c_str(), std::strerror(errno));
        return false;
    }
    bool bOk = true;
    size_t nDone = 0;
    while (bOk && nDone < vecBytes.size()) {
        const ssize_t n = write(nFd, vecBytes.data() + nDone, vecBytes.size() - nDone);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        bOk = n > 0;
        nDone += bOk ? static_cast<size_t>(n) : 0;
    }
    int nErrno = bOk ? 0 : errno;
    // mkstemp makes the file readable by its owner only; a picture is for anyone the umask allows.
    if (bOk && fchmod(nFd, 0666 & ~ProcessUmask()) != 0) {
        nErrno = errno;
        bOk = false;
    }
    // On disk before the rename: after a crash the name holds the whole picture or nothing.
    if (bOk && fsync(nFd) != 0) {
        nErrno = errno;
        bOk = false;
    }
    if (close(nFd) != 0 && bOk) {
        nErrno = errno;
        bOk = false;
    }
    if (bOk && std::rename(strTemp.c_str(), strUtf8Path.c_str()) != 0) {
        nErrno = errno;
        bOk = false;
    }
    if (!bOk) {
        unlink(strTemp.c_str());
        EngineLog::Warn(-1, "picture file %s: %s", strUtf8Path.c_str(), std::strerror(nErrno));
    }
    return bOk;
}

} // namespace tavrix
