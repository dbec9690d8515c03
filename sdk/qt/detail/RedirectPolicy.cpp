#include "sdk/qt/detail/RedirectPolicy.h"

namespace QuorvelSdk::detail {
namespace {

// Scheme, host and port, with each scheme's default port filled in.
bool sameOrigin(const QUrl& a, const QUrl& b)
{
    const auto defaultPort = [](const QUrl& url) {
        return url.scheme().compare(QLatin1String("https"), Qt::CaseInsensitive) == 0 ? 443 : 80;
    };
    return a.scheme().compare(b.scheme(), Qt::CaseInsensitive) == 0
           && a.host().compare(b.host(), Qt::CaseInsensitive) == 0
           && a.port(defaultPort(a)) == b.port(defaultPort(b));
}

// Qt follows every redirect but 307 and 308 with a GET and drops the body:
// a query would silently become another request. Only its own HEAD stays a
// HEAD; every verb here is sent as a custom one, a HEAD included.
bool changesVerb(int status, const QByteArray& verb)
{
    return status != 307 && status != 308 && verb != "GET";
}

} // namespace

const char* redirectRefusal(const QUrl& from, const QUrl& to, int status, const QByteArray& verb)
{
    if (!sameOrigin(from, to))
        return "to another origin";
    if (changesVerb(status, verb))
        return "that would change the verb";
    return nullptr;
}

} // namespace QuorvelSdk::detail
