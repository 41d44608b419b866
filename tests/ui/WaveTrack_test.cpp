#include "ui/WaveTrack.hpp"

#include "ui/LaneMenu.hpp"
#include "ui/WindowStudio.hpp"

#include <QAction>
#include <QContextMenuEvent>
#include <QMenu>
#include <QPushButton>
#include <QTimer>

#include <gtest/gtest.h>

#include <algorithm>

namespace tw {
namespace {

using testing::drag;
using testing::saveScreenshot;

// Three clips of one 12 s take at zoom 50: A [0, 4) at x 0…200, a gap, B [5, 8) at x 250…400
// (source 4…7), C [8, 10) at x 400…500, muted (source 7…9).
struct VoiceDocument {
    Segment a{Uuid::random(), 0, 4, "Media/voice.wav", 0.0, std::nullopt};
    Segment b{Uuid::random(), 4, 3, "Media/voice.wav", 5.0, std::nullopt};
    Segment c{Uuid::random(), 7, 2, "Media/voice.wav", 8.0, 0.0f};
};

// What the lanes' project holds: the three clips, and or a 60 s music file placed from 5 s into
// it at timeline 2, so the fragment is 55 s long; at zoom 10 the region spans x 20…570 and the
// fades are 0–5 and 45–55.
enum Content { voiceOnly = 1, musicOnly = 2, voiceAndMusic = 3 };

// A Studio over such a project, with both lanes shown.
struct Lanes : testing::WindowStudio {
    VoiceDocument voice;
    std::unique_ptr<WaveTrack> voiceLane, musicLane;
    explicit Lanes(Content content = voiceOnly, int width = 800,
                   const std::function<void(PodcastProject&)>& adjust = {})
    {
        testing::makeTone(folder / "Media/voice.wav", 12, 220);
        testing::makeTone(folder / "Media/music.wav", 60, 330);
        PodcastProject document;
        if (content & voiceOnly) {
            document.voiceFile = "Media/voice.wav";
            document.segments = {voice.a, voice.b, voice.c};
            document.timelineZoom = 50;
            document.playhead = 11;
        }
        if (content & musicOnly) {
            document.musicFile = "Media/music.wav";
            document.musicSourceStart = 5;
            document.musicOffset = 2;
            document.fadeInStart = 0;
            document.fadeInEnd = 5;
            document.fadeOutStart = 45;
            document.fadeOutEnd = 55;
            document.timelineZoom = 10;
            document.playhead = 65;
        }
        if (adjust)
            adjust(document);
        EXPECT_TRUE(open(document)) << studio.message().value_or("");
        voiceLane = show(WaveTrack::Kind::voice, width);
        musicLane = show(WaveTrack::Kind::music, width);
    }
    // A lane shown on the offscreen screen at the given width, so that pointer events reach it.
    std::unique_ptr<WaveTrack> show(WaveTrack::Kind kind, int width)
    {
        auto lane = std::make_unique<WaveTrack>(studio, kind, nullptr);
        // The window's dark panel behind the lane, which draws no background of its own.
        QPalette dark = lane->palette();
        dark.setColor(QPalette::Window, QColor(28, 29, 33));
        lane->setPalette(dark);
        lane->setAutoFillBackground(true);
        lane->resize(width, lane->height());
        lane->setViewportWidth(width);
        lane->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(lane.get()));
        return lane;
    }
    std::size_t steps() { return studio.undoStack().size(); }
};

// The items of menu, separators left out.
QList<QAction*> items(QMenu& menu)
{
    QList<QAction*> found;
    for (QAction* action : menu.actions())
        if (!action->isSeparator())
            found.push_back(action);
    return found;
}

} // namespace

