// A take cut short keeps its audio. Children of this test record on a real event loop from a
// microphone at real-time pace: some are SIGKILLed at chosen moments and a fresh Studio opens
// each project; one records under a small file-size limit (RLIMIT_FSIZE, SIGXFSZ ignored), so
// that its writes end in a real EFBIG. Children say what happened in lines on their output.
#include "studio/Studio.hpp"

#include "support/HookedWriter.hpp"
#include "support/ProjectAudio.hpp"
#include "support/StudioFixture.hpp"

#include <QProcess>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <sys/resource.h>

namespace tw {
namespace {

constexpr double rate = 48000.0;
constexpr const char* childVariable = "TAPEWRIGHT_TAKE_CHILD"; // its scenario
// Not a whole number of the input's buffers past the header, so the last write is cut mid-way.
constexpr rlim_t fileSizeLimit = 200 * 1000 + 6;

float takeSignal(std::int64_t frame)
{
    return 0.4f *
           static_cast<float>(std::sin(2 * M_PI * 330.0 * static_cast<double>(frame) / rate));
}

void report(const std::string& line)
{
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

// A child's take from 2.5 s on into a new project in the current folder: it reports the count-in,
// the start, each write, and, under the limit, how the take ended; killed children never end.
int recordAsChild(const std::string& scenario)
{
    const bool limited = scenario == "limited";
    const rlimit limit{fileSizeLimit, fileSizeLimit};
    if (limited && (::signal(SIGXFSZ, SIG_IGN) == SIG_ERR || ::setrlimit(RLIMIT_FSIZE, &limit)))
        return 2;
    static std::atomic_flag failed;
    testing::StudioFixture f;
    // Every write tells the frames the file then holds; the first failed one also tells why.
    f.writerFactory =
        testing::hookedWriters({.after = [](const Result<void>& written, std::int64_t frames) {
            if (!written && !failed.test_and_set())
                report("failure " + written.error().description);
            report("written " + std::to_string(frames));
        }});
    QObject::connect(&f.studio, &Studio::fieldChanged, [&](StudioField field) {
        if (field == StudioField::countdown && f.studio.countdown())
            report("countdown " + std::to_string(*f.studio.countdown()));
        if (field == StudioField::recording && f.studio.recording())
            report("recording");
    });
    f.inputOptions.pieceFrames = 2400;
    f.inputOptions.pace = SimulatedAudioInput::Pace::realTime;
    f.inputOptions.length = -1;
    f.inputSignal = [](std::int64_t frame, int) { return takeSignal(frame); };
    f.folder = std::filesystem::current_path() / (scenario + ".podcastproject");
    f.newProject();
    f.settle(); // the new project is on disk before the count-in a child may die in
    f.studio.position = 2.5;
    f.studio.record();
    // The limit allows about a second: the clock stops that take long before this wait ends.
    testing::runEventsUntil([&] { return limited && !f.studio.recording() && !f.studio.busy(); },
                            30, &f.scheduler);
    f.settle();
    report("message " + f.studio.message().value_or("(none)"));
    report("liveDuration " + std::to_string(f.studio.liveDuration));
    return 0;
}

const bool isChild = [] {
    if (const char* scenario = std::getenv(childVariable))
        std::_Exit(recordAsChild(scenario));
    return false;
}();

// This program again, as a child recording the scenario in folder; what it said, by first word
// (the last time it said each).
struct Child {
    std::string scenario;
    std::unique_ptr<QProcess> process = std::make_unique<QProcess>();
    std::map<std::string, std::string> said;
    bool killed = false;

    Child(std::string name, const std::filesystem::path& folder) : scenario(std::move(name))
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(childVariable, QString::fromStdString(scenario));
        environment.insert("TMPDIR", QString::fromStdString(folder.string()));
        process->setProcessEnvironment(environment);
        process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process->setWorkingDirectory(QString::fromStdString(folder.string()));
        process->start("/proc/self/exe", {});
    }
    void listen()
    {
        while (process->canReadLine()) {
            const std::string line = process->readLine().trimmed().toStdString();
            said[line.substr(0, line.find(' '))] = line.substr(line.find(' ') + 1);
        }
    }
    std::int64_t written() const
    {
        return said.count("written") ? std::stoll(said.at("written")) : 0;
    }
    bool dueToDie() const
    {
        if (scenario == "countdown") // a second in: the new project's first save has landed
            return said.count("countdown") && said.at("countdown") == "2";
        if (scenario == "started")
            return said.count("recording");
        return scenario != "limited" &&
               written() >= static_cast<std::int64_t>((scenario == "early" ? 0.7 : 1.8) * rate);
    }
};

// The take is one clip at 2.5 s as long as frames, and its file holds the microphone's first
// frames, in order.
void expectTake(const std::filesystem::path& folder, const Segment& clip, std::int64_t frames)
{
    EXPECT_EQ(clip.timelineStart, 2.5);
    EXPECT_DOUBLE_EQ(clip.duration, double(frames) / rate);
    ASSERT_TRUE(clip.file);
    const std::vector<float> samples = testfiles::readAll(folder / *clip.file);
    ASSERT_EQ(static_cast<std::int64_t>(samples.size()), frames);
    for (std::int64_t frame = 0; frame < frames; ++frame)
        ASSERT_NEAR(samples[std::size_t(frame)], takeSignal(frame), 1e-6) << frame;
}

TEST(StudioTakeRecovery, aKilledTakeIsRecoveredAndALimitedOneKeepsEveryFrameTheFileHolds)
{
    testing::TempFolder temp;
    testing::coreApplication();
    std::vector<Child> children;
    for (const char* scenario : {"countdown", "started", "early", "late", "limited"})
        children.emplace_back(scenario, temp.path());
    // Runs every child to its moment and kills it there; the limited one ends by itself. A child
    // gives up by itself after half a minute, so this waits for the children, not for a clock.
    testing::runEventsUntil(
        [&] {
            bool running = false;
            for (Child& c : children) {
                c.listen();
                if (!c.killed && c.dueToDie())
                    c.killed = ::kill(pid_t(c.process->processId()), SIGKILL) == 0;
                running = running || (!c.killed && c.process->state() != QProcess::NotRunning);
            }
            return !running;
        },
        60);
    for (Child& c : children) {
        if (c.scenario != "limited")
            c.process->kill();
        c.process->waitForFinished();
        c.listen();
    }

    for (const Child& c : children) {
        SCOPED_TRACE(c.scenario + ", frames reported written: " + std::to_string(c.written()));
        const auto folder = temp / (c.scenario + ".podcastproject");
        if (c.scenario == "limited") {
            ASSERT_TRUE(c.process->exitStatus() == QProcess::NormalExit &&
                        c.process->exitCode() == 0);
            // The writer met the kernel's EFBIG, and the clock said so with the writer's words.
            EXPECT_NE(c.said.at("failure").find("»: El archivo es demasiado grande."),
                      std::string::npos);
            EXPECT_EQ(c.said.at("message"), "La grabación se detuvo: " + c.said.at("failure"));
            EXPECT_EQ(std::stod(c.said.at("liveDuration")), 0.0);
            const PodcastProject saved = testing::readProject(folder);
            EXPECT_TRUE(testing::noPendingTake(saved));
            const auto clips = saved.resolvedSegments();
            ASSERT_EQ(clips.size(), 1u);
            // The clip is as long as the file, which stays within the limit; the writer knew
            // every frame it put there, a partly written last buffer included, and nothing
            // written after the failure overlays them.
            ASSERT_TRUE(clips[0].file);
            EXPECT_LE(std::filesystem::file_size(folder / *clips[0].file), fileSizeLimit);
            EXPECT_GT(c.written(), 0);
            expectTake(folder, clips[0], c.written());
            continue;
        }
        ASSERT_TRUE(c.killed) << "the child never reached its moment";
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
        EXPECT_GE(recovered, c.written() / rate - 0.5);
        EXPECT_LE(recovered, (c.written() + DiskRecorder::bufferFrames) / rate + 1e-9);
        EXPECT_GE(recovered, c.scenario == "late" ? 1.3 : 0.0);
        const auto segments = f.studio.project->resolvedSegments();
        ASSERT_EQ(segments.size(), recovered > 0 ? 1u : 0u);
        if (recovered > 0) {
            EXPECT_EQ(segments[0].file, name);
            expectTake(folder, segments[0], std::llround(recovered * rate));
        }
        f.settle();
        EXPECT_FALSE(testing::readProject(folder).recordingPending);
    }
}

} // namespace
} // namespace tw
