// A capture stream from one input of the machine, as the recorder uses it: choose a source and
// learn its format (open), then receive its audio on the capture thread (start) until stop.
// PulseAudioInput talks to the sound server; SimulatedAudioInput feeds a test's signal.
#pragma once

#include "audio/AudioBufferList.hpp"
#include "audio/ProcessingTap.hpp"
#include "base/Result.hpp"

#include <cstdint>
#include <functional>

namespace tw {

class AudioInput {
public:
    // Capture thread (or the thread that pauses or stops the input, never both at once): one
    // block of float32 samples in the opened format, interleaved, of exactly the frames asked for
    // in open(); only at pause and stop a shorter block hands over what was gathered. The
    // samples belong to the input and are valid only during the call: copy what is kept. Must
    // not block.
    using CaptureCallback = std::function<void(const AudioBufferList& buffers, int frames)>;
    // Any thread (never the capture thread's callback): the source went away, the stream
    // failed or the sound server is gone. isRunning() is already false when it is called.
    using ConfigurationChangeHandler = std::function<void()>;

    virtual ~AudioInput() = default;

    // Both are set while stopped, before open().
    virtual void setCaptureCallback(CaptureCallback callback) = 0;
    virtual void setConfigurationChangeHandler(ConfigurationChangeHandler handler) = 0;

    // Selects a source by its catalog identifier (0 = the server's default source) and returns
    // the format the capture will have: the source's own rate and channel count, float32.
    // Captured audio will come in blocks of blockFrames frames. Nothing is delivered yet. Fails
    // with ("System", status, "No se pudo activar la entrada seleccionada.") when the source does
    // not exist or cannot be connected, and with ("Audio", 1, "La entrada no tiene un formato de
    // audio válido.") when it has no rate or no channels.
    virtual Result<StreamFormat> open(std::uint32_t sourceId, int blockFrames) = 0;
    // Starts delivering to the capture callback. Fails with the server's error.
    virtual Result<void> start() = 0;
    // Paused: the partial block is handed over, then nothing is delivered; the stream stays
    // open. Resuming can fail with the server's error, or with sourceLost() when the source went
    // away meanwhile. Does nothing while stopped.
    virtual Result<void> setPaused(bool paused) = 0;
    // Ends the capture, handing over the partial block; no callback runs after it returns. Safe
    // to call when stopped. Must not be called from the capture callback.
    virtual void stop() = 0;
    // True while started, not paused and the stream alive.
    virtual bool isRunning() const = 0;
    // The format returned by the last successful open().
    virtual StreamFormat format() const = 0;
};

// The errors every backend reports the same way.
namespace AudioInputErrors {
Error sourceUnavailable(int status);
Error invalidFormat();
// The source or the sound server went away while the capture was open.
Error sourceLost(int status);
} // namespace AudioInputErrors

} // namespace tw
