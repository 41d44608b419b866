#include "model/VoiceTreatment.hpp"

#include <gtest/gtest.h>

namespace tw {

TEST(VoiceTreatment, presetsHaveTheirStoredTextsAndReadBack)
{
    const std::pair<Preset, const char*> cases[] = {
        {Preset::podcast, "Podcast masculino"},
        {Preset::radio, "Radio masculina"},
        {Preset::femalePodcast, "Podcast femenino"},
        {Preset::femaleRadio, "Radio femenina"},
    };
    for (const auto& [preset, text] : cases) {
        EXPECT_EQ(presetText(preset), text);
        EXPECT_EQ(presetFromText(text), preset);
    }
}

TEST(VoiceTreatment, otherTextsAreNoPreset)
{
    for (const char* text : {"Podcast", "podcast masculino", "Podcast masculino ", "", "Radio",
                             "Radio femenina\n", "Radio  femenina"})
        EXPECT_EQ(presetFromText(text), std::nullopt) << text;
}

TEST(VoiceTreatment, defaultTreatmentIsNeutralPodcast)
{
    VoiceTreatment treatment;
    EXPECT_FALSE(treatment.enhance);
    EXPECT_FALSE(treatment.reduceNoise);
    EXPECT_EQ(treatment.level, std::nullopt);
    EXPECT_EQ(treatment.bass, std::nullopt);
    EXPECT_EQ(treatment.mid, std::nullopt);
    EXPECT_EQ(treatment.treble, std::nullopt);
    EXPECT_EQ(treatment.eqBands, std::nullopt);
    EXPECT_EQ(treatment.preset, Preset::podcast);
}

} // namespace tw
