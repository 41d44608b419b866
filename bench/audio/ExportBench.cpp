// M4A and MP3 export of a long programme, for the comparison with the ffmpeg tool encoding the same
// mix from a WAV file. The programme is built from files in a data folder: voice takes
// (take-NN.caf, written here as the recorder would) cut into clips with pauses between them, and
// music.wav (any file FFmpeg decodes) under the whole programme with a fade in and a fade out.
//
//   bench_export takes DIR MINUTES   write the takes for a programme of MINUTES minutes
//   bench_export premix DIR OUT.wav  render the programme's mix to a float WAV (ffmpeg's input)
//   bench_export treat DIR OUT       the takes of DIR as "Mejorar voz" and "Nivelar audio" make
//                                    them, into OUT (the treated copies an export plays)
//   bench_export export DIR OUT.m4a [LUFS]  export the programme (what the comparisons time),
//                                    normalised to LUFS when given; OUT.mp3 for MP3
//   bench_export                     export a 3-minute programme made in a temporary folder and
//                                    print the real-time factor (as `make bench` runs it)
#include "audio/CafWriter.hpp"
#include "audio/ExportSession.hpp"
#include "audio/OfflineRenderer.hpp"
#include "support/ExportAndWait.hpp"
#include "voice/VoiceProcessor.hpp"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tw {
namespace {

namespace fs = std::filesystem;

constexpr int rate = 48000;
constexpr double takeSeconds = 300;
constexpr float musicVolume = 0.25f;

[[noreturn]] void fail(const std::string& what)
{
    std::fprintf(stderr, "%s\n", what.c_str());
    std::exit(1);
}

fs::path takeFile(const fs::path& dir, int index)
{
    char name[32];
    std::snprintf(name, sizeof name, "take-%02d.caf", index);
    return dir / name;
}

int takesFor(double minutes)
{
    return static_cast<int>(std::ceil(minutes * 60 / takeSeconds));
}

// Speech-like takes: a gliding voiced tone and breath noise under a syllable-rate envelope.
void writeTakes(const fs::path& dir, double minutes)
{
    fs::create_directories(dir);
    std::mt19937 random(5);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    std::vector<float> block(rate);
    for (int take = 0; take < takesFor(minutes); ++take) {
        auto writer = CafWriter::create(takeFile(dir, take), rate, 1);
        if (!writer)
            fail(writer.error().description);
        const double pitch = 110 + 20 * take;
        double phase = 0; // of the voiced tone, advanced by its frequency of the moment
        for (int second = 0; second < takeSeconds; ++second) {
            for (int i = 0; i < rate; ++i) {
                const double t = second + static_cast<double>(i) / rate;
                const double syllables = std::max(0.0, std::sin(2 * std::numbers::pi * 3.3 * t));
                const double f = pitch * (1 + 0.1 * std::sin(2 * std::numbers::pi * 0.7 * t));
                phase = std::fmod(phase + 2 * std::numbers::pi * f / rate, 2 * std::numbers::pi);
                block[static_cast<std::size_t>(i)] = static_cast<float>(
                    0.5 * syllables * (0.6 * std::sin(phase) + 0.15 * unit(random)));
            }
            if (!writer.value()->writeInterleaved(block.data(), rate))
                fail("cannot write " + takeFile(dir, take).string());
        }
        if (!writer.value()->close())
            fail("cannot close " + takeFile(dir, take).string());
    }
}

struct Programme {
    Composition composition;
    AudioMix mix;
};

AudioAsset load(const fs::path& file)
{
    auto asset = AudioAsset::load(file);
    if (!asset)
        fail(asset.error().description);
    return asset.value();
}

// Clips of 20 to 40 s cut from the takes in turn, 0.4 to 1.5 s apart, to the length of the music
// (or of the takes, without music); music at full length with a 5 s fade in and a 10 s fade out.
Programme buildProgramme(const fs::path& dir)
{
    Programme p;
    std::vector<AudioAsset> takes;
    for (int i = 0; fs::exists(takeFile(dir, i)); ++i)
        takes.push_back(load(takeFile(dir, i)));
    if (takes.empty())
        fail("no takes in " + dir.string());
    const bool withMusic = fs::exists(dir / "music.wav");
    const AudioAsset music = withMusic ? load(dir / "music.wav") : AudioAsset{};
    const double length =
        withMusic ? music.duration().seconds() : takeSeconds * static_cast<double>(takes.size());

    std::mt19937 random(3);
    std::uniform_real_distribution<double> clipLength(20, 40), pause(0.4, 1.5), gain(0.7, 1.1);
    CompositionTrack* voice = p.composition.addTrack(1);
    InputParameters voiceParameters{1, {}, nullptr};
    voiceParameters.volume.setVolume(0, {});
    double at = 0.5, from = 0;
    std::size_t take = 0;
    while (take < takes.size()) {
        const double d = std::min({clipLength(random), takeSeconds - from, length - 0.5 - at});
        if (d < 1)
            break;
        const MediaTime start = MediaTime::fromSeconds(at), duration = MediaTime::fromSeconds(d);
        if (start > voice->end())
            voice->insertEmptyTimeRange(voice->end(), start - voice->end());
        if (auto inserted =
                voice->insertTimeRange(takes[take], MediaTime::fromSeconds(from), duration, start);
            !inserted)
            fail(inserted.error().description);
        const auto v = static_cast<float>(gain(random));
        voiceParameters.volume.setVolumeRamp(v, v, start, duration);
        voiceParameters.volume.setVolume(0, start + duration);
        at += d + pause(random);
        from += d;
        if (from > takeSeconds - 1) {
            from = 0;
            ++take;
        }
    }
    p.mix.inputParameters.push_back(voiceParameters);

    if (withMusic) {
        CompositionTrack* bed = p.composition.addTrack(2);
        if (auto inserted = bed->insertTimeRange(music, {}, music.duration(), {}); !inserted)
            fail(inserted.error().description);
        InputParameters musicParameters{2, {}, nullptr};
        const MediaTime end = music.duration();
        musicParameters.volume.setVolume(0, {});
        musicParameters.volume.setVolumeRamp(0, musicVolume, {}, MediaTime::fromSeconds(5));
        musicParameters.volume.setVolumeRamp(musicVolume, 0, end - MediaTime::fromSeconds(10),
                                             MediaTime::fromSeconds(10));
        p.mix.inputParameters.push_back(musicParameters);
    }
    return p;
}

// The mix as a 32-bit float stereo WAV: the exact samples the export encodes.
void premix(const fs::path& dir, const fs::path& out)
{
    const Programme p = buildProgramme(dir);
    const MediaTime duration = p.composition.duration();
    const std::int64_t frames = duration.frameAt(rate);
    const auto bytes = static_cast<std::uint32_t>(frames * 2 * 4);
    std::ofstream file(out, std::ios::binary);
    auto u32 = [&](std::uint32_t v) { file.write(reinterpret_cast<const char*>(&v), 4); };
    auto u16 = [&](std::uint16_t v) { file.write(reinterpret_cast<const char*>(&v), 2); };
    file.write("RIFF", 4);
    u32(36 + bytes);
    file.write("WAVEfmt ", 8);
    u32(16);
    u16(3); // IEEE float
    u16(2);
    u32(rate);
    u32(rate * 2 * 4);
    u16(2 * 4);
    u16(32);
    file.write("data", 4);
    u32(bytes);
    OfflineRenderOptions options;
    options.runTaps = false;
    auto rendered = renderOffline(p.composition, p.mix, {}, duration, options,
                                  [&](const float* stereo, int count) {
                                      file.write(reinterpret_cast<const char*>(stereo),
                                                 static_cast<std::streamsize>(count) * 2 * 4);
                                      return true;
                                  });
    if (!rendered)
        fail(rendered.error().description);
    if (!file)
        fail("cannot write " + out.string());
}

void treat(const fs::path& dir, const fs::path& out)
{
    fs::create_directories(out);
    VoiceTreatment treatment;
    treatment.enhance = true;
    treatment.level = true;
    for (int take = 0; fs::exists(takeFile(dir, take)); ++take)
        if (auto treated =
                VoiceProcessor::render(takeFile(dir, take), takeFile(out, take), treatment);
            !treated)
            fail(treated.error().description);
}

// Exports the whole programme; returns its length in seconds.
double exportProgramme(const fs::path& dir, const fs::path& out,
                       std::optional<double> target = std::nullopt)
{
    const Programme p = buildProgramme(dir);
    auto created = ExportSession::create(
        p.composition, p.mix, out.extension() == ".mp3" ? ExportFormat::mp3 : ExportFormat::m4a);
    if (!created)
        fail(created.error().description);
    ExportSession& session = *created.value();
    session.setOutputPath(out);
    session.setMetadata({"Export bench", {}, {}, {}, {}});
    session.setLoudnessTarget(target);
    testing::exportAndWait(session);
    if (session.status() != ExportSession::Status::completed)
        fail(session.error().value_or(exportError(ExportError::failed)).description);
    return p.composition.duration().seconds();
}

} // namespace
} // namespace tw

