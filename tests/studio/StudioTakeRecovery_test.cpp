// A take survives a killed process: children of this test record on a real event loop with a
// microphone at real-time pace and are SIGKILLed at chosen moments; a fresh Studio then opens
// each project.
#include "studio/Studio.hpp"

#include "audio/AudioFileReader.hpp"
#include "studio/QtScheduler.hpp"
#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"

#include <QCoreApplication>
#include <QTimer>

#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace tw {
namespace {

constexpr double rate = 48000.0;
constexpr int pieceFrames = 2400;
constexpr const char* folderVariable = "TAPEWRIGHT_RECORDING_CHILD";
constexpr const char* reportVariable = "TAPEWRIGHT_RECORDING_REPORT_FD";

float takeSignal(std::int64_t frame)
{
    return 0.4f *
           static_cast<float>(std::sin(2 * M_PI * 330.0 * static_cast<double>(frame) / rate));
}

void report(int fd, const std::string& line)
{
    const std::string text = line + "\n";
    (void)!::write(fd, text.data(), text.size());
}

// Passes writes through and says after each one how many frames the file holds.
class ReportingWriter final : public CafWriter {
public:
    ReportingWriter(std::unique_ptr<CafWriter> inner, int fd) : inner_(std::move(inner)), fd_(fd) {}
    double sampleRate() const override { return inner_->sampleRate(); }
    int channels() const override { return inner_->channels(); }
    Result<void> write(const AudioBufferList& list, int frames) override
    {
        return reported(inner_->write(list, frames));
    }
    Result<void> writeInterleaved(const float* samples, int frames) override
    {
        return reported(inner_->writeInterleaved(samples, frames));
    }
    std::int64_t framesWritten() const override { return inner_->framesWritten(); }
    Result<void> close() override { return inner_->close(); }

private:
    Result<void> reported(Result<void> result)
    {
        if (result)
            report(fd_, "written " + std::to_string(inner_->framesWritten()));
        return result;
    }
    std::unique_ptr<CafWriter> inner_;
    int fd_;
};

// The child: a new project in folder, the play head at 2.5 s, record, and wait to be killed.
int recordUntilKilled(const std::filesystem::path& folder, int fd)
{
    int argc = 1;
    char name[] = "recording-child";
    char* argv[] = {name, nullptr};
    QCoreApplication application(argc, argv);
    QtScheduler scheduler;
    testing::FakeStudioHost host;
    host.newProjectAnswers.push_back(folder);
    MemorySettingsStore settings;
    testing::FakeDeviceCatalog catalog;
    StudioEnvironment environment{
        scheduler,
        host,
        settings,
        catalog,
        []() -> std::unique_ptr<AudioInput> {
            SimulatedAudioInput::Options options;
            options.format = {rate, 1, SampleType::float32, true};
            options.pieceFrames = pieceFrames;
            options.pace = SimulatedAudioInput::Pace::realTime;
            return std::make_unique<SimulatedAudioInput>(
                options, [](std::int64_t frame, int) { return takeSignal(frame); });
        },
        [fd](const std::filesystem::path& path, double sampleRate,
             int channels) -> Result<std::unique_ptr<CafWriter>> {
            auto inner = CafWriter::create(path, sampleRate, channels);
            if (!inner)
                return inner.error();
            return std::unique_ptr<CafWriter>(
                std::make_unique<ReportingWriter>(std::move(inner).value(), fd));
        }};
    Studio studio(environment);
    QObject::connect(&studio, &Studio::fieldChanged, [&](StudioField field) {
        if (field == StudioField::countdown && studio.countdown())
            report(fd, "countdown " + std::to_string(*studio.countdown()));
        if (field == StudioField::recording && studio.recording())
            report(fd, "recording");
    });
    if (!studio.newProject())
        return 2;
    studio.position = 2.5;
    studio.record();
    // A child whose parent forgot it does not run forever.
    QTimer::singleShot(30000, &application, &QCoreApplication::quit);
    application.exec();
    return 3;
}

// The re-executed test binary becomes a recording child before any test runs.
const bool isRecordingChild = [] {
    const char* folder = std::getenv(folderVariable);
    const char* fd = std::getenv(reportVariable);
    if (!folder || !fd)
        return false;
    std::_Exit(recordUntilKilled(folder, std::atoi(fd)));
}();

struct Child {
    std::string scenario;
    std::filesystem::path folder;
    pid_t pid = -1;
    int fd = -1;
    std::string pending; // a partial line
    int countdown = 0;   // the last count shown
    bool recording = false;
    bool killed = false;
    bool ended = false;
    std::int64_t written = 0; // frames the writer reported as in the file
};

void spawn(Child& child)
{
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    ::fcntl(fds[0], F_SETFD, FD_CLOEXEC);
    std::vector<std::string> variables;
    for (char** entry = environ; *entry; ++entry)
        variables.emplace_back(*entry);
    variables.push_back(std::string(folderVariable) + "=" + child.folder.string());
    variables.push_back(std::string(reportVariable) + "=" + std::to_string(fds[1]));
    std::vector<char*> envp;
    for (std::string& variable : variables)
        envp.push_back(variable.data());
    envp.push_back(nullptr);
    char program[] = "/proc/self/exe";
    char* argv[] = {program, nullptr};

    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::execve(program, argv, envp.data());
        ::_exit(127);
    }
    ::close(fds[1]);
    child.pid = pid;
    child.fd = fds[0];
}

