// Takes recorded through the Studio from the rig's virtual microphone: the real sound-server
// input, the real device catalog and the real recorder. The countdown runs in virtual time; the
// capture runs in real time, so the clock is ticked in step with the wall clock while it runs.
#include "studio/Studio.hpp"

#include "audio/PulseRig.hpp"
#include "support/ProjectAudio.hpp"
#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace tw {
namespace {

using namespace std::chrono_literals;
using testing::TempFolder;

// The studio clock ticked in step with the wall clock (one 0.1 s tick per 0.1 s) while the
// capture runs in real time.
struct DeviceStudio : testing::SoundServerStudio {
    // Runs the event loop and the clock until condition holds; false after half a minute.
    template <class Condition> bool tickUntil(Condition condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + 30s;
        auto nextTick = std::chrono::steady_clock::now();
        for (;;) {
            QCoreApplication::processEvents();
            if (condition())
                return true;
            const auto now = std::chrono::steady_clock::now();
            if (now > deadline)
                return false;
            // After a stall the ticks resume without catching up: bunched ticks would run the
            // virtual clock ahead of the audio.
            if (now >= nextTick) {
                scheduler.advance(0.1);
                nextTick = now + 100ms;
            }
            std::this_thread::sleep_for(2ms);
        }
    }
    bool waitIdle()
    {
        return tickUntil([this] { return !studio.busy(); });
    }
    std::filesystem::path startProject(const TempFolder& temp)
    {
        const auto folder = temp / "Programa.podcastproject";
        host.newProjectAnswers.push_back(folder);
        EXPECT_TRUE(studio.newProject());
        return folder;
    }
};

class StudioRecordingDevice : public rig::PulseRigTest {};

TEST_F(StudioRecordingDevice, aToneIntoTheVirtualMicrophoneBecomesAContinuousTakeWithSteadyMeters)
{
    rig::ScratchFolder scratch;
    const std::string tone = scratch.file("tone.wav");
    ASSERT_TRUE(rig::makeTone(tone, 1000, 8.0));
    const rig::SourceSpec sampleSpec = rig::sourceSpec(rig::micName);
    ASSERT_GT(sampleSpec.rate, 0);
    ASSERT_GT(sampleSpec.channels, 0);

    TempFolder temp;
    DeviceStudio d;
    const auto folder = d.startProject(temp);
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
    ASSERT_TRUE(d.tickUntil([&] { return d.studio.liveDuration >= 5.5 || !d.studio.recording(); }));
    d.studio.stopRecording();
    ASSERT_TRUE(d.waitIdle());

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

} // namespace
} // namespace tw
