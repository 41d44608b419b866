#include "mix/MixBuilder.hpp"

#include "audio/OfflineRenderer.hpp"
#include "model/TestClips.hpp"
#include "support/AudioFiles.hpp"
#include "support/ProjectAudio.hpp"
#include "support/Signals.hpp"
#include "support/SoundChecks.hpp"
#include "voice/LiveVoiceTap.hpp"
#include "voice/VoiceProcessor.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

using test::clip;

namespace fs = std::filesystem;
using signals::noise;
using signals::peak;
using signals::sampleAt;
using testfiles::readAll;
using testfiles::writeCaf;

MediaTime at(double seconds)
{
    return MediaTime::fromSeconds(seconds);
}

// A track's ranges in order: the file each plays (empty for none), where it starts in the source
// and on the timeline, and how long it lasts.
using Range = std::tuple<std::string, MediaTime, MediaTime, MediaTime>;
std::vector<Range> ranges(const CompositionTrack* track)
{
    std::vector<Range> out;
    for (const TrackSegment& s : track ? track->segments() : std::vector<TrackSegment>{})
        out.emplace_back(s.source ? s.source->file.filename().string() : "",
                         s.source ? s.sourceStart : MediaTime{}, s.targetStart, s.duration);
    return out;
}

VoiceTreatment enhanced()
{
    VoiceTreatment treatment;
    treatment.enhance = true;
    return treatment;
}

class MixBuilderTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        writeCaf(folder / "Media/voice-A.caf", noise(1, 6 * 48000, 1), 48000, 1);
        writeCaf(folder / "Media/voice-B.caf", noise(1, 4 * 48000, 2), 48000, 1);
        writeCaf(folder / "Media/music-A.caf", noise(2, 12 * 48000, 3), 48000, 2);
    }

    // The real sources, watched: every file opened and every treated copy asked for, in order.
    MixBuilder::Sources watched()
    {
        MixBuilder::Sources real;
        MixBuilder::Sources sources;
        sources.load = [this, real](const fs::path& file) {
            loads.push_back(file);
            return real.load(file);
        };
        sources.prepare = [this, real](const std::string& source, const fs::path& in,
                                       const VoiceTreatment& treatment) {
            prepares.push_back(source);
            return real.prepare(source, in, treatment);
        };
        return sources;
    }

    BuiltMix build(const PodcastProject& project, bool live)
    {
        auto built = MixBuilder::make(project, folder.path(), live, watched());
        if (!built)
            throw std::runtime_error(built.error().description);
        return std::move(built).value();
    }

    testfiles::TempDir folder;
    std::vector<fs::path> loads;
    std::vector<std::string> prepares;
};

std::vector<float> render(const BuiltMix& built, double seconds, int rate = 48000)
{
    auto out = renderOfflineToBuffer(built.composition, built.audioMix, {}, at(seconds),
                                     OfflineRenderOptions{rate, true});
    if (!out)
        throw std::runtime_error(out.error().description);
    return std::move(out).value();
}

} // namespace

TEST_F(MixBuilderTest, eachFileLoadsOnceAndOnlyAnExportWithATreatmentPlacesTreatedCopies)
{
    for (bool live : {false, true}) {
        const BuiltMix empty = build(PodcastProject{}, live);
        EXPECT_TRUE(empty.composition.tracks().empty());
        EXPECT_TRUE(empty.audioMix.inputParameters.empty());
    }
    EXPECT_TRUE(loads.empty());
    PodcastProject project;
    project.treatment = enhanced(); // live playback treats in the tap, never offline
    project.segments = {clip(0, 1), clip(1, 1, 0, "Media/voice-B.caf"), clip(2, 1, 2),
                        clip(3, 1, 4)};
    build(project, true);
    const std::vector<fs::path> recorded = {folder / "Media/voice-A.caf",
                                            folder / "Media/voice-B.caf"};
    EXPECT_EQ(loads, recorded);
    EXPECT_TRUE(prepares.empty());

    // Export without an enabled treatment places the recorded files as they are.
    loads.clear();
    project.treatment = VoiceTreatment{};
    build(project, false);
    EXPECT_EQ(loads, recorded);
    EXPECT_TRUE(prepares.empty());
    EXPECT_FALSE(fs::exists(folder / ".Render"));

    // With one, each source is rendered once and the treated copy is what plays.
    loads.clear();
    project.treatment = enhanced();
    const BuiltMix exported = build(project, false);
    EXPECT_EQ(prepares, (std::vector<std::string>{"Media/voice-A.caf", "Media/voice-B.caf"}));
    std::vector<fs::path> treated;
    for (const char* source : {"Media/voice-A.caf", "Media/voice-B.caf"})
        treated.push_back(folder / ".Render" / VoiceProcessor::cacheName(source, enhanced()));
    EXPECT_EQ(loads, treated);
    const std::vector<float> treatedA = readAll(treated[0]);
    const std::vector<float> out = render(exported, 3);
    float worst = 0;
    for (std::int64_t f = 0; f < 48000; ++f) // the third clip: 2 s into the file at 2 s
        worst = std::max(worst, std::fabs(sampleAt(out, 96000 + f, 0) -
                                          treatedA[static_cast<std::size_t>(96000 + f)]));
    EXPECT_LT(worst, 1e-6f);
    EXPECT_GT(peak(out, 96000, 144000), 0.05f);
}

