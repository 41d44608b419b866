#include "audio/PulseAudioOutput.hpp"

#include "audio/Denormals.hpp"
#include "audio/RealtimeThread.hpp"

#include <cmath>
#include <cstring>

namespace tw {

PulseAudioOutput::PulseAudioOutput() = default;

PulseAudioOutput::~PulseAudioOutput()
{
    stream_.setConfigurationChangeHandler(nullptr);
    close();
}

void PulseAudioOutput::setRenderCallback(RenderCallback callback)
{
    std::lock_guard lock(control_);
    if (stream_.hasConnection()) {
        PulseContext::Lock loopLock(stream_.pulse()); // the render thread reads it under this lock
        render_ = std::move(callback);
    } else {
        render_ = std::move(callback);
    }
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
    PulseStream::Setup setup;
    setup.name = "Reproducción";
    setup.sampleSpec = pa_sample_spec{PA_SAMPLE_FLOAT32NE,
                                      static_cast<std::uint32_t>(std::lround(requested.sampleRate)),
                                      static_cast<std::uint8_t>(requested.channels)};
    const pa_sample_spec& sampleSpec = setup.sampleSpec;
    pa_channel_map map;
    pa_channel_map_init_extend(&map, sampleSpec.channels, PA_CHANNEL_MAP_DEFAULT);
    setup.map = &map;
    frameBytes_ = pa_frame_size(&sampleSpec);
    setup.configure = [this](pa_stream* stream) {
        pa_stream_set_write_callback(stream, &PulseAudioOutput::onWritable, this);
    };
    setup.connect = [&](pa_stream* stream) {
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
        return pa_stream_connect_playback(stream, nullptr, &attributes, flags, nullptr, nullptr);
    };
    if (auto opened = stream_.open(setup); !opened)
        return opened.error();
    format_ = StreamFormat{static_cast<double>(sampleSpec.rate), sampleSpec.channels,
                           SampleType::float32, true};
    lastFramesPlayed_ = 0;
    return format_;
}

Result<void> PulseAudioOutput::start()
{
    std::lock_guard lock(control_);
    if (!stream_.isOpen())
        return pulseError(PA_ERR_BADSTATE);
    auto result = stream_.cork(false);
    stream_.setRunning(result.ok());
    return result;
}

Result<void> PulseAudioOutput::pause()
{
    std::lock_guard lock(control_);
    if (!stream_.isOpen())
        return {};
    stream_.setRunning(false);
    return stream_.cork(true);
}

Result<void> PulseAudioOutput::flush()
{
    std::lock_guard lock(control_);
    if (!stream_.isOpen())
        return {};
    return stream_.flush();
}

void PulseAudioOutput::close()
{
    std::lock_guard lock(control_);
    stream_.close();
}

std::int64_t PulseAudioOutput::framesPlayed() const
{
    std::lock_guard lock(control_);
    if (!stream_.isOpen())
        return lastFramesPlayed_;
    PulseContext::Lock loopLock(stream_.pulse());
    pa_usec_t played = 0;
    // No timing report yet (just opened): the last known value stands.
    if (pa_stream_get_time(stream_.stream(), &played) == 0)
        lastFramesPlayed_ = static_cast<std::int64_t>(
            std::llround(static_cast<double>(played) * format_.sampleRate / 1e6));
    return lastFramesPlayed_;
}

double PulseAudioOutput::latency() const
{
    std::lock_guard lock(control_);
    if (!stream_.isOpen())
        return 0;
    PulseContext::Lock loopLock(stream_.pulse());
    pa_usec_t latency = 0;
    int negative = 0;
    if (pa_stream_get_latency(stream_.stream(), &latency, &negative) != 0 || negative)
        return 0;
    return static_cast<double>(latency) / 1e6;
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
