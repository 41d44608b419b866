#include "audio/Player.hpp"

#include "audio/Denormals.hpp"

#include <algorithm>
#include <cmath>
#include <thread>

namespace tw {

namespace {

// A volume that changes under a running player glides there over 10 ms instead of jumping.
constexpr double volumeGlideSeconds = 0.010;
// Without a hand-off to the main thread, how often a pending seek looks for its audio.
constexpr double seekPollSeconds = 0.002;
// A seek completes once every track has this much decoded ahead (at 48 kHz, 170 ms).
constexpr std::int64_t readyFramesAt48k = 8192;
// How long a pause waits, beyond the output's latency, before pausing the output.
constexpr double drainMarginSeconds = 0.05;
// How long a pause waits at most for a render call under way (yields; far more than one call).
constexpr int maxPauseSpins = 100000;

} // namespace

Player::Player(Scheduler& scheduler) : Player(scheduler, Options{})
{
}

Player::Player(Scheduler& scheduler, Options options)
    : scheduler_(scheduler)
    , options_(std::move(options))
    , trackAudio_(static_cast<std::size_t>(graphBlockFrames) * graphChannels)
    , gains_(static_cast<std::size_t>(graphBlockFrames))
    , limiter_(options_.sampleRate, graphChannels)
    , played_(graphChannels, options_.sampleRate)
    , primeBuffer_(static_cast<std::size_t>(limiter_.latency()) * graphChannels)
    , readAhead_(ReadAhead::Options{readyFramesAt48k * options_.sampleRate / 48000,
                                    [this](std::uint64_t generation) { onRunReady(generation); },
                                    [this] { freeRetired(); }, options_.readAheadGate})
{
    renderers_ = std::make_shared<TrackRenderers>();
    startRun(0, MixSnapshot::make(plans_, mix_, options_.sampleRate));
}

Result<std::unique_ptr<Player>> Player::open(AudioOutput& output, Scheduler& scheduler,
                                             Options options)
{
    auto player = std::make_unique<Player>(scheduler, options);
    Player* renderer = player.get();
    output.setRenderCallback(
        [renderer](float* interleaved, int frames) { renderer->render(interleaved, frames); });
    const StreamFormat wanted{static_cast<double>(options.sampleRate), graphChannels,
                              SampleType::float32, true};
    auto opened = output.open(wanted);
    if (!opened)
        return opened.error();
    if (opened.value().channels != graphChannels ||
        opened.value().sampleType != SampleType::float32) {
        output.close();
        return Error{ErrorDomain::audio, 9,
                     "La salida de audio no acepta audio estéreo en coma flotante."};
    }
    const int rate = static_cast<int>(std::lround(opened.value().sampleRate));
    if (rate != options.sampleRate) {
        // The graph is built for one rate: make the player again for the granted one.
        output.close();
        options.sampleRate = rate;
        player = std::make_unique<Player>(scheduler, options);
        renderer = player.get();
        output.setRenderCallback(
            [renderer](float* interleaved, int frames) { renderer->render(interleaved, frames); });
        auto reopened = output.open(opened.value());
        if (!reopened)
            return reopened.error();
    }
    player->output_ = &output;
    return player;
}

Player::~Player()
{
    if (output_)
        output_->close(); // no render() call runs after this
    for (const auto& observer : observers_)
        observer->cancel();
    if (seekPoll_)
        seekPoll_->cancel();
    if (drainTask_)
        drainTask_->cancel();
    for (const PreparedTap& prepared : preparedTaps_)
        if (auto tap = prepared.tap.lock())
            tap->unprepare();
}

Result<void> Player::setItem(const Composition& composition, const AudioMix& mix)
{
    std::vector<TrackPlan> plans = planTracks(composition, options_.sampleRate);
    if (plans.size() > maxTracks)
        plans.resize(maxTracks);
    auto renderers = std::make_shared<TrackRenderers>();
    for (const TrackPlan& plan : plans) {
        renderers->push_back(std::make_unique<TrackRenderer>(plan, options_.sampleRate));
        if (auto opened = renderers->back()->readers().openAll(); !opened)
            return opened.error();
    }
    prepareTaps(mix);

    composition_ = composition;
    mix_ = mix;
    plans_ = std::move(plans);
    renderers_ = std::move(renderers);
    ++mixSerial_;
    startRun(0, MixSnapshot::make(plans_, mix_, options_.sampleRate));
    if (pendingSeek_) {
        // The item it was seeking in is gone.
        auto completion = std::move(pendingSeek_->completion);
        pendingSeek_.reset();
        if (completion)
            scheduler_.after(0, [completion] { completion(false); });
    }
    return {};
}

void Player::setAudioMix(const AudioMix& mix)
{
    prepareTaps(mix);
    mix_ = mix;
    ++mixSerial_;
    publish(MixSnapshot::make(plans_, mix_, options_.sampleRate), state_->run);
}

void Player::prepareTaps(const AudioMix& mix)
{
    const StreamFormat format = graphStreamFormat(options_.sampleRate);
    std::erase_if(preparedTaps_, [](const PreparedTap& p) { return p.tap.expired(); });
    for (const InputParameters& parameters : mix.inputParameters) {
        if (!parameters.tap)
            continue;
        auto known =
            std::find_if(preparedTaps_.begin(), preparedTaps_.end(),
                         [&](const PreparedTap& p) { return p.tap.lock() == parameters.tap; });
        if (known != preparedTaps_.end() && known->format == format)
            continue; // running already: its state carries on
        // Not yet in any snapshot the render thread can see, so preparing here is safe.
        parameters.tap->prepare(graphBlockFrames, format);
        if (known != preparedTaps_.end())
            known->format = format;
        else
            preparedTaps_.push_back(PreparedTap{parameters.tap, format});
    }
}

void Player::startRun(std::int64_t frame, std::shared_ptr<const MixSnapshot> mix)
{
    ++generation_;
    const auto ringFrames =
        static_cast<std::int64_t>(std::ceil(options_.readAheadSeconds * options_.sampleRate));
    auto run = std::make_shared<PlaybackRun>(generation_, frame, static_cast<int>(plans_.size()),
                                             graphChannels, ringFrames);
    publish(std::move(mix), run);
    heardFloor_ = frame;
    readAhead_.fill(renderers_, std::move(run));
}

void Player::publish(std::shared_ptr<const MixSnapshot> mix, std::shared_ptr<PlaybackRun> run)
{
    auto state =
        std::make_shared<RenderState>(RenderState{std::move(run), std::move(mix), mixSerial_});
    published_.store(state.get());
    {
        std::lock_guard lock(retiredMutex_);
        if (state_)
            retired_.push_back(std::move(state_));
    }
    state_ = std::move(state);
    freeRetired();
}

void Player::freeRetired()
{
    std::lock_guard lock(retiredMutex_);
    const RenderState* reading = inUse_.load();
    std::erase_if(retired_, [&](const auto& state) { return state.get() != reading; });
}

void Player::play()
{
    if (playing_.load(std::memory_order_relaxed))
        return;
    // Nothing from here on is heard before what the output already holds.
    heardFloor_ = std::max(heardFloor_, playedFrame());
    if (drainTask_) {
        drainTask_->cancel();
        drainTask_.reset();
    }
    // A drained output holds nothing but the silence rendered after the pause. It is dropped
    // while the render is still silent: a paused stream is still asked for audio, and a drop
    // after the render had resumed would take the first frames with it.
    if (output_ && outputDrained_)
        (void)output_->flush();
    outputDrained_ = false;
    playing_.store(true);
    if (!output_)
        return;
    if (auto started = output_->start(); !started)
        outputError_ = started.error();
}

void Player::pause()
{
    if (!playing_.exchange(false))
        return;
    // A render call under way finishes with the frames it took; after it, the render stays
    // silent and the stop frame is final.
    const std::uint64_t seen = renderCalls_.load();
    for (int spins = 0; inUse_.load() && renderCalls_.load() == seen && spins < maxPauseSpins;
         ++spins)
        std::this_thread::yield();
    // The output keeps playing what it holds, so the sound stops at exactly the frame where the
    // next play() resumes: stopping it at once would leave the output to take back what it had
    // already sent on its way, and some of that would be heard twice. Once it has played out,
    // the output is paused.
    if (!output_)
        return;
    drainTask_ = scheduler_.after(output_->latency() + drainMarginSeconds, [this] {
        drainTask_.reset();
        outputDrained_ = true;
        (void)output_->pause();
    });
}

std::optional<Error> Player::takeError()
{
    if (outputError_)
        return std::exchange(outputError_, std::nullopt);
    return readAhead_.takeError();
}

std::int64_t Player::latencyFrames() const
{
    double seconds = 0;
    if (options_.outputLatency)
        seconds = options_.outputLatency();
    else if (output_)
        seconds = output_->latency();
    return static_cast<std::int64_t>(std::llround(std::max(seconds, 0.0) * options_.sampleRate));
}

std::int64_t Player::playedFrame() const
{
    return state_->run->startFrame + state_->run->consumed.load(std::memory_order_acquire);
}

MediaTime Player::currentTime() const
{
    // Playing, the output holds what was rendered and not heard yet; paused, it plays that out
    // and stops at the last frame rendered. A seek drops it and puts the floor at its frame.
    const std::int64_t played = playedFrame();
    const std::int64_t heard = std::max(
        heardFloor_, playing_.load(std::memory_order_relaxed) ? played - latencyFrames() : played);
    return MediaTime{static_cast<std::int64_t>(
        std::llround(static_cast<double>(heard) * MediaTime::timescale / options_.sampleRate))};
}

void Player::seek(MediaTime time, std::function<void(bool finished)> completion)
{
    if (pendingSeek_ && pendingSeek_->completion) {
        auto overtaken = std::move(pendingSeek_->completion);
        scheduler_.after(0, [overtaken] { overtaken(false); });
    }
    // The render goes silent first and stays so while what the output still holds of the old
    // position is dropped: none of the old audio can follow the drop, and none of the new can be
    // caught by it. The drop comes before anything else, so the old audio stops at once.
    holding_.store(true);
    if (output_)
        (void)output_->flush();
    startRun(std::max<std::int64_t>(0, time.frameAt(options_.sampleRate)), state_->mix);
    holding_.store(false);
    pendingSeek_ = PendingSeek{generation_, std::move(completion)};
    // With a hand-off, onRunReady() brings the completion to the main thread; it cannot
    // arrive before this returns.
    if (!options_.postToMain && !seekPoll_)
        seekPoll_ = scheduler_.every(seekPollSeconds, [this] { completeSeekIfReady(); });
}

void Player::onRunReady(std::uint64_t)
{
    if (options_.postToMain)
        options_.postToMain([this, alive = std::weak_ptr<bool>(alive_)] {
            if (alive.lock())
                completeSeekIfReady();
        });
}

void Player::completeSeekIfReady()
{
    if (pendingSeek_ && state_->run->generation == pendingSeek_->generation &&
        state_->run->ready.load(std::memory_order_acquire)) {
        auto completion = std::move(pendingSeek_->completion);
        pendingSeek_.reset();
        if (completion)
            completion(true);
    }
    if (!pendingSeek_ && seekPoll_) {
        seekPoll_->cancel();
        seekPoll_.reset();
    }
}

TaskHandle Player::addPeriodicTimeObserver(double interval, std::function<void(MediaTime)> observer)
{
    auto handle = scheduler_.every(
        interval, [this, observer = std::move(observer)] { observer(currentTime()); });
    observers_.push_back(handle);
    return handle;
}

void Player::removeTimeObserver(const TaskHandle& observer)
{
    if (!observer)
        return;
    observer->cancel();
    std::erase(observers_, observer);
}

void Player::waitForReadAhead()
{
    readAhead_.waitUntilFull(*state_->run);
}

int Player::takePlayed(float* interleaved, int maxFrames)
{
    return static_cast<int>(played_.read(interleaved, maxFrames));
}

const Player::RenderState* Player::acquireState()
{
    // A hazard pointer: once inUse_ names the state and it is still the published one, the
    // other threads will not free it until inUse_ changes.
    const RenderState* state = nullptr;
    do {
        state = published_.load();
        inUse_.store(state);
    } while (state != published_.load());
    return state;
}

void Player::releaseState()
{
    inUse_.store(nullptr);
}

void Player::adoptState(const RenderState& state)
{
    const bool sameRun = state.run->generation == renderGeneration_;
    const int glideFrames = static_cast<int>(std::lround(volumeGlideSeconds * options_.sampleRate));
    for (std::size_t i = 0; i < state.mix->tracks.size(); ++i) {
        const VolumeCurve& curve = state.mix->tracks[i].curve;
        if (sameRun) {
            trackStates_[i].glideInto(curve, glideFrames);
        } else {
            trackStates_[i] = TrackMixState{};
            trackStates_[i].cursor = VolumeCursor(&curve);
        }
    }
    if (!sameRun) {
        limiter_.reset();
        primeLeft_ = limiter_.latency();
    }
    renderGeneration_ = state.run->generation;
    renderMixSerial_ = state.mixSerial;
}

void Player::render(float* interleaved, int frames)
{
    ScopedDenormalsOff denormals;
    std::fill(interleaved, interleaved + static_cast<std::ptrdiff_t>(frames) * graphChannels, 0.0f);
    const RenderState* state = acquireState();
    if (!state) {
        releaseState();
        return;
    }
    if (state->run->generation != renderGeneration_ || state->mixSerial != renderMixSerial_)
        adoptState(*state);
    PlaybackRun& run = *state->run;
    // In order with acquireState(): pause() relies on seeing either this call in inUse_ or
    // its own flag here.
    if (!playing_.load() || frames <= 0) {
        releaseState();
        return;
    }
    if (holding_.load()) {
        releaseState();
        return;
    }
    // Until a run is ready this is the wait of a seek, not a fault.
    const bool ready = run.ready.load(std::memory_order_acquire);
    for (const auto& ring : run.rings) {
        if (ring->readable() < frames + primeLeft_) {
            // Not decoded in time: silence now, and the same audio next time, so nothing is
            // skipped.
            if (ready)
                underruns_.fetch_add(1, std::memory_order_relaxed);
            releaseState();
            return;
        }
    }
    const MixSnapshot& mix = *state->mix;
    const auto mixInto = [&](float* out, int count, std::int64_t firstFrame) {
        for (std::size_t i = 0; i < run.rings.size(); ++i) {
            run.rings[i]->read(trackAudio_.data(), count);
            mixTrackBlock(mix.tracks[i], trackStates_[i], trackAudio_.data(), out, gains_.data(),
                          count, firstFrame);
        }
    };
    // The master stage holds its output back by its latency: at the start of a run it is fed
    // that much first, so what comes out is the run's first frame.
    const int ahead = limiter_.latency();
    if (primeLeft_ > 0) {
        std::fill(primeBuffer_.begin(), primeBuffer_.end(), 0.0f);
        mixInto(primeBuffer_.data(), primeLeft_, run.startFrame);
        limiter_.process(primeBuffer_.data(), primeLeft_);
        primeLeft_ = 0;
    }
    const std::int64_t consumed = run.consumed.load(std::memory_order_relaxed);
    const std::int64_t first = run.startFrame + ahead + consumed;
    for (int done = 0; done < frames;) {
        const int count = std::min(graphBlockFrames, frames - done);
        mixInto(interleaved + static_cast<std::ptrdiff_t>(done) * graphChannels, count,
                first + done);
        done += count;
    }
    limiter_.process(interleaved, frames);
    played_.write(interleaved, frames);
    run.consumed.store(consumed + frames, std::memory_order_release);
    renderCalls_.fetch_add(1);
    releaseState();
}

} // namespace tw
