#include "mix/MixBuilder.hpp"

#include "MixAudio.hpp"
#include "audio/ExportSession.hpp"
#include "audio/OfflineRenderer.hpp"
#include "support/AudioFiles.hpp"
#include "support/ExportAndWait.hpp"
#include "support/SoundChecks.hpp"
#include "voice/LiveVoiceTap.hpp"
#include "voice/VoiceProcessor.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

namespace fs = std::filesystem;
using namespace mixtest;

MediaTime at(double seconds)
{
    return MediaTime::fromSeconds(seconds);
}

Segment clip(std::optional<std::string> file, double start, double duration, double timelineStart,
             std::optional<float> gain = std::nullopt)
{
    Segment s;
    s.file = std::move(file);
    s.start = start;
    s.duration = duration;
    s.timelineStart = timelineStart;
    s.gain = gain;
    return s;
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
        voiceA = noise(1, 6 * 48000, 1);
        voiceB = noise(1, 4 * 48000, 2);
        music = noise(2, 12 * 48000, 3);
        writeCaf(folder / "Media/voice-A.caf", voiceA, 48000, 1);
        writeCaf(folder / "Media/voice-B.caf", voiceB, 48000, 1);
        writeCaf(folder / "Media/music-A.caf", music, 48000, 2);
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

    std::vector<fs::path> renderFiles() const
    {
        std::vector<fs::path> files;
        if (fs::exists(folder / ".Render"))
            for (const auto& entry : fs::directory_iterator(folder / ".Render"))
                files.push_back(entry.path());
        return files;
    }

    testfiles::TempDir folder;
    std::vector<float> voiceA, voiceB, music;
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

TEST_F(MixBuilderTest, anEmptyProjectGivesAnEmptyCompositionAndNoInputParameters)
{
    for (bool live : {false, true}) {
        const BuiltMix built = build(PodcastProject{}, live);
        EXPECT_TRUE(built.composition.tracks().empty());
        EXPECT_EQ(built.composition.duration(), MediaTime{});
        EXPECT_TRUE(built.audioMix.inputParameters.empty());
    }
    EXPECT_TRUE(loads.empty());
}

TEST_F(MixBuilderTest, clipsOfOneFileLoadItOnceInClipOrder)
{
    PodcastProject project;
    project.treatment = enhanced(); // live playback treats in the tap, never offline
    project.segments = {clip("Media/voice-A.caf", 0, 1, 0), clip("Media/voice-B.caf", 0, 1, 1),
                        clip("Media/voice-A.caf", 2, 1, 2), clip("Media/voice-A.caf", 4, 1, 3)};
    const BuiltMix built = build(project, true);
    EXPECT_EQ(loads,
              (std::vector<fs::path>{folder / "Media/voice-A.caf", folder / "Media/voice-B.caf"}));
    EXPECT_TRUE(prepares.empty());
    EXPECT_TRUE(renderFiles().empty());

    const CompositionTrack* voice = built.composition.track(1);
    ASSERT_NE(voice, nullptr);
    ASSERT_EQ(voice->segments().size(), 4u);
    const std::vector<std::string> files = {"voice-A.caf", "voice-B.caf", "voice-A.caf",
                                            "voice-A.caf"};
    for (std::size_t i = 0; i < 4; ++i) {
        const TrackSegment& s = voice->segments()[i];
        ASSERT_TRUE(s.source);
        EXPECT_EQ(s.source->file.filename(), files[i]);
        EXPECT_EQ(s.targetStart, at(static_cast<double>(i)));
    }
    EXPECT_EQ(voice->segments()[3].sourceStart, at(4));

    // Export without an enabled treatment places the recorded files as they are.
    loads.clear();
    project.treatment = VoiceTreatment{};
    build(project, false);
    EXPECT_EQ(loads.size(), 2u);
    EXPECT_TRUE(prepares.empty());
    EXPECT_TRUE(renderFiles().empty());
}

TEST_F(MixBuilderTest, exportWithAnEnabledTreatmentRendersEachSourceOnceAndPlacesTheTreatedCopy)
{
    PodcastProject project;
    project.treatment = enhanced();
    project.segments = {clip("Media/voice-A.caf", 0, 1, 0), clip("Media/voice-A.caf", 2, 1, 1),
                        clip("Media/voice-B.caf", 1, 1, 2), clip("Media/voice-A.caf", 4, 1, 3)};
    const BuiltMix built = build(project, false);

    EXPECT_EQ(prepares, (std::vector<std::string>{"Media/voice-A.caf", "Media/voice-B.caf"}));
    const fs::path treatedA =
        folder / ".Render" / VoiceProcessor::cacheName("Media/voice-A.caf", *project.treatment);
    const fs::path treatedB =
        folder / ".Render" / VoiceProcessor::cacheName("Media/voice-B.caf", *project.treatment);
    auto found = renderFiles();
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (std::vector<fs::path>{treatedA, treatedB}));
    EXPECT_EQ(loads, (std::vector<fs::path>{treatedA, treatedB}));

    const CompositionTrack* voice = built.composition.track(1);
    ASSERT_NE(voice, nullptr);
    ASSERT_EQ(voice->segments().size(), 4u);
    for (const TrackSegment& s : voice->segments()) {
        ASSERT_TRUE(s.source);
        EXPECT_EQ(s.source->file.parent_path(), folder / ".Render");
    }

    // What plays is the treated copy: the render's samples, not the recording's.
    const std::vector<float> treated = readAll(treatedA);
    const std::vector<float> out = render(built, 2);
    float worst = 0;
    for (std::int64_t f = 0; f < 48000; ++f) // clip 2: 2 s of the file at 1 s
        worst = std::max(worst, std::fabs(sampleAt(out, 48000 + f, 0) -
                                          treated[static_cast<std::size_t>(96000 + f)]));
    EXPECT_LT(worst, 1e-6f);
    EXPECT_GT(peak(out, 48000, 96000), 0.05f);

    // A second export finds the renders in place: nothing new is written.
    const auto written = fs::last_write_time(treatedA);
    build(project, false);
    EXPECT_EQ(renderFiles().size(), 2u);
    EXPECT_EQ(fs::last_write_time(treatedA), written);
}

