#include "ui/AppMenus.hpp"

#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"
#include "ui/UiApplication.hpp"

#include <QAction>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

namespace tw {
namespace {

using testing::StudioFixture;
using testing::TempFolder;

// A window with the menus, a text field and a button, over a Studio on fakes.
class AppMenusTest : public ::testing::Test {
protected:
    QApplication& application = testing::uiApplication();
    StudioFixture f;
    TempFolder temp;
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
        window.show();
        window.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
        button->setFocus();
    }

    // A key pressed while the button (not a text field) has the focus.
    void press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(button, static_cast<Qt::Key>(key), modifiers);
    }

    std::filesystem::path startProject()
    {
        const auto folder = temp / "Programa.podcastproject";
        f.host.newProjectAnswers.push_back(folder);
        EXPECT_TRUE(f.studio.newProject());
        return folder;
    }

    // Records a take of at least 1.6 s from a microphone at a real one's pace, with the R key.
    void recordTake()
    {
        f.inputOptions.pace = SimulatedAudioInput::Pace::realTime;
        f.inputOptions.length = 48000 * 30;
        press(Qt::Key_R);
        f.scheduler.advance(3.0);
        ASSERT_TRUE(f.studio.recording());
        ASSERT_TRUE(f.waitUntil([&] {
            f.scheduler.advance(0.1);
            return f.studio.liveDuration >= 1.6;
        }));
        press(Qt::Key_R);
        ASSERT_TRUE(f.waitIdle());
        ASSERT_EQ(f.studio.project->resolvedSegments().size(), 1u);
    }
};

TEST_F(AppMenusTest, menusHoldTheCommandsInOrderWithTheirKeys)
{
    auto texts = [](const QMenu& menu) {
        QStringList list;
        for (const QAction* action : menu.actions())
            list << (action->isSeparator() ? QStringLiteral("—") : action->text());
        return list;
    };
    EXPECT_EQ(texts(menus->fileMenu()),
              (QStringList{"Nuevo proyecto…", "Abrir proyecto…", "Guardar proyecto",
                           "Guardar una copia…", "Exportar M4A…", "—", "Salir"}));
    EXPECT_EQ(texts(menus->editMenu()),
              (QStringList{"Deshacer", "Rehacer", "—", "Copiar", "Pegar en el cabezal",
                           "Eliminar y cerrar hueco"}));
    EXPECT_EQ(texts(menus->audioMenu()),
              (QStringList{"Reproducir / Pausar", "Grabar / Detener", "Dividir clip en el cabezal",
                           "Recortar a la selección", "Eliminar selección", "Importar música…",
                           "Quitar música", "—", "Podcast (−16 LUFS)",
                           "Emisión EBU R128 (−23 LUFS)", "Sin normalizar"}));

    EXPECT_EQ(menus->newProject().shortcut(), QKeySequence("Ctrl+N"));
    EXPECT_EQ(menus->openProject().shortcut(), QKeySequence("Ctrl+O"));
    EXPECT_EQ(menus->saveProject().shortcut(), QKeySequence("Ctrl+S"));
    EXPECT_EQ(menus->exportProject().shortcut(), QKeySequence("Ctrl+E"));
    EXPECT_EQ(menus->undo().shortcut(), QKeySequence("Ctrl+Z"));
    EXPECT_EQ(menus->redo().shortcut(), QKeySequence("Ctrl+Shift+Z"));
    EXPECT_EQ(menus->playPause().shortcut(), QKeySequence(Qt::Key_Space));
    EXPECT_EQ(menus->recordStop().shortcut(), QKeySequence(Qt::Key_R));
    EXPECT_EQ(menus->split().shortcut(), QKeySequence("Ctrl+T"));
    EXPECT_EQ(menus->trim().shortcut(), QKeySequence("Ctrl+Shift+T"));
    EXPECT_EQ(menus->deleteSelection().shortcut(), QKeySequence(Qt::Key_Delete));
    EXPECT_EQ(menus->importMusic().shortcut(), QKeySequence("Ctrl+I"));
    EXPECT_EQ(menus->copy().shortcut(), QKeySequence("Ctrl+C"));
    EXPECT_EQ(menus->paste().shortcut(), QKeySequence("Ctrl+V"));
    EXPECT_EQ(menus->deleteClosingGap().shortcut(), QKeySequence("Shift+Del"));
}

