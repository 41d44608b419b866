#include "audio/PulseStream.hpp"

#include <pulse/error.h>

namespace tw {

namespace {

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

PulseStream::PulseStream(std::string clientName) : clientName_(std::move(clientName))
{
}

PulseStream::~PulseStream()
{
    relay_.setHandler(nullptr);
    close();
    pulse_.reset(); // before the relay its disconnect handler notifies
}

void PulseStream::setConfigurationChangeHandler(std::function<void()> handler)
{
    relay_.setHandler(std::move(handler));
}

Result<void> PulseStream::connect()
{
    if (pulse_ && !pulse_->isConnected())
        pulse_.reset(); // a broken connection is replaced (never destroyed under its lock)
    if (pulse_)
        return {};
    auto connected = PulseContext::connect(clientName_);
    if (!connected)
        return connected.error();
    pulse_ = std::move(connected).value();
    pulse_->setDisconnectHandler([this] { lost(); });
    return {};
}

Result<void> PulseStream::open(const Setup& setup)
{
    close();
    if (auto connected = connect(); !connected)
        return connected.error();
    PulseContext::Lock lock(*pulse_);
    stream_ = pa_stream_new(pulse_->context(), setup.name, &setup.sampleSpec, setup.map);
    if (!stream_)
        return pulseError(pulse_->lastError());
    pa_stream_set_state_callback(stream_, &PulseStream::onStreamState, this);
    if (setup.configure)
        setup.configure(stream_);
    const bool connected = setup.connect(stream_) == 0 && pulse_->waitUntil([this] {
        auto state = pa_stream_get_state(stream_);
        return state == PA_STREAM_READY || state == PA_STREAM_FAILED ||
               state == PA_STREAM_TERMINATED;
    }) && ready();
    if (!connected) {
        const int status = pulse_->lastError();
        closeStream();
        return pulseError(status == PA_OK ? PA_ERR_NOENTITY : status);
    }
    return {};
}

bool PulseStream::ready() const
{
    return stream_ && pa_stream_get_state(stream_) == PA_STREAM_READY;
}

Result<void> PulseStream::cork(bool corked)
{
    return finish([this, corked](pa_stream_success_cb_t done, void* outcome) {
        return pa_stream_cork(stream_, corked ? 1 : 0, done, outcome);
    });
}

Result<void> PulseStream::flush()
{
    return finish([this](pa_stream_success_cb_t done, void* outcome) {
        return pa_stream_flush(stream_, done, outcome);
    });
}

Result<void>
PulseStream::finish(const std::function<pa_operation*(pa_stream_success_cb_t, void*)>& start)
{
    if (!stream_)
        return pulseError(PA_ERR_BADSTATE);
    PulseContext::Lock lock(*pulse_);
    if (!ready())
        return pulseError(PA_ERR_BADSTATE);
    OperationOutcome outcome{pulse_.get()};
    if (!pulse_->finish(start(&onStreamOperation, &outcome)) || !outcome.succeeded) {
        // The stream died while the operation waited (killed with its device, or the server
        // left): that is the reason, whatever status the operation ended with.
        if (!ready())
            return pulseError(PA_ERR_BADSTATE);
        const int status = pulse_->lastError();
        return pulseError(status == PA_OK ? PA_ERR_TIMEOUT : status);
    }
    return {};
}

void PulseStream::close()
{
    running_ = false;
    if (!stream_)
        return;
    PulseContext::Lock lock(*pulse_);
    closeStream();
}

// With the loop locked.
void PulseStream::closeStream()
{
    pa_stream_set_state_callback(stream_, nullptr, nullptr);
    pa_stream_set_read_callback(stream_, nullptr, nullptr);
    pa_stream_set_write_callback(stream_, nullptr, nullptr);
    if (pa_stream_get_state(stream_) == PA_STREAM_READY)
        pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
    stream_ = nullptr;
}

// Loop thread.
void PulseStream::lost()
{
    // Only a stream in use is interrupted; a closed one has nothing to report.
    if (!stream_)
        return;
    running_ = false;
    relay_.notify();
}

// Loop thread.
void PulseStream::onStreamState(pa_stream* stream, void* userdata)
{
    auto* self = static_cast<PulseStream*>(userdata);
    self->pulse_->signal();
    auto state = pa_stream_get_state(stream);
    if (state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED)
        self->lost();
}

} // namespace tw
