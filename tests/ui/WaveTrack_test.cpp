#include "ui/LaneMenu.hpp"
#include "ui/LanePainter.hpp"
#include "ui/UiApplication.hpp"
#include "ui/WaveTrack.hpp"

#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"

#include <QAction>
#include <QContextMenuEvent>
#include <QMenu>
#include <QPaintEvent>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <algorithm>

namespace tw {

namespace {

using testing::TempFolder;

// Three clips of one 12 s take at zoom 50: A [0, 4) at x 0…200, a gap, B [5, 8) at x 250…400
// (source 4…7), C [8, 10) at x 400…500, muted (source 7…9).
struct VoiceDocument {
    Segment a{Uuid::random(), 0, 4, "Media/voice.wav", 0.0, std::nullopt};
    Segment b{Uuid::random(), 4, 3, "Media/voice.wav", 5.0, std::nullopt};
    Segment c{Uuid::random(), 7, 2, "Media/voice.wav", 8.0, 0.0f};

    PodcastProject project() const
    {
        PodcastProject document;
        document.voiceFile = "Media/voice.wav";
        document.segments = {a, b, c};
        document.timelineZoom = 50;
        document.playhead = 11;
        return document;
    }
};

// A 60 s music file placed from 5 s into it at timeline 2, so the fragment is 55 s long; at
// zoom 10 the region spans x 20…570 and the fades are 0–5 and 45–55.
PodcastProject musicDocument()
{
    PodcastProject document;
    document.musicFile = "Media/music.wav";
    document.musicSourceStart = 5;
    document.musicOffset = 2;
    document.fadeInStart = 0;
    document.fadeInEnd = 5;
    document.fadeOutStart = 45;
    document.fadeOutEnd = 55;
    document.timelineZoom = 10;
    document.playhead = 65;
    return document;
}

struct LaneFixture {
    QApplication& application = testing::uiApplication();
    TempFolder temp;
    std::filesystem::path folder = temp / "Programa.podcastproject";
    testing::StudioFixture fixture;
    Studio& studio = fixture.studio;

    void open(const PodcastProject& document)
    {
        testing::makeTone(folder / "Media/voice.wav", 12, 220);
        testing::makeTone(folder / "Media/music.wav", 60, 330);
        testing::writeProject(folder, document);
        ASSERT_TRUE(fixture.openAndWait(folder));
        ASSERT_FALSE(studio.message().has_value()) << *studio.message();
    }
};

// A lane shown on the offscreen screen at the given width, so that pointer events reach it.
void show(WaveTrack& lane, int width)
{
    // The window's dark panel behind the lane, which draws no background of its own.
    QPalette dark = lane.palette();
    dark.setColor(QPalette::Window, QColor(28, 29, 33));
    lane.setPalette(dark);
    lane.setAutoFillBackground(true);
    lane.resize(width, lane.height());
    lane.setViewportWidth(width);
    lane.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&lane));
}

void drag(WaveTrack& lane, QPoint from, std::initializer_list<QPoint> through)
{
    QTest::mousePress(&lane, Qt::LeftButton, {}, from);
    QPoint last = from;
    for (QPoint point : through) {
        QTest::mouseMove(&lane, point);
        last = point;
    }
    QTest::mouseRelease(&lane, Qt::LeftButton, {}, last);
}

// A pointer movement with no button held, delivered to this lane (the test windows overlap on
// the offscreen screen, so moves are not routed by position).
void hoverAt(WaveTrack& lane, QPoint point)
{
    QMouseEvent move(QEvent::MouseMove, QPointF(point), lane.mapToGlobal(QPointF(point)),
                     Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(&lane, &move);
}

std::optional<Segment> clipWithId(const PodcastProject& project, const Uuid& id)
{
    for (const Segment& clip : project.resolvedSegments())
        if (clip.id == id)
            return clip;
    return std::nullopt;
}

QList<QAction*> items(QMenu& menu)
{
    QList<QAction*> found;
    for (QAction* action : menu.actions())
        if (!action->isSeparator())
            found.push_back(action);
    return found;
}

QAction* item(QMenu& menu, const char* text)
{
    for (QAction* action : menu.actions())
        if (action->text() == QString::fromUtf8(text))
            return action;
    ADD_FAILURE() << "no item " << text;
    return nullptr;
}

// Records the rectangles of the paint events a widget receives.
class PaintRecorder final : public QObject {
public:
    std::vector<QRect> rects;
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            rects.push_back(static_cast<QPaintEvent*>(event)->rect());
        return false;
    }
};

} // namespace

