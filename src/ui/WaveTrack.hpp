// One timeline lane, the voice lane or the music lane, drawn at x = seconds × zoom with x = 0 at
// second 0, and the pointer gestures on it: seeking, selecting, moving and trimming clips, music
// trims, fade handles, the play head handle and the clip context menu. It only reads the Studio
// and calls its operations. Main thread.
//
// For the window: place it in the horizontally scrolling timeline, give it the timeline's
// content width and a fixed height of at least laneHeight (the voice clips grow with the voice
// lane; the music lane's measures are fixed) and tell it the visible width of the scroll
// view with setViewportWidth, where the empty-lane text and the "Cargar música" button are
// centred. Only the exposed part of the lane is painted.
#pragma once

#include <QPointer>
#include <QWidget>

#include <memory>
#include <string>

class QPushButton;

namespace tw {

class Studio;
enum class StudioField;
struct LaneArt;
class LaneScene;
struct LaneControl;

class WaveTrack final : public QWidget {
    Q_OBJECT

public:
    enum class Kind { voice, music };

    WaveTrack(Studio& studio, Kind kind, QWidget* parent = nullptr);
    ~WaveTrack() override;

    Kind kind() const { return kind_; }
    static int laneHeight(Kind kind);
    void setViewportWidth(double width);
    // The timeline content width at the Studio's zoom: max(duration + 60, position + 30, 120) s.
    QSize sizeHint() const override;
    // The help text shown at point (the tooltip); empty where there is none.
    QString helpAt(QPointF point) const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    bool event(QEvent* event) override;

private:
    struct Gesture;

    LaneScene scene() const;
    bool idle() const;
    void fieldChanged(StudioField field);
    void playheadMoved();
    void refreshControls();
    double viewportWidth() const;

    // Pointer handling (WaveTrackGestures.cpp).
    void dragChanged(const LaneScene& scene, QPointF location);
    void dragEnded(const Gesture& gesture, QPointF location);
    void finishOpenGesture();
    void changeFade(int index, QPointF location);
    void hover(const LaneControl& control);
    void applyCursor(const LaneControl& control);

    Studio& studio_;
    const Kind kind_;
    std::unique_ptr<LaneArt> art_;
    std::unique_ptr<Gesture> gesture_;
    QPointer<QPushButton> loadMusic_;
    double viewportWidth_ = 0;
    double drawnPlayheadX_ = 0;
    std::string hoverKey_; // the hoveredControl key this lane set, empty when none
    QPointF pointer_;      // the last pointer position over the lane
    bool pointerInside_ = false;
};

} // namespace tw
