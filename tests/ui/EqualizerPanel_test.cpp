#include "ui/EqualizerPanel.hpp"
#include "ui/ResponseCurve.hpp"
#include "ui/StudioPanel.hpp"
#include "ui/UiApplication.hpp"

#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"
#include "voice/VoiceDSP.hpp"

#include <QApplication>
#include <QLabel>
#include <QTest>
#include <QToolButton>
#include <QWheelEvent>

#include <gtest/gtest.h>

#include <cmath>

namespace tw {

namespace {

// A project folder whose treatment still has only the older three-band fields.
std::filesystem::path threeBandProject(const testing::TempFolder& temp)
{
    const std::filesystem::path folder = temp / "Ecualizada.podcastproject";
    PodcastProject document;
    VoiceTreatment treatment;
    treatment.bass = 3.0;
    treatment.mid = -2.0;
    treatment.treble = 0.0;
    document.treatment = treatment;
    testing::writeProject(folder, document);
    return folder;
}

// An equaliser shown over that project, opened.
struct ShownPanel {
    QApplication& application = testing::uiApplication();
    testing::TempFolder temp;
    testing::StudioFixture fixture;
    bool opened = fixture.openAndWait(threeBandProject(temp));
    EqualizerPanel panel{fixture.studio};
    ShownPanel()
    {
        panel.show();
        QApplication::processEvents();
    }
};

// Drags a slider's handle vertically by steps of pixels, one press, several moves, one release.
void dragHandle(BandSlider& slider, const std::vector<int>& offsets)
{
    const QPoint start = slider.handleRect().center();
    QTest::mousePress(&slider, Qt::LeftButton, {}, start);
    for (int offset : offsets)
        QTest::mouseMove(&slider, start + QPoint(0, offset));
    QTest::mouseRelease(&slider, Qt::LeftButton, {}, start + QPoint(0, offsets.back()));
}

} // namespace

TEST(ResponseCurve, flatChainsLieAt43PercentAndABoostPeaksAtItsBand)
{
    const QSizeF size(400, 100);
    EXPECT_DOUBLE_EQ(ResponseCurve::frequencyAt(0), 31.5);
    EXPECT_NEAR(ResponseCurve::frequencyAt(180), 16000.0, 0.01);

    // No sections, and sections that are all unity gain, draw the same straight line.
    const std::vector<QPointF> flat = ResponseCurve::points(VoiceTreatment{}, size);
    ASSERT_EQ(flat.size(), 181u);
    EXPECT_DOUBLE_EQ(flat.front().x(), 20.0);
    EXPECT_DOUBLE_EQ(flat.back().x(), 380.0);
    for (const QPointF& point : flat)
        EXPECT_NEAR(point.y(), 100 * (0.25 + 0.55 * (1 - 24.0 / 36)), 1e-9);
    const std::vector<Biquad> unity(3);
    for (int i = 0; i < 181; i += 20)
        EXPECT_NEAR(responseDecibels(unity, ResponseCurve::frequencyAt(i), 48000), 0.0, 1e-12);
    VoiceTreatment zeros;
    zeros.eqBands = std::vector<double>(10, 0.0);
    EXPECT_EQ(ResponseCurve::points(zeros, size), flat);

    // +12 dB at 1 kHz: the response reaches 12 dB there, and the line its ceiling.
    VoiceTreatment boost;
    boost.eqBands = std::vector<double>{0, 0, 0, 0, 0, 12, 0, 0, 0, 0};
    const std::vector<Biquad> sections = VoiceDSP::eqFilters(boost, 48000);
    EXPECT_NEAR(responseDecibels(sections, 1000, 48000), 12.0, 1e-6);
    EXPECT_NEAR(responseDecibels(sections, 31.5, 48000), 0.0, 0.2);
    const std::vector<QPointF> peaked = ResponseCurve::points(boost, size);
    const auto highest = std::min_element(peaked.begin(), peaked.end(),
                                          [](QPointF a, QPointF b) { return a.y() < b.y(); });
    EXPECT_NEAR(ResponseCurve::frequencyAt(int(highest - peaked.begin())), 1000.0, 40.0);
    EXPECT_NEAR(highest->y(), 25.0, 0.5);
    EXPECT_NEAR(peaked.front().y(), flat.front().y(), 1.0);

    // Every band cut by 12 dB: the sum goes below −24 dB, which is drawn at 80 %.
    VoiceTreatment cut;
    cut.eqBands = std::vector<double>(10, -12.0);
    const std::vector<QPointF> low = ResponseCurve::points(cut, size);
    int floored = 0;
    for (const QPointF& point : low) {
        EXPECT_LE(point.y(), 80.0 + 1e-9);
        floored += point.y() == 80.0;
    }
    EXPECT_GT(floored, 10);
}

TEST(EqualizerPanel, bandsShowTheGainsAndTheirLabels)
{
    testing::uiApplication();
    testing::TempFolder temp;
    testing::StudioFixture fixture;
    ASSERT_TRUE(fixture.openAndWait(threeBandProject(temp)));
    EqualizerPanel panel(fixture.studio);
    const char* labels[] = {"31", "63", "125", "250", "500", "1k", "2k", "4k", "8k", "16k"};
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(panel.band(i).label(), labels[i]);
        EXPECT_EQ(panel.band(i).slider().accessibleName(),
                  QStringLiteral("Ecualizador %1 Hz").arg(labels[i]));
        EXPECT_EQ(panel.band(i).slider().minimum(), -1200);
        EXPECT_EQ(panel.band(i).slider().maximum(), 1200);
    }
    // The older fields land at 125 Hz, 1 kHz and 8 kHz.
    EXPECT_EQ(panel.band(2).gainText(), "+3.0");
    EXPECT_EQ(panel.band(5).gainText(), "-2.0");
    EXPECT_EQ(panel.band(8).gainText(), "+0.0");
    EXPECT_EQ(panel.band(2).slider().value(), 300);

