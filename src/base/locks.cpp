#include "base/locks.h"
#include "base/status.h"

#include <errno.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <atomic>
#include <new>

struct upnp_plain_lock {
  pthread_mutex_t mutex;
  int32_t created;
  int32_t held;
  pthread_t owner;
};

struct upnp_plain_semaphore {
  sem_t sem;
  int32_t created;
  int32_t taken;
};

int32_t live_lock_count = 0;

namespace {

// Locks are created from several threads (a worker making its protocol
// mutex), so the counter is bumped atomically; it stays a plain int32_t for C.
void count_lock(int32_t delta) {
  std::atomic_ref<int32_t>(live_lock_count).fetch_add(delta, std::memory_order_relaxed);
}

void print_system_error(const char* call, int error) {
  fprintf(stderr, "%s: %s\n", call, strerror(error));
}

// The waiter sets the mark and the poster clears it from another thread;
// the mark is informational, so relaxed atomic stores suffice.
void set_taken(upnp_plain_semaphore* record, int32_t value) {
  std::atomic_ref<int32_t>(record->taken).store(value, std::memory_order_relaxed);
}

upnp_plain_lock* lock_record(upnp_lock_handle handle) {
  if (handle == nullptr || *handle == nullptr || (*handle)->created == 0) return nullptr;
  return *handle;
}

upnp_plain_semaphore* semaphore_record(upnp_semaphore_handle handle) {
  if (handle == nullptr || *handle == nullptr || (*handle)->created == 0) return nullptr;
  return *handle;
}

// Takes the lock through `take` (pthread_mutex_lock or _trylock) and notes
// the holder; EBUSY from a try answers 1.
int32_t take_lock(upnp_lock_handle handle, int (*take)(pthread_mutex_t*), const char* call) {
  upnp_plain_lock* record = lock_record(handle);
  if (record == nullptr) return UPNP_INVALID;
  const int error = take(&record->mutex);
  if (error == EBUSY) return 1;
  if (error != 0) {
    print_system_error(call, error);
    return UPNP_FAILED;
  }
  record->owner = pthread_self();
  record->held = 1;
  return 0;
}

}  // namespace

extern "C" {

int32_t upnp_lock_create(upnp_lock_handle handle) {
  if (handle == nullptr || *handle != nullptr) return UPNP_INVALID;
  auto* record = static_cast<upnp_plain_lock*>(calloc(1, sizeof(upnp_plain_lock)));
  if (record == nullptr) return UPNP_NOMEM;
  if (pthread_mutex_init(&record->mutex, nullptr) != 0) {
    free(record);
    return UPNP_FAILED;
  }
  record->created = 1;
  *handle = record;
  count_lock(1);
  return 0;
}

int32_t upnp_lock(upnp_lock_handle handle) { return take_lock(handle, pthread_mutex_lock, "pthread_mutex_lock"); }

int32_t upnp_lock_try(upnp_lock_handle handle) {
  return take_lock(handle, pthread_mutex_trylock, "pthread_mutex_trylock");
}

int32_t upnp_unlock(upnp_lock_handle handle) {
  upnp_plain_lock* record = lock_record(handle);
  if (record == nullptr) return UPNP_INVALID;
  record->held = 0;
  int error = pthread_mutex_unlock(&record->mutex);
  if (error != 0) {
    print_system_error("pthread_mutex_unlock", error);
    return UPNP_FAILED;
  }
  return 0;
}

int32_t upnp_lock_destroy(upnp_lock_handle handle) {
  if (handle == nullptr || *handle == nullptr) return UPNP_INVALID;
  upnp_plain_lock* record = *handle;
  *handle = nullptr;
  record->created = 0;
  pthread_mutex_destroy(&record->mutex);
  free(record);
  count_lock(-1);
  return 0;
}

int32_t upnp_lock_exists(upnp_lock_handle handle) { return lock_record(handle) != nullptr ? 1 : 0; }

int32_t upnp_semaphore_create(upnp_semaphore_handle handle, uint32_t initial_count) {
  if (handle == nullptr || *handle != nullptr) return UPNP_INVALID;
  auto* record = static_cast<upnp_plain_semaphore*>(calloc(1, sizeof(upnp_plain_semaphore)));
  if (record == nullptr) return UPNP_NOMEM;
  if (sem_init(&record->sem, 0, initial_count) != 0) {
    free(record);
    return UPNP_FAILED;
  }
  record->created = 1;
  *handle = record;
  return 0;
}

int32_t upnp_semaphore_wait(upnp_semaphore_handle handle, int32_t timeout_ms, const char* caller) {
  (void)caller;
  upnp_plain_semaphore* record = semaphore_record(handle);
  if (record == nullptr) return UPNP_INVALID;
  int rc;
  if (timeout_ms < 0) {
    rc = sem_wait(&record->sem);
  } else if (timeout_ms == 0) {
    rc = sem_trywait(&record->sem);
  } else {
    struct timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += timeout_ms / 1000;
    deadline.tv_nsec += static_cast<long>(timeout_ms % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
      deadline.tv_sec += 1;
      deadline.tv_nsec -= 1000000000L;
    }
    rc = sem_timedwait(&record->sem, &deadline);
  }
  if (rc == 0) {
    set_taken(record, 1);
    return 0;
  }
  if (errno == ETIMEDOUT || errno == EINTR || errno == EAGAIN) return 1;
  return UPNP_FAILED;
}

void upnp_semaphore_post(upnp_semaphore_handle handle, const char* caller) {
  (void)caller;
  upnp_plain_semaphore* record = semaphore_record(handle);
  if (record == nullptr) return;
  set_taken(record, 0);
  sem_post(&record->sem);
}

void upnp_semaphore_release_always(upnp_semaphore_handle handle) {
  upnp_plain_semaphore* record = semaphore_record(handle);
  if (record == nullptr) return;
  sem_trywait(&record->sem);
  set_taken(record, 0);
  sem_post(&record->sem);
}

void upnp_semaphore_destroy(upnp_semaphore_handle handle, const char* caller) {
  (void)caller;
  if (handle == nullptr || *handle == nullptr) return;
  upnp_plain_semaphore* record = *handle;
  *handle = nullptr;
  record->created = 0;
  sem_destroy(&record->sem);
  free(record);
}

int32_t upnp_semaphore_value(upnp_semaphore_handle handle) {
  upnp_plain_semaphore* record = semaphore_record(handle);
  if (record == nullptr) return -1;
  int value = 0;
  sem_getvalue(&record->sem, &value);
  return value;
}

}  // extern "C"
