#include "services/threads.h"

#include <errno.h>
#include <sched.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "base/locks.h"
#include "base/log.h"
#include "base/memory.h"
#include "base/status.h"
#include "base/time_format.h"
#include "services/mutex.h"
#include "services/settings.h"
#include "services/thread_pool.h"

namespace {

struct ThreadEntry {
  pthread_t thread;
  pthread_t key;
  ThreadEntry* next;
  char name[64];
  time_t started;
  int32_t waiting;
  int32_t wake_pending;
  upnp_plain_semaphore* semaphore;
  int32_t socket;
};

upnp_plain_lock* g_table_lock = nullptr;
upnp_plain_lock* g_runtime_lock = nullptr;  // the general runtime lock; nothing here takes it
ThreadEntry* table_head = nullptr;
int32_t g_thread_count = 0;
int32_t g_thread_count_highest = 0;
int64_t g_thread_count_total = 0;
std::atomic<int32_t> g_threads_permitted{0};
upnp_thread_create_fn g_create_thread = nullptr;

constexpr uint64_t kMinimumStack = 196608;

// Caller holds the table lock.
ThreadEntry* find_entry(pthread_t key) {
  for (ThreadEntry* entry = table_head; entry != nullptr; entry = entry->next) {
    if (pthread_equal(entry->key, key)) return entry;
  }
  return nullptr;
}

void free_entry(ThreadEntry* entry, const char* caller) {
  if (entry->semaphore != nullptr) {
    upnp_semaphore_release_always(&entry->semaphore);
    upnp_semaphore_destroy(&entry->semaphore, caller);
  }
  upnp_free(entry);
}

// Caller holds the table lock.
void register_thread(pthread_t thread) {
  auto* entry = static_cast<ThreadEntry*>(upnp_calloc(1, sizeof(ThreadEntry)));
  if (entry == nullptr) {
    upnp_log(UPNP_LOG_ERROR, LOG_SYSTEM, "upnp_start_joinable_thread_impl", 0,
             "Out of memory registering thread %lx", static_cast<unsigned long>(thread));
    return;
  }
  entry->thread = thread;
  entry->key = thread;
  entry->started = time(nullptr);
  entry->socket = -1;
  entry->next = table_head;
  table_head = entry;
  if (++g_thread_count > g_thread_count_highest) g_thread_count_highest = g_thread_count;
  ++g_thread_count_total;
}

// The three tries: with the requested attributes, once more after a short
// pause when resources were short, and with default attributes otherwise.
pthread_t create_with_fallback(upnp_thread_routine routine, void* argument, const pthread_attr_t* attributes) {
  static const char kFn[] = "upnp_start_joinable_thread_impl";
  const upnp_thread_create_fn create = g_create_thread != nullptr ? g_create_thread : pthread_create;
  pthread_t thread{};
  int error = create(&thread, attributes, routine, argument);
  if (error == 0) return thread;
  if (error == EAGAIN) {
    upnp_log(UPNP_LOG_WARNING, LOG_SYSTEM, kFn, 0, "Not enough resources to start thread - retrying");
    upnp_sleep_ms(20);
    error = create(&thread, attributes, routine, argument);
    if (error == 0) return thread;
    if (error == EAGAIN) {
      upnp_log(UPNP_LOG_ERROR, LOG_SYSTEM, kFn, 0, "Second try to start thread failed - giving up");
      return 0;
    }
  }
  upnp_log(UPNP_LOG_WARNING, LOG_SYSTEM, kFn, 0,
           "Failed to start thread with requested priority and scheduler - trying default");
  if (create(&thread, nullptr, routine, argument) == 0) return thread;
  upnp_log(UPNP_LOG_ERROR, LOG_SYSTEM, kFn, 0, "Failed to start thread with defaults - giving up");
  return 0;
}

}  // namespace

