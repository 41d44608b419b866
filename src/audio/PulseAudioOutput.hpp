// Playback through PulseAudio: a float32 playback stream on the default sink whose write
// callback pulls the render function on the stream's main-loop thread (the render thread), with
// about 100 ms queued, and an interpolated play head from the server's timing.
#pragma once

#include "audio/AudioOutput.hpp"
#include "audio/EventRelay.hpp"
#include "audio/PulseContext.hpp"

#include <pulse/stream.h>

#include <atomic>
#include <memory>
#include <mutex>

namespace tw {

class PulseAudioOutput : public AudioOutput {
public:
    static constexpr double targetLatencySeconds = 0.1;

    PulseAudioOutput();
    ~PulseAudioOutput() override;

    void setRenderCallback(RenderCallback callback) override;
    void setConfigurationChangeHandler(ConfigurationChangeHandler handler) override;
    Result<StreamFormat> open(StreamFormat format) override;
    Result<void> start() override;
    Result<void> pause() override;
    Result<void> flush() override;
    void close() override;
    bool isRunning() const override { return running_.load(); }
    StreamFormat format() const override;
    // Any thread but the render thread; takes the main-loop lock for a moment.
    std::int64_t framesPlayed() const override;
    double latency() const override;

private:
    // With control_ held.
    Result<void> cork(bool corked);
    void closeStream();
    // Loop thread: the stream or the connection is gone.
    void lost();
    static void onStreamState(pa_stream* stream, void* self);
    static void onWritable(pa_stream* stream, std::size_t bytes, void* self);

    mutable std::mutex control_;
    EventRelay relay_;
    std::unique_ptr<PulseContext> pulse_;
    pa_stream* stream_ = nullptr;
    RenderCallback render_;
    StreamFormat format_;
    std::size_t frameBytes_ = 0;
    mutable std::int64_t lastFramesPlayed_ = 0;
    std::atomic<bool> running_{false};
};

} // namespace tw
