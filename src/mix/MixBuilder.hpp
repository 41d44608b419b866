// Turns a project and its folder into what playback and export consume: a composition of at most
// two tracks (voice 1, music 2) and the audio mix with each track's volume automation and, for
// live playback, a processing tap per track. The recorded files are only cut and placed.
#pragma once

#include "audio/AudioMix.hpp"
#include "audio/Composition.hpp"
#include "base/Result.hpp"
#include "model/PodcastProject.hpp"
#include "voice/VoiceProcessor.hpp"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace tw {

struct BuiltMix {
    Composition composition;
    AudioMix audioMix;
    // Why the project's music is not in the mix when it could not be read or placed: the voice
    // plays and exports without it rather than not at all.
    std::optional<Error> musicLeftOut;
};

namespace MixBuilder {

inline constexpr int voiceTrackID = 1;
inline constexpr int musicTrackID = 2;

// Where the builder gets its audio: opening a file, and the treated copy of a voice source for
// export. The defaults are AudioAsset::load and VoiceProcessor::prepare; tests wrap them to watch
// what the builder asks for.
struct Sources {
    std::function<Result<AudioAsset>(const std::filesystem::path& file)> load = AudioAsset::load;
    std::function<Result<std::string>(const std::string& source,
                                      const std::filesystem::path& folder,
                                      const VoiceTreatment& treatment)>
        prepare = VoiceProcessor::prepare;
};

// live true: playback, untreated takes with taps ("voice" with the project's treatment, "music"
// with the neutral one). live false: export, no taps, and with an enabled treatment every voice
// source is rendered once through it and the treated copy placed instead. Any failure of loading,
// rendering, inserting or making a tap of the voice ends the build with that error; the same
// failures of the music leave the music out (musicLeftOut). Blocking: file loading and offline
// renders run on the calling thread, so callers keep it off the main thread.
Result<BuiltMix> make(const PodcastProject& project, const std::filesystem::path& folder,
                      bool live);
Result<BuiltMix> make(const PodcastProject& project, const std::filesystem::path& folder, bool live,
                      const Sources& sources);

// What the user is told when the music was left out: "Se ha dejado fuera la música porque no se
// pudo leer: " and why.
std::string musicLeftOutText(const Error& why);

} // namespace MixBuilder
} // namespace tw
