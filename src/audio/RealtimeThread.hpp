// Realtime scheduling for the thread that feeds the sound server. Its stream holds a tenth of a
// second: on a machine busy with CPU-bound work an ordinary thread can wait longer than that for
// the processor, and the server then plays silence. Audio programs ask for a realtime priority,
// below the sound server's own.
#pragma once

namespace tw {

// The calling thread asks for round-robin realtime scheduling. Without the right to it (no
// RLIMIT_RTPRIO, no privilege) nothing changes; false then.
bool requestRealtimeScheduling();

} // namespace tw
