#include "audio/SimulatedDeviceCatalog.hpp"

namespace tw {

SimulatedDeviceCatalog::SimulatedDeviceCatalog(std::vector<CaptureSource> sources)
    : sources_(std::move(sources))
{
}

std::vector<CaptureSource> SimulatedDeviceCatalog::sources()
{
    std::lock_guard lock(mutex_);
    return sources_;
}

void SimulatedDeviceCatalog::setChangeHandler(std::function<void()> handler)
{
    std::lock_guard lock(mutex_);
    handler_ = std::move(handler);
}

void SimulatedDeviceCatalog::setSources(std::vector<CaptureSource> sources)
{
    {
        std::lock_guard lock(mutex_);
        sources_ = std::move(sources);
    }
    changed();
}

CaptureSource SimulatedDeviceCatalog::source(const std::string& name,
                                             const std::string& description)
{
    return CaptureSource{captureSourceId(name), name, description};
}

void SimulatedDeviceCatalog::changed()
{
    std::function<void()> handler;
    {
        std::lock_guard lock(mutex_);
        handler = handler_;
    }
    // Outside the lock, so the handler may read the new list.
    if (handler)
        handler();
}

} // namespace tw
