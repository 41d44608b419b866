// The widget application every interface test needs (offscreen, made once per test program),
// and a place to leave rendered instruments for a person to look at.
#pragma once

#include "support/BuildFolders.hpp"
#include "support/TestApplication.hpp"

#include <QApplication>
#include <QDataStream>
#include <QDir>
#include <QPicture>
#include <QTest>
#include <QWidget>

#include <gtest/gtest.h>

namespace tw::testing {

inline QApplication& uiApplication()
{
    return testApplication<QApplication>();
}

// Shows widget at size and lets its first layout happen.
inline void showAt(QWidget& widget, QSize size)
{
    widget.resize(size);
    widget.show();
    QApplication::processEvents();
}

// Grabs widget into screenshots/<name>.png under the build folder and returns the image.
inline QImage saveScreenshot(QWidget& widget, const QString& name)
{
    const QString folder = QString::fromUtf8(buildFolder) + QStringLiteral("/screenshots");
    QDir().mkpath(folder);
    const QImage image = widget.grab().toImage();
    EXPECT_TRUE(image.save(folder + "/" + name + ".png")) << name.toStdString();
    return image;
}

// A double-click as a person makes it: click, double-click, release. QTest::mouseDClick alone
// (Qt 6.4) sends no release and leaves the left button held in the application's state, where
// every later test in the process would find it (a view that follows the play head only while no
// button is held then no longer follows).
inline void doubleClick(QWidget* widget, QPoint at)
{
    QTest::mouseClick(widget, Qt::LeftButton, {}, at);
    QTest::mouseDClick(widget, Qt::LeftButton, {}, at);
    QTest::mouseRelease(widget, Qt::LeftButton, {}, at);
}

// The widget drawn alone onto a transparent image (no window background), to see its own alpha.
inline QImage renderAlone(QWidget& widget)
{
    QImage image(widget.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

// Keeps the class names of the widgets painted (installed on the application, every widget's).
class PaintRecorder final : public QObject {
public:
    QStringList widgets;
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            widgets << QString::fromLatin1(watched->metaObject()->className());
        return false;
    }
};

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

// Whether widget, drawn, paints text in one piece: a picture records each text item whole, as a
// QString in its stream's UTF-16.
inline bool drawsText(QWidget& widget, const QString& text)
{
    QPicture picture;
    widget.render(&picture);
    QByteArray utf16;
    QDataStream stream(&utf16, QIODevice::WriteOnly);
    stream << text;
    return QByteArray(picture.data(), picture.size()).contains(utf16.mid(4));
}

} // namespace tw::testing
