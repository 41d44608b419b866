#include "studio/Studio.hpp"

#include "support/StudioFixture.hpp"

#include <QThreadPool>

#include <gtest/gtest.h>

namespace tw {
namespace {

using testing::placedClip;
using testing::StudioFixture;

// A Studio with a project folder on disk and a document of the given clips, as after opening.
struct EditingStudio : StudioFixture {
    explicit EditingStudio(std::vector<Segment> clips = {}) { useFolder(std::move(clips)); }
};

void setVolume(Studio& studio, float volume)
{
    studio.checkpoint();
    studio.project.mutate([&](PodcastProject& p) { p.voiceVolume = volume; });
    studio.changed();
}

TEST(StudioEditing, theHistoryKeepsTheNewestHundredStepsAndANewEditEmptiesTheRedoHistory)
{
    EditingStudio f({placedClip(0, 10, "Media/voice-A.wav")});
    f.studio.position = 30.0;
    for (int edit = 1; edit <= 101; ++edit)
        setVolume(f.studio, static_cast<float>(edit + 1));
    EXPECT_EQ(f.studio.position(), 10); // clamped into the programme by the edits
    EXPECT_EQ(f.studio.undoStack->size(), 100u);
    f.studio.selection = TimeRange{1, 2};
    for (int step = 0; step < 101; ++step)
        f.studio.undo();
    EXPECT_FALSE(f.studio.selection());
    // The document before the first edit was dropped: undo stops after the first edit.
    EXPECT_EQ(f.studio.project->voiceVolume, 2.0f);
    EXPECT_TRUE(f.studio.undoStack->empty());
    EXPECT_EQ(f.studio.redoStack->size(), 100u);
    f.studio.redo();
    EXPECT_EQ(f.studio.project->voiceVolume, 3.0f);
    setVolume(f.studio, 0.75f);
    EXPECT_TRUE(f.studio.redoStack->empty());

    // Undo of a volume change does not reload envelopes, and is saved.
    f.studio.undo();
    EXPECT_FALSE(f.studio.busy());
    EXPECT_EQ(f.saved().voiceVolume, 3.0f);

    // A split acts only with the play head inside a clip, beyond the margin; it is a saved step.
    const auto steps = f.studio.undoStack->size();
    for (double at : {0.0005, 9.9995, 10.5 /* past the clip */}) {
        f.studio.position = at;
        f.studio.splitClip();
    }
    EXPECT_EQ(std::tuple(f.clips().size(), f.studio.undoStack->size()), std::tuple(1u, steps));
    f.studio.position = 4.0;
    f.studio.splitClip();
    EXPECT_EQ(std::tuple(f.clips().size(), f.studio.undoStack->size()), std::tuple(2u, steps + 1));
    EXPECT_EQ(f.saved().segments.size(), 2u) << "the edit is saved";
}

// Every edit is refused while busy or recording; each selection command (the rows marked) is one
// saved step that drops the selection, even an empty one.
TEST(StudioEditing, everyEditIsRefusedWhileBusyOrRecordingAndEachSelectionCommandIsOneSavedStep)
{
    const std::vector<std::tuple<const char*, std::function<void(Studio&)>, bool>> edits = {
        {"split", [](Studio& s) { s.splitClip(); }, false},
        {"trim", [](Studio& s) { s.trimSelection(); }, true},
        {"delete", [](Studio& s) { s.deleteSelection(); }, true},
        {"delete closing the gap", [](Studio& s) { s.deleteSelectionClosingGap(); }, true},
        {"silence", [](Studio& s) { s.silenceSelection(true); }, true},
        {"move", [](Studio& s) { s.moveClip(s.project->segments[0].id, 3); }, false},
        {"auto fades", [](Studio& s) { s.autoFades(); }, false},
        {"voice trim", [](Studio& s) { s.previewVoiceTrim(s.project->segments[0], true, 1); },
         false},
        {"music trim", [](Studio& s) { s.previewMusicTrim(false, -1); }, false},
        {"remove music", [](Studio& s) { s.removeMusic(); }, false},
        {"paste", [](Studio& s) { s.pasteClips(); }, false},
        {"undo", [](Studio& s) { s.undo(); }, false},
        {"redo", [](Studio& s) { s.redo(); }, false},
    };
    for (const auto& [name, edit, onSelection] : edits) {
        for (const char* blocker : {"busy", "recording"}) {
            SCOPED_TRACE(std::string(name) + " while " + blocker);
            EditingStudio f({placedClip(0, 10, "Media/voice-A.wav")});
            f.studio.project.mutate([](PodcastProject& p) { p.musicFile = "Media/music-A.wav"; });
            f.studio.musicDuration = 20;
            f.studio.position = 4.0;
            f.studio.selection = TimeRange{2, 6};
            f.studio.copySelection();
            setVolume(f.studio, 0.5f);
            setVolume(f.studio, 0.25f);
            f.studio.undo(); // a step to undo and one to redo
            const PodcastProject before = f.studio.project();
            const auto undo = f.studio.undoStack(), redo = f.studio.redoStack();
            f.studio.selection = TimeRange{2, 6};
            (std::string(blocker) == "busy" ? f.studio.busy : f.studio.recording) = true;
            edit(f.studio);
            QThreadPool::globalInstance()->waitForDone(); // a paste's copy, had it started
            QCoreApplication::processEvents();
            EXPECT_EQ(f.studio.project(), before);
            EXPECT_EQ(f.studio.undoStack(), undo);
            EXPECT_EQ(f.studio.redoStack(), redo);
            EXPECT_FALSE(f.studio.voiceTrimPreview());
            f.studio.busy = false;
            f.studio.recording = false;
        }
        if (!onSelection)
            continue;
        SCOPED_TRACE(name);
        EditingStudio f(
            {placedClip(0, 10, "Media/voice-A.wav"), placedClip(12, 10, "Media/voice-B.wav")});
        const PodcastProject before = f.studio.project();
        edit(f.studio); // no selection: nothing
        EXPECT_TRUE(f.studio.undoStack->empty());
        for (TimeRange range : {TimeRange{5, 5}, TimeRange{8, 14}}) {
            f.studio.selection = range;
            edit(f.studio);
            EXPECT_FALSE(f.studio.selection());
        }
        EXPECT_EQ(f.studio.undoStack->size(), 2u);
        EXPECT_EQ(f.saved().resolvedSegments(), f.clips());
        f.studio.undo();
        f.studio.undo();
        EXPECT_EQ(f.studio.project->segments, before.segments);
    }
}

TEST(StudioEditing, aVoiceTrimStopsAtTheNeighbourTheFileAndTheShortestLength)
{
    EditingStudio f({placedClip(0, 4, "Media/voice-A.wav", {}, 1),
                     placedClip(5, 4, "Media/voice-A.wav", {}, 6)});
    const Segment first = f.clips()[0];
    const Segment second = f.clips()[1];
    const std::vector<Segment> stored = f.studio.project->segments;
    const auto preview = [&] { return f.studio.voiceTrimPreview().value(); };

    // Head of the second clip pulled left past the end of the first: stops at 4.
    f.studio.previewVoiceTrim(second, true, -3);
    EXPECT_EQ(std::tuple(preview().timelineStart, preview().duration), std::tuple(4, 5));
    EXPECT_EQ(f.studio.project->segments, stored); // only previewed
    EXPECT_EQ(f.studio.displayProject().resolvedSegments()[1], preview());
    // The same gesture pushed right: stops 0.02 s before the clip's end.
    f.studio.previewVoiceTrim(second, true, 10);
    EXPECT_NEAR(*preview().timelineStart, 8.98, 1e-9);
    EXPECT_NEAR(preview().duration, 0.02, 1e-9);
    f.studio.commitVoiceTrim();
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
    EXPECT_NEAR(f.clips()[1].duration, 0.02, 1e-9);
    EXPECT_FALSE(f.studio.voiceTrimPreview() || f.studio.trimOriginal);

    // Tail of a clip: up to the next clip, and up to the file's end when its length is known.
    f.studio.undo();
    f.studio.previewVoiceTrim(first, false, 5);
    EXPECT_EQ(preview().duration, 4); // file length unknown: no growth
    f.studio.commitVoiceTrim();
    f.studio.sourceDurations["Media/voice-A.wav"] = 12;
    f.studio.previewVoiceTrim(first, false, 5);
    EXPECT_EQ(preview().duration, 5); // the next clip starts at 5
    f.studio.commitVoiceTrim();
    f.studio.previewVoiceTrim(f.clips()[1], false, 100);
    EXPECT_EQ(preview().duration, 6); // 12 s of file, 6 s in
    f.studio.previewVoiceTrim(f.clips()[1], false, -100);
    EXPECT_NEAR(preview().duration, 0.02, 1e-9);

    // Ending a gesture that never previewed changes nothing.
    const auto steps = f.studio.undoStack->size();
    f.studio.voiceTrimPreview = std::nullopt;
    f.studio.commitVoiceTrim();
    EXPECT_EQ(f.studio.undoStack->size(), steps);

    // A head with nothing before it: not before the start of its file (1 s earlier here).
    EditingStudio g({placedClip(5, 4, "Media/voice-A.wav", {}, 1)});
    g.studio.previewVoiceTrim(g.clips()[0], true, -3);
    EXPECT_EQ(g.studio.voiceTrimPreview()->start, 0);
}

TEST(StudioEditing, theProgrammeEndsWithItsLastSoundAMusicTrimIsOneStepAndAutomaticFadesFit)
{
    EditingStudio f;
    f.studio.autoFades(); // no music: nothing
    EXPECT_TRUE(f.studio.undoStack->empty());

    // The programme lasts until the end of the voice, the placed music or the growing take.
    f.studio.project.mutate([](PodcastProject& p) {
        p.segments = {placedClip(0, 5, "Media/voice-A.wav")};
        p.musicFile = "Media/music-A.wav";
        p.musicOffset = 2.0;
        p.pendingVoiceFile = "Media/voice-C.caf";
        p.pendingStart = 5.0;
        p.recordingPending = true;
    });
    EXPECT_EQ(f.studio.duration(), 5); // music length still unknown, no take running
    f.studio.musicDuration = 10.0;
    EXPECT_EQ(f.studio.duration(), 12);
    f.studio.recording = true;
    f.studio.liveDuration = 9;
    EXPECT_EQ(f.studio.displayProject().segment(6)->id, f.studio.liveClipID);
    EXPECT_EQ(f.studio.duration(), 14);
    f.studio.recording = false;

    f.studio.position = 11.0;
    f.studio.playing = true;
    f.studio.musicDuration = 0.0;
    f.studio.changed();
    EXPECT_FALSE(f.studio.playing());
    EXPECT_TRUE(f.studio.pauseEngaged());
    EXPECT_EQ(f.studio.position(), 5);
    // The save that ends an edit follows the clamp, not the pause's before it.
    EXPECT_EQ(f.saved().playhead, 5.0);

    // A music trim is one step limited by the file and the timeline's origin.
    f.studio.project.mutate([](PodcastProject& p) {
        p.musicFile = "Media/music-A.wav";
        p.musicSourceStart = 8.0;
        p.musicOffset = 3.0;
        p.musicLength = 20.0;
    });
    f.studio.musicDuration = 60.0;

    f.studio.previewMusicTrim(true, -10);
    EXPECT_EQ(f.studio.project->musicOffset, 0.0);
    f.studio.previewMusicTrim(true, 30);
    EXPECT_NEAR(*f.studio.project->musicLength, 0.02, 1e-9);
    f.studio.previewMusicTrim(true, 2);
    EXPECT_EQ(f.studio.project->musicSourceStart, 10.0);
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
    // The timeline ends the gesture.
    f.studio.musicTrimBase.reset();
    f.studio.changed();

    f.studio.previewMusicTrim(false, 100);
    EXPECT_EQ(f.studio.project->musicLength, 50.0); // 60 s of file from 10 s
    f.studio.previewMusicTrim(false, -100);
    EXPECT_NEAR(*f.studio.project->musicLength, 0.02, 1e-9);
    EXPECT_EQ(f.studio.undoStack->size(), 2u);
    f.studio.musicTrimBase.reset();
    f.studio.undo();
    EXPECT_EQ(f.studio.project->musicLength, 18.0);

    // Automatic fades keep the selection and fit the fragment: they meet in the middle of one
    // cut to 6 s by a shorter file, and take 5 s in and 10 s out of the 18 s one.
    f.studio.selection = TimeRange{1, 2};
    for (auto [file, in, out, end] : {std::tuple{16.0, 3.0, 3.0, 6.0}, {60.0, 5.0, 8.0, 18.0}}) {
        f.studio.musicDuration = file;
        f.studio.autoFades();
        EXPECT_EQ(testing::fadePoints(f.studio.project()), (testing::Points{0.0, in, out, end}));
    }
    EXPECT_EQ(f.studio.selection(), (TimeRange{1, 2}));
    EXPECT_EQ(f.studio.undoStack->size(), 3u);
    EXPECT_EQ(f.saved().fadeOutStart, 8.0);
}

} // namespace
} // namespace tw
