#include "base/Uuid.hpp"

#include <gtest/gtest.h>
#include <regex>
#include <set>

using tw::Uuid;

TEST(Uuid, randomIdentifiersAreUpperCaseVersion4AndDistinct)
{
    const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 2000; ++i) {
        std::string text = Uuid::random().text();
        EXPECT_TRUE(std::regex_match(text, form)) << text;
        seen.insert(text);
    }
    EXPECT_EQ(seen.size(), 2000u);
}

TEST(Uuid, parseReadsEitherCaseAndWritesUpperCase)
{
    auto lower = Uuid::parse("e621e1f8-c36c-495a-93fc-0c247a3e6e5f");
    ASSERT_TRUE(lower);
    EXPECT_EQ(lower->text(), "E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    auto upper = Uuid::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    EXPECT_EQ(lower, upper);
    Uuid fresh = Uuid::random();
    EXPECT_EQ(Uuid::parse(fresh.text()), fresh);
}

TEST(Uuid, parseRefusesAnythingButTheCanonicalForm)
{
    for (const char* bad :
         {"", "E621E1F8C36C495A93FC0C247A3E6E5F", "E621E1F8-C36C-495A-93FC-0C247A3E6E5",
          "E621E1F8-C36C-495A-93FC-0C247A3E6E5FF", "G621E1F8-C36C-495A-93FC-0C247A3E6E5F",
          "E621E1F8_C36C-495A-93FC-0C247A3E6E5F", "E621E1F-8C36C-495A-93FC-0C247A3E6E5F",
          "{E621E1F8-C36C-495A-93FC-0C247A3E6E5}"})
        EXPECT_FALSE(Uuid::parse(bad)) << bad;
}
