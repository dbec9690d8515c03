#include "EmulatorProcess.h"

#include <QRegularExpression>

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
    while (m_output.count('\n') < 2 && m_process.waitForReadyRead(timeoutMs))
        m_output += m_process.readAllStandardOutput();
    const QList<QByteArray> lines = m_output.split('\n');
    static const QRegularExpression announced(
        QStringLiteral("^listening on (https?://127\\.0\\.0\\.1:(\\d+))$"));
    const QRegularExpressionMatch match = announced.match(QString::fromUtf8(lines.value(0)));
    if (match.hasMatch() && lines.value(1).startsWith("admin key ")) {
        m_baseUrl = match.captured(1);
        m_port = match.captured(2).toUShort();
        m_adminKey = lines.value(1).mid(10).trimmed();
    }
    if (m_port == 0)
        m_error = QStringLiteral("no address announced; it printed: %1").arg(QString::fromUtf8(m_output));
    return m_port != 0;
}

QString EmulatorProcess::baseUrl() const
{
    return m_baseUrl;
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
