#include "ui/ContentView.hpp"

#include "ui/WindowStudio.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

TEST(ContentView, anOpenProjectLeftIdlePaintsNothingForTwoSeconds)
{
    testing::WindowStudio f;
    ContentView view{f.studio, f.scheduler};
    view.resize(1280, 680);
    view.show();
    f.openProgramme();
    // Let the window finish its first paints and any deferred layout.
    for (int i = 0; i < 5; ++i) {
        f.scheduler.advance(0.1);
        QCoreApplication::processEvents();
    }
    testing::PaintRecorder counter;
    qApp->installEventFilter(&counter);
    for (int tick = 0; tick < 20; ++tick) {
        f.scheduler.advance(0.1);
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(counter.widgets.isEmpty()) << counter.widgets.join(", ").toStdString();

    // The counter proves it counts: a moved play head repaints the views that show it.
    f.studio.position = 9.0;
    QCoreApplication::processEvents();
    qApp->removeEventFilter(&counter);
    EXPECT_FALSE(counter.widgets.isEmpty());
}

} // namespace
} // namespace tw
