#include "ui/AppMenus.hpp"

#include "ui/WindowStudio.hpp"

#include <QAction>
#include <QDialog>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

namespace tw {
namespace {

// A window with the menus, a text field and a button, over a Studio on fakes.
class AppMenusTest : public ::testing::Test {
protected:
    QApplication& application = testing::uiApplication();
    testing::StudioFixture f;
    QMainWindow window;
    QLineEdit* field = new QLineEdit;
    QPushButton* button = new QPushButton(QStringLiteral("Botón"));
    AppMenus* menus = new AppMenus(f.studio, *window.menuBar());

    AppMenusTest()
    {
        auto* central = new QWidget;
        auto* layout = new QVBoxLayout(central);
        layout->addWidget(field);
        layout->addWidget(button);
        window.setCentralWidget(central);
        window.resize(400, 200);
        testing::showActive(window);
        button->setFocus();
    }

    // A key pressed while the button (not a text field) has the focus.
    void press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(button, static_cast<Qt::Key>(key), modifiers);
    }
};

TEST_F(AppMenusTest, enablingFollowsRecordingBusyCountdownAndSelection)
{
    // Which items are on, in this order: new, open, save, save a copy, export, undo, redo, play,
    // record, split, trim, delete, import, remove music, copy, paste, delete closing the gap,
    // add a chapter, episode details.
    const auto enabled = [&] {
        std::string states;
        for (QAction* action :
             {&menus->newProject(), &menus->openProject(), &menus->saveProject(),
              &menus->saveCopy(), &menus->exportProject(), &menus->undo(), &menus->redo(),
              &menus->playPause(), &menus->recordStop(), &menus->split(), &menus->trim(),
              &menus->deleteSelection(), &menus->importMusic(), &menus->removeMusic(),
              &menus->copy(), &menus->paste(), &menus->deleteClosingGap(), &menus->addChapter(),
              &menus->episodeDetails()})
            states += action->isEnabled() ? '1' : '0';
        return states;
    };
    // Idle without a folder, a selection, music or history.
    EXPECT_EQ(enabled(), "1110100111001000011");
    f.studio.project.mutate([](PodcastProject& p) { p.musicFile = "Media/music-1.wav"; });
    f.studio.selection = TimeRange{1, 2};
    f.studio.undoStack = std::vector<PodcastProject>(1);
    f.studio.redoStack = std::vector<PodcastProject>(1);
    EXPECT_EQ(enabled(), "1110111111111100111");
    // Busy: the commands stop, the selection items and saving stay; the count-in is busy, yet
    // its key stays live to cancel it.
    f.studio.busy = true;
    EXPECT_EQ(enabled(), "0010000000110000000");
    f.studio.countdown = 2;
    EXPECT_EQ(enabled(), "0010000010110000000");
    f.studio.countdown = std::nullopt;
    f.studio.busy = false;
    // Recording: only play/pause, record/stop and save remain.
    f.studio.recording = true;
    EXPECT_EQ(enabled(), "0010000110000000000");
    f.studio.recording = false;
    menus->removeMusic().trigger();
    EXPECT_FALSE(f.studio.project->musicFile || menus->removeMusic().isEnabled());
}

TEST_F(AppMenusTest, editKeysDoWhatTheirItemsDo)
{
    ASSERT_TRUE(f.openTone(20));
    // Split, undo, redo; delete leaves the place of the selected audio empty; trim keeps only the
    // selection; copy and paste bring it in at the play head; Shift+Delete closes the gap.
    struct Key {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        TimeRange selection;
        double voice, audio; // the programme's voice length and its audio, after the key
        std::size_t clips;
    };
    const auto ctrl = Qt::ControlModifier, shift = Qt::ShiftModifier;
    for (const Key& key :
         {Key{Qt::Key_T, ctrl, {}, 20, 20, 2}, Key{Qt::Key_Z, ctrl, {}, 20, 20, 1},
          Key{Qt::Key_Z, ctrl | shift, {}, 20, 20, 2}, Key{Qt::Key_Delete, {}, {1, 2}, 20, 19, 3},
          Key{Qt::Key_T, ctrl | shift, {3, 8}, 5, 5, 2}, Key{Qt::Key_C, ctrl, {0, 1}, 5, 5, 2},
          Key{Qt::Key_V, ctrl, {}, 6, 6, 4}, Key{Qt::Key_Delete, shift, {0, 2}, 4, 4, 2}}) {
        SCOPED_TRACE(::testing::Message() << key.key << " " << key.modifiers.toInt());
        f.studio.selection = key.selection.upper > 0 ? std::optional(key.selection) : std::nullopt;
        f.studio.position = key.key == Qt::Key_T && key.modifiers == ctrl ? 5.0 : 1.0;
        press(key.key, key.modifiers);
        ASSERT_TRUE(f.waitIdle());
        EXPECT_NEAR(f.studio.project->voiceDuration(), key.voice, 1e-6);
        EXPECT_NEAR(testing::clipSeconds(f.studio.project()), key.audio, 1e-6);
        EXPECT_EQ(f.studio.project->resolvedSegments().size(), key.clips);
    }

    // M marks a chapter at the play head; the details item opens its dialog over the window.
    f.studio.seek(0.5);
    press(Qt::Key_M);
    ASSERT_EQ(f.studio.project->chapters.size(), 1u);
    EXPECT_EQ(f.studio.project->chapters[0].time, 0.5);
    menus->episodeDetails().trigger();
    EXPECT_NE(window.findChild<QDialog*>(), nullptr);
}

TEST_F(AppMenusTest,
       theLoudnessGroupChoosesTheProjectsLoudnessAndKeysInAFieldStayTextSpacePausesATake)
{
    f.host.newProjectAnswers.push_back(f.temp / "Programa.podcastproject");
    ASSERT_TRUE(f.studio.newProject());
    EXPECT_TRUE(menus->loudness(LoudnessTarget::podcast).isChecked()) << "by default";
    menus->loudness(LoudnessTarget::broadcast).trigger();
    EXPECT_EQ(f.studio.project->loudnessTarget, LoudnessTarget::broadcast);
    // The group shows the project's choice, also when an undo changes it.
    menus->undo().trigger();
    EXPECT_TRUE(menus->loudness(LoudnessTarget::podcast).isChecked());
    f.studio.busy = true;
    EXPECT_FALSE(menus->loudness(LoudnessTarget::podcast).isEnabled());
    f.studio.busy = false;

    // Keys typed into a text field stay text.
    f.studio.selection = TimeRange{0, 1};
    field->setFocus();
    QTest::keyClicks(field, QStringLiteral("r r"));
    QTest::keyClick(field, Qt::Key_Backspace);
    QTest::keyClick(field, Qt::Key_Home);
    QTest::keyClick(field, Qt::Key_Delete);
    EXPECT_EQ(field->text(), QStringLiteral(" "));
    EXPECT_FALSE(f.studio.countdown());
    EXPECT_TRUE(f.studio.selection());
    EXPECT_TRUE(f.studio.undoStack->empty()); // the loudness choice was undone; no edit since

    // The same key anywhere else in the window is the command; R again cancels the count-in.
    press(Qt::Key_R);
    EXPECT_EQ(f.studio.countdown(), 3);
    press(Qt::Key_R);
    EXPECT_FALSE(f.studio.countdown());

    // During a take (a microphone at a real one's pace, so that it still runs when resumed)
    // Space pauses and resumes it instead of playing.
    f.inputOptions.pace = SimulatedAudioInput::Pace::realTime;
    f.inputOptions.length = 48000 * 30;
    press(Qt::Key_R);
    f.scheduler.advance(3.0);
    ASSERT_TRUE(f.studio.recording());
    for (bool paused : {true, false}) {
        press(Qt::Key_Space);
        EXPECT_EQ(f.studio.recordingPaused(), paused);
        EXPECT_TRUE(f.studio.recording() && !f.studio.playing());
    }
}

} // namespace
} // namespace tw
