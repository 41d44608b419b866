// The approximate frequency response of a voice treatment's equaliser chain (the enhance preset
// and the manual bands), drawn as one line over a logarithmic 31.5 Hz…16 kHz axis.
#pragma once

#include "model/VoiceTreatment.hpp"
#include "voice/Biquad.hpp"

#include <QPointF>
#include <QSizeF>
#include <QWidget>

#include <vector>

namespace tw {

// The response in dB of a chain of sections at a frequency: the sum over the sections of
// 10 log10(|numerator|^2 / |denominator|^2), each ratio floored at 1e-20.
double responseDecibels(const std::vector<Biquad>& sections, double frequency, double rate);

class ResponseCurve final : public QWidget {
    Q_OBJECT

public:
    static constexpr int pointCount = 181;
    static constexpr double rate = 48000;

    explicit ResponseCurve(QWidget* parent = nullptr);

    // Redraws only when the treatment differs from the one drawn.
    void setTreatment(const VoiceTreatment& treatment);
    const VoiceTreatment& treatment() const { return treatment_; }

    // The frequency of point i of the curve: 31.5 Hz times (16000 / 31.5)^(i / 180).
    static double frequencyAt(int index);
    // The curve of a treatment in a widget of the given size: +12 dB and above a quarter of the
    // height from the top, −24 dB and below at 80 %, 0 dB at about 43 %.
    static std::vector<QPointF> points(const VoiceTreatment& treatment, QSizeF size);

    QSize sizeHint() const override { return {300, 90}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    VoiceTreatment treatment_;
};

} // namespace tw
