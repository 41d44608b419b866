// How a project's exports set their loudness: to the podcast norm (the default, also for every
// project that never chose), to the broadcast norm of EBU R128, or not at all (the mix as it is,
// through the master stage).
#pragma once

#include <optional>
#include <string_view>

namespace tw {

enum class LoudnessTarget { podcast, broadcast, none };

// The stored text: "podcast", "ebuR128", "none".
std::string_view loudnessTargetText(LoudnessTarget target);
std::optional<LoudnessTarget> loudnessTargetFromText(std::string_view text);

// The integrated loudness an export of `channels` channels aims at, in LUFS: -16 for the podcast
// norm (-19 for a mono file, which players repeat on both sides), -23 for EBU R128; none without
// normalisation.
std::optional<double> targetLoudness(LoudnessTarget target, int channels);

} // namespace tw
