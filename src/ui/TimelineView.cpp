#include "ui/TimelineView.hpp"

#include "studio/Studio.hpp"
#include "ui/ControlRow.hpp"
#include "ui/TimelineRuler.hpp"
#include "ui/TrackHeader.hpp"
#include "ui/ViewFields.hpp"
#include "ui/WaveTrack.hpp"

#include <QEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>
#include <QVBoxLayout>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tw {

namespace {

constexpr int headerWidth = 190;
// Where playback that ran off the right edge is shown again: a tenth into the visible area.
constexpr double pageMargin = 0.1;

} // namespace

double timelineContentWidth(double duration, double position, double zoom)
{
    return std::max({duration + 60, position + 30, 120.0}) * zoom;
}

TimelineView::TimelineView(Studio& studio, QWidget* parent)
    : QWidget(parent)
    , studio_(studio)
    , scroll_(new QScrollArea(this))
    , content_(new QWidget)
    , ruler_(new TimelineRuler(studio, scroll_->viewport(), content_))
    , voiceHeader_(new TrackHeader(studio, TrackHeader::Kind::voice, this))
    , musicHeader_(new TrackHeader(studio, TrackHeader::Kind::music, this))
    , voiceLane_(new WaveTrack(studio, WaveTrack::Kind::voice, content_))
    , musicLane_(new WaveTrack(studio, WaveTrack::Kind::music, content_))
    , recordHead_(new QWidget(content_))
    , shownZoom_(studio.zoom())
    , shownPosition_(studio.position())
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto* headers = new QVBoxLayout;
    headers->setContentsMargins(0, 0, 0, 0);
    headers->setSpacing(0);
    headers->addSpacing(TimelineRuler::stripHeight);
    voiceHeader_->setFixedSize(headerWidth, WaveTrack::laneHeight(WaveTrack::Kind::voice));
    musicHeader_->setFixedSize(headerWidth, WaveTrack::laneHeight(WaveTrack::Kind::music));
    headers->addWidget(voiceHeader_);
    headers->addWidget(musicHeader_);
    headers->addStretch(1);
    layout->addLayout(headers);

    auto* lanes = new QVBoxLayout(content_);
    lanes->setContentsMargins(0, 0, 0, 0);
    lanes->setSpacing(0);
    lanes->addWidget(ruler_);
    lanes->addWidget(voiceLane_);
    lanes->addWidget(musicLane_);
    const int lanesHeight = TimelineRuler::stripHeight +
                            WaveTrack::laneHeight(WaveTrack::Kind::voice) +
                            WaveTrack::laneHeight(WaveTrack::Kind::music);
    content_->setFixedHeight(lanesHeight);

    recordHead_->setObjectName(QStringLiteral("recordHead"));
    recordHead_->setFixedSize(1, 1);
    recordHead_->setAttribute(Qt::WA_TransparentForMouseEvents);

    scroll_->setObjectName(QStringLiteral("timelineViewport"));
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    scroll_->setWidgetResizable(false);
    scroll_->setWidget(content_);
    scroll_->setMinimumHeight(lanesHeight + scroll_->horizontalScrollBar()->sizeHint().height());
    layout->addWidget(scroll_, 1);

    for (QWidget* watched : {scroll_->viewport(), content_, static_cast<QWidget*>(ruler_),
                             static_cast<QWidget*>(voiceLane_), static_cast<QWidget*>(musicLane_)})
        watched->installEventFilter(this);
    resizeContent();
    placeRecordHead();
    connect(&studio_, &Studio::fieldChanged, this, &TimelineView::fieldChanged);
}

void TimelineView::fieldChanged(StudioField field)
{
    if (field == StudioField::zoom) {
        zoomChanged();
        return;
    }
    if (field == StudioField::position || affectsDuration(field, studio_))
        resizeContent();
    if (field == StudioField::position) {
        placeRecordHead();
        const double from = std::exchange(shownPosition_, studio_.position());
        if (studio_.recording())
            followRecordHead();
        else if (from != shownPosition_)
            playheadMoved(from);
    }
    // A take shows its record head at the trailing edge from its first moment on.
    if (field == StudioField::recording && studio_.recording())
        followRecordHead();
    // Another project: once its zoom and play head are in place, show where it was left.
    if (field == StudioField::folder)
        QTimer::singleShot(0, this, &TimelineView::revealPlayhead);
}

