#include "studio/Studio.hpp"

#include "support/StudioFixture.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tw {
namespace {

using ::testing::HasSubstr;
using testing::makeTone;
using testing::placedClip;
using testing::StudioFixture;

// A project of a 2 s clip whose 3.5 s take at 1 s is pending, opened.
PodcastProject withPendingTake(StudioFixture& f, const std::string& take = "Media/voice-B.wav")
{
    makeTone(f.folder / "Media" / "voice-A.wav", 2);
    PodcastProject document;
    document.segments = {placedClip(0, 2, "Media/voice-A.wav")};
    document.recordingPending = true;
    document.pendingVoiceFile = take;
    document.pendingStart = 1.0;
    document.playhead = 0.5;
    return document;
}

// A pending take is read on its own: an unreadable music file does not keep it out, an empty file
// is an empty take, and one that cannot be read waits, told, and is never replaced by a new take.
TEST(StudioPeaks, aPendingTakeSurvivesUntilItCanBeInsertedAndReloadingRecoversOnlyWhenAsked)
{
    const struct {
        const char* name;
        const char* take; // the file's content; null: no file, or a tone with the music gone
        bool musicGone;
        const char* told;
        std::size_t clips; // 0: still pending
    } cases[] = {
        {"music gone", nullptr, true, "Se recuperaron 3 segundos", 3},
        {"empty take", "", false, "Se recuperaron 0 segundos", 1},
        {"damaged take", "not audio", false, "\nLa grabación interrumpida Media/voice-B.wav", 0},
        {"no take file", nullptr, false, "No se pudo leer el audio: ", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        StudioFixture f;
        PodcastProject document = withPendingTake(f);
        document.musicFile = c.musicGone ? "Media/gone.wav" : std::optional<std::string>();
        testing::writeProject(f.folder, document);
        if (c.take)
            testing::writeFile(f.folder / "Media" / "voice-B.wav", c.take);
        else if (c.musicGone)
            makeTone(f.folder / "Media" / "voice-B.wav", 3.5);

        ASSERT_TRUE(f.openAndWait(f.folder));
        EXPECT_THAT(f.studio.message().value_or(""), HasSubstr(c.told));
        EXPECT_EQ(f.saved().recordingPending, c.clips == 0);
        EXPECT_EQ(f.studio.voiceWaveforms->count("Media/voice-A.wav"), 1u); // playable, exportable
        EXPECT_EQ(f.studio.project->resolvedSegments().size(), std::max(c.clips, 1ul));
        if (c.clips > 0)
            continue;
        // Recording over a take whose file is there tries to recover it instead; a take without
        // any file holds nothing that a new take could lose.
        f.startTake();
        ASSERT_TRUE(f.waitIdle());
        EXPECT_EQ(f.studio.recording(), !c.take);
        if (c.take) {
            EXPECT_EQ(f.studio.project->pendingVoiceFile, document.pendingVoiceFile);
            f.studio.checkpoint(); // an edit while the take waits: its history holds the mark
            f.studio.changed();
            makeTone(f.folder / "Media" / "voice-B.wav", 1.5); // readable at last
            f.studio.record();
            ASSERT_TRUE(f.waitIdle());
            EXPECT_EQ(f.studio.project->resolvedSegments().size(), 3u);
            f.studio.undo(); // back before the take, which never comes back as pending
            EXPECT_FALSE(f.studio.project->recordingPending);
        }
        f.studio.stop();
        ASSERT_TRUE(f.waitIdle());
    }

    // A single-file take replaces all segments; reloading clamps the play head, recovering
    // nothing unless asked.
    StudioFixture f;
    f.studio.loadPeaks(true, true); // no folder: nothing
    EXPECT_FALSE(f.studio.busy());

    // Reloading clamps the play head and does not recover unless asked.
    makeTone(f.folder / "Media" / "voice-A.wav", 5);
    makeTone(f.folder / "Media" / "music.wav", 2);
    PodcastProject document;
    document.segments = {placedClip(0, 5, "Media/voice-A.wav")};
    document.musicFile = "Media/music.wav";
    document.musicOffset = 1.0;
    document.playhead = 100.0;
    ASSERT_TRUE(f.open(document));
    EXPECT_EQ(f.studio.position(), 5);

    f.studio.position = -3.0;
    f.studio.project.mutate([](PodcastProject& p) {
        p.recordingPending = true;
        p.pendingVoiceFile = "Media/voice-A.wav";
    });
    f.studio.loadPeaks(false, true);
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(f.studio.position(), 0);
    EXPECT_TRUE(f.studio.project->recordingPending);
    EXPECT_FALSE(f.studio.message());

    // A take of the single-file layout replaces all segments.
    makeTone(f.folder / "Media" / "voice.wav", 3.5);
    PodcastProject single;
    single.voiceFile = "Media/voice.wav";
    single.recordingPending = true;
    Segment stale;
    stale.duration = 1;
    single.segments = {stale};
    f.open(single); // it opens with a message
    EXPECT_EQ(f.studio.message(), "Se recuperaron 3 segundos de la grabación interrumpida.");
    ASSERT_EQ(f.studio.project->segments.size(), 1u);
    const Segment& whole = f.studio.project->segments[0];
    EXPECT_NE(whole.id, stale.id);
    EXPECT_NEAR(whole.duration, 3.5, 1e-6);
    EXPECT_EQ(whole.file, "Media/voice.wav");
    EXPECT_FALSE(f.studio.project->recordingPending);
}

} // namespace
} // namespace tw
