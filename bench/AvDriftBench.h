// velquin-bench avdrift: sound against picture over a whole clip (see
// AvDrift.h), through SDL's disk driver. Prints the offsets at the start and
// at the end and av_drift_ms, the difference; answers the exit code.
#pragma once

#include <QString>

int RunAvDrift(const QString& strFile);
