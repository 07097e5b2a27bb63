/* Helpers over plain NUL-terminated texts: replacement, concatenation,
 * trimming, a minimal decimal parser, suffix tests and file-name parts.
 *
 * Returned "new" texts come from the tracked allocator (base/memory.h) and
 * the caller frees them with upnp_free; other results point into the input.
 * Null or empty arguments give the neutral result each function names; out
 * of memory gives null. No locks are taken. */
#ifndef UPNP_BASE_STRING_UTIL_H
#define UPNP_BASE_STRING_UTIL_H

#include <stddef.h>
#include <stdint.h>

#include "base/string_search.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Replaces every occurrence of `search` that `validator` (may be null)
 * accepts with `replacement` (null or "" deletes them); matches never
 * overlap. When something was replaced the result is a new text. Otherwise
 * the result is `text` itself, or a new copy of it when `dup_if_unchanged` is
 * set. A null text gives null; so does running out of memory. `text` is never
 * changed or freed. The validator sees `text` as the haystack start. */
char* upnp_string_replace(const char* text, const char* search, const char* replacement,
                          int dup_if_unchanged, upnp_match_validator validator);

/* upnp_string_replace with a copy even when nothing matched: the result is
 * always a new text (or null). */
char* upnp_string_replace_all(const char* text, const char* search, const char* replacement);

/* A new text holding `first` then `second`; a null or empty side gives a copy
 * of the other (null when both are null). */
char* upnp_strconcat(const char* first, const char* second);

/* Removes leading and trailing tab, LF, CR and blank in place; returns
 * `text` (null stays null). */
char* upnp_string_trim(char* text);

/* 1 for exactly tab (9), line feed (10), carriage return (13) and blank. */
int upnp_is_space(unsigned char byte);

/* Optional '+', then optional '-', then decimal digits up to the first
 * non-digit; no blanks skipped, no overflow check (wraps). 0 when no digit
 * follows the signs or for null. */
int64_t upnp_atoi64(const char* text);

/* 1 when `text` ends with `suffix` ignoring ASCII case; 0 when either is null
 * or empty or the suffix is the longer. */
int upnp_string_ends_with_nocase(const char* text, const char* suffix);

/* The extension behind the last '.', pointing into `path`; for a last part
 * of under two characters a dot up to six bytes from the end is preferred
 * (`x.ab.c` gives `ab.c`). Null when there is no dot or the dot belongs to a
 * directory name. */
char* upnp_get_file_extension(const char* path);
/* A new copy of upnp_get_file_extension(path), or null. */
char* upnp_dup_file_extension(const char* path);

/* Writes the part of `path` behind its last '/' (all of it when there is
 * none) into `buffer`, zero-filled first and cut at size - 1 bytes; with
 * `strip_extension` the copy ends at its last '.'. Does nothing for a null
 * buffer or path or a size below 2. */
void upnp_get_file_basename(const char* path, char* buffer, size_t size, int strip_extension);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_BASE_STRING_UTIL_H */
