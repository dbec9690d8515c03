// The host's reader of token endpoint replies, Ambrel::readTokenReply, and
// its renewal timing. The first byte picks the status (mostly 200); the rest
// is the body.
//
// Properties, against a reading of RFC 6749 and 6750 written here:
//  - a reply is accepted exactly when it is a 200 carrying a b64token of 1 to
//    8192 bytes, a "Bearer" token type in any case, no error, and no
//    expires_in or a whole one from 1 to 31536000 seconds; the token and the
//    lifetime are the body's;
//  - a refusal's reason is not empty, printable ASCII, at most 600
//    characters, and never quotes the body's access_token (when that has at
//    least 12 token characters, more than any word of the reader's own);
//  - renewalDelayMs(s) leaves min(s / 5, 60) seconds of the lifetime and
//    never shrinks as s grows.

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "Ambrel/TokenReply.h"
#include "fuzz_check.h"

namespace {

constexpr qint64 kYear = 31536000;

void check_renewal(qint64 s)
{
    const qint64 delay = Ambrel::renewalDelayMs(s);
    FUZZ_CHECK(s * 1000 - delay == std::min<qint64>(s * 200, 60000),
               "renewal leaves a fifth, at most a minute");
    FUZZ_CHECK(s == kYear || Ambrel::renewalDelayMs(s + 1) >= delay, "a longer life is never renewed sooner");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static constexpr int kStatuses[] = {0,   -1,  100, 199, 201, 204, 299, 301,
                                        400, 401, 403, 404, 429, 500, 503, 999};
    static const QRegularExpression kB64Token(QStringLiteral("^[A-Za-z0-9._~+/-]+=*\\z"));
    if (size == 0)
        return 0;
    const int status = data[0] < 0xC0 ? 200 : kStatuses[data[0] % 16];
    const QByteArray body(reinterpret_cast<const char*>(data) + 1, qsizetype(size - 1));
    const QJsonObject reply = QJsonDocument::fromJson(body).object();
    const QJsonValue token = reply.value(QStringLiteral("access_token"));
    const QJsonValue expires = reply.value(QStringLiteral("expires_in"));
    const bool no_lifetime = expires.isUndefined() || expires.isNull();
    const double lifetime = expires.toDouble(-1);
    const bool sound =
        status == 200 && reply.value(QStringLiteral("error")).toString().isEmpty() && token.isString()
        && kB64Token.match(token.toString()).hasMatch() && token.toString().toUtf8().size() <= 8192
        && reply.value(QStringLiteral("token_type")).toString().toLower() == QStringLiteral("bearer")
        && (no_lifetime
            || (expires.isDouble() && lifetime >= 1 && lifetime <= kYear && lifetime == qint64(lifetime)));

    const auto got = Ambrel::readTokenReply(status, body);
    FUZZ_CHECK(got.has_value() == sound, "a reply is accepted exactly when it is sound");
    if (got) {
        FUZZ_CHECK(got->value == token.toString().toUtf8(), "the token is the body's");
        FUZZ_CHECK(got->expiresInSeconds == (no_lifetime ? 0 : qint64(lifetime)),
                   "the lifetime is the body's");
        check_renewal(std::max<qint64>(got->expiresInSeconds, 1));
        return 0;
    }
    const QString& reason = got.error();
    FUZZ_CHECK(!reason.isEmpty() && reason.size() <= 600, "a refusal says why, briefly");
    FUZZ_CHECK(std::all_of(reason.cbegin(), reason.cend(), [](QChar c) { return c >= u' ' && c <= u'~'; }),
               "a refusal's reason is printable ASCII");
    FUZZ_CHECK(token.toString().size() < 12 || !kB64Token.match(token.toString()).hasMatch()
                   || !reason.contains(token.toString()),
               "a refusal's reason never quotes the token");
    check_renewal(1 + qint64(size) * 7919 % kYear);
    return 0;
}
