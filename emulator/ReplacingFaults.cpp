#include "FaultEffects.h"

namespace QuorvelEmulator {

namespace {

// A body given in the fault, stretched to `bytes` when asked to.
QByteArray faultBody(const Fault& fault)
{
    return fault.bytes ? repeatedTo(*fault.body, *fault.bytes) : *fault.body;
}

QByteArray contentTypeOr(const Fault& fault, const QByteArray& fallback)
{
    return fault.contentType.isEmpty() ? fallback : fault.contentType;
}

} // namespace

QByteArray repeatedTo(const QByteArray& unit, qint64 size)
{
    QByteArray text = unit.repeated(qsizetype(size / unit.size() + 1));
    text.truncate(qsizetype(size));
    return text;
}

PlannedReply replaceWithStatus(const Fault& fault, PlannedReply normal)
{
    if (!fault.body) {
        normal.reply =
            HttpReply::message(fault.status, QStringLiteral("Injected fault: HTTP %1").arg(fault.status));
        return normal;
    }
    normal.reply =
        HttpReply{fault.status,
                  {{"Content-Type", contentTypeOr(fault, QByteArrayLiteral("text/plain; charset=utf-8"))}},
                  faultBody(fault)};
    return normal;
}

// What a gateway in front of the service shows when the service is away.
PlannedReply replaceWithPage(const Fault& fault, PlannedReply normal)
{
    static const QByteArray page =
        QByteArrayLiteral("<!DOCTYPE html><html><head><title>Service unavailable</title></head>"
                          "<body><h1>Service unavailable</h1><p>The gateway could not reach the service.</p>"
                          "</body></html>");
    normal.reply =
        HttpReply{fault.status,
                  {{"Content-Type", contentTypeOr(fault, QByteArrayLiteral("text/html; charset=utf-8"))}},
                  fault.body ? faultBody(fault) : page};
    return normal;
}

// A JSON array of `body`, element after element, to at least `bytes`: the
// shapes that cost a reader most for their size ("{}", "0", "[]"...).
QByteArray arrayOf(const Fault& fault)
{
    const QByteArray element = *fault.body + ',';
    QByteArray text = '[' + element.repeated(qsizetype(fault.bytes.value_or(1) / element.size() + 1));
    text.back() = ']';
    return text;
}

PlannedReply replaceWithElements(const Fault& fault, PlannedReply normal)
{
    normal.reply = HttpReply{200, {{"Content-Type", "application/json"}}, arrayOf(fault)};
    return normal;
}

PlannedReply replaceWithAttributes(const Fault& fault, PlannedReply normal)
{
    normal.reply = HttpReply{200,
                             {{"Content-Type", "application/json"}},
                             R"([{"id":"5885e99b-527d-4893-af14-46c61299024e","attributeValues":)"
                                 + arrayOf(fault) + "}]"};
    return normal;
}

PlannedReply replaceWithNesting(const Fault& fault, PlannedReply normal)
{
    normal.reply = HttpReply{200,
                             {{"Content-Type", "application/json"}},
                             QByteArray(fault.depth, '[') + QByteArray(fault.depth, ']')};
    return normal;
}

} // namespace QuorvelEmulator
