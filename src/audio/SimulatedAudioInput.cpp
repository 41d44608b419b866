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

Result<StreamFormat> SimulatedAudioInput::open(std::uint32_t sourceId)
{
    stop();
    std::lock_guard lock(mutex_);
    bool listed = sourceId == 0 || !sources_ ||
                  std::find(sources_->begin(), sources_->end(), sourceId) != sources_->end();
    if (!listed || gone_.count(sourceId) > 0)
        return AudioInputErrors::sourceUnavailable(missingSourceStatus);
    if (options_.format.sampleRate <= 0 || options_.format.channels <= 0)
        return AudioInputErrors::invalidFormat();
    buffer_.assign(static_cast<std::size_t>(options_.bufferFrames) * options_.format.channels,
                   0.0f);
    openedSource_ = sourceId;
    opened_ = true;
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
    {
        std::lock_guard lock(mutex_);
        if (!started_ || quit_)
            return {};
        if (!paused && resumeFailure_) {
            Error failure = *resumeFailure_;
            resumeFailure_.reset();
            return failure;
        }
        paused_ = paused;
        // Real time resumes from now: the pause is not made up for with a burst.
        auto elapsed = std::chrono::duration<double>(delivered_ / options_.format.sampleRate);
        paceOrigin_ = Clock::now() - std::chrono::duration_cast<Clock::duration>(elapsed);
    }
    wake_.notify_all();
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
    wake_.wait_for(lock, timeout, [&] { return delivered_ >= frames || ended() || quit_; });
    return delivered_;
}

// Delivery thread: the capture thread of this input.
void SimulatedAudioInput::deliver()
{
    ScopedDenormalsOff denormals;
    const int channels = options_.format.channels;
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return quit_ || (!paused_ && !ended()); });
        if (quit_)
            return;
        std::int64_t first = delivered_;
        int frames = options_.bufferFrames;
        if (options_.length >= 0)
            frames = static_cast<int>(std::min<std::int64_t>(frames, options_.length - first));
        // Set only while stopped, so it can be read without the lock.
        const CaptureCallback& capture = capture_;
        lock.unlock();

        for (int f = 0; f < frames; ++f)
            for (int c = 0; c < channels; ++c)
                buffer_[static_cast<std::size_t>(f) * channels + c] = signal_(first + f, c);
        if (capture)
            capture(AudioBufferList::interleaved(buffer_.data(), channels), frames);

        lock.lock();
        delivered_ += frames;
        wake_.notify_all();
        if (options_.pace == Pace::realTime) {
            auto due = paceOrigin_ +
                       std::chrono::duration_cast<Clock::duration>(
                           std::chrono::duration<double>(delivered_ / options_.format.sampleRate));
            wake_.wait_until(lock, due, [this] { return quit_; });
        }
    }
}

} // namespace tw
