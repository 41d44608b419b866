#include "ui/LoudnessMeterView.hpp"

#include "studio/Studio.hpp"

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

QString loudnessText(std::optional<double> lufs)
{
    if (!lufs || !std::isfinite(*lufs))
        return QStringLiteral("—");
    const long tenths = std::lround(*lufs * 10);
    const long magnitude = std::labs(tenths);
    return QStringLiteral("%1%2,%3")
        .arg(tenths < 0 ? QStringLiteral("−") : QString())
        .arg(magnitude / 10)
        .arg(magnitude % 10);
}

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
    return loudnessText(reading ? std::optional(reading->shortTerm) : std::nullopt);
}

QString LoudnessMeterView::integratedText() const
{
    const auto& reading = studio_.loudness();
    return loudnessText(reading ? std::optional(reading->integrated) : std::nullopt);
}

void LoudnessMeterView::paintEvent(QPaintEvent*)
{
    ++paints_;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF panel = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    painter.setPen(QPen(QColor(255, 255, 255, 40), 1));
    painter.setBrush(QColor(18, 18, 21));
    painter.drawRoundedRect(panel, 6, 6);

    QFont small = font();
    small.setPointSizeF(7);
    QFont figures = font();
    figures.setPointSizeF(11);
    figures.setBold(true);
    const qreal inner = panel.width() - 12;
    const auto row = [&](qreal top, const QString& label, const QString& value) {
        painter.setFont(small);
        painter.setPen(QColor(150, 150, 158));
        painter.drawText(QRectF(6, top, inner, 11), Qt::AlignLeft | Qt::AlignVCenter, label);
        painter.setFont(figures);
        painter.setPen(QColor(235, 235, 240));
        painter.drawText(QRectF(6, top + 10, inner, 16), Qt::AlignLeft | Qt::AlignVCenter, value);
    };
    row(4, QStringLiteral("CORTO PLAZO"), shortTermText());
    row(32, QStringLiteral("INTEGRADA"), integratedText());

    // The short-term level as a bar, with the export target marked on it.
    const QRectF track(6, panel.bottom() - 12, inner, 6);
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
