// The lane's pointer gestures turned into Studio calls, and its hover keys and cursors. Main
// thread.
#include "studio/Studio.hpp"
#include "ui/WaveTrackGesture.hpp"

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

using Type = LaneControl::Type;

TimeRange rangeOf(const Segment& clip)
{
    const double start = clip.timelineStart.value_or(0.0);
    return {start, start + clip.duration};
}

bool isClick(QPointF moved)
{
    return std::abs(moved.x()) <= lane::clickDistance;
}

// The selection between the drag's start and its current location, either way round.
TimeRange spanned(const LaneScene& scene, QPointF from, QPointF to)
{
    const double a = scene.selectionTimeAt(from.x());
    const double b = scene.selectionTimeAt(to.x());
    return {std::min(a, b), std::max(a, b)};
}

} // namespace

void WaveTrack::dragChanged(const LaneScene& scene, QPointF location)
{
    const Gesture& gesture = *gesture_;
    const QPointF moved = location - gesture.start;
    const double seconds = moved.x() / scene.zoom;
    switch (gesture.control.type) {
    case Type::playhead:
        studio_.seek(location.x() / scene.zoom);
        break;
    case Type::background:
        if (kind_ == Kind::voice && !isClick(moved))
            studio_.selection = spanned(scene, gesture.start, location);
        break;
    case Type::clipBody:
        if (studio_.selectedClip() != gesture.control.clip->id)
            studio_.selectedClip = gesture.control.clip->id;
        if (!isClick(moved))
            studio_.selection = spanned(scene, gesture.start, location);
        break;
    case Type::clipHeader: {
        const Segment& clip = *gesture.control.clip;
        setCursor(Qt::ClosedHandCursor);
        if (studio_.selectedClip() != clip.id)
            studio_.selectedClip = clip.id;
        if (studio_.draggedClip() != clip.id)
            studio_.draggedClip = clip.id;
        studio_.clipDragTime = std::max(0.0, clip.timelineStart.value_or(0.0) + seconds);
        break;
    }
    case Type::voiceGrip:
        studio_.previewVoiceTrim(*gesture.control.clip, gesture.control.left, seconds);
        break;
    case Type::musicGrip:
        studio_.previewMusicTrim(gesture.control.left, seconds);
        break;
    case Type::fade:
        changeFade(gesture.control.index, location);
        break;
    }
}

void WaveTrack::changeFade(int index, QPointF location)
{
    if (!studio_.fadeEditing) {
        studio_.checkpoint(); // one undo step for the whole drag
        studio_.fadeEditing = true;
    }
    const MusicRange range = studio_.project().musicRange(studio_.musicDuration());
    const Fades now = studio_.project().fades(range.duration);
    const double t = std::clamp(location.x() / studio_.zoom() - range.offset, 0.0, range.duration);
    // Each point stays between its neighbours, so the four can never cross.
    studio_.project.mutate([&](PodcastProject& project) {
        switch (index) {
        case 0:
            project.fadeInStart = std::min(t, now.inEnd);
            break;
        case 1:
            project.fadeInEnd = std::min(std::max(t, now.inStart), now.outStart);
            break;
        case 2:
            project.fadeOutStart = std::min(std::max(t, now.inEnd), now.outEnd);
            break;
        default:
            project.fadeOutEnd = std::max(t, now.outStart);
            break;
        }
    });
    studio_.updateMix(); // heard at once
}

void WaveTrack::dragEnded(const Gesture& gesture, QPointF location)
{
    const QPointF moved = location - gesture.start;
    const double zoom = studio_.zoom();
    switch (gesture.control.type) {
    case Type::playhead:
        break;
    case Type::background:
        if (isClick(moved) && idle()) {
            studio_.selection = std::nullopt;
            studio_.seek(location.x() / zoom);
        }
        break;
    case Type::clipBody:
        if (isClick(moved) && idle()) {
            studio_.selection = rangeOf(*gesture.control.clip);
            studio_.seek(location.x() / zoom);
        }
        break;
    case Type::clipHeader:
        if (gesture.active) {
            if (const std::optional<double> to = studio_.clipDragTime())
                studio_.moveClip(gesture.control.clip->id, *to);
            studio_.draggedClip = std::nullopt;
            studio_.clipDragTime = std::nullopt;
            setCursor(Qt::OpenHandCursor);
        } else if (idle()) {
            // A tap on the header selects the clip and its range.
            studio_.selectedClip = gesture.control.clip->id;
            studio_.selection = rangeOf(*gesture.control.clip);
        }
        break;
    case Type::voiceGrip:
        if (gesture.active)
            studio_.commitVoiceTrim();
        break;
    case Type::musicGrip:
        if (gesture.active && studio_.musicTrimBase) {
            studio_.musicTrimBase.reset();
            studio_.changed();
        }
        break;
    case Type::fade:
        if (studio_.fadeEditing) {
            studio_.fadeEditing = false;
            studio_.save();
        }
        break;
    }
}

void WaveTrack::hover(const LaneControl& control)
{
    const std::string key = control.hoverKey();
    if (key != hoverKey_) {
        if (!key.empty())
            studio_.hoveredControl = key;
        else if (studio_.hoveredControl() == hoverKey_)
            studio_.hoveredControl = std::nullopt; // another lane's key stays
        hoverKey_ = key;
    }
    applyCursor(control);
}

void WaveTrack::applyCursor(const LaneControl& control)
{
    if (gesture_ && gesture_->active && gesture_->control.type == Type::clipHeader)
        return; // the closed hand stays until the drop
    Qt::CursorShape shape = Qt::ArrowCursor;
    if (pointerInside_ && idle()) {
        switch (control.type) {
        case Type::clipHeader:
            shape = Qt::OpenHandCursor;
            break;
        case Type::voiceGrip:
        case Type::musicGrip:
        case Type::fade:
            shape = Qt::SizeHorCursor;
            break;
        case Type::background:
        case Type::playhead:
        case Type::clipBody:
            break;
        }
    }
    setCursor(shape);
}

} // namespace tw
