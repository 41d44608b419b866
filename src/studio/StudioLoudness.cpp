// The loudness of what the studio makes: the export loudness the project asks for (the Audio
// menu's choice), and the loudness meter of what is playing, measured on the main thread from
// what the player hands over from its render thread. Main thread.
#include "audio/LoudnessMeter.hpp"
#include "audio/Player.hpp"
#include "studio/Studio.hpp"

#include <array>
#include <cmath>
#include <cstdlib>
#include <string>

namespace tw {

namespace {

// A tenth of a LU is what the meter shows: finer changes redraw nothing.
double tenths(double lufs)
{
    return std::isfinite(lufs) ? std::round(lufs * 10) / 10 : lufs;
}

// Hands what the player played since the last call to the meter, or drops it without one.
void measurePlayedBy(Player& player, LoudnessMeter* meter)
{
    constexpr int frames = 4096;
    std::array<float, 2 * frames> block;
    for (int got; (got = player.takePlayed(block.data(), frames)) > 0;)
        if (meter)
            meter->add(block.data(), static_cast<std::size_t>(got));
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
    measurePlayedBy(*player, nullptr); // what an earlier playback left
    loudness = std::nullopt;
}

void Studio::measurePlayed()
{
    if (!player || !loudnessMeter)
        return;
    measurePlayedBy(*player, loudnessMeter.get());
    const LoudnessReading reading{tenths(loudnessMeter->shortTermLoudness()),
                                  tenths(loudnessMeter->integratedLoudness())};
    if (loudness() != reading)
        loudness = reading;
}

} // namespace tw
