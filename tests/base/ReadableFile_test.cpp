#include "base/ReadableFile.hpp"

#include "support/AudioFiles.hpp"

#include <fcntl.h>

#include <gtest/gtest.h>

using namespace tw;

// Special files are refused where they are read (AudioFileReader, StudioProject tests); here
// what is let through and the size limit's edges.
TEST(ReadableFile, aLinkToARegularFileOpensAndTheLimitIsExact)
{
    testfiles::TempDir temp;
    const std::string text(4096, 'x');
    testfiles::writeBytes(temp / "plain", {text.begin(), text.end()});
    std::filesystem::create_symlink(temp / "plain", temp / "link");
    Result<ReadableFile> file = ReadableFile::open(temp / "link");
    ASSERT_TRUE(file.ok());
    EXPECT_EQ(::fcntl(file.value().descriptor(), F_GETFL) & O_NONBLOCK, 0) << "reads may wait";

    const Error tooLarge{"Project", 0, "demasiado grande"};
    EXPECT_EQ(readWholeFile(temp / "link", 4096, tooLarge).value(), text);
    EXPECT_EQ(readWholeFile(temp / "link", 4095, tooLarge).error(), tooLarge);
}
