#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

namespace QuorvelTest {

// Collects every Qt log message (any thread) while alive; one at a time.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    QStringList messages() const;
    // How many messages contain `fragment`.
    int count(const QString& fragment) const;

private:
    static void handler(QtMsgType, const QMessageLogContext&, const QString& message);
    QtMessageHandler m_previous;
};

} // namespace QuorvelTest
