// The time ruler above the lanes: "m:ss" labels for the visible part of the timeline at a step
// that suits the zoom, and a drag anywhere on it moves the play head.
#pragma once

#include <QWidget>

#include <memory>
#include <vector>

namespace tw {

class ChapterFlags;
class Studio;
enum class StudioField;

// Seconds between labels: 60 below 10 points per second, 10 below 40, 5 below 100, else 1.
int rulerStep(double zoom);
// The whole second at which the timeline content ends: max(duration + 60, position + 30, 120).
long long rulerEnd(double duration, double position);
// The labelled seconds for a visible span starting offset points into the timeline, width wide.
std::vector<long long> rulerLabels(double offset, double width, double zoom, double duration,
                                   double position);
// "%d:%02d" of minutes and seconds.
QString rulerText(long long second);

class TimelineRuler final : public QWidget {
    Q_OBJECT

public:
    static constexpr int stripHeight = 30;

    // viewport is the scroll view's visible area, the ruler a descendant of its content.
    TimelineRuler(Studio& studio, QWidget* viewport, QWidget* parent = nullptr);
    ~TimelineRuler() override;

    // The labels of the part shown now (what the last paint drew).
    std::vector<long long> visibleLabels() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    void fieldChanged(StudioField field);
    void seekTo(double x);
    // The visible span as (offset, width) in timeline points.
    std::pair<double, double> visibleSpan() const;

    Studio& studio_;
    QWidget* viewport_;
    double zoom_;
    long long end_;
    // Gone before the widget's own teardown, which takes the focus from a title being typed:
    // that must not finish the rename into a window that is closing.
    std::unique_ptr<ChapterFlags> chapterFlags_;
};

} // namespace tw
