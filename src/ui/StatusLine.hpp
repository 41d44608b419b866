// The caption-size line at the bottom of the window: the selection or a hint on the left; on the
// right the export progress with its cancel button, "Preparando audio…", or the project title
// (shortened in its middle when it is long) with the time it was last saved.
#pragma once

#include <QString>
#include <QWidget>

#include <chrono>
#include <optional>

class QLabel;
class QProgressBar;
class QPushButton;

namespace tw {

class Studio;
struct TimeRange;
enum class StudioField;

// "Selección: " and the two clock times, or the gesture hint when there is no selection.
QString selectionText(const std::optional<TimeRange>& selection);
// "<title> · Guardado hh:mm" (local short time) or "<title> · Sin guardar".
QString savedText(const QString& title,
                  const std::optional<std::chrono::system_clock::time_point>& lastSaved);
// The whole percentage of an export progress, followed by " %".
QString progressText(float progress);

class StatusLine final : public QWidget {
    Q_OBJECT

public:
    static constexpr int statusWidth = 260;

    explicit StatusLine(Studio& studio, QWidget* parent = nullptr);

    QLabel& leftText() const { return *left_; }
    // The right-hand status as shown (empty while the export progress is shown instead).
    QLabel& statusText() const { return *status_; }
    QProgressBar& exportBar() const { return *progress_; }
    QLabel& exportPercentage() const { return *percentage_; }
    QPushButton& cancelButton() const { return *cancel_; }
    bool showsExport() const { return exportShown_; }

private:
    void fieldChanged(StudioField field);
    void showSelection();
    void showStatus();
    void showTitle();

    Studio& studio_;
    QLabel* left_;
    QWidget* exportBox_;
    QProgressBar* progress_;
    QLabel* percentage_;
    QPushButton* cancel_;
    QLabel* status_;
    bool exportShown_ = false;
};

} // namespace tw
