#include "services/mutex.h"

#include <stdio.h>

#include "base/log.h"
#include "base/memory.h"
#include "base/status.h"
#include "base/time_format.h"

namespace {

upnp_plain_lock* g_protocol_lock = nullptr;

constexpr int kDestroyPollMs = 50;
constexpr int kDestroyPolls = 200;  // 10 seconds in all

#define MUTEX_WARN(function, ...) upnp_log(UPNP_LOG_WARNING, LOG_SYSTEM, function, 0, __VA_ARGS__)

// Takes the global lock; when it cannot be had, warns in the caller's words.
[[nodiscard]] bool lock_global(const char* function, const char* failure) {
  if (upnp_lock(&g_protocol_lock) == 0) return true;
  MUTEX_WARN(function, "%s", failure);
  return false;
}

}  // namespace

extern "C" {

int32_t upnp_mutex_create_impl(upnp_mutex_handle handle, int32_t create_locked, const char* name) {
  static const char kFn[] = "upnp_mutex_create_impl";
  if (handle == nullptr) {
    MUTEX_WARN(kFn, "Invoked without mutex");
    return UPNP_INVALID;
  }
  if (!lock_global(kFn, "Cannot lock global mutex")) return UPNP_FAILED;
  const bool exists = *handle != nullptr;
  upnp_unlock(&g_protocol_lock);
  if (exists) {
    MUTEX_WARN(kFn, "Mutex already created");
    return UPNP_INVALID;
  }
  // The record is made and, if asked, locked outside the global lock: a
  // record's lock is only ever taken before the global one (see lock).
  auto* record = static_cast<upnp_mutex*>(upnp_calloc(1, sizeof(upnp_mutex)));
  if (record == nullptr) {
    MUTEX_WARN(kFn, "Out of memory creating mutex");
    return UPNP_NOMEM;
  }
  if (name != nullptr) snprintf(record->name, sizeof record->name, "%s", name);
  if (upnp_lock_create(&record->lock) != 0) {
    MUTEX_WARN(kFn, "Cannot create mutex");
    upnp_free(record);
    return UPNP_FAILED;
  }
  if (create_locked && upnp_lock(&record->lock) != 0) {
    upnp_lock_destroy(&record->lock);
    upnp_free(record);
    MUTEX_WARN(kFn, "Cannot create locked mutex");
    return UPNP_FAILED;
  }
  int32_t status = 0;
  if (!lock_global(kFn, "Cannot lock global mutex")) {
    status = UPNP_FAILED;
  } else {
    if (*handle != nullptr) {  // another thread was quicker
      MUTEX_WARN(kFn, "Mutex already created");
      status = UPNP_INVALID;
    } else {
      *handle = record;
    }
    upnp_unlock(&g_protocol_lock);
  }
  if (status != 0) {
    if (create_locked) upnp_unlock(&record->lock);
    upnp_lock_destroy(&record->lock);
    upnp_free(record);
  }
  return status;
}

int32_t upnp_mutex_lock(upnp_mutex_handle handle, upnp_mutex_check_fn check) {
  static const char kFn[] = "upnp_mutex_lock";
  if (handle == nullptr) {
    MUTEX_WARN(kFn, "Invoked without mutex");
    return 0;
  }
  if (check != nullptr && check(handle) != 1) return 0;
  if (!lock_global(kFn, "Failed to lock global mutex")) return 0;
  upnp_mutex* record = *handle;
  if (record == nullptr || record->destroying) {
    upnp_unlock(&g_protocol_lock);
    MUTEX_WARN(kFn, "Failed to lock mutex since it is being destroyed (1) [%s]",
               record != nullptr ? record->name : "");
    return 0;
  }
  if (check != nullptr && check(handle) != 1) {
    upnp_unlock(&g_protocol_lock);
    return 0;
  }
  ++record->waiters;
  if (upnp_unlock(&g_protocol_lock) != 0) {
    MUTEX_WARN(kFn, "Failed to unlock global mutex");
    return 0;
  }
  // The record cannot go away from here on: destroy waits for the waiters.
  if (upnp_lock(&record->lock) != 0) {
    MUTEX_WARN(kFn, "Failed to lock mutex");
    return 0;
  }
  if (upnp_lock(&g_protocol_lock) != 0) {
    upnp_unlock(&record->lock);
    MUTEX_WARN(kFn, "Failed to lock global mutex");
    return 0;
  }
  --record->waiters;
  if (!record->destroying) {
    upnp_unlock(&g_protocol_lock);
    return 1;
  }
  // Give the record's lock back before the global one: once the global lock
  // is free, the destroyer may see no waiters and free the record.
  upnp_unlock(&record->lock);
  upnp_unlock(&g_protocol_lock);
  MUTEX_WARN(kFn, "Failed to lock mutex since it is being destroyed (2)");
  return 0;
}

int32_t upnp_mutex_try_lock(upnp_mutex_handle handle) {
  if (handle == nullptr || upnp_lock(&g_protocol_lock) != 0) return 0;
  // Trying never blocks, so it may happen under the global lock, which also
  // keeps a destroyer from freeing the record meanwhile.
  upnp_mutex* record = *handle;
  const bool taken = record != nullptr && !record->destroying && upnp_lock_try(&record->lock) == 0;
  upnp_unlock(&g_protocol_lock);
  return taken ? 1 : 0;
}

int32_t upnp_mutex_unlock(upnp_mutex_handle handle) {
  static const char kFn[] = "upnp_mutex_unlock";
  if (handle == nullptr) {
    MUTEX_WARN(kFn, "Invoked with NULL");
    return UPNP_INVALID;
  }
  if (*handle == nullptr) {
    MUTEX_WARN(kFn, "Invoked without mutex");
    return UPNP_INVALID;
  }
  return upnp_unlock(&(*handle)->lock) == 0 ? UPNP_OK : UPNP_FAILED;
}

int32_t upnp_mutex_destroy(upnp_mutex_handle handle) {
  static const char kFn[] = "upnp_mutex_destroy";
  if (handle == nullptr) {
    MUTEX_WARN(kFn, "Invoked without mutex");
    return 0;
  }
  if (!lock_global(kFn, "Failed to lock global mutex")) return 0;
  upnp_mutex* record = *handle;
  if (record == nullptr || record->destroying) {
    upnp_unlock(&g_protocol_lock);
    MUTEX_WARN(kFn, "Failed to lock mutex since it is being destroyed by somebody else");
    return 0;
  }
  record->destroying = 1;
  for (int polls = 0; record->waiters > 0;) {
    upnp_unlock(&g_protocol_lock);
    upnp_sleep_ms(kDestroyPollMs);
    upnp_lock(&g_protocol_lock);
    if (++polls >= kDestroyPolls && record->waiters > 0) {
      record->destroying = 0;
      upnp_unlock(&g_protocol_lock);
      MUTEX_WARN(kFn, "Failed to lock mutex since it is being destroyed by somebody else 2");
      return 0;
    }
  }
  upnp_lock_destroy(&record->lock);
  upnp_free(record);
  *handle = nullptr;
  upnp_unlock(&g_protocol_lock);
  return 1;
}

int32_t upnp_mutex_state(upnp_mutex_handle handle, int32_t* waiters, int32_t* destroying) {
  if (handle == nullptr) return 0;
  LockGuard guard(&g_protocol_lock);
  if (*handle == nullptr) return 0;
  if (waiters != nullptr) *waiters = (*handle)->waiters;
  if (destroying != nullptr) *destroying = (*handle)->destroying;
  return 1;
}

int32_t upnp_mutex_prepare(void) {
  if (upnp_lock_exists(&g_protocol_lock)) return 0;
  return upnp_lock_create(&g_protocol_lock) == 0 ? UPNP_OK : UPNP_FAILED;
}

void upnp_mutex_release(void) { upnp_lock_destroy(&g_protocol_lock); }

int32_t upnp_flag_create(upnp_flag_handle handle) {
  if (handle == nullptr || *handle != nullptr) return UPNP_INVALID;
  auto* flag = static_cast<upnp_flag*>(upnp_calloc(1, sizeof(upnp_flag)));
  if (flag == nullptr) return UPNP_NOMEM;
  // A flag without its lock still works single-threaded, as it always has.
  (void)upnp_lock_create(&flag->lock);
  flag->mark = 1;
  *handle = flag;
  return 0;
}

void upnp_flag_set(upnp_flag_handle handle, int32_t value) {
  if (handle == nullptr || *handle == nullptr) return;
  LockGuard guard(&(*handle)->lock);
  (*handle)->value = value;
}

int32_t upnp_flag_get(upnp_flag_handle handle) {
  if (handle == nullptr || *handle == nullptr) return 0;
  LockGuard guard(&(*handle)->lock);
  return (*handle)->value;
}

int32_t upnp_flag_add(upnp_flag_handle handle, int32_t delta) {
  if (handle == nullptr || *handle == nullptr) return 0;
  LockGuard guard(&(*handle)->lock);
  (*handle)->value += delta;
  return (*handle)->value;
}

void upnp_flag_destroy(upnp_flag_handle handle) {
  if (handle == nullptr || *handle == nullptr) return;
  upnp_flag* flag = *handle;
  *handle = nullptr;
  upnp_lock_destroy(&flag->lock);
  flag->value = 0;
  upnp_free(flag);
}

}  // extern "C"