// A gap is an empty range of exactly the difference; touching clips leave none; a muted clip is
// placed and a clip without a file leaves a gap. The music follows once, at its offset, on a track
// and with parameters after the voice's.
TEST_F(MixBuilderTest, voiceClipsAndTheMusicArePlacedAtTheirTimesWithEmptyRangesBetween)
{
    PodcastProject project;
    project.voiceVolume = 0.8f;
    project.segments = {clip(0.75, 1, 0, "Media/voice-A.caf", 0.5f),
                        clip(1.75, 1, 1, "Media/voice-A.caf", 0.0f), clip(2.75, 1, 0, std::nullopt),
                        clip(3.75, 1, 0, "Media/voice-B.caf"),
                        clip(5.2345678, 0.5, 3, "Media/voice-B.caf")};
    project.musicFile = "Media/music-A.caf";
    project.musicOffset = 3;
    project.musicSourceStart = 1;
    project.musicLength = 10;
    project.musicVolume = 0.3f;
    project.fadeInStart = 0;
    project.fadeInEnd = 2;
    project.fadeOut = 0;
    const BuiltMix built = build(project, false);
    EXPECT_EQ(loads.back(), folder / "Media/music-A.caf");
    const CompositionTrack* voice = built.composition.track(1);
    const MediaTime none{};
    EXPECT_EQ(ranges(voice), (std::vector<Range>{{"", none, none, at(0.75)},
                                                 {"voice-A.caf", none, at(0.75), at(1)},
                                                 {"voice-A.caf", at(1), at(1.75), at(1)},
                                                 {"", none, at(2.75), at(1)},
                                                 {"voice-B.caf", none, at(3.75), at(1)},
                                                 {"", none, at(4.75), at(5.2345678) - at(4.75)},
                                                 {"voice-B.caf", at(3), at(5.2345678), at(0.5)}}));
    EXPECT_EQ(voice->end(), at(5.2345678) + at(0.5));
    EXPECT_EQ(ranges(built.composition.track(2)),
              (std::vector<Range>{{"", {}, {}, at(3)}, {"music-A.caf", at(1), at(3), at(10)}}));
    EXPECT_EQ(built.composition.duration(), at(13));

    ASSERT_EQ(built.audioMix.inputParameters.size(), 2u);
    EXPECT_EQ(built.audioMix.inputParameters[0].trackID, 1);
    EXPECT_EQ(built.audioMix.inputParameters[0].volume.volumeAt(at(1)), 0.4f);
    const InputParameters& m = built.audioMix.inputParameters[1];
    EXPECT_EQ(m.trackID, 2);
    // The fade-in over the fragment's first 2 s starts where the music does.
    std::vector<float> heard;
    for (double t : {2.0, 3.0, 4.0, 12.9})
        heard.push_back(m.volume.volumeAt(at(t)));
    EXPECT_EQ(heard, (std::vector<float>{0, 0, 0.15f, 0.3f}));
    for (const InputParameters& p : built.audioMix.inputParameters)
        EXPECT_EQ(p.tap, nullptr) << "taps come only with live playback";

    // Live, the voice is treated (by the neutral treatment without one) and the music only
    // measured, each in a tap of its own, under the same automation.
    for (const auto& treatment : {std::optional<VoiceTreatment>{}, std::optional(enhanced())}) {
        project.treatment = treatment;
        const BuiltMix live = build(project, true);
        ASSERT_EQ(live.audioMix.inputParameters.size(), 2u);
        for (std::size_t i = 0; i < 2; ++i) {
            const auto* tap =
                dynamic_cast<const LiveVoiceTap*>(live.audioMix.inputParameters[i].tap.get());
            ASSERT_NE(tap, nullptr);
            EXPECT_EQ(tap->source(), i == 0 ? "voice" : "music");
            EXPECT_EQ(tap->treatment(),
                      i == 0 ? treatment.value_or(VoiceTreatment{}) : VoiceTreatment{});
            EXPECT_EQ(live.audioMix.inputParameters[i].volume,
                      built.audioMix.inputParameters[i].volume);
        }
    }

    // Without a length the music plays to the end of its file, once.
    project.musicLength.reset();
    const BuiltMix whole = build(project, false);
    EXPECT_EQ(whole.composition.track(2)->end(), at(3 + 11));
}

