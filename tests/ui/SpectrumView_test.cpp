#include "ui/SpectrumView.hpp"
#include "ui/StudioPanel.hpp"
#include "ui/UiApplication.hpp"

#include "support/StudioFixture.hpp"

#include <QApplication>

#include <gtest/gtest.h>

namespace tw {

namespace {

std::vector<float> ramp()
{
    std::vector<float> bars(24);
    for (int i = 0; i < 24; ++i)
        bars[std::size_t(i)] = float(i + 1) / 24.0f;
    return bars;
}

} // namespace

TEST(SpectrumView, barsStandInTheirSlotsWithClampedWidthAndAFloorHeight)
{
    const QRectF plot(0, 16, 240, 100);
    std::vector<float> values(24, 0.0f);
    values[0] = 1.0f;
    values[5] = 0.5f;
    values[23] = 0.001f;
    const std::vector<QRectF> bars = SpectrumView::barRects(values, plot);
    ASSERT_EQ(bars.size(), 24u);
    // Slots of 10 points: bars 2 points wide, centred, standing on the bottom edge.
    EXPECT_DOUBLE_EQ(bars[0].width(), 2.0);
    EXPECT_DOUBLE_EQ(bars[0].center().x(), 5.0);
    EXPECT_DOUBLE_EQ(bars[0].height(), 100.0);
    EXPECT_DOUBLE_EQ(bars[5].center().x(), 55.0);
    EXPECT_DOUBLE_EQ(bars[5].height(), 50.0);
    // Silence still shows a 2-point stub.
    EXPECT_DOUBLE_EQ(bars[23].height(), 2.0);

    // A narrow view: slots of 2.5 points hold bars of 1 point (s − 2 would be 0.5).
    const std::vector<QRectF> narrow = SpectrumView::barRects(values, QRectF(0, 0, 60, 40));
    EXPECT_DOUBLE_EQ(narrow[3].width(), 1.0);
}

TEST(SpectrumView, repaintsOnlyWhenTheBarsChangeAndDrawsTallerBarsBrighterInThePanel)
{
    testing::uiApplication();
    testing::StudioFixture fixture;
    auto* view = new SpectrumView(fixture.studio);
    EXPECT_EQ(view->bars(), std::vector<float>(24, 0.0f));
    StudioPanel panel(view);
    panel.resize(300, 150);
    panel.show();
    QApplication::processEvents();
    const QImage silent = panel.grab().toImage();
    const int settled = view->paintCount();
    ASSERT_GE(settled, 1);

    // Other fields of the Studio, and idle clock ticks, leave the view alone.
    fixture.studio.position = 3.0;
    fixture.studio.vuLevels = std::vector<float>{0.2f, 0.1f};
    fixture.scheduler.advance(0.5);
    QApplication::processEvents();
    EXPECT_EQ(view->paintCount(), settled);
    fixture.studio.spectrumBars = ramp();
    QApplication::processEvents();
    EXPECT_EQ(view->bars(), ramp());
    EXPECT_EQ(view->paintCount(), settled + 1);
    const QImage lit = testing::saveScreenshot(panel, "spectrum-bars");

    // The upper right of the plot is dark while silent and holds the tallest bars afterwards.
    const QRectF plot = SpectrumView::plotArea(view->size());
    const QRect upperRight =
        QRectF(plot.center().x(), plot.top(), plot.width() / 2, plot.height() / 2)
            .toAlignedRect()
            .translated(view->pos());
    const QRect upperLeft = upperRight.translated(-int(plot.width() / 2), 0);
    EXPECT_GT(testing::meanBrightness(lit, upperRight),
              testing::meanBrightness(silent, upperRight) + 3);
    // The bars on the left reach at most half way up: the top of their slots stays dark.
    EXPECT_GT(testing::meanBrightness(lit, upperRight),
              testing::meanBrightness(lit, upperLeft) + 3);
}

} // namespace tw
