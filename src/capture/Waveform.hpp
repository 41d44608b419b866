// Peak envelopes: 50 values per second of source audio, each the largest absolute sample over all
// channels of its span of frames.
#pragma once

#include "base/Result.hpp"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tw {

struct Waveform {
    std::vector<float> peaks;
    double duration = 0; // seconds

    bool operator==(const Waveform&) const = default;
};

// Any thread.
Result<Waveform> waveform(const std::filesystem::path& file);

// The envelopes of a whole project: voice sources (relative names) in order, then the music.
struct ProjectPeaks {
    std::map<std::string, Waveform> voices;
    Waveform music;                  // empty and 0 without music, or when it cannot be read
    std::optional<Error> musicError; // the music is left out, the voice still loads
};

// Fails as a whole with the first voice file's error; music that cannot be read only sets
// musicError. Blocking; run it off the main thread.
Result<ProjectPeaks> computeProjectPeaks(const std::filesystem::path& folder,
                                         const std::vector<std::string>& voiceSources,
                                         const std::optional<std::filesystem::path>& musicFile);

} // namespace tw
