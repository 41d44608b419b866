#include "model/LoudnessTarget.hpp"

namespace tw {

std::string_view loudnessTargetText(LoudnessTarget target)
{
    switch (target) {
    case LoudnessTarget::broadcast:
        return "ebuR128";
    case LoudnessTarget::none:
        return "none";
    case LoudnessTarget::podcast:
        break;
    }
    return "podcast";
}

std::optional<LoudnessTarget> loudnessTargetFromText(std::string_view text)
{
    for (LoudnessTarget target :
         {LoudnessTarget::podcast, LoudnessTarget::broadcast, LoudnessTarget::none})
        if (loudnessTargetText(target) == text)
            return target;
    return std::nullopt;
}

std::optional<double> targetLoudness(LoudnessTarget target, int channels)
{
    switch (target) {
    case LoudnessTarget::podcast:
        return channels == 1 ? -19.0 : -16.0;
    case LoudnessTarget::broadcast:
        return -23.0;
    case LoudnessTarget::none:
        break;
    }
    return std::nullopt;
}

} // namespace tw