TEST(WaveTrack, onTheVoiceLaneDragsSelectClicksSeekAndTheClipBodySelectsItsClip)
{
    Lanes f;
    WaveTrack& lane = *f.voiceLane;

    // Four points in the gap between A and B select between the two locations; no seek.
    const double position = f.studio.position();
    drag(lane, {210, 60}, {{214, 60}});
    EXPECT_NEAR(f.studio.selection().value().lower, 4.2, 1e-9);
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

    // A click on a clip's body selects the clip at the touch, its range, and seeks there.
    drag(lane, {300, 70}, {{301, 70}}, [&] { EXPECT_EQ(f.studio.selectedClip(), f.voice.b.id); });
    EXPECT_EQ(f.studio.selection(), (TimeRange{5, 8}));
    EXPECT_NEAR(f.studio.position(), 301 / 50.0, 1e-9);
    // Dragged further, the body selects like the background, from where it was pressed.
    drag(lane, {330, 70}, {{310, 70}, {100, 70}});
    EXPECT_EQ(f.studio.selection(), (TimeRange{2, 6.6}));

    // The play head's handle seeks while it moves and never selects.
    f.studio.seek(5.2); // x 260, inside B
    f.studio.selectedClip = std::nullopt;
    f.studio.selection = std::nullopt;
    drag(lane, {270, 60}, {{300, 60}, {150, 60}},
         [&] { EXPECT_NEAR(f.studio.position(), 3.0, 1e-9); });
    EXPECT_FALSE(f.studio.selection() || f.studio.selectedClip());

    // Without music its lane offers to load some.
    auto* load = f.musicLane->findChild<QPushButton*>();
    ASSERT_NE(load, nullptr);
    saveScreenshot(*f.musicLane, "WaveTrack-music-empty");
    const std::filesystem::path chosen = f.temp / "bed.wav";
    testing::makeTone(chosen, 8, 500);
    f.host.audioFileAnswers.push_back(chosen);
    QTest::mouseClick(load, Qt::LeftButton);
    ASSERT_TRUE(f.waitIdle());
    EXPECT_TRUE(f.studio.project().musicFile.has_value());
    EXPECT_FALSE(load->isVisible());
}

TEST(WaveTrack, headerDragMovesTheClipAndGripsTrimWithinTheNeighbours)
{
    Lanes f;
    WaveTrack& lane = *f.voiceLane;
    const std::size_t steps = f.steps();

    // A tap on B's header selects it and its range, and moves nothing.
    drag(lane, {300, 15}, {});
    EXPECT_EQ(f.studio.selection(), (TimeRange{5, 8}));
    EXPECT_EQ(f.steps(), steps);

    // Dragged 500 points to the left, 10 s before its start, it is held at 0 and dropped there.
    drag(lane, {300, 15}, {{200, 15}, {-200, 15}}, [&] {
        EXPECT_EQ(f.studio.draggedClip(), f.voice.b.id);
        EXPECT_EQ(f.studio.clipDragTime(), 0.0);
        EXPECT_EQ(lane.cursor().shape(), Qt::ClosedHandCursor);
    });
    EXPECT_FALSE(f.studio.draggedClip() || f.studio.clipDragTime());
    EXPECT_EQ(f.studio.project().segment(0.5)->id, f.voice.b.id);
    EXPECT_EQ(f.steps(), steps + 1);
    f.studio.undo();

    // B's head pulled 3 s to the left stops at A's end (4 s); its tail pulled 1 s in; a click on
    // a grip trims nothing. Each edit drops the selection, so B is selected again first.
    for (auto [from, to, duration, added] :
         {std::tuple{250, 100, 4.0, 1u}, {400, 350, 3.0, 2u}, {350, 351, 3.0, 2u}}) {
        f.studio.selectedClip = f.voice.b.id;
        drag(lane, {from, 55}, {{(from + to) / 2, 55}, {to, 55}});
        EXPECT_DOUBLE_EQ(f.studio.project().segment(4.5)->duration, duration);
        EXPECT_EQ(f.steps(), steps + added);
    }
}

