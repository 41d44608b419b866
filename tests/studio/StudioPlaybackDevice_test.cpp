// Playback through the Studio on the rig's sound server: what the sink's monitor hears is the
// project's mix, without a sample repeated or skipped, with clips in their places. The clock runs
// in step with the wall clock; the test waits for audio.
#include "studio/Studio.hpp"

#include "audio/Player.hpp"
#include "audio/PulseRig.hpp"
#include "support/ProjectAudio.hpp"
#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace tw {
namespace {

using testing::placedClip;
using testing::TempFolder;

using PlaybackStudio = testing::SoundServerStudio;

class StudioPlaybackDevice : public rig::PulseRigTest {};

// The sink's monitor (left channel), heard from before body plays something until it was heard
// to its end.
template <class Body> std::vector<float> listen(const std::string& file, Body body)
{
    rig::MonitorRecording monitor(file);
    EXPECT_TRUE(monitor.listening());
    body();
    return rig::channel(monitor.finish(0.005f), 2, 0);
}

// The first index from `from` on whose sample exceeds threshold; npos when none.
std::size_t onset(const std::vector<float>& samples, std::size_t from, float threshold)
{
    for (std::size_t i = from; i < samples.size(); ++i)
        if (std::fabs(samples[i]) > threshold)
            return i;
    return std::string::npos;
}

// A project of one take of a tone that never comes near zero (0.3 ± 0.1, then from `flip` on
// its negative), opened in a playing studio: every sample heard is told apart from silence and
// from the other half, and a sample heard twice or never shows in a count. Its clips are the
// whole take unless given.
struct CountableShow {
    TempFolder temp;
    std::vector<float> take;
    PlaybackStudio s;

    CountableShow(int frames, int flip, std::vector<Segment> clips = {})
        : take(static_cast<std::size_t>(frames))
    {
        for (int f = 0; f < frames; ++f)
            take[static_cast<std::size_t>(f)] = static_cast<float>(
                (f < flip ? 0.3 : -0.3) + 0.1 * std::sin(2 * std::numbers::pi * 440 * f / 48000.0));
        const auto folder = temp / "Show.podcastproject";
        testfiles::writeCaf(folder / "Media" / "voice-1.caf", take, 48000, 1);
        PodcastProject document;
        document.segments = clips;
        if (clips.empty())
            document.segments = {placedClip(0, frames / 48000.0, "Media/voice-1.caf")};
        testing::writeProject(folder, document);
        s.studio.openProject(folder);
        EXPECT_TRUE(s.runUntil([&] { return !s.studio.busy(); }));
    }
    // Runs the studio in step with the wall clock for `seconds`.
    void wait(double seconds)
    {
        const double until = s.scheduler.now() + seconds;
        s.runUntil([&] { return s.scheduler.now() >= until; });
    }
};

// Where each run of same-signed sound of the heard take starts and how long it is.
struct SoundRun {
    std::size_t at, length;
    bool positive;
};
std::vector<SoundRun> soundRuns(const std::vector<float>& heard)
{
    std::vector<SoundRun> runs;
    for (std::size_t i = 0; i < heard.size(); ++i) {
        const bool loud = std::fabs(heard[i]) > 0.1f, positive = heard[i] > 0;
        if (loud && (runs.empty() || runs.back().at + runs.back().length != i ||
                     runs.back().positive != positive))
            runs.push_back({i, 0, positive});
        if (loud)
            ++runs.back().length;
    }
    return runs;
}

TEST_F(StudioPlaybackDevice, pausesNeitherRepeatNorSkipASampleAndASeekCutsTheOldSoundAtOnce)
{
    CountableShow show(4 * 48000, 2 * 48000);
    PlaybackStudio& s = show.s;
    const std::vector<float>& take = show.take;
    double seekedAt = 0;
    const std::vector<float> heard = listen(show.temp.path() / "heard.raw", [&] {
        for (double pausedAt : {0.7, 1.35}) {
            ASSERT_TRUE(s.startPlayback());
            ASSERT_TRUE(s.runUntil([&] { return s.studio.position() >= pausedAt; }));
            s.studio.pause();
            show.wait(0.4);
        }
        ASSERT_TRUE(s.startPlayback());
        ASSERT_TRUE(s.runUntil([&] { return s.studio.position() >= 1.6; }));
        seekedAt = s.studio.player->currentTime().seconds();
        s.studio.seek(3.0);
        ASSERT_TRUE(s.runUntil([&] { return s.studio.position() >= 3.6; }));
        s.studio.pause();
    });
    const std::vector<SoundRun> runs = soundRuns(heard);
    ASSERT_EQ(runs.size(), 4u)
        << "three stretches between two pauses, then the sound after the seek";
    ASSERT_TRUE(runs[2].positive && !runs[3].positive);
    std::size_t frame = 0;
    for (std::size_t r = 0; r < 3; ++r)
        for (std::size_t i = 0; i < runs[r].length; ++i, ++frame)
            ASSERT_NEAR(heard[runs[r].at + i], take[frame], 1e-3) << "take frame " << frame;
    // The old sound goes on past the seek only as long as the sound server needs to drop what it
    // holds, beyond what the sink had already mixed; the new starts on its exact sample.
    EXPECT_LT(static_cast<double>(frame) / 48000 - seekedAt, 0.010 + rig::sinkRendersAhead)
        << "heard to " << frame << ", seek at " << seekedAt << " s";
    for (std::size_t i = 0; i < runs[3].length; ++i)
        ASSERT_NEAR(heard[runs[3].at + i], take[3 * 48000 + i], 1e-3) << "new sound, frame " << i;
}

TEST_F(StudioPlaybackDevice, clipsAreHeardInTheirPlacesAndPlaybackStopsAtTheEnd)
{
    // Two clips 1.5 s apart; their levels are the mix's business.
    CountableShow show(48000, 48000,
                       {placedClip(0.5, 0.5, "Media/voice-1.caf"),
                        placedClip(2.0, 0.5, "Media/voice-1.caf", 0.5f)});
    PlaybackStudio& s = show.s;
    bool started = false;
    bool stopped = false;
    const std::vector<float> heard = listen(show.temp.path() / "heard.raw", [&] {
        started = s.startPlayback();
        stopped = s.runUntil([&] { return !s.studio.playing(); });
    });
    ASSERT_TRUE(started) << s.studio.message().value_or("");
    EXPECT_TRUE(stopped) << "playback stops by itself at the end";
    EXPECT_EQ(s.studio.player->underruns(), 0);

    const std::size_t first = onset(heard, 0, 0.01f);
    ASSERT_NE(first, std::string::npos) << "nothing heard";
    const std::size_t second = onset(heard, first + 48000, 0.01f);
    ASSERT_NE(second, std::string::npos);
    EXPECT_NEAR((double(second) - double(first)) / 48000.0, 1.5, 0.005);
}

} // namespace
} // namespace tw
