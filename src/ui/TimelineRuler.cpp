#include "ui/TimelineRuler.hpp"

#include "studio/Studio.hpp"
#include "ui/ChapterFlags.hpp"
#include "ui/ViewFields.hpp"

#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace tw {

int rulerStep(double zoom)
{
    if (zoom < 10)
        return 60;
    if (zoom < 40)
        return 10;
    if (zoom < 100)
        return 5;
    return 1;
}

long long rulerEnd(double duration, double position)
{
    return static_cast<long long>(std::floor(std::max({duration + 60, position + 30, 120.0})));
}

std::vector<long long> rulerLabels(double offset, double width, double zoom, double duration,
                                   double position)
{
    std::vector<long long> labels;
    if (!(zoom > 0))
        return labels;
    const long long step = rulerStep(zoom);
    const long long firstWhole = static_cast<long long>(std::floor(offset / zoom));
    const long long first = std::max(0LL, firstWhole / step * step);
    const long long last =
        std::min(static_cast<long long>(std::floor((offset + width) / zoom)) + step,
                 rulerEnd(duration, position));
    for (long long second = first; second <= last; second += step)
        labels.push_back(second);
    return labels;
}

QString rulerText(long long second)
{
    return QString::asprintf("%d:%02d", static_cast<int>(second / 60),
                             static_cast<int>(second % 60));
}

TimelineRuler::TimelineRuler(Studio& studio, QWidget* viewport, QWidget* parent)
    : QWidget(parent)
    , studio_(studio)
    , viewport_(viewport)
    , zoom_(studio.zoom())
    , end_(rulerEnd(studio.duration(), studio.position()))
{
    setFixedHeight(stripHeight);
    setCursor(Qt::IBeamCursor);
    connect(&studio_, &Studio::fieldChanged, this, &TimelineRuler::fieldChanged);
    chapterFlags_ = std::make_unique<ChapterFlags>(studio_, *this);
}

TimelineRuler::~TimelineRuler() = default;

void TimelineRuler::fieldChanged(StudioField field)
{
    if (field != StudioField::zoom && field != StudioField::position &&
        !affectsDuration(field, studio_))
        return;
    // Only the zoom and the end of the content change what the ruler shows.
    const double zoom = studio_.zoom();
    const long long end = rulerEnd(studio_.duration(), studio_.position());
    if (zoom == zoom_ && end == end_)
        return;
    zoom_ = zoom;
    end_ = end;
    update();
}

std::pair<double, double> TimelineRuler::visibleSpan() const
{
    if (!viewport_)
        return {0.0, static_cast<double>(width())};
    const double offset = std::max(0, -mapTo(viewport_, QPoint(0, 0)).x());
    return {offset, static_cast<double>(viewport_->width())};
}

std::vector<long long> TimelineRuler::visibleLabels() const
{
    const auto [offset, width] = visibleSpan();
    return rulerLabels(offset, width, zoom_, studio_.duration(), studio_.position());
}

void TimelineRuler::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), QColor(30, 31, 35));
    painter.setPen(QColor(255, 255, 255, 30));
    painter.drawLine(QPointF(0, stripHeight - 0.5), QPointF(width(), stripHeight - 0.5));

    QFont small = font();
    small.setPixelSize(10);
    painter.setFont(small);
    const QColor secondary(150, 151, 158);
    for (long long second : visibleLabels()) {
        const double x = second * zoom_;
        painter.setPen(QColor(255, 255, 255, 40));
        painter.drawLine(QPointF(x + 0.5, stripHeight - 7), QPointF(x + 0.5, stripHeight - 1));
        painter.setPen(secondary);
        const QRectF box(x + 20 - 30, 15 - 7, 60, 14);
        painter.drawText(box, Qt::AlignCenter, rulerText(second));
    }
}

void TimelineRuler::seekTo(double x)
{
    if (!studioIdle(studio_) || !(studio_.zoom() > 0))
        return;
    studio_.seek(x / studio_.zoom());
}

void TimelineRuler::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        seekTo(event->position().x());
}

void TimelineRuler::mouseMoveEvent(QMouseEvent* event)
{
    if (event->buttons() & Qt::LeftButton)
        seekTo(event->position().x());
}

} // namespace tw
