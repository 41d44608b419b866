// Converting the text of a JSON number into the document's number types without the C locale
// (the application may run under a locale whose decimal separator is a comma).
#pragma once

#include <optional>
#include <string_view>

namespace tw::json {

// The nearest double or float; a value too small for the type reads as zero of its sign, one
// too large for it is refused (nullopt). `text` must follow the JSON number grammar.
std::optional<double> doubleValue(std::string_view text);
std::optional<float> floatValue(std::string_view text);
// An integer written as such ("12") or as an integral number ("1.0", "1e0"); nullopt otherwise.
std::optional<long long> integerValue(std::string_view text);

} // namespace tw::json
