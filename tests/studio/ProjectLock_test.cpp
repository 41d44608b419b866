#include "studio/ProjectLock.hpp"

#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace tw {
namespace {

using testing::StudioFixture;
using testing::TempFolder;
using testing::writeProject;

std::string openElsewhere(long pid, const std::string& host)
{
    return "El proyecto ya está abierto en otra ventana de Bobinet 2 (proceso " +
           std::to_string(pid) + " en «" + host + "»). Ciérralo allí para abrirlo aquí.";
}

std::string hostName()
{
    char name[256] = {};
    ::gethostname(name, sizeof name - 1);
    return name;
}

TEST(ProjectLock, aProjectOpenInOneStudioIsRefusedByAnotherUntilTheFirstLetsItGo)
{
    TempFolder temp;
    for (const char* name : {"a", "b"})
        writeProject(temp / name, PodcastProject{});
    std::filesystem::create_directory_symlink(temp / "a", temp / "alias");
    auto first = std::make_unique<StudioFixture>();
    ASSERT_TRUE(first->openAndWait(temp / "a"));

    StudioFixture second;
    second.studio.openProject(temp / "a");
    EXPECT_EQ(second.studio.message(), openElsewhere(::getpid(), hostName()));
    EXPECT_FALSE(second.studio.folder());
    EXPECT_TRUE(second.studio.showWelcome());
    second.studio.openProject(temp / "alias"); // the same folder under another name
    EXPECT_FALSE(second.studio.folder());

    // The first studio opens its own project again, under any name, as often as it likes.
    ASSERT_TRUE(first->openAndWait(temp / "alias"));
    EXPECT_FALSE(first->studio.message());
    // Opening another project lets the first one go; ending the studio lets the second go.
    ASSERT_TRUE(first->openAndWait(temp / "b"));
    ASSERT_TRUE(second.openAndWait(temp / "a"));
    EXPECT_EQ(second.studio.folder(), temp / "a");
    second.studio.openProject(temp / "b");
    EXPECT_EQ(second.studio.folder(), temp / "a");
    first.reset();
    EXPECT_FALSE(std::filesystem::exists(ProjectLock::fileIn(temp / "b")));
    ASSERT_TRUE(second.openAndWait(temp / "b"));
    EXPECT_EQ(second.studio.folder(), temp / "b");
    EXPECT_FALSE(std::filesystem::exists(ProjectLock::fileIn(temp / "a")));
}

TEST(ProjectLock, aLockLeftByAKilledProcessIsTakenOverAndAnotherMachinesIsRespected)
{
    TempFolder temp;
    const auto folder = temp / "p";
    writeProject(folder, PodcastProject{});
    // A process that takes the lock and ends without letting it go, as a killed studio does.
    const pid_t child = ::fork();
    if (child == 0) {
        auto lock = ProjectLock::acquire(folder);
        ::_exit(lock && lock.value().release() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(WEXITSTATUS(status), 0);
    struct stat place {};
    ASSERT_EQ(::stat(folder.c_str(), &place), 0);
    const std::string inode = std::to_string(place.st_ino);
    auto lockText = [&] {
        const auto bytes = testfiles::readBytes(ProjectLock::fileIn(folder));
        return std::string(bytes.begin(), bytes.end());
    };
    ASSERT_EQ(lockText(), std::to_string(child) + "\n" + hostName() + "\n" + inode + "\n");

    auto taken = ProjectLock::acquire(folder);
    ASSERT_TRUE(taken.ok());
    EXPECT_EQ(lockText(), std::to_string(::getpid()) + "\n" + hostName() + "\n" + inode + "\n");
    EXPECT_FALSE(ProjectLock::acquire(folder).ok()); // held by this process now
    taken.value().reset();

    // Another machine's lock of this folder is respected; one copied along from another folder
    // locks nothing.
    for (const std::string& folderInode : {inode, std::string("1")}) {
        const std::string other = "12345\nestudio-de-ana\n" + folderInode + "\n";
        testfiles::writeBytes(ProjectLock::fileIn(folder), {other.begin(), other.end()});
        auto attempt = ProjectLock::acquire(folder);
        if (folderInode == inode)
            EXPECT_EQ(attempt.error(),
                      (Error{"Project", 4, openElsewhere(12345, "estudio-de-ana")}));
        else
            EXPECT_TRUE(attempt.ok());
    }
}

} // namespace
} // namespace tw