TEST(WaveTrack, aDragOfThreePointsIsAClickThatSeeksAndFourPointsSelect)
{
    LaneFixture f;
    VoiceDocument voice;
    f.open(voice.project());
    WaveTrack lane(f.studio, WaveTrack::Kind::voice, nullptr);
    show(lane, 800);
    EXPECT_EQ(lane.height(), WaveTrack::laneHeight(WaveTrack::Kind::voice));

    // Four points in the gap between A and B select between the two locations; no seek.
    const double position = f.studio.position();
    drag(lane, {210, 60}, {{214, 60}});
    ASSERT_TRUE(f.studio.selection().has_value());
    EXPECT_NEAR(f.studio.selection()->lower, 4.2, 1e-9);
    EXPECT_NEAR(f.studio.selection()->upper, 4.28, 1e-9);
    EXPECT_EQ(f.studio.position(), position) << "a drag does not seek";

    // Right to left gives the same selection as left to right; both ends are held in the lane.
    drag(lane, {700, 60}, {{500, 60}, {230, 60}});
    const TimeRange backwards = f.studio.selection().value();
    drag(lane, {230, 60}, {{500, 60}, {700, 60}});
    EXPECT_EQ(f.studio.selection().value(), backwards);
    EXPECT_NEAR(backwards.lower, 4.6, 1e-9);
    EXPECT_DOUBLE_EQ(backwards.upper, 10.0);

    // Three points are a click: the selection goes and the play head comes.
    drag(lane, {210, 60}, {{212, 60}, {213, 61}});
    EXPECT_FALSE(f.studio.selection().has_value());
    EXPECT_NEAR(f.studio.position(), 213 / 50.0, 1e-9);
}

TEST(WaveTrack, theMusicLaneSeeksButNeverSelects)
{
    LaneFixture f;
    f.open(musicDocument());
    WaveTrack lane(f.studio, WaveTrack::Kind::music, nullptr);
    show(lane, 900);
    f.studio.position = 80.0; // the play head handle away from the presses
    f.studio.selection = TimeRange{1, 2};
    drag(lane, {300, 60}, {{340, 60}, {400, 60}});
    EXPECT_EQ(f.studio.selection(), (TimeRange{1, 2}));
    drag(lane, {300, 60}, {{302, 60}});
    EXPECT_FALSE(f.studio.selection().has_value());
    EXPECT_NEAR(f.studio.position(), 30.2, 1e-9);
}

TEST(WaveTrack, clipBodyClickSelectsTheClipAndSeeksWhereClicked)
{
    LaneFixture f;
    VoiceDocument voice;
    f.open(voice.project());
    WaveTrack lane(f.studio, WaveTrack::Kind::voice, nullptr);
    show(lane, 800);

    QTest::mousePress(&lane, Qt::LeftButton, {}, {300, 70});
    EXPECT_EQ(f.studio.selectedClip(), voice.b.id) << "the clip is selected at the touch";
    QTest::mouseRelease(&lane, Qt::LeftButton, {}, {301, 70});
    EXPECT_EQ(f.studio.selection(), (TimeRange{5, 8}));
    EXPECT_NEAR(f.studio.position(), 301 / 50.0, 1e-9);

    // Dragged further, the body selects like the background, from where it was pressed.
    // (Pressed away from the play head, which the click put at 301.)
    drag(lane, {330, 70}, {{310, 70}, {100, 70}});
    EXPECT_EQ(f.studio.selection(), (TimeRange{2, 6.6}));
}

TEST(WaveTrack, headerDragMovesTheClipAndBeforeTheStartLandsAtZero)
{
    LaneFixture f;
    VoiceDocument voice;
    f.open(voice.project());
    WaveTrack lane(f.studio, WaveTrack::Kind::voice, nullptr);
    show(lane, 800);
    const std::size_t steps = f.studio.undoStack().size();

    // A tap on B's header selects it and its range, and moves nothing.
    drag(lane, {300, 15}, {});
    EXPECT_EQ(f.studio.selectedClip(), voice.b.id);
    EXPECT_EQ(f.studio.selection(), (TimeRange{5, 8}));
    EXPECT_EQ(f.studio.undoStack().size(), steps);

    // Dragged 500 points to the left: 10 s before its start, it is shown and dropped at 0.
    const QRect whereBWas(320, 40, 60, 50);
    const double beforeDrag = testing::meanBrightness(lane.grab().toImage(), whereBWas);
    QTest::mousePress(&lane, Qt::LeftButton, {}, {300, 15});
    QTest::mouseMove(&lane, {200, 15});
    EXPECT_EQ(f.studio.draggedClip(), voice.b.id);
    EXPECT_NEAR(f.studio.clipDragTime().value(), 3.0, 1e-9);
    EXPECT_EQ(lane.cursor().shape(), Qt::ClosedHandCursor);
    // B follows the pointer: its old place is empty while the drag lasts.
    EXPECT_LT(testing::meanBrightness(lane.grab().toImage(), whereBWas), beforeDrag - 10);
    QTest::mouseMove(&lane, {-200, 15});
    EXPECT_EQ(f.studio.clipDragTime(), 0.0);
    QTest::mouseRelease(&lane, Qt::LeftButton, {}, {-200, 15});

    EXPECT_FALSE(f.studio.draggedClip().has_value());
    EXPECT_FALSE(f.studio.clipDragTime().has_value());
    EXPECT_EQ(lane.cursor().shape(), Qt::ArrowCursor) << "released away from any header";
    EXPECT_EQ(f.studio.undoStack().size(), steps + 1);
    EXPECT_EQ(clipWithId(f.studio.project(), voice.b.id)->timelineStart, 0.0);
    // A, which B landed on, is pushed to B's end; C keeps its place after A.
    EXPECT_EQ(clipWithId(f.studio.project(), voice.a.id)->timelineStart, 3.0);
    EXPECT_EQ(clipWithId(f.studio.project(), voice.c.id)->timelineStart, 8.0);
    // B's header is now at the start; over it the open hand is back.
    hoverAt(lane, {100, 15});
    EXPECT_EQ(f.studio.hoveredControl(), "clip-" + voice.b.id.text());
    EXPECT_EQ(lane.cursor().shape(), Qt::OpenHandCursor);
}

