#include "base/ReadableFile.hpp"

#include "support/AudioFiles.hpp"
#include "support/HostileFiles.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

using TempFolder = testfiles::TempDir;

TEST(ReadableFile, onlyRegularFilesAreOpenedAndNothingBlocks)
{
    TempFolder temp;
    const std::string text = "{\"version\":1}";
    testfiles::writeBytes(temp / "plain.json", {text.begin(), text.end()});
    std::filesystem::create_symlink(temp / "plain.json", temp / "link.json");
    for (const char* name : {"plain.json", "link.json"}) {
        Result<ReadableFile> file = ReadableFile::open(temp / name);
        ASSERT_TRUE(file.ok()) << name;
        EXPECT_EQ(file.value().size(), static_cast<std::int64_t>(text.size()));
        EXPECT_EQ(::fcntl(file.value().descriptor(), F_GETFL) & O_NONBLOCK, 0);
        EXPECT_EQ(readWholeFile(temp / name, 100, Error{}).value(), text);
    }

    for (const auto& special : testing::specialFiles()) {
        const auto path = temp / ("special-" + special.kind + ".json");
        testing::makeSpecialFile(path, special.kind);
        testing::FifoWatchdog watchdog({path});
        Result<ReadableFile> file = ReadableFile::open(path);
        Result<std::string> whole = readWholeFile(path, 100, Error{});
        EXPECT_TRUE(watchdog.dismiss()) << special.kind << " blocked";
        ASSERT_FALSE(file.ok()) << special.kind;
        EXPECT_EQ(file.error().description,
                  "No se puede leer «special-" + special.kind + ".json»: " + special.message);
        ASSERT_FALSE(whole.ok());
        EXPECT_EQ(whole.error(), file.error());
    }
    EXPECT_EQ(ReadableFile::open(temp / "gone").error(),
              systemError(ENOENT, "No se puede leer «gone»"));
}

TEST(ReadableFile, aFileBeyondTheLimitIsRefusedWithoutReadingIt)
{
    TempFolder temp;
    const Error tooLarge{"Project", 0, "demasiado grande"};
    const std::string exact(4096, 'x');
    testfiles::writeBytes(temp / "exact", {exact.begin(), exact.end()});
    EXPECT_EQ(readWholeFile(temp / "exact", 4096, tooLarge).value(), exact);
    EXPECT_EQ(readWholeFile(temp / "exact", 4095, tooLarge).error(), tooLarge);
    // A sparse file of 1.5 GB costs nothing on disk and would cost that much memory to read.
    std::filesystem::resize_file(temp / "exact", 1'500'000'000);
    EXPECT_EQ(readWholeFile(temp / "exact", 64 << 20, tooLarge).error(), tooLarge);
}

} // namespace
} // namespace tw
