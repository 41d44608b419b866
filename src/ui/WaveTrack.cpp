#include "ui/WaveTrack.hpp"

#include "studio/Studio.hpp"
#include "ui/Icons.hpp"
#include "ui/LaneMenu.hpp"
#include "ui/LanePainter.hpp"
#include "ui/WaveTrackGesture.hpp"

#include <QAbstractScrollArea>
#include <QContextMenuEvent>
#include <QHelpEvent>
#include <QMenu>
#include <QPaintEvent>
#include <QPainter>
#include <QPushButton>
#include <QToolTip>

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

LaneKind laneKind(WaveTrack::Kind kind)
{
    return kind == WaveTrack::Kind::voice ? LaneKind::voice : LaneKind::music;
}

// Half the width of the strip repainted around the play head when it moves: its line and symbol.
constexpr int playheadStrip = 16;

} // namespace

WaveTrack::WaveTrack(Studio& studio, Kind kind, QWidget* parent)
    : QWidget(parent)
    , studio_(studio)
    , kind_(kind)
    , art_(std::make_unique<LaneArt>(LaneArt::make()))
{
    setFixedHeight(laneHeight(kind));
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent, false);
    setAccessibleName(QString::fromUtf8(kind == Kind::voice ? "Pista de voz" : "Pista de música"));
    if (kind == Kind::music) {
        loadMusic_ = new QPushButton(symbolIcon(QStringLiteral("plus.circle.fill")),
                                     QString::fromUtf8("Cargar música"), this);
        loadMusic_->setCursor(Qt::PointingHandCursor);
        loadMusic_->setStyleSheet(QStringLiteral(
            "QPushButton { color: #f0e6ff; background: rgba(191, 90, 242, 0.35);"
            " border: 1px solid rgba(191, 90, 242, 0.7); border-radius: 6px; padding: 4px 12px; }"
            "QPushButton:hover { background: rgba(191, 90, 242, 0.5); }"
            "QPushButton:disabled { color: rgba(240, 230, 255, 0.4); }"));
        connect(loadMusic_, &QPushButton::clicked, this, [this] { studio_.importMusic(); });
    }
    drawnPlayheadX_ = studio_.position() * studio_.zoom();
    connect(&studio_, &Studio::fieldChanged, this, &WaveTrack::fieldChanged);
    refreshControls();
}

WaveTrack::~WaveTrack()
{
    finishOpenGesture();
    if (!hoverKey_.empty() && studio_.hoveredControl() == hoverKey_)
        studio_.hoveredControl = std::nullopt;
}

void WaveTrack::finishOpenGesture()
{
    // Moves, trims and fade drags leave state in the Studio until their end; a gesture that
    // never saw its release (the lane went away, a press came first) still ends, with what it
    // last showed. Clicks and seeks need no ending.
    if (gesture_ && gesture_->active && gesture_->minimumDistance() > 0) {
        const auto gesture = std::move(gesture_);
        dragEnded(*gesture, gesture->start);
    }
    gesture_.reset();
}

int WaveTrack::laneHeight(Kind kind)
{
    return kind == Kind::voice ? lane::voiceHeight : lane::musicHeight;
}

void WaveTrack::setViewportWidth(double width)
{
    viewportWidth_ = width;
    refreshControls();
    update();
}

QSize WaveTrack::sizeHint() const
{
    const double seconds = std::max({studio_.duration() + 60, studio_.position() + 30, 120.0});
    return {static_cast<int>(std::ceil(seconds * studio_.zoom())), laneHeight(kind_)};
}

QString WaveTrack::helpAt(QPointF point) const
{
    const LaneScene current = scene();
    return QString::fromStdString(current.controlAt(point).help(current));
}

LaneScene WaveTrack::scene() const
{
    return LaneScene(studio_, laneKind(kind_), height());
}

bool WaveTrack::idle() const
{
    return !studio_.recording() && !studio_.busy();
}

double WaveTrack::viewportWidth() const
{
    if (viewportWidth_ > 0)
        return std::min(viewportWidth_, static_cast<double>(width()));
    // Not told: the scroll view the lane sits in, if any.
    for (QWidget* up = parentWidget(); up; up = up->parentWidget())
        if (auto* area = qobject_cast<QAbstractScrollArea*>(up))
            return std::min(area->viewport()->width(), width());
    return width();
}

