#include "studio/Studio.hpp"

#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

using testing::placedClip;
using testing::StudioFixture;
using testing::TempFolder;

// A Studio with a project folder on disk and a document of the given clips, as after opening.
struct EditingStudio : StudioFixture {
    TempFolder temp;
    explicit EditingStudio(std::vector<Segment> clips = {})
    {
        std::filesystem::create_directories(temp / "p.podcastproject" / "Media");
        studio.folder = temp / "p.podcastproject";
        PodcastProject document;
        document.segments = std::move(clips);
        studio.project = document;
    }
    std::vector<Segment> clips() const { return studio.project->resolvedSegments(); }
};

void setVolume(Studio& studio, float volume)
{
    studio.checkpoint();
    studio.project.mutate([&](PodcastProject& p) { p.voiceVolume = volume; });
    studio.changed();
}

TEST(StudioEditing, theHistoryKeepsTheNewestHundredSteps)
{
    EditingStudio f;
    for (int edit = 1; edit <= 101; ++edit)
        setVolume(f.studio, static_cast<float>(edit + 1));
    EXPECT_EQ(f.studio.undoStack->size(), 100u);
    for (int step = 0; step < 100; ++step)
        f.studio.undo();
    // The document before the first edit was dropped: undo stops after the first edit.
    EXPECT_EQ(f.studio.project->voiceVolume, 2.0f);
    EXPECT_TRUE(f.studio.undoStack->empty());
    EXPECT_EQ(f.studio.redoStack->size(), 100u);
    f.studio.undo();
    EXPECT_EQ(f.studio.project->voiceVolume, 2.0f);
    f.studio.redo();
    EXPECT_EQ(f.studio.project->voiceVolume, 3.0f);
}

TEST(StudioEditing, undoAndRedoExchangeDocumentsAndANewEditEmptiesTheRedoHistory)
{
    EditingStudio f({placedClip(0, 10, "Media/voice-A.wav")});
    f.studio.position = 30.0;
    setVolume(f.studio, 0.5f);
    setVolume(f.studio, 0.25f);
    EXPECT_EQ(f.studio.position(), 10); // clamped into the programme by the edit

    f.studio.selection = TimeRange{1, 2};
    f.studio.undo();
    EXPECT_EQ(f.studio.project->voiceVolume, 0.5f);
    EXPECT_FALSE(f.studio.selection());
    EXPECT_EQ(f.studio.redoStack->size(), 1u);

    // Refused while a long operation or a recording runs.
    f.studio.busy = true;
    f.studio.undo();
    f.studio.redo();
    f.studio.busy = false;
    f.studio.recording = true;
    f.studio.undo();
    f.studio.recording = false;
    EXPECT_EQ(f.studio.project->voiceVolume, 0.5f);

    f.studio.redo();
    EXPECT_EQ(f.studio.project->voiceVolume, 0.25f);
    f.studio.undo();
    setVolume(f.studio, 0.75f);
    EXPECT_TRUE(f.studio.redoStack->empty());
    f.studio.redo();
    EXPECT_EQ(f.studio.project->voiceVolume, 0.75f);

    // Undo of a volume change does not reload envelopes.
    f.studio.undo();
    EXPECT_FALSE(f.studio.busy());
    f.settle();
    EXPECT_EQ(testing::readProject(*f.studio.folder()).voiceVolume, 0.5f);
}

TEST(StudioEditing, splitActsOnlyWhenThePlayHeadIsInsideAClipBeyondTheMargin)
{
    EditingStudio f(
        {placedClip(0, 10, "Media/voice-A.wav"), placedClip(12, 4, "Media/voice-B.wav")});
    f.studio.position = 0.0005;
    f.studio.splitClip();
    f.studio.position = 11.0; // in the gap
    f.studio.splitClip();
    f.studio.position = 15.9995;
    f.studio.splitClip();
    EXPECT_TRUE(f.studio.undoStack->empty());
    EXPECT_EQ(f.clips().size(), 2u);

    f.studio.position = 4.0;
    f.studio.busy = true;
    f.studio.splitClip();
    f.studio.busy = false;
    EXPECT_EQ(f.clips().size(), 2u);
    f.studio.splitClip();
    ASSERT_EQ(f.clips().size(), 3u);
    EXPECT_EQ(f.clips()[0].duration, 4);
    EXPECT_EQ(f.clips()[1].timelineStart, 4);
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
    EXPECT_EQ(f.studio.position(), 4);
}

