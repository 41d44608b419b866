#include "ui/EqualizerPanel.hpp"
#include "ui/ResponseCurve.hpp"
#include "ui/WindowStudio.hpp"

#include <QApplication>
#include <QTest>
#include <QToolButton>
#include <QWheelEvent>

#include <gtest/gtest.h>

namespace tw {

namespace {

// An equaliser over a project whose treatment still has only the older three-band fields.
struct Panel : testing::WindowStudio {
    EqualizerPanel panel{studio};
    Panel()
    {
        PodcastProject document;
        VoiceTreatment treatment;
        treatment.bass = 3.0;
        treatment.mid = -2.0;
        treatment.treble = 0.0;
        document.treatment = treatment;
        EXPECT_TRUE(open(document));
        settle();
        testing::showAt(panel, {420, 200});
    }
    double gain(int band) { return studio.treatment().eqBands.value().at(std::size_t(band)); }
    std::size_t steps() { return studio.undoStack().size(); }
};

} // namespace

// The bands show the gains the older fields give and wait while busy; a drag is one undo step
// that stores ten bands; Shift is finer, the wheel and keys step half a decibel, a double-click
// and the reset go to zero.
TEST(EqualizerPanel, bandsShowTheOlderFieldsAndEachGestureIsOneUndoStepOfTenBands)
{
    Panel f;
    // The older fields' gains, as the voice layer maps them to bands.
    EXPECT_EQ(f.panel.band(2).gainText(), "+3.0");
    EXPECT_EQ(f.panel.band(5).slider().value(), -200);
    EXPECT_EQ(f.panel.curve().treatment(), f.studio.treatment());
    testing::saveScreenshot(f.panel, "equalizer-curve");

    // While busy or recording the panel is off (a disabled slider takes no keys or drags).
    for (Published<bool>* blocker : {&f.studio.busy, &f.studio.recording}) {
        *blocker = true;
        EXPECT_FALSE(f.panel.isEnabled());
        *blocker = false;
        EXPECT_TRUE(f.panel.isEnabled());
    }

    const std::size_t stepsBefore = f.steps();
    const int projectChangesBefore = f.count(StudioField::project);
    BandSlider& slider = f.panel.band(0).slider();
    // One press, several moves up, one release.
    const QPoint handle = slider.handleRect().center();
    testing::drag(slider, handle,
                  {handle - QPoint(0, 4), handle - QPoint(0, 8), handle - QPoint(0, 12),
                   handle - QPoint(0, 16)});
    QApplication::processEvents();

    // A tenth of a decibel per pixel: 16 pixels up is +1.6 dB, written (and heard) at each value
    // the drag passes through, as one undo step.
    ASSERT_EQ(slider.value(), 160);
    EXPECT_EQ(f.steps(), stepsBefore + 1);
    EXPECT_GT(f.count(StudioField::project) - projectChangesBefore, 2);
    EXPECT_EQ(f.studio.treatment().eqBands, (std::vector<double>{1.6, 0, 3, 0, 0, -2, 0, 0, 0, 0}));
    EXPECT_EQ(f.panel.band(0).gainText(), "+1.6");
    EXPECT_EQ(f.panel.curve().treatment(), f.studio.treatment());
    // Undone, the sliders show the older fields again.
    f.studio.undo();
    EXPECT_EQ(slider.value(), 0);

    BandSlider& fourth = f.panel.band(4).slider();

    // 10 pixels with Shift (0.02 dB each), then 5 without (0.1 dB each): one step.
    const QPoint start = fourth.handleRect().center();
    QTest::mousePress(&fourth, Qt::LeftButton, {}, start);
    for (auto [rise, modifiers] :
         {std::pair{10, Qt::ShiftModifier}, std::pair{15, Qt::NoModifier}}) {
        const QPoint to = start - QPoint(0, rise);
        QMouseEvent move(QEvent::MouseMove, to, fourth.mapToGlobal(to), Qt::NoButton,
                         Qt::LeftButton, modifiers);
        QApplication::sendEvent(&fourth, &move);
    }
    QTest::mouseRelease(&fourth, Qt::LeftButton, {}, start - QPoint(0, 15));
    EXPECT_EQ(f.gain(4), 0.7);
    QWheelEvent notch(start, fourth.mapToGlobal(start), {}, {0, 120}, Qt::NoButton, {},
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(&fourth, &notch);
    EXPECT_EQ(f.gain(4), 1.2);
    testing::doubleClick(&fourth, fourth.handleRect().center());
    EXPECT_EQ(f.gain(4), 0.0);
    EXPECT_EQ(f.steps(), stepsBefore + 3);

    // "Restablecer ecualizador" sets all ten to 0 dB as one step, and only when it changes them.
    QTest::mouseClick(&f.panel.resetButton(), Qt::LeftButton);
    EXPECT_EQ(f.studio.treatment().eqBands, std::vector<double>(10, 0.0));
    QTest::mouseClick(&f.panel.resetButton(), Qt::LeftButton);
    EXPECT_EQ(f.steps(), stepsBefore + 4);

    // Keys step half a decibel, each an undo step, and stop at ±12: up, End, Up at the top
    // (nothing), Home.
    BandSlider& top = f.panel.band(9).slider();
    for (auto [key, gain, steps] : {std::tuple{Qt::Key_Up, 0.5, 1u},
                                    {Qt::Key_End, 12.0, 2u},
                                    {Qt::Key_Up, 12.0, 2u},
                                    {Qt::Key_Home, -12.0, 3u}}) {
        QTest::keyClick(&top, key);
        EXPECT_EQ(f.gain(9), gain) << key;
        EXPECT_EQ(f.steps(), stepsBefore + 4 + steps) << key;
    }
}

} // namespace tw
