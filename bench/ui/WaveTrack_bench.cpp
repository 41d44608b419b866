// The cost of painting one timeline lane of a three-hour programme (180 one-minute takes, each
// with its full peak envelope; a three-hour music bed) into a 1200-point view, at the widest and
// the closest zoom, rendered offscreen into an image through the lane's own paint path. Also the
// repaint of one play head step during playback.
#include "SpeechEnvelope.hpp"
#include "studio/Studio.hpp"
#include "support/StudioFixture.hpp"
#include "ui/LaneScene.hpp"
#include "ui/WaveTrack.hpp"

#include <QImage>
#include <QPainter>

#include <benchmark/benchmark.h>

#include <cstdint>

namespace tw {
namespace {

constexpr int takeCount = 180;
constexpr double programme = 3 * 3600;
constexpr int viewport = 1200;

using benchdata::speechEnvelope;

struct LongProgramme : testing::StudioFixture {
    // The programme as takeCount takes; clips splits each take into that many clips.
    explicit LongProgramme(int clips = 1)
    {
        const double takeSeconds = programme / takeCount;
        PodcastProject document;
        std::map<std::string, std::vector<float>> waveforms;
        for (int i = 0; i < takeCount; ++i) {
            const std::string file = "Media/voice-" + Uuid::random().text() + ".caf";
            waveforms[file] = speechEnvelope(static_cast<std::size_t>(takeSeconds * 50), i);
            for (int piece = 0; piece < clips; ++piece) {
                Segment clip;
                clip.duration = takeSeconds / clips;
                clip.start = piece * clip.duration;
                clip.timelineStart = i * takeSeconds + clip.start;
                clip.file = file;
                if ((i * clips + piece) % 7 == 3)
                    clip.gain = 0.0f;
                document.segments.push_back(clip);
            }
        }
        document.voiceFile = document.segments.front().file;
        document.musicFile = "Media/music.m4a";
        document.fadeInEnd = 5;
        document.fadeOutStart = programme - 10;
        studio.project = document;
        studio.voiceWaveforms = waveforms;
        studio.musicPeaks = speechEnvelope(static_cast<std::size_t>(programme * 50), 999);
        studio.musicDuration = programme;
        studio.selectedClip = document.segments[document.segments.size() / 2].id;
    }
};

void paintLane(benchmark::State& state, WaveTrack::Kind kind, int clips = 1)
{
    LongProgramme f(clips);
    const double zoom = static_cast<double>(state.range(0));
    f.studio.zoom = zoom;
    WaveTrack lane(f.studio, kind, nullptr);
    const int width = static_cast<int>((programme + 60) * zoom);
    lane.resize(width, lane.height());
    lane.setViewportWidth(viewport);
    QImage image(viewport, lane.height(), QImage::Format_ARGB32_Premultiplied);
    // Visit views all along the programme, with the play head and a selection in each.
    int view = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const int left = static_cast<int>(
            std::fmod(view++ * 7919.0 * zoom, std::max(1.0, width - viewport - 1.0)));
        const double middle = (left + viewport / 2.0) / zoom;
        f.studio.position = middle;
        f.studio.selection = TimeRange{middle - 100 / zoom, middle + 50 / zoom};
        image.fill(Qt::black);
        state.ResumeTiming();
        lane.render(&image, QPoint(), QRegion(left, 0, viewport, lane.height()));
    }
    state.counters["laneWidth"] = width;
}

void voiceLane(benchmark::State& state)
{
    paintLane(state, WaveTrack::Kind::voice);
}
void musicLane(benchmark::State& state)
{
    paintLane(state, WaveTrack::Kind::music);
}
// Process CPU time: Qt's raster engine may hand parts of a fill to its worker threads.
BENCHMARK(voiceLane)->Arg(2)->Arg(300)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
// The same programme edited into 10,800 one-second clips.
void voiceLaneOfShortClips(benchmark::State& state)
{
    paintLane(state, WaveTrack::Kind::voice, 60);
}
BENCHMARK(voiceLaneOfShortClips)
    ->Arg(2)
    ->Arg(300)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();
BENCHMARK(musicLane)->Arg(2)->Arg(300)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

// What a paint or a pointer event gathers from the Studio before it draws or hit-tests.
void laneSceneOfShortClips(benchmark::State& state)
{
    LongProgramme f(60);
    for (auto _ : state)
        benchmark::DoNotOptimize(LaneScene(f.studio, LaneKind::voice, 110));
}
BENCHMARK(laneSceneOfShortClips)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

// One play head step during playback at zoom 30: the strip it leaves and the one it enters.
void playheadStep(benchmark::State& state)
{
    LongProgramme f;
    f.studio.zoom = 30;
    WaveTrack lane(f.studio, WaveTrack::Kind::voice, nullptr);
    lane.resize(static_cast<int>((programme + 60) * 30), lane.height());
    QImage image(40, lane.height(), QImage::Format_ARGB32_Premultiplied);
    double position = 1000;
    for (auto _ : state) {
        const int from = static_cast<int>(position * 30);
        position += 0.05; // one tick of the player's clock
        const int to = static_cast<int>(position * 30);
        f.studio.position = position;
        lane.render(&image, QPoint(), QRegion(from - 16, 0, to - from + 32, lane.height()));
    }
}
BENCHMARK(playheadStep)->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime();

} // namespace
} // namespace tw
