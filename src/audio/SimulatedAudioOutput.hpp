// An audio output for tests: nothing plays by itself; each advance(frames) pulls that many
// frames from the render callback on the calling thread, as the device would while playing,
// and keeps them for the test to inspect.
#pragma once

#include "audio/AudioOutput.hpp"

#include <mutex>
#include <optional>
#include <vector>

namespace tw {

class SimulatedAudioOutput : public AudioOutput {
public:
    // The render callback is pulled in blocks of at most this many frames.
    explicit SimulatedAudioOutput(int blockFrames = 512);

    void setRenderCallback(RenderCallback callback) override;
    void setConfigurationChangeHandler(ConfigurationChangeHandler handler) override;
    Result<StreamFormat> open(StreamFormat format) override;
    Result<void> start() override;
    Result<void> pause() override;
    Result<void> flush() override;
    void close() override;
    bool isRunning() const override;
    StreamFormat format() const override;
    std::int64_t framesPlayed() const override;
    double latency() const override;

    // Plays `frames` frames: pulls them from the render callback (in blocks) and keeps them.
    // Does nothing unless running. Returns the frames pulled. One thread at a time.
    int advance(int frames);
    // Everything pulled so far, interleaved in the opened format.
    std::vector<float> rendered() const;
    void clearRendered();
    int flushCount() const;

    void setLatency(double seconds);
    // The next open() or start() fails with this error.
    void failNext(Error error);
    // Like an unplugged output: it stops and the configuration-change handler runs on the
    // calling thread.
    void disappear();

private:
    const int blockFrames_;
    mutable std::mutex mutex_;
    RenderCallback render_;
    ConfigurationChangeHandler changeHandler_;
    StreamFormat format_;
    std::vector<float> block_;
    std::vector<float> rendered_;
    std::optional<Error> failure_;
    bool open_ = false;
    bool started_ = false;
    std::int64_t played_ = 0;
    int flushes_ = 0;
    double latency_ = 0;
};

} // namespace tw
