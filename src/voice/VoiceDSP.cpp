#include "voice/VoiceDSP.hpp"

#include "audio/Denormals.hpp"
#include "voice/PreciseMath.hpp"
#include "voice/TreatmentValues.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <type_traits>
#include <utility>

namespace tw {

namespace {

// Two lanes of doubles: a pair of channels runs through its two chains in one instruction stream.
// Each lane does exactly the arithmetic of the scalar section, so results do not depend on which
// channel a lane is paired with.
using precise::Pair;
using FloatPair = float __attribute__((vector_size(8)));

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
constexpr double levelTarget = 0.126;     // about −18 dBFS
constexpr double levelHoldBelow = 0.003;  // about −50 dBFS: pauses keep the leveller's gain
constexpr double levelMinGain = 0.25;
constexpr double levelMaxGain = 4.0;

// The factors of a detector that is off: multiplying by exactly 1 changes nothing.
constexpr auto unityFactors = [] {
    std::array<double, VoiceDSP::blockFrames + 1> values{};
    for (double& value : values)
        value = 1.0;
    return values;
}();

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
    , softClip_(tw::enabled(treatment_))
{
}

std::vector<VoiceDSP::Section> VoiceDSP::eqSections(const VoiceTreatment& treatment, double rate)
{
    std::vector<Section> chain;
    bool female = isFemale(treatment.preset);
    bool radio = isRadio(treatment.preset);
    if (treatment.enhance) {
        double warmth = female ? (radio ? 2.0 : 1.0) : (radio ? 3.5 : 1.5);
        chain.push_back({0, Biquad::highPass(female ? 85.0 : 70.0, 1.414, rate)});
        chain.push_back({1, Biquad::peaking(female ? 200.0 : 130.0, 1.4, warmth, rate)});
        chain.push_back({2, Biquad::peaking(female ? 400.0 : 320.0, 1.8, -2.0, rate)});
        chain.push_back(
            {3, Biquad::peaking(female ? 4000.0 : 3200.0, 1.6, radio ? 3.0 : 2.0, rate)});
    }
    auto addBand = [&](int slot, double frequency, double gainDb) {
        if (gainDb != 0.0)
            chain.push_back({slot, Biquad::peaking(frequency, 1.5, gainDb, rate)});
    };
    if (treatment.eqBands) {
        // Any eqBands list selects the ten-band frequencies, even one whose length makes
        // bandGains fall back on the three older fields.
        auto gains = bandGains(treatment);
        for (std::size_t i = 0; i < gains.size(); ++i)
            addBand(4 + static_cast<int>(i), bandFrequencies[i], gains[i]);
    } else {
        addBand(14, 110.0, treatment.bass.value_or(0.0));
        addBand(15, 1200.0, treatment.mid.value_or(0.0));
        addBand(16, 8000.0, treatment.treble.value_or(0.0));
    }
    return chain;
}

std::vector<Biquad> VoiceDSP::eqFilters(const VoiceTreatment& treatment, double rate)
{
    std::vector<Biquad> chain;
    for (const Section& section : eqSections(treatment, rate))
        chain.push_back(section.filter);
    return chain;
}

void VoiceDSP::prepare(double rate, int channels)
{
    std::vector<Biquad> chain;
    slots_.clear();
    for (const Section& section : eqSections(treatment_, rate)) {
        chain.push_back(section.filter);
        slots_.push_back(section.slot);
    }
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

void VoiceDSP::continueFrom(const VoiceDSP& previous)
{
    envelope_ = previous.envelope_;
    gain_ = previous.gain_;
    gate_ = previous.gate_;
    energy_ = previous.energy_;
    levelGain_ = previous.levelGain_;
    // Both chains list their sections in slot order, so one pass pairs the sections they share.
    const std::size_t channels = std::min(states_.size(), previous.states_.size());
    for (std::size_t s = 0, p = 0; s < slots_.size() && p < previous.slots_.size();) {
        if (slots_[s] != previous.slots_[p]) {
            (slots_[s] < previous.slots_[p] ? s : p) += 1;
            continue;
        }
        for (std::size_t c = 0; c < channels; ++c) {
            states_[c][s].z1 = previous.states_[c][p].z1;
            states_[c][s].z2 = previous.states_[c][p].z2;
        }
        ++s;
        ++p;
    }
}

void VoiceDSP::process(AudioBufferList& list, int frames)
{
    if (!supported_ || states_.empty() || frames <= 0)
        return;
    ScopedDenormalsOff denormals;
    for (int offset = 0; offset < frames; offset += blockFrames) {
        int count = std::min(blockFrames, frames - offset);
        detect(list, offset, count);
        filterBlock(list, offset, count);
    }
}

// The shared detectors over a block: envelope, gate, compressor, leveller. Leaves the factors
// each frame's samples are multiplied by. Each detector is a short recurrence; its costly target
// (a root, a logarithm) does not depend on the recurrence, so the targets are computed first, two
// frames at a time, and the recurrences run after them without waiting.
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
    // The pairwise passes read one frame past an odd block.
    peak_[frames] = peak_[frames - 1];

    // The envelope and the leveller's energy follow the peaks side by side.
    const double attack = attack_, attackStep = 1.0 - attack_;
    const double release = release_, releaseStep = 1.0 - release_;
    const double energySpeed = energySpeed_, energyStep = 1.0 - energySpeed_;
    double envelope = envelope_, energy = energy_;
    for (int f = 0; f < frames; ++f) {
        const double peak = peak_[f];
        // The attack moves further up and the release less far down, so the larger of the two
        // candidates is the one the comparison would pick; no branch to mispredict on noise.
        envelope = std::max(attack * envelope + attackStep * peak,
                            release * envelope + releaseStep * peak);
        envelopes_[f] = envelope;
        if (level_) {
            energy = energySpeed * energy + energyStep * (peak * peak);
            levelFactor_[f] = energy;
        }
    }
    envelopes_[frames] = envelope;
    levelFactor_[frames] = levelFactor_[frames - 1];
    envelope_ = envelope;
    if (level_)
        energy_ = energy;

    if (!reduceNoise_ && !enhance_ && !level_)
        return;

    // The targets, two frames at a time.
    const Pair makeup = {makeup_, makeup_};
    for (int f = 0; f < frames; f += 2) {
        const Pair e = {envelopes_[f], envelopes_[f + 1]};
        if (reduceNoise_) {
            // (envelope / reference)^1.5 limited to [0.08, 1], with x^1.5 = x·sqrt(x); while the
            // voice sounds the gate is simply open and no root is needed.
            const Pair ratio = e * (1.0 / gateReference);
            const Pair target =
                ratio[0] >= 1.0 && ratio[1] >= 1.0
                    ? Pair{1.0, 1.0}
                    : precise::min(precise::max(ratio * precise::sqrt(ratio), gateFloor), 1.0);
            gateFactor_[f] = target[0];
            gateFactor_[f + 1] = target[1];
        }
        if (enhance_) {
            // Below the threshold the target is the makeup gain alone, with no logarithm.
            const auto below = e <= thresholdLinear_;
            const Pair target =
                below[0] && below[1]
                    ? makeup
                    : (below
                           ? makeup
                           : precise::exp(compressorSlope_ * precise::log(e) + compressorOffset_));
            chainGain_[f] = target[0];
            chainGain_[f + 1] = target[1];
        }
        if (level_) {
            const Pair energies = precise::max(Pair{levelFactor_[f], levelFactor_[f + 1]}, 1e-6);
            const Pair target = precise::min(
                precise::max(levelTarget / precise::sqrt(energies), levelMinGain), levelMaxGain);
            levelFactor_[f] = target[0];
            levelFactor_[f + 1] = target[1];
        }
    }

    // The three gains follow their targets side by side.
    const double open = gateOpen_, openStep = 1.0 - gateOpen_;
    const double close = gateClose_, closeStep = 1.0 - gateClose_;
    const double speed = levelSpeed_, speedStep = 1.0 - levelSpeed_;
    double gate = gate_, gain = gain_, levelGain = levelGain_;
    for (int f = 0; f < frames; ++f) {
        if (reduceNoise_) {
            const double target = gateFactor_[f];
            // Opening is the faster move up, closing the slower move down: the larger wins.
            gate = std::max(open * gate + openStep * target, close * gate + closeStep * target);
            gateFactor_[f] = gate;
        }
        if (enhance_) {
            const double target = chainGain_[f];
            // The attack is the faster move down, the release the slower move up: the smaller
            // wins.
            gain = std::min(attack * gain + attackStep * target,
                            release * gain + releaseStep * target);
            chainGain_[f] = gain;
        }
        if (level_) {
            // Pauses (a low envelope) hold the gain instead of pumping it up.
            if (envelopes_[f] > levelHoldBelow)
                levelGain = speed * levelGain + speedStep * levelFactor_[f];
            levelFactor_[f] = levelGain;
        }
    }
    gate_ = gate;
    gain_ = gain;
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

// The gains after the chain, the soft clip and the gate, for both lanes of a frame.
inline Pair finish(Pair x, const Factors& factors, int f)
{
    x *= factors.chainGain[f];
    x *= factors.levelFactor[f];
    if (factors.clip) {
        const Pair magnitude =
            reinterpret_cast<Pair>(reinterpret_cast<precise::PairBits>(x) & 0x7fffffffffffffffLL);
        const auto over = magnitude > 0.9;
        if (over[0] | over[1])
            x = Pair{softClip(x[0]), softClip(x[1])};
    }
    return x * factors.gate[f];
}

// One section with both lanes' state; coefficients are the same in every chain.
struct PairSection {
    Pair b0, b1, b2, a1, a2, z1, z2;
};

// Runs up to four consecutive sections over a block in place as a wavefront: at step t section g
// works on sample t − g, so the sections' recurrences run side by side instead of each sample
// waiting for the whole chain. Each section still sees its samples in order, with the scalar
// arithmetic, so the result is the same as sample by sample. State stays in registers.
template <int G> void runGroup(Pair* work, int frames, PairSection* group)
{
    Pair b0[G], b1[G], b2[G], a1[G], a2[G], z1[G], z2[G], pipe[G];
    for (int g = 0; g < G; ++g) {
        b0[g] = group[g].b0;
        b1[g] = group[g].b1;
        b2[g] = group[g].b2;
        a1[g] = group[g].a1;
        a2[g] = group[g].a2;
        z1[g] = group[g].z1;
        z2[g] = group[g].z2;
        pipe[g] = Pair{0.0, 0.0};
    }
    auto step = [&](int t, auto checked) {
#pragma GCC unroll 8
        for (int g = G - 1; g >= 0; --g) {
            const int i = t - g;
            if constexpr (decltype(checked)::value) {
                if (i < 0 || i >= frames)
                    continue;
            }
            const Pair x = g == 0 ? work[i] : pipe[g];
            const Pair y = b0[g] * x + z1[g];
            z1[g] = b1[g] * x - a1[g] * y + z2[g];
            z2[g] = b2[g] * x - a2[g] * y;
            if (g == G - 1)
                work[i] = y;
            else
                pipe[g + 1] = y;
        }
    };
    const int end = frames + G - 1;
    const int steadyFrom = std::min(G - 1, end);
    const int steadyTo = std::max(frames, steadyFrom);
    int t = 0;
    for (; t < steadyFrom; ++t)
        step(t, std::true_type{});
    for (; t < steadyTo; ++t)
        step(t, std::false_type{});
    for (; t < end; ++t)
        step(t, std::true_type{});
    for (int g = 0; g < G; ++g) {
        group[g].z1 = z1[g];
        group[g].z2 = z2[g];
    }
}

// Sections per wavefront: enough side by side to hide a section's latency, few enough for the
// state to stay in registers.
constexpr int maxGroup = 5;

// Runs two channels through their chains and finishes them.
void runPair(const Lane& a, const Lane& b, int frames, const Factors& factors)
{
    std::vector<Biquad>& chainA = *a.chain;
    std::vector<Biquad>& chainB = *b.chain;
    const int sections = static_cast<int>(chainA.size());
    PairSection chain[VoiceDSP::maxSections];
    for (int s = 0; s < sections; ++s) {
        const Biquad& q = chainA[s];
        chain[s] = PairSection{Pair{q.b0, q.b0},
                               Pair{q.b1, q.b1},
                               Pair{q.b2, q.b2},
                               Pair{q.a1, q.a1},
                               Pair{q.a2, q.a2},
                               Pair{chainA[s].z1, chainB[s].z1},
                               Pair{chainA[s].z2, chainB[s].z2}};
    }
    // The two channels of an interleaved stereo buffer sit side by side: one load per frame.
    const bool adjacent = b.real && a.stride == 2 && b.stride == 2 && b.samples == a.samples + 1;
    Pair work[VoiceDSP::blockFrames];
    if (adjacent) {
        for (int f = 0; f < frames; ++f) {
            FloatPair pair;
            std::memcpy(&pair, a.samples + 2 * f, sizeof pair);
            work[f] = __builtin_convertvector(pair, Pair);
        }
    } else {
        for (int f = 0; f < frames; ++f)
            work[f] = Pair{a.samples[f * a.stride], b.samples[f * b.stride]};
    }
    // Groups as even as possible: a short group costs nearly as much per step as a full one.
    const int groups = (sections + maxGroup - 1) / maxGroup;
    for (int g = 0, s = 0; g < groups; ++g) {
        const int size = (sections - s) / (groups - g);
        switch (size) {
        case 7:
            runGroup<7>(work, frames, chain + s);
            break;
        case 6:
            runGroup<6>(work, frames, chain + s);
            break;
        case 5:
            runGroup<5>(work, frames, chain + s);
            break;
        case 4:
            runGroup<4>(work, frames, chain + s);
            break;
        case 3:
            runGroup<3>(work, frames, chain + s);
            break;
        case 2:
            runGroup<2>(work, frames, chain + s);
            break;
        default:
            runGroup<1>(work, frames, chain + s);
            break;
        }
        s += size;
    }
    if (adjacent) {
        for (int f = 0; f < frames; ++f) {
            const FloatPair pair = __builtin_convertvector(finish(work[f], factors, f), FloatPair);
            std::memcpy(a.samples + 2 * f, &pair, sizeof pair);
        }
    } else {
        for (int f = 0; f < frames; ++f) {
            const Pair y = finish(work[f], factors, f);
            a.samples[f * a.stride] = static_cast<float>(y[0]);
            if (b.real)
                b.samples[f * b.stride] = static_cast<float>(y[1]);
        }
    }
    for (int s = 0; s < sections; ++s) {
        chainA[s].z1 = chain[s].z1[0];
        chainA[s].z2 = chain[s].z2[0];
        chainB[s].z1 = chain[s].z1[1];
        chainB[s].z2 = chain[s].z2[1];
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
    const Factors factors{enhance_ ? chainGain_.data() : unityFactors.data(),
                          level_ ? levelFactor_.data() : unityFactors.data(),
                          reduceNoise_ ? gateFactor_.data() : unityFactors.data(), softClip_};
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
