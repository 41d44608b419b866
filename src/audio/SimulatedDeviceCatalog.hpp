// A device catalog whose sources a test sets; every change fires the change handler on the
// thread that made it, as a server's subscription event would.
#pragma once

#include "audio/DeviceCatalog.hpp"

#include <mutex>

namespace tw {

class SimulatedDeviceCatalog : public DeviceCatalog {
public:
    SimulatedDeviceCatalog() = default;
    explicit SimulatedDeviceCatalog(std::vector<CaptureSource> sources);

    std::vector<CaptureSource> sources() override;
    void setChangeHandler(std::function<void()> handler) override;

    void setSources(std::vector<CaptureSource> sources);
    // A source with its identifier derived from the name, as the server's catalog makes it.
    static CaptureSource source(const std::string& name, const std::string& description);

private:
    void changed();

    std::mutex mutex_;
    std::vector<CaptureSource> sources_;
    std::function<void()> handler_;
};

} // namespace tw
