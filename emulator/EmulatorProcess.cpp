#include "EmulatorProcess.h"

namespace QuorvelEmulator {

EmulatorProcess::EmulatorProcess(QString program)
{
    m_process.setProgram(std::move(program));
}

EmulatorProcess::~EmulatorProcess()
{
    stop();
}

bool EmulatorProcess::start(const QStringList& arguments, int timeoutMs)
{
    m_process.setArguments(QStringList{QStringLiteral("--port"), QStringLiteral("0")} + arguments);
    m_process.start();
    if (!m_process.waitForStarted(timeoutMs)) {
        m_error = m_process.errorString();
        return false;
    }
    while (!m_output.contains('\n') && m_process.waitForReadyRead(timeoutMs))
        m_output += m_process.readAllStandardOutput();
    const QByteArray prefix = "listening on http://127.0.0.1:";
    const qsizetype end = m_output.indexOf('\n');
    if (m_output.startsWith(prefix) && end > 0)
        m_port = m_output.mid(prefix.size(), end - prefix.size()).trimmed().toUShort();
    if (m_port == 0)
        m_error = QStringLiteral("no address announced; it printed: %1").arg(QString::fromUtf8(m_output));
    return m_port != 0;
}

QString EmulatorProcess::baseUrl() const
{
    return m_port == 0 ? QString() : QStringLiteral("http://127.0.0.1:%1").arg(m_port);
}

QByteArray EmulatorProcess::output()
{
    m_output += m_process.readAllStandardOutput();
    return m_output;
}

bool EmulatorProcess::stop(int timeoutMs)
{
    if (m_process.state() == QProcess::NotRunning)
        return true;
    m_process.terminate();
    const bool ended = m_process.waitForFinished(timeoutMs);
    if (!ended) {
        m_process.kill();
        m_process.waitForFinished(timeoutMs);
    }
    m_output += m_process.readAllStandardOutput();
    return ended;
}

} // namespace QuorvelEmulator
