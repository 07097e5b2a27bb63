// Socket time-outs: sockets whose connections are given up at an expiry
// time, in a list ordered by expiry plus one "current" record, under the
// scheduler's protocol mutex. One task, "socket release", is kept queued for
// the head's expiry; it closes what has expired and queues itself again.
#include <unistd.h>

#include <atomic>

#include "base/log.h"
#include "base/memory.h"
#include "base/status.h"
#include "services/mutex.h"
#include "services/scheduler.h"
#include "services/scheduler_internal.hpp"

namespace {

constexpr int64_t kMinimumDelayMs = 10;

struct SocketTimeout {
  int32_t socket;        // -1 once released
  uint64_t expiry;       // millisecond tick
  uint64_t added;        // millisecond tick when entered
  SocketTimeout* next;
  uint32_t identifier;
};

upnp_mutex* g_mutex = nullptr;
SocketTimeout* g_list = nullptr;
SocketTimeout* g_current = nullptr;
std::atomic<uint32_t> g_last_identifier{0};

uint64_t tick() { return scheduler::now_ms(); }

void release(SocketTimeout* record, bool close_socket) {
  if (close_socket && record->socket >= 0) close(record->socket);
  record->socket = -1;
  upnp_free(record);
}

void release_expired_sockets(void*) {
  if (upnp_mutex_lock(&g_mutex, nullptr) != 1) return;
  const uint64_t now = tick();
  while (g_list != nullptr && g_list->expiry <= now) {
    SocketTimeout* record = g_list;
    g_list = record->next;
    release(record, true);
  }
  const bool more = g_list != nullptr;
  const uint64_t next = more ? g_list->expiry : 0;
  upnp_mutex_unlock(&g_mutex);
  if (more) (void)scheduleNextSocketTimeoutTask(next);
}

}  // namespace

namespace scheduler {

int32_t socket_timeouts_prepare() { return upnp_mutex_create_impl(&g_mutex, 0, "socket timeouts") == 0 ? UPNP_OK : UPNP_FAILED; }

void socket_timeouts_release() { (void)upnp_mutex_destroy(&g_mutex); }

upnp_mutex_handle socket_timeouts_mutex() { return &g_mutex; }

void socket_timeouts_clear() {
  g_list = nullptr;
  g_current = nullptr;
}

void socket_timeouts_free() {
  if (upnp_mutex_lock(&g_mutex, nullptr) != 1) return;
  if (g_current != nullptr) release(g_current, true);
  g_current = nullptr;
  while (g_list != nullptr) {
    SocketTimeout* record = g_list;
    g_list = record->next;
    release(record, true);
  }
  upnp_mutex_unlock(&g_mutex);
}

}  // namespace scheduler

extern "C" {

int32_t scheduleNextSocketTimeoutTask(uint64_t expiry) {
  const uint64_t now = tick();
  int64_t delay = expiry > now ? static_cast<int64_t>(expiry - now) : 0;
  if (delay < kMinimumDelayMs) delay = kMinimumDelayMs;
  if (delay > INT32_MAX) delay = INT32_MAX;
  const int32_t rc =
      upnp_schedule_task(release_expired_sockets, nullptr, 0, static_cast<uint32_t>(delay), "socket release");
  if (rc != 0) {
    upnp_log(UPNP_LOG_ERROR, LOG_SYSTEM, "scheduleNextSocketTimeoutTask", 0,
             "Can't schedule socket release task,rc=%d", rc);
    return 1;
  }
  return 0;
}

uint32_t addSocketTimeout(int32_t socket, uint32_t timeout_ms) {
  auto* record = static_cast<SocketTimeout*>(upnp_calloc(1, sizeof(SocketTimeout)));
  if (record == nullptr) return 0;
  uint32_t identifier = 0;
  while (identifier == 0) identifier = ++g_last_identifier;
  record->socket = socket;
  record->added = tick();
  record->expiry = record->added + timeout_ms;
  record->identifier = identifier;
  if (upnp_mutex_lock(&g_mutex, nullptr) != 1) {
    upnp_free(record);
    return 0;
  }
  SocketTimeout** link = &g_list;
  while (*link != nullptr && (*link)->expiry <= record->expiry) link = &(*link)->next;
  record->next = *link;
  *link = record;
  const bool new_head = g_list == record;
  const uint64_t expiry = record->expiry;
  upnp_mutex_unlock(&g_mutex);
  // The release task is queued for the head only; a new head moves it.
  if (new_head) {
    upnp_unschedule_task(release_expired_sockets);
    (void)scheduleNextSocketTimeoutTask(expiry);
  }
  return identifier;
}

int32_t removeSocketTimeout(uint32_t identifier, int32_t close_socket) {
  if (identifier == 0) return 0;
  // Tried once, never waited for: a caller may hold the lock elsewhere.
  if (upnp_mutex_try_lock(&g_mutex) != 1) {
    upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "removeSocketTimeout", 0, "Cannot get lock to remove");
    return 1;
  }
  SocketTimeout* found = nullptr;
  bool was_head = false;
  bool has_next = false;
  uint64_t next_expiry = 0;
  if (g_current != nullptr && g_current->identifier == identifier) {
    found = g_current;
    g_current = nullptr;
  } else {
    for (SocketTimeout** link = &g_list; *link != nullptr; link = &(*link)->next) {
      if ((*link)->identifier != identifier) continue;
      found = *link;
      was_head = link == &g_list;
      *link = found->next;
      break;
    }
    if (was_head && g_list != nullptr) {
      has_next = true;
      next_expiry = g_list->expiry;
    }
  }
  upnp_mutex_unlock(&g_mutex);
  if (found == nullptr) return 1;
  if (was_head) {
    upnp_unschedule_task(release_expired_sockets);
    if (has_next) (void)scheduleNextSocketTimeoutTask(next_expiry);
  }
  release(found, close_socket != 0);
  return close_socket != 0 ? 1 : 0;
}

}  // extern "C"
