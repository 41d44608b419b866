// The 24-band spectrum display: one thin gradient bar per band of the Studio's spectrum bars,
// over faint guide lines, with the floor and frequency marks. Read only; it repaints only when
// the bars change.
#pragma once

#include <QRectF>
#include <QWidget>

#include <vector>

namespace tw {

class Studio;
enum class StudioField;

class SpectrumView final : public QWidget {
    Q_OBJECT

public:
    static constexpr int bandCount = 24;
    static constexpr int captionHeight = 16; // the "SPECTRUM" caption above the bars
    static constexpr int labelHeight = 14;   // the frequency marks below them

    explicit SpectrumView(Studio& studio, QWidget* parent = nullptr);

    // The bars as last read from the Studio (values 0…1, one per band).
    const std::vector<float>& bars() const { return bars_; }
    // How many times the view has painted itself; lets a test see that idle fields cause none.
    int paintCount() const { return paintCount_; }

    // Where the bars stand inside a widget of the given size.
    static QRectF plotArea(QSizeF size);
    // The bar of each value inside plot: slot i of width s = width / 24 holds a bar of width
    // clamp(s - 2, 1, 2), centred, standing on the bottom edge, max(value * height, 2) tall.
    static std::vector<QRectF> barRects(const std::vector<float>& values, QRectF plot);

    QSize sizeHint() const override { return {260, 110}; }
    QSize minimumSizeHint() const override { return {120, 70}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void fieldChanged(StudioField field);

    Studio& studio_;
    std::vector<float> bars_;
    int paintCount_ = 0;
};

} // namespace tw
