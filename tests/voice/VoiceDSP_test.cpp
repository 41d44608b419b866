#include "voice/VoiceDSP.hpp"

#include "support/Signals.hpp"
#include "support/SoundChecks.hpp"
#include "support/Treatments.hpp"
#include "voice/ToneResponse.hpp"
#include "voice/TreatmentValues.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

namespace tw {
namespace {

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
        , storage(planar ? channels : 1,
                  std::vector<float>(interleaved.size() / (planar ? channels : 1)))
    {
        for (std::size_t i = 0; i < interleaved.size(); ++i)
            at(i) = interleaved[i];
    }
    float& at(std::size_t i)
    {
        return storage.size() == 1 ? storage[0][i] : storage[i % channels][i / channels];
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
    std::vector<float> interleaved()
    {
        std::vector<float> result(static_cast<std::size_t>(frames) * channels);
        for (std::size_t i = 0; i < result.size(); ++i)
            result[i] = at(i);
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

                // Two halves at a random point, then many random block sizes.
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
                    std::uniform_int_distribution<int> cut(1, laidOut.frames - 1);
                    std::uniform_int_distribution<int> block(1, 1500);
                    int offset = 0;
                    bool halves = attempt == 0;
                    int half = cut(random);
                    while (offset < laidOut.frames) {
                        int count = halves ? (offset == 0 ? half : laidOut.frames - half)
                                           : std::min(block(random), laidOut.frames - offset);
                        AudioBufferList list = laidOut.list(offset);
                        dsp.process(list, count);
                        offset += count;
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
                VoiceTreatment treatment;
                treatment.preset = preset;
                treatment.enhance = flags & 1;
                treatment.reduceNoise = flags & 2;
                treatment.level = (flags & 4) != 0;
                treatment.eqBands = bands;
                for (const auto& signal : signals) {
                    auto output = processed(treatment, signal, 1, rate);
                    float worst = 0.0f;
                    for (float x : output)
                        worst = std::max(worst, std::fabs(x));
                    ASSERT_LE(worst, 1.0f) << "preset " << int(preset) << ", flags " << flags;
                }
            }
        }
    }
}

// Output over input amplitude of a steady 1 kHz tone at the given level, in its last second.
double steadyToneGain(const VoiceTreatment& treatment, double dbfs, double rate = 48000.0)
{
    const int frames = static_cast<int>(rate * 3);
    const auto tone = testing::sineTone(1000, rate, static_cast<std::size_t>(frames),
                                        std::pow(10.0, dbfs / 20.0));
    auto output = processed(treatment, tone, 1, rate);
    std::vector<double> in(tone.begin(), tone.end()), out(output.begin(), output.end());
    std::size_t from = static_cast<std::size_t>(2 * rate);
    return test::toneAmplitude(out, 1000.0, rate, from, frames) /
           test::toneAmplitude(in, 1000.0, rate, from, frames);
}

// Output over input of a steady level (a square wave: its magnitude never moves) in its last
// second, as the smallest and largest ratio seen.
std::pair<double, double> steadyLevelGain(const VoiceTreatment& treatment, double dbfs, double rate)
{
    const int frames = static_cast<int>(rate * 3);
    double amplitude = std::pow(10.0, dbfs / 20.0);
    std::vector<float> square(frames);
    for (int f = 0; f < frames; ++f)
        square[f] = static_cast<float>((f / 24) % 2 ? amplitude : -amplitude);
    auto output = processed(treatment, square, 1, rate);
    double low = 1e9, high = 0.0;
    for (int f = frames - static_cast<int>(rate); f < frames; ++f) {
        double ratio = double(output[f]) / double(square[f]);
        low = std::min(low, ratio);
        high = std::max(high, ratio);
    }
    return {low, high};
}

TEST(VoiceDSP, noiseGateSettlesAtItsFloorInPausesAndIsOpenForSpeechLevels)
{
    VoiceTreatment gateOnly;
    gateOnly.reduceNoise = true;
    for (double rate : {22050.0, 44100.0, 48000.0}) {
        SCOPED_TRACE(::testing::Message() << rate << " Hz");
        // Just under the gate's range it rests on its floor; from its top up it is wide open.
        for (auto [dbfs, gain] : {std::pair{-60.0, 0.08}, {-45.0, 1.0}, {-6.0, 1.0}}) {
            auto [low, high] = steadyLevelGain(gateOnly, dbfs, rate);
            EXPECT_NEAR(low, gain, 1e-6) << dbfs << " dBFS";
            EXPECT_NEAR(high, gain, 1e-6) << dbfs << " dBFS";
        }
        // In between the gate sits between its floor and fully open.
        auto [low, high] = steadyLevelGain(gateOnly, -52.0, rate);
        EXPECT_GT(low, 0.2);
        EXPECT_LT(high, 0.6);
        // Speech-level tones are untouched by the gate too.
        EXPECT_NEAR(steadyToneGain(gateOnly, -30.0, rate), 1.0, 1e-6);
    }
}

TEST(VoiceDSP, compressorSqueezesLoudPassagesMoreThanQuietOnes)
{
    for (Preset preset : allPresets) {
        VoiceTreatment treatment;
        treatment.enhance = true;
        treatment.preset = preset;
        double quiet = steadyToneGain(treatment, -40.0);
        double loud = steadyToneGain(treatment, -6.0);
        bool radio = preset == Preset::radio || preset == Preset::femaleRadio;
        // Below the threshold only the makeup gain (and the 1 kHz shelf of the curve) applies.
        EXPECT_NEAR(20 * std::log10(quiet), radio ? 4.0 : 2.0, 0.6);
        // 6 dB below full scale is 12 (or 16) dB over the threshold: the ratio takes most of it.
        double overDb = radio ? 16.0 : 12.0;
        double ratio = radio ? 4.0 : 2.5;
        EXPECT_NEAR(20 * std::log10(loud / quiet), -overDb * (1.0 - 1.0 / ratio), 1.0);
    }
}

TEST(VoiceDSP, levellerBringsSteadyTonesTowardEighteenDecibelsBelowFullScaleAndHoldsInPauses)
{
    VoiceTreatment levelOnly;
    levelOnly.level = true;
    const double rate = 48000.0;
    for (double dbfs : {-26.0, -3.0}) {
        double amplitude = std::pow(10.0, dbfs / 20.0);
        double outputRms = steadyToneGain(levelOnly, dbfs, rate) * amplitude / std::sqrt(2.0);
        EXPECT_NEAR(20 * std::log10(outputRms / 0.126), 0.0, 0.5) << dbfs << " dBFS";
    }
    // Very quiet material is raised by at most 4 (+12 dB).
    EXPECT_NEAR(steadyToneGain(levelOnly, -40.0, rate), 4.0, 0.05);

    // Speech then a long pause under −50 dBFS: the gain reached in speech is kept.
    VoiceDSP dsp(levelOnly);
    dsp.prepare(rate, 1);
    auto speech = testing::sineTone(300, rate, static_cast<std::size_t>(rate * 3), 0.05);
    AudioBufferList list = AudioBufferList::interleaved(speech.data(), 1);
    dsp.process(list, static_cast<int>(speech.size()));
    double speechGain = dsp.levelGain();
    EXPECT_GT(speechGain, 2.0);
    // The envelope falls under the hold point within the first second of the pause.
    std::vector<float> pause(static_cast<std::size_t>(rate), 0.0005f);
    list = AudioBufferList::interleaved(pause.data(), 1);
    dsp.process(list, static_cast<int>(pause.size()));
    double heldGain = dsp.levelGain();
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
    VoiceTreatment zeros;
    zeros.eqBands = std::vector<double>(10, 0.0);
    zeros.bass = 0.0;
    zeros.preset = Preset::femaleRadio;
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

double sectionGainDb(Biquad section, double frequency, double rate, double seconds = 4.0)
{
    return test::measuredGainDb([&](double x) { return section.process(x); }, frequency, rate,
                                seconds);
}

// The enhance curve of each preset (high-pass, low bell, mid dip, presence) comes first, then one
// section per non-zero gain in band order: the older fields at 110 Hz, 1.2 kHz and 8 kHz, any list
// at the ten band frequencies (a list of another length with the older gains mapped onto them), a
// band above 0.45 of the rate designed there.
TEST(VoiceDSP, equaliserSectionsFollowTheBandSettingsAndSkipZeroGains)
{
    VoiceTreatment older;
    older.bass = -4.0;
    older.mid = 5.0;
    older.treble = 6.0;
    VoiceTreatment nine = older;
    nine.eqBands = std::vector<double>(9, 9.0);
    VoiceTreatment ten;
    ten.eqBands = std::vector<double>{-6, 0, 0, 3, 0, 0, 0, 0, 0, 12};
    VoiceTreatment zeroTreble, tenZeros;
    zeroTreble.bass = 3.0;
    zeroTreble.treble = 0.0;
    tenZeros.eqBands = std::vector<double>(10, 0.0);
    const auto enhanced = [](Preset preset) {
        VoiceTreatment treatment;
        treatment.enhance = true;
        treatment.preset = preset;
        treatment.eqBands = std::vector<double>{0, 0, 0, 0, 0, 6, 0, 0, 0, 0};
        return treatment;
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
        {zeroTreble, 48000, {{110, 3}}},
        {older, 48000, {{110, -4}, {1200, 5}, {8000, 6}}},
        {nine, 48000, {{125, -4}, {1000, 5}, {8000, 6}}},
        {ten, 48000, {{31.5, -6}, {250, 3}, {16000, 12}}},
        {ten, 22050, {{31.5, -6}, {250, 3}, {9922.5, 12}}},
        {tenZeros, 48000, {}},
        {VoiceTreatment{}, 48000, {}},
    };
    for (const auto& c : cases) {
        auto chain = VoiceDSP::eqFilters(c.treatment, c.rate);
        ASSERT_EQ(chain.size(), c.sections.size()) << c.rate;
        for (std::size_t i = 0; i < chain.size(); ++i) {
            const auto [frequency, gain] = c.sections[i];
            EXPECT_NEAR(sectionGainDb(chain[i], frequency, c.rate, frequency < 40 ? 8.0 : 4.0),
                        gain, 0.1)
                << frequency << " Hz at " << c.rate;
        }
    }
}

} // namespace
} // namespace tw
