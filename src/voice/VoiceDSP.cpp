#include "voice/VoiceDSP.hpp"

#include "voice/DenormalGuard.hpp"
#include "voice/TreatmentValues.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace tw {

namespace {

// Two lanes of doubles: a pair of channels runs through its two chains in one instruction stream.
// Each lane does exactly the arithmetic of the scalar section, so results do not depend on which
// channel a lane is paired with.
using Pair = double __attribute__((vector_size(16)));

// exp(−1 / (rate · seconds)): the one-pole coefficient of a time constant.
double smoothing(double seconds, double rate)
{
    return std::exp(-1.0 / (rate * seconds));
}

bool isFemale(Preset preset)
{
    return preset == Preset::femalePodcast || preset == Preset::femaleRadio;
}

bool isRadio(Preset preset)
{
    return preset == Preset::radio || preset == Preset::femaleRadio;
}

constexpr double gateFloor = 0.08;
constexpr double gateReference = 0.00562; // about −45 dBFS: the gate is fully open from here up
// Below this ratio to the reference, ratio^1.5 is under the floor.
const double gateFloorRatio = std::pow(gateFloor, 2.0 / 3.0);
constexpr double levelTarget = 0.126;    // about −18 dBFS
constexpr double levelHoldBelow = 0.003; // about −50 dBFS: pauses keep the leveller's gain
constexpr double levelMinGain = 0.25;
constexpr double levelMaxGain = 4.0;
// Energies outside these limits give a leveller gain clamped to 0.25 or 4.
constexpr double levelQuietEnergy = (levelTarget / levelMaxGain) * (levelTarget / levelMaxGain);
constexpr double levelLoudEnergy = (levelTarget / levelMinGain) * (levelTarget / levelMinGain);

inline double softClip(double x)
{
    double magnitude = std::fabs(x);
    if (magnitude <= 0.9)
        return x;
    return std::copysign(0.9 + 0.1 * std::tanh((magnitude - 0.9) / 0.1), x);
}

} // namespace

VoiceDSP::VoiceDSP(VoiceTreatment treatment)
    : treatment_(std::move(treatment))
    , enhance_(treatment_.enhance)
    , reduceNoise_(treatment_.reduceNoise)
    , level_(treatment_.level == true)
    , radio_(isRadio(treatment_.preset))
    , softClip_(enabled(treatment_))
{
}

std::vector<Biquad> VoiceDSP::eqFilters(const VoiceTreatment& treatment, double rate)
{
    std::vector<Biquad> chain;
    bool female = isFemale(treatment.preset);
    bool radio = isRadio(treatment.preset);
    if (treatment.enhance) {
        double warmth = female ? (radio ? 2.0 : 1.0) : (radio ? 3.5 : 1.5);
        chain.push_back(Biquad::highPass(female ? 85.0 : 70.0, 1.414, rate));
        chain.push_back(Biquad::peaking(female ? 200.0 : 130.0, 1.4, warmth, rate));
        chain.push_back(Biquad::peaking(female ? 400.0 : 320.0, 1.8, -2.0, rate));
        chain.push_back(Biquad::peaking(female ? 4000.0 : 3200.0, 1.6, radio ? 3.0 : 2.0, rate));
    }
    auto addBand = [&](double frequency, double gainDb) {
        if (gainDb != 0.0)
            chain.push_back(Biquad::peaking(frequency, 1.5, gainDb, rate));
    };
    if (treatment.eqBands) {
        // Any eqBands list selects the ten-band frequencies, even one whose length makes
        // bandGains fall back on the three older fields.
        auto gains = bandGains(treatment);
        for (std::size_t i = 0; i < gains.size(); ++i)
            addBand(bandFrequencies[i], gains[i]);
    } else {
        addBand(110.0, treatment.bass.value_or(0.0));
        addBand(1200.0, treatment.mid.value_or(0.0));
        addBand(8000.0, treatment.treble.value_or(0.0));
    }
    return chain;
}

