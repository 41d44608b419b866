#include "ui/VoiceStudioPanel.hpp"

#include "studio/Studio.hpp"
#include "ui/Icons.hpp"
#include "ui/StudioButton.hpp"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QToolButton>

namespace tw {

namespace {

constexpr Preset presets[] = {Preset::podcast, Preset::radio, Preset::femalePodcast,
                              Preset::femaleRadio};

} // namespace

VoiceStudioPanel::VoiceStudioPanel(Studio& studio, QWidget* parent)
    : QWidget(parent)
    , studio_(studio)
    , enhance_(new QCheckBox(QStringLiteral("Mejorar voz"), this))
    , style_(new QComboBox(this))
    , noise_(new QCheckBox(QStringLiteral("Reducir ruido"), this))
    , level_(studioButton("waveform.path", QStringLiteral("Nivelar audio"),
                          QStringLiteral("Nivelación automática de la voz. Se escucha al instante "
                                         "y conserva el original."),
                          this))
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 6, 12, 6);
    layout->setSpacing(14);

    auto* icon = new QLabel(this);
    icon->setPixmap(symbolIcon("waveform.badge.mic").pixmap(16, 16));
    auto* title = new QLabel(QStringLiteral("Estudio de voz"), this);
    QFont titleFont = title->font();
    titleFont.setWeight(QFont::DemiBold);
    title->setFont(titleFont);
    layout->addWidget(icon);
    layout->addWidget(title);
    layout->addSpacing(10);

    layout->addWidget(enhance_);
    auto* styleCaption = new QLabel(QStringLiteral("Estilo"), this);
    layout->addWidget(styleCaption);
    for (Preset preset : presets)
        style_->addItem(QString::fromUtf8(presetText(preset).data(),
                                          static_cast<int>(presetText(preset).size())));
    style_->setFixedWidth(180);
    style_->setAccessibleName(QStringLiteral("Estilo"));
    layout->addWidget(style_);
    noise_->setToolTip(QStringLiteral(
        "Reduce el ruido suave en las pausas. No elimina sonidos superpuestos a la voz."));
    layout->addWidget(noise_);
    layout->addWidget(level_);
    layout->addStretch(1);

    showTreatment();

    connect(enhance_, &QCheckBox::toggled, this,
            [this](bool on) { change([on](VoiceTreatment& t) { t.enhance = on; }); });
    connect(noise_, &QCheckBox::toggled, this,
            [this](bool on) { change([on](VoiceTreatment& t) { t.reduceNoise = on; }); });
    connect(style_, &QComboBox::activated, this, [this](int index) {
        if (index < 0 || index >= static_cast<int>(std::size(presets)))
            return;
        const Preset preset = presets[index];
        if (preset != studio_.treatment().preset)
            change([preset](VoiceTreatment& t) { t.preset = preset; });
    });
    connect(level_, &QToolButton::clicked, this,
            [this] { change([](VoiceTreatment& t) { t.level = !t.level.value_or(false); }); });
    connect(&studio_, &Studio::fieldChanged, this, &VoiceStudioPanel::fieldChanged);
}

void VoiceStudioPanel::fieldChanged(StudioField field)
{
    if (field == StudioField::project)
        showTreatment();
    // A treatment changed during a take would share the take's one undo step.
    if (field == StudioField::recording)
        for (QWidget* control : std::initializer_list<QWidget*>{enhance_, style_, noise_, level_})
            control->setEnabled(!studio_.recording());
}

void VoiceStudioPanel::showTreatment()
{
    const VoiceTreatment treatment = studio_.treatment();
    {
        const QSignalBlocker quiet(enhance_);
        enhance_->setChecked(treatment.enhance);
    }
    {
        const QSignalBlocker quiet(noise_);
        noise_->setChecked(treatment.reduceNoise);
    }
    {
        const QSignalBlocker quiet(style_);
        for (int i = 0; i < static_cast<int>(std::size(presets)); ++i)
            if (presets[i] == treatment.preset && style_->currentIndex() != i)
                style_->setCurrentIndex(i);
    }
    const bool levelled = treatment.level.value_or(false);
    if (shownLevel_ != levelled) {
        shownLevel_ = levelled;
        level_->setText(levelled ? QStringLiteral("Audio nivelado")
                                 : QStringLiteral("Nivelar audio"));
        level_->setAccessibleName(level_->text());
        level_->setIcon(symbolIcon(levelled ? "checkmark.circle.fill" : "waveform.path"));
    }
}

void VoiceStudioPanel::change(const std::function<void(VoiceTreatment&)>& edit)
{
    VoiceTreatment treatment = studio_.treatment();
    edit(treatment);
    studio_.checkpoint();
    studio_.project.mutate([&](PodcastProject& document) { document.treatment = treatment; });
    studio_.updateMix();
    studio_.save();
}

} // namespace tw
