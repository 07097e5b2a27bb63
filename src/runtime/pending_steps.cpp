#include "runtime/pending_steps.h"

extern "C" {

int32_t upnp_util_prepare(void) { return 0; }
void upnp_util_init(void) {}
void upnp_util_stop(void) {}
void upnp_util_release(void) {}
int32_t upnp_statistics_prepare(void) { return 0; }
void upnp_statistics_init(void) {}
void upnp_statistics_stop(void) {}
void upnp_statistics_release(void) {}
int32_t upnp_string_pool_prepare(void) { return 0; }
void upnp_string_pool_init(void) {}
void upnp_string_pool_stop(void) {}
void upnp_string_pool_release(void) {}

}  // extern "C"
