// Values derived from a VoiceTreatment that the DSP, the mix and the equaliser panel share: the
// ten band gains and whether the treatment does anything at all.
#pragma once

#include "model/VoiceTreatment.hpp"

#include <array>

namespace tw {

// Centre frequencies of the ten-band equaliser, in Hz.
inline constexpr std::array<double, 10> bandFrequencies = {31.5,   63.0,   125.0,  250.0,  500.0,
                                                           1000.0, 2000.0, 4000.0, 8000.0, 16000.0};

// Gains in dB at bandFrequencies: eqBands when it has exactly ten entries, otherwise the older
// bass/mid/treble setting placed at 125 Hz, 1 kHz and 8 kHz.
std::array<double, 10> bandGains(const VoiceTreatment& treatment);

// True when the treatment changes the sound: a non-zero gain, enhance, reduceNoise or level.
bool enabled(const VoiceTreatment& treatment);

} // namespace tw
