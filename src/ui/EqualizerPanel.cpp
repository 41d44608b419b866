#include "ui/EqualizerPanel.hpp"

#include "studio/Studio.hpp"
#include "ui/Icons.hpp"
#include "ui/PanelPalette.hpp"
#include "ui/ResponseCurve.hpp"
#include "ui/Shading.hpp"
#include "voice/TreatmentValues.hpp"

#include <QAction>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleOptionSlider>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

constexpr int stepsPerDecibel = BandSlider::stepsPerDecibel;
constexpr int sliderLength = 57;
// Steps per pixel of a drag, plain and with Shift; steps of a wheel notch and an arrow key.
constexpr double dragSteps = 0.1 * stepsPerDecibel;
constexpr double fineDragSteps = 0.02 * stepsPerDecibel;
constexpr int notchSteps = stepsPerDecibel / 2;

} // namespace

const std::array<const char*, EqualizerPanel::bandCount> EqualizerPanel::bandLabels = {
    "31", "63", "125", "250", "500", "1k", "2k", "4k", "8k", "16k"};

BandSlider::BandSlider(QWidget* parent) : QSlider(Qt::Vertical, parent)
{
    setRange(-12 * stepsPerDecibel, 12 * stepsPerDecibel);
    setSingleStep(notchSteps);
    setPageStep(stepsPerDecibel);
    // Seven marks: −12, −8, −4, 0, +4, +8, +12 dB; drawn here, not by the style.
    setTickInterval(4 * stepsPerDecibel);
    setTickPosition(QSlider::NoTicks);
    setFixedHeight(sliderLength);
    setFixedWidth(26);
}

QRect BandSlider::handleRect() const
{
    QStyleOptionSlider option;
    initStyleOption(&option);
    return style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle, this);
}

std::vector<int> BandSlider::tickCentres() const
{
    QStyleOptionSlider option;
    initStyleOption(&option);
    const QRect handle = handleRect();
    const int available = style()->pixelMetric(QStyle::PM_SliderSpaceAvailable, &option, this);
    auto place = [&](int value) {
        return QStyle::sliderPositionFromValue(minimum(), maximum(), value, available,
                                               option.upsideDown);
    };
    // The handle's own position tells where the style starts its travel.
    const int origin = handle.top() - place(value());
    std::vector<int> centres;
    for (int value = maximum(); value >= minimum(); value -= tickInterval())
        centres.push_back(origin + place(value) + handle.height() / 2);
    return centres;
}

void BandSlider::paintEvent(QPaintEvent* event)
{
    QSlider::paintEvent(event);
    QPainter painter(this);
    const int left = handleRect().right() + 3;
    painter.setPen(QPen(isEnabled() ? QColor(150, 151, 157) : QColor(80, 81, 86), 1));
    const std::vector<int> ticks = tickCentres();
    for (std::size_t i = 0; i < ticks.size(); ++i) {
        // The middle mark (0 dB) is a little longer.
        const int length = i == ticks.size() / 2 ? 5 : 3;
        painter.drawLine(left, ticks[i], left + length, ticks[i]);
    }
}

void BandSlider::mousePressEvent(QMouseEvent* event)
{
    // No jump to where the groove was clicked: the gain moves only as far as the pointer does.
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    if (isSliderDown())
        setSliderDown(false); // a drag whose release never came ends before the next begins
    dragY_ = event->position().y();
    dragValue_ = value();
    event->accept();
}

void BandSlider::mouseMoveEvent(QMouseEvent* event)
{
    if (!dragY_) {
        event->ignore();
        return;
    }
    const double y = event->position().y();
    const double perPixel = event->modifiers() & Qt::ShiftModifier ? fineDragSteps : dragSteps;
    dragValue_ =
        std::clamp(dragValue_ + (*dragY_ - y) * perPixel, double(minimum()), double(maximum()));
    dragY_ = y;
    const int reached = int(std::lround(dragValue_));
    if (reached == value())
        return;
    if (!isSliderDown())
        setSliderDown(true); // the drag's one undo step begins with its first change
    setValue(reached);
}

void BandSlider::mouseReleaseEvent(QMouseEvent* event)
{
    dragY_.reset();
    if (isSliderDown())
        setSliderDown(false);
    event->accept();
}

void BandSlider::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        setValue(0);
    event->accept();
}

void BandSlider::wheelEvent(QWheelEvent* event)
{
    const int notches = event->angleDelta().y() / 120;
    if (notches != 0)
        setValue(value() + notches * notchSteps);
    event->accept();
}

EqualizerBand::EqualizerBand(const QString& label, QWidget* parent)
    : QWidget(parent)
    , gain_(new QLabel(this))
    , slider_(new BandSlider(this))
    , label_(new QLabel(label, this))
{
    QFont mono(QStringLiteral("monospace"));
    mono.setStyleHint(QFont::Monospace);
    mono.setPixelSize(10);
    // Slightly condensed, so that ten "-12.0" fit side by side in a narrow panel.
    mono.setStretch(88);
    gain_->setFont(mono);
    label_->setFont(engravedFont(font(), 9));
    slider_->setAccessibleName(QStringLiteral("Ecualizador ") + label + QStringLiteral(" Hz"));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(3);
    layout->addWidget(gain_, 0, Qt::AlignHCenter);
    layout->addWidget(slider_, 0, Qt::AlignHCenter);
    layout->addWidget(label_, 0, Qt::AlignHCenter);
    showGain(0);
}

