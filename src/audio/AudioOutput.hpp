// A playback stream to the machine's output, as the player uses it: the output pulls audio by
// calling a render function on its render thread and reports how much of it has been heard.
// PulseAudioOutput talks to the sound server; SimulatedAudioOutput is pulled by a test.
#pragma once

#include "audio/ProcessingTap.hpp"
#include "base/Result.hpp"

#include <cstdint>
#include <functional>

namespace tw {

class AudioOutput {
public:
    // Render thread: fill frames of interleaved float32 in the opened format. Never locks,
    // allocates or waits.
    using RenderCallback = std::function<void(float* interleaved, int frames)>;
    // Any thread (never the render callback's): the output device went away, the stream failed
    // or the sound server is gone. isRunning() is already false when it is called.
    using ConfigurationChangeHandler = std::function<void()>;

    virtual ~AudioOutput() = default;

    // Both are set while closed, before open().
    virtual void setRenderCallback(RenderCallback callback) = 0;
    virtual void setConfigurationChangeHandler(ConfigurationChangeHandler handler) = 0;

    // Opens a paused stream in this format (interleaved float32) on the default output and
    // returns the format it plays. Fails with the server's error.
    virtual Result<StreamFormat> open(StreamFormat format = StreamFormat{}) = 0;
    // Plays: the render callback is pulled from now on.
    virtual Result<void> start() = 0;
    // Stops where it is; what was rendered but not heard yet plays on start().
    virtual Result<void> pause() = 0;
    // Drops what was rendered but not heard yet (after a seek).
    virtual Result<void> flush() = 0;
    // Ends the stream; no render call runs after it returns. Safe to call when closed. Must not
    // be called from the render callback.
    virtual void close() = 0;

    // True while open, started, not paused and the stream alive.
    virtual bool isRunning() const = 0;
    virtual StreamFormat format() const = 0;
    // Frames heard since open(): the play head, interpolated between the server's reports.
    virtual std::int64_t framesPlayed() const = 0;
    // framesPlayed() in seconds.
    double playedTime() const
    {
        double rate = format().sampleRate;
        return rate > 0 ? static_cast<double>(framesPlayed()) / rate : 0.0;
    }
    // Seconds between a frame leaving the render callback and being heard.
    virtual double latency() const = 0;
};

} // namespace tw
