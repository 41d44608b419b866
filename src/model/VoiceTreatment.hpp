// The voice treatment settings stored in a project: equaliser, enhancement preset, gate, leveller.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace tw {

enum class Preset { podcast, radio, femalePodcast, femaleRadio };

// The stored (and shown) text of a preset: "Podcast masculino", "Radio masculina", …
std::string_view presetText(Preset preset);
std::optional<Preset> presetFromText(std::string_view text);

struct VoiceTreatment {
    bool enhance = false;
    bool reduceNoise = false;
    std::optional<bool> level;
    std::optional<double> bass;
    std::optional<double> mid;
    std::optional<double> treble;
    std::optional<std::vector<double>> eqBands;
    Preset preset = Preset::podcast;

    bool operator==(const VoiceTreatment&) const = default;
};

} // namespace tw