TEST(WaveTrack, voiceGripsTrimWithinTheNeighboursAndTheSource)
{
    LaneFixture f;
    VoiceDocument voice;
    f.open(voice.project());
    WaveTrack lane(f.studio, WaveTrack::Kind::voice, nullptr);
    show(lane, 800);
    f.studio.selectedClip = voice.b.id;
    const std::size_t steps = f.studio.undoStack().size();

    // B's head pulled 3 s to the left stops at A's end (4 s), 1 s earlier in the source.
    QTest::mousePress(&lane, Qt::LeftButton, {}, {250, 55});
    QTest::mouseMove(&lane, {200, 55});
    QTest::mouseMove(&lane, {100, 55});
    ASSERT_TRUE(f.studio.voiceTrimPreview().has_value());
    EXPECT_DOUBLE_EQ(f.studio.voiceTrimPreview()->timelineStart.value(), 4.0);
    QTest::mouseRelease(&lane, Qt::LeftButton, {}, {100, 55});
    EXPECT_FALSE(f.studio.voiceTrimPreview().has_value());
    Segment b = clipWithId(f.studio.project(), voice.b.id).value();
    EXPECT_DOUBLE_EQ(b.timelineStart.value(), 4.0);
    EXPECT_DOUBLE_EQ(b.start, 3.0);
    EXPECT_DOUBLE_EQ(b.duration, 4.0);
    EXPECT_EQ(f.studio.undoStack().size(), steps + 1);

    // The tail pushed far to the left keeps the shortest length; C's start limits it to the
    // right. The edit dropped the selection, so select B again first.
    f.studio.selectedClip = voice.b.id;
    drag(lane, {400, 55}, {{390, 55}, {0, 55}});
    b = clipWithId(f.studio.project(), voice.b.id).value();
    EXPECT_NEAR(b.duration, 0.02, 1e-9);
    f.studio.selectedClip = voice.b.id;
    const int tail = static_cast<int>((b.timelineStart.value() + b.duration) * 50);
    drag(lane, {tail, 55}, {{tail + 10, 55}, {tail + 600, 55}});
    b = clipWithId(f.studio.project(), voice.b.id).value();
    EXPECT_NEAR(b.timelineStart.value() + b.duration, 8.0, 1e-9);

    // A click on a grip trims nothing and records no step.
    const std::size_t before = f.studio.undoStack().size();
    f.studio.selectedClip = voice.b.id;
    drag(lane, {tail, 55}, {{tail + 1, 55}});
    EXPECT_EQ(f.studio.undoStack().size(), before);
}

TEST(WaveTrack, musicGripsTrimTheFragmentWithinTheFileAndTheTimeline)
{
    LaneFixture f;
    f.open(musicDocument());
    ASSERT_NEAR(f.studio.musicDuration(), 60.0, 0.01);
    WaveTrack lane(f.studio, WaveTrack::Kind::music, nullptr);
    show(lane, 900);
    // The play head handle away from the presses (an edit clamps it to the 57 s programme).
    f.studio.position = 30.0;
    const std::size_t steps = f.studio.undoStack().size();

    // The head pulled 10 s to the left stops at timeline 0: both start and offset move by 2.
    drag(lane, {20, 80}, {{10, 80}, {-80, 80}});
    EXPECT_FALSE(f.studio.musicTrimBase.has_value());
    EXPECT_DOUBLE_EQ(f.studio.project().musicSourceStart.value(), 3.0);
    EXPECT_DOUBLE_EQ(f.studio.project().musicOffset.value(), 0.0);
    EXPECT_DOUBLE_EQ(f.studio.project().musicLength.value(), 57.0);
    EXPECT_EQ(f.studio.undoStack().size(), steps + 1);

    // The tail pulled 10 s in shortens the fragment; pulled out it stops at the file's end.
    drag(lane, {570, 80}, {{560, 80}, {470, 80}});
    EXPECT_NEAR(f.studio.project().musicLength.value(), 47.0, 1e-9);
    drag(lane, {470, 80}, {{480, 80}, {890, 80}});
    EXPECT_NEAR(f.studio.project().musicLength.value(), 57.0, 1e-9);
    EXPECT_EQ(f.studio.undoStack().size(), steps + 3);
}

