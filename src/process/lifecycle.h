/* Start-up and shut-down of the runtime as a whole.
 *
 * Every module has up to four steps: prepare (create its locks and nothing
 * else), init (reset its tables, start its threads), stop (stop its threads,
 * free what its tables own) and release (destroy the locks of prepare). The
 * functions here call them in one fixed order, on the main thread, before
 * any other thread exists and after the last one was woken. */
#ifndef UPNP_PROCESS_LIFECYCLE_H
#define UPNP_PROCESS_LIFECYCLE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* 1 once the prepare phase has begun / once the init phase has begun. */
extern int32_t runtime_prepared;
extern int32_t runtime_started;

/* The prepare phase: UPNP_OK, or UPNP_FAILED when a lock could not be created (the modules
 * after it stay without locks). Runs once; later calls return 0. */
int32_t upnp_runtime_prepare(void);
/* Prepare (if not yet run) and init phases; a second call does nothing. */
void upnp_runtime_init(void);
/* Stop phase (if init ran), then release phase (if prepare ran). */
void upnp_runtime_exit(void);
/* The stop phase. */
void upnp_threads_release(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_PROCESS_LIFECYCLE_H */