// Reads what the child said; false at the end of its output.
bool readReports(Child& child)
{
    char buffer[4096];
    const ssize_t got = ::read(child.fd, buffer, sizeof buffer);
    if (got <= 0)
        return false;
    child.pending.append(buffer, static_cast<std::size_t>(got));
    for (std::size_t end; (end = child.pending.find('\n')) != std::string::npos;) {
        const std::string line = child.pending.substr(0, end);
        child.pending.erase(0, end + 1);
        if (line.rfind("countdown ", 0) == 0)
            child.countdown = std::stoi(line.substr(10));
        else if (line == "recording")
            child.recording = true;
        else if (line.rfind("written ", 0) == 0)
            child.written = std::stoll(line.substr(8));
    }
    return true;
}

bool dueToDie(const Child& child)
{
    if (child.scenario == "countdown") // a second in: the new project's first save has landed
        return child.countdown == 2;
    if (child.scenario == "started")
        return child.recording;
    if (child.scenario == "early")
        return child.written >= static_cast<std::int64_t>(0.7 * rate);
    return child.written >= static_cast<std::int64_t>(1.8 * rate);
}

// Runs every child to its moment and kills it there; afterwards each child's reports are
// complete (read to the end of the pipe).
void runAndKill(std::vector<Child>& children)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    for (;;) {
        std::vector<pollfd> polled;
        for (Child& child : children)
            if (!child.ended)
                polled.push_back({child.fd, POLLIN, 0});
        if (polled.empty() || std::chrono::steady_clock::now() > deadline)
            break;
        ::poll(polled.data(), polled.size(), 50);
        for (Child& child : children) {
            if (child.ended)
                continue;
            pollfd* mine = nullptr;
            for (pollfd& entry : polled)
                if (entry.fd == child.fd)
                    mine = &entry;
            if (mine && (mine->revents & (POLLIN | POLLHUP)) && !readReports(child))
                child.ended = true;
            if (!child.killed && dueToDie(child)) {
                ::kill(child.pid, SIGKILL);
                child.killed = true;
            }
        }
    }
    for (Child& child : children) {
        if (!child.killed)
            ::kill(child.pid, SIGKILL);
        while (readReports(child)) {
        }
        ::close(child.fd);
        int status = 0;
        ::waitpid(child.pid, &status, 0);
    }
}

TEST(StudioTakeRecovery, aKilledTakeIsRecoveredUpToTheLastHalfSecondItsWriterReceived)
{
    testing::TempFolder temp;
    std::vector<Child> children;
    for (const char* scenario : {"countdown", "started", "early", "late"}) {
        Child child;
        child.scenario = scenario;
        child.folder = temp / (std::string(scenario) + ".podcastproject");
        children.push_back(child);
    }
    for (Child& child : children)
        spawn(child);
    runAndKill(children);

    for (const Child& child : children) {
        SCOPED_TRACE(child.scenario +
                     ", frames reported written: " + std::to_string(child.written));
        ASSERT_TRUE(child.killed) << "the child never reached its moment";
        const PodcastProject onDisk = testing::readProject(child.folder);
        testing::StudioFixture f;

        if (child.scenario == "countdown") {
            EXPECT_FALSE(onDisk.recordingPending);
            EXPECT_FALSE(onDisk.pendingVoiceFile);
            EXPECT_EQ(testing::countFiles(child.folder / "Media", "voice-"), 0);
            ASSERT_TRUE(f.openAndWait(child.folder));
            EXPECT_FALSE(f.studio.message());
            EXPECT_TRUE(f.studio.project->segments.empty());
            continue;
        }

        // The pending mark was on disk before capture began.
        EXPECT_TRUE(onDisk.recordingPending);
        EXPECT_EQ(onDisk.pendingStart, 2.5);
        ASSERT_TRUE(onDisk.pendingVoiceFile);
        const std::string name = *onDisk.pendingVoiceFile;

        ASSERT_TRUE(f.openAndWait(child.folder));
        EXPECT_FALSE(f.studio.project->recordingPending);
        EXPECT_FALSE(f.studio.project->pendingVoiceFile);
        ASSERT_EQ(f.studio.sourceDurations.count(name), 1u) << f.studio.message().value_or("");
        const double recovered = f.studio.sourceDurations.at(name);
        EXPECT_EQ(f.studio.message(), "Se recuperaron " +
                                          std::to_string(static_cast<int>(recovered)) +
                                          " segundos de la grabación interrumpida.");
        // Everything the writer had but at most its last half second, and nothing it never got
        // (one write may have landed without being reported).
        EXPECT_GE(recovered, child.written / rate - 0.5);
        EXPECT_LE(recovered, (child.written + DiskRecorder::bufferFrames) / rate + 1e-9);
        if (child.scenario == "late") {
            EXPECT_GE(recovered, 1.3);
        }

        const auto segments = f.studio.project->resolvedSegments();
        if (recovered > 0) {
            ASSERT_EQ(segments.size(), 1u);
            EXPECT_EQ(segments[0].file, name);
            EXPECT_EQ(segments[0].timelineStart, 2.5);
            EXPECT_DOUBLE_EQ(segments[0].duration, recovered);

            // The recovered audio is the microphone's, sample for sample.
            auto reader = AudioFileReader::open(child.folder / name);
            ASSERT_TRUE(reader);
            const auto frames = static_cast<int>(reader.value()->length());
            std::vector<float> samples(static_cast<std::size_t>(frames));
            for (int done = 0; done < frames;) {
                Result<int> got = reader.value()->read(samples.data() + done, frames - done);
                ASSERT_TRUE(got && got.value() > 0);
                done += got.value();
            }
            float worst = 0;
            for (int i = 0; i < frames; ++i)
                worst = std::max(worst, std::abs(samples[i] - takeSignal(i)));
            EXPECT_LT(worst, 1e-6f);
        } else {
            EXPECT_TRUE(segments.empty());
        }
        f.settle();
        EXPECT_FALSE(testing::readProject(child.folder).recordingPending);
    }
}

} // namespace
} // namespace tw
