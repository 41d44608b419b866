// The seven-segment time counter: hours, minutes and seconds, drawn as lit and faint segments on
// a dark glass. The main window feeds it the play position.
#pragma once

#include <QWidget>

#include <array>
#include <string>
#include <vector>

namespace tw {

// "HH:MM:SS" from the whole seconds of max(seconds, 0); hours stop at 99, minutes and seconds run.
std::string lcdValue(double seconds);

// The lit segments of each decimal digit; 0 top, 1 upper right, 2 lower right, 3 bottom,
// 4 lower left, 5 upper left, 6 middle.
const std::array<std::vector<int>, 10>& lcdDigits();
// The seven segments of a digit character, lit or not (all dark for anything but 0–9).
std::array<bool, 7> lcdSegments(char digit);

class LCDCounter final : public QWidget {
    Q_OBJECT

public:
    explicit LCDCounter(QWidget* parent = nullptr);

    double seconds() const { return seconds_; }
    // Repaints only when the shown text changes. Main thread.
    void setSeconds(double seconds);
    QString value() const { return QString::fromStdString(lcdValue(seconds_)); }

    QSize sizeHint() const override { return {180, 62}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double seconds_ = 0;
};

} // namespace tw