TEST_F(MixBuilderTest, aGapBeforeAClipIsAnEmptyRangeOfExactlyTheDifferenceAndTouchingClipsLeaveNone)
{
    PodcastProject project;
    project.segments = {clip("Media/voice-A.caf", 0, 1, 0.75),
                        clip("Media/voice-A.caf", 1, 1, 1.75),
                        clip("Media/voice-B.caf", 3, 0.5, 4.2345678)};
    const BuiltMix built = build(project, false);
    const CompositionTrack* voice = built.composition.track(1);
    ASSERT_NE(voice, nullptr);
    const auto& s = voice->segments();
    ASSERT_EQ(s.size(), 5u);
    EXPECT_FALSE(s[0].source);
    EXPECT_EQ(s[0].targetStart, MediaTime{});
    EXPECT_EQ(s[0].duration, at(0.75));
    EXPECT_TRUE(s[1].source);
    EXPECT_EQ(s[1].targetStart, at(0.75));
    EXPECT_TRUE(s[2].source) << "touching clips leave no empty range";
    EXPECT_EQ(s[2].targetStart, at(1.75));
    EXPECT_FALSE(s[3].source);
    EXPECT_EQ(s[3].targetStart, at(2.75));
    EXPECT_EQ(s[3].duration, at(4.2345678) - at(2.75));
    ASSERT_TRUE(s[4].source);
    EXPECT_EQ(s[4].targetStart, at(4.2345678));
    EXPECT_EQ(s[4].sourceStart, at(3));
    EXPECT_EQ(s[4].duration, at(0.5));
    EXPECT_EQ(voice->end(), at(4.2345678) + at(0.5));
}

TEST_F(MixBuilderTest, clipsArePlacedWithTheirGainsAndClipsWithoutAFileAreLeftOut)
{
    PodcastProject project;
    project.voiceVolume = 0.8f;
    project.segments = {clip("Media/voice-A.caf", 0, 1, 0, 0.5f),
                        clip("Media/voice-A.caf", 1, 1, 1, 0.0f), clip(std::nullopt, 0, 1, 2),
                        clip("Media/voice-B.caf", 0, 1, 3)};
    const BuiltMix built = build(project, false);
    const CompositionTrack* voice = built.composition.track(1);
    ASSERT_NE(voice, nullptr);
    const auto& s = voice->segments();
    // The muted clip is placed; the clip without a file leaves a gap before the last clip.
    ASSERT_EQ(s.size(), 4u);
    EXPECT_TRUE(s[1].source);
    EXPECT_EQ(s[1].targetStart, at(1));
    EXPECT_FALSE(s[2].source);
    EXPECT_EQ(s[2].targetStart, at(2));
    EXPECT_EQ(s[3].targetStart, at(3));

    ASSERT_EQ(built.audioMix.inputParameters.size(), 1u);
    const InputParameters& p = built.audioMix.inputParameters[0];
    EXPECT_EQ(p.trackID, 1);
    EXPECT_FLOAT_EQ(p.volume.volumeAt(at(0.5)), 0.4f);
    for (double t : {1.0, 1.5, 1.9999})
        EXPECT_EQ(p.volume.volumeAt(at(t)), 0.0f) << t;
    EXPECT_FLOAT_EQ(p.volume.volumeAt(at(3.5)), 0.8f);
    EXPECT_EQ(p.volume.volumeAt(at(4)), 0.0f);
}