TEST(StudioEditing, selectionCommandsRecordAStepAndDropTheSelectionEvenWhenItIsEmpty)
{
    EditingStudio f(
        {placedClip(0, 10, "Media/voice-A.wav"), placedClip(10, 10, "Media/voice-B.wav")});
    const auto before = f.clips();

    f.studio.trimSelection(); // no selection: nothing
    EXPECT_TRUE(f.studio.undoStack->empty());

    f.studio.selection = TimeRange{5, 5};
    f.studio.trimSelection();
    EXPECT_EQ(f.clips(), before);
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
    EXPECT_FALSE(f.studio.selection());

    f.studio.selection = TimeRange{5, 5};
    f.studio.deleteSelection();
    EXPECT_EQ(f.clips(), before);
    EXPECT_EQ(f.studio.undoStack->size(), 2u);
    EXPECT_FALSE(f.studio.selection());

    // An empty copy leaves the clipboard as it was.
    f.studio.selection = TimeRange{2, 4};
    f.studio.copySelection();
    ASSERT_TRUE(f.studio.audioClipboard);
    EXPECT_TRUE(f.studio.canPaste());
    EXPECT_EQ(f.studio.audioClipboard->duration, 2);
    EXPECT_EQ(f.studio.selection(), (TimeRange{2, 4})); // copying keeps the selection
    f.studio.selection = TimeRange{30, 30};
    f.studio.copySelection();
    EXPECT_EQ(f.studio.audioClipboard->duration, 2);
    EXPECT_EQ(f.studio.undoStack->size(), 2u);

    // Deleting keeps later clips where they were; trimming moves the selection to 0.
    f.studio.selection = TimeRange{2, 4};
    f.studio.deleteSelection();
    ASSERT_FALSE(f.clips().empty());
    EXPECT_EQ(f.clips().back().timelineStart, 10);
    EXPECT_EQ(f.studio.project->voiceDuration(), 20);
    f.studio.selection = TimeRange{12, 15};
    f.studio.trimSelection();
    EXPECT_EQ(f.studio.project->voiceDuration(), 3);
    EXPECT_EQ(f.clips().front().timelineStart, 0);

    f.studio.selection = TimeRange{0, 1};
    f.studio.silenceSelection(true);
    ASSERT_TRUE(f.studio.project->segment(0.5));
    EXPECT_EQ(f.studio.project->segment(0.5)->gain, 0.0f);
    EXPECT_EQ(f.studio.undoStack->size(), 5u);
}

TEST(StudioEditing, deletingAndClosingTheGapIsOneStepThatLeavesTheMusicAlone)
{
    EditingStudio f(
        {placedClip(0, 10, "Media/voice-A.wav"), placedClip(12, 10, "Media/voice-B.wav")});
    f.studio.project.mutate([](PodcastProject& p) { p.musicOffset = 15; });
    const PodcastProject before = f.studio.project();
    f.studio.selection = TimeRange{8, 14};
    f.studio.busy = true; // refused like every edit
    f.studio.deleteSelectionClosingGap();
    f.studio.busy = false;
    EXPECT_EQ(f.studio.project(), before);
    f.studio.deleteSelectionClosingGap();
    EXPECT_EQ(f.clips().back().timelineStart, 8);
    EXPECT_EQ(f.studio.project->voiceDuration(), 16);
    EXPECT_EQ(f.studio.project->musicOffset, 15);
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
    f.studio.undo();
    EXPECT_EQ(f.studio.project->segments, before.segments);
}

