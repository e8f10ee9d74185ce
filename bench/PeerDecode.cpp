#include "PeerDecode.h"

#include "CpuMeter.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>

#include <memory>
#include <vector>

PeerDecode::PeerDecode(QString strFile, int nThreads, int nCopies)
    : m_strFile(std::move(strFile)), m_nThreads(nThreads), m_nCopies(nCopies) {}

PeerDecode::Result PeerDecode::Run() const {
    Result result;
    const QStringList args{"-hide_banner", "-nostdin", "-threads", QString::number(m_nThreads),
                           "-i",           m_strFile,  "-an",      "-f",
                           "null",         "-"};
    const CpuMeter cpu(CpuMeter::Who::Children);
    QElapsedTimer timer;
    timer.start();
    std::vector<std::unique_ptr<QProcess>> processes;
    for (int i = 0; i < m_nCopies; ++i) {
        auto process = std::make_unique<QProcess>();
        process->setProcessChannelMode(QProcess::SeparateChannels);
        process->start("ffmpeg", args);
        processes.push_back(std::move(process));
    }
    for (auto& process : processes) {
        if (!process->waitForStarted(30000)) {
            result.strError = "ffmpeg did not start: " + process->errorString();
            return result;
        }
    }
    for (auto& process : processes) {
        // Drain stderr as it comes so a chatty decode never blocks on a full pipe.
        QByteArray log;
        while (!process->waitForFinished(100))
            log += process->readAllStandardError();
        log += process->readAllStandardError();
        if (process->exitStatus() != QProcess::NormalExit || process->exitCode() != 0) {
            result.strError = "ffmpeg failed: " + QString::fromLocal8Bit(log.right(400));
            return result;
        }
        const qint64 nFrames = FramesFromLog(log);
        if (nFrames < 0) {
            result.strError = "no frame count in ffmpeg's log";
            return result;
        }
        result.nFrames += nFrames;
    }
    result.dSeconds = timer.nsecsElapsed() / 1e9;
    result.dCpuPercent = cpu.PercentOfOneCore();
    result.bOk = true;
    return result;
}

qint64 PeerDecode::FramesFromLog(const QByteArray& log) {
    static const QRegularExpression frameRe(QStringLiteral("frame=\\s*(\\d+)"));
    qint64 nFrames = -1;
    auto it = frameRe.globalMatch(QString::fromLatin1(log));
    while (it.hasNext())
        nFrames = it.next().captured(1).toLongLong();
    return nFrames;
}
