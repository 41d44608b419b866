// The sound server's capture sources (microphones first, monitors of outputs after them or not at
// all), with identifiers that stay the same when a device is plugged in again.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tw {

struct CaptureSource {
    std::uint32_t id = 0;    // derived from the server's source name; never 0 (0 = the default)
    std::string name;        // the server's source name, as the input stream needs it
    std::string description; // what the user sees

    bool operator==(const CaptureSource&) const = default;
};

// The identifier of a source from its server name (FNV-1a, 32 bits), so a device plugged in again
// keeps it. Never 0, which stands for the default source.
std::uint32_t captureSourceId(std::string_view sourceName);

class DeviceCatalog {
public:
    virtual ~DeviceCatalog() = default;
    // In the server's order. Empty (never an error) when there is no server.
    virtual std::vector<CaptureSource> sources() = 0;
    // Called on any thread when sources come or go, a source changes, or the server goes away.
    virtual void setChangeHandler(std::function<void()> handler) = 0;
};

} // namespace tw
