#include "ui/Shading.hpp"

#include <QPainter>

namespace tw {

void shadedRoundedRect(QPainter& painter, const QRectF& box, double radius,
                       std::initializer_list<QGradientStop> stops, const QPen& outline)
{
    QLinearGradient fill(box.topLeft(), box.bottomLeft());
    fill.setStops(QGradientStops(stops));
    painter.setPen(outline);
    painter.setBrush(fill);
    painter.drawRoundedRect(box, radius, radius);
}

void litDisc(QPainter& painter, QPointF centre, double radius, QPointF highlight, double reach,
             std::initializer_list<QGradientStop> stops, const QPen& outline)
{
    QRadialGradient fill(centre + highlight, reach);
    fill.setStops(QGradientStops(stops));
    painter.setPen(outline);
    painter.setBrush(fill);
    painter.drawEllipse(centre, radius, radius);
}

void drawScrew(QPainter& painter, QPointF centre, double radius)
{
    litDisc(painter, centre, radius, {-0.6, -0.6}, radius + 0.5,
            {{0, QColor(190, 190, 196)}, {1, QColor(80, 80, 86)}}, QPen(QColor(0, 0, 0, 140), 0.5));
    painter.setPen(QPen(QColor(40, 40, 44), 0.6));
    const QPointF slot(radius * 0.7, -radius * 0.4);
    painter.drawLine(centre - slot, centre + slot);
}

QRectF drawWell(QPainter& painter, const QRectF& area, double radius)
{
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF well = area.adjusted(0.5, 0.5, -0.5, -0.5);
    painter.setPen(QPen(QColor(255, 255, 255, 40), 1));
    painter.setBrush(QColor(18, 18, 21));
    painter.drawRoundedRect(well, radius, radius);
    return well;
}

QFont engravedFont(QFont base, int pixelSize, double spacing)
{
    base.setPixelSize(pixelSize);
    base.setBold(true);
    if (spacing > 0)
        base.setLetterSpacing(QFont::AbsoluteSpacing, spacing);
    return base;
}

} // namespace tw
