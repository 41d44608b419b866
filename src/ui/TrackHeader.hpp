// The header beside one timeline lane: title and icon, a mute button, a volume slider with its
// percentage; under the voice header the clip count, under the music header the fade, load and
// settings buttons (the settings open the music editor in a popup) and the same-source note.
#pragma once

#include "ui/MusicEditor.hpp"

#include <QColor>
#include <QPointer>
#include <QWidget>

#include <functional>
#include <optional>

class QLabel;
class QSlider;
class QToolButton;
class QVBoxLayout;

namespace tw {

class Studio;
enum class StudioField;

// How a header reads and writes its track's volume in the project.
struct VolumeBinding {
    std::function<float()> get;
    std::function<void(float)> set;
};

class TrackHeader final : public QWidget {
    Q_OBJECT

public:
    enum class Kind { voice, music };

    TrackHeader(Studio& studio, Kind kind, QWidget* parent = nullptr);

    // The volume a muted track returns to: full for the voice, the bed level for any other.
    static float unmutedVolume(const QString& title);
    // "%lld" of the volume × 100, truncated.
    static QString percentageText(float volume);

    QToolButton& muteButton() const { return *mute_; }
    QSlider& volumeSlider() const { return *slider_; }
    QLabel& percentage() const { return *percentage_; }
    // Voice: the clip count. Music: the same-source note (hidden unless it applies).
    QLabel& caption() const { return *caption_; }
    // Music only (null for the voice header).
    QToolButton* autoFadesButton() const { return autoFades_; }
    QToolButton* loadButton() const { return load_; }
    QToolButton* settingsButton() const { return settings_; }
    // The popover holding the music editor while showMusicEditor is true (music only).
    MusicEditorPopover* editorPopover() const { return popup_; }

private:
    // The part both headers share, built from a title, an icon, a volume binding and a colour.
    void trackControls(const QString& title, const QString& icon, VolumeBinding volume,
                       const QColor& colour);
    void addMusicControls();
    void fieldChanged(StudioField field);
    void showVolume();
    void showCaption();
    void refreshEnabled();
    void showEditor();
    void toggleMute();
    void sliderMoved(int value);

    Studio& studio_;
    Kind kind_;
    QString title_;
    VolumeBinding volume_;
    QVBoxLayout* layout_ = nullptr;
    QToolButton* mute_ = nullptr;
    QSlider* slider_ = nullptr;
    QLabel* percentage_ = nullptr;
    QLabel* caption_ = nullptr;
    QToolButton* autoFades_ = nullptr;
    QToolButton* load_ = nullptr;
    QToolButton* settings_ = nullptr;
    QPointer<MusicEditorPopover> popup_;
    std::optional<bool> shownMuted_;
};

} // namespace tw