void WaveTrack::fieldChanged(StudioField field)
{
    const bool voice = kind_ == Kind::voice;
    switch (field) {
    case StudioField::position:
        // A growing take is drawn from the position while recording: the whole lane changes.
        if (studio_.recording())
            update();
        else
            playheadMoved();
        break;
    case StudioField::recording:
    case StudioField::busy:
        refreshControls();
        applyCursor(scene().controlAt(pointer_));
        update();
        break;
    case StudioField::project:
        refreshControls();
        update();
        break;
    case StudioField::zoom:
    case StudioField::selection:
    case StudioField::hoveredControl:
        update();
        break;
    case StudioField::voiceTrimPreview:
    case StudioField::selectedClip:
    case StudioField::draggedClip:
    case StudioField::clipDragTime:
    case StudioField::voicePeaks:
    case StudioField::voiceWaveforms:
        if (voice)
            update();
        break;
    case StudioField::musicPeaks:
    case StudioField::musicDuration:
        if (!voice)
            update();
        break;
    default:
        break;
    }
}

void WaveTrack::playheadMoved()
{
    const double x = studio_.position() * studio_.zoom();
    const int h = height();
    update(QRect(static_cast<int>(std::floor(drawnPlayheadX_)) - playheadStrip, 0,
                 2 * playheadStrip, h));
    update(QRect(static_cast<int>(std::floor(x)) - playheadStrip, 0, 2 * playheadStrip, h));
    drawnPlayheadX_ = x;
}

void WaveTrack::refreshControls()
{
    if (!loadMusic_)
        return;
    loadMusic_->setVisible(!studio_.project().musicFile.has_value());
    loadMusic_->setEnabled(idle());
    loadMusic_->adjustSize();
    const QSize size = loadMusic_->sizeHint();
    loadMusic_->setGeometry(static_cast<int>((viewportWidth() - size.width()) / 2),
                            height() / 2 + 4, size.width(), size.height());
}

void WaveTrack::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    const LaneScene current = scene();
    drawnPlayheadX_ = current.xAt(current.position);
    paintLane(painter, current, *art_, QRectF(event->rect()), width(), viewportWidth());
}

void WaveTrack::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    refreshControls();
}

void WaveTrack::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    finishOpenGesture();
    if (!idle())
        return; // gestures started while recording or busy have no effect
    const LaneScene current = scene();
    const QPointF location = event->position();
    gesture_ = std::make_unique<Gesture>(Gesture{current.controlAt(location), location, false});
    // Seeking, selecting and clip bodies answer from the first touch; the others wait for a
    // real movement so that a click on them changes nothing.
    if (gesture_->minimumDistance() == 0) {
        gesture_->active = true;
        dragChanged(current, location);
    }
}

void WaveTrack::mouseMoveEvent(QMouseEvent* event)
{
    pointer_ = event->position();
    pointerInside_ = true;
    if (!gesture_) {
        if (event->buttons() == Qt::NoButton)
            hover(scene().controlAt(pointer_));
        return;
    }
    const QPointF moved = pointer_ - gesture_->start;
    if (!gesture_->active) {
        if (!gesture_->reached(moved))
            return;
        gesture_->active = true;
    }
    if (!idle())
        return;
    dragChanged(scene(), pointer_);
}

void WaveTrack::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !gesture_) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    const auto gesture = std::move(gesture_);
    dragEnded(*gesture, event->position());
    hover(scene().controlAt(event->position()));
}

void WaveTrack::leaveEvent(QEvent* event)
{
    QWidget::leaveEvent(event);
    pointerInside_ = false;
    if (!gesture_)
        hover(LaneControl{});
}

void WaveTrack::contextMenuEvent(QContextMenuEvent* event)
{
    QMenu* menu = nullptr;
    if (kind_ != Kind::voice) {
        // Anywhere in the lane: music that cannot be read has no region to point at.
        if (studio_.project->musicFile)
            menu = makeMusicMenu(studio_, this);
    } else if (const LaneControl control = scene().controlAt(event->pos()); control.clip) {
        menu = makeClipMenu(studio_, *control.clip, this);
    }
    if (!menu)
        return;
    menu->exec(event->globalPos());
    menu->deleteLater();
}

bool WaveTrack::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        auto* help = static_cast<QHelpEvent*>(event);
        const QString text = helpAt(help->pos());
        if (text.isEmpty()) {
            QToolTip::hideText();
            event->ignore();
        } else {
            QToolTip::showText(help->globalPos(), text, this);
        }
        return true;
    }
    return QWidget::event(event);
}

} // namespace tw
