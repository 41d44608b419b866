#include "audio/SimulatedAudioOutput.hpp"

#include "audio/Denormals.hpp"
#include "audio/PulseContext.hpp"

#include <pulse/def.h>

#include <algorithm>

namespace tw {

SimulatedAudioOutput::SimulatedAudioOutput(int blockFrames) : blockFrames_(std::max(blockFrames, 1))
{
}

void SimulatedAudioOutput::setRenderCallback(RenderCallback callback)
{
    std::lock_guard lock(mutex_);
    render_ = std::move(callback);
}

void SimulatedAudioOutput::setConfigurationChangeHandler(ConfigurationChangeHandler handler)
{
    std::lock_guard lock(mutex_);
    changeHandler_ = std::move(handler);
}

Result<StreamFormat> SimulatedAudioOutput::open(StreamFormat format)
{
    std::lock_guard lock(mutex_);
    if (failure_) {
        Error error = *failure_;
        failure_.reset();
        return error;
    }
    if (!(format.sampleRate > 0) || format.channels <= 0)
        return pulseError(PA_ERR_INVALID);
    format_ = StreamFormat{format.sampleRate, format.channels, SampleType::float32, true};
    block_.assign(static_cast<std::size_t>(blockFrames_) * format.channels, 0.0f);
    open_ = true;
    started_ = false;
    played_ = 0;
    return format_;
}

Result<void> SimulatedAudioOutput::start()
{
    std::lock_guard lock(mutex_);
    if (failure_) {
        Error error = *failure_;
        failure_.reset();
        return error;
    }
    if (!open_)
        return pulseError(PA_ERR_BADSTATE);
    started_ = true;
    return {};
}

Result<void> SimulatedAudioOutput::pause()
{
    std::lock_guard lock(mutex_);
    started_ = false;
    return {};
}

Result<void> SimulatedAudioOutput::flush()
{
    std::lock_guard lock(mutex_);
    if (open_)
        ++flushes_;
    return {};
}

void SimulatedAudioOutput::close()
{
    std::lock_guard lock(mutex_);
    open_ = false;
    started_ = false;
}

bool SimulatedAudioOutput::isRunning() const
{
    std::lock_guard lock(mutex_);
    return open_ && started_;
}

StreamFormat SimulatedAudioOutput::format() const
{
    std::lock_guard lock(mutex_);
    return format_;
}

std::int64_t SimulatedAudioOutput::framesPlayed() const
{
    std::lock_guard lock(mutex_);
    return played_;
}

double SimulatedAudioOutput::latency() const
{
    std::lock_guard lock(mutex_);
    return latency_;
}

// The calling thread stands in for the render thread.
int SimulatedAudioOutput::advance(int frames)
{
    ScopedDenormalsOff denormals;
    std::unique_lock lock(mutex_);
    if (!open_ || !started_ || frames <= 0)
        return 0;
    const int channels = format_.channels;
    // Set only while closed, so it is read without the lock, which the render function may
    // need (it may ask for framesPlayed()).
    const RenderCallback& render = render_;
    int done = 0;
    while (done < frames) {
        int block = std::min(blockFrames_, frames - done);
        std::fill(block_.begin(), block_.end(), 0.0f);
        lock.unlock();
        if (render)
            render(block_.data(), block);
        lock.lock();
        rendered_.insert(rendered_.end(), block_.begin(),
                         block_.begin() + static_cast<std::ptrdiff_t>(block) * channels);
        played_ += block;
        done += block;
    }
    return done;
}

std::vector<float> SimulatedAudioOutput::rendered() const
{
    std::lock_guard lock(mutex_);
    return rendered_;
}

void SimulatedAudioOutput::clearRendered()
{
    std::lock_guard lock(mutex_);
    rendered_.clear();
}

int SimulatedAudioOutput::flushCount() const
{
    std::lock_guard lock(mutex_);
    return flushes_;
}

void SimulatedAudioOutput::setLatency(double seconds)
{
    std::lock_guard lock(mutex_);
    latency_ = seconds;
}

void SimulatedAudioOutput::failNext(Error error)
{
    std::lock_guard lock(mutex_);
    failure_ = std::move(error);
}

void SimulatedAudioOutput::disappear()
{
    ConfigurationChangeHandler handler;
    {
        std::lock_guard lock(mutex_);
        open_ = false;
        started_ = false;
        handler = changeHandler_;
    }
    if (handler)
        handler();
}

} // namespace tw
