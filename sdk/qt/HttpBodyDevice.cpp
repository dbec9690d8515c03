#include "sdk/qt/HttpBodyDevice.h"

#include <algorithm>

namespace QuorvelSdk {
namespace {

// What a reader is told it may take at once. A length is only claimed:
// Qt reserves room for what is said to be available, and a body that
// announces far more than it holds must not cost an allocation of that size.
constexpr qint64 kMostAvailable = 1024 * 1024;

} // namespace

HttpBodyDevice::HttpBodyDevice(tarsion::http::http_base::body* body, qint64 size, QObject* parent)
    : QIODevice(parent)
    , m_body(body)
    , m_size(size)
{
    open(QIODevice::ReadOnly);
}

void HttpBodyDevice::setFailureHandler(std::function<void()> handler)
{
    m_onFailure = std::move(handler);
}

void HttpBodyDevice::detach()
{
    m_body = nullptr;
    m_finished = true;
}

bool HttpBodyDevice::isSequential() const
{
    return true;
}

qint64 HttpBodyDevice::size() const
{
    return m_size;
}

qint64 HttpBodyDevice::bytesAvailable() const
{
    return std::min(m_size >= 0 ? m_size - m_consumed : 0, kMostAvailable) + QIODevice::bytesAvailable();
}

qint64 HttpBodyDevice::readData(char* data, qint64 maxSize)
{
    if (maxSize < 1 || data == nullptr || m_finished || m_body == nullptr)
        return -1;
    // Never past the announced length: what lies beyond it is looked at, not
    // handed on.
    const qint64 wanted = m_size >= 0 ? std::min(maxSize, m_size - m_consumed) : maxSize;
    std::uint64_t count = 0;
    if (wanted > 0 && (!m_body->read(data, std::uint64_t(wanted), count) || count > std::uint64_t(wanted)))
        return fail(Failure::Unreadable);
    if (count == 0) {
        if (const Failure failure = checkEnd(); failure != Failure::None)
            return fail(failure);
        m_finished = true;
        return -1;
    }
    m_consumed += qint64(count);
    return qint64(count);
}

HttpBodyDevice::Failure HttpBodyDevice::checkEnd()
{
    if (m_size < 0)
        return Failure::None;
    if (m_consumed < m_size)
        return Failure::Shorter;
    char next = 0;
    std::uint64_t count = 0;
    if (!m_body->read(&next, 1, count))
        return Failure::Unreadable;
    return count == 0 ? Failure::None : Failure::Longer;
}

qint64 HttpBodyDevice::writeData(const char*, qint64)
{
    return -1;
}

qint64 HttpBodyDevice::fail(Failure failure)
{
    m_failure = failure;
    m_finished = true;
    if (m_onFailure)
        std::exchange(m_onFailure, {})();
    return -1;
}

} // namespace QuorvelSdk
