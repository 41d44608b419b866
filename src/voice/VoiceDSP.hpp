// The voice treatment as a sample-by-sample processor: the equaliser chain (per channel), then a
// compressor, an automatic leveller, a soft clipper and a noise gate whose detectors are shared
// by all channels so the stereo image stays put. Used by the live tap and the offline renderer;
// one object per processed stream, its treatment fixed for life.
#pragma once

#include "audio/AudioBufferList.hpp"
#include "model/VoiceTreatment.hpp"
#include "voice/Biquad.hpp"

#include <array>
#include <vector>

namespace tw {

class VoiceDSP {
public:
    explicit VoiceDSP(VoiceTreatment treatment);

    // The filter chain a treatment turns into at a sample rate: the enhance sections of its preset,
    // then the equaliser bands whose gain is not 0. Zeroed state; empty when nothing filters.
    static std::vector<Biquad> eqFilters(const VoiceTreatment& treatment, double rate);

    // Any thread, before process() and again on every format change: resets all running state.
    // Allocates the per-channel chains.
    void prepare(double rate, int channels);

    // The processing thread: takes over the running state of a processor prepared for the same
    // format, so that a new treatment carries on from the sound of the old one: the detectors
    // (envelope, compressor, gate, leveller) and the state of every filter section both chains
    // have (the same enhance section or band). Never allocates.
    void continueFrom(const VoiceDSP& previous);

    // The processing thread: processes frames of the list in place. Never allocates or locks; state
    // carries across calls, so any split of a stream gives the same samples as one call. A
    // pass-through while unsupported or without chains.
    void process(AudioBufferList& list, int frames);

    const VoiceTreatment& treatment() const { return treatment_; }
    // Whether the treatment changes the sound at all (process() is worth calling).
    bool enabled() const { return softClip_; }
    // False when the stream format cannot be processed (the live tap decides).
    bool supported() const { return supported_; }
    void setSupported(bool supported) { supported_ = supported; }

    const std::vector<std::vector<Biquad>>& states() const { return states_; }
    double envelope() const { return envelope_; }
    double gain() const { return gain_; }
    double gate() const { return gate_; }
    double energy() const { return energy_; }
    double levelGain() const { return levelGain_; }
    double threshold() const { return threshold_; }
    double ratio() const { return ratio_; }
    double makeup() const { return makeup_; }

    // Sections in the longest chain: four enhance sections and ten bands.
    static constexpr int maxSections = 14;

    // Frames handled per detector pass; process() takes any count.
    static constexpr int blockFrames = 256;

private:
    // A section of the chain with its place among all the sections a treatment can have: the
    // four enhance sections, the ten bands, the three older bands.
    struct Section {
        int slot;
        Biquad filter;
    };
    static std::vector<Section> eqSections(const VoiceTreatment& treatment, double rate);

    void detect(const AudioBufferList& list, int offset, int frames);
    void filterBlock(AudioBufferList& list, int offset, int frames);

    VoiceTreatment treatment_;
    bool enhance_;
    bool reduceNoise_;
    bool level_;
    bool radio_;
    bool softClip_;

    std::vector<std::vector<Biquad>> states_;
    std::vector<int> slots_; // the slot of each section of the chains, ascending
    double envelope_ = 0.0;
    double gain_ = 1.0;
    double gate_ = 1.0;
    double energy_ = 0.0;
    double levelGain_ = 1.0;
    double attack_ = 0.0;
    double release_ = 0.0;
    double gateOpen_ = 0.0;
    double gateClose_ = 0.0;
    double levelSpeed_ = 0.0;
    double energySpeed_ = 0.0;
    double threshold_ = -18.0;
    double ratio_ = 2.5;
    double makeup_ = 1.0;
    bool supported_ = true;

    // Derived once in prepare() so the detector loop needs no logarithm below the threshold.
    double thresholdLinear_ = 0.0;
    double compressorSlope_ = 0.0;
    double compressorOffset_ = 0.0;

    // Per-block detector results, computed from the input before any sample is written.
    // One spare entry each so the detectors can work on frames in pairs.
    std::array<double, blockFrames + 1> peak_{};
    std::array<double, blockFrames + 1> envelopes_{};
    std::array<double, blockFrames + 1> chainGain_{};
    std::array<double, blockFrames + 1> levelFactor_{};
    std::array<double, blockFrames + 1> gateFactor_{};
    // Stands in for the second lane when a chained channel has no partner.
    std::vector<Biquad> spareChain_;
    std::array<float, blockFrames> spareSamples_{};
};

} // namespace tw
