#include "audio/ExportSession.hpp"

#include "GraphSignals.hpp"
#include "audio/ExportMetadata.hpp"
#include "audio/LoudnessMeter.hpp"
#include "audio/OfflineRenderer.hpp"
#include "support/AudioFiles.hpp"
#include "support/ExportAndWait.hpp"
#include "support/ProjectAudio.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

namespace tw {

using namespace graphtest;
using testfiles::writeCaf;
using testing::exportAndWait;

namespace {

constexpr int rate = 48000;

// A voice-like mono signal: two partials gliding upwards under a slow tremolo, with a little
// noise. The glide keeps it from repeating, so a correlation finds one best alignment. With
// plosives: a short burst every 0.4 s, peaks far above the speech's loudness, and a click (a
// hard-edged millisecond, as a cut without a fade leaves) every 0.5 s, which the encoder renders
// with peaks of its own.
std::vector<float> voiceSignal(std::int64_t frames, double base, unsigned seed,
                               bool plosives = false)
{
    std::vector<float> out = noise(1, frames, seed);
    for (std::int64_t f = 0; f < frames; ++f) {
        const double t = static_cast<double>(f) / rate;
        const double phase = 2 * std::numbers::pi * (base * t + 40 * t * t);
        const double tremolo = 0.7 + 0.3 * std::sin(2 * std::numbers::pi * 3 * t);
        const std::int64_t sinceBurst = f % (rate * 2 / 5);
        const double burst = plosives && sinceBurst < rate / 100
                                 ? 1.2 * std::sin(std::numbers::pi * sinceBurst / (rate / 100.0)) *
                                       std::sin(0.3 * static_cast<double>(f))
                                 : 0;
        const double click = plosives && f % (rate / 2) < rate / 500 ? 1.5 * std::sin(0.7 * f) : 0;
        out[static_cast<std::size_t>(f)] =
            static_cast<float>(tremolo * (0.35 * std::sin(phase) + 0.15 * std::sin(3 * phase)) +
                               0.02 * out[static_cast<std::size_t>(f)] + burst + click);
    }
    return out;
}

// Music: a different chord in each channel, at 44.1 kHz so that the render resamples it.
std::vector<float> musicSignal()
{
    std::vector<float> out(static_cast<std::size_t>(44100 * 5 * 2));
    for (std::size_t i = 0; i < out.size(); ++i) {
        const double t = static_cast<double>(i / 2) / 44100;
        const auto tone = [&](double hz) { return std::sin(2 * std::numbers::pi * hz * t); };
        out[i] = static_cast<float>(i % 2 ? 0.2 * tone(392) + 0.15 * tone(987.77)
                                          : 0.2 * tone(523.25) + 0.15 * tone(659.25));
    }
    return out;
}

std::unique_ptr<ExportSession> makeSession(const Programme& p,
                                           ExportFormat format = ExportFormat::m4a)
{
    auto session = ExportSession::create(p.composition, p.mix, format);
    if (!session)
        throw std::runtime_error(session.error().description);
    return std::move(session).value();
}

// The shift of `signal` against `reference` (within ±maxLag) with the largest correlation, over
// the half second from `from`.
int bestLag(const std::vector<float>& reference, const std::vector<float>& signal,
            std::int64_t from, int maxLag)
{
    const auto n = static_cast<std::int64_t>(std::min(reference.size(), signal.size()));
    const std::int64_t to = std::min(n - maxLag, from + rate / 2);
    double best = -1e300;
    int lagAtBest = 0;
    for (int lag = -maxLag; lag <= maxLag; ++lag) {
        double sum = 0, energy = 1e-30;
        for (std::int64_t i = from; i < to; ++i) {
            const double s = signal[static_cast<std::size_t>(i + lag)];
            sum += reference[static_cast<std::size_t>(i)] * s;
            energy += s * s;
        }
        if (sum / std::sqrt(energy) > best) {
            best = sum / std::sqrt(energy);
            lagAtBest = lag;
        }
    }
    return lagAtBest;
}

// Signal-to-difference ratio in dB of `signal` against `reference`, over their common length.
double signalToDifference(const std::vector<float>& reference, const std::vector<float>& signal)
{
    const std::size_t n = std::min(reference.size(), signal.size());
    double power = 0, difference = 0;
    for (std::size_t i = 0; i < n; ++i) {
        power += static_cast<double>(reference[i]) * reference[i];
        const double d = static_cast<double>(signal[i]) - reference[i];
        difference += d * d;
    }
    return 10 * std::log10(power / difference);
}

} // namespace

// Stereo with music, the voice alone in mono, in either format, with or without a loudness
// target, and a range past the end that stops where the composition does: each file is the render
// of its range aligned to the sample (and, without a target, that render itself), at the loudness
// asked for or else the mix's own, its true peak under the ceiling. With a cover, each format
// carries the tags, the picture as given and the chapters.
TEST(ExportSession, theFileIsTheMixOfItsRangeAlignedSampleExactlyAtItsLoudnessWithItsTags)
{
    const ScratchFolder folder;
    struct Case {
        bool music;
        double start, duration, length; // the length the file must have
        int channels;
        ExportFormat format = ExportFormat::m4a;
        std::optional<double> target = std::nullopt;
        float voiceLevel = 1; // loud, with plosives, above 1
        bool cover = false;   // a PNG in the M4A, a JPEG in the MP3
    };
    const auto m4a = ExportFormat::m4a, mp3 = ExportFormat::mp3;
    for (const char* image : {"cover.png", "cover.jpg"})
        testfiles::makeImage(folder / image);
    for (const Case& c : {Case{true, 0.96, 4.5, 4.5, 2, m4a, {}, 2.5f, true},
                          Case{false, 0.96, 3.7345, 3.7345, 1, m4a, -19.0},
                          Case{false, 0.96, 3.7345, 3.7345, 1, mp3, {}, 1, true},
                          Case{true, 0.96, 4.54, 4.54, 2, mp3, -23.0, 2.5f},
                          Case{true, 0.96, 4.54, 4.54, 2, m4a, -16.0, 0.2f},
                          Case{false, 4, 30, 0.75, 1}}) { // the voice ends at 4.75 s
        const bool isM4a = c.format == m4a;
        SCOPED_TRACE(::testing::Message() << c.duration << (isM4a ? " m4a" : " mp3") << ", target "
                                          << c.target.value_or(0) << ", music " << c.music);
        // The shared programme in speech and, with music, a stereo bed.
        const Programme p =
            makeProgramme(folder, voiceSignal(rate * 3, 220, 1, c.voiceLevel > 1),
                          c.music ? musicSignal() : std::vector<float>{}, c.voiceLevel);
        auto session = makeSession(p, c.format);
        EXPECT_EQ(session->channels(), c.channels);
        const std::filesystem::path file = folder / (isM4a ? "out.m4a" : "out.mp3");
        session->setOutputPath(file);
        session->setTimeRange(seconds(c.start), seconds(c.duration));
        session->setLoudnessTarget(c.target);
        const std::optional<CoverArt> cover =
            c.cover ? readCoverArt(folder / (isM4a ? "cover.png" : "cover.jpg")).value()
                    : std::optional<CoverArt>{};
        if (cover)
            session->setMetadata({"Episodio 7: «Cañas»",
                                  "Ana",
                                  "Charlas",
                                  cover,
                                  {{0, 1.5, "Intro"}, {1.5, 3.5, "Entrevista"}}});
        exportAndWait(*session);
        ASSERT_EQ(session->status(), ExportSession::Status::completed)
            << session->error().value_or(Error{}).description;
        EXPECT_FALSE(session->error());
        EXPECT_EQ(session->progress(), 1.0f);

        const std::vector<std::uint8_t> bytes = testfiles::readBytes(file);
        if (isM4a) {
            // The edit list hides the encoder's priming and padding: the container says the range.
            EXPECT_NEAR(std::stod(testfiles::commandOutput(
                            "ffprobe -v error -select_streams a:0 -show_entries stream=duration "
                            "-of csv=p=0 " +
                            testfiles::quoted(file))),
                        c.length, 1.0 / rate);
            const std::string_view boxes(reinterpret_cast<const char*>(bytes.data()), bytes.size());
            EXPECT_LT(boxes.find("moov"), boxes.find("mdat"))
                << "the index comes first for streaming";
        } else {
            EXPECT_EQ(bytes.at(3), 4) << "ID3v2.4";
        }
        if (cover) {
            const auto probed = testfiles::probeExport(file);
            EXPECT_EQ(probed.chapters, "0.000000,1.500000,Intro\n1.500000,3.500000,Entrevista\n");
            EXPECT_EQ(probed.tags,
                      "TAG:title=Episodio 7: «Cañas»\nTAG:artist=Ana\nTAG:album=Charlas\n");
            // The chapter track of the M4A reads as data.
            EXPECT_EQ(probed.streams, isM4a ? "aac,0\nbin_data,0\npng,1\n" : "mp3,0\nmjpeg,1\n");
            const std::string picture =
                testfiles::commandOutput("ffmpeg -nostdin -v error -i " + testfiles::quoted(file) +
                                         " -map 0:v -c copy -f image2pipe -");
            EXPECT_TRUE(picture == cover->bytes) << "the cover as it was given";
            const std::string box = isM4a ? "chpl" : "CTOC"; // where the chapters are kept
            EXPECT_NE(std::search(bytes.begin(), bytes.end(), box.begin(), box.end()), bytes.end());
        }

        const std::vector<float> decoded = testfiles::readAll(file);
        EXPECT_NEAR(static_cast<double>(decoded.size()) / c.channels, c.length * rate,
                    isM4a ? 1024 : 1); // the MP3's header says what the encoder added
        const auto rendered = renderBuffer(p.composition, p.mix, c.start, c.duration);
        // A mono file is the left (equal to the right) channel of the render.
        for (int k = 0; k < c.channels; ++k) {
            const auto reference = channel(rendered, 2, k);
            const auto heard = channel(decoded, c.channels, k);
            EXPECT_EQ(bestLag(reference, heard, 1200, 1200), 0) << "channel " << k;
            if (!c.target) { // a gain and the limiter are checked by the loudness below
                EXPECT_GT(signalToDifference(reference, heard), isM4a ? 25 : 20) << k;
            }
        }
        if (c.start < 1) { // the first clip begins 0.04 s into the file
            const auto left = channel(decoded, c.channels, 0);
            const auto onset = std::find_if(left.begin(), left.end(),
                                            [](float v) { return std::fabs(v) > 0.02f; });
            EXPECT_NEAR(static_cast<double>(onset - left.begin()), 0.04 * rate, 0.001 * rate);
        }

        const auto tool = testfiles::ebur128WithFfmpeg(file);
        ASSERT_TRUE(session->levels());
        EXPECT_NEAR(session->levels()->loudness, tool.integrated, 0.15);
        EXPECT_NEAR(session->levels()->truePeak, tool.truePeak, 0.3);
        EXPECT_LT(tool.truePeak, 0.0) << "never over full scale";
        if (c.target) {
            EXPECT_NEAR(tool.integrated, *c.target, ExportSession::loudnessTolerance);
            EXPECT_LE(tool.truePeak, ExportSession::peakLimitDb);
            EXPECT_LE(session->levels()->truePeak, ExportSession::peakLimitDb);
        } else if (c.music) { // the mix as it is: the loudness of its render, no gain
            LoudnessMeter mix(2, rate, LoudnessMeter::integrated);
            mix.add(rendered.data(), rendered.size() / 2);
            EXPECT_NEAR(tool.integrated, mix.integratedLoudness(), 0.3);
        }
    }
}

TEST(ExportSession, progressRisesAndACancelledOrFailedExportLeavesNoFile)
{
    const ScratchFolder folder;
    // Nothing to play: no session.
    auto none = ExportSession::create(Composition{}, AudioMix{});
    ASSERT_FALSE(none);
    EXPECT_EQ(none.error(), (Error{"Export", 1, "No se pudo preparar la exportación."}));

    // A minute of programme: long enough to be seen half done.
    writeCaf(folder / "take.caf", voiceSignal(rate * 6, 200, 3), rate, 1);
    const AudioAsset take = loadAsset(folder / "take.caf");
    Programme p;
    CompositionTrack* voice = p.composition.addTrack(1);
    for (int i = 0; i < 10; ++i)
        ASSERT_TRUE(voice->insertTimeRange(take, {}, seconds(6), seconds(6.0 * i)));
    const auto start = [&](const std::filesystem::path& file, std::atomic<bool>& finished) {
        auto session =
            makeSession(p, file.extension() == ".mp3" ? ExportFormat::mp3 : ExportFormat::m4a);
        session->setOutputPath(file);
        EXPECT_EQ(session->status(), ExportSession::Status::waiting);
        EXPECT_EQ(session->progress(), 0.0f);
        session->exportAsynchronously([&] { finished = true; });
        return session;
    };

    // Cancelled half way (an MP3 this time): the progress rose until then, and the partial file
    // is removed. (A completed export's progress ends at one in the table above.)
    std::atomic<bool> finished{false};
    auto halfway = start(folder / "halfway.mp3", finished);
    std::vector<float> seen;
    while (seen.empty() || (seen.back() < 0.3f && !finished)) {
        seen.push_back(halfway->progress());
        std::this_thread::yield();
    }
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_TRUE(std::filesystem::exists(folder / "halfway.mp3")) << "being written";
    halfway->cancelExport();
    while (!finished)
        std::this_thread::yield();
    EXPECT_EQ(halfway->status(), ExportSession::Status::cancelled);
    EXPECT_FALSE(halfway->error());
    EXPECT_LT(halfway->progress(), 1.0f);
    EXPECT_FALSE(std::filesystem::exists(folder / "halfway.mp3"));

    // Dropped while running: the destructor stops it and nothing is left.
    std::atomic<bool> never{false};
    auto dropped = start(folder / "dropped.m4a", never);
    while (dropped->progress() < 0.1f)
        std::this_thread::yield();
    dropped.reset();
    EXPECT_FALSE(std::filesystem::exists(folder / "dropped.m4a"));

    // Cancelled before it starts, it never writes; a folder that does not exist, or a "folder"
    // that is a file, fails with the system's reason. (A source gone missing is the studio's
    // export test.)
    testfiles::writeBytes(folder / "plain-file", {1, 2, 3});
    for (const auto& output :
         {folder / "early.m4a", folder / "no-such-folder/out.m4a", folder / "plain-file/out.m4a"}) {
        auto session = makeSession(p);
        session->setOutputPath(output);
        const bool early = output.filename() == "early.m4a";
        if (early)
            session->cancelExport();
        exportAndWait(*session);
        EXPECT_FALSE(std::filesystem::exists(output));
        EXPECT_EQ(session->status(),
                  early ? ExportSession::Status::cancelled : ExportSession::Status::failed);
        if (early)
            continue;
        ASSERT_TRUE(session->error());
        const std::string description = session->error()->description;
        EXPECT_EQ(description.rfind("No se pudo crear el archivo «out.m4a»: ", 0), 0u)
            << description;
        EXPECT_GT(description.size(), 40u) << "with the system's reason";
    }
    EXPECT_EQ(testfiles::readBytes(folder / "plain-file"), (std::vector<std::uint8_t>{1, 2, 3}));
}

} // namespace tw
