#include "ui/TapeDeck.hpp"
#include "ui/Shading.hpp"

#include "base/Clock.hpp"
#include "studio/ReelPhysics.hpp"
#include "studio/Studio.hpp"

#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tw {

namespace {

constexpr int frameInterval = 16; // ms, about one display frame
// A tape pack is drawn again once its diameter has changed by this many points.
constexpr double packStep = 0.1;

QColor lampColour(DeckLamp lamp)
{
    switch (lamp) {
    case DeckLamp::red:
        return QColor(240, 50, 40);
    case DeckLamp::green:
        return QColor(60, 220, 90);
    case DeckLamp::yellow:
        return QColor(250, 200, 40);
    case DeckLamp::grey:
        break;
    }
    return QColor(110, 110, 115);
}

// Pack diameter in points for a radius in metres: 0.1335 m fills the 64-point frame.
double packDiameter(double radius)
{
    return std::min(radius / 0.1335 * 64.0, 62.0);
}

// One reel's tape pack of the given diameter in its 64-point frame, with the shadow under the
// reel: dark oxide with faint winding rings. The flange is drawn over it (drawFlange).
void drawPack(QPainter& painter, QRectF frame, double diameter)
{
    const double outer = frame.width() / 2;
    painter.save();
    painter.translate(frame.center());
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 90));
    painter.drawEllipse(QPointF(1.5, 2.5), outer, outer);

    const double pack = diameter / 2;
    QRadialGradient oxide(QPointF(0, 0), pack);
    oxide.setColorAt(0, QColor(60, 38, 26));
    oxide.setColorAt(0.85, QColor(88, 58, 38));
    oxide.setColorAt(1, QColor(48, 30, 20));
    painter.setBrush(oxide);
    painter.drawEllipse(QPointF(0, 0), pack, pack);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(255, 220, 180, 18), 0.6));
    for (double ring = 9; ring < pack - 1; ring += 3.5)
        painter.drawEllipse(QPointF(0, 0), ring, ring);
    painter.restore();
}

// The metal flange with three windows onto the pack, and the hub with its drive teeth, centred
// on the origin at angle 0, outer being the flange's radius.
void drawFlange(QPainter& painter, double outer)
{
    QPainterPath flange;
    flange.addEllipse(QPointF(0, 0), outer, outer);
    for (int i = 0; i < 3; ++i) {
        QPainterPath window;
        const double start = i * 120.0 + 20.0;
        const QRectF outerBox(-outer + 5, -outer + 5, 2 * (outer - 5), 2 * (outer - 5));
        window.arcMoveTo(outerBox, start);
        window.arcTo(outerBox, start, 80);
        const QRectF innerBox(-12, -12, 24, 24);
        window.arcTo(innerBox, start + 80, -80);
        window.closeSubpath();
        flange = flange.subtracted(window);
    }
    QConicalGradient metal(QPointF(0, 0), 45);
    metal.setColorAt(0.00, QColor(215, 218, 222, 235));
    metal.setColorAt(0.25, QColor(150, 154, 160, 235));
    metal.setColorAt(0.50, QColor(225, 228, 232, 235));
    metal.setColorAt(0.75, QColor(140, 144, 150, 235));
    metal.setColorAt(1.00, QColor(215, 218, 222, 235));
    painter.setPen(QPen(QColor(40, 40, 44, 200), 0.8));
    painter.setBrush(metal);
    painter.drawPath(flange);

    litDisc(painter, {0, 0}, 8, {-1.5, -1.5}, 9, {{0, QColor(90, 92, 98)}, {1, QColor(28, 28, 32)}},
            QPen(QColor(0, 0, 0, 160), 0.6));
    painter.setBrush(QColor(200, 200, 205));
    painter.setPen(Qt::NoPen);
    for (int i = 0; i < 3; ++i) {
        painter.save();
        painter.rotate(i * 120.0);
        painter.drawRect(QRectF(-1, -7.5, 2, 3.5));
        painter.restore();
    }
    painter.setBrush(QColor(15, 15, 18));
    painter.drawEllipse(QPointF(0, 0), 2.5, 2.5);
}

// A transparent image of the widget's size (at the screen's density) to draw still parts into.
QPixmap layer(const QWidget& widget, QSize size)
{
    const qreal ratio = widget.devicePixelRatioF();
    QPixmap image(size * ratio);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    return image;
}

