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
    f.settle();
    EXPECT_EQ(testing::readProject(f.folder).voiceVolume, 3.0f);
}

TEST(StudioEditing, everyEditIsRefusedWhileBusyOrRecording)
{
    const std::vector<std::pair<const char*, std::function<void(Studio&)>>> edits = {
        {"split", [](Studio& s) { s.splitClip(); }},
        {"trim", [](Studio& s) { s.trimSelection(); }},
        {"delete", [](Studio& s) { s.deleteSelection(); }},
        {"delete closing the gap", [](Studio& s) { s.deleteSelectionClosingGap(); }},
        {"silence", [](Studio& s) { s.silenceSelection(true); }},
        {"move", [](Studio& s) { s.moveClip(s.project->segments[0].id, 3); }},
        {"auto fades", [](Studio& s) { s.autoFades(); }},
        {"voice trim", [](Studio& s) { s.previewVoiceTrim(s.project->segments[0], true, 1); }},
        {"music trim", [](Studio& s) { s.previewMusicTrim(false, -1); }},
        {"remove music", [](Studio& s) { s.removeMusic(); }},
        {"paste", [](Studio& s) { s.pasteClips(); }},
        {"undo", [](Studio& s) { s.undo(); }},
        {"redo", [](Studio& s) { s.redo(); }},
    };
    for (const char* blocker : {"busy", "recording"}) {
        for (const auto& [name, edit] : edits) {
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
    }
}

TEST(StudioEditing, splitActsOnlyWhenThePlayHeadIsInsideAClipBeyondTheMargin)
{
    EditingStudio f(
        {placedClip(0, 10, "Media/voice-A.wav"), placedClip(12, 4, "Media/voice-B.wav")});
    for (double at : {0.0005, 11.0 /* the gap */, 15.9995}) {
        f.studio.position = at;
        f.studio.splitClip();
    }
    EXPECT_TRUE(f.studio.undoStack->empty());
    EXPECT_EQ(f.clips().size(), 2u);

    f.studio.position = 4.0;
    f.studio.splitClip();
    EXPECT_EQ(f.clips().size(), 3u);
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
    f.settle();
    EXPECT_EQ(testing::readProject(f.folder).segments.size(), 3u) << "the edit is saved";
}

TEST(StudioEditing, eachSelectionCommandIsOneSavedStepThatDropsTheSelectionEvenWhenItIsEmpty)
{
    const std::vector<std::pair<const char*, void (*)(Studio&)>> commands = {
        {"trim", [](Studio& s) { s.trimSelection(); }},
        {"delete", [](Studio& s) { s.deleteSelection(); }},
        {"delete closing the gap", [](Studio& s) { s.deleteSelectionClosingGap(); }},
        {"silence", [](Studio& s) { s.silenceSelection(true); }},
    };
    for (const auto& [name, command] : commands) {
        SCOPED_TRACE(name);
        EditingStudio f(
            {placedClip(0, 10, "Media/voice-A.wav"), placedClip(12, 10, "Media/voice-B.wav")});
        const PodcastProject before = f.studio.project();
        command(f.studio); // no selection: nothing
        EXPECT_TRUE(f.studio.undoStack->empty());
        f.studio.selection = TimeRange{5, 5};
        command(f.studio);
        EXPECT_FALSE(f.studio.selection());
        f.studio.selection = TimeRange{8, 14};
        command(f.studio);
        EXPECT_FALSE(f.studio.selection());
        EXPECT_EQ(f.studio.undoStack->size(), 2u);
        f.settle();
        EXPECT_EQ(testing::readProject(f.folder).resolvedSegments(), f.clips());
        f.studio.undo();
        f.studio.undo();
        EXPECT_EQ(f.studio.project->segments, before.segments);
    }
}

TEST(StudioEditing, copyingKeepsTheSelectionAndAnEmptyCopyLeavesTheClipboardAsItWas)
{
    EditingStudio f({placedClip(0, 10, "Media/voice-A.wav")});
    f.studio.selection = TimeRange{2, 4};
    f.studio.copySelection();
    ASSERT_TRUE(f.studio.audioClipboard);
    EXPECT_TRUE(f.studio.canPaste());
    EXPECT_EQ(f.studio.selection(), (TimeRange{2, 4}));
    f.studio.selection = TimeRange{30, 30};
    f.studio.copySelection();
    EXPECT_EQ(f.studio.audioClipboard->duration, 2);
    EXPECT_TRUE(f.studio.undoStack->empty());
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

TEST(StudioEditing, aMusicTrimIsOneStepLimitedByTheFileAndTheTimelineOrigin)
{
    EditingStudio f;
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
}

TEST(StudioEditing, automaticFadesFitTheFragmentAndKeepTheSelection)
{
    EditingStudio f;
    f.studio.autoFades(); // no music: nothing
    EXPECT_TRUE(f.studio.undoStack->empty());

    f.studio.project.mutate([](PodcastProject& p) { p.musicFile = "Media/music-A.wav"; });
    f.studio.selection = TimeRange{1, 2};
    // Short music: the fades meet in the middle; long music: 5 s in, 10 s out.
    for (auto [length, in, out] : {std::tuple{6.0, 3.0, 3.0}, std::tuple{60.0, 5.0, 50.0}}) {
        f.studio.musicDuration = length;
        f.studio.autoFades();
        EXPECT_EQ(testing::fadePoints(f.studio.project()), (testing::Points{0.0, in, out, length}));
    }
    EXPECT_EQ(f.studio.selection(), (TimeRange{1, 2}));
    EXPECT_EQ(f.studio.undoStack->size(), 2u);
    f.settle();
    EXPECT_EQ(testing::readProject(f.folder).fadeOutStart, 50.0);
}

TEST(StudioEditing, theProgrammeLastsUntilTheEndOfTheVoiceThePlacedMusicOrTheGrowingTake)
{
    EditingStudio f({placedClip(0, 5, "Media/voice-A.wav")});
    f.studio.project.mutate([](PodcastProject& p) {
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
    f.settle(); // the save that ends an edit follows the clamp, not the pause's before it
    EXPECT_EQ(testing::readProject(f.folder).playhead, 5.0);
}

} // namespace
} // namespace tw
