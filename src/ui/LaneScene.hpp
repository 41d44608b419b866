// What one timeline lane shows, gathered from the Studio once per paint or pointer event, and
// where each of its controls sits. Drawing and pointer handling share this one geometry, so a
// control is hit exactly where it is drawn. x = seconds × zoom; x = 0 is second 0.
#pragma once

#include "model/PodcastProject.hpp"

#include <QPointF>
#include <QRectF>

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tw {

class Studio;
class LaneScene;

enum class LaneKind { voice, music };

namespace lane {
constexpr int voiceHeight = 110;
constexpr int musicHeight = 160;
// The voice clips fill the voice lane but for this margin above and below; the header strip is
// their top.
constexpr double clipTop = 8;
constexpr double headerHeight = 22;
constexpr double headerMinimumWidth = 20;
constexpr int clipRadius = 7;
// The music region fills the music lane but for this margin above and below.
constexpr double musicMargin = 4;
constexpr double gripWidth = 8;
constexpr double gripHeight = 86;
constexpr double fadeHandleSize = 14;
constexpr double fadeSilentTop = 138;
constexpr double fadeFullTop = 9;
constexpr double envelopeSilentY = 145;
constexpr double envelopeFullY = 16;
constexpr double playheadHitWidth = 28;
constexpr double playheadHitHeight = 160;
constexpr double playheadSymbolSize = 19;
// A drag of at most this many points is a click.
constexpr double clickDistance = 3;
// A fade handle starts to move only after this many points.
constexpr double fadeMinimumDistance = 10;
constexpr int peaksPerSecond = 50;
} // namespace lane

// One control of a lane, as found under a point.
struct LaneControl {
    enum class Type { background, playhead, clipBody, clipHeader, voiceGrip, musicGrip, fade };
    LaneControl() = default;
    LaneControl(Type type, std::optional<Segment> clip = std::nullopt, bool left = false,
                int index = 0)
        : type(type)
        , clip(std::move(clip))
        , left(left)
        , index(index)
    {
    }

    Type type = Type::background;
    std::optional<Segment> clip; // the clip as displayed, for the clip controls
    bool left = false;           // which grip
    int index = 0;               // which fade handle

    // The key the Studio's hoveredControl holds while the pointer is over this control; empty
    // for the controls that are not highlighted (background, body, play head).
    std::string hoverKey() const;
    // The help text shown over the control; empty where there is none.
    std::string help(const LaneScene& scene) const;
};

class LaneScene {
public:
    LaneScene(const Studio& studio, LaneKind kind, double height);

    LaneKind kind;
    double height;
    double zoom;
    double position;
    bool recording;
    bool busy;
    std::optional<TimeRange> selection;
    std::optional<Uuid> selectedClip;
    std::optional<Uuid> draggedClip;
    std::optional<std::string> hovered;

    // Voice lane: the displayed clips, the dragged one (at its drag time) last.
    std::vector<Segment> clips;
    // The clip whose trim grips are shown: the one being trimmed, else the selected one.
    std::optional<Segment> gripClip;
    // Music lane.
    bool hasMusic = false;
    MusicRange music;
    Fades fades;
    // Seconds of the lane: the displayed voice, or the placed music fragment.
    double length = 0;

    // Peak envelopes, owned by the Studio; valid while it is not changed.
    const std::map<std::string, std::vector<float>>* voiceWaveforms = nullptr;
    const std::vector<float>* voicePeaks = nullptr;
    const std::vector<float>* musicPeaks = nullptr;

    double xAt(double seconds) const { return seconds * zoom; }
    // The time under x for a selection: clamped to the lane.
    double selectionTimeAt(double x) const;
    // The envelope of a clip's source: its file's own, else the voice envelope.
    const std::vector<float>& peaksOf(const Segment& clip) const;

    QRectF clipRect(const Segment& clip) const;
    QRectF headerRect(const Segment& clip) const;
    QRectF voiceGripRect(const Segment& clip, bool left) const;
    QRectF musicRect() const;
    QRectF musicGripRect(bool left) const;
    double fadeTime(int index) const;
    QPointF envelopePoint(int index) const;
    QRectF fadeHandleRect(int index) const;
    QRectF playheadHitRect() const;

    // The topmost control under point.
    LaneControl controlAt(QPointF point) const;
};

} // namespace tw
