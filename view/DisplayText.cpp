#include "view/DisplayText.h"

#include <algorithm>

#include <QCoreApplication>

namespace QuorvelChat {
namespace {

constexpr const char16_t* kHex = u"0123456789ABCDEF";

bool isBidiControl(char16_t c)
{
    return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E)
           || (c >= 0x2066 && c <= 0x2069);
}

void appendHex(QString& out, char16_t c, int digits)
{
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
        out += QChar(kHex[(c >> shift) & 0xF]);
}

// Appends one character of the input in the notation.
void appendEscaped(QString& out, char16_t c)
{
    switch (c) {
    case u'\\': out += u"\\\\"; return;
    case u'\n': out += u"\\n"; return;
    case u'\r': out += u"\\r"; return;
    case u'\t': out += u"\\t"; return;
    default: break;
    }
    if (c < 0x20 || c == 0x7F) {
        out += u"\\x";
        appendHex(out, c, 2);
    } else if (isHiddenControl(c)) {
        out += u"\\u";
        appendHex(out, c, 4);
    } else {
        out += QChar(c);
    }
}

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

bool isHiddenControl(char16_t c)
{
    // Printable ASCII first: nearly every character asked about is one.
    if (c < 0x7F)
        return c < 0x20;
    return c <= 0x9F || c == 0x2028 || c == 0x2029 || isBidiControl(c);
}

QString escapeControls(const QString& text)
{
    const auto first = std::find_if(text.cbegin(), text.cend(),
                                    [](QChar c) { return c == u'\\' || isHiddenControl(c.unicode()); });
    if (first == text.cend())
        return text;
    QString out;
    out.reserve(text.size() + 16);
    out += QStringView(text.cbegin(), first);
    for (auto it = first; it != text.cend(); ++it)
        appendEscaped(out, it->unicode());
    return out;
}

QString escapedPrefix(QStringView text, qsizetype maxChars)
{
    QString out;
    qsizetype taken = 0;
    const qsizetype limit = safeCut(text, std::min(text.size(), maxChars));
    out.reserve(limit + 16);
    for (; taken < limit; ++taken)
        appendEscaped(out, text[taken].unicode());
    if (taken < text.size())
        out += leftOutMarker(text.size() - taken);
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