TEST(StudioEditing, movingAnUnknownClipStillRecordsAStep)
{
    EditingStudio f({placedClip(0, 10, "Media/voice-A.wav")});
    const Uuid id = f.clips()[0].id;
    f.studio.moveClip(Uuid::random(), 3);
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
    EXPECT_EQ(f.clips()[0].timelineStart, 0);
    f.studio.moveClip(id, 3);
    EXPECT_EQ(f.studio.undoStack->size(), 2u);
    EXPECT_EQ(f.clips()[0].timelineStart, 3);
}

TEST(StudioEditing, aVoiceTrimStopsAtTheNeighbourTheFileAndTheShortestLength)
{
    EditingStudio f({placedClip(0, 4, "Media/voice-A.wav", {}, 1),
                     placedClip(5, 4, "Media/voice-A.wav", {}, 6)});
    const Segment first = f.clips()[0];
    const Segment second = f.clips()[1];
    const std::vector<Segment> stored = f.studio.project->segments;

    // Head of the second clip pulled left past the end of the first: stops at 4.
    f.studio.previewVoiceTrim(second, true, -3);
    ASSERT_TRUE(f.studio.voiceTrimPreview());
    EXPECT_EQ(f.studio.voiceTrimPreview()->timelineStart, 4);
    EXPECT_EQ(f.studio.voiceTrimPreview()->start, 5);
    EXPECT_EQ(f.studio.voiceTrimPreview()->duration, 5);
    EXPECT_EQ(f.studio.project->segments, stored); // only previewed
    EXPECT_EQ(f.studio.displayProject().resolvedSegments()[1], *f.studio.voiceTrimPreview());
    // The same gesture pushed right: stops 0.02 s before the clip's end.
    f.studio.previewVoiceTrim(second, true, 10);
    EXPECT_NEAR(*f.studio.voiceTrimPreview()->timelineStart, 8.98, 1e-9);
    EXPECT_NEAR(f.studio.voiceTrimPreview()->duration, 0.02, 1e-9);
    f.studio.commitVoiceTrim();
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
    EXPECT_NEAR(f.clips()[1].duration, 0.02, 1e-9);
    EXPECT_FALSE(f.studio.voiceTrimPreview());
    EXPECT_FALSE(f.studio.trimOriginal);

    // Tail of a clip: up to the next clip, and up to the file's end when its length is known.
    f.studio.undo();
    f.studio.previewVoiceTrim(first, false, 5);
    EXPECT_EQ(f.studio.voiceTrimPreview()->duration, 4); // file length unknown: no growth
    f.studio.commitVoiceTrim();
    f.studio.sourceDurations["Media/voice-A.wav"] = 12;
    f.studio.previewVoiceTrim(first, false, 5);
    EXPECT_EQ(f.studio.voiceTrimPreview()->duration, 5); // the next clip starts at 5
    f.studio.commitVoiceTrim();
    f.studio.previewVoiceTrim(f.clips()[1], false, 100);
    EXPECT_EQ(f.studio.voiceTrimPreview()->duration, 6); // 12 s of file, 6 s in
    f.studio.previewVoiceTrim(f.clips()[1], false, -100);
    EXPECT_NEAR(f.studio.voiceTrimPreview()->duration, 0.02, 1e-9);

    // Ending a gesture that never previewed changes nothing.
    const auto steps = f.studio.undoStack->size();
    f.studio.voiceTrimPreview = std::nullopt;
    f.studio.commitVoiceTrim();
    EXPECT_EQ(f.studio.undoStack->size(), steps);

    // A head with nothing before it: not before the start of its file (1 s earlier here).
    EditingStudio g({placedClip(5, 4, "Media/voice-A.wav", {}, 1)});
    g.studio.previewVoiceTrim(g.clips()[0], true, -3);
    EXPECT_EQ(g.studio.voiceTrimPreview()->start, 0);
    EXPECT_EQ(g.studio.voiceTrimPreview()->timelineStart, 4);
    EXPECT_EQ(g.studio.voiceTrimPreview()->duration, 5);
    // Refused while busy.
    g.studio.commitVoiceTrim();
    g.studio.busy = true;
    g.studio.previewVoiceTrim(g.clips()[0], true, -1);
    EXPECT_FALSE(g.studio.voiceTrimPreview());
    g.studio.busy = false;
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
    EXPECT_EQ(f.studio.project->musicSourceStart, 5.0);
    EXPECT_EQ(f.studio.project->musicOffset, 0.0);
    EXPECT_EQ(f.studio.project->musicLength, 23.0);
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
    f.studio.musicDuration = 6.0;
    f.studio.selection = TimeRange{1, 2};
    f.studio.autoFades();
    EXPECT_EQ(f.studio.project->fadeInStart, 0.0);
    EXPECT_EQ(f.studio.project->fadeInEnd, 3.0);
    EXPECT_EQ(f.studio.project->fadeOutStart, 3.0);
    EXPECT_EQ(f.studio.project->fadeOutEnd, 6.0);
    EXPECT_EQ(f.studio.selection(), (TimeRange{1, 2}));
    EXPECT_EQ(f.studio.undoStack->size(), 1u);

    f.studio.musicDuration = 60.0;
    f.studio.autoFades();
    EXPECT_EQ(f.studio.project->fadeInEnd, 5.0);
    EXPECT_EQ(f.studio.project->fadeOutStart, 50.0);
    EXPECT_EQ(f.studio.project->fadeOutEnd, 60.0);
    f.settle();
    EXPECT_EQ(testing::readProject(*f.studio.folder()).fadeOutStart, 50.0);
}

