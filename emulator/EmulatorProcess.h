#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

namespace QuorvelEmulator {

// The emulator as a child process, for whoever needs a service on a real
// socket: the end-to-end tests, the benchmarks. It listens on a free
// loopback port, which it announces on its first line of output, and its
// admin endpoints ask for the key on its second; the process is stopped
// with SIGTERM (then killed) when this object goes.
class EmulatorProcess
{
public:
    explicit EmulatorProcess(QString program);
    ~EmulatorProcess();
    EmulatorProcess(const EmulatorProcess&) = delete;
    EmulatorProcess& operator=(const EmulatorProcess&) = delete;

    // Before start(): where the process writes its log (a file, or nowhere
    // with QProcess::nullDevice()); a pipe nobody reads would stall it.
    QProcess& process() { return m_process; }

    // Starts it with `arguments` after "--port 0" and waits at most
    // `timeoutMs` for the announcement. False with error() set otherwise.
    bool start(const QStringList& arguments = {}, int timeoutMs = 10000);
    // "http(s)://127.0.0.1:<port>", or empty before a successful start.
    QString baseUrl() const;
    // What an admin request carries in "X-Emulator-Admin-Key".
    QByteArray adminKey() const { return m_adminKey; }
    quint16 port() const { return m_port; }
    QString error() const { return m_error; }
    // Everything it wrote to standard output so far.
    QByteArray output();

    // Stops it; true when it ended by itself on SIGTERM within `timeoutMs`.
    bool stop(int timeoutMs = 10000);

private:
    QProcess m_process;
    QByteArray m_output;
    QString m_baseUrl;
    QByteArray m_adminKey;
    quint16 m_port = 0;
    QString m_error;
};

} // namespace QuorvelEmulator
