/* The registry of threads that the runtime starts: each gets an entry with
 * its handle, a name it gives itself, a wake-up semaphore made on demand and
 * an optional associated socket. Entries live in one list under the
 * thread-table lock, newest first.
 *
 * Misuse is logged at level 3 (warning), category LOG_SYSTEM; failures to
 * start a thread at level 3 or 4. The thread-table lock is never held while
 * a protocol mutex or another module's lock is taken. */
#ifndef UPNP_SERVICES_THREADS_H
#define UPNP_SERVICES_THREADS_H

#include <pthread.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef pthread_t upnp_thread_t; /* 0 stands for "no thread" */
typedef void* (*upnp_thread_routine)(void* argument);

/* Starts a joinable thread and registers it. Priority classes: 3, 4, 6 and 7
 * ask for 10, 30, 70 and 90, any other class (5 is usual) for 50. The stack
 * size comes from the "stack_size" setting. Returns the handle, 0 if no
 * thread could be started. */
upnp_thread_t upnp_start_joinable_thread_impl(upnp_thread_routine routine, void* argument,
                                              int32_t priority_class);
/* Starts a registered thread and detaches it at once: UPNP_OK, or UPNP_FAILED when none
 * could be started. */
int32_t upnp_start_thread(upnp_thread_routine routine, void* argument, int32_t priority_class);
/* The same; the stack size asked for is ignored on purpose, the setting rules. */
int32_t upnp_start_thread_with_stack(upnp_thread_routine routine, void* argument,
                                     int32_t priority_class, uint32_t stack_size);

/* The calling thread names itself (at most 63 bytes are kept). */
void upnp_set_thread_name(const char* name);
/* The calling thread removes its own entry before it ends. */
void upnp_remove_thread(void);

/* The calling thread sleeps on its own semaphore until upnp_wakeup_thread or
 * the time-out (-1 waits without limit). 0 when woken (also by a wake-up
 * that arrived while it was not sleeping), 1 on time-out, 2 for a thread the
 * registry does not know, UPNP_FAILED when its semaphore cannot be made. */
int32_t upnp_thread_wait(int32_t timeout_ms);
/* Wakes a registered thread sleeping in upnp_thread_wait, or leaves a
 * pending wake-up for its next sleep. */
void upnp_wakeup_thread(upnp_thread_t thread);

/* 1 while the thread sleeps in upnp_thread_wait (diagnostics and tests). */
int32_t upnp_thread_waiting(upnp_thread_t thread);

/* Registered threads whose name equals one of `names` (a list ending in a
 * null entry); every registered thread when `names` is null. */
int32_t upnp_count_threads(const char* const* names);
/* Closes every associated socket: 1 if any was closed. */
int32_t upnp_close_thread_sockets(void);
/* Current, highest and total number of registered threads; any pointer may
 * be null. */
void upnp_thread_counters(int32_t* current, int32_t* highest, int64_t* total);
/* 1 from the init step to the stop step: background threads may run. */
int32_t upnp_threads_permitted(void);

/* The rules applied to the "stack_size" setting (0: the system's default)
 * and to the priority class. */
uint64_t upnp_thread_stack_size(int64_t setting);
int32_t upnp_thread_priority(int32_t priority_class);

/* Test seam: replaces pthread_create; null restores it. */
typedef int (*upnp_thread_create_fn)(pthread_t* thread, const pthread_attr_t* attributes,
                                     void* (*routine)(void*), void* argument);
void upnp_threads_set_create_hook(upnp_thread_create_fn create);

/* Start-up and shut-down steps.
 * prepare: the thread-table lock, the protocol mutexes' global lock, the
 *   general runtime lock, the worker counter and the task-queue lock;
 * init: empties the table and the task queues, zeroes the counters and
 *   permits background threads;
 * wake_and_free (the end of the stop phase): forbids background threads,
 *   wakes every registered thread, waits 50 ms, then frees every entry,
 *   repeating until the table stays empty; threads are not joined;
 * release: destroys the thread-table, protocol and general locks (the worker
 *   counter and task-queue lock go earlier, upnp_thread_pool_release). */
int32_t upnp_thread_table_prepare(void);
void upnp_thread_table_init(void);
void upnp_thread_table_wake_and_free(void);
void upnp_thread_table_release(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_SERVICES_THREADS_H */