extern "C" {

uint64_t upnp_thread_stack_size(int64_t setting) {
  if (setting <= 0) return 0;
  return static_cast<uint64_t>(setting) < kMinimumStack ? kMinimumStack : static_cast<uint64_t>(setting);
}

int32_t upnp_thread_priority(int32_t priority_class) {
  switch (priority_class) {
    case 3: return 10;
    case 4: return 30;
    case 6: return 70;
    case 7: return 90;
    default: return 50;
  }
}

upnp_thread_t upnp_start_joinable_thread_impl(upnp_thread_routine routine, void* argument,
                                              int32_t priority_class) {
  // Read before the table lock: the settings lock is never taken under it.
  const uint64_t stack_size = upnp_thread_stack_size(upnp_ini_get_int(UPNP_INI_STACK_SIZE));
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setschedpolicy(&attributes, SCHED_OTHER);
  sched_param priority{};
  priority.sched_priority = upnp_thread_priority(priority_class);
  // The time-sharing policy has no priority levels on Linux; the request only
  // matters where the system honours it, and the thread inherits otherwise.
  (void)pthread_attr_setschedparam(&attributes, &priority);
  if (stack_size != 0) pthread_attr_setstacksize(&attributes, stack_size);

  LockGuard guard(&g_table_lock);  // a new thread naming itself waits for its entry
  const pthread_t thread = create_with_fallback(routine, argument, &attributes);
  pthread_attr_destroy(&attributes);
  if (thread != 0) register_thread(thread);
  return thread;
}

int32_t upnp_start_thread(upnp_thread_routine routine, void* argument, int32_t priority_class) {
  const pthread_t thread = upnp_start_joinable_thread_impl(routine, argument, priority_class);
  if (thread == 0) return UPNP_FAILED;
  pthread_detach(thread);
  return 0;
}

int32_t upnp_start_thread_with_stack(upnp_thread_routine routine, void* argument, int32_t priority_class,
                                     uint32_t stack_size) {
  (void)stack_size;
  return upnp_start_thread(routine, argument, priority_class);
}

void upnp_set_thread_name(const char* name) {
  static const char kFn[] = "upnp_set_thread_name";
  if (name == nullptr) {
    upnp_log(UPNP_LOG_WARNING, LOG_SYSTEM, kFn, 0, "thread with no name");
  } else if (name[0] == '\0') {
    upnp_log(UPNP_LOG_WARNING, LOG_SYSTEM, kFn, 0, "thread with empty name");
  }
  const pthread_t self = pthread_self();
  LockGuard guard(&g_table_lock);
  ThreadEntry* entry = find_entry(self);
  if (entry == nullptr) {
    upnp_log(UPNP_LOG_WARNING, LOG_SYSTEM, kFn, 0, "unknown thread %lx %s", static_cast<unsigned long>(self),
             name != nullptr ? name : "");
    return;
  }
  snprintf(entry->name, sizeof entry->name, "%s", name != nullptr ? name : "");
}

void upnp_remove_thread(void) {
  static const char kFn[] = "upnp_remove_thread";
  const pthread_t self = pthread_self();
  bool unnamed = false;
  {
    LockGuard guard(&g_table_lock);
    ThreadEntry** link = &table_head;
    while (*link != nullptr && !pthread_equal((*link)->key, self)) link = &(*link)->next;
    ThreadEntry* entry = *link;
    if (entry == nullptr) {
      upnp_log(UPNP_LOG_WARNING, LOG_SYSTEM, kFn, 0, "unknown thread %lx", static_cast<unsigned long>(self));
      return;
    }
    *link = entry->next;
    --g_thread_count;
    unnamed = entry->name[0] == '\0';
    free_entry(entry, kFn);
  }
  if (unnamed) upnp_log(UPNP_LOG_WARNING, LOG_SYSTEM, kFn, 0, "thread with no name");
}

int32_t upnp_thread_wait(int32_t timeout_ms) {
  const pthread_t self = pthread_self();
  upnp_plain_semaphore* semaphore = nullptr;
  {
    LockGuard guard(&g_table_lock);
    ThreadEntry* entry = find_entry(self);
    if (entry == nullptr) return UPNP_INVALID;
    if (entry->wake_pending) {
      entry->wake_pending = 0;
      return 0;
    }
    if (entry->semaphore == nullptr && upnp_semaphore_create(&entry->semaphore, 0) != 0) return UPNP_FAILED;
    entry->waiting = 1;
    semaphore = entry->semaphore;
  }
  int32_t status = upnp_semaphore_wait(&semaphore, timeout_ms, "upnp_thread_wait") == 0 ? 0 : 1;
  LockGuard guard(&g_table_lock);
  // Shut-down may have freed the entry (and the semaphore) meanwhile.
  if (ThreadEntry* entry = find_entry(self); entry != nullptr) {
    entry->waiting = 0;
    // A wake-up that came between the time-out and here still counts.
    if (status != 0 && upnp_semaphore_wait(&entry->semaphore, 0, "upnp_thread_wait") == 0) status = 0;
  }
  return status;
}

void upnp_wakeup_thread(upnp_thread_t thread) {
  LockGuard guard(&g_table_lock);
  ThreadEntry* entry = find_entry(thread);
  if (entry == nullptr) return;
  if (entry->semaphore != nullptr && entry->waiting) {
    sched_yield();
    upnp_semaphore_post(&entry->semaphore, "upnp_wakeup_thread");
  } else {
    entry->wake_pending = 1;
  }
}

int32_t upnp_thread_waiting(upnp_thread_t thread) {
  LockGuard guard(&g_table_lock);
  const ThreadEntry* entry = find_entry(thread);
  return entry != nullptr && entry->waiting ? 1 : 0;
}

int32_t upnp_count_threads(const char* const* names) {
  LockGuard guard(&g_table_lock);
  int32_t count = 0;
  for (const ThreadEntry* entry = table_head; entry != nullptr; entry = entry->next) {
    if (names == nullptr) {
      ++count;
      continue;
    }
    for (const char* const* name = names; *name != nullptr; ++name) {
      if (strcmp(entry->name, *name) == 0) {
        ++count;
        break;
      }
    }
  }
  return count;
}

int32_t upnp_close_thread_sockets(void) {
  LockGuard guard(&g_table_lock);
  int32_t closed = 0;
  for (ThreadEntry* entry = table_head; entry != nullptr; entry = entry->next) {
    if (entry->socket == -1) continue;
    char socket_text[16];
    snprintf(socket_text, sizeof socket_text, "%d", entry->socket);
    upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_close_thread_sockets", 0, "closing assoc. socket %s thread (%s)\n",
             entry->name, socket_text);
    close(entry->socket);
    entry->socket = -1;
    closed = 1;
  }
  return closed;
}

