// The reel-to-reel deck: two turning reels with their tape packs, the status lamp and word, and
// two small needle meters of the deck level. It only reads the Studio; while the reels turn it
// redraws at display rate, carrying the clock's reel angles on by the time since the last tick.
#pragma once

#include "ui/DeckState.hpp"

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

    Studio& studio_;
    const Clock& clock_;
    QTimer frames_;
};

} // namespace tw
