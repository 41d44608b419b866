// Capture from a PulseAudio source: a record stream in float32 at the source's own rate and
// channel count, delivered interleaved on the stream's main-loop thread (the capture thread).
#pragma once

#include "audio/AudioInput.hpp"
#include "audio/EventRelay.hpp"
#include "audio/PulseContext.hpp"

#include <pulse/stream.h>

#include <atomic>
#include <memory>
#include <mutex>

namespace tw {

class PulseAudioInput : public AudioInput {
public:
    PulseAudioInput();
    ~PulseAudioInput() override;

    void setCaptureCallback(CaptureCallback callback) override;
    void setConfigurationChangeHandler(ConfigurationChangeHandler handler) override;
    Result<StreamFormat> open(std::uint32_t sourceId) override;
    Result<void> start() override;
    Result<void> setPaused(bool paused) override;
    void stop() override;
    bool isRunning() const override { return running_.load(); }
    StreamFormat format() const override;

private:
    struct SourceChoice;
    // With control_ held.
    Result<SourceChoice> findSource(std::uint32_t sourceId);
    Result<void> cork(bool corked);
    void closeStream();
    // Loop thread: the stream or the connection is gone.
    void lost();
    static void onStreamState(pa_stream* stream, void* self);
    static void onReadable(pa_stream* stream, std::size_t bytes, void* self);

    mutable std::mutex control_;
    EventRelay relay_;
    std::unique_ptr<PulseContext> pulse_;
    pa_stream* stream_ = nullptr;
    CaptureCallback capture_;
    StreamFormat format_;
    int frameBytes_ = 0;
    bool started_ = false;
    bool paused_ = false;
    std::atomic<bool> running_{false};
};

} // namespace tw
