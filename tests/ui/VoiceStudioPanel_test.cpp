#include "ui/VoiceStudioPanel.hpp"

#include "ui/WindowStudio.hpp"

#include <QCheckBox>
#include <QComboBox>
#include <QToolButton>

#include <gtest/gtest.h>

namespace tw {

namespace {

using testing::clipAt;
using testing::readProject;

struct Panel : testing::WindowStudio {
    Panel() : WindowStudio({clipAt(0, 5)}) {}
    VoiceStudioPanel panel{studio};
};

} // namespace

TEST(VoiceStudioPanel, eachChangeIsOneUndoStepStoredInTheProjectAndSaved)
{
    Panel f;
    // Without a treatment the controls show the neutral one.
    EXPECT_FALSE(f.panel.enhanceSwitch().isChecked() || f.panel.noiseSwitch().isChecked());
    EXPECT_EQ(f.panel.stylePicker().currentIndex(), 0);
    // During a take nothing here can change: the take is one undo step of its own.
    const QList<QWidget*> controls = {&f.panel.enhanceSwitch(), &f.panel.stylePicker(),
                                      &f.panel.noiseSwitch(), &f.panel.levelButton()};
    ASSERT_TRUE(f.startTake());
    for (QWidget* control : controls)
        EXPECT_FALSE(control->isEnabled());
    ASSERT_TRUE(f.finishTake());
    for (QWidget* control : controls)
        EXPECT_TRUE(control->isEnabled());
    f.studio.undoStack = {};

    // Each control changes its own field, keeps the others, and is saved; an absent level
    // counts as off.
    const auto treatment = [&] { return f.studio.project->treatment.value_or(VoiceTreatment{}); };
    f.panel.enhanceSwitch().click();
    emit f.panel.stylePicker().activated(3);
    f.panel.noiseSwitch().click();
    EXPECT_FALSE(treatment().level);
    f.panel.levelButton().click();
    EXPECT_EQ(treatment().level, true);
    EXPECT_EQ(f.panel.levelButton().text(), "Audio nivelado");
    f.panel.levelButton().click();
    EXPECT_EQ(f.panel.levelButton().text(), "Nivelar audio");
    VoiceTreatment expected;
    expected.enhance = true;
    expected.preset = Preset::femaleRadio;
    expected.reduceNoise = true;
    expected.level = false;
    EXPECT_EQ(treatment(), expected);
    EXPECT_EQ(f.studio.undoStack->size(), 5u);
    f.settle();
    EXPECT_EQ(readProject(f.folder).treatment, expected);

    // Undo brings the controls back with the document.
    f.studio.undo();
    EXPECT_EQ(f.panel.levelButton().text(), "Audio nivelado");
    f.studio.undo();
    f.studio.undo();
    EXPECT_FALSE(f.panel.noiseSwitch().isChecked());
    f.studio.undo();
    EXPECT_EQ(f.panel.stylePicker().currentText(), "Podcast masculino");
    EXPECT_TRUE(f.panel.enhanceSwitch().isChecked());
}

} // namespace tw
