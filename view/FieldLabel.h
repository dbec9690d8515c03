#pragma once

#include <QCoreApplication>
#include <QLabel>

namespace QuorvelChat {

// A one-line field of the diagnostic view. It shows its text as plain text
// (never markup, links or images), with control characters made visible and
// long texts cut with a marker, so that whatever the service sends can
// neither forge the view nor stall the user-interface thread laying it out.
// The text as received stays reachable: "Copy full text" in the context menu.
class FieldLabel : public QLabel
{
    Q_DECLARE_TR_FUNCTIONS(QuorvelChat::FieldLabel)

public:
    explicit FieldLabel(QWidget* parent = nullptr);

    // `pattern` is the view's own text with "%1" where `value`, the text from
    // the service, goes.
    void setField(const QString& pattern, const QString& value);
    void clearField();

    // What the context menu copies: the pattern filled with the value as
    // received.
    QString fullText() const;

    // Characters of a value shown before it is cut.
    static constexpr qsizetype kMaxShownChars = 500;

private:
    void copyFullText() const;

    QString m_pattern;
    QString m_value;
};

} // namespace QuorvelChat
