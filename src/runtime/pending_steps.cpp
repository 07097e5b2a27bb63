#include "runtime/pending_steps.h"

extern "C" {

int32_t upnp_thread_table_prepare(void) { return 0; }
void upnp_thread_table_init(void) {}
void upnp_thread_table_wake_and_free(void) {}
void upnp_thread_pool_release(void) {}
void upnp_thread_table_release(void) {}
int32_t upnp_close_thread_sockets(void) { return 0; }
int32_t upnp_file_prepare(void) { return 0; }
void upnp_file_init(void) {}
void upnp_file_release(void) {}
void upnp_encoding_init(void) {}
int32_t upnp_ini_prepare(void) { return 0; }
void upnp_ini_init(void) {}
void upnp_ini_stop(void) {}
void upnp_ini_release(void) {}
int32_t upnp_resource_prepare(void) { return 0; }
void upnp_resource_init(void) {}
void upnp_resource_stop(void) {}
void upnp_resource_release(void) {}
void upnp_translate_module_init(void) {}
void upnp_translate_module_stop(void) {}

}  // extern "C"