TEST(WaveTrack, fadeHandlesKeepTheirOrderAndOneDragIsOneUndoStep)
{
    LaneFixture f;
    f.open(musicDocument());
    WaveTrack lane(f.studio, WaveTrack::Kind::music, nullptr);
    show(lane, 900);
    // The play head handle away from the presses (an edit clamps it to the 57 s programme).
    f.studio.position = 30.0;
    const std::size_t steps = f.studio.undoStack().size();

    // Less than 10 points moves nothing.
    drag(lane, {70, 16}, {{75, 16}, {79, 16}});
    EXPECT_EQ(f.studio.project().fadeInEnd, 5.0);
    EXPECT_EQ(f.studio.undoStack().size(), steps);

    // The fade-in end dragged past the fade-out start stops there; many moves, one step.
    QTest::mousePress(&lane, Qt::LeftButton, {}, {70, 16});
    QTest::mouseMove(&lane, {90, 16});
    EXPECT_TRUE(f.studio.fadeEditing);
    EXPECT_DOUBLE_EQ(f.studio.project().fadeInEnd.value(), 7.0);
    for (int x = 100; x <= 800; x += 50)
        QTest::mouseMove(&lane, {x, 20});
    QTest::mouseRelease(&lane, Qt::LeftButton, {}, {800, 20});
    EXPECT_FALSE(f.studio.fadeEditing);
    EXPECT_DOUBLE_EQ(f.studio.project().fadeInEnd.value(), 45.0);
    EXPECT_EQ(f.studio.undoStack().size(), steps + 1);

    // The fade-out end dragged before the fade-out start stops there.
    drag(lane, {570, 145}, {{550, 145}, {100, 145}});
    EXPECT_DOUBLE_EQ(f.studio.project().fadeOutEnd.value(), 45.0);
    EXPECT_EQ(f.studio.undoStack().size(), steps + 2);

    // Undo takes back the whole second drag at once, then the whole first.
    f.studio.undo();
    EXPECT_EQ(f.studio.project().fadeOutEnd, 55.0);
    EXPECT_DOUBLE_EQ(f.studio.project().fadeInEnd.value(), 45.0);
    f.studio.undo();
    EXPECT_EQ(f.studio.project().fadeInEnd, 5.0);

    // The fade-in start is held in the lane at 0 and below the fade-in end; a drag that moves
    // nothing records and saves nothing.
    f.fixture.settle();
    const int saves = f.fixture.count(StudioField::lastSaved);
    drag(lane, {20, 145}, {{0, 145}, {-300, 145}});
    EXPECT_EQ(f.studio.project().fadeInStart, 0.0);
    f.fixture.settle();
    EXPECT_EQ(f.studio.undoStack().size(), steps);
    EXPECT_EQ(f.fixture.count(StudioField::lastSaved), saves);
    drag(lane, {20, 145}, {{40, 145}, {400, 145}});
    EXPECT_EQ(f.studio.project().fadeInStart, 5.0);

    // Handles on one another part the way the pointer goes: left, the fade-in end follows;
    // right, the fade-out start.
    drag(lane, {70, 16}, {{90, 16}, {600, 16}});
    ASSERT_DOUBLE_EQ(f.studio.project().fadeInEnd.value(), 45.0);
    drag(lane, {470, 16}, {{450, 16}, {300, 16}});
    EXPECT_DOUBLE_EQ(f.studio.project().fadeInEnd.value(), 28.0);
    EXPECT_DOUBLE_EQ(f.studio.project().fadeOutStart.value(), 45.0);
    f.studio.undo();
    drag(lane, {470, 16}, {{490, 16}, {500, 16}});
    EXPECT_DOUBLE_EQ(f.studio.project().fadeOutStart.value(), 48.0);
    EXPECT_DOUBLE_EQ(f.studio.project().fadeInEnd.value(), 45.0);
    EXPECT_EQ(f.studio.undoStack().size(), steps + 3);

    // The document on disk has the last fades once the drag has ended.
    f.fixture.settle();
    EXPECT_EQ(testing::readProject(f.folder).fadeInStart, 5.0);
}

TEST(WaveTrack, playheadHandleSeeksOnEveryMove)
{
    LaneFixture f;
    VoiceDocument voice;
    f.open(voice.project());
    f.studio.seek(5.2); // x 260, inside B
    WaveTrack lane(f.studio, WaveTrack::Kind::voice, nullptr);
    show(lane, 800);
    QTest::mousePress(&lane, Qt::LeftButton, {}, {270, 60});
    EXPECT_NEAR(f.studio.position(), 5.4, 1e-9);
    QTest::mouseMove(&lane, {300, 60});
    EXPECT_NEAR(f.studio.position(), 6.0, 1e-9);
    QTest::mouseMove(&lane, {150, 60});
    EXPECT_NEAR(f.studio.position(), 3.0, 1e-9);
    QTest::mouseRelease(&lane, Qt::LeftButton, {}, {150, 60});
    EXPECT_FALSE(f.studio.selection().has_value()) << "the handle never selects";
    EXPECT_FALSE(f.studio.selectedClip().has_value());
}

