// The main of each folder's test program. `--unit=<Unit>` runs only the tests written in
// <Unit>_test.cpp (and still honours --gtest_filter), so that ctest runs a folder's units as
// separate processes with their own labels while the folder links one program.
#include "support/BuildFolders.hpp"

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

// The full names of the tests written, or not written, in a unit's file, as gtest filters.
struct UnitPatterns {
    std::string inside;
    std::string outside;
};

UnitPatterns unitPatterns(const std::string& unit)
{
    UnitPatterns found;
    const testing::UnitTest& all = *testing::UnitTest::GetInstance();
    for (int s = 0; s < all.total_test_suite_count(); ++s) {
        const testing::TestSuite& suite = *all.GetTestSuite(s);
        for (int t = 0; t < suite.total_test_count(); ++t) {
            const testing::TestInfo& test = *suite.GetTestInfo(t);
            std::string& side =
                definedIn(test.file(), unit + "_test.cpp") ? found.inside : found.outside;
            // Appended piece by piece: GCC 12 at -O3 takes a prepended separator for an overlap.
            if (!side.empty())
                side += ':';
            side.append(suite.name()).append(".").append(test.name());
        }
    }
    return found;
}

} // namespace

const char* const tw::testing::sourceFolder = TW_SOURCE_DIR;
const char* const tw::testing::buildFolder = TW_BINARY_DIR;

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    constexpr std::string_view option = "--unit=";
    for (int i = 1; i < argc; ++i) {
        if (!std::string_view(argv[i]).starts_with(option))
            continue;
        const std::string unit(argv[i] + option.size());
        const UnitPatterns patterns = unitPatterns(unit);
        // A unit that names no test is a mistake in the build, not a pass.
        if (patterns.inside.empty()) {
            std::cerr << "no test is written in " << unit << "_test.cpp\n";
            return 1;
        }
        // A filter given as well still narrows: the other units' tests join its negative part.
        const std::string given = GTEST_FLAG_GET(filter);
        if (given == "*")
            GTEST_FLAG_SET(filter, patterns.inside);
        else if (!patterns.outside.empty())
            GTEST_FLAG_SET(filter, given + (given.find('-') == std::string::npos ? "-" : ":") +
                                       patterns.outside);
    }
    return RUN_ALL_TESTS();
}
