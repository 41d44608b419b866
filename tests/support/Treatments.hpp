// The voice treatment with every part of the chain at work (enhancement, gate, leveller, all ten
// bands), shared by the voice tests and benchmarks.
#pragma once

#include "model/VoiceTreatment.hpp"

#include <vector>

namespace tw::test {

inline VoiceTreatment fullTreatment(Preset preset = Preset::radio)
{
    VoiceTreatment treatment;
    treatment.enhance = true;
    treatment.reduceNoise = true;
    treatment.level = true;
    treatment.eqBands = std::vector<double>{3, -2, 2, -1, 1.5, -2, 2.5, -3, 4, -4};
    treatment.preset = preset;
    return treatment;
}

} // namespace tw::test
