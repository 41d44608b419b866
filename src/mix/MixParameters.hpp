// The volume automation of the two mix tracks: the voice heard only inside its clips, each at its
// own level, and the music bed shaped by its fades. Pure functions of the project.
#pragma once

#include "audio/AudioMix.hpp"
#include "base/Result.hpp"
#include "model/PodcastProject.hpp"

namespace tw {

// The voice track: silent outside the clips, voiceVolume × gain inside each one. In live mode it
// carries a tap with the project's treatment (the neutral one when it has none) publishing as
// "voice"; fails only when that tap cannot be made.
Result<InputParameters> voiceMixParameters(int trackID, const PodcastProject& project, bool live);

// The music track placed at offset for duration seconds (as musicRange gives them), with the
// fade-in and fade-out of fades(duration). No tap: the builder adds the music tap itself.
InputParameters musicMixParameters(int trackID, const PodcastProject& project, double duration,
                                   double offset);

} // namespace tw