bool TimelineView::eventFilter(QObject* watched, QEvent* event)
{
    QWidget* viewport = scroll_->viewport();
    if (watched == viewport && event->type() == QEvent::Resize) {
        // The lanes centre their empty-lane texts in the visible width.
        voiceLane_->setViewportWidth(viewport->width());
        musicLane_->setViewportWidth(viewport->width());
        fitLanes();
    } else if (event->type() == QEvent::Wheel) {
        // Wherever it turns over the ruler and the lanes; x as seen in the visible area.
        const auto& turned = *static_cast<QWheelEvent*>(event);
        wheel(turned, static_cast<QWidget*>(watched)->mapTo(viewport, turned.position()).x());
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void TimelineView::fitLanes()
{
    // The music lane's envelope has fixed heights; the voice lane takes what is left.
    const int music = WaveTrack::laneHeight(WaveTrack::Kind::music);
    const int voice = std::max(WaveTrack::laneHeight(WaveTrack::Kind::voice),
                               scroll_->viewport()->height() - TimelineRuler::stripHeight - music);
    if (voiceLane_->height() == voice)
        return;
    voiceLane_->setFixedHeight(voice);
    voiceHeader_->setFixedHeight(voice);
    content_->setFixedHeight(TimelineRuler::stripHeight + voice + music);
}

void TimelineView::resizeContent()
{
    const int width = static_cast<int>(
        std::ceil(timelineContentWidth(studio_.duration(), studio_.position(), studio_.zoom())));
    if (content_->width() != width)
        content_->setFixedWidth(width);
}

void TimelineView::placeRecordHead()
{
    const int x = static_cast<int>(std::lround(studio_.position() * studio_.zoom()));
    if (recordHead_->x() != x)
        recordHead_->move(x, 0);
}

void TimelineView::followRecordHead()
{
    // Scroll so that the marker stands at the trailing edge of the visible area.
    scrollTo(recordHead_->x() + recordHead_->width() - scroll_->viewport()->width());
}

void TimelineView::scrollTo(double x)
{
    QScrollBar& bar = *scroll_->horizontalScrollBar();
    bar.setValue(std::clamp(static_cast<int>(std::lround(x)), bar.minimum(), bar.maximum()));
}

bool TimelineView::visible(double seconds) const
{
    const double x = seconds * studio_.zoom() - scroll_->horizontalScrollBar()->value();
    return x >= 0 && x < scroll_->viewport()->width();
}

void TimelineView::wheel(const QWheelEvent& event, double x)
{
    // Either wheel moves along time, whichever turned more; a touchpad's pixels one to one.
    const QPoint angle = event.angleDelta();
    const int turned = std::abs(angle.x()) > std::abs(angle.y()) ? angle.x() : angle.y();
    if (event.modifiers() & Qt::ControlModifier) {
        if (turned != 0)
            zoomAround(studio_.zoom() * std::pow(wheelZoom, turned / 120.0), x);
        return;
    }
    const QPoint pixels = event.pixelDelta();
    const int moved = pixels.isNull()
                          ? turned * wheelStep / 120
                          : (std::abs(pixels.x()) > std::abs(pixels.y()) ? pixels.x() : pixels.y());
    scrollTo(scroll_->horizontalScrollBar()->value() - moved);
}

void TimelineView::zoomAround(double zoom, double x)
{
    const double now = studio_.zoom();
    double next = std::round(zoom);
    // Every notch changes the zoom, also where rounding would keep it.
    if (next == now)
        next = now + (zoom > now ? 1 : -1);
    next = std::clamp(next, double(ControlRow::minimumZoom), double(ControlRow::maximumZoom));
    if (next == now)
        return;
    zoomAnchor_ = Anchor{(scroll_->horizontalScrollBar()->value() + x) / now, x};
    studio_.zoom = next;
}

TimelineView::Anchor TimelineView::playheadAnchor() const
{
    // Taken before the content follows the new zoom: positions are still at the old one.
    const double left = scroll_->horizontalScrollBar()->value();
    const double width = scroll_->viewport()->width();
    const double x = studio_.position() * shownZoom_ - left;
    if (x >= 0 && x <= width)
        return {studio_.position(), x};
    return {(left + width / 2) / shownZoom_, width / 2};
}

void TimelineView::zoomChanged()
{
    const Anchor anchor = zoomAnchor_.value_or(playheadAnchor());
    zoomAnchor_.reset();
    shownZoom_ = studio_.zoom();
    resizeContent();
    placeRecordHead();
    if (studio_.recording())
        followRecordHead();
    else
        scrollTo(anchor.seconds * shownZoom_ - anchor.x);
}

void TimelineView::playheadMoved(double from)
{
    if (visible(studio_.position()))
        return;
    const double x = studio_.position() * studio_.zoom();
    const double width = scroll_->viewport()->width();
    if (studio_.playing()) {
        // Playback turns the page when it runs out of sight, unless the user looks elsewhere.
        if (visible(from))
            scrollTo(x - width * pageMargin);
        return;
    }
    // A jump (keys, stop, an edit that shortened the programme) is shown; a pointer dragging
    // the play head past the edge does not pull the view after it.
    if (QGuiApplication::mouseButtons() == Qt::NoButton)
        scrollTo(x - width / 2);
}

void TimelineView::revealPlayhead()
{
    if (!visible(studio_.position()))
        scrollTo(studio_.position() * studio_.zoom() - scroll_->viewport()->width() / 2.0);
}

} // namespace tw
