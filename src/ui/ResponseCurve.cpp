#include "ui/ResponseCurve.hpp"

#include "voice/VoiceDSP.hpp"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace tw {

double responseDecibels(const std::vector<Biquad>& sections, double frequency, double rate)
{
    const double omega = 2 * std::numbers::pi * frequency / rate;
    const std::complex<double> z1 = std::polar(1.0, -omega);
    const std::complex<double> z2 = std::polar(1.0, -2 * omega);
    double decibels = 0;
    for (const Biquad& section : sections) {
        const double numerator = std::norm(section.b0 + section.b1 * z1 + section.b2 * z2);
        const double denominator =
            std::max(std::norm(1.0 + section.a1 * z1 + section.a2 * z2), 1e-20);
        decibels += 10 * std::log10(std::max(numerator / denominator, 1e-20));
    }
    return decibels;
}

ResponseCurve::ResponseCurve(QWidget* parent) : QWidget(parent)
{
}

void ResponseCurve::setTreatment(const VoiceTreatment& treatment)
{
    if (treatment == treatment_)
        return;
    treatment_ = treatment;
    update();
}

double ResponseCurve::frequencyAt(int index)
{
    const double t = double(index) / (pointCount - 1);
    return std::min(31.5 * std::pow(507.9365, t), 24000.0);
}

std::vector<QPointF> ResponseCurve::points(const VoiceTreatment& treatment, QSizeF size)
{
    const std::vector<Biquad> sections = VoiceDSP::eqFilters(treatment, rate);
    std::vector<QPointF> curve;
    curve.reserve(pointCount);
    for (int i = 0; i < pointCount; ++i) {
        const double t = double(i) / (pointCount - 1);
        const double decibels = responseDecibels(sections, frequencyAt(i), rate);
        // −24 dB maps to 0 and +12 dB to 1; anything louder is held at a quarter of the height.
        const double v = (decibels + 24) / 36;
        const double x = size.width() * (0.05 + 0.9 * t);
        const double y =
            v >= 1 ? size.height() * 0.25 : size.height() * (0.25 + 0.55 * (1 - std::max(v, 0.0)));
        curve.emplace_back(x, y);
    }
    return curve;
}

void ResponseCurve::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const std::vector<QPointF> curve = points(treatment_, size());
    QPainterPath path;
    path.moveTo(curve.front());
    for (std::size_t i = 1; i < curve.size(); ++i)
        path.lineTo(curve[i]);
    QColor mint(110, 240, 200);
    mint.setAlphaF(0.8f);
    painter.setPen(QPen(mint, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(path);
}

} // namespace tw
