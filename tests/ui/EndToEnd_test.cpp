// The whole road of a programme through the application's window, on fakes: a new project with
// its shortcut, a take from the simulated microphone with the record key, playback with the
// space key, and an M4A export with its shortcut.
#include "audio/AudioFileReader.hpp"
#include "support/AudioFiles.hpp"
#include "ui/MainWindow.hpp"
#include "ui/WindowStudio.hpp"

#include <QTest>

#include <gtest/gtest.h>

namespace tw {
namespace {

double rms(const std::vector<float>& samples)
{
    double sum = 0;
    for (float sample : samples)
        sum += double(sample) * sample;
    return samples.empty() ? 0 : std::sqrt(sum / samples.size());
}

TEST(EndToEnd, newProjectRecordPlayAndExportThroughTheWindow)
{
    testing::AppFixture f;
    MainWindow& window = f.app.window();
    f.studio.showWelcome = false;
    testing::showActive(window);

    // Ctrl+N creates the project; R counts in and records; R again ends the take, which becomes
    // the one clip.
    const auto folder = f.temp / "Programa.podcastproject";
    f.host.newProjectAnswers.push_back(folder);
    QTest::keyClick(&window, Qt::Key_N, Qt::ControlModifier);
    ASSERT_EQ(f.studio.folder(), folder);
    QTest::keyClick(&window, Qt::Key_R);
    ASSERT_EQ(f.studio.countdown(), 3);
    f.scheduler.advance(3.0);
    ASSERT_TRUE(f.studio.recording());
    ASSERT_TRUE(f.waitUntil([&] {
        f.scheduler.advance(0.1);
        return f.studio.liveDuration >= 1.0;
    }));
    QTest::keyClick(&window, Qt::Key_R);
    ASSERT_TRUE(f.waitIdle());
    ASSERT_EQ(f.studio.project->resolvedSegments().size(), 1u);
    const double take = f.studio.project->voiceDuration();
    EXPECT_GE(take, 1.0);

    // Home goes back to the start, then Space plays half a second and pauses.
    QTest::keyClick(&window, Qt::Key_Home);
    EXPECT_DOUBLE_EQ(f.studio.position(), 0.0);
    QTest::keyClick(&window, Qt::Key_Space);
    ASSERT_TRUE(f.waitUntil([&] { return f.studio.playing() && !f.studio.busy(); }))
        << f.studio.message().value_or("");
    ASSERT_TRUE(f.lastOutput);
    f.play(0.5);
    EXPECT_NEAR(f.studio.position(), 0.5, 0.1);
    const std::vector<float> heard = f.lastOutput->rendered();
    EXPECT_GT(rms(heard), 0.2); // the half-scale tone, not silence
    QTest::keyClick(&window, Qt::Key_Space);
    EXPECT_FALSE(f.studio.playing());

    // Ctrl+E exports the audible programme.
    const auto destination = f.temp / "Programa.m4a";
    f.host.exportAnswers.push_back(destination);
    QTest::keyClick(&window, Qt::Key_E, Qt::ControlModifier);
    ASSERT_TRUE(f.waitUntil([&] {
        f.scheduler.advance(0.2);
        return !f.studio.busy() && !f.studio.exportProgress();
    }));
    EXPECT_EQ(f.studio.message().value_or("").rfind("Exportación completada: Programa.m4a · ", 0),
              0u)
        << f.studio.message().value_or("");
    ASSERT_TRUE(std::filesystem::exists(destination));
    auto reader = AudioFileReader::open(destination);
    ASSERT_TRUE(reader) << reader.error().description;
    const double seconds = double(reader.value()->length()) / reader.value()->sampleRate();
    EXPECT_GT(seconds, 0.9);
    EXPECT_LT(seconds, take + 1.0);
    EXPECT_GT(rms(testfiles::decodeWithFfmpeg(destination)), 0.05);

    // The document on disk holds the take.
    f.studio.flushSaves();
    EXPECT_EQ(testing::readProject(folder).resolvedSegments().size(), 1u);
}

} // namespace
} // namespace tw
