#include "ui/CachedPaint.hpp"

#include <QPainter>
#include <QPixmapCache>
#include <QWidget>

namespace tw {

QPixmap cachedPixmap(const QWidget& widget, const QString& key,
                     const std::function<void(QPainter&)>& draw)
{
    const qreal ratio = widget.devicePixelRatioF();
    const QString fullKey =
        QStringLiteral("%1@%2x%3x%4").arg(key).arg(widget.width()).arg(widget.height()).arg(ratio);
    QPixmap pixmap;
    if (QPixmapCache::find(fullKey, &pixmap))
        return pixmap;
    pixmap = QPixmap(widget.size() * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    draw(painter);
    painter.end();
    QPixmapCache::insert(fullKey, pixmap);
    return pixmap;
}

} // namespace tw
