// The ffmpeg tool's pictures and the measures the picture tests compare them by.
#pragma once

#include "PortProbe.h"

#include <QByteArray>
#include <QProcess>
#include <QString>

#include <cmath>

// The ffmpeg tool's picture of frame nFrame of a clip, through extra filters
// (may be empty), as raw pixels of pix_fmt.
inline QByteArray ToolPicture(const QString& strClip, int nFrame, const QString& strFilters, const char* szPixFmt,
                              int nTimeoutMs = 20000) {
    QString strChain = QString("select=eq(n\\,%1)").arg(nFrame);
    if (!strFilters.isEmpty())
        strChain += "," + strFilters;
    QProcess ff;
    ff.start("ffmpeg",
             {"-v", "error", "-nostdin", "-i", PortProbe::MediaPath(strClip), "-vf", strChain, "-fps_mode",
              "passthrough", "-frames:v", "1", "-pix_fmt", szPixFmt, "-f", "rawvideo", "-"});
    if (!ff.waitForFinished(nTimeoutMs) || ff.exitCode() != 0)
        return QByteArray();
    return ff.readAllStandardOutput();
}

inline int LeInt(const QByteArray& bytes, int nAt) {
    const auto* p = reinterpret_cast<const uchar*>(bytes.constData()) + nAt;
    return int(p[0] | (p[1] << 8) | (p[2] << 16) | (uint32_t(p[3]) << 24));
}

// The pixels of a BMP file image as top-down bgr24 rows without padding;
// *pnWidth, *pnHeight get its size.
inline QByteArray BmpPixels(const QByteArray& bmp, int* pnWidth, int* pnHeight) {
    if (bmp.size() < 54 || !bmp.startsWith("BM"))
        return QByteArray();
    const int nW = LeInt(bmp, 18), nH = LeInt(bmp, 22), nOffset = LeInt(bmp, 10);
    const int nRow = (nW * 3 + 3) & ~3;
    if (nW <= 0 || nH <= 0 || bmp.size() < nOffset + nRow * nH)
        return QByteArray();
    QByteArray pixels;
    for (int y = nH - 1; y >= 0; --y)
        pixels += bmp.mid(nOffset + y * nRow, nW * 3);
    *pnWidth = nW;
    *pnHeight = nH;
    return pixels;
}

inline double Psnr(const QByteArray& a, const QByteArray& b) {
    if (a.size() != b.size() || a.isEmpty())
        return 0.0;
    double sum = 0.0;
    for (qsizetype i = 0; i < a.size(); ++i) {
        const double d = double(uchar(a[i])) - double(uchar(b[i]));
        sum += d * d;
    }
    return sum == 0.0 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 * double(a.size()) / sum);
}

inline int MaxDiff(const QByteArray& a, const QByteArray& b) {
    if (a.size() != b.size())
        return 256;
    int nMax = 0;
    for (qsizetype i = 0; i < a.size(); ++i)
        nMax = qMax(nMax, qAbs(int(uchar(a[i])) - int(uchar(b[i]))));
    return nMax;
}

// The port's snapshot as a BMP or JPEG file image; empty when there is none.
inline QByteArray Snapshot(int32_t nPort, bool bJpeg) {
    uint32_t nSize = 0;
    (bJpeg ? Tavrix_GetJPEG : Tavrix_GetBMP)(nPort, nullptr, 0, &nSize);
    QByteArray bytes(qsizetype(nSize), '\0');
    if (nSize == 0 || !(bJpeg ? Tavrix_GetJPEG : Tavrix_GetBMP)(nPort, bytes.data(), nSize, &nSize))
        return QByteArray();
    bytes.truncate(qsizetype(nSize));
    return bytes;
}
