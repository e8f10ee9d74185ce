#include "PeerProcess.h"

#include <QElapsedTimer>
#include <QProcess>

PeerProcess::PeerProcess(QString strProgram, QStringList args)
    : m_strProgram(std::move(strProgram)), m_args(std::move(args)) {}

PeerProcess::Result PeerProcess::Run(int nTimeoutMs) const {
    Result result;
    QProcess process;
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.setStandardInputFile(QProcess::nullDevice()); // the tools never wait on a terminal
    QElapsedTimer timer;
    timer.start();
    process.start(m_strProgram, m_args);
    if (!process.waitForStarted(30000)) {
        result.strError = m_strProgram + " did not start: " + process.errorString();
        return result;
    }
    // Drain both pipes as they fill so a chatty tool never blocks on a full one.
    QByteArray log;
    while (!process.waitForFinished(100)) {
        result.stdOut += process.readAllStandardOutput();
        log += process.readAllStandardError();
        if (timer.elapsed() > nTimeoutMs) {
            process.kill();
            process.waitForFinished(5000);
            result.strError = m_strProgram + " did not finish in time";
            return result;
        }
    }
    result.dMs = timer.nsecsElapsed() / 1e6;
    result.stdOut += process.readAllStandardOutput();
    log += process.readAllStandardError();
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        // mpv writes its complaints to stdout, the others to stderr.
        const QByteArray said = (log + result.stdOut).trimmed();
        result.strError = QString("%1 failed (exit status %2): %3")
                              .arg(m_strProgram)
                              .arg(process.exitCode())
                              .arg(QString::fromLocal8Bit(said.right(400)));
        return result;
    }
    result.bOk = true;
    return result;
}