    // Seven evenly spaced marks; the middle one is where the handle stands at 0 dB.
    panel.show();
    BandSlider& flat = panel.band(0).slider();
    const std::vector<int> ticks = flat.tickCentres();
    ASSERT_EQ(ticks.size(), 7u);
    for (std::size_t i = 1; i < ticks.size(); ++i)
        EXPECT_NEAR(ticks[i] - ticks[i - 1], (ticks[6] - ticks[0]) / 6.0, 1.0);
    EXPECT_NEAR(ticks[3], flat.handleRect().center().y(), 1);
    EXPECT_EQ(panel.band(2).slider().tickCentres(), ticks);
    EXPECT_EQ(panel.band(5).slider().value(), -200);
    EXPECT_EQ(panel.curve().treatment(), fixture.studio.treatment());
    bool captioned = false;
    for (const QLabel* label : panel.findChildren<QLabel*>())
        captioned = captioned || label->text() == "VOICE EQ • CURVA + AJUSTE MANUAL";
    EXPECT_TRUE(captioned);
    EXPECT_TRUE(panel.toolTip().startsWith("La línea muestra la respuesta aproximada"));
}

TEST(EqualizerPanel, aDragIsOneUndoStepThatStoresTenBandsAndClearsTheOlderFields)
{
    testing::uiApplication();
    testing::TempFolder temp;
    testing::StudioFixture fixture;
    const std::filesystem::path folder = threeBandProject(temp);
    ASSERT_TRUE(fixture.openAndWait(folder));
    fixture.settle();
    EqualizerPanel panel(fixture.studio);
    panel.resize(420, 200);
    panel.show();
    QApplication::processEvents();
    const std::size_t stepsBefore = fixture.studio.undoStack().size();
    const int projectChangesBefore = fixture.count(StudioField::project);

    BandSlider& slider = panel.band(0).slider();
    dragHandle(slider, {-4, -8, -12, -16});
    QApplication::processEvents();

    // A tenth of a decibel per pixel: 16 pixels up is +1.6 dB.
    ASSERT_EQ(slider.value(), 160);
    EXPECT_EQ(fixture.studio.undoStack().size(), stepsBefore + 1);
    // The drag passed through several values, each written (and heard) at once.
    EXPECT_GT(fixture.count(StudioField::project) - projectChangesBefore, 2);
    const VoiceTreatment treatment = fixture.studio.treatment();
    ASSERT_TRUE(treatment.eqBands.has_value());
    const std::vector<double> expected{1.6, 0, 3, 0, 0, -2, 0, 0, 0, 0};
    EXPECT_EQ(*treatment.eqBands, expected);
    EXPECT_FALSE(treatment.bass || treatment.mid || treatment.treble);
    EXPECT_EQ(panel.band(0).gainText(), "+1.6");
    EXPECT_EQ(panel.curve().treatment(), treatment);

    // Saved: the document on disk holds the ten bands.
    fixture.settle();
    const PodcastProject saved = testing::readProject(folder);
    ASSERT_TRUE(saved.treatment && saved.treatment->eqBands);
    EXPECT_EQ(*saved.treatment->eqBands, expected);
    EXPECT_FALSE(saved.treatment->bass.has_value());

    // One undo takes the whole drag back, sliders included.
    fixture.studio.undo();
    EXPECT_EQ(fixture.studio.undoStack().size(), stepsBefore);
    EXPECT_FALSE(fixture.studio.treatment().eqBands.has_value());
    EXPECT_EQ(fixture.studio.treatment().bass, 3.0);
    EXPECT_EQ(slider.value(), 0);
    EXPECT_EQ(panel.band(2).gainText(), "+3.0");
}

