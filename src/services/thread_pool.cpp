#include "services/thread_pool.h"

#include <utility>

#include "base/locks.h"
#include "base/log.h"
#include "base/memory.h"
#include "base/status.h"
#include "services/mutex.h"
#include "services/settings.h"
#include "services/threads.h"

namespace {

constexpr int kQueues = 3;
constexpr int32_t kWorkerClass = 5;

upnp_plain_lock* g_queue_lock = nullptr;
upnp_flag* g_running_workers = nullptr;
upnp_pool_task* g_queue_head[kQueues];

// Caller holds the queue lock.
upnp_pool_task* pop(int32_t queue) {
  upnp_pool_task* task = g_queue_head[queue];
  if (task != nullptr) g_queue_head[queue] = task->next;
  return task;
}

// The next task for a worker: its own queue first, then the others, since
// a task queued while every worker served another queue has nobody else to
// run it. When there is none the worker retires in the same step, so that a
// task queued meanwhile starts a worker of its own.
upnp_pool_task* next_or_retire(int32_t queue) {
  LockGuard guard(&g_queue_lock);
  upnp_pool_task* task = nullptr;
  if (upnp_threads_permitted()) {
    task = pop(queue);
    for (int32_t other = 0; task == nullptr && other < kQueues; ++other) task = pop(other);
  }
  if (task == nullptr) upnp_flag_add(&g_running_workers, -1);
  return task;
}

void* worker(void* argument) {
  upnp_set_thread_name("upnp_thread_pool_worker");
  auto* task = static_cast<upnp_pool_task*>(argument);
  const int32_t queue = task->queue;
  do {
    task->routine(task->argument);
    upnp_free(task);
  } while ((task = next_or_retire(queue)) != nullptr);
  upnp_remove_thread();
  return nullptr;
}

void free_queues() {
  for (upnp_pool_task*& head : g_queue_head) {
    while (head != nullptr) upnp_free(std::exchange(head, head->next));
  }
}

}  // namespace

extern "C" {

int32_t upnp_thread_pool_run(upnp_task_fn routine, void* argument, int32_t queue) {
  if (queue < 0 || queue >= kQueues || routine == nullptr) return UPNP_INVALID;
  auto* task = static_cast<upnp_pool_task*>(upnp_calloc(1, sizeof(upnp_pool_task)));
  if (task == nullptr) return UPNP_FAILED;
  *task = upnp_pool_task{routine, argument, queue, nullptr};
  const int64_t limit = upnp_ini_get_int(UPNP_INI_MAXTHREADS);
  {
    LockGuard guard(&g_queue_lock);
    if (limit > 0 && upnp_flag_get(&g_running_workers) >= limit) {
      upnp_pool_task** tail = &g_queue_head[queue];
      while (*tail != nullptr) tail = &(*tail)->next;
      *tail = task;
      return 0;
    }
    upnp_flag_add(&g_running_workers, 1);
  }
  if (upnp_start_thread(worker, task, kWorkerClass) == 0) return 0;
  {
    LockGuard guard(&g_queue_lock);
    upnp_flag_add(&g_running_workers, -1);
  }
  upnp_free(task);
  return UPNP_FAILED;
}

upnp_pool_task* upnp_thread_pool_next(int32_t queue) {
  if (queue < 0 || queue >= kQueues || !upnp_threads_permitted()) return nullptr;
  LockGuard guard(&g_queue_lock);
  return pop(queue);
}

int32_t upnp_thread_pool_running(void) { return upnp_flag_get(&g_running_workers); }

int32_t upnp_thread_pool_prepare(void) {
  if (g_running_workers == nullptr && upnp_flag_create(&g_running_workers) != 0) return UPNP_FAILED;
  if (!upnp_lock_exists(&g_queue_lock) && upnp_lock_create(&g_queue_lock) != 0) return UPNP_FAILED;
  return 0;
}

void upnp_thread_pool_init(void) {
  LockGuard guard(&g_queue_lock);
  free_queues();
}

void upnp_thread_pool_release(void) {
  upnp_flag_destroy(&g_running_workers);
  {
    LockGuard guard(&g_queue_lock);
    free_queues();
  }
  upnp_lock_destroy(&g_queue_lock);
}

}  // extern "C"
