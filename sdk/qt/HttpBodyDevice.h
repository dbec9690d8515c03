#pragma once

#include <QIODevice>

#include "sdk/core/http_base.h"

namespace QuorvelSdk {

// Lets Qt's network layer pull an SDK request body. Used only on the network
// thread; detached before the sender wakes up, so that the sender may destroy
// its body at once.
class HttpBodyDevice : public QIODevice
{
public:
    // `size` is -1 when the length is unknown. The device opens read-only.
    HttpBodyDevice(tarsion::http::http_base::body* body, qint64 size, QObject* parent = nullptr);

    // Forgets the body; the device reports end of data from then on.
    void detach();

    bool isSequential() const override;
    qint64 size() const override;
    qint64 bytesAvailable() const override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 maxSize) override;

private:
    tarsion::http::http_base::body* m_body;
    qint64 m_size;
    qint64 m_consumed = 0;
    bool m_finished = false;
};

} // namespace QuorvelSdk
