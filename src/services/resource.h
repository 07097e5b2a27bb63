/* Resource files (translation tables, images, page templates) found by a
 * relative name in the configured resource directory ("resourcedir"), with
 * numbered skins ("webuiskin" 1 to 9) and a cache of up to 100 small files
 * that are read often. Slots are filled in order and kept until shut-down.
 *
 * The cache lock guards the slot table; files are read outside it. */
#ifndef UPNP_SERVICES_RESOURCE_H
#define UPNP_SERVICES_RESOURCE_H

#include <stdint.h>

#include "base/upnp_string.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { UPNP_RESOURCE_CACHE_SLOTS = 100 };

/* The full path of a resource: "<resourcedir>/<name>", or its skinned form
 * ("img/logo-3.png" for "img/logo.png" and skin 3) when that file exists.
 * A new record (freed with upnp_string_free), or null when no resource
 * directory is configured or out of memory. */
upnp_string* get_resource_file_path(const char* name);

/* Reads a resource. The name is cut at its last '?' in place; a name holding
 * ".." is refused. On success returns 1 with *content a new block of
 * *length + 2 bytes whose last two are zero (freed with upnp_free);
 * otherwise 0 with *length 0 and *content null. */
int32_t upnp_get_resource_file(char* name, uint32_t* length, char** content);

/* Frees every cached name and content. */
void upnp_resource_cache_clear(void);

/* When installed, takes over every lookup (after the name checks). */
typedef int32_t (*upnp_resource_override_fn)(const char* name, uint32_t* length, char** content);
void upnp_resource_set_override(upnp_resource_override_fn hook);

/* Start-up and shut-down steps: prepare creates the cache lock; init empties
 * the cache and removes the override; stop clears the cache; release
 * destroys the lock. */
int32_t upnp_resource_prepare(void);
void upnp_resource_init(void);
void upnp_resource_stop(void);
void upnp_resource_release(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_SERVICES_RESOURCE_H */
