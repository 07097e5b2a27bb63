// Per-name run statistics of scheduled tasks: a fixed table of 32 slots, a
// slot being free while its name is empty. Names beyond the 32nd distinct
// one run but are not counted.
#include <string.h>

#include "base/locks.h"
#include "base/status.h"
#include "services/scheduler.h"
#include "services/scheduler_internal.hpp"

namespace {

struct Slot {
  char name[UPNP_TASK_NAME_SIZE];
  int32_t run_count;
  int32_t run_time;  // milliseconds
};

upnp_plain_lock* g_statistics_lock = nullptr;
Slot g_slots[UPNP_TASK_STATISTICS_SLOTS];

}  // namespace

namespace scheduler {

void record_run(const char* name, uint32_t elapsed_ms) {
  if (name == nullptr || name[0] == '\0') return;  // would land in a free slot and stay invisible
  LockGuard guard(&g_statistics_lock);
  Slot* free_slot = nullptr;
  for (Slot& slot : g_slots) {
    if (slot.name[0] == '\0') {
      if (free_slot == nullptr) free_slot = &slot;
      continue;
    }
    if (strncmp(slot.name, name, sizeof slot.name) == 0) {
      ++slot.run_count;
      slot.run_time += static_cast<int32_t>(elapsed_ms);
      return;
    }
  }
  if (free_slot == nullptr) return;
  strncpy(free_slot->name, name, sizeof free_slot->name - 1);
  free_slot->name[sizeof free_slot->name - 1] = '\0';
  free_slot->run_count = 1;
  free_slot->run_time = static_cast<int32_t>(elapsed_ms);
}

}  // namespace scheduler

extern "C" {

upnp_string* upnp_scheduler_statistics(void) {
  upnp_string* report = upnp_string_append(nullptr,
                                           "---  Task Name               ---  RunCount  RunTime  AvgTime\n"
                                           "------------------------------------------------------------\n");
  LockGuard guard(&g_statistics_lock);
  for (const Slot& slot : g_slots) {
    if (slot.name[0] == '\0') continue;
    const double average = slot.run_count != 0 ? static_cast<double>(slot.run_time) / slot.run_count : 0.0;
    report = upnp_string_sprintf_append(report, "%-32s %8d %8d %8.1f\n", slot.name, slot.run_count, slot.run_time,
                                        average);
  }
  return report;
}

int32_t upnp_statistics_prepare(void) { return upnp_lock_create(&g_statistics_lock) == 0 ? UPNP_OK : UPNP_FAILED; }

void upnp_statistics_init(void) {
  LockGuard guard(&g_statistics_lock);
  memset(g_slots, 0, sizeof g_slots);
}

void upnp_statistics_stop(void) { upnp_statistics_init(); }

void upnp_statistics_release(void) { upnp_lock_destroy(&g_statistics_lock); }

}  // extern "C"
