// One PulseAudio stream on a connection of its own, as the input and the output use it: the
// connection is made (a broken one replaced) when the stream opens, the stream is connected and
// waited for, corked, flushed and closed. When the stream or the connection is lost while open,
// isRunning() turns false and the configuration-change handler runs on the relay's thread. The
// owner calls everything from one thread at a time, never from the loop thread.
#pragma once

#include "audio/EventRelay.hpp"
#include "audio/PulseContext.hpp"

#include <pulse/stream.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

namespace tw {

class PulseStream {
public:
    struct Setup {
        const char* name = nullptr; // as the server shows it
        pa_sample_spec sampleSpec{};
        const pa_channel_map* map = nullptr;
        // With the loop locked, before connecting: sets the stream's data callback.
        std::function<void(pa_stream*)> configure;
        // With the loop locked: pa_stream_connect_record or _playback; its result.
        std::function<int(pa_stream*)> connect;
    };

    explicit PulseStream(std::string clientName);
    ~PulseStream();
    PulseStream(const PulseStream&) = delete;
    PulseStream& operator=(const PulseStream&) = delete;

    void setConfigurationChangeHandler(std::function<void()> handler);

    // A live connection, made when there is none. Fails with the server's status.
    Result<void> connect();
    // Valid after connect().
    PulseContext& pulse() const { return *pulse_; }
    bool hasConnection() const { return pulse_ != nullptr; }

    // Connects and waits until the stream is ready. Fails with the server's status
    // (PA_ERR_NOENTITY when the server gives none), leaving no stream.
    Result<void> open(const Setup& setup);
    // The server's cork or uncork, waited for. Fails with PA_ERR_BADSTATE when the stream is not
    // ready any more (its source or sink, or the server, went away).
    Result<void> cork(bool corked);
    // Drops what the server still holds for the stream.
    Result<void> flush();
    // Safe without a stream.
    void close();

    bool isOpen() const { return stream_ != nullptr; }
    // With the loop locked (or from the loop's own callbacks).
    pa_stream* stream() const { return stream_; }
    bool ready() const;

    bool isRunning() const { return running_.load(); }
    void setRunning(bool running) { running_ = running; }

private:
    // With the loop locked.
    Result<void> finish(const std::function<pa_operation*(pa_stream_success_cb_t, void*)>& start);
    void closeStream();
    // Loop thread: the stream or the connection is gone.
    void lost();
    static void onStreamState(pa_stream* stream, void* self);

    std::string clientName_;
    EventRelay relay_;
    std::unique_ptr<PulseContext> pulse_; // after the relay: destroyed before it
    pa_stream* stream_ = nullptr;
    std::atomic<bool> running_{false};
};

} // namespace tw
