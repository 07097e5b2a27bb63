#include "process/lifecycle.h"

#include "base/encoding.h"
#include "base/file.h"
#include "base/locks.h"
#include "base/log.h"
#include "base/memory.h"
#include "base/status.h"
#include "base/time_format.h"
#include "importer/wpl.h"
#include "process/server_modules.h"
#include "services/resource.h"
#include "services/scheduler.h"
#include "services/settings.h"
#include "services/string_pool.h"
#include "services/thread_pool.h"
#include "services/threads.h"
#include "services/translate.h"

int32_t runtime_prepared = 0;
int32_t runtime_started = 0;

namespace {

using PrepareStep = int32_t (*)();

// An empty hook in the server's sequence; kept so the order reads the same.
int32_t prepare_hook() { return 0; }
void empty_hook() {}

// The order is the server's: each module's locks exist before any later
// module's prepare may use them.
constexpr PrepareStep kPrepareSteps[] = {
    upnp_mem_prepare,         upnp_log_prepare,     upnp_thread_table_prepare, upnp_file_prepare,
    upnp_netif_prepare,       prepare_hook,         upnp_ini_prepare,          upnp_util_prepare,
    upnp_http_prepare,        upnp_statistics_prepare, upnp_resource_prepare,  upnp_wpl_prepare,
    upnp_clientdb_prepare,    upnp_http_auth_prepare, upnp_playstats_prepare,  upnp_string_pool_prepare,
    upnp_cachekeeper_prepare, upnp_users_prepare,
};

using Step = void (*)();

// File utilities come first in the server's order but have no init step
// here: their handles are self-contained and no table of open files is kept.
constexpr Step kInitSteps[] = {
    [] {},  // tracked memory has nothing to reset
    upnp_netif_init,        empty_hook,
    upnp_encoding_init,     upnp_log_init,
    upnp_string_pool_init,  upnp_ini_init,
    upnp_util_init,         upnp_http_init,
    upnp_statistics_init,   upnp_resource_init,
    upnp_translate_module_init, upnp_wpl_init,
    upnp_clientdb_init,     upnp_http_auth_init,
    upnp_playstats_init,    upnp_cachekeeper_init,
    upnp_users_init,
};

constexpr Step kFirstStopSteps[] = {
    upnp_users_stop,      upnp_clientdb_stop,         upnp_playstats_stop,
    upnp_ini_stop,        upnp_resource_stop,         upnp_translate_module_stop,
    upnp_statistics_stop, upnp_wpl_stop,              upnp_http_auth_stop,
};

constexpr Step kSecondStopSteps[] = {
    upnp_string_pool_stop, upnp_cachekeeper_stop, upnp_util_stop, upnp_http_stop,
};

constexpr Step kFirstReleaseSteps[] = {
    upnp_thread_pool_release, upnp_users_release,    upnp_clientdb_release,  upnp_wpl_release,
    upnp_resource_release,    upnp_statistics_release, upnp_http_release,    upnp_util_release,
    upnp_ini_release,         upnp_playstats_release, upnp_netif_release,    upnp_file_release,
};

// The log sits below the thread registry; it borrows these for the clean-up
// thread that follows a rotation.
constexpr upnp_log_thread_calls kLogThreadCalls = {upnp_start_thread, upnp_set_thread_name, upnp_remove_thread};

template <size_t N>
void run_steps(const Step (&steps)[N]) {
  for (Step step : steps) step();
}

}  // namespace

extern "C" {

int32_t upnp_runtime_prepare(void) {
  if (runtime_prepared) return 0;
  runtime_prepared = 1;  // a failed prepare is not retried
  for (PrepareStep step : kPrepareSteps) {
    if (step() != 0) return UPNP_FAILED;
  }
  return 0;
}

void upnp_runtime_init(void) {
  if (!runtime_prepared) (void)upnp_runtime_prepare();
  if (runtime_started) return;
  runtime_started = 1;
  upnp_time_ms_since_start();  // the clock counts from start-up
  upnp_thread_table_init();
  live_lock_count = 0;  // from here on it counts locks made after start-up
  run_steps(kInitSteps);
  upnp_log_set_thread_calls(&kLogThreadCalls);
}

void upnp_threads_release(void) {
  if (!runtime_started) return;
  runtime_started = 0;
  upnp_log_set_thread_calls(nullptr);
  upnp_close_thread_sockets();
  upnp_sleep_ms(10);
  run_steps(kFirstStopSteps);
  upnp_sleep_ms(100);
  run_steps(kSecondStopSteps);
  upnp_thread_table_wake_and_free();
}

void upnp_runtime_exit(void) {
  upnp_threads_release();
  if (!runtime_prepared) return;
  runtime_prepared = 0;
  run_steps(kFirstReleaseSteps);
  upnp_sleep_ms(50);
  empty_hook();
  upnp_thread_table_release();
  upnp_http_auth_release();
  upnp_string_pool_release();
  upnp_log_release();
  upnp_cachekeeper_release();
  upnp_mem_release();
}

}  // extern "C"
