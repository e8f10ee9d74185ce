#include "PeerIndex.h"

#include "PeerProcess.h"

namespace {
const int kRunTimeoutMs = 30 * 60 * 1000;
} // namespace

PeerIndex::PeerIndex(QString strFile) : m_strFile(std::move(strFile)) {}

PeerIndex::Result PeerIndex::Run() const {
    Result result;
    const PeerProcess ffprobe("ffprobe",
                              {"-v", "error", "-select_streams", "v:0", "-count_packets", "-show_entries",
                               "stream=nb_read_packets", "-of", "csv=p=0", m_strFile});
    const PeerProcess::Result run = ffprobe.Run(kRunTimeoutMs);
    if (!run.bOk) {
        result.strError = run.strError;
        return result;
    }
    // A transport stream lists its stream once per program as well: the first count is the one.
    bool bNumber = false;
    const QList<QByteArray> lines = run.stdOut.trimmed().split('\n');
    result.nPackets = lines.front().trimmed().toLongLong(&bNumber);
    if (!bNumber) {
        result.strError = "ffprobe printed no packet count";
        return result;
    }
    result.dMs = run.dMs;
    result.bOk = true;
    return result;
}
