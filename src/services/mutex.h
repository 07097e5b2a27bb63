/* Protocol mutexes and guarded flags.
 *
 * A protocol mutex can be destroyed while other threads queue on it: one
 * global protocol lock guards every mutex's waiter count, its "destroying"
 * mark and the handles themselves; a destroy waits (up to 10 seconds) until
 * no thread is queued, and each queued thread that gets the lock during a
 * destroy gives it back at once. The holder itself is not waited for: destroy
 * a mutex only after its holder has released it.
 *
 * A guarded flag is a 32-bit value behind its own plain lock.
 *
 * Misuse is logged at level 3 (warning), category LOG_SYSTEM, under the
 * function's own name. Status codes: UPNP_OK, UPNP_INVALID invalid argument (null
 * handle, not created, already created), UPNP_NOMEM out of memory, UPNP_FAILED a lock could not
 * be taken or created. */
#ifndef UPNP_SERVICES_MUTEX_H
#define UPNP_SERVICES_MUTEX_H

#include <stdint.h>

#include "base/locks.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct upnp_mutex {
  upnp_plain_lock* lock;
  int32_t waiters;    /* threads between announcing themselves and the lock */
  int32_t destroying; /* 1 while a destroy is in progress */
  char name[128];
} upnp_mutex;
typedef upnp_mutex** upnp_mutex_handle;

/* Says whether a caller of upnp_mutex_lock may still proceed (1 yes). */
typedef int32_t (*upnp_mutex_check_fn)(upnp_mutex_handle handle);

/* name may be null; create_locked hands the new mutex to the caller held. */
int32_t upnp_mutex_create_impl(upnp_mutex_handle handle, int32_t create_locked, const char* name);
/* 1 when the caller now holds the mutex, 0 otherwise (null handle, not
 * created, being destroyed, check refused, lock failure). `check` may be
 * null; it is asked before and again under the global protocol lock. */
int32_t upnp_mutex_lock(upnp_mutex_handle handle, upnp_mutex_check_fn check);
/* Takes the mutex only if it is free at once, never waiting: 1 when the
 * caller now holds it, 0 otherwise (also when the caller holds it already,
 * or it is being destroyed). Logs nothing. */
int32_t upnp_mutex_try_lock(upnp_mutex_handle handle);
int32_t upnp_mutex_unlock(upnp_mutex_handle handle);
/* 1 when destroyed and the handle emptied, 0 otherwise. */
int32_t upnp_mutex_destroy(upnp_mutex_handle handle);

/* Reads the waiter count and the destroying mark under the global protocol
 * lock (diagnostics and tests); 0 when there is no mutex. */
int32_t upnp_mutex_state(upnp_mutex_handle handle, int32_t* waiters, int32_t* destroying);

/* Start-up and shut-down steps: the global protocol lock. */
int32_t upnp_mutex_prepare(void);
void upnp_mutex_release(void);

typedef struct upnp_flag {
  upnp_plain_lock* lock;
  int32_t value; /* initially 0 */
  int32_t mark;  /* initially 1 */
} upnp_flag;
typedef upnp_flag** upnp_flag_handle;

/* 2 for a null handle or one that already holds a flag, 8 out of memory. */
int32_t upnp_flag_create(upnp_flag_handle handle);
void upnp_flag_set(upnp_flag_handle handle, int32_t value);
/* The value read under the lock; 0 without a flag. */
int32_t upnp_flag_get(upnp_flag_handle handle);
/* Adds delta under the lock and returns the new value; 0 without a flag. */
int32_t upnp_flag_add(upnp_flag_handle handle, int32_t delta);
void upnp_flag_destroy(upnp_flag_handle handle);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_SERVICES_MUTEX_H */
