// Capture from a PulseAudio source: a record stream in float32 at the source's own rate and
// channel count. The server's pieces are gathered on the stream's main-loop thread (the capture
// thread) into interleaved blocks of the size asked for.
#pragma once

#include "audio/AudioInput.hpp"
#include "audio/CaptureBlocks.hpp"
#include "audio/PulseStream.hpp"

#include <mutex>

namespace tw {

class PulseAudioInput : public AudioInput {
public:
    PulseAudioInput();
    ~PulseAudioInput() override;

    void setCaptureCallback(CaptureCallback callback) override;
    void setConfigurationChangeHandler(ConfigurationChangeHandler handler) override
    {
        stream_.setConfigurationChangeHandler(std::move(handler));
    }
    Result<StreamFormat> open(std::uint32_t sourceId, int blockFrames) override;
    Result<void> start() override;
    Result<void> setPaused(bool paused) override;
    void stop() override;
    bool isRunning() const override { return stream_.isRunning(); }
    StreamFormat format() const override;

private:
    struct SourceChoice;
    // With control_ held.
    Result<SourceChoice> findSource(std::uint32_t sourceId);
    Result<void> cork(bool corked);
    // With control_ held: takes what the server still has for the stream and hands over the
    // partial block.
    void handOverGathered();
    // Loop thread, the capture thread.
    static void onReadable(pa_stream* stream, std::size_t bytes, void* self);
    void readPieces(pa_stream* stream);

    mutable std::mutex control_;
    PulseStream stream_{"Tapewright capture"};
    CaptureCallback capture_;
    CaptureBlocks blocks_;
    StreamFormat format_;
    std::size_t frameBytes_ = 0;
    bool started_ = false;
    bool paused_ = false;
};

} // namespace tw