TEST_F(MixBuilderTest, musicIsPlacedOnceAtItsOffsetAfterTheVoiceParameters)
{
    PodcastProject project;
    project.segments = {clip("Media/voice-A.caf", 0, 2, 0)};
    project.musicFile = "Media/music-A.caf";
    project.musicOffset = 3;
    project.musicSourceStart = 1;
    project.musicLength = 10;
    project.musicVolume = 0.3f;
    project.fadeIn = 0;
    project.fadeOut = 0;
    const BuiltMix built = build(project, false);
    EXPECT_EQ(loads.back(), folder / "Media/music-A.caf");

    const CompositionTrack* track = built.composition.track(2);
    ASSERT_NE(track, nullptr);
    ASSERT_EQ(track->segments().size(), 2u);
    const TrackSegment& gap = track->segments()[0];
    const TrackSegment& placed = track->segments()[1];
    EXPECT_FALSE(gap.source);
    EXPECT_EQ(gap.duration, at(3));
    ASSERT_TRUE(placed.source);
    EXPECT_EQ(placed.sourceStart, at(1));
    EXPECT_EQ(placed.targetStart, at(3));
    EXPECT_EQ(placed.duration, at(10));
    EXPECT_EQ(track->end(), at(13));
    EXPECT_EQ(built.composition.duration(), at(13));

    ASSERT_EQ(built.audioMix.inputParameters.size(), 2u);
    EXPECT_EQ(built.audioMix.inputParameters[0].trackID, 1);
    const InputParameters& m = built.audioMix.inputParameters[1];
    EXPECT_EQ(m.trackID, 2);
    for (double t : {0.0, 3.0, 12.9})
        EXPECT_FLOAT_EQ(m.volume.volumeAt(at(t)), 0.3f) << t;

    // Without a length the music plays to the end of its file, once.
    project.musicLength.reset();
    const BuiltMix whole = build(project, false);
    EXPECT_EQ(whole.composition.track(2)->end(), at(3 + 11));
}

TEST_F(MixBuilderTest, tapsComeOnlyWithLivePlaybackOneForTheVoiceAndOneForTheMusic)
{
    PodcastProject project;
    project.treatment = enhanced();
    project.segments = {clip("Media/voice-A.caf", 0, 2, 0)};
    project.musicFile = "Media/music-A.caf";

    const BuiltMix exported = build(project, false);
    ASSERT_EQ(exported.audioMix.inputParameters.size(), 2u);
    for (const InputParameters& p : exported.audioMix.inputParameters)
        EXPECT_EQ(p.tap, nullptr);

    const BuiltMix live = build(project, true);
    ASSERT_EQ(live.audioMix.inputParameters.size(), 2u);
    const auto* voiceTap =
        dynamic_cast<const LiveVoiceTap*>(live.audioMix.inputParameters[0].tap.get());
    const auto* musicTap =
        dynamic_cast<const LiveVoiceTap*>(live.audioMix.inputParameters[1].tap.get());
    ASSERT_NE(voiceTap, nullptr);
    ASSERT_NE(musicTap, nullptr);
    EXPECT_EQ(voiceTap->source(), "voice");
    EXPECT_EQ(voiceTap->treatment(), enhanced());
    EXPECT_EQ(musicTap->source(), "music");
    EXPECT_EQ(musicTap->treatment(), VoiceTreatment{}) << "the music is only measured";
    // The automation does not depend on the mode.
    EXPECT_EQ(live.audioMix.inputParameters[0].volume, exported.audioMix.inputParameters[0].volume);
    EXPECT_EQ(live.audioMix.inputParameters[1].volume, exported.audioMix.inputParameters[1].volume);
}

