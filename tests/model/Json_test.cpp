#include "model/JsonNumbers.hpp"
#include "model/JsonReader.hpp"
#include "model/JsonWriter.hpp"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <string>

namespace tw::json {

namespace {

// Skips one whole document; returns the error text, or "" when it is valid JSON.
std::string problemIn(std::string_view text)
{
    try {
        Reader reader(text);
        reader.skipValue();
        reader.finish();
        return "";
    } catch (const SyntaxError& error) {
        return error.what();
    }
}

} // namespace

TEST(JsonReader, decodesEveryEscapeToUtf8)
{
    const std::pair<std::string_view, std::string> cases[] = {
        {R"("Media\/voice.caf")", "Media/voice.caf"},
        {R"("\"\\\b\f\n\r\t")", "\"\\\b\f\n\r\t"},
        {R"("caf\u00e9 \u00C9 \u20ac")", "caf\xC3\xA9 \xC3\x89 \xE2\x82\xAC"},
        {R"("\ud83c\udf99")", "\xF0\x9F\x8E\x99"}, // a microphone
        {R"("a\u0000b")", std::string("a\0b", 3)},
    };
    for (const auto& [text, value] : cases) {
        Reader reader(text);
        EXPECT_EQ(reader.readString(), value) << text;
    }
}

TEST(JsonReader, acceptsExactlyTheJsonGrammar)
{
    for (std::string_view good : {"0", "-0", "12", "-1.25", "1e5", "1E-5", "2.5e+10", "0.0", "{}",
                                  "[]", "null", R"({"a":{"b":[[],{}]}})", " \t\r\n[ ] \n",
                                  "\xEF\xBB\xBF{}", R"({"unused":[1e-400,1e308]})"})
        EXPECT_EQ(problemIn(good), "") << good;
    for (std::string_view bad :
         {// numbers, and numbers too large for a double even where they are not used
          "01", "+1", ".5", "1.", "-", "1e", "1e+", "--1", "0x10", "1.5.2", "NaN", "Infinity",
          "1,5", "-1e309", R"({"unused":[1,3.402823e538]})",
          // strings
          R"("\ud800")", R"("\udc00")", R"("\ud800\u0041")", R"("\x41")", R"("\u12G4")", R"("\u12)",
          "\"tab\there\"", "\"\xC0\x80\"", "\"\xED\xA0\x80\"", "\"\xF5\x80\x80\x80\"",
          "\"\xE2\x82\"", "\"\x80\"", "\"open",
          // structure
          "", "   ", "{", "}", "[1,]", "[,1]", "{,}", R"({"a":1,})", R"({"a" 1})", R"({a:1})",
          R"({"a":1 "b":2})", "[1 2]", "tru", "nul", "falsey", "{} {}", "[] x", "'text'",
          R"({"a":})"})
        EXPECT_NE(problemIn(bad), "") << bad;
}

TEST(JsonReader, boundsTheNestingAndSaysWhereTheTextIsWrong)
{
    std::string deepest = std::string(Reader::maxDepth, '[') + std::string(Reader::maxDepth, ']');
    EXPECT_EQ(problemIn(deepest), "");
    EXPECT_NE(problemIn("[" + deepest + "]").find("64"), std::string::npos);
    // Far beyond any stack: refused quickly, never recursed into.
    EXPECT_NE(problemIn(std::string(1'000'000, '[')), "");
    std::string hostileObjects;
    for (int i = 0; i < 100'000; ++i)
        hostileObjects += R"({"a":)";
    EXPECT_NE(problemIn(hostileObjects), "");

    std::string problem = problemIn("{\n  \"a\": 1,\n  \"b\": ?\n}");
    EXPECT_NE(problem.find("línea 3, columna 8"), std::string::npos) << problem;
}

TEST(JsonNumbers, readsEveryJsonFormFlushesWhatIsTooSmallAndRefusesWhatDoesNotFit)
{
    const std::pair<const char*, std::optional<double>> doubles[] = {
        {"-12", -12.0},
        {"0.35", 0.35},
        {"1E2", 100.0},
        {"25e-1", 2.5},
        {"12345678901234567890", 12345678901234567890.0},
        {"1.7976931348623157e308", std::numeric_limits<double>::max()},
        {"5e-324", std::numeric_limits<double>::denorm_min()},
        {"0.0000000000000000000000001e-300", 0.0},
        {"123456e-999", 0.0}, // a long integer part with a very negative exponent is small
        {"1e999", std::nullopt},
        {"1000e306", std::nullopt},
    };
    for (const auto& [text, value] : doubles)
        EXPECT_EQ(doubleValue(text), value) << text;
    EXPECT_TRUE(std::signbit(doubleValue("-1e-400").value()));

    const std::pair<const char*, std::optional<float>> floats[] = {
        {"0.33333334", 1.0f / 3.0f},
        {"3.4028235e38", std::numeric_limits<float>::max()},
        {"1e-45", std::numeric_limits<float>::denorm_min()},
        {"1e-60", 0.0f},
        {"1e39", std::nullopt},
        {"-3.5e38", std::nullopt},
    };
    for (const auto& [text, value] : floats)
        EXPECT_EQ(floatValue(text), value) << text;

    const std::pair<const char*, std::optional<long long>> integers[] = {
        {"-7", -7},
        {"1.0", 1},
        {"2E1", 20},
        {"1.5", std::nullopt},
        {"1e19", std::nullopt},
        {"99999999999999999999", std::nullopt},
    };
    for (const auto& [text, value] : integers)
        EXPECT_EQ(integerValue(text), value) << text;
}

TEST(JsonNumbers, ignoreTheProcessLocale)
{
    // The desktop session may ask for a locale whose decimal separator is a comma.
    const char* previous = std::setlocale(LC_NUMERIC, nullptr);
    std::string saved = previous ? previous : "C";
    bool switched = std::setlocale(LC_NUMERIC, "es_ES.UTF-8") != nullptr ||
                    std::setlocale(LC_NUMERIC, "de_DE.UTF-8") != nullptr;
    EXPECT_EQ(doubleValue("0.35"), 0.35);
    EXPECT_EQ(floatValue("1.5"), 1.5f);
    std::setlocale(LC_NUMERIC, saved.c_str());
    if (!switched)
        GTEST_SKIP() << "no comma-decimal locale installed";
}

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
