#include "model/JsonWriter.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace tw::json {

// Numbers in the shortest text of their type, only the escapes JSON requires, and nothing at all
// for what JSON cannot carry (the caller names the key instead).
TEST(JsonWriter, writesShortestNumbersAndMinimalEscapesAndNothingForWhatJsonCannotCarry)
{
    std::string out;
    Writer writer(out);
    writer.beginArray();
    EXPECT_FALSE(writer.number(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_FALSE(writer.number(-std::numeric_limits<double>::infinity()));
    EXPECT_FALSE(writer.number(std::numeric_limits<float>::infinity()));
    for (std::string_view bad : {"a\xFF", "\xC0\x80", "ok \xED\xA0\x80", "\xE2\x82", "x\x80y"})
        EXPECT_FALSE(writer.string(bad)) << bad;
    for (double value : {1.0, 0.35, -0.0, 1e21, 0.1 + 0.2, 5e-324})
        ASSERT_TRUE(writer.number(value));
    for (float value : {0.35f, 1.0f / 3.0f, 1e-45f})
        ASSERT_TRUE(writer.number(value));
    using namespace std::string_literals;
    std::string controls;
    for (char c = 1; c < 0x20; ++c)
        controls.push_back(c);
    ASSERT_TRUE(writer.string("a/b \"q\" \\ \xC3\xA9 \xF0\x9F\x8E\x99 \0 \x7F"s + controls));
    writer.beginObject();
    writer.key("c");
    writer.uuid(*Uuid::parse("0f8fad5b-d9cb-469f-a165-70867728950e"));
    writer.key("d");
    writer.integer(-3);
    writer.endObject();
    writer.endArray();
    EXPECT_EQ(out, "[1,0.35,-0,1e+21,0.30000000000000004,5e-324,0.35,0.33333334,1e-45,"
                   "\"a/b \\\"q\\\" \\\\ \xC3\xA9 \xF0\x9F\x8E\x99 \\u0000 \x7F"
                   "\\u0001\\u0002\\u0003\\u0004\\u0005\\u0006\\u0007\\b\\t\\n\\u000b\\f\\r"
                   "\\u000e\\u000f\\u0010\\u0011\\u0012\\u0013\\u0014\\u0015\\u0016\\u0017"
                   "\\u0018\\u0019\\u001a\\u001b\\u001c\\u001d\\u001e\\u001f\","
                   "{\"c\":\"0F8FAD5B-D9CB-469F-A165-70867728950E\",\"d\":-3}]"s);
}

} // namespace tw::json
