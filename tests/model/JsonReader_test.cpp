#include "model/JsonReader.hpp"

#include <gtest/gtest.h>

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

} // namespace tw::json
