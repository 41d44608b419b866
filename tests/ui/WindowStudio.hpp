// A Studio for the window's tests: the offscreen application, the fixture's fakes and virtual
// time, a project folder on disk holding the given clips, and the steps to reach a count-in or a
// running take through the simulated microphone.
#pragma once

#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"
#include "ui/UiApplication.hpp"

#include <QAbstractButton>
#include <QMouseEvent>

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace tw::testing {

inline Segment clipAt(double at, double length, const std::string& file = "Media/voice-A.caf",
                      double start = 0)
{
    return placedClip(at, length, file, std::nullopt, start);
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
        writeProject(folder, document);
        ASSERT_TRUE(fixture.openAndWait(folder));
        ASSERT_FALSE(studio.message()) << *studio.message();
        ASSERT_EQ(studio.voiceWaveforms->size(), 1u);
        ASSERT_FALSE(studio.musicPeaks->empty());
        QCoreApplication::processEvents();
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
