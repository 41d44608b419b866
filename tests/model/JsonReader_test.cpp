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

std::string stringValue(std::string_view text)
{
    Reader reader(text);
    std::string value(reader.readString());
    reader.finish();
    return value;
}

} // namespace

TEST(JsonReader, walksObjectsAndArraysInOrder)
{
    Reader reader(R"( { "a" : [ 1 , -2.5e3 , true , null ] , "b" : "x" , "c" : {} , "d" : [] } )");
    std::string_view key;
    reader.beginObject();
    ASSERT_TRUE(reader.nextKey(key));
    EXPECT_EQ(key, "a");
    reader.beginArray();
    ASSERT_TRUE(reader.nextElement());
    EXPECT_EQ(reader.readNumber(), "1");
    ASSERT_TRUE(reader.nextElement());
    EXPECT_EQ(reader.readNumber(), "-2.5e3");
    ASSERT_TRUE(reader.nextElement());
    EXPECT_TRUE(reader.readBoolean());
    ASSERT_TRUE(reader.nextElement());
    EXPECT_EQ(reader.peekKind(), ValueKind::null);
    reader.readNull();
    EXPECT_FALSE(reader.nextElement());
    ASSERT_TRUE(reader.nextKey(key));
    EXPECT_EQ(key, "b");
    EXPECT_EQ(reader.readString(), "x");
    ASSERT_TRUE(reader.nextKey(key));
    EXPECT_EQ(key, "c");
    EXPECT_EQ(reader.peekKind(), ValueKind::object);
    reader.skipValue();
    ASSERT_TRUE(reader.nextKey(key));
    EXPECT_EQ(key, "d");
    reader.skipValue();
    EXPECT_FALSE(reader.nextKey(key));
    EXPECT_NO_THROW(reader.finish());
}

TEST(JsonReader, decodesEveryEscape)
{
    EXPECT_EQ(stringValue(R"("Media\/voice.caf")"), "Media/voice.caf");
    EXPECT_EQ(stringValue(R"("\"\\\b\f\n\r\t")"), "\"\\\b\f\n\r\t");
    EXPECT_EQ(stringValue(R"("caf\u00e9 \u00C9")"), "caf\xC3\xA9 \xC3\x89");
    EXPECT_EQ(stringValue(R"("\u20ac")"), "\xE2\x82\xAC");
    EXPECT_EQ(stringValue(R"("\ud83c\udf99")"), "\xF0\x9F\x8E\x99"); // a microphone
    EXPECT_EQ(stringValue(R"("a\u0000b")"), std::string("a\0b", 3));
    EXPECT_EQ(stringValue("\"ma\xC3\xB1"
                          "ana \xF0\x9F\x8E\x99\""),
              "ma\xC3\xB1"
              "ana \xF0\x9F\x8E\x99");
}

TEST(JsonReader, refusesMalformedStrings)
{
    for (std::string_view bad : {
             R"("\ud800")",          // lone high surrogate
             R"("\udc00")",          // lone low surrogate
             R"("\ud800\u0041")",    // high surrogate without its low half
             R"("\x41")",            // unknown escape
             R"("\u12G4")",          // not hexadecimal
             R"("\u12)",             // cut short
             "\"tab\there\"",        // raw control character
             "\"\xC0\x80\"",         // overlong NUL
             "\"\xED\xA0\x80\"",     // encoded surrogate
             "\"\xF5\x80\x80\x80\"", // beyond U+10FFFF
             "\"\xE2\x82\"",         // truncated sequence
             "\"\x80\"",             // stray continuation byte
             "\"open",               // unterminated
         })
        EXPECT_NE(problemIn(bad), "") << bad;
}

TEST(JsonReader, checksTheNumberGrammar)
{
    for (std::string_view good : {"0", "-0", "12", "-1.25", "1e5", "1E-5", "2.5e+10", "0.0"})
        EXPECT_EQ(problemIn(good), "") << good;
    for (std::string_view bad : {"01", "+1", ".5", "1.", "-", "1e", "1e+", "--1", "0x10", "1.5.2",
                                 "NaN", "Infinity", "-Infinity", "1,5"})
        EXPECT_NE(problemIn(bad), "") << bad;
}

TEST(JsonReader, skippedNumbersMustStillFitADouble)
{
    EXPECT_NE(problemIn(R"({"unused":[1,3.402823e538]})"), "");
    EXPECT_NE(problemIn("-1e309"), "");
    EXPECT_EQ(problemIn(R"({"unused":[1e-400,1e308]})"), "");
}

TEST(JsonReader, refusesBrokenStructure)
{
    for (std::string_view bad : {"", "   ", "{", "}", "[1,]", "[,1]", "{,}", R"({"a":1,})",
                                 R"({"a" 1})", R"({a:1})", R"({"a":1 "b":2})", "[1 2]", "tru",
                                 "nul", "falsey", "{} {}", "[] x", "'text'", R"({"a":})"})
        EXPECT_NE(problemIn(bad), "") << bad;
    for (std::string_view good : {"{}", "[]", R"({"a":{"b":[[],{}]}})", " \t\r\n[ ] \n", "null"})
        EXPECT_EQ(problemIn(good), "") << good;
}

TEST(JsonReader, toleratesAByteOrderMark)
{
    EXPECT_EQ(problemIn("\xEF\xBB\xBF{}"), "");
}

TEST(JsonReader, boundsTheNesting)
{
    std::string deepest = std::string(Reader::maxDepth, '[') + std::string(Reader::maxDepth, ']');
    EXPECT_EQ(problemIn(deepest), "");
    std::string tooDeep = "[" + deepest + "]";
    EXPECT_NE(problemIn(tooDeep).find("64"), std::string::npos) << problemIn(tooDeep);
    // Far beyond any stack: refused quickly, never recursed into.
    std::string hostile(1'000'000, '[');
    EXPECT_NE(problemIn(hostile), "");
    std::string hostileObjects;
    for (int i = 0; i < 100'000; ++i)
        hostileObjects += R"({"a":)";
    EXPECT_NE(problemIn(hostileObjects), "");
}

TEST(JsonReader, errorsSayWhere)
{
    std::string problem = problemIn("{\n  \"a\": 1,\n  \"b\": ?\n}");
    EXPECT_NE(problem.find("línea 3"), std::string::npos) << problem;
    EXPECT_NE(problem.find("columna 8"), std::string::npos) << problem;
}

} // namespace tw::json
