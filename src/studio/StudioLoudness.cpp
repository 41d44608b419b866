// The loudness of what the studio makes: the export loudness the project asks for (the Audio
// menu's choice), and the loudness meter of what is playing, measured on the main thread from
// what the player hands over from its render thread. Main thread.
#include "audio/LoudnessMeter.hpp"
#include "audio/Player.hpp"
#include "studio/Studio.hpp"

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

namespace tw {

namespace {

// A tenth of a LU is what the meter shows: finer changes redraw nothing.
double tenths(double lufs)
{
    return std::isfinite(lufs) ? std::round(lufs * 10) / 10 : lufs;
}

} // namespace

std::string levelFigure(double value)
{
    if (!std::isfinite(value))
        return "—";
    const long tenths = std::lround(value * 10);
    const long magnitude = std::labs(tenths);
    return std::string(tenths < 0 ? "−" : "") + std::to_string(magnitude / 10) + "," +
           std::to_string(magnitude % 10);
}

LoudnessTarget Studio::loudnessTarget() const
{
    return project->loudnessTarget.value_or(LoudnessTarget::podcast);
}

void Studio::setLoudnessTarget(LoudnessTarget target)
{
    if (!idle() || target == loudnessTarget())
        return;
    checkpoint();
    project.mutate([&](PodcastProject& document) { document.loudnessTarget = target; });
    save();
}

void Studio::startLoudness()
{
    loudnessMeter = std::make_unique<LoudnessMeter>(
        2, player->sampleRate(), LoudnessMeter::shortTerm | LoudnessMeter::integrated);
    std::vector<float> stale(4096 * 2);
    while (player->takePlayed(stale.data(), 4096) > 0) {
    }
    loudness = std::nullopt;
}

void Studio::measurePlayed()
{
    if (!player || !loudnessMeter)
        return;
    std::vector<float> block(4096 * 2);
    for (int got; (got = player->takePlayed(block.data(), 4096)) > 0;)
        loudnessMeter->add(block.data(), static_cast<std::size_t>(got));
    const LoudnessReading reading{tenths(loudnessMeter->shortTermLoudness()),
                                  tenths(loudnessMeter->integratedLoudness())};
    if (loudness() != reading)
        loudness = reading;
}

} // namespace tw
