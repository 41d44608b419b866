#include "model/VoiceTreatment.hpp"

#include <array>
#include <utility>

namespace tw {

namespace {

// The texts are part of the file format and of the interface; they never change.
constexpr std::array<std::pair<Preset, std::string_view>, 4> presetTexts{{
    {Preset::podcast, "Podcast masculino"},
    {Preset::radio, "Radio masculina"},
    {Preset::femalePodcast, "Podcast femenino"},
    {Preset::femaleRadio, "Radio femenina"},
}};

} // namespace

std::string_view presetText(Preset preset)
{
    for (const auto& [candidate, text] : presetTexts)
        if (candidate == preset)
            return text;
    return presetTexts.front().second; // unreachable for a valid enumerator
}

std::optional<Preset> presetFromText(std::string_view text)
{
    for (const auto& [preset, candidate] : presetTexts)
        if (candidate == text)
            return preset;
    return std::nullopt;
}

} // namespace tw
