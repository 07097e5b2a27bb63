/* Character encodings: UTF-16 text (as stored in settings and translation
 * files) turned into the UTF-8 that the rest of the system handles.
 *
 * Only the Basic Multilingual Plane is converted: surrogate units are traced
 * in the log and dropped, so characters outside it are lost on purpose. */
#ifndef UPNP_BASE_ENCODING_H
#define UPNP_BASE_ENCODING_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* `utf16` holds UTF-16 units up to and including a 0 unit. A leading FF FE
 * mark means little-endian, FE FF big-endian; without a mark the text is
 * little-endian. Returns a new NUL-terminated UTF-8 text from upnp_malloc
 * (freed with upnp_free), or null for null input or when out of memory. */
char* upnp_string_utf16_to_utf8(const void* utf16);

/* Start-up step: sets the legacy code page to 932. */
void upnp_encoding_init(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_BASE_ENCODING_H */
