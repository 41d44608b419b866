// The finishes the instruments share, drawn one way wherever they appear: metal and glass shaded
// from top to bottom inside a thin outline, chrome, screws and lenses lit from the upper left, and
// the small bold letter-spaced captions engraved on the panels.
#pragma once

#include <QFont>
#include <QGradient>
#include <QPen>
#include <QRectF>

#include <initializer_list>

class QPainter;

namespace tw {

// A rounded rectangle filled with stops from its top edge (0) to its bottom edge (1).
void shadedRoundedRect(QPainter& painter, const QRectF& box, double radius,
                       std::initializer_list<QGradientStop> stops, const QPen& outline);
// A disc filled with stops from a highlight offset from its centre (0) to reach away from it (1).
void litDisc(QPainter& painter, QPointF centre, double radius, QPointF highlight, double reach,
             std::initializer_list<QGradientStop> stops, const QPen& outline);
// A slotted screw head of the given radius.
void drawScrew(QPainter& painter, QPointF centre, double radius);
// The dark recessed well of the small readouts, with its faint rim, filling area; its inner box.
QRectF drawWell(QPainter& painter, const QRectF& area, double radius);
// base made bold at pixelSize with letters spacing points apart.
QFont engravedFont(QFont base, int pixelSize, double spacing = 0);

} // namespace tw
