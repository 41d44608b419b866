#include "ui/TrackHeader.hpp"

#include "studio/Studio.hpp"
#include "ui/Icons.hpp"
#include "ui/MusicEditor.hpp"
#include "ui/StudioButton.hpp"
#include "ui/ViewFields.hpp"
#include "ui/WindowLook.hpp"

#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

const QColor voiceBlue(80, 150, 255);
const QColor musicPurple(175, 110, 240);

} // namespace

TrackHeader::TrackHeader(Studio& studio, Kind kind, QWidget* parent)
    : QWidget(parent)
    , studio_(studio)
    , kind_(kind)
{
    if (kind_ == Kind::voice) {
        trackControls(QStringLiteral("Voz"), QStringLiteral("mic.fill"),
                      {[&studio] { return studio.project->voiceVolume; },
                       [&studio](float v) {
                           studio.project.mutate([v](PodcastProject& p) { p.voiceVolume = v; });
                       }},
                      voiceBlue);
    } else {
        trackControls(QStringLiteral("Música"), QStringLiteral("music.note"),
                      {[&studio] { return studio.project->musicVolume; },
                       [&studio](float v) {
                           studio.project.mutate([v](PodcastProject& p) { p.musicVolume = v; });
                       }},
                      musicPurple);
        addMusicControls();
    }
    layout_->addStretch(1);
    showVolume();
    showCaption();
    refreshEnabled();
    connect(&studio_, &Studio::fieldChanged, this, &TrackHeader::fieldChanged);
}

float TrackHeader::unmutedVolume(const QString& title)
{
    return title == QStringLiteral("Voz") ? 1.0f : 0.35f;
}

QString TrackHeader::percentageText(float volume)
{
    return QString::asprintf("%lld", static_cast<long long>(volume * 100.0f));
}

void TrackHeader::trackControls(const QString& title, const QString& icon, VolumeBinding volume,
                                const QColor& colour)
{
    title_ = title;
    volume_ = std::move(volume);
    layout_ = new QVBoxLayout(this);
    layout_->setContentsMargins(10, 8, 10, 8);
    layout_->setSpacing(6);

    auto* titleRow = new QHBoxLayout;
    auto* iconLabel = new QLabel(this);
    iconLabel->setPixmap(symbolIcon(icon, colour).pixmap(16, 16));
    auto* titleLabel = new QLabel(title, this);
    QFont bold = titleLabel->font();
    bold.setBold(true);
    titleLabel->setFont(bold);
    titleRow->addWidget(iconLabel);
    titleRow->addWidget(titleLabel);
    titleRow->addStretch(1);
    layout_->addLayout(titleRow);

    auto* volumeRow = new QHBoxLayout;
    mute_ =
        studioButton("speaker.wave.2", {}, QStringLiteral("Silenciar o activar esta pista"), this);
    slider_ = new QSlider(Qt::Horizontal, this);
    slider_->setRange(0, 100);
    slider_->setAccessibleName(QStringLiteral("Volumen ") + title);
    percentage_ = new QLabel(this);
    percentage_->setMinimumWidth(28);
    percentage_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    volumeRow->addWidget(mute_);
    volumeRow->addWidget(slider_, 1);
    volumeRow->addWidget(percentage_);
    layout_->addLayout(volumeRow);

    caption_ = new QLabel(this);
    makeSecondary(*caption_);
    caption_->setWordWrap(true);
    layout_->addWidget(caption_);

    connect(mute_, &QToolButton::clicked, this, &TrackHeader::toggleMute);
    // One undo step per drag; the sound follows every change; saved when the drag ends.
    connect(slider_, &QSlider::sliderPressed, this, [this] { studio_.checkpoint(); });
    connect(slider_, &QSlider::sliderReleased, this, [this] { studio_.save(); });
    connect(slider_, &QSlider::valueChanged, this, &TrackHeader::sliderMoved);
}

