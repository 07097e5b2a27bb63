/* Start-up and shut-down steps of modules whose code has not landed yet.
 * Each keeps its place in the sequence as an empty step; when a module
 * lands, its steps move into its own header and out of this file. */
#ifndef UPNP_RUNTIME_PENDING_STEPS_H
#define UPNP_RUNTIME_PENDING_STEPS_H

#include <stdint.h>


#ifdef __cplusplus
extern "C" {
#endif


int32_t upnp_util_prepare(void);
void upnp_util_init(void);
void upnp_util_stop(void);
void upnp_util_release(void);

int32_t upnp_statistics_prepare(void);
void upnp_statistics_init(void);
void upnp_statistics_stop(void);
void upnp_statistics_release(void);

int32_t upnp_string_pool_prepare(void);
void upnp_string_pool_init(void);
void upnp_string_pool_stop(void);
void upnp_string_pool_release(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_RUNTIME_PENDING_STEPS_H */
