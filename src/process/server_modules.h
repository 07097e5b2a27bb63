/* Steps of the media server's modules that this program never calls (the
 * network interface list, the HTTP layer and its authentication nonces, the
 * client and device database, playback statistics, the cache keeper, the
 * user and role tables). They keep their places in the start-up and
 * shut-down sequence so that the order stays the server's; here they hold
 * nothing and do nothing. */
#ifndef UPNP_PROCESS_SERVER_MODULES_H
#define UPNP_PROCESS_SERVER_MODULES_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

int32_t upnp_netif_prepare(void);
void upnp_netif_init(void);
void upnp_netif_release(void);

int32_t upnp_http_prepare(void);
void upnp_http_init(void);
void upnp_http_stop(void);
void upnp_http_release(void);

int32_t upnp_http_auth_prepare(void);
void upnp_http_auth_init(void);
void upnp_http_auth_stop(void);
void upnp_http_auth_release(void);

int32_t upnp_clientdb_prepare(void);
void upnp_clientdb_init(void);
void upnp_clientdb_stop(void);
void upnp_clientdb_release(void);

int32_t upnp_playstats_prepare(void);
void upnp_playstats_init(void);
void upnp_playstats_stop(void);
void upnp_playstats_release(void);

int32_t upnp_cachekeeper_prepare(void);
void upnp_cachekeeper_init(void);
void upnp_cachekeeper_stop(void);
void upnp_cachekeeper_release(void);

int32_t upnp_users_prepare(void);
void upnp_users_init(void);
void upnp_users_stop(void);
void upnp_users_release(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_PROCESS_SERVER_MODULES_H */
