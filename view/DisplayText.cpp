#include "view/DisplayText.h"

#include <algorithm>

#include <QCoreApplication>

#include "sdk/qt/VisibleText.h"

namespace QuorvelChat {
namespace {

// A cut never falls between the two halves of a surrogate pair.
qsizetype safeCut(QStringView text, qsizetype at)
{
    if (at > 0 && at < text.size() && text[at - 1].isHighSurrogate() && text[at].isLowSurrogate())
        return at - 1;
    return at;
}

QString leftOutMarker(qsizetype count)
{
    return QCoreApplication::translate("QuorvelChat::DisplayText", " \u2026 [%1 more characters]").arg(count);
}

} // namespace

QString escapedPrefix(QStringView text, qsizetype maxChars)
{
    QString out;
    const qsizetype kept = safeCut(text, std::min(text.size(), maxChars));
    out.reserve(kept + 16);
    QuorvelSdk::appendVisible(out, text.first(kept));
    if (kept < text.size())
        out += leftOutMarker(text.size() - kept);
    return out;
}

QString boundedLines(QStringView text, qsizetype maxLineChars, qsizetype maxChars)
{
    QString out;
    qsizetype at = 0;
    while (at < text.size() && out.size() < maxChars) {
        qsizetype end = text.indexOf(u'\n', at);
        const bool hasBreak = end >= 0;
        if (!hasBreak)
            end = text.size();
        const qsizetype length = end - at;
        const qsizetype kept = safeCut(text, at + std::min(length, maxLineChars)) - at;
        out += text.sliced(at, kept);
        if (kept < length)
            out += leftOutMarker(length - kept);
        if (hasBreak)
            out += u'\n';
        at = hasBreak ? end + 1 : end;
    }
    if (at < text.size()) {
        out +=
            QCoreApplication::translate("QuorvelChat::DisplayText", "\u2026 %1 more characters not shown\n")
                .arg(text.size() - at);
    }
    return out;
}

} // namespace QuorvelChat
