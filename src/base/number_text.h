/* Decimal text of integers without the printf family, for the per-record
 * paths that format a number or two per value: the same characters as "%d"
 * and "%0*u". Writes into the caller's buffer and returns the length; a NUL
 * follows. No lock is taken, no heap block is used. */
#ifndef UPNP_BASE_NUMBER_TEXT_H
#define UPNP_BASE_NUMBER_TEXT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Room for the longest, "-2147483648", and its NUL. */
enum { UPNP_INT32_TEXT_SIZE = 12 };

/* "%d" of value into out (UPNP_INT32_TEXT_SIZE bytes). */
uint32_t upnp_int32_to_text(int32_t value, char* out);

/* "%0*u" of value: at least `width` digits, zeros in front. out must hold
 * the digits and the NUL (11 bytes hold any value up to width 10). */
uint32_t upnp_uint32_to_text(uint32_t value, uint32_t width, char* out);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_BASE_NUMBER_TEXT_H */
