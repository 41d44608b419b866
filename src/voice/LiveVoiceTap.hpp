// The processing tap on one track of the playback mix: runs the voice treatment on the track's
// audio as the player renders it and feeds the result to that track's spectrum analyser, so the
// treatment is heard at once and the spectrum shows the treated sound. The treatment can change
// while playing: the new one takes over the running state of the old and the two are crossfaded,
// so a change (a preset, a switch, an equaliser drag) is heard as a change and never as a click.
#pragma once

#include "audio/ProcessingTap.hpp"
#include "base/Result.hpp"
#include "capture/SpectrumAnalyzer.hpp"
#include "model/VoiceTreatment.hpp"
#include "voice/VoiceDSP.hpp"

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace tw {

// What a tap owns for its whole life; touched only from the render thread once playing.
struct LiveTapState {
    LiveTapState(const VoiceTreatment& treatment, const std::string& source,
                 SpectrumMonitor& monitor);

    std::unique_ptr<VoiceDSP> dsp;      // the treatment heard now
    std::unique_ptr<VoiceDSP> outgoing; // the one it is fading from, during a change
    SpectrumAnalyzer analyzer;
};

class LiveVoiceTap final : public ProcessingTap {
public:
    // How long a change of treatment takes to fade from the old sound to the new.
    static constexpr double changeSeconds = 0.015;

    LiveVoiceTap(const VoiceTreatment& treatment, const std::string& source,
                 SpectrumMonitor& monitor);
    ~LiveVoiceTap() override;
    LiveVoiceTap(const LiveVoiceTap&) = delete;
    LiveVoiceTap& operator=(const LiveVoiceTap&) = delete;

    // Main thread: the treatment given last (the transport compares it with the project's).
    const VoiceTreatment& treatment() const { return treatment_; }
    // The analyser's source key: "voice" or "music".
    const std::string& source() const { return state_->analyzer.source(); }
    const LiveTapState& state() const { return *state_; }

    // Main thread: the treatment to hear from now on. The processor for it is made here; the
    // render thread switches to it at its next block. Changes that come faster than a crossfade
    // wait for the running one to end, and only the newest is kept.
    void setTreatment(const VoiceTreatment& treatment);

    // Starts the treatment afresh for the format; only 32-bit float linear PCM is processed,
    // anything else passes untouched and unanalysed.
    void prepare(int maxFrames, const StreamFormat& format) override;
    // Render thread: treats the audio in place when the treatment is enabled, then analyses it.
    void process(AudioBufferList& list, int frames) override;
    void unprepare() override {}

private:
    // Render thread.
    void beginPendingChange();
    int crossfade(AudioBufferList& list, int frames);
    void retireOutgoing();
    // Main thread: frees what the render thread has finished with.
    void collect();

    VoiceTreatment treatment_;
    std::unique_ptr<LiveTapState> state_;
    StreamFormat format_;
    bool prepared_ = false;
    int changeFrames_ = 1;
    int changeDone_ = 0;
    std::vector<float> dry_; // the input of a block, for the outgoing treatment
    // Main thread to render thread: the processor of the newest treatment, not taken yet.
    std::atomic<VoiceDSP*> pending_{nullptr};
    // Render thread to main thread: processors faded out, to be freed.
    std::array<std::atomic<VoiceDSP*>, 4> retired_{};
};

// A tap for one track, publishing its spectrum under source. Fails only when the tap cannot be
// made, with a "System" error "No se pudo activar el procesamiento de voz en tiempo real.".
Result<std::shared_ptr<ProcessingTap>> liveVoiceTap(const VoiceTreatment& treatment,
                                                    const std::string& source);
Result<std::shared_ptr<ProcessingTap>>
liveVoiceTap(const VoiceTreatment& treatment, const std::string& source, SpectrumMonitor& monitor);

} // namespace tw