int main(int argc, char** argv)
{
    using namespace tw;
    const std::string_view mode = argc > 1 ? argv[1] : "";
    if (mode == "takes" && argc == 4) {
        writeTakes(argv[2], std::stod(argv[3]));
    } else if (mode == "premix" && argc == 4) {
        premix(argv[2], argv[3]);
    } else if (mode == "treat" && argc == 4) {
        treat(argv[2], argv[3]);
    } else if (mode == "export" && (argc == 4 || argc == 5)) {
        exportProgramme(argv[2], argv[3],
                        argc == 5 ? std::optional<double>(std::stod(argv[4])) : std::nullopt);
    } else if (argc == 1) {
        const fs::path dir = fs::temp_directory_path() / "tapewright-export-bench";
        fs::remove_all(dir);
        writeTakes(dir, 3);
        for (const char* name : {"out.m4a", "out.mp3"}) {
            const auto start = std::chrono::steady_clock::now();
            const double seconds = exportProgramme(dir, dir / name);
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
            std::printf("export %.0f s mono voice to %s: %.3f s, %.0f x real time\n", seconds, name,
                        took.count(), seconds / took.count());
        }
        fs::remove_all(dir);
    } else {
        std::fprintf(stderr,
                     "usage: %s [takes DIR MINUTES | premix DIR OUT.wav | treat DIR OUT | "
                     "export DIR OUT.m4a [LUFS]]\n",
                     argv[0]);
        return 2;
    }
    return 0;
}
