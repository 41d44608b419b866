#include "studio/ProjectLock.hpp"

#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tw {
namespace {

using testing::StudioFixture;
using testing::TempFolder;

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

// A killed owner's lock is taken over and another machine's is respected; a project open in one
// studio is refused by another until the first lets it go.
TEST(ProjectLock, aKilledOwnersLockIsTakenOverAndAnOpenProjectIsRefusedUntilItIsLetGo)
{
    TempFolder temp;
    const auto folder = temp / "p";
    testing::writeProject(folder, PodcastProject{});
    struct stat place {};
    ASSERT_EQ(::stat(folder.c_str(), &place), 0);
    const auto lockText = [&] {
        const auto bytes = testfiles::readBytes(ProjectLock::fileIn(folder));
        return std::string(bytes.begin(), bytes.end());
    };
    const auto owner = [&](long pid, const std::string& host, auto inode) {
        return std::to_string(pid) + "\n" + host + "\n" + std::to_string(inode) + "\n";
    };
    // A process that takes the lock and ends without letting it go, as a killed studio does.
    const pid_t child = ::fork();
    if (child == 0) {
        auto lock = ProjectLock::acquire(folder);
        ::_exit(lock && lock.value().release() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(lockText(), owner(child, hostName(), place.st_ino));
    auto taken = ProjectLock::acquire(folder);
    ASSERT_TRUE(taken.ok());
    EXPECT_EQ(lockText(), owner(::getpid(), hostName(), place.st_ino));
    taken.value().reset();

    // Another machine's lock of this folder holds; one copied along from another folder does not.
    const std::string other = owner(12345, "estudio-de-ana", place.st_ino);
    testfiles::writeBytes(ProjectLock::fileIn(folder), {other.begin(), other.end()});
    EXPECT_EQ(ProjectLock::acquire(folder).error(),
              (Error{"Project", 4, openElsewhere(12345, "estudio-de-ana")}));
    const std::string copied = owner(12345, "estudio-de-ana", place.st_ino + 1);
    testfiles::writeBytes(ProjectLock::fileIn(folder), {copied.begin(), copied.end()});
    EXPECT_TRUE(ProjectLock::acquire(folder).ok());

    // A project open in one studio is refused by another until the first lets it go.
    for (const char* name : {"a", "b"})
        testing::writeProject(temp / name, PodcastProject{});
    std::filesystem::create_directory_symlink(temp / "a", temp / "alias");
    auto first = std::make_unique<StudioFixture>();
    ASSERT_TRUE(first->openAndWait(temp / "a"));
    ASSERT_TRUE(first->openAndWait(temp / "alias")) << "its own project, under any name";

    StudioFixture second;
    for (const char* name : {"a", "alias"}) {
        second.studio.openProject(temp / name);
        EXPECT_EQ(second.studio.message(), openElsewhere(::getpid(), hostName()));
        EXPECT_FALSE(second.studio.folder());
    }
    // Opening another project lets the first go; ending the studio lets the other go.
    ASSERT_TRUE(first->openAndWait(temp / "b"));
    ASSERT_TRUE(second.openAndWait(temp / "a"));
    first.reset();
    ASSERT_TRUE(second.openAndWait(temp / "b"));
    EXPECT_EQ(second.studio.folder(), temp / "b");
    EXPECT_FALSE(std::filesystem::exists(ProjectLock::fileIn(temp / "a")));
}

} // namespace
} // namespace tw
