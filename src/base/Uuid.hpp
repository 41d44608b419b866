// Random (version 4) UUIDs, written in their upper-case 36-character form.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tw {

class Uuid {
public:
    // The nil UUID; use random() for a fresh identifier.
    Uuid() = default;

    static Uuid random();
    // Accepts the 8-4-4-4-12 hexadecimal form in either case; nothing else.
    static std::optional<Uuid> parse(std::string_view text);

    std::string text() const;
    const std::array<std::uint8_t, 16>& bytes() const { return bytes_; }

    auto operator<=>(const Uuid&) const = default;

private:
    std::array<std::uint8_t, 16> bytes_{};
};

} // namespace tw

template <> struct std::hash<tw::Uuid> {
    std::size_t operator()(const tw::Uuid& uuid) const noexcept
    {
        std::size_t h = 0;
        for (auto b : uuid.bytes())
            h = h * 131 + b;
        return h;
    }
};