// A fade dragged while playing is heard at once and saved when released; a click seeks, a drag
// never selects, and the grips trim the fragment.
TEST(WaveTrack, onTheMusicLaneFadesAreHeardWhileDraggedClicksSeekAndGripsTrimTheFragment)
{
    Lanes f(musicOnly, 900);
    WaveTrack& lane = *f.musicLane;
    f.studio.position = 30.0; // the play head handle away from the presses
    ASSERT_TRUE(f.startPlayback()) << f.studio.message().value_or("");
    // The music's volume 2.5 s into its fade-in, as the player has it.
    const auto heard = [&] {
        return f.studio.player->currentAudioMix().parameters(2)->volume.volumeAt(
            MediaTime::fromSeconds(4.5));
    };
    const float before = heard();
    drag(lane, {70, 16}, {{90, 16}, {200, 16}}, [&] {
        EXPECT_LT(heard(), before * 0.5) << "the fade-in, now 18 s long, is heard while dragging";
    });
    EXPECT_TRUE(f.studio.playing());
    f.settle();
    EXPECT_EQ(testing::readProject(f.folder).fadeInEnd, 18.0);
    f.studio.pause();

    f.studio.selection = TimeRange{1, 2};
    drag(lane, {200, 60}, {{240, 60}, {400, 60}});
    EXPECT_EQ(f.studio.selection(), (TimeRange{1, 2}));
    drag(lane, {250, 60}, {{252, 60}});
    EXPECT_FALSE(f.studio.selection().has_value());
    EXPECT_NEAR(f.studio.position(), 25.2, 1e-9);

    // The head pulled 10 s to the left stops at timeline 0: both start and offset move by 2;
    // the tail pulled 10 s in shortens the fragment.
    const std::size_t steps = f.steps();
    drag(lane, {20, 80}, {{10, 80}, {-80, 80}});
    EXPECT_FALSE(f.studio.musicTrimBase.has_value());
    EXPECT_DOUBLE_EQ(f.studio.project().musicSourceStart.value(), 3.0);
    drag(lane, {570, 80}, {{560, 80}, {470, 80}});
    EXPECT_NEAR(f.studio.project().musicLength.value(), 47.0, 1e-9);
    EXPECT_EQ(f.steps(), steps + 2);
}

// Each drag from a handle (fade-in start and fade-out end below, the other two on top), and the
// fades and undo steps it leaves: each point is held between its neighbours and the lane, a
// drag of many moves is one step, and a drag that moves nothing records and saves nothing.
TEST(WaveTrack, fadeHandlesKeepTheirOrderAndOneDragIsOneUndoStep)
{
    Lanes f(musicOnly, 900);
    WaveTrack& lane = *f.musicLane;
    f.studio.position = 15.0; // the play head handle away from the presses
    const std::size_t steps = f.steps();
    const struct {
        const char* what;
        QPoint from;
        std::vector<QPoint> through;
        testing::Points fades;
        std::size_t added;
    } drags[] = {
        {"under 10 points", {70, 16}, {{75, 16}, {79, 16}}, {0, 5, 45, 55}, 0},
        {"start held at 0", {20, 145}, {{0, 145}, {-300, 145}}, {0, 5, 45, 55}, 0},
        {"start stops at the end", {20, 145}, {{40, 145}, {400, 145}}, {5, 5, 45, 55}, 1},
        {"end stops at the fade-out",
         {70, 16},
         {{90, 16}, {300, 20}, {600, 20}, {800, 20}},
         {5, 45, 45, 55},
         2},
        {"on one another, left", {470, 16}, {{450, 16}, {300, 16}}, {5, 28, 45, 55}, 3},
        {"fade-in end back", {300, 16}, {{320, 16}, {800, 16}}, {5, 45, 45, 55}, 4},
        {"on one another, right", {470, 16}, {{490, 16}, {500, 16}}, {5, 45, 48, 55}, 5},
        {"fade-out end stops at its start",
         {570, 145},
         {{550, 145}, {100, 145}},
         {5, 45, 48, 48},
         6},
    };
    for (const auto& row : drags) {
        f.settle();
        const int saves = f.count(StudioField::lastSaved);
        const std::size_t before = f.steps();
        drag(lane, row.from, row.through);
        EXPECT_EQ(testing::fadePoints(f.studio.project()), row.fades) << row.what;
        EXPECT_EQ(f.steps(), steps + row.added) << row.what;
        f.settle();
        EXPECT_EQ(f.count(StudioField::lastSaved) > saves, f.steps() > before) << row.what;
    }
    EXPECT_EQ(testing::readProject(f.folder).fadeOutEnd, 48.0);
}

