#include "audio/PulseDeviceCatalog.hpp"

#include <pulse/introspect.h>
#include <pulse/subscribe.h>

namespace tw {

namespace {

struct SourceQuery {
    PulseContext* pulse;
    std::vector<CaptureSource> sources;
};

// Loop thread.
void onSourceInfo(pa_context*, const pa_source_info* info, int eol, void* userdata)
{
    auto* query = static_cast<SourceQuery*>(userdata);
    if (eol) {
        query->pulse->signal();
        return;
    }
    if (!info || info->monitor_of_sink != PA_INVALID_INDEX)
        return;
    std::string name = info->name ? info->name : "";
    if (name.empty())
        return;
    query->sources.push_back(
        CaptureSource{captureSourceId(name), name, info->description ? info->description : ""});
}

// Loop thread.
void onSubscriptionEvent(pa_context*, pa_subscription_event_type_t, uint32_t, void* userdata)
{
    static_cast<EventRelay*>(userdata)->notify();
}

// Loop thread.
void onSubscribed(pa_context*, int, void* userdata)
{
    static_cast<PulseContext*>(userdata)->signal();
}

} // namespace

PulseDeviceCatalog::PulseDeviceCatalog()
{
    std::lock_guard lock(mutex_);
    ensureConnected();
}

PulseDeviceCatalog::~PulseDeviceCatalog()
{
    relay_.setHandler(nullptr);
    std::lock_guard lock(mutex_);
    closing_ = true; // a handler still running must not connect again
    pulse_.reset();  // before the relay it notifies
}

bool PulseDeviceCatalog::ensureConnected()
{
    if (pulse_ && pulse_->isConnected())
        return true;
    pulse_.reset();
    auto connected = PulseContext::connect("Tapewright device catalog");
    if (!connected)
        return false;
    auto pulse = std::move(connected).value();
    pulse->setDisconnectHandler([this] { relay_.notify(); });

    PulseContext::Lock lock(*pulse);
    pa_context_set_subscribe_callback(pulse->context(), &onSubscriptionEvent, &relay_);
    auto mask = static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SOURCE |
                                                    PA_SUBSCRIPTION_MASK_SERVER);
    // Without the subscription the list still works; only the change events are missing.
    pulse->finish(pa_context_subscribe(pulse->context(), mask, &onSubscribed, pulse.get()));
    pulse_ = std::move(pulse);
    return true;
}

std::vector<CaptureSource> PulseDeviceCatalog::sources()
{
    std::lock_guard lock(mutex_);
    if (closing_ || !ensureConnected())
        return {};
    PulseContext::Lock loopLock(*pulse_);
    SourceQuery query{pulse_.get(), {}};
    if (!pulse_->finish(pa_context_get_source_info_list(pulse_->context(), &onSourceInfo, &query)))
        return {};
    return query.sources;
}

void PulseDeviceCatalog::setChangeHandler(std::function<void()> handler)
{
    relay_.setHandler(std::move(handler));
}

} // namespace tw
