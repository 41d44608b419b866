#include "voice/VoiceDSP.hpp"

#include "ToneResponse.hpp"
#include "support/Signals.hpp"
#include "support/SoundChecks.hpp"
#include "support/Treatments.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <random>

namespace tw {
namespace {

using test::gainOf;
using test::toneAmplitude;

constexpr std::array<Preset, 4> allPresets = {Preset::podcast, Preset::radio, Preset::femalePodcast,
                                              Preset::femaleRadio};

// Speech-like test material: noise and tones under an envelope that moves between silence,
// quiet passages, normal speech and overloads, so every detector branch is crossed.
std::vector<float> speechLike(int frames, int channels, double rate, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    std::uniform_real_distribution<double> lengthSeconds(0.02, 0.4);
    const std::array<double, 7> levels = {0.0, 0.0003, 0.002, 0.006, 0.05, 0.3, 1.4};
    std::uniform_int_distribution<std::size_t> pickLevel(0, levels.size() - 1);
    std::vector<float> samples(static_cast<std::size_t>(frames) * channels);
    double amplitude = 0.0, target = levels[pickLevel(random)];
    int untilChange = 0;
    for (int f = 0; f < frames; ++f) {
        if (untilChange-- <= 0) {
            target = levels[pickLevel(random)];
            untilChange = static_cast<int>(lengthSeconds(random) * rate);
        }
        amplitude += (target - amplitude) * 0.002;
        double tone = std::sin(2.0 * std::numbers::pi * 180.0 * f / rate);
        for (int c = 0; c < channels; ++c)
            samples[static_cast<std::size_t>(f) * channels + c] =
                static_cast<float>(amplitude * (0.6 * tone + 0.4 * unit(random)));
    }
    return samples;
}

// Interleaved samples laid out as one interleaved buffer or as one buffer per channel.
struct LaidOut {
    LaidOut(const std::vector<float>& interleaved, int channels, bool planar)
        : channels(channels)
        , frames(static_cast<int>(interleaved.size()) / channels)
        , storage(planar ? channels : 1)
    {
        for (std::size_t i = 0; i < interleaved.size(); ++i)
            storage[storage.size() == 1 ? 0 : i % channels].push_back(interleaved[i]);
    }
    // The list for frames starting at offset.
    AudioBufferList list(int offset)
    {
        AudioBufferList result;
        const int each = storage.size() == 1 ? channels : 1;
        for (auto& buffer : storage)
            result.add({each, buffer.data() + static_cast<std::size_t>(offset) * each});
        return result;
    }
    std::vector<float> interleaved() const
    {
        std::vector<float> result(static_cast<std::size_t>(frames) * channels);
        for (std::size_t i = 0; i < result.size(); ++i)
            result[i] = storage.size() == 1 ? storage[0][i] : storage[i % channels][i / channels];
        return result;
    }

