#pragma once

// Small helpers shared by the GUI tests: where the generated clips are, how many
// frames the ffmpeg tool counted in them, and the ffmpeg tool's own pictures.

#include <QApplication>
#include <QByteArray>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QWidget>

#include <algorithm>
#include <cstdlib>

#include "OpenInfo.h"

namespace GuiMedia {

inline QString MediaDir() {
    const QByteArray baEnv = qgetenv("VELQUIN_MEDIA_DIR");
    return baEnv.isEmpty() ? QString(VELQUIN_MEDIA_DIR) : QString::fromLocal8Bit(baEnv);
}

inline QString Clip(const QString& strName) {
    return MediaDir() + "/" + strName;
}

// What the playlist hands a window to open a local file.
inline OpenInfo FileInfo(const QString& strPath) {
    OpenInfo info;
    info.nMediaType = 1;
    info.strFilePath = strPath;
    return info;
}

// Video frames of a clip as the ffmpeg tool decoded them (lines of NAME.framemd5);
// -1 when the truth file is missing.
inline int FrameCount(const QString& strName) {
    QFile file(Clip(strName) + ".framemd5");
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return -1;
    int nFrames = 0;
    while (!file.atEnd()) {
        const QByteArray baLine = file.readLine().trimmed();
        if (!baLine.isEmpty() && !baLine.startsWith('#'))
            ++nFrames;
    }
    return nFrames;
}

// One picture of strPath through the tool's filter chain strFilter (which
// picks the frame and makes it nWidth x nHeight), as RGB; null on failure.
inline QImage ToolPicture(const QString& strPath, const QString& strFilter, int nWidth, int nHeight) {
    QProcess proc;
    proc.start("ffmpeg", {"-hide_banner", "-loglevel", "error", "-nostdin", "-i", strPath, "-an", "-fps_mode",
                          "passthrough", "-vf", strFilter, "-frames:v", "1", "-f", "rawvideo", "-pix_fmt", "rgb24",
                          "-"});
    if (!proc.waitForFinished(60000) || proc.exitCode() != 0)
        return QImage();
    const QByteArray baRaw = proc.readAllStandardOutput();
    if (baRaw.size() != qsizetype(nWidth) * nHeight * 3)
        return QImage();
    QImage img(nWidth, nHeight, QImage::Format_RGB888);
    for (int y = 0; y < nHeight; ++y)
        memcpy(img.scanLine(y), baRaw.constData() + qsizetype(y) * nWidth * 3, size_t(nWidth) * 3);
    return img;
}

// Frame nFrame of a clip decoded by the ffmpeg tool and scaled to nWidth x nHeight;
// a null image when the tool fails or there is no such frame.
inline QImage FfmpegFrame(const QString& strName, int nFrame, int nWidth, int nHeight) {
    return ToolPicture(Clip(strName), QString("select=eq(n\\,%1),scale=%2:%3").arg(nFrame).arg(nWidth).arg(nHeight),
                       nWidth, nHeight);
}

// Mean and largest absolute difference per colour sample of two pictures of
// the same size; false for different sizes or no picture.
inline bool SampleDiffs(const QImage& imgA, const QImage& imgB, double* pdMean, int* pnMax) {
    if (imgA.size() != imgB.size() || imgA.isNull())
        return false;
    const QImage a = imgA.convertToFormat(QImage::Format_RGB888);
    const QImage b = imgB.convertToFormat(QImage::Format_RGB888);
    double dSum = 0;
    int nMax = 0;
    for (int y = 0; y < a.height(); ++y) {
        const uchar* pA = a.constScanLine(y);
        const uchar* pB = b.constScanLine(y);
        for (int x = 0; x < a.width() * 3; ++x) {
            const int nDiff = std::abs(int(pA[x]) - int(pB[x]));
            dSum += nDiff;
            nMax = std::max(nMax, nDiff);
        }
    }
    *pdMean = dSum / (double(a.width()) * a.height() * 3);
    *pnMax = nMax;
    return true;
}

// A large value for different sizes.
inline double MeanAbsDiff(const QImage& imgA, const QImage& imgB) {
    double dMean = 0;
    int nMax = 0;
    return SampleDiffs(imgA, imgB, &dMean, &nMax) ? dMean : 1e9;
}

// 256 for different sizes.
inline int MaxAbsDiff(const QImage& imgA, const QImage& imgB) {
    double dMean = 0;
    int nMax = 0;
    return SampleDiffs(imgA, imgB, &dMean, &nMax) ? nMax : 256;
}

// Message boxes a test left open would show over the next test's windows.
inline void DeleteMessageBoxes() {
    for (QWidget* pWidget : QApplication::topLevelWidgets()) {
        if (pWidget->objectName() == QLatin1String("NonModalMessageBox"))
            delete pWidget;
    }
}

} // namespace GuiMedia
