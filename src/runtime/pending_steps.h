/* Start-up and shut-down steps of modules whose code has not landed yet.
 * Each keeps its place in the sequence as an empty step; when a module
 * lands, its steps move into its own header and out of this file. */
#ifndef UPNP_RUNTIME_PENDING_STEPS_H
#define UPNP_RUNTIME_PENDING_STEPS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Thread table, protocol mutex state, general runtime lock, worker counter
 * and task queues. */
int32_t upnp_thread_table_prepare(void);
void upnp_thread_table_init(void);
void upnp_thread_table_wake_and_free(void);
void upnp_thread_pool_release(void);
void upnp_thread_table_release(void);
int32_t upnp_close_thread_sockets(void);

int32_t upnp_file_prepare(void);
void upnp_file_init(void);
void upnp_file_release(void);

void upnp_encoding_init(void);

int32_t upnp_ini_prepare(void);
void upnp_ini_init(void);
void upnp_ini_stop(void);
void upnp_ini_release(void);

int32_t upnp_resource_prepare(void);
void upnp_resource_init(void);
void upnp_resource_stop(void);
void upnp_resource_release(void);

void upnp_translate_module_init(void);
void upnp_translate_module_stop(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_RUNTIME_PENDING_STEPS_H */
