#include "model/JsonReader.hpp"

#include "model/JsonNumbers.hpp"
#include "model/Utf8.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace tw::json {

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

void appendUtf8(std::string& out, unsigned codePoint)
{
    if (codePoint < 0x80) {
        out.push_back(static_cast<char>(codePoint));
    } else if (codePoint < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (codePoint >> 6)));
        out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    } else if (codePoint < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (codePoint >> 12)));
        out.push_back(static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (codePoint >> 18)));
        out.push_back(static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    }
}

constexpr std::uint64_t everyByte(unsigned char value)
{
    return 0x0101010101010101ull * value;
}

// True when one of the eight bytes of `word` is zero (the classic bit trick).
constexpr bool hasZeroByte(std::uint64_t word)
{
    return ((word - everyByte(0x01)) & ~word & everyByte(0x80)) != 0;
}

// The end of a run of printable ASCII without quote or backslash, eight bytes at a time: string
// values are most of a project file (identifiers and paths).
std::size_t plainRunEnd(std::string_view text, std::size_t at)
{
    while (at + 8 <= text.size()) {
        std::uint64_t word;
        std::memcpy(&word, text.data() + at, sizeof word);
        bool special = (word & everyByte(0x80)) != 0 ||
                       ((word - everyByte(0x20)) & everyByte(0x80)) != 0 ||
                       hasZeroByte(word ^ everyByte('"')) || hasZeroByte(word ^ everyByte('\\'));
        if (special)
            break;
        at += 8;
    }
    while (at < text.size()) {
        unsigned char c = static_cast<unsigned char>(text[at]);
        if (c < 0x20 || c >= 0x80 || c == '"' || c == '\\')
            break;
        ++at;
    }
    return at;
}

} // namespace

Reader::Reader(std::string_view text) : text_(text)
{
    // A byte order mark is tolerated, as most JSON readers do.
    if (text_.substr(0, 3) == "\xEF\xBB\xBF")
        pos_ = 3;
}

