// One connection to the PulseAudio server with its own main-loop thread, shared by the device
// catalog and the streams built on it. Every pa_* call on the context or its streams is made
// with the loop locked (PulseContext::Lock), except inside the loop's own callbacks, which run
// locked already.
#pragma once

#include "base/Result.hpp"

#include <pulse/context.h>
#include <pulse/thread-mainloop.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tw {

// A status of the sound server as an error of the system domain, described in Spanish.
Error pulseError(int status);

class PulseContext {
public:
    static constexpr std::chrono::milliseconds connectTimeout{1000};
    static constexpr std::chrono::milliseconds operationTimeout{3000};

    // Any thread but a loop's. Fails (system domain, the server's status) when no server answers
    // within the timeout; never spawns a server.
    static Result<std::unique_ptr<PulseContext>>
    connect(const std::string& clientName, std::chrono::milliseconds timeout = connectTimeout);
    // Not from the loop thread.
    ~PulseContext();
    PulseContext(const PulseContext&) = delete;
    PulseContext& operator=(const PulseContext&) = delete;

    pa_threaded_mainloop* loop() const { return loop_; }
    pa_context* context() const { return context_; }

    // Locked: whether the connection still stands.
    bool alive() const;
    // The same, taking the lock (not from the loop thread).
    bool isConnected() const;
    // Locked: the last status of the server on this connection.
    int lastError() const;
    // Called on the loop thread once, when an established connection breaks.
    void setDisconnectHandler(std::function<void()> handler);

    // Locked: waits (releasing the lock meanwhile) until done() holds, the connection breaks or
    // the timeout passes. Returns done(). Callbacks that change what done() reads call signal().
    bool waitUntil(const std::function<bool()>& done,
                   std::chrono::milliseconds timeout = operationTimeout);
    // Locked: waits for an operation to finish and releases it. False when it did not finish.
    bool finish(pa_operation* operation, std::chrono::milliseconds timeout = operationTimeout);
    // Loop thread (inside callbacks): wakes waitUntil.
    void signal() { pa_threaded_mainloop_signal(loop_, 0); }

    class Lock {
    public:
        explicit Lock(const PulseContext& context) : loop_(context.loop_)
        {
            pa_threaded_mainloop_lock(loop_);
        }
        ~Lock() { pa_threaded_mainloop_unlock(loop_); }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        pa_threaded_mainloop* loop_;
    };

private:
    PulseContext() = default;
    static void onStateChanged(pa_context* context, void* self);

    pa_threaded_mainloop* loop_ = nullptr;
    pa_context* context_ = nullptr;
    bool wasReady_ = false;
    std::function<void()> disconnectHandler_;
};

} // namespace tw
