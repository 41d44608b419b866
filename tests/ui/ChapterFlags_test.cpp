#include "ui/ChapterFlags.hpp"

#include "ui/TimelineRuler.hpp"
#include "ui/WindowStudio.hpp"

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QTest>

#include <gtest/gtest.h>

namespace tw {
namespace {

// A ruler over a 60 s programme at zoom 10 (x = seconds × 10) with chapters at 12 s and 30 s.
struct Flags {
    testing::WindowStudio w{{testing::clipAt(0, 60)}};
    Studio& studio = w.studio;
    std::unique_ptr<TimelineRuler> ruler = std::make_unique<TimelineRuler>(studio, nullptr);

    Flags()
    {
        studio.zoom = 10.0;
        for (double at : {12.0, 30.0}) {
            studio.seek(at);
            studio.addChapter();
        }
        ruler->resize(900, TimelineRuler::stripHeight);
        ruler->show();
    }
    ChapterFlags& layer() const { return *ruler->findChild<ChapterFlags*>(); }
    ChapterFlag& flag(int i) const { return *layer().flags().at(std::size_t(i)); }
    // A left-button event at ruler point x (the flag under it moves while dragged).
    void send(ChapterFlag& target, QEvent::Type type, int x)
    {
        testing::sendMouse(target, type, target.mapFrom(ruler.get(), QPoint(x, 8)));
    }
    void drag(ChapterFlag& target, int from, int to)
    {
        send(target, QEvent::MouseButtonPress, from);
        send(target, QEvent::MouseMove, (from + to) / 2);
        send(target, QEvent::MouseMove, to);
        send(target, QEvent::MouseButtonRelease, to);
    }
};

TEST(ChapterFlags,
     flagsFollowTheChaptersTheirGesturesEditThemOnlyWhileIdleAndATornDownTitleIsDropped)
{
    Flags f;
    Studio& studio = f.studio;
    ASSERT_EQ(f.layer().flags().size(), 2u);
    EXPECT_EQ(f.flag(1).x(), 300);
    testing::saveScreenshot(*f.ruler, QStringLiteral("ChapterFlags"));
    QLineEdit& editor = f.layer().editor();

    // While busy or recording nothing moves, opens or is offered.
    const PodcastProject before = studio.project();
    for (Published<bool>* blocker : {&studio.busy, &studio.recording}) {
        *blocker = true;
        f.drag(f.flag(0), 125, 225);
        testing::doubleClick(&f.flag(0), {4, 8});
        EXPECT_FALSE(editor.isVisible());
        std::unique_ptr<QMenu> menu(makeChapterMenu(studio, before.chapters[0], {}, nullptr));
        EXPECT_FALSE(menu->actions()[0]->isEnabled() || menu->actions()[1]->isEnabled());
        *blocker = false;
    }
    EXPECT_EQ(studio.project(), before);

    // A drag moves the flag with the pointer and the chapter once, at the release; past the
    // other chapter the order follows the times, and so do the flags.
    const std::size_t steps = studio.undoStack->size();
    f.send(f.flag(0), QEvent::MouseButtonPress, 125);
    f.send(f.flag(0), QEvent::MouseMove, 225);
    EXPECT_EQ(f.flag(0).x(), 220);
    f.send(f.flag(0), QEvent::MouseButtonRelease, 225);
    EXPECT_EQ(studio.project->chapters[0].time, 22.0);
    EXPECT_EQ(studio.undoStack->size(), steps + 1);
    f.drag(f.flag(0), 225, 405);
    EXPECT_EQ(f.flag(1).x(), 400);

    // Three points or less is a click: the play head jumps to the chapter.
    studio.seek(0);
    f.drag(f.flag(0), 303, 306);
    EXPECT_EQ(studio.position(), 30.0);

    // A double-click edits the title in place: Return keeps it, Escape drops it.
    testing::doubleClick(&f.flag(0), {4, 8});
    ASSERT_TRUE(editor.isVisible());
    QTest::keyClicks(&editor, QStringLiteral("  Entrevista "));
    QTest::keyClick(&editor, Qt::Key_Return);
    EXPECT_FALSE(editor.isVisible());
    testing::doubleClick(&f.flag(0), {4, 8});
    QTest::keyClicks(&editor, QStringLiteral("Otra"));
    QTest::keyClick(&editor, Qt::Key_Escape);
    EXPECT_FALSE(editor.isVisible());
    EXPECT_EQ(studio.project->chapters[0].title, "Entrevista");

    // The menu's second item deletes.
    std::unique_ptr<QMenu> menu(makeChapterMenu(studio, studio.project->chapters[0], {}, nullptr));
    menu->actions()[1]->trigger();
    EXPECT_EQ(f.layer().flags().size(), 1u);

    // The window closing while a title is being typed writes nothing, and calls into nothing
    // that is already half gone.
    const PodcastProject typed = studio.project();
    QApplication::setActiveWindow(f.ruler.get());
    testing::doubleClick(&f.flag(0), {4, 8});
    QTest::keyClicks(&editor, QStringLiteral("Medio"));
    ASSERT_TRUE(editor.hasFocus());
    f.ruler.reset();
    EXPECT_EQ(studio.project(), typed);
}

} // namespace
} // namespace tw
