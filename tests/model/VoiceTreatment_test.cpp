#include "model/VoiceTreatment.hpp"

#include <gtest/gtest.h>

namespace tw {

TEST(VoiceTreatment, eachPresetHasItsStoredTextAndNoOtherTextIsAPreset)
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
    for (const char* text : {"Podcast", "podcast masculino", "Podcast masculino ", "", "Radio",
                             "Radio femenina\n", "Radio  femenina"})
        EXPECT_EQ(presetFromText(text), std::nullopt) << text;
}

} // namespace tw
