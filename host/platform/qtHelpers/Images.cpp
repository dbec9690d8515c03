#include "qtHelpers/Images.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPixmap>

namespace qtHelpers::images {

QIcon icon(const QString& name)
{
    // Pixmaps need a GUI application; without one there is nothing to draw.
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) == nullptr)
        return {};
    const QColor colour =
        name.startsWith(QLatin1String("ico-plugin")) ? QColor(0x2d, 0x6c, 0xdf) : QColor(Qt::gray);
    QPixmap pixmap(32, 32);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(colour);
    painter.setPen(Qt::NoPen);
    painter.drawRoundedRect(QRectF(2, 2, 28, 28), 6, 6);
    QIcon result;
    result.addPixmap(pixmap);
    return result;
}

} // namespace qtHelpers::images
