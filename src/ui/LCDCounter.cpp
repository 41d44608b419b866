#include "ui/LCDCounter.hpp"
#include "ui/CachedPaint.hpp"
#include "ui/Shading.hpp"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tw {

std::string lcdValue(double seconds)
{
    const auto whole = static_cast<long long>(std::floor(std::max(seconds, 0.0)));
    char text[32];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld", std::min(whole / 3600, 99LL),
                  (whole / 60) % 60, whole % 60);
    return text;
}

const std::array<std::vector<int>, 10>& lcdDigits()
{
    static const std::array<std::vector<int>, 10> digits{{
        {0, 1, 2, 3, 4, 5},
        {1, 2},
        {0, 1, 6, 4, 3},
        {0, 1, 6, 2, 3},
        {5, 6, 1, 2},
        {0, 5, 6, 2, 3},
        {0, 5, 6, 4, 2, 3},
        {0, 1, 2},
        {0, 1, 2, 3, 4, 5, 6},
        {0, 1, 2, 3, 5, 6},
    }};
    return digits;
}

std::array<bool, 7> lcdSegments(char digit)
{
    std::array<bool, 7> lit{};
    if (digit < '0' || digit > '9')
        return lit;
    for (int segment : lcdDigits()[static_cast<std::size_t>(digit - '0')])
        lit[static_cast<std::size_t>(segment)] = true;
    return lit;
}

LCDCounter::LCDCounter(QWidget* parent) : QWidget(parent)
{
    setFixedSize(180, 62);
    setAccessibleName(QStringLiteral("Contador"));
}

void LCDCounter::setSeconds(double seconds)
{
    storeAndRepaint(*this, seconds_, seconds, lcdValue);
}

namespace {

// One segment as a hexagonal bar between two points, thickness t, with mitred ends.
QPainterPath segmentBar(QPointF from, QPointF to, double t)
{
    const QPointF along = to - from;
    const double length = std::hypot(along.x(), along.y());
    const QPointF unit = along / length;
    const QPointF normal(-unit.y(), unit.x());
    const double half = t / 2;
    QPainterPath bar;
    bar.moveTo(from);
    bar.lineTo(from + unit * half + normal * half);
    bar.lineTo(to - unit * half + normal * half);
    bar.lineTo(to);
    bar.lineTo(to - unit * half - normal * half);
    bar.lineTo(from + unit * half - normal * half);
    bar.closeSubpath();
    return bar;
}

// The seven bars of a digit cell (slanted a little, as on a real display).
std::array<QPainterPath, 7> digitBars(QRectF cell, double thickness)
{
    const double gap = 1.2;
    const double slant = cell.width() * 0.12;
    const double left = cell.left() + thickness / 2;
    const double right = cell.right() - thickness / 2 - slant;
    const double top = cell.top() + thickness / 2;
    const double bottom = cell.bottom() - thickness / 2;
    const double middle = (top + bottom) / 2;
    auto at = [&](double x, double y) {
        // Lean the cell to the right: the higher, the further.
        const double lift = (cell.bottom() - y) / cell.height();
        return QPointF(x + lift * slant, y);
    };
    return {
        segmentBar(at(left + gap, top), at(right - gap, top), thickness),
        segmentBar(at(right, top + gap), at(right, middle - gap), thickness),
        segmentBar(at(right, middle + gap), at(right, bottom - gap), thickness),
        segmentBar(at(left + gap, bottom), at(right - gap, bottom), thickness),
        segmentBar(at(left, middle + gap), at(left, bottom - gap), thickness),
        segmentBar(at(left, top + gap), at(left, middle - gap), thickness),
        segmentBar(at(left + gap, middle), at(right - gap, middle), thickness),
    };
}

} // namespace

void LCDCounter::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);

    // Bezel and glass.
    shadedRoundedRect(painter, frame, 8, {{0, QColor(58, 58, 62)}, {1, QColor(22, 22, 25)}},
                      QPen(QColor(255, 255, 255, 40), 1));
    const QRectF glass = frame.adjusted(5, 5, -5, -5);
    shadedRoundedRect(painter, glass, 5, {{0, QColor(18, 12, 6)}, {1, QColor(8, 5, 2)}},
                      QPen(QColor(0, 0, 0, 160), 1));

    const QColor lit(255, 168, 48);
    const QColor faint(255, 168, 48, 30);
    const std::string text = lcdValue(seconds_);
    const double digitWidth = 18, digitHeight = 32, colonWidth = 10, spacing = 3;
    double width = 0;
    for (char character : text)
        width += (character == ':' ? colonWidth : digitWidth) + spacing;
    width -= spacing;
    double x = glass.center().x() - width / 2;
    const double y = glass.center().y() - digitHeight / 2;

    painter.setPen(Qt::NoPen);
    for (char character : text) {
        if (character == ':') {
            painter.setBrush(lit);
            const double cx = x + colonWidth / 2 + 1;
            painter.drawEllipse(QPointF(cx + 1.2, y + digitHeight * 0.32), 1.8, 1.8);
            painter.drawEllipse(QPointF(cx, y + digitHeight * 0.70), 1.8, 1.8);
            x += colonWidth + spacing;
            continue;
        }
        const auto bars = digitBars(QRectF(x, y, digitWidth, digitHeight), 3.4);
        const auto segments = lcdSegments(character);
        for (std::size_t i = 0; i < bars.size(); ++i) {
            if (segments[i])
                continue;
            painter.setBrush(faint);
            painter.drawPath(bars[i]);
        }
        // A soft glow under the lit bars, then the bars themselves.
        for (std::size_t i = 0; i < bars.size(); ++i) {
            if (!segments[i])
                continue;
            painter.setPen(QPen(QColor(255, 140, 20, 60), 3));
            painter.setBrush(lit);
            painter.drawPath(bars[i]);
            painter.setPen(Qt::NoPen);
        }
        x += digitWidth + spacing;
    }

    // A faint reflection across the upper half of the glass.
    QLinearGradient shine(glass.topLeft(), QPointF(glass.left(), glass.center().y()));
    shine.setColorAt(0, QColor(255, 255, 255, 18));
    shine.setColorAt(1, QColor(255, 255, 255, 0));
    painter.setBrush(shine);
    painter.drawRoundedRect(QRectF(glass.topLeft(), QSizeF(glass.width(), glass.height() / 2)), 5,
                            5);
}

} // namespace tw