TEST_F(AppMenusTest, enablingFollowsRecordingBusyCountdownAndSelection)
{
    // Idle without a selection or history.
    EXPECT_TRUE(menus->newProject().isEnabled());
    EXPECT_TRUE(menus->openProject().isEnabled());
    EXPECT_TRUE(menus->saveProject().isEnabled());
    EXPECT_TRUE(menus->exportProject().isEnabled());
    EXPECT_FALSE(menus->undo().isEnabled());
    EXPECT_FALSE(menus->redo().isEnabled());
    EXPECT_TRUE(menus->playPause().isEnabled());
    EXPECT_TRUE(menus->recordStop().isEnabled());
    EXPECT_TRUE(menus->split().isEnabled());
    EXPECT_FALSE(menus->trim().isEnabled());
    EXPECT_FALSE(menus->deleteSelection().isEnabled());
    EXPECT_TRUE(menus->importMusic().isEnabled());
    EXPECT_FALSE(menus->removeMusic().isEnabled()) << "no music to remove";
    f.studio.project.mutate([](PodcastProject& p) { p.musicFile = "Media/music-1.wav"; });
    EXPECT_TRUE(menus->removeMusic().isEnabled());

    EXPECT_FALSE(menus->paste().isEnabled());
    f.studio.selection = TimeRange{1, 2};
    EXPECT_TRUE(menus->trim().isEnabled());
    EXPECT_TRUE(menus->deleteSelection().isEnabled());
    EXPECT_TRUE(menus->deleteClosingGap().isEnabled());
    EXPECT_FALSE(menus->copy().isEnabled()) << "nothing to copy from without a folder";

    // Busy: the commands stop, the selection items and saving stay.
    f.studio.undoStack = std::vector<PodcastProject>(1);
    EXPECT_TRUE(menus->undo().isEnabled());
    f.studio.busy = true;
    for (QAction* action :
         {&menus->newProject(), &menus->openProject(), &menus->exportProject(), &menus->undo(),
          &menus->redo(), &menus->playPause(), &menus->recordStop(), &menus->split(),
          &menus->importMusic(), &menus->removeMusic(), &menus->deleteClosingGap()})
        EXPECT_FALSE(action->isEnabled()) << action->text().toStdString();
    EXPECT_TRUE(menus->saveProject().isEnabled());
    EXPECT_TRUE(menus->trim().isEnabled());
    EXPECT_TRUE(menus->deleteSelection().isEnabled());

    // The count-in is busy, yet its key must stay live to cancel it.
    f.studio.countdown = 2;
    EXPECT_TRUE(menus->recordStop().isEnabled());
    f.studio.countdown = std::nullopt;
    f.studio.busy = false;

    // Recording: only play/pause, record/stop and save remain.
    f.studio.recording = true;
    for (QAction* action :
         {&menus->newProject(), &menus->openProject(), &menus->exportProject(), &menus->undo(),
          &menus->split(), &menus->trim(), &menus->deleteSelection(), &menus->importMusic(),
          &menus->removeMusic(), &menus->deleteClosingGap()})
        EXPECT_FALSE(action->isEnabled()) << action->text().toStdString();
    EXPECT_TRUE(menus->playPause().isEnabled());
    EXPECT_TRUE(menus->recordStop().isEnabled());
    EXPECT_TRUE(menus->saveProject().isEnabled());
    f.studio.recording = false;

    f.studio.redoStack = std::vector<PodcastProject>(1);
    EXPECT_TRUE(menus->redo().isEnabled());
    f.studio.selection = std::nullopt;
    EXPECT_FALSE(menus->trim().isEnabled());
    EXPECT_FALSE(menus->deleteSelection().isEnabled());

    menus->removeMusic().trigger();
    EXPECT_FALSE(f.studio.project->musicFile);
    EXPECT_FALSE(menus->removeMusic().isEnabled());

    // A copy needs a project to copy.
    EXPECT_FALSE(menus->saveCopy().isEnabled());
    startProject();
    EXPECT_TRUE(menus->saveCopy().isEnabled());
}