TEST_F(MixBuilderTest, musicWithoutDurationOrAudioGivesNoMusicTrack)
{
    PodcastProject project;
    project.segments = {clip("Media/voice-A.caf", 0, 2, 0)};
    project.musicFile = "Media/music-A.caf";
    project.musicSourceStart = 100; // past the end of the 12 s file: nothing left to play
    BuiltMix built = build(project, true);
    EXPECT_EQ(built.composition.track(2), nullptr);
    ASSERT_EQ(built.audioMix.inputParameters.size(), 1u);
    EXPECT_EQ(built.audioMix.inputParameters[0].trackID, 1);

    project.musicSourceStart.reset();
    project.musicLength = 0;
    built = build(project, false);
    EXPECT_EQ(built.composition.track(2), nullptr);
    EXPECT_EQ(built.audioMix.parameters(2), nullptr);

    // A file with a video stream and no audio is left out too.
    testfiles::run(
        "ffmpeg -nostdin -y -v error -f lavfi -i color=c=black:s=16x16:d=0.5 -c:v mpeg4 " +
        testfiles::quoted(folder / "Media/music-B.mp4"));
    project.musicLength.reset();
    project.musicFile = "Media/music-B.mp4";
    built = build(project, false);
    EXPECT_EQ(built.composition.track(2), nullptr);
    EXPECT_EQ(built.audioMix.parameters(2), nullptr);
    // And so is a voice clip of such a file, while the others are placed.
    project.musicFile.reset();
    project.segments.push_back(clip("Media/music-B.mp4", 0, 1, 3));
    project.segments.push_back(clip("Media/voice-B.caf", 0, 1, 5));
    built = build(project, false);
    const CompositionTrack* voice = built.composition.track(1);
    ASSERT_NE(voice, nullptr);
    EXPECT_EQ(voice->end(), at(6));
    for (const TrackSegment& s : voice->segments())
        EXPECT_TRUE(!s.source || s.source->file.extension() == ".caf");
}

TEST_F(MixBuilderTest, aVoiceFailureEndsTheBuildWithThatErrorUnchangedAndAMusicFailureLeavesItOut)
{
    PodcastProject project;
    project.segments = {clip("Media/voice-A.caf", 0, 1, 0), clip("Media/voice-gone.caf", 0, 1, 1)};
    const auto readerError = AudioAsset::load(folder / "Media/voice-gone.caf");
    ASSERT_FALSE(readerError);
    ASSERT_NE(readerError.error().description.find("voice-gone.caf"), std::string::npos);
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

    // A music file that cannot be read is left out, saying why; the voice stays.
    project = PodcastProject{};
    project.segments = {clip("Media/voice-A.caf", 0, 1, 0)};
    project.musicFile = "Media/music-gone.caf";
    for (bool live : {false, true}) {
        built = MixBuilder::make(project, folder.path(), live);
        ASSERT_TRUE(built);
        EXPECT_EQ(built.value().musicLeftOut,
                  AudioAsset::load(folder / "Media/music-gone.caf").error());
        EXPECT_EQ(built.value().composition.tracks().size(), 1u);
        EXPECT_EQ(built.value().audioMix.inputParameters.size(), 1u);
        EXPECT_NE(built.value().composition.track(1), nullptr);
    }

    // A clip cut from beyond the end of its file cannot be inserted.
    project = PodcastProject{};
    project.segments = {clip("Media/voice-B.caf", 10, 1, 0)};
    built = MixBuilder::make(project, folder.path(), false);
    ASSERT_FALSE(built);
    EXPECT_EQ(built.error().domain, ErrorDomain::audio);
    EXPECT_NE(built.error().description.find("voice-B.caf"), std::string::npos);
}