// A small needle meter: cream face, red needle rotated from −45° (silence) to +45°.
void drawDeckMeter(QPainter& painter, QRectF face, double level)
{
    painter.setPen(QPen(QColor(0, 0, 0, 140), 0.8));
    painter.setBrush(QColor::fromRgbF(0.94f, 0.90f, 0.73f));
    painter.drawRoundedRect(face, 2, 2);
    const QPointF pivot(face.center().x(), face.bottom() - 3);
    painter.setPen(QPen(QColor(0, 0, 0, 110), 0.5));
    for (int i = 0; i <= 4; ++i) {
        const double a = (-45.0 + 22.5 * i - 90.0) * std::numbers::pi / 180.0;
        const QPointF d(std::cos(a), std::sin(a));
        painter.drawLine(pivot + d * 10.5, pivot + d * 12.5);
    }
    painter.save();
    painter.translate(pivot);
    painter.rotate(deckNeedleRotation(level));
    QColor red(220, 20, 20);
    red.setAlphaF(0.8f);
    painter.setPen(QPen(red, 1.0, Qt::SolidLine, Qt::FlatCap));
    painter.drawLine(QPointF(0, 0), QPointF(0, -9));
    painter.restore();
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(30, 30, 30));
    painter.drawEllipse(pivot, 1.4, 1.4);
}

} // namespace

TapeDeck::TapeDeck(Studio& studio, const Clock& clock, QWidget* parent)
    : QWidget(parent)
    , studio_(studio)
    , clock_(clock)
{
    setFixedSize(sizeHint());
    frames_.setInterval(frameInterval);
    frames_.setTimerType(Qt::PreciseTimer);
    connect(&frames_, &QTimer::timeout, this, [this] { update(movingParts()); });
    connect(&studio_, &Studio::fieldChanged, this, &TapeDeck::fieldChanged);
    transportChanged();
}

DeckTransport TapeDeck::transport() const
{
    return {studio_.countdown(),       studio_.shuttleDirection(), studio_.recording(),
            studio_.recordingPaused(), studio_.playing(),          studio_.pauseEngaged()};
}

QString TapeDeck::status() const
{
    return QString::fromStdString(deckStatus(transport()));
}

DeckLamp TapeDeck::lamp() const
{
    return deckLamp(transport());
}

float TapeDeck::level() const
{
    return deckLevel(studio_.recording(), studio_.playing(), studio_.meter(), studio_.position(),
                     studio_.project(), studio_.voiceWaveforms());
}

std::pair<double, double> TapeDeck::reelAngles() const
{
    const double factor = reelSpeedFactor(transport());
    const double dt = reelFrameDelta(clock_.now(), studio_.previousReelTick);
    const auto speeds = ReelPhysics::angularSpeeds(studio_.position(), studio_.duration());
    return {reelDrawAngle(studio_.reelAngle, factor, dt, speeds.supply),
            reelDrawAngle(studio_.rightReelAngle, factor, dt, speeds.takeup)};
}

void TapeDeck::fieldChanged(StudioField field)
{
    switch (field) {
    case StudioField::countdown:
    case StudioField::shuttleDirection:
    case StudioField::recording:
    case StudioField::recordingPaused:
    case StudioField::playing:
    case StudioField::pauseEngaged:
        transportChanged();
        break;
    case StudioField::meter:
    case StudioField::position:
    case StudioField::project:
    case StudioField::voiceWaveforms:
        // Level and tape packs. While the reels turn, the frames redraw the packs; the meters
        // follow the level here, at the pace it changes rather than at every frame.
        if (frames_.isActive())
            update(meterParts());
        else
            update();
        break;
    default:
        break;
    }
}

void TapeDeck::transportChanged()
{
    setAccessibleName(QString::fromStdString(deckAccessibleName(deckStatus(transport()))));
    // Frame-rate redraws only while the reels turn; a standing deck repaints on changes alone.
    if (reelSpeedFactor(transport()) != 0)
        frames_.start();
    else
        frames_.stop();
    update();
}

namespace {

// The reels' frames and the tape path, in deck coordinates.
constexpr double reelSide = 64;
QRectF leftReelFrame()
{
    return {44, 36, reelSide, reelSide};
}
QRectF rightReelFrame(double width)
{
    return {width - 44 - reelSide, 36, reelSide, reelSide};
}
QRectF meterFace(double width, bool left)
{
    return {width / 2.0 + (left ? -40 : 4), 144, 36, 24};
}

} // namespace

