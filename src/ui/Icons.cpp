#include "ui/Icons.hpp"

#include <QPainter>
#include <QPainterPath>

#include <cmath>
#include <initializer_list>
#include <map>
#include <numbers>

namespace tw {

namespace {

// Symbol name → theme icon name. Adwaita ships its action icons as symbolic variants only.
const std::vector<std::pair<QString, QString>>& mapping()
{
    static const std::vector<std::pair<QString, QString>> names{
        {"play.fill", "media-playback-start-symbolic"},
        {"pause.fill", "media-playback-pause-symbolic"},
        {"stop.fill", "media-playback-stop-symbolic"},
        {"record.circle.fill", "media-record-symbolic"},
        {"backward.end.fill", "media-skip-backward-symbolic"},
        {"forward.end.fill", "media-skip-forward-symbolic"},
        {"gobackward.5", "media-seek-backward-symbolic"},
        {"goforward.5", "media-seek-forward-symbolic"},
        {"mic", "audio-input-microphone-symbolic"},
        {"mic.fill", "audio-input-microphone-symbolic"},
        {"music.note", "audio-x-generic-symbolic"},
        {"music.note.list", "view-list-symbolic"},
        {"arrow.clockwise", "view-refresh-symbolic"},
        {"arrow.counterclockwise", "edit-undo-symbolic"},
        {"crop", "image-crop-symbolic"},
        {"rectangle.split.2x1", "view-dual-symbolic"},
        {"play.square", "media-playback-start-symbolic"},
        {"scissors", "edit-cut-symbolic"},
        {"waveform.badge.mic", "audio-input-microphone-symbolic"},
        {"checkmark.circle.fill", "emblem-ok-symbolic"},
        {"waveform.path", "audio-x-generic-symbolic"},
        {"speaker.wave.2", "audio-volume-medium-symbolic"},
        {"speaker.slash", "audio-volume-muted-symbolic"},
        {"doc.badge.plus", "document-new-symbolic"},
        {"folder", "folder-symbolic"},
        {"square.and.arrow.down", "document-save-symbolic"},
        {"square.and.arrow.up", "document-send-symbolic"},
        {"plus.circle.fill", "list-add-symbolic"},
        {"plus.rectangle", "tab-new-symbolic"},
        {"line.3.horizontal", "open-menu-symbolic"},
        {"arrowtriangle.down.fill", "pan-down-symbolic"},
    };
    return names;
}

// Symbols whose theme icon says something else than ours: always drawn.
bool preferPainted(const QString& symbol)
{
    // The seek icons lack the "5", the theme's generic audio icon is not a waveform, and its undo
    // arrow is not the reset arrow.
    return symbol == "gobackward.5" || symbol == "goforward.5" || symbol == "waveform.path" ||
           symbol == "waveform.badge.mic" || symbol == "play.square" || symbol == "mic.fill" ||
           symbol == "music.note.list" || symbol == "arrow.counterclockwise";
}

QPixmap tinted(const QPixmap& source, const QColor& colour)
{
    QPixmap result(source.size());
    result.setDevicePixelRatio(source.devicePixelRatio());
    result.fill(Qt::transparent);
    QPainter painter(&result);
    painter.drawPixmap(0, 0, source);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(result.rect(), colour);
    return result;
}

// Adds a line through points to path, closed into an outline when asked.
QPainterPath& addPolyline(QPainterPath& path, std::initializer_list<QPointF> points,
                          bool closed = false)
{
    auto point = points.begin();
    path.moveTo(*point);
    while (++point != points.end())
        path.lineTo(*point);
    if (closed)
        path.closeSubpath();
    return path;
}

QPainterPath polyline(std::initializer_list<QPointF> points, bool closed = false)
{
    QPainterPath path;
    return addPolyline(path, points, closed);
}

// A plus sign centred in the box, each arm half long.
QPainterPath plus(double half)
{
    QPainterPath path;
    addPolyline(path, {{12, 12 - half}, {12, 12 + half}});
    return addPolyline(path, {{12 - half, 12}, {12 + half, 12}});
}

void filled(QPainter& p, const QPainterPath& path)
{
    p.setBrush(p.pen().color());
    p.drawPath(path);
}

void outlined(QPainter& p, const QPainterPath& path)
{
    p.setBrush(Qt::NoBrush);
    p.drawPath(path);
}

// count horizontal rules from x0 to x1, the first at y, step apart.
void rules(QPainter& p, int count, double x0, double x1, double y, double step)
{
    for (int i = 0; i < count; ++i)
        p.drawLine(QPointF(x0, y + i * step), QPointF(x1, y + i * step));
}

// A filled disc with mark cut out of it (the check and the plus badges).
void discWithCutout(QPainter& p, const QPainterPath& mark)
{
    p.setBrush(p.pen().color());
    p.drawEllipse(QPointF(12, 12), 9.5, 9.5);
    p.save();
    p.setCompositionMode(QPainter::CompositionMode_Clear);
    p.setPen(QPen(Qt::black, 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    outlined(p, mark);
    p.restore();
}

// A wide rounded frame (the split view and the new tab).
void frame(QPainter& p)
{
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(QRectF(3, 5, 18, 14), 2.5, 2.5);
}

// The skip-to-end glyph; skip-to-start is its mirror image.
void skip(QPainter& p, bool forward)
{
    const auto x = [forward](double at) { return forward ? at : 24 - at; };
    p.setBrush(p.pen().color());
    p.drawRect(QRectF(std::min(x(17.1), x(19.5)), 5, 2.4, 14));
    filled(p, polyline({{x(5), 5}, {x(5), 19}, {x(16.5), 12}}, true));
}

// A circular arrow of about 300° around centre, its head at the end, turning clockwise.
void circularArrow(QPainter& p, QPointF centre, double radius, bool clockwise)
{
    const QRectF box(centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius);
    QPainterPath arc;
    const double start = clockwise ? 60 : 120, span = clockwise ? -290 : 290;
    arc.arcMoveTo(box, start);
    arc.arcTo(box, start, span);
    outlined(p, arc);
    const double end = (start + span) * std::numbers::pi / 180;
    const QPointF tip(centre.x() + radius * std::cos(end), centre.y() - radius * std::sin(end));
    const double side = clockwise ? 1 : -1;
    filled(p, polyline({tip + QPointF(-3.2 * side, -2.6), tip + QPointF(3.2 * side, -2.6),
                        tip + QPointF(0.5 * side, 3)},
                       true));
}

void microphone(QPainter& p, bool solid)
{
    p.setBrush(solid ? QBrush(p.pen().color()) : Qt::NoBrush);
    p.drawRoundedRect(QRectF(8.5, 2.5, 7, 12), 3.5, 3.5);
    QPainterPath cup;
    cup.moveTo(5.5, 10.5);
    cup.cubicTo(5.5, 19, 18.5, 19, 18.5, 10.5);
    outlined(p, cup);
    p.drawLine(QPointF(12, 17), QPointF(12, 21));
    p.drawLine(QPointF(8.5, 21), QPointF(15.5, 21));
}

void waveform(QPainter& p, double left, double right)
{
    const double heights[] = {3, 7, 12, 6, 15, 9, 4, 10, 5};
    const int n = 9;
    for (int i = 0; i < n; ++i) {
        const double x = left + (right - left) * i / (n - 1);
        p.drawLine(QPointF(x, 12 - heights[i] / 2), QPointF(x, 12 + heights[i] / 2));
    }
}

void note(QPainter& p, QPointF head)
{
    p.setBrush(p.pen().color());
    p.drawEllipse(head, 3, 2.4);
    p.drawLine(head + QPointF(2.8, 0), head + QPointF(2.8, -12));
    p.drawLine(head + QPointF(2.8, -12), head + QPointF(7, -9));
}

// Draws a symbol in a 24 × 24 box with the painter's pen colour.
void drawSymbol(QPainter& p, const QString& s)
{
    const QBrush fill(p.pen().color());
    if (s == "play.fill") {
        filled(p, polyline({{7, 4.5}, {19.5, 12}, {7, 19.5}}, true));
    } else if (s == "pause.fill") {
        p.setBrush(fill);
        p.drawRoundedRect(QRectF(6, 4.5, 4.2, 15), 1, 1);
        p.drawRoundedRect(QRectF(13.8, 4.5, 4.2, 15), 1, 1);
    } else if (s == "stop.fill") {
        p.setBrush(fill);
        p.drawRoundedRect(QRectF(5.5, 5.5, 13, 13), 2, 2);
    } else if (s == "record.circle.fill") {
        p.setBrush(Qt::NoBrush);
        p.drawEllipse(QPointF(12, 12), 9, 9);
        p.setBrush(fill);
        p.drawEllipse(QPointF(12, 12), 6, 6);
    } else if (s == "backward.end.fill" || s == "forward.end.fill") {
        skip(p, s == "forward.end.fill");
    } else if (s == "gobackward.5" || s == "goforward.5") {
        circularArrow(p, {12, 12.5}, 8.5, s == "goforward.5");
        QFont digit = p.font();
        digit.setPixelSize(9);
        digit.setBold(true);
        p.setFont(digit);
        p.drawText(QRectF(6, 7, 12, 11), Qt::AlignCenter, QStringLiteral("5"));
    } else if (s == "mic" || s == "mic.fill") {
        microphone(p, s == "mic.fill");
    } else if (s == "music.note") {
        note(p, {9, 18});
    } else if (s == "music.note.list") {
        rules(p, 3, 3, 12, 5, 5);
        note(p, {14, 19});
    } else if (s == "arrow.clockwise" || s == "arrow.counterclockwise") {
        circularArrow(p, {12, 12.5}, 7.5, s == "arrow.clockwise");
    } else if (s == "crop") {
        QPainterPath marks;
        addPolyline(marks, {{7, 3}, {7, 17}, {21, 17}});
        outlined(p, addPolyline(marks, {{3, 7}, {17, 7}, {17, 21}}));
    } else if (s == "rectangle.split.2x1") {
        frame(p);
        p.drawLine(QPointF(12, 5), QPointF(12, 19));
    } else if (s == "play.square") {
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(QRectF(3.5, 3.5, 17, 17), 3, 3);
        filled(p, polyline({{9.5, 8}, {16.5, 12}, {9.5, 16}}, true));
    } else if (s == "scissors") {
        p.setBrush(Qt::NoBrush);
        p.drawEllipse(QPointF(6.5, 17), 3, 3);
        p.drawEllipse(QPointF(17.5, 17), 3, 3);
        p.drawLine(QPointF(8.5, 14.8), QPointF(17.5, 3.5));
        p.drawLine(QPointF(15.5, 14.8), QPointF(6.5, 3.5));
    } else if (s == "waveform.badge.mic") {
        waveform(p, 2.5, 12.5);
        p.save();
        p.translate(11, 8);
        p.scale(0.55, 0.55);
        microphone(p, true);
        p.restore();
    } else if (s == "checkmark.circle.fill") {
        discWithCutout(p, polyline({{7.5, 12.5}, {10.8, 15.6}, {16.5, 8.8}}));
    } else if (s == "waveform.path") {
        waveform(p, 3, 21);
    } else if (s == "speaker.wave.2" || s == "speaker.slash") {
        filled(p, polyline({{3, 9}, {7, 9}, {12, 4.5}, {12, 19.5}, {7, 15}, {3, 15}}, true));
        p.setBrush(Qt::NoBrush);
        if (s == "speaker.wave.2") {
            p.drawArc(QRectF(9, 8, 8, 8), -60 * 16, 120 * 16);
            p.drawArc(QRectF(8, 4.5, 13, 15), -60 * 16, 120 * 16);
        } else {
            p.drawLine(QPointF(15, 9), QPointF(21, 15));
            p.drawLine(QPointF(21, 9), QPointF(15, 15));
        }
    } else if (s == "doc.badge.plus") {
        outlined(p, polyline({{11, 21}, {5, 21}, {5, 3}, {13, 3}, {18, 8}, {18, 11}}));
        p.drawLine(QPointF(17, 13.5), QPointF(17, 21.5));
        p.drawLine(QPointF(13, 17.5), QPointF(21, 17.5));
    } else if (s == "folder") {
        outlined(p, polyline({{3, 6.5}, {9, 6.5}, {11, 8.5}, {21, 8.5}, {21, 19}, {3, 19}}, true));
    } else if (s == "square.and.arrow.down" || s == "square.and.arrow.up") {
        outlined(p, polyline({{8, 10}, {5, 10}, {5, 21}, {19, 21}, {19, 10}, {16, 10}}));
        const bool down = s == "square.and.arrow.down";
        p.drawLine(QPointF(12, down ? 2.5 : 4), QPointF(12, down ? 15 : 16));
        const double y = down ? 15 : 3.5, dy = down ? -4 : 4;
        p.drawPath(polyline({{8, y + dy}, {12, y}, {16, y + dy}}));
    } else if (s == "plus.circle.fill") {
        discWithCutout(p, plus(4.5));
    } else if (s == "plus.rectangle") {
        frame(p);
        p.drawPath(plus(3.5));
    } else if (s == "line.3.horizontal") {
        rules(p, 3, 4, 20, 6.5, 5.5);
    } else if (s == "arrowtriangle.down.fill") {
        filled(p, polyline({{5, 8}, {19, 8}, {12, 17}}, true));
    }
}

} // namespace

void useStudioIconTheme()
{
    QIcon::setThemeName(QStringLiteral("Adwaita"));
}

std::optional<QString> themeIconName(const QString& symbol)
{
    for (const auto& [name, theme] : mapping())
        if (name == symbol)
            return theme;
    return std::nullopt;
}

const std::vector<QString>& symbolNames()
{
    static const std::vector<QString> names = [] {
        std::vector<QString> all;
        for (const auto& entry : mapping())
            all.push_back(entry.first);
        return all;
    }();
    return names;
}

QPixmap paintedSymbol(const QString& symbol, const QColor& colour, int size)
{
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size / 24.0, size / 24.0);
    painter.setPen(QPen(colour, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    drawSymbol(painter, symbol);
    return pixmap;
}

QIcon symbolIcon(const QString& symbol, const QColor& colour)
{
    const std::optional<QString> theme = themeIconName(symbol);
    QIcon icon;
    if (theme && !preferPainted(symbol) && QIcon::hasThemeIcon(*theme)) {
        // Symbolic theme icons are drawn dark; recolour them for the dark panels.
        const QIcon source = QIcon::fromTheme(*theme);
        for (int size : {16, 24, 32, 48})
            icon.addPixmap(tinted(source.pixmap(size, size), colour));
        return icon;
    }
    for (int size : {16, 24, 32, 48})
        icon.addPixmap(paintedSymbol(symbol, colour, size));
    return icon;
}

} // namespace tw
