// The cost of an edit on the main thread for a long project: checkpoint, the edit, the after-edit
// step with its hand-off to the writer queue; undo and redo; the memory a full history takes; one
// clock tick while a take records.
#include "studio/Studio.hpp"
#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"

#include "base/MemoryTuning.hpp"

#include <benchmark/benchmark.h>

#include <malloc.h>

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

// One undo followed by one redo per iteration, each with its after-edit step.
void undoThenRedo(benchmark::State& state)
{
    LongProjectStudio f;
    for (int step = 0; step < 100; ++step) {
        f.studio.selection = TimeRange{step * 3.0, step * 3.0 + 0.5};
        f.studio.silenceSelection(true);
    }
    f.settle();
    for (auto _ : state) {
        f.studio.undo();
        f.studio.redo();
        state.PauseTiming();
        f.settle();
        state.ResumeTiming();
    }
}
BENCHMARK(undoThenRedo)->Unit(benchmark::kMillisecond)->Iterations(300);

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
    f.inputOptions.bufferFrames = 480;
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

int main(int argc, char** argv)
{
    tw::keepFreedMemoryForReuse(); // as the application does
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
