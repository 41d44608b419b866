// The main window content at 1280 × 680 with a three-hour programme open (180 one-minute takes,
// each with its full peak envelope, and a three-hour music bed): the cost of one full repaint of
// every widget, offscreen, scrolled into the middle of the programme; and the number of paints
// the window makes over two seconds of idle clock ticks (it should make none).
#include "PaintCounter.hpp"
#include "SpeechEnvelope.hpp"
#include "studio/Studio.hpp"
#include "support/StudioFixture.hpp"
#include "ui/ContentView.hpp"
#include "ui/ControlRow.hpp"
#include "ui/StatusLine.hpp"
#include "ui/StudioVUMeters.hpp"
#include "ui/TapeDeck.hpp"
#include "ui/TimelineView.hpp"
#include "ui/TransportBar.hpp"
#include "ui/VoiceStudioPanel.hpp"

#include <QApplication>
#include <QImage>
#include <QScrollArea>
#include <QScrollBar>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>

namespace tw {
namespace {

constexpr int takeCount = 180;
constexpr double takeSeconds = 60;
constexpr double programme = takeCount * takeSeconds;

using benchdata::speechEnvelope;

struct OpenWindow : testing::StudioFixture {
    ContentView view{studio, scheduler};

    OpenWindow()
    {
        PodcastProject document;
        std::map<std::string, std::vector<float>> waveforms;
        for (int i = 0; i < takeCount; ++i) {
            Segment take;
            take.duration = takeSeconds;
            take.timelineStart = i * takeSeconds;
            take.file = "Media/voice-" + Uuid::random().text() + ".caf";
            waveforms[*take.file] = speechEnvelope(static_cast<std::size_t>(takeSeconds * 50), i);
            document.segments.push_back(take);
        }
        document.musicFile = "Media/music.m4a";
        document.fadeInEnd = 5;
        document.fadeOutStart = programme - 10;
        studio.folder = std::filesystem::temp_directory_path() / "tapewright-bench.podcastproject";
        studio.project = document;
        studio.voiceWaveforms = waveforms;
        studio.musicPeaks = speechEnvelope(static_cast<std::size_t>(programme * 50), 999);
        studio.musicDuration = programme;
        studio.position = programme / 2;
        studio.selection = TimeRange{programme / 2 - 4, programme / 2 + 6};

        view.resize(1280, 680);
        view.show();
        QCoreApplication::processEvents();
        QScrollBar& bar = *view.timeline().scrollArea().horizontalScrollBar();
        bar.setValue(static_cast<int>(programme / 2 * studio.zoom()) - 600);
        QCoreApplication::processEvents();
    }
};

void fullRepaint(benchmark::State& state)
{
    OpenWindow f;
    for (auto _ : state)
        f.view.repaint(); // paints every child now, into the window's backing store
}
BENCHMARK(fullRepaint)->Unit(benchmark::kMillisecond);

// One region alone, to see where the full repaint's time goes.
void regionRepaint(benchmark::State& state)
{
    OpenWindow f;
    QWidget* regions[] = {&f.view.deck(),           &f.view.meters(),    &f.view.spectrumPanel(),
                          &f.view.equalizerPanel(), &f.view.transport(), &f.view.voicePanel(),
                          &f.view.timeline(),       &f.view.controls(),  &f.view.status()};
    QWidget* region = regions[state.range(0)];
    state.SetLabel(region->metaObject()->className());
    for (auto _ : state)
        region->repaint();
}
BENCHMARK(regionRepaint)->DenseRange(0, 8)->Unit(benchmark::kMillisecond);

void renderToImage(benchmark::State& state)
{
    OpenWindow f;
    QImage image(f.view.size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        f.view.render(&image);
        benchmark::DoNotOptimize(image.bits());
    }
}
BENCHMARK(renderToImage)->Unit(benchmark::kMillisecond);

void idlePaints(benchmark::State& state)
{
    OpenWindow f;
    for (int i = 0; i < 5; ++i) {
        f.scheduler.advance(0.1);
        QCoreApplication::processEvents();
    }
    PaintCounter counter;
    for (auto _ : state) {
        qApp->installEventFilter(&counter);
        for (int tick = 0; tick < 20; ++tick) { // two seconds of the 0.1 s clock
            f.scheduler.advance(0.1);
            QCoreApplication::processEvents();
        }
        qApp->removeEventFilter(&counter);
    }
    state.counters["paintsPerTwoSeconds"] =
        static_cast<double>(counter.paints) / static_cast<double>(state.iterations());
}
BENCHMARK(idlePaints)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace tw