TEST_F(AppMenusTest, recordKeyDuringTheCountInStopsItAndStaysEnabled)
{
    startProject();
    press(Qt::Key_R);
    ASSERT_EQ(f.studio.countdown(), 3);
    EXPECT_TRUE(f.studio.busy());
    EXPECT_TRUE(menus->recordStop().isEnabled());
    f.scheduler.advance(1.0);
    EXPECT_EQ(f.studio.countdown(), 2);

    // A second R cancels the count-in: no second countdown, no take.
    press(Qt::Key_R);
    EXPECT_FALSE(f.studio.countdown());
    EXPECT_FALSE(f.studio.busy());
    f.scheduler.advance(5.0);
    EXPECT_FALSE(f.studio.recording());
    EXPECT_EQ(f.inputsMade, 0);
    EXPECT_EQ(f.host.microphoneRequests, 1);
}

TEST_F(AppMenusTest, spaceWhileRecordingPausesTheTakeInsteadOfPlaying)
{
    startProject();
    // A microphone at a real one's pace, so the take is still running when it is resumed.
    f.inputOptions.pace = SimulatedAudioInput::Pace::realTime;
    f.inputOptions.length = 48000 * 30;
    press(Qt::Key_R);
    f.scheduler.advance(3.0);
    ASSERT_TRUE(f.studio.recording());

    press(Qt::Key_Space);
    EXPECT_TRUE(f.studio.recordingPaused());
    EXPECT_TRUE(f.studio.recording());
    EXPECT_FALSE(f.studio.playing());
    press(Qt::Key_Space);
    EXPECT_FALSE(f.studio.recordingPaused());
    EXPECT_TRUE(f.studio.recording());
    ASSERT_TRUE(f.waitUntil([&] {
        f.scheduler.advance(0.1);
        return f.studio.liveDuration >= 0.5;
    }));

    press(Qt::Key_R);
    EXPECT_FALSE(f.studio.recording());
    EXPECT_TRUE(f.waitIdle());
    EXPECT_EQ(f.studio.project->resolvedSegments().size(), 1u);
}

