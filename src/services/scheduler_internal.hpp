// Pieces the scheduler's files share: the run statistics and the socket
// time-out lists, each behind its own lock. Not part of the API.
#pragma once

#include <stdint.h>

#include "services/mutex.h"

namespace scheduler {

// The millisecond tick that due times and expiries are counted in.
uint64_t now_ms();
// Test seam: a fixed clock for the scheduler (null: the millisecond clock).
using TickSource = uint64_t (*)();
void set_tick_source_for_testing(TickSource source);

// Adds one run of `elapsed_ms` to the slot of `name` (under the statistics
// lock); the run is not recorded when all 32 slots hold other names.
void record_run(const char* name, uint32_t elapsed_ms);

// The socket time-out lists: emptied at start, freed (sockets closed) at stop.
void socket_timeouts_clear();
void socket_timeouts_free();
int32_t socket_timeouts_prepare();
void socket_timeouts_release();
// The protocol mutex that guards the lists (tests hold it to see who waits).
upnp_mutex_handle socket_timeouts_mutex();

}  // namespace scheduler
