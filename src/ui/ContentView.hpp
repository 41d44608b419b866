// The one screen of the program, top to bottom: the instruments (deck, counter and loudness, VU
// meters, spectrum and equaliser panels, transport keys), the voice studio panel, the timeline with
// its headers and ruler, the control row and the status line; plus the alert for the Studio's
// message. Each part reads the shared Studio and repaints only when a field it shows changed.
// Every part but the timeline keeps its height; the timeline's lanes take the rest.
#pragma once

#include <QWidget>

namespace tw {

class Clock;
class ControlRow;
class LCDCounter;
class LoudnessMeterView;
class MessageAlert;
class StatusLine;
class Studio;
class StudioVUMeters;
class TapeDeck;
class TimelineView;
class TransportBar;
class VoiceStudioPanel;
enum class StudioField;

class ContentView final : public QWidget {
    Q_OBJECT

public:
    static constexpr int minimumWidth = 1280;

    // clock is the Studio's own time base (the deck carries the reels on with it).
    ContentView(Studio& studio, const Clock& clock, QWidget* parent = nullptr);

    TapeDeck& deck() const { return *deck_; }
    LCDCounter& counter() const { return *counter_; }
    StudioVUMeters& meters() const { return *meters_; }
    LoudnessMeterView& loudness() const { return *loudness_; }
    QWidget& spectrumPanel() const { return *spectrum_; }
    QWidget& equalizerPanel() const { return *equalizer_; }
    TransportBar& transport() const { return *transport_; }
    VoiceStudioPanel& voicePanel() const { return *voicePanel_; }
    TimelineView& timeline() const { return *timeline_; }
    ControlRow& controls() const { return *controls_; }
    StatusLine& status() const { return *status_; }
    MessageAlert& alert() const { return *alert_; }

private:
    QWidget* instrumentArea(const Clock& clock);

    Studio& studio_;
    TapeDeck* deck_ = nullptr;
    LCDCounter* counter_ = nullptr;
    StudioVUMeters* meters_ = nullptr;
    LoudnessMeterView* loudness_ = nullptr;
    QWidget* spectrum_ = nullptr;
    QWidget* equalizer_ = nullptr;
    TransportBar* transport_ = nullptr;
    VoiceStudioPanel* voicePanel_ = nullptr;
    TimelineView* timeline_ = nullptr;
    ControlRow* controls_ = nullptr;
    StatusLine* status_ = nullptr;
    MessageAlert* alert_ = nullptr;
};

} // namespace tw