TEST(WaveTrack, contextMenuActsOnTheClipRange)
{
    LaneFixture f;
    VoiceDocument voice;
    f.open(voice.project());
    WaveTrack lane(f.studio, WaveTrack::Kind::voice, nullptr);

    std::unique_ptr<QMenu> menu(makeClipMenu(f.studio, voice.a, nullptr));
    QStringList texts;
    for (QAction* action : items(*menu))
        texts << action->text();
    EXPECT_EQ(texts,
              (QStringList{"Silenciar", "Restaurar sonido", "Eliminar", "Eliminar y cerrar hueco",
                           "Cortar", "Copiar", "Pegar en el cabezal"}));
    EXPECT_EQ(menu->actions().at(4)->isSeparator(), true);
    EXPECT_EQ(item(*menu, "Copiar")->shortcut(), QKeySequence("Ctrl+C"));
    EXPECT_EQ(item(*menu, "Pegar en el cabezal")->shortcut(), QKeySequence("Ctrl+V"));
    EXPECT_FALSE(item(*menu, "Pegar en el cabezal")->isEnabled())
        << "nothing copied yet, though the studio is idle";
    EXPECT_TRUE(item(*menu, "Silenciar")->isEnabled());

    // Silence A through its menu: the whole of A is muted and the edit drops the selection.
    item(*menu, "Silenciar")->trigger();
    EXPECT_EQ(f.studio.project().segment(2.0)->gain, 0.0f);
    EXPECT_FALSE(f.studio.selection().has_value());
    menu.reset(makeClipMenu(f.studio, voice.c, nullptr));
    item(*menu, "Restaurar sonido")->trigger();
    EXPECT_EQ(f.studio.project().segment(9.0)->gain, 1.0f);

    // Copy B; the next menu can paste at the play head.
    menu.reset(makeClipMenu(f.studio, voice.b, nullptr));
    item(*menu, "Copiar")->trigger();
    EXPECT_TRUE(f.studio.canPaste());
    EXPECT_EQ(f.studio.audioClipboard->duration, 3.0);
    menu.reset(makeClipMenu(f.studio, voice.b, nullptr));
    EXPECT_TRUE(item(*menu, "Pegar en el cabezal")->isEnabled());

    // Cut B: copied, then its range becomes a gap.
    item(*menu, "Cortar")->trigger();
    EXPECT_FALSE(f.studio.project().segment(6.0).has_value());
    EXPECT_DOUBLE_EQ(f.studio.project().voiceDuration(), 10.0);

    // Paste at the play head, 1 s: three seconds of B come in there.
    f.studio.seek(1.0);
    menu.reset(makeClipMenu(f.studio, voice.a, nullptr));
    item(*menu, "Pegar en el cabezal")->trigger();
    ASSERT_TRUE(f.fixture.waitIdle());
    EXPECT_DOUBLE_EQ(f.studio.project().voiceDuration(), 13.0);

    // Eliminar leaves a gap over the clip's range.
    const Segment first = f.studio.project().resolvedSegments().front();
    menu.reset(makeClipMenu(f.studio, first, nullptr));
    item(*menu, "Eliminar")->trigger();
    EXPECT_FALSE(f.studio.project().segment(0.5).has_value());

    // Eliminar y cerrar hueco takes the clip out and pulls the later clips left by its length.
    const double length = f.studio.project().voiceDuration();
    const Segment middle = f.studio.project().resolvedSegments().at(1);
    menu.reset(makeClipMenu(f.studio, middle, nullptr));
    item(*menu, "Eliminar y cerrar hueco")->trigger();
    EXPECT_DOUBLE_EQ(f.studio.project().voiceDuration(), length - middle.duration);

    // While busy every item is off.
    f.studio.busy = true;
    menu.reset(makeClipMenu(f.studio, voice.c, nullptr));
    for (QAction* action : items(*menu))
        EXPECT_FALSE(action->isEnabled()) << action->text().toStdString();
    f.studio.busy = false;
}

TEST(WaveTrack, theMusicLanesMenuRemovesTheMusicFromAnywhereInTheLane)
{
    LaneFixture f;
    f.open(musicDocument());
    WaveTrack lane(f.studio, WaveTrack::Kind::music, nullptr);
    show(lane, 600);
    f.studio.busy = true;
    EXPECT_FALSE(items(*std::unique_ptr<QMenu>(makeMusicMenu(f.studio, nullptr)))[0]->isEnabled());
    f.studio.busy = false;
    // The menu runs its own loop: read what it offers and choose it from inside.
    QStringList offered;
    QTimer::singleShot(0, [&offered] {
        if (auto* popup = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
            for (QAction* action : items(*popup))
                offered << action->text();
            items(*popup)[0]->trigger();
            popup->close();
        }
    });
    // Left of the music region: music that cannot be read has no region.
    QContextMenuEvent outside(QContextMenuEvent::Mouse, {5, 80}, lane.mapToGlobal(QPoint(5, 80)));
    QApplication::sendEvent(&lane, &outside);
    EXPECT_EQ(offered, QStringList{"Quitar música"});
    EXPECT_FALSE(f.studio.project().musicFile);
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
}