void TapeDeck::prepareStillParts()
{
    const double w = width();
    const double h = height();
    {
        body_ = layer(*this, size());
        QPainter painter(&body_);
        painter.setRenderHint(QPainter::Antialiasing);
        const QRectF body = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);

        // Body: dark anodised panel with a lighter top edge.
        shadedRoundedRect(
            painter, body, 10,
            {{0, QColor(54, 55, 60)}, {0.5, QColor(36, 37, 41)}, {1, QColor(26, 26, 30)}},
            QPen(QColor(255, 255, 255, 36), 1));
        for (QPointF corner :
             {QPointF(8, 8), QPointF(w - 8, 8), QPointF(8, h - 8), QPointF(w - 8, h - 8)})
            drawScrew(painter, corner, 2.5);

        painter.setFont(engravedFont(font(), 9, 1.4));
        painter.setPen(QColor(190, 192, 198));
        painter.drawText(QRectF(18, 8, 200, 16), Qt::AlignLeft | Qt::AlignVCenter,
                         QStringLiteral("REEL TO REEL • MASTER"));

        painter.setFont(engravedFont(font(), 7));
        painter.setPen(QColor(150, 152, 158));
        painter.drawText(QRectF(meterFace(w, true).left(), 170, 36, 10), Qt::AlignCenter,
                         QStringLiteral("L"));
        painter.drawText(QRectF(meterFace(w, false).left(), 170, 36, 10), Qt::AlignCenter,
                         QStringLiteral("R"));
    }
    {
        // Rollers and head block, which lie over the tape.
        heads_ = layer(*this, size());
        QPainter painter(&heads_);
        painter.setRenderHint(QPainter::Antialiasing);
        for (QPointF roller : {QPointF(132, 124), QPointF(w - 132, 124)})
            litDisc(painter, roller, 4.5, {-1.2, -1.2}, 5,
                    {{0, QColor(235, 235, 240)}, {1, QColor(90, 92, 98)}},
                    QPen(QColor(0, 0, 0, 150), 0.6));
        const QRectF heads(w / 2.0 - 26, 117, 52, 14);
        shadedRoundedRect(painter, heads, 3, {{0, QColor(190, 192, 198)}, {1, QColor(95, 97, 104)}},
                          QPen(QColor(0, 0, 0, 160), 0.7));
        painter.setPen(QPen(QColor(30, 30, 34), 1));
        for (int i = 0; i < 3; ++i) {
            const double x = heads.left() + 10 + i * 16;
            painter.drawLine(QPointF(x, heads.top() + 3), QPointF(x, heads.bottom() - 3));
        }
    }
    {
        // One flange, with a point of room for its outline.
        flange_ = layer(*this, QSize(reelSide + 2, reelSide + 2));
        QPainter painter(&flange_);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.translate(reelSide / 2 + 1, reelSide / 2 + 1);
        drawFlange(painter, reelSide / 2);
    }
}

QRegion TapeDeck::movingParts() const
{
    // The reels, with their shadows and outlines, turn every frame. The tape from each pack to
    // the rollers moves only as the packs grow and shrink, when a pack image is due again.
    QRegion parts(leftReelFrame().adjusted(-3, -3, 4, 5).toAlignedRect());
    parts += rightReelFrame(width()).adjusted(-3, -3, 4, 5).toAlignedRect();
    const auto radii = ReelPhysics::packRadii(studio_.position(), studio_.duration());
    if (std::abs(packDiameter(radii.supply) - packDiameters_[0]) >= packStep ||
        std::abs(packDiameter(radii.takeup) - packDiameters_[1]) >= packStep)
        parts += QRect(70, 66, width() - 140, 64);
    return parts;
}

QRegion TapeDeck::meterParts() const
{
    QRegion parts(meterFace(width(), true).adjusted(-1, -1, 1, 1).toAlignedRect());
    parts += meterFace(width(), false).adjusted(-1, -1, 1, 1).toAlignedRect();
    return parts;
}

