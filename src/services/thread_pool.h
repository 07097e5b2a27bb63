/* Worker pool: short tasks run on detached worker threads, at most
 * "maxthreads" at once (0: no limit); tasks beyond the limit wait in one of
 * three queues; a worker that finishes its task takes the next one from the
 * queue it was started for, or else from the others, so that no queued task
 * is left without a worker. The running-worker count always equals the number of
 * live workers: a worker lowers it, under the task-queue lock, in the same
 * step in which it finds its queue empty.
 *
 * Lock order: the task-queue lock, then the worker counter's lock. */
#ifndef UPNP_SERVICES_THREAD_POOL_H
#define UPNP_SERVICES_THREAD_POOL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*upnp_task_fn)(void* argument);

typedef struct upnp_pool_task {
  upnp_task_fn routine;
  void* argument;
  int32_t queue;
  struct upnp_pool_task* next;
} upnp_pool_task;

/* 0 when the task was started or queued; 2 for a queue number outside 0 to 2
 * or a null routine; UPNP_FAILED when the task record cannot be allocated or no
 * worker can be started (the task has then not run and never will). */
int32_t upnp_thread_pool_run(upnp_task_fn routine, void* argument, int32_t queue);
/* Takes the head of a queue (the caller frees it with upnp_free), or null
 * when it is empty or background threads are not permitted. */
upnp_pool_task* upnp_thread_pool_next(int32_t queue);
/* The number of live workers. */
int32_t upnp_thread_pool_running(void);

/* Start-up and shut-down steps (prepare and init run inside the thread
 * table's): prepare creates the worker counter and the task-queue lock; init
 * empties the queues; release frees what is still queued (never run) and
 * destroys both. */
int32_t upnp_thread_pool_prepare(void);
void upnp_thread_pool_init(void);
void upnp_thread_pool_release(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_SERVICES_THREAD_POOL_H */
