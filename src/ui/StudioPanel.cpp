#include "ui/StudioPanel.hpp"

#include "ui/CachedPaint.hpp"

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
    QLinearGradient finish(plate.topLeft(), plate.bottomLeft());
    finish.setColorAt(0, QColor(44, 45, 50));
    finish.setColorAt(1, QColor(28, 29, 33));
    painter.setPen(QPen(QColor(255, 255, 255, 38), 1));
    painter.setBrush(finish);
    painter.drawRoundedRect(plate, cornerRadius, cornerRadius);

    const double r = screwSize / 2;
    for (QPointF centre : screwCentres(size())) {
        QRadialGradient head(centre - QPointF(0.6, 0.6), r + 0.5);
        head.setColorAt(0, QColor(190, 190, 196));
        head.setColorAt(1, QColor(80, 80, 86));
        painter.setPen(QPen(QColor(0, 0, 0, 140), 0.5));
        painter.setBrush(head);
        painter.drawEllipse(centre, r, r);
        painter.setPen(QPen(QColor(40, 40, 44), 0.6));
        painter.drawLine(centre + QPointF(-r * 0.7, r * 0.4), centre + QPointF(r * 0.7, -r * 0.4));
    }
}

} // namespace tw
