#include "base/Uuid.hpp"

#include <gtest/gtest.h>
#include <regex>
#include <set>

using tw::Uuid;

TEST(Uuid, randomIdentifiersAreDistinctUpperCaseVersion4AndOnlyTheCanonicalFormReadsBack)
{
    const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 2000; ++i) {
        const Uuid id = Uuid::random();
        EXPECT_TRUE(std::regex_match(id.text(), form)) << id.text();
        EXPECT_EQ(Uuid::parse(id.text()), id);
        seen.insert(id.text());
    }
    EXPECT_EQ(seen.size(), 2000u);
    // Either case of the canonical form reads, nothing else does.
    EXPECT_EQ(Uuid::parse("e621e1f8-c36c-495a-93fc-0c247a3e6e5f").value().text(),
              "E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    for (const char* bad :
         {"", "E621E1F8C36C495A93FC0C247A3E6E5F", "E621E1F8-C36C-495A-93FC-0C247A3E6E5",
          "E621E1F8-C36C-495A-93FC-0C247A3E6E5FF", "G621E1F8-C36C-495A-93FC-0C247A3E6E5F",
          "E621E1F8_C36C-495A-93FC-0C247A3E6E5F", "E621E1F-8C36C-495A-93FC-0C247A3E6E5F",
          "{E621E1F8-C36C-495A-93FC-0C247A3E6E5}", "E621E1F8-C36C-495A-93FCx0C247A3E6E5F"})
        EXPECT_FALSE(Uuid::parse(bad)) << bad;
}