QString EqualizerBand::gainText() const
{
    return gain_->text();
}

QString EqualizerBand::label() const
{
    return label_->text();
}

void EqualizerBand::showGain(double decibels)
{
    gain_->setText(QString::asprintf("%+.1f", decibels));
    const QSignalBlocker quiet(slider_);
    slider_->setValue(int(std::lround(decibels * stepsPerDecibel)));
}

EqualizerPanel::EqualizerPanel(Studio& studio, QWidget* parent)
    : QWidget(parent)
    , studio_(studio)
    , curve_(new ResponseCurve(this))
{
    setPalette(panelPalette(palette()));
    setToolTip(QStringLiteral(
        "La línea muestra la respuesta aproximada del preset y el EQ manual. Los deslizadores "
        "controlan solo el ajuste manual; la compresión no se muestra."));

    auto* caption = new QLabel(QStringLiteral("VOICE EQ • CURVA + AJUSTE MANUAL"), this);
    caption->setFont(engravedFont(caption->font(), 9, 1.2));
    caption->setForegroundRole(QPalette::Light);

    reset_ = new QAction(symbolIcon(QStringLiteral("arrow.counterclockwise")),
                         QStringLiteral("Restablecer ecualizador"), this);
    addAction(reset_);
    setContextMenuPolicy(Qt::ActionsContextMenu);
    resetButton_ = new QToolButton(this);
    resetButton_->setDefaultAction(reset_);
    resetButton_->setAutoRaise(true);
    resetButton_->setIconSize(QSize(12, 12));
    resetButton_->setCursor(Qt::PointingHandCursor);
    connect(reset_, &QAction::triggered, this, &EqualizerPanel::resetBands);
    auto* top = new QHBoxLayout;
    top->setContentsMargins(0, 0, 0, 0);
    top->addWidget(caption, 1);
    top->addWidget(resetButton_);

    auto* columns = new QHBoxLayout;
    columns->setSpacing(2);
    for (int i = 0; i < bandCount; ++i) {
        auto* band = new EqualizerBand(QString::fromLatin1(bandLabels[std::size_t(i)]), this);
        bands_[std::size_t(i)] = band;
        columns->addWidget(band, 1);
        connect(&band->slider(), &QSlider::sliderPressed, this, &EqualizerPanel::dragBegan);
        connect(&band->slider(), &QSlider::valueChanged, this,
                [this, i](int steps) { bandMoved(i, steps); });
        connect(&band->slider(), &QSlider::sliderReleased, this, &EqualizerPanel::dragEnded);
    }

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addLayout(top);
    layout->addWidget(curve_, 1);
    layout->addLayout(columns);

    showTreatment();
    updateEnabled();
    connect(&studio_, &Studio::fieldChanged, this, &EqualizerPanel::fieldChanged);
}

void EqualizerPanel::fieldChanged(StudioField field)
{
    if (field == StudioField::project)
        showTreatment();
    else if (field == StudioField::recording || field == StudioField::busy)
        updateEnabled();
}

void EqualizerPanel::showTreatment()
{
    // The curve repaints only when the treatment differs; equal texts and values change nothing.
    const VoiceTreatment treatment = studio_.treatment();
    curve_->setTreatment(treatment);
    const std::array<double, 10> gains = bandGains(treatment);
    for (int i = 0; i < bandCount; ++i)
        bands_[std::size_t(i)]->showGain(gains[std::size_t(i)]);
}

void EqualizerPanel::updateEnabled()
{
    setEnabled(!studio_.recording() && !studio_.busy());
}

void EqualizerPanel::dragBegan()
{
    // The whole drag is one undo step, however many values it passes through.
    studio_.checkpoint();
}

void EqualizerPanel::bandMoved(int index, int steps)
{
    if (studio_.recording() || studio_.busy()) {
        showTreatment();
        return;
    }
    // A key, a wheel notch or a double-click is a change of its own, with its own undo step.
    const bool dragging = bands_[std::size_t(index)]->slider().isSliderDown();
    if (!dragging)
        studio_.checkpoint();

    std::array<double, 10> gains = bandGains(studio_.treatment());
    gains[std::size_t(index)] = double(steps) / stepsPerDecibel;
    storeGains(gains);
}

void EqualizerPanel::resetBands()
{
    if (studio_.recording() || studio_.busy())
        return;
    const std::array<double, 10> flat{};
    if (bandGains(studio_.treatment()) == flat)
        return; // nothing to undo
    studio_.checkpoint();
    storeGains(flat);
}

void EqualizerPanel::storeGains(const std::array<double, 10>& gains)
{
    VoiceTreatment treatment = studio_.treatment();
    treatment.eqBands = std::vector<double>(gains.begin(), gains.end());
    // The ten bands now say everything; the older three-band fields would only contradict them.
    treatment.bass.reset();
    treatment.mid.reset();
    treatment.treble.reset();
    studio_.project.mutate([&](PodcastProject& project) { project.treatment = treatment; });
    studio_.updateMix();
    studio_.save();
}

void EqualizerPanel::dragEnded()
{
    studio_.save();
}

} // namespace tw
