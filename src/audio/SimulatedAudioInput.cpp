#include "audio/SimulatedAudioInput.hpp"

#include "audio/Denormals.hpp"

#include <pulse/def.h>

#include <algorithm>
#include <memory>

namespace tw {

namespace {

// The status the sound server reports for a missing source.
constexpr int missingSourceStatus = PA_ERR_NOENTITY;

} // namespace

SimulatedAudioInput::SimulatedAudioInput(Options options, Signal signal)
    : options_(options)
    , signal_(std::move(signal))
{
}

SimulatedAudioInput::SimulatedAudioInput(Options options, std::vector<float> interleaved)
    : options_(options)
{
    int channels = std::max(options.format.channels, 1);
    options_.length = static_cast<std::int64_t>(interleaved.size()) / channels;
    auto samples = std::make_shared<const std::vector<float>>(std::move(interleaved));
    signal_ = [samples, channels](std::int64_t frame, int channel) {
        return (*samples)[static_cast<std::size_t>(frame * channels + channel)];
    };
}

SimulatedAudioInput::~SimulatedAudioInput()
{
    stop();
}

void SimulatedAudioInput::setCaptureCallback(CaptureCallback callback)
{
    std::lock_guard lock(mutex_);
    capture_ = std::move(callback);
}

void SimulatedAudioInput::setConfigurationChangeHandler(ConfigurationChangeHandler handler)
{
    std::lock_guard lock(mutex_);
    changeHandler_ = std::move(handler);
}

Result<StreamFormat> SimulatedAudioInput::open(std::uint32_t sourceId, int blockFrames)
{
    stop();
    std::lock_guard lock(mutex_);
    bool listed = sourceId == 0 || !sources_ ||
                  std::find(sources_->begin(), sources_->end(), sourceId) != sources_->end();
    if (!listed || gone_.count(sourceId) > 0)
        return AudioInputErrors::sourceUnavailable(missingSourceStatus);
    if (options_.format.sampleRate <= 0 || options_.format.channels <= 0)
        return AudioInputErrors::invalidFormat();
    piece_.assign(static_cast<std::size_t>(std::max(options_.pieceFrames, 1)) *
                      options_.format.channels,
                  0.0f);
    blocks_.prepare(options_.format.channels, blockFrames, capture_);
    pieceSizes_.seed(1);
    openedSource_ = sourceId;
    opened_ = true;
    generated_ = 0;
    delivered_ = 0;
    return options_.format;
}

Result<void> SimulatedAudioInput::start()
{
    std::lock_guard lock(mutex_);
    if (!opened_)
        return AudioInputErrors::sourceUnavailable(missingSourceStatus);
    if (started_)
        return {};
    started_ = true;
    paused_ = false;
    quit_ = false;
    paceOrigin_ = Clock::now();
    thread_ = std::thread([this] { deliver(); });
    return {};
}

Result<void> SimulatedAudioInput::setPaused(bool paused)
{
    std::unique_lock lock(mutex_);
    if (!started_)
        return {};
    if (quit_) // it disappeared
        return AudioInputErrors::sourceLost(missingSourceStatus);
    if (!paused && resumeFailure_) {
        Error failure = *resumeFailure_;
        resumeFailure_.reset();
        return failure;
    }
    paused_ = paused;
    // Real time resumes from now: the pause is not made up for with a burst.
    auto elapsed = std::chrono::duration<double>(generated_ / options_.format.sampleRate);
    paceOrigin_ = Clock::now() - std::chrono::duration_cast<Clock::duration>(elapsed);
    wake_.notify_all();
    // The partial block is handed over before the pause returns, unless the pause comes from
    // the capture callback itself (then the delivery thread hands it over on its way out).
    if (paused && thread_.get_id() != std::this_thread::get_id())
        wake_.wait(lock, [this] { return parked_ || quit_; });
    return {};
}

void SimulatedAudioInput::stop()
{
    {
        std::lock_guard lock(mutex_);
        quit_ = true;
        started_ = false;
        paused_ = false;
    }
    wake_.notify_all();
    joinDelivery();
}

void SimulatedAudioInput::joinDelivery()
{
    // From the capture callback itself the thread ends on its own once it returns.
    if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id())
        thread_.join();
    else if (thread_.joinable())
        thread_.detach();
}

bool SimulatedAudioInput::isRunning() const
{
    std::lock_guard lock(mutex_);
    return started_ && !paused_ && !quit_;
}

StreamFormat SimulatedAudioInput::format() const
{
    return options_.format;
}

void SimulatedAudioInput::setSources(std::vector<std::uint32_t> ids)
{
    std::lock_guard lock(mutex_);
    sources_ = std::move(ids);
    gone_.clear();
}

void SimulatedAudioInput::failNextResume(Error error)
{
    std::lock_guard lock(mutex_);
    resumeFailure_ = std::move(error);
}

void SimulatedAudioInput::disappear()
{
    ConfigurationChangeHandler handler;
    {
        std::lock_guard lock(mutex_);
        quit_ = true;
        if (openedSource_ != 0)
            gone_.insert(openedSource_);
        handler = changeHandler_;
    }
    wake_.notify_all();
    joinDelivery();
    if (handler)
        handler();
}

std::uint32_t SimulatedAudioInput::openedSource() const
{
    std::lock_guard lock(mutex_);
    return openedSource_;
}

std::int64_t SimulatedAudioInput::framesDelivered() const
{
    std::lock_guard lock(mutex_);
    return delivered_;
}

std::int64_t SimulatedAudioInput::waitForFrames(std::int64_t frames,
                                                std::chrono::milliseconds timeout)
{
    std::unique_lock lock(mutex_);
    wake_.wait_for(lock, timeout,
                   [&] { return delivered_ >= frames || (ended() && parked_) || quit_; });
    return delivered_;
}

// Delivery thread: the capture thread of this input.
void SimulatedAudioInput::deliver()
{
    ScopedDenormalsOff denormals;
    const int channels = options_.format.channels;
    std::unique_lock lock(mutex_);
    for (;;) {
        if ((quit_ || paused_ || ended()) && !park(lock))
            return;
        const std::int64_t first = generated_;
        int frames = nextPieceFrames();
        if (options_.length >= 0)
            frames = static_cast<int>(std::min<std::int64_t>(frames, options_.length - first));
        lock.unlock();

        for (int f = 0; f < frames; ++f)
            for (int c = 0; c < channels; ++c)
                piece_[static_cast<std::size_t>(f) * channels + c] = signal_(first + f, c);
        blocks_.push(piece_.data(), frames);

        lock.lock();
        generated_ += frames;
        delivered_ = blocks_.framesDelivered();
        wake_.notify_all();
        if (options_.pace == Pace::realTime) {
            auto due = paceOrigin_ +
                       std::chrono::duration_cast<Clock::duration>(
                           std::chrono::duration<double>(generated_ / options_.format.sampleRate));
            wake_.wait_until(lock, due, [this] { return quit_ || paused_; });
        }
    }
}

bool SimulatedAudioInput::park(std::unique_lock<std::mutex>& lock)
{
    lock.unlock();
    blocks_.flush();
    lock.lock();
    delivered_ = blocks_.framesDelivered();
    parked_ = true;
    wake_.notify_all();
    wake_.wait(lock, [this] { return quit_ || (!paused_ && !ended()); });
    parked_ = false;
    return !quit_;
}

int SimulatedAudioInput::nextPieceFrames()
{
    const int most = std::max(options_.pieceFrames, 1);
    if (!options_.randomPieces)
        return most;
    return std::uniform_int_distribution<int>(1, most)(pieceSizes_);
}

} // namespace tw
