#include "studio/ProjectWriter.hpp"

#include "model/ProjectJson.hpp"
#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace tw {
namespace {

using testing::TempFolder;

PodcastProject projectWithClips(int count, float volume)
{
    PodcastProject document;
    document.voiceVolume = volume;
    for (int i = 0; i < count; ++i)
        document.segments.push_back(
            testing::placedClip(2.0 * i, 1, "Media/voice-" + std::to_string(i) + ".caf", {}, i));
    return document;
}

// A failed write keeps the old file and leaves no temporary, a read is whole or the system's
// error, and a writer killed at any moment leaves the old or the new document.
TEST(ProjectWriter, aFailedWriteKeepsTheOldFileAndAKilledOneLeavesTheOldOrTheNewDocument)
{
    TempFolder folder;
    EXPECT_EQ(readProjectFile(folder.path()).error().code, ENOENT);
    EXPECT_EQ(writeProjectFile(folder / "gone", "{}").error().description,
              systemError(ENOENT).description);
    // A folder in place of the file: the final rename cannot replace it.
    std::filesystem::create_directories(folder / "project.json" / "inside");
    Result<void> written = writeProjectFile(folder.path(), "{}");
    ASSERT_FALSE(written.ok());
    EXPECT_EQ(written.error().domain, ErrorDomain::system);
    EXPECT_TRUE(std::filesystem::is_directory(folder / "project.json" / "inside"));
    EXPECT_EQ(testing::countFiles(folder.path(), ".project.json"), 0);

    std::filesystem::remove_all(folder / "project.json");
    const std::string content(200000, 'x'); // more than one read buffer
    ASSERT_TRUE(writeProjectFile(folder.path(), content).ok());
    EXPECT_EQ(readProjectFile(folder.path()).value(), content);

    // Two documents of very different sizes, so a torn write could not pass for either.
    const std::string small = encode(projectWithClips(1, 0.25f)).value();
    const std::string large = encode(projectWithClips(3000, 0.75f)).value();
    ASSERT_TRUE(writeProjectFile(folder.path(), small).ok());

    std::mt19937 random(20261122);
    std::uniform_int_distribution<int> pauseMicroseconds(0, 4000);
    int sawLarge = 0;
    for (int round = 0; round < 200; ++round) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (unsigned n = 0;; ++n)
                (void)writeProjectFile(folder.path(), n % 2 == 0 ? large : small);
        }
        // The kill lands at a random point of the child's loop; the timing is the test's
        // randomness, not something asserted.
        usleep(static_cast<useconds_t>(pauseMicroseconds(random)));
        ASSERT_EQ(kill(child, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);

        Result<std::string> bytes = readProjectFile(folder.path());
        ASSERT_TRUE(bytes.ok()) << bytes.error().description;
        ASSERT_TRUE(bytes.value() == small || bytes.value() == large)
            << "round " << round << ": " << bytes.value().size() << " bytes";
        ASSERT_TRUE(decode(bytes.value()).ok());
        sawLarge += bytes.value() == large;
    }
    // The child really did replace the file while being killed.
    EXPECT_GT(sawLarge, 0);
}

} // namespace
} // namespace tw
