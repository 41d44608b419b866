#include "ui/TimelineView.hpp"

#include "ui/ContentView.hpp"
#include "ui/TimelineRuler.hpp"
#include "ui/TrackHeader.hpp"
#include "ui/WaveTrack.hpp"
#include "ui/WindowStudio.hpp"

#include <QScrollArea>
#include <QScrollBar>

#include <gtest/gtest.h>

namespace tw {

namespace {

using testing::sendMouse;

struct Timeline : testing::WindowStudio {
    TimelineView view{studio};
    Timeline(std::vector<Segment> clips = {}) : WindowStudio(std::move(clips))
    {
        testing::showAt(view, {1000, 330});
    }
    int contentWidth() const { return view.content().width(); }
    QScrollBar& bar() const { return *view.scrollArea().horizontalScrollBar(); }
};

} // namespace

TEST(TimelineView, contentCoversTheProgrammeAMinuteMoreAndThirtySecondsPastTheHeadWhichATakeFollows)
{
    Timeline f;
    // Empty project: two minutes at the zoom.
    EXPECT_EQ(f.contentWidth(), 120 * 30);
    f.studio.zoom = 10.0;
    EXPECT_EQ(f.contentWidth(), 1200);
    EXPECT_EQ(f.view.voiceLane().width(), 1200);
    EXPECT_EQ(f.view.musicLane().width(), 1200);

    f.studio.project.mutate([](PodcastProject& p) { p.segments = {testing::clipAt(0, 100)}; });
    EXPECT_EQ(f.contentWidth(), 160 * 10);
    f.studio.position = 150.0;
    EXPECT_EQ(f.contentWidth(), 180 * 10);
    EXPECT_EQ(f.view.recordHead().x(), 1500);
    f.studio.position = 10.0;
    EXPECT_EQ(f.contentWidth(), 160 * 10);

    // Headers sit beside their lanes; the voice lane takes the height the music lane and the
    // ruler leave.
    EXPECT_GT(f.view.voiceLane().height(), WaveTrack::laneHeight(WaveTrack::Kind::voice));
    for (auto [header, lane] :
         {std::pair<QWidget*, QWidget*>{&f.view.voiceHeader(), &f.view.voiceLane()},
          {&f.view.musicHeader(), &f.view.musicLane()}})
        EXPECT_EQ(std::pair(header->mapTo(&f.view, QPoint()).y(), header->height()),
                  std::pair(lane->mapTo(&f.view, QPoint()).y(), lane->height()));

    // During a take the view keeps the record head at its trailing edge.
    f.studio.zoom = 100.0;
    const int visible = f.view.scrollArea().viewport()->width();
    ASSERT_GT(visible, 100);
    f.studio.position = 100.0;
    // From the take's first moment, not from the first position update after it.
    int scrolledAtStart = -1;
    QObject::connect(&f.studio, &Studio::fieldChanged, &f.view, [&](StudioField field) {
        if (field == StudioField::recording && f.studio.recording())
            scrolledAtStart = f.bar().value();
    });
    ASSERT_TRUE(f.startTake());
    EXPECT_EQ(scrolledAtStart, 100 * 100 + 1 - visible);
    ASSERT_TRUE(f.recordUntil(2.0));
    // The content reaches 30 s past the record head.
    EXPECT_GE(f.contentWidth(), static_cast<int>((f.studio.position() + 30) * 100) - 1);
    const int head = f.view.recordHead().x();
    EXPECT_NEAR(head, f.studio.position() * 100, 1);
    EXPECT_EQ(f.bar().value(), head + 1 - visible);

    // Scrolling away during the take: the next poll brings the head back into view.
    f.bar().setValue(0);
    f.scheduler.advance(0.1);
    EXPECT_EQ(f.bar().value(), f.view.recordHead().x() + 1 - visible);
    ASSERT_TRUE(f.finishTake());

    // Without a take a head moving within sight does not scroll the view.
    f.bar().setValue(0);
    f.studio.position = 5.0;
    EXPECT_EQ(f.bar().value(), 0);
}

TEST(TimelineRuler, labelsFollowTheZoomCoverTheVisiblePartAndADragSeeksUnlessBusy)
{
    for (auto [zoom, step] :
         {std::pair{2.0, 60}, {9.99, 60}, {10.0, 10}, {39.9, 10}, {40.0, 5}, {99.9, 5}, {100.0, 1}})
        EXPECT_EQ(rulerStep(zoom), step) << zoom;
    EXPECT_EQ(rulerText(3725), "62:05");

    // Zoom 30 (step 10), scrolled to 1000 points, 900 wide: 33.3 s … 63.3 s visible.
    EXPECT_EQ(rulerLabels(1000, 900, 30, 600, 0), (std::vector<long long>{30, 40, 50, 60, 70}));
    // The end of the content caps the labels: max(duration + 60, position + 30, 120).
    EXPECT_EQ(rulerLabels(0, 5000, 30, 10, 0).back(), 120);
    EXPECT_EQ(rulerLabels(0, 5000, 30, 10, 100).back(), 130);
    // Far zoomed out: minutes.
    EXPECT_EQ(rulerLabels(0, 1000, 2, 3600, 0).front(), 0);
    EXPECT_EQ(rulerLabels(0, 1000, 2, 3600, 0)[1], 60);

    // A drag on the ruler seeks, unless a take or a long operation runs.
    Timeline f({testing::clipAt(0, 60)});
    TimelineRuler& ruler = f.view.ruler();
    sendMouse(ruler, QEvent::MouseButtonPress, {300, 10});
    EXPECT_DOUBLE_EQ(f.studio.position(), 10.0);
    sendMouse(ruler, QEvent::MouseMove, {450, 10});
    EXPECT_DOUBLE_EQ(f.studio.position(), 15.0);
    sendMouse(ruler, QEvent::MouseButtonRelease, {450, 10});

    f.studio.busy = true;
    sendMouse(ruler, QEvent::MouseButtonPress, {600, 10});
    EXPECT_DOUBLE_EQ(f.studio.position(), 15.0);
    sendMouse(ruler, QEvent::MouseButtonRelease, {600, 10});
    f.studio.busy = false;

    // What is drawn: labels in the visible part (a label at 10 s, x = 300 + 20).
    const QImage image = testing::saveScreenshot(ruler, "TimelineRuler");
    bool ink = false;
    for (int x = 305; x < 335; ++x)
        for (int y = 9; y < 22; ++y)
            ink = ink || qGray(image.pixel(x, y)) > 100;
    EXPECT_TRUE(ink);
    EXPECT_EQ(ruler.visibleLabels().front(), 0);
}

TEST(ContentView, anOpenProjectLeftIdlePaintsNothingForTwoSeconds)
{
    testing::WindowStudio f;
    ContentView view{f.studio, f.scheduler};
    testing::showAt(view, {1280, 680});
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

} // namespace tw
