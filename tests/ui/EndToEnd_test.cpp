// The whole road of a programme through the application's window, on fakes: a new project from
// the welcome sheet, a take from the simulated microphone with the record key, playback with the
// space key, the voice treatment switched on in its panel, and an M4A export with its shortcut.
#include "audio/AudioFileReader.hpp"
#include "support/AudioFiles.hpp"
#include "ui/MainWindow.hpp"
#include "ui/WelcomeView.hpp"
#include "ui/WindowStudio.hpp"

#include <QAbstractButton>
#include <QCheckBox>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace tw {
namespace {

using testing::AppFixture;

// The window's button or switch whose label or help is text.
QAbstractButton* findButton(QWidget& window, const QString& text)
{
    for (QAbstractButton* button : window.findChildren<QAbstractButton*>())
        if (button->isVisible() && (button->text() == text || button->accessibleName() == text ||
                                    button->toolTip() == text))
            return button;
    return nullptr;
}

double rms(const std::vector<float>& samples)
{
    double sum = 0;
    for (float sample : samples)
        sum += double(sample) * sample;
    return samples.empty() ? 0 : std::sqrt(sum / samples.size());
}

TEST(EndToEnd, newProjectRecordPlayTreatAndExportThroughTheWindow)
{
    AppFixture f;
    MainWindow& window = f.app.window();
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));

    // The welcome sheet creates the project and closes.
    WelcomeView& sheet = window.welcome();
    ASSERT_TRUE(QTest::qWaitFor([&] { return sheet.isVisible(); }));
    const auto folder = f.temp / "Programa.podcastproject";
    f.host.newProjectAnswers.push_back(folder);
    QTest::mouseClick(&sheet.newButton(), Qt::LeftButton);
    ASSERT_EQ(f.studio.folder(), folder);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !sheet.isVisible(); }));
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));

    // R counts in and records; R again ends the take, which becomes the one clip.
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

    // Back to the start with the transport key, then Space plays half a second and pauses.
    QAbstractButton* start = findButton(window, QStringLiteral("Volver al inicio"));
    ASSERT_TRUE(start);
    QTest::mouseClick(start, Qt::LeftButton);
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

    // The voice treatment is switched on in its panel: one undo step, stored in the document.
    const std::size_t steps = f.studio.undoStack->size();
    QAbstractButton* enhance = findButton(window, QStringLiteral("Mejorar voz"));
    ASSERT_TRUE(enhance);
    QTest::mouseClick(enhance, Qt::LeftButton);
    ASSERT_TRUE(f.studio.project->treatment);
    EXPECT_TRUE(f.studio.project->treatment->enhance);
    EXPECT_EQ(f.studio.undoStack->size(), steps + 1);

    // Ctrl+E exports the audible programme through the treatment.
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

    // The document on disk holds the take and the treatment.
    f.studio.flushSaves();
    const PodcastProject saved = testing::readProject(folder);
    EXPECT_EQ(saved.resolvedSegments().size(), 1u);
    ASSERT_TRUE(saved.treatment);
    EXPECT_TRUE(saved.treatment->enhance);
}

} // namespace
} // namespace tw
