#include "audio/PulseContext.hpp"

#include <pulse/def.h>
#include <pulse/operation.h>
#include <pulse/rtclock.h>

namespace tw {

namespace {

const char* pulseDescription(int status)
{
    switch (status) {
    case PA_ERR_ACCESS:
        return "El servidor de sonido denegó el acceso.";
    case PA_ERR_INVALID:
        return "El servidor de sonido rechazó un valor no válido.";
    case PA_ERR_EXIST:
        return "Ese elemento ya existe en el servidor de sonido.";
    case PA_ERR_NOENTITY:
        return "El dispositivo de audio no existe o se desconectó.";
    case PA_ERR_CONNECTIONREFUSED:
        return "El servidor de sonido no acepta la conexión; puede que no esté en marcha.";
    case PA_ERR_TIMEOUT:
        return "El servidor de sonido no responde.";
    case PA_ERR_AUTHKEY:
        return "Falta la clave para conectarse al servidor de sonido.";
    case PA_ERR_CONNECTIONTERMINATED:
        return "Se perdió la conexión con el servidor de sonido.";
    case PA_ERR_KILLED:
        return "El servidor de sonido cerró el dispositivo de audio.";
    case PA_ERR_INVALIDSERVER:
        return "La dirección del servidor de sonido no es válida.";
    case PA_ERR_BADSTATE:
        return "El dispositivo de audio ya no está activo: se desconectó o el servidor de sonido "
               "se detuvo.";
    case PA_ERR_VERSION:
        return "La versión del servidor de sonido no es compatible.";
    case PA_ERR_TOOLARGE:
        return "El servidor de sonido no admite un bloque de audio tan grande.";
    case PA_ERR_NOTSUPPORTED:
    case PA_ERR_NOEXTENSION:
    case PA_ERR_OBSOLETE:
    case PA_ERR_NOTIMPLEMENTED:
        return "El servidor de sonido no admite esta operación.";
    case PA_ERR_IO:
        return "Error de entrada o salida en el servidor de sonido.";
    case PA_ERR_BUSY:
        return "El dispositivo de audio está ocupado.";
    default:
        return nullptr;
    }
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

Error pulseError(int status)
{
    const char* description = pulseDescription(status);
    return Error{ErrorDomain::system, status,
                 description
                     ? description
                     : "Error del servidor de sonido (código " + std::to_string(status) + ")."};
}

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
