#include "ui/Icons.hpp"
#include "ui/UiApplication.hpp"

#include <QPainter>

#include <set>
#include <string>

#include <gtest/gtest.h>

namespace tw {

namespace {
int opaquePixels(const QImage& image)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            count += qAlpha(image.pixel(x, y)) > 64;
    return count;
}
} // namespace

TEST(Icons, everySymbolHasAThemeNameAndItsOwnGlyphRecolouredForTheDarkPanels)
{
    testing::uiApplication();
    useStudioIconTheme();
    std::set<std::string> distinctGlyphs;
    // The row of symbols for a person to look at.
    QImage sheet(31 * 28 + 8, 40, QImage::Format_ARGB32_Premultiplied);
    sheet.fill(QColor(30, 31, 35));
    QPainter painter(&sheet);
    int left = 6;
    for (const QString& symbol : symbolNames()) {
        ASSERT_TRUE(themeIconName(symbol)) << symbol.toStdString();
        EXPECT_TRUE(themeIconName(symbol)->endsWith("-symbolic"));
        const QImage glyph = paintedSymbol(symbol, Qt::white, 48).toImage();
        EXPECT_GT(opaquePixels(glyph), 40) << symbol.toStdString() << " draws nothing";
        distinctGlyphs.insert(
            std::string(reinterpret_cast<const char*>(glyph.constBits()), glyph.sizeInBytes()));
        painter.drawPixmap(left, 8, symbolIcon(symbol).pixmap(24, 24));
        left += 28;
    }
    painter.end();
    // "mic" and "mic.fill" differ, so every symbol has its own glyph.
    EXPECT_EQ(distinctGlyphs.size(), symbolNames().size());
    EXPECT_FALSE(themeIconName("no.such.symbol"));
    const QString folder = QString::fromUtf8(testing::buildFolder) + "/screenshots";
    QDir().mkpath(folder);
    EXPECT_TRUE(sheet.save(folder + "/icons.png"));

    for (const char* symbol : {"record.circle.fill", "stop.fill"}) {
        const QImage image = symbolIcon(symbol, QColor(230, 40, 30)).pixmap(32, 32).toImage();
        ASSERT_GT(opaquePixels(image), 20);
        // Every visible pixel carries the requested colour, whether themed or painted.
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const QColor pixel = image.pixelColor(x, y);
                if (pixel.alpha() > 200) {
                    EXPECT_GT(pixel.red(), 3 * pixel.green()) << symbol << " " << x << "," << y;
                }
            }
    }
}

} // namespace tw
