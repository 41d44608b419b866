// The interface tests' fixtures: the offscreen application made before anything of Qt, a Studio
// on the fakes with a project folder holding the given clips (or the whole application over
// them), and the gestures a person makes.
#pragma once

#include "support/StudioFixture.hpp"
#include "ui/TapewrightApp.hpp"
#include "ui/UiApplication.hpp"

#include <QMouseEvent>
#include <QTest>

#include <gtest/gtest.h>

#include <functional>

namespace tw::testing {

inline Segment clipAt(double at, double length, const std::string& file = "Media/voice-A.caf",
                      double start = 0)
{
    return placedClip(at, length, file, std::nullopt, start);
}

// The seconds of audio the programme's clips hold, gaps left out.
inline double clipSeconds(const PodcastProject& project)
{
    double total = 0;
    for (const Segment& clip : project.resolvedSegments())
        total += clip.duration;
    return total;
}

// A base that makes the widget application first (the Studio would make a core one).
struct UiFirst {
    QApplication& application = uiApplication();
};

struct WindowStudio : UiFirst, StudioFixture {
    explicit WindowStudio(std::vector<Segment> clips = {}) { useFolder(std::move(clips)); }

    // Opens a project of two voice clips cut from a real take and a music bed, with their peaks.
    void openProgramme()
    {
        makeTone(folder / "Media" / "voice-A.wav", 20, 220);
        makeTone(folder / "Media" / "music-A.wav", 60, 660);
        PodcastProject document;
        document.segments = {clipAt(0, 12, "Media/voice-A.wav"),
                             clipAt(14, 6, "Media/voice-A.wav", 12)};
        document.musicFile = "Media/music-A.wav";
        document.musicOffset = 2.0;
        document.musicLength = 30.0;
        ASSERT_TRUE(open(document)) << studio.message().value_or("");
        ASSERT_EQ(studio.voiceWaveforms->size(), 1u);
        ASSERT_FALSE(studio.musicPeaks->empty());
        QCoreApplication::processEvents();
    }
};

// The whole application on the fakes, with a microphone at a real one's pace (30 s of tone).
struct AppFixture : UiFirst, StudioFakes, StudioSteps<AppFixture> {
    TapewrightApp app{environment()};
    Studio& studio = app.studio();

    AppFixture()
    {
        inputOptions.pace = SimulatedAudioInput::Pace::realTime;
        inputOptions.length = 48000 * 30;
    }
    ~AppFixture() { finish(); }
};

// A project folder on disk that was never opened here, its music at half volume.
inline std::filesystem::path savedProject(const std::filesystem::path& folder)
{
    PodcastProject document;
    document.musicVolume = 0.5f;
    writeProject(folder, document);
    return folder;
}

// Shows widget as the active window.
inline void showActive(QWidget& widget)
{
    widget.show();
    widget.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&widget));
}

// A left-button drag in widget from `from` through the points given, released at the last;
// whileHeld runs before the release, to see what the gesture shows while it lasts.
inline void drag(QWidget& widget, QPoint from, const std::vector<QPoint>& through,
                 const std::function<void()>& whileHeld = {})
{
    QTest::mousePress(&widget, Qt::LeftButton, {}, from);
    QPoint last = from;
    for (QPoint point : through)
        QTest::mouseMove(&widget, last = point);
    if (whileHeld)
        whileHeld();
    QTest::mouseRelease(&widget, Qt::LeftButton, {}, last);
}

// A mouse event of type at point in widget, delivered to it whatever lies over it (the test
// windows overlap on the offscreen screen); the left button is held unless it is a hover.
inline void sendMouse(QWidget& widget, QEvent::Type type, QPointF point, bool hover = false)
{
    const Qt::MouseButton button =
        type == QEvent::MouseMove || hover ? Qt::NoButton : Qt::LeftButton;
    const Qt::MouseButtons held = type == QEvent::MouseButtonRelease || hover
                                      ? Qt::NoButton
                                      : Qt::MouseButtons(Qt::LeftButton);
    QMouseEvent event(type, point, widget.mapToGlobal(point), button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(&widget, &event);
}

} // namespace tw::testing
