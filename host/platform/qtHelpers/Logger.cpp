#include "qtHelpers/Logger.h"

#include <atomic>

namespace qtHelpers {
namespace {

std::atomic<int> g_verbosity{0};

// Every level off: a stream over it writes nothing.
const QLoggingCategory& silent()
{
    static QLoggingCategory category("vyx.silent", QtFatalMsg);
    return category;
}

} // namespace

const QLoggingCategory& chat()
{
    // Debug lines (one per exchange) only when asked for, through
    // QT_LOGGING_RULES="vyx.plugin.chat.debug=true".
    static const QLoggingCategory category("vyx.plugin.chat", QtInfoMsg);
    return category;
}

int verbosity()
{
    return g_verbosity.load(std::memory_order_relaxed);
}

void setVerbosity(int level)
{
    g_verbosity.store(level, std::memory_order_relaxed);
}

QDebug logger(QtMsgType type, const QLoggingCategory& category, int level)
{
    const QLoggingCategory& target = level > verbosity() ? silent() : category;
    const QMessageLogger log(nullptr, 0, nullptr);
    switch (type) {
    case QtDebugMsg: return log.debug(target);
    case QtInfoMsg: return log.info(target);
    case QtWarningMsg: return log.warning(target);
    case QtCriticalMsg:
    case QtFatalMsg:
        // Fatal would abort the host; a plug-in reports it as critical.
        return log.critical(target);
    }
    return log.warning(target);
}

} // namespace qtHelpers