TEST(WaveTrack, everyGestureIsRefusedWhileRecordingOrBusy)
{
    LaneFixture f;
    VoiceDocument voice;
    f.open(voice.project());
    WaveTrack voiceLane(f.studio, WaveTrack::Kind::voice, nullptr);
    show(voiceLane, 800);

    for (int blocked = 0; blocked < 2; ++blocked) {
        if (blocked == 0)
            f.studio.busy = true;
        else
            f.studio.recording = true;
        const double position = f.studio.position();
        const std::size_t steps = f.studio.undoStack().size();
        drag(voiceLane, {210, 60}, {{212, 60}});            // click
        drag(voiceLane, {210, 60}, {{260, 60}, {300, 60}}); // selection
        drag(voiceLane, {300, 70}, {});                     // clip body
        drag(voiceLane, {300, 15}, {{250, 15}, {100, 15}}); // header
        f.studio.selectedClip = voice.b.id;
        drag(voiceLane, {250, 55}, {{240, 55}, {200, 55}}); // grip
        f.studio.selectedClip = std::nullopt;
        EXPECT_EQ(f.studio.position(), position);
        EXPECT_FALSE(f.studio.selection().has_value());
        EXPECT_FALSE(f.studio.selectedClip().has_value());
        EXPECT_FALSE(f.studio.draggedClip().has_value());
        EXPECT_FALSE(f.studio.voiceTrimPreview().has_value());
        EXPECT_EQ(f.studio.undoStack().size(), steps);
        // Over a header the arrow stays while the controls are off.
        hoverAt(voiceLane, {300, 15});
        EXPECT_EQ(voiceLane.cursor().shape(), Qt::ArrowCursor);
        f.studio.busy = false;
        f.studio.recording = false;
        hoverAt(voiceLane, {301, 15});
        EXPECT_EQ(voiceLane.cursor().shape(), Qt::OpenHandCursor);
    }
}

TEST(WaveTrack, fadeAndMusicGripDragsAreRefusedWhileBusy)
{
    LaneFixture f;
    f.open(musicDocument());
    WaveTrack lane(f.studio, WaveTrack::Kind::music, nullptr);
    show(lane, 900);
    const PodcastProject before = f.studio.project();
    f.studio.busy = true;
    drag(lane, {70, 16}, {{90, 16}, {300, 16}});
    drag(lane, {570, 80}, {{560, 80}, {470, 80}});
    f.studio.busy = false;
    EXPECT_EQ(f.studio.project().fadeInEnd, before.fadeInEnd);
    EXPECT_EQ(f.studio.project().musicLength, before.musicLength);
    EXPECT_TRUE(f.studio.undoStack().empty());
    EXPECT_FALSE(f.studio.fadeEditing);
}

TEST(WaveTrack, hoverSetsAndClearsTheControlKeysWithTheirCursorsAndHelp)
{
    LaneFixture f;
    VoiceDocument voice;
    PodcastProject document = voice.project();
    const PodcastProject music = musicDocument();
    document.musicFile = music.musicFile;
    document.musicSourceStart = music.musicSourceStart;
    document.musicOffset = music.musicOffset;
    document.fadeInStart = music.fadeInStart;
    document.fadeInEnd = music.fadeInEnd;
    document.fadeOutStart = music.fadeOutStart;
    document.fadeOutEnd = music.fadeOutEnd;
    document.timelineZoom = 10;
    document.playhead = 65;
    f.open(document);
    WaveTrack voiceLane(f.studio, WaveTrack::Kind::voice, nullptr);
    WaveTrack musicLane(f.studio, WaveTrack::Kind::music, nullptr);
    show(voiceLane, 900);
    show(musicLane, 900);
    f.studio.position = 65.0;
    f.studio.zoom = 50;
    const std::string b = voice.b.id.text();

    hoverAt(voiceLane, {300, 15});
    EXPECT_EQ(f.studio.hoveredControl(), "clip-" + b);
    EXPECT_EQ(voiceLane.cursor().shape(), Qt::OpenHandCursor);
    EXPECT_EQ(voiceLane.helpAt({300, 15}), "Arrastra para mover esta sección y dejar espacios");
    hoverAt(voiceLane, {300, 70});
    EXPECT_FALSE(f.studio.hoveredControl().has_value());
    EXPECT_EQ(voiceLane.cursor().shape(), Qt::ArrowCursor);

    f.studio.selectedClip = voice.b.id;
    hoverAt(voiceLane, {251, 60});
    EXPECT_EQ(f.studio.hoveredControl(), "trim-" + b + "-true");
    EXPECT_EQ(voiceLane.cursor().shape(), Qt::SizeHorCursor);
    EXPECT_EQ(voiceLane.helpAt({251, 60}), "Arrastra para ajustar el inicio del clip");
    hoverAt(voiceLane, {399, 60});
    EXPECT_EQ(f.studio.hoveredControl(), "trim-" + b + "-false");
    EXPECT_EQ(voiceLane.helpAt({399, 60}), "Arrastra para ajustar el final del clip");

    f.studio.zoom = 10;
    QEvent leaveVoice(QEvent::Leave);
    QApplication::sendEvent(&voiceLane, &leaveVoice);
    EXPECT_FALSE(f.studio.hoveredControl().has_value());
    hoverAt(musicLane, {70, 16});
    EXPECT_EQ(f.studio.hoveredControl(), "fade-1");
    EXPECT_EQ(musicLane.cursor().shape(), Qt::SizeHorCursor);
    EXPECT_EQ(musicLane.helpAt({70, 16}), "Fin del fade in: 5.00 s");
    EXPECT_EQ(musicLane.helpAt({470, 16}), "Comienzo del fade out: 45.00 s");
    hoverAt(musicLane, {570, 80});
    EXPECT_EQ(f.studio.hoveredControl(), "music-trim-false");
    EXPECT_EQ(musicLane.helpAt({570, 80}), "Ajustar duración de la música");
    hoverAt(musicLane, {20, 80});
    EXPECT_EQ(f.studio.hoveredControl(), "music-trim-true");
    EXPECT_EQ(musicLane.helpAt({20, 80}), "Ajustar inicio de la música");
    EXPECT_EQ(musicLane.helpAt({650, 80}), "Arrastra para mover el punto de reproducción");

    // Leaving the lane clears its key; a key another lane set is left alone.
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(&musicLane, &leave);
    EXPECT_FALSE(f.studio.hoveredControl().has_value());
    f.studio.hoveredControl = std::string("clip-") + b;
    QApplication::sendEvent(&musicLane, &leave);
    EXPECT_EQ(f.studio.hoveredControl(), "clip-" + b);
}

