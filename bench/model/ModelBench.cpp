// Cost of reading, writing and editing a long programme: a document of 10,000 resolved clips
// (several hours of edited voice), the size at which an edit must still feel instant.
#include "model/ProjectJson.hpp"

#include <benchmark/benchmark.h>

#include <random>

namespace {

constexpr int clipCount = 10'000;

tw::PodcastProject longProgramme()
{
    std::mt19937 random(42);
    std::uniform_real_distribution<double> length(0.5, 3.0);
    std::uniform_real_distribution<double> gap(0, 0.4);
    tw::PodcastProject project;
    project.voiceFile = "Media/voice-" + tw::Uuid::random().text() + ".caf";
    std::vector<std::string> takes;
    for (int i = 0; i < 20; ++i)
        takes.push_back("Media/voice-" + tw::Uuid::random().text() + ".caf");
    double at = 0;
    for (int i = 0; i < clipCount; ++i) {
        tw::Segment clip;
        clip.start = length(random) * 30;
        clip.duration = length(random);
        clip.file = takes[static_cast<std::size_t>(i) % takes.size()];
        clip.timelineStart = at;
        if (i % 7 == 0)
            clip.gain = 0.0f;
        project.segments.push_back(clip);
        at += clip.duration + gap(random);
    }
    project.treatment = tw::VoiceTreatment{};
    project.musicFile = "Media/music-" + tw::Uuid::random().text() + ".mp3";
    project.playhead = at / 3;
    return project;
}

const tw::PodcastProject& programme()
{
    static const tw::PodcastProject project = longProgramme();
    return project;
}

double middle()
{
    return programme().voiceDuration() / 2 + 0.123;
}

// Times one edit on a fresh copy; the copy itself is not timed.
template <class Edit> void timeEdit(benchmark::State& state, Edit edit)
{
    for (auto _ : state) {
        state.PauseTiming();
        tw::PodcastProject project = programme();
        state.ResumeTiming();
        edit(project);
        benchmark::DoNotOptimize(project.segments.data());
        state.PauseTiming();
        project = {}; // freeing the old list is not part of the edit
        state.ResumeTiming();
    }
}

void encode(benchmark::State& state)
{
    for (auto _ : state) {
        tw::Result<std::string> text = tw::encode(programme());
        benchmark::DoNotOptimize(text.value().data());
    }
    state.SetBytesProcessed(state.iterations() *
                            static_cast<int64_t>(tw::encode(programme()).value().size()));
}

void decode(benchmark::State& state)
{
    std::string text = tw::encode(programme()).value();
    for (auto _ : state) {
        tw::Result<tw::PodcastProject> project = tw::decode(text);
        benchmark::DoNotOptimize(project.value().segments.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

void encodeAndDecode(benchmark::State& state)
{
    for (auto _ : state) {
        tw::Result<tw::PodcastProject> project = tw::decode(tw::encode(programme()).value());
        benchmark::DoNotOptimize(project.value().segments.data());
    }
}

void resolvedSegments(benchmark::State& state)
{
    for (auto _ : state) {
        std::vector<tw::Segment> clips = programme().resolvedSegments();
        benchmark::DoNotOptimize(clips.data());
    }
}

void split(benchmark::State& state)
{
    timeEdit(state, [](tw::PodcastProject& p) { p.split(middle()); });
}

void trimVoice(benchmark::State& state)
{
    timeEdit(state, [](tw::PodcastProject& p) { p.trimVoice({100.5, middle() + 1000}); });
}

void deleteVoice(benchmark::State& state)
{
    timeEdit(state, [](tw::PodcastProject& p) { p.deleteVoice(middle(), middle() + 600); });
}

void silence(benchmark::State& state)
{
    timeEdit(state, [](tw::PodcastProject& p) { p.silence({middle(), middle() + 60}, true); });
}

void paste(benchmark::State& state)
{
    static const std::vector<tw::Segment> copied = programme().copiedClips({10, 70});
    timeEdit(state, [](tw::PodcastProject& p) { p.paste(copied, 60, middle()); });
}

void insertTake(benchmark::State& state)
{
    timeEdit(state, [](tw::PodcastProject& p) {
        p.insertTake("Media/voice-new.caf", 30, middle(), tw::Uuid::random());
    });
}

void moveClip(benchmark::State& state)
{
    // The first clip dropped into the middle: every later clip is checked for a push.
    timeEdit(state, [](tw::PodcastProject& p) { p.moveClip(p.segments.front().id, middle()); });
}

BENCHMARK(encode)->Unit(benchmark::kMillisecond);
BENCHMARK(decode)->Unit(benchmark::kMillisecond);
BENCHMARK(encodeAndDecode)->Unit(benchmark::kMillisecond);
BENCHMARK(resolvedSegments)->Unit(benchmark::kMillisecond);
BENCHMARK(split)->Unit(benchmark::kMillisecond);
BENCHMARK(trimVoice)->Unit(benchmark::kMillisecond);
BENCHMARK(deleteVoice)->Unit(benchmark::kMillisecond);
BENCHMARK(silence)->Unit(benchmark::kMillisecond);
BENCHMARK(paste)->Unit(benchmark::kMillisecond);
BENCHMARK(insertTake)->Unit(benchmark::kMillisecond);
BENCHMARK(moveClip)->Unit(benchmark::kMillisecond);

} // namespace