void VoiceDSP::prepare(double rate, int channels)
{
    std::vector<Biquad> chain = eqFilters(treatment_, rate);
    states_.assign(static_cast<std::size_t>(std::max(channels, 0)), chain);
    spareChain_ = chain;

    attack_ = smoothing(0.005, rate);
    release_ = smoothing(0.18, rate);
    gateOpen_ = smoothing(0.003, rate);
    gateClose_ = smoothing(0.12, rate);
    levelSpeed_ = smoothing(0.5, rate);
    energySpeed_ = smoothing(0.15, rate);

    if (radio_) {
        threshold_ = -22.0;
        ratio_ = 4.0;
        makeup_ = 1.5848931924611136; // +4 dB
    } else {
        threshold_ = -18.0;
        ratio_ = 2.5;
        makeup_ = 1.2589254117941673; // +2 dB
    }
    // makeup · 10^(−(1 − 1/ratio) · (20·log10(e) − threshold) / 20), folded into one exp(log).
    thresholdLinear_ = std::pow(10.0, threshold_ / 20.0);
    compressorSlope_ = -(1.0 - 1.0 / ratio_);
    compressorOffset_ =
        std::log(makeup_) - compressorSlope_ * threshold_ * std::numbers::ln10 / 20.0;

    envelope_ = 0.0;
    gain_ = 1.0;
    gate_ = 1.0;
    energy_ = 0.0;
    levelGain_ = 1.0;
    spareSamples_.fill(0.0f);
}

void VoiceDSP::process(AudioBufferList& list, int frames)
{
    if (!supported_ || states_.empty() || frames <= 0)
        return;
    DenormalGuard denormals;
    for (int offset = 0; offset < frames; offset += blockFrames) {
        int count = std::min(blockFrames, frames - offset);
        detect(list, offset, count);
        filterBlock(list, offset, count);
    }
}

// The shared detectors, frame by frame over the block: envelope, gate, compressor, leveller.
// Leaves the factors each frame's samples are multiplied by.
void VoiceDSP::detect(const AudioBufferList& list, int offset, int frames)
{
    std::fill_n(peak_.begin(), frames, 0.0);
    for (int b = 0; b < list.count; ++b) {
        const AudioBuffer& buffer = list.buffers[b];
        if (buffer.data == nullptr || buffer.channels <= 0)
            continue;
        const int channels = buffer.channels;
        const float* samples = buffer.data + static_cast<std::size_t>(offset) * channels;
        for (int f = 0; f < frames; ++f) {
            double peak = peak_[f];
            for (int c = 0; c < channels; ++c)
                peak = std::max(peak, static_cast<double>(std::fabs(samples[f * channels + c])));
            peak_[f] = peak;
        }
    }

    const double attack = attack_, attackStep = 1.0 - attack_;
    const double release = release_, releaseStep = 1.0 - release_;
    const double gateOpen = gateOpen_, gateOpenStep = 1.0 - gateOpen_;
    const double gateClose = gateClose_, gateCloseStep = 1.0 - gateClose_;
    const double levelSpeed = levelSpeed_, levelStep = 1.0 - levelSpeed_;
    const double energySpeed = energySpeed_, energyStep = 1.0 - energySpeed_;
    double envelope = envelope_, gain = gain_, gate = gate_, energy = energy_,
           levelGain = levelGain_;

    for (int f = 0; f < frames; ++f) {
        const double peak = peak_[f];
        envelope = peak > envelope ? attack * envelope + attackStep * peak
                                   : release * envelope + releaseStep * peak;

        if (reduceNoise_) {
            // (envelope / reference)^1.5 limited to [0.08, 1]; x^1.5 = x·sqrt(x), and no root
            // is needed where the limits decide.
            double ratio = envelope / gateReference;
            double target = ratio >= 1.0 ? 1.0
                            : ratio <= gateFloorRatio
                                ? gateFloor
                                : std::max(ratio * std::sqrt(ratio), gateFloor);
            gate = target > gate ? gateOpen * gate + gateOpenStep * target
                                 : gateClose * gate + gateCloseStep * target;
        }

        if (enhance_) {
            // Below the threshold the target is the makeup gain alone.
            double target =
                envelope <= thresholdLinear_
                    ? makeup_
                    : std::exp(compressorSlope_ * std::log(envelope) + compressorOffset_);
            gain = target < gain ? attack * gain + attackStep * target
                                 : release * gain + releaseStep * target;
        }

        if (level_) {
            energy = energySpeed * energy + energyStep * (peak * peak);
            if (envelope > levelHoldBelow) {
                double target = energy <= levelQuietEnergy  ? levelMaxGain
                                : energy >= levelLoudEnergy ? levelMinGain
                                                            : levelTarget / std::sqrt(energy);
                levelGain = levelSpeed * levelGain + levelStep * target;
            }
        }

        chainGain_[f] = enhance_ ? gain : 1.0;
        levelFactor_[f] = level_ ? levelGain : 1.0;
        gateFactor_[f] = gate;
    }

    envelope_ = envelope;
    gain_ = gain;
    gate_ = gate;
    energy_ = energy;
    levelGain_ = levelGain;
}

