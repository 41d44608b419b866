// The processing tap on one track of the playback mix: runs the voice treatment on the track's
// audio as the player renders it and feeds the result to that track's spectrum analyser, so the
// treatment is heard at once and the spectrum shows the treated sound.
#pragma once

#include "audio/ProcessingTap.hpp"
#include "base/Result.hpp"
#include "capture/SpectrumAnalyzer.hpp"
#include "model/VoiceTreatment.hpp"
#include "voice/VoiceDSP.hpp"

#include <memory>
#include <string>

namespace tw {

// What a tap owns for its whole life; touched only from the render thread once playing.
struct LiveTapState {
    LiveTapState(const VoiceTreatment& treatment, const std::string& source,
                 SpectrumMonitor& monitor);

    VoiceDSP dsp;
    SpectrumAnalyzer analyzer;
};

class LiveVoiceTap final : public ProcessingTap {
public:
    LiveVoiceTap(const VoiceTreatment& treatment, const std::string& source,
                 SpectrumMonitor& monitor);

    // The treatment the tap was made with (the transport keeps a tap while it is unchanged).
    const VoiceTreatment& treatment() const { return state_->dsp.treatment(); }
    // The analyser's source key: "voice" or "music".
    const std::string& source() const { return state_->analyzer.source(); }
    const LiveTapState& state() const { return *state_; }

    // Starts the treatment afresh for the format; only 32-bit float linear PCM is processed,
    // anything else passes untouched and unanalysed.
    void prepare(int maxFrames, const StreamFormat& format) override;
    // Render thread: treats the audio in place when the treatment is enabled, then analyses it.
    void process(AudioBufferList& list, int frames) override;
    void unprepare() override {}

private:
    std::unique_ptr<LiveTapState> state_;
    bool treatmentEnabled_;
};

// A tap for one track, publishing its spectrum under source. Fails only when the tap cannot be
// made, with a "System" error "No se pudo activar el procesamiento de voz en tiempo real.".
Result<std::shared_ptr<ProcessingTap>> liveVoiceTap(const VoiceTreatment& treatment,
                                                    const std::string& source);
Result<std::shared_ptr<ProcessingTap>>
liveVoiceTap(const VoiceTreatment& treatment, const std::string& source, SpectrumMonitor& monitor);

} // namespace tw