TEST(WaveTrack, theEmptyMusicLaneOffersToLoadMusic)
{
    LaneFixture f;
    f.open(VoiceDocument().project());
    WaveTrack voiceLane(f.studio, WaveTrack::Kind::voice, nullptr);
    WaveTrack musicLane(f.studio, WaveTrack::Kind::music, nullptr);
    show(musicLane, 700);
    auto* load = musicLane.findChild<QPushButton*>();
    ASSERT_NE(load, nullptr);
    EXPECT_TRUE(load->isVisible());
    EXPECT_EQ(load->text(), "Cargar música");
    testing::saveScreenshot(musicLane, "WaveTrack-music-empty");

    f.studio.busy = true;
    EXPECT_FALSE(load->isEnabled());
    f.studio.busy = false;

    const std::filesystem::path chosen = f.temp / "bed.wav";
    testing::makeTone(chosen, 8, 500);
    f.fixture.host.audioFileAnswers.push_back(chosen);
    QTest::mouseClick(load, Qt::LeftButton);
    ASSERT_TRUE(f.fixture.waitIdle());
    EXPECT_EQ(f.fixture.host.audioFileRequests, 1);
    ASSERT_TRUE(f.studio.project().musicFile.has_value());
    EXPECT_FALSE(load->isVisible());
}

TEST(WaveTrack, aMovingPlayheadRepaintsOnlyTheStripsItLeavesAndEnters)
{
    LaneFixture f;
    VoiceDocument voice;
    f.open(voice.project());
    WaveTrack lane(f.studio, WaveTrack::Kind::voice, nullptr);
    show(lane, 800);
    f.studio.seek(2.0);
    QApplication::processEvents();
    PaintRecorder recorder;
    lane.installEventFilter(&recorder);
    f.studio.seek(2.1);
    QApplication::processEvents();
    ASSERT_FALSE(recorder.rects.empty());
    for (const QRect& rect : recorder.rects) {
        EXPECT_LE(rect.width(), 40) << "a play head step repaints its strips only";
        EXPECT_GE(rect.right(), 100 - 20);
        EXPECT_LE(rect.left(), 105 + 20);
    }
}

TEST(WaveTrack, aTakeGrowsOnTheVoiceLaneWhileGesturesWait)
{
    LaneFixture f;
    f.open(PodcastProject{});
    f.studio.zoom = 50;
    WaveTrack lane(f.studio, WaveTrack::Kind::voice, nullptr);
    show(lane, 600);
    const QRect takeStart(5, 40, 40, 50);
    const double empty = testing::meanBrightness(lane.grab().toImage(), takeStart);

    f.studio.record();
    f.fixture.scheduler.advance(3.0); // the count-in
    ASSERT_TRUE(f.studio.recording());
    ASSERT_TRUE(f.fixture.waitUntil([&] {
        f.fixture.scheduler.advance(0.1);
        return f.studio.liveDuration >= 1.0;
    }));
    // Each clock step of a take repaints the whole lane, where the take grows.
    PaintRecorder recorder;
    lane.installEventFilter(&recorder);
    f.fixture.scheduler.advance(0.1);
    QApplication::processEvents();
    ASSERT_FALSE(recorder.rects.empty());
    EXPECT_EQ(recorder.rects.back().width(), lane.width());
    const double growing = testing::meanBrightness(lane.grab().toImage(), takeStart);
    EXPECT_GT(growing, empty + 10) << "the live take is drawn";

    // Nothing the pointer does reaches the Studio during the take.
    drag(lane, {30, 60}, {{60, 60}, {90, 60}});
    drag(lane, {20, 15}, {{40, 15}, {80, 15}});
    EXPECT_FALSE(f.studio.selection().has_value());
    EXPECT_FALSE(f.studio.draggedClip().has_value());

    f.studio.stopRecording();
    ASSERT_TRUE(f.fixture.waitIdle());
    ASSERT_EQ(f.studio.project().resolvedSegments().size(), 1u);
    EXPECT_GT(testing::meanBrightness(lane.grab().toImage(), takeStart), empty + 10);
}

