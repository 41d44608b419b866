// The widget application every interface test needs (offscreen, made once per test program),
// and a place to leave rendered instruments for a person to look at.
#pragma once

#include <QApplication>
#include <QDir>
#include <QWidget>

#include <gtest/gtest.h>

namespace tw::testing {

inline QApplication& uiApplication()
{
    static int argc = 1;
    static char name[] = "tapewright-ui-tests";
    static char* argv[] = {name, nullptr};
    static QApplication* application = [] {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        return new QApplication(argc, argv);
    }();
    return *application;
}

// Grabs widget into screenshots/<name>.png under the build folder and returns the image.
inline QImage saveScreenshot(QWidget& widget, const QString& name)
{
    const QString folder = QStringLiteral(TW_BINARY_DIR) + QStringLiteral("/screenshots");
    QDir().mkpath(folder);
    const QImage image = widget.grab().toImage();
    EXPECT_TRUE(image.save(folder + "/" + name + ".png")) << name.toStdString();
    return image;
}

// The widget drawn alone onto a transparent image (no window background), to see its own alpha.
inline QImage renderAlone(QWidget& widget)
{
    QImage image(widget.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

// Mean brightness (0…255) of the pixels inside area, for comparing renders.
inline double meanBrightness(const QImage& image, QRect area)
{
    double sum = 0;
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x) {
            sum += qGray(image.pixel(x, y));
            ++count;
        }
    return count ? sum / count : 0;
}

} // namespace tw::testing
