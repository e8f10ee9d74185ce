// Snapshots of a port: a copy of the last picture shown (as the colour and
// orientation settings made it), kept for readers on any thread, and the
// encoders that turn a picture into a BMP or JPEG file image.
//
// The render thread hands each shown picture to Keep; a reference is taken
// (no pixels are copied) under a small lock, so a snapshot never waits for
// the render thread and the render thread never waits for an encoder.
//
// BMP: the picture goes to YV12 as the display callback gets it
// (YuvConverter), then to 24-bit BGR as Tavrix_ConvertToBmp converts it
// (BmpWriter), so a snapshot and a converted callback picture agree.
// JPEG: FFmpeg's mjpeg encoder on yuvj420p (full range, converted by
// libswscale), quantiser scale 2 and optimal Huffman tables: baseline,
// readable everywhere, above 40 dB PSNR against the BMP.
#pragma once

#include "FfmpegPtr.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace tavrix {

class SnapshotEncoder {
public:
    explicit SnapshotEncoder(int nPort) : m_nPort(nPort) {}
    SnapshotEncoder(const SnapshotEncoder&) = delete;
    SnapshotEncoder& operator=(const SnapshotEncoder&) = delete;

    // Render thread: the picture now shown, frame number nFrameNum. When
    // pnCounter is given, nFrameNum is stored there under the same lock, so
    // the published counter and the kept picture change together.
    void Keep(const AVFrame* pPicture, uint32_t nFrameNum, std::atomic<uint32_t>* pnCounter);
    // A new play: nothing has been shown yet.
    void Forget();

    enum class Format { Bmp, Jpeg };
    enum class Result { Ok, NothingShown, TooSmall, Failed };
    // Encodes the kept picture into pOut (nCap bytes). *pnSize gets the bytes
    // written, or for TooSmall the bytes needed. pnFrameNum (may be null)
    // gets the frame number of the picture.
    Result Snapshot(Format format, uint8_t* pOut, size_t nCap, size_t* pnSize,
                    uint32_t* pnFrameNum = nullptr);

    // Any picture: a BMP or JPEG file image. False on failure (said in the log).
    static bool EncodeBmp(int nPort, const AVFrame* pPicture, std::vector<uint8_t>* pvecOut);
    static bool EncodeJpeg(int nPort, const AVFrame* pPicture, std::vector<uint8_t>* pvecOut);
    // A YV12 block (Y, V, U) wrapped as a yuv420p picture without copying.
    static bool WrapYv12(const uint8_t* pYv12, size_t nLen, int nWidth, int nHeight, AVFrame* pOut);
    // Writes the bytes to szUtf8Path through a temporary file in the same
    // folder, renamed over the target when complete; on any failure the
    // temporary is removed and no file is left.
    static bool WriteFileAtomically(const std::string& strUtf8Path, const std::vector<uint8_t>& vecBytes);

private:
    const int m_nPort;
    std::mutex m_mtx;
    FramePtr m_pKept;        // guarded by m_mtx
    uint32_t m_nKeptNum = 0; // guarded by m_mtx
};

} // namespace tavrix
