#include "sdk/qt/HttpBodyDevice.h"

namespace QuorvelSdk {

HttpBodyDevice::HttpBodyDevice(tarsion::http::http_base::body* body, qint64 size, QObject* parent)
    : QIODevice(parent)
    , m_body(body)
    , m_size(size)
{
    open(QIODevice::ReadOnly);
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
    const qint64 buffered = QIODevice::bytesAvailable();
    return m_size >= 0 ? m_size - m_consumed + buffered : buffered;
}

qint64 HttpBodyDevice::readData(char* data, qint64 maxSize)
{
    if (maxSize < 1 || data == nullptr || m_finished || m_body == nullptr)
        return -1;
    std::uint64_t count = 0;
    if (!m_body->read(data, static_cast<std::uint64_t>(maxSize), count))
        return -1;
    if (count == 0) {
        // A sequential device signals its end with -1.
        m_finished = true;
        return -1;
    }
    m_consumed += static_cast<qint64>(count);
    return static_cast<qint64>(count);
}

qint64 HttpBodyDevice::writeData(const char*, qint64)
{
    return -1;
}

} // namespace QuorvelSdk
