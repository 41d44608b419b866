// A take cut short keeps its audio. Children of this test record on a real event loop from a
// microphone at real-time pace: some are SIGKILLed at chosen moments and a fresh Studio opens
// each project; one records under a small file-size limit (RLIMIT_FSIZE, SIGXFSZ ignored), so
// that its writes end in a real EFBIG.
#include "studio/Studio.hpp"

#include "audio/AudioFileReader.hpp"
#include "support/ChildProcess.hpp"
#include "support/HookedWriter.hpp"
#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

#include <mutex>
#include <poll.h>
#include <sys/resource.h>

namespace tw {
namespace {

using testing::report;

constexpr double rate = 48000.0;
constexpr const char* killedRole = "TAPEWRIGHT_KILLED_CHILD";
constexpr const char* limitedRole = "TAPEWRIGHT_LIMITED_CHILD";
// Not a whole number of the input's buffers past the header, so the last write is cut mid-way.
constexpr rlim_t fileSizeLimit = 200 * 1000 + 6;

float takeSignal(std::int64_t frame)
{
    return 0.4f *
           static_cast<float>(std::sin(2 * M_PI * 330.0 * static_cast<double>(frame) / rate));
}

// A child's studio: a microphone at real-time pace playing takeSignal, a new project in folder.
void prepare(testing::StudioFixture& f, const std::filesystem::path& folder)
{
    f.inputOptions.pieceFrames = 2400;
    f.inputOptions.pace = SimulatedAudioInput::Pace::realTime;
    f.inputOptions.length = -1;
    f.inputSignal = [](std::int64_t frame, int) { return takeSignal(frame); };
    f.folder = folder;
    f.newProject();
}

// Records from 2.5 s on, telling the parent the count-in, the start and each write, until killed.
int recordUntilKilled(const std::filesystem::path& folder, int fd)
{
    testing::StudioFixture f;
    f.writerFactory =
        testing::hookedWriters({.after = [fd](const Result<void>& written, std::int64_t frames) {
            if (written)
                report(fd, "written " + std::to_string(frames));
        }});
    QObject::connect(&f.studio, &Studio::fieldChanged, [&](StudioField field) {
        if (field == StudioField::countdown && f.studio.countdown())
            report(fd, "countdown " + std::to_string(*f.studio.countdown()));
        if (field == StudioField::recording && f.studio.recording())
            report(fd, "recording");
    });
    prepare(f, folder);
    f.studio.position = 2.5;
    f.studio.record();
    testing::runEventsUntil([] { return false; }, 30, &f.scheduler);
    return 3;
}

// Records under the file-size limit until the clock stops the take; reports what happened.
int recordUnderLimit(const std::filesystem::path& folder, int fd)
{
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{fileSizeLimit, fileSizeLimit};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0)
        return 2;
    // Declared before the studio, whose take writer refers to them.
    std::mutex lock;
    std::string failure;
    std::int64_t framesAtClose = -1;
    testing::StudioFixture f;
    f.writerFactory = testing::hookedWriters({.after =
                                                  [&](const Result<void>& written, std::int64_t) {
                                                      std::lock_guard guard(lock);
                                                      if (!written && failure.empty())
                                                          failure = written.error().description;
                                                  },
                                              .closing =
                                                  [&](std::int64_t frames) {
                                                      std::lock_guard guard(lock);
                                                      framesAtClose = frames;
                                                  }});
    prepare(f, folder);
    // Ten seconds of wall time is far more than the one second the limit allows.
    if (!f.startTake() || !f.waitUntil([&] {
            f.scheduler.advance(0.1);
            return !f.studio.recording();
        }) ||
        !f.waitIdle())
        return 4;
    f.settle();
    std::lock_guard guard(lock);
    report(fd, "failure " + failure);
    report(fd, "writerFrames " + std::to_string(framesAtClose));
    report(fd, "message " + f.studio.message().value_or("(none)"));
    report(fd, "liveDuration " + std::to_string(f.studio.liveDuration));
    return 0;
}

const bool isKilledChild = testing::childRole(killedRole, recordUntilKilled);
const bool isLimitedChild = testing::childRole(limitedRole, recordUnderLimit);

// The take file's samples are the microphone's first ones, in order, and as many as expected.
void expectTakeAudio(const std::filesystem::path& file, std::int64_t frames)
{
    auto reader = AudioFileReader::open(file);
    ASSERT_TRUE(reader) << reader.error().description;
    ASSERT_EQ(reader.value()->length(), frames);
    std::vector<float> samples(static_cast<std::size_t>(frames));
    for (std::int64_t done = 0; done < frames;) {
        Result<int> got = reader.value()->read(samples.data() + done, int(frames - done));
        ASSERT_TRUE(got && got.value() > 0);
        done += got.value();
    }
    for (std::int64_t frame = 0; frame < frames; ++frame)
        ASSERT_NEAR(samples[std::size_t(frame)], takeSignal(frame), 1e-6) << frame;
}

struct Killed {
    std::string scenario;
    testing::Child child;
    int countdown = 0; // the last count shown
    bool recording = false;
    bool killed = false;
    bool ended = false;
    std::int64_t written = 0; // frames the writer reported as in the file