namespace {

struct Lane {
    float* samples = nullptr;
    int stride = 0;
    std::vector<Biquad>* chain = nullptr;
    bool real = false;
};

struct Factors {
    const double* chainGain;
    const double* levelFactor;
    const double* gate;
    bool clip;
};

inline float finish(double x, const Factors& factors, int f)
{
    x *= factors.chainGain[f];
    x *= factors.levelFactor[f];
    if (factors.clip)
        x = softClip(x);
    return static_cast<float>(x * factors.gate[f]);
}

// Runs two channels through their chains (all chains share coefficients) and finishes them.
void runPair(const Lane& a, const Lane& b, int frames, const Factors& factors)
{
    std::vector<Biquad>& chainA = *a.chain;
    std::vector<Biquad>& chainB = *b.chain;
    const int sections = static_cast<int>(chainA.size());
    Pair b0[VoiceDSP::maxSections], b1[VoiceDSP::maxSections], b2[VoiceDSP::maxSections];
    Pair a1[VoiceDSP::maxSections], a2[VoiceDSP::maxSections];
    Pair z1[VoiceDSP::maxSections], z2[VoiceDSP::maxSections];
    for (int s = 0; s < sections; ++s) {
        const Biquad& q = chainA[s];
        b0[s] = Pair{q.b0, q.b0};
        b1[s] = Pair{q.b1, q.b1};
        b2[s] = Pair{q.b2, q.b2};
        a1[s] = Pair{q.a1, q.a1};
        a2[s] = Pair{q.a2, q.a2};
        z1[s] = Pair{chainA[s].z1, chainB[s].z1};
        z2[s] = Pair{chainA[s].z2, chainB[s].z2};
    }
    for (int f = 0; f < frames; ++f) {
        Pair x = {a.samples[f * a.stride], b.samples[f * b.stride]};
        for (int s = 0; s < sections; ++s) {
            Pair y = b0[s] * x + z1[s];
            z1[s] = b1[s] * x - a1[s] * y + z2[s];
            z2[s] = b2[s] * x - a2[s] * y;
            x = y;
        }
        a.samples[f * a.stride] = finish(x[0], factors, f);
        if (b.real)
            b.samples[f * b.stride] = finish(x[1], factors, f);
    }
    for (int s = 0; s < sections; ++s) {
        chainA[s].z1 = z1[s][0];
        chainA[s].z2 = z2[s][0];
        chainB[s].z1 = z1[s][1];
        chainB[s].z2 = z2[s][1];
    }
}

// A channel beyond the prepared ones: no chain and no compressor gain, the rest as usual.
void finishUnchained(float* samples, int stride, int frames, const Factors& factors)
{
    for (int f = 0; f < frames; ++f) {
        double x = samples[f * stride];
        x *= factors.levelFactor[f];
        if (factors.clip)
            x = softClip(x);
        samples[f * stride] = static_cast<float>(x * factors.gate[f]);
    }
}

} // namespace

void VoiceDSP::filterBlock(AudioBufferList& list, int offset, int frames)
{
    const Factors factors{chainGain_.data(), levelFactor_.data(), gateFactor_.data(), softClip_};
    const std::size_t chains = states_.size();
    std::size_t channel = 0;
    Lane pending;
    for (int b = 0; b < list.count; ++b) {
        const AudioBuffer& buffer = list.buffers[b];
        if (buffer.data == nullptr || buffer.channels <= 0)
            continue;
        float* block = buffer.data + static_cast<std::size_t>(offset) * buffer.channels;
        for (int c = 0; c < buffer.channels; ++c, ++channel) {
            if (channel >= chains) {
                finishUnchained(block + c, buffer.channels, frames, factors);
                continue;
            }
            Lane lane{block + c, buffer.channels, &states_[channel], true};
            if (pending.real) {
                runPair(pending, lane, frames, factors);
                pending = Lane{};
            } else {
                pending = lane;
            }
        }
    }
    if (pending.real) {
        // The spare lane reads zeros, so its chain stays at rest and nothing is written back.
        runPair(pending, Lane{spareSamples_.data(), 1, &spareChain_, false}, frames, factors);
    }
}

} // namespace tw
