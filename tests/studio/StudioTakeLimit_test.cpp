// A take cut short by the operating system: a child of this test records under a small file-size
// limit (RLIMIT_FSIZE, SIGXFSZ ignored), so the take's writes end in a real EFBIG; the clock must
// stop the take and keep what the file holds.
#include "studio/Studio.hpp"

#include "audio/AudioFileReader.hpp"
#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace tw {
namespace {

constexpr double rate = 48000.0;
// Not a whole number of the input's buffers past the header, so the last write is cut mid-way.
constexpr rlim_t fileSizeLimit = 200 * 1000 + 6;
constexpr const char* folderVariable = "TAPEWRIGHT_LIMITED_CHILD";
constexpr const char* reportVariable = "TAPEWRIGHT_LIMITED_REPORT_FD";

float takeSignal(std::int64_t frame)
{
    return 0.3f * static_cast<float>(std::sin(2 * M_PI * 523.25 * frame / rate));
}

void report(int fd, const std::string& line)
{
    const std::string text = line + "\n";
    (void)!::write(fd, text.data(), text.size());
}

// Passes writes through and keeps the description of the first one that fails.
class FailureKeepingWriter final : public CafWriter {
public:
    FailureKeepingWriter(std::unique_ptr<CafWriter> inner, std::string& failure,
                         std::int64_t& framesAtClose, std::mutex& lock)
        : inner_(std::move(inner))
        , failure_(failure)
        , framesAtClose_(framesAtClose)
        , lock_(lock)
    {
    }
    double sampleRate() const override { return inner_->sampleRate(); }
    int channels() const override { return inner_->channels(); }
    Result<void> write(const AudioBufferList& list, int frames) override
    {
        return kept(inner_->write(list, frames));
    }
    Result<void> writeInterleaved(const float* samples, int frames) override
    {
        return kept(inner_->writeInterleaved(samples, frames));
    }
    std::int64_t framesWritten() const override { return inner_->framesWritten(); }
    Result<void> close() override
    {
        std::lock_guard guard(lock_);
        framesAtClose_ = inner_->framesWritten();
        return inner_->close();
    }

private:
    Result<void> kept(Result<void> result)
    {
        if (!result) {
            std::lock_guard guard(lock_);
            if (failure_.empty())
                failure_ = result.error().description;
        }
        return result;
    }
    std::unique_ptr<CafWriter> inner_;
    std::string& failure_;
    std::int64_t& framesAtClose_;
    std::mutex& lock_;
};

// The child: limits its file size, records a tone at real-time pace and runs the (virtual) clock
// until the take stops by itself. Exit status 0 when the take stopped and was finished.
int recordUnderLimit(const std::filesystem::path& folder, int fd)
{
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{fileSizeLimit, fileSizeLimit};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0)
        return 2;

    // Declared before the studio, whose take writer refers to them.
    std::mutex lock;
    std::string writeFailure;
    std::int64_t framesAtClose = -1;
    testing::StudioFixture f;
    f.inputOptions.pieceFrames = 2400;
    f.inputOptions.pace = SimulatedAudioInput::Pace::realTime;
    f.inputOptions.length = -1;
    f.inputSignal = [](std::int64_t frame, int) { return takeSignal(frame); };
    f.writerFactory = [&](const std::filesystem::path& path, double sampleRate,
                          int channels) -> Result<std::unique_ptr<CafWriter>> {
        auto inner = CafWriter::create(path, sampleRate, channels);
        if (!inner)
            return inner.error();
        return std::unique_ptr<CafWriter>(std::make_unique<FailureKeepingWriter>(
            std::move(inner).value(), writeFailure, framesAtClose, lock));
    };
    f.host.newProjectAnswers.push_back(folder);
    if (!f.studio.newProject())
        return 3;
    f.studio.record();
    f.scheduler.advance(3.0); // the countdown
    if (!f.studio.recording())
        return 4;
    // Ten seconds of wall time is far more than the one second the limit allows.
    if (!f.waitUntil([&] {
            f.scheduler.advance(0.1);
            return !f.studio.recording();
        }))
        return 5;
    if (!f.waitIdle())
        return 6;
    f.settle();
    {
        std::lock_guard guard(lock);
        report(fd, "failure " + writeFailure);
        report(fd, "writerFrames " + std::to_string(framesAtClose));
    }
    report(fd, "message " + f.studio.message().value_or("(none)"));
    report(fd, "liveDuration " + std::to_string(f.studio.liveDuration));
    return 0;
}

