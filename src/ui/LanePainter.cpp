#include "ui/LanePainter.hpp"

#include "ui/ClockText.hpp"
#include "ui/Icons.hpp"

#include <QPainter>
#include <qdrawutil.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

namespace tw {

namespace {

QColor withAlpha(QColor colour, double alpha)
{
    colour.setAlphaF(static_cast<float>(alpha));
    return colour;
}

// A one-pixel outline; cosmetic, so the raster engine draws it directly instead of stroking the
// rounded outline into a path first.
QPen hairline(const QColor& colour)
{
    QPen pen(colour, 1);
    pen.setCosmetic(true);
    return pen;
}

// The part of shape worth rasterising: a side far outside the exposed strip is pulled in to just
// beyond it, so a clip minutes long at a high zoom costs what its visible part costs and its
// rounded corners and outline stay outside the strip where they are not seen.
QRectF trimmedTo(QRectF shape, const QRectF& exposed)
{
    constexpr double margin = 16;
    if (shape.left() < exposed.left() - margin)
        shape.setLeft(exposed.left() - margin);
    if (shape.right() > exposed.right() + margin)
        shape.setRight(exposed.right() + margin);
    return shape;
}

// A rounded box. Rasterising a rounded outline costs a good part of a millisecond per box, and a
// wide view shows dozens; so the box is copied from a small image of itself made once per look:
// corners copied, edges and middle stretched. Sub-pixel edges are rounded to whole pixels. High
// density displays and boxes too small for their corners take the ordinary path.
void drawBox(QPainter& painter, const QRectF& box, const QColor& fill, const QColor& outline,
             int radius)
{
    const QRect target(QPoint(qRound(box.left()), qRound(box.top())),
                       QPoint(qRound(box.right()) - 1, qRound(box.bottom()) - 1));
    if (target.width() < 2 * radius + 2 || target.height() < 2 * radius + 2) {
        // Too narrow for its corners to show (a short clip at a wide view): a plain box, which
        // a view of hundreds of them can afford.
        painter.fillRect(target, fill);
        if (outline.alpha() && target.width() > 1) {
            // Whole-pixel edges: an antialiased outline of a box this size costs a hundred
            // times as much and shows the same.
            painter.fillRect(QRect(target.left(), target.top(), target.width(), 1), outline);
            painter.fillRect(QRect(target.left(), target.bottom(), target.width(), 1), outline);
            painter.fillRect(QRect(target.left(), target.top() + 1, 1, target.height() - 2),
                             outline);
            painter.fillRect(QRect(target.right(), target.top() + 1, 1, target.height() - 2),
                             outline);
        }
        return;
    }
    if (painter.device()->devicePixelRatioF() != 1.0) {
        painter.setPen(outline.alpha() ? hairline(outline) : QPen(Qt::NoPen));
        painter.setBrush(fill);
        painter.drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
        return;
    }
    // Main thread only, like all painting; a handful of looks are ever made.
    static std::map<std::tuple<QRgb, QRgb, int>, QPixmap> images;
    QPixmap& image = images[{fill.rgba(), outline.rgba(), radius}];
    if (image.isNull()) {
        const int side = 2 * radius + 2;
        image = QPixmap(side, side);
        image.fill(Qt::transparent);
        QPainter draw(&image);
        draw.setRenderHint(QPainter::Antialiasing);
        draw.setPen(outline.alpha() ? hairline(outline) : QPen(Qt::NoPen));
        draw.setBrush(fill);
        draw.drawRoundedRect(QRectF(0.5, 0.5, side - 1, side - 1), radius, radius);
    }
    qDrawBorderPixmap(&painter, target, QMargins(radius, radius, radius, radius), image);
}

constexpr double minimumTitleWidth = 24;

bool meets(const QRectF& shape, const QRectF& exposed)
{
    return shape.right() >= exposed.left() && shape.left() <= exposed.right();
}

// The pixel columns of [left, right) that lie in the exposed strip.
std::pair<int, int> columnsOf(double left, double right, const QRectF& exposed)
{
    const int first = static_cast<int>(std::floor(std::max(left, exposed.left())));
    const int end = static_cast<int>(std::ceil(std::min(right, exposed.right() + 1)));
    return {first, end};
}

void drawPeaks(QPainter& painter, const std::vector<float>& peaks, double sourceStart,
               double timelineStart, double duration, const LaneScene& scene, QRectF area,
               const QRectF& exposed, const QColor& colour)
{
    if (peaks.empty())
        return;
    const double left = scene.xAt(timelineStart);
    const auto [first, end] = columnsOf(left, left + duration * scene.zoom, exposed);
    if (first >= end)
        return;
    // Reused between paints: the main thread is the only painter.
    static std::vector<QLine> lines;
    lines.clear();
    appendPeakLines(lines, peaks, sourceStart, timelineStart, scene.zoom, first, end,
                    area.center().y(), area.height() / 2);
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(hairline(withAlpha(colour, 0.8)));
    painter.drawLines(lines.data(), static_cast<int>(lines.size()));
    painter.setRenderHint(QPainter::Antialiasing, true);
}

void drawGrip(QPainter& painter, const QRectF& grip, bool hovered)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(withAlpha(laneColour::voice, hovered ? 0.9 : 0.65));
    painter.drawRoundedRect(grip, 3, 3);
    painter.setBrush(Qt::white);
    painter.drawRect(QRectF(grip.center().x() - 1, grip.center().y() - 11, 2, 22));
}

bool isHovered(const LaneScene& scene, const std::string& key)
{
    return scene.hovered && *scene.hovered == key;
}

QString clipTitle(const Segment& clip)
{
    const bool muted = clip.gain && *clip.gain == 0.0f;
    return QString::fromUtf8(muted ? "MUTE" : "Toma") + QString::fromUtf8(" · ") +
           QString::fromStdString(clockText(clip.duration));
}

void drawClip(QPainter& painter, const LaneScene& scene, const LaneArt& art, const Segment& clip,
              const QRectF& exposed)
{
    const QRectF body = scene.clipRect(clip);
    const QRectF header = scene.headerRect(clip);
    if (!meets(body, exposed) && !meets(header, exposed))
        return;
    const bool selected = scene.selectedClip && *scene.selectedClip == clip.id;
    const QColor colour = laneColour::voice;

    drawBox(painter, trimmedTo(body, exposed), withAlpha(colour, selected ? 0.3 : 0.18),
            withAlpha(colour, 0.75), lane::clipRadius);

    const QRectF waveArea(body.left(), body.top() + lane::headerHeight + 3, body.width(),
                          body.height() - lane::headerHeight - 7);
    drawPeaks(painter, scene.peaksOf(clip), clip.start, clip.timelineStart.value_or(0.0),
              clip.duration, scene, waveArea, exposed, colour);

    LaneControl control{LaneControl::Type::clipHeader, clip};
    const bool strong = selected || isHovered(scene, control.hoverKey());
    // Stronger, yet dark enough under its white title.
    drawBox(painter, trimmedTo(header, exposed), withAlpha(colour, strong ? 0.7 : 0.5),
            Qt::transparent, lane::clipRadius);
    // The icon and title sit at the clip's start; long clips keep them there, off screen or not.
    const QRectF title(header.left() + 22, header.top(), std::min(header.width() - 26, 300.0),
                       header.height());
    if (header.left() + 18 >= exposed.left() - 12 && header.left() <= exposed.right())
        painter.drawPixmap(QPointF(header.left() + 6, header.center().y() - 6), art.headerIcon);
    // Only where the clip leaves room for some of it: the headers of short clips at a wide view
    // lie over one another.
    if (title.width() >= minimumTitleWidth && meets(title, exposed)) {
        QFont font = painter.font();
        font.setPixelSize(11);
        font.setWeight(QFont::DemiBold);
        painter.setFont(font);
        painter.setPen(Qt::white);
        // A short clip shows as much of its title as fits, ended by "…".
        const QString text = painter.fontMetrics().elidedText(clipTitle(clip), Qt::ElideRight,
                                                              static_cast<int>(title.width()));
        painter.drawText(title, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, text);
    }
}

void drawEmptyText(QPainter& painter, const QString& text, QRectF area)
{
    QFont font = painter.font();
    font.setPixelSize(13);
    painter.setFont(font);
    painter.setPen(QColor(255, 255, 255, 140));
    painter.drawText(area, Qt::AlignCenter, text);
}

void drawVoice(QPainter& painter, const LaneScene& scene, const LaneArt& art, const QRectF& exposed,
               double viewportWidth)
{
    if (scene.clips.empty()) {
        drawEmptyText(painter,
                      scene.recording ? QString::fromUtf8("Grabando…")
                                      : QString::fromUtf8("Pulsa Grabar para empezar"),
                      QRectF(0, 0, viewportWidth, scene.height));
        return;
    }
    for (const Segment& clip : scene.clips)
        drawClip(painter, scene, art, clip, exposed);
    if (scene.gripClip)
        for (bool left : {true, false}) {
            const LaneControl grip{LaneControl::Type::voiceGrip, scene.gripClip, left};
            drawGrip(painter, scene.voiceGripRect(*scene.gripClip, left),
                     isHovered(scene, grip.hoverKey()));
        }
}

void drawMusic(QPainter& painter, const LaneScene& scene, const QRectF& exposed,
               double viewportWidth)
{
    if (!scene.hasMusic) {
        // The "Cargar música" button sits under this text.
        drawEmptyText(painter, QString::fromUtf8("Importa música para acompañar tu voz"),
                      QRectF(0, 0, viewportWidth, scene.height / 2 - 2).adjusted(0, 30, 0, 0));
        return;
    }
    const QColor colour = laneColour::music;
    const QRectF region = scene.musicRect();
    if (meets(region, exposed)) {
        drawBox(painter, trimmedTo(region, exposed), withAlpha(colour, 0.18),
                withAlpha(colour, 0.75), lane::clipRadius);
        const QRectF waveArea(region.left(), lane::envelopeFullY + 6, region.width(),
                              lane::envelopeSilentY - lane::envelopeFullY - 12);
        drawPeaks(painter, *scene.musicPeaks, scene.music.start, scene.music.offset,
                  scene.music.duration, scene, waveArea, exposed, colour);
    }

    // The envelope's three segments, each cut to the exposed strip first: a wide stroke is
    // turned into a path over its whole length before it is clipped.
    painter.setPen(QPen(colour, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    const double from = exposed.left() - 4;
    const double to = exposed.right() + 4;
    for (int index = 0; index < 3; ++index) {
        QPointF a = scene.envelopePoint(index);
        QPointF b = scene.envelopePoint(index + 1);
        if (b.x() < from || a.x() > to)
            continue;
        const auto at = [&](double x) {
            const double share = b.x() > a.x() ? (x - a.x()) / (b.x() - a.x()) : 0.0;
            return QPointF(x, a.y() + (b.y() - a.y()) * share);
        };
        const QPointF start = a.x() < from ? at(from) : a;
        const QPointF end = b.x() > to ? at(to) : b;
        painter.drawLine(start, end);
    }

    for (bool left : {true, false}) {
        const LaneControl grip{LaneControl::Type::musicGrip, std::nullopt, left};
        drawGrip(painter, scene.musicGripRect(left), isHovered(scene, grip.hoverKey()));
    }
    painter.setPen(Qt::NoPen);
    for (int index = 0; index < 4; ++index) {
        const LaneControl handle{LaneControl::Type::fade, std::nullopt, false, index};
        painter.setBrush(isHovered(scene, handle.hoverKey()) ? colour : withAlpha(colour, 0.75));
        painter.drawRoundedRect(scene.fadeHandleRect(index), 3, 3);
    }
}

} // namespace

LaneArt LaneArt::make()
{
    return {symbolIcon(QStringLiteral("line.3.horizontal"), Qt::white).pixmap(12, 12),
            symbolIcon(QStringLiteral("arrowtriangle.down.fill"), laneColour::playhead)
                .pixmap(static_cast<int>(lane::playheadSymbolSize),
                        static_cast<int>(lane::playheadSymbolSize))};
}

void appendPeakLines(std::vector<QLine>& lines, const std::vector<float>& peaks, double sourceStart,
                     double timelineStart, double zoom, int firstColumn, int endColumn,
                     double centreY, double halfHeight)
{
    const long count = static_cast<long>(peaks.size());
    const double perSecond = lane::peaksPerSecond;
    for (int column = firstColumn; column < endColumn; ++column) {
        const double from = sourceStart + std::max(column / zoom - timelineStart, 0.0);
        const double to = sourceStart + ((column + 1) / zoom - timelineStart);
        long first = static_cast<long>(std::floor(from * perSecond));
        long end = static_cast<long>(std::ceil(to * perSecond));
        first = std::max(first, 0L);
        if (first >= count)
            break; // every later column lies further into the source
        end = std::clamp(end, first + 1, count);
        const float loudest = *std::max_element(peaks.begin() + first, peaks.begin() + end);
        const int reach = static_cast<int>(std::lround(std::min(loudest, 1.0f) * halfHeight));
        const int centre = static_cast<int>(std::lround(centreY));
        lines.emplace_back(column, centre - reach, column, centre + reach);
    }
}

void paintLane(QPainter& painter, const LaneScene& scene, const LaneArt& art, QRectF exposed,
               double width, double viewportWidth)
{
    painter.setRenderHint(QPainter::Antialiasing, true);
    const QColor colour = scene.kind == LaneKind::voice ? laneColour::voice : laneColour::music;
    drawBox(painter, trimmedTo(QRectF(0, 0, width, scene.height), exposed), withAlpha(colour, 0.09),
            Qt::transparent, 8);

    if (scene.kind == LaneKind::voice)
        drawVoice(painter, scene, art, exposed, viewportWidth);
    else
        drawMusic(painter, scene, exposed, viewportWidth);

    if (scene.selection) {
        const QRectF band(scene.xAt(scene.selection->lower), 0,
                          (scene.selection->upper - scene.selection->lower) * scene.zoom,
                          scene.height);
        if (meets(band, exposed))
            painter.fillRect(band.intersected(exposed.adjusted(-1, 0, 1, 0)),
                             withAlpha(laneColour::voice, 0.22));
    }

    const double playheadX = scene.xAt(scene.position);
    if (playheadX >= exposed.left() - lane::playheadHitWidth &&
        playheadX <= exposed.right() + lane::playheadHitWidth) {
        // One whole pixel column, crisp at any position.
        painter.fillRect(QRectF(std::floor(playheadX), 0, 1, scene.height), laneColour::playhead);
        // The handle's symbol sits once above both lanes, on the top one; the music lane
        // keeps the handle's grip area without a second symbol.
        if (scene.kind == LaneKind::voice)
            painter.drawPixmap(QPointF(playheadX - lane::playheadSymbolSize / 2, 0),
                               art.playheadSymbol);
    }
}

} // namespace tw
