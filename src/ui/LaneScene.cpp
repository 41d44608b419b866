#include "ui/LaneScene.hpp"

#include "studio/Studio.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace tw {

namespace {

const char* const fadeLabels[4] = {"Comienzo del fade in", "Fin del fade in",
                                   "Comienzo del fade out", "Fin del fade out"};

// Seconds with two decimals and a point, whatever the user's locale.
std::string twoDecimals(double seconds)
{
    char text[64];
    const auto written =
        std::to_chars(text, text + sizeof text, seconds, std::chars_format::fixed, 2);
    return std::string(text, written.ptr);
}

} // namespace

std::string LaneControl::hoverKey() const
{
    switch (type) {
    case Type::clipHeader:
        return "clip-" + clip->id.text();
    case Type::voiceGrip:
        return "trim-" + clip->id.text() + "-" + (left ? "true" : "false");
    case Type::musicGrip:
        return std::string("music-trim-") + (left ? "true" : "false");
    case Type::fade:
        return "fade-" + std::to_string(index);
    case Type::background:
    case Type::playhead:
    case Type::clipBody:
        break;
    }
    return {};
}

std::string LaneControl::help(const LaneScene& scene) const
{
    switch (type) {
    case Type::playhead:
        return "Arrastra para mover el punto de reproducción";
    case Type::clipHeader:
        return "Arrastra para mover esta sección y dejar espacios";
    case Type::voiceGrip:
        return left ? "Arrastra para ajustar el inicio del clip"
                    : "Arrastra para ajustar el final del clip";
    case Type::musicGrip:
        return left ? "Ajustar inicio de la música" : "Ajustar duración de la música";
    case Type::fade:
        return std::string(fadeLabels[index]) + ": " + twoDecimals(scene.fadeTime(index)) + " s";
    case Type::background:
    case Type::clipBody:
        break;
    }
    return {};
}

LaneScene::LaneScene(const Studio& studio, LaneKind kind, double height)
    : kind(kind)
    , height(height)
    , zoom(studio.zoom())
    , position(studio.position())
    , recording(studio.recording())
    , busy(studio.busy())
    , selection(studio.selection())
    , selectedClip(studio.selectedClip())
    , draggedClip(studio.draggedClip())
    , hovered(studio.hoveredControl())
{
    if (kind == LaneKind::voice) {
        const PodcastProject display = studio.displayProject();
        clips = display.resolvedSegments();
        length = display.voiceDuration();
        if (draggedClip && studio.clipDragTime()) {
            // The dragged clip follows the pointer and is drawn over the others.
            auto dragged = std::find_if(clips.begin(), clips.end(),
                                        [&](const Segment& c) { return c.id == *draggedClip; });
            if (dragged != clips.end()) {
                Segment moved = *dragged;
                moved.timelineStart = *studio.clipDragTime();
                clips.erase(dragged);
                clips.push_back(moved);
            }
        }
        const std::optional<Uuid> gripId =
            studio.voiceTrimPreview() ? std::optional(studio.voiceTrimPreview()->id) : selectedClip;
        if (gripId)
            for (const Segment& clip : clips)
                if (clip.id == *gripId)
                    gripClip = clip;
        voiceWaveforms = &studio.voiceWaveforms();
        voicePeaks = &studio.voicePeaks();
    } else {
        const PodcastProject& project = studio.project();
        hasMusic = project.musicFile.has_value();
        music = project.musicRange(studio.musicDuration());
        fades = project.fades(music.duration);
        length = music.duration;
        musicPeaks = &studio.musicPeaks();
    }
}

double LaneScene::selectionTimeAt(double x) const
{
    return std::clamp(x / zoom, 0.0, length);
}

const std::vector<float>& LaneScene::peaksOf(const Segment& clip) const
{
    static const std::vector<float> none;
    if (voiceWaveforms && clip.file) {
        auto found = voiceWaveforms->find(*clip.file);
        if (found != voiceWaveforms->end())
            return found->second;
    }
    return voicePeaks ? *voicePeaks : none;
}

QRectF LaneScene::clipRect(const Segment& clip) const
{
    const double start = clip.timelineStart.value_or(0.0);
    return {xAt(start), lane::clipTop, clip.duration * zoom, height - 2 * lane::clipTop};
}

QRectF LaneScene::headerRect(const Segment& clip) const
{
    const QRectF body = clipRect(clip);
    return {body.left(), body.top(), std::max(body.width(), lane::headerMinimumWidth),
            lane::headerHeight};
}

QRectF LaneScene::voiceGripRect(const Segment& clip, bool left) const
{
    const QRectF body = clipRect(clip);
    const double edge = left ? body.left() : body.right();
    return {edge - lane::gripWidth / 2, body.center().y() - lane::gripHeight / 2, lane::gripWidth,
            lane::gripHeight};
}

QRectF LaneScene::musicRect() const
{
    return {xAt(music.offset), lane::musicMargin, music.duration * zoom,
            height - 2 * lane::musicMargin};
}

QRectF LaneScene::musicGripRect(bool left) const
{
    const QRectF region = musicRect();
    const double edge = left ? region.left() : region.right();
    return {edge - lane::gripWidth / 2, height / 2 - lane::gripHeight / 2, lane::gripWidth,
            lane::gripHeight};
}

double LaneScene::fadeTime(int index) const
{
    switch (index) {
    case 0:
        return fades.inStart;
    case 1:
        return fades.inEnd;
    case 2:
        return fades.outStart;
    default:
        return fades.outEnd;
    }
}

QPointF LaneScene::envelopePoint(int index) const
{
    const bool silent = index == 0 || index == 3;
    return {xAt(music.offset + fadeTime(index)),
            silent ? lane::envelopeSilentY : lane::envelopeFullY};
}

QRectF LaneScene::fadeHandleRect(int index) const
{
    const bool silent = index == 0 || index == 3;
    return {xAt(music.offset + fadeTime(index)) - lane::fadeHandleSize / 2,
            silent ? lane::fadeSilentTop : lane::fadeFullTop, lane::fadeHandleSize,
            lane::fadeHandleSize};
}

QRectF LaneScene::playheadHitRect() const
{
    return {xAt(position) - lane::playheadHitWidth / 2, 0, lane::playheadHitWidth,
            std::min(height, lane::playheadHitHeight)};
}

LaneControl LaneScene::controlAt(QPointF point) const
{
    using Type = LaneControl::Type;
    if (playheadHitRect().contains(point))
        return {Type::playhead};
    if (kind == LaneKind::music) {
        if (!hasMusic)
            return {};
        // Later handles are drawn over earlier ones, so they are hit first.
        for (int index = 3; index >= 0; --index)
            if (fadeHandleRect(index).contains(point))
                return {Type::fade, std::nullopt, false, index};
        for (bool left : {false, true})
            if (musicGripRect(left).contains(point))
                return {Type::musicGrip, std::nullopt, left};
        return {};
    }
    if (gripClip)
        for (bool left : {false, true})
            if (voiceGripRect(*gripClip, left).contains(point))
                return {Type::voiceGrip, gripClip, left};
    for (auto clip = clips.rbegin(); clip != clips.rend(); ++clip)
        if (headerRect(*clip).contains(point))
            return {Type::clipHeader, *clip};
    for (auto clip = clips.rbegin(); clip != clips.rend(); ++clip)
        if (clipRect(*clip).contains(point))
            return {Type::clipBody, *clip};
    return {};
}

} // namespace tw
