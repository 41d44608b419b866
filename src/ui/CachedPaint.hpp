// Drawing that does not change from one paint to the next, kept as a pixmap and copied. Qt's
// raster engine hands every antialiased fill of more than a few dozen rows to its thread pool
// and waits for it; on a busy two-core machine that costs far more than the drawing itself,
// while copying a pixmap does not go through the pool at all.
#pragma once

#include <QPixmap>
#include <QString>
#include <QWidget>

#include <functional>

class QPainter;

namespace tw {

// The pixmap of widget's size and pixel ratio that draw paints (onto transparency), from
// QPixmapCache under key plus the size and ratio, painted now when it is not there.
QPixmap cachedPixmap(const QWidget& widget, const QString& key,
                     const std::function<void(QPainter&)>& draw);

// Stores value and repaints widget only when what it draws of the value (drawn) changes.
template <class T, class Drawn>
void storeAndRepaint(QWidget& widget, T& stored, T value, Drawn drawn)
{
    const bool changes = drawn(value) != drawn(stored);
    stored = value;
    if (changes)
        widget.update();
}

} // namespace tw
