// The cost of an edit on the main thread for a long project: checkpoint, the edit, the after-edit
// step with its hand-off to the writer queue; undo and redo; the memory a full history takes; one
// clock tick while a take records; a playback start in a 3-hour programme.
#include "studio/Studio.hpp"
#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"

#include "audio/CafWriter.hpp"
#include "audio/SimulatedAudioOutput.hpp"

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <chrono>
#include <random>

namespace tw {
namespace {

constexpr int clipCount = 10000;

PodcastProject longProject()
{
    PodcastProject document;
    document.segments.reserve(clipCount);
    for (int i = 0; i < clipCount; ++i) {
        Segment clip;
        clip.start = 0;
        clip.duration = 1;
        clip.file = "Media/voice-" + Uuid::random().text() + ".caf";
        clip.timelineStart = static_cast<double>(i);
        document.segments.push_back(clip);
    }
    return document;
}

struct LongProjectStudio : testing::StudioFixture {
    testing::TempFolder temp;
    LongProjectStudio()
    {
        std::filesystem::create_directories(temp / "long.podcastproject" / "Media");
        studio.folder = temp / "long.podcastproject";
        studio.project = longProject();
        settle();
    }
};

// checkpoint + silencing one second + changed (pause, clamp, two saves handed to the writer).
void editWithUndoStep(benchmark::State& state)
{
    LongProjectStudio f;
    double at = 100;
    for (auto _ : state) {
        state.PauseTiming();
        f.settle(); // keep the writer from piling up copies between iterations
        f.studio.selection = TimeRange{at, at + 0.5};
        at = at < clipCount - 10 ? at + 7 : 100;
        state.ResumeTiming();
        f.studio.silenceSelection(true);
    }
    state.counters["undoSteps"] = static_cast<double>(f.studio.undoStack->size());
}
BENCHMARK(editWithUndoStep)->Unit(benchmark::kMillisecond)->Iterations(300);

// One undo or one redo with its after-edit step, alternating, timed on the main thread while the
// writer is idle, as between a person's key presses (the saves are written between iterations).
void undoOrRedo(benchmark::State& state)
{
    LongProjectStudio f;
    for (int step = 0; step < 100; ++step) {
        f.studio.selection = TimeRange{step * 3.0, step * 3.0 + 0.5};
        f.studio.silenceSelection(true);
    }
    f.settle();
    bool undoNext = true;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        undoNext ? f.studio.undo() : f.studio.redo();
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        undoNext = !undoNext;
        state.PauseTiming();
        f.settle();
        state.ResumeTiming();
    }
}
BENCHMARK(undoOrRedo)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(300);

// A 3-hour programme on disk: 400 clips of about 27 s from 20 takes of 30 s (float CAF, as the
// recorder writes them), opened in a Studio whose output a loop pulls as fast as it can.
struct ThreeHourStudio : testing::StudioFixture {
    testing::TempFolder temp;
    std::vector<std::pair<double, double>> clips;
    ThreeHourStudio()
    {
        const auto folder = temp / "three-hours.podcastproject";
        std::filesystem::create_directories(folder / "Media");
        std::mt19937 random(5);
        std::uniform_real_distribution<float> noise(-0.3f, 0.3f);
        std::vector<float> speech(30 * 48000);
        for (int t = 0; t < 20; ++t) {
            for (float& sample : speech)
                sample = noise(random);
            auto writer = CafWriter::create(
                folder / "Media" / ("voice-" + std::to_string(t) + ".caf"), 48000, 1);
            if (!writer || !writer.value()->writeInterleaved(speech.data(), 30 * 48000) ||
                !writer.value()->close())
                throw std::runtime_error("cannot write a take");
        }
        PodcastProject document;
        std::uniform_real_distribution<double> length(25, 29), gap(0, 0.5);
        double at = 0;
        for (int i = 0; i < 400; ++i) {
            Segment clip;
            clip.start = 0.5;
            clip.duration = length(random);
            clip.file = "Media/voice-" + std::to_string(i % 20) + ".caf";
            clip.timelineStart = at;
            document.segments.push_back(clip);
            clips.emplace_back(at, at + clip.duration);
            at += clip.duration + gap(random);
        }
        testing::writeProject(folder, document);
        if (!openAndWait(folder) || studio.duration() < 3 * 3600)
            throw std::runtime_error("cannot open the programme");
    }
};

// togglePlayback at a random point inside a clip of the 3-hour programme, to the first audible
// sample the output pulls: the mix build, the player, its first seek and the first render.
void togglePlaybackToFirstSound(benchmark::State& state)
{
    ThreeHourStudio f;
    std::mt19937 random(6);
    for (auto _ : state) {
        state.PauseTiming();
        const auto& clip = f.clips[std::uniform_int_distribution<std::size_t>(0, 399)(random)];
        f.studio.seek(
            std::uniform_real_distribution<double>(clip.first + 0.5, clip.second - 0.5)(random));
        const auto start = std::chrono::steady_clock::now();
        state.ResumeTiming();
        f.studio.togglePlayback();
        f.waitUntil([&] { return !f.studio.busy(); });
        bool audible = false;
        while (f.studio.playing() && !audible) {
            f.lastOutput->clearRendered();
            f.lastOutput->advance(480);
            for (float sample : f.lastOutput->rendered())
                audible = audible || sample != 0.0f;
        }
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        state.PauseTiming();
        if (!audible)
            state.SkipWithError(f.studio.message().value_or("nothing was heard").c_str());
        f.studio.pause();
        f.settle();
        state.ResumeTiming();
    }
}
BENCHMARK(togglePlaybackToFirstSound)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(20);

// Heap held by a full history of 100 documents of 10,000 clips.
void historyMemory(benchmark::State& state)
{
    for (auto _ : state) {
        LongProjectStudio f;
        const std::size_t before = mallinfo2().uordblks;
        for (int step = 0; step < 100; ++step) {
            f.studio.selection = TimeRange{step * 3.0, step * 3.0 + 0.5};
            f.studio.silenceSelection(true);
            f.settle();
        }
        const std::size_t after = mallinfo2().uordblks;
        state.counters["history_MB"] = static_cast<double>(after - before) / (1024.0 * 1024.0);
        state.counters["steps"] = static_cast<double>(f.studio.undoStack->size());
    }
}
BENCHMARK(historyMemory)->Unit(benchmark::kMillisecond)->Iterations(1);

// One clock tick on the main thread while a take records: a microphone at real-time pace feeds the
// recorder, whose analyser keeps the shared spectrum monitor's "record" source fresh, so the tick
// does its full work (reels, levels, warning, spectrum, the recorder's poll).
void tickWhileRecording(benchmark::State& state)
{
    testing::TempFolder temp; // outlives the studio, which finishes the take into it
    testing::StudioFixture f;
    f.inputOptions.pieceFrames = 480;
    f.inputOptions.pace = SimulatedAudioInput::Pace::realTime;
    f.inputOptions.length = -1;
    f.host.newProjectAnswers.push_back(temp / "tick.podcastproject");
    if (!f.studio.newProject()) {
        state.SkipWithError("no project");
        return;
    }
    f.studio.record();
    f.scheduler.advance(3.0); // the countdown
    // Wait until the analyser has published, so the spectrum step reads live bands.
    if (!f.studio.recording() || !f.waitUntil([&] {
            f.scheduler.advance(0.1);
            return f.studio.liveDuration > 0.2;
        })) {
        state.SkipWithError("the take did not start");
        return;
    }
    std::int64_t ticks = 0;
    for (auto _ : state) {
        f.studio.tick();
        ++ticks;
        if (ticks % 100 == 0) {
            state.PauseTiming();
            QCoreApplication::processEvents();
            state.ResumeTiming();
        }
    }
    state.counters["take_s"] = f.studio.liveDuration;
    state.counters["vuRecord"] = f.studio.vuLevels()[0];
    if (!f.studio.recording())
        state.SkipWithError("the take stopped during the benchmark");
    f.studio.stopRecording();
}
BENCHMARK(tickWhileRecording)->Unit(benchmark::kMicrosecond)->MinTime(2.0);

} // namespace
} // namespace tw