void upnp_thread_counters(int32_t* current, int32_t* highest, int64_t* total) {
  LockGuard guard(&g_table_lock);
  if (current != nullptr) *current = g_thread_count;
  if (highest != nullptr) *highest = g_thread_count_highest;
  if (total != nullptr) *total = g_thread_count_total;
}

int32_t upnp_threads_permitted(void) { return g_threads_permitted.load(); }

void upnp_threads_set_create_hook(upnp_thread_create_fn create) { g_create_thread = create; }

int32_t upnp_thread_table_prepare(void) {
  if (!upnp_lock_exists(&g_table_lock) && upnp_lock_create(&g_table_lock) != 0) return UPNP_FAILED;
  if (upnp_mutex_prepare() != 0) return UPNP_FAILED;
  if (!upnp_lock_exists(&g_runtime_lock) && upnp_lock_create(&g_runtime_lock) != 0) return UPNP_FAILED;
  return upnp_thread_pool_prepare();
}

void upnp_thread_table_init(void) {
  {
    LockGuard guard(&g_table_lock);
    while (table_head != nullptr) {
      ThreadEntry* entry = table_head;
      table_head = entry->next;
      free_entry(entry, "upnp_thread_table_init");
    }
    g_thread_count = 0;
    g_thread_count_highest = 0;
    g_thread_count_total = 0;
  }
  upnp_thread_pool_init();
  g_threads_permitted = 1;
}

void upnp_thread_table_wake_and_free(void) {
  g_threads_permitted = 0;
  bool any;
  {
    LockGuard guard(&g_table_lock);
    for (ThreadEntry* entry = table_head; entry != nullptr; entry = entry->next) {
      if (entry->semaphore != nullptr) upnp_semaphore_release_always(&entry->semaphore);
    }
    any = table_head != nullptr;
  }
  if (any) upnp_sleep_ms(50);
  // Threads may still register while the table is emptied: repeat until empty.
  for (;;) {
    ThreadEntry* taken;
    {
      LockGuard guard(&g_table_lock);
      taken = table_head;
      table_head = nullptr;
      g_thread_count = 0;
    }
    if (taken == nullptr) break;
    while (taken != nullptr) {
      ThreadEntry* entry = taken;
      taken = entry->next;
      if (entry->semaphore != nullptr) {
        upnp_semaphore_release_always(&entry->semaphore);
        upnp_sleep_ms(10);
        upnp_semaphore_destroy(&entry->semaphore, "upnp_threads_release");
      }
      upnp_free(entry);
    }
  }
}

void upnp_thread_table_release(void) {
  upnp_lock_destroy(&g_table_lock);
  upnp_mutex_release();
  upnp_lock_destroy(&g_runtime_lock);
}

}  // extern "C"
