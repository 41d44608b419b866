// The capture sources of the PulseAudio server. Monitors of outputs are left out: this studio
// records a voice, and a monitor would record its own playback back into the take (and double
// the list on desktops, where every output has one). Without a server the list is empty.
#pragma once

#include "audio/DeviceCatalog.hpp"
#include "audio/EventRelay.hpp"
#include "audio/PulseContext.hpp"

#include <memory>
#include <mutex>

namespace tw {

class PulseDeviceCatalog : public DeviceCatalog {
public:
    // Connects (at most about a second when no server answers) and subscribes to source and
    // server changes.
    PulseDeviceCatalog();
    ~PulseDeviceCatalog() override;

    // Any thread but the change handler's loop; connects again when the server came back.
    std::vector<CaptureSource> sources() override;
    // The handler runs on the catalog's relay thread and may call sources().
    void setChangeHandler(std::function<void()> handler) override;

private:
    // With mutex_ held.
    bool ensureConnected();

    std::mutex mutex_;
    EventRelay relay_;
    std::unique_ptr<PulseContext> pulse_;
    bool closing_ = false;
};

} // namespace tw
