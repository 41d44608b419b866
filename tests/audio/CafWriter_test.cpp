#include "audio/CafWriter.hpp"

#include "audio/AudioFileReader.hpp"
#include "support/AudioFiles.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <random>
#include <sndfile.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tw {
namespace {

using testfiles::TempDir;

// Sample c of frame f: unique enough that a misplaced frame or channel shows.
float sampleAt(std::int64_t frame, int channel)
{
    return static_cast<float>((frame % 1000) / 1000.0 - 0.5) * (channel == 0 ? 1.0f : -0.5f);
}

std::int64_t sndfileFrames(const std::filesystem::path& file)
{
    SF_INFO info{};
    SNDFILE* handle = sf_open(file.c_str(), SFM_READ, &info);
    if (!handle)
        return -1;
    sf_close(handle);
    return info.frames;
}

TEST(CafWriter, writesFloatCafFromAnyBufferLayoutThatFfmpegAndSndfileReadBack)
{
    TempDir dir;
    EXPECT_FALSE(CafWriter::create(dir / "a.caf", 0, 1).ok());
    EXPECT_FALSE(CafWriter::create(dir / "b.caf", 48000, 0).ok());
    auto missing = CafWriter::create(dir / "no" / "such" / "c.caf", 48000, 1);
    ASSERT_FALSE(missing.ok());
    EXPECT_EQ(missing.error().domain, "Audio");
    EXPECT_NE(missing.error().description.find("c.caf"), std::string::npos);

    const auto file = dir / "take.caf";
    auto created = CafWriter::create(file, 44100, 2);
    ASSERT_TRUE(created.ok()) << created.error().description;
    CafWriter& writer = *created.value();
    // 3000 frames interleaved, then 1000 planar, then 500 through an interleaved list.
    std::vector<float> interleaved, left, right;
    for (int f = 0; f < 4500; ++f)
        for (int c = 0; c < 2; ++c) {
            const bool planar = f >= 3000 && f < 4000;
            (planar ? (c ? right : left) : interleaved).push_back(sampleAt(f, c));
        }
    ASSERT_TRUE(writer.writeInterleaved(interleaved.data(), 3000).ok());
    float* planes[] = {left.data(), right.data()};
    ASSERT_TRUE(writer.write(AudioBufferList::planar(planes, 2), 1000).ok());
    ASSERT_TRUE(writer.write(AudioBufferList::interleaved(&interleaved[6000], 2), 500).ok());
    EXPECT_EQ(writer.framesWritten(), 4500);
    // Readable while still open: the header is kept current.
    EXPECT_EQ(sndfileFrames(file), 4500);
    EXPECT_EQ(testfiles::decodeWithFfmpeg(file).size(), 9000u);

    // A list whose channels do not add up is refused, and so is a write after closing.
    float* one[] = {left.data()};
    EXPECT_FALSE(writer.write(AudioBufferList::planar(one, 1), 10).ok());
    ASSERT_TRUE(writer.close().ok());
    EXPECT_FALSE(writer.writeInterleaved(interleaved.data(), 1).ok());
    std::vector<float> all;
    for (int f = 0; f < 4500; ++f)
        all.insert(all.end(), {sampleAt(f, 0), sampleAt(f, 1)});
    EXPECT_EQ(testfiles::decodeWithFfmpeg(file), all);
}

// A child writes buffers and reports each finished write through a pipe; it is killed at a
// random moment. Every reported buffer must then decode, through FFmpeg and libsndfile.
TEST(CafWriter, everyWrittenBufferSurvivesAKilledWriter)
{
    TempDir dir;
    std::mt19937 random(std::random_device{}());
    constexpr int bufferFrames = 4096;
    constexpr int channels = 2;
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const auto file = dir / ("killed" + std::to_string(round) + ".caf");
        int pipeEnds[2];
        ASSERT_EQ(pipe(pipeEnds), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(pipeEnds[0]);
            auto writer = CafWriter::create(file, 48000, channels);
            if (!writer)
                _exit(3);
            std::vector<float> buffer(bufferFrames * channels);
            for (std::int64_t written = 0;;) {
                for (int f = 0; f < bufferFrames; ++f)
                    for (int c = 0; c < channels; ++c)
                        buffer[f * channels + c] = sampleAt(written + f, c);
                if (!writer.value()->writeInterleaved(buffer.data(), bufferFrames))
                    _exit(4);
                written += bufferFrames;
                if (write(pipeEnds[1], &written, sizeof written) != sizeof written)
                    _exit(5);
            }
        }
        close(pipeEnds[1]);
        // Wait for a random number of reports, then kill without warning.
        const int reportsBeforeKill = std::uniform_int_distribution<int>(0, 60)(random);
        std::int64_t reported = 0;
        for (int i = 0; i < reportsBeforeKill; ++i)
            ASSERT_EQ(read(pipeEnds[0], &reported, sizeof reported),
                      static_cast<ssize_t>(sizeof reported));
        if (std::uniform_int_distribution<int>(0, 1)(random) == 1)
            usleep(std::uniform_int_distribution<int>(0, 3000)(random));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer stopped by itself: " << status;
        // Reports sent before the kill count too.
        std::int64_t later = 0;
        while (read(pipeEnds[0], &later, sizeof later) == static_cast<ssize_t>(sizeof later))
            reported = later;
        close(pipeEnds[0]);

        // Before the first report nothing was promised: a kill between creating the file and
        // writing its header leaves it empty, which recovery treats as an empty take.
        if (reported == 0)
            continue;
        const std::vector<float> decoded = testfiles::decodeWithFfmpeg(file);
        const std::int64_t frames = static_cast<std::int64_t>(decoded.size()) / channels;
        EXPECT_GE(frames, reported);
        for (std::int64_t f = 0; f < frames; ++f)
            for (int c = 0; c < channels; ++c)
                ASSERT_EQ(decoded[f * channels + c], sampleAt(f, c)) << "frame " << f;
        EXPECT_GE(sndfileFrames(file), reported);
        auto reader = AudioFileReader::open(file);
        ASSERT_TRUE(reader.ok()) << reader.error().description;
        EXPECT_GE(reader.value()->length(), reported);
    }
}

} // namespace
} // namespace tw
