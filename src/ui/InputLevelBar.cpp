#include "ui/InputLevelBar.hpp"

#include "ui/Shading.hpp"

#include <QPainter>

#include <algorithm>

namespace tw {

InputLevelBar::InputLevelBar(QWidget* parent) : QWidget(parent)
{
    setFixedWidth(55);
    setFixedHeight(8);
    setToolTip(QStringLiteral("Nivel de entrada"));
    setAccessibleName(QStringLiteral("Nivel de entrada"));
}

void InputLevelBar::display(float meter, bool recording)
{
    const float value = std::clamp(meter, 0.0f, 1.0f);
    const bool red = meter >= redFrom;
    if (recording == visible_ && (!recording || (value == value_ && red == red_)))
        return;
    value_ = value;
    red_ = red;
    visible_ = recording;
    update();
}

void InputLevelBar::paintEvent(QPaintEvent*)
{
    if (!visible_)
        return;
    QPainter painter(this);
    const QRectF track = drawWell(painter, rect(), 3);
    if (value_ > 0) {
        QRectF filled = track.adjusted(1, 1, -1, -1);
        filled.setWidth(filled.width() * value_);
        painter.setPen(Qt::NoPen);
        painter.setBrush(red_ ? QColor(235, 60, 50) : QColor(70, 205, 100));
        painter.drawRoundedRect(filled, 2, 2);
    }
}

} // namespace tw
