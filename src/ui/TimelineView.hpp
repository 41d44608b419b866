// The timeline of the window: the two track headers beside a horizontally scrolling area that
// holds the ruler and the voice and music lanes. The content is as wide as the programme plus a
// minute (at least two minutes, and 30 s past the play head), and the voice lane takes whatever
// height the window gives the timeline. Getting around: the wheel scrolls along time (either
// wheel), Ctrl+wheel zooms around the pointer, other zoom changes keep the play head where it
// stands on screen, a play head that jumps out of sight is brought back into view, playback is
// followed off the right edge, and during a take the record head stays at the trailing edge.
#pragma once

#include <QWidget>

#include <optional>

class QScrollArea;
class QWheelEvent;

namespace tw {

class Studio;
class TimelineRuler;
class TrackHeader;
class WaveTrack;
enum class StudioField;

// The content width in points: max(duration + 60, position + 30, 120) × zoom.
double timelineContentWidth(double duration, double position, double zoom);

class TimelineView final : public QWidget {
    Q_OBJECT

public:
    // Points scrolled by one notch of a mouse wheel, and the zoom factor of one Ctrl+wheel notch.
    static constexpr int wheelStep = 80;
    static constexpr double wheelZoom = 1.25;

    explicit TimelineView(Studio& studio, QWidget* parent = nullptr);

    QScrollArea& scrollArea() const { return *scroll_; }
    QWidget& content() const { return *content_; }
    TimelineRuler& ruler() const { return *ruler_; }
    TrackHeader& voiceHeader() const { return *voiceHeader_; }
    TrackHeader& musicHeader() const { return *musicHeader_; }
    WaveTrack& voiceLane() const { return *voiceLane_; }
    WaveTrack& musicLane() const { return *musicLane_; }
    // The invisible marker at the record head (x = position × zoom).
    QWidget& recordHead() const { return *recordHead_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // A time that a zoom change keeps at the same place in the visible area.
    struct Anchor {
        double seconds;
        double x; // in the visible area
    };

    void fieldChanged(StudioField field);
    void resizeContent();
    void fitLanes();
    void placeRecordHead();
    void followRecordHead();
    // x is the pointer's place in the visible area.
    void wheel(const QWheelEvent& event, double x);
    void zoomAround(double zoom, double x);
    void zoomChanged();
    Anchor playheadAnchor() const;
    void playheadMoved(double from);
    void revealPlayhead();
    bool visible(double seconds) const;
    void scrollTo(double x);

    Studio& studio_;
    QScrollArea* scroll_;
    QWidget* content_;
    TimelineRuler* ruler_;
    TrackHeader* voiceHeader_;
    TrackHeader* musicHeader_;
    WaveTrack* voiceLane_;
    WaveTrack* musicLane_;
    QWidget* recordHead_;
    double shownZoom_;
    double shownPosition_;
    std::optional<Anchor> zoomAnchor_; // set by a Ctrl+wheel zoom until the zoom arrives
};

} // namespace tw
