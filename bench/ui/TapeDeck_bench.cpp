// What the deck's animation costs while the reels turn: the deck is shown (offscreen) with the
// transport playing, the event loop runs for one second of wall time at a time, and the process
// CPU time spent in that second is reported as a share of one core, with the frames drawn.
// A standing deck is measured the same way: it should draw nothing.
#include "PaintCounter.hpp"
#include "studio/Studio.hpp"
#include "support/StudioFixture.hpp"
#include "ui/TapeDeck.hpp"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QImage>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <ctime>

namespace tw {
namespace {

double processCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void animate(benchmark::State& state, bool playing)
{
    testing::StudioFixture f;
    PodcastProject document;
    Segment take;
    take.duration = 3600;
    take.timelineStart = 0;
    take.file = "Media/take.caf";
    document.segments = {take};
    f.studio.project = document;
    f.studio.position = 1200;
    TapeDeck deck(f.studio, SteadyClock::instance());
    deck.show();
    PaintCounter counter;
    deck.installEventFilter(&counter);
    f.studio.playing = playing;
    QApplication::processEvents();

    double cpu = 0;
    double wall = 0;
    counter.paints = 0;
    for (auto _ : state) {
        QEventLoop loop;
        QTimer::singleShot(1000, &loop, &QEventLoop::quit);
        QElapsedTimer elapsed;
        elapsed.start();
        const double before = processCpuSeconds();
        loop.exec();
        cpu += processCpuSeconds() - before;
        wall += static_cast<double>(elapsed.nsecsElapsed()) * 1e-9;
    }
    state.counters["cpuPercentOfOneCore"] = 100.0 * cpu / wall;
    state.counters["framesPerSecond"] = counter.paints / wall;
    state.counters["msPerFrame"] = counter.paints ? 1000.0 * cpu / counter.paints : 0.0;
}

void deckPlaying(benchmark::State& state)
{
    animate(state, true);
}
void deckStopped(benchmark::State& state)
{
    animate(state, false);
}
// One frame's drawing alone, into an image: the share of the above that is the deck's own.
void deckFrame(benchmark::State& state)
{
    testing::StudioFixture f;
    f.studio.position = 1200;
    f.studio.playing = true;
    TapeDeck deck(f.studio, SteadyClock::instance());
    QImage image(deck.size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        f.studio.reelAngle -= 3; // a new angle each frame, as while playing
        deck.render(&image);
    }
}
BENCHMARK(deckFrame)->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime();

BENCHMARK(deckPlaying)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(deckStopped)->Iterations(2)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
} // namespace tw
