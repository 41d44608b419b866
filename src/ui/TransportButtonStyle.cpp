#include "ui/TransportButtonStyle.hpp"

#include "ui/CachedPaint.hpp"
#include "ui/Shading.hpp"

#include <QEnterEvent>
#include <QPainter>

namespace tw {

void TransportButtonStyle::paint(QPainter& painter, QRectF bounds, const QIcon& icon,
                                 QSize iconSize) const
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(opacity());
    const QRectF key = bounds.adjusted(1.5, 1, -1.5, -3);

    // Soft shadow: a few widening, fading outlines below the key; shorter when pressed.
    painter.setPen(Qt::NoPen);
    const double drop = pressed ? 1.0 : 2.0;
    for (int i = 3; i >= 1; --i) {
        painter.setBrush(QColor(0, 0, 0, 34));
        painter.drawRoundedRect(key.translated(0, drop).adjusted(-i * 0.5, 0, i * 0.5, i * 0.5),
                                cornerRadius + i * 0.5, cornerRadius + i * 0.5);
    }

    const QColor top = active    ? QColor(96, 100, 112)
                       : pressed ? QColor(36, 37, 42)
                                 : QColor(hovered ? 66 : 58, hovered ? 67 : 59, hovered ? 74 : 66);
    const QColor bottom = active    ? QColor(66, 70, 80)
                          : pressed ? QColor(46, 47, 53)
                                    : QColor(38, 39, 44);
    shadedRoundedRect(painter, key, cornerRadius, {{0, top}, {1, bottom}},
                      QPen(active ? QColor(255, 255, 255, 90) : QColor(255, 255, 255, 40), 0.8));
    if (active) {
        // A lit key glows from its top edge.
        QLinearGradient glow(key.topLeft(), QPointF(key.left(), key.center().y()));
        glow.setColorAt(0, QColor(255, 255, 255, 46));
        glow.setColorAt(1, QColor(255, 255, 255, 0));
        painter.setPen(Qt::NoPen);
        painter.setBrush(glow);
        painter.drawRoundedRect(key.adjusted(1, 1, -1, -1), cornerRadius - 1, cornerRadius - 1);
    }

    const QRectF content(key.center().x() - iconSize.width() / 2.0,
                         key.center().y() - iconSize.height() / 2.0 + contentOffset(),
                         iconSize.width(), iconSize.height());
    icon.paint(&painter, content.toRect(), Qt::AlignCenter, active ? QIcon::Active : QIcon::Normal);
    painter.restore();
}

TransportButton::TransportButton(const QIcon& icon, const QString& help, QWidget* parent)
    : QAbstractButton(parent)
{
    setIcon(icon);
    setIconSize(QSize(18, 18));
    setToolTip(help);
    setAccessibleName(help);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::TabFocus);
    connect(this, &QAbstractButton::pressed, this, qOverload<>(&QWidget::update));
    connect(this, &QAbstractButton::released, this, qOverload<>(&QWidget::update));
}

void TransportButton::setActive(bool active)
{
    if (active == active_)
        return;
    active_ = active;
    update();
}

TransportButtonStyle TransportButton::style() const
{
    return {active_, isEnabled(), isDown(), hovered_ && isEnabled()};
}

void TransportButton::paintEvent(QPaintEvent*)
{
    const TransportButtonStyle look = style();
    const QString key =
        QStringLiteral("tw.transport-key.%1.%2")
            .arg(icon().cacheKey())
            .arg(int(look.active) | int(look.enabled) << 1 | int(look.pressed) << 2 |
                 int(look.hovered) << 3 | iconSize().width() << 4);
    QPainter(this).drawPixmap(0, 0, cachedPixmap(*this, key, [&](QPainter& painter) {
                                  look.paint(painter, QRectF(rect()), icon(), iconSize());
                              }));
}

void TransportButton::enterEvent(QEnterEvent* event)
{
    hovered_ = true;
    update();
    QAbstractButton::enterEvent(event);
}

void TransportButton::leaveEvent(QEvent* event)
{
    hovered_ = false;
    update();
    QAbstractButton::leaveEvent(event);
}

} // namespace tw
