#include "voice/TreatmentValues.hpp"

#include <algorithm>

namespace tw {

std::array<double, 10> bandGains(const VoiceTreatment& treatment)
{
    std::array<double, 10> gains{};
    if (treatment.eqBands && treatment.eqBands->size() == gains.size()) {
        std::copy(treatment.eqBands->begin(), treatment.eqBands->end(), gains.begin());
        return gains;
    }
    gains[2] = treatment.bass.value_or(0.0);
    gains[5] = treatment.mid.value_or(0.0);
    gains[8] = treatment.treble.value_or(0.0);
    return gains;
}

bool enabled(const VoiceTreatment& treatment)
{
    auto gains = bandGains(treatment);
    bool anyBand = std::any_of(gains.begin(), gains.end(), [](double g) { return g != 0.0; });
    auto nonZero = [](const std::optional<double>& g) { return g && *g != 0.0; };
    return anyBand || treatment.enhance || treatment.reduceNoise || treatment.level == true ||
           nonZero(treatment.bass) || nonZero(treatment.mid) || nonZero(treatment.treble);
}

} // namespace tw
