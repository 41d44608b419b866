#include "base/Clock.hpp"

#include <chrono>

namespace tw {

double SteadyClock::now() const
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

const SteadyClock& SteadyClock::instance()
{
    static const SteadyClock clock;
    return clock;
}

} // namespace tw
