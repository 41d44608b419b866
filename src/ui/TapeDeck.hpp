// The reel-to-reel deck: two turning reels with their tape packs, the status lamp and word, and
// two small needle meters of the deck level. It only reads the Studio; while the reels turn it
// redraws at display rate, carrying the clock's reel angles on by the time since the last tick.
#pragma once

#include "ui/DeckState.hpp"

#include <QPixmap>
#include <QTimer>
#include <QWidget>

namespace tw {

class Clock;
class Studio;
enum class StudioField;

class TapeDeck final : public QWidget {
    Q_OBJECT

public:
    // clock must be the Studio's own time base (the one previousReelTick is read from).
    TapeDeck(Studio& studio, const Clock& clock, QWidget* parent = nullptr);

    DeckTransport transport() const;
    QString status() const;
    DeckLamp lamp() const;
    float level() const;
    // The reel angles as drawn now, in degrees: (supply, take-up).
    std::pair<double, double> reelAngles() const;
    // True while the reels turn and the deck redraws every frame.
    bool animating() const { return frames_.isActive(); }

    QSize sizeHint() const override { return {350, 190}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void fieldChanged(StudioField field);
    void transportChanged();

    // The parts that never move, drawn once: the body with its screws and caption, the rollers
    // and head block that lie over the tape, and one reel's flange with its hub (turned for each
    // reel and frame). A frame then costs the tape, the packs, two turned images and the meters.
    void prepareStillParts();
    // What a frame of turning reels changes: the reels, and the tape when the packs changed.
    QRegion movingParts() const;
    QRegion meterParts() const;
    // The tape pack of reel 0 (supply) or 1 (take-up) with the reel's shadow, redrawn only when
    // the pack has grown or shrunk by a tenth of a point.
    const QPixmap& packImage(int reel, double diameter);

    Studio& studio_;
    const Clock& clock_;
    QTimer frames_;
    QPixmap body_;
    QPixmap heads_;
    QPixmap flange_;
    QPixmap packs_[2];
    double packDiameters_[2] = {-1, -1};
};

} // namespace tw
