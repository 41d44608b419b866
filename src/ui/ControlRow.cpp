#include "ui/ControlRow.hpp"

#include "studio/Studio.hpp"
#include "ui/InputLevelBar.hpp"
#include "ui/StudioButton.hpp"
#include "ui/ViewFields.hpp"
#include "ui/WindowLook.hpp"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>
#include <QToolButton>

#include <cmath>

namespace tw {

ControlRow::ControlRow(Studio& studio, QWidget* parent)
    : QWidget(parent)
    , studio_(studio)
    , inputs_(new QComboBox(this))
    , refresh_(studioButton("arrow.clockwise", {}, QStringLiteral("Actualizar entradas"), this))
    , level_(new InputLevelBar(this))
    , zoom_(new QSlider(Qt::Horizontal, this))
    , trim_(studioButton("crop", QStringLiteral("Recortar"),
                         QStringLiteral("Conservar solo la selección de voz"), this))
    , split_(studioButton("rectangle.split.2x1", QStringLiteral("Dividir clip"),
                          QStringLiteral("Dividir clip"), this))
    , listen_(studioButton("play.square", QStringLiteral("Escuchar selección"),
                           QStringLiteral("Escuchar selección"), this))
    , delete_(studioButton("scissors", QStringLiteral("Eliminar selección"),
                           QStringLiteral("Eliminar selección"), this))
    , shownZoom_(studio.zoom())
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 4, 12, 4);
    layout->setSpacing(8);

    inputs_->setFixedWidth(180);
    inputs_->setAccessibleName(QStringLiteral("Entrada"));
    inputs_->setToolTip(QStringLiteral("Entrada"));
    layout->addWidget(inputs_);
    layout->addWidget(refresh_);
    layout->addWidget(level_);

    auto* zoomCaption = new QLabel(QStringLiteral("Zoom"), this);
    makeSecondary(*zoomCaption);
    layout->addSpacing(8);
    layout->addWidget(zoomCaption);
    zoom_->setRange(minimumZoom, maximumZoom);
    zoom_->setFixedWidth(90);
    zoom_->setAccessibleName(QStringLiteral("Zoom"));
    zoom_->setValue(static_cast<int>(std::lround(studio_.zoom())));
    layout->addWidget(zoom_);
    layout->addSpacing(8);

    for (QToolButton* button : {trim_, split_, listen_, delete_})
        layout->addWidget(button);
    layout->addStretch(1);

    fillInputs();
    level_->display(studio_.meter(), studio_.recording());
    refreshButtons();

    connect(inputs_, &QComboBox::activated, this, &ControlRow::inputChosen);
    connect(refresh_, &QToolButton::clicked, this, [this] { studio_.refreshDevices(); });
    connect(zoom_, &QSlider::valueChanged, this, &ControlRow::zoomMoved);
    connect(trim_, &QToolButton::clicked, this, [this] { studio_.trimSelection(); });
    connect(split_, &QToolButton::clicked, this, [this] { studio_.splitClip(); });
    connect(listen_, &QToolButton::clicked, this, [this] {
        if (studio_.selection())
            studio_.listenToSelection();
    });
    connect(delete_, &QToolButton::clicked, this, [this] { studio_.deleteSelection(); });
    connect(&studio_, &Studio::fieldChanged, this, &ControlRow::fieldChanged);
}

void ControlRow::fieldChanged(StudioField field)
{
    switch (field) {
    case StudioField::devices:
    case StudioField::selectedDevice:
        fillInputs();
        break;
    case StudioField::meter:
        level_->display(studio_.meter(), studio_.recording());
        break;
    case StudioField::zoom:
        zoomChanged();
        break;
    case StudioField::recording:
        level_->display(studio_.meter(), studio_.recording());
        refreshButtons();
        break;
    case StudioField::busy:
    case StudioField::selection:
        refreshButtons();
        break;
    case StudioField::position:
    case StudioField::project:
        refreshSplit();
        break;
    default:
        break;
    }
}

void ControlRow::fillInputs()
{
    const QSignalBlocker quiet(inputs_);
    inputs_->clear();
    inputs_->addItem(QStringLiteral("Predeterminada del sistema"), 0u);
    for (const InputDevice& device : studio_.devices())
        inputs_->addItem(QString::fromStdString(device.name), device.id);
    // A chosen device that is no longer listed keeps an entry of its own: showing another input
    // as chosen would hide that the take will fail to start.
    const std::uint32_t selected = studio_.selectedDevice();
    if (inputs_->findData(selected) < 0)
        inputs_->addItem(QStringLiteral("Entrada desconectada"), selected);
    inputs_->setCurrentIndex(inputs_->findData(selected));
}

void ControlRow::inputChosen(int index)
{
    const std::uint32_t id = inputs_->itemData(index).toUInt();
    if (id != studio_.selectedDevice())
        studio_.selectedDevice = id;
}

void ControlRow::zoomMoved(int value)
{
    if (static_cast<int>(std::lround(studio_.zoom())) == value)
        return;
    studio_.zoom = static_cast<double>(value);
}

void ControlRow::zoomChanged()
{
    const double zoom = studio_.zoom();
    {
        const QSignalBlocker quiet(zoom_);
        zoom_->setValue(static_cast<int>(std::lround(zoom)));
    }
    // The zoom lives in the document: any change of it is saved once the changes settle.
    if (zoom != shownZoom_) {
        shownZoom_ = zoom;
        studio_.scheduleSave();
    }
}

void ControlRow::refreshButtons()
{
    const bool idle = studioIdle(studio_);
    const bool selected = studio_.selection().has_value();
    setEnabledIfChanged(*trim_, idle && selected);
    setEnabledIfChanged(*listen_, idle && selected);
    setEnabledIfChanged(*delete_, idle && selected);
    refreshSplit();
}

void ControlRow::refreshSplit()
{
    const bool possible =
        studioIdle(studio_) && studio_.project->segment(studio_.position()).has_value();
    setEnabledIfChanged(*split_, possible);
}

} // namespace tw
