// The numeric editor of the music placement and its four fades, shown in a popover from the
// music track's "Ajustes…" button. Values are seconds; a value that is not a number falls back to
// the one shown, one out of range is clamped, and the fades are always stored in order.
#pragma once

#include <QFrame>
#include <QPointer>
#include <QWidget>

#include <array>

class QLineEdit;
class QPushButton;

namespace tw {

class Studio;
enum class StudioField;

class MusicEditor final : public QWidget {
    Q_OBJECT

public:
    static constexpr int rowCount = 7;
    static constexpr int fieldWidth = 90;
    static const std::array<const char*, rowCount> rowLabels;

    explicit MusicEditor(Studio& studio, QWidget* parent = nullptr);
    ~MusicEditor() override;

    QLineEdit& field(int row) const { return *fields_[std::size_t(row)]; }
    QPushButton& doneButton() const { return *done_; }

    // What a row shows while its field is absent, and the largest value it accepts, for the
    // project and music as they are now.
    double fallback(int row) const;
    double maximum(int row) const;

    // Commits the field being edited, if its text changed; run before the popover closes so
    // that a typed value is never lost.
    void commitPendingEdit();

    // The editor's number formatter: the current locale's decimal style, at most 2 fraction
    // digits. parseSeconds gives NaN for text that is not a number.
    static QString formatSeconds(double seconds);
    static double parseSeconds(const QString& text);

signals:
    // "Listo" was chosen (after the document was finished with).
    void finished();

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void fieldChanged(StudioField field);
    void showValues();
    void textEdited(int row);
    void editingFinished(int row);
    void commit(int row);
    void finish();

    Studio& studio_;
    std::array<QLineEdit*, rowCount> fields_{};
    QPushButton* done_;
    // The row whose editing took an undo step and has not ended yet; -1 when none.
    int editingRow_ = -1;
};

// The popover that holds a MusicEditor, anchored under a widget. It closes when the Studio's
// showMusicEditor turns false, and closing it by any means (Escape, a click outside, "Listo")
// clears that flag. Deletes itself once closed.
class MusicEditorPopover final : public QFrame {
    Q_OBJECT

public:
    MusicEditorPopover(Studio& studio, QWidget* anchor);
    ~MusicEditorPopover() override;
    MusicEditor& editor() const { return *editor_; }

    // Makes and shows a popover under anchor (the "Ajustes…" button).
    static MusicEditorPopover* open(Studio& studio, QWidget* anchor);

protected:
    void hideEvent(QHideEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    Studio& studio_;
    QPointer<QWidget> anchor_;
    MusicEditor* editor_;
};

} // namespace tw