void TrackHeader::addMusicControls()
{
    autoFades_ = studioButton({}, QStringLiteral("Auto fades · 5s / 10s"),
                              QStringLiteral("Auto fades · 5s / 10s"), this);
    load_ = studioButton({}, QStringLiteral("Cargar"), QStringLiteral("Cargar una pista de música"),
                         this);
    settings_ = studioButton({}, QStringLiteral("Ajustes…"), QStringLiteral("Ajustes…"), this);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(4);
    buttons->addWidget(load_);
    buttons->addWidget(settings_);
    buttons->addStretch(1);
    layout_->insertWidget(layout_->count() - 1, autoFades_);
    layout_->insertLayout(layout_->count() - 1, buttons);

    connect(autoFades_, &QToolButton::clicked, this, [this] { studio_.autoFades(); });
    connect(load_, &QToolButton::clicked, this, [this] { studio_.importMusic(); });
    connect(settings_, &QToolButton::clicked, this,
            [this] { studio_.showMusicEditor = !studio_.showMusicEditor(); });
}

void TrackHeader::fieldChanged(StudioField field)
{
    switch (field) {
    case StudioField::project:
        showVolume();
        showCaption();
        break;
    case StudioField::recording:
    case StudioField::busy:
        refreshEnabled();
        break;
    case StudioField::showMusicEditor:
        showEditor();
        break;
    default:
        break;
    }
}

void TrackHeader::showVolume()
{
    const float volume = volume_.get();
    {
        const QSignalBlocker quiet(slider_);
        slider_->setValue(static_cast<int>(std::lround(std::clamp(volume, 0.0f, 1.0f) * 100)));
    }
    percentage_->setText(percentageText(volume));
    const bool muted = !(volume > 0);
    if (shownMuted_ != muted) {
        shownMuted_ = muted;
        mute_->setIcon(symbolIcon(muted ? "speaker.slash" : "speaker.wave.2"));
    }
}

void TrackHeader::showCaption()
{
    const PodcastProject& project = studio_.project();
    if (kind_ == Kind::voice) {
        caption_->setText(QString::number(project.resolvedSegments().size()) +
                          QStringLiteral(" clips · Original intacto"));
        return;
    }
    bool sameSource = false;
    if (project.musicFile)
        for (const Segment& clip : project.resolvedSegments())
            sameSource = sameSource || clip.file == project.musicFile;
    caption_->setText(QStringLiteral("Misma fuente que la voz"));
    if (caption_->isVisibleTo(this) != sameSource)
        caption_->setVisible(sameSource);
}

void TrackHeader::refreshEnabled()
{
    // A volume changed during a take would share the take's one undo step.
    setEnabledIfChanged(*slider_, !studio_.recording());
    setEnabledIfChanged(*mute_, !studio_.recording());
    const bool idle = studioIdle(studio_);
    if (load_)
        setEnabledIfChanged(*load_, idle);
    if (settings_)
        setEnabledIfChanged(*settings_, idle);
}

void TrackHeader::showEditor()
{
    // The popover closes itself when the flag drops, and clears the flag when it is dismissed.
    if (!settings_ || !studio_.showMusicEditor() || popup_)
        return;
    popup_ = MusicEditorPopover::open(studio_, settings_);
}

void TrackHeader::toggleMute()
{
    studio_.checkpoint();
    const float volume = volume_.get();
    volume_.set(volume > 0 ? 0.0f : unmutedVolume(title_));
    studio_.updateMix();
}

void TrackHeader::sliderMoved(int value)
{
    const float volume = static_cast<float>(value) / 100.0f;
    if (slider_->isSliderDown()) {
        volume_.set(volume);
        studio_.updateMix();
        return;
    }
    // A step from the keyboard or a click on the groove is a whole edit of its own.
    studio_.checkpoint();
    volume_.set(volume);
    studio_.updateMix();
    studio_.save();
}

} // namespace tw
