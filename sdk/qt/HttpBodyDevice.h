#pragma once

#include <functional>

#include <QIODevice>

#include "sdk/core/http_base.h"

namespace QuorvelSdk {

// Lets Qt's network layer pull an SDK request body: a sequential device of
// the length the body announced (-1 when it did not), read on the network
// thread while the body's sender waits. Once detached it forgets the body
// and reports the end of data, so that the sender may destroy the body as
// soon as it wakes.
//
// A body that fails to read, or that ends before or runs past its announced
// length, ends the data and is remembered as the device's failure: the
// exchange is refused rather than sent with a body other than the one given.
class HttpBodyDevice : public QIODevice
{
public:
    enum class Failure
    {
        None,
        Unreadable,
        Shorter,
        Longer,
    };

    HttpBodyDevice(tarsion::http::http_base::body* body, qint64 size, QObject* parent = nullptr);

    // Called once, on the network thread, when the body fails.
    void setFailureHandler(std::function<void()> handler);
    void detach();
    Failure failure() const { return m_failure; }

    bool isSequential() const override;
    qint64 size() const override;
    qint64 bytesAvailable() const override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 maxSize) override;

private:
    qint64 fail(Failure failure);
    // Whether anything follows the announced length.
    Failure checkEnd();

    tarsion::http::http_base::body* m_body;
    qint64 m_size;
    qint64 m_consumed = 0;
    bool m_finished = false;
    Failure m_failure = Failure::None;
    std::function<void()> m_onFailure;
};

} // namespace QuorvelSdk