TEST(WaveTrack, clipsTooShortForTheirCornersAreDrawnAsPlainBoxes)
{
    LaneFixture f;
    PodcastProject document;
    document.voiceFile = "Media/voice.wav";
    document.segments = {Segment{Uuid::random(), 0, 0.2, "Media/voice.wav", 1.0, std::nullopt},
                         Segment{Uuid::random(), 1, 0.2, "Media/voice.wav", 2.0, std::nullopt}};
    document.timelineZoom = 50;
    document.playhead = 8;
    f.open(document);
    WaveTrack lane(f.studio, WaveTrack::Kind::voice, nullptr);
    show(lane, 500);
    const QImage image = testing::saveScreenshot(lane, "WaveTrack-voice-short-clips");
    // Each 10-point clip is filled and outlined; the lane between them is not.
    const double inside = testing::meanBrightness(image, QRect(52, 40, 6, 50));
    const double between = testing::meanBrightness(image, QRect(75, 40, 15, 50));
    EXPECT_GT(inside, between + 10);
    EXPECT_GT(image.pixelColor(50, 95).blue(), image.pixelColor(75, 95).blue() + 40)
        << "the outline's left edge";
    EXPECT_GT(image.pixelColor(109, 95).blue(), image.pixelColor(75, 95).blue() + 40)
        << "the second clip's right edge";
}

TEST(WaveTrack, peakColumnsShowTheLoudestValueOfTheirSpan)
{
    // 50 values a second: second 0 quiet, second 1 with one loud value at 1.5 s.
    std::vector<float> peaks(100, 0.1f);
    peaks[75] = 0.8f;
    std::vector<QLine> lines;
    // Zoom 2: one column is half a second; the clip shows source 1…2 s from timeline 10.
    appendPeakLines(lines, peaks, 1.0, 10.0, 2.0, 20, 22, 50, 40);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].y1(), 50 - 4);
    EXPECT_EQ(lines[1].y1(), 50 - 32) << "the 1.5 s value lies in the second column";
    EXPECT_EQ(lines[1].y2(), 50 + 32);
    // Past the envelope's end nothing is drawn.
    lines.clear();
    appendPeakLines(lines, peaks, 1.0, 10.0, 2.0, 22, 30, 50, 40);
    EXPECT_TRUE(lines.empty());
}

TEST(WaveTrack, rendersClipsSelectionMutedClipMusicAndEmptyLanes)
{
    LaneFixture f;
    VoiceDocument voice;
    PodcastProject document = voice.project();
    const PodcastProject music = musicDocument();
    document.musicFile = music.musicFile;
    document.musicSourceStart = music.musicSourceStart;
    document.musicOffset = 0.5;
    document.fadeInStart = 0;
    document.fadeInEnd = 3;
    document.fadeOutStart = 9;
    document.fadeOutEnd = 12;
    document.musicLength = 12;
    f.open(document);
    ASSERT_FALSE(f.studio.voiceWaveforms().empty());
    f.studio.zoom = 50;
    f.studio.seek(6.5);
    f.studio.selectedClip = voice.a.id;
    f.studio.selection = TimeRange{1.0, 2.5};

    WaveTrack voiceLane(f.studio, WaveTrack::Kind::voice, nullptr);
    show(voiceLane, 700);
    const QImage voiceImage = testing::saveScreenshot(voiceLane, "WaveTrack-voice");
    // The play head is red; the selection band is bluer than the same clip outside it.
    const QColor head = voiceImage.pixelColor(325, 80);
    EXPECT_GT(head.red(), 200);
    EXPECT_LT(head.green(), 120);
    // The handle's symbol stands over the top of the voice lane, beside the line.
    EXPECT_GT(voiceImage.pixelColor(321, 8).red(), 180);
    const QColor inBand = voiceImage.pixelColor(100, 100);
    const QColor outBand = voiceImage.pixelColor(175, 100);
    EXPECT_GT(inBand.blue(), outBand.blue());
    // The gap between A and B holds no peaks; the inside of B does.
    const double gap = testing::meanBrightness(voiceImage, QRect(205, 40, 40, 60));
    const double clip = testing::meanBrightness(voiceImage, QRect(260, 40, 40, 60));
    EXPECT_GT(clip, gap + 10);
    // A header too short for its title ends it with "…" (C is 100 points wide).
    const QStringList titles = testing::drawnTexts(voiceLane);
    EXPECT_TRUE(titles.contains("Toma · 00:00:04.00")) << titles.join('|').toStdString();
    EXPECT_TRUE(std::any_of(titles.begin(), titles.end(), [](const QString& title) {
        return title.startsWith("MUTE") && title.endsWith("…") && title.size() > 2;
    })) << titles.join('|').toStdString();

    WaveTrack musicLane(f.studio, WaveTrack::Kind::music, nullptr);
    show(musicLane, 700);
    const QImage musicImage = testing::saveScreenshot(musicLane, "WaveTrack-music");
    // The envelope is at full level between the fades, silent outside them.
    const QColor full = musicImage.pixelColor(static_cast<int>((0.5 + 5) * 50), 16);
    EXPECT_GT(full.red(), 150);
    EXPECT_GT(full.blue(), 200);
    EXPECT_LT(musicImage.pixelColor(321, 8).red(), 120) << "one symbol, over the voice lane";

    f.studio.selection = std::nullopt;
    f.studio.position = 0.0;
    f.studio.project.mutate([](PodcastProject& p) { p.segments.clear(); });
    const QImage empty = testing::saveScreenshot(voiceLane, "WaveTrack-voice-empty");
    EXPECT_GT(testing::meanBrightness(empty, QRect(250, 40, 200, 30)),
              testing::meanBrightness(empty, QRect(10, 40, 60, 30)))
        << "the hint text is drawn in the middle of the view";
}

} // namespace tw