const QPixmap& TapeDeck::packImage(int reel, double diameter)
{
    if (std::abs(diameter - packDiameters_[reel]) >= packStep || packs_[reel].isNull() ||
        packs_[reel].devicePixelRatio() != devicePixelRatioF()) {
        // Room for the shadow, which sits 1.5 right and 2.5 below the reel.
        packs_[reel] = layer(*this, QSize(reelSide + 8, reelSide + 8));
        QPainter painter(&packs_[reel]);
        painter.setRenderHint(QPainter::Antialiasing);
        drawPack(painter, QRectF(2, 2, reelSide, reelSide), diameter);
        packDiameters_[reel] = diameter;
    }
    return packs_[reel];
}

void TapeDeck::paintEvent(QPaintEvent* event)
{
    if (body_.isNull() || body_.devicePixelRatio() != devicePixelRatioF() ||
        body_.deviceIndependentSize() != QSizeF(size()))
        prepareStillParts();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.drawPixmap(0, 0, body_);

    // Status window with its lamp; frames of turning reels leave it alone.
    const DeckTransport now = transport();
    const QRectF window(width() - 104, 7, 86, 18);
    if (event->region().intersects(window.toAlignedRect().adjusted(-2, -2, 2, 2))) {
        painter.setPen(QPen(QColor(0, 0, 0, 180), 1));
        painter.setBrush(QColor(12, 12, 14));
        painter.drawRoundedRect(window, 4, 4);
        const QColor lit = lampColour(deckLamp(now));
        const QPointF lampAt(window.left() + 11, window.center().y());
        if (deckLamp(now) != DeckLamp::grey) {
            QColor halo = lit, clear = lit;
            halo.setAlpha(110);
            clear.setAlpha(0);
            litDisc(painter, lampAt, 9, {0, 0}, 9, {{0, halo}, {1, clear}}, Qt::NoPen);
        }
        litDisc(
            painter, lampAt, 4.2, {-1, -1}, 5,
            {{0, lit.lighter(160)}, {1, lit.darker(deckLamp(now) == DeckLamp::grey ? 180 : 120)}},
            QPen(QColor(0, 0, 0, 200), 0.6));
        painter.setFont(engravedFont(font(), 11, 1.0));
        painter.setPen(deckLamp(now) == DeckLamp::grey ? QColor(170, 172, 178) : lit);
        painter.drawText(window.adjusted(20, 0, -6, 0), Qt::AlignCenter,
                         QString::fromStdString(deckStatus(now)));
    }

    // The tape between the packs, under the rollers and heads.
    const QRectF leftFrame = leftReelFrame();
    const QRectF rightFrame = rightReelFrame(width());
    const auto radii = ReelPhysics::packRadii(studio_.position(), studio_.duration());
    const auto [leftAngle, rightAngle] = reelAngles();
    const QPointF leftRoller(132, 124), rightRoller(width() - 132, 124);
    const double leftPack = packDiameter(radii.supply) / 2;
    const double rightPack = packDiameter(radii.takeup) / 2;
    painter.setPen(QPen(QColor(70, 44, 28), 1.6));
    // The tape leaves the left pack on its right side and reaches the right pack on its left.
    painter.drawLine(leftFrame.center() + QPointF(leftPack * 0.6, leftPack * 0.8), leftRoller);
    painter.drawLine(leftRoller + QPointF(0, 4), rightRoller + QPointF(0, 4));
    painter.drawLine(rightRoller, rightFrame.center() + QPointF(-rightPack * 0.6, rightPack * 0.8));
    painter.drawPixmap(0, 0, heads_);

    // The reels: each pack, then the flange turned to the reel's angle.
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QRectF frames[2] = {leftFrame, rightFrame};
    const double angles[2] = {leftAngle, rightAngle};
    const double packs[2] = {radii.supply, radii.takeup};
    for (int reel = 0; reel < 2; ++reel) {
        painter.drawPixmap(frames[reel].topLeft() - QPointF(2, 2),
                           packImage(reel, packDiameter(packs[reel])));
        painter.save();
        painter.translate(frames[reel].center());
        painter.rotate(angles[reel]);
        painter.drawPixmap(QPointF(-reelSide / 2 - 1, -reelSide / 2 - 1), flange_);
        painter.restore();
    }

    // The two small meters: the deck level and 0.9 of it.
    const float shown = level();
    drawDeckMeter(painter, meterFace(width(), true), shown);
    drawDeckMeter(painter, meterFace(width(), false), shown * 0.9);
}

} // namespace tw
