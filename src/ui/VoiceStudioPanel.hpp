// "Estudio de voz": the switches and picker of the voice treatment. Each change writes the
// treatment into the project as one undo step, is heard at once and is saved.
#pragma once

#include <QWidget>

#include <functional>
#include <optional>

class QCheckBox;
class QComboBox;
class QToolButton;

namespace tw {

class Studio;
struct VoiceTreatment;
enum class StudioField;

class VoiceStudioPanel final : public QWidget {
    Q_OBJECT

public:
    explicit VoiceStudioPanel(Studio& studio, QWidget* parent = nullptr);

    QCheckBox& enhanceSwitch() const { return *enhance_; }
    QComboBox& stylePicker() const { return *style_; }
    QCheckBox& noiseSwitch() const { return *noise_; }
    QToolButton& levelButton() const { return *level_; }

private:
    void fieldChanged(StudioField field);
    void showTreatment();
    // Takes the current treatment, changes one field, and stores it as an undoable edit.
    void change(const std::function<void(VoiceTreatment&)>& edit);

    Studio& studio_;
    QCheckBox* enhance_;
    QComboBox* style_;
    QCheckBox* noise_;
    QToolButton* level_;
    std::optional<bool> shownLevel_;
};

} // namespace tw
