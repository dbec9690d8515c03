#include "sdk/qt/TransportErrors.h"

#include <QCoreApplication>
#include <QMetaEnum>

namespace QuorvelSdk::TransportError {
namespace {

struct Description
{
    qint32 error;
    const char* text;
};

constexpr Description kDescriptions[] = {
    {Cancelled, QT_TRANSLATE_NOOP("QuorvelSdk::TransportError", "The exchange was cancelled.")},
    {Stalled, QT_TRANSLATE_NOOP("QuorvelSdk::TransportError", "Nothing came from the service for too long.")},
    {DeadlinePassed,
     QT_TRANSLATE_NOOP("QuorvelSdk::TransportError", "The service did not finish its reply in time.")},
    {RedirectRefused,
     QT_TRANSLATE_NOOP("QuorvelSdk::TransportError",
                       "The service redirected the request elsewhere; it was not followed.")},
    {BodyRefused, QT_TRANSLATE_NOOP("QuorvelSdk::TransportError",
                                    "The request could not be read whole; nothing was sent.")},
    {ReplyTooLarge,
     QT_TRANSLATE_NOOP("QuorvelSdk::TransportError", "The service's reply was larger than the limit.")},
    {NoReply, QT_TRANSLATE_NOOP("QuorvelSdk::TransportError", "The request could not be made.")},
    {PlainTextCredentials,
     QT_TRANSLATE_NOOP(
         "QuorvelSdk::TransportError",
         "The service's address is plain http to another machine; the token is only sent over https.")},
    {QNetworkReply::ConnectionRefusedError,
     QT_TRANSLATE_NOOP("QuorvelSdk::TransportError", "The service refused the connection.")},
    {QNetworkReply::RemoteHostClosedError,
     QT_TRANSLATE_NOOP("QuorvelSdk::TransportError",
                       "The service closed the connection before it answered.")},
    {QNetworkReply::HostNotFoundError,
     QT_TRANSLATE_NOOP("QuorvelSdk::TransportError", "The service's host was not found.")},
    {QNetworkReply::SslHandshakeFailedError,
     QT_TRANSLATE_NOOP(
         "QuorvelSdk::TransportError",
         "The secure connection failed: the service's certificate is not trusted, has expired or "
         "names another host.")},
};

} // namespace

QString describe(qint32 error)
{
    for (const Description& description : kDescriptions) {
        if (description.error == error)
            return QCoreApplication::translate("QuorvelSdk::TransportError", description.text);
    }
    const char* name = QMetaEnum::fromType<QNetworkReply::NetworkError>().valueToKey(error);
    return QCoreApplication::translate("QuorvelSdk::TransportError", "The network failed (%1).")
        .arg(name ? QString::fromLatin1(name) : QString::number(error));
}

} // namespace QuorvelSdk::TransportError
