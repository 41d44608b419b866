// An analogue VU meter: 0 VU sits at −18 dBFS, the scale runs from −30 VU to +3 VU over 104°,
// with a red zone at the top. Shows a linear level with a caption "VU · " and its label.
#pragma once

#include <QWidget>

class QPainter;

namespace tw {

// The needle angle in degrees (0 straight up, negative to the left) for a linear level.
double vuNeedleAngle(double level);
// The needle angle of tick i (0…10) of the scale.
double vuTickAngle(int i);

// Where the needle pivots and how long it is in a face of the given size: the horizontal
// centre 2 points above the bottom edge, radius min(0.85 h, 0.43 w).
struct VUGeometry {
    QPointF pivot;
    double radius = 0;
};
VUGeometry vuGeometry(QSizeF size);

class AnalogVU final : public QWidget {
    Q_OBJECT

public:
    explicit AnalogVU(const QString& label, QWidget* parent = nullptr);

    float level() const { return level_; }
    const QString& label() const { return label_; }
    // Repaints only when the needle moves. Main thread.
    void setLevel(float level);

    QSize sizeHint() const override { return {150, 92}; }
    QSize minimumSizeHint() const override { return {110, 70}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    // The paper, scale, ticks and caption: all but the needle and the glass.
    void paintFace(QPainter& painter) const;
    void paintSheen(QPainter& painter) const;

    QString label_;
    float level_ = 0;
};

} // namespace tw
