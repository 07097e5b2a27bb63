/* The scheduler: one background thread, "upnp_mediaserver_scheduler", that
 * runs short tasks at given times, one after another, or each on a thread of
 * its own when asked; per-name run statistics; and the list of socket
 * time-outs whose expiry one self-rescheduling task ("socket release") drives.
 *
 * Ownership: a queued task belongs to the scheduler, and so does its
 * argument, which must be a tracked block (or null): it is freed with
 * upnp_free together with the task, whether the task ran or not. A task
 * function must not free its argument.
 *
 * Locks: the queue lock guards the queue only and is never held while a task
 * runs; the statistics lock guards the statistics table; the protocol mutex
 * guards the socket time-out lists. No two of them are held at once.
 *
 * Status codes: UPNP_OK; UPNP_INVALID no function given, UPNP_NOMEM out of memory, UPNP_FAILED the
 * scheduler is not running or the server is in no state to accept tasks. */
#ifndef UPNP_SERVICES_SCHEDULER_H
#define UPNP_SERVICES_SCHEDULER_H

#include <stdint.h>

#include "base/upnp_string.h"

#ifdef __cplusplus
extern "C" {
#endif

#define UPNP_SCHEDULER_THREAD_NAME "upnp_mediaserver_scheduler"
#define UPNP_TASK_NAME_SIZE 32
#define UPNP_TASK_STATISTICS_SLOTS 32

typedef void (*upnp_task_fn)(void* argument);

typedef struct upnp_task {
  upnp_task_fn function;
  void* argument;                  /* tracked block freed with the task */
  uint32_t own_thread;             /* 0: runs on the scheduler thread */
  uint64_t due;                    /* millisecond tick at queueing plus the delay */
  char name[UPNP_TASK_NAME_SIZE];  /* cut to 31 characters; "" when none */
  uint32_t run_at_stop;            /* called once at stop if still queued */
  struct upnp_task* next;
} upnp_task;

/* Server states that matter here: tasks are accepted in both, and run only
 * while the server is running; in any other state they are refused. */
#define UPNP_SERVER_RUNNING 1
#define UPNP_SERVER_INITIALISED (-2)

int32_t upnp_server_state(void);
void upnp_set_server_state(int32_t state);

/* UPNP_FAILED when the scheduler is not running or the server state is neither
 * running nor initialised, 2 for a null function, else the queueing result. */
int32_t upnp_schedule_task(upnp_task_fn function, void* argument, uint32_t own_thread, uint32_t delay_ms,
                           const char* name);
/* Queues without the checks above: 8 when the task cannot be allocated
 * (the argument stays the caller's), else 0. Tasks with equal due times run
 * in the order they were queued. */
int32_t upnp_schedule_task_ex(upnp_task_fn function, void* argument, uint32_t own_thread, uint32_t delay_ms,
                              const char* name, uint32_t run_at_stop);
/* Removes and frees the first queued task with this function, if any. */
void upnp_unschedule_task(upnp_task_fn function);
/* 1 while the scheduler runs. */
int32_t upnp_scheduler_running(void);

/* The per-name run report: a new record the caller frees, null when out
 * of memory. */
upnp_string* upnp_scheduler_statistics(void);

/* Socket time-outs. An identifier of 0 names none. */
/* Queues the "socket release" task for `expiry` (millisecond tick), at least
 * 10 ms ahead: 0, or 1 when it cannot be queued (logged). */
int32_t scheduleNextSocketTimeoutTask(uint64_t expiry);
/* Takes a time-out out of the lists without waiting for their mutex (1 when
 * it is busy, logged). The socket is closed when `close_socket` is set. 1 when
 * nothing matched or the socket was closed, 0 when the record was freed with
 * its socket left open, 0 for identifier 0. */
int32_t removeSocketTimeout(uint32_t identifier, int32_t close_socket);
/* Enters a socket whose connection is given up `timeout_ms` from now: the
 * identifier, or 0 when out of memory or the lists are busy being torn down. */
uint32_t addSocketTimeout(int32_t socket, uint32_t timeout_ms);

/* Start-up and shut-down steps. prepare creates the protocol mutex of the
 * socket time-outs and the two plain locks (queue, scratch texts); init
 * starts the thread (failure is logged and start-up goes on); stop ends it,
 * frees the socket time-outs and calls the queued run_at_stop tasks; release
 * destroys the locks. */
int32_t upnp_util_prepare(void);
void upnp_util_init(void);
void upnp_util_stop(void);
void upnp_util_release(void);

/* The statistics table's steps: its lock; clearing the table. */
int32_t upnp_statistics_prepare(void);
void upnp_statistics_init(void);
void upnp_statistics_stop(void);
void upnp_statistics_release(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_SERVICES_SCHEDULER_H */
