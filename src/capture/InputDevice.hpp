// An audio input as the studio lists it: a 32-bit identifier and a display name. Identifier 0
// stands for the system's default input and is never a listed device.
#pragma once

#include "audio/DeviceCatalog.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

struct InputDevice {
    std::uint32_t id = 0;
    std::string name;

    bool operator==(const InputDevice&) const = default;

    // The catalog's sources in its order; never fails.
    static std::vector<InputDevice> all(DeviceCatalog& catalog);
};

} // namespace tw
