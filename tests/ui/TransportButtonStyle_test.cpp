#include "ui/Icons.hpp"
#include "ui/TransportButtonStyle.hpp"
#include "ui/UiApplication.hpp"

#include <gtest/gtest.h>

namespace tw {

TEST(TransportButtonStyle, activeKeysAreLitPressedOnesDropAPointAndDisabledOnesFade)
{
    testing::uiApplication();
    TransportButton button(symbolIcon("play.fill"), QStringLiteral("Reproducir"));
    button.resize(44, 34);
    const QRect keyFace(6, 4, 32, 6); // above the glyph
    const double normal = testing::meanBrightness(button.grab().toImage(), keyFace);
    button.setActive(true);
    EXPECT_GT(testing::meanBrightness(button.grab().toImage(), keyFace), normal + 15);
    button.setActive(false);
    // The key at 0.35 over its own faded shadow.
    button.setEnabled(false);
    const int faded = qAlpha(testing::renderAlone(button).pixel(22, 6));
    EXPECT_GE(faded, 255 * 0.35 - 1);
    EXPECT_LT(faded, 255 * 0.5);
    button.setEnabled(true);
    EXPECT_EQ(qAlpha(testing::renderAlone(button).pixel(22, 6)), 255);
    EXPECT_EQ(button.style().contentOffset(), 0);
    button.setDown(true);
    EXPECT_EQ(button.style().contentOffset(), 1);
}

} // namespace tw
