// The main of each folder's test program. `--unit=<Unit>` runs only the tests written in
// <Unit>_test.cpp (and still honours --gtest_filter), so that ctest runs a folder's units as
// separate processes with their own labels while the folder links one program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <string>
#include <string_view>

namespace {

bool definedIn(std::string_view file, std::string_view wanted)
{
    return file == wanted || (file.size() > wanted.size() && file.ends_with(wanted) &&
                              file[file.size() - wanted.size() - 1] == '/');
}

struct UnitTests {
    int inside = 0;
    std::string outside; // the other tests, as gtest filter patterns
};

UnitTests unitTests(const std::string& unit)
{
    const std::string file = unit + "_test.cpp";
    UnitTests found;
    const testing::UnitTest& all = *testing::UnitTest::GetInstance();
    for (int s = 0; s < all.total_test_suite_count(); ++s) {
        const testing::TestSuite& suite = *all.GetTestSuite(s);
        for (int t = 0; t < suite.total_test_count(); ++t) {
            const testing::TestInfo& test = *suite.GetTestInfo(t);
            if (definedIn(test.file(), file)) {
                ++found.inside;
                continue;
            }
            if (!found.outside.empty())
                found.outside += ':';
            found.outside += std::string(suite.name()) + "." + test.name();
        }
    }
    return found;
}

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    constexpr std::string_view option = "--unit=";
    for (int i = 1; i < argc; ++i) {
        if (!std::string_view(argv[i]).starts_with(option))
            continue;
        const std::string unit(argv[i] + option.size());
        const UnitTests tests = unitTests(unit);
        // A unit that names no test is a mistake in the build, not a pass.
        if (tests.inside == 0) {
            std::cerr << "no test is written in " << unit << "_test.cpp\n";
            return 1;
        }
        // The other units' tests join the negative patterns, so a --gtest_filter still narrows.
        if (!tests.outside.empty()) {
            const std::string given = GTEST_FLAG_GET(filter);
            GTEST_FLAG_SET(filter, given + (given.find('-') == std::string::npos ? "-" : ":") +
                                       tests.outside);
        }
    }
    return RUN_ALL_TESTS();
}
