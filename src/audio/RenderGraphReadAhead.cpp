#include "audio/RenderGraphReadAhead.hpp"

#include "audio/Denormals.hpp"

#include <pthread.h>

#include <chrono>
#include <utility>

namespace tw {

namespace {

// Until a run is ready the tracks take turns in small blocks, so that the first audio of every
// track is there as soon as possible; after that larger blocks cost less per frame.
constexpr int startBlockFrames = 2048;
constexpr int steadyBlockFrames = 8192;
// How long the thread rests when every ring is full. The rings hold seconds, so this is far
// shorter than the time they take to drain.
constexpr auto restInterval = std::chrono::milliseconds(10);

} // namespace

ReadAhead::ReadAhead(Options options)
    : options_(std::move(options))
    , block_(static_cast<std::size_t>(steadyBlockFrames) * graphChannels)
{
    thread_ = std::thread([this] { run(); });
}

ReadAhead::~ReadAhead()
{
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    filled_.notify_all();
    thread_.join();
}

void ReadAhead::fill(std::shared_ptr<TrackRenderers> renderers, std::shared_ptr<PlaybackRun> run)
{
    {
        std::lock_guard lock(mutex_);
        latest_.store(run->generation, std::memory_order_relaxed);
        renderers_ = std::move(renderers);
        run_ = std::move(run);
        pendingWake_ = true;
    }
    wake_.notify_all();
}

void ReadAhead::wake()
{
    {
        std::lock_guard lock(mutex_);
        pendingWake_ = true;
    }
    wake_.notify_all();
}

void ReadAhead::waitUntilFull(const PlaybackRun& run)
{
    std::unique_lock lock(mutex_);
    filled_.wait(lock, [&] {
        if (stopping_ || superseded(run))
            return true;
        for (const auto& ring : run.rings)
            if (ring->writable() >= steadyBlockFrames)
                return false;
        return run.ready.load(std::memory_order_acquire);
    });
}

std::optional<Error> ReadAhead::takeError()
{
    std::lock_guard lock(mutex_);
    return std::exchange(error_, std::nullopt);
}

bool ReadAhead::superseded(const PlaybackRun& run)
{
    return latest_.load(std::memory_order_relaxed) != run.generation;
}

void ReadAhead::run()
{
    pthread_setname_np(pthread_self(), "tw-read-ahead");
    ScopedDenormalsOff denormals; // resampling and decoding near-silence
    std::shared_ptr<TrackRenderers> renderers;
    std::shared_ptr<PlaybackRun> run;
    bool announced = false;
    for (;;) {
        {
            std::lock_guard lock(mutex_);
            if (stopping_)
                return;
            pendingWake_ = false;
            if (run_ != run) {
                run = run_;
                renderers = renderers_;
                announced = false;
                for (auto& renderer : *renderers)
                    renderer->seek(run->startFrame);
            }
        }
        if (options_.housekeeping)
            options_.housekeeping();
        const bool worked = run && fillPass(*renderers, *run, announced);
        if (worked) {
            // Taking the lock orders the ring writes before a waiter's next look at them.
            {
                std::lock_guard lock(mutex_);
            }
            filled_.notify_all();
        } else {
            std::unique_lock lock(mutex_);
            wake_.wait_for(lock, restInterval, [&] { return stopping_ || pendingWake_; });
        }
    }
}

bool ReadAhead::fillPass(TrackRenderers& renderers, PlaybackRun& run, bool& announced)
{
    bool worked = false;
    const int block = announced ? steadyBlockFrames : startBlockFrames;
    for (std::size_t i = 0; i < run.rings.size(); ++i) {
        SpscRing& ring = *run.rings[i];
        const std::int64_t enough = std::min(options_.readyFrames, ring.capacity());
        if (!announced && ring.written() >= enough)
            continue; // this track can start; let the others catch up first
        if (ring.writable() < block)
            continue;
        if (superseded(run))
            return true;
        if (options_.gate && !options_.gate())
            return worked;
        auto rendered = renderers[i]->render(block_.data(), block);
        if (!rendered) {
            std::lock_guard lock(mutex_);
            if (!error_)
                error_ = rendered.error();
        }
        ring.write(block_.data(), block);
        worked = true;
    }
    if (!announced) {
        bool ready = true;
        for (const auto& ring : run.rings)
            ready = ready && ring->written() >= std::min(options_.readyFrames, ring->capacity());
        if (ready) {
            announced = true;
            run.ready.store(true, std::memory_order_release);
            if (options_.onReady)
                options_.onReady(run.generation);
            worked = true;
        }
    }
    return worked;
}

} // namespace tw
