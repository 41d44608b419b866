// The eight transport keys under the deck: to start, back 5 s, stop, play, pause, record,
// forward 5 s, to end; with their labels, lit states and enabling rules read from the Studio.
// Home, End, Left and Right press the four jump keys from anywhere in the window.
#pragma once

#include <QWidget>

#include <array>

namespace tw {

class Studio;
class TransportButton;
enum class StudioField;

class TransportBar final : public QWidget {
    Q_OBJECT

public:
    // The keys' symbol names, left to right.
    static const std::array<QString, 8>& symbols();

    explicit TransportBar(Studio& studio, QWidget* parent = nullptr);

    // The key drawn with symbol (one of symbols()).
    TransportButton& button(const QString& symbol) const;

private:
    void fieldChanged(StudioField field);
    // Re-reads every rule; a key repaints only when its own state changed. Main thread.
    void refresh();
    void refreshPlayColour();

    Studio& studio_;
    std::array<TransportButton*, 8> buttons_{};
    bool playDrawnPlaying_ = false;
};

} // namespace tw
