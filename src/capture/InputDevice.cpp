#include "capture/InputDevice.hpp"

namespace tw {

std::vector<InputDevice> InputDevice::all(DeviceCatalog& catalog)
{
    std::vector<InputDevice> devices;
    for (const CaptureSource& source : catalog.sources()) {
        // A source without a readable name cannot be offered in the picker; 0 is the default.
        if (source.description.empty() || source.id == 0)
            continue;
        devices.push_back(InputDevice{source.id, source.description});
    }
    return devices;
}

} // namespace tw
