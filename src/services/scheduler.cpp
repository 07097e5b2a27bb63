#include "services/scheduler.h"

#include <sched.h>
#include <stdio.h>
#include <string.h>

#include <atomic>

#include "base/locks.h"
#include "base/log.h"
#include "base/memory.h"
#include "base/status.h"
#include "base/time_format.h"
#include "services/scheduler_internal.hpp"
#include "services/threads.h"

namespace {

// Waits shorter than this are taken as timed waits and the head is looked at
// afresh afterwards, rather than run early.
constexpr int64_t kShortWaitMs = 21;
constexpr int32_t kPriorityClass = 5;
constexpr uint32_t kRequestedStack = 16384;  // ignored by the thread start, on purpose
constexpr int kStopChecks = 52;
constexpr uint32_t kStopPauseMs = 100;
// Yields given to the woken thread to leave before the first count (about a
// millisecond on an idle processor).
constexpr int kLeaveYields = 2000;
constexpr int kScratchTexts = 8;
constexpr int kScratchSize = 256;

std::atomic<int32_t> g_running{0};
std::atomic<int32_t> g_server_state{0};
std::atomic<upnp_thread_t> g_thread{0};

upnp_plain_lock* g_queue_lock = nullptr;
upnp_plain_lock* g_scratch_lock = nullptr;
upnp_task* g_queue = nullptr;
char g_scratch[kScratchTexts][kScratchSize];

std::atomic<scheduler::TickSource> g_tick_source{nullptr};

uint64_t tick() { return scheduler::now_ms(); }

void free_task(upnp_task* task) {
  if (task->argument != nullptr) upnp_free(task->argument);
  upnp_free(task);
}

void wake_scheduler() {
  const upnp_thread_t thread = g_thread.load();
  if (thread != 0) upnp_wakeup_thread(thread);
}

upnp_task* take_head() {
  LockGuard guard(&g_queue_lock);
  upnp_task* task = g_queue;
  if (task != nullptr) g_queue = task->next;
  return task;
}

void* run_own_thread(void* argument) {
  auto* task = static_cast<upnp_task*>(argument);
  upnp_set_thread_name("scheduler_spawner");
  upnp_set_thread_name(task->name);
  task->function(task->argument);
  free_task(task);
  upnp_remove_thread();
  return nullptr;
}

void run_task(upnp_task* task) {
  if (upnp_server_state() != UPNP_SERVER_RUNNING) {
    free_task(task);
    return;
  }
  // The name is copied first: an own-thread task may be gone by the time the
  // statistics are written.
  char name[UPNP_TASK_NAME_SIZE];
  memcpy(name, task->name, sizeof name);
  const uint64_t start = tick();
  if (task->own_thread == 0) {
    task->function(task->argument);
    free_task(task);
  } else if (upnp_start_thread(run_own_thread, task, kPriorityClass) != 0) {
    upnp_log(UPNP_LOG_ERROR, LOG_SYSTEM, "run_task", 0, "can't start thread for %s task", name);
    free_task(task);  // no thread took it over
  }
  const uint64_t elapsed = tick() - start;
  // A run too short to measure still counts as 1 ms, deliberately.
  scheduler::record_run(name, elapsed == 0 ? 1 : static_cast<uint32_t>(elapsed > UINT32_MAX ? UINT32_MAX : elapsed));
}

// Sleeps on the thread's own semaphore: woken by queueing, by stop, or by
// the time-out (-1: none).
void wait_ms(int64_t timeout_ms) {
  if (timeout_ms > INT32_MAX) timeout_ms = INT32_MAX;
  (void)upnp_thread_wait(static_cast<int32_t>(timeout_ms));
}

void* scheduler_loop(void*) {
  g_thread.store(pthread_self());
  upnp_set_thread_name(UPNP_SCHEDULER_THREAD_NAME);
  while (g_running.load() != 0) {
    bool have_head = false;
    uint64_t due = 0;
    {
      LockGuard guard(&g_queue_lock);
      if (g_queue != nullptr) {
        have_head = true;
        due = g_queue->due;
      }
    }
    if (!have_head) {
      wait_ms(-1);
      sched_yield();
      continue;
    }
    const uint64_t now = tick();
    if (due != 0 && due <= now) {
      if (upnp_task* task = take_head(); task != nullptr) run_task(task);
      continue;
    }
    const int64_t remaining = static_cast<int64_t>(due - now);
    // Whether woken early by an earlier task or by the time-out, the head is
    // looked at again: a due head then runs at once.
    wait_ms(remaining);
    if (remaining < kShortWaitMs) sched_yield();
  }
  g_thread.store(0);
  upnp_remove_thread();
  return nullptr;
}

}  // namespace

