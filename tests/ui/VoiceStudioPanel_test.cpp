#include "ui/VoiceStudioPanel.hpp"

#include "ui/WindowStudio.hpp"

#include <QCheckBox>
#include <QComboBox>
#include <QToolButton>

#include <gtest/gtest.h>

namespace tw {

TEST(VoiceStudioPanel, eachChangeIsOneUndoStepStoredInTheProjectAndSaved)
{
    testing::WindowStudio f({testing::clipAt(0, 5)});
    VoiceStudioPanel panel{f.studio};
    // Without a treatment the controls show the neutral one.
    EXPECT_FALSE(panel.enhanceSwitch().isChecked() || panel.noiseSwitch().isChecked());
    EXPECT_EQ(panel.stylePicker().currentIndex(), 0);
    // During a take nothing here can change: the take is one undo step of its own.
    const QList<QWidget*> controls = {&panel.enhanceSwitch(), &panel.stylePicker(),
                                      &panel.noiseSwitch(), &panel.levelButton()};
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
    panel.enhanceSwitch().click();
    emit panel.stylePicker().activated(3);
    panel.noiseSwitch().click();
    EXPECT_FALSE(treatment().level);
    panel.levelButton().click();
    EXPECT_EQ(treatment().level, true);
    EXPECT_EQ(panel.levelButton().text(), "Audio nivelado");
    panel.levelButton().click();
    EXPECT_EQ(panel.levelButton().text(), "Nivelar audio");
    VoiceTreatment expected;
    expected.enhance = true;
    expected.preset = Preset::femaleRadio;
    expected.reduceNoise = true;
    expected.level = false;
    EXPECT_EQ(treatment(), expected);
    EXPECT_EQ(f.studio.undoStack->size(), 5u);
    f.settle();
    EXPECT_EQ(testing::readProject(f.folder).treatment, expected);

    // Undo brings the controls back with the document.
    f.studio.undo();
    EXPECT_EQ(panel.levelButton().text(), "Audio nivelado");
    f.studio.undo();
    f.studio.undo();
    EXPECT_FALSE(panel.noiseSwitch().isChecked());
    f.studio.undo();
    EXPECT_EQ(panel.stylePicker().currentText(), "Podcast masculino");
    EXPECT_TRUE(panel.enhanceSwitch().isChecked());
}

} // namespace tw