// Where the pointer rests sets the control key and the cursor; while recording or busy the
// gestures are refused and the arrow stays.
TEST(WaveTrack, hoverSetsTheControlKeysGesturesAreRefusedWhileBusyAndMenusActOnTheClipRange)
{
    Lanes f(voiceAndMusic);
    WaveTrack& voiceLane = *f.voiceLane;
    WaveTrack& musicLane = *f.musicLane;
    f.studio.position = 65.0;
    const std::string b = f.voice.b.id.text();
    struct Spot {
        WaveTrack* lane;
        double zoom;
        bool selected; // B
        QPoint at;
        std::optional<std::string> key;
        Qt::CursorShape cursor;
    };
    for (const Spot& spot :
         {Spot{&voiceLane, 50, false, {300, 15}, "clip-" + b, Qt::OpenHandCursor},
          Spot{&voiceLane, 50, false, {300, 70}, std::nullopt, Qt::ArrowCursor},
          Spot{&voiceLane, 50, true, {251, 60}, "trim-" + b + "-true", Qt::SizeHorCursor},
          Spot{&voiceLane, 50, true, {399, 60}, "trim-" + b + "-false", Qt::SizeHorCursor},
          Spot{&musicLane, 10, false, {70, 16}, "fade-1", Qt::SizeHorCursor},
          Spot{&musicLane, 10, false, {570, 80}, "music-trim-false", Qt::SizeHorCursor},
          Spot{&musicLane, 10, false, {20, 80}, "music-trim-true", Qt::SizeHorCursor}}) {
        SCOPED_TRACE(spot.key.value_or("none"));
        f.studio.zoom = spot.zoom;
        f.studio.selectedClip = spot.selected ? std::optional(f.voice.b.id) : std::nullopt;
        testing::sendMouse(*spot.lane, QEvent::MouseMove, spot.at, true); // a hover
        EXPECT_EQ(f.studio.hoveredControl(), spot.key);
        EXPECT_EQ(spot.lane->cursor().shape(), spot.cursor);
    }
    EXPECT_EQ(musicLane.helpAt({70, 16}), "Fin del fade in: 5.00 s"); // for the status line
    f.studio.zoom = 50;
    for (Published<bool>* blocker : {&f.studio.busy, &f.studio.recording}) {
        *blocker = true;
        const PodcastProject before = f.studio.project();
        // The press is what is refused: one gesture of each lane stands for the others.
        drag(voiceLane, {210, 60}, {{212, 60}});            // click
        drag(voiceLane, {300, 15}, {{250, 15}, {100, 15}}); // header
        f.studio.zoom = 10;
        drag(musicLane, {70, 16}, {{90, 16}, {300, 16}}); // fade handle
        f.studio.zoom = 50;
        EXPECT_FALSE(f.studio.selectedClip() || f.studio.draggedClip() || f.studio.fadeEditing);
        EXPECT_EQ(f.studio.project(), before);
        testing::sendMouse(voiceLane, QEvent::MouseMove, {300, 15}, true);
        EXPECT_EQ(voiceLane.cursor().shape(), Qt::ArrowCursor);
        *blocker = false;
        testing::sendMouse(voiceLane, QEvent::MouseMove, {301, 15}, true);
        EXPECT_EQ(voiceLane.cursor().shape(), Qt::OpenHandCursor);
    }

    // Each menu item acts on the whole clip it was opened on; the music's is removed from anywhere
    // in its lane.
    const VoiceDocument& voice = f.voice;
    std::unique_ptr<QMenu> menu;
    const auto act = [&](const Segment& clip, const QString& text, bool enabled = true) {
        menu.reset(makeClipMenu(f.studio, clip, nullptr));
        const QList<QAction*> offered = items(*menu);
        const auto found = std::find_if(offered.begin(), offered.end(),
                                        [&](QAction* action) { return action->text() == text; });
        ASSERT_NE(found, offered.end()) << text.toStdString();
        EXPECT_EQ((*found)->isEnabled(), enabled) << text.toStdString();
        (*found)->trigger();
        EXPECT_TRUE(f.waitIdle());
    };
    act(voice.a, "Pegar en el cabezal", false); // nothing copied yet, though the studio is idle
    act(voice.a, "Silenciar");
    EXPECT_EQ(f.studio.project().segment(2.0)->gain, 0.0f);
    act(voice.b, "Cortar"); // copied, then its range becomes a gap
    EXPECT_FALSE(f.studio.project().segment(6.0).has_value());
    act(voice.c, "Eliminar y cerrar hueco"); // the programme ends with A
    EXPECT_DOUBLE_EQ(f.studio.project().voiceDuration(), 4.0);

    // While busy every item of both menus is off.
    f.studio.busy = true;
    menu.reset(makeClipMenu(f.studio, voice.c, nullptr));
    for (QAction* action : items(*menu))
        EXPECT_FALSE(action->isEnabled()) << action->text().toStdString();
    EXPECT_FALSE(items(*std::unique_ptr<QMenu>(makeMusicMenu(f.studio, nullptr)))[0]->isEnabled());
    f.studio.busy = false;

    // The music lane's menu runs its own loop: read what it offers and choose it from inside.
    QStringList offered;
    QTimer::singleShot(0, [&offered] {
        if (auto* popup = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
            for (QAction* action : items(*popup))
                offered << action->text();
            items(*popup)[0]->trigger();
            popup->close();
        }
    });
    // Left of the music region.
    QContextMenuEvent outside(QContextMenuEvent::Mouse, {5, 80},
                              f.musicLane->mapToGlobal(QPoint(5, 80)));
    QApplication::sendEvent(f.musicLane.get(), &outside);
    EXPECT_EQ(offered, QStringList{"Quitar música"});
    EXPECT_FALSE(f.studio.project().musicFile);
}