void Reader::fail(std::string_view what) const
{
    std::size_t line = 1;
    std::size_t column = 1;
    std::size_t end = std::min(pos_, text_.size());
    for (std::size_t i = 0; i < end; ++i) {
        if (text_[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    throw SyntaxError("El proyecto no es JSON válido (línea " + std::to_string(line) +
                      ", columna " + std::to_string(column) + "): " + std::string(what) + ".");
}

void Reader::skipWhitespaceSlow()
{
    while (pos_ < text_.size()) {
        char c = text_[pos_];
        if (c != ' ' && c != '\n' && c != '\r' && c != '\t')
            return;
        ++pos_;
    }
}

ValueKind Reader::peekKind()
{
    skipWhitespace();
    if (pos_ >= text_.size())
        fail("el texto termina donde se esperaba un valor");
    switch (text_[pos_]) {
    case '{':
        return ValueKind::object;
    case '[':
        return ValueKind::array;
    case '"':
        return ValueKind::string;
    case 't':
    case 'f':
        return ValueKind::boolean;
    case 'n':
        return ValueKind::null;
    default:
        if (text_[pos_] == '-' || isDigit(text_[pos_]))
            return ValueKind::number;
        fail("se esperaba un valor");
    }
}

void Reader::expectLiteral(std::string_view literal)
{
    if (text_.substr(pos_, literal.size()) != literal)
        fail("palabra desconocida");
    pos_ += literal.size();
}

bool Reader::readBoolean()
{
    skipWhitespace();
    if (pos_ < text_.size() && text_[pos_] == 't') {
        expectLiteral("true");
        return true;
    }
    expectLiteral("false");
    return false;
}

void Reader::readNull()
{
    skipWhitespace();
    expectLiteral("null");
}

std::string_view Reader::readNumber()
{
    skipWhitespace();
    std::size_t start = pos_;
    auto digitsFrom = [this] {
        std::size_t first = pos_;
        while (pos_ < text_.size() && isDigit(text_[pos_]))
            ++pos_;
        return pos_ > first;
    };
    if (pos_ < text_.size() && text_[pos_] == '-')
        ++pos_;
    if (pos_ < text_.size() && text_[pos_] == '0') {
        ++pos_;
    } else if (!digitsFrom()) {
        fail("número mal formado");
    }
    if (pos_ < text_.size() && text_[pos_] == '.') {
        ++pos_;
        if (!digitsFrom())
            fail("número mal formado");
    }
    if (pos_ < text_.size() && (text_[pos_] == 'e' || text_[pos_] == 'E')) {
        ++pos_;
        if (pos_ < text_.size() && (text_[pos_] == '+' || text_[pos_] == '-'))
            ++pos_;
        if (!digitsFrom())
            fail("número mal formado");
    }
    return text_.substr(start, pos_ - start);
}

std::string_view Reader::readString()
{
    skipWhitespace();
    if (pos_ >= text_.size() || text_[pos_] != '"')
        fail("se esperaba un texto");
    std::size_t contentStart = ++pos_;
    // Fast path: no escapes, so the value is a view into the input.
    while (pos_ < text_.size()) {
        unsigned char c = static_cast<unsigned char>(text_[pos_]);
        if (c >= 0x20 && c < 0x80 && c != '"' && c != '\\') {
            pos_ = plainRunEnd(text_, pos_ + 1);
            continue;
        }
        if (c == '"') {
            std::string_view value = text_.substr(contentStart, pos_ - contentStart);
            ++pos_;
            return value;
        }
        if (c == '\\')
            return readStringSlow(contentStart);
        if (c < 0x20)
            fail("carácter de control sin escapar dentro de un texto");
        if (c < 0x80) {
            ++pos_;
        } else {
            std::size_t length = utf8SequenceLength(text_, pos_);
            if (length == 0)
                fail("texto que no es UTF-8 válido");
            pos_ += length;
        }
    }
    fail("texto sin cerrar");
}

std::string_view Reader::readStringSlow(std::size_t contentStart)
{
    scratch_.assign(text_.substr(contentStart, pos_ - contentStart));
    while (pos_ < text_.size()) {
        unsigned char c = static_cast<unsigned char>(text_[pos_]);
        if (c == '"') {
            ++pos_;
            return scratch_;
        }
        if (c == '\\') {
            appendEscape();
        } else if (c < 0x20) {
            fail("carácter de control sin escapar dentro de un texto");
        } else if (c < 0x80) {
            scratch_.push_back(static_cast<char>(c));
            ++pos_;
        } else {
            std::size_t length = utf8SequenceLength(text_, pos_);
            if (length == 0)
                fail("texto que no es UTF-8 válido");
            scratch_.append(text_.substr(pos_, length));
            pos_ += length;
        }
    }
    fail("texto sin cerrar");
}

unsigned Reader::readHex4()
{
    if (pos_ + 4 > text_.size())
        fail("escape \\u incompleto");
    unsigned value = 0;
    for (int i = 0; i < 4; ++i) {
        char c = text_[pos_++];
        value <<= 4;
        if (c >= '0' && c <= '9')
            value |= static_cast<unsigned>(c - '0');
        else if (c >= 'a' && c <= 'f')
            value |= static_cast<unsigned>(c - 'a' + 10);
        else if (c >= 'A' && c <= 'F')
            value |= static_cast<unsigned>(c - 'A' + 10);
        else
            fail("escape \\u con dígitos no hexadecimales");
    }
    return value;
}

void Reader::appendEscape()
{
    ++pos_; // the backslash
    if (pos_ >= text_.size())
        fail("texto sin cerrar");
    char c = text_[pos_++];
    switch (c) {
    case '"':
    case '\\':
    case '/':
        scratch_.push_back(c);
        return;
    case 'b':
        scratch_.push_back('\b');
        return;
    case 'f':
        scratch_.push_back('\f');
        return;
    case 'n':
        scratch_.push_back('\n');
        return;
    case 'r':
        scratch_.push_back('\r');
        return;
    case 't':
        scratch_.push_back('\t');
        return;
    case 'u':
        break;
    default:
        fail("escape desconocido dentro de un texto");
    }
    unsigned codePoint = readHex4();
    if (codePoint >= 0xDC00 && codePoint <= 0xDFFF)
        fail("sustituto UTF-16 sin pareja");
    if (codePoint >= 0xD800 && codePoint <= 0xDBFF) {
        if (text_.substr(pos_, 2) != "\\u")
            fail("sustituto UTF-16 sin pareja");
        pos_ += 2;
        unsigned low = readHex4();
        if (low < 0xDC00 || low > 0xDFFF)
            fail("sustituto UTF-16 sin pareja");
        codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (low - 0xDC00);
    }
    appendUtf8(scratch_, codePoint);
}

void Reader::enter()
{
    if (depth_ >= maxDepth)
        fail("anidamiento de más de " + std::to_string(maxDepth) + " niveles");
    ++depth_;
    firstMember_[static_cast<std::size_t>(depth_)] = true;
    ++pos_; // the opening bracket
}

void Reader::beginObject()
{
    skipWhitespace();
    if (pos_ >= text_.size() || text_[pos_] != '{')
        fail("se esperaba un objeto");
    enter();
}

// After an object's or an array's opening bracket or one of its values: true when another member
// follows (its comma read), false at the closing bracket (read).
bool Reader::another(char close, std::string_view expected)
{
    skipWhitespace();
    bool& first = firstMember_[static_cast<std::size_t>(depth_)];
    if (pos_ < text_.size() && text_[pos_] == close) {
        ++pos_;
        --depth_;
        return false;
    }
    if (!first) {
        if (pos_ >= text_.size() || text_[pos_] != ',')
            fail(expected);
        ++pos_;
    }
    first = false;
    return true;
}

bool Reader::nextKey(std::string_view& key)
{
    if (!another('}', "se esperaba ',' o '}'"))
        return false;
    skipWhitespace();
    if (pos_ >= text_.size() || text_[pos_] != '"')
        fail("se esperaba una clave");
    key = readString();
    skipWhitespace();
    if (pos_ >= text_.size() || text_[pos_] != ':')
        fail("se esperaba ':' tras la clave");
    ++pos_;
    return true;
}

void Reader::beginArray()
{
    skipWhitespace();
    if (pos_ >= text_.size() || text_[pos_] != '[')
        fail("se esperaba una lista");
    enter();
}

bool Reader::nextElement()
{
    return another(']', "se esperaba ',' o ']'");
}

void Reader::skipValue()
{
    switch (peekKind()) {
    case ValueKind::object: {
        beginObject();
        std::string_view key;
        while (nextKey(key))
            skipValue();
        return;
    }
    case ValueKind::array:
        beginArray();
        while (nextElement())
            skipValue();
        return;
    case ValueKind::string:
        readString();
        return;
    case ValueKind::number:
        // Out of range is an error even where the value is not used, as for any JSON reader
        // that converts numbers; otherwise such a file would read here and nowhere else.
        if (!doubleValue(readNumber()))
            fail("número fuera de rango");
        return;
    case ValueKind::boolean:
        readBoolean();
        return;
    case ValueKind::null:
        readNull();
        return;
    }
}

void Reader::finish()
{
    skipWhitespace();
    if (pos_ != text_.size())
        fail("texto sobrante tras el documento");
}

} // namespace tw::json
