#include "mix/MixBuilder.hpp"

#include "audio/AudioFileReader.hpp"
#include "mix/MixParameters.hpp"
#include "voice/LiveVoiceTap.hpp"
#include "voice/TreatmentValues.hpp"

#include <map>
#include <optional>

namespace tw::MixBuilder {

namespace {

// The first audio track of a file, absent when the file holds none (not a failure: the clip or
// the music is left out). Any other failure to open it is passed on.
Result<std::optional<AudioAsset>> loadAudio(const Sources& sources,
                                            const std::filesystem::path& file)
{
    auto asset = sources.load(file);
    if (asset)
        return std::optional<AudioAsset>(std::move(asset).value());
    if (asset.error().domain == ErrorDomain::audio && asset.error().code == AudioFileError::noAudio)
        return std::optional<AudioAsset>();
    return asset.error();
}

Result<void> addVoice(const PodcastProject& project, const std::filesystem::path& folder, bool live,
                      const Sources& sources, Composition& composition, AudioMix& mix)
{
    CompositionTrack* track = composition.addTrack(voiceTrackID);
    if (!track)
        return {};
    const bool renderTreated = !live && project.treatment && enabled(*project.treatment);
    // Keyed by the clip's file as stored (the untreated name), so each source is opened, and
    // rendered, once per build; an absent asset marks a file without audio.
    std::map<std::string, std::optional<AudioAsset>> loaded;
    for (const Segment& clip : project.resolvedSegments()) {
        if (!clip.file)
            continue;
        auto cached = loaded.find(*clip.file);
        if (cached == loaded.end()) {
            std::string name = *clip.file;
            if (renderTreated) {
                auto treated = sources.prepare(*clip.file, folder, *project.treatment);
                if (!treated)
                    return treated.error();
                name = std::move(treated).value();
            }
            auto asset = loadAudio(sources, folder / name);
            if (!asset)
                return asset.error();
            cached = loaded.emplace(*clip.file, std::move(asset).value()).first;
        }
        if (!cached->second)
            continue;
        // Both ends come from absolute timeline times, never from a rounded length, so clips
        // that touch on the timeline touch here too: no tick of silence between them.
        const double t0 = clip.timelineStart.value_or(0);
        const MediaTime at = MediaTime::fromSeconds(t0);
        const MediaTime length = MediaTime::fromSeconds(t0 + clip.duration) - at;
        const MediaTime end = track->end();
        if (at > end)
            track->insertEmptyTimeRange(end, at - end);
        // Clips are sorted without overlaps; one that starts before the end is inserted at its
        // own place all the same, and the material after it moves later.
        auto inserted =
            track->insertTimeRange(*cached->second, MediaTime::fromSeconds(clip.start), length, at);
        if (!inserted)
            return inserted.error();
    }
    auto parameters = voiceMixParameters(voiceTrackID, project, live);
    if (!parameters)
        return parameters.error();
    mix.inputParameters.push_back(std::move(parameters).value());
    return {};
}

Result<void> addMusic(const PodcastProject& project, const std::filesystem::path& folder, bool live,
                      const Sources& sources, Composition& composition, AudioMix& mix)
{
    if (!project.musicFile)
        return {};
    auto loaded = loadAudio(sources, folder / *project.musicFile);
    if (!loaded)
        return loaded.error();
    const std::optional<AudioAsset>& asset = loaded.value();
    if (!asset || !(asset->sampleRate > 0))
        return {};
    const double sourceDuration = static_cast<double>(asset->frames) / asset->sampleRate;
    const MusicRange range = project.musicRange(sourceDuration);
    if (!(range.duration > 0))
        return {};
    // Placed on a track of its own first and added only when whole, so a failure leaves no
    // trace of the music in the composition.
    CompositionTrack placed(musicTrackID);
    const MediaTime offset = MediaTime::fromSeconds(range.offset);
    if (offset.ticks > 0)
        placed.insertEmptyTimeRange({}, offset);
    auto inserted = placed.insertTimeRange(*asset, MediaTime::fromSeconds(range.start),
                                           MediaTime::fromSeconds(range.duration), offset);
    if (!inserted)
        return inserted.error();
    InputParameters parameters =
        musicMixParameters(musicTrackID, project, range.duration, range.offset);
    if (live) {
        // Neutral: the music is not treated, the tap only measures its spectrum.
        auto tap = liveVoiceTap(VoiceTreatment{}, "music");
        if (!tap)
            return tap.error();
        parameters.tap = std::move(tap).value();
    }
    CompositionTrack* track = composition.addTrack(musicTrackID);
    if (!track)
        return {};
    *track = std::move(placed);
    mix.inputParameters.push_back(std::move(parameters));
    return {};
}

} // namespace

Result<BuiltMix> make(const PodcastProject& project, const std::filesystem::path& folder, bool live)
{
    return make(project, folder, live, Sources{});
}

Result<BuiltMix> make(const PodcastProject& project, const std::filesystem::path& folder, bool live,
                      const Sources& sources)
{
    BuiltMix built;
    if (!project.segments.empty()) {
        auto voice = addVoice(project, folder, live, sources, built.composition, built.audioMix);
        if (!voice)
            return voice.error();
    }
    // Music that cannot be read or placed is left out: the voice still plays and exports.
    if (auto music = addMusic(project, folder, live, sources, built.composition, built.audioMix);
        !music)
        built.musicLeftOut = music.error();
    return built;
}

std::string musicLeftOutText(const Error& why)
{
    return "Se ha dejado fuera la música porque no se pudo leer: " + why.description;
}

} // namespace tw::MixBuilder