    int channels;
    int frames;
    std::vector<std::vector<float>> storage;
};

std::vector<float> processed(const VoiceTreatment& treatment, std::vector<float> samples,
                             int channels, double rate, bool planar = false)
{
    VoiceDSP dsp(treatment);
    dsp.prepare(rate, channels);
    LaidOut laidOut(samples, channels, planar);
    AudioBufferList list = laidOut.list(0);
    dsp.process(list, laidOut.frames);
    return laidOut.interleaved();
}

// The channels share the detectors (they follow the loudest channel) and nothing else: a channel
// changed below the loudest one leaves every other channel's output bit for bit as it was, in any
// buffer layout and channel count, so no channel's filters or gains leak into another's.
TEST(VoiceDSP, channelsShareOnlyTheDetectors)
{
    const double rate = 48000.0;
    for (int channels : {2, 3, 4}) {
        auto input = speechLike(int(rate), channels, rate, 5);
        for (std::size_t i = 0; i < input.size(); ++i)
            if (i % channels != 0) // below the first channel, sample by sample
                input[i] =
                    0.5f * std::fabs(input[i - i % channels]) * (i % channels == 1 ? 1.0f : -0.5f);
        auto changed = input;
        for (std::size_t i = 1; i < changed.size(); i += channels)
            changed[i] *= -0.5f;
        const auto before = processed(test::fullTreatment(), input, channels, rate);
        const auto after = processed(test::fullTreatment(), changed, channels, rate, true);
        bool othersSame = true, changedDiffers = false;
        for (std::size_t i = 0; i < before.size(); ++i) {
            if (i % channels == 1)
                changedDiffers |= before[i] != after[i];
            else
                othersSame &= before[i] == after[i];
        }
        EXPECT_TRUE(othersSame) << channels << " channels";
        EXPECT_TRUE(changedDiffers);
        EXPECT_EQ(before, processed(test::fullTreatment(), input, channels, rate, true));
    }
}

TEST(VoiceDSP, anySplitIntoCallsAfterAnyEarlierPrepareGivesTheSameSamplesAsOneFreshCall)
{
    std::mt19937 random(7);
    unsigned seed = 100;
    for (double rate : {22050.0, 44100.0, 48000.0, 96000.0}) {
        for (int channels : {1, 2}) {
            for (bool planar : {false, true}) {
                SCOPED_TRACE(::testing::Message() << rate << " Hz, " << channels << " ch, "
                                                  << (planar ? "planar" : "interleaved"));
                VoiceTreatment treatment =
                    test::fullTreatment(rate > 45000 ? Preset::podcast : Preset::femaleRadio);
                auto input = speechLike(int(rate), channels, rate, ++seed);
                auto whole = processed(treatment, input, channels, rate, planar);

                // Large pieces split at random points, then many small ones of random sizes.
                for (int attempt = 0; attempt < 3; ++attempt) {
                    // Preparing again forgets what was heard at another rate and layout.
                    VoiceDSP dsp(treatment);
                    dsp.prepare(rate * 2, 3 - channels);
                    auto earlier = speechLike(20000, 3 - channels, rate * 2, seed);
                    AudioBufferList heard =
                        AudioBufferList::interleaved(earlier.data(), 3 - channels);
                    dsp.process(heard, 20000);
                    dsp.prepare(rate, channels);
                    LaidOut laidOut(input, channels, planar);
                    std::uniform_int_distribution<int> block(1, attempt == 0 ? laidOut.frames - 1
                                                                             : 1500);
                    for (int offset = 0, count = 0; offset < laidOut.frames; offset += count) {
                        count = std::min(block(random), laidOut.frames - offset);
                        AudioBufferList list = laidOut.list(offset);
                        dsp.process(list, count);
                    }
                    EXPECT_EQ(laidOut.interleaved(), whole);
                }
            }
        }
    }
}

TEST(VoiceDSP, fullScaleSinesAndNoiseNeverLeaveTheUnitRangeWhateverTheTreatment)
{
    const double rate = 48000.0;
    const int frames = 24000;
    std::vector<std::vector<float>> signals = {signals::noise(1, frames, 3)};
    for (float& x : signals[0])
        x *= 2; // full scale
    for (double frequency : {60.0, 200.0, 1000.0, 4000.0, 9000.0})
        signals.push_back(testing::sineTone(frequency, rate, frames, 1.0));

    std::vector<std::optional<std::vector<double>>> bandChoices = {
        std::nullopt, std::vector<double>(10, 12.0), std::vector<double>(10, -12.0),
        std::vector<double>{12, -12, 12, -12, 12, -12, 12, -12, 12, -12}};
    for (Preset preset : allPresets) {
        for (int flags = 0; flags < 8; ++flags) {
            for (const auto& bands : bandChoices) {
                const VoiceTreatment treatment{.enhance = (flags & 1) != 0,
                                               .reduceNoise = (flags & 2) != 0,
                                               .level = (flags & 4) != 0,
                                               .eqBands = bands,
                                               .preset = preset};
                for (const auto& signal : signals) {
                    const auto output = processed(treatment, signal, 1, rate);
                    const auto magnitude = [](float x) { return std::fabs(x); };
                    ASSERT_LE(magnitude(std::ranges::max(output, {}, magnitude)), 1.0f)
                        << "preset " << int(preset) << ", flags " << flags;
                }
            }
        }
    }
}

// Output over input of a steady level at dbfs in the last of three seconds, as the smallest and
// largest ratio seen: of a square wave (its magnitude never moves) sample by sample, or of a 1 kHz
// tone by its amplitude (then both are the same).
std::pair<double, double> steadyGain(const VoiceTreatment& treatment, double dbfs,
                                     double rate = 48000.0, bool square = false)
{
    const auto frames = static_cast<std::size_t>(rate * 3), from = frames * 2 / 3;
    const double amplitude = std::pow(10.0, dbfs / 20.0);
    auto in = testing::sineTone(1000, rate, frames, amplitude);
    if (square)
        for (std::size_t f = 0; f < frames; ++f)
            in[f] = static_cast<float>((f / 24) % 2 ? amplitude : -amplitude);
    const auto out = processed(treatment, in, 1, rate);
    if (!square) {
        const double gain = toneAmplitude({out.begin(), out.end()}, 1000.0, rate, from, frames) /
                            toneAmplitude({in.begin(), in.end()}, 1000.0, rate, from, frames);
        return {gain, gain};
    }
    double low = 1e9, high = 0.0;
    for (std::size_t f = from; f < frames; ++f) {
        low = std::min(low, double(out[f]) / double(in[f]));
        high = std::max(high, double(out[f]) / double(in[f]));
    }
    return {low, high};
}

// Each stage alone on steady levels. The gate rests on its floor just under its range, sits
// between floor and open inside it, and is wide open from its top up and for speech-level tones.
// The compressor applies only its makeup gain (and the 1 kHz shelf of the enhance curve) below
// its threshold; 6 dB under full scale, 12 (radio: 16) dB over it, its ratio takes most of the
// excess. The leveller brings tones toward 18 dB under full scale, raising quiet ones by at most
// 4 (+12 dB).
TEST(VoiceDSP, eachStageSettlesSteadyLevelsAtItsGain)
{
    const VoiceTreatment gateOnly{.reduceNoise = true}, levelOnly{.level = true};
    for (double rate : {22050.0, 44100.0, 48000.0}) {
        SCOPED_TRACE(::testing::Message() << rate << " Hz");
        for (auto [dbfs, gain, tolerance, square] : {std::tuple{-60.0, 0.08, 1e-6, true},
                                                     {-52.0, 0.4, 0.2, true},
                                                     {-45.0, 1.0, 1e-6, true},
                                                     {-6.0, 1.0, 1e-6, true},
                                                     {-30.0, 1.0, 1e-6, false}}) {
            auto [low, high] = steadyGain(gateOnly, dbfs, rate, square);
            EXPECT_NEAR(low, gain, tolerance) << dbfs << " dBFS";
            EXPECT_NEAR(high, gain, tolerance) << dbfs << " dBFS";
        }
    }
    for (Preset preset : allPresets) {
        const VoiceTreatment treatment{.enhance = true, .preset = preset};
        const double quiet = steadyGain(treatment, -40.0).first;
        const double loud = steadyGain(treatment, -6.0).first;
        const bool radio = preset == Preset::radio || preset == Preset::femaleRadio;
        EXPECT_NEAR(20 * std::log10(quiet), radio ? 4.0 : 2.0, 0.6);
        const double overDb = radio ? 16.0 : 12.0, ratio = radio ? 4.0 : 2.5;
        EXPECT_NEAR(20 * std::log10(loud / quiet), -overDb * (1.0 - 1.0 / ratio), 1.0);
    }
    for (double dbfs : {-26.0, -3.0}) {
        const double outputRms =
            steadyGain(levelOnly, dbfs).first * std::pow(10.0, dbfs / 20.0) / std::sqrt(2.0);
        EXPECT_NEAR(20 * std::log10(outputRms / 0.126), 0.0, 0.5) << dbfs << " dBFS";
    }
    EXPECT_NEAR(steadyGain(levelOnly, -40.0).first, 4.0, 0.05);
}

// Speech then a long pause under -50 dBFS: the leveller keeps the gain reached in speech.
TEST(VoiceDSP, levellerHoldsItsGainInPauses)
{
    const double rate = 48000.0;
    VoiceDSP dsp(VoiceTreatment{.level = true});
    dsp.prepare(rate, 1);
    auto speech = testing::sineTone(300, rate, static_cast<std::size_t>(rate * 3), 0.05);
    AudioBufferList list = AudioBufferList::interleaved(speech.data(), 1);
    dsp.process(list, static_cast<int>(speech.size()));
    const double speechGain = dsp.levelGain();
    EXPECT_GT(speechGain, 2.0);
    // The envelope falls under the hold point within the first second of the pause.
    std::vector<float> pause(static_cast<std::size_t>(rate), 0.0005f);
    list = AudioBufferList::interleaved(pause.data(), 1);
    dsp.process(list, static_cast<int>(pause.size()));
    const double heldGain = dsp.levelGain();
    for (int second = 0; second < 3; ++second) {
        std::fill(pause.begin(), pause.end(), 0.0005f);
        dsp.process(list, static_cast<int>(pause.size()));
    }
    EXPECT_EQ(dsp.levelGain(), heldGain);
    EXPECT_LT(heldGain, 3.9) << "the pause must not pump the gain up to its limit";
    EXPECT_GE(heldGain, speechGain);
}

TEST(VoiceDSP, disabledUnsupportedOrUnpreparedProcessingLeavesSamplesBitIdentical)
{
    auto input = speechLike(20000, 2, 48000.0, 11);
    // Overloads too: without a treatment nothing clips them.
    input[100] = 1.75f;
    input[101] = -3.0f;
    const VoiceTreatment zeros{
        .bass = 0.0, .eqBands = std::vector<double>(10, 0.0), .preset = Preset::femaleRadio};
    for (const VoiceTreatment& treatment : {VoiceTreatment{}, zeros})
        for (bool planar : {false, true})
            EXPECT_EQ(processed(treatment, input, 2, 48000.0, planar), input);

    VoiceDSP unsupported(test::fullTreatment()), unprepared(test::fullTreatment());
    unsupported.prepare(48000.0, 2);
    unsupported.setSupported(false);
    auto samples = input;
    AudioBufferList list = AudioBufferList::interleaved(samples.data(), 2);
    unsupported.process(list, 10000);
    unprepared.process(list, 10000);
    EXPECT_EQ(samples, input);
    unsupported.setSupported(true);
    unsupported.process(list, 10000);
    EXPECT_NE(samples, input);
}

// The enhance curve of each preset (high-pass, low bell, mid dip, presence) comes first, then one
// section per non-zero gain in band order: the older fields at 110 Hz, 1.2 kHz and 8 kHz, any list
// at the ten band frequencies (a list of another length with the older gains mapped onto them), a
// band above 0.45 of the rate designed there.
TEST(VoiceDSP, equaliserSectionsFollowTheBandSettingsAndSkipZeroGains)
{
    const VoiceTreatment older{.bass = -4.0, .mid = 5.0, .treble = 6.0},
        nine{.bass = -4.0, .mid = 5.0, .treble = 6.0, .eqBands = std::vector<double>(9, 9.0)};
    const VoiceTreatment ten{.eqBands = std::vector<double>{-6, 0, 0, 3, 0, 0, 0, 0, 0, 12}};
    const auto enhanced = [](Preset preset) {
        return VoiceTreatment{.enhance = true,
                              .eqBands = std::vector<double>{0, 0, 0, 0, 0, 6, 0, 0, 0, 0},
                              .preset = preset};
    };
    const struct {
        VoiceTreatment treatment;
        double rate;
        std::vector<std::pair<double, double>> sections; // where each is measured, its gain
    } cases[] = {
        {enhanced(Preset::podcast), 48000, {{70, -3}, {130, 1.5}, {320, -2}, {3200, 2}, {1000, 6}}},
        {enhanced(Preset::radio), 48000, {{70, -3}, {130, 3.5}, {320, -2}, {3200, 3}, {1000, 6}}},
        {enhanced(Preset::femalePodcast),
         48000,
         {{85, -3}, {200, 1}, {400, -2}, {4000, 2}, {1000, 6}}},
        {enhanced(Preset::femaleRadio),
         44100,
         {{85, -3}, {200, 2}, {400, -2}, {4000, 3}, {1000, 6}}},
        {{.bass = 3.0, .treble = 0.0}, 48000, {{110, 3}}},
        {older, 48000, {{110, -4}, {1200, 5}, {8000, 6}}},
        {nine, 48000, {{125, -4}, {1000, 5}, {8000, 6}}},
        {ten, 48000, {{31.5, -6}, {250, 3}, {16000, 12}}},
        {ten, 22050, {{31.5, -6}, {250, 3}, {9922.5, 12}}},
        {{.eqBands = std::vector<double>(10, 0.0)}, 48000, {}},
        {VoiceTreatment{}, 48000, {}},
    };
    for (const auto& c : cases) {
        auto chain = VoiceDSP::eqFilters(c.treatment, c.rate);
        ASSERT_EQ(chain.size(), c.sections.size()) << c.rate;
        for (std::size_t i = 0; i < chain.size(); ++i) {
            const auto [frequency, gain] = c.sections[i];
            EXPECT_NEAR(gainOf(chain[i], frequency, c.rate, frequency < 40 ? 8 : 4), gain, 0.1)
                << frequency << " Hz at " << c.rate;
        }
    }
}

} // namespace
} // namespace tw
