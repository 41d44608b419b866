#include "model/JsonWriter.hpp"

#include "model/Utf8.hpp"

#include <charconv>
#include <cmath>

namespace tw::json {

void Writer::separate()
{
    if (needsComma_)
        out_.push_back(',');
}

void Writer::beginObject()
{
    separate();
    out_.push_back('{');
    needsComma_ = false;
}

void Writer::endObject()
{
    out_.push_back('}');
    needsComma_ = true;
}

void Writer::beginArray()
{
    separate();
    out_.push_back('[');
    needsComma_ = false;
}

void Writer::endArray()
{
    out_.push_back(']');
    needsComma_ = true;
}

void Writer::key(std::string_view name)
{
    // Keys are this program's own ASCII names; they never need escaping.
    separate();
    out_.push_back('"');
    out_.append(name);
    out_.append("\":");
    needsComma_ = false;
}

// Numbers in the shortest text that reads back as the same value.
template <class T> void Writer::shortest(T value)
{
    char buffer[32];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    separate();
    out_.append(buffer, result.ptr);
    needsComma_ = true;
}

bool Writer::number(double value)
{
    if (!std::isfinite(value))
        return false;
    shortest(value);
    return true;
}

bool Writer::number(float value)
{
    if (!std::isfinite(value))
        return false;
    shortest(value);
    return true;
}

void Writer::integer(long long value)
{
    shortest(value);
}

void Writer::boolean(bool value)
{
    separate();
    out_.append(value ? "true" : "false");
    needsComma_ = true;
}

bool Writer::string(std::string_view text)
{
    static constexpr char hex[] = "0123456789abcdef";
    std::size_t rollback = out_.size();
    separate();
    out_.push_back('"');
    std::size_t runStart = 0;
    std::size_t i = 0;
    while (i < text.size()) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 0x80) {
            std::size_t length = utf8SequenceLength(text, i);
            if (length == 0) {
                out_.resize(rollback);
                return false;
            }
            i += length;
            continue;
        }
        if (c >= 0x20 && c != '"' && c != '\\') {
            ++i;
            continue;
        }
        out_.append(text.substr(runStart, i - runStart));
        runStart = ++i;
        switch (c) {
        case '"':
            out_.append("\\\"");
            break;
        case '\\':
            out_.append("\\\\");
            break;
        case '\n':
            out_.append("\\n");
            break;
        case '\r':
            out_.append("\\r");
            break;
        case '\t':
            out_.append("\\t");
            break;
        case '\b':
            out_.append("\\b");
            break;
        case '\f':
            out_.append("\\f");
            break;
        default:
            out_.append("\\u00");
            out_.push_back(hex[c >> 4]);
            out_.push_back(hex[c & 0x0F]);
        }
    }
    out_.append(text.substr(runStart));
    out_.push_back('"');
    needsComma_ = true;
    return true;
}

void Writer::uuid(const Uuid& id)
{
    // The canonical upper-case form, written in place: one clip id per segment adds up.
    static constexpr char digits[] = "0123456789ABCDEF";
    char buffer[38];
    char* out = buffer;
    *out++ = '"';
    for (std::size_t i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            *out++ = '-';
        *out++ = digits[id.bytes()[i] >> 4];
        *out++ = digits[id.bytes()[i] & 0x0F];
    }
    *out++ = '"';
    separate();
    out_.append(buffer, sizeof buffer);
    needsComma_ = true;
}

} // namespace tw::json
