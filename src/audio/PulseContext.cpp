#include "audio/PulseContext.hpp"

#include <pulse/error.h>
#include <pulse/operation.h>
#include <pulse/rtclock.h>

namespace tw {

namespace {

Error pulseError(int status)
{
    return Error{ErrorDomain::system, status, pa_strerror(status)};
}

struct Deadline {
    PulseContext* owner;
    bool passed = false;
};

void onDeadline(pa_mainloop_api*, pa_time_event*, const struct timeval*, void* userdata)
{
    auto* deadline = static_cast<Deadline*>(userdata);
    deadline->passed = true;
    deadline->owner->signal();
}

bool isFinal(pa_context_state_t state)
{
    return state == PA_CONTEXT_FAILED || state == PA_CONTEXT_TERMINATED;
}

} // namespace

Result<std::unique_ptr<PulseContext>> PulseContext::connect(const std::string& clientName,
                                                            std::chrono::milliseconds timeout)
{
    std::unique_ptr<PulseContext> self(new PulseContext);
    self->loop_ = pa_threaded_mainloop_new();
    if (!self->loop_)
        return pulseError(PA_ERR_INTERNAL);
    pa_threaded_mainloop_set_name(self->loop_, "tw-pulse");
    self->context_ = pa_context_new(pa_threaded_mainloop_get_api(self->loop_), clientName.c_str());
    if (!self->context_)
        return pulseError(PA_ERR_INTERNAL);
    pa_context_set_state_callback(self->context_, &PulseContext::onStateChanged, self.get());

    // No autospawn: without a server the catalog is empty, it does not start one.
    if (pa_context_connect(self->context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        return pulseError(pa_context_errno(self->context_));
    if (pa_threaded_mainloop_start(self->loop_) < 0)
        return pulseError(PA_ERR_INTERNAL);

    Lock lock(*self);
    bool ready = self->waitUntil(
        [&] {
            auto state = pa_context_get_state(self->context_);
            return state == PA_CONTEXT_READY || isFinal(state);
        },
        timeout);
    if (!ready || pa_context_get_state(self->context_) != PA_CONTEXT_READY) {
        int status = ready ? pa_context_errno(self->context_) : PA_ERR_TIMEOUT;
        return pulseError(status == PA_OK ? PA_ERR_CONNECTIONREFUSED : status);
    }
    self->wasReady_ = true;
    return self;
}

PulseContext::~PulseContext()
{
    if (!loop_)
        return;
    if (context_) {
        {
            Lock lock(*this);
            pa_context_set_state_callback(context_, nullptr, nullptr);
            pa_context_disconnect(context_);
        }
        pa_threaded_mainloop_stop(loop_);
        pa_context_unref(context_);
    } else {
        pa_threaded_mainloop_stop(loop_);
    }
    pa_threaded_mainloop_free(loop_);
}

bool PulseContext::alive() const
{
    return pa_context_get_state(context_) == PA_CONTEXT_READY;
}

bool PulseContext::isConnected() const
{
    Lock lock(*this);
    return alive();
}

int PulseContext::lastError() const
{
    return pa_context_errno(context_);
}

void PulseContext::setDisconnectHandler(std::function<void()> handler)
{
    Lock lock(*this);
    disconnectHandler_ = std::move(handler);
}

bool PulseContext::waitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout)
{
    if (done())
        return true;
    Deadline deadline{this};
    auto micros = static_cast<pa_usec_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(timeout).count());
    pa_time_event* timer =
        pa_context_rttime_new(context_, pa_rtclock_now() + micros, &onDeadline, &deadline);
    bool result = false;
    for (;;) {
        if (done()) {
            result = true;
            break;
        }
        if (deadline.passed || isFinal(pa_context_get_state(context_)))
            break;
        pa_threaded_mainloop_wait(loop_);
    }
    if (timer)
        pa_threaded_mainloop_get_api(loop_)->time_free(timer);
    return result;
}

bool PulseContext::finish(pa_operation* operation, std::chrono::milliseconds timeout)
{
    if (!operation)
        return false;
    bool done = waitUntil([&] { return pa_operation_get_state(operation) != PA_OPERATION_RUNNING; },
                          timeout);
    if (!done)
        pa_operation_cancel(operation);
    bool succeeded = done && pa_operation_get_state(operation) == PA_OPERATION_DONE;
    pa_operation_unref(operation);
    return succeeded;
}

// Loop thread.
void PulseContext::onStateChanged(pa_context* context, void* userdata)
{
    auto* self = static_cast<PulseContext*>(userdata);
    self->signal();
    if (self->wasReady_ && isFinal(pa_context_get_state(context))) {
        self->wasReady_ = false;
        if (self->disconnectHandler_)
            self->disconnectHandler_();
    }
}

} // namespace tw
