// The row under the timeline: the input picker with its refresh button and level bar, the zoom
// slider, and the four selection and clip buttons (trim, split, listen, delete).
#pragma once

#include <QWidget>

class QComboBox;
class QSlider;
class QToolButton;

namespace tw {

class InputLevelBar;
class Studio;
enum class StudioField;

class ControlRow final : public QWidget {
    Q_OBJECT

public:
    static constexpr int minimumZoom = 2;
    static constexpr int maximumZoom = 300;

    explicit ControlRow(Studio& studio, QWidget* parent = nullptr);

    QComboBox& inputPicker() const { return *inputs_; }
    QToolButton& refreshButton() const { return *refresh_; }
    InputLevelBar& levelBar() const { return *level_; }
    QSlider& zoomSlider() const { return *zoom_; }
    QToolButton& trimButton() const { return *trim_; }
    QToolButton& splitButton() const { return *split_; }
    QToolButton& listenButton() const { return *listen_; }
    QToolButton& deleteButton() const { return *delete_; }

private:
    void fieldChanged(StudioField field);
    void fillInputs();
    void inputChosen(int index);
    void zoomMoved(int value);
    void zoomChanged();
    void refreshButtons();
    void refreshSplit();

    Studio& studio_;
    QComboBox* inputs_;
    QToolButton* refresh_;
    InputLevelBar* level_;
    QSlider* zoom_;
    QToolButton* trim_;
    QToolButton* split_;
    QToolButton* listen_;
    QToolButton* delete_;
    double shownZoom_;
};

} // namespace tw
