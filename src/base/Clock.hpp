// A monotonic time source in seconds. The studio injects one so that tests control time.
#pragma once

namespace tw {

class Clock {
public:
    virtual ~Clock() = default;
    // Seconds since an arbitrary origin; never goes backwards. Safe from any thread.
    virtual double now() const = 0;
};

// The machine's steady clock.
class SteadyClock final : public Clock {
public:
    double now() const override;
    static const SteadyClock& instance();
};

} // namespace tw