TEST_F(MixBuilderTest, musicWithoutDurationOrAudioGivesNoMusicTrack)
{
    PodcastProject project;
    project.segments = {clip(0, 2)};
    // Starting past the end of the 12 s file, no length, or a file with video and no audio.
    testfiles::run(
        "ffmpeg -nostdin -y -v error -f lavfi -i color=c=black:s=16x16:d=0.5 -c:v mpeg4 " +
        testfiles::quoted(folder / "Media/music-B.mp4"));
    for (int variant = 0; variant < 3; ++variant) {
        project.musicLength = variant == 1 ? std::optional(0.0) : std::nullopt;
        project.musicSourceStart = variant == 0 ? std::optional(100.0) : std::nullopt;
        project.musicFile = variant == 2 ? "Media/music-B.mp4" : "Media/music-A.caf";
        const BuiltMix built = build(project, variant == 0);
        EXPECT_EQ(built.composition.track(2), nullptr) << variant;
        ASSERT_EQ(built.audioMix.inputParameters.size(), 1u);
        EXPECT_EQ(built.audioMix.inputParameters[0].trackID, 1);
    }
    // And so is a voice clip of such a file, while the others are placed.
    project.musicFile.reset();
    project.segments.push_back(clip(3, 1, 0, "Media/music-B.mp4"));
    project.segments.push_back(clip(5, 1, 0, "Media/voice-B.caf"));
    const BuiltMix built = build(project, false);
    const CompositionTrack* voice = built.composition.track(1);
    ASSERT_NE(voice, nullptr);
    EXPECT_EQ(voice->end(), at(6));
    for (const TrackSegment& s : voice->segments())
        EXPECT_TRUE(!s.source || s.source->file.extension() == ".caf");
}

TEST_F(MixBuilderTest, aVoiceFailureEndsTheBuildWithThatErrorUnchangedAndAMusicFailureLeavesItOut)
{
    PodcastProject project;
    project.segments = {clip(0, 1), clip(1, 1, 0, "Media/voice-gone.caf")};
    const auto readerError = AudioAsset::load(folder / "Media/voice-gone.caf");
    ASSERT_FALSE(readerError);
    for (bool live : {false, true}) {
        auto built = MixBuilder::make(project, folder.path(), live);
        ASSERT_FALSE(built);
        EXPECT_EQ(built.error(), readerError.error());
    }

    // With the treatment, the offline render of the missing file fails first.
    project.treatment = enhanced();
    auto built = MixBuilder::make(project, folder.path(), false);
    ASSERT_FALSE(built);
    const auto renderError =
        VoiceProcessor::prepare("Media/voice-gone.caf", folder.path(), *project.treatment);
    ASSERT_FALSE(renderError);
    EXPECT_EQ(built.error(), renderError.error());

    // A clip cut from beyond the end of its file cannot be inserted.
    project = PodcastProject{};
    project.segments = {clip(0, 1, 10, "Media/voice-B.caf")};
    built = MixBuilder::make(project, folder.path(), false);
    ASSERT_FALSE(built);
    EXPECT_EQ(built.error().domain, ErrorDomain::audio);
    EXPECT_NE(built.error().description.find("voice-B.caf"), std::string::npos);
}

TEST_F(MixBuilderTest, touchingClipsOfOneTakeJoinWithoutADroppedOrRepeatedSampleAtAnyRate)
{
    // A tone recorded from an odd time and split between samples, as the split command leaves
    // it: played at the export rate and at a common device rate, every join is as smooth as the
    // tone itself.
    for (const int sourceRate : {44100, 48000, 22050}) {
        SCOPED_TRACE(sourceRate);
        writeCaf(folder / "Media/tone.caf",
                 testing::sineTone(440, sourceRate, static_cast<std::size_t>(4 * sourceRate)),
                 sourceRate, 1);
        PodcastProject project;
        project.segments = {clip(1.2345678901, 3.0, 0.1, "Media/tone.caf")};
        for (const double cut : {1.5000104, 2.1234567891, 2.7777777777, 3.3000052})
            project.split(cut);
        ASSERT_EQ(project.segments.size(), 5u);
        const BuiltMix built = build(project, false);
        for (const int rate : {48000, 44100}) {
            const std::vector<float> out = render(built, 4.3, rate);
            const auto first = static_cast<std::size_t>(std::llround(1.2345678901 * rate));
            const auto last = static_cast<std::size_t>(std::llround(4.2345678901 * rate));
            EXPECT_LE(testing::largestStep(out, 2 * first + 2, 2 * last, 2),
                      testing::toneStep(0.5, 440, rate) * 1.02)
                << "rendered at " << rate;
        }
    }
}

} // namespace tw
