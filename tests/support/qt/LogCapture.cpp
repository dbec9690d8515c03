#include "LogCapture.h"

#include <QMutex>

namespace QuorvelTest {
namespace {

QMutex g_logLock;
QStringList* g_log = nullptr;

} // namespace

LogCapture::LogCapture()
{
    QMutexLocker locker(&g_logLock);
    g_log = new QStringList;
    m_previous = qInstallMessageHandler(&LogCapture::handler);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(m_previous);
    QMutexLocker locker(&g_logLock);
    delete std::exchange(g_log, nullptr);
}

void LogCapture::handler(QtMsgType, const QMessageLogContext&, const QString& message)
{
    QMutexLocker locker(&g_logLock);
    if (g_log)
        g_log->append(message);
}

QStringList LogCapture::messages() const
{
    QMutexLocker locker(&g_logLock);
    return g_log ? *g_log : QStringList();
}

int LogCapture::count(const QString& fragment) const
{
    return int(messages().filter(fragment).size());
}

} // namespace QuorvelTest
