// The window on the rig's sound server, driven by its keys as a user would: a new project, a
// take recorded with R from the virtual microphone while a tone plays into it, and the take
// played back with Space and heard on the sink's monitor. The clock runs with the wall clock.
#include "ui/MainWindow.hpp"

#include "audio/PulseRig.hpp"
#include "support/TempProject.hpp"
#include "ui/WindowStudio.hpp"

#include <QTest>

#include <gtest/gtest.h>

#include <optional>

namespace tw {
namespace {

class WindowDevice : public rig::PulseRigTest {};

// The application's window over a Studio on the sound server.
struct DeviceWindow : testing::UiFirst, testing::SoundServerStudio {
    MainWindow window{studio, scheduler};
};

TEST_F(WindowDevice, aTakeRecordedWithTheKeysIsHeardWithSpace)
{
    rig::ScratchFolder scratch;
    const std::string tone = scratch.file("tone.wav");
    ASSERT_TRUE(rig::makeTone(tone, 1000, 8.0));
    testing::TempFolder temp;
    DeviceWindow d;
    d.studio.showWelcome = false;
    testing::showActive(d.window);

    d.host.newProjectAnswers.push_back(temp / "Programa.podcastproject");
    QTest::keyClick(&d.window, Qt::Key_N, Qt::ControlModifier);
    ASSERT_TRUE(d.studio.folder());

    // The tone sounds in the microphone before the take begins and until after it ends.
    std::optional<rig::BackgroundSound> sound(std::in_place, tone);
    ASSERT_TRUE(sound->playing());
    QTest::keyClick(&d.window, Qt::Key_R);
    ASSERT_EQ(d.studio.countdown(), 3);
    d.scheduler.advance(3.0);
    ASSERT_TRUE(d.studio.recording()) << d.studio.message().value_or("");
    ASSERT_TRUE(d.runUntil([&] { return d.studio.liveDuration >= 2.0 || !d.studio.recording(); }));
    ASSERT_TRUE(d.studio.recording()) << d.studio.message().value_or("");
    QTest::keyClick(&d.window, Qt::Key_R);
    ASSERT_TRUE(d.runUntil([&] { return !d.studio.busy() && !d.studio.recording(); }));
    ASSERT_FALSE(d.studio.message()) << *d.studio.message();
    ASSERT_EQ(d.studio.project->resolvedSegments().size(), 1u);
    EXPECT_GE(d.studio.duration(), 2.0);
    // The tone stops before the take is played back into the same sink.
    sound.reset();

    rig::MonitorRecording monitor(scratch.file("heard.raw"));
    ASSERT_TRUE(monitor.listening());
    d.studio.seek(0);
    QTest::keyClick(&d.window, Qt::Key_Space);
    EXPECT_TRUE(d.runUntil([&] { return d.studio.playing(); })) << d.studio.message().value_or("");
    d.runUntil([&] { return d.studio.position() >= 1.9 || !d.studio.playing(); });
    QTest::keyClick(&d.window, Qt::Key_Space);
    EXPECT_FALSE(d.studio.playing());

    const std::vector<float> heard =
        rig::loudPart(rig::channel(monitor.finish(0.005f), 2, 0), 0.005f);
    ASSERT_GT(heard.size(), 24000u) << "the take is heard";
    EXPECT_NEAR(rig::zeroCrossingFrequency(heard, 48000), 1000, 5);
}

} // namespace
} // namespace tw
