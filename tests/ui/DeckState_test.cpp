#include "ui/DeckState.hpp"

#include "model/PodcastProject.hpp"
#include "support/TempProject.hpp"

#include <gtest/gtest.h>

namespace tw {

TEST(DeckState, theStatusWordAndLampGoByPrecedence)
{
    // Countdown, shuttle, recording (paused), playing, latched pause, stop.
    const struct {
        DeckTransport transport;
        const char* status;
        DeckLamp lamp;
    } cases[] = {
        {{3, -1, true, false, true, true}, "3", DeckLamp::yellow},
        {{3, 1, true, true, true, true}, "3", DeckLamp::yellow},
        {{std::nullopt, -1, true, false, true, false}, "REW", DeckLamp::grey},
        {{std::nullopt, 2, false, false, true, true}, "FF", DeckLamp::grey},
        {{std::nullopt, 0, true, false, true, false}, "REC", DeckLamp::red},
        {{std::nullopt, 0, true, true, true, false}, "PAUSA", DeckLamp::yellow},
        {{std::nullopt, 0, false, false, true, true}, "PLAY", DeckLamp::green},
        {{std::nullopt, 0, false, false, false, true}, "PAUSA", DeckLamp::yellow},
        {{}, "STOP", DeckLamp::grey},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(deckStatus(c.transport), c.status);
        EXPECT_EQ(deckLamp(c.transport), c.lamp) << c.status;
    }
}

TEST(DeckState, levelFollowsTheClipEnvelopeTimesVoiceVolumeCappedAndSilentOverAGap)
{
    // Two clips of take.caf with a gap between them: [0, 2) from source 1 s, [5, 7) from 10 s.
    PodcastProject project;
    project.voiceFile = "take.caf";
    project.segments = {testing::placedClip(0, 2, "take.caf", std::nullopt, 1),
                        testing::placedClip(5, 2, "take.caf", std::nullopt, 10)};
    // 20 s of envelope at 50 values per second: value = index / 1000; and a shorter one.
    std::vector<float> ramp(1000);
    for (std::size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = static_cast<float>(i) / 1000.0f;
    const std::map<std::string, std::vector<float>> envelopes{{"take.caf", ramp}},
        shortEnvelope{{"take.caf", std::vector<float>(100, 0.2f)}};

    const struct {
        bool recording, playing;
        double position;
        const std::map<std::string, std::vector<float>>& envelopes;
        float volume, level;
    } cases[] = {
        {false, true, 0.5, envelopes, 0.5f, 0.075f * 0.5f}, // 1.5 s into the source: index 75
        {false, true, 6.01, envelopes, 0.5f, 0.55f * 0.5f}, // 11.01 s: index 550
        {false, true, 3.5, envelopes, 0.5f, 0},             // the gap
        {false, false, 0.5, envelopes, 0.5f, 0},            // not playing
        {true, true, 3.5, envelopes, 0.5f, 0.9f},           // recording: the input meter
        {false, true, 6.5, envelopes, 4.0f, 1.0f},          // capped
        {false, true, 6.5, shortEnvelope, 4.0f, 0},         // past the envelope's end
    };
    for (const auto& c : cases) {
        project.voiceVolume = c.volume;
        EXPECT_FLOAT_EQ(deckLevel(c.recording, c.playing, 0.9f, c.position, project, c.envelopes),
                        c.level)
            << c.position;
    }
}

TEST(DeckState, theNeedleSpansNinetyDegreesOverHalfScale)
{
    for (auto [level, rotation] : {std::pair{0.0, -45.0}, {0.25, 0.0}, {0.5, 45.0}, {0.9, 45.0}})
        EXPECT_DOUBLE_EQ(deckNeedleRotation(level), rotation) << level;
}

} // namespace tw
