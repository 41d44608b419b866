// The widget application every interface test needs (offscreen, made once per test program),
// and a place to leave rendered instruments for a person to look at.
#pragma once

#include "support/BuildFolders.hpp"
#include "support/TestApplication.hpp"

#include <QApplication>
#include <QDir>
#include <QPaintEngine>
#include <QPaintEvent>
#include <QTest>
#include <QWidget>

#include <gtest/gtest.h>

#include <vector>

namespace tw::testing {

inline QApplication& uiApplication()
{
    return testApplication<QApplication>();
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

// Keeps the paint events a widget receives (installed on the application, every widget's): the
// painted widgets' class names and the regions.
class PaintRecorder final : public QObject {
public:
    QStringList widgets;
    std::vector<QRegion> regions;
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint) {
            widgets << QString::fromLatin1(watched->metaObject()->className());
            regions.push_back(static_cast<QPaintEvent*>(event)->region());
        }
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

// A paint device that keeps the texts drawn on it, in order, and draws nothing else.
class TextRecorder final : public QPaintDevice, private QPaintEngine {
public:
    // Claims every feature, so that the painter hands it texts instead of outlines.
    explicit TextRecorder(QSize size) : QPaintEngine(AllFeatures), size_(size) {}
    QStringList texts;

    QPaintEngine* paintEngine() const override { return const_cast<TextRecorder*>(this); }

private:
    int metric(PaintDeviceMetric metric) const override
    {
        switch (metric) {
        case PdmWidth:
            return size_.width();
        case PdmHeight:
            return size_.height();
        case PdmDepth:
            return 32;
        case PdmDevicePixelRatio:
            return 1;
        case PdmDevicePixelRatioScaled:
            return static_cast<int>(devicePixelRatioFScale());
        default:
            return 96;
        }
    }
    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    void updateState(const QPaintEngineState&) override {}
    void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override {}
    void drawTiledPixmap(const QRectF&, const QPixmap&, const QPointF&) override {}
    void drawImage(const QRectF&, const QImage&, const QRectF&, Qt::ImageConversionFlags) override
    {
    }
    void drawPath(const QPainterPath&) override {}
    void drawPolygon(const QPointF*, int, PolygonDrawMode) override {}
    void drawRects(const QRectF*, int) override {}
    void drawLines(const QLineF*, int) override {}
    void drawEllipse(const QRectF&) override {}
    void drawPoints(const QPointF*, int) override {}
    void drawTextItem(const QPointF&, const QTextItem& item) override { texts << item.text(); }
    Type type() const override { return User; }

    QSize size_;
};

// Every text widget and its children draw, in order.
inline QStringList drawnTexts(QWidget& widget)
{
    TextRecorder recorder(widget.size());
    widget.render(&recorder);
    return recorder.texts;
}

} // namespace tw::testing
