#include "voice/LiveVoiceTap.hpp"

#include "base/ManualScheduler.hpp"
#include "support/SoundChecks.hpp"
#include "support/Treatments.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace tw {
namespace {

const VoiceTreatment heaviest = test::fullTreatment(Preset::femaleRadio);

// Interleaved stereo: a 1 kHz tone on the left, half of it on the right.
std::vector<float> stereoTone(int frames, double amplitude, double rate = 48000.0, int start = 0)
{
    auto samples =
        testing::sineTone(1000, rate, static_cast<std::size_t>(frames + start), amplitude, 2);
    samples.erase(samples.begin(), samples.begin() + 2 * start);
    for (std::size_t i = 1; i < samples.size(); i += 2)
        samples[i] *= 0.5f;
    return samples;
}

// The RMS of `count` samples from `from`, every `stride`th (2: the left channel of stereo).
double rms(const std::vector<float>& samples, std::size_t from, std::size_t count,
           std::size_t stride = 2)
{
    double sum = 0.0;
    for (std::size_t i = from; i < from + count * stride; i += stride)
        sum += double(samples[i]) * samples[i];
    return std::sqrt(sum / static_cast<double>(count));
}

// How much rougher than a clean tone a tone of changing level is over samples [from, to): the
// largest ratio of a step to the step a sine of the local peak level (within a period either
// side) would take. 1 for a clean tone at any level; a click or a jump shows far above it.
double roughness(const std::vector<float>& samples, std::size_t from, std::size_t to,
                 double frequency, double rate)
{
    const auto period = static_cast<std::size_t>(std::ceil(rate / frequency));
    double worst = 0;
    for (std::size_t i = std::max<std::size_t>(from, 1); i < std::min(to, samples.size()); ++i) {
        float local = 0;
        for (std::size_t j = i > period ? i - period : 0; j < std::min(i + period, samples.size());
             ++j)
            local = std::max(local, std::fabs(samples[j]));
        const double step = std::fabs(samples[i] - samples[i - 1]);
        if (local > 0)
            worst = std::max(worst, step / testing::toneStep(local, frequency, rate));
    }
    return worst;
}

struct TapFixture : ::testing::Test {
    ManualScheduler clock;
    SpectrumMonitor monitor{clock};
    // A tap of the voice track on the fixture's monitor.
    std::shared_ptr<LiveVoiceTap> make(const VoiceTreatment& treatment)
    {
        return std::dynamic_pointer_cast<LiveVoiceTap>(
            liveVoiceTap(treatment, "voice", monitor).value());
    }
};

// Without a treatment the audio passes bit for bit (an overload too) and still feeds the
// analyser; in a format other than float PCM it passes untouched and feeds nothing.
TEST_F(TapFixture, disabledTreatmentOrAnotherFormatLeavesAudioBitIdentical)
{
    const struct {
        VoiceTreatment treatment;
        StreamFormat format;
    } cases[] = {
        {VoiceTreatment{}, {44100.0, 2, SampleType::float32, true}},
        {heaviest, {48000.0, 2, SampleType::int16, true}},
        {heaviest, {48000.0, 2, SampleType::float32, false}},
    };
    for (const auto& c : cases) {
        SpectrumMonitor fresh(clock);
        auto tap = liveVoiceTap(c.treatment, "voice", fresh).value();
        tap->prepare(512, c.format);
        auto samples = stereoTone(512, 0.95, c.format.sampleRate);
        samples[6] = 1.5f;
        const auto original = samples;
        AudioBufferList list = AudioBufferList::interleaved(samples.data(), 2);
        tap->process(list, 512);
        EXPECT_EQ(samples, original);
        const bool fed = c.format.sampleType == SampleType::float32 && c.format.linearPcm;
        EXPECT_NEAR(fresh.level("voice"), fed ? rms(original, 0, 512) : 0.0, 1e-6);
        EXPECT_EQ(fresh.nearClip("voice"), fed);
        EXPECT_EQ(fresh.read({{"voice", 1.0f}}) == SpectrumBands{}, !fed);
    }
}

TEST_F(TapFixture, eachPrepareStartsTheTreatmentAfreshAndTheTreatedSoundIsWhatIsAnalysed)
{
    auto tap = make(heaviest);
    tap->prepare(512, StreamFormat{44100.0, 1, SampleType::int16, true});
    tap->prepare(1024, StreamFormat{96000.0, 2, SampleType::float32, true});

    auto warmUp = stereoTone(1024, 0.5, 96000.0);
    AudioBufferList list = AudioBufferList::interleaved(warmUp.data(), 2);
    tap->process(list, 1024);
    tap->prepare(512, StreamFormat{48000.0, 2, SampleType::float32, true});

    // After the new prepare the tap sounds like a fresh treatment at 48 kHz, cycle after cycle,
    // and what is analysed is the treated sound.
    VoiceDSP reference(heaviest);
    reference.prepare(48000.0, 2);
    std::vector<float> last;
    for (int cycle = 0; cycle < 40; ++cycle) {
        auto samples = stereoTone(512, 0.1, 48000.0, cycle * 512);
        auto expected = samples;
        list = AudioBufferList::interleaved(samples.data(), 2);
        tap->process(list, 512);
        AudioBufferList expectedList = AudioBufferList::interleaved(expected.data(), 2);
        reference.process(expectedList, 512);
        ASSERT_EQ(samples, expected) << "cycle " << cycle;
        last = samples;
    }
    // The stored level is the RMS of the treated left channel of the last cycle.
    EXPECT_NEAR(monitor.level("voice"), rms(last, 0, 512), 1e-6);
    EXPECT_GT(std::fabs(rms(last, 0, 512) - 0.1 / std::sqrt(2.0)), 0.005) << "the tone was treated";
    EXPECT_EQ(tap->state().analyzer.rate(), 48000.0);
}

TEST_F(TapFixture, treatmentChangesWhilePlayingAreHeardWithoutAStepAndKeepTheDynamicsRunning)
{
    const VoiceTreatment off, enhanced{.enhance = true, .reduceNoise = true},
        levelled{.level = true};
    struct Change {
        const char* what;
        double amplitude;
        VoiceTreatment before;
        std::vector<VoiceTreatment> after; // one every 5 ms, the last one stays
    };
    std::vector<VoiceTreatment> drag;
    for (double gain = 0.5; gain <= 9; gain += 0.5) {
        drag.push_back(heaviest);
        drag.back().eqBands = std::vector<double>{0, 0, 0, 0, gain, 0, 0, 0, 0, 0};
    }
    const std::vector<Change> changes = {
        {"treatment switched on", 0.5, off, {enhanced}},
        {"treatment switched off", 0.5, heaviest, {off}},
        {"an equaliser drag", 0.3, heaviest, drag},
        {"a band far from the tone under the leveller",
         0.01,
         levelled,
         {{.level = true, .eqBands = std::vector<double>{0, 0, 0, 0, 0, 0, 0, 0, 0, 6}}}},
    };
    constexpr int block = 240;
    for (const Change& change : changes) {
        SCOPED_TRACE(change.what);
        auto tap = make(change.before);
        tap->prepare(block, StreamFormat{48000.0, 2, SampleType::float32, true});
        const int changeAt = 48000, end = 96000;
        auto samples = testing::sineTone(500, 48000, end, change.amplitude, 2);
        for (int at = 0; at < end; at += block) {
            const auto step = static_cast<std::size_t>((at - changeAt) / block);
            if (at >= changeAt && step < change.after.size())
                tap->setTreatment(change.after[step]);
            AudioBufferList list = AudioBufferList::interleaved(samples.data() + 2 * at, 2);
            tap->process(list, block);
        }
        std::vector<float> left;
        for (std::size_t i = 0; i < samples.size(); i += 2)
            left.push_back(samples[i]);
        EXPECT_EQ(tap->treatment(), change.after.back());
        // No step larger than the tone's own at its level of the moment.
        EXPECT_LE(roughness(left, changeAt - 4800, end, 500, 48000), 1.05);
        // The dynamics carry on: right after a change that leaves the tone alone, the leveller
        // still holds its gain instead of starting again from 1.
        if (change.amplitude < 0.1) {
            EXPECT_NEAR(20 * std::log10(rms(left, changeAt + 960, 960, 1) /
                                        rms(left, changeAt - 960, 960, 1)),
                        0, 0.5);
        }
    }
}

} // namespace
} // namespace tw
