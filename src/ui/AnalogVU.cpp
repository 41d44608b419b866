#include "ui/AnalogVU.hpp"

#include "ui/CachedPaint.hpp"
#include "ui/Shading.hpp"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tw {

double vuNeedleAngle(double level)
{
    // 0 VU = −18 dBFS; the scale starts 30 VU below and spans 33 VU.
    const double x = (20.0 * std::log10(std::max(level, 0.000001)) + 18.0 + 30.0) / 33.0;
    if (x < 0)
        return -52.0;
    return std::min(x, 1.0) * 104.0 - 52.0;
}

double vuTickAngle(int i)
{
    return -52.0 + 10.4 * i;
}

VUGeometry vuGeometry(QSizeF size)
{
    return {QPointF(size.width() / 2, size.height() - 2),
            std::min(0.85 * size.height(), 0.43 * size.width())};
}

AnalogVU::AnalogVU(const QString& label, QWidget* parent) : QWidget(parent), label_(label)
{
    setAccessibleName(QStringLiteral("VU · ") + label);
    setMinimumSize(minimumSizeHint());
}

void AnalogVU::setLevel(float level)
{
    storeAndRepaint(*this, level_, level, vuNeedleAngle);
}

namespace {

// A point at the given radius and needle angle (0 up, positive to the right) from the pivot.
QPointF onScale(QPointF pivot, double radius, double needleDegrees)
{
    const double screen = (needleDegrees - 90.0) * std::numbers::pi / 180.0;
    return pivot + QPointF(std::cos(screen), std::sin(screen)) * radius;
}

} // namespace

void AnalogVU::paintEvent(QPaintEvent*)
{
    // Only the needle moves: the face and the glass are drawn once and copied.
    QPainter painter(this);
    painter.drawPixmap(0, 0,
                       cachedPixmap(*this, QStringLiteral("tw.vu-face.") + label_,
                                    [this](QPainter& face) { paintFace(face); }));
    painter.setRenderHint(QPainter::Antialiasing);
    const VUGeometry geometry = vuGeometry(size());
    const double radius = geometry.radius;

    // Needle with a thin shadow, then the pivot cap.
    const double angle = vuNeedleAngle(level_);
    const QPointF tip = onScale(geometry.pivot, radius - 1, angle);
    painter.setPen(QPen(QColor(0, 0, 0, 50), 2.0, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(geometry.pivot + QPointF(1.5, 0), tip + QPointF(1.5, 1.5));
    painter.setPen(QPen(QColor(25, 20, 18), 1.3, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(geometry.pivot, tip);
    litDisc(painter, geometry.pivot, 5, {-1.5, -1.5}, 6,
            {{0, QColor(90, 90, 95)}, {1, QColor(10, 10, 12)}}, Qt::NoPen);

    painter.drawPixmap(0, 0,
                       cachedPixmap(*this, QStringLiteral("tw.vu-sheen"),
                                    [this](QPainter& glass) { paintSheen(glass); }));
}

void AnalogVU::paintFace(QPainter& painter) const
{
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF face = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);

    // A warm, backlit paper face in a dark bezel.
    QRadialGradient paper(QPointF(face.center().x(), face.bottom()), face.width() * 0.8);
    paper.setColorAt(0, QColor(250, 236, 190));
    paper.setColorAt(1, QColor(222, 196, 132));
    painter.setPen(QPen(QColor(20, 20, 22), 1.5));
    painter.setBrush(paper);
    painter.drawRoundedRect(face, 6, 6);

    const VUGeometry geometry = vuGeometry(size());
    const double radius = geometry.radius;

    // The red zone as an arc band behind the top ticks.
    {
        QPainterPath band;
        const double from = vuTickAngle(8), to = vuTickAngle(10);
        const int steps = 16;
        for (int i = 0; i <= steps; ++i) {
            const QPointF p = onScale(geometry.pivot, radius, from + (to - from) * i / steps);
            i == 0 ? band.moveTo(p) : band.lineTo(p);
        }
        painter.setPen(QPen(QColor(200, 30, 20, 150), 2.2));
        painter.setBrush(Qt::NoBrush);
        painter.drawPath(band);
    }
    // The scale arc.
    {
        QPainterPath arc;
        const int steps = 32;
        for (int i = 0; i <= steps; ++i) {
            const QPointF p = onScale(geometry.pivot, radius, -52.0 + 104.0 * i / steps);
            i == 0 ? arc.moveTo(p) : arc.lineTo(p);
        }
        painter.setPen(QPen(QColor(0, 0, 0, 110), 0.7));
        painter.drawPath(arc);
    }
    for (int i = 0; i <= 10; ++i) {
        const double inner = radius - (i % 2 == 0 ? 4.0 : 2.0);
        const bool red = i >= 8;
        QColor colour = red ? QColor(200, 20, 10) : QColor(0, 0, 0);
        colour.setAlphaF(red ? 0.7f : 0.6f);
        painter.setPen(QPen(colour, 0.7));
        painter.drawLine(onScale(geometry.pivot, inner, vuTickAngle(i)),
                         onScale(geometry.pivot, radius, vuTickAngle(i)));
    }

    // Scale marks at the ends and at 0 VU, and the caption.
    QFont small = font();
    small.setPixelSize(std::max(7, int(radius * 0.11)));
    painter.setFont(small);
    auto mark = [&](double angle, const QString& text, QColor colour) {
        const QPointF at = onScale(geometry.pivot, radius + 7, angle);
        painter.setPen(colour);
        painter.drawText(QRectF(at - QPointF(14, 6), QSizeF(28, 12)), Qt::AlignCenter, text);
    };
    if (radius > 40) {
        mark(-52, QStringLiteral("−30"), QColor(40, 30, 20));
        mark(vuNeedleAngle(0.125893), QStringLiteral("0"), QColor(40, 30, 20));
        mark(52, QStringLiteral("+3"), QColor(180, 20, 10));
    }
    painter.setFont(engravedFont(font(), std::max(8, int(radius * 0.14)), 0.6));
    painter.setPen(QColor(60, 45, 30));
    painter.drawText(
        QRectF(face.left(), geometry.pivot.y() - radius * 0.48, face.width(), radius * 0.22),
        Qt::AlignCenter, QStringLiteral("VU · ") + label_);
}

void AnalogVU::paintSheen(QPainter& painter) const
{
    // Glass over the face and the needle.
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const QRectF face = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QLinearGradient sheen(face.topLeft(), face.bottomLeft());
    sheen.setColorAt(0, QColor(255, 255, 255, 60));
    sheen.setColorAt(0.45, QColor(255, 255, 255, 0));
    painter.setBrush(sheen);
    painter.drawRoundedRect(face.adjusted(1, 1, -1, -1), 5, 5);
}

} // namespace tw
