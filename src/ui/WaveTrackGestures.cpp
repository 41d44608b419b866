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

// Handles on one another are found from the top one, which may be unable to go the pointer's way
// (a fade-in end pushed onto the fade-out start cannot go left): then its neighbour under the
// press, which can, follows the pointer instead.
int followingHandle(const LaneScene& scene, int index, double movedX, QPointF press)
{
    const int neighbour = movedX < 0 ? index - 1 : index + 1;
    if (neighbour < 0 || neighbour > 3 || !scene.fadeHandleRect(neighbour).contains(press) ||
        scene.fadeTime(neighbour) != scene.fadeTime(index))
        return index;
    return neighbour;
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
        if (!gesture_->handlePicked) {
            gesture_->control.index =
                followingHandle(scene, gesture.control.index, moved.x(), gesture.start);
            gesture_->handlePicked = true;
        }
        changeFade(gesture.control.index, location);
        break;
    }
}

void WaveTrack::changeFade(int index, QPointF location)
{
    const MusicRange range = studio_.project().musicRange(studio_.musicDuration());
    const Fades now = studio_.project().fades(range.duration);
    const double t = std::clamp(location.x() / studio_.zoom() - range.offset, 0.0, range.duration);
    // Each point stays between its neighbours, so the four can never cross.
    static constexpr std::optional<double> PodcastProject::*fields[] = {
        &PodcastProject::fadeInStart, &PodcastProject::fadeInEnd, &PodcastProject::fadeOutStart,
        &PodcastProject::fadeOutEnd};
    const double bounded[] = {
        std::min(t, now.inEnd), std::min(std::max(t, now.inStart), now.outStart),
        std::min(std::max(t, now.inEnd), now.outEnd), std::max(t, now.outStart)};
    const double current[] = {now.inStart, now.inEnd, now.outStart, now.outEnd};
    const auto which = static_cast<std::size_t>(std::clamp(index, 0, 3));
    if (bounded[which] == current[which])
        return; // a drag that moves nothing records and saves nothing
    if (!studio_.fadeEditing) {
        studio_.checkpoint(); // one undo step for the whole drag
        studio_.fadeEditing = true;
    }
    studio_.project.mutate(
        [&](PodcastProject& project) { project.*fields[which] = bounded[which]; });
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
