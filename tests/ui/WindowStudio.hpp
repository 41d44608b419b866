// A Studio for the window's tests: the offscreen application, the fixture's fakes and virtual
// time, a project folder on disk holding the given clips, and the steps to reach a count-in or a
// running take through the simulated microphone.
#pragma once

#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"
#include "ui/UiApplication.hpp"

#include <QAbstractButton>
#include <QMouseEvent>

#include <cmath>
#include <string>
#include <vector>

namespace tw::testing {

inline Segment clipAt(double at, double length, const std::string& file = "Media/voice-A.caf",
                      double start = 0)
{
    Segment segment;
    segment.start = start;
    segment.duration = length;
    segment.file = file;
    segment.timelineStart = at;
    return segment;
}

struct WindowStudio {
    QApplication& application = uiApplication();
    StudioFixture fixture;
    Studio& studio = fixture.studio;
    TempFolder temp;
    std::filesystem::path folder = temp / "Programa.podcastproject";

    explicit WindowStudio(std::vector<Segment> clips = {})
    {
        std::filesystem::create_directories(folder / "Media");
        studio.folder = folder;
        PodcastProject document;
        document.segments = std::move(clips);
        studio.project = document;
    }

    // record() up to the count-in showing 3 (busy, nothing captured yet).
    void startCountIn()
    {
        studio.record();
        EXPECT_EQ(studio.countdown(), 3);
    }
    // record() through the count-in until the take runs.
    bool startTake()
    {
        startCountIn();
        fixture.scheduler.advance(3.0);
        return studio.recording();
    }
    // Runs the studio clock until the take holds seconds of audio.
    bool recordUntil(double seconds)
    {
        return fixture.waitUntil([&] {
            fixture.scheduler.advance(0.1);
            return studio.liveDuration >= seconds - 1e-9;
        });
    }
    // Stops the take and waits until it is in the document.
    bool finishTake()
    {
        studio.stopRecording();
        return fixture.waitIdle();
    }
};

// A left-button mouse event at x, y in widget (press, move with the button held, release).
inline void sendMouse(QWidget& widget, QEvent::Type type, double x, double y = 10)
{
    const QPointF local(x, y);
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    const Qt::MouseButtons held =
        type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::MouseButtons(Qt::LeftButton);
    QMouseEvent event(type, local, widget.mapToGlobal(local), button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(&widget, &event);
}

} // namespace tw::testing
