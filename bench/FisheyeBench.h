// velquin-bench fisheye: fisheye files played in real time on N ports, each
// de-warped to a flat view of a set size, without a window. Prints the
// pictures shown and dropped as late, the processor share and peak memory.
// Beside it N ffmpeg tool processes read the same file in real time (-re)
// through the same v360 chain: their pictures, speed and processor share, and
// the ratios of ours to theirs.
// --turn turns every port's view by pi/200 on every shown picture, as the
// automatic turn does at full speed: the worst case, a new remap table for
// every picture (the tool gets the same turn through sendcmd). While the
// view moves the engine shows half-size drafts; the tool remaps at full size.
#pragma once

#include <QString>
#include <QStringList>

class FisheyeBench {
public:
    struct Options {
        int nPorts = 1;
        int nWidth = 0; // 0 x 0: the engine's automatic size
        int nHeight = 0;
        int nSeconds = 20;
        bool bTurn = false;
        bool bPeer = true;
    };

    // The arguments after FILE; false on anything it does not know.
    static bool ParseOptions(const QStringList& args, Options* pOptions);

    FisheyeBench(QString strFile, const Options& options);
    int Run();

private:
    // The v360 chain of a flat view, as the engine builds it (Tavrix.h).
    static QString FlatChain(double dYawDeg, double dPitchDeg, double dFovDeg, int nWidth, int nHeight);
    // The tool's sendcmd script that turns the yaw by one step every picture.
    bool WriteTurnScript(const QString& strPath, double dFps) const;

    QString m_strFile;
    Options m_options;
};
