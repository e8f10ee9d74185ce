#pragma once

// Small helpers shared by the GUI tests: where the generated clips are, how many
// frames the ffmpeg tool counted in them, and the ffmpeg tool's own pictures.

#include <QByteArray>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QString>
#include <QStringList>

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

// Frame nFrame of a clip decoded by the ffmpeg tool and scaled to nWidth x nHeight;
// a null image when the tool fails or there is no such frame.
inline QImage FfmpegFrame(const QString& strName, int nFrame, int nWidth, int nHeight) {
    QProcess proc;
    const QStringList args = {"-hide_banner",
                              "-loglevel",
                              "error",
                              "-nostdin",
                              "-i",
                              Clip(strName),
                              "-an",
                              "-fps_mode",
                              "passthrough",
                              "-vf",
                              QString("select=eq(n\\,%1),scale=%2:%3").arg(nFrame).arg(nWidth).arg(nHeight),
                              "-frames:v",
                              "1",
                              "-f",
                              "rawvideo",
                              "-pix_fmt",
                              "rgb24",
                              "-"};
    proc.start("ffmpeg", args);
    if (!proc.waitForFinished(60000) || proc.exitCode() != 0)
        return QImage();
    const QByteArray baRaw = proc.readAllStandardOutput();
    if (baRaw.size() != nWidth * nHeight * 3)
        return QImage();
    QImage img(nWidth, nHeight, QImage::Format_RGB888);
    for (int y = 0; y < nHeight; ++y)
        memcpy(img.scanLine(y), baRaw.constData() + y * nWidth * 3, nWidth * 3);
    return img;
}

// Mean absolute difference per colour channel of two pictures of the same
// size; a large value for different sizes.
inline double MeanAbsDiff(const QImage& imgA, const QImage& imgB) {
    if (imgA.size() != imgB.size() || imgA.isNull())
        return 1e9;
    const QImage a = imgA.convertToFormat(QImage::Format_RGB888);
    const QImage b = imgB.convertToFormat(QImage::Format_RGB888);
    double dSum = 0;
    for (int y = 0; y < a.height(); ++y) {
        const uchar* pA = a.constScanLine(y);
        const uchar* pB = b.constScanLine(y);
        for (int x = 0; x < a.width() * 3; ++x)
            dSum += std::abs(int(pA[x]) - int(pB[x]));
    }
    return dSum / (double(a.width()) * a.height() * 3);
}

} // namespace GuiMedia
