// A strict JSON pull reader for project.json: the caller walks the values it expects while the
// reader enforces the full grammar (UTF-8 text, no trailing garbage) and bounds the nesting, so a
// hostile file can neither exhaust the stack nor build a large tree. No tree is built at all,
// which keeps decoding a long timeline fast.
#pragma once

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tw::json {

// A violation of the JSON grammar or of the reader's limits; what() is a readable sentence.
class SyntaxError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum class ValueKind { object, array, string, number, boolean, null };

class Reader {
public:
    // Deep enough for any project document, shallow enough to recurse safely while skipping.
    static constexpr int maxDepth = 64;

    explicit Reader(std::string_view text);

    // The kind of the next value; throws when no value can start here.
    ValueKind peekKind();

    // A string value; the view stays valid until the next string or key is read.
    std::string_view readString();
    // The text of a number value, checked against the JSON number grammar.
    std::string_view readNumber();
    bool readBoolean();
    void readNull();
    // Reads and discards any value (an unknown key's), checking its syntax and that its numbers
    // fit a double.
    void skipValue();

    // Objects: beginObject(), then nextKey() until it returns false; after each key the caller
    // reads exactly one value. The key view is valid until the next string is read.
    void beginObject();
    bool nextKey(std::string_view& key);
    // Arrays: beginArray(), then nextElement() until it returns false, reading one value each time.
    void beginArray();
    bool nextElement();

    // Only whitespace may follow the top-level value.
    void finish();

    [[noreturn]] void fail(std::string_view what) const;

private:
    void skipWhitespace()
    {
        // Compact files have no whitespace at all; only look further when there is some.
        if (pos_ < text_.size() && static_cast<unsigned char>(text_[pos_]) > ' ')
            return;
        skipWhitespaceSlow();
    }
    void skipWhitespaceSlow();
    void enter();
    bool another(char close, std::string_view expected);
    void expectLiteral(std::string_view literal);
    std::string_view readStringSlow(std::size_t contentStart);
    void appendEscape();
    unsigned readHex4();

    std::string_view text_;
    std::size_t pos_ = 0;
    int depth_ = 0;
    std::array<bool, maxDepth + 1> firstMember_{};
    std::string scratch_;
};

} // namespace tw::json