TEST(StudioEditing, whileRecordingTheDisplayedProjectShowsTheGrowingTake)
{
    EditingStudio f({placedClip(0, 5, "Media/voice-A.wav"), placedClip(8, 4, "Media/voice-B.wav")});
    f.studio.project.mutate([](PodcastProject& p) {
        p.pendingVoiceFile = "Media/voice-C.caf";
        p.pendingStart = 5.0;
        p.recordingPending = true;
    });
    EXPECT_EQ(f.studio.displayProject(), f.studio.project()); // not recording yet

    f.studio.recording = true;
    f.studio.liveDuration = 2;
    const PodcastProject shown = f.studio.displayProject();
    const auto take = std::find_if(shown.segments.begin(), shown.segments.end(),
                                   [&](const Segment& s) { return s.id == f.studio.liveClipID; });
    ASSERT_NE(take, shown.segments.end());
    EXPECT_EQ(shown.segment(6)->id, f.studio.liveClipID);
    EXPECT_EQ(shown.segment(6)->duration, 2);
    EXPECT_EQ(shown.segment(6)->file, "Media/voice-C.caf");
    EXPECT_EQ(shown.segment(9)->file, "Media/voice-B.wav"); // the gap absorbs the take
    EXPECT_EQ(f.studio.duration(), 12);
    f.studio.liveDuration = 5;
    EXPECT_EQ(f.studio.duration(), 14);
    f.studio.recording = false;
}

TEST(StudioEditing, theProgrammeLastsUntilTheEndOfTheVoiceOrThePlacedMusic)
{
    EditingStudio f({placedClip(0, 5, "Media/voice-A.wav")});
    EXPECT_EQ(f.studio.duration(), 5);
    f.studio.project.mutate([](PodcastProject& p) {
        p.musicFile = "Media/music-A.wav";
        p.musicOffset = 2.0;
    });
    EXPECT_EQ(f.studio.duration(), 5); // music length still unknown
    f.studio.musicDuration = 10.0;
    EXPECT_EQ(f.studio.duration(), 12);

    f.studio.position = 11.0;
    f.studio.playing = true;
    f.studio.musicDuration = 0.0;
    f.studio.changed();
    EXPECT_FALSE(f.studio.playing());
    EXPECT_TRUE(f.studio.pauseEngaged());
    EXPECT_EQ(f.studio.position(), 5);
}

} // namespace
} // namespace tw