// The re-executed test binary becomes the limited child before any test runs.
const bool isLimitedChild = [] {
    const char* folder = std::getenv(folderVariable);
    const char* fd = std::getenv(reportVariable);
    if (!folder || !fd)
        return false;
    std::_Exit(recordUnderLimit(folder, std::atoi(fd)));
}();

struct ChildResult {
    int status = -1;
    std::map<std::string, std::string> lines; // first word → the rest
};

ChildResult runChild(const std::filesystem::path& folder)
{
    ChildResult result;
    int fds[2];
    if (::pipe(fds) != 0)
        return result;
    ::fcntl(fds[0], F_SETFD, FD_CLOEXEC);
    std::vector<std::string> variables;
    for (char** entry = environ; *entry; ++entry)
        variables.emplace_back(*entry);
    variables.push_back(std::string(folderVariable) + "=" + folder.string());
    variables.push_back(std::string(reportVariable) + "=" + std::to_string(fds[1]));
    std::vector<char*> envp;
    for (std::string& variable : variables)
        envp.push_back(variable.data());
    envp.push_back(nullptr);
    char program[] = "/proc/self/exe";
    char* argv[] = {program, nullptr};

    const pid_t pid = ::fork();
    if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::execve(program, argv, envp.data());
        ::_exit(127);
    }
    ::close(fds[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t got; (got = ::read(fds[0], buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(got));
    ::close(fds[0]);
    ::waitpid(pid, &result.status, 0);
    for (std::size_t begin = 0, end; (end = text.find('\n', begin)) != std::string::npos;
         begin = end + 1) {
        const std::string line = text.substr(begin, end - begin);
        const std::size_t space = line.find(' ');
        result.lines[line.substr(0, space)] =
            space == std::string::npos ? "" : line.substr(space + 1);
    }
    return result;
}

TEST(StudioTakeLimit, aTakeThatHitsTheFileSizeLimitStopsAndKeepsEveryFrameTheFileHolds)
{
    testing::TempFolder temp;
    const auto folder = temp / "Limitado.podcastproject";
    const ChildResult child = runChild(folder);
    ASSERT_TRUE(WIFEXITED(child.status)) << "status " << child.status;
    ASSERT_EQ(WEXITSTATUS(child.status), 0);

    // The writer met the kernel's EFBIG, and the clock said so with the writer's own words, in
    // Spanish.
    const std::string failure = child.lines.at("failure");
    EXPECT_NE(failure.find("»: El archivo es demasiado grande."), std::string::npos) << failure;
    EXPECT_EQ(child.lines.at("message"), "La grabación se detuvo: " + failure);
    EXPECT_EQ(std::stod(child.lines.at("liveDuration")), 0.0);

    const PodcastProject saved = testing::readProject(folder);
    EXPECT_FALSE(saved.recordingPending);
    EXPECT_FALSE(saved.pendingVoiceFile);
    EXPECT_FALSE(saved.pendingStart);
    const auto clips = saved.resolvedSegments();
    ASSERT_EQ(clips.size(), 1u);
    EXPECT_EQ(clips[0].timelineStart, 0.0);

    // The clip is exactly as long as the audio the file holds, and the file stays within the limit.
    ASSERT_TRUE(clips[0].file);
    const auto file = folder / *clips[0].file;
    EXPECT_LE(std::filesystem::file_size(file), fileSizeLimit);
    auto reader = AudioFileReader::open(file);
    ASSERT_TRUE(reader) << reader.error().description;
    const std::int64_t frames = reader.value()->length();
    EXPECT_GT(frames, 0);
    // The writer knows every frame it put in the file, a partly written last buffer included, and
    // they are the take's first frames in order: nothing written after the failure overlays them.
    EXPECT_EQ(std::stoll(child.lines.at("writerFrames")), frames);
    std::vector<float> samples(static_cast<std::size_t>(frames));
    ASSERT_TRUE(reader.value()->read(samples.data(), static_cast<int>(frames)));
    for (std::int64_t frame = 0; frame < frames; ++frame)
        ASSERT_EQ(samples[static_cast<std::size_t>(frame)], takeSignal(frame)) << frame;
    EXPECT_GT(clips[0].duration, 0.0);
    EXPECT_DOUBLE_EQ(clips[0].duration, static_cast<double>(frames) / rate)
        << "file frames " << frames;
}

} // namespace
} // namespace tw
