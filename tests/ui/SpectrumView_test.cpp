#include "ui/SpectrumView.hpp"
#include "ui/StudioPanel.hpp"
#include "ui/WindowStudio.hpp"

#include <QApplication>

#include <gtest/gtest.h>

namespace tw {

TEST(SpectrumView, drawsTheStudiosBarsTallerBarsBrighter)
{
    testing::WindowStudio fixture;
    auto* view = new SpectrumView(fixture.studio);
    StudioPanel panel(view);
    testing::showAt(panel, {300, 150});
    const QImage silent = panel.grab().toImage();

    std::vector<float> ramp(24);
    for (std::size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = float(i + 1) / 24.0f;
    fixture.studio.spectrumBars = ramp;
    QApplication::processEvents();
    EXPECT_EQ(view->bars(), ramp);
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
