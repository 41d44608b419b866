#include "audio/PulseAudioInput.hpp"

#include "audio/Denormals.hpp"
#include "audio/DeviceCatalog.hpp"

#include <pulse/error.h>
#include <pulse/introspect.h>

#include <vector>

namespace tw {

namespace {

// Buffers of about this many frames reach the capture callback.
constexpr std::uint32_t captureFragmentFrames = 4096;

Error pulseError(int status)
{
    return Error{ErrorDomain::system, status, pa_strerror(status)};
}

struct SourceQuery {
    PulseContext* pulse;
    std::string defaultName;
    struct Entry {
        std::string name;
        pa_sample_spec sampleSpec;
        pa_channel_map map;
    };
    std::vector<Entry> entries;
};

// Loop thread.
void onServerInfo(pa_context*, const pa_server_info* info, void* userdata)
{
    auto* query = static_cast<SourceQuery*>(userdata);
    if (info && info->default_source_name)
        query->defaultName = info->default_source_name;
    query->pulse->signal();
}

// Loop thread.
void onSourceInfo(pa_context*, const pa_source_info* info, int eol, void* userdata)
{
    auto* query = static_cast<SourceQuery*>(userdata);
    if (eol) {
        query->pulse->signal();
        return;
    }
    if (info && info->name)
        query->entries.push_back({info->name, info->sample_spec, info->channel_map});
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

struct PulseAudioInput::SourceChoice {
    std::string name;
    pa_sample_spec sampleSpec;
    pa_channel_map map;
};

PulseAudioInput::PulseAudioInput() = default;

PulseAudioInput::~PulseAudioInput()
{
    relay_.setHandler(nullptr);
    stop();
    std::lock_guard lock(control_);
    pulse_.reset(); // before the relay its disconnect handler notifies
}

void PulseAudioInput::setCaptureCallback(CaptureCallback callback)
{
    std::lock_guard lock(control_);
    if (pulse_) {
        PulseContext::Lock loopLock(*pulse_); // the capture thread reads it under this lock
        capture_ = std::move(callback);
    } else {
        capture_ = std::move(callback);
    }
}

void PulseAudioInput::setConfigurationChangeHandler(ConfigurationChangeHandler handler)
{
    relay_.setHandler(std::move(handler));
}

StreamFormat PulseAudioInput::format() const
{
    std::lock_guard lock(control_);
    return format_;
}

Result<PulseAudioInput::SourceChoice> PulseAudioInput::findSource(std::uint32_t sourceId)
{
    PulseContext::Lock lock(*pulse_);
    SourceQuery query{pulse_.get(), {}, {}};
    if (sourceId == 0 &&
        !pulse_->finish(pa_context_get_server_info(pulse_->context(), &onServerInfo, &query)))
        return AudioInputErrors::sourceUnavailable(pulse_->lastError());
    if (!pulse_->finish(pa_context_get_source_info_list(pulse_->context(), &onSourceInfo, &query)))
        return AudioInputErrors::sourceUnavailable(pulse_->lastError());
    for (const auto& entry : query.entries) {
        bool chosen = sourceId == 0 ? entry.name == query.defaultName
                                    : captureSourceId(entry.name) == sourceId;
        if (chosen)
            return SourceChoice{entry.name, entry.sampleSpec, entry.map};
    }
    return AudioInputErrors::sourceUnavailable(PA_ERR_NOENTITY);
}

Result<StreamFormat> PulseAudioInput::open(std::uint32_t sourceId)
{
    stop();
    std::lock_guard lock(control_);
    if (pulse_ && !pulse_->isConnected())
        pulse_.reset(); // a broken connection is replaced (never destroyed under its lock)
    if (!pulse_) {
        auto connected = PulseContext::connect("Tapewright capture");
        if (!connected)
            return AudioInputErrors::sourceUnavailable(connected.error().code);
        pulse_ = std::move(connected).value();
        pulse_->setDisconnectHandler([this] { lost(); });
    }

    auto choice = findSource(sourceId);
    if (!choice)
        return choice.error();
    const pa_sample_spec& sourceSpec = choice.value().sampleSpec;
    if (sourceSpec.rate == 0 || sourceSpec.channels == 0)
        return AudioInputErrors::invalidFormat();

    pa_sample_spec sampleSpec{PA_SAMPLE_FLOAT32NE, sourceSpec.rate, sourceSpec.channels};
    const pa_channel_map* map =
        choice.value().map.channels == sampleSpec.channels ? &choice.value().map : nullptr;

    PulseContext::Lock loopLock(*pulse_);
    stream_ = pa_stream_new(pulse_->context(), "Grabación", &sampleSpec, map);
    if (!stream_)
        return AudioInputErrors::sourceUnavailable(pulse_->lastError());
    pa_stream_set_state_callback(stream_, &PulseAudioInput::onStreamState, this);
    pa_stream_set_read_callback(stream_, &PulseAudioInput::onReadable, this);

    frameBytes_ = static_cast<int>(pa_frame_size(&sampleSpec));
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<std::uint32_t>(-1);
    attributes.fragsize = captureFragmentFrames * static_cast<std::uint32_t>(frameBytes_);
    // Not moved to another source when this one goes: an unplugged microphone ends the take
    // rather than silently continuing from a different one.
    auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_START_CORKED | PA_STREAM_DONT_MOVE |
                                                PA_STREAM_ADJUST_LATENCY);
    bool connected =
        pa_stream_connect_record(stream_, choice.value().name.c_str(), &attributes, flags) == 0 &&
        pulse_->waitUntil([this] {
            auto state = pa_stream_get_state(stream_);
            return state == PA_STREAM_READY || state == PA_STREAM_FAILED ||
                   state == PA_STREAM_TERMINATED;
        }) &&
        pa_stream_get_state(stream_) == PA_STREAM_READY;
    if (!connected) {
        int status = pulse_->lastError();
        closeStream();
        return AudioInputErrors::sourceUnavailable(status == PA_OK ? PA_ERR_NOENTITY : status);
    }
    format_ = StreamFormat{static_cast<double>(sampleSpec.rate), sampleSpec.channels,
                           SampleType::float32, true};
    return format_;
}

Result<void> PulseAudioInput::start()
{
    std::lock_guard lock(control_);
    if (!stream_)
        return AudioInputErrors::sourceUnavailable(PA_ERR_BADSTATE);
    started_ = true;
    paused_ = false;
    running_ = true;
    auto uncorked = cork(false);
    if (!uncorked)
        running_ = false;
    return uncorked;
}

Result<void> PulseAudioInput::setPaused(bool paused)
{
    std::lock_guard lock(control_);
    if (!started_ || !stream_)
        return {};
    if (paused)
        running_ = false;
    auto result = cork(paused);
    if (!result)
        return result;
    paused_ = paused;
    running_ = !paused;
    return {};
}

// With control_ held.
Result<void> PulseAudioInput::cork(bool corked)
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

void PulseAudioInput::stop()
{
    std::lock_guard lock(control_);
    running_ = false;
    started_ = false;
    paused_ = false;
    if (stream_) {
        PulseContext::Lock loopLock(*pulse_);
        closeStream();
    }
}

// With the loop locked.
void PulseAudioInput::closeStream()
{
    pa_stream_set_state_callback(stream_, nullptr, nullptr);
    pa_stream_set_read_callback(stream_, nullptr, nullptr);
    if (pa_stream_get_state(stream_) == PA_STREAM_READY)
        pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
    stream_ = nullptr;
}

// Loop thread.
void PulseAudioInput::lost()
{
    // Only a capture in progress is interrupted; an idle input has nothing to report.
    if (!stream_)
        return;
    running_ = false;
    relay_.notify();
}

// Loop thread.
void PulseAudioInput::onStreamState(pa_stream* stream, void* userdata)
{
    auto* self = static_cast<PulseAudioInput*>(userdata);
    self->pulse_->signal();
    auto state = pa_stream_get_state(stream);
    if (state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED)
        self->lost();
}

// Loop thread, the capture thread: hands the server's own memory to the callback, no copy.
void PulseAudioInput::onReadable(pa_stream* stream, std::size_t, void* userdata)
{
    auto* self = static_cast<PulseAudioInput*>(userdata);
    ScopedDenormalsOff denormals;
    for (;;) {
        std::size_t readable = pa_stream_readable_size(stream);
        if (readable == static_cast<std::size_t>(-1) || readable == 0)
            return;
        const void* data = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(stream, &data, &bytes) < 0 || bytes == 0)
            return;
        // A hole (data lost by the server) is skipped: there is nothing to deliver for it.
        int frames = static_cast<int>(bytes / static_cast<std::size_t>(self->frameBytes_));
        if (data && frames > 0 && self->capture_) {
            auto* samples = static_cast<float*>(const_cast<void*>(data));
            self->capture_(AudioBufferList::interleaved(samples, self->format_.channels), frames);
        }
        pa_stream_drop(stream);
    }
}

} // namespace tw
