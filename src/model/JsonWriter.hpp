// A compact JSON writer for project.json: no indentation, numbers in their shortest round-trip
// form (a 32-bit float in the shortest form of the float, so 0.35f is written 0.35), strings
// escaped only where JSON requires it.
#pragma once

#include "base/Uuid.hpp"

#include <string>
#include <string_view>

namespace tw::json {

class Writer {
public:
    explicit Writer(std::string& out) : out_(out) {}

    void beginObject();
    void endObject();
    void beginArray();
    void endArray();
    void key(std::string_view name);

    // Each returns false, writing nothing, for a value JSON cannot carry (a number that is not
    // finite, text that is not UTF-8).
    [[nodiscard]] bool number(double value);
    [[nodiscard]] bool number(float value);
    [[nodiscard]] bool string(std::string_view text);
    // A UUID in its upper-case 36-character form.
    void uuid(const Uuid& id);
    void integer(long long value);
    void boolean(bool value);

private:
    void separate();
    template <class T> void shortest(T value);

    std::string& out_;
    bool needsComma_ = false;
};

} // namespace tw::json
