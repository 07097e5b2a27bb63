#include "process/server_modules.h"

extern "C" {

int32_t upnp_netif_prepare(void) { return 0; }
void upnp_netif_init(void) {}
void upnp_netif_release(void) {}

int32_t upnp_http_prepare(void) { return 0; }
void upnp_http_init(void) {}
void upnp_http_stop(void) {}
void upnp_http_release(void) {}

int32_t upnp_http_auth_prepare(void) { return 0; }
void upnp_http_auth_init(void) {}
void upnp_http_auth_stop(void) {}
void upnp_http_auth_release(void) {}

int32_t upnp_clientdb_prepare(void) { return 0; }
void upnp_clientdb_init(void) {}
void upnp_clientdb_stop(void) {}
void upnp_clientdb_release(void) {}

int32_t upnp_playstats_prepare(void) { return 0; }
void upnp_playstats_init(void) {}
void upnp_playstats_stop(void) {}
void upnp_playstats_release(void) {}

int32_t upnp_cachekeeper_prepare(void) { return 0; }
void upnp_cachekeeper_init(void) {}
void upnp_cachekeeper_stop(void) {}
void upnp_cachekeeper_release(void) {}

int32_t upnp_users_prepare(void) { return 0; }
void upnp_users_init(void) {}
void upnp_users_stop(void) {}
void upnp_users_release(void) {}

}  // extern "C"
