// The voice equaliser: the response curve of the whole treatment over ten band sliders that set
// the manual gains, and "Restablecer ecualizador", which puts all ten back to 0 dB. A drag is one
// undo step; every movement is heard at once and saved.
#pragma once

#include <QSlider>
#include <QWidget>

#include <array>
#include <optional>
#include <vector>

class QAction;
class QLabel;
class QToolButton;

namespace tw {

class ResponseCurve;
class Studio;
enum class StudioField;

// A vertical band slider in hundredths of a decibel with its own column of seven tick marks
// (−12, −8, …, +12 dB) beside the handle; the style's own ticks vanish on the dark panel. A drag
// anywhere on it moves the gain 0.1 dB per pixel (0.02 with Shift) from where it stood, a wheel
// notch or an arrow key 0.5 dB, and a double-click puts it back to 0 dB. The slider counts as
// down (sliderPressed … sliderReleased) only once a drag has changed the gain.
class BandSlider final : public QSlider {
    Q_OBJECT

public:
    static constexpr int stepsPerDecibel = 100;

    explicit BandSlider(QWidget* parent = nullptr);
    // Where the handle is drawn now.
    QRect handleRect() const;
    // The heights of the tick marks, top to bottom: where the handle's centre stands at each
    // marked value.
    std::vector<int> tickCentres() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    std::optional<double> dragY_; // the pointer's height at the last drag movement
    double dragValue_ = 0;        // the exact value the drag has reached
};

// The view of one band: its gain as text, the slider (−12…+12 dB) and the band label under it.
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
    // "Restablecer ecualizador": the button beside the caption and the panel's context menu.
    QAction& resetAction() const { return *reset_; }
    QToolButton& resetButton() const { return *resetButton_; }

private:
    void fieldChanged(StudioField field);
    void showTreatment();
    void updateEnabled();
    void dragBegan();
    void bandMoved(int index, int steps);
    void dragEnded();
    void resetBands();
    void storeGains(const std::array<double, 10>& gains);

    Studio& studio_;
    ResponseCurve* curve_;
    QAction* reset_;
    QToolButton* resetButton_;
    std::array<EqualizerBand*, bandCount> bands_{};
};

} // namespace tw
