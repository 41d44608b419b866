#include "ui/SpectrumView.hpp"

#include "studio/Studio.hpp"
#include "ui/PanelPalette.hpp"
#include "ui/Shading.hpp"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace tw {

SpectrumView::SpectrumView(Studio& studio, QWidget* parent)
    : QWidget(parent)
    , studio_(studio)
    , bars_(studio.spectrumBars())
{
    setAccessibleName(QStringLiteral("Analizador de espectro del audio"));
    connect(&studio_, &Studio::fieldChanged, this, &SpectrumView::fieldChanged);
}

void SpectrumView::fieldChanged(StudioField field)
{
    // The clock assigns the bars only when they differ, so every assignment is worth a repaint;
    // every other field leaves the drawing as it is.
    if (field != StudioField::spectrumBars)
        return;
    bars_ = studio_.spectrumBars();
    update();
}

QRectF SpectrumView::plotArea(QSizeF size)
{
    return QRectF(0, captionHeight, size.width(),
                  std::max(0.0, size.height() - captionHeight - labelHeight));
}

std::vector<QRectF> SpectrumView::barRects(const std::vector<float>& values, QRectF plot)
{
    std::vector<QRectF> rects;
    rects.reserve(values.size());
    const double slot = plot.width() / bandCount;
    const double width = std::clamp(slot - 2, 1.0, 2.0);
    for (std::size_t i = 0; i < values.size() && i < std::size_t(bandCount); ++i) {
        const double height = std::max(double(values[i]) * plot.height(), 2.0);
        const double centre = plot.left() + slot * (double(i) + 0.5);
        rects.emplace_back(centre - width / 2, plot.bottom() - height, width, height);
    }
    return rects;
}

void SpectrumView::paintEvent(QPaintEvent*)
{
    ++paintCount_;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF plot = plotArea(size());

    painter.setFont(engravedFont(font(), 9, 1.2));
    painter.setPen(noteColour);
    painter.drawText(QRectF(0, 0, width(), captionHeight), Qt::AlignLeft | Qt::AlignTop,
                     QStringLiteral("SPECTRUM"));

    // Guide lines at a quarter, half and three quarters of the height, behind the bars.
    painter.setPen(QPen(QColor(255, 255, 255, 22), 1));
    for (double fraction : {0.25, 0.5, 0.75}) {
        const double y = std::round(plot.top() + plot.height() * fraction) + 0.5;
        painter.drawLine(QPointF(plot.left(), y), QPointF(plot.right(), y));
    }

    // The floor's level, behind the bars that stand on it.
    QFont floorFont = font();
    floorFont.setPixelSize(9);
    painter.setFont(floorFont);
    painter.setPen(noteColour);
    painter.drawText(QRectF(plot.left() + 2, plot.bottom() - 15, 60, 11),
                     Qt::AlignLeft | Qt::AlignBottom, QStringLiteral("−70 dB"));

    // One gradient over the whole plot, so a bar's colour says how high it reaches.
    QLinearGradient fill(plot.bottomLeft(), plot.topLeft());
    fill.setColorAt(0.0, QColor(110, 240, 200));
    fill.setColorAt(0.55, QColor(70, 220, 90));
    fill.setColorAt(1.0, QColor(250, 225, 60));
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    for (const QRectF& bar : barRects(bars_, plot))
        painter.drawRoundedRect(bar, 1, 1);

    painter.setPen(noteColour);
    const QRectF labels(plot.left(), plot.bottom() + 2, plot.width(), labelHeight - 2);
    painter.drawText(labels, Qt::AlignLeft | Qt::AlignVCenter, QStringLiteral("30 Hz"));
    painter.drawText(labels, Qt::AlignHCenter | Qt::AlignVCenter, QStringLiteral("1 kHz"));
    painter.drawText(labels, Qt::AlignRight | Qt::AlignVCenter, QStringLiteral("20 kHz"));
}

} // namespace tw
