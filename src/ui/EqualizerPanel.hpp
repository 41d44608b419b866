// The voice equaliser: the response curve of the whole treatment over ten band sliders that set
// the manual gains. A drag is one undo step; every movement is heard at once and saved.
#pragma once

#include <QSlider>
#include <QWidget>

#include <array>
#include <vector>

class QLabel;

namespace tw {

class ResponseCurve;
class Studio;
enum class StudioField;

// A vertical band slider with its own column of seven tick marks (−12, −8, …, +12 dB) beside
// the handle; the style's own ticks vanish on the dark panel.
class BandSlider final : public QSlider {
    Q_OBJECT

public:
    explicit BandSlider(QWidget* parent = nullptr);
    // Where the handle is drawn now.
    QRect handleRect() const;
    // The heights of the tick marks, top to bottom: where the handle's centre stands at each
    // marked value.
    std::vector<int> tickCentres() const;

protected:
    void paintEvent(QPaintEvent* event) override;
};

// The view of one band: its gain as text, the slider (−12…+12 dB in 0.5 dB steps, held as
// half-decibel steps) and the band label under it.
class EqualizerBand final : public QWidget {
    Q_OBJECT

public:
    explicit EqualizerBand(const QString& label, QWidget* parent = nullptr);

    BandSlider& slider() const { return *slider_; }
    QString gainText() const;
    QString label() const;
    // Shows a gain without reporting it as a user change.
    void showGain(double decibels);

private:
    QLabel* gain_;
    BandSlider* slider_;
    QLabel* label_;
};

class EqualizerPanel final : public QWidget {
    Q_OBJECT

public:
    static constexpr int bandCount = 10;
    static const std::array<const char*, bandCount> bandLabels;

    explicit EqualizerPanel(Studio& studio, QWidget* parent = nullptr);

    EqualizerBand& band(int index) const { return *bands_[std::size_t(index)]; }
    ResponseCurve& curve() const { return *curve_; }

private:
    void fieldChanged(StudioField field);
    void showTreatment();
    void updateEnabled();
    void dragBegan();
    void bandMoved(int index, int steps);
    void dragEnded();

    Studio& studio_;
    ResponseCurve* curve_;
    std::array<EqualizerBand*, bandCount> bands_{};
};

} // namespace tw
