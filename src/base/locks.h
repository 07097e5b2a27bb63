/* Plain locks and counting semaphores: thin records around the POSIX
 * primitives, reached through a handle (a pointer to the record pointer; a
 * null record means the object does not exist).
 *
 * The records come from the plain system heap, not the tracked allocator, so
 * that tracked memory can itself be guarded by a plain lock. For the same
 * reason faults are printed on standard error, never logged.
 *
 * Status codes: UPNP_OK, UPNP_INVALID invalid argument (null handle, no record, not
 * created, already created), UPNP_NOMEM out of memory, UPNP_FAILED system call failed. */
#ifndef UPNP_BASE_LOCKS_H
#define UPNP_BASE_LOCKS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct upnp_plain_lock upnp_plain_lock;
typedef upnp_plain_lock** upnp_lock_handle;

typedef struct upnp_plain_semaphore upnp_plain_semaphore;
typedef upnp_plain_semaphore** upnp_semaphore_handle;

/* Locks created minus locks destroyed; the runtime's init phase resets it. */
extern int32_t live_lock_count;

int32_t upnp_lock_create(upnp_lock_handle handle);
int32_t upnp_lock(upnp_lock_handle handle);
/* Takes the lock only if it is free at once: 0 taken, 1 busy (also when the
 * caller holds it already), UPNP_INVALID, UPNP_FAILED. */
int32_t upnp_lock_try(upnp_lock_handle handle);
int32_t upnp_unlock(upnp_lock_handle handle);
int32_t upnp_lock_destroy(upnp_lock_handle handle);
/* 1 while the handle holds a created lock. */
int32_t upnp_lock_exists(upnp_lock_handle handle);

/* Creates a semaphore with the given initial count. */
int32_t upnp_semaphore_create(upnp_semaphore_handle handle, uint32_t initial_count);
/* timeout_ms: -1 waits without limit, 0 only tries, >0 waits until now +
 * timeout by the wall clock. 0 taken, 1 not taken (time out, interrupted,
 * busy), UPNP_INVALID invalid, UPNP_FAILED other failures. */
int32_t upnp_semaphore_wait(upnp_semaphore_handle handle, int32_t timeout_ms, const char* caller);
void upnp_semaphore_post(upnp_semaphore_handle handle, const char* caller);
/* One try-wait, then one post: the count ends at exactly 1 from 0 or 1. */
void upnp_semaphore_release_always(upnp_semaphore_handle handle);
void upnp_semaphore_destroy(upnp_semaphore_handle handle, const char* caller);
/* The current count, or -1 for an invalid handle (diagnostics and tests). */
int32_t upnp_semaphore_value(upnp_semaphore_handle handle);

#ifdef __cplusplus
}  /* extern "C" */

/* Holds a plain lock for a scope. */
class LockGuard {
 public:
  explicit LockGuard(upnp_lock_handle handle) : handle_(handle) { upnp_lock(handle_); }
  ~LockGuard() { upnp_unlock(handle_); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;

 private:
  upnp_lock_handle handle_;
};
#endif

#endif /* UPNP_BASE_LOCKS_H */