TEST_F(AppMenusTest, editKeysDoWhatTheirItemsDo)
{
    startProject();
    recordTake();
    const double length = f.studio.project->voiceDuration();
    auto clipSeconds = [&] {
        double sum = 0;
        for (const Segment& clip : f.studio.project->resolvedSegments())
            sum += clip.duration;
        return sum;
    };

    f.studio.position = 1.0;
    press(Qt::Key_T, Qt::ControlModifier);
    EXPECT_EQ(f.studio.project->resolvedSegments().size(), 2u);
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(f.studio.project->resolvedSegments().size(), 1u);
    press(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(f.studio.project->resolvedSegments().size(), 2u);

    // Delete cuts the selected audio out and leaves its place empty; the item does the same.
    f.studio.selection = TimeRange{0.25, 0.75};
    press(Qt::Key_Delete);
    EXPECT_NEAR(clipSeconds(), length - 0.5, 1e-6);
    EXPECT_EQ(f.studio.project->resolvedSegments().size(), 3u);
    EXPECT_FALSE(f.studio.selection());
    f.studio.selection = TimeRange{1.25, 1.5};
    menus->deleteSelection().trigger();
    EXPECT_NEAR(clipSeconds(), length - 0.75, 1e-6);

    // Trim keeps only the selected audio.
    f.studio.selection = TimeRange{0.8, 1.1};
    press(Qt::Key_T, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_NEAR(clipSeconds(), 0.3, 1e-6);
    EXPECT_EQ(f.studio.undoStack->size(), 5u); // the take, split, two deletes, trim

    // Ctrl+C and Ctrl+V copy the selection and paste it at the play head; Shift+Delete cuts the
    // selection out and closes the gap.
    f.studio.selection = TimeRange{0.1, 0.2};
    press(Qt::Key_C, Qt::ControlModifier);
    f.studio.seek(0.3);
    press(Qt::Key_V, Qt::ControlModifier);
    ASSERT_TRUE(f.waitIdle());
    EXPECT_NEAR(f.studio.project->voiceDuration(), 0.4, 1e-6);
    f.studio.selection = TimeRange{0, 0.25};
    press(Qt::Key_Delete, Qt::ShiftModifier);
    EXPECT_NEAR(f.studio.project->voiceDuration(), 0.15, 1e-6);
    EXPECT_NEAR(clipSeconds(), 0.15, 1e-6);
    EXPECT_EQ(f.studio.undoStack->size(), 7u);
}

TEST_F(AppMenusTest, theLoudnessGroupChoosesTheExportLoudnessOfTheProjectAsAnUndoStep)
{
    const auto folder = startProject();
    const auto checked = [&] {
        std::vector<bool> states;
        for (LoudnessTarget target :
             {LoudnessTarget::podcast, LoudnessTarget::broadcast, LoudnessTarget::none})
            states.push_back(menus->loudness(target).isChecked());
        return states;
    };
    EXPECT_EQ(checked(), (std::vector<bool>{true, false, false})) << "the podcast norm by default";
    menus->loudness(LoudnessTarget::broadcast).trigger();
    EXPECT_EQ(checked(), (std::vector<bool>{false, true, false}));
    EXPECT_EQ(f.studio.project->loudnessTarget, LoudnessTarget::broadcast);
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
    f.studio.flushSaves();
    EXPECT_EQ(testing::readProject(folder).loudnessTarget, LoudnessTarget::broadcast);

    menus->undo().trigger();
    EXPECT_EQ(f.studio.project->loudnessTarget, std::nullopt);
    EXPECT_EQ(checked(), (std::vector<bool>{true, false, false}));
    menus->loudness(LoudnessTarget::none).trigger();
    EXPECT_EQ(f.studio.loudnessTarget(), LoudnessTarget::none);
    f.studio.busy = true;
    EXPECT_FALSE(menus->loudness(LoudnessTarget::podcast).isEnabled());
    f.studio.busy = false;
}

TEST_F(AppMenusTest, aDisabledItemIgnoresItsKey)
{
    f.studio.busy = true;
    press(Qt::Key_N, Qt::ControlModifier);
    press(Qt::Key_O, Qt::ControlModifier);
    press(Qt::Key_I, Qt::ControlModifier);
    press(Qt::Key_R);
    EXPECT_EQ(f.host.newProjectRequests, 0);
    EXPECT_EQ(f.host.openRequests, 0);
    EXPECT_EQ(f.host.audioFileRequests, 0);
    EXPECT_FALSE(f.studio.countdown());

    f.studio.busy = false;
    press(Qt::Key_N, Qt::ControlModifier);
    press(Qt::Key_O, Qt::ControlModifier);
    EXPECT_EQ(f.host.newProjectRequests, 1);
    EXPECT_EQ(f.host.openRequests, 1);

    // Saving is never disabled: without a folder it asks for one even while busy.
    f.studio.busy = true;
    press(Qt::Key_S, Qt::ControlModifier);
    EXPECT_EQ(f.host.newProjectRequests, 1); // newProject itself refuses while busy
    f.studio.busy = false;
    press(Qt::Key_S, Qt::ControlModifier);
    EXPECT_EQ(f.host.newProjectRequests, 2);
}

TEST_F(AppMenusTest, keysTypedIntoATextFieldStayText)
{
    const auto folder = startProject();
    f.studio.selection = TimeRange{0, 1};
    field->setFocus();
    QTest::keyClicks(field, QStringLiteral("r r"));
    QTest::keyClick(field, Qt::Key_Backspace);
    QTest::keyClick(field, Qt::Key_Home);
    QTest::keyClick(field, Qt::Key_Delete);
    EXPECT_EQ(field->text(), QStringLiteral(" "));
    EXPECT_FALSE(f.studio.countdown());
    EXPECT_EQ(f.host.microphoneRequests, 0);
    EXPECT_TRUE(f.studio.selection());
    EXPECT_TRUE(f.studio.undoStack->empty());

    // The same key anywhere else in the window is the command.
    press(Qt::Key_R);
    EXPECT_EQ(f.studio.countdown(), 3);
    press(Qt::Key_R);
    EXPECT_FALSE(f.studio.countdown());
    (void)folder;
}

} // namespace
} // namespace tw
