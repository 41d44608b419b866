#include "ui/LoudnessMeterView.hpp"

#include "studio/Studio.hpp"
#include "ui/Shading.hpp"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

// The bar spans this range of short-term loudness.
constexpr double barFloor = -40;
constexpr double barTop = -6;

std::optional<double> targetOf(const Studio& studio)
{
    return targetLoudness(studio.loudnessTarget(), 2);
}

} // namespace

LoudnessMeterView::LoudnessMeterView(Studio& studio, QWidget* parent)
    : QWidget(parent)
    , studio_(studio)
    , target_(targetOf(studio))
{
    setToolTip(QStringLiteral("Sonoridad de lo que suena, en LUFS"));
    setAccessibleName(QStringLiteral("Sonoridad"));
    connect(&studio_, &Studio::fieldChanged, this, &LoudnessMeterView::fieldChanged);
}

void LoudnessMeterView::fieldChanged(StudioField field)
{
    if (field == StudioField::loudness) {
        update();
    } else if (field == StudioField::project) {
        if (const auto target = targetOf(studio_); target != target_) {
            target_ = target;
            update();
        }
    }
}

QString LoudnessMeterView::shortTermText() const
{
    const auto& reading = studio_.loudness();
    return QString::fromStdString(levelFigure(reading ? reading->shortTerm : -INFINITY));
}

QString LoudnessMeterView::integratedText() const
{
    const auto& reading = studio_.loudness();
    return QString::fromStdString(levelFigure(reading ? reading->integrated : -INFINITY));
}

void LoudnessMeterView::paintEvent(QPaintEvent*)
{
    ++paints_;
    QPainter painter(this);
    const QRectF panel = drawWell(painter, rect(), 6);

    QFont small = font();
    small.setPixelSize(8);
    QFont figures = font();
    figures.setPixelSize(14);
    figures.setBold(true);
    // Each figure on its own line, its label to the left, right-aligned like the counter's digits.
    const QRectF line(7, 0, panel.width() - 14, 18);
    const auto row = [&](qreal top, const QString& label, const QString& value) {
        painter.setFont(small);
        painter.setPen(QColor(150, 150, 158));
        painter.drawText(line.translated(0, top), Qt::AlignLeft | Qt::AlignVCenter, label);
        painter.setFont(figures);
        painter.setPen(QColor(235, 235, 240));
        painter.drawText(line.translated(0, top), Qt::AlignRight | Qt::AlignVCenter, value);
    };
    row(4, QStringLiteral("CORTO PLAZO"), shortTermText());
    row(22, QStringLiteral("INTEGRADA"), integratedText());

    // The short-term level as a bar, with the export target marked on it.
    const QRectF track(line.left(), panel.bottom() - 13, line.width(), 6);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(40, 40, 46));
    painter.drawRoundedRect(track, 2, 2);
    const auto at = [&](double lufs) {
        return track.left() +
               track.width() * std::clamp((lufs - barFloor) / (barTop - barFloor), 0.0, 1.0);
    };
    const auto& reading = studio_.loudness();
    if (reading && std::isfinite(reading->shortTerm)) {
        const bool over = target_ && reading->shortTerm > *target_ + 1;
        painter.setBrush(over ? QColor(235, 160, 50) : QColor(70, 205, 100));
        painter.drawRoundedRect(QRectF(track.left(), track.top(),
                                       at(reading->shortTerm) - track.left(), track.height()),
                                2, 2);
    }
    if (target_) {
        painter.setPen(QPen(QColor(235, 235, 240), 1.5));
        painter.drawLine(QPointF(at(*target_), track.top() - 2),
                         QPointF(at(*target_), track.bottom() + 2));
    }
}

} // namespace tw
