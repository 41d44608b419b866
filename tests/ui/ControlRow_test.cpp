#include "ui/ControlRow.hpp"

#include "ui/InputLevelBar.hpp"
#include "ui/WindowLook.hpp"
#include "ui/WindowStudio.hpp"

#include <QComboBox>
#include <QSlider>
#include <QToolButton>

#include <gtest/gtest.h>

namespace tw {
namespace {

struct Row : testing::WindowStudio {
    using WindowStudio::WindowStudio;
    ControlRow row{studio};
    QStringList inputNames()
    {
        QStringList names;
        for (int i = 0; i < row.inputPicker().count(); ++i)
            names << row.inputPicker().itemText(i);
        return names;
    }
    // trim, split, listen, delete
    std::vector<bool> editButtons()
    {
        return {row.trimButton().isEnabled(), row.splitButton().isEnabled(),
                row.listenButton().isEnabled(), row.deleteButton().isEnabled()};
    }
};

TEST(ControlRow, pickerLevelBarZoomAndEditButtonsDriveTheStudioAndFollowTakeBusyAndTheHead)
{
    Row f({testing::clipAt(0, 10), testing::clipAt(10, 10, "Media/voice-B.caf")});
    QComboBox& picker = f.row.inputPicker();
    EXPECT_EQ(f.inputNames(), (QStringList{"Predeterminada del sistema", "Micrófono USB",
                                           "Auriculares con micrófono"}));
    EXPECT_EQ(picker.currentIndex(), 0);

    // Choosing an entry selects that device; the Studio's choice shows in the picker.
    emit picker.activated(2);
    EXPECT_EQ(f.studio.selectedDevice(), 22u);
    f.studio.selectedDevice = 11u;
    EXPECT_EQ(picker.currentText(), "Micrófono USB");
    emit picker.activated(0);
    EXPECT_EQ(f.studio.selectedDevice(), 0u);
    f.studio.selectedDevice = 22u;

    // The refresh button lists the inputs again; the chosen one stays chosen.
    f.catalog.list.insert(f.catalog.list.begin(), {33, "line", "Entrada de línea"});
    EXPECT_EQ(f.inputNames().size(), 3);
    f.row.refreshButton().click();
    EXPECT_EQ(f.inputNames(), (QStringList{"Predeterminada del sistema", "Entrada de línea",
                                           "Micrófono USB", "Auriculares con micrófono"}));
    EXPECT_EQ(picker.currentText(), "Auriculares con micrófono");

    // The chosen device is unplugged and the list refreshed: it shows as disconnected, still
    // chosen, until another input is chosen.
    f.catalog.list.pop_back();
    f.row.refreshButton().click();
    EXPECT_EQ(f.inputNames(), (QStringList{"Predeterminada del sistema", "Entrada de línea",
                                           "Micrófono USB", "Entrada desconectada"}));
    EXPECT_EQ(picker.currentText(), "Entrada desconectada");
    EXPECT_EQ(f.studio.selectedDevice(), 22u);
    emit picker.activated(0);
    EXPECT_EQ(f.studio.selectedDevice(), 0u);
    EXPECT_EQ(f.inputNames().size(), 3);

    // A name too long for the picker ends with an ellipsis.
    applyStudioLook();
    EXPECT_TRUE(testing::drawsText(picker, "…"));
    EXPECT_FALSE(testing::drawsText(picker, "Predeterminada del sistema"));

    // The level bar shows only during a take, red from 0.99.
    InputLevelBar& bar = f.row.levelBar();
    f.studio.meter = 0.5f;
    EXPECT_EQ(bar.opacity(), 0.0);
    f.studio.recording = true;
    EXPECT_EQ(bar.opacity(), 1.0);
    for (auto [meter, shown, red] : {std::tuple{0.5f, 0.5f, false},
                                     {0.98999f, 0.98999f, false},
                                     {0.99f, 0.99f, true},
                                     {1.7f, 1.0f, true}}) {
        f.studio.meter = meter;
        EXPECT_FLOAT_EQ(bar.value(), shown);
        EXPECT_EQ(bar.red(), red) << meter;
    }

    // What is drawn: a red fill near full scale while recording, nothing otherwise.
    bar.resize(55, 8);
    const QImage loud = testing::renderAlone(bar);
    EXPECT_GT(qRed(loud.pixel(20, 4)), 150);
    EXPECT_LT(qGreen(loud.pixel(20, 4)), 120);
    f.studio.recording = false;
    EXPECT_EQ(qAlpha(testing::renderAlone(bar).pixel(20, 4)), 0);

    // The zoom slider writes the zoom, which reaches the file once the changes settle, and
    // follows the Studio's.
    QSlider& slider = f.row.zoomSlider();
    slider.setValue(120);
    EXPECT_DOUBLE_EQ(f.studio.zoom(), 120.0);
    f.scheduler.advance(0.5);
    f.settle();
    EXPECT_EQ(testing::readProject(f.folder).timelineZoom, 120.0);
    f.studio.zoom = 7.0;
    EXPECT_EQ(slider.value(), 7);

    // Each button changes the document as one undo step.
    f.studio.position = 5.0;
    f.row.splitButton().click();
    EXPECT_EQ(f.clips().size(), 3u);
    for (auto [button, from, to, left] : {std::tuple{&f.row.deleteButton(), 12.0, 15.0, 17.0},
                                          {&f.row.trimButton(), 1.0, 3.0, 2.0}}) {
        f.studio.selection = TimeRange{from, to};
        button->click();
        EXPECT_NEAR(testing::clipSeconds(f.studio.project()), left, 1e-9);
    }
    EXPECT_EQ(f.studio.undoStack->size(), 3u);

    for (int step = 0; step < 3; ++step)
        f.studio.undo();
    const std::vector<bool> all(4, true), none(4, false);
    f.studio.position = 5.0;
    EXPECT_EQ(f.editButtons(), (std::vector<bool>{false, true, false, false}));
    f.studio.selection = TimeRange{2, 4};
    EXPECT_EQ(f.editButtons(), all);
    // No clip under the play head: nothing to split.
    f.studio.position = 25.0;
    EXPECT_EQ(f.editButtons(), (std::vector<bool>{true, false, true, true}));
    f.studio.position = 5.0;
    f.studio.busy = true;
    EXPECT_EQ(f.editButtons(), none);
    f.studio.busy = false;
    EXPECT_EQ(f.editButtons(), all);

    // The count-in and the take.
    f.studio.selection = std::nullopt;
    f.studio.record();
    EXPECT_EQ(f.studio.countdown(), 3);
    EXPECT_EQ(f.editButtons(), none);
    f.scheduler.advance(3.0);
    ASSERT_TRUE(f.studio.recording());
    f.studio.selection = TimeRange{2, 4};
    EXPECT_EQ(f.editButtons(), none);
    ASSERT_TRUE(f.recordUntil(0.2));
    ASSERT_TRUE(f.finishTake());
    f.studio.selection = TimeRange{2, 4};
    EXPECT_TRUE(f.editButtons()[0]);

    // Listen plays the selection from its start to its end, also while playback runs elsewhere.
    ASSERT_TRUE(f.openTone(6.0));
    f.studio.position = 4.0;
    ASSERT_TRUE(f.startPlayback()) << f.studio.message().value_or("");
    f.play(0.5);
    const int made = f.outputsMade;
    f.studio.selection = TimeRange{1.0, 2.0};
    f.row.listenButton().click();
    ASSERT_TRUE(f.waitIdle());
    ASSERT_TRUE(f.studio.playing()) << f.studio.message().value_or("");
    EXPECT_GT(f.outputsMade, made) << "a new start, not the running one carried on";
    EXPECT_NEAR(f.studio.position(), 1.0, 0.051);
    EXPECT_EQ(f.studio.previewEnd, 2.0) << "where the Studio stops it";
}

} // namespace
} // namespace tw
