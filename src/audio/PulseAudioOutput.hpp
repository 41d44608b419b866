// Playback through PulseAudio: a float32 playback stream on the default sink whose write
// callback pulls the render function on the stream's main-loop thread (the render thread), with
// about 100 ms queued, and an interpolated play head from the server's timing.
#pragma once

#include "audio/AudioOutput.hpp"
#include "audio/PulseStream.hpp"

#include <mutex>

namespace tw {

class PulseAudioOutput : public AudioOutput {
public:
    static constexpr double targetLatencySeconds = 0.1;

    PulseAudioOutput();
    ~PulseAudioOutput() override;

    void setRenderCallback(RenderCallback callback) override;
    void setConfigurationChangeHandler(ConfigurationChangeHandler handler) override
    {
        stream_.setConfigurationChangeHandler(std::move(handler));
    }
    Result<StreamFormat> open(StreamFormat format) override;
    Result<void> start() override;
    Result<void> pause() override;
    Result<void> flush() override;
    void close() override;
    bool isRunning() const override { return stream_.isRunning(); }
    StreamFormat format() const override;
    // Any thread but the render thread; takes the main-loop lock for a moment.
    std::int64_t framesPlayed() const override;
    double latency() const override;

private:
    static void onWritable(pa_stream* stream, std::size_t bytes, void* self);

    mutable std::mutex control_;
    PulseStream stream_{"Tapewright playback"};
    RenderCallback render_;
    StreamFormat format_;
    std::size_t frameBytes_ = 0;
    mutable std::int64_t lastFramesPlayed_ = 0;
};

} // namespace tw
