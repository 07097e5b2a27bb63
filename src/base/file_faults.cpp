#include "base/file_faults.h"

#include <errno.h>

#include <atomic>

namespace {

struct Armed {
  std::atomic<int64_t> calls{0};
  std::atomic<int64_t> fail_at{0};  // the call count that fails; 0 for none
  std::atomic<int32_t> error{0};
};

Armed g_kinds[UPNP_FILE_CALL_KINDS];

bool valid(upnp_file_call kind) { return kind >= 0 && kind < UPNP_FILE_CALL_KINDS; }

}  // namespace

extern "C" {

void upnp_file_faults_reset(void) {
  for (Armed& armed : g_kinds) {
    armed.fail_at.store(0);
    armed.calls.store(0);
  }
}

void upnp_file_fault_arm(upnp_file_call kind, int64_t nth, int32_t error) {
  if (!valid(kind)) return;
  Armed& armed = g_kinds[kind];
  armed.error.store(error);
  armed.fail_at.store(nth > 0 ? armed.calls.load() + nth : 0);
}

int64_t upnp_file_calls(upnp_file_call kind) { return valid(kind) ? g_kinds[kind].calls.load() : 0; }

int32_t upnp_file_fault_hit(upnp_file_call kind) {
  if (!valid(kind)) return 0;
  Armed& armed = g_kinds[kind];
  const int64_t call = armed.calls.fetch_add(1, std::memory_order_relaxed) + 1;
  if (armed.fail_at.load(std::memory_order_relaxed) != call) return 0;
  armed.fail_at.store(0);
  errno = armed.error.load();
  return 1;
}

}  // extern "C"