namespace scheduler {

uint64_t now_ms() {
  if (const TickSource source = g_tick_source.load(); source != nullptr) return source();
  const int64_t now = upnp_time_ms_since_start();
  return now > 0 ? static_cast<uint64_t>(now) : 0;
}

void set_tick_source_for_testing(TickSource source) { g_tick_source.store(source); }

}  // namespace scheduler

extern "C" {

int32_t upnp_server_state(void) { return g_server_state.load(); }
void upnp_set_server_state(int32_t state) { g_server_state.store(state); }
int32_t upnp_scheduler_running(void) { return g_running.load(); }

int32_t upnp_schedule_task_ex(upnp_task_fn function, void* argument, uint32_t own_thread, uint32_t delay_ms,
                              const char* name, uint32_t run_at_stop) {
  auto* task = static_cast<upnp_task*>(upnp_malloc(sizeof(upnp_task)));
  if (task == nullptr) return UPNP_NOMEM;
  task->function = function;
  task->argument = argument;
  task->own_thread = own_thread;
  task->run_at_stop = run_at_stop;
  // A due time of 0 never counts as due, so the clock's very first
  // millisecond is moved one on.
  task->due = tick() + delay_ms;
  if (task->due == 0) task->due = 1;
  snprintf(task->name, sizeof task->name, "%s", name != nullptr ? name : "");
  task->next = nullptr;
  {
    LockGuard guard(&g_queue_lock);
    upnp_task** link = &g_queue;
    while (*link != nullptr && (*link)->due <= task->due) link = &(*link)->next;
    task->next = *link;
    *link = task;
  }
  wake_scheduler();
  return 0;
}

int32_t upnp_schedule_task(upnp_task_fn function, void* argument, uint32_t own_thread, uint32_t delay_ms,
                           const char* name) {
  const int32_t state = upnp_server_state();
  if (g_running.load() == 0 || (state != UPNP_SERVER_RUNNING && state != UPNP_SERVER_INITIALISED)) return UPNP_FAILED;
  if (function == nullptr) return UPNP_INVALID;
  return upnp_schedule_task_ex(function, argument, own_thread, delay_ms, name, 0);
}

void upnp_unschedule_task(upnp_task_fn function) {
  upnp_task* found = nullptr;
  {
    if (upnp_lock(&g_queue_lock) != 0) return;
    for (upnp_task** link = &g_queue; *link != nullptr; link = &(*link)->next) {
      if ((*link)->function == function) {
        found = *link;
        *link = found->next;
        break;
      }
    }
    upnp_unlock(&g_queue_lock);
  }
  if (found != nullptr) free_task(found);
}

int32_t upnp_util_prepare(void) {
  if (scheduler::socket_timeouts_prepare() != 0) return UPNP_FAILED;
  if (upnp_lock_create(&g_queue_lock) != 0) return UPNP_FAILED;
  if (upnp_lock_create(&g_scratch_lock) != 0) return UPNP_FAILED;
  return 0;
}

void upnp_util_init(void) {
  {
    LockGuard guard(&g_scratch_lock);
    memset(g_scratch, 0, sizeof g_scratch);
  }
  scheduler::socket_timeouts_clear();
  upnp_set_server_state(UPNP_SERVER_INITIALISED);
  g_running.store(1);
  if (upnp_start_thread_with_stack(scheduler_loop, nullptr, kPriorityClass, kRequestedStack) != 0) {
    upnp_log(UPNP_LOG_ERROR, LOG_SYSTEM, "upnp_util_init", 0, "can't start scheduler thread");
    g_running.store(0);
  }
}

void upnp_util_stop(void) {
  g_running.store(0);
  upnp_set_server_state(0);
  upnp_sleep_ms(10);
  wake_scheduler();
  const char* names[] = {UPNP_SCHEDULER_THREAD_NAME, nullptr};
  // The woken thread leaves within microseconds; counting it at once would
  // find it still there and pay a whole pause for it on every shut-down.
  for (int yield = 0; yield < kLeaveYields && upnp_count_threads(names) != 0; ++yield) sched_yield();
  for (int check = 0; check < kStopChecks; ++check) {
    if (upnp_count_threads(names) == 0) break;
    if (check + 1 < kStopChecks) upnp_sleep_ms(kStopPauseMs);
  }
  scheduler::socket_timeouts_free();
  upnp_task* queue = nullptr;
  {
    LockGuard guard(&g_queue_lock);
    queue = g_queue;
    g_queue = nullptr;
  }
  while (queue != nullptr) {
    upnp_task* task = queue;
    queue = task->next;
    if (task->run_at_stop != 0) task->function(task->argument);
    free_task(task);
  }
}

void upnp_util_release(void) {
  scheduler::socket_timeouts_release();
  upnp_lock_destroy(&g_queue_lock);
  upnp_lock_destroy(&g_scratch_lock);
}

}  // extern "C"
