// velquin-bench stream: live play of a network stream through the session
// library and the engine's stream mode, as a play window does it, on one or
// many ports at once, without a window. Prints the time to the first
// picture, the pictures shown and dropped as late, the processor share and
// peak memory, and, when the source draws its wall clock into each picture
// (the test server's /clock), the latency from that instant to display.
// Beside it the ffmpeg tool reads the same URL: its time to the first picture
// and its latency on the same source, as ratios.
#pragma once

#include <QString>
#include <QStringList>

struct StreamOptions {
    int nMode = 0;     // 0 TCP, 1 UDP, 2 HTTP tunnel
    int nPorts = 1;
    int nSeconds = 10;
    bool bPeer = true;
};

bool ParseStreamOptions(const QStringList& args, StreamOptions* pOptions);
int RunStream(const QString& strUrl, const StreamOptions& options);
