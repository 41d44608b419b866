// Figures for playback: how fast the render graph renders a voice and music programme offline
// (with working taps), how long a new item and a seek take to reach their first audible sample in
// a 3-hour programme of 400 clips from 20 takes, and whether ten minutes of real-time playback
// with the other core busy ever runs dry (TW_PLAYBACK_SECONDS shortens or lengthens that one).
#include "audio/CafWriter.hpp"
#include "audio/OfflineRenderer.hpp"
#include "audio/Player.hpp"
#include "base/ManualScheduler.hpp"
#include "support/Treatments.hpp"
#include "voice/VoiceDSP.hpp"

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <numbers>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace tw {
namespace {

using Clock = std::chrono::steady_clock;

// A tap that runs the voice treatment, as the live tap does.
class TreatmentTap final : public ProcessingTap {
public:
    explicit TreatmentTap(VoiceTreatment treatment) : dsp_(std::move(treatment)) {}
    void prepare(int, const StreamFormat& format) override
    {
        dsp_.prepare(format.sampleRate, format.channels);
    }
    void process(AudioBufferList& list, int frames) override { dsp_.process(list, frames); }
    void unprepare() override {}

private:
    VoiceDSP dsp_;
};

// The cheapest tap that still touches every sample.
class GainTap final : public ProcessingTap {
public:
    void prepare(int, const StreamFormat&) override {}
    void process(AudioBufferList& list, int frames) override
    {
        for (int b = 0; b < list.count; ++b)
            for (int i = 0; i < frames * list.buffers[b].channels; ++i)
                list.buffers[b].data[i] *= 0.9f;
    }
    void unprepare() override {}
};

void check(bool ok, const std::string& what)
{
    if (!ok)
        throw std::runtime_error(what);
}

// Takes and music written once per run into a temporary folder, removed at exit.
class Material {
public:
    static Material& shared()
    {
        static Material material;
        return material;
    }
    ~Material()
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    const AudioAsset& take(int i) { return takes_.at(static_cast<std::size_t>(i)); }
    const AudioAsset& music() { return music_; }
    static constexpr int takeCount = 20;
    static constexpr double takeSeconds = 30;

private:
    Material()
        : folder_(std::filesystem::temp_directory_path() /
                  ("tapewright-player-bench-" + std::to_string(getpid())))
    {
        std::filesystem::create_directories(folder_);
        std::mt19937 random(3);
        std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
        const int frames = static_cast<int>(takeSeconds * 48000);
        std::vector<float> speech(static_cast<std::size_t>(frames));
        for (int t = 0; t < takeCount; ++t) {
            for (int i = 0; i < frames; ++i) {
                const double syllables =
                    0.5 + 0.5 * std::sin(2 * std::numbers::pi * 4.0 * i / 48000);
                speech[static_cast<std::size_t>(i)] =
                    static_cast<float>(0.3 * syllables * unit(random));
            }
            const auto file = folder_ / ("voice-" + std::to_string(t) + ".caf");
            auto writer = CafWriter::create(file, 48000, 1);
            check(writer.ok(), "cannot write a take");
            check(writer.value()->writeInterleaved(speech.data(), frames).ok(), "take write");
            check(writer.value()->close().ok(), "take close");
            auto asset = AudioAsset::load(file);
            check(asset.ok(), "cannot load a take");
            takes_.push_back(asset.value());
        }
        const auto music = folder_ / "music.mp3";
        const std::string command =
            "ffmpeg -nostdin -y -v error -f lavfi -i "
            "'aevalsrc=0.2*sin(2*PI*220*t)+0.1*sin(2*PI*331*t)|0.2*sin(2*PI*277*t):s=44100:d=600' "
            "-c:a libmp3lame -b:a 192k '" +
            music.string() + "'";
        check(std::system(command.c_str()) == 0, "cannot make the music");
        auto asset = AudioAsset::load(music);
        check(asset.ok(), "cannot load the music");
        music_ = asset.value();
    }

    std::filesystem::path folder_;
    std::vector<AudioAsset> takes_;
    AudioAsset music_;
};

struct Programme {
    Composition composition;
    AudioMix mix;
    std::vector<std::pair<double, double>> clips; // timeline start, end
    double length = 0;
};

// clips voice clips from the takes with gaps between them, and the music bed under them from
// 0 (it lasts at most ten minutes) with a fade in and out.
Programme makeProgramme(int clips, double meanGap, unsigned seed)
{
    Material& material = Material::shared();
    Programme p;
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> sourceStart(0, 20), length(5, 10), gap(0, 2 * meanGap);
    CompositionTrack* voice = p.composition.addTrack(1);
    InputParameters voiceParameters{1, {}, nullptr};
    voiceParameters.volume.setVolume(0, {});
    double at = 0.5;
    for (int i = 0; i < clips; ++i) {
        const double duration = length(random);
        const MediaTime start = MediaTime::fromSeconds(at);
        check(voice
                  ->insertTimeRange(material.take(i % Material::takeCount),
                                    MediaTime::fromSeconds(sourceStart(random)),
                                    MediaTime::fromSeconds(duration), start)
                  .ok(),
              "clip");
        voiceParameters.volume.setVolumeRamp(0.9f, 0.9f, start, MediaTime::fromSeconds(duration));
        voiceParameters.volume.setVolume(0, MediaTime::fromSeconds(at + duration));
        p.clips.emplace_back(at, at + duration);
        at += duration + gap(random);
    }
    p.length = at;
    const double musicLength = std::min(at, 590.0);
    CompositionTrack* music = p.composition.addTrack(2);
    check(
        music->insertTimeRange(material.music(), {}, MediaTime::fromSeconds(musicLength), {}).ok(),
        "music");
    InputParameters musicParameters{2, {}, nullptr};
    musicParameters.volume.setVolume(0, {});
    musicParameters.volume.setVolumeRamp(0, 0.3f, {}, MediaTime::fromSeconds(3));
    musicParameters.volume.setVolumeRamp(0.3f, 0, MediaTime::fromSeconds(musicLength - 5),
                                         MediaTime::fromSeconds(5));
    p.mix.inputParameters = {voiceParameters, musicParameters};
    return p;
}

enum class Taps { none, gain, treatment };

void attachTaps(AudioMix& mix, Taps taps)
{
    for (InputParameters& parameters : mix.inputParameters) {
        if (taps == Taps::gain)
            parameters.tap = std::make_shared<GainTap>();
        else if (taps == Taps::treatment)
            parameters.tap = std::make_shared<TreatmentTap>(
                parameters.trackID == 1 ? test::fullTreatment() : VoiceTreatment{});
    }
}

// One minute of programme rendered offline; the counter is seconds of audio per second.
void offlineRender(benchmark::State& state)
{
    Programme p = makeProgramme(8, 1.0, 1);
    attachTaps(p.mix, static_cast<Taps>(state.range(0)));
    const double seconds = std::min(60.0, p.length);
    std::vector<float> sink;
    for (auto _ : state) {
        auto rendered = renderOffline(p.composition, p.mix, {}, MediaTime::fromSeconds(seconds), {},
                                      [&](const float* stereo, int frames) {
                                          benchmark::DoNotOptimize(stereo[frames - 1]);
                                          return true;
                                      });
        check(rendered.ok(), "render");
    }
    state.counters["x_realtime"] = benchmark::Counter(
        seconds * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(offlineRender)
    ->Arg(0)
    ->ArgName("taps_none")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(offlineRender)
    ->Arg(1)
    ->ArgName("taps_gain")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(offlineRender)
    ->Arg(2)
    ->ArgName("taps_treatment")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

const Programme& threeHours()
{
    static const Programme programme = [] {
        Programme p = makeProgramme(400, 19.5, 2);
        attachTaps(p.mix, Taps::treatment);
        return p;
    }();
    return programme;
}

// A point inside a random clip, far enough in that the clip is heard at once.
double pointInAClip(const Programme& p, std::mt19937& random)
{
    const auto& clip =
        p.clips[std::uniform_int_distribution<std::size_t>(0, p.clips.size() - 1)(random)];
    return std::uniform_real_distribution<double>(clip.first + 0.5, clip.second - 0.5)(random);
}

// Renders 10 ms blocks as fast as they come back until one is not silent; seconds taken.
double untilAudible(Player& player, Clock::time_point since)
{
    std::vector<float> block(2 * 480);
    for (;;) {
        player.render(block.data(), 480);
        for (float s : block)
            if (s != 0.0f)
                return std::chrono::duration<double>(Clock::now() - since).count();
    }
}

// setItem + seek + play of the 3-hour programme, to the first audible sample.
void startToFirstSound(benchmark::State& state)
{
    const Programme& p = threeHours();
    ManualScheduler scheduler;
    std::mt19937 random(4);
    for (auto _ : state) {
        const double at = pointInAClip(p, random);
        const auto start = Clock::now();
        Player player(scheduler);
        check(player.setItem(p.composition, p.mix).ok(), "setItem");
        player.seek(MediaTime::fromSeconds(at));
        player.play();
        state.SetIterationTime(untilAudible(player, start));
    }
}
BENCHMARK(startToFirstSound)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

// A seek to a random point of the playing 3-hour programme, to its first audible sample.
void seekToSound(benchmark::State& state)
{
    const Programme& p = threeHours();
    ManualScheduler scheduler;
    Player player(scheduler);
    check(player.setItem(p.composition, p.mix).ok(), "setItem");
    player.play();
    std::mt19937 random(5);
    for (auto _ : state) {
        const double at = pointInAClip(p, random);
        const auto start = Clock::now();
        player.seek(MediaTime::fromSeconds(at));
        state.SetIterationTime(untilAudible(player, start));
    }
}
BENCHMARK(seekToSound)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(50);

// Real-time playback: 10 ms blocks pulled on the clock, as an output would, for
// TW_PLAYBACK_SECONDS (600 by default) while another thread keeps the other core busy rendering
// offline. Counters: underruns and the worst lateness of a render call.
void realTimePlayback(benchmark::State& state)
{
    const char* configured = std::getenv("TW_PLAYBACK_SECONDS");
    const double seconds = configured ? std::atof(configured) : 600.0;
    const Programme& p = threeHours();
    ManualScheduler scheduler;
    Player player(scheduler);
    check(player.setItem(p.composition, p.mix).ok(), "setItem");
    std::mt19937 random(6);
    player.seek(MediaTime::fromSeconds(pointInAClip(p, random)));
    player.waitForReadAhead();
    player.play();

    std::atomic<bool> stop{false};
    std::thread load([&] {
        Programme busy = makeProgramme(8, 1.0, 9);
        attachTaps(busy.mix, Taps::treatment);
        while (!stop)
            (void)renderOffline(busy.composition, busy.mix, {}, MediaTime::fromSeconds(20), {},
                                [&](const float*, int) { return !stop.load(); });
    });
    double worstCall = 0;
    for (auto _ : state) {
        std::vector<float> block(2 * 480);
        const auto begin = Clock::now();
        const auto blocks = static_cast<std::int64_t>(seconds * 100);
        for (std::int64_t i = 0; i < blocks; ++i) {
            std::this_thread::sleep_until(begin + std::chrono::milliseconds(10 * i));
            const auto before = Clock::now();
            player.render(block.data(), 480);
            worstCall =
                std::max(worstCall, std::chrono::duration<double>(Clock::now() - before).count());
        }
    }
    stop = true;
    load.join();
    state.counters["underruns"] = static_cast<double>(player.underruns());
    state.counters["worst_render_ms"] = worstCall * 1000;
    state.counters["played_s"] = seconds;
}
BENCHMARK(realTimePlayback)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

} // namespace
} // namespace tw

BENCHMARK_MAIN();
