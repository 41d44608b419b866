#include "audio/PulseAudioInput.hpp"

#include "audio/Denormals.hpp"
#include "audio/DeviceCatalog.hpp"

#include <pulse/introspect.h>

#include <algorithm>
#include <vector>

namespace tw {

namespace {

constexpr pa_usec_t fragmentMicroseconds = 20000;

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

} // namespace

struct PulseAudioInput::SourceChoice {
    std::string name;
    pa_sample_spec sampleSpec;
    pa_channel_map map;
};

PulseAudioInput::PulseAudioInput() = default;

PulseAudioInput::~PulseAudioInput()
{
    stream_.setConfigurationChangeHandler(nullptr);
    stop();
}

void PulseAudioInput::setCaptureCallback(CaptureCallback callback)
{
    std::lock_guard lock(control_);
    capture_ = std::move(callback);
}

StreamFormat PulseAudioInput::format() const
{
    std::lock_guard lock(control_);
    return format_;
}

Result<PulseAudioInput::SourceChoice> PulseAudioInput::findSource(std::uint32_t sourceId)
{
    PulseContext& pulse = stream_.pulse();
    PulseContext::Lock lock(pulse);
    SourceQuery query{&pulse, {}, {}};
    if (sourceId == 0 &&
        !pulse.finish(pa_context_get_server_info(pulse.context(), &onServerInfo, &query)))
        return AudioInputErrors::sourceUnavailable(pulse.lastError());
    if (!pulse.finish(pa_context_get_source_info_list(pulse.context(), &onSourceInfo, &query)))
        return AudioInputErrors::sourceUnavailable(pulse.lastError());
    for (const auto& entry : query.entries) {
        bool chosen = sourceId == 0 ? entry.name == query.defaultName
                                    : captureSourceId(entry.name) == sourceId;
        if (chosen)
            return SourceChoice{entry.name, entry.sampleSpec, entry.map};
    }
    return AudioInputErrors::sourceUnavailable(PA_ERR_NOENTITY);
}

Result<StreamFormat> PulseAudioInput::open(std::uint32_t sourceId, int blockFrames)
{
    stop();
    std::lock_guard lock(control_);
    if (auto connected = stream_.connect(); !connected)
        return AudioInputErrors::sourceUnavailable(connected.error().code);

    auto choice = findSource(sourceId);
    if (!choice)
        return choice.error();
    const pa_sample_spec& sourceSpec = choice.value().sampleSpec;
    if (sourceSpec.rate == 0 || sourceSpec.channels == 0)
        return AudioInputErrors::invalidFormat();

    PulseStream::Setup setup;
    setup.name = "Grabación";
    setup.sampleSpec = pa_sample_spec{PA_SAMPLE_FLOAT32NE, sourceSpec.rate, sourceSpec.channels};
    setup.map = choice.value().map.channels == sourceSpec.channels ? &choice.value().map : nullptr;
    frameBytes_ = pa_frame_size(&setup.sampleSpec);
    // No stream yet: nothing reads the blocks while they are made.
    blocks_.prepare(sourceSpec.channels, blockFrames, capture_);
    setup.configure = [this](pa_stream* stream) {
        pa_stream_set_read_callback(stream, &PulseAudioInput::onReadable, this);
    };
    setup.connect = [&](pa_stream* stream) {
        pa_buffer_attr attributes{};
        attributes.maxlength = static_cast<std::uint32_t>(-1);
        // Short fragments: what the server holds unsent when the stream closes is lost, so a
        // stop may cut at most this much from the end of a take. The blocks are gathered here.
        attributes.fragsize =
            static_cast<std::uint32_t>(pa_usec_to_bytes(fragmentMicroseconds, &setup.sampleSpec));
        // Not moved to another source when this one goes: an unplugged microphone ends the take
        // rather than silently continuing from a different one.
        auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_START_CORKED | PA_STREAM_DONT_MOVE |
                                                    PA_STREAM_ADJUST_LATENCY);
        return pa_stream_connect_record(stream, choice.value().name.c_str(), &attributes, flags);
    };
    if (auto opened = stream_.open(setup); !opened)
        return AudioInputErrors::sourceUnavailable(opened.error().code);
    format_ = StreamFormat{static_cast<double>(sourceSpec.rate), sourceSpec.channels,
                           SampleType::float32, true};
    return format_;
}

Result<void> PulseAudioInput::start()
{
    std::lock_guard lock(control_);
    if (!stream_.isOpen())
        return AudioInputErrors::sourceUnavailable(PA_ERR_BADSTATE);
    started_ = true;
    paused_ = false;
    stream_.setRunning(true);
    auto uncorked = cork(false);
    if (!uncorked)
        stream_.setRunning(false);
    return uncorked;
}

Result<void> PulseAudioInput::setPaused(bool paused)
{
    std::lock_guard lock(control_);
    if (!started_ || !stream_.isOpen())
        return {};
    if (paused)
        stream_.setRunning(false);
    auto result = cork(paused);
    if (paused)
        handOverGathered(); // also when the stream is gone: what was gathered is kept
    if (!result)
        return result;
    paused_ = paused;
    stream_.setRunning(!paused);
    return {};
}

// With control_ held.
Result<void> PulseAudioInput::cork(bool corked)
{
    auto result = stream_.cork(corked);
    // The source or the server went away since the stream opened.
    if (!result && result.error().code == PA_ERR_BADSTATE)
        return AudioInputErrors::sourceLost(PA_ERR_BADSTATE);
    return result;
}

void PulseAudioInput::stop()
{
    std::lock_guard lock(control_);
    started_ = false;
    paused_ = false;
    if (stream_.isOpen())
        handOverGathered();
    stream_.close();
}

void PulseAudioInput::handOverGathered()
{
    PulseContext::Lock loopLock(stream_.pulse());
    if (stream_.ready())
        readPieces(stream_.stream());
    blocks_.flush();
}

// Loop thread, the capture thread.
void PulseAudioInput::onReadable(pa_stream* stream, std::size_t, void* userdata)
{
    ScopedDenormalsOff denormals;
    static_cast<PulseAudioInput*>(userdata)->readPieces(stream);
}

// With the loop locked: gathers every piece the server has ready, straight from its memory.
void PulseAudioInput::readPieces(pa_stream* stream)
{
    for (;;) {
        std::size_t readable = pa_stream_readable_size(stream);
        if (readable == static_cast<std::size_t>(-1) || readable == 0)
            return;
        const void* data = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(stream, &data, &bytes) < 0 || bytes == 0)
            return;
        // A hole (data lost by the server) is skipped: there is nothing to deliver for it.
        const int frames = static_cast<int>(bytes / frameBytes_);
        if (data && frames > 0)
            blocks_.push(static_cast<const float*>(data), frames);
        pa_stream_drop(stream);
    }
}

} // namespace tw
