#pragma once

#include <QNetworkReply>
#include <QString>

namespace QuorvelSdk::TransportError {

// The error numbers the transport gives for failures it decides itself, one
// per cause, Qt's own number for the nearest network failure where there is
// one. Every other number a sender gets is Qt's, for what happened on the
// network.

// The service is shutting down, or the sender's chain was cancelled.
inline constexpr qint32 Cancelled = QNetworkReply::OperationCanceledError;
// Nothing moved for the exchange's inactivity limit.
inline constexpr qint32 Stalled = QNetworkReply::TimeoutError;
// A redirect to another origin, or one that would change the verb.
inline constexpr qint32 RedirectRefused = QNetworkReply::InsecureRedirectError;
// The exchange was not over by its deadline. Qt has no number for this;
// it is outside the range of Qt's own.
inline constexpr qint32 DeadlinePassed = 1001;
// The request body could not be read, or not to its announced length.
inline constexpr qint32 BodyRefused = QNetworkReply::ContentReSendError;
// The reply announced or sent more than the reply size limit.
inline constexpr qint32 ReplyTooLarge = QNetworkReply::UnknownContentError;
// Qt made no reply for the request at all.
inline constexpr qint32 NoReply = QNetworkReply::ProtocolUnknownError;
// A bearer token would have gone over plain http to another machine.
inline constexpr qint32 PlainTextCredentials = QNetworkReply::ProtocolInvalidOperationError;

// What a person is told of a transport failure with this number: the
// transport's own, and the network failures people meet most.
QString describe(qint32 error);

} // namespace QuorvelSdk::TransportError
