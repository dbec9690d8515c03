#pragma once

#include <QLabel>
#include <QWidget>

namespace QuorvelStress {

// True when some label of the page shows exactly `text`.
inline bool showsText(const QWidget& page, const QString& text)
{
    for (const QLabel* label : page.findChildren<QLabel*>()) {
        if (label->text() == text)
            return true;
    }
    return false;
}

} // namespace QuorvelStress
