#pragma once

// Checks of the frames a PortProbe saw against the ffmpeg tool's pictures.

#include "PortProbe.h"

#include <QtTest>

#include <vector>

inline QString ShownHash(const PortProbe::Shown& shown) {
    return QString::fromLatin1(shown.md5Hex);
}

// The first frame shown since the last ClearFrames is nFrame, with its picture,
// and the port's counter names it.
inline void CheckShown(PortProbe& probe, const QStringList& expected, uint32_t nFrame, int nTimeoutMs) {
    QVERIFY2(probe.WaitForFrames(1, nTimeoutMs), qPrintable(QString("frame %1 not shown").arg(nFrame)));
    const PortProbe::Shown shown = probe.Frames().front();
    QCOMPARE(shown.nFrameNum, nFrame);
    QCOMPARE(ShownHash(shown), expected[int(nFrame)]);
    QCOMPARE(Tavrix_GetCurrentFrameNum(probe.Port()), nFrame);
}

// Frames numbered nFirst, nFirst + nStep, ... with their pictures, nCount of them.
inline void CheckRun(const std::vector<PortProbe::Shown>& frames, const QStringList& expected,
                     uint32_t nFirst, int nStep, int nCount) {
    QCOMPARE(int(frames.size()), nCount);
    for (int k = 0; k < nCount; ++k) {
        const uint32_t nFrame = uint32_t(int(nFirst) + nStep * k);
        QCOMPARE(frames[size_t(k)].nFrameNum, nFrame);
        QCOMPARE(ShownHash(frames[size_t(k)]), expected[int(nFrame)]);
    }
}

// Frames strictly rising (nDirection 1) or falling (-1) in number, some perhaps
// left out, each with its own picture.
inline void CheckOrdered(const std::vector<PortProbe::Shown>& frames, const QStringList& expected,
                         int nDirection) {
    QVERIFY(!frames.empty());
    for (size_t k = 0; k < frames.size(); ++k) {
        if (k > 0)
            QVERIFY(nDirection * (int64_t(frames[k].nFrameNum) - int64_t(frames[k - 1].nFrameNum)) > 0);
        QCOMPARE(ShownHash(frames[k]), expected[int(frames[k].nFrameNum)]);
    }
}
