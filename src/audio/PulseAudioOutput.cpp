#include "audio/PulseAudioOutput.hpp"

#include "audio/Denormals.hpp"
#include "audio/RealtimeThread.hpp"

#include <pulse/error.h>

#include <cmath>
#include <cstring>

namespace tw {

namespace {

Error pulseError(int status)
{
    return Error{ErrorDomain::system, status, pa_strerror(status)};
}

struct OperationOutcome {
    PulseContext* pulse;
    bool succeeded = false;
};

// Loop thread.
void onStreamOperation(pa_stream*, int success, void* userdata)
{
    auto* outcome = static_cast<OperationOutcome*>(userdata);
    outcome->succeeded = success != 0;
    outcome->pulse->signal();
}

} // namespace

PulseAudioOutput::PulseAudioOutput() = default;

PulseAudioOutput::~PulseAudioOutput()
{
    relay_.setHandler(nullptr);
    close();
    std::lock_guard lock(control_);
    pulse_.reset(); // before the relay its disconnect handler notifies
}

void PulseAudioOutput::setRenderCallback(RenderCallback callback)
{
    std::lock_guard lock(control_);
    if (pulse_) {
        PulseContext::Lock loopLock(*pulse_); // the render thread reads it under this lock
        render_ = std::move(callback);
    } else {
        render_ = std::move(callback);
    }
}

void PulseAudioOutput::setConfigurationChangeHandler(ConfigurationChangeHandler handler)
{
    relay_.setHandler(std::move(handler));
}

StreamFormat PulseAudioOutput::format() const
{
    std::lock_guard lock(control_);
    return format_;
}

Result<StreamFormat> PulseAudioOutput::open(StreamFormat requested)
{
    close();
    std::lock_guard lock(control_);
    if (!(requested.sampleRate > 0) || requested.channels <= 0 ||
        requested.channels > static_cast<int>(PA_CHANNELS_MAX))
        return pulseError(PA_ERR_INVALID);
    if (pulse_ && !pulse_->isConnected())
        pulse_.reset(); // a broken connection is replaced (never destroyed under its lock)
    if (!pulse_) {
        auto connected = PulseContext::connect("Tapewright playback");
        if (!connected)
            return connected.error();
        pulse_ = std::move(connected).value();
        pulse_->setDisconnectHandler([this] { lost(); });
    }

    pa_sample_spec sampleSpec{PA_SAMPLE_FLOAT32NE,
                              static_cast<std::uint32_t>(std::lround(requested.sampleRate)),
                              static_cast<std::uint8_t>(requested.channels)};
    pa_channel_map map;
    pa_channel_map_init_extend(&map, sampleSpec.channels, PA_CHANNEL_MAP_DEFAULT);

    PulseContext::Lock loopLock(*pulse_);
    stream_ = pa_stream_new(pulse_->context(), "Reproducción", &sampleSpec, &map);
    if (!stream_)
        return pulseError(pulse_->lastError());
    pa_stream_set_state_callback(stream_, &PulseAudioOutput::onStreamState, this);
    pa_stream_set_write_callback(stream_, &PulseAudioOutput::onWritable, this);

    frameBytes_ = pa_frame_size(&sampleSpec);
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<std::uint32_t>(-1);
    attributes.tlength = static_cast<std::uint32_t>(
        pa_usec_to_bytes(static_cast<pa_usec_t>(targetLatencySeconds * 1e6), &sampleSpec));
    attributes.prebuf = static_cast<std::uint32_t>(-1);
    attributes.minreq = static_cast<std::uint32_t>(-1);
    attributes.fragsize = static_cast<std::uint32_t>(-1);
    auto flags =
        static_cast<pa_stream_flags_t>(PA_STREAM_START_CORKED | PA_STREAM_INTERPOLATE_TIMING |
                                       PA_STREAM_AUTO_TIMING_UPDATE | PA_STREAM_ADJUST_LATENCY);
    bool connected =
        pa_stream_connect_playback(stream_, nullptr, &attributes, flags, nullptr, nullptr) == 0 &&
        pulse_->waitUntil([this] {
            auto state = pa_stream_get_state(stream_);
            return state == PA_STREAM_READY || state == PA_STREAM_FAILED ||
                   state == PA_STREAM_TERMINATED;
        }) &&
        pa_stream_get_state(stream_) == PA_STREAM_READY;
    if (!connected) {
        int status = pulse_->lastError();
        closeStream();
        return pulseError(status == PA_OK ? PA_ERR_NOENTITY : status);
    }
    format_ = StreamFormat{static_cast<double>(sampleSpec.rate), sampleSpec.channels,
                           SampleType::float32, true};
    lastFramesPlayed_ = 0;
    return format_;
}

Result<void> PulseAudioOutput::start()
{
    std::lock_guard lock(control_);
    if (!stream_)
        return pulseError(PA_ERR_BADSTATE);
    auto result = cork(false);
    running_ = result.ok();
    return result;
}

Result<void> PulseAudioOutput::pause()
{
    std::lock_guard lock(control_);
    if (!stream_)
        return {};
    running_ = false;
    return cork(true);
}

Result<void> PulseAudioOutput::flush()
{
    std::lock_guard lock(control_);
    if (!stream_)
        return {};
    PulseContext::Lock loopLock(*pulse_);
    if (pa_stream_get_state(stream_) != PA_STREAM_READY)
        return pulseError(PA_ERR_BADSTATE);
    OperationOutcome outcome{pulse_.get()};
    if (!pulse_->finish(pa_stream_flush(stream_, &onStreamOperation, &outcome)) ||
        !outcome.succeeded)
        return pulseError(pulse_->lastError() == PA_OK ? PA_ERR_TIMEOUT : pulse_->lastError());
    return {};
}

// With control_ held.
Result<void> PulseAudioOutput::cork(bool corked)
{
    PulseContext::Lock loopLock(*pulse_);
    if (pa_stream_get_state(stream_) != PA_STREAM_READY)
        return pulseError(PA_ERR_BADSTATE);
    OperationOutcome outcome{pulse_.get()};
    bool finished =
        pulse_->finish(pa_stream_cork(stream_, corked ? 1 : 0, &onStreamOperation, &outcome));
    if (!finished || !outcome.succeeded) {
        int status = pulse_->lastError();
        return pulseError(status == PA_OK ? PA_ERR_TIMEOUT : status);
    }
    return {};
}

void PulseAudioOutput::close()
{
    std::lock_guard lock(control_);
    running_ = false;
    if (stream_) {
        PulseContext::Lock loopLock(*pulse_);
        closeStream();
    }
}

// With the loop locked.
void PulseAudioOutput::closeStream()
{
    pa_stream_set_state_callback(stream_, nullptr, nullptr);
    pa_stream_set_write_callback(stream_, nullptr, nullptr);
    if (pa_stream_get_state(stream_) == PA_STREAM_READY)
        pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
    stream_ = nullptr;
}

std::int64_t PulseAudioOutput::framesPlayed() const
{
    std::lock_guard lock(control_);
    if (!stream_)
        return lastFramesPlayed_;
    PulseContext::Lock loopLock(*pulse_);
    pa_usec_t played = 0;
    // No timing report yet (just opened): the last known value stands.
    if (pa_stream_get_time(stream_, &played) == 0)
        lastFramesPlayed_ = static_cast<std::int64_t>(
            std::llround(static_cast<double>(played) * format_.sampleRate / 1e6));
    return lastFramesPlayed_;
}

double PulseAudioOutput::latency() const
{
    std::lock_guard lock(control_);
    if (!stream_)
        return 0;
    PulseContext::Lock loopLock(*pulse_);
    pa_usec_t latency = 0;
    int negative = 0;
    if (pa_stream_get_latency(stream_, &latency, &negative) != 0 || negative)
        return 0;
    return static_cast<double>(latency) / 1e6;
}

// Loop thread.
void PulseAudioOutput::lost()
{
    // Only a stream in use is interrupted; a closed output has nothing to report.
    if (!stream_)
        return;
    running_ = false;
    relay_.notify();
}

// Loop thread.
void PulseAudioOutput::onStreamState(pa_stream* stream, void* userdata)
{
    auto* self = static_cast<PulseAudioOutput*>(userdata);
    self->pulse_->signal();
    auto state = pa_stream_get_state(stream);
    if (state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED)
        self->lost();
}

// Loop thread, the render thread: renders straight into the server's memory, no copy.
void PulseAudioOutput::onWritable(pa_stream* stream, std::size_t bytes, void* userdata)
{
    auto* self = static_cast<PulseAudioOutput*>(userdata);
    ScopedDenormalsOff denormals;
    // Once per thread, on its first render.
    static thread_local const bool realtime = requestRealtimeScheduling();
    (void)realtime;
    const std::size_t frameBytes = self->frameBytes_;
    while (bytes >= frameBytes) {
        void* data = nullptr;
        std::size_t chunk = bytes;
        if (pa_stream_begin_write(stream, &data, &chunk) < 0 || !data || chunk < frameBytes)
            return;
        chunk -= chunk % frameBytes;
        auto* samples = static_cast<float*>(data);
        int frames = static_cast<int>(chunk / frameBytes);
        if (self->render_)
            self->render_(samples, frames);
        else
            std::memset(samples, 0, chunk);
        if (pa_stream_write(stream, data, chunk, nullptr, 0, PA_SEEK_RELATIVE) < 0)
            return;
        bytes -= chunk;
    }
}

} // namespace tw