TEST(EqualizerPanel, shiftIsFinerTheWheelStepsHalfADecibelAndDoubleClickAndResetGoToZero)
{
    ShownPanel shown;
    ASSERT_TRUE(shown.opened);
    testing::StudioFixture& fixture = shown.fixture;
    EqualizerPanel& panel = shown.panel;
    BandSlider& slider = panel.band(4).slider();
    const std::size_t stepsBefore = fixture.studio.undoStack().size();
    auto gain = [&] { return fixture.studio.treatment().eqBands->at(4); };

    // 10 pixels with Shift (0.02 dB each), then 5 without (0.1 dB each): one step.
    const QPoint start = slider.handleRect().center();
    QTest::mousePress(&slider, Qt::LeftButton, {}, start);
    for (auto [rise, modifiers] :
         {std::pair{10, Qt::ShiftModifier}, std::pair{15, Qt::NoModifier}}) {
        const QPoint to = start - QPoint(0, rise);
        QMouseEvent move(QEvent::MouseMove, to, slider.mapToGlobal(to), Qt::NoButton,
                         Qt::LeftButton, modifiers);
        QApplication::sendEvent(&slider, &move);
    }
    QTest::mouseRelease(&slider, Qt::LeftButton, {}, start - QPoint(0, 15));
    EXPECT_EQ(gain(), 0.7);
    QWheelEvent notch(start, slider.mapToGlobal(start), {}, {0, 120}, Qt::NoButton, {},
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(&slider, &notch);
    EXPECT_EQ(gain(), 1.2);
    QTest::mouseDClick(&slider, Qt::LeftButton, {}, slider.handleRect().center());
    EXPECT_EQ(gain(), 0.0);
    EXPECT_EQ(fixture.studio.undoStack().size(), stepsBefore + 3);

    // "Restablecer ecualizador" sets all ten to 0 dB as one step, and only when it changes them.
    ASSERT_EQ(panel.resetAction().text(), "Restablecer ecualizador");
    EXPECT_TRUE(panel.actions().contains(&panel.resetAction())) << "in the context menu";
    QTest::mouseClick(&panel.resetButton(), Qt::LeftButton);
    EXPECT_EQ(*fixture.studio.treatment().eqBands, std::vector<double>(10, 0.0));
    EXPECT_EQ(panel.band(2).gainText(), "+0.0");
    QTest::mouseClick(&panel.resetButton(), Qt::LeftButton);
    EXPECT_EQ(fixture.studio.undoStack().size(), stepsBefore + 4);
    fixture.studio.undo();
    EXPECT_EQ(fixture.studio.treatment().eqBands->at(2), 3.0);
}

TEST(EqualizerPanel, keysStepHalfADecibelEachAnUndoStepAndStopAtTwelve)
{
    ShownPanel shown;
    ASSERT_TRUE(shown.opened);
    testing::StudioFixture& fixture = shown.fixture;
    EqualizerPanel& panel = shown.panel;
    BandSlider& slider = panel.band(9).slider();
    const std::size_t stepsBefore = fixture.studio.undoStack().size();

    QTest::keyClick(&slider, Qt::Key_Up);
    EXPECT_EQ(fixture.studio.treatment().eqBands->at(9), 0.5);
    EXPECT_EQ(panel.band(9).gainText(), "+0.5");
    QTest::keyClick(&slider, Qt::Key_PageUp);
    EXPECT_EQ(fixture.studio.treatment().eqBands->at(9), 1.5);
    EXPECT_EQ(fixture.studio.undoStack().size(), stepsBefore + 2);

    QTest::keyClick(&slider, Qt::Key_End);
    EXPECT_EQ(fixture.studio.treatment().eqBands->at(9), 12.0);
    // At the top a further key changes nothing and records nothing.
    const std::size_t atTop = fixture.studio.undoStack().size();
    QTest::keyClick(&slider, Qt::Key_Up);
    EXPECT_EQ(fixture.studio.treatment().eqBands->at(9), 12.0);
    EXPECT_EQ(fixture.studio.undoStack().size(), atTop);
    QTest::keyClick(&slider, Qt::Key_Home);
    EXPECT_EQ(fixture.studio.treatment().eqBands->at(9), -12.0);
    EXPECT_EQ(panel.band(9).gainText(), "-12.0");
    // The other bands kept the values the older fields gave them.
    EXPECT_EQ(fixture.studio.treatment().eqBands->at(2), 3.0);
}

TEST(EqualizerPanel, cannotBeTouchedWhileRecordingOrBusy)
{
    ShownPanel shown;
    ASSERT_TRUE(shown.opened);
    testing::StudioFixture& fixture = shown.fixture;
    EqualizerPanel& panel = shown.panel;
    EXPECT_TRUE(panel.isEnabled());

    fixture.studio.busy = true;
    EXPECT_FALSE(panel.isEnabled());
    const PodcastProject before = fixture.studio.project();
    const std::size_t steps = fixture.studio.undoStack().size();
    QTest::keyClick(&panel.band(4).slider(), Qt::Key_Up);
    dragHandle(panel.band(4).slider(), {-10, -20});
    EXPECT_EQ(fixture.studio.project(), before);
    EXPECT_EQ(fixture.studio.undoStack().size(), steps);
    fixture.studio.busy = false;
    EXPECT_TRUE(panel.isEnabled());

    fixture.studio.recording = true;
    EXPECT_FALSE(panel.isEnabled());
    fixture.studio.recording = false;
    EXPECT_TRUE(panel.isEnabled());
}

TEST(EqualizerPanel, drawsTheCurveWhereItComputesIt)
{
    testing::uiApplication();
    testing::StudioFixture fixture;
    VoiceTreatment treatment;
    treatment.enhance = true;
    treatment.preset = Preset::femaleRadio;
    treatment.eqBands = std::vector<double>{-6, -3, 0, 2, 0, 6, 9, 4, -2, -12};
    fixture.studio.project.mutate([&](PodcastProject& project) { project.treatment = treatment; });

    auto* content = new EqualizerPanel(fixture.studio);
    StudioPanel panel(content);
    panel.resize(320, 190);
    panel.show();
    QApplication::processEvents();
    EXPECT_EQ(content->band(6).gainText(), "+9.0");
    // Ten columns of "-12.0" fit inside a panel 320 points wide.
    EXPECT_LE(content->minimumSizeHint().width(), 320 - 2 * StudioPanel::padding);
    testing::saveScreenshot(panel, "equalizer-curve");

    // In the curve's own image, each sampled column is brightest in green where the line lies.
    const QImage image = content->curve().grab().toImage();
    const std::vector<QPointF> points = ResponseCurve::points(treatment, content->curve().size());
    for (int i = 10; i < 181; i += 30) {
        const int x = int(std::lround(points[std::size_t(i)].x()));
        int brightest = 0;
        int greenest = -1;
        for (int y = 0; y < image.height(); ++y) {
            const int green = image.pixelColor(x, y).green();
            if (green > greenest) {
                greenest = green;
                brightest = y;
            }
        }
        EXPECT_NEAR(brightest, points[std::size_t(i)].y(), 2.5) << "point " << i;
    }
}

} // namespace tw