TEST_F(MixBuilderTest, theRenderedVoiceStartsOnTheNearestFrameAtVolumeTimesGainWithSilentGaps)
{
    PodcastProject project;
    project.voiceVolume = 0.8f;
    // 0.5 s from 0.25 s at an odd time with gain 0.5; then a muted clip touching the next one.
    project.segments = {clip("Media/voice-A.caf", 0.25, 0.5, 1.2345678, 0.5f),
                        clip("Media/voice-A.caf", 1.5, 0.3, 2.2, 0.0f),
                        clip("Media/voice-B.caf", 3, 0.5, 2.5)};
    const BuiltMix built = build(project, false);
    const std::vector<float> out = render(built, 3.5);
    ASSERT_EQ(out.size(), static_cast<std::size_t>(3.5 * 48000 * 2));

    const std::int64_t first = frameOf(1.2345678);
    EXPECT_EQ(peak(out, 0, first), 0.0f);
    EXPECT_NE(sampleAt(out, first, 0), 0.0f);
    float worst = 0;
    for (std::int64_t f = 0; f < 24000; ++f)
        for (int c = 0; c < 2; ++c)
            worst = std::max(worst, std::fabs(sampleAt(out, first + f, c) -
                                              voiceA[static_cast<std::size_t>(12000 + f)] * 0.4f));
    EXPECT_LT(worst, 1e-6f);
    // Silent from the end of the first clip through the muted one.
    EXPECT_EQ(peak(out, first + 24000, frameOf(2.5)), 0.0f);
    worst = 0;
    for (std::int64_t f = 0; f < 24000; ++f)
        worst = std::max(worst, std::fabs(sampleAt(out, frameOf(2.5) + f, 1) -
                                          voiceB[static_cast<std::size_t>(144000 + f)] * 0.8f));
    EXPECT_LT(worst, 1e-6f);
    EXPECT_EQ(peak(out, frameOf(3), frameOf(3.5)), 0.0f);
}

TEST_F(MixBuilderTest, theRenderedMusicFollowsItsFadesSampleBySample)
{
    PodcastProject project;
    project.musicFile = "Media/music-A.caf";
    project.musicOffset = 1.5;
    project.musicSourceStart = 2;
    project.musicLength = 6;
    project.musicVolume = 0.6f;
    project.fadeInStart = 0.5;
    project.fadeInEnd = 2.5;
    project.fadeOutStart = 4;
    project.fadeOutEnd = 5.5;
    const BuiltMix built = build(project, false);
    const std::vector<float> out = render(built, 8.5);

    // The fade curve in the fragment's own time, worked out here from the four points.
    auto fade = [](double t) {
        const double in = std::clamp((t - 0.5) / 2.0, 0.0, 1.0);
        const double out = std::clamp((5.5 - t) / 1.5, 0.0, 1.0);
        return in * out;
    };
    float worst = 0;
    for (std::int64_t f = 0; f < frameOf(8.5); ++f) {
        const double t = static_cast<double>(f) / 48000 - 1.5;
        for (int c = 0; c < 2; ++c) {
            float expected = 0;
            if (t >= 0 && t < 6) {
                const auto source =
                    static_cast<std::size_t>((f - frameOf(1.5) + frameOf(2)) * 2 + c);
                expected = static_cast<float>(music[source] * 0.6 * fade(t));
            }
            worst = std::max(worst, std::fabs(sampleAt(out, f, c) - expected));
        }
    }
    EXPECT_LT(worst, 2e-6f);
    EXPECT_GT(peak(out, frameOf(4.5), frameOf(5.5)), 0.2f) << "full volume between the fades";
    EXPECT_EQ(peak(out, frameOf(7), frameOf(8.5)), 0.0f) << "silent after the fade-out";
}

TEST_F(MixBuilderTest, touchingClipsOfOneTakeJoinWithoutADroppedOrRepeatedSampleAtAnyRate)
{
    // A tone recorded from an odd time and split between samples, as the split command leaves
    // it: played at the export rate, at a common device rate, and exported, every join is as
    // smooth as the tone itself.
    for (const int sourceRate : {44100, 48000, 22050}) {
        SCOPED_TRACE(sourceRate);
        writeCaf(folder / "Media/tone.caf",
                 testing::sineTone(440, sourceRate, static_cast<std::size_t>(4 * sourceRate)),
                 sourceRate, 1);
        PodcastProject project;
        project.segments = {clip("Media/tone.caf", 0.1, 3.0, 1.2345678901)};
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
        auto session = ExportSession::create(built.composition, built.audioMix);
        ASSERT_TRUE(session);
        session.value()->setOutputPath(folder / "joins.m4a");
        testing::exportAndWait(*session.value());
        ASSERT_EQ(session.value()->status(), ExportSession::Status::completed);
        const std::vector<float> decoded = testfiles::decodeWithFfmpeg(folder / "joins.m4a");
        EXPECT_LE(testing::largestStep(decoded, frameOf(1.25), frameOf(4.22)),
                  testing::toneStep(0.5, 440, 48000) * 1.1);
    }
}

} // namespace tw
