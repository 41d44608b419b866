#include "ui/StudioPanel.hpp"

#include "ui/CachedPaint.hpp"
#include "ui/Shading.hpp"

#include <QPainter>
#include <QVBoxLayout>

namespace tw {

StudioPanel::StudioPanel(QWidget* content, QWidget* parent) : QWidget(parent), content_(content)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(padding, padding, padding, padding);
    layout->addWidget(content_);
}

std::array<QPointF, 4> StudioPanel::screwCentres(QSizeF size)
{
    // Each head's 4-point box starts screwInset points in from its corner.
    const double near = screwInset + screwSize / 2;
    return {QPointF(near, near), QPointF(size.width() - near, near),
            QPointF(near, size.height() - near),
            QPointF(size.width() - near, size.height() - near)};
}

void StudioPanel::paintEvent(QPaintEvent*)
{
    QPainter(this).drawPixmap(0, 0,
                              cachedPixmap(*this, QStringLiteral("tw.studio-panel"),
                                           [this](QPainter& painter) { paintPlate(painter); }));
}

void StudioPanel::paintPlate(QPainter& painter) const
{
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF plate = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    shadedRoundedRect(painter, plate, cornerRadius,
                      {{0, QColor(44, 45, 50)}, {1, QColor(28, 29, 33)}},
                      QPen(QColor(255, 255, 255, 38), 1));
    for (QPointF centre : screwCentres(size()))
        drawScrew(painter, centre, screwSize / 2);
}

} // namespace tw
