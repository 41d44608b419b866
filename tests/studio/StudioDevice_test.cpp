// The Studio on the rig's sound server: the real inputs, outputs and device catalog. A take from
// the virtual microphone becomes a continuous take with steady meters; what the sink's monitor
// hears is the project's mix, without a sample repeated or skipped, with clips in their places.
// The countdown runs in virtual time; the clock runs in step with the wall clock while sound
// flows, and the tests wait for audio.
#include "studio/Studio.hpp"

#include "audio/Player.hpp"
#include "audio/PulseRig.hpp"
#include "support/ProjectAudio.hpp"
#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tw {
namespace {

using namespace std::chrono_literals;
using testing::placedClip;
using testing::SoundServerStudio;

class StudioDevice : public rig::PulseRigTest {};

// Runs the event loop until condition holds, with the clock ticked in step with the wall clock
// (one 0.1 s tick per 0.1 s) while the capture runs in real time; false after half a minute.
// After a stall the ticks resume without catching up: bunched ticks would run the virtual clock
// ahead of the audio.
template <class Condition> bool tickUntil(SoundServerStudio& d, Condition condition)
{
    auto nextTick = std::chrono::steady_clock::now();
    return testing::runEventsUntil(
        [&] {
            if (const auto now = std::chrono::steady_clock::now(); now >= nextTick) {
                d.scheduler.advance(0.1);
                nextTick = now + 100ms;
            }
            return condition();
        },
        30);
}

TEST_F(StudioDevice, aToneIntoTheVirtualMicrophoneBecomesAContinuousTakeWithSteadyMeters)
{
    rig::ScratchFolder scratch;
    const std::string tone = scratch.file("tone.wav");
    ASSERT_TRUE(rig::makeTone(tone, 1000, 8.0));
    const rig::SourceSpec sampleSpec = rig::sourceSpec(rig::micName);
    ASSERT_GT(sampleSpec.rate, 0);
    ASSERT_GT(sampleSpec.channels, 0);

    SoundServerStudio d;
    const auto folder = d.newProject();
    ASSERT_EQ(d.studio.selectedDevice(), 0u);

    // The tone sounds in the microphone before the take begins and until after it ends.
    rig::BackgroundSound sound(tone);
    ASSERT_TRUE(sound.playing());
    d.studio.record();
    d.scheduler.advance(2.0);
    ASSERT_EQ(d.studio.countdown(), 1);
    d.scheduler.advance(1.0);
    ASSERT_TRUE(d.studio.recording()) << d.studio.message().value_or("");

    // What each tick shows while the tone sounds: the input meter and the record level.
    std::vector<std::pair<float, float>> shown;
    QObject::connect(&d.studio, &Studio::fieldChanged, [&](StudioField field) {
        if (field == StudioField::meter && d.studio.recording() && d.studio.meter() > 0.3f)
            shown.push_back({d.studio.meter(), d.studio.vuLevels()[0]});
    });
    ASSERT_TRUE(
        tickUntil(d, [&] { return d.studio.liveDuration >= 5.5 || !d.studio.recording(); }));
    d.studio.stopRecording();
    ASSERT_TRUE(tickUntil(d, [&] { return !d.studio.busy(); }));

    ASSERT_FALSE(d.studio.message()) << *d.studio.message();
    const auto segments = d.studio.project->resolvedSegments();
    ASSERT_EQ(segments.size(), 1u);
    ASSERT_TRUE(segments[0].file);
    EXPECT_NEAR(segments[0].duration, 5.5, 0.5);
    const std::vector<float> samples = testfiles::readAll(folder / *segments[0].file);
    const auto heard = rig::loudPart(rig::channel(samples, sampleSpec.channels, 0));
    ASSERT_GT(heard.size(), static_cast<std::size_t>(sampleSpec.rate)); // over a second of tone

    // The 1 kHz tone, not a sample dropped or repeated: a sine obeys x[n] = 2cos(w) x[n-1] -
    // x[n-2].
    const double twiceCos = 2 * std::cos(2 * M_PI * 1000 / sampleSpec.rate);
    double worst = 0;
    for (std::size_t n = 1000; n + 1000 < heard.size(); ++n)
        worst = std::max(worst, std::abs(heard[n] - twiceCos * heard[n - 1] + heard[n - 2]));
    EXPECT_LT(worst, 0.01);

    // While the tone sounds, the meter and the level hold within 0.5 dB from tick to tick (two
    // ticks at each end may hold the tone's start or end).
    ASSERT_GT(shown.size(), 30u);
    const auto decibels = [](float from, float to) { return std::abs(20 * std::log10(to / from)); };
    for (std::size_t i = 3; i + 2 < shown.size(); ++i) {
        EXPECT_LE(decibels(shown[i - 1].first, shown[i].first), 0.5) << i;
        EXPECT_LE(decibels(shown[i - 1].second, shown[i].second), 0.5) << i;
    }
}

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
    std::vector<float> take;
    SoundServerStudio s;

    CountableShow(int frames, int flip, std::vector<Segment> clips = {})
        : take(static_cast<std::size_t>(frames))
    {
        for (int f = 0; f < frames; ++f)
            take[static_cast<std::size_t>(f)] = static_cast<float>(
                (f < flip ? 0.3 : -0.3) + 0.1 * std::sin(2 * std::numbers::pi * 440 * f / 48000.0));
        testfiles::writeCaf(s.folder / "Media" / "voice-1.caf", take, 48000, 1);
        PodcastProject document;
        document.segments = clips;
        if (clips.empty())
            document.segments = {placedClip(0, frames / 48000.0, "Media/voice-1.caf")};
        testing::writeProject(s.folder, document);
        EXPECT_TRUE(s.openAndWait(s.folder));
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

TEST_F(StudioDevice, pausesNeitherRepeatNorSkipASampleAndASeekCutsTheOldSoundAtOnce)
{
    CountableShow show(4 * 48000, 2 * 48000);
    SoundServerStudio& s = show.s;
    const std::vector<float>& take = show.take;
    double seekedAt = 0;
    const std::vector<float> heard = listen(show.s.temp / "heard.raw", [&] {
        for (double pausedAt : {0.7, 1.35}) {
            ASSERT_TRUE(s.startPlayback());
            ASSERT_TRUE(s.runUntil([&] { return s.studio.position() >= pausedAt; }));
            s.studio.pause();
            const double until = s.scheduler.now() + 0.4;
            s.runUntil([&] { return s.scheduler.now() >= until; });
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

TEST_F(StudioDevice, clipsAreHeardInTheirPlacesAndPlaybackStopsAtTheEnd)
{
    // Two clips 1.5 s apart; their levels are the mix's business.
    CountableShow show(48000, 48000,
                       {placedClip(0.5, 0.5, "Media/voice-1.caf"),
                        placedClip(2.0, 0.5, "Media/voice-1.caf", 0.5f)});
    SoundServerStudio& s = show.s;
    bool started = false;
    bool stopped = false;
    const std::vector<float> heard = listen(show.s.temp / "heard.raw", [&] {
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
