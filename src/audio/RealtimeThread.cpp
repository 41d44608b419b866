#include "audio/RealtimeThread.hpp"

#include <pthread.h>
#include <sched.h>

namespace tw {

namespace {

// Below the sound server's threads (PulseAudio's default is 5), above every ordinary thread.
constexpr int renderPriority = 4;

} // namespace

bool requestRealtimeScheduling()
{
    sched_param parameters{};
    parameters.sched_priority = renderPriority;
    return pthread_setschedparam(pthread_self(), SCHED_RR, &parameters) == 0;
}

} // namespace tw