// The lanes rendered for a person to look at, and the few pixels that tell each part is there.
TEST(WaveTrack, rendersClipsSelectionAndMusic)
{
    Lanes f(voiceAndMusic, 700, [](PodcastProject& document) {
        document.musicOffset = 0.5;
        document.fadeInEnd = 3;
        document.fadeOutStart = 9;
        document.fadeOutEnd = 12;
        document.musicLength = 12;
        document.timelineZoom = 50;
    });
    ASSERT_FALSE(f.studio.voiceWaveforms().empty());
    f.studio.seek(6.5);
    f.studio.selectedClip = f.voice.a.id;
    f.studio.selection = TimeRange{1.0, 2.5};
    const QImage voice = saveScreenshot(*f.voiceLane, "WaveTrack-voice");
    saveScreenshot(*f.musicLane, "WaveTrack-music");

    EXPECT_GT(voice.pixelColor(100, 100).blue(), voice.pixelColor(175, 100).blue())
        << "the selection band bluer";
    EXPECT_GT(testing::meanBrightness(voice, {260, 40, 40, 60}),
              testing::meanBrightness(voice, {205, 40, 40, 60}) + 10)
        << "peaks inside B, none in the gap";
    const QColor head = voice.pixelColor(325, 80);
    EXPECT_TRUE(head.red() > 200 && head.green() < 120) << "the play head is red";
}

} // namespace tw
