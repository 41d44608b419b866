#include "ui/TimelineView.hpp"

#include "studio/Studio.hpp"
#include "ui/TimelineRuler.hpp"
#include "ui/TrackHeader.hpp"
#include "ui/ViewFields.hpp"
#include "ui/WaveTrack.hpp"

#include <QEvent>
#include <QHBoxLayout>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace tw {

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
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto* headers = new QVBoxLayout;
    headers->setContentsMargins(0, 0, 0, 0);
    headers->setSpacing(0);
    headers->addSpacing(TimelineRuler::stripHeight);
    voiceHeader_->setFixedSize(190, WaveTrack::laneHeight(WaveTrack::Kind::voice));
    musicHeader_->setFixedSize(190, WaveTrack::laneHeight(WaveTrack::Kind::music));
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
    content_->setFixedHeight(TimelineRuler::stripHeight +
                             WaveTrack::laneHeight(WaveTrack::Kind::voice) +
                             WaveTrack::laneHeight(WaveTrack::Kind::music));

    recordHead_->setObjectName(QStringLiteral("recordHead"));
    recordHead_->setFixedSize(1, 1);
    recordHead_->setAttribute(Qt::WA_TransparentForMouseEvents);

    scroll_->setObjectName(QStringLiteral("timelineViewport"));
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    scroll_->setWidgetResizable(false);
    scroll_->setWidget(content_);
    scroll_->setFixedHeight(content_->height() +
                            scroll_->horizontalScrollBar()->sizeHint().height());
    layout->addWidget(scroll_, 1, Qt::AlignTop);

    scroll_->viewport()->installEventFilter(this);
    resizeContent();
    placeRecordHead();
    connect(&studio_, &Studio::fieldChanged, this, &TimelineView::fieldChanged);
}

void TimelineView::fieldChanged(StudioField field)
{
    if (field == StudioField::zoom || field == StudioField::position ||
        affectsDuration(field, studio_))
        resizeContent();
    if (field == StudioField::zoom || field == StudioField::position)
        placeRecordHead();
    if (field == StudioField::position && studio_.recording())
        followRecordHead();
}

bool TimelineView::eventFilter(QObject* watched, QEvent* event)
{
    // The lanes centre their empty-lane texts in the visible width.
    if (watched == scroll_->viewport() && event->type() == QEvent::Resize) {
        const double width = scroll_->viewport()->width();
        voiceLane_->setViewportWidth(width);
        musicLane_->setViewportWidth(width);
    }
    return QWidget::eventFilter(watched, event);
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
    QScrollBar& bar = *scroll_->horizontalScrollBar();
    const int target = recordHead_->x() + recordHead_->width() - scroll_->viewport()->width();
    bar.setValue(std::clamp(target, bar.minimum(), bar.maximum()));
}

} // namespace tw
