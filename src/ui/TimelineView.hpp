// The timeline of the window: the two track headers beside a horizontally scrolling area that
// holds the ruler and the voice and music lanes. The content is as wide as the programme plus a
// minute (at least two minutes, and 30 s past the play head), and during a take the view keeps
// the record head in sight at its trailing edge.
#pragma once

#include <QWidget>

class QScrollArea;

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
    void fieldChanged(StudioField field);
    void resizeContent();
    void placeRecordHead();
    void followRecordHead();

    Studio& studio_;
    QScrollArea* scroll_;
    QWidget* content_;
    TimelineRuler* ruler_;
    TrackHeader* voiceHeader_;
    TrackHeader* musicHeader_;
    WaveTrack* voiceLane_;
    WaveTrack* musicLane_;
    QWidget* recordHead_;
};

} // namespace tw
