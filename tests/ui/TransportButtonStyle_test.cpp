#include "ui/Icons.hpp"
#include "ui/TransportButtonStyle.hpp"
#include "ui/UiApplication.hpp"

#include <QHBoxLayout>

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

TEST(TransportButtonStyle, rendersARowOfTransportKeys)
{
    testing::uiApplication();
    QWidget row;
    row.setAutoFillBackground(true);
    row.setStyleSheet("background: #1c1d21;");
    auto* layout = new QHBoxLayout(&row);
    layout->setSpacing(6);
    struct Key {
        const char* symbol;
        const char* help;
        QColor colour;
        bool active;
        bool enabled;
    };
    const QColor primary(225, 226, 230);
    for (const Key& key : {Key{"backward.end.fill", "Ir al principio", primary, false, true},
                           Key{"gobackward.5", "Retroceder 5 segundos", primary, false, true},
                           Key{"stop.fill", "Detener", primary, false, true},
                           Key{"play.fill", "Reproducir", QColor(90, 200, 255), true, true},
                           Key{"pause.fill", "Pausar", primary, false, true},
                           Key{"record.circle.fill", "Grabar", QColor(240, 60, 50), false, false},
                           Key{"goforward.5", "Avanzar 5 segundos", primary, false, false},
                           Key{"forward.end.fill", "Ir al final", primary, false, true}}) {
        auto* button =
            new TransportButton(symbolIcon(key.symbol, key.colour), QString::fromUtf8(key.help));
        button->setActive(key.active);
        button->setEnabled(key.enabled);
        layout->addWidget(button);
    }
    row.resize(row.sizeHint());
    testing::saveScreenshot(row, "transport-buttons");
}

} // namespace tw