    void take(const std::vector<std::string>& lines)
    {
        for (const std::string& line : lines) {
            if (line.rfind("countdown ", 0) == 0)
                countdown = std::stoi(line.substr(10));
            recording = recording || line == "recording";
            if (line.rfind("written ", 0) == 0)
                written = std::stoll(line.substr(8));
        }
    }
    bool dueToDie() const
    {
        if (scenario == "countdown") // a second in: the new project's first save has landed
            return countdown == 2;
        if (scenario == "started")
            return recording;
        return written >= static_cast<std::int64_t>((scenario == "early" ? 0.7 : 1.8) * rate);
    }
};

TEST(StudioTakeRecovery, aKilledTakeIsRecoveredUpToTheLastHalfSecondItsWriterReceived)
{
    testing::TempFolder temp;
    std::vector<Killed> children;
    for (const char* scenario : {"countdown", "started", "early", "late"})
        children.push_back({scenario, testing::Child(killedRole, temp / (std::string(scenario) +
                                                                         ".podcastproject"))});
    // Runs every child to its moment and kills it there.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    for (bool running = true; running && std::chrono::steady_clock::now() < deadline;) {
        std::vector<pollfd> polled;
        for (Killed& c : children)
            polled.push_back({c.ended ? -1 : c.child.fd, POLLIN, 0});
        ::poll(polled.data(), polled.size(), 50);
        running = false;
        for (std::size_t i = 0; i < children.size(); ++i) {
            Killed& c = children[i];
            std::vector<std::string> lines;
            if (!c.ended && (polled[i].revents & (POLLIN | POLLHUP)) && !c.child.read(lines))
                c.ended = true;
            c.take(lines);
            if (!c.killed && c.dueToDie())
                c.killed = ::kill(c.child.pid, SIGKILL) == 0;
            running = running || !c.ended;
        }
    }
    for (Killed& c : children) {
        ::kill(c.child.pid, SIGKILL);
        std::vector<std::string> lines;
        c.child.finish(lines);
        c.take(lines);
    }

    for (const Killed& c : children) {
        SCOPED_TRACE(c.scenario + ", frames reported written: " + std::to_string(c.written));
        ASSERT_TRUE(c.killed) << "the child never reached its moment";
        const auto folder = temp / (c.scenario + ".podcastproject");
        const PodcastProject onDisk = testing::readProject(folder);
        testing::StudioFixture f;
        // The pending mark was on disk before capture began, and not before the count-in ended.
        EXPECT_EQ(onDisk.recordingPending, c.scenario != "countdown");
        EXPECT_EQ(onDisk.pendingStart, onDisk.recordingPending ? std::optional(2.5) : std::nullopt);
        EXPECT_EQ(testing::countFiles(folder / "Media", "voice-"), onDisk.recordingPending ? 1 : 0);
        ASSERT_TRUE(f.openAndWait(folder));
        if (!onDisk.recordingPending) {
            EXPECT_FALSE(f.studio.message());
            EXPECT_TRUE(f.studio.project->segments.empty());
            continue;
        }
        const std::string name = onDisk.pendingVoiceFile.value();
        EXPECT_FALSE(f.studio.project->recordingPending || f.studio.project->pendingVoiceFile);
        ASSERT_EQ(f.studio.sourceDurations.count(name), 1u) << f.studio.message().value_or("");
        const double recovered = f.studio.sourceDurations.at(name);
        EXPECT_EQ(f.studio.message(), "Se recuperaron " + std::to_string(int(recovered)) +
                                          " segundos de la grabación interrumpida.");
        // Everything the writer had but at most its last half second, and nothing it never got
        // (one write may have landed without being reported).
        EXPECT_GE(recovered, c.written / rate - 0.5);
        EXPECT_LE(recovered, (c.written + DiskRecorder::bufferFrames) / rate + 1e-9);
        EXPECT_GE(recovered, c.scenario == "late" ? 1.3 : 0.0);
        const auto segments = f.studio.project->resolvedSegments();
        ASSERT_EQ(segments.size(), recovered > 0 ? 1u : 0u);
        if (recovered > 0) {
            EXPECT_EQ(segments[0].file, name);
            EXPECT_EQ(segments[0].timelineStart, 2.5);
            EXPECT_DOUBLE_EQ(segments[0].duration, recovered);
            expectTakeAudio(folder / name, std::int64_t(std::llround(recovered * rate)));
        }
        f.settle();
        EXPECT_FALSE(testing::readProject(folder).recordingPending);
    }
}

TEST(StudioTakeRecovery, aTakeThatHitsTheFileSizeLimitStopsAndKeepsEveryFrameTheFileHolds)
{
    testing::TempFolder temp;
    const auto folder = temp / "Limitado.podcastproject";
    std::vector<std::string> lines;
    const int status = testing::Child(limitedRole, folder).finish(lines);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    std::map<std::string, std::string> said; // first word → the rest
    for (const std::string& line : lines)
        said[line.substr(0, line.find(' '))] = line.substr(line.find(' ') + 1);

    // The writer met the kernel's EFBIG, and the clock said so with the writer's own words.
    EXPECT_NE(said.at("failure").find("»: El archivo es demasiado grande."), std::string::npos);
    EXPECT_EQ(said.at("message"), "La grabación se detuvo: " + said.at("failure"));
    EXPECT_EQ(std::stod(said.at("liveDuration")), 0.0);

    const PodcastProject saved = testing::readProject(folder);
    EXPECT_FALSE(saved.recordingPending || saved.pendingVoiceFile || saved.pendingStart);
    const auto clips = saved.resolvedSegments();
    ASSERT_EQ(clips.size(), 1u);
    EXPECT_EQ(clips[0].timelineStart, 0.0);
    // The clip is as long as the file, which stays within the limit; the writer knew every frame
    // it put there, a partly written last buffer included, and nothing written after the failure
    // overlays them.
    ASSERT_TRUE(clips[0].file);
    const auto file = folder / *clips[0].file;
    EXPECT_LE(std::filesystem::file_size(file), fileSizeLimit);
    const std::int64_t frames = std::stoll(said.at("writerFrames"));
    EXPECT_GT(frames, 0);
    EXPECT_DOUBLE_EQ(clips[0].duration, double(frames) / rate);
    expectTakeAudio(file, frames);
}

} // namespace
} // namespace tw
